// The unary-resource engine: never loses a schedule (exhaustively, across
// backtracking, with optional tasks, zero durations, shared variables and
// views), checks the relation once everything is bound, and reaches the
// textbook deductions of each rule.
#include <gtest/gtest.h>

#include <vector>

#include "fd/NuvCPUnaryI.h"
#include "tests/fd/PropagatorChecker.h"
#include "tests/fd/ScheduleTimeline.h"

namespace {

using namespace nuvcheck;

// Positions: s[0..n), d[0..n), then p[0..n) when optional.
bool unaryHolds(int n, bool optional, bool strict, const Assignment& a) {
  auto at = [&](int k) { return a[static_cast<std::size_t>(k)]; };
  for (int i = 0; i < n; ++i)
    if (at(n + i) < 0) return false;
  for (int i = 0; i < n; ++i)
    for (int j = i + 1; j < n; ++j) {
      if (optional && (at(2 * n + i) == 0 || at(2 * n + j) == 0)) continue;
      const int si = at(i), sj = at(j), di = at(n + i), dj = at(n + j);
      if (!strict && (di == 0 || dj == 0)) continue;
      if (!(si + di <= sj || sj + dj <= si)) return false;
    }
  return true;
}

int postUnary(int n, bool optional, bool strict, NuvCPManagerI& s, const Vars& v) {
  return s.post(nuvCPNew<NuvCPUnaryResourceI>(s.allocator(), &s, n, v.data(), v.data() + n,
                                             optional ? v.data() + 2 * n : nullptr, strict));
}

TEST(Unary, NeverLosesAScheduleAndChecksWhenBound) {
  struct Case {
    int n;
    bool optional, strict;
    int horizon, dlo, dhi;
  };
  // Durations from 0 (a zero-length task, inside others unless strict) and
  // variable; three and four tasks in a tight horizon so that every rule
  // fires and fails.
  const Case cases[] = {
      {3, false, true, 6, -1, 3}, {3, false, false, 6, -1, 3}, {4, false, true, 7, 1, 3},
      {4, false, false, 6, 0, 2}, {3, true, true, 5, 1, 3},   {3, true, false, 5, 0, 2},
      {4, true, true, 6, 1, 2},
  };
  std::uint32_t seed = 5;
  for (const Case& k : cases) {
    std::vector<std::pair<int, int>> ranges;
    for (int i = 0; i < k.n; ++i) ranges.push_back({0, k.horizon});
    for (int i = 0; i < k.n; ++i) ranges.push_back({k.dlo, k.dhi});
    std::vector<bool> boolean(ranges.size(), false);
    if (k.optional)
      for (int i = 0; i < k.n; ++i) {
        ranges.push_back({0, 1});
        boolean.push_back(true);
      }
    PropagatorChecker checker(
        randomDomains(ranges),
        [k](NuvCPManagerI& s, const Vars& v) { return postUnary(k.n, k.optional, k.strict, s, v); },
        [k](const Assignment& a) { return unaryHolds(k.n, k.optional, k.strict, a); },
        [boolean](NuvCPManagerI& s, int i, const Domain& d) {
          return boolean[static_cast<std::size_t>(i)] ? makeBoolVar(s, i, d) : makeIntVar(s, i, d);
        });
    Options o;
    o.seed = seed++;
    o.trials = 200;
    o.maxAssignments = 40000;
    const Stats st = checker.run(o);
    SCOPED_TRACE(::testing::Message() << k.n << " tasks, optional " << k.optional << ", strict " << k.strict);
    EXPECT_GT(st.trialsWithSolutions, 30);
    EXPECT_GT(st.failures, 0);
    if (::testing::Test::HasFailure()) return;
  }
}

TEST(Unary, SharedVariablesAndViews) {
  // Two and three tasks where one variable fills several places: two tasks
  // with one start, a start one after another's, a duration that is a
  // start.
  const std::vector<std::pair<int, int>> ranges = {{0, 4}, {0, 4}, {0, 4}, {1, 2}, {0, 2}, {1, 3}};
  const Filling fillings[] = {
      {{0}, {0}, {1}, {2}, {3}, {4}},      // s0 == s1
      {{0}, {0, 2}, {1}, {2}, {3}, {4}},   // s1 == s0 + 2
      {{0}, {1}, {0, -1}, {2}, {3}, {4}},  // s2 == s0 - 1
      {{0}, {1}, {2}, {3}, {1}, {4}},      // d1 == s1
      {{0}, {1}, {2}, {3}, {3}, {3}},      // one duration for all
  };
  std::uint32_t seed = 70;
  for (bool strict : {true, false})
    for (const Filling& f : fillings) {
      Options o;
      o.seed = seed++;
      o.trials = 120;
      o.maxAssignments = 20000;
      const Stats st = checkShared(
          f, ranges, [strict](NuvCPManagerI& s, const Vars& v) { return postUnary(3, false, strict, s, v); },
          [strict](const Assignment& a) { return unaryHolds(3, false, strict, a); }, o);
      EXPECT_GT(st.trialsWithSolutions, 10);
      if (::testing::Test::HasFailure()) return;
    }
}

struct Resource {
  PimArenaAllocator arena;
  NuvTrailI trail;
  NuvCPManagerI store{&arena, &trail};
  std::vector<NuvCPIntVarI*> s, d, p;
  NuvCPIntVarI* var(int lo, int hi) { return nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, lo, hi); }
  // est, lst, duration.
  void task(int est, int lst, int dur, bool optional = false) {
    s.push_back(var(est, lst));
    d.push_back(var(dur, dur));
    p.push_back(var(optional ? 0 : 1, 1));
  }
  int post(bool withPresence = false) {
    return store.post(nuvCPNew<NuvCPUnaryResourceI>(&arena, &store, static_cast<int>(s.size()), s.data(),
                                                   d.data(), withPresence ? p.data() : nullptr, true));
  }
};

