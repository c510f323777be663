// Sums over every window of consecutive variables.
#pragma once

#include <cstdint>
#include <iosfwd>

#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPIVarI.h"

// x[0..n), a window length q >= 1 and bounds low..up: every q consecutive
// x sum to a value within low..up (the sequence, or sliding-sum,
// constraint); with n < q there is no window and nothing to hold.
//
// Consistency: bounds consistency on each window's sum taken alone (what
// the decomposition into n - q + 1 linear constraints reaches, in one
// propagator that reads each bound once per run): a window whose least
// sum exceeds up or whose greatest falls below low fails; each variable is
// bounded by the room the rest of each of its windows leaves. Exact once
// everything is bound. Not the stronger flow-based filtering of van Hoeve
// et al. ("Revisiting the sequence constraint", CP 2006). Their simpler
// domain-consistent form for 0/1 variables, regular over the automaton of
// the last q - 1 values, was tried on car sequencing (30 and 24 cars, 5
// options, windows 2..5): it saved under 1% of the nodes and took 1.8
// times as long, so the windows' bounds stay.
// Cost: the post's pass is O(n * q) (prefix sums, then each variable's
// windows); afterwards each bound event on position i rechecks the at most
// q windows through i, O(q) reads and O(q * q) arithmetic, narrowing only
// in a window whose sums leave room to narrow. One propagator woken per
// event costs a little more than the windows as separate linear
// constraints on car sequencing (about 9 %), and needs n - q + 1 fewer
// propagators.
// Shared arguments: a variable twice in one window is counted twice by the
// sums, as the relation says, but its bounds are narrowed as if it were
// two variables: sound, weaker; exact once bound.
// Members: x, q, low and up are constant; the prefix sums (and the bounds
// read by an event) are scratch.
class NuvCPSlidingSumI : public NuvCPCstrI {
 public:
  NuvCPSlidingSumI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* x, int q, int low, int up);
  std::size_t classSize() const override { return sizeof(NuvCPSlidingSumI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  int propagate() override;
  int updateBoundsIdx(NuvCPIntVarI* x, int i) override;
  int valBindIdx(NuvCPIntVarI* x, int i, int v) override;
  int post(int level) override;
  bool ok() const { return _n == 0 || _sums; }

 private:
  std::int32_t _n, _q, _low, _up;
  NuvCPIntVarI** _x = nullptr;
  std::int64_t* _sums = nullptr;  // prefix sums of the minima, then the maxima
  int windowsAt(int i);
};
