// Global cardinality as a soft constraint: how far the counts are off.
#pragma once

#include <cstdint>
#include <iosfwd>

#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPIVarI.h"

// n variables x, m values v[k] with bounds low[k]..up[k], and a violation
// variable c (the value-based violation of van Hoeve, Pesant and
// Rousseau, "On global warming: flow-based soft global constraints",
// Journal of Heuristics 12, 2006):
//   c = sum over k of max(0, low[k] - count[k]) + max(0, count[k] - up[k]),
//   count[k] = #{i : x[i] = v[k]}.
//
// Consistency: bounds on c from each value's count interval (the variables
// bound to it, and those that may take it): the shortfall and the excess
// those intervals force bound c from below, the most they allow bound it
// from above. When c.max leaves no room above that lower bound, a value
// already at its upper bound is taken from the undecided variables and a
// value short of its lower bound with every candidate needed binds them.
// The flow-based filtering of the paper is stronger; this is the counting
// part, exact once everything is bound.
// Cost of one run: O(n * d + m).
// Shared arguments: a variable twice counts twice, as the relation says;
// c among the x only weakens the reasoning.
// Members: x, the values and bounds are constant; nothing trailed;
// the per-value counts are scratch.
class NuvCPSoftCardinalityI : public NuvCPCstrI {
 public:
  NuvCPSoftCardinalityI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* x, int m, const int* values,
                        const int* low, const int* up, NuvCPIntVarI* violation);
  std::size_t classSize() const override { return sizeof(NuvCPSoftCardinalityI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;
  bool ok() const { return _scratch != nullptr; }

 private:
  std::int32_t _n, _m;
  NuvCPIntVarI** _x = nullptr;
  std::int32_t *_value = nullptr, *_low = nullptr, *_up = nullptr, *_sure = nullptr, *_maybe = nullptr;
  NuvCPIntVarI* _c;
  void* _scratch = nullptr;
};
