// Native classes of ranking on a unary resource. Activities are three
// integer-variable arrays of one size, start[], duration[], end[] (end =
// start + duration is posted with them); presence[] (0/1) in the optional
// forms. Activities are named by the start array's index range (first and
// successor values); ranks count from 0.
//
//   CP$RankFirstCstr(start, duration, end, first)
//   CP$RankFirstOptionalCstr(start, duration, end, presence, first)
//        activity `first` (present) precedes every other present one
//   CP$RankCstr(start, duration, end, rank)
//   CP$RankOptionalCstr(start, duration, end, presence, rank)
//        the order of the present activities by rank (absent: rank n)
//   CP$RankTransitionCstr(start, duration, end, rank, type, setup)
//   CP$RankOptionalTransitionCstr(start, duration, end, presence, rank, type, setup)
//        the same with setup[type[i] * T + type[j]] between i and a later
//        j (type: int[] from 0, setup: int[] of T x T)
//   CP$RankTransitionSuccCstr(start, duration, end, rank, succ, type, setup)
//        and succ[i] the next activity's name (one past the last name for
//        the last activity)
#pragma once

#include "fd/NuvCPNative.h"

NuvInstanceFactory* nuvCPRankFactory(PimAllocator* a, const char* name);
