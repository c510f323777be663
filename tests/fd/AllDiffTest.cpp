// All-different in its five strengths: exhaustively sound across
// backtracking (with shared variables and views), each at its stated
// consistency, and the textbook cases.
#include <gtest/gtest.h>

#include <functional>
#include <set>
#include <vector>

#include "fd/NuvCPAllDiffI.h"
#include "tests/fd/PropagatorChecker.h"

namespace {

using namespace nuvcheck;

bool distinct(const Assignment& a) {
  return std::set<int>(a.begin(), a.end()).size() == a.size();
}

using Make = std::function<NuvCPDaemonI*(NuvCPManagerI&, const Vars&)>;

struct Variant {
  const char* name;
  Make make;
  Consistency consistency;
};

std::vector<Variant> variants() {
  return {
      {"units", [](NuvCPManagerI& s, const Vars& v) -> NuvCPDaemonI* {
         return nuvCPNew<NuvCPAllDiffbI>(s.allocator(), &s, 1, static_cast<int>(v.size()), v.data());
       }, Consistency::None},
      {"expressions", [](NuvCPManagerI& s, const Vars& v) -> NuvCPDaemonI* {
         return nuvCPNew<NuvCPAllDiffeI>(s.allocator(), &s, 1, static_cast<int>(v.size()), v.data());
       }, Consistency::None},
      {"ac5", [](NuvCPManagerI& s, const Vars& v) -> NuvCPDaemonI* {
         return nuvCPNew<NuvCPAllDiffvI>(s.allocator(), &s, 0, static_cast<int>(v.size()), v.data());
       }, Consistency::None},
      {"bounds", [](NuvCPManagerI& s, const Vars& v) -> NuvCPDaemonI* {
         return nuvCPNew<NuvCPAllDiffBoundsI>(s.allocator(), &s, 0, static_cast<int>(v.size()), v.data());
       }, Consistency::None},  // bounds(Z): checked below
      {"domain", [](NuvCPManagerI& s, const Vars& v) -> NuvCPDaemonI* {
         return nuvCPNew<NuvCPAllDifferentACI>(s.allocator(), &s, 0, static_cast<int>(v.size()), v.data());
       }, Consistency::Domain},
  };
}

TEST(AllDiff, EveryVariantIsSoundAndReachesItsConsistency) {
  // Four variables over overlapping ranges, some tight (Hall sets form),
  // some with holes.
  const std::vector<std::pair<int, int>> ranges = {{0, 3}, {1, 4}, {0, 2}, {-1, 5}};
  std::uint32_t seed = 3;
  for (const Variant& v : variants()) {
    SCOPED_TRACE(v.name);
    const Make make = v.make;
    PropagatorChecker checker(
        randomDomains(ranges, 0.6), [make](NuvCPManagerI& s, const Vars& x) { return s.post(static_cast<NuvCPCstrI*>(make(s, x))); },
        distinct);
    Options o;
    o.seed = seed++;
    o.trials = 300;
    o.consistency = v.consistency;
    const Stats st = checker.run(o);
    EXPECT_GT(st.trialsWithSolutions, 100);
    EXPECT_GT(st.failures, 0);
    if (::testing::Test::HasFailure()) return;
  }
}

TEST(AllDiff, BoundsVariantIsBoundsZConsistent) {
  // Each bound has a support with the others anywhere in their ranges
  // (holes ignored), after post and after every decision.
  PropagatorCheck c;
  c.ranges = {{0, 3}, {1, 4}, {0, 2}, {-1, 5}};
  c.build = [](NuvCPManagerI* s, const Vars& v) {
    return nuvCPNew<NuvCPAllDiffBoundsI>(s->allocator(), s, 0, 4, v.data());
  };
  c.holds = distinct;
  c.strength = PropagatorCheck::Strength::Bounds;
  c.seed = 8;
  checkPropagator(c);
}

TEST(AllDiff, ShiftedValuesAreAllDifferent) {
  // x[i] + d[i] pairwise different.
  const int d[] = {0, 2, -1};
  PropagatorChecker checker(
      randomDomains({{0, 4}, {-2, 2}, {0, 5}}, 0.6),
      [&](NuvCPManagerI& s, const Vars& x) {
        return s.post(nuvCPNew<NuvCPAllDiffcI>(s.allocator(), &s, 1, 3, x.data(), d));
      },
      [&](const Assignment& a) { return distinct({a[0] + d[0], a[1] + d[1], a[2] + d[2]}); });
  Options o;
  o.seed = 21;
  const Stats st = checker.run(o);
  EXPECT_GT(st.trialsWithSolutions, 100);
}

TEST(AllDiff, SharedVariablesAndViews) {
  // One variable in two or three places, itself or shifted: itself twice
  // has no solution, shifted it may.
  std::uint32_t seed = 50;
  for (const Variant& v : variants()) {
    SCOPED_TRACE(v.name);
    int seen = 0;
    for (const Filling& f : sharedFillings(3, {0, 1, -2})) {
      Options o;
      o.seed = seed++;
      o.trials = 40;
      o.dives = 4;
      const Make make = v.make;
      const Stats st = checkShared(
          f, {{0, 3}, {0, 3}, {-1, 3}},
          [make](NuvCPManagerI& s, const Vars& x) { return s.post(static_cast<NuvCPCstrI*>(make(s, x))); },
          distinct, o);
      seen += st.trialsWithSolutions;
      if (::testing::Test::HasFailure()) return;
    }
    EXPECT_GT(seen, 100);
  }
}

class AllDiffCase : public ::testing::Test {
 protected:
  PimArenaAllocator arena;
  NuvTrailI trail;
  NuvCPManagerI store{&arena, &trail};
  NuvCPIntVarI* var(int lo, int hi) { return nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, lo, hi); }
};

