#include "host/PimError.h"

#include <iostream>
#include <sstream>

std::string PimSource::toString() const {
  std::ostringstream os;
  os << (file.empty() ? "<unknown>" : file);
  if (line > 0) {
    os << ':' << line;
    if (column > 0) os << ':' << column;
  }
  return os.str();
}

PimError::PimError(const PimSource& source, const std::string& message)
    : std::runtime_error(source.file.empty() ? message : source.toString() + ": " + message),
      _source(source),
      _message(message) {}

namespace {
thread_local PimAssertionHandler tHandler;
}

void raiseInternalAssertion(const char* condition, const char* path, int line) {
  if (tHandler) {
    tHandler(condition, path, line);
    return;
  }
  std::cerr << "internal assertion failed: " << condition << " at " << path << ':' << line
            << std::endl;
}

PimAssertionHandler pimSetAssertionHandler(PimAssertionHandler handler) {
  PimAssertionHandler previous = std::move(tHandler);
  tHandler = std::move(handler);
  return previous;
}
