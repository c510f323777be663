// The outcome of every post, propagation, event and narrowing of the engine.
#pragma once

enum NuvCPStatus : int {
  NuvCPFailure = 0,  // a domain became empty or a check failed
  NuvCPSuccess = 1,  // entailed: the propagator is off for the rest of the branch
  NuvCPSuspend = 2,  // consistent so far, still active
  NuvCPDelay = 3,    // deferred (atomic section) or refused while propagation runs
};

// " failure", " success", " suspend", " delay"; "" for any other value.
inline const char* nuvCPStatusName(int status) {
  switch (status) {
    case NuvCPFailure: return " failure";
    case NuvCPSuccess: return " success";
    case NuvCPSuspend: return " suspend";
    case NuvCPDelay: return " delay";
  }
  return "";
}
