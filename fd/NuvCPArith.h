// Native classes of arithmetic.
//
//   CP$Mult(x, y, z)                 z == x * y
//   CP$Square(x, y)                  y == x * x
//   CP$TernaryEqual(x, y, z)         z == x + y
//   CP$CExpr("abs", x, y)            y == |x|
//   CP$CExpr(op, x, y, z)            z == op(x, y) for "div" (truncating), "mod" (sign of
//                                    x), "pow", "min", "max"
//   CP$CExpr("minimum", m, xs)       m == min(xs); "maximum" likewise
#pragma once

#include "fd/NuvCPNative.h"

NuvInstanceFactory* nuvCPArithFactory(PimAllocator* a, const char* name);
