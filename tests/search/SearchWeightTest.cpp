// dom/wdeg's failure weights: the store blames the propagator whose run
// failed, its weight grows (with decay), and the variables it watches are
// chosen earlier; entailed propagators and views are weighed as documented,
// and the tree does not depend on the seed.
#include <gtest/gtest.h>

#include <vector>

#include "fd/NuvCPCIntVarI.h"
#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPManagerI.h"
#include "fd/NuvCPViewIntVarI.h"
#include "host/NuvTrail.h"
#include "host/PimAllocator.h"
#include "search/NuvSearch.h"

namespace {

// x + y == sum, checked only once both are bound (no pruning before): a
// constraint that fails late and often.
class LateSum : public NuvCPCstrI {
 public:
  LateSum(NuvCPManagerI* s, NuvCPIntVarI* x, NuvCPIntVarI* y, int sum)
      : NuvCPCstrI(s, 4), _x(x), _y(y), _sum(sum) {}
  int post(int) override {
    _x->addBind(this);
    _y->addBind(this);
    return NuvCPSuspend;
  }
  int propagate() override {
    if (!_x->isBound() || !_y->isBound()) return NuvCPSuspend;
    return _x->getMin() + _y->getMin() == _sum ? NuvCPSuccess : NuvCPFailure;
  }

 private:
  NuvCPIntVarI* _x;
  NuvCPIntVarI* _y;
  int _sum;
};

// x != v, checked once x is bound.
class LateNot : public NuvCPCstrI {
 public:
  LateNot(NuvCPManagerI* s, NuvCPIntVarI* x, int v) : NuvCPCstrI(s, 4), _x(x), _v(v) {}
  int post(int) override {
    _x->addBind(this);
    return NuvCPSuspend;
  }
  int propagate() override {
    if (!_x->isBound()) return NuvCPSuspend;
    return _x->getMin() != _v ? NuvCPSuccess : NuvCPFailure;
  }

 private:
  NuvCPIntVarI* _x;
  int _v;
};

// Watches its variables and never prunes nor fails.
class Idle : public NuvCPCstrI {
 public:
  Idle(NuvCPManagerI* s, NuvCPIntVarI* x, NuvCPIntVarI* y) : NuvCPCstrI(s, 4), _x(x), _y(y) {}
  int post(int) override {
    _x->addBind(this);
    _y->addDomain(this);
    _y->addBind(this);  // twice on y: counts once
    return NuvCPSuspend;
  }
  int propagate() override { return NuvCPSuspend; }

 private:
  NuvCPIntVarI* _x;
  NuvCPIntVarI* _y;
};

// x != y, entailed (disabled) once either is bound.
class Differ : public NuvCPCstrI {
 public:
  Differ(NuvCPManagerI* s, NuvCPIntVarI* x, NuvCPIntVarI* y) : NuvCPCstrI(s, 4), _x(x), _y(y) {}
  int post(int) override {
    _x->addBind(this);
    _y->addBind(this);
    return propagate();
  }
  int propagate() override {
    if (_x->isBound()) return _y->removeValue(_x->getMin()) == NuvCPFailure ? 0 : 1;
    if (_y->isBound()) return _x->removeValue(_y->getMin()) == NuvCPFailure ? 0 : 1;
    return NuvCPSuspend;
  }

 private:
  NuvCPIntVarI* _x;
  NuvCPIntVarI* _y;
};

class SearchWeightTest : public ::testing::Test {
 protected:
  NuvCPCIntVarI* var(int lo, int hi) { return nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, lo, hi); }
  template <class C, class... A>
  C* post(A... args) {
    C* c = nuvCPNew<C>(&arena, &store, args...);
    EXPECT_NE(store.post(c), NuvCPFailure);
    return c;
  }
  static NuvSearchPhase domWDeg(std::vector<NuvCPIntVarI*> vars) {
    NuvSearchPhase p;
    p.vars = std::move(vars);
    p.varSelect = NuvVarSelect::DomWDeg;
    return p;
  }
  PimArenaAllocator arena;
  NuvTrailI trail;
  NuvCPManagerI store{&arena, &trail};
};

TEST_F(SearchWeightTest, TheVariablesOfAFailingConstraintAreChosenFirst) {
  // y0..y3 over 0..1, two idle propagators each: dom/wdeg starts with them
  // (2/2 against 4/1 for a and b). Only a = b = 3 satisfies the late sum,
  // which fails under the first assignment of the y's until its weight
  // makes a and b come before the y's still free.
  std::vector<NuvCPIntVarI*> ys;
  for (int i = 0; i < 4; ++i) ys.push_back(var(0, 1));
  NuvCPIntVarI* a = var(0, 3);
  NuvCPIntVarI* b = var(0, 3);
  for (int i = 0; i < 4; ++i) post<Idle>(ys[i], ys[(i + 1) % 4]);
  LateSum* sum = post<LateSum>(a, b, 6);
  Idle* idle = post<Idle>(ys[0], ys[1]);

  NuvSearch search(&store, &trail);
  search.addPhase(domWDeg({ys[0], ys[1], ys[2], ys[3], a, b}));
  EXPECT_EQ(search.failureWeight(ys[0]), 0);  // before the search: no tables
  std::vector<int> aFirstAt;  // per solution: the position of a's first decision
  int solutions = 0;
  search.solve({}, [&] {
    ++solutions;
    EXPECT_EQ(a->getMin() + b->getMin(), 6);
    const NuvSearchPath& path = search.path();
    int at = -1;
    for (std::size_t i = 0; i < path.size() && at < 0; ++i)
      if (path[i].var == a->getId()) at = static_cast<int>(i);
    aFirstAt.push_back(at);
    return true;
  });
  EXPECT_EQ(solutions, 16);  // every heuristic must keep every answer
  ASSERT_EQ(aFirstAt.size(), 16u);
  EXPECT_GE(aFirstAt.front(), 4);  // the first time: after the four y's
  EXPECT_LE(aFirstAt.back(), 1);   // later: a right after the first y
  EXPECT_GT(search.failureWeight(sum), 10);
  EXPECT_EQ(search.failureWeight(idle), 1);
  EXPECT_GT(search.failureWeight(a), search.failureWeight(ys[0]));
  // y0: three distinct idle propagators, the one on two of its lists once.
  EXPECT_EQ(search.failureWeight(ys[0]), 3);
}

