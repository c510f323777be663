// Native classes of element.
//
//   CP$Element(x, a, z[, domain])     z == a[x], a an int array with its own
//                                     index range; domain consistent unless
//                                     `domain` is false (then bounds on z)
//   CP$ElementVar(x, vars, z[, domain])  z == vars[x]; bounds unless `domain`
//   CP$ElementVarSorted(x, vars, z)   z == vars[x], the array kept nondecreasing
#pragma once

#include "fd/NuvCPNative.h"

NuvInstanceFactory* nuvCPElementFactory(PimAllocator* a, const char* name);
