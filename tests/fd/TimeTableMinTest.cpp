// Minimum levels (coverage): never loses a schedule (exhaustively, across
// backtracking, with variable durations, provisions and level), and the
// deductions drawn as a timeline.
#include <gtest/gtest.h>

#include <vector>

#include "fd/NuvCPTimeTableMinI.h"
#include "tests/fd/PropagatorChecker.h"

namespace {

using namespace nuvcheck;

// Positions: s[0..3), d[0..3), r[0..3), m; window [1, 5).
bool holds(const Assignment& a) {
  for (int i = 3; i < 9; ++i)
    if (a[static_cast<std::size_t>(i)] < 0) return false;
  for (int t = 1; t < 5; ++t) {
    int level = 0;
    for (int i = 0; i < 3; ++i)
      if (a[static_cast<std::size_t>(i)] <= t && t < a[static_cast<std::size_t>(i)] + a[static_cast<std::size_t>(3 + i)])
        level += a[static_cast<std::size_t>(6 + i)];
    if (level < a[9]) return false;
  }
  return true;
}

TEST(TimeTableMin, NeverLosesAScheduleAndChecksWhenBound) {
  std::uint32_t seed = 1000;
  for (auto ranges : {std::vector<std::pair<int, int>>{{0, 4}, {0, 4}, {0, 4}, {1, 3}, {2, 2}, {1, 4}, {1, 2}, {1, 1}, {1, 2}, {1, 2}},
                      std::vector<std::pair<int, int>>{{0, 3}, {0, 3}, {1, 4}, {0, 3}, {1, 3}, {2, 4}, {-1, 2}, {0, 2}, {1, 1}, {0, 3}}}) {
    PropagatorChecker checker(
        randomDomains(ranges),
        [](NuvCPManagerI& s, const Vars& v) {
          return s.post(nuvCPNew<NuvCPTimeTableMinI>(s.allocator(), &s, 3, v.data(), v.data() + 3, v.data() + 6,
                                                     v[9], 1, 5));
        },
        holds);
    Options o;
    o.seed = seed++;
    o.trials = 300;
    o.maxAssignments = 60000;
    const Stats st = checker.run(o);
    EXPECT_GT(st.trialsWithSolutions, 30);
    EXPECT_GT(st.failures, 0);
    if (::testing::Test::HasFailure()) return;
  }
}

TEST(TimeTableMin, SharedVariables) {
  // Two tasks with one start, a provision that is a duration, the level
  // that is a provision.
  const std::vector<std::pair<int, int>> ranges = {{0, 4}, {0, 4}, {0, 4}, {1, 3}, {1, 3}, {1, 4},
                                                   {0, 2}, {1, 2}, {0, 2}, {0, 2}};
  const Filling fillings[] = {
      {{0}, {0}, {1}, {2}, {3}, {4}, {5}, {6}, {7}, {8}},  // s0 == s1
      {{0}, {1}, {2}, {3}, {4}, {5}, {3}, {6}, {7}, {8}},  // r0 == d0
      {{0}, {1}, {2}, {3}, {4}, {5}, {6}, {7}, {8}, {6}},  // m == r0
  };
  std::uint32_t seed = 1100;
  for (const Filling& f : fillings) {
    Options o;
    o.seed = seed++;
    o.trials = 150;
    o.maxAssignments = 60000;
    const Stats st = checkShared(
        f, ranges,
        [](NuvCPManagerI& s, const Vars& v) {
          return s.post(nuvCPNew<NuvCPTimeTableMinI>(s.allocator(), &s, 3, v.data(), v.data() + 3, v.data() + 6,
                                                     v[9], 1, 5));
        },
        holds, o);
    EXPECT_GT(st.trialsWithSolutions, 10);
    if (::testing::Test::HasFailure()) return;
  }
}

TEST(TimeTableMin, NeededTasksCoverTheirTimes) {
  // Window [0, 6), level 1: a (duration 4) is the only task that may run
  // before 2, b (duration 3) may run from 2; so a covers [0, 2) and starts
  // at 0, and b must cover what a leaves: [4, 6), starting at 3 or 4.
  //   time  0 1 2 3 4 5 6
  //   a     ####..            start 0..2  -> 0
  //   b         ###.......    start 2..9  -> 3..4
  PimArenaAllocator arena;
  NuvTrailI trail;
  NuvCPManagerI store(&arena, &trail);
  auto var = [&](int lo, int hi) -> NuvCPIntVarI* { return nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, lo, hi); };
  NuvCPIntVarI* s[] = {var(0, 2), var(2, 9)};
  NuvCPIntVarI* d[] = {var(4, 4), var(3, 3)};
  NuvCPIntVarI* r[] = {var(1, 1), var(1, 1)};
  NuvCPIntVarI* m = var(1, 1);
  ASSERT_EQ(store.post(nuvCPNew<NuvCPTimeTableMinI>(&arena, &store, 2, s, d, r, m, 0, 6)), NuvCPSuspend);
  EXPECT_EQ(s[0]->getMin(), 0);
  EXPECT_EQ(s[0]->getMax(), 0);
  EXPECT_EQ(s[1]->getMin(), 3);
  EXPECT_EQ(s[1]->getMax(), 4);
}

}  // namespace
