// Native class of constraints written in the modeling language.
//
//   CP$Adapter(constraint[, vars])
//        posts the script's own object `constraint` as a propagator
//        (NuvCPUserConstraintI in NuvCPConstraintI.h): the store calls the
//        object's methods of the propagator operations it defines (post,
//        propagate, valRemove, updateMin, ...) with the language-level
//        variables. With `vars`, the propagator hears of every change to
//        their domains (each event runs its method, then propagate).
#pragma once

#include "fd/NuvCPNative.h"

NuvInstanceFactory* nuvCPAdapterFactory(PimAllocator* a, const char* name);
