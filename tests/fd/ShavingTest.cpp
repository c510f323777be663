// Shaving: trials that undo themselves never lose a solution (exhaustively,
// across backtracking), cut what propagation alone cannot see, and leave
// the store as they found it.
#include <gtest/gtest.h>

#include <vector>

#include "fd/NuvCPCIntVarI.h"
#include "fd/NuvCPRelationI.h"
#include "fd/NuvCPShavingI.h"
#include "fd/NuvCPUnaryI.h"
#include "tests/fd/PropagatorChecker.h"

namespace {

using namespace nuvcheck;

struct Store {
  PimArenaAllocator arena;
  NuvTrailI trail;
  NuvCPManagerI store{&arena, &trail};
  NuvCPIntVarI* var(int lo, int hi) { return nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, lo, hi); }
  int differ(NuvCPIntVarI* x, NuvCPIntVarI* y) { return store.post(nuvCPNew<NuvCPNEqualI>(&arena, &store, x, y, 0)); }
};

TEST(Shaving, CutsWhatBinaryPropagationCannotSee) {
  // x in 1..3, y and z in 1..2, pairwise different: x = 1 and x = 2 each
  // leave y and z one value; only shaving sees that x must be 3.
  Store t;
  NuvCPIntVarI *x = t.var(1, 3), *y = t.var(1, 2), *z = t.var(1, 2);
  ASSERT_NE(t.differ(x, y), NuvCPFailure);
  ASSERT_NE(t.differ(y, z), NuvCPFailure);
  ASSERT_NE(t.differ(x, z), NuvCPFailure);
  EXPECT_EQ(x->getMin(), 1);
  NuvCPIntVarI* all[] = {x, y, z};
  auto* shaving = nuvCPNew<NuvCPShavingI>(&t.arena, &t.store, 3, all);
  t.trail.push();
  EXPECT_EQ(t.store.post(shaving), NuvCPSuspend);
  EXPECT_TRUE(x->isBound());
  EXPECT_EQ(x->getMin(), 3);
  // x = 1 fails, then the block [2, 2] (the rest is not tried as a block:
  // that would be the whole domain); y and z pass a trial per side, twice
  // (the round after a change checks again): 2 + 4 + 4.
  EXPECT_EQ(shaving->trials(), 10);
  // Trials leave nothing behind: backtracking restores the store, and the
  // queues are empty.
  t.trail.pop();
  EXPECT_EQ(x->getMin(), 1);
  EXPECT_EQ(x->getMax(), 3);
  EXPECT_EQ(t.store.propagate(), NuvCPSuspend);
  EXPECT_TRUE(t.store.eventQueue().empty());
  // Three pairwise different variables on two values: no propagator sees
  // it, every trial fails.
  Store u;
  NuvCPIntVarI *a = u.var(1, 2), *b = u.var(1, 2), *c = u.var(1, 2);
  ASSERT_NE(u.differ(a, b), NuvCPFailure);
  ASSERT_NE(u.differ(b, c), NuvCPFailure);
  ASSERT_NE(u.differ(a, c), NuvCPFailure);
  NuvCPIntVarI* abc[] = {a, b, c};
  EXPECT_EQ(u.store.post(nuvCPNew<NuvCPShavingI>(&u.arena, &u.store, 3, abc)), NuvCPFailure);
}

// Positions: x[0..4); the model: x0 != x1, x1 != x2 + 1, x0 <= x3 + 1,
// x2 != x3, x3 != x0 - 2, shaved on all four.
bool modelHolds(const Assignment& a) {
  return a[0] != a[1] && a[1] != a[2] + 1 && a[0] <= a[3] + 1 && a[2] != a[3] && a[3] != a[0] - 2;
}

int postModel(NuvCPManagerI& s, const Vars& v, bool shave) {
  PimAllocator* al = s.allocator();
  if (s.post(nuvCPNew<NuvCPNEqualI>(al, &s, v[0], v[1], 0)) == NuvCPFailure ||
      s.post(nuvCPNew<NuvCPNEqualI>(al, &s, v[1], v[2], 1)) == NuvCPFailure ||
      s.post(nuvCPNew<NuvCPLEqualI>(al, &s, v[0], v[3], 1)) == NuvCPFailure ||
      s.post(nuvCPNew<NuvCPNEqualI>(al, &s, v[2], v[3], 0)) == NuvCPFailure ||
      s.post(nuvCPNew<NuvCPNEqualI>(al, &s, v[3], v[0], -2)) == NuvCPFailure)
    return NuvCPFailure;
  return shave ? s.post(nuvCPNew<NuvCPShavingI>(al, &s, static_cast<int>(v.size()), v.data())) : NuvCPSuspend;
}

