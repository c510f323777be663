// Reservoirs: a stock that activities fill and draw from for good.
#pragma once

#include <cstdint>
#include <iosfwd>

#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPIVarI.h"

// n activities (start s[i], duration d[i] >= 0, amount h[i] of any sign) on
// a stock with an initial level L0. Each activity changes the stock once,
// for good: by -h[i] at its start ("take", consumption) or by +h[i] at its
// end ("give", production); a negative amount turns a take into a gift and
// back. The level at time t, L0 plus the changes of the activities whose
// event time is <= t, must stay
//   within [0, c] at every time (a bounded store; c a variable), or
//   at or above m at every time (a minimum level; m a variable).
//
// Consistency: time-tabling of the reservoir (Laborie, "Algorithms for
// propagating resource constraints in AI planning and scheduling",
// Artificial Intelligence 143, 2003, its level bounds; the same sweep as
// Beldiceanu and Carlsson's cumulatives with negative heights, CP 2002).
// The most and the least the level can be at each time come from the
// events' windows: an event surely passed counts with its amount's bound,
// one that may have passed only when it helps that bound. Then
//   - a time whose best level is below the floor (or whose least level is
//     above the ceiling) fails; c.min and m.max follow the profile;
//   - an event that would bring its time's best level below the floor if
//     it had happened (or its least level above the ceiling) happens
//     later: its earliest time moves past that time;
//   - an event whose absence leaves a time's best level below the floor
//     (a gift that is needed) or its least level above the ceiling (a
//     take that is needed) has happened by then: its latest time moves to
//     that time;
//   - an event surely passed bounds its own amount by the room the others
//     leave it.
// Each rule takes out exactly the event's own part of the profile. Exact
// once everything is bound.
// Cost of one run: O(n log n) for the profile plus O(n * segments), so
// O(n^2) at worst. Not idempotent.
// Shared arguments: every rule reads bounds that hold in all solutions and
// narrows through the variables; a variable in two places only weakens
// it.
// Members: the variables, the kind of event, L0 and the kind of bound are
// constant; events and segments are scratch, allocated at construction;
// nothing is trailed.
class NuvCPReservoirI : public NuvCPCstrI {
 public:
  // `atEnd`: gifts at the end (true) or takes at the start (false).
  // `minimum`: bound is a minimum level m, otherwise the capacity c (and
  // the floor is 0).
  NuvCPReservoirI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* s, NuvCPIntVarI* const* d,
                  NuvCPIntVarI* const* h, int initial, NuvCPIntVarI* bound, bool atEnd, bool minimum);
  std::size_t classSize() const override { return sizeof(NuvCPReservoirI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;
  bool ok() const { return _n == 0 || _scratch; }

 private:
  struct Step {
    std::int64_t time, dmax, dmin;  // changes of the best and least levels
  };
  struct Segment {
    std::int64_t from, best, least;  // up to the next segment's from
  };
  // The event time window and the change's bounds of activity i.
  std::int64_t tmin(int i) const;
  std::int64_t tmax(int i) const;
  std::int64_t changeMin(int i) const { return _atEnd ? _h[i]->getMin() : -std::int64_t{_h[i]->getMax()}; }
  std::int64_t changeMax(int i) const { return _atEnd ? _h[i]->getMax() : -std::int64_t{_h[i]->getMin()}; }
  int raiseTime(int i, std::int64_t t);
  int lowerTime(int i, std::int64_t t);

  std::int32_t _n;
  NuvCPIntVarI** _s;
  NuvCPIntVarI** _d;
  NuvCPIntVarI** _h;
  NuvCPIntVarI* _bound;
  std::int32_t _initial;
  bool _atEnd, _minimum;
  void* _scratch = nullptr;
  Step* _steps = nullptr;
  Segment* _segs = nullptr;
};
