// Native class of all-different.
//
//   CP$AllDiff(x)                  the variables of x pairwise different,
//                                  default strength
//   CP$AllDiff(x, strength)        "basic" (a unit per variable), "value",
//                                  "bounds", "domain" or "default"
//   CP$AllDiff(x, d, strength)     x[i] + d[i] pairwise different (d an int
//                                  array as long as x); "basic" posts the
//                                  shifted units, the others the same
//                                  propagators over offset views
// See fd/NuvCPAllDiffI.h for the propagators and the default rule. A
// variable in two positions (with the same offset) fails the post.
#pragma once

#include "fd/NuvCPNative.h"

NuvInstanceFactory* nuvCPAllDiffFactory(PimAllocator* a, const char* name);
