// Counting the variables in a set, exactly and softly: never loses a
// solution (exhaustively, across backtracking, with the count among the
// variables), and the count's bounds decide the rest.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "fd/NuvCPAmongI.h"
#include "tests/fd/PropagatorChecker.h"

namespace {

using namespace nuvcheck;

const int kSet[] = {1, 3};
constexpr int kN = 4, kBound = 2;

// Positions: x[0..4), c.
bool holds(NuvCPAmongI::Mode mode, const Assignment& a) {
  int k = 0;
  for (int i = 0; i < kN; ++i) k += a[static_cast<std::size_t>(i)] == 1 || a[static_cast<std::size_t>(i)] == 3;
  const int c = a[kN];
  switch (mode) {
    case NuvCPAmongI::kExact: return c == k;
    case NuvCPAmongI::kAtLeast: return c == std::max(0, kBound - k);
    case NuvCPAmongI::kAtMost: return c == std::max(0, k - kBound);
  }
  return false;
}

TEST(Among, ExactAndSoftNeverLoseASolution) {
  std::uint32_t seed = 60;
  for (auto mode : {NuvCPAmongI::kExact, NuvCPAmongI::kAtLeast, NuvCPAmongI::kAtMost}) {
    SCOPED_TRACE(::testing::Message() << "mode " << mode);
    auto post = [mode](NuvCPManagerI& s, const Vars& v) {
      return s.post(nuvCPNew<NuvCPAmongI>(s.allocator(), &s, kN, v.data(), 2, kSet, v[kN], mode, kBound));
    };
    auto pred = [mode](const Assignment& a) { return holds(mode, a); };
    const std::vector<std::pair<int, int>> ranges = {{0, 4}, {0, 4}, {0, 4}, {0, 4}, {-1, 4}};
    PropagatorChecker checker(randomDomains(ranges, 0.6), post, pred);
    Options o;
    o.seed = seed++;
    o.trials = 300;
    o.maxAssignments = 50000;
    const Stats st = checker.run(o);
    EXPECT_GT(st.trialsWithSolutions, 80);
    EXPECT_GT(st.failures, 0);
    // The count is also x0; x1 is x2.
    checkShared({{0}, {1}, {1}, {2}, {0}}, ranges, post, pred, o);
    if (::testing::Test::HasFailure()) return;
  }
}

}  // namespace
