// Relations, linear constraints and arithmetic under the exhaustive
// checker, plus the print forms and the edge cases that the checker cannot
// see (subscriptions, entailment, overflow at the range's ends).
#include <gtest/gtest.h>

#include <sstream>
#include <type_traits>

#include "fd/NuvCPArithI.h"
#include "fd/NuvCPLinEquationI.h"
#include "fd/NuvCPRelationI.h"
#include "tests/fd/PropagatorChecker.h"

namespace {

using S = PropagatorCheck::Strength;
using Vars = std::vector<NuvCPIntVarI*>;

template <class P>
PropagatorCheck binary(int k, std::function<bool(int, int)> rel, S strength) {
  PropagatorCheck c;
  c.ranges = {{-4, 4}, {-4, 4}};
  c.build = [k](NuvCPManagerI* s, const Vars& v) {
    return nuvCPNew<P>(s->allocator(), s, v[0], v[1], k);
  };
  c.holds = [rel](const std::vector<int>& a) { return rel(a[0], a[1]); };
  c.strength = strength;
  return c;
}

TEST(Relations, BinaryRelationsAreSoundAndAsStrongAsClaimed) {
  for (int k : {-3, 0, 2}) {
    checkPropagator(binary<NuvCPEqualBCI>(k, [k](int x, int y) { return x == y + k; }, S::Bounds));
    checkPropagator(binary<NuvCPEqualACI>(k, [k](int x, int y) { return x == y + k; }, S::Domain));
    checkPropagator(binary<NuvCPLEqualI>(k, [k](int x, int y) { return x <= y + k; }, S::Bounds));
    checkPropagator(binary<NuvCPSLEqualI>(k, [k](int x, int y) { return x + y <= k; }, S::Bounds));
    checkPropagator(binary<NuvCPNEqualI>(k, [k](int x, int y) { return x != y + k; }, S::None));
  }
}

TEST(Relations, UnaryAndReifiedRelations) {
  for (int k : {-2, 0, 3}) {
    auto unary = [k](auto tag, std::function<bool(int)> rel) {
      using P = typename decltype(tag)::type;
      PropagatorCheck c;
      c.ranges = {{-4, 4}};
      c.build = [k](NuvCPManagerI* s, const Vars& v) {
        return nuvCPNew<P>(s->allocator(), s, v[0], k);
      };
      c.holds = [rel](const std::vector<int>& a) { return rel(a[0]); };
      c.strength = S::Domain;
      checkPropagator(c);
    };
    unary(std::type_identity<NuvCPEqualcI>{}, [k](int x) { return x == k; });
    unary(std::type_identity<NuvCPNEqualcI>{}, [k](int x) { return x != k; });
    unary(std::type_identity<NuvCPLEqualcI>{}, [k](int x) { return x <= k; });
    unary(std::type_identity<NuvCPGEqualcI>{}, [k](int x) { return x >= k; });

    auto reifiedUnary = [k](auto tag, std::function<bool(int)> rel) {
      using P = typename decltype(tag)::type;
      PropagatorCheck c;
      c.ranges = {{-4, 4}, {0, 1}};
      c.build = [k](NuvCPManagerI* s, const Vars& v) {
        return nuvCPNew<P>(s->allocator(), s, v[0], k, v[1]);
      };
      c.holds = [rel](const std::vector<int>& a) { return rel(a[0]) == (a[1] == 1); };
      checkPropagator(c);
    };
    reifiedUnary(std::type_identity<NuvCPReifyEqualcI>{}, [k](int x) { return x == k; });
    reifiedUnary(std::type_identity<NuvCPReifyNEqualcI>{}, [k](int x) { return x != k; });
    reifiedUnary(std::type_identity<NuvCPReifyLEqualcI>{}, [k](int x) { return x <= k; });
    reifiedUnary(std::type_identity<NuvCPReifyGEqualcI>{}, [k](int x) { return x >= k; });

    auto reifiedBinary = [k](auto tag, std::function<bool(int, int)> rel) {
      using P = typename decltype(tag)::type;
      PropagatorCheck c;
      c.ranges = {{-3, 3}, {-3, 3}, {0, 1}};
      c.build = [k](NuvCPManagerI* s, const Vars& v) {
        return nuvCPNew<P>(s->allocator(), s, v[0], v[1], k, v[2]);
      };
      c.holds = [rel](const std::vector<int>& a) { return rel(a[0], a[1]) == (a[2] == 1); };
      checkPropagator(c);
    };
    reifiedBinary(std::type_identity<NuvCPReifyEqualBCI>{},
                  [k](int x, int y) { return x == y + k; });
    reifiedBinary(std::type_identity<NuvCPReifyEqualACI>{},
                  [k](int x, int y) { return x == y + k; });
    reifiedBinary(std::type_identity<NuvCPReifyNEqualI>{},
                  [k](int x, int y) { return x != y + k; });
    reifiedBinary(std::type_identity<NuvCPReifyLEqualI>{},
                  [k](int x, int y) { return x <= y + k; });
  }
}

TEST(Relations, BooleanConnectives) {
  auto logic = [](auto tag, std::function<bool(bool, bool)> op) {
    using P = typename decltype(tag)::type;
    PropagatorCheck c;
    c.ranges = {{0, 1}, {0, 1}, {0, 1}};
    c.boolean = {true, true, true};
    c.trials = 80;
    c.density = 0.75;
    c.build = [](NuvCPManagerI* s, const Vars& v) -> NuvCPDaemonI* {
      return nuvCPNew<P>(s->allocator(), s, static_cast<NuvCPBoolVarI*>(v[0]),
                         static_cast<NuvCPBoolVarI*>(v[1]), static_cast<NuvCPBoolVarI*>(v[2]));
    };
    c.holds = [op](const std::vector<int>& a) { return op(a[0], a[1]) == (a[2] == 1); };
    c.strength = S::Domain;
    checkPropagator(c);
  };
  logic(std::type_identity<NuvCPLogicAndI>{}, [](bool x, bool y) { return x && y; });
  logic(std::type_identity<NuvCPLogicOrI>{}, [](bool x, bool y) { return x || y; });
  logic(std::type_identity<NuvCPLogicImplyI>{}, [](bool x, bool y) { return !x || y; });
  // The integer relations take Booleans too (their binds answer 1).
  PropagatorCheck r;
  r.ranges = {{-2, 2}, {0, 1}};
  r.boolean = {false, true};
  r.build = [](NuvCPManagerI* s, const Vars& v) -> NuvCPDaemonI* {
    return nuvCPNew<NuvCPReifyEqualcI>(s->allocator(), s, v[0], 1, v[1]);
  };
  r.holds = [](const std::vector<int>& a) { return (a[0] == 1) == (a[1] == 1); };
  checkPropagator(r);
}

class RelationFixture : public ::testing::Test {
 protected:
  NuvCPCIntVarI* var(std::int64_t lo, std::int64_t hi) {
    return nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, lo, hi);
  }
  template <class P, class... A>
  P* make(A... a) {
    return nuvCPNew<P>(&arena, &store, a...);
  }
  static std::string str(const PimDataI* d) {
    std::ostringstream os;
    d->print(os);
    return os.str();
  }
  PimArenaAllocator arena;
  NuvTrailI trail;
  NuvCPManagerI store{&arena, &trail};
};

