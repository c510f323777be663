// Balance: variables that sum to a fixed total, and how far they spread
// around its mean.
#pragma once

#include <cstdint>
#include <iosfwd>

#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPIVarI.h"

// x[0..n), a total s and a measure c, in integers (the mean s / n scaled
// by n):
//   sum x[i] = s  and
//   deviation:  c = sum |n * x[i] - s|     (Schaus, Deville, Dupont and
//               Régin, "The deviation constraint", CPAIOR 2007)
//   spread:     c = sum (n * x[i] - s)^2   (n^3 times the variance;
//               Pesant and Régin, "SPREAD: a balancing constraint based
//               on statistics", CP 2005)
//
// Consistency: bounds consistency on the sum (each x within what the
// others' bounds leave of s); c between the sums of each term's least and
// greatest value over its x's bounds (the least at the point of the
// interval nearest the mean); each x bounded by the room c.max leaves its
// own term once the others take their least. Weaker than the papers'
// algorithms, which reason on the sum and the measure together; exact once
// everything is bound.
// Cost of one run: O(n). Not idempotent.
// Shared arguments: a variable twice counts twice in the sum and the
// measure, as the relation says; the bounds stay sound; c among the x only
// weakens them.
// Members: x, s and the measure are constant.
class NuvCPBalanceI : public NuvCPCstrI {
 public:
  NuvCPBalanceI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* x, int total, NuvCPIntVarI* c, bool squares);
  std::size_t classSize() const override { return sizeof(NuvCPBalanceI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;
  bool ok() const { return _n == 0 || _x; }

 private:
  std::int64_t term(std::int64_t v) const;
  // The least and greatest term over [lo, hi].
  std::int64_t least(std::int64_t lo, std::int64_t hi) const;
  std::int64_t greatest(std::int64_t lo, std::int64_t hi) const;

  std::int32_t _n, _total;
  NuvCPIntVarI** _x;
  NuvCPIntVarI* _c;
  bool _squares;
};
