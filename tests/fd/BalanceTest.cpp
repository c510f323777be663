// Balance (deviation and spread around a fixed mean): never loses a
// solution, exhaustively and across backtracking, with a variable twice.
#include <gtest/gtest.h>

#include <cstdlib>
#include <vector>

#include "fd/NuvCPBalanceI.h"
#include "tests/fd/PropagatorChecker.h"

namespace {

using namespace nuvcheck;

constexpr int kN = 3, kTotal = 5;

// Positions: x[0..3), c.
bool holds(bool squares, const Assignment& a) {
  int sum = 0, measure = 0;
  for (int i = 0; i < kN; ++i) {
    sum += a[static_cast<std::size_t>(i)];
    const int d = kN * a[static_cast<std::size_t>(i)] - kTotal;
    measure += squares ? d * d : std::abs(d);
  }
  return sum == kTotal && a[kN] == measure;
}

TEST(Balance, DeviationAndSpreadNeverLoseASolution) {
  std::uint32_t seed = 12;
  for (bool squares : {false, true}) {
    SCOPED_TRACE(squares ? "spread" : "deviation");
    auto post = [squares](NuvCPManagerI& s, const Vars& v) {
      return s.post(nuvCPNew<NuvCPBalanceI>(s.allocator(), &s, kN, v.data(), kTotal, v[kN], squares));
    };
    auto pred = [squares](const Assignment& a) { return holds(squares, a); };
    const std::vector<std::pair<int, int>> ranges = {{-1, 4}, {0, 4}, {0, 5}, {0, squares ? 60 : 16}};
    PropagatorChecker checker(randomDomains(ranges, 0.7), post, pred);
    Options o;
    o.seed = seed++;
    o.trials = 250;
    o.maxAssignments = 60000;
    const Stats st = checker.run(o);
    EXPECT_GT(st.trialsWithSolutions, 30);
    EXPECT_GT(st.failures + st.trialsFailedAtPost, 0);
    checkShared({{0}, {0}, {1}, {2}}, ranges, post, pred, o);
    if (::testing::Test::HasFailure()) return;
  }
}

}  // namespace