TEST_F(RelationFixture, PrintFormsKeepTheirAsymmetries) {
  NuvCPCIntVarI* x = var(1, 3);
  NuvCPCIntVarI* y = var(7, 7);
  NuvCPCIntVarI* b = var(0, 1);
  EXPECT_EQ(str(make<NuvCPEqualBCI>(x, y, 0)), "(3)[1..3] ==BC 7 + 0");
  EXPECT_EQ(str(make<NuvCPLEqualI>(x, y, -1)), "(3)[1..3] <= 7 + -1");
  EXPECT_EQ(str(make<NuvCPSLEqualI>(x, y, 4)), "(3)[1..3] + 7 <= 4");
  EXPECT_EQ(str(make<NuvCPReifyEqualBCI>(x, y, 0, b)), "(2)[0..1] <=> (3)[1..3] == 7");
  EXPECT_EQ(str(make<NuvCPReifyEqualBCI>(x, y, 2, b)), "(2)[0..1] <=> (3)[1..3] == 7 + 2");
  EXPECT_EQ(str(make<NuvCPReifyEqualACI>(x, y, 0, b)), "(2)[0..1] <=> ((3)[1..3] AC== 7");
  EXPECT_EQ(str(make<NuvCPReifyEqualACI>(x, y, 1, b)), "(2)[0..1] <=> ((3)[1..3] AC== 7 + 1)");
  auto* rn = make<NuvCPReifyNEqualcI>(x, 2, b);
  EXPECT_EQ(str(rn), "cid:" + std::to_string(rn->identifier()) + " ID(" +
                         std::to_string(b->getId()) + ")(2)[0..1] <=> ID(" +
                         std::to_string(x->getId()) + ")(3)[1..3] != 2");
  const int coefs[2] = {2, -1};
  NuvCPIntVarI* vs[2] = {x, y};
  EXPECT_EQ(str(make<NuvCPLinearEquationI>(2, coefs, vs, 5)),
            "lin-eq:2 * (3)[1..3] + -1 * 7 + 5== 0");
}

