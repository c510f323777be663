// "CP$Minimize": the language object of an objective.
//
//   CP$Minimize(store, x)          minimise x
//   CP$Minimize(store, x, true)    maximise x
// Posting it on its store installs it as the store's objective hook.
#pragma once

#include "fd/NuvCPNative.h"

NuvInstanceFactory* nuvCPObjectiveFactory(PimAllocator* a, const char* name);
