// Native classes of cumulative resources.
//
//   CP$TimeTableCstr(s, d, r, c)   tasks starting at s[i], lasting d[i] and
//                                  using r[i] of a resource of capacity c
//                                  (variable arrays of one size and an
//                                  integer variable): time-tabling
#pragma once

#include "fd/NuvCPNative.h"

NuvInstanceFactory* nuvCPTimeTableFactory(PimAllocator* a, const char* name);
