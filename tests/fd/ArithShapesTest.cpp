// The shapes of non-linear arithmetic that real models lean on: products
// with a 0/1 factor (bool2int(b) * x), and absolute values over domains too
// large to walk (|x - y| >= d over frequencies or positions). Exhaustive
// checks on small domains, along search, with shared arguments and views,
// and the few single cases that pin the cut-offs down.
#include <gtest/gtest.h>

#include <cstdint>
#include <typeinfo>

#include "fd/NuvCPArithI.h"
#include "tests/fd/PropagatorChecker.h"

namespace {

using S = PropagatorCheck::Strength;
using Vars = std::vector<NuvCPIntVarI*>;

bool times(const std::vector<int>& a) { return std::int64_t{a[0]} * a[1] == a[2]; }

// ---- z == b * x -----------------------------------------------------------------

TEST(BoolTimes, BoundsConsistentOnRandomDomains) {
  // b as a Boolean and as an integer variable over a subset of {0, 1}; x on
  // both sides of 0, and on one side only (where the gap between 0 and x is
  // what z's bounds must skip).
  for (bool boolean : {true, false})
    for (auto ranges : std::vector<std::vector<std::pair<int, int>>>{
             {{0, 1}, {-4, 5}, {-5, 6}}, {{0, 1}, {2, 6}, {-3, 7}}, {{0, 1}, {-7, -3}, {-8, 2}}}) {
      PropagatorCheck c;
      c.ranges = ranges;
      c.build = [](NuvCPManagerI* s, const Vars& v) {
        return nuvCPNew<NuvCPBoolTimesI>(s->allocator(), s, v[0], v[1], v[2]);
      };
      c.holds = times;
      c.strength = S::Bounds;
      c.boolean = {boolean};
      c.trials = 400;
      checkPropagator(c);
    }
}

TEST(BoolTimes, AlongSearchWhicheverFactorIsZeroOne) {
  using namespace nuvcheck;
  // The 0/1 factor first or second: the product picks it either way.
  for (int which : {0, 1}) {
    const int b = which, x = 1 - which;
    std::vector<std::pair<int, int>> ranges(3);
    ranges[static_cast<std::size_t>(b)] = {0, 1};
    ranges[static_cast<std::size_t>(x)] = {-4, 4};
    ranges[2] = {-5, 5};
    Post post = [](NuvCPManagerI& s, const Vars& v) {
      NuvCPCstrI* p = nuvCPNewProduct(&s, v[0], v[1], v[2]);
      if (!dynamic_cast<NuvCPBoolTimesI*>(p)) ADD_FAILURE() << "not the 0/1 product";
      return s.post(p);
    };
    MakeVar make = [b](NuvCPManagerI& s, int i, const Domain& d) {
      return i == b ? makeBoolVar(s, i, d) : makeIntVar(s, i, d);
    };
    PropagatorChecker checker(randomDomains(ranges), post, times, make);
    Options o;
    o.seed = 5 + static_cast<std::uint32_t>(which);
    const Stats st = checker.run(o);
    EXPECT_GT(st.trialsWithSolutions, 50);
    EXPECT_GT(st.failures, 0);
  }
}

TEST(BoolTimes, SharedArgumentsAndViews) {
  using namespace nuvcheck;
  // b, x, z with b's variable, or x's, in two or three positions, with
  // offsets: b * b, b * (b + 1), z == b - 2, z == x + 1 (b must be 0), ...
  std::uint32_t seed = 300;
  int seen = 0;
  for (const Filling& f : sharedFillings(3, {0, 1, -2})) {
    Options o;
    o.seed = seed++;
    o.trials = 60;
    o.dives = 4;
    const Stats st = checkShared(
        f, {{0, 1}, {-3, 3}, {-3, 3}},
        [](NuvCPManagerI& s, const Vars& v) {
          return s.post(nuvCPNew<NuvCPBoolTimesI>(s.allocator(), &s, v[0], v[1], v[2]));
        },
        [](const Assignment& a) { return (a[0] == 0 || a[0] == 1) && times(a); }, o, {true});
    seen += st.trialsWithSolutions;
    if (::testing::Test::HasFailure()) return;
  }
  EXPECT_GT(seen, 200);
}

class ArithShapes : public ::testing::Test {
 protected:
  PimArenaAllocator arena;
  NuvTrailI trail;
  NuvCPManagerI store{&arena, &trail};
  NuvCPIntVarI* var(std::int64_t lo, std::int64_t hi) {
    return nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, lo, hi);
  }
  NuvCPIntVarI* boolean() { return nuvCPNew<NuvCPBoolVarI>(&arena, &arena, &store); }
};

