// The relations and connectives checked along search: at every node of a
// complete search and of random dives, after every backtrack, with the
// strength each class claims. The root-only checks live in RelationTest.
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>

#include "PropagatorChecker.h"
#include "fd/NuvCPBoolVarI.h"
#include "fd/NuvCPRelationI.h"
#include "fd/NuvCPViewIntVarI.h"

namespace {

using namespace nuvcheck;
using I64 = std::int64_t;

// Enough work to matter, little enough for the sanitizer build.
Options opts(Consistency c, std::uint32_t seed) {
  Options o;
  o.consistency = c;
  o.seed = seed;
  o.trials = 150;
  return o;
}

// The run saw solutions, failures and non-trivial nodes.
void expectExercised(const Stats& st) {
  EXPECT_GT(st.trialsWithSolutions, 10);
  EXPECT_GT(st.failures, 0);
  EXPECT_GT(st.nodes, 200);
}

template <class P>
Post binary(int k) {
  return [k](NuvCPManagerI& s, const Vars& v) {
    return s.post(nuvCPNew<P>(s.allocator(), &s, v[0], v[1], k));
  };
}
template <class P>
Post reifiedBinary(int k) {
  return [k](NuvCPManagerI& s, const Vars& v) {
    return s.post(nuvCPNew<P>(s.allocator(), &s, v[0], v[1], k, v[2]));
  };
}
template <class P>
Post reifiedUnary(int k) {
  return [k](NuvCPManagerI& s, const Vars& v) {
    return s.post(nuvCPNew<P>(s.allocator(), &s, v[0], k, v[1]));
  };
}

// x over [-4, 4] (or `near` the ends of the int variables' range), y the
// same, b over {0, 1}.
const std::vector<std::pair<int, int>> kXY = {{-4, 4}, {-4, 4}};
const std::vector<std::pair<int, int>> kXYB = {{-4, 4}, {-4, 4}, {0, 1}};

TEST(RelationSearch, EqualitiesReachTheirClaimedConsistency) {
  std::uint32_t seed = 1;
  for (int k : {-2, 0, 3}) {
    auto eq = [k](const Assignment& a) { return I64{a[0]} == I64{a[1]} + k; };
    expectExercised(PropagatorChecker(randomDomains(kXY), binary<NuvCPEqualBCI>(k), eq)
                        .run(opts(Consistency::Bounds, seed++)));
    expectExercised(PropagatorChecker(randomDomains(kXY, 0.5), binary<NuvCPEqualACI>(k), eq)
                        .run(opts(Consistency::Domain, seed++)));
  }
}

TEST(RelationSearch, InequalitiesAndDisequality) {
  std::uint32_t seed = 10;
  for (int k : {-3, 0, 1}) {
    expectExercised(PropagatorChecker(randomDomains(kXY), binary<NuvCPLEqualI>(k),
                                      [k](const Assignment& a) { return I64{a[0]} <= I64{a[1]} + k; })
                        .run(opts(Consistency::Bounds, seed++)));
    expectExercised(PropagatorChecker(randomDomains(kXY), binary<NuvCPSLEqualI>(k),
                                      [k](const Assignment& a) { return I64{a[0]} + a[1] <= k; })
                        .run(opts(Consistency::Bounds, seed++)));
    // Once one side is bound the other loses exactly one value: domain
    // consistent at every fixpoint.
    expectExercised(PropagatorChecker(randomDomains(kXY), binary<NuvCPNEqualI>(k),
                                      [k](const Assignment& a) { return I64{a[0]} != I64{a[1]} + k; })
                        .run(opts(Consistency::Domain, seed++)));
  }
}

TEST(RelationSearch, ReifiedUnaryRelations) {
  const std::vector<std::pair<int, int>> xb = {{-4, 4}, {0, 1}};
  std::uint32_t seed = 20;
  for (int k : {-5, -1, 0, 2}) {
    auto reif = [](bool holds, int b) { return b == (holds ? 1 : 0); };
    expectExercised(PropagatorChecker(randomDomains(xb), reifiedUnary<NuvCPReifyEqualcI>(k),
                                      [=](const Assignment& a) { return reif(a[0] == k, a[1]); })
                        .run(opts(Consistency::None, seed++)));
    expectExercised(PropagatorChecker(randomDomains(xb), reifiedUnary<NuvCPReifyNEqualcI>(k),
                                      [=](const Assignment& a) { return reif(a[0] != k, a[1]); })
                        .run(opts(Consistency::Domain, seed++)));
    expectExercised(PropagatorChecker(randomDomains(xb), reifiedUnary<NuvCPReifyLEqualcI>(k),
                                      [=](const Assignment& a) { return reif(a[0] <= k, a[1]); })
                        .run(opts(Consistency::Bounds, seed++)));
    expectExercised(PropagatorChecker(randomDomains(xb), reifiedUnary<NuvCPReifyGEqualcI>(k),
                                      [=](const Assignment& a) { return reif(a[0] >= k, a[1]); })
                        .run(opts(Consistency::Bounds, seed++)));
  }
}

// b <=> (x == k) where another literal already watches x's value k: b must
// still be kept in step.
TEST(RelationSearch, ReifiedEqualityWithASharedValueLiteral) {
  const std::vector<std::pair<int, int>> xbb = {{-3, 3}, {0, 1}, {0, 1}};
  const int k = 1;
  Post both = [k](NuvCPManagerI& s, const Vars& v) -> int {
    if (s.post(nuvCPNew<NuvCPReifyEqualcI>(s.allocator(), &s, v[0], k, v[1])) == NuvCPFailure)
      return NuvCPFailure;
    return s.post(nuvCPNew<NuvCPReifyEqualcI>(s.allocator(), &s, v[0], k, v[2]));
  };
  auto pred = [k](const Assignment& a) {
    const int eq = a[0] == k ? 1 : 0;
    return a[1] == eq && a[2] == eq;
  };
  expectExercised(PropagatorChecker(randomDomains(xbb), both, pred).run(opts(Consistency::Domain, 30)));
}

TEST(RelationSearch, ReifiedBinaryRelations) {
  std::uint32_t seed = 40;
  for (int k : {-2, 0, 1}) {
    auto reif = [](bool holds, int b) { return b == (holds ? 1 : 0); };
    auto eq = [=](const Assignment& a) { return reif(I64{a[0]} == I64{a[1]} + k, a[2]); };
    expectExercised(PropagatorChecker(randomDomains(kXYB), reifiedBinary<NuvCPReifyEqualBCI>(k), eq)
                        .run(opts(Consistency::None, seed++)));
    expectExercised(PropagatorChecker(randomDomains(kXYB, 0.5), reifiedBinary<NuvCPReifyEqualACI>(k), eq)
                        .run(opts(Consistency::None, seed++)));
    expectExercised(PropagatorChecker(randomDomains(kXYB), reifiedBinary<NuvCPReifyNEqualI>(k),
                                      [=](const Assignment& a) {
                                        return reif(I64{a[0]} != I64{a[1]} + k, a[2]);
                                      })
                        .run(opts(Consistency::None, seed++)));
    expectExercised(PropagatorChecker(randomDomains(kXYB), reifiedBinary<NuvCPReifyLEqualI>(k),
                                      [=](const Assignment& a) {
                                        return reif(I64{a[0]} <= I64{a[1]} + k, a[2]);
                                      })
                        .run(opts(Consistency::None, seed++)));
  }
}

// With b fixed at the root, the reified equalities enforce their relation
// as strongly as the plain ones.
TEST(RelationSearch, ReifiedEqualityWithBFixedIsAsStrongAsThePlainOne) {
  const std::vector<std::pair<int, int>> xy1 = {{-4, 4}, {-4, 4}, {1, 1}};
  auto eq = [](const Assignment& a) { return a[0] == a[1] + 1 && a[2] == 1; };
  expectExercised(PropagatorChecker(randomDomains(xy1, 0.5), reifiedBinary<NuvCPReifyEqualACI>(1), eq)
                      .run(opts(Consistency::Domain, 50)));
  expectExercised(PropagatorChecker(randomDomains(xy1), reifiedBinary<NuvCPReifyEqualBCI>(1), eq)
                      .run(opts(Consistency::Bounds, 51)));
  const std::vector<std::pair<int, int>> xy0 = {{-4, 4}, {-4, 4}, {0, 0}};
  expectExercised(PropagatorChecker(randomDomains(xy0), reifiedBinary<NuvCPReifyNEqualI>(1),
                                    [](const Assignment& a) { return a[0] == a[1] + 1 && a[2] == 0; })
                      .run(opts(Consistency::Bounds, 52)));
  for (const auto& bRange : {xy0, xy1}) {
    const int b = bRange[2].first;
    expectExercised(PropagatorChecker(randomDomains(bRange), reifiedBinary<NuvCPReifyLEqualI>(-1),
                                      [b](const Assignment& a) { return (a[0] <= a[1] - 1) == (b == 1); })
                        .run(opts(Consistency::Bounds, 53 + static_cast<std::uint32_t>(b))));
  }
}

template <class P>
Post connective() {
  return [](NuvCPManagerI& s, const Vars& v) {
    auto b = [&](int i) { return static_cast<NuvCPBoolVarI*>(v[static_cast<std::size_t>(i)]); };
    return s.post(nuvCPNew<P>(s.allocator(), &s, b(0), b(1), b(2)));
  };
}

TEST(RelationSearch, BooleanConnectivesAreDomainConsistent) {
  const std::vector<std::pair<int, int>> bools = {{0, 1}, {0, 1}, {0, 1}};
  Options o = opts(Consistency::Domain, 60);
  o.trials = 200;
  auto run = [&](Post post, std::function<bool(int, int)> op) {
    Stats st = PropagatorChecker(randomDomains(bools), std::move(post),
                                 [op](const Assignment& a) { return a[2] == (op(a[0], a[1]) ? 1 : 0); },
                                 makeBoolVar)
                   .run(o);
    EXPECT_GT(st.failures, 0);
    EXPECT_GT(st.trialsWithSolutions, 50);
    ++o.seed;
  };
  run(connective<NuvCPLogicAndI>(), [](int x, int y) { return x && y; });
  run(connective<NuvCPLogicOrI>(), [](int x, int y) { return x || y; });
  run(connective<NuvCPLogicImplyI>(), [](int x, int y) { return !x || y; });
}

// Offsets that overflow 32 bits. Domains sit at the ends of the variables'
// range, the offsets are the int extremes or push sums just past them: the
// checker enforces the relation over unbounded integers.
TEST(RelationSearch, OffsetsBeyondTheIntRangeNeverPruneAValidValue) {
  const int lo = static_cast<int>(NuvCPCIntVarI::kMinBound);
  const int hi = static_cast<int>(NuvCPCIntVarI::kMaxBound);
  const std::vector<std::pair<int, int>> lowHigh = {{lo, lo + 4}, {hi - 4, hi}};
  const std::vector<std::pair<int, int>> highLow = {{hi - 4, hi}, {lo, lo + 4}};
  const std::vector<std::pair<int, int>> lowHighB = {{lo, lo + 4}, {hi - 4, hi}, {0, 1}};
  const std::vector<std::pair<int, int>> highLowB = {{hi - 4, hi}, {lo, lo + 4}, {0, 1}};
  const std::vector<std::pair<int, int>> highHigh = {{hi - 4, hi}, {hi - 4, hi}};
  std::uint32_t seed = 70;
  auto reif = [](bool holds, int b) { return b == (holds ? 1 : 0); };
  // x - y spans about -2^31 .. 2^31 here.
  for (int k : {INT32_MIN, INT32_MIN + 1, lo - hi, lo - hi + 2, -1, 1, hi - lo - 2, hi - lo, INT32_MAX}) {
    for (const auto* ranges : {&lowHigh, &highLow}) {
      auto dom = randomDomains(*ranges);
      auto eq = [k](const Assignment& a) { return I64{a[0]} == I64{a[1]} + k; };
      Options o = opts(Consistency::None, seed++);
      o.trials = 40;
      PropagatorChecker(dom, binary<NuvCPEqualBCI>(k), eq).run(o);
      PropagatorChecker(dom, binary<NuvCPEqualACI>(k), eq).run(o);
      PropagatorChecker(dom, binary<NuvCPLEqualI>(k),
                        [k](const Assignment& a) { return I64{a[0]} <= I64{a[1]} + k; })
          .run(o);
      PropagatorChecker(dom, binary<NuvCPNEqualI>(k),
                        [k](const Assignment& a) { return I64{a[0]} != I64{a[1]} + k; })
          .run(o);
    }
    for (const auto* ranges : {&lowHighB, &highLowB}) {
      auto dom = randomDomains(*ranges);
      Options o = opts(Consistency::None, seed++);
      o.trials = 40;
      auto eq = [=](const Assignment& a) { return reif(I64{a[0]} == I64{a[1]} + k, a[2]); };
      PropagatorChecker(dom, reifiedBinary<NuvCPReifyEqualBCI>(k), eq).run(o);
      PropagatorChecker(dom, reifiedBinary<NuvCPReifyEqualACI>(k), eq).run(o);
      PropagatorChecker(dom, reifiedBinary<NuvCPReifyNEqualI>(k), [=](const Assignment& a) {
        return reif(I64{a[0]} != I64{a[1]} + k, a[2]);
      }).run(o);
      PropagatorChecker(dom, reifiedBinary<NuvCPReifyLEqualI>(k), [=](const Assignment& a) {
        return reif(I64{a[0]} <= I64{a[1]} + k, a[2]);
      }).run(o);
    }
  }
  // x + y <= k with both near the top: the sum exceeds 2^31.
  for (int k : {INT32_MAX, INT32_MAX - 1, 2 * hi - 3, INT32_MIN}) {
    Options o = opts(Consistency::None, seed++);
    o.trials = 40;
    PropagatorChecker(randomDomains(highHigh), binary<NuvCPSLEqualI>(k),
                      [k](const Assignment& a) { return I64{a[0]} + a[1] <= k; })
        .run(o);
  }
  // b <=> x <= k and b <=> x >= k at the int extremes (k + 1, k - 1 wrap).
  const std::vector<std::pair<int, int>> xb = {{hi - 3, hi}, {0, 1}};
  const std::vector<std::pair<int, int>> xbLow = {{lo, lo + 3}, {0, 1}};
  for (int k : {INT32_MIN, INT32_MAX}) {
    for (const auto* ranges : {&xb, &xbLow}) {
      Options o = opts(Consistency::None, seed++);
      o.trials = 40;
      PropagatorChecker(randomDomains(*ranges), reifiedUnary<NuvCPReifyLEqualcI>(k),
                        [=](const Assignment& a) { return reif(a[0] <= k, a[1]); })
          .run(o);
      PropagatorChecker(randomDomains(*ranges), reifiedUnary<NuvCPReifyGEqualcI>(k),
                        [=](const Assignment& a) { return reif(a[0] >= k, a[1]); })
          .run(o);
    }
  }
}

// Offset views reach values just short of the int extremes; the clamped
// sums must still be outside their domains.
TEST(RelationSearch, ViewsNearTheIntExtremes) {
  const int hi = static_cast<int>(NuvCPCIntVarI::kMaxBound);
  const int lo = static_cast<int>(NuvCPCIntVarI::kMinBound);
  const int c = (1 << 30) - 1;
  // Variable 0 is seen through the view y + c, y in [hi-4, hi]: values up to
  // 2^31 - 3.
  MakeVar viewed = [c](NuvCPManagerI& s, int i, const Domain& d) -> NuvCPIntVarI* {
    if (i != 0) return makeIntVar(s, i, d);
    Domain under;
    for (int v : d) under.push_back(v - c);
    NuvCPIntVarI* y = makeIntVar(s, i, under);
    return nuvCPNew<NuvCPViewIntVarI>(s.allocator(), s.allocator(), &s, y, c);
  };
  const std::vector<std::pair<int, int>> ranges = {{hi - 4 + c, hi + c}, {lo, lo + 4}};
  std::uint32_t seed = 90;
  for (int k : {INT32_MAX, INT32_MAX - 2, INT32_MIN + 3}) {
    Options o = opts(Consistency::None, seed++);
    o.trials = 40;
    auto eq = [k](const Assignment& a) { return I64{a[0]} == I64{a[1]} + k; };
    PropagatorChecker(randomDomains(ranges), binary<NuvCPEqualACI>(k), eq, viewed).run(o);
    PropagatorChecker(randomDomains(ranges), binary<NuvCPNEqualI>(k),
                      [k](const Assignment& a) { return I64{a[0]} != I64{a[1]} + k; }, viewed)
        .run(o);
    PropagatorChecker(randomDomains(ranges), binary<NuvCPLEqualI>(k),
                      [k](const Assignment& a) { return I64{a[0]} <= I64{a[1]} + k; }, viewed)
        .run(o);
  }
}

}  // namespace

