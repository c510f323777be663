// Native classes of binary knapsacks.
//
//   CP$BinaryKnapsackAC(x, w, load)        sum of w[i] * x[i] = load, x in
//                                          {0, 1}, w >= 0: domain
//                                          consistency over bit sets
//   CP$SparseBinaryKnapsackAC(x, w, load)  the same over lists of sums
//   CP$LightBinaryKnapsack(x, w, load)     the same relation, bounds
//                                          reasoning (NuvCPKnapsackI.h)
#pragma once

#include "fd/NuvCPNative.h"

NuvInstanceFactory* nuvCPKnapsackFactory(PimAllocator* a, const char* name);
