// Native classes of functional tables: tables whose last columns are a
// function of the first ones.
//
//   CP$FunctionalTable(inputs, values)
//        rows of inputs + 1 values, the last a function of the others: no
//        two rows share their inputs. Methods: getInputs(), getOutputs(),
//        getSize().
//   CP$MultiFunctionalTable(inputs, outputs, values)
//        rows of inputs + outputs values, the outputs a function of the
//        inputs.
//   CP$FunctionalTableCstr(x, y, table)       y = f(x)   (x[], y a variable)
//   CP$MultiFunctionalTableCstr(x, y, table)  y[] = f(x[])
//        (x, y) is a row: domain consistency by the table propagators
//        (NuvCPTableI.h), which the function makes no weaker.
//   CP$Pair(x, y, z, width)                  z = x * width + y, 0 <= y < width
//   CP$pairLink(x[], y[], z[], width)        the same for every index
//        (a pair as one value; NuvCPPairI.h)
#pragma once

#include "fd/NuvCPNative.h"

NuvInstanceFactory* nuvCPFunctionalTableFactory(PimAllocator* a, const char* name);
