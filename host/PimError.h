// Errors of the host runtime.
//
// Failure inside propagation is a returned status; these exceptions are only
// for the language boundary (bad arguments, null objects, model errors) and
// for broken internal invariants that cannot be reported as a status.
#pragma once

#include <functional>
#include <stdexcept>
#include <string>

// A position in a source text: a script, a FlatZinc file or a C++ file.
struct PimSource {
  std::string file;
  int line = 0;
  int column = 0;

  PimSource() = default;
  PimSource(std::string f, int l, int c = 0) : file(std::move(f)), line(l), column(c) {}
  // "file:line" or "file:line:column"; "<unknown>" when no file is known.
  std::string toString() const;
};

// Base of every host error: a source position and a message.
class PimError : public std::runtime_error {
 public:
  PimError(const PimSource& source, const std::string& message);
  const PimSource& source() const { return _source; }
  const std::string& message() const { return _message; }

 private:
  PimSource _source;
  std::string _message;
};

// A null where an object is required; the message spells the language-level
// signature with "null" in place of the missing argument.
class PimNullPointerError : public PimError {
 public:
  using PimError::PimError;
};

// A model or usage error: wrong argument types, unknown names, empty domains.
class PimExecutionError : public PimError {
 public:
  using PimError::PimError;
};

// An operation that must never be reached (e.g. cloning a daemon).
class PimInternalError : public PimError {
 public:
  using PimError::PimError;
};

// Internal invariant checks. The report goes to the current thread's handler
// and execution continues. The default handler writes one line to stderr.
using PimAssertionHandler =
    std::function<void(const char* condition, const char* path, int line)>;

void raiseInternalAssertion(const char* condition, const char* path, int line);

// Installs a handler for the calling thread and returns the previous one.
// An empty handler restores the default.
PimAssertionHandler pimSetAssertionHandler(PimAssertionHandler handler);

// Checks `cond`; reports it with the given source path and line when false.
#define PIM_ASSERT(cond, path, line)                      \
  do {                                                    \
    if (!(cond)) raiseInternalAssertion(#cond, path, line); \
  } while (0)