namespace {

// Boolean variables answer 1 to every successful bind, narrowing or not, and
// models hand them to the integer relations (bool2int, reified literals).
TEST(RelationSearch, IntegerRelationsOverBooleanVariables) {
  MakeVar boolsFrom = [](NuvCPManagerI& s, int i, const Domain& d) {
    return i >= 1 ? makeBoolVar(s, i, d) : makeIntVar(s, i, d);
  };
  MakeVar allBools = makeBoolVar;
  const std::vector<std::pair<int, int>> xyb = {{-1, 2}, {0, 1}, {0, 1}};
  const std::vector<std::pair<int, int>> bbb = {{0, 1}, {0, 1}, {0, 1}};
  auto reif = [](bool holds, int b) { return b == (holds ? 1 : 0); };
  std::uint32_t seed = 100;
  for (int k : {-1, 0, 1}) {
    for (const auto* ranges : {&xyb, &bbb}) {
      MakeVar make = ranges == &bbb ? allBools : boolsFrom;
      Options o = opts(Consistency::None, seed++);
      o.trials = 60;
      auto eq = [=](const Assignment& a) { return reif(a[0] == a[1] + k, a[2]); };
      PropagatorChecker(randomDomains(*ranges), reifiedBinary<NuvCPReifyEqualBCI>(k), eq, make).run(o);
      PropagatorChecker(randomDomains(*ranges), reifiedBinary<NuvCPReifyEqualACI>(k), eq, make).run(o);
      PropagatorChecker(randomDomains(*ranges), reifiedBinary<NuvCPReifyNEqualI>(k),
                        [=](const Assignment& a) { return reif(a[0] != a[1] + k, a[2]); }, make)
          .run(o);
      PropagatorChecker(randomDomains(*ranges), reifiedBinary<NuvCPReifyLEqualI>(k),
                        [=](const Assignment& a) { return reif(a[0] <= a[1] + k, a[2]); }, make)
          .run(o);
      // The plain relations over the first two variables.
      auto two = [&](Post post, std::function<bool(int, int)> rel, Consistency c) {
        Options p = o;
        p.consistency = c;
        PropagatorChecker(
            [ranges](std::mt19937& rng) {
              return std::vector<Domain>{randomDomain(rng, (*ranges)[0].first, (*ranges)[0].second),
                                         randomDomain(rng, 0, 1)};
            },
            std::move(post), [rel](const Assignment& a) { return rel(a[0], a[1]); }, make)
            .run(p);
      };
      two(binary<NuvCPEqualBCI>(k), [k](int x, int y) { return x == y + k; }, Consistency::Bounds);
      two(binary<NuvCPEqualACI>(k), [k](int x, int y) { return x == y + k; }, Consistency::Domain);
      two(binary<NuvCPLEqualI>(k), [k](int x, int y) { return x <= y + k; }, Consistency::Bounds);
      two(binary<NuvCPSLEqualI>(k), [k](int x, int y) { return x + y <= k; }, Consistency::Bounds);
      two(binary<NuvCPNEqualI>(k), [k](int x, int y) { return x != y + k; }, Consistency::Domain);
    }
    const std::vector<std::pair<int, int>> xb = {{-1, 2}, {0, 1}};
    Options o = opts(Consistency::None, seed++);
    o.trials = 60;
    PropagatorChecker(randomDomains(xb), reifiedUnary<NuvCPReifyEqualcI>(k),
                      [=](const Assignment& a) { return reif(a[0] == k, a[1]); }, boolsFrom)
        .run(o);
    PropagatorChecker(randomDomains(xb), reifiedUnary<NuvCPReifyNEqualcI>(k),
                      [=](const Assignment& a) { return reif(a[0] != k, a[1]); }, boolsFrom)
        .run(o);
    PropagatorChecker(randomDomains(xb), reifiedUnary<NuvCPReifyLEqualcI>(k),
                      [=](const Assignment& a) { return reif(a[0] <= k, a[1]); }, boolsFrom)
        .run(o);
    PropagatorChecker(randomDomains(xb), reifiedUnary<NuvCPReifyGEqualcI>(k),
                      [=](const Assignment& a) { return reif(a[0] >= k, a[1]); }, boolsFrom)
        .run(o);
  }
}

}  // namespace

