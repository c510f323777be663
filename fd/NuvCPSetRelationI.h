// Relations between set variables that hold element by element.
#pragma once

#include <cstdint>
#include <iosfwd>

#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPIntSetVarI.h"

// Over set variables x, y and (for the ternary kinds) z:
//   Subset      x within y              Equal       x = y
//   Disjoint    x and y share nothing   Union       z = x union y
//   Inter       z = x intersect y       Difference  z = x minus y
// Each holds exactly when it holds for every element on its own (whether
// e is in x, in y, in z), so the propagator works element by element: for
// every element of the universes' span, the memberships the variables
// still allow are tried (at most 8), a membership every allowed one
// agrees on is imposed (require or exclude), and none allowed fails. An
// element outside a variable's universe is out of it.
// Consistency: bounds consistency on the sets (every required element is
// in all solutions, every possible one in some), as the relation is the
// product of its elements' relations: the set-interval reasoning of Gervet
// ("Interval propagation to reason about sets", Constraints 1(3), 1997).
// Cost of one run: O(span) over the universes' span, 8 membership tests
// an element.
// Shared arguments: one variable at two positions reads the same bits at
// both; the tries that give it two memberships are dropped, so the
// filtering stays exact.
// Members: the kind and the variables are constant.
class NuvCPSetRelationI : public NuvCPCstrI {
 public:
  enum Kind { Subset, Equal, Disjoint, Union, Inter, Difference };
  NuvCPSetRelationI(NuvCPManagerI* store, Kind kind, NuvCPIntSetVarI* x, NuvCPIntSetVarI* y,
                    NuvCPIntSetVarI* z = nullptr);
  std::size_t classSize() const override { return sizeof(NuvCPSetRelationI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;
  bool ok() const { return _x && _y && (_z || _kind < Union); }

 private:
  bool holds(bool a, bool b, bool c) const;

  Kind _kind;
  NuvCPIntSetVarI *_x, *_y, *_z;
};
