// The search on models whose answers are known independently: random small
// models against brute force (solution counts and optima, for every
// strategy), n-queens counts, and the path machinery (replaying a solution's
// path on a fresh store, splitting a search into subtrees that other stores
// finish, recording posts made during the search).
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <memory>
#include <random>
#include <set>
#include <sstream>
#include <vector>

#include "fd/NuvCPCIntVarI.h"
#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPManagerI.h"
#include "fd/NuvCPObjectiveI.h"
#include "fd/NuvCPRelationI.h"
#include "host/NuvTrail.h"
#include "host/PimAllocator.h"
#include "host/PimThread.h"
#include "search/NuvSearch.h"

namespace {

// x + y == z on bounds (test-only: the linear propagators are elsewhere).
class Sum3 : public NuvCPCstrI {
 public:
  Sum3(NuvCPManagerI* s, NuvCPIntVarI* x, NuvCPIntVarI* y, NuvCPIntVarI* z)
      : NuvCPCstrI(s, 4), _x(x), _y(y), _z(z) {}
  int post(int) override {
    for (NuvCPIntVarI* v : {_x, _y, _z}) v->addBounds(this);
    return propagate();
  }
  int propagate() override {
    for (int round = 0; round < 4; ++round)
      if (!_z->updateMin(_x->getMin() + _y->getMin()) || !_z->updateMax(_x->getMax() + _y->getMax()) ||
          !_x->updateMin(_z->getMin() - _y->getMax()) || !_x->updateMax(_z->getMax() - _y->getMin()) ||
          !_y->updateMin(_z->getMin() - _x->getMax()) || !_y->updateMax(_z->getMax() - _x->getMin()))
        return NuvCPFailure;
    return NuvCPSuspend;
  }

 private:
  NuvCPIntVarI *_x, *_y, *_z;
};

// x != y that can be recorded and rebuilt on another store.
class Differ : public NuvCPCstrI {
 public:
  Differ(NuvCPManagerI* s, NuvCPIntVarI* x, NuvCPIntVarI* y) : NuvCPCstrI(s, 4), _x(x), _y(y) {}
  int post(int) override {
    _x->addBind(this);
    _y->addBind(this);
    return propagate();
  }
  int propagate() override {
    if (_x->isBound()) return _y->removeValue(_x->getMin()) ? NuvCPSuspend : NuvCPFailure;
    if (_y->isBound()) return _x->removeValue(_y->getMin()) ? NuvCPSuspend : NuvCPFailure;
    return NuvCPSuspend;
  }
  PimDataI* cloneInto(NuvCPManagerI* s) override {
    if (s) return nullptr;
    return nuvCPNew<NuvCPCstrAdapterI2<Differ, NuvCPIntVarI*, NuvCPIntVarI*>>(allocator(), allocator(),
                                                                              _x, _y);
  }

 private:
  NuvCPIntVarI *_x, *_y;
};

// A store with its variables; a model is built afresh on each.
struct Instance {
  PimArenaAllocator arena;
  NuvTrailI trail;
  NuvCPManagerI store{&arena, &trail};
  std::vector<NuvCPIntVarI*> xs;

  NuvCPIntVarI* var(int lo, int hi) {
    xs.push_back(nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, lo, hi));
    return xs.back();
  }
  template <class C, class... A>
  int post(A... args) {
    return store.post(nuvCPNew<C>(&arena, &store, args...));
  }
  std::vector<int> values() const {
    std::vector<int> v;
    for (NuvCPIntVarI* x : xs) v.push_back(x->getMin());
    return v;
  }
};

// ---- random models against brute force ----------------------------------------------

struct Con {
  enum Kind { NotEqual, LessEq, Sum } kind;
  int a, b, c, k;
  bool holds(const std::vector<int>& v) const {
    switch (kind) {
      case NotEqual: return v[a] != v[b] + k;
      case LessEq: return v[a] <= v[b] + k;
      case Sum: return v[a] + v[b] == v[c];
    }
    return false;
  }
};

struct RandomModel {
  std::vector<std::pair<int, int>> bounds;
  std::vector<std::vector<int>> holes;
  std::vector<Con> cons;