TEST_F(AllDiffCase, PigeonholesAndHallSets) {
  // Three variables over {1, 2}: only the matching sees it at post.
  {
    NuvCPIntVarI* x[] = {var(1, 2), var(1, 2), var(1, 2)};
    trail.push();
    EXPECT_EQ(store.post(nuvCPNew<NuvCPAllDiffvI>(&arena, &store, 0, 3, x)), NuvCPSuspend);
    trail.pop();
    EXPECT_EQ(store.post(nuvCPNew<NuvCPAllDifferentACI>(&arena, &store, 0, 3, x)), NuvCPFailure);
  }
  // x1, x2 in {1, 2}, x3 in {1, 2, 3}: x3 = 3 by the matching (and by the
  // Hall interval [1, 2] for bounds); the units wait for a binding.
  NuvTrailI t2;
  PimArenaAllocator a2;
  NuvCPManagerI s2(&a2, &t2);
  auto v2 = [&](int lo, int hi) { return nuvCPNew<NuvCPCIntVarI>(&a2, &a2, &s2, lo, hi); };
  NuvCPIntVarI* y[] = {v2(1, 2), v2(1, 2), v2(1, 3)};
  t2.push();
  ASSERT_EQ(s2.post(nuvCPNew<NuvCPAllDiffbI>(&a2, &s2, 1, 3, y)), NuvCPSuspend);
  EXPECT_FALSE(y[2]->isBound());
  t2.pop();
  t2.push();
  ASSERT_NE(s2.post(nuvCPNew<NuvCPAllDiffBoundsI>(&a2, &s2, 0, 3, y)), NuvCPFailure);
  EXPECT_EQ(y[2]->getMin(), 3);
  t2.pop();
  ASSERT_NE(s2.post(nuvCPNew<NuvCPAllDifferentACI>(&a2, &s2, 0, 3, y)), NuvCPFailure);
  EXPECT_TRUE(y[2]->isBound());
  EXPECT_EQ(y[2]->getMin(), 3);
}

TEST_F(AllDiffCase, LongAugmentingPathsNeedNoDeepRecursion) {
  // x[i] in {i, i + 1, i + 2}, matched greedily to i. Without 0, x[0]
  // must take 1 from x[1], which takes 2 from x[2], ... down to the free
  // value n: one augmenting path through every variable.
  // (The Hall sets then bind every variable in a chain, each binding
  // costing the value propagator O(n): n stays moderate.)
  const int n = 5000;
  std::vector<NuvCPIntVarI*> x;
  for (int i = 0; i < n; ++i) x.push_back(var(i, i + 2));
  ASSERT_EQ(store.post(nuvCPNew<NuvCPAllDifferentACI>(&arena, &store, 0, n, x.data())), NuvCPSuspend);
  trail.push();
  ASSERT_NE(x[0]->removeValue(0), NuvCPFailure);
  ASSERT_NE(store.propagate(), NuvCPFailure);
  // Without 0 and 1 for x[0] and x[1] as well, x[0] is 2 and x[1] is 3:
  // the Hall set {x[0], x[1]} over {2, 3} takes those from x[2].
  ASSERT_NE(x[0]->removeValue(1), NuvCPFailure);
  ASSERT_NE(x[1]->removeValue(1), NuvCPFailure);
  ASSERT_NE(x[1]->removeValue(2), NuvCPFailure);
  ASSERT_NE(store.propagate(), NuvCPFailure);
  EXPECT_EQ(x[2]->getMin(), 4);
  trail.pop();
  EXPECT_EQ(x[2]->getMin(), 2);
}

}  // namespace