TEST_F(RelationFixture, EdgeCasesOfTheRelations) {
  // x == y + 2 with x bound to 5: y = 3 and the propagator is switched off.
  NuvCPCIntVarI* x = var(5, 5);
  NuvCPCIntVarI* y = var(0, 10);
  auto* eq = make<NuvCPEqualBCI>(x, y, 2);
  EXPECT_NE(store.post(eq), NuvCPFailure);
  EXPECT_TRUE(y->isBound());
  EXPECT_EQ(y->getMin(), 3);
  EXPECT_FALSE(eq->isEnabled());
  // x + y <= 8 with x in [0,10], y in [5,10]: x <= 3, y <= 8.
  NuvCPCIntVarI* a = var(0, 10);
  NuvCPCIntVarI* c = var(5, 10);
  EXPECT_EQ(store.post(make<NuvCPSLEqualI>(a, c, 8)), NuvCPSuspend);
  EXPECT_EQ(a->getMax(), 3);
  EXPECT_EQ(c->getMax(), 8);
  // b <=> x == 12 with 12 outside x: b = 0.
  NuvCPCIntVarI* b = var(0, 1);
  EXPECT_NE(store.post(make<NuvCPReifyEqualcI>(a, 12, b)), NuvCPFailure);
  EXPECT_EQ(b->getMax(), 0);
  // Offsets at the ends of the int range never prune a valid value.
  NuvCPCIntVarI* p = var(-1073741823, 1073741822);
  NuvCPCIntVarI* q = var(-1073741823, 1073741822);
  EXPECT_EQ(store.post(make<NuvCPLEqualI>(p, q, INT32_MAX)), NuvCPSuspend);
  EXPECT_EQ(store.post(make<NuvCPEqualBCI>(p, q, INT32_MIN)), NuvCPFailure);
}

