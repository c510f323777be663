#include "fd/NuvCPModule.h"

#include <iostream>

#include "host/Rav.h"

void nuvfdModuleRegistry(RavProgram* program, PimPropertyDict*) {
  if (!program) return;
  if (program->getMgr()->getTraceLevel() >= 0)
    std::cout << "Registration in progress(CP)..." << std::endl;
  // Native classes are registered here, in their fixed order, as their
  // families are built.
}