  explicit RandomModel(std::mt19937& rng) {
    auto pick = [&](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); };
    const int n = pick(2, 4);
    for (int i = 0; i < n; ++i) {
      int lo = pick(-2, 2);
      bounds.push_back({lo, lo + pick(0, 4)});
      std::vector<int> h;
      for (int v = lo + 1; v < bounds.back().second; ++v)
        if (pick(0, 4) == 0) h.push_back(v);
      holes.push_back(h);
    }
    for (int m = pick(1, 4); m > 0; --m) {
      Con c{static_cast<Con::Kind>(pick(0, n >= 3 ? 2 : 1)), pick(0, n - 1), 0, 0, pick(-2, 2)};
      do c.b = pick(0, n - 1); while (c.b == c.a);
      do c.c = pick(0, n - 1); while (n >= 3 && (c.c == c.a || c.c == c.b));
      cons.push_back(c);
    }
  }
  bool build(Instance& in) const {
    for (std::size_t i = 0; i < bounds.size(); ++i) {
      NuvCPIntVarI* x = in.var(bounds[i].first, bounds[i].second);
      for (int v : holes[i]) x->removeValue(v);
    }
    for (const Con& c : cons) {
      NuvCPIntVarI *a = in.xs[c.a], *b = in.xs[c.b], *z = in.xs[c.c];
      int r = c.kind == Con::NotEqual ? in.post<NuvCPNEqualI>(a, b, c.k)
              : c.kind == Con::LessEq ? in.post<NuvCPLEqualI>(a, b, c.k)
                                      : in.post<Sum3>(a, b, z);
      if (r == NuvCPFailure) return false;  // the store stays failed
    }
    return true;
  }
  // Every assignment of the domains that satisfies the constraints.
  std::set<std::vector<int>> solutions() const {
    std::set<std::vector<int>> out;
    std::vector<int> v(bounds.size());
    std::function<void(std::size_t)> rec = [&](std::size_t i) {
      if (i == v.size()) {
        if (std::all_of(cons.begin(), cons.end(), [&](const Con& c) { return c.holds(v); }))
          out.insert(v);
        return;
      }
      for (v[i] = bounds[i].first; v[i] <= bounds[i].second; ++v[i])
        if (std::find(holes[i].begin(), holes[i].end(), v[i]) == holes[i].end()) rec(i + 1);
    };
    rec(0);
    return out;
  }
};

TEST(SearchModelTest, RandomModelsMatchBruteForce) {
  std::mt19937 rng(20261122);
  const NuvVarSelect varSels[] = {NuvVarSelect::InputOrder, NuvVarSelect::FirstFail,
                                  NuvVarSelect::Largest, NuvVarSelect::MaxRegret, NuvVarSelect::DomWDeg};
  const NuvValSelect valSels[] = {NuvValSelect::Min, NuvValSelect::Median, NuvValSelect::Random,
                                  NuvValSelect::ReverseSplit, NuvValSelect::Interval};
  for (int round = 0; round < 150; ++round) {
    RandomModel model(rng);
    const std::set<std::vector<int>> expected = model.solutions();
    const NuvVarSelect vs = varSels[round % 5];
    const NuvValSelect ls = valSels[(round / 5) % 5];

    Instance in;
    const bool posted = model.build(in);
    std::set<std::vector<int>> found;
    NuvSearch search(&in.store, &in.trail);
    search.addPhase({in.xs, vs, ls});
    auto outcome = search.solve({}, [&] {
      EXPECT_TRUE(found.insert(in.values()).second) << "round " << round << " repeats a solution";
      return true;
    });
    EXPECT_EQ(outcome, NuvSearch::Outcome::Exhausted);
    EXPECT_EQ(found, expected) << "round " << round;
    if (!posted) {
      EXPECT_TRUE(expected.empty()) << "round " << round;
    }
    EXPECT_EQ(in.trail.depth(), 0u);

    // The optimum of the first variable, both ways, against brute force.
    if (expected.empty()) continue;
    for (bool maximize : {false, true}) {
      int best = (*expected.begin())[0];
      for (const auto& s : expected) best = maximize ? std::max(best, s[0]) : std::min(best, s[0]);
      NuvSearch opt(&in.store, &in.trail);
      opt.addPhase({{in.xs.begin() + 1, in.xs.end()}, vs, ls});
      opt.setObjective(in.xs[0], maximize);
      std::ostringstream trace;
      PimThreadOutputScope scope(trace);
      EXPECT_EQ(opt.solve({}, [] { return true; }), NuvSearch::Outcome::Exhausted);
      EXPECT_EQ(opt.best(), best) << "round " << round << (maximize ? " max" : " min");
      int v = 0;
      ASSERT_TRUE(opt.lastValue(in.xs[0], v));
      EXPECT_EQ(v, best);
    }
  }
}

