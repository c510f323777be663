// Two activities that may not overlap, with sequence-dependent setup
// times between them.
#pragma once

#include <cstdint>
#include <iosfwd>

#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPIVarI.h"

// Activities A and B (start and end variables each) on one resource:
//   A.end + setup(A, B) <= B.start   or   B.end + setup(B, A) <= A.start;
// with an order variable o (0/1), o = 1 imposes the first (A first) and
// o = 0 the second.
// A setup is a constant, or setup[typeA][typeB] from a matrix (rows and
// columns indexed from 0) with the activities' types as variables.
//
// Consistency: bounds on the two precedences (the setups read as their
// least value over the types still possible, which is exact once the types
// are bound): a precedence that cannot hold fixes the order, a decided
// order imposes its precedence (B.start >= A.end.min + setup and A.end <=
// B.start.max - setup): the disjunctive pair of Erschler, Roubellat and
// Vernhes (1976) with sequence-dependent setups added to each side, as in
// Brucker and Thiele ("A branch & bound method for the general-shop
// problem with sequence dependent setup-times", OR Spektrum 1996). O(1) per run with constant setups, O(types^2) with
// a matrix. Never reports itself entailed.
// Shared arguments: every deduction holds of all values in the bounds;
// one variable in several places only weakens it.
// Members: the variables, the setups and the matrix are constant.
class NuvCPTransitionPairI : public NuvCPCstrI {
 public:
  // `order`, `typeA`, `typeB` and `matrix` may be null (then the constant
  // setups count). `matrix` has `types` x `types` entries, row-major.
  NuvCPTransitionPairI(NuvCPManagerI* store, NuvCPIntVarI* aStart, NuvCPIntVarI* aEnd, NuvCPIntVarI* bStart,
                       NuvCPIntVarI* bEnd, int setupAB, int setupBA, NuvCPIntVarI* order, NuvCPIntVarI* typeA,
                       NuvCPIntVarI* typeB, const int* matrix, int types, const char* printName);
  std::size_t classSize() const override { return sizeof(NuvCPTransitionPairI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;
  bool ok() const { return !_typeA || _matrix; }

 private:
  // The least setup from x's types to y's (the constant without a matrix).
  std::int64_t setup(NuvCPIntVarI* x, NuvCPIntVarI* y, int constant) const;
  int first(NuvCPIntVarI* xs, NuvCPIntVarI* xe, NuvCPIntVarI* ys, std::int64_t gap);

  NuvCPIntVarI *_as, *_ae, *_bs, *_be;
  std::int32_t _setupAB, _setupBA;
  NuvCPIntVarI *_order, *_typeA, *_typeB;
  std::int32_t* _matrix = nullptr;
  std::int32_t _types;
  const char* _printName;
};