TEST_F(AllDiffCase, TheDefaultReasonsOnDomainsOnlyForSmallNearPermutations) {
  // x1, x2 in {1, 3}, x3 in 1..3: a Hall set with a hole, which only
  // domain reasoning sees (x3 = 2); the values span n, so the default
  // reasons on domains.
  NuvCPIntVarI* x[] = {var(1, 3), var(1, 3), var(1, 3)};
  ASSERT_NE(x[0]->removeValue(2), NuvCPFailure);
  ASSERT_NE(x[1]->removeValue(2), NuvCPFailure);
  EXPECT_EQ(nuvCPAllDiffDefault(3, x), NuvCPAllDiffStrength::Domain);
  ASSERT_NE(store.post(nuvCPNewAllDiff(&store, 0, 3, x, NuvCPAllDiffStrength::Default)), NuvCPFailure);
  EXPECT_TRUE(x[2]->isBound());
  EXPECT_EQ(x[2]->getMin(), 2);
  // Loose values (a span above n + n/4), or a permutation too large for
  // a matching at every run: bounds.
  NuvCPIntVarI* y[] = {var(0, 9), var(0, 9), var(0, 9), var(0, 9)};
  EXPECT_EQ(nuvCPAllDiffDefault(4, y), NuvCPAllDiffStrength::Bounds);
  std::vector<NuvCPIntVarI*> z, w;
  for (int i = 0; i < 300; ++i) z.push_back(var(0, 299));
  EXPECT_EQ(nuvCPAllDiffDefault(300, z.data()), NuvCPAllDiffStrength::Bounds);  // 300 * 300 cells
  for (int i = 0; i < 180; ++i) w.push_back(var(0, 199));
  EXPECT_EQ(nuvCPAllDiffDefault(180, w.data()), NuvCPAllDiffStrength::Domain);  // 200 <= 225
  EXPECT_EQ(nuvCPAllDiffDefault(150, w.data()), NuvCPAllDiffStrength::Bounds);  // 200 > 187
}

TEST(AllDiff, ReifiedIsSoundWithSharedVariablesAndTheControlAmongThem) {
  // b <=> x pairwise different, b last; then b among the positions, and
  // one variable in two positions (itself or shifted).
  auto reif = [](NuvCPManagerI& s, const Vars& v) {
    const int n = static_cast<int>(v.size()) - 1;
    return s.post(nuvCPNew<NuvCPAllDiffReifI>(s.allocator(), &s, n, v.data(), v[n]));
  };
  auto holds = [](const Assignment& a) {
    const Assignment x(a.begin(), a.end() - 1);
    return a.back() == (distinct(x) ? 1 : 0);
  };
  PropagatorChecker checker(randomDomains({{0, 2}, {1, 3}, {0, 3}, {0, 1}}, 0.6), reif, holds);
  Options o;
  o.seed = 77;
  const Stats st = checker.run(o);
  EXPECT_GT(st.trialsWithSolutions, 100);
  EXPECT_GT(st.failures, 0);
  std::uint32_t seed = 90;
  for (const Filling& f : sharedFillings(4, {0, 1, -1})) {
    Options so;
    so.seed = seed++;
    so.trials = 30;
    so.dives = 4;
    checkShared(f, {{0, 2}, {0, 2}, {-1, 2}, {0, 1}}, reif, holds, so);
    if (::testing::Test::HasFailure()) return;
  }
}

TEST_F(AllDiffCase, ReifiedWithTheControlTrueAtPostFollowsBindingsItCauses) {
  // x0 in {2, 3}, x1 in {3, 4}, x2 = 2, x3 = 4, b = 1: x2 and x3 leave x0
  // and x1 both 3 after their own turns in a pass; the post must see it,
  // since no event can reach the propagator yet.
  NuvCPIntVarI* x[] = {var(2, 3), var(3, 4), var(2, 2), var(4, 4)};
  NuvCPIntVarI* b = var(1, 1);
  EXPECT_EQ(store.post(nuvCPNew<NuvCPAllDiffReifI>(&arena, &store, 4, x, b)), NuvCPFailure);
}