TEST(Shaving, NeverLosesASolutionAcrossBacktracking) {
  PropagatorChecker checker(
      randomDomains({{0, 3}, {0, 3}, {0, 3}, {0, 3}}, 0.6),
      [](NuvCPManagerI& s, const Vars& v) { return postModel(s, v, true); }, modelHolds);
  Options o;
  o.seed = 11;
  o.trials = 300;
  const Stats st = checker.run(o);
  EXPECT_GT(st.trialsWithSolutions, 50);
  EXPECT_GT(st.trialsFailedAtPost, 0);
  // With a variable in two places (x3 as x0 + 1), shaving a view is sound.
  const Stats shared = checkShared({{0}, {1}, {2}, {0, 1}}, {{0, 3}, {0, 3}, {0, 3}, {0, 3}},
                                   [](NuvCPManagerI& s, const Vars& v) { return postModel(s, v, true); },
                                   modelHolds, o);
  EXPECT_GT(shared.trialsWithSolutions, 20);
}

TEST(Shaving, EdgeFinderShavesStartsAgainstTheResourceOnly) {
  // Never loses a schedule; and on random tight instances the shaved
  // windows are never wider than the engine's alone, and sometimes
  // narrower.
  constexpr int n = 3;
  auto holds = [=](const Assignment& a) {
    for (int i = 0; i < n; ++i)
      if (a[static_cast<std::size_t>(2 * n + i)] != a[static_cast<std::size_t>(i)] + a[static_cast<std::size_t>(n + i)])
        return false;
    for (int i = 0; i < n; ++i)
      for (int j = i + 1; j < n; ++j) {
        const int si = a[static_cast<std::size_t>(i)], sj = a[static_cast<std::size_t>(j)];
        const int di = a[static_cast<std::size_t>(n + i)], dj = a[static_cast<std::size_t>(n + j)];
        if (di > 0 && dj > 0 && !(si + di <= sj || sj + dj <= si)) return false;
      }
    return true;
  };
  auto post = [=](NuvCPManagerI& s, const Vars& v) {
    PimAllocator* al = s.allocator();
    auto* engine = nuvCPNew<NuvCPUnaryResourceI>(al, &s, n, v.data(), v.data() + n, nullptr, false);
    return s.post(nuvCPNew<NuvCPShavingEdgeFinderI>(al, &s, n, v.data(), v.data() + n, v.data() + 2 * n, engine));
  };
  PropagatorChecker checker(randomDomains({{0, 5}, {0, 5}, {0, 5}, {1, 2}, {1, 3}, {0, 2}, {0, 8}, {0, 8}, {0, 8}}),
                            post, holds);
  Options o;
  o.seed = 23;
  o.trials = 150;
  o.maxAssignments = 200000;
  const Stats st = checker.run(o);
  EXPECT_GT(st.trialsWithSolutions, 20);

  int narrower = 0;
  std::mt19937 rng(3);
  constexpr int m = 5;
  for (int k = 0; k < 300; ++k) {
    std::uniform_int_distribution<int> start(0, 4), span(0, 14), dur(1, 5);
    int lo[m], hi[m], d[m];
    for (int i = 0; i < m; ++i) {
      lo[i] = start(rng);
      hi[i] = lo[i] + span(rng);
      d[i] = dur(rng);
    }
    auto windows = [&](bool shave, std::vector<int>& out) {
      Store t;
      NuvCPIntVarI *s[m], *dv[m], *e[m];
      for (int i = 0; i < m; ++i) {
        s[i] = t.var(lo[i], hi[i]);
        dv[i] = t.var(d[i], d[i]);
        e[i] = t.var(0, 100);
      }
      auto* engine = nuvCPNew<NuvCPUnaryResourceI>(&t.arena, &t.store, m, s, dv, nullptr, false);
      auto* sh = nuvCPNew<NuvCPShavingEdgeFinderI>(&t.arena, &t.store, m, s, dv, e, engine);
      const int r = shave ? t.store.post(sh) : t.store.post(engine);
      out.clear();
      if (r == NuvCPFailure) return false;
      for (int i = 0; i < m; ++i) {
        out.push_back(s[i]->getMin());
        out.push_back(s[i]->getMax());
      }
      return true;
    };
    std::vector<int> plain, shaved;
    const bool plainOk = windows(false, plain), shavedOk = windows(true, shaved);
    if (!plainOk) {
      EXPECT_FALSE(shavedOk);
      continue;
    }
    if (!shavedOk) {
      ++narrower;
      continue;
    }
    for (int i = 0; i < m; ++i) {
      EXPECT_GE(shaved[2 * i], plain[2 * i]);
      EXPECT_LE(shaved[2 * i + 1], plain[2 * i + 1]);
    }
    if (shaved != plain) ++narrower;
  }
  EXPECT_GT(narrower, 0);
}

}  // namespace
