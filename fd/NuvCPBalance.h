// Native classes of balance.
//
//   CP$Deviation(x, total, c)   sum x = total, c = sum |n * x[i] - total|
//   CP$Spread(x, total, c)      sum x = total, c = sum (n * x[i] - total)^2
//        (x: variables, total: an int, c: a variable; NuvCPBalanceI.h)
#pragma once

#include "fd/NuvCPNative.h"

NuvInstanceFactory* nuvCPBalanceFactory(PimAllocator* a, const char* name);
