// Native classes of the relations: "CP$Equal", "CP$LEqual", ..., each reads
// its arguments, checks them and builds its propagator when posted.
//
//   CP$Equal(x, y[, k])        x == y + k, bounds       (EqualAC: domain)
//   CP$LEqual(x, y[, k])       x <= y + k
//   CP$SLEqual(x, y, k)        x + y <= k
//   CP$NEqual(x, y[, k])       x != y + k
//   CP$Equalc(x, k) ...        x == k, x != k (NEqualc), x <= k (LEqualc), x >= k (GEqualc)
//   CP$ReifyEqualc(x, k, b)    b <=> x == k, likewise ReifyNEqualc, ReifyLEqualc, ReifyGEqualc
//   CP$ReifyEqual(x, y[, k], b)  b <=> x == y + k, likewise ReifyNEqual, ReifyLEqual,
//                              ReifyGEqual (x >= y + k, built as y <= x - k)
#pragma once

#include "fd/NuvCPNative.h"

// Registers nothing itself: the module's class table names these factories.
NuvInstanceFactory* nuvCPRelationFactory(PimAllocator* a, const char* name);
