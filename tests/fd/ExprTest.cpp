// The modeling layer: what a constraint is normalised into, the bounds it
// reaches, its refusals, its deferral in atomic sections, and soundness of
// whole expressions (auxiliary variables included) on small random domains.
#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <sstream>
#include <typeinfo>

#include "fd/NuvCPArithI.h"
#include "fd/NuvCPExpr.h"
#include "fd/NuvCPLinEquationI.h"
#include "fd/NuvCPRelationI.h"
#include "tests/fd/PropagatorChecker.h"

namespace {

using E = NuvCPIntExpr;

std::string str(const PimDataI* d) {
  std::ostringstream os;
  d->print(os);
  return os.str();
}

std::string str(const NuvCPBoolExpr& e) {
  std::ostringstream os;
  os << e;
  return os.str();
}

class ExprFixture : public ::testing::Test {
 protected:
  E var(int lo, int hi) { return nuvCPIntVar(store, lo, hi); }
  // The class names of the propagators posted since `from`.
  std::vector<std::string> posted(int from = 0) const {
    std::vector<std::string> out;
    for (int i = from; i < store.recentCount(); ++i) {
      const char* n = typeid(*store.recent(i)).name();
      while (*n >= '0' && *n <= '9') ++n;  // the mangled length prefix
      out.emplace_back(n);
    }
    return out;
  }
  std::string last() const { return str(store.recent(store.recentCount() - 1)); }
  static std::pair<int, int> bounds(const E& e) { return {e.var()->getMin(), e.var()->getMax()}; }

