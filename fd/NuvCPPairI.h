// Pairs of values encoded as one.
#pragma once

#include <cstdint>
#include <iosfwd>

#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPIVarI.h"

// n triples (x[k], y[k], z[k]) and a width w >= 1: for every k,
//   0 <= y[k] < w  and  z[k] = x[k] * w + y[k],
// the pair (x, y) as a single value (orthogonality of Latin squares and
// all-different over pairs post an all-different over the z).
//
// Consistency: domain consistency on each triple: a value of z stays when
// its quotient and remainder by w are in x and y; a value of x (of y)
// stays when some value of y (of x) makes a z in z's domain.
// Cost of one run: O(|Dz| + |Dx| * |Dy|) per triple.
// Shared arguments: triples are filtered one at a time through the
// variables; a variable in two triples (or twice in one) is narrowed by
// each, soundly; exact once bound.
// Members: the arrays and w are constant; nothing trailed or scratch.
class NuvCPPairI : public NuvCPCstrI {
 public:
  NuvCPPairI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* x, NuvCPIntVarI* const* y, NuvCPIntVarI* const* z,
             int width);
  std::size_t classSize() const override { return sizeof(NuvCPPairI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;
  bool ok() const { return _n == 0 || (_x && _y && _z); }

 private:
  int filter(int k, bool& changed);

  std::int32_t _n, _width;
  NuvCPIntVarI** _x;
  NuvCPIntVarI** _y;
  NuvCPIntVarI** _z;
};