namespace {

class RelationWake : public ::testing::Test {
 protected:
  NuvCPCIntVarI* var(int lo, int hi) { return nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, lo, hi); }
  template <class P, class... A>
  P* make(A... a) {
    return nuvCPNew<P>(&arena, &store, a...);
  }
  static std::string values(NuvCPIntVarI* x) {
    std::string s;
    for (int v = x->getMin(); v <= x->getMax(); ++v)
      if (x->member(v)) s += (s.empty() ? "" : ",") + std::to_string(v);
    return s;
  }
  PimArenaAllocator arena;
  NuvTrailI trail;
  NuvCPManagerI store{&arena, &trail};
};

// x == y over y's even values: a bound of x that falls on a hole of y moves
// y's bound, which moves x's again. One call of propagate follows that chain
// to the end, driven by the checked flag the store clears when the
// propagator's own updates re-schedule it.
TEST_F(RelationWake, EqualBCRunsAgainWhileItsOwnUpdatesRescheduleIt) {
  NuvCPCIntVarI* x = var(0, 10);
  NuvCPCIntVarI* y = var(0, 10);
  for (int v = 1; v < 10; v += 2) y->removeValue(v);
  auto* eq = make<NuvCPEqualBCI>(x, y, 0);
  ASSERT_EQ(store.post(eq), NuvCPSuspend);
  trail.push();
  ASSERT_EQ(x->updateMax(9), NuvCPSuspend);  // schedules eq
  EXPECT_EQ(eq->checked(), 0);
  EXPECT_EQ(eq->propagate(), NuvCPSuspend);
  EXPECT_EQ(x->getMax(), 8);  // one pass alone would leave 9
  EXPECT_EQ(y->getMax(), 8);
  EXPECT_EQ(eq->checked(), 1);
  EXPECT_EQ(store.propagate(), NuvCPSuspend);
  trail.pop();
  EXPECT_EQ(x->getMax(), 10);
}

