// Native class of a graph of precedences.
//
//   CP$PrecedenceGraphClosure(start, duration, from, to [, delay])
//        activities start[], duration[] (variable arrays of one size); arc
//        k (int arrays of one size, activities named by the index range of
//        start) says start[from[k]] + duration[from[k]] + delay[k] <=
//        start[to[k]] (delay 0 without the array)
//   CPPEA(start, duration, demand, capacity, from, to)
//        the same arcs (no delays) among activities sharing a resource of
//        capacity `capacity` (an int > 0): precedence energy reasoning,
//        with the resource time-tabled (NuvCPPrecedenceEnergyI.h)
#pragma once

#include "fd/NuvCPNative.h"

NuvInstanceFactory* nuvCPPrecedenceGraphFactory(PimAllocator* a, const char* name);
NuvInstanceFactory* nuvCPPrecedenceEnergyFactory(PimAllocator* a, const char* name);