  PimArenaAllocator arena;
  NuvTrailI trail;
  NuvCPManagerI store{&arena, &trail};
};

using V = std::vector<std::string>;
using P = std::pair<int, int>;

TEST_F(ExprFixture, TheLinearExampleReachesItsBounds) {
  E x = var(0, 10), y = var(0, 10);
  const NuvCPBoolExpr c = 2 * x + 3 * y - 12 == 0;
  EXPECT_EQ(str(c), "2*x0 + 3*x1 - 12 == 0");
  EXPECT_EQ(store.post(c), NuvCPSuspend);
  EXPECT_EQ(bounds(x), P(0, 6));
  EXPECT_EQ(bounds(y), P(0, 4));
  EXPECT_EQ(posted(), V{"NuvCPLinearEquationI"});
  EXPECT_EQ(last(), "lin-eq:2 * (7)[0..6] + 3 * (5)[0..4] + -12== 0");
  EXPECT_EQ(store.intVarCount(), 2);  // no auxiliary
}

TEST_F(ExprFixture, ShortRelationsGoOntoUnaryAndBinaryPropagators) {
  E x = var(0, 10), y = var(0, 10), z = var(0, 10);
  struct Case {
    NuvCPBoolExpr c;
    const char* type;
  };
  const Case cases[] = {
      // like terms merged, common divisor taken out: 2y <= 5 is y <= 2
      {x + y - x + 2 * y <= 5 + y, "NuvCPLEqualcI"},
      {3 * z >= 7, "NuvCPGEqualcI"},
      {-z != -4, "NuvCPNEqualcI"},
      {x - y == 3, "NuvCPEqualBCI"},
      {y + 1 == x, "NuvCPEqualBCI"},
      {x < y, "NuvCPLEqualI"},
      {2 * x - 2 * y <= 3, "NuvCPLEqualI"},
      {!(x <= z), "NuvCPLEqualI"},
      {x != y + 2, "NuvCPNEqualI"},
      {x + y <= 7, "NuvCPSLEqualI"},
      {x + 2 * y + z >= 1, "NuvCPLinearGEQI"},
      {x + y + z != 4, "NuvCPLinearNotEqualI"},
  };
  for (const Case& k : cases) {
    trail.push();
    EXPECT_NE(store.post(k.c), NuvCPFailure) << k.c;
    EXPECT_EQ(posted(), V{k.type}) << k.c;
    EXPECT_EQ(store.intVarCount(), 3) << k.c;
    trail.pop();
    store.restartPropagation();
  }
  // The domain level picks the domain-consistent equalities.
  trail.push();
  store.post(x == y + 1, kNuvCPExprDomain);
  nuvCPReify(store, x == z, kNuvCPExprDomain);
  EXPECT_EQ(posted(), (V{"NuvCPEqualACI", "NuvCPReifyEqualACI"}));
  trail.pop();
  store.restartPropagation();
  store.post(x + y - x + 2 * y <= 5 + y);
  EXPECT_EQ(bounds(y), P(0, 2));
}

TEST_F(ExprFixture, ConstantRelationsPostNothingOrFail) {
  E x = var(0, 10);
  EXPECT_EQ(store.post(x - x + 1 >= 0), NuvCPSuspend);
  EXPECT_EQ(store.post(x * 0 == 0), NuvCPSuspend);
  EXPECT_EQ(store.post(NuvCPBoolExpr::constant(true) || x == 3), NuvCPSuspend);
  EXPECT_EQ(store.recentCount(), 0);
  NuvCPManagerI other(&arena, &trail);
  E y = nuvCPIntVar(other, 0, 10);
  EXPECT_EQ(other.post(4 * y == 6), NuvCPFailure);  // no integer y: 4 does not divide 6
  EXPECT_FALSE(other.isConsistent());
}

TEST_F(ExprFixture, ReifiedFormsGiveZeroOneVariables) {
  E x = var(0, 10), y = var(0, 10);
  NuvCPIntVarI* b1 = nuvCPReify(store, x <= 3);
  EXPECT_NE(last().find("<="), std::string::npos);
  NuvCPIntVarI* b2 = nuvCPReify(store, x == y);
  NuvCPIntVarI* b3 = nuvCPReify(store, 2 * x + y != 5);
  NuvCPIntVarI* b4 = nuvCPReify(store, x == 11);  // x cannot: b4 is 0
  NuvCPIntVarI* b5 = nuvCPReify(store, x > 5 && y > 5);
  // b5: one literal per conjunct, b5 <= each, and their sum - b5 <= 1.
  EXPECT_EQ(posted(), (V{"NuvCPReifyLEqualcI", "NuvCPReifyEqualBCI", "NuvCPLinearEquationReifI",
                         "NuvCPReifyEqualcI", "NuvCPEqualcI", "NuvCPReifyGEqualcI",
                         "NuvCPReifyGEqualcI", "NuvCPLEqualI", "NuvCPLEqualI", "NuvCPLinearGEQI"}));
  EXPECT_TRUE(b4->isBound() && b4->getMin() == 0);
  trail.push();
  EXPECT_EQ(store.label(x.var(), 2), NuvCPSuspend);
  EXPECT_EQ(b1->getMin(), 1);
  EXPECT_FALSE(b2->isBound());
  EXPECT_EQ(store.label(y.var(), 1), NuvCPSuspend);  // 2*2 + 1 == 5
  EXPECT_EQ(b3->getMax(), 0);
  EXPECT_EQ(b2->getMax(), 0);
  EXPECT_EQ(b5->getMax(), 0);
  trail.pop();
  store.restartPropagation();
  trail.push();
  EXPECT_EQ(store.label(b5, 1), NuvCPSuspend);
  EXPECT_EQ(bounds(x), P(6, 10));
  EXPECT_EQ(bounds(y), P(6, 10));
  EXPECT_EQ(b1->getMax(), 0);
  trail.pop();
}

TEST_F(ExprFixture, NonLinearTermsIntroduceExactAuxiliaries) {
  E x = var(-2, 3), y = var(1, 4), z = var(-100, 100);
  EXPECT_EQ(store.post(x * y == z), NuvCPSuspend);
  EXPECT_EQ(store.intVarCount(), 4);
  EXPECT_EQ(str(store.getIntVar(3)), "(21)[-8..12]");
  EXPECT_EQ(bounds(z), P(-8, 12));
  EXPECT_EQ(posted(), (V{"NuvCPMultI", "NuvCPEqualBCI"}));

  // abs of a sum: one auxiliary for x - y, one for its absolute value.
  const int before = store.intVarCount();
  EXPECT_EQ(store.post(abs(x - y) <= 1), NuvCPSuspend);
  EXPECT_EQ(store.intVarCount(), before + 2);
  EXPECT_EQ(store.getIntVar(before)->getInitialMin(), -6) << "x - y";
  EXPECT_EQ(store.getIntVar(before)->getInitialMax(), 2) << "x - y";

  // Squares share their variable; constant factors stay linear.
  NuvCPManagerI s2(&arena, &trail);
  E a = nuvCPIntVar(s2, -3, 2), b = nuvCPIntVar(s2, -50, 50);
  EXPECT_EQ(s2.post(sqr(a) + 0 * (a * b) + 2 * (3 * a) == b), NuvCPSuspend);
  EXPECT_EQ(s2.getIntVar(2)->getInitialMin(), 0);
  EXPECT_EQ(s2.getIntVar(2)->getInitialMax(), 9);
  // The quotient's bounds are the extremes over the whole box.
  int lo = INT32_MAX, hi = INT32_MIN;
  for (int bv = b.var()->getMin(); bv <= b.var()->getMax(); ++bv)
    for (int d = a.var()->getMin() - 5; d <= a.var()->getMax() - 5; ++d)
      lo = std::min(lo, bv / d), hi = std::max(hi, bv / d);
  NuvCPIntVarI* q = nuvCPVarOf(s2, div(b, a - 5));
  EXPECT_EQ(q->getInitialMin(), lo);
  EXPECT_EQ(q->getInitialMax(), hi);
  NuvCPIntVarI* r = nuvCPVarOf(s2, mod(b, 4));
  EXPECT_EQ(r->getInitialMin(), -3);
  EXPECT_EQ(r->getInitialMax(), 3);
  NuvCPIntVarI* m = nuvCPVarOf(s2, max(std::vector<E>{a, 2 * a, -a}));
  EXPECT_EQ(m->getInitialMin(), -2);
  EXPECT_EQ(m->getInitialMax(), 4);
  NuvCPIntVarI* p = nuvCPVarOf(s2, pow(a, 3));
  EXPECT_EQ(p->getInitialMin(), -27);
  EXPECT_EQ(p->getInitialMax(), 8);
  EXPECT_EQ(nuvCPVarOf(s2, a), a.var());
}

TEST_F(ExprFixture, OverflowIsRefusedBeforeTheStoreIsTouched) {
  E big = var(-1073741823, 1073741822), small = var(0, 100000), t = var(0, 1);
  E big2 = var(-1073741823, 1073741822), big3 = var(-1073741823, 1073741822);
  const int vars = store.intVarCount();
  auto refused = [&](const NuvCPBoolExpr& c) {
    EXPECT_THROW(store.post(c), PimExecutionError) << c;
    EXPECT_EQ(store.intVarCount(), vars) << c;
    EXPECT_EQ(store.recentCount(), 0) << c;
    EXPECT_TRUE(store.isConsistent());
  };
  refused(small * small == t);                                // 10^10 beyond the range
  refused(big * t + small * small <= 0);                      // the inner product first
  refused(sqr(big) >= 0);
  refused(pow(small, 2) >= 0);
  refused(E(3000000000LL) * t + small == 0);                  // a 32-bit coefficient
  refused(2000000000 * big + 1999999999 * big2 - 1999999997 * big3 == t);  // sums beyond 2^62
  refused(E(INT64_MAX / 2) * (4 * t) == 0);                   // folding beyond 64 bits
  refused(big - small == 3000000000LL);                       // a 32-bit constant
  EXPECT_THROW(nuvCPReify(store, small * small == 1), PimExecutionError);
  EXPECT_EQ(store.intVarCount(), vars);
  // Within the range: accepted.
  EXPECT_EQ(store.post(big + small - t <= 1073741822), NuvCPSuspend);
  EXPECT_EQ(store.post(1000 * small == big), NuvCPSuspend);
  EXPECT_EQ(big.var()->getMax(), 100000000);
}

TEST_F(ExprFixture, AtomicSectionsDeferExpressionPosts) {
  E x = var(0, 10), y = var(0, 10);
  store.setAtomic(true);
  EXPECT_EQ(store.post(2 * x + 3 * y - 12 == 0), NuvCPDelay);
  NuvCPIntVarI* b = nuvCPReify(store, x * y >= 20);  // b exists at once
  EXPECT_EQ(store.status(), NuvCPDelay);
  EXPECT_EQ(store.deferredQueue().size(), 2);
  EXPECT_EQ(bounds(x), P(0, 10));
  EXPECT_EQ(store.recentCount(), 0);
  // A refusal is thrown at the post, not when the section closes.
  EXPECT_THROW(store.post(x * E(3000000000LL) == y), PimExecutionError);
  store.setAtomic(false);
  EXPECT_EQ(store.status(), NuvCPSuspend);
  EXPECT_EQ(bounds(x), P(0, 6));
  EXPECT_EQ(bounds(y), P(0, 4));
  EXPECT_EQ(b->getMax(), 1);
  EXPECT_EQ(store.label(x.var(), 3), NuvCPSuspend);  // y = 2, x * y = 6
  EXPECT_EQ(b->getMax(), 0);
}

TEST_F(ExprFixture, ExpressionsPrintAndMarkTheirVariables) {
  E x = var(0, 5), y = var(0, 5);
  EXPECT_EQ(str(-(x - 2 * y) + abs(x) * 3 - 4 != min(x, y)),
            "-(x0 - 2*x1) + 3*abs(x0) - 4 != min(x0, x1)");
  EXPECT_EQ(str(x == 1 || !(y > 2 && div(x, y) < mod(y, 2))),
            "(x0 == 1 || !((x1 > 2 && div(x0, x1) < mod(x1, 2))))");
  auto* e = nuvCPNew<NuvCPModelExprI>(&arena, &arena, x * y + toInt(y <= 3) >= 2);
  EXPECT_EQ(str(e), "x0 * x1 + int(x1 <= 3) >= 2");
  PimMarker marker(3);
  e->mark(marker);
  EXPECT_TRUE(x.var()->isMarked(3));
  EXPECT_TRUE(y.var()->isMarked(3));
  EXPECT_THROW(min(std::vector<E>{}), PimExecutionError);
  NuvCPManagerI other(&arena, &trail);
  EXPECT_THROW(other.post(x <= 2), PimExecutionError);
}

// ---- soundness on small random domains ----------------------------------------------

struct ExprCheck {
  std::vector<std::pair<int, int>> ranges;
  std::function<NuvCPBoolExpr(const std::vector<E>&)> build;
  std::function<bool(const std::vector<int>&)> holds;
  int trials = 150;
};

// Posts the expression over random domains and checks, on the expression's
// own variables (auxiliaries are existential): no value of a solution is
// pruned, the post fails only without solutions, and every full assignment
// that survives propagation is a solution.
void checkExpr(const ExprCheck& c, unsigned seed) {
  using namespace checker_detail;
  std::mt19937 rng(seed);
  for (int t = 0; t < c.trials; ++t) {
    std::vector<std::vector<int>> doms;
    for (auto [lo, hi] : c.ranges) {
      std::vector<int> d;
      std::bernoulli_distribution in(0.6);
      for (int v = lo; v <= hi; ++v)
        if (in(rng)) d.push_back(v);
      if (d.empty()) d.push_back(std::uniform_int_distribution<int>(lo, hi)(rng));
      doms.push_back(d);
    }
    PimArenaAllocator arena;
    NuvTrailI trail;
    NuvCPManagerI store(&arena, &trail);
    std::vector<E> xs;
    for (const auto& d : doms) {
      E x = nuvCPIntVar(store, d.front(), d.back());
      for (int v = d.front(); v <= d.back(); ++v)
        if (!std::binary_search(d.begin(), d.end(), v)) x.var()->removeValue(v);
      xs.push_back(x);
    }
    std::vector<std::vector<int>> solutions;
    enumerate(doms, [&](const std::vector<int>& a) {
      if (c.holds(a)) solutions.push_back(a);
    });
    const NuvCPBoolExpr e = c.build(xs);
    std::ostringstream where;
    where << e << "; trial " << t << ": " << show(doms);
    trail.push();
    if (store.post(e) == NuvCPFailure) {
      EXPECT_TRUE(solutions.empty()) << "failed although a solution exists; " << where.str();
      trail.pop();
      continue;
    }
    for (const auto& s : solutions)
      for (std::size_t i = 0; i < xs.size(); ++i)
        if (!xs[i].var()->member(s[i])) {
          ADD_FAILURE() << "pruned x" << i << "=" << s[i] << " of a solution; " << where.str();
          return;
        }
    std::vector<std::vector<int>> now;
    for (const E& x : xs) now.push_back(valuesOf(x.var()));
    enumerate(now, [&](const std::vector<int>& a) {
      trail.push();
      bool alive = true;
      for (std::size_t i = 0; i < xs.size() && alive; ++i)
        alive = store.label(xs[i].var(), a[i]) != NuvCPFailure;
      if (alive) {
        EXPECT_TRUE(c.holds(a)) << "accepted a non-solution; " << where.str();
      }
      trail.pop();
      store.restartPropagation();
    });
    trail.pop();
  }
}

int tdiv(int a, int b) { return a / b; }

TEST(ExprSoundness, ExpressionShapesOnSmallDomains) {
  const std::pair<int, int> r{-3, 3};
  std::vector<ExprCheck> checks = {
      {{r, r, r},
       [](const std::vector<E>& v) { return 2 * v[0] - 3 * v[1] + v[2] <= 1; },
       [](const std::vector<int>& a) { return 2 * a[0] - 3 * a[1] + a[2] <= 1; }},
      {{r, r, r},
       [](const std::vector<E>& v) { return v[0] * v[1] == v[2] + 1; },
       [](const std::vector<int>& a) { return a[0] * a[1] == a[2] + 1; }},
      {{r, r, {-9, 9}},
       [](const std::vector<E>& v) { return sqr(v[0]) - v[1] == v[2]; },
       [](const std::vector<int>& a) { return a[0] * a[0] - a[1] == a[2]; }},
      {{r, r, {0, 4}},
       [](const std::vector<E>& v) { return abs(v[0] - v[1]) >= v[2]; },
       [](const std::vector<int>& a) { return std::abs(a[0] - a[1]) >= a[2]; }},
      {{r, r, r},
       [](const std::vector<E>& v) { return div(v[0], v[1]) == v[2]; },
       [](const std::vector<int>& a) { return a[1] != 0 && tdiv(a[0], a[1]) == a[2]; }},
      {{{-6, 6}, r, r},
       [](const std::vector<E>& v) { return mod(v[0], v[1] + 1) == v[2]; },
       [](const std::vector<int>& a) { return a[1] != -1 && a[0] % (a[1] + 1) == a[2]; }},
      {{r, r, r},
       [](const std::vector<E>& v) { return min(v[0], v[1]) + max(std::vector<E>{v[0], v[1], v[2]}) == 1; },
       [](const std::vector<int>& a) {
         return std::min(a[0], a[1]) + std::max({a[0], a[1], a[2]}) == 1;
       }},
      {{r, {-2, 2}},
       [](const std::vector<E>& v) { return pow(v[0], 3) - pow(v[1], 2) < 0; },
       [](const std::vector<int>& a) { return a[0] * a[0] * a[0] < a[1] * a[1]; }},
      {{r, r, {0, 1}},
       [](const std::vector<E>& v) { return v[2] == toInt(v[0] <= v[1] - 1); },
       [](const std::vector<int>& a) { return a[2] == (a[0] <= a[1] - 1 ? 1 : 0); }},
      {{r, r, {0, 1}},
       [](const std::vector<E>& v) { return v[2] != toInt(2 * v[0] + v[1] != 1); },
       [](const std::vector<int>& a) { return a[2] != (2 * a[0] + a[1] != 1 ? 1 : 0); }},
      {{r, r, r},
       [](const std::vector<E>& v) {
         return (v[0] == v[1] || v[1] == v[2] + 1) && !(v[0] == v[2]) && v[0] != 2;
       },
       [](const std::vector<int>& a) {
         return (a[0] == a[1] || a[1] == a[2] + 1) && a[0] != a[2] && a[0] != 2;
       }},
      {{r, r, r},
       [](const std::vector<E>& v) {
         return toInt(v[0] < 0 || (v[1] > 0 && 3 * v[0] - v[2] >= 2)) + toInt(v[0] == 2) ==
                toInt(v[2] != 0);
       },
       [](const std::vector<int>& a) {
         return (a[0] < 0 || (a[1] > 0 && 3 * a[0] - a[2] >= 2)) + (a[0] == 2) == (a[2] != 0);
       }},
      {{r, r, r},
       [](const std::vector<E>& v) { return !(v[0] * v[1] > 2 || abs(v[2]) == v[0]); },
       [](const std::vector<int>& a) { return !(a[0] * a[1] > 2 || std::abs(a[2]) == a[0]); }},
  };
  unsigned seed = 1;
  for (const ExprCheck& c : checks) checkExpr(c, seed++);
}

}  // namespace