// Entailed at post: not subscribed, so no later change runs it. (The
// store's post answers its own status after the fixpoint, so the
// propagator's answer is read from its own post.)
TEST_F(RelationWake, PropagatorsDecidedAtPostAreNeverWoken) {
  NuvCPCIntVarI* x = var(3, 3);
  NuvCPCIntVarI* y = var(0, 10);
  EXPECT_EQ(make<NuvCPLEqualI>(x, y, 1)->post(0), NuvCPSuccess);
  EXPECT_EQ(y->getMin(), 2);
  NuvCPCIntVarI* z = var(0, 5);
  NuvCPCIntVarI* b = var(0, 1);
  EXPECT_NE(store.post(make<NuvCPReifyEqualcI>(z, 9, b)), NuvCPFailure);
  EXPECT_EQ(b->getMax(), 0);
  EXPECT_EQ(z->getEqualityWatcher(9), nullptr);
  const auto runs = store.propagationCount();
  trail.push();
  EXPECT_EQ(store.label(y, 4), NuvCPSuspend);
  EXPECT_EQ(store.gthen(z, 2), NuvCPSuspend);
  EXPECT_EQ(store.propagationCount(), runs);
  trail.pop();
}

TEST_F(RelationWake, EdgeCasesOfTheReifiedAndDomainForms) {
  // x <= y + k with both unbound: both narrowed, still active.
  NuvCPCIntVarI* x = var(0, 10);
  NuvCPCIntVarI* y = var(-5, 4);
  EXPECT_EQ(store.post(make<NuvCPLEqualI>(x, y, 2)), NuvCPSuspend);
  EXPECT_EQ(x->getMax(), 6);
  EXPECT_EQ(y->getMin(), -2);
  // b <=> x <= 4 with b = 0: x >= 5.
  NuvCPCIntVarI* u = var(0, 10);
  NuvCPCIntVarI* b0 = var(0, 0);
  EXPECT_NE(store.post(make<NuvCPReifyLEqualcI>(u, 4, b0)), NuvCPFailure);
  EXPECT_EQ(u->getMin(), 5);
  // EqualAC: x in {1,3,5}, y in [0,5] leaves y = {1,3,5}.
  NuvCPCIntVarI* p = var(1, 5);
  p->removeValue(2);
  p->removeValue(4);
  NuvCPCIntVarI* q = var(0, 5);
  EXPECT_EQ(store.post(make<NuvCPEqualACI>(p, q, 0)), NuvCPSuspend);
  EXPECT_EQ(values(q), "1,3,5");
  // ... and keeps it so as values go.
  trail.push();
  EXPECT_EQ(store.diff(p, 3), NuvCPSuspend);
  EXPECT_EQ(values(q), "1,5");
  trail.pop();
  EXPECT_EQ(values(q), "1,3,5");
  // b <=> x == y with b fixed to 1 at post: the plain equality's strength
  // (x's 4 would need y's hole 4).
  NuvCPCIntVarI* r = var(0, 4);
  NuvCPCIntVarI* s = var(0, 6);
  s->removeValue(4);
  NuvCPCIntVarI* one = var(1, 1);
  EXPECT_EQ(store.post(make<NuvCPReifyEqualBCI>(r, s, 0, one)), NuvCPSuspend);
  EXPECT_EQ(r->getMax(), 3);
  EXPECT_EQ(s->getMax(), 3);
}

}  // namespace