// ---- n-queens ---------------------------------------------------------------------------

// q[i] in 0..n-1; q[i] != q[j], q[i] != q[j] + (j - i), q[i] != q[j] - (j - i).
void queens(Instance& in, int n) {
  for (int i = 0; i < n; ++i) in.var(0, n - 1);
  for (int i = 0; i < n; ++i)
    for (int j = i + 1; j < n; ++j) {
      in.post<NuvCPNEqualI>(in.xs[i], in.xs[j], 0);
      in.post<NuvCPNEqualI>(in.xs[i], in.xs[j], j - i);
      in.post<NuvCPNEqualI>(in.xs[i], in.xs[j], i - j);
    }
}

TEST(SearchModelTest, QueensCountsWithTheDefaultStrategy) {
  const int expected[] = {1, 0, 0, 2, 10, 4, 40, 92};
  for (int n = 1; n <= 8; ++n) {
    Instance in;
    queens(in, n);
    NuvSearch search(&in.store, &in.trail);  // no phase: every variable, first fail
    int count = 0;
    search.solve({}, [&] {
      for (NuvCPIntVarI* x : in.xs) EXPECT_TRUE(x->isBound());
      return ++count, true;
    });
    EXPECT_EQ(count, expected[n - 1]) << n << " queens";
    EXPECT_EQ(search.stats().solutions, expected[n - 1]);
    EXPECT_GE(search.stats().propagations, n > 1 ? 1 : 0);
    EXPECT_LE(search.stats().peakDepth, n);
    EXPECT_GT(search.stats().seconds, 0.0);
  }
}

TEST(SearchModelTest, PhasesAreSearchedInSequence) {
  Instance in;
  queens(in, 6);
  NuvSearch search(&in.store, &in.trail);
  // The last three rows first, largest value first; then the others.
  search.addPhase({{in.xs[3], in.xs[4], in.xs[5]}, NuvVarSelect::InputOrder, NuvValSelect::Max});
  search.addPhase({{in.xs[0], in.xs[1], in.xs[2]}, NuvVarSelect::FirstFail, NuvValSelect::Min});
  int count = 0;
  search.solve({}, [&] {
    // Along the path, every choice on the first phase's rows comes before
    // any choice on the second's.
    bool second = false;
    for (const NuvSearchDecision& d : search.path()) {
      if (d.var < 3) second = true;
      else EXPECT_FALSE(second) << "a first-phase choice after a second-phase one";
    }
    return ++count, true;
  });
  EXPECT_EQ(count, 4);
}

// ---- limits, stop, kept solutions ---------------------------------------------------------

TEST(SearchModelTest, StopFlagKeepsTheBestSolutionAndItsPathReplays) {
  // Maximise the sum of two different queens' rows: stopped after the second
  // improving solution, the search still holds that solution.
  Instance in;
  queens(in, 8);
  NuvCPIntVarI* sum = in.var(0, 14);
  in.post<Sum3>(in.xs[0], in.xs[7], sum);
  std::atomic<bool> stop{false};
  NuvSearchLimits limits;
  limits.stop = &stop;
  NuvSearch search(&in.store, &in.trail);
  search.addPhase({std::vector<NuvCPIntVarI*>(in.xs.begin(), in.xs.begin() + 8)});
  search.setObjective(sum, true);
  std::vector<std::vector<int>> seen;
  std::ostringstream trace;
  PimThreadOutputScope scope(trace);
  auto outcome = search.solve(limits, [&] {
    seen.push_back(in.values());
    if (seen.size() == 2) stop = true;
    return true;
  });
  EXPECT_EQ(outcome, NuvSearch::Outcome::Stopped);
  ASSERT_EQ(seen.size(), 2u);
  EXPECT_GT(seen[1].back(), seen[0].back());
  EXPECT_EQ(search.best(), seen[1].back());
  ASSERT_TRUE(search.hasSolution());
  for (std::size_t i = 0; i < in.xs.size(); ++i) {
    int v = -1;
    ASSERT_TRUE(search.lastValue(in.xs[i], v));
    EXPECT_EQ(v, seen[1][i]);
  }
  // The store is back at the root; the kept path rebuilds the solution on a
  // fresh store of the same model.
  EXPECT_EQ(in.trail.depth(), 0u);
  EXPECT_FALSE(in.xs[0]->isBound());
  Instance other;
  queens(other, 8);
  NuvCPIntVarI* sum2 = other.var(0, 14);
  other.post<Sum3>(other.xs[0], other.xs[7], sum2);
  ASSERT_NE(nuvSearchReplay(&other.store, search.lastPath()), NuvCPFailure);
  EXPECT_EQ(other.values(), seen[1]);
  // It holds the values only (one step per variable), not the decisions,
  // whose number grows with every solution of a branch and bound.
  EXPECT_LE(search.lastPath().size(), static_cast<std::size_t>(in.store.intVarCount()));
}

