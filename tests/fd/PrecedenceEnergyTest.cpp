// Precedence energy on a cumulative resource: never loses a schedule
// (exhaustively, across backtracking, with arcs that chain, fork and close
// a cycle), checks it once bound, and the energy deduction itself.
#include <gtest/gtest.h>

#include <vector>

#include "fd/NuvCPCIntVarI.h"
#include "fd/NuvCPPrecedenceEnergyI.h"
#include "tests/fd/PropagatorChecker.h"

namespace {

using namespace nuvcheck;

constexpr int kN = 4, kCapacity = 2;

// Positions: s[0..4), d[0..4), r[0..4).
bool holds(const std::vector<std::pair<int, int>>& arcs, const Assignment& a) {
  auto at = [&](int k) { return a[static_cast<std::size_t>(k)]; };
  for (int i = 0; i < kN; ++i)
    if (at(kN + i) < 0 || at(2 * kN + i) < 0) return false;
  for (auto [i, j] : arcs)
    if (at(i) + at(kN + i) > at(j)) return false;
  for (int t = -2; t < 12; ++t) {
    int use = 0;
    for (int i = 0; i < kN; ++i)
      if (at(i) <= t && t < at(i) + at(kN + i)) use += at(2 * kN + i);
    if (use > kCapacity) return false;
  }
  return true;
}

TEST(PrecedenceEnergy, NeverLosesAScheduleAndChecksWhenBound) {
  const std::vector<std::vector<std::pair<int, int>>> graphs = {
      {{0, 3}, {1, 3}, {2, 3}},  // three predecessors of one
      {{0, 1}, {1, 2}, {0, 3}},  // a chain and a fork
      {{0, 1}, {1, 0}},          // a cycle: only durations of 0 close it
  };
  std::uint32_t seed = 300;
  for (const auto& g : graphs) {
    std::vector<int> from, to;
    for (auto [i, j] : g) {
      from.push_back(i);
      to.push_back(j);
    }
    const std::vector<std::pair<int, int>> ranges = {{0, 4}, {0, 4}, {0, 4}, {0, 6}, {0, 2}, {0, 2}, {1, 2}, {1, 1},
                                                     {1, 2}, {1, 1}, {1, 2}, {1, 1}};
    PropagatorChecker checker(
        randomDomains(ranges, 0.65),
        [=](NuvCPManagerI& s, const Vars& v) {
          return s.post(nuvCPNew<NuvCPPrecedenceEnergyI>(s.allocator(), &s, kN, v.data(), v.data() + kN,
                                                         v.data() + 2 * kN, kCapacity, static_cast<int>(from.size()),
                                                         from.data(), to.data()));
        },
        [g](const Assignment& a) { return holds(g, a); });
    Options o;
    o.seed = seed++;
    o.trials = 200;
    o.maxAssignments = 120000;
    const Stats st = checker.run(o);
    EXPECT_GT(st.trialsWithSolutions, 5);
    EXPECT_GT(st.failures, 0);
    if (::testing::Test::HasFailure()) return;
  }
}

TEST(PrecedenceEnergy, PredecessorsShareTheResourceBeforeTheirSuccessor) {
  // Three activities of 2 x demand 1 from time 0 precede d on a resource of
  // capacity 2: each ends by 2 at the earliest, but together they need 6
  // units of energy, 3 time units at capacity 2: d starts at 3, not 2.
  // Backward, each must end by d's latest start 5, so start by 3.
  PimArenaAllocator arena;
  NuvTrailI trail;
  NuvCPManagerI store(&arena, &trail);
  auto var = [&](int lo, int hi) -> NuvCPIntVarI* { return nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, lo, hi); };
  NuvCPIntVarI* s[] = {var(0, 10), var(0, 10), var(0, 10), var(0, 5)};
  NuvCPIntVarI* d[] = {var(2, 2), var(2, 2), var(2, 2), var(1, 1)};
  NuvCPIntVarI* r[] = {var(1, 1), var(1, 1), var(1, 1), var(2, 2)};
  const int from[] = {0, 1, 2}, to[] = {3, 3, 3};
  auto* pea = nuvCPNew<NuvCPPrecedenceEnergyI>(&arena, &store, 4, s, d, r, 2, 3, from, to);
  ASSERT_EQ(store.post(pea), NuvCPSuspend);
  EXPECT_EQ(s[3]->getMin(), 3);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(s[i]->getMax(), 3) << i;
  EXPECT_TRUE(pea->precedes(0, 3));
  EXPECT_FALSE(pea->precedes(3, 0));
  // A cycle through an activity of positive duration fails at post.
  NuvCPIntVarI* cs[] = {var(0, 9), var(0, 9)};
  NuvCPIntVarI* cd[] = {var(1, 1), var(0, 0)};
  NuvCPIntVarI* cr[] = {var(1, 1), var(1, 1)};
  const int cf[] = {0, 1}, ct[] = {1, 0};
  EXPECT_EQ(store.post(nuvCPNew<NuvCPPrecedenceEnergyI>(&arena, &store, 2, cs, cd, cr, 2, 2, cf, ct)), NuvCPFailure);
}

}  // namespace
