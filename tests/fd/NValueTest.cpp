// The number of distinct values: never loses a solution (exhaustively,
// across backtracking, exact and at-least, with a variable listed twice and
// the count among the variables), and its bounds.
#include <gtest/gtest.h>

#include <set>
#include <vector>

#include "fd/NuvCPCIntVarI.h"
#include "fd/NuvCPNValueI.h"
#include "tests/fd/PropagatorChecker.h"

namespace {

using namespace nuvcheck;

constexpr int kN = 4;

// Positions: x[0..4), c.
bool holds(bool exact, const Assignment& a) {
  const std::set<int> values(a.begin(), a.begin() + kN);
  const int d = static_cast<int>(values.size());
  return exact ? a[kN] == d : a[kN] <= d;
}

TEST(NValue, NeverLosesASolution) {
  std::uint32_t seed = 80;
  for (bool exact : {true, false}) {
    SCOPED_TRACE(::testing::Message() << "exact " << exact);
    auto post = [exact](NuvCPManagerI& s, const Vars& v) {
      return s.post(nuvCPNew<NuvCPNValueI>(s.allocator(), &s, kN, v.data(), v[kN], exact));
    };
    auto pred = [exact](const Assignment& a) { return holds(exact, a); };
    const std::vector<std::pair<int, int>> ranges = {{0, 3}, {0, 3}, {1, 4}, {0, 4}, {0, 5}};
    PropagatorChecker checker(randomDomains(ranges, 0.6), post, pred);
    Options o;
    o.seed = seed++;
    o.trials = 300;
    o.maxAssignments = 50000;
    const Stats st = checker.run(o);
    EXPECT_GT(st.trialsWithSolutions, 80);
    EXPECT_GT(st.failures + st.trialsFailedAtPost, 0);
    checkShared({{0}, {1}, {1}, {2}, {3}}, ranges, post, pred, o);
    checkShared({{0}, {1}, {2}, {3}, {0}}, ranges, post, pred, o);
    if (::testing::Test::HasFailure()) return;
  }
}

TEST(NValue, Bounds) {
  PimArenaAllocator arena;
  NuvTrailI trail;
  NuvCPManagerI store(&arena, &trail);
  auto var = [&](int lo, int hi) -> NuvCPIntVarI* { return nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, lo, hi); };
  // Intervals [0, 1], [0, 1], [5, 6], [5, 9]: at least 2 values (the
  // sweep), at most 4 (a matching).
  NuvCPIntVarI* x[] = {var(0, 1), var(0, 1), var(5, 6), var(5, 9)};
  NuvCPIntVarI* c = var(0, 9);
  ASSERT_EQ(store.post(nuvCPNew<NuvCPNValueI>(&arena, &store, 4, x, c, true)), NuvCPSuspend);
  EXPECT_EQ(c->getMin(), 2);
  EXPECT_EQ(c->getMax(), 4);
  // Two values, and 0 and 5 taken: the others reuse them.
  ASSERT_NE(x[0]->bind(0), NuvCPFailure);
  ASSERT_NE(x[2]->bind(5), NuvCPFailure);
  ASSERT_NE(c->updateMax(2), NuvCPFailure);
  ASSERT_EQ(store.propagate(), NuvCPSuspend);
  EXPECT_TRUE(x[1]->isBound());
  EXPECT_EQ(x[3]->getMax(), 5);
}

}  // namespace
