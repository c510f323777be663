// Global cardinality: how many variables take each value.
#pragma once

#include <cstdint>
#include <iosfwd>

#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPIVarI.h"

// n variables x and m distinct values v[k], each with a count: a variable
// c[k] (counts form), or fixed bounds low[k]..up[k] (low-up form):
//   #{i : x[i] = v[k]} = c[k]   (or within low[k]..up[k]) for every k,
// and, when closed, every x[i] takes one of the v[k].
//
// Consistency: a counting pass first (each count between the variables
// bound to its value and those that may take it; a count reached by the
// bound variables takes its value from the rest; one that needs every
// variable that may take it binds them), then domain consistency on x with
// respect to the counts' bounds by Régin's flow ("Generalized arc
// consistency for global cardinality constraint", AAAI 1996): a flow from
// the variables to the values within each value's bounds, kept from the
// last run and repaired (lower bounds first, then every variable, along
// augmenting paths that never take a value below its lower bound); a
// value outside the flow is kept exactly when it lies on a cycle of the
// residual graph (Tarjan's strongly connected components). With fixed
// bounds (low-up form) this is domain consistency; with count variables,
// domain consistency on x for the counts' current bounds and the counting
// bounds on the counts.
// Cost of one run: O(n * d) for the counting pass; the flow's repair is
// O(n * e) at worst (e the domain size total), usually a few paths; the
// components O(n + e + values).
// Shared arguments: a variable at two positions is two units of flow
// over one domain; every solution is still a flow, so the filtering stays
// sound (only weaker), and the counting check is exact once everything is
// bound. A count that is also an x only weakens it.
// Members: x, the values, the counts or bounds and the closed flag are
// constant; the flow (each variable's value) persists between runs,
// untrailed (only a starting point); the graph arrays are scratch.
class NuvCPCardinalityI : public NuvCPCstrI {
 public:
  // `count` (m variables) or `low` and `up` (m ints each).
  NuvCPCardinalityI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* x, int m, const int* values,
                    NuvCPIntVarI* const* count, const int* low, const int* up, bool closed);
  std::size_t classSize() const override { return sizeof(NuvCPCardinalityI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;
  bool ok() const { return _scratch != nullptr; }

 private:
  int counting(bool& changed);
  int flow();
  bool augmentFromValue(int v);
  bool augmentFromVar(int x);
  void bounds();
  int filter();

  std::int32_t _n, _m;
  NuvCPIntVarI** _x = nullptr;
  NuvCPIntVarI** _count = nullptr;  // null in the low-up form
  std::int32_t *_value = nullptr, *_low = nullptr, *_up = nullptr;
  bool _closed;
  // Values offset..offset + _V - 1 (the initial domains and the values).
  std::int32_t _offset = 0, _V = 0;
  std::int32_t* _index = nullptr;  // value - offset -> k, or -1
  // Flow (persistent scratch) and graph scratch.
  std::int32_t *_match = nullptr, *_flow = nullptr, *_lo = nullptr, *_hi = nullptr;
  std::int32_t *_seenVar = nullptr, *_seenVal = nullptr;
  std::int32_t _epoch = 0;
  std::int32_t *_begin = nullptr, *_vars = nullptr;  // variables matched to each value
  std::int32_t *_comp = nullptr, *_low2 = nullptr, *_stack = nullptr, *_cstack = nullptr, *_iter = nullptr;
  void* _scratch = nullptr;
};