TEST(SearchModelTest, BranchAndBoundPathStaysShortAndReplays) {
  // Maximise x + y, smallest values first: 998 improving solutions, each
  // reached by a right branch at the level of the previous one. The path
  // keeps the tightest bound per variable, so it stays as short as the
  // number of levels, and with the objective's bound it still leads to the
  // node it describes.
  Instance in;
  NuvCPIntVarI* x = in.var(1, 500);
  NuvCPIntVarI* y = in.var(1, 500);
  NuvCPIntVarI* sum = in.var(2, 1000);
  in.post<Sum3>(x, y, sum);
  NuvSearch search(&in.store, &in.trail);
  search.addPhase({{x, y}, NuvVarSelect::InputOrder, NuvValSelect::Min});
  search.setObjective(sum, true);
  int solutions = 0;
  std::size_t longest = 0;
  search.solve({}, [&] {
    longest = std::max(longest, search.path().size());
    if (++solutions % 97 == 0) {
      Instance other;
      NuvCPIntVarI* x2 = other.var(1, 500);
      NuvCPIntVarI* y2 = other.var(1, 500);
      NuvCPIntVarI* sum2 = other.var(2, 1000);
      other.post<Sum3>(x2, y2, sum2);
      // The objective's bound is the store's, not the path's.
      EXPECT_NE(other.store.gthen(sum2, sum->getMin() - 1), NuvCPFailure);
      EXPECT_NE(nuvSearchReplay(&other.store, search.path()), NuvCPFailure);
      EXPECT_EQ(other.values(), in.values());
    }
    return true;
  });
  EXPECT_EQ(solutions, 999);
  EXPECT_EQ(sum->getMin(), 2);  // back at the root
  EXPECT_LE(longest, 4u);
}

TEST(SearchModelTest, NodeFailureTimeAndSolutionLimits) {
  Instance in;
  queens(in, 13);  // 73712 solutions: far more than any limit lets through
  auto run = [&](NuvSearchLimits limits) {
    NuvSearch search(&in.store, &in.trail);
    EXPECT_EQ(search.solve(limits, [] { return true; }), NuvSearch::Outcome::Stopped);
    EXPECT_EQ(in.trail.depth(), 0u);
    return search.stats();
  };
  NuvSearchLimits nodes;
  nodes.nodes = 500;
  EXPECT_LE(run(nodes).nodes, 501);
  NuvSearchLimits failures;
  failures.failures = 40;
  EXPECT_EQ(run(failures).failures, 40);
  NuvSearchLimits solutions;
  solutions.solutions = 100;
  EXPECT_EQ(run(solutions).solutions, 100);
  NuvSearchLimits time;
  time.timeMs = 30;
  const NuvSearchStats st = run(time);
  EXPECT_GE(st.seconds, 0.03);
  EXPECT_LT(st.seconds, 1.0);
}

// ---- the store's own objective -------------------------------------------------------------

