// Native classes of counting.
//
//   CP$Cardinality(x, values, counts[, closed])
//        counts[k] (variables) is the number of x[i] equal to values[k]
//   CP$Cardinality(x, values, low, up[, closed])
//        that number lies within low[k]..up[k] (int arrays)
//        values: distinct ints; closed (an int, 1): every x[i] takes one of
//        the values (NuvCPCardinalityI.h)
#pragma once

#include "fd/NuvCPNative.h"

NuvInstanceFactory* nuvCPCardinalityFactory(PimAllocator* a, const char* name);
