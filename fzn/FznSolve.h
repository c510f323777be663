// One run of the front end: read the model, build it through the module,
// search, print.
#pragma once

#include <atomic>
#include <iosfwd>

#include "fzn/FznOptions.h"

// Returns the process exit status. Model errors propagate as PimError (the
// caller prints them). `stop`, when set from outside (a signal), ends the
// search early; what was found so far is printed.
int fznRun(const FznOptions& options, std::ostream& out, std::ostream& err,
           const std::atomic<bool>* stop = nullptr);
