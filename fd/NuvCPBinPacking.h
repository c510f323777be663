// Native classes of bin packing.
//
//   CP$BinPacking(x, w, l)     item i of weight w[i] >= 0 goes into bin
//                              x[i]; bins are named by l's index range and
//                              l[b] is the weight in bin b
//                              (NuvCPBinPackingI.h)
//   CP$BinPackingLB(x, w, l)   the same with the Martello-Toth lower bound
//                              on the bins needed
#pragma once

#include "fd/NuvCPNative.h"

NuvInstanceFactory* nuvCPBinPackingFactory(PimAllocator* a, const char* name);