TEST(SearchModelTest, TheStoresObjectiveHookDrivesBranchAndBound) {
  // x + y == s, x != y, x, y in 0..5 and s in 3..10: the least s is 3.
  Instance in;
  NuvCPIntVarI* x = in.var(0, 5);
  NuvCPIntVarI* y = in.var(0, 5);
  NuvCPIntVarI* s = in.var(3, 10);
  in.post<Sum3>(x, y, s);
  in.post<NuvCPNEqualI>(x, y, 0);
  auto* objective = nuvCPNew<NuvCPMinimizeI>(&in.arena, &in.store, s);
  in.store.setIntObjective(objective);
  ASSERT_NE(in.store.post(objective), NuvCPFailure);
  NuvSearch search(&in.store, &in.trail);
  search.addPhase({{x, y, s}, NuvVarSelect::InputOrder, NuvValSelect::Max});
  std::ostringstream trace;
  PimThreadOutputScope scope(trace);
  std::vector<int> values;
  search.solve({}, [&] { return values.push_back(s->getMin()), true; });
  ASSERT_GE(values.size(), 2u);
  EXPECT_TRUE(std::is_sorted(values.rbegin(), values.rend()));
  EXPECT_EQ(values.back(), 3);
  EXPECT_EQ(objective->bound(), 3);  // f* stays with the hook after the search
  EXPECT_EQ(in.store.intObjective(), objective);
}

// ---- paths: split, subtree roots, recording -------------------------------------------------

TEST(SearchModelTest, SplitSubtreesFinishedElsewhereAddUpToTheWhole) {
  // One worker searches 8-queens and hands away a subtree every 20 nodes;
  // each subtree is searched from its root on a store of its own (and may
  // split again). Together they find each of the 92 solutions exactly once.
  std::set<std::vector<int>> found;
  std::vector<NuvSearchPath> pending{NuvSearchPath{}};
  int subtrees = 0;
  while (!pending.empty()) {
    NuvSearchPath root = std::move(pending.back());
    pending.pop_back();
    ++subtrees;
    Instance in;
    queens(in, 8);
    NuvSearch search(&in.store, &in.trail);
    search.addPhase({in.xs, NuvVarSelect::FirstFail, NuvValSelect::Split});
    search.setRoot(root);
    search.setProgress(
        [&](NuvSearch& s) {
          NuvSearchPath away;
          if (s.split(away)) pending.push_back(std::move(away));
          return true;
        },
        20);
    EXPECT_EQ(search.solve({}, [&] {
      EXPECT_TRUE(found.insert(in.values()).second) << "a solution found twice";
      return true;
    }),
              NuvSearch::Outcome::Exhausted);
  }
  EXPECT_EQ(found.size(), 92u);
  EXPECT_GT(subtrees, 3);
}

TEST(SearchModelTest, PostsDuringARecordedSearchJoinThePath) {
  Instance in;
  NuvCPIntVarI* x = in.var(0, 2);
  NuvCPIntVarI* y = in.var(0, 2);
  in.store.close();
  NuvSearch search(&in.store, &in.trail);
  search.addPhase({{x, y}});
  search.setRecording(true);
  bool posted = false;
  // At the first node (x = 0 taken) the search posts x != y below it.
  search.setProgress(
      [&](NuvSearch& s) {
        if (!posted) {
          posted = true;
          EXPECT_NE(in.post<Differ>(x, y), NuvCPFailure);
          EXPECT_EQ(s.path().back().op, NuvSearchDecision::Action);
        }
        return true;
      },
      1);
  std::vector<std::vector<int>> seen;
  NuvSearchPath firstPath;
  search.solve({}, [&] {
    if (seen.empty()) firstPath = search.path();
    seen.push_back(in.values());
    return true;
  });
  // Under x = 0, y = 0 is gone; once backtracked past the post, x = y is back.
  EXPECT_EQ(seen.front(), (std::vector<int>{0, 1}));
  EXPECT_EQ(seen.size(), 8u);
  EXPECT_EQ(in.store.controller(), nullptr);
  // The recorded post replays on another store: there x = 0 makes y != 0.
  Instance other;
  other.var(0, 2);
  other.var(0, 2);
  ASSERT_NE(nuvSearchReplay(&other.store, NuvSearchPath(firstPath.begin(), firstPath.begin() + 2)),
            NuvCPFailure);
  EXPECT_EQ(other.xs[0]->getMin(), 0);
  EXPECT_FALSE(other.xs[1]->member(0));
}

