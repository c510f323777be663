// Native classes of activities on a resource with breaks. Activities are
// given by three arrays of integer variables of one size, start[],
// duration[] and end[] (end = start + duration kept by the activity for the
// classes that are not breakable; for the breakable ones end is the time
// the work is done, the work pausing during breaks).
//
//   CP$UnaryBreakUR(start, duration, end, from, to)      listed breaks
//   CP$UnaryBreakURBreakable(start, duration, end, from, to)
//        [from[k], to[k]): int arrays of one size, sorted, disjoint, non-empty
//   CP$UnaryPeriodicBreak(start, duration, end, offset, period, length)
//   CP$UnaryPeriodicBreakBreakable(start, duration, end, offset, period, length)
//        [offset + k * period, offset + k * period + length) for every k,
//        0 < length < period
#pragma once

#include "fd/NuvCPNative.h"

NuvInstanceFactory* nuvCPBreakFactory(PimAllocator* a, const char* name);
