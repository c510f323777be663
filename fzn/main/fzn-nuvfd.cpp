// fzn-nuvfd: reads a FlatZinc model, builds it through the nuvfd module's
// native classes, searches and prints in the FlatZinc output conventions.
//
// Exit status: 0 when the run ended normally (whatever the answer), 1 for a
// bad command line or a model error (with a message on stderr naming the
// file, line and column), 2 for an internal error.
#include <atomic>
#include <signal.h>
#include <exception>
#include <iostream>
#include <new>
#include <string>
#include <vector>

#include "fzn/FznOptions.h"
#include "fzn/FznSolve.h"
#include "host/PimError.h"

namespace {

// The one piece of process-wide state: a signal can only reach the search
// through something global. The search polls it and stops, keeping what it
// found; the main flow then prints. The handler does nothing else: no
// output, no allocation, nothing that could meet the printer half-way.
std::atomic<bool> stopRequested{false};
static_assert(std::atomic<bool>::is_always_lock_free);

extern "C" void onSignal(int) { stopRequested.store(true, std::memory_order_relaxed); }

// Installed before anything else, so that an interrupt during the parse
// still ends with the usual output rather than a killed process. SA_RESTART:
// a write interrupted by the signal goes on.
void installHandlers() {
  struct sigaction sa {};
  sa.sa_handler = onSignal;
  sigemptyset(&sa.sa_mask);
  sa.sa_flags = SA_RESTART;
  sigaction(SIGINT, &sa, nullptr);
  sigaction(SIGTERM, &sa, nullptr);
}

}  // namespace

int main(int argc, char** argv) {
  installHandlers();
  std::ios::sync_with_stdio(false);
  FznOptions options;
  try {
    options = fznParseOptions(std::vector<std::string>(argv + 1, argv + argc));
  } catch (const std::invalid_argument& e) {
    std::cerr << "fzn-nuvfd: " << e.what() << "\n" << kFznUsage;
    return 1;
  }
  if (options.help) {
    std::cout << kFznUsage;
    return 0;
  }
  if (options.version) {
    std::cout << "fzn-nuvfd 0.1.0\n";
    return 0;
  }
  try {
    return fznRun(options, std::cout, std::cerr, &stopRequested);
  } catch (const PimError& e) {
    std::cerr << e.what() << "\n";
    return 1;
  } catch (const std::bad_alloc&) {
    std::cerr << "fzn-nuvfd: out of memory\n";
    return 1;
  } catch (const std::exception& e) {
    std::cerr << "fzn-nuvfd: internal error: " << e.what() << "\n";
    return 2;
  }
}
