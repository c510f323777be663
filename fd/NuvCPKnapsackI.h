// Binary knapsack: a weighted sum of 0/1 variables equals a variable.
#pragma once

#include <cstdint>
#include <iosfwd>

#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPIVarI.h"

// n variables x[i] in {0, 1}, weights w[i] >= 0 and a load variable:
//   sum of w[i] * x[i] = load.
//
// Three strengths:
//   Light   the load within the least and greatest sums, each x fixed when
//           one of its values leaves the load out of reach (bounds
//           reasoning over the relaxation to intervals): O(n) a run;
//   Dense   domain consistency on x and load by Trick's dynamic programme
//           ("A dynamic programming approach for consistency and
//           propagation for knapsack constraints", Annals of OR 118, 2003):
//           the sums each prefix of the items can make are bit sets
//           (forward), the sums from which the remaining items can reach a
//           value of load are walked backwards; x[i] keeps the values with
//           an edge from a forward sum to a backward one, load the values
//           the whole sum can make. O(n * U / 64) a run, U the load's
//           greatest value (at most 2^20; above, a run falls back to
//           Light);
//   Sparse  the same programme over the sorted lists of the sums reached,
//           for large weights with few distinct sums: O(n * S) a run, S
//           the sums in one layer (at most 4096; above, Light).
// Measured on multi-knapsacks and market-split instances searched item by
// item: the programmes' trees equal Light's, at 10 to 35 times the time
// (a load's domain fills with holes); they pay where the loads are tight
// and the search does not follow the items.
// Shared arguments: a variable at two positions is two items read apart;
// the filtering is then sound, not complete, and exact once bound. The
// load that is also an item: the same.
// Members: x, w, load and the strength are constant; the layers are
// scratch (rebuilt each run).
class NuvCPKnapsackI : public NuvCPCstrI {
 public:
  enum Strength { Light, Dense, Sparse };
  NuvCPKnapsackI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* x, const int* w, NuvCPIntVarI* load,
                 Strength strength);
  std::size_t classSize() const override { return sizeof(NuvCPKnapsackI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;
  // False when storage ran out or a weight is negative.
  bool ok() const { return _ok; }

 private:
  int bounds(bool& narrowed);
  int dense(bool& narrowed, bool& done);
  int sparse(bool& narrowed, bool& done);
  int keepSupported(NuvCPIntVarI* x, bool zero, bool one, bool& narrowed);

  std::int32_t _n;
  Strength _strength;
  bool _ok = false;
  NuvCPIntVarI** _x = nullptr;
  NuvCPIntVarI* _load;
  std::int32_t* _w = nullptr;
  std::int64_t _sumW = 0;
  // Scratch: dense layers (n + 1 bit sets of _words words, and two running
  // sets), or sparse layers (n + 1 lists of at most kSparseCap sums, with
  // their sizes, and two running lists).
  std::int32_t _words = 0;
  std::uint64_t* _bits = nullptr;
  std::int32_t* _sums = nullptr;
  std::int32_t* _counts = nullptr;
};
