// Native classes of successor graphs.
//
//   CP$circuit(succ)     succ[i] names the node after i, nodes named by
//                        succ's index range: one cycle through all of them
//                        (NuvCPCircuitI.h)
//   CP$NoCycle(succ)     the same naming; a value outside the index range
//                        ends a path, and no cycle forms
#pragma once

#include "fd/NuvCPNative.h"

NuvInstanceFactory* nuvCPCircuitFactory(PimAllocator* a, const char* name);