TEST(Unary, TextbookDeductions) {
  {
    // Edge finding: a and b fill [0, 10); x must come after both.
    //   time  0    5    10   15   20
    //   a     [====|====]
    //   b     [====|====]
    //   x     [=......................]   ->  x starts at 10
    Resource r;
    r.task(0, 5, 5);
    r.task(0, 5, 5);
    r.task(0, 19, 1);
    ASSERT_EQ(r.post(), NuvCPSuspend);
    EXPECT_EQ(r.s[2]->getMin(), 10);
  }
  {
    // Detectable precedence: b (start 0..3, dur 5) ends after a's latest
    // start cannot... b's latest start 3 < a's earliest end 5: b before a.
    //   a  [=====.....]  start 0..10
    //   b  [=====]...    start 0..3
    Resource r;
    r.task(0, 10, 5);
    r.task(0, 3, 5);
    ASSERT_EQ(r.post(), NuvCPSuspend);
    EXPECT_EQ(r.s[0]->getMin(), 5);
  }
  {
    // Not-first (mirrored not-last): b and c both start by 1 and 2; a
    // (dur 4) cannot come before both, so it starts after the earlier of
    // their ends.
    Resource r;
    r.task(0, 10, 4);  // a
    r.task(0, 1, 2);   // b
    r.task(1, 2, 2);   // c
    ASSERT_EQ(r.post(), NuvCPSuspend);
    EXPECT_GE(r.s[0]->getMin(), 2);
  }
  {
    // Overload: three tasks of 4 in a window of 11.
    Resource r;
    r.task(0, 7, 4);
    r.task(0, 7, 4);
    r.task(0, 7, 4);
    EXPECT_EQ(r.post(), NuvCPFailure);
  }
  {
    // An optional task that cannot fit beside two present ones is absent;
    // the present ones keep their windows.
    Resource r;
    r.task(0, 4, 4);
    r.task(0, 4, 4);
    r.task(0, 5, 3, true);
    ASSERT_EQ(r.post(true), NuvCPSuspend);
    EXPECT_EQ(r.p[2]->getMax(), 0);
    EXPECT_EQ(r.s[2]->getMin(), 0);  // an absent task's start is left alone
  }
}

TEST(Unary, TimelinesOfEachRule) {
  const auto unary = [](NuvCPManagerI& s, nuvtimeline::Vars& v) {
    return s.post(nuvCPNew<NuvCPUnaryResourceI>(s.allocator(), &s, static_cast<int>(v.start.size()),
                                               v.start.data(), v.duration.data(), nullptr, true));
  };
  using nuvtimeline::draw;
  using nuvtimeline::run;
  // Edge finding: x cannot run before or between a and b.
  EXPECT_EQ(run({"a: #####.....", "b: #####.....", "x: #..................."}, unary),
            draw({"a: #####.....", "b: #####.....", "x:           #........."}));
  // Detectable precedence: b's latest start 3 is before a's earliest end
  // 5, so b comes first.
  EXPECT_EQ(run({"a: #####..........", "b: #####..."}, unary),
            draw({"a:      #####.....", "b: #####..."}));
  // Not-first: a cannot precede both b and c.
  EXPECT_EQ(run({"a: ####.........", "b: ##.", "c:  ##."}, unary).substr(0, 6), "a:    ");
  // Overload: three of 4 in 11.
  EXPECT_EQ(run({"a: ####.......", "b: ####.......", "c: ####......."}, unary), "fail\n");
}

}  // namespace
