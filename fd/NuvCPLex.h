// Native classes of order.
//
//   CP$LexLeq(x, y[, strict])    x <=lex y (x <lex y when strict is 1); the
//                                arrays may differ in length, the shorter
//                                coming first on an equal prefix
//                                (NuvCPLexI.h)
#pragma once

#include "fd/NuvCPNative.h"

NuvInstanceFactory* nuvCPLexFactory(PimAllocator* a, const char* name);
