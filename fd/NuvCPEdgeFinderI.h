// Unary-resource edge finding on sorted arrays (the quadratic sweep).
#pragma once

#include <cstdint>
#include <iosfwd>

#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPIVarI.h"

// n activities with start, duration and end variables on one unary
// resource: no two overlap, each occupying [start, start + duration), its
// end kept equal to start + duration by the activity itself (the
// propagator reads end only as the latest completion). A guard variable,
// once bound, means the resource's work is done (the scheduler has
// sequenced it): propagation then answers entailment at once.
//
// Rule: edge finding (Carlier and Pinson, "An algorithm for solving the
// job-shop problem", Management Science 1989; the O(n^2) formulation of
// Nuijten, thesis, 1994). Forward sweep, for each distinct latest
// completion lct (the smallest is never a bound) and Ω = the activities
// completing by lct: Ω overloaded in [est, lct] fails; an activity i outside
// Ω that cannot run before the Ω-activities starting no earlier than it, or
// before all of Ω, starts after their earliest completion. The backward
// sweep mirrors it on latest starts, without the overload test. Activities
// at the front of the est order that run in a chain without overlap are
// skipped. Both sweeps read the bounds taken at the start of the run and
// narrow only start variables (minimum forward, maximum backward).
// Not idempotent: its own changes queue it again.
// Cost of one run: two bubble sorts on the orders kept from the last run
// (one pass when nothing moved) and O(n * distinct bounds) per sweep.
// Shared arguments: each deduction holds of every schedule given the bounds
// read, so a variable in several places (two activities with one start, an
// end that is another's start) only weakens it.
// Members: n, the variable arrays and the guard are constant; the sorted
// index arrays persist between runs (untrailed: they only order the
// work); the value arrays are scratch, rebuilt by every run.
class NuvCPEdgeFinderI : public NuvCPCstrI {
 public:
  // `guard` may be null (never done).
  NuvCPEdgeFinderI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* start, NuvCPIntVarI* const* duration,
                   NuvCPIntVarI* const* end, NuvCPIntVarI* guard);
  std::size_t classSize() const override { return sizeof(NuvCPEdgeFinderI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;
  bool ok() const { return _n == 0 || _bound; }

  // The resource's slack over its activities' windows from the current
  // bounds: the largest window less the total duration (global), and the
  // least, over the windows [est_i, lct_j], of the window's length less the
  // durations of the activities inside it (local).
  std::int64_t globalSlack() const;
  std::int64_t localSlack() const;

 protected:
  int sweeps();
  int forward();
  int backward();

  std::int32_t _n;
  NuvCPIntVarI** _start;
  NuvCPIntVarI** _duration;
  NuvCPIntVarI** _end;
  NuvCPIntVarI* _guard;
  std::int32_t *_byLct = nullptr, *_lctByLct = nullptr, *_durByLct = nullptr, *_estByLct = nullptr;
  std::int32_t *_byEst = nullptr, *_estByEst = nullptr, *_durByEst = nullptr, *_lctByEst = nullptr;
  std::int32_t* _bound = nullptr;
};

// The same rule without a guard: its propagation never reports entailment.
class NuvCPEdgeFinderPureI : public NuvCPEdgeFinderI {
 public:
  NuvCPEdgeFinderPureI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* start,
                       NuvCPIntVarI* const* duration, NuvCPIntVarI* const* end)
      : NuvCPEdgeFinderI(store, n, start, duration, end, nullptr) {}
  std::size_t classSize() const override { return sizeof(NuvCPEdgeFinderPureI); }
  int propagate() override;
};
