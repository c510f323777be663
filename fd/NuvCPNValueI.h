// The number of distinct values a set of variables takes.
#pragma once

#include <cstdint>
#include <iosfwd>

#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPIVarI.h"

// x[0..n) and a variable c: c = |{x[i]}| (exact), or c <= |{x[i]}| (at
// least c distinct values).
//
// Consistency: bounds on c from both sides and one pruning rule on x.
// Upper bound: a maximum matching between the variables and their values
// (Régin, "Cost-based arc consistency for global cardinality constraints"
// and the atleast_nvalue of Bessière et al., "Filtering algorithms for the
// NValue constraint", Constraints 11, 2006): no assignment uses more
// distinct values than a matching has edges. Lower bound (exact form):
// the fewest points that hit every variable's interval [min, max], by the
// greedy sweep on interval ends (Beldiceanu, "Pruning for the minimum
// constraint family and for the number of distinct values constraint
// family", CP 2001). When c.max equals the number of values already taken
// by bound variables, the others must reuse those values (exact form).
// Exact once everything is bound.
// Cost of one run: the matching is kept from the last run and repaired by
// augmenting paths, O(n * e) at worst (e the domains' total size), the
// sweep O(n log n).
// Shared arguments: a variable twice in x counts once in the values, and
// the matching gives it two slots: the upper bound is still an upper bound
// and the lower bound reads intervals; c among the x only weakens it.
// Members: x, c and the form are constant; the matching persists between
// runs (untrailed, a starting point); the sort buffer and marks are
// scratch.
class NuvCPNValueI : public NuvCPCstrI {
 public:
  NuvCPNValueI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* x, NuvCPIntVarI* c, bool exact);
  std::size_t classSize() const override { return sizeof(NuvCPNValueI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;
  bool ok() const { return _n == 0 || _scratch; }

 private:
  int matching();
  bool augment(int i);
  int lowerBound();

  std::int32_t _n;
  NuvCPIntVarI** _x = nullptr;
  NuvCPIntVarI* _c;
  bool _exact;
  std::int32_t _offset = 0, _V = 0;  // values offset .. offset + V - 1
  std::int32_t *_varOf = nullptr, *_valOf = nullptr, *_seen = nullptr, *_order = nullptr;
  std::int32_t _epoch = 0;
  void* _scratch = nullptr;
};
