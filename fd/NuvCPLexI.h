// Lexicographic order between two arrays.
#pragma once

#include <cstdint>
#include <iosfwd>

#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPIVarI.h"

// x[0..nx) <=lex y[0..ny) (or <lex when strict): the first position where
// they differ has x below y; when one is a prefix of the other, the
// shorter comes first, and equal arrays satisfy only the non-strict form.
//
// Consistency: domain consistency (generalised arc consistency), by the
// two-pointer algorithm of Frisch, Hnich, Kiziltan, Miguel and Walsh
// ("Global constraints for lexicographic orderings", CP 2002): alpha, the
// first position not fixed to equal values, and beta, the first position
// from which x surely comes after y whatever the values; only position
// alpha is ever narrowed (x[alpha] < y[alpha] when beta = alpha + 1,
// x[alpha] <= y[alpha] otherwise), and alpha moves on while the narrowing
// fixes equal values. The end of the shorter array acts as one more
// position that is satisfied (x shorter, or equal lengths when not strict)
// or violated.
// Cost of one run: O(n) (both pointers recomputed from the start).
// Entailed once x[alpha] < y[alpha] holds for all values.
// Shared arguments: a variable in x and y at one position fixes that
// position equal (it counts as fixed only when bound); elsewhere sharing
// only weakens the reasoning, which reads bounds; the check once all is
// bound is exact.
// Members: the arrays, their lengths and the strict flag are constant;
// nothing is trailed or scratch.
class NuvCPLexI : public NuvCPCstrI {
 public:
  NuvCPLexI(NuvCPManagerI* store, int nx, NuvCPIntVarI* const* x, int ny, NuvCPIntVarI* const* y, bool strict);
  std::size_t classSize() const override { return sizeof(NuvCPLexI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;
  bool ok() const { return (_nx == 0 || _x) && (_ny == 0 || _y); }

 private:
  std::int32_t _nx, _ny;
  NuvCPIntVarI** _x;
  NuvCPIntVarI** _y;
  bool _strict;
};