TEST(Linear, EquationsInequalitiesAndDisequalities) {
  const std::vector<std::vector<int>> coefSets = {{2, -3, 1}, {1, 1, 1}, {-2, 5, 3}, {4, -4, 1}};
  for (const auto& co : coefSets)
    for (int k : {-3, 0, 4}) {
      auto sum = [co, k](const std::vector<int>& a) {
        return co[0] * a[0] + co[1] * a[1] + co[2] * a[2] + k;
      };
      auto make = [co, k](auto tag) {
        using P = typename decltype(tag)::type;
        return [co, k](NuvCPManagerI* s, const Vars& v) -> NuvCPDaemonI* {
          return nuvCPNew<P>(s->allocator(), s, 3, co.data(), v.data(), k);
        };
      };
      PropagatorCheck c;
      c.ranges = {{-3, 3}, {-2, 3}, {-3, 2}};
      c.trials = 60;
      c.build = make(std::type_identity<NuvCPLinearEquationI>{});
      c.holds = [sum](const std::vector<int>& a) { return sum(a) == 0; };
      checkPropagator(c);
      c.build = make(std::type_identity<NuvCPLinearGEQI>{});
      c.holds = [sum](const std::vector<int>& a) { return sum(a) >= 0; };
      c.strength = S::Bounds;
      checkPropagator(c);
      c.strength = S::None;
      c.build = make(std::type_identity<NuvCPLinearNotEqualI>{});
      c.holds = [sum](const std::vector<int>& a) { return sum(a) != 0; };
      checkPropagator(c);
      // Reified forms over the first two terms and a control.
      PropagatorCheck r;
      r.ranges = {{-3, 3}, {-3, 3}, {0, 1}};
      r.trials = 60;
      r.build = [co, k](NuvCPManagerI* s, const Vars& v) -> NuvCPDaemonI* {
        return nuvCPNew<NuvCPLinearEquationReifI>(s->allocator(), s, 2, co.data(), v.data(), k,
                                                  v[2]);
      };
      r.holds = [co, k](const std::vector<int>& a) {
        return (co[0] * a[0] + co[1] * a[1] + k == 0) == (a[2] == 1);
      };
      checkPropagator(r);
      r.build = [co, k](NuvCPManagerI* s, const Vars& v) -> NuvCPDaemonI* {
        return nuvCPNew<NuvCPLinearGEQReifI>(s->allocator(), s, 2, co.data(), v.data(), k, v[2]);
      };
      r.holds = [co, k](const std::vector<int>& a) {
        return (co[0] * a[0] + co[1] * a[1] + k >= 0) == (a[2] == 1);
      };
      checkPropagator(r);
    }
}

TEST(Linear, UnitSumsAndBooleanCounts) {
  for (int k : {-2, 0, 3}) {
    PropagatorCheck c;
    c.ranges = {{-2, 3}, {-3, 2}, {-2, 2}};
    c.build = [k](NuvCPManagerI* s, const Vars& v) -> NuvCPDaemonI* {
      NuvCPIntVarI* pos[2] = {v[0], v[1]};
      NuvCPIntVarI* neg[1] = {v[2]};
      return nuvCPNew<NuvCPLinearPNEquationI>(s->allocator(), s, 2, pos, 1, neg, k);
    };
    c.holds = [k](const std::vector<int>& a) { return a[0] + a[1] - a[2] + k == 0; };
    checkPropagator(c);
  }
  for (int t = 0; t <= 4; ++t) {
    PropagatorCheck c;
    c.ranges = {{0, 1}, {0, 1}, {0, 1}, {0, 1}};
    c.build = [t](NuvCPManagerI* s, const Vars& v) -> NuvCPDaemonI* {
      return nuvCPNew<NuvCPSumBoolEqualCstI>(s->allocator(), s, 1, 4, v.data(), t);
    };
    c.holds = [t](const std::vector<int>& a) { return a[0] + a[1] + a[2] + a[3] == t; };
    c.strength = S::Domain;
    checkPropagator(c);
  }
  PropagatorCheck z;
  z.ranges = {{0, 1}, {0, 1}, {0, 1}, {-1, 4}};
  z.build = [](NuvCPManagerI* s, const Vars& v) -> NuvCPDaemonI* {
    return nuvCPNew<NuvCPSumBoolEqualI>(s->allocator(), s, 3, v.data(), v[3]);
  };
  z.holds = [](const std::vector<int>& a) { return a[0] + a[1] + a[2] == a[3]; };
  checkPropagator(z);
}

TEST(Linear, SumsThatCouldOverflowAreRecognised) {
  PimArenaAllocator arena;
  NuvTrailI trail;
  NuvCPManagerI store(&arena, &trail);
  auto* x = nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, -1073741823, 1073741822);
  NuvCPIntVarI* xs[4] = {x, x, x, x};
  const int big[4] = {INT32_MAX, INT32_MAX, INT32_MIN, 1};
  EXPECT_FALSE(nuvCPLinearFits(4, big, xs, 0));
  const int fine[2] = {INT32_MAX, -5};
  EXPECT_TRUE(nuvCPLinearFits(2, fine, xs, 7));
  // Near the limits, in range: 2^31-1 * x + -5 * x == 0 keeps x = 0 only.
  EXPECT_NE(store.post(nuvCPNew<NuvCPLinearEquationI>(&arena, &store, 2, fine, xs, 0)),
            NuvCPFailure);
  EXPECT_TRUE(x->isBound());
  EXPECT_EQ(x->getMin(), 0);
}