TEST_F(ArithShapes, ProductPicksThe01FormByDomainAtPost) {
  auto kind = [&](NuvCPIntVarI* x, NuvCPIntVarI* y) {
    NuvCPCstrI* p = nuvCPNewProduct(&store, x, y, var(-100, 100));
    return dynamic_cast<NuvCPBoolTimesI*>(p) ? 'b' : dynamic_cast<NuvCPMultI*>(p) ? 'm' : '?';
  };
  EXPECT_EQ(kind(boolean(), var(-5, 5)), 'b');
  EXPECT_EQ(kind(var(-5, 5), var(0, 1)), 'b');
  EXPECT_EQ(kind(var(1, 1), var(-5, 5)), 'b') << "a constant 1 is within {0, 1}";
  EXPECT_EQ(kind(var(0, 2), var(-5, 5)), 'm');
  EXPECT_EQ(kind(var(-1, 1), var(-1, 1)), 'm');
}

TEST_F(ArithShapes, ZeroLeavingTheInsideOfZWakesTheProduct) {
  NuvCPIntVarI* b = boolean();
  NuvCPIntVarI* x = var(-3, 4);
  NuvCPIntVarI* z = var(-5, 5);
  auto* p = nuvCPNew<NuvCPBoolTimesI>(&arena, &store, b, x, z);
  ASSERT_EQ(store.post(p), NuvCPSuspend);
  EXPECT_EQ(z->getMin(), -3);
  EXPECT_EQ(z->getMax(), 4);
  trail.push();
  ASSERT_NE(z->removeValue(0), NuvCPFailure);
  ASSERT_NE(store.propagate(), NuvCPFailure);
  EXPECT_TRUE(b->isBound() && b->getMin() == 1);
  // Now z == x on bounds, done once both are bound.
  ASSERT_NE(store.label(x, 2), NuvCPFailure);
  EXPECT_TRUE(z->isBound() && z->getMin() == 2);
  EXPECT_FALSE(p->isEnabled());
  trail.pop();
  store.restartPropagation();
  // 0 out of z forces b == 1, and then z == x fails.
  ASSERT_NE(x->updateMin(-1), NuvCPFailure);
  ASSERT_NE(z->updateMax(-2), NuvCPFailure);
  EXPECT_EQ(store.propagate(), NuvCPFailure);
}

TEST_F(ArithShapes, ProductSkipsTheGapBetweenZeroAndX) {
  NuvCPIntVarI* b = boolean();
  NuvCPIntVarI* x = var(10, 20);
  NuvCPIntVarI* z = var(-50, 50);
  ASSERT_EQ(store.post(nuvCPNew<NuvCPBoolTimesI>(&arena, &store, b, x, z)), NuvCPSuspend);
  EXPECT_EQ(z->getMin(), 0);
  EXPECT_EQ(z->getMax(), 20);
  ASSERT_NE(z->updateMax(9), NuvCPFailure);
  ASSERT_NE(store.propagate(), NuvCPFailure);
  EXPECT_TRUE(b->isBound() && b->getMax() == 0);
  EXPECT_TRUE(z->isBound() && z->getMin() == 0);
  EXPECT_EQ(x->getMin(), 10) << "x is free once b is 0";
}

// ---- y == |x| past the walking cut-off ------------------------------------------

NuvCPCstrI* absNoWalk(NuvCPManagerI* s, NuvCPIntVarI* x, NuvCPIntVarI* y) {
  return nuvCPNew<NuvCPAbsI>(s->allocator(), s, x, y, 0);
}

bool isAbs(const std::vector<int>& a) { return (a[0] < 0 ? -a[0] : a[0]) == a[1]; }

