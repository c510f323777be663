// Ranking on a unary resource: rank first, ranks, optional activities,
// setup times and successors never lose a schedule (exhaustively, across
// backtracking, shared variables included) and check it once bound; and
// the deductions a scheduler relies on.
#include <gtest/gtest.h>

#include <vector>

#include "fd/NuvCPCIntVarI.h"
#include "fd/NuvCPRankI.h"
#include "tests/fd/PropagatorChecker.h"

namespace {

using namespace nuvcheck;

constexpr int kN = 3;
// Two types; switching from type 0 to type 1 costs 2, back costs 1.
constexpr int kTypes[kN] = {0, 1, 0};
constexpr int kSetup[4] = {0, 2, 1, 0};

struct Form {
  bool first, optional, setup, succ;
};

// Positions: s[0..3), d[0..3), then p[0..3) when optional, then first (1)
// or rank[0..3), then succ[0..3).
struct Layout {
  Form f;
  int p() const { return 2 * kN; }
  int key() const { return f.optional ? 3 * kN : 2 * kN; }
  int succ() const { return key() + kN; }
  std::size_t size() const { return static_cast<std::size_t>(f.first ? key() + 1 : f.succ ? succ() + kN : key() + kN); }
};

bool holds(const Form& f, const Assignment& a) {
  const Layout l{f};
  auto at = [&](int k) { return a[static_cast<std::size_t>(k)]; };
  auto present = [&](int i) { return !f.optional || at(l.p() + i) == 1; };
  auto setup = [&](int i, int j) { return f.setup ? kSetup[kTypes[i] * 2 + kTypes[j]] : 0; };
  for (int i = 0; i < kN; ++i)
    if (at(kN + i) < 0) return false;
  if (f.first) {
    const int first = at(l.key());
    if (first < 0 || first >= kN || !present(first)) return false;
    for (int j = 0; j < kN; ++j)
      if (j != first && present(j) && at(j) < at(first) + at(kN + first)) return false;
    return true;
  }
  for (int i = 0; i < kN; ++i) {
    const int r = at(l.key() + i);
    if (present(i) ? r < 0 || r >= kN : r != kN) return false;
  }
  for (int i = 0; i < kN; ++i)
    for (int j = 0; j < kN; ++j) {
      if (i == j || !present(i) || !present(j)) continue;
      const int ri = at(l.key() + i), rj = at(l.key() + j);
      if (ri == rj) return false;
      if (ri < rj && at(j) < at(i) + at(kN + i) + setup(i, j)) return false;
    }
  if (f.succ)
    for (int i = 0; i < kN; ++i) {
      const int s = at(l.succ() + i), ri = at(l.key() + i);
      if (s == kN) {
        if (ri != kN - 1) return false;
      } else if (s < 0 || s > kN || at(l.key() + s) != ri + 1) {
        return false;
      }
    }
  return true;
}

int post(const Form& f, NuvCPManagerI& s, const Vars& v) {
  const Layout l{f};
  NuvCPRankI::Args a;
  a.n = kN;
  a.s = v.data();
  a.d = v.data() + kN;
  if (f.optional) a.present = v.data() + l.p();
  if (f.first)
    a.first = v[static_cast<std::size_t>(l.key())];
  else
    a.rank = v.data() + l.key();
  if (f.succ) a.succ = v.data() + l.succ();
  if (f.setup) {
    a.type = kTypes;
    a.setup = kSetup;
    a.types = 2;
  }
  return s.post(nuvCPNew<NuvCPRankI>(s.allocator(), &s, a));
}

TEST(Rank, NeverLosesAScheduleAndChecksWhenBound) {
  const Form forms[] = {
      {true, false, false, false}, {true, true, false, false}, {false, false, false, false},
      {false, true, false, false}, {false, false, true, false}, {false, true, true, false},
      {false, false, true, true},
  };
  std::uint32_t seed = 90;
  for (const Form& f : forms) {
    SCOPED_TRACE(::testing::Message() << "first " << f.first << ", optional " << f.optional << ", setup "
                                      << f.setup << ", succ " << f.succ);
    const Layout l{f};
    std::vector<std::pair<int, int>> ranges;
    std::vector<bool> boolean;
    for (int i = 0; i < kN; ++i) ranges.push_back({0, 5});
    for (int i = 0; i < kN; ++i) ranges.push_back({i == 1 ? 0 : 1, 2});
    if (f.optional)
      for (int i = 0; i < kN; ++i) ranges.push_back({0, 1});
    if (f.first)
      ranges.push_back({-1, kN});
    else
      for (int i = 0; i < kN; ++i) ranges.push_back({0, f.optional ? kN : kN - 1});
    if (f.succ)
      for (int i = 0; i < kN; ++i) ranges.push_back({0, kN});
    ASSERT_EQ(ranges.size(), l.size());
    for (std::size_t k = 0; k < ranges.size(); ++k)
      boolean.push_back(f.optional && static_cast<int>(k) >= l.p() && static_cast<int>(k) < l.p() + kN);
    PropagatorChecker checker(
        randomDomains(ranges), [f](NuvCPManagerI& s, const Vars& v) { return post(f, s, v); },
        [f](const Assignment& a) { return holds(f, a); },
        [boolean](NuvCPManagerI& s, int i, const Domain& d) {
          return boolean[static_cast<std::size_t>(i)] ? makeBoolVar(s, i, d) : makeIntVar(s, i, d);
        });
    Options o;
    o.seed = seed++;
    o.trials = 200;
    o.maxAssignments = 150000;
    const Stats st = checker.run(o);
    EXPECT_GT(st.trialsWithSolutions, f.succ ? 4 : 20);
    EXPECT_GT(st.failures, 0);
    if (::testing::Test::HasFailure()) return;
  }
}

TEST(Rank, SharedVariables) {
  // Two activities with one start (only with a duration of 0), a rank
  // that is a start, a duration that is a rank.
  const Form f{false, false, true, false};
  const std::vector<std::pair<int, int>> ranges = {{0, 5}, {0, 5}, {0, 5}, {0, 2}, {1, 2}, {0, 2},
                                                   {0, 2}, {0, 2}, {0, 2}};
  const Filling fillings[] = {
      {{0}, {1}, {0}, {2}, {3}, {4}, {5}, {6}, {7}},  // s0 == s2 (one type: zero durations)
      {{0}, {1}, {2}, {3}, {4}, {5}, {0}, {6}, {7}},  // rank0 == s0
      {{0}, {1}, {2}, {3}, {4}, {5}, {3}, {6}, {7}},  // rank0 == d0
  };
  std::uint32_t seed = 120;
  for (const Filling& fill : fillings) {
    Options o;
    o.seed = seed++;
    o.trials = 120;
    o.maxAssignments = 60000;
    const Stats st = checkShared(
        fill, ranges, [f](NuvCPManagerI& s, const Vars& v) { return post(f, s, v); },
        [f](const Assignment& a) { return holds(f, a); }, o);
    EXPECT_GT(st.trialsWithSolutions, 5);
    if (::testing::Test::HasFailure()) return;
  }
}

TEST(Rank, Deductions) {
  PimArenaAllocator arena;
  NuvTrailI trail;
  NuvCPManagerI store(&arena, &trail);
  auto var = [&](int lo, int hi) -> NuvCPIntVarI* { return nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, lo, hi); };
  // Three activities of 2 in [0, 10); c cannot start before 5: it is not
  // first, and whoever is first ends by... the first's end bounds c's
  // latest start only once chosen.
  NuvCPIntVarI* s[] = {var(0, 8), var(0, 8), var(5, 8)};
  NuvCPIntVarI* d[] = {var(2, 2), var(2, 2), var(2, 2)};
  NuvCPIntVarI* first = var(0, 2);
  NuvCPRankI::Args a;
  a.n = 3;
  a.s = s;
  a.d = d;
  a.first = first;
  trail.push();
  ASSERT_EQ(store.post(nuvCPNew<NuvCPRankI>(&arena, &store, a)), NuvCPSuspend);
  EXPECT_EQ(first->getSize(), 3);  // c may still be first (b and a after 7)
  ASSERT_NE(s[0]->updateMax(4), NuvCPFailure);
  ASSERT_EQ(store.propagate(), NuvCPSuspend);
  EXPECT_FALSE(first->member(2));  // c ends at 7 at the earliest, after a's latest start
  ASSERT_NE(first->bind(1), NuvCPFailure);
  ASSERT_EQ(store.propagate(), NuvCPSuspend);
  EXPECT_EQ(s[0]->getMin(), 2);
  EXPECT_EQ(s[1]->getMax(), 2);  // b ends before a's latest start 4
  trail.pop();
  // Ranks with setups (0 -> 1 costs 2, 1 -> 0 costs 1): a (type 0) at 0
  // is first, as nothing ends by 0; c (type 0, from 8) is last, as b
  // (type 1) after it would start at 12 at the earliest. So b is second:
  // from 2 + 2 = 4 to 9 - 1 - 2 = 6.
  const int types[] = {0, 1, 0};
  const int setup[] = {0, 2, 1, 0};
  NuvCPIntVarI* r[] = {var(0, 2), var(0, 2), var(0, 2)};
  NuvCPIntVarI* s2[] = {var(0, 0), var(0, 9), var(8, 9)};
  NuvCPRankI::Args b;
  b.n = 3;
  b.s = s2;
  b.d = d;
  b.rank = r;
  b.type = types;
  b.setup = setup;
  b.types = 2;
  ASSERT_EQ(store.post(nuvCPNew<NuvCPRankI>(&arena, &store, b)), NuvCPSuspend);
  EXPECT_EQ(r[0]->getMax(), 0);
  EXPECT_EQ(r[2]->getMin(), 2);
  EXPECT_TRUE(r[1]->isBound());
  EXPECT_EQ(s2[1]->getMin(), 4);
  EXPECT_EQ(s2[1]->getMax(), 6);
}

}  // namespace
