// The search controller on small models whose answers are known by brute
// force: every strategy finds exactly the solutions, branch and bound finds
// the optimum, and the limits and the stop flag end the search.
#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <sstream>
#include <vector>

#include "fd/NuvCPCIntVarI.h"
#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPManagerI.h"
#include "host/NuvTrail.h"
#include "host/PimAllocator.h"
#include "host/PimThread.h"
#include "search/NuvSearch.h"

namespace {

// x != y: forward checking when one side is bound.
class NotEqual : public NuvCPCstrI {
 public:
  NotEqual(NuvCPManagerI* s, NuvCPIntVarI* x, NuvCPIntVarI* y) : NuvCPCstrI(s, 4), _x(x), _y(y) {}
  int post(int) override {
    _x->addBind(this);
    _y->addBind(this);
    return propagate();
  }
  int propagate() override {
    if (_x->isBound()) return _y->removeValue(_x->getMin()) == NuvCPFailure ? 0 : 2;
    if (_y->isBound()) return _x->removeValue(_y->getMin()) == NuvCPFailure ? 0 : 2;
    return NuvCPSuspend;
  }

 private:
  NuvCPIntVarI* _x;
  NuvCPIntVarI* _y;
};

// x + y == z on bounds.
class Plus : public NuvCPCstrI {
 public:
  Plus(NuvCPManagerI* s, NuvCPIntVarI* x, NuvCPIntVarI* y, NuvCPIntVarI* z)
      : NuvCPCstrI(s, 4), _x(x), _y(y), _z(z) {}
  int post(int) override {
    _x->addBounds(this);
    _y->addBounds(this);
    _z->addBounds(this);
    return propagate();
  }
  int propagate() override {
    for (int round = 0; round < 3; ++round) {
      if (!_z->updateMin(_x->getMin() + _y->getMin()) || !_z->updateMax(_x->getMax() + _y->getMax()) ||
          !_x->updateMin(_z->getMin() - _y->getMax()) || !_x->updateMax(_z->getMax() - _y->getMin()) ||
          !_y->updateMin(_z->getMin() - _x->getMax()) || !_y->updateMax(_z->getMax() - _x->getMin()))
        return NuvCPFailure;
    }
    return NuvCPSuspend;
  }

 private:
  NuvCPIntVarI* _x;
  NuvCPIntVarI* _y;
  NuvCPIntVarI* _z;
};

class SearchTest : public ::testing::Test {
 protected:
  NuvCPCIntVarI* var(int lo, int hi) {
    return nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, lo, hi);
  }
  // n variables over 0..d-1, pairwise different.
  std::vector<NuvCPIntVarI*> allDifferent(int n, int d) {
    std::vector<NuvCPIntVarI*> xs;
    for (int i = 0; i < n; ++i) xs.push_back(var(0, d - 1));
    for (int i = 0; i < n; ++i)
      for (int j = i + 1; j < n; ++j)
        EXPECT_NE(store.post(nuvCPNew<NotEqual>(&arena, &store, xs[i], xs[j])), 0);
    return xs;
  }
  PimArenaAllocator arena;
  NuvTrailI trail;
  NuvCPManagerI store{&arena, &trail};
};

TEST_F(SearchTest, EveryStrategyFindsExactlyTheSolutions) {
  std::vector<NuvCPIntVarI*> xs = allDifferent(3, 5);  // 5 * 4 * 3 = 60 solutions
  const char* varSels[] = {"input_order", "first_fail", "anti_first_fail", "smallest", "largest",
                           "occurrence", "most_constrained", "max_regret", "dom_w_deg"};
  const char* valSels[] = {"indomain_min", "indomain_max", "indomain_middle", "indomain_median",
                           "indomain_random", "indomain_split", "indomain_reverse_split",
                           "indomain_interval", "indomain"};
  for (const char* vs : varSels)
    for (const char* ls : valSels) {
      NuvSearchPhase p;
      p.vars = xs;
      ASSERT_TRUE(nuvVarSelectFromName(vs, p.varSelect));
      ASSERT_TRUE(nuvValSelectFromName(ls, p.valSelect));
      NuvSearch search(&store, &trail);
      search.addPhase(p);
      search.setSeed(42);
      std::set<std::vector<int>> seen;
      auto outcome = search.solve({}, [&] {
        std::vector<int> s;
        for (NuvCPIntVarI* x : xs) s.push_back(x->getMin());
        EXPECT_TRUE(seen.insert(s).second) << vs << "/" << ls << " repeats a solution";
        return true;
      });
      EXPECT_EQ(outcome, NuvSearch::Outcome::Exhausted);
      EXPECT_EQ(seen.size(), 60u) << vs << "/" << ls;
      EXPECT_EQ(trail.depth(), 0u);
      for (NuvCPIntVarI* x : xs) EXPECT_EQ(x->getSize(), 5);  // the store is as before
    }
  NuvVarSelect v;
  EXPECT_FALSE(nuvVarSelectFromName("biggest", v));
}

