#include "host/PimThread.h"

#include <iostream>

namespace {
thread_local std::ostream* tOutput = nullptr;
}

std::ostream& PimThreadKey::output() { return tOutput ? *tOutput : std::cout; }

std::ostream* PimThreadKey::setOutput(std::ostream* os) {
  std::ostream* previous = tOutput;
  tOutput = os;
  return previous;
}