TEST(AbsWithoutWalk, BoundsConsistentOnRandomDomains) {
  for (auto ranges : std::vector<std::vector<std::pair<int, int>>>{
           {{-7, 6}, {-2, 7}}, {{-3, 9}, {2, 6}}, {{-9, -1}, {0, 5}}}) {
    PropagatorCheck c;
    c.ranges = ranges;
    c.build = [](NuvCPManagerI* s, const Vars& v) { return absNoWalk(s, v[0], v[1]); };
    c.holds = isAbs;
    c.strength = S::Bounds;
    c.trials = 400;
    checkPropagator(c);
  }
}

TEST(AbsWithoutWalk, DomainConsistentOnIntervalsAlongSearch) {
  using namespace nuvcheck;
  // Intervals and labelling only: the holes left are the gap the
  // propagator makes itself, so every value keeps a support.
  PropagatorChecker checker(
      randomDomains({{-8, 8}, {-2, 9}}, 1.0),
      [](NuvCPManagerI& s, const Vars& v) { return s.post(absNoWalk(&s, v[0], v[1])); }, isAbs);
  Options o;
  o.consistency = Consistency::Domain;
  o.dives = 0;
  o.seed = 9;
  const Stats st = checker.run(o);
  EXPECT_GT(st.trialsWithSolutions, 100);
}

TEST_F(ArithShapes, AbsOverLargeDomainsMakesTheGapOnly) {
  NuvCPIntVarI* x = var(-3000, 3000);
  NuvCPIntVarI* y = var(2, 3000);
  auto* a = nuvCPNew<NuvCPAbsI>(&arena, &store, x, y);
  ASSERT_EQ(store.post(a), NuvCPSuspend);
  EXPECT_FALSE(a->walksValues());
  EXPECT_FALSE(x->member(1) || x->member(0) || x->member(-1));
  EXPECT_TRUE(x->member(2) && x->member(-2));
  ASSERT_NE(y->updateMin(40), NuvCPFailure);
  ASSERT_NE(store.propagate(), NuvCPFailure);
  EXPECT_FALSE(x->member(39) || x->member(-39));
  EXPECT_TRUE(x->member(40) && x->member(-40));
  // x without its negative side: y follows x's bounds.
  ASSERT_NE(x->updateMin(0), NuvCPFailure);
  ASSERT_NE(store.propagate(), NuvCPFailure);
  EXPECT_EQ(x->getMin(), 40);

  // Over all integers no gap is made (it would cost a bit array over 2^31
  // values): the bounds still move.
  NuvCPIntVarI* w = var(-1073741823, 1073741822);
  NuvCPIntVarI* v = var(5, 1000);
  ASSERT_EQ(store.post(nuvCPNew<NuvCPAbsI>(&arena, &store, w, v)), NuvCPSuspend);
  EXPECT_FALSE(w->hasDomain());
  EXPECT_EQ(w->getMin(), -1000);
  EXPECT_EQ(w->getMax(), 1000);
}

}  // namespace

namespace {

// ---- z == f(x, y): z's holes, marked or searched --------------------------------

TEST(FunctionSupports, DomainConsistentWhetherZsRangeFitsTheMarksOrNot) {
  // A calendar's t mod 24 and t div 24 shape: small x * y, z's range either
  // within the bit set (marked during the pass) or wider (searched per value).
  using Op = NuvCPBinaryFunctionI::Op;
  for (Op op : {Op::Mod, Op::Div, Op::Max})
    for (int zr : {9, 300}) {
      PropagatorCheck c;
      c.ranges = {{-7, 12}, {-3, 4}, {-zr, zr}};
      c.build = [op](NuvCPManagerI* s, const Vars& v) {
        return nuvCPNew<NuvCPBinaryFunctionI>(s->allocator(), s, op, v[0], v[1], v[2]);
      };
      c.holds = [op](const std::vector<int>& a) {
        std::int64_t f;
        return NuvCPBinaryFunctionI::apply(op, a[0], a[1], f) && f == a[2];
      };
      c.strength = S::Domain;
      c.trials = zr > 100 ? 40 : 300;
      c.density = zr > 100 ? 0.9 : 0.5;
      c.seed = 17;
      checkPropagator(c);
    }
}

}  // namespace
