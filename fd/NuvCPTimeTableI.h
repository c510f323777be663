// Cumulative resources: time-tabling.
#pragma once

#include <cstdint>
#include <iosfwd>

#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPIVarI.h"

// n tasks, task i starting at s[i], lasting d[i] and using r[i] units of a
// resource of capacity c:
//   d[i] >= 0, r[i] >= 0 for every i, c >= 0 when n > 0, and at every time t
//   the tasks running (s[i] <= t < s[i] + d[i]) use at most c units together.
// A task of duration 0 or demand 0 uses nothing.
//
// Consistency: time-tabling (Beldiceanu and Carlsson, "A new multi-resource
// cumulatives constraint with negative heights", CP 2002; the profile sweep
// of Letort, Beldiceanu and Carlsson, CP 2012, without its sweep of
// conflicts). The profile of compulsory parts - task i surely runs over
// [max s[i], min s[i] + min d[i]) when that is not empty - is built from the
// bounds; a profile above max c fails; min c is raised to the profile's
// peak; and each task's earliest (latest) start moves past every profile
// segment where the task, with its minimum demand and duration, would
// exceed max c (its own compulsory part is taken out of the profile first).
// With every variable bound the profile is the exact load, so the relation
// is checked in full. Durations, demands and c are read on their bounds and
// only their lower bounds are narrowed (d, r >= 0, c >= the peak).
// Cost of one run: O(n log n) to build the profile (a sort of 2n events)
// plus O(n + k) per task to push its start, k the profile segments it
// meets: O(n^2) at worst. One pass per run; the propagator is not
// idempotent, so its own changes queue it again until nothing moves.
// Shared arguments: every rule reads bounds that hold of all solutions and
// subtracts from the profile exactly what it added for the task at hand, so
// a variable in several positions (two tasks with one start, a duration
// that is also the capacity, views) only makes it weaker, never unsound.
// Optional tasks (a presence array p, 0/1 variables): a task with p[i] = 0
// uses nothing. Only present tasks build the profile and are pushed; an
// undecided task that fits nowhere within its window (with its minimum
// duration and demand) is made absent, and its start is never moved.
// Members: n, the variable arrays and c are constant; the event and
// segment arrays are scratch, allocated at construction; nothing trailed.
class NuvCPTimeTableI : public NuvCPCstrI {
 public:
  // `present` may be null (every task present).
  NuvCPTimeTableI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* s, NuvCPIntVarI* const* d,
                  NuvCPIntVarI* const* r, NuvCPIntVarI* c, NuvCPIntVarI* const* present = nullptr);
  std::size_t classSize() const override { return sizeof(NuvCPTimeTableI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;
  // False when the allocator refused the arrays (then the post fails).
  bool ok() const { return _n == 0 || _scratch; }

 private:
  struct Event {
    std::int64_t time;
    std::int64_t delta;
  };
  struct Segment {
    std::int64_t from, to;  // [from, to)
    std::int64_t height;
  };
  // Builds the profile of compulsory parts into _segs (nonzero heights,
  // ordered by time); answers its peak.
  std::int64_t buildProfile();
  // The load of segment k less task i's own compulsory part [lst, ect).
  std::int64_t othersLoad(int k, std::int64_t lst, std::int64_t ect, std::int64_t own) const;
  int pushStart(int i, std::int64_t cap);
  // -1 absent, 0 undecided, 1 present.
  int presence(int i) const {
    if (!_p) return 1;
    return _p[i]->getMin() > 0 ? 1 : _p[i]->getMax() > 0 ? 0 : -1;
  }

  std::int32_t _n;
  NuvCPIntVarI** _s;
  NuvCPIntVarI** _d;
  NuvCPIntVarI** _r;
  NuvCPIntVarI* _c;
  NuvCPIntVarI** _p = nullptr;
  // Scratch: the events, then the segments, in one block; per task the
  // compulsory part the profile holds.
  void* _scratch = nullptr;
  Event* _events = nullptr;
  Segment* _segs = nullptr;
  std::int32_t _nsegs = 0;
  std::int64_t* _lst = nullptr;  // the profile's part of task i: [_lst, _ect)
  std::int64_t* _ect = nullptr;
};
