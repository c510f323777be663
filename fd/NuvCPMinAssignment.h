// Native class of assignments of bounded cost.
//
//   CP$MinAssignment(x, c, z)   x all different over the columns of the
//                               cost matrix c (given row by row as an int
//                               array, one row per x, columns named from
//                               x's first index), z = the chosen costs' sum
//                               (NuvCPMinAssignmentI.h)
#pragma once

#include "fd/NuvCPNative.h"

NuvInstanceFactory* nuvCPMinAssignmentFactory(PimAllocator* a, const char* name);
