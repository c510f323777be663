// The single-rule unary-resource propagators (edge finding, detectable
// precedences, not-first, not-last, disjunctive pairs and their optional
// forms): never lose a schedule, exhaustively and across backtracking, with
// activities whose end is kept as start + duration; each checks the
// relation once everything is bound; and the textbook deductions, drawn as
// timelines.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "fd/NuvCPArithI.h"
#include "fd/NuvCPDetectablePrecedencesI.h"
#include "fd/NuvCPEdgeFinderI.h"
#include "fd/NuvCPNotFirstLastI.h"
#include "tests/fd/PropagatorChecker.h"

namespace {

using namespace nuvcheck;

// Positions: s[0..n), d[0..n), e[0..n), then p[0..n) when optional.
struct Acts {
  int n;
  bool optional;
  const Vars& v;
  NuvCPIntVarI* const* s() const { return v.data(); }
  NuvCPIntVarI* const* d() const { return v.data() + n; }
  NuvCPIntVarI* const* e() const { return v.data() + 2 * n; }
  NuvCPIntVarI* const* p() const { return optional ? v.data() + 3 * n : nullptr; }
};

using Make = std::function<NuvCPCstrI*(NuvCPManagerI&, const Acts&)>;

bool holds(int n, bool optional, const Assignment& a) {
  auto at = [&](int k) { return a[static_cast<std::size_t>(k)]; };
  for (int i = 0; i < n; ++i)
    if (at(2 * n + i) != at(i) + at(n + i)) return false;
  for (int i = 0; i < n; ++i)
    for (int j = i + 1; j < n; ++j) {
      if (optional && (at(3 * n + i) == 0 || at(3 * n + j) == 0)) continue;
      if (!(at(2 * n + i) <= at(j) || at(2 * n + j) <= at(i))) return false;
    }
  return true;
}

Stats check(int n, bool optional, int horizon, int dlo, int dhi, const Make& make, std::uint32_t seed,
            int trials = 500) {
  std::vector<std::pair<int, int>> ranges;
  for (int i = 0; i < n; ++i) ranges.push_back({0, horizon});
  for (int i = 0; i < n; ++i) ranges.push_back({dlo, dhi});
  for (int i = 0; i < n; ++i) ranges.push_back({dlo, horizon + dhi});
  std::vector<bool> boolean(ranges.size(), false);
  if (optional)
    for (int i = 0; i < n; ++i) {
      ranges.push_back({0, 1});
      boolean.push_back(true);
    }
  PropagatorChecker checker(
      randomDomains(ranges),
      [n, optional, make](NuvCPManagerI& s, const Vars& v) -> int {
        // The activity keeps end = start + duration.
        for (int i = 0; i < n; ++i) {
          const auto k = static_cast<std::size_t>(i);
          const auto un = static_cast<std::size_t>(n);
          if (s.post(nuvCPNew<NuvCPTernaryEqualI>(s.allocator(), &s, v[k], v[un + k], v[2 * un + k])) ==
              NuvCPFailure)
            return NuvCPFailure;
        }
        return s.post(make(s, Acts{n, optional, v}));
      },
      [n, optional](const Assignment& a) { return holds(n, optional, a); },
      [boolean](NuvCPManagerI& s, int i, const Domain& d) {
        return boolean[static_cast<std::size_t>(i)] ? makeBoolVar(s, i, d) : makeIntVar(s, i, d);
      });
  Options o;
  o.seed = seed;
  o.trials = trials;
  o.maxAssignments = 60000;
  return checker.run(o);
}

template <class T, class... Extra>
Make plain(Extra... extra) {
  return [=](NuvCPManagerI& s, const Acts& a) -> NuvCPCstrI* {
    return nuvCPNew<T>(s.allocator(), &s, a.n, a.s(), a.d(), a.e(), extra...);
  };
}

TEST(UnaryRules, NeverLoseAScheduleAndCheckWhenBound) {
  struct Case {
    std::string name;
    Make make;
    bool optional;
  };
  NuvCPIntVarI* noGuard = nullptr;
  const Case cases[] = {
      {"edge finder", plain<NuvCPEdgeFinderI>(noGuard), false},
      {"pure edge finder", plain<NuvCPEdgeFinderPureI>(), false},
      {"detectable precedences", plain<NuvCPDetectablePrecedencesCstrI>(noGuard), false},
      {"not-first", plain<NuvCPNotFirstCstrI>(static_cast<NuvCPIntVarI* const*>(nullptr), noGuard), false},
      {"not-last", plain<NuvCPNotLastCstrI>(static_cast<NuvCPIntVarI* const*>(nullptr), noGuard), false},
      {"detectable precedences with presence",
       [](NuvCPManagerI& s, const Acts& a) -> NuvCPCstrI* {
         return nuvCPNew<NuvCPDetectablePrecedencesWOCstrI>(s.allocator(), &s, a.n, a.s(), a.d(), a.e(), a.p(),
                                                            nullptr);
       },
       true},
      {"optional not-first",
       [](NuvCPManagerI& s, const Acts& a) -> NuvCPCstrI* {
         return nuvCPNew<NuvCPNotFirstOptionalCstrI>(s.allocator(), &s, a.n, a.s(), a.d(), a.e(), a.p(), nullptr);
       },
       true},
      {"optional not-last",
       [](NuvCPManagerI& s, const Acts& a) -> NuvCPCstrI* {
         return nuvCPNew<NuvCPNotLastOptionalCstrI>(s.allocator(), &s, a.n, a.s(), a.d(), a.e(), a.p(), nullptr);
       },
       true},
  };
  std::uint32_t seed = 300;
  for (const Case& k : cases) {
    SCOPED_TRACE(k.name);
    // Fixed and variable durations, three activities in a tight horizon.
    for (auto [dlo, dhi] : {std::pair{2, 2}, std::pair{1, 3}}) {
      const Stats st = check(3, k.optional, 6, dlo, dhi, k.make, seed++);
      EXPECT_GT(st.trialsWithSolutions, 20);
      if (::testing::Test::HasFailure()) return;
    }
  }
}

TEST(UnaryRules, SharedVariablesAndViews) {
  // One variable in several places: two activities with one start, a
  // start two after another's, a duration that is a start, one duration
  // for all. Ends stay start + duration.
  const int n = 3;
  const std::vector<std::pair<int, int>> ranges = {{0, 6}, {0, 6}, {0, 6}, {1, 2}, {0, 2}, {1, 3},
                                                   {0, 9}, {0, 9}, {0, 9}};
  const Filling fillings[] = {
      {{0}, {0}, {1}, {2}, {3}, {4}, {5}, {6}, {7}},      // s0 == s1
      {{0}, {0, 2}, {1}, {2}, {3}, {4}, {5}, {6}, {7}},   // s1 == s0 + 2
      {{0}, {1}, {2}, {3}, {1}, {4}, {5}, {6}, {7}},      // d1 == s1
      {{0}, {1}, {2}, {3}, {3}, {3}, {4}, {5}, {6}},      // one duration
  };
  NuvCPIntVarI* noGuard = nullptr;
  const Make makes[] = {plain<NuvCPEdgeFinderI>(noGuard), plain<NuvCPEdgeFinderPureI>(),
                        plain<NuvCPDetectablePrecedencesCstrI>(noGuard),
                        plain<NuvCPNotFirstCstrI>(static_cast<NuvCPIntVarI* const*>(nullptr), noGuard),
                        plain<NuvCPNotLastCstrI>(static_cast<NuvCPIntVarI* const*>(nullptr), noGuard)};
  std::uint32_t seed = 640;
  for (std::size_t m = 0; m < std::size(makes); ++m)
    for (const Filling& f : fillings) {
      SCOPED_TRACE(::testing::Message() << "rule " << m);
      Options o;
      o.seed = seed++;
      o.trials = 80;
      o.maxAssignments = 40000;
      const Make make = makes[m];
      const Stats st = checkShared(
          f, ranges,
          [make](NuvCPManagerI& s, const Vars& v) -> int {
            for (std::size_t i = 0; i < static_cast<std::size_t>(n); ++i)
              if (s.post(nuvCPNew<NuvCPTernaryEqualI>(s.allocator(), &s, v[i], v[n + i], v[2 * n + i])) ==
                  NuvCPFailure)
                return NuvCPFailure;
            return s.post(make(s, Acts{n, false, v}));
          },
          [](const Assignment& a) { return holds(n, false, a); }, o);
      EXPECT_GT(st.trialsWithSolutions, 2);
      if (::testing::Test::HasFailure()) return;
    }
}

TEST(UnaryRules, DisjunctivePairs) {
  Make pair = [](NuvCPManagerI& s, const Acts& a) -> NuvCPCstrI* {
    return nuvCPNew<NuvCPDisjunctiveCstrI>(s.allocator(), &s, a.s()[0], a.e()[0], a.s()[1], a.e()[1]);
  };
  Make optional = [](NuvCPManagerI& s, const Acts& a) -> NuvCPCstrI* {
    return nuvCPNew<NuvCPOptionalDisjunctiveCstrI>(s.allocator(), &s, a.s()[0], a.e()[0], a.p()[0], a.s()[1],
                                                   a.e()[1], a.p()[1]);
  };
  std::uint32_t seed = 400;
  for (auto [dlo, dhi] : {std::pair{0, 2}, std::pair{1, 3}}) {
    EXPECT_GT(check(2, false, 5, dlo, dhi, pair, seed++).trialsWithSolutions, 20);
    EXPECT_GT(check(2, true, 5, dlo, dhi, optional, seed++).trialsWithSolutions, 20);
    if (::testing::Test::HasFailure()) return;
  }
}

struct Resource {
  PimArenaAllocator arena;
  NuvTrailI trail;
  NuvCPManagerI store{&arena, &trail};
  std::vector<NuvCPIntVarI*> s, d, e;
  NuvCPIntVarI* var(int lo, int hi) { return nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, lo, hi); }
  void act(int est, int lst, int dur) {
    s.push_back(var(est, lst));
    d.push_back(var(dur, dur));
    e.push_back(var(est + dur, lst + dur));
  }
  int n() const { return static_cast<int>(s.size()); }
};

