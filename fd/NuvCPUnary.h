// Native classes of unary resources. Activities are given by three arrays
// of integer variables of one size, start[], duration[] and end[] (the
// activity keeps end = start + duration), optional ones also by presence[]
// (0/1 variables). The optional last argument `done` is the guard: an
// integer variable the scheduler binds once it has sequenced the resource;
// from then on the rule has nothing more to do.
//
//   CP$EdgeFinder(start, duration, end [, done])        edge finding (without
//                                                       done: the pure form)
//   CP$OptionalEdgeFinder(start, duration, end, presence)
//                                                       the full unary engine
//                                                       over optional activities
//   CP$DetectablePrecedencesCstr(start, duration, end [, done])
//   CP$DetectablePrecedencesWOCstr(start, duration, end, presence [, done])
//   CP$NotFirstCstr / CP$NotLastCstr(start, duration, end [, done])
//   CP$NotFirstOptionalCstr / CP$NotLastOptionalCstr(start, duration, end, presence [, done])
//   CP$DisjunctiveCstr(aStart, aEnd, bStart, bEnd)       one pair
//   CP$OptionalDisjunctiveCstr(aStart, aEnd, aPresent, bStart, bEnd, bPresent)
//   CP$DisjunctiveTransitionCstr(aStart, aEnd, bStart, bEnd, setupAB, setupBA)
//                                                       a pair with setup times
//   CP$DisjunctiveTransitionPrecedenceCstr(aStart, aEnd, bStart, bEnd, setupAB, setupBA, order)
//                                                       the same with its order (1: A first)
//   CP$DisjunctiveTransitionTimesCstr(aStart, aEnd, aType, bStart, bEnd, bType, setup[])
//                                                       setups setup[typeA * k + typeB] from a
//                                                       square k x k matrix, types from 0
//
// CP$EdgeFinder objects answer getGlobalSlack() and getLocalSlack() once
// posted ("EdgeFinder: The constraint is not posted" before); the local
// slack needs the resource closed first (close(); "UnaryResource::
// getLocalSlack(): The resource is not closed" before).
#pragma once

#include "fd/NuvCPNative.h"

// One factory for every class above; `name` picks the class.
NuvInstanceFactory* nuvCPUnaryFactory(PimAllocator* a, const char* name);
