// Native classes of shaving.
//
//   CP$Shaving(x)                       singleton bounds consistency on x[]
//                                       against the whole store
//   CP$ShavingEdgeFinder(start, duration, end)
//        a unary resource (end = start + duration, durations >= 0) whose
//        starts are shaved against the resource's edge finding alone
#pragma once

#include "fd/NuvCPNative.h"

NuvInstanceFactory* nuvCPShavingFactory(PimAllocator* a, const char* name);
