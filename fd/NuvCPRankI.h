// Ranking activities on a unary resource: who comes first, and in which
// order, with sequence-dependent setup times.
#pragma once

#include <cstdint>
#include <iosfwd>

#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPIVarI.h"

// n activities on one resource (start s[i], duration d[i] >= 0, end e[i] =
// s[i] + d[i] posted beside it when ends are given), present when p[i] is 1
// (no presence array: all present). Two forms:
//
// Rank first (`first`, its values name activities: low .. low + n - 1):
//   p[first] = 1 and every other present activity starts at or after the
//   end of activity `first`.
// Ranks (`rank`, values 0 .. n - 1, and n for an absent activity):
//   present activities have pairwise different ranks below n, absent ones
//   rank n; for present i, j with rank[i] < rank[j]:
//     s[j] >= s[i] + d[i] + setup(type[i], type[j])
//   (setup 0 without a matrix; a matrix that keeps the triangle inequality
//   makes this the usual "setup between consecutive activities"). Without
//   presence the ranks are a permutation of 0 .. n - 1. With successors
//   (`succ`, values low .. low + n, low + n for "none"):
//     succ[i] = low + j  <=>  rank[j] = rank[i] + 1,
//     succ[i] = low + n  <=>  rank[i] = n - 1.
//
// Consistency: pairwise reasoning, O(n^2) per run, exact once everything
// is bound. For two present activities, an order the time windows exclude
// (ect with setup after the other's latest start) orders their ranks, and
// ordered ranks push the windows (the disjunctive pair of Erschler and
// Lopez with Allahverdi's setups); an undecided activity that fits in no
// order beside a present one is made absent; a bound rank leaves the other
// present activities; a rank counts the activities the windows put before
// and after it (so a rank too close to either end fails early). Rank
// first: a candidate must end before every present activity's latest
// start; a chosen one pushes them all; a non-candidate starts after the
// earliest end of the candidates. Successors follow the ranks' bounds both
// ways.
// Shared arguments: every rule narrows through the variables from bounds
// that hold in all solutions; one variable in several places only weakens
// it.
// Members: n, the arrays, the types and the matrix are constant; nothing
// is trailed, nothing scratch.
class NuvCPRankI : public NuvCPCstrI {
 public:
  struct Args {
    int n = 0;
    NuvCPIntVarI* const* s = nullptr;
    NuvCPIntVarI* const* d = nullptr;
    NuvCPIntVarI* const* e = nullptr;        // may be null
    NuvCPIntVarI* const* present = nullptr;  // may be null
    NuvCPIntVarI* first = nullptr;           // the rank-first form
    NuvCPIntVarI* const* rank = nullptr;     // the rank form
    NuvCPIntVarI* const* succ = nullptr;     // may be null
    int low = 0;                             // the first activity's name
    const int* type = nullptr;               // may be null (no setups)
    const int* setup = nullptr;              // types x types, row by row
    int types = 0;
    const char* name = "RankCstr";           // the print form's class name
  };
  NuvCPRankI(NuvCPManagerI* store, const Args& a);
  std::size_t classSize() const override { return sizeof(NuvCPRankI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;
  bool ok() const { return _n == 0 || (_s && _d && (_rank || _first)); }

 private:
  int propagateFirst();
  int propagateRanks();
  int order(int i, int j, bool& changed);  // i before j
  int successors(bool& changed);
  bool present(int i) const { return !_p || _p[i]->getMin() == 1; }
  bool absent(int i) const { return _p && _p[i]->getMax() == 0; }
  std::int64_t setup(int i, int j) const {
    return _matrix ? _matrix[static_cast<std::size_t>(_type[i]) * static_cast<std::size_t>(_types) +
                             static_cast<std::size_t>(_type[j])]
                   : 0;
  }
  std::int64_t ect(int i) const { return std::int64_t{_s[i]->getMin()} + _d[i]->getMin(); }

  std::int32_t _n;
  NuvCPIntVarI** _s = nullptr;
  NuvCPIntVarI** _d = nullptr;
  NuvCPIntVarI** _e = nullptr;
  NuvCPIntVarI** _p = nullptr;
  NuvCPIntVarI* _first;
  NuvCPIntVarI** _rank = nullptr;
  NuvCPIntVarI** _succ = nullptr;
  std::int32_t _low;
  std::int32_t* _type = nullptr;
  std::int32_t* _matrix = nullptr;
  std::int32_t _types;
  const char* _name;
};