TEST(SearchModelTest, ReplayFailsOnAnUnknownVariableOrAFailedStep) {
  Instance in;
  in.var(0, 3);
  EXPECT_EQ(nuvSearchReplay(&in.store, {{NuvSearchDecision::Label, 5, 1, nullptr}}), NuvCPFailure);
  EXPECT_EQ(nuvSearchReplay(&in.store, {{NuvSearchDecision::Greater, 0, 3, nullptr}}), NuvCPFailure);
  Instance fresh;
  fresh.var(0, 3);
  EXPECT_NE(nuvSearchReplay(&fresh.store, {{NuvSearchDecision::LessEq, 0, 1, nullptr},
                                           {NuvSearchDecision::Diff, 0, 0, nullptr}}),
            NuvCPFailure);
  EXPECT_TRUE(fresh.xs[0]->isBound());
  EXPECT_EQ(fresh.xs[0]->getMin(), 1);
}

}  // namespace

// ---- completion phases ------------------------------------------------------------------

namespace completion {

// The answers of a model when only the first k variables tell them apart:
// the distinct prefixes of its solutions.
std::set<std::vector<int>> prefixes(const std::set<std::vector<int>>& solutions, std::size_t k) {
  std::set<std::vector<int>> out;
  for (std::vector<int> s : solutions) {
    s.resize(k);
    out.insert(s);
  }
  return out;
}

}  // namespace completion

TEST(SearchModelTest, CompletionPhasesGiveEachAnswerOnceAndLoseNone) {
  // Random models whose first k variables are searched in full and the rest
  // only completed: every distinct prefix of a solution comes exactly once,
  // each with a real solution behind it. The completion phase is added
  // first, yet is searched after the complete one.
  std::mt19937 rng(20261123);
  const NuvVarSelect varSels[] = {NuvVarSelect::InputOrder, NuvVarSelect::FirstFail,
                                  NuvVarSelect::DomWDeg};
  const NuvValSelect valSels[] = {NuvValSelect::Min, NuvValSelect::Max, NuvValSelect::Split,
                                  NuvValSelect::Random};
  int manyCompletions = 0;
  for (int round = 0; round < 300; ++round) {
    RandomModel model(rng);
    const std::set<std::vector<int>> all = model.solutions();
    const std::size_t k = static_cast<std::size_t>(round) % model.bounds.size();
    const std::set<std::vector<int>> expected = completion::prefixes(all, k);

    Instance in;
    model.build(in);
    NuvSearch search(&in.store, &in.trail);
    search.setSeed(static_cast<std::uint64_t>(round));
    std::vector<NuvCPIntVarI*> head(in.xs.begin(), in.xs.begin() + static_cast<long>(k));
    std::vector<NuvCPIntVarI*> tail(in.xs.begin() + static_cast<long>(k), in.xs.end());
    search.addPhase({tail, varSels[round % 3], valSels[(round / 3) % 4], false});
    search.addPhase({head, varSels[(round / 12) % 3], valSels[round % 4]});
    std::set<std::vector<int>> found;
    auto outcome = search.solve({}, [&] {
      std::vector<int> v = in.values();
      EXPECT_TRUE(all.count(v)) << "round " << round << ": not a solution";
      v.resize(k);
      EXPECT_TRUE(found.insert(v).second) << "round " << round << " repeats an answer";
      return true;
    });
    EXPECT_EQ(outcome, NuvSearch::Outcome::Exhausted);
    EXPECT_EQ(found, expected) << "round " << round << ", " << k << " complete variables";
    EXPECT_EQ(in.trail.depth(), 0u);
    manyCompletions += all.size() > expected.size() && !expected.empty();
  }
  EXPECT_GT(manyCompletions, 100);  // the answers do have several completions
}

TEST(SearchModelTest, AFailedCompletionValueGivesWayToTheNext) {
  // x in 0..2 searched in full; y in 0..2, z and w in 0..1 completed, all
  // of y, z, w different and y != x. Forward checking sees none of it at
  // the root: y = 0 and y = 1 each fail once z is bound, y = 2 succeeds
  // (with two completions, z = 0 or z = 1, that are one answer); x = 2
  // leaves y no value and fails back into x's choices.
  Instance in;
  NuvCPIntVarI* x = in.var(0, 2);
  NuvCPIntVarI* y = in.var(0, 2);
  NuvCPIntVarI* z = in.var(0, 1);
  NuvCPIntVarI* w = in.var(0, 1);
  ASSERT_NE(in.post<Differ>(y, z), 0);
  ASSERT_NE(in.post<Differ>(y, w), 0);
  ASSERT_NE(in.post<Differ>(z, w), 0);
  ASSERT_NE(in.post<Differ>(y, x), 0);
  NuvSearch search(&in.store, &in.trail);
  search.addPhase({{x}, NuvVarSelect::InputOrder, NuvValSelect::Min});
  search.addPhase({{y, z, w}, NuvVarSelect::InputOrder, NuvValSelect::Min, false});
  std::vector<std::vector<int>> found;
  EXPECT_EQ(search.solve({}, [&] { return found.push_back(in.values()), true; }),
            NuvSearch::Outcome::Exhausted);
  EXPECT_EQ(found, (std::vector<std::vector<int>>{{0, 2, 0, 1}, {1, 2, 0, 1}}));
  EXPECT_GE(search.stats().failures, 4);
}

