// Native classes of cumulative resources.
//
//   CP$TimeTable(c)                a resource of capacity c (a variable)
//                                  that activities join one at a time:
//                                  add(start, duration, demand), size();
//                                  posted, it is time-tabled over them
//   CP$TimeTableCstr(s, d, r, c)   tasks starting at s[i], lasting d[i] and
//                                  using r[i] of a resource of capacity c
//                                  (variable arrays of one size and an
//                                  integer variable): time-tabling
//   CP$TimeTableCapOptionalCstr(s, d, r, c, p)
//                                  the same over optional tasks: task i
//                                  takes part when p[i] (0/1) is 1
//   CP$DiscreteEdgeFinder(s, d, r, c [, p])
//                                  cumulative edge finding, to post beside
//                                  time-tabling (NuvCPDiscreteEdgeFinderI.h)
//   CP$TimeTableMinCstr(s, d, r, m, from, to)
//   CP$TimeTableMinCapCstr(s, d, r, m, from, to)
//                                  coverage: at every time of [from, to) the
//                                  running tasks provide at least m (an int,
//                                  or a variable in the Cap form)
//   CP$TakeCapacityCstr(s, d, h, initial, c)
//   CP$GiveCapacityCstr(s, d, h, initial, c)
//   CP$TakeMinCapacityCstr(s, d, h, initial, m)
//   CP$GiveMinCapacityCstr(s, d, h, initial, m)
//                                  a reservoir starting at `initial`: each
//                                  activity takes h[i] at its start (Take)
//                                  or gives h[i] at its end (Give), for
//                                  good; the level stays within [0, c], or
//                                  at or above m (NuvCPReservoirI.h)
#pragma once

#include "fd/NuvCPNative.h"

NuvInstanceFactory* nuvCPTimeTableFactory(PimAllocator* a, const char* name);
NuvInstanceFactory* nuvCPTimeTableMinFactory(PimAllocator* a, const char* name);
NuvInstanceFactory* nuvCPReservoirFactory(PimAllocator* a, const char* name);
NuvInstanceFactory* nuvCPTimeTableResourceFactory(PimAllocator* a, const char* name);