TEST_F(SearchTest, BranchAndBoundProvesTheOptimum) {
  // x, y, z pairwise different in 0..4, s = x + y; maximise s, then minimise it.
  std::vector<NuvCPIntVarI*> xs = allDifferent(3, 5);
  NuvCPIntVarI* s = var(0, 20);
  ASSERT_NE(store.post(nuvCPNew<Plus>(&arena, &store, xs[0], xs[1], s)), 0);
  for (bool maximize : {true, false}) {
    NuvSearch search(&store, &trail);
    NuvSearchPhase p;
    p.vars = xs;
    search.addPhase(p);
    search.setObjective(s, maximize);
    std::vector<int> values;
    std::ostringstream trace;
    PimThreadOutputScope scope(trace);
    auto outcome = search.solve({}, [&] {
      values.push_back(s->getMin());
      return true;
    });
    EXPECT_EQ(outcome, NuvSearch::Outcome::Exhausted);
    ASSERT_FALSE(values.empty());
    for (std::size_t i = 1; i < values.size(); ++i)
      EXPECT_TRUE(maximize ? values[i] > values[i - 1] : values[i] < values[i - 1]);
    EXPECT_EQ(search.best(), maximize ? 7 : 1);
    EXPECT_EQ(trace.str().rfind("objective tightened to: ", 0), 0u);
  }
}

TEST_F(SearchTest, LimitsAndTheStopFlagEndTheSearch) {
  std::vector<NuvCPIntVarI*> xs = allDifferent(4, 6);
  NuvSearchPhase p;
  p.vars = xs;
  {
    NuvSearch search(&store, &trail);
    search.addPhase(p);
    NuvSearchLimits limits;
    limits.solutions = 7;
    int n = 0;
    EXPECT_EQ(search.solve(limits, [&] { return ++n, true; }), NuvSearch::Outcome::Stopped);
    EXPECT_EQ(n, 7);
  }
  {
    NuvSearch search(&store, &trail);
    search.addPhase(p);
    NuvSearchLimits limits;
    limits.nodes = 10;
    search.solve(limits, [] { return true; });
    EXPECT_LE(search.stats().nodes, 11);
  }
  {
    std::atomic<bool> stop{false};
    NuvSearch search(&store, &trail);
    search.addPhase(p);
    NuvSearchLimits limits;
    limits.stop = &stop;
    int n = 0;
    EXPECT_EQ(search.solve(limits,
                           [&] {
                             if (++n == 3) stop = true;
                             return true;
                           }),
              NuvSearch::Outcome::Stopped);
    EXPECT_EQ(n, 3);
    EXPECT_EQ(trail.depth(), 0u);
  }
  {
    // An unsatisfiable model: 4 different values in 0..2.
    std::vector<NuvCPIntVarI*> ys = allDifferent(4, 3);
    NuvSearch search(&store, &trail);
    NuvSearchPhase q;
    q.vars = ys;
    search.addPhase(q);
    int n = 0;
    EXPECT_EQ(search.solve({}, [&] { return ++n, true; }), NuvSearch::Outcome::Exhausted);
    EXPECT_EQ(n, 0);
    EXPECT_GT(search.stats().failures, 0);
  }
}

}  // namespace
