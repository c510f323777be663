// How many variables take their value in a set, exactly or softly.
#pragma once

#include <cstdint>
#include <iosfwd>

#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPIVarI.h"

// x[0..n), a set S of values and a count: with k = #{i : x[i] in S},
//   exact:     c = k                   (among, count)
//   at least:  c = max(0, bound - k)   (the violation of "k >= bound")
//   at most:   c = max(0, k - bound)   (the violation of "k <= bound")
//
// Consistency: bounds consistency on c and domain consistency on x for the
// count's bounds (the same as the decomposition into reified memberships
// and a sum reaches, in one propagator): k lies between the variables
// inside S for sure and those that may be; c follows; the bounds c allows
// on k remove S from the rest once enough are inside, or keep them inside
// S once no more may leave.
// Cost of one run: O(n * |S|) with membership tested by binary search on
// the sorted set (O(n log |S|) for bounds, more where domains have holes).
// Shared arguments: a variable twice in x counts twice, as the relation
// says; c among the x only weakens the reasoning; exact once bound.
// Members: x, S (sorted, distinct), the bound and the mode are constant;
// nothing trailed or scratch.
class NuvCPAmongI : public NuvCPCstrI {
 public:
  enum Mode { kExact, kAtLeast, kAtMost };
  NuvCPAmongI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* x, int m, const int* set, NuvCPIntVarI* c,
              Mode mode = kExact, int bound = 0);
  std::size_t classSize() const override { return sizeof(NuvCPAmongI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;
  bool ok() const { return (_n == 0 || _x) && (_m == 0 || _set); }

 private:
  bool inSet(int v) const;
  // 1: every value of x in S, 0: none, -1: both kinds.
  int where(const NuvCPIntVarI* x) const;

  std::int32_t _n, _m;
  NuvCPIntVarI** _x;
  std::int32_t* _set = nullptr;
  NuvCPIntVarI* _c;
  Mode _mode;
  std::int32_t _bound;
};
