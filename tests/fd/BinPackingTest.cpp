// Bin packing: never loses a packing nor accepts a wrong one (exhaustively,
// across backtracking), with and without the lower bound, with a variable
// in two item positions and a load that is also an item's bin; the subset
// sums, the single-item rules and the lower bound prune what the counts
// alone cannot.
#include <gtest/gtest.h>

#include <vector>

#include "fd/NuvCPBinPackingI.h"
#include "fd/NuvCPCIntVarI.h"
#include "tests/fd/PropagatorChecker.h"

namespace {

using namespace nuvcheck;

// Positions: the n items' bins (named from `low`), then the m loads.
bool packs(const std::vector<int>& w, int m, int low, const Assignment& a) {
  const std::size_t n = w.size();
  std::vector<int> load(static_cast<std::size_t>(m), 0);
  for (std::size_t i = 0; i < n; ++i) {
    const int j = a[i] - low;
    if (j < 0 || j >= m) return false;
    load[static_cast<std::size_t>(j)] += w[i];
  }
  for (int j = 0; j < m; ++j)
    if (a[n + static_cast<std::size_t>(j)] != load[static_cast<std::size_t>(j)]) return false;
  return true;
}

Post postPacking(std::vector<int> w, int m, int low, bool lb) {
  return [=](NuvCPManagerI& s, const Vars& v) {
    const int n = static_cast<int>(w.size());
    return s.post(nuvCPNew<NuvCPBinPackingI>(s.allocator(), &s, n, v.data(), w.data(), m, v.data() + n, low, lb));
  };
}

TEST(BinPacking, NeverLosesNorAcceptsAWrongPacking) {
  std::uint32_t seed = 90;
  const std::vector<std::vector<int>> weights = {{2, 3, 1, 4}, {3, 3, 2, 0}, {5, 2, 2}, {1, 1, 2, 3, 3}};
  for (const auto& w : weights)
    for (int m : {2, 3})
      for (bool lb : {false, true}) {
        if (w.size() == 5 && m == 3) continue;  // too many assignments to enumerate
        SCOPED_TRACE(::testing::Message() << "items " << w.size() << ", bins " << m << ", lower bound " << lb);
        const int low = 1;
        std::vector<std::pair<int, int>> ranges(w.size(), {0, m});
        for (int j = 0; j < m; ++j) ranges.push_back({0, 7});
        PropagatorChecker checker(randomDomains(ranges, 0.85), postPacking(w, m, low, lb),
                                  [=](const Assignment& a) { return packs(w, m, low, a); });
        Options o;
        o.seed = seed++;
        o.trials = 120;
        o.maxAssignments = 300000;
        const Stats st = checker.run(o);
        EXPECT_GT(st.trialsWithSolutions, 5);
        if (w.size() == 4 && m == 2) {
          // One variable in two item positions; a load that is an item's bin.
          o.trials = 60;
          checkShared({{0}, {1}, {0}, {2}, {3}, {4}}, ranges, postPacking(w, m, low, lb),
                      [=](const Assignment& a) { return packs(w, m, low, a); }, o);
          checkShared({{0}, {1}, {2}, {3}, {4}, {0}}, ranges, postPacking(w, m, low, lb),
                      [=](const Assignment& a) { return packs(w, m, low, a); }, o);
        }
        if (::testing::Test::HasFailure()) return;
      }
}

struct Store {
  PimArenaAllocator arena;
  NuvTrailI trail;
  NuvCPManagerI store{&arena, &trail};
  NuvCPIntVarI* var(int lo, int hi) { return nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, lo, hi); }
};

TEST(BinPacking, SubsetSumsAndTheLowerBoundPrune) {
  // Weights 4 and 6 into a bin whose load is 3..9: only 4 and 6 are sums
  // within reach, so the load becomes 4..6. Items 5, 3 and 3 into a bin
  // of exactly 6: the 5 leaves it, both 3s join it.
  {
    Store s;
    std::vector<NuvCPIntVarI*> x = {s.var(1, 2), s.var(1, 2), s.var(1, 2)}, l = {s.var(6, 6), s.var(0, 20)};
    const int w[] = {5, 3, 3};
    ASSERT_NE(s.store.post(nuvCPNew<NuvCPBinPackingI>(&s.arena, &s.store, 3, x.data(), w, 2, l.data(), 1, false)),
              NuvCPFailure);
    EXPECT_EQ(x[0]->getMin(), 2);
    EXPECT_EQ(x[1]->getMax(), 1);
    EXPECT_EQ(x[2]->getMax(), 1);
  }
  {
    Store s;
    std::vector<NuvCPIntVarI*> x = {s.var(1, 2), s.var(1, 2)}, l = {s.var(3, 9), s.var(0, 20)};
    const int w[] = {4, 6};
    ASSERT_NE(s.store.post(nuvCPNew<NuvCPBinPackingI>(&s.arena, &s.store, 2, x.data(), w, 2, l.data(), 1, false)),
              NuvCPFailure);
    EXPECT_EQ(l[0]->getMin(), 4);
    EXPECT_EQ(l[0]->getMax(), 6);
  }
  // Four items of 6 and three of 2 in three bins of 11: each bin alone
  // can be filled to 10 (6 + 2 + 2) and the total is 30; L2 sees four
  // items above half a bin.
  for (bool lb : {false, true}) {
    Store s;
    std::vector<NuvCPIntVarI*> x, l = {s.var(0, 11), s.var(0, 11), s.var(0, 11)};
    for (int i = 0; i < 7; ++i) x.push_back(s.var(1, 3));
    const int w[] = {6, 6, 6, 6, 2, 2, 2};
    const int r = s.store.post(nuvCPNew<NuvCPBinPackingI>(&s.arena, &s.store, 7, x.data(), w, 3, l.data(), 1, lb));
    EXPECT_EQ(r == NuvCPFailure, lb);
  }
}

}  // namespace
