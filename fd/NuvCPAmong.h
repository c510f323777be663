// Native classes of soft counting.
//
//   CP$SoftAtLeast(x, values, bound, violation)
//        violation = max(0, bound - #{i : x[i] in values})
//   CP$SoftAtMost(x, values, bound, violation)
//        violation = max(0, #{i : x[i] in values} - bound)
//   (NuvCPAmongI.h; a violation fixed to 0 is the hard form)
//   CP$AtLeastNValue(x, n)   at least n distinct values among x
//                            (NuvCPNValueI.h)
//   CP$SequenceLink(x, low, up, q)
//                            every q consecutive x sum to low..up
//                            (NuvCPSlidingSumI.h)
#pragma once

#include "fd/NuvCPNative.h"

NuvInstanceFactory* nuvCPAmongFactory(PimAllocator* a, const char* name);