TEST(SearchModelTest, BranchAndBoundWithCompletionsStaysOptimal) {
  // The objective is the last variable, which only a completion phase
  // names: the search labels it before the completions, so the optimum is
  // the brute-force one and every solution improves on the previous one.
  std::mt19937 rng(20261124);
  for (int round = 0; round < 150; ++round) {
    RandomModel model(rng);
    const std::set<std::vector<int>> all = model.solutions();
    if (all.empty()) continue;
    const std::size_t n = model.bounds.size();
    for (bool maximize : {false, true}) {
      int best = (*all.begin())[n - 1];
      for (const auto& s : all) best = maximize ? std::max(best, s[n - 1]) : std::min(best, s[n - 1]);
      Instance in;
      model.build(in);
      NuvSearch search(&in.store, &in.trail);
      search.addPhase({{in.xs.begin(), in.xs.begin() + 1}, NuvVarSelect::InputOrder, NuvValSelect::Min});
      search.addPhase({{in.xs.begin() + 1, in.xs.end()}, NuvVarSelect::FirstFail, NuvValSelect::Split,
                       false});
      search.setObjective(in.xs[n - 1], maximize);
      std::vector<int> values;
      std::ostringstream trace;
      PimThreadOutputScope scope(trace);
      EXPECT_EQ(search.solve({}, [&] {
        EXPECT_TRUE(all.count(in.values())) << "round " << round;
        return values.push_back(in.xs[n - 1]->getMin()), true;
      }),
                NuvSearch::Outcome::Exhausted);
      ASSERT_FALSE(values.empty()) << "round " << round;
      for (std::size_t i = 1; i < values.size(); ++i)
        EXPECT_TRUE(maximize ? values[i] > values[i - 1] : values[i] < values[i - 1]);
      EXPECT_EQ(search.best(), best) << "round " << round << (maximize ? " max" : " min");
    }
  }
}

TEST(SearchModelTest, SplitsNeverHandAwayACompletion) {
  // 8-queens with the first four queens searched in full and the others
  // completed, split every few nodes: the subtrees together give each
  // placement of the first four queens that extends to a solution once.
  Instance ref;
  queens(ref, 8);
  std::set<std::vector<int>> solutions;
  NuvSearch all(&ref.store, &ref.trail);
  all.solve({}, [&] { return solutions.insert(ref.values()), true; });
  ASSERT_EQ(solutions.size(), 92u);
  const std::set<std::vector<int>> expected = completion::prefixes(solutions, 4);

  std::set<std::vector<int>> found;
  std::vector<NuvSearchPath> pending{NuvSearchPath{}};
  while (!pending.empty()) {
    NuvSearchPath root = std::move(pending.back());
    pending.pop_back();
    Instance in;
    queens(in, 8);
    NuvSearch search(&in.store, &in.trail);
    search.addPhase({{in.xs.begin(), in.xs.begin() + 4}, NuvVarSelect::FirstFail, NuvValSelect::Min});
    search.addPhase({{in.xs.begin() + 4, in.xs.end()}, NuvVarSelect::FirstFail, NuvValSelect::Min, false});
    search.setRoot(root);
    search.setProgress(
        [&](NuvSearch& s) {
          NuvSearchPath away;
          if (s.split(away)) pending.push_back(std::move(away));
          return true;
        },
        3);
    search.solve({}, [&] {
      std::vector<int> v = in.values();
      EXPECT_TRUE(solutions.count(v));
      v.resize(4);
      EXPECT_TRUE(found.insert(v).second) << "an answer found twice";
      return true;
    });
  }
  EXPECT_EQ(found, expected);
}