TEST_F(SearchWeightTest, DecayFavoursRecentFailures) {
  // x = 0 fails in `zero`, x = 1 in `one`, x = 2 is the solution: two
  // failures, in that order.
  NuvCPIntVarI* x = var(0, 2);
  LateNot* zero = post<LateNot>(x, 0);
  LateNot* one = post<LateNot>(x, 1);
  struct Case {
    double decay, zero, one;
  };
  for (const Case& c : {Case{1, 2, 2}, Case{0.5, 2, 3}, Case{0.25, 2, 5}}) {
    NuvSearch search(&store, &trail);
    NuvSearchPhase p;
    p.vars = {x};
    search.addPhase(p);
    search.setWeightDecay(c.decay);
    search.solve({}, [] { return true; });
    EXPECT_EQ(search.stats().failures, 2);
    EXPECT_EQ(search.failureWeight(zero), c.zero) << c.decay;
    EXPECT_EQ(search.failureWeight(one), c.one) << c.decay;
    EXPECT_EQ(search.failureWeight(x), c.zero + c.one) << c.decay;
  }
  // A huge decay rescales every weight: the order survives, nothing overflows.
  NuvSearch search(&store, &trail);
  search.addPhase({{x}, NuvVarSelect::InputOrder, NuvValSelect::Min});
  search.setWeightDecay(1e-60);
  search.solve({}, [] { return true; });
  const double w0 = search.failureWeight(zero), w1 = search.failureWeight(one);
  EXPECT_GT(w0, 0);
  EXPECT_GT(w1, w0 * 1e50);
  EXPECT_LT(w1, 1e10);
}

TEST_F(SearchWeightTest, EntailedPropagatorsAndViewsAreWeighedAsDocumented) {
  NuvCPIntVarI* x = var(0, 2);
  NuvCPIntVarI* y = var(0, 2);
  NuvCPIntVarI* z = var(0, 2);
  post<Differ>(x, y);
  post<Differ>(x, z);
  auto* view = nuvCPNew<NuvCPViewIntVarI>(&arena, &arena, &store, y, 5);
  NuvSearch search(&store, &trail);
  search.addPhase(domWDeg({x, y, z}));
  int solutions = 0;
  search.solve({}, [&] {
    // Every propagator is entailed at a solution.
    EXPECT_EQ(search.failureWeight(x), 0);
    ++solutions;
    return true;
  });
  EXPECT_EQ(solutions, 12);
  // Back at the root both are enabled again; the view weighs as y.
  EXPECT_EQ(search.failureWeight(x), 2);
  EXPECT_EQ(search.failureWeight(view), search.failureWeight(y));
  EXPECT_EQ(search.failureWeight(y), 1);
}

TEST_F(SearchWeightTest, TheTreeDoesNotDependOnTheSeedOrOnAnEarlierSearch) {
  // Six pairwise different variables over five values: unsatisfiable, with
  // enough failures for the weights to steer the search.
  std::vector<NuvCPIntVarI*> xs;
  for (int i = 0; i < 6; ++i) xs.push_back(var(0, 4));
  for (int i = 0; i < 6; ++i)
    for (int j = i + 1; j < 6; ++j) post<Differ>(xs[i], xs[j]);
  NuvSearch first(&store, &trail);
  first.setSeed(1);
  first.solve({}, [] { return true; });  // no phase: every variable, dom/wdeg
  const NuvSearchStats a = first.stats();
  EXPECT_EQ(a.solutions, 0);
  EXPECT_GT(a.failures, 50);
  first.solve({}, [] { return true; });  // weights start afresh
  NuvSearch second(&store, &trail);
  second.setSeed(987654321);
  second.solve({}, [] { return true; });
  for (const NuvSearchStats& s : {first.stats(), second.stats()}) {
    EXPECT_EQ(s.nodes, a.nodes);
    EXPECT_EQ(s.failures, a.failures);
    EXPECT_EQ(s.peakDepth, a.peakDepth);
  }
}

TEST_F(SearchWeightTest, AFailureAmongUnsearchedVariablesIsPassedOnToThoseThatReachTheSearchedOnes) {
  // a is searched; c is only completed. `zero` and `one` watch c alone and
  // refute both of its values; `link` watches a and c and never fails.
  NuvCPIntVarI* a = var(0, 1);
  NuvCPIntVarI* c = var(0, 1);
  post<LateNot>(c, 0);
  LateNot* one = post<LateNot>(c, 1);
  Idle* link = post<Idle>(a, c);
  for (bool completion : {true, false}) {
    NuvSearch search(&store, &trail);
    search.addPhase({{a}, NuvVarSelect::DomWDeg, NuvValSelect::Min});
    search.addPhase({{c}, NuvVarSelect::DomWDeg, NuvValSelect::Min, !completion});
    search.solve({}, [] { return true; });
    EXPECT_EQ(search.stats().solutions, 0);
    EXPECT_GT(search.failureWeight(one), 1);
    if (completion)
      EXPECT_GT(search.failureWeight(link), 1);  // it reaches a
    else
      EXPECT_EQ(search.failureWeight(link), 1);  // c is searched: the blame stays
  }
}

}  // namespace
