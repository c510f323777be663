// Cumulative resources with a minimum level: coverage.
#pragma once

#include <cstdint>
#include <iosfwd>

#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPIVarI.h"

// n tasks, task i starting at s[i], lasting d[i] >= 0 and providing
// r[i] >= 0 units;
// a level variable m and a window [from, to): at every time t of the
// window the running tasks (s[i] <= t < s[i] + d[i]) provide at least m
// units together (a staffing or coverage requirement).
//
// Consistency: the optimistic profile, the most every task could provide
// at each time (r.max wherever it may run, est <= t < latest completion
// with d.max), bounds m from above (m.max <= its least value over the
// window) and fails below m.min; a task without which some time of the
// window would fall below m.min must run over that time: its start's
// maximum drops to that time, and its minimum rises to that time minus
// d.max plus 1. Time-tabling on the requirement side (the mirror of the
// compulsory parts of Beldiceanu and Carlsson's cumulatives with negative
// heights, CP 2002), exact once everything is bound.
// Cost of one run: O(n log n) to build the profile plus O(n * segments)
// for the tasks that are needed: O(n^2) at worst. Not idempotent.
// Shared arguments: every rule reads bounds holding of all solutions and
// takes out exactly the task's own contribution; sharing only weakens it.
// Members: the variables and the window are constant; events and segments
// are scratch, allocated at construction; nothing is trailed.
class NuvCPTimeTableMinI : public NuvCPCstrI {
 public:
  NuvCPTimeTableMinI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* s, NuvCPIntVarI* const* d,
                     NuvCPIntVarI* const* r, NuvCPIntVarI* m, int from, int to);
  std::size_t classSize() const override { return sizeof(NuvCPTimeTableMinI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;
  bool ok() const { return _n == 0 || _scratch; }

 private:
  struct Event {
    std::int64_t time, delta;
  };
  struct Segment {
    std::int64_t from, to, height;
  };
  std::int32_t _n;
  NuvCPIntVarI** _s;
  NuvCPIntVarI** _d;
  NuvCPIntVarI** _r;
  NuvCPIntVarI* _m;
  std::int32_t _from, _to;
  void* _scratch = nullptr;
  Event* _events = nullptr;
  Segment* _segs = nullptr;
};
