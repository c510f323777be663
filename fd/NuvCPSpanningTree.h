// Native class of spanning trees.
//
//   CP$MinSpanningTree(n, from, to, w, e, z)   nodes 1..n, edge k joins
//                                              from[k] and to[k] with
//                                              weight w[k]; the edges with
//                                              e[k] = 1 form a spanning
//                                              tree of weight z
//                                              (NuvCPSpanningTreeI.h)
#pragma once

#include "fd/NuvCPNative.h"

NuvInstanceFactory* nuvCPSpanningTreeFactory(PimAllocator* a, const char* name);
