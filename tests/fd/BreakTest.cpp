// Activities and breaks: never lose a schedule (exhaustively, across
// backtracking), listed and periodic breaks, activities that must fit
// between breaks and activities whose work pauses during them; the
// deductions drawn as timelines.
#include <gtest/gtest.h>

#include <vector>

#include "fd/NuvCPArithI.h"
#include "fd/NuvCPBreakI.h"
#include "tests/fd/PropagatorChecker.h"

namespace {

using namespace nuvcheck;

// The breaks of the tests: listed [2, 4) and [7, 8); periodic: [1, 3) + 5k.
struct Breaks {
  bool periodic;
  bool in(int t) const {
    if (periodic) return ((t - 1) % 5 + 5) % 5 < 2;
    return (t >= 2 && t < 4) || t == 7;
  }
  // Reference: unit by unit.
  int finish(int s, int d) const {
    int t = s;
    while (in(t)) ++t;
    for (; d > 0; ++t)
      if (!in(t)) --d;
    return d == 0 && s == t ? s : t;
  }
  NuvCPBreakCalendar calendar(PimAllocator* a) const {
    NuvCPBreakCalendar c;
    if (periodic) {
      c.initPeriodic(1, 5, 2);
    } else {
      const int from[] = {2, 7}, to[] = {4, 8};
      c.init(a, 2, from, to);
    }
    return c;
  }
};

// Positions: s[0..n), d[0..n), e[0..n).
bool holds(int n, const Breaks& b, bool breakable, const Assignment& a) {
  auto at = [&](int k) { return a[static_cast<std::size_t>(k)]; };
  for (int i = 0; i < n; ++i) {
    const int s = at(i), d = at(n + i), e = at(2 * n + i);
    if (breakable) {
      if (d < 0 || b.in(s) || e != b.finish(s, d)) return false;
    } else {
      if (e != s + d) return false;
      for (int t = s; t < s + d; ++t)
        if (b.in(t)) return false;
    }
  }
  return true;
}

TEST(Breaks, NeverLoseAScheduleAndCheckWhenBound) {
  std::uint32_t seed = 500;
  for (bool periodic : {false, true})
    for (bool breakable : {false, true}) {
      const Breaks b{periodic};
      const int n = 2;
      const std::vector<std::pair<int, int>> ranges = {{0, 8}, {0, 8}, {0, 3}, {1, 3}, {0, 12}, {0, 12}};
      PropagatorChecker checker(
          randomDomains(ranges),
          [=](NuvCPManagerI& s, const Vars& v) -> int {
            if (!breakable)
              for (int i = 0; i < n; ++i) {
                const auto k = static_cast<std::size_t>(i);
                if (s.post(nuvCPNew<NuvCPTernaryEqualI>(s.allocator(), &s, v[k], v[2 + k], v[4 + k])) ==
                    NuvCPFailure)
                  return NuvCPFailure;
              }
            return s.post(nuvCPNew<NuvCPBreakI>(s.allocator(), &s, n, v.data(), v.data() + 2, v.data() + 4,
                                                b.calendar(s.allocator()), breakable, periodic));
          },
          [=](const Assignment& a) { return holds(n, b, breakable, a); });
      Options o;
      o.seed = seed++;
      o.trials = 300;
      o.maxAssignments = 60000;
      const Stats st = checker.run(o);
      SCOPED_TRACE(::testing::Message() << "periodic " << periodic << ", breakable " << breakable);
      EXPECT_GT(st.trialsWithSolutions, 40);
      EXPECT_GT(st.failures, 0);
      if (::testing::Test::HasFailure()) return;
    }
}

TEST(Breaks, SharedVariables) {
  // Two activities with one start, or one duration; an end that is the
  // other's start.
  const int n = 2;
  const std::vector<std::pair<int, int>> ranges = {{0, 8}, {0, 8}, {0, 3}, {1, 3}, {0, 12}, {0, 12}};
  const Filling fillings[] = {
      {{0}, {0}, {1}, {2}, {3}, {4}},  // s0 == s1
      {{0}, {1}, {2}, {2}, {3}, {4}},  // d0 == d1
      {{0}, {1}, {2}, {3}, {1}, {4}},  // e0 == s1
  };
  std::uint32_t seed = 560;
  for (bool breakable : {false, true})
    for (const Filling& f : fillings) {
      const Breaks b{false};
      Options o;
      o.seed = seed++;
      o.trials = 150;
      o.maxAssignments = 60000;
      const Stats st = checkShared(
          f, ranges,
          [=](NuvCPManagerI& s, const Vars& v) -> int {
            if (!breakable)
              for (std::size_t i = 0; i < static_cast<std::size_t>(n); ++i)
                if (s.post(nuvCPNew<NuvCPTernaryEqualI>(s.allocator(), &s, v[i], v[2 + i], v[4 + i])) ==
                    NuvCPFailure)
                  return NuvCPFailure;
            return s.post(nuvCPNew<NuvCPBreakI>(s.allocator(), &s, n, v.data(), v.data() + 2, v.data() + 4,
                                                b.calendar(s.allocator()), breakable, false));
          },
          [=](const Assignment& a) { return holds(n, b, breakable, a); }, o);
      EXPECT_GT(st.trialsWithSolutions, 5);
      if (::testing::Test::HasFailure()) return;
    }
}

TEST(Breaks, Timelines) {
  // Breaks [2, 4) and [7, 8):
  //   time   0 1 2 3 4 5 6 7 8 9
  //   break      # #       #
  //   a      [===]               duration 3, start 0..9: fits only in [4, 7) or from 8
  //   b      [=======]           duration 3 breakable from 1: works 1, 4, 5 -> ends at 6
  PimArenaAllocator arena;
  NuvTrailI trail;
  NuvCPManagerI store(&arena, &trail);
  auto var = [&](int lo, int hi) -> NuvCPIntVarI* { return nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, lo, hi); };
  const Breaks b{false};
  NuvCPIntVarI* s[] = {var(0, 9)};
  NuvCPIntVarI* d[] = {var(3, 3)};
  NuvCPIntVarI* e[] = {var(0, 20)};
  ASSERT_EQ(store.post(nuvCPNew<NuvCPBreakI>(&arena, &store, 1, s, d, e, b.calendar(&arena), false, false)),
            NuvCPSuspend);
  EXPECT_EQ(s[0]->getMin(), 4);  // [0, 3) and [1, 4) meet the first break
  EXPECT_EQ(s[0]->getMax(), 9);
  NuvCPIntVarI* s2[] = {var(1, 1)};
  NuvCPIntVarI* d2[] = {var(3, 3)};
  NuvCPIntVarI* e2[] = {var(0, 20)};
  ASSERT_EQ(store.post(nuvCPNew<NuvCPBreakI>(&arena, &store, 1, s2, d2, e2, b.calendar(&arena), true, false)),
            NuvCPSuspend);
  EXPECT_EQ(e2[0]->getMin(), 6);
  EXPECT_EQ(e2[0]->getMax(), 6);
  // Periodic breaks [1, 3) + 5k leave stretches of 3: a duration of 4
  // fits nowhere.
  NuvCPBreakCalendar periodic;
  periodic.initPeriodic(1, 5, 2);
  NuvCPIntVarI* s3[] = {var(0, 50)};
  NuvCPIntVarI* d3[] = {var(4, 4)};
  NuvCPIntVarI* e3[] = {var(0, 60)};
  EXPECT_EQ(store.post(nuvCPNew<NuvCPBreakI>(&arena, &store, 1, s3, d3, e3, periodic, false, true)), NuvCPFailure);
}

}  // namespace
