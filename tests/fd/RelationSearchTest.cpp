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
