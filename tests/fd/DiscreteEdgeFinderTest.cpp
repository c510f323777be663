// Cumulative edge finding, posted beside time-tabling: never loses a
// schedule (exhaustively, across backtracking, with optional tasks and
// shared variables), and makes the energetic deductions time-tabling
// cannot.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "fd/NuvCPDiscreteEdgeFinderI.h"
#include "fd/NuvCPTimeTableI.h"
#include "tests/fd/PropagatorChecker.h"
#include "tests/fd/ScheduleTimeline.h"

namespace {

using namespace nuvcheck;

// Positions: s[0..n), d[0..n), r[0..n), c, then p[0..n) when optional.
bool holds(int n, bool optional, const Assignment& a) {
  auto at = [&](int k) { return a[static_cast<std::size_t>(k)]; };
  const int c = at(3 * n);
  if (c < 0) return false;
  for (int i = 0; i < n; ++i)
    if (at(n + i) < 0 || at(2 * n + i) < 0) return false;
  for (int t = -10; t < 20; ++t) {
    int load = 0;
    for (int i = 0; i < n; ++i)
      if ((!optional || at(3 * n + 1 + i) == 1) && at(i) <= t && t < at(i) + at(n + i)) load += at(2 * n + i);
    if (load > c) return false;
  }
  return true;
}

int post(int n, bool optional, NuvCPManagerI& s, const Vars& v) {
  NuvCPIntVarI* const* p = optional ? v.data() + 3 * n + 1 : nullptr;
  NuvCPIntVarI* c = v[static_cast<std::size_t>(3 * n)];
  if (s.post(nuvCPNew<NuvCPTimeTableI>(s.allocator(), &s, n, v.data(), v.data() + n, v.data() + 2 * n, c, p)) ==
      NuvCPFailure)
    return NuvCPFailure;
  return s.post(nuvCPNew<NuvCPDiscreteEdgeFinderI>(s.allocator(), &s, n, v.data(), v.data() + n,
                                                   v.data() + 2 * n, c, p));
}

TEST(DiscreteEdgeFinder, NeverLosesAScheduleBesideTimeTabling) {
  struct Case {
    int n;
    bool optional;
    std::vector<std::pair<int, int>> ranges;
  };
  const Case cases[] = {
      {3, false, {{0, 4}, {0, 4}, {0, 4}, {1, 3}, {1, 2}, {1, 3}, {1, 2}, {1, 3}, {1, 2}, {2, 4}}},
      {4, false, {{0, 3}, {0, 3}, {0, 4}, {0, 5}, {2, 2}, {1, 2}, {1, 3}, {1, 1}, {1, 2}, {1, 2}, {1, 3}, {2, 3}, {3, 3}}},
      {3, true, {{0, 3}, {0, 3}, {0, 4}, {1, 3}, {1, 2}, {2, 2}, {1, 2}, {2, 3}, {1, 2}, {2, 3}, {0, 1}, {0, 1}, {0, 1}}},
  };
  std::uint32_t seed = 21;
  for (const Case& k : cases) {
    std::vector<bool> boolean(k.ranges.size(), false);
    if (k.optional)
      for (int i = 0; i < k.n; ++i) boolean[static_cast<std::size_t>(3 * k.n + 1 + i)] = true;
    PropagatorChecker checker(
        randomDomains(k.ranges), [k](NuvCPManagerI& s, const Vars& v) { return post(k.n, k.optional, s, v); },
        [k](const Assignment& a) { return holds(k.n, k.optional, a); },
        [boolean](NuvCPManagerI& s, int i, const Domain& d) {
          return boolean[static_cast<std::size_t>(i)] ? makeBoolVar(s, i, d) : makeIntVar(s, i, d);
        });
    Options o;
    o.seed = seed++;
    o.trials = 250;
    o.maxAssignments = 60000;
    const Stats st = checker.run(o);
    SCOPED_TRACE(::testing::Message() << k.n << " tasks, optional " << k.optional);
    EXPECT_GT(st.trialsWithSolutions, 40);
    if (::testing::Test::HasFailure()) return;
  }
}

TEST(DiscreteEdgeFinder, SharedVariables) {
  // Two tasks with one start, a demand that is the other's duration, the
  // capacity as a demand.
  const std::vector<std::pair<int, int>> ranges = {{0, 3}, {0, 3}, {0, 3}, {1, 2}, {1, 2}, {1, 2},
                                                   {1, 2}, {1, 2}, {1, 2}, {2, 3}};
  const Filling fillings[] = {
      {{0}, {0}, {1}, {2}, {3}, {4}, {5}, {6}, {7}, {8}},
      {{0}, {1}, {2}, {3}, {4}, {5}, {3}, {6}, {7}, {8}},
      {{0}, {1}, {2}, {3}, {4}, {5}, {6}, {7}, {8}, {6, 1}},
  };
  std::uint32_t seed = 60;
  for (const Filling& f : fillings) {
    Options o;
    o.seed = seed++;
    o.trials = 150;
    o.maxAssignments = 40000;
    const Stats st = checkShared(
        f, ranges, [](NuvCPManagerI& s, const Vars& v) { return post(3, false, s, v); },
        [](const Assignment& a) { return holds(3, false, a); }, o);
    EXPECT_GT(st.trialsWithSolutions, 10);
    if (::testing::Test::HasFailure()) return;
  }
}

TEST(DiscreteEdgeFinder, EnergyPushesPastWhatTheProfileSees) {
  // Capacity 2. a and b (demand 2, duration 2) must both run within
  // [0, 4): together they fill it. x (demand 1, duration 1) would overload
  // [0, 4) with them, so it ends after both and starts at 4. Neither a nor
  // b has a compulsory part, so time-tabling alone sees nothing.
  //
  //   time  0 1 2 3 4 5 6 7 8 9
  //   a     [=.=.=.=]              demand 2, start 0..2
  //   b     [=.=.=.=]              demand 2, start 0..2
  //   x     [.....................]  demand 1, start 0..9   ->  from 4
  for (bool withEdgeFinding : {false, true}) {
    PimArenaAllocator arena;
    NuvTrailI trail;
    NuvCPManagerI store(&arena, &trail);
    auto var = [&](int lo, int hi) -> NuvCPIntVarI* {
      return nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, lo, hi);
    };
    NuvCPIntVarI* s[] = {var(0, 2), var(0, 2), var(0, 9)};
    NuvCPIntVarI* d[] = {var(2, 2), var(2, 2), var(1, 1)};
    NuvCPIntVarI* r[] = {var(2, 2), var(2, 2), var(1, 1)};
    NuvCPIntVarI* c = var(2, 2);
    ASSERT_EQ(store.post(nuvCPNew<NuvCPTimeTableI>(&arena, &store, 3, s, d, r, c)), NuvCPSuspend);
    if (withEdgeFinding) {
      ASSERT_EQ(store.post(nuvCPNew<NuvCPDiscreteEdgeFinderI>(&arena, &store, 3, s, d, r, c)), NuvCPSuspend);
    }
    EXPECT_EQ(s[2]->getMin(), withEdgeFinding ? 4 : 0);
  }
}

