// Native classes of the linear family.
//
//   CP$LinearEquation(coefs, vars, k)         sum(coefs[i] * vars[i]) + k == 0
//   CP$LinearEquation(coefs, vars, k, "!=")   ... != 0
//   CP$LinearEquation(coefs, vars, k, b)      b <=> ... == 0
//   CP$LinearGEQ(coefs, vars, k[, b])         ... >= 0, or b <=> ... >= 0
//   CP$LinearPNEquation(pos, neg, k)          sum(pos) - sum(neg) + k == 0 (PNEquationC alike)
//   CP$SumBoolEqualCst(bools, t)              exactly t of bools are 1
//   CP$SumBoolEqual(bools, z)                 z == number of bools that are 1
//
// A constraint whose sums could leave the exact range of 64-bit arithmetic
// is refused with an execution error rather than propagated on wrapped sums.
#pragma once

#include "fd/NuvCPNative.h"

NuvInstanceFactory* nuvCPLinearFactory(PimAllocator* a, const char* name);
