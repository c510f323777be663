// Native classes of counting.
//
//   CP$Cardinality(x, values, counts[, closed])
//        counts[k] (variables) is the number of x[i] equal to values[k]
//   CP$Cardinality(x, values, low, up[, closed])
//        that number lies within low[k]..up[k] (int arrays)
//        values: distinct ints; closed (an int, 1): every x[i] takes one of
//        the values (NuvCPCardinalityI.h)
//   CP$SoftCardinality(x, values, low, up, violation)
//        violation = the total shortfall below low[k] and excess above up[k]
//        of the counts (NuvCPSoftCardinalityI.h)
#pragma once

#include "fd/NuvCPNative.h"

NuvInstanceFactory* nuvCPCardinalityFactory(PimAllocator* a, const char* name);