TEST(UnaryRules, TextbookDeductions) {
  {
    // Edge finding: a and b fill [0, 10); x must follow both.
    //   time  0    5    10   15   20
    //   a     [====|====]
    //   b     [====|====]
    //   x     [=......................]   ->  x starts at 10
    Resource r;
    r.act(0, 5, 5);
    r.act(0, 5, 5);
    r.act(0, 19, 1);
    ASSERT_EQ(r.store.post(nuvCPNew<NuvCPEdgeFinderI>(&r.arena, &r.store, 3, r.s.data(), r.d.data(), r.e.data(),
                                                      nullptr)),
              NuvCPSuspend);
    EXPECT_EQ(r.s[2]->getMin(), 10);
  }
  {
    // Overload: three of 4 between 0 and 11 fail forward.
    Resource r;
    for (int k = 0; k < 3; ++k) r.act(0, 7, 4);
    EXPECT_EQ(r.store.post(nuvCPNew<NuvCPEdgeFinderPureI>(&r.arena, &r.store, 3, r.s.data(), r.d.data(),
                                                          r.e.data())),
              NuvCPFailure);
  }
  {
    // Detectable precedence: b's latest start 3 is below a's earliest end
    // 5, so b precedes a.
    //   a  [=====.....]  start 0..10, duration 5
    //   b  [=====]...    start 0..3, duration 5
    Resource r;
    r.act(0, 10, 5);
    r.act(0, 3, 5);
    ASSERT_EQ(r.store.post(nuvCPNew<NuvCPDetectablePrecedencesCstrI>(&r.arena, &r.store, 2, r.s.data(),
                                                                     r.d.data(), r.e.data(), nullptr)),
              NuvCPSuspend);
    EXPECT_EQ(r.s[0]->getMin(), 5);
  }
  {
    // Not-first: b (start 0..1, duration 4) cannot follow a (duration 4),
    // so a starts at b's earliest end 4.
    //   a  [====......]  start 0..10
    //   b  [====]        start 0..1
    Resource r;
    r.act(0, 10, 4);
    r.act(0, 1, 4);
    ASSERT_EQ(r.store.post(nuvCPNew<NuvCPNotFirstCstrI>(&r.arena, &r.store, 2, r.s.data(), r.d.data(), r.e.data(),
                                                        nullptr, nullptr)),
              NuvCPSuspend);
    EXPECT_EQ(r.s[0]->getMin(), 4);
    EXPECT_EQ(r.s[1]->getMin(), 0);
  }
  {
    // With its guard bound the rule has nothing more to do: the same
    // not-first deduction is not made.
    Resource r;
    r.act(0, 10, 4);
    r.act(0, 1, 4);
    NuvCPIntVarI* guard = r.var(1, 1);
    EXPECT_EQ(r.store.post(nuvCPNew<NuvCPNotFirstCstrI>(&r.arena, &r.store, 2, r.s.data(), r.d.data(), r.e.data(),
                                                        nullptr, guard)),
              NuvCPSuspend);
    EXPECT_EQ(r.s[0]->getMin(), 0);
  }
}

}  // namespace
