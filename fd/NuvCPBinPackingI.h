// Bin packing: items of fixed weights assigned to bins whose loads are
// variables.
#pragma once

#include <cstdint>
#include <iosfwd>

#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPIVarI.h"

// n items with weights w[i] >= 0 and assignments x[i] over the bins named
// low..low + m - 1, m load variables:
//   l[j] = sum of w[i] over the items with x[i] = low + j, for every j.
//
// Consistency (Shaw, "A constraint for bin packing", CP 2004, with the
// single-bin test made exact):
//   - each load between the weight already in its bin and the weight that
//     may still come; the loads sum to the total weight, so each load lies
//     within the total less the others' bounds;
//   - an item leaves a bin it would overfill, and is committed to a bin
//     that cannot reach its least load without it;
//   - single bins: the subset sums of the items that may still come are
//     computed (a bit-set knapsack, for bins whose room is below 2^16), so
//     a bin no subset fills within its load's bounds fails, and the load's
//     bounds move to the nearest sums reached (Shaw's NoSum reasoning,
//     exact here);
//   - single items (Shaw's NoSum pruning rules): an item leaves a bin the
//     others cannot complete around it, and joins a bin they cannot fill
//     without it, "cannot" being NoSum's cardinality test (the t largest
//     fall short and the t + 1 smallest overshoot);
//   - with `lowerBound` (CP$BinPackingLB), Shaw's reduction to a packing
//     into equal bins (each bin topped up by a virtual item of its missing
//     room) and the Martello-Toth bound L2 on it: more bins needed than
//     there are fails.
// Cost of one run: O(sum of domain sizes) for the counts and commitments,
// O(k * room / 64) per bin for its subset sums (k the items that may come)
// and O(k^2) for the single items,
// O(n log n + n * d) for L2 (d distinct small weights).
// Shared arguments: one variable at two item positions is two items whose
// values are counted apart; a solution puts both in one bin, which the
// loads' sums count twice as the relation does; a load that is also an
// item's assignment is read as both: every rule is a consequence of the
// relation read position by position, so the filtering stays sound, and
// the check is exact once everything is bound.
// Members: x, w, l, low and the flag are constant; the weights' order is
// constant (built at post); the counts, bit sets and sizes are scratch.
class NuvCPBinPackingI : public NuvCPCstrI {
 public:
  NuvCPBinPackingI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* x, const int* w, int m,
                   NuvCPIntVarI* const* l, int low, bool lowerBound);
  std::size_t classSize() const override { return sizeof(NuvCPBinPackingI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;
  // False when storage ran out or a weight is negative.
  bool ok() const { return _ok; }

 private:
  int loads(bool& narrowed);
  int items(bool& narrowed);
  int subsetSums(bool& narrowed);
  int singleItems(int j, std::int64_t req, bool& narrowed);
  int lowerBound();

  std::int32_t _n, _m, _low;
  bool _lowerBound, _ok = false;
  NuvCPIntVarI** _x = nullptr;
  NuvCPIntVarI** _l = nullptr;
  std::int32_t* _w = nullptr;
  std::int32_t* _order = nullptr;  // items by decreasing weight
  std::int64_t _total = 0;
  // Scratch.
  std::int64_t *_req = nullptr, *_poss = nullptr, *_sizes = nullptr;
  std::uint64_t* _bits = nullptr;
  std::int32_t _words = 0;  // the bit set's capacity, in 64-bit words
  // One bin's candidates (heaviest first) and the sums of their t largest
  // and t smallest.
  std::int32_t* _cand = nullptr;
  std::int64_t *_largest = nullptr, *_smallest = nullptr;
};
