// Per-thread state of the host: the current thread's output stream.
//
// Trace output (the objective's "objective tightened to:" lines) goes to the
// stream of the thread that runs the search, so that several searches on
// several threads keep their output apart. This and the assertion handler are
// the host's only per-thread state; nothing is shared between threads.
#pragma once

#include <iosfwd>

class PimThreadKey {
 public:
  // The calling thread's output stream (std::cout unless set).
  static std::ostream& output();
  // Sets the calling thread's stream (nullptr: back to std::cout); returns
  // the previous one.
  static std::ostream* setOutput(std::ostream* os);
};

// Redirects the calling thread's output for the lifetime of the scope.
class PimThreadOutputScope {
 public:
  explicit PimThreadOutputScope(std::ostream& os) : _previous(PimThreadKey::setOutput(&os)) {}
  ~PimThreadOutputScope() { PimThreadKey::setOutput(_previous); }
  PimThreadOutputScope(const PimThreadOutputScope&) = delete;
  PimThreadOutputScope& operator=(const PimThreadOutputScope&) = delete;

 private:
  std::ostream* _previous;
};