TEST(DiscreteEdgeFinder, Timelines) {
  // Capacity 3: c and d (demand 2) put 8 of the 12 units of [0, 4) there;
  // y (demand 2, duration 3) would need 6 more, so it ends after both.
  // What energy says of its start: of c and d's 8 units, 8 - (3 - 2) * 4
  // = 4 cannot run beside y, so y starts at 0 + ceil(4 / 2) = 2. (That no
  // two of the three fit together, which puts y at 4, is a pairwise
  // argument edge finding does not make.)
  const auto post = [](NuvCPManagerI& s, nuvtimeline::Vars& v) {
    const int n = static_cast<int>(v.start.size());
    NuvCPIntVarI* cap = nuvCPNew<NuvCPCIntVarI>(s.allocator(), s.allocator(), &s, 3, 3);
    if (s.post(nuvCPNew<NuvCPTimeTableI>(s.allocator(), &s, n, v.start.data(), v.duration.data(),
                                         v.demand.data(), cap)) == NuvCPFailure)
      return static_cast<int>(NuvCPFailure);
    return static_cast<int>(s.post(nuvCPNew<NuvCPDiscreteEdgeFinderI>(s.allocator(), &s, n, v.start.data(),
                                                                      v.duration.data(), v.demand.data(), cap)));
  };
  const std::string got = nuvtimeline::run({"c: ##..(2)", "d: ##..(2)", "y: ###.......(2)"}, post);
  EXPECT_EQ(got, nuvtimeline::draw({"c: ##..(2)", "d: ##..(2)", "y:   ###.....(2)"}));
}

}  // namespace
