// Assignment of bounded cost: never loses an assignment nor accepts a wrong
// one (exhaustively, across backtracking), square and rectangular, with a
// cost variable that is also a row; reduced costs prune what the bound
// alone cannot.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "fd/NuvCPCIntVarI.h"
#include "fd/NuvCPMinAssignmentI.h"
#include "tests/fd/PropagatorChecker.h"

namespace {

using namespace nuvcheck;

// Positions: the n rows (columns named from 1), then the cost.
bool assigns(int n, int m, const std::vector<int>& c, const Assignment& a) {
  long total = 0;
  for (int i = 0; i < n; ++i) {
    const int j = a[static_cast<std::size_t>(i)] - 1;
    if (j < 0 || j >= m) return false;
    for (int k = 0; k < i; ++k)
      if (a[static_cast<std::size_t>(k)] == a[static_cast<std::size_t>(i)]) return false;
    total += c[static_cast<std::size_t>(i * m + j)];
  }
  return total == a[static_cast<std::size_t>(n)];
}

Post postAssignment(int n, int m, std::vector<int> c) {
  return [=](NuvCPManagerI& s, const Vars& v) {
    return s.post(nuvCPNew<NuvCPMinAssignmentI>(s.allocator(), &s, n, v.data(), m, c.data(),
                                               v[static_cast<std::size_t>(n)], 1));
  };
}

TEST(MinAssignment, NeverLosesNorAcceptsAWrongAssignment) {
  std::mt19937 rng(5);
  std::uint32_t seed = 140;
  for (auto [n, m] : {std::pair{3, 3}, std::pair{3, 4}, std::pair{4, 4}, std::pair{2, 4}}) {
    SCOPED_TRACE(::testing::Message() << n << " x " << m);
    std::vector<int> c(static_cast<std::size_t>(n * m));
    for (int& x : c) x = std::uniform_int_distribution<int>(0, 6)(rng);
    std::vector<std::pair<int, int>> ranges(static_cast<std::size_t>(n), {0, m});
    ranges.push_back({0, 6 * n});
    PropagatorChecker checker(randomDomains(ranges, 0.8), postAssignment(n, m, c),
                              [=](const Assignment& a) { return assigns(n, m, c, a); });
    Options o;
    o.seed = seed++;
    o.trials = 150;
    o.maxAssignments = 100000;
    EXPECT_GT(checker.run(o).trialsWithSolutions, 20);
    // The cost variable is also the last row's choice.
    Filling f;
    for (int i = 0; i < n; ++i) f.push_back({i});
    f.push_back({n - 1});
    o.trials = 60;
    checkShared(f, ranges, postAssignment(n, m, c), [=](const Assignment& a) { return assigns(n, m, c, a); }, o);
    if (::testing::Test::HasFailure()) return;
  }
}

TEST(MinAssignment, ReducedCostsPrune) {
  // Costs [[1, 9], [9, 1]] with the total at most 5: the diagonal costs
  // 2, the other way 18; the two off-diagonal reduced costs sum to 16, so
  // one of them exceeds the room of 3 and goes, and all-different does
  // the rest.
  PimArenaAllocator arena;
  NuvTrailI trail;
  NuvCPManagerI store{&arena, &trail};
  NuvCPIntVarI* x[] = {nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, 1, 2),
                       nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, 1, 2)};
  NuvCPIntVarI* z = nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, 0, 5);
  const int c[] = {1, 9, 9, 1};
  ASSERT_NE(store.post(nuvCPNew<NuvCPMinAssignmentI>(&arena, &store, 2, x, 2, c, z, 1)), NuvCPFailure);
  EXPECT_TRUE(x[0]->isBound());
  EXPECT_EQ(x[0]->getMin(), 1);
  EXPECT_EQ(z->getMin(), 2);
}

}  // namespace
