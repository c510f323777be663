// Cumulative time-tabling: never loses a schedule (exhaustively, across
// backtracking, with shared variables and views), checks the relation in
// full once everything is bound, and pushes starts past the profile.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "fd/NuvCPTimeTableI.h"
#include "tests/fd/PropagatorChecker.h"

namespace {

using namespace nuvcheck;

// Positions: s[0..n), d[0..n), r[0..n), c, then p[0..n) when optional.
bool cumulativeHolds(int n, const Assignment& a, bool optional = false) {
  auto present = [&](int i) { return !optional || a[static_cast<std::size_t>(3 * n + 1 + i)] == 1; };
  const int c = a[static_cast<std::size_t>(3 * n)];
  if (n > 0 && c < 0) return false;
  int lo = 0, hi = 0;
  for (int i = 0; i < n; ++i) {
    const int s = a[static_cast<std::size_t>(i)], d = a[static_cast<std::size_t>(n + i)],
              r = a[static_cast<std::size_t>(2 * n + i)];
    if (d < 0 || r < 0) return false;
    lo = i == 0 ? s : std::min(lo, s);
    hi = i == 0 ? s + d : std::max(hi, s + d);
  }
  for (int t = lo; t < hi; ++t) {
    int load = 0;
    for (int i = 0; i < n; ++i) {
      const int s = a[static_cast<std::size_t>(i)], d = a[static_cast<std::size_t>(n + i)];
      if (present(i) && s <= t && t < s + d) load += a[static_cast<std::size_t>(2 * n + i)];
    }
    if (load > c) return false;
  }
  return true;
}

int postTimeTable(int n, NuvCPManagerI& s, const Vars& v) {
  return s.post(nuvCPNew<NuvCPTimeTableI>(s.allocator(), &s, n, v.data(), v.data() + n,
                                         v.data() + 2 * n, v[static_cast<std::size_t>(3 * n)]));
}

TEST(TimeTable, NeverLosesAScheduleAndChecksWhenBound) {
  // Two and three tasks; durations and demands from 0 (a task that uses
  // nothing) and, in the second range set, negative values the relation
  // excludes.
  struct Case {
    int n;
    std::vector<std::pair<int, int>> ranges;
  };
  const Case cases[] = {
      {2, {{0, 4}, {0, 4}, {0, 3}, {1, 3}, {0, 2}, {1, 3}, {0, 4}}},
      {2, {{-1, 3}, {0, 4}, {-1, 2}, {0, 2}, {-1, 2}, {0, 3}, {-1, 3}}},
      {3, {{0, 3}, {0, 3}, {1, 3}, {1, 2}, {2, 2}, {1, 3}, {1, 2}, {1, 2}, {2, 2}, {2, 3}}},
  };
  std::uint32_t seed = 11;
  for (const Case& k : cases) {
    const int n = k.n;
    PropagatorChecker checker(
        randomDomains(k.ranges), [n](NuvCPManagerI& s, const Vars& v) { return postTimeTable(n, s, v); },
        [n](const Assignment& a) { return cumulativeHolds(n, a); });
    Options o;
    o.seed = seed++;
    o.trials = 250;
    o.maxAssignments = 20000;
    const Stats st = checker.run(o);
    EXPECT_GT(st.trialsWithSolutions, 50) << n << " tasks";
    EXPECT_GT(st.failures, 0) << n << " tasks";
    if (::testing::Test::HasFailure()) return;
  }
}

TEST(TimeTable, OptionalTasksNeverLoseASchedule) {
  // Three tasks, each present or not: an undecided task that fits nowhere
  // is made absent, present ones are pushed, absent ones take no part.
  const int n = 3;
  std::vector<std::pair<int, int>> ranges = {{0, 3}, {0, 3}, {0, 3}, {1, 3}, {0, 2}, {1, 3},
                                             {1, 2}, {1, 2}, {0, 2}, {1, 3}, {0, 1}, {0, 1}, {0, 1}};
  std::vector<bool> boolean(ranges.size(), false);
  for (int i = 0; i < n; ++i) boolean[static_cast<std::size_t>(3 * n + 1 + i)] = true;
  PropagatorChecker checker(
      randomDomains(ranges),
      [n](NuvCPManagerI& s, const Vars& v) -> int {
        return s.post(nuvCPNew<NuvCPTimeTableI>(s.allocator(), &s, n, v.data(), v.data() + n, v.data() + 2 * n,
                                               v[static_cast<std::size_t>(3 * n)], v.data() + 3 * n + 1));
      },
      [n](const Assignment& a) { return cumulativeHolds(n, a, true); },
      [boolean](NuvCPManagerI& s, int i, const Domain& d) {
        return boolean[static_cast<std::size_t>(i)] ? makeBoolVar(s, i, d) : makeIntVar(s, i, d);
      });
  Options o;
  o.seed = 90;
  o.trials = 250;
  o.maxAssignments = 40000;
  const Stats st = checker.run(o);
  EXPECT_GT(st.trialsWithSolutions, 50);
  EXPECT_GT(st.failures, 0);
}

TEST(TimeTable, SharedVariablesAndViews) {
  // Two tasks (positions s0 s1 d0 d1 r0 r1 c) with one variable in two
  // places: one start for both, a start one after the other, a duration
  // that is the other's demand, the capacity as a demand or a duration.
  const std::vector<std::pair<int, int>> ranges = {{0, 3}, {0, 3}, {0, 3}, {1, 3}, {0, 3}, {1, 2}, {0, 3}};
  const Filling fillings[] = {
      {{0}, {0}, {1}, {2}, {3}, {4}, {5}},      // s0 == s1
      {{0}, {0, 1}, {1}, {2}, {3}, {4}, {5}},   // s1 == s0 + 1
      {{0}, {1}, {2}, {3}, {4}, {2}, {5}},      // r1 == d0
      {{0}, {1}, {2}, {3}, {4}, {5}, {4}},      // c == r0
      {{0}, {1}, {2}, {3}, {4}, {5}, {3, -1}},  // c == d1 - 1
  };
  std::uint32_t seed = 40;
  for (const Filling& f : fillings) {
    Options o;
    o.seed = seed++;
    o.trials = 150;
    o.maxAssignments = 20000;
    const Stats st = checkShared(
        f, ranges, [](NuvCPManagerI& s, const Vars& v) { return postTimeTable(2, s, v); },
        [](const Assignment& a) { return cumulativeHolds(2, a); }, o);
    EXPECT_GT(st.trialsWithSolutions, 20);
    if (::testing::Test::HasFailure()) return;
  }
}

TEST(TimeTable, PushesStartsPastTheProfile) {
  // Capacity 2. a is fixed over [2, 6) with demand 2; b (duration 3,
  // demand 1) may start in 0..8: it cannot overlap a, so it must end by 2
  // (impossible from 0: 0 + 3 > 2) or start at 6.
  //
  //   time   0 1 2 3 4 5 6 7 8 9
  //   a          # # # #
  //   a          # # # #
  //   b      ? ? ? ? ? ? ? ? ? ? ?
  PimArenaAllocator arena;
  NuvTrailI trail;
  NuvCPManagerI store(&arena, &trail);
  auto var = [&](int lo, int hi) -> NuvCPIntVarI* {
    return nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, lo, hi);
  };
  NuvCPIntVarI* s[] = {var(2, 2), var(0, 8)};
  NuvCPIntVarI* d[] = {var(4, 4), var(3, 3)};
  NuvCPIntVarI* r[] = {var(2, 2), var(1, 1)};
  NuvCPIntVarI* c = var(0, 2);
  ASSERT_EQ(store.post(nuvCPNew<NuvCPTimeTableI>(&arena, &store, 2, s, d, r, c)), NuvCPSuspend);
  EXPECT_EQ(s[1]->getMin(), 6);
  EXPECT_EQ(s[1]->getMax(), 8);
  EXPECT_EQ(c->getMin(), 2);  // the peak
  // A third task of demand 3 fits nowhere under capacity 2.
  trail.push();
  NuvCPIntVarI* s3[] = {var(0, 9)};
  NuvCPIntVarI* d3[] = {var(1, 1)};
  NuvCPIntVarI* r3[] = {var(3, 3)};
  EXPECT_EQ(store.post(nuvCPNew<NuvCPTimeTableI>(&arena, &store, 1, s3, d3, r3, c)), NuvCPFailure);
  trail.pop();
}

}  // namespace
