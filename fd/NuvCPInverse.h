// Native class of the inverse constraint.
//
//   CP$Inverse(X, Y)   X[i] == j exactly when Y[j] == i, each array over its
//                      own index range (so arrays may start at any index).
//                      A null array raises "Inverse(null,...)" or
//                      "Inverse(...,null)".
#pragma once

#include "fd/NuvCPNative.h"

NuvInstanceFactory* nuvCPInverseFactory(PimAllocator* a, const char* name);