TEST(Arithmetic, EveryFunctionOnSmallDomains) {
  using Op = NuvCPBinaryFunctionI::Op;
  auto function = [](Op op) {
    PropagatorCheck c;
    c.ranges = {{-5, 5}, {-3, 3}, {-6, 6}};
    c.build = [op](NuvCPManagerI* s, const Vars& v) -> NuvCPDaemonI* {
      return nuvCPNew<NuvCPBinaryFunctionI>(s->allocator(), s, op, v[0], v[1], v[2]);
    };
    c.holds = [op](const std::vector<int>& a) {
      std::int64_t f;
      return NuvCPBinaryFunctionI::apply(op, a[0], a[1], f) && f == a[2];
    };
    c.strength = S::Domain;
    checkPropagator(c);
  };
  for (Op op : {Op::Div, Op::Mod, Op::Pow, Op::Min, Op::Max}) function(op);

  PropagatorCheck m;
  m.ranges = {{-4, 4}, {-3, 3}, {-9, 9}};
  m.build = [](NuvCPManagerI* s, const Vars& v) -> NuvCPDaemonI* {
    return nuvCPNew<NuvCPMultI>(s->allocator(), s, v[0], v[1], v[2]);
  };
  m.holds = [](const std::vector<int>& a) { return a[0] * a[1] == a[2]; };
  checkPropagator(m);
  m.ranges = {{-4, 4}, {-2, 17}};
  m.build = [](NuvCPManagerI* s, const Vars& v) -> NuvCPDaemonI* {
    return nuvCPNew<NuvCPMultI>(s->allocator(), s, v[0], v[0], v[1]);
  };
  m.holds = [](const std::vector<int>& a) { return a[0] * a[0] == a[1]; };
  checkPropagator(m);
  m.ranges = {{-5, 5}, {-2, 6}};
  m.build = [](NuvCPManagerI* s, const Vars& v) -> NuvCPDaemonI* {
    return nuvCPNew<NuvCPAbsI>(s->allocator(), s, v[0], v[1]);
  };
  m.holds = [](const std::vector<int>& a) { return (a[0] < 0 ? -a[0] : a[0]) == a[1]; };
  m.strength = S::Domain;
  checkPropagator(m);
  for (bool isMax : {false, true}) {
    PropagatorCheck a;
    a.ranges = {{-3, 3}, {-3, 3}, {-3, 3}, {-4, 4}};
    a.build = [isMax](NuvCPManagerI* s, const Vars& v) -> NuvCPDaemonI* {
      NuvCPIntVarI* xs[3] = {v[0], v[1], v[2]};
      return nuvCPNew<NuvCPArrayMinMaxI>(s->allocator(), s, isMax, v[3], 3, xs);
    };
    a.holds = [isMax](const std::vector<int>& v) {
      return v[3] == (isMax ? std::max({v[0], v[1], v[2]}) : std::min({v[0], v[1], v[2]}));
    };
    a.strength = S::Bounds;
    checkPropagator(a);
  }
}

TEST(Arithmetic, ProductsNearTheRangeEndsDoNotWrap) {
  PimArenaAllocator arena;
  NuvTrailI trail;
  NuvCPManagerI store(&arena, &trail);
  auto* x = nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, 40000, 50000);
  auto* y = nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, 40000, 50000);
  auto* z = nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, -1073741823, 1073741822);
  // Every product is at least 1.6e9, beyond the range: no solution, and no
  // wrapped product may pretend otherwise.
  EXPECT_EQ(store.post(nuvCPNew<NuvCPMultI>(&arena, &store, x, y, z)), NuvCPFailure);
}

}  // namespace
