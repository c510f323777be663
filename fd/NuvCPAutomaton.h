// Native classes of automata.
//
//   CP$Automaton(states, symbols, delta, initial, finals)
//        a deterministic automaton: states 1..states, symbols 1..symbols,
//        delta (int[] of states x symbols, row by row) the next state or 0
//        for none, an initial state and the final states (int[]). Errors
//        name a transition or state out of range. Methods: getStates(),
//        getSymbols(), accepts(word) (an int[]: true when accepted).
//   CP$Regular(x, automaton)     the word x[] is accepted (NuvCPRegularI.h)
//   CP$CostRegular(x, automaton, cost, c)
//        accepted, and c is the sum of cost[(q - 1) * symbols + (s - 1)]
//        over the transitions taken
//   CP$Stretch(x, values, shortest, longest)
//        every maximal run of values[j] in x is shortest[j]..longest[j]
//        long, and x takes no other value (compiled into CP$Regular's
//        propagator)
#pragma once

#include "fd/NuvCPNative.h"

NuvInstanceFactory* nuvCPAutomatonFactory(PimAllocator* a, const char* name);
