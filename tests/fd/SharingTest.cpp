// Relations, reified relations, connectives and linear constraints with the
// same variable, or offset views of one variable, in several argument
// positions: every way of sharing the positions, checked along search and
// across backtracking. The shared forms are decided or reduced at post, so
// they are domain consistent.
#include <gtest/gtest.h>

#include <cstdint>

#include "PropagatorChecker.h"
#include "fd/NuvCPBoolVarI.h"
#include "fd/NuvCPExpr.h"
#include "fd/NuvCPLinEquationI.h"
#include "fd/NuvCPRelationI.h"

namespace {

using namespace nuvcheck;
using I64 = std::int64_t;

Options opts(std::uint32_t seed, Consistency c = Consistency::Domain) {
  Options o;
  o.consistency = c;
  o.seed = seed;
  o.trials = 40;
  o.dives = 4;
  return o;
}

// Runs every filling of the positions; answers how many trials had solutions
// (so that a test can tell it was not vacuous).
int checkAll(const std::vector<Filling>& fills, const std::vector<std::pair<int, int>>& ranges,
             const Post& post, const Predicate& holds, std::uint32_t& seed,
             Consistency c = Consistency::Domain, const std::vector<bool>& boolean = {}) {
  int withSolutions = 0;
  if (::testing::Test::HasFailure()) return 0;
  SCOPED_TRACE("first seed " + std::to_string(seed));
  for (const Filling& f : fills) {
    const Stats st = checkShared(f, ranges, post, holds, opts(seed, c), boolean);
    ++seed;
    withSolutions += st.trialsWithSolutions;
    if (::testing::Test::HasFailure()) return withSolutions;
  }
  return withSolutions;
}

bool isBool(int b) { return b == 0 || b == 1; }

template <class P>
Post binary(int k) {
  return [k](NuvCPManagerI& s, const Vars& v) {
    return s.post(nuvCPNew<P>(s.allocator(), &s, v[0], v[1], k));
  };
}
template <class P>
Post reifiedUnary(int k) {
  return [k](NuvCPManagerI& s, const Vars& v) {
    return s.post(nuvCPNew<P>(s.allocator(), &s, v[0], k, v[1]));
  };
}
template <class P>
Post reifiedBinary(int k) {
  return [k](NuvCPManagerI& s, const Vars& v) {
    return s.post(nuvCPNew<P>(s.allocator(), &s, v[0], v[1], k, v[2]));
  };
}
template <class P>
Post logic() {
  return [](NuvCPManagerI& s, const Vars& v) {
    return s.post(nuvCPNew<P>(s.allocator(), &s, static_cast<NuvCPBoolVarI*>(v[0]),
                              static_cast<NuvCPBoolVarI*>(v[1]), static_cast<NuvCPBoolVarI*>(v[2])));
  };
}

const std::vector<std::pair<int, int>> kXY = {{-3, 3}, {-3, 3}};
const std::vector<std::pair<int, int>> kXB = {{-3, 3}, {0, 1}};
const std::vector<std::pair<int, int>> kXYB = {{-3, 3}, {-3, 3}, {0, 1}};

TEST(Sharing, BinaryRelationsOverOneVariableAreDecidedAtPost) {
  std::uint32_t seed = 1;
  const auto fills = sharedFillings(2, {0, 1, -2});
  int seen = 0;
  for (int k : {-1, 0, 2}) {
    auto eq = [k](const Assignment& a) { return I64{a[0]} == I64{a[1]} + k; };
    seen += checkAll(fills, kXY, binary<NuvCPEqualBCI>(k), eq, seed);
    seen += checkAll(fills, kXY, binary<NuvCPEqualACI>(k), eq, seed);
    seen += checkAll(fills, kXY, binary<NuvCPLEqualI>(k),
                     [k](const Assignment& a) { return I64{a[0]} <= I64{a[1]} + k; }, seed);
    seen += checkAll(fills, kXY, binary<NuvCPNEqualI>(k),
                     [k](const Assignment& a) { return I64{a[0]} != I64{a[1]} + k; }, seed);
    seen += checkAll(fills, kXY, binary<NuvCPSLEqualI>(k),
                     [k](const Assignment& a) { return I64{a[0]} + a[1] <= k; }, seed);
  }
  EXPECT_GT(seen, 100);
}

TEST(Sharing, ReifiedUnaryWithTheControlOnTheOperand) {
  std::uint32_t seed = 100;
  const auto fills = sharedFillings(2, {0, 1, -1, 3});
  int seen = 0;
  for (int k : {-1, 0, 1, 2}) {
    auto reif = [](bool r, int b) { return isBool(b) && (b == 1) == r; };
    seen += checkAll(fills, kXB, reifiedUnary<NuvCPReifyEqualcI>(k),
                     [&](const Assignment& a) { return reif(a[0] == k, a[1]); }, seed);
    seen += checkAll(fills, kXB, reifiedUnary<NuvCPReifyNEqualcI>(k),
                     [&](const Assignment& a) { return reif(a[0] != k, a[1]); }, seed);
    seen += checkAll(fills, kXB, reifiedUnary<NuvCPReifyLEqualcI>(k),
                     [&](const Assignment& a) { return reif(a[0] <= k, a[1]); }, seed);
    seen += checkAll(fills, kXB, reifiedUnary<NuvCPReifyGEqualcI>(k),
                     [&](const Assignment& a) { return reif(a[0] >= k, a[1]); }, seed);
  }
  EXPECT_GT(seen, 100);
}

TEST(Sharing, ReifiedBinaryWithSharedOperandsOrControl) {
  std::uint32_t seed = 200;
  const auto fills = sharedFillings(3, {0, 1, -1});
  int seen = 0;
  for (int k : {-1, 0, 2}) {
    auto reif = [](bool r, int b) { return isBool(b) && (b == 1) == r; };
    auto eq = [k, reif](const Assignment& a) { return reif(I64{a[0]} == I64{a[1]} + k, a[2]); };
    seen += checkAll(fills, kXYB, reifiedBinary<NuvCPReifyEqualBCI>(k), eq, seed);
    seen += checkAll(fills, kXYB, reifiedBinary<NuvCPReifyEqualACI>(k), eq, seed);
    seen += checkAll(fills, kXYB, reifiedBinary<NuvCPReifyNEqualI>(k),
                     [k, reif](const Assignment& a) { return reif(I64{a[0]} != I64{a[1]} + k, a[2]); },
                     seed);
    seen += checkAll(fills, kXYB, reifiedBinary<NuvCPReifyLEqualI>(k),
                     [k, reif](const Assignment& a) { return reif(I64{a[0]} <= I64{a[1]} + k, a[2]); },
                     seed);
  }
  EXPECT_GT(seen, 100);
}

TEST(Sharing, ConnectivesOverRepeatedBooleans) {
  std::uint32_t seed = 300;
  const auto fills = sharedFillings(3, {0});
  const std::vector<std::pair<int, int>> r = {{0, 1}, {0, 1}, {0, 1}};
  const std::vector<bool> all = {true, true, true};
  int seen = 0;
  seen += checkAll(fills, r, logic<NuvCPLogicAndI>(),
                   [](const Assignment& a) { return a[2] == (a[0] && a[1] ? 1 : 0); }, seed,
                   Consistency::Domain, all);
  seen += checkAll(fills, r, logic<NuvCPLogicOrI>(),
                   [](const Assignment& a) { return a[2] == (a[0] || a[1] ? 1 : 0); }, seed,
                   Consistency::Domain, all);
  seen += checkAll(fills, r, logic<NuvCPLogicImplyI>(),
                   [](const Assignment& a) { return a[2] == (!a[0] || a[1] ? 1 : 0); }, seed,
                   Consistency::Domain, all);
  EXPECT_GT(seen, 20);
}

// ---- linear -------------------------------------------------------------------------

template <class P>
Post linear(std::vector<int> coefs, int k) {
  return [coefs, k](NuvCPManagerI& s, const Vars& v) {
    return s.post(nuvCPNew<P>(s.allocator(), &s, static_cast<int>(coefs.size()), coefs.data(),
                              v.data(), k));
  };
}
// The control is the last position.
template <class P>
Post linearReif(std::vector<int> coefs, int k) {
  return [coefs, k](NuvCPManagerI& s, const Vars& v) {
    return s.post(nuvCPNew<P>(s.allocator(), &s, static_cast<int>(coefs.size()), coefs.data(),
                              v.data(), k, v[coefs.size()]));
  };
}

I64 dot(const std::vector<int>& coefs, const Assignment& a, int k) {
  I64 sum = k;
  for (std::size_t i = 0; i < coefs.size(); ++i) sum += I64{coefs[i]} * a[i];
  return sum;
}

const std::vector<std::vector<int>> kCoefs = {{1, -1, 2}, {1, 1, 1}, {2, -3, 1}, {-1, 1, -1}};

TEST(Sharing, LinearWithRepeatedTermsAndViews) {
  std::uint32_t seed = 400;
  const auto fills = sharedFillings(3, {0, 1, -2});
  const std::vector<std::pair<int, int>> r = {{-3, 3}, {-3, 3}, {-3, 3}};
  int seen = 0;
  for (const auto& c : kCoefs)
    for (int k : {-2, 0, 3}) {
      seen += checkAll(fills, r, linear<NuvCPLinearEquationI>(c, k),
                       [c, k](const Assignment& a) { return dot(c, a, k) == 0; }, seed,
                       Consistency::None);
      seen += checkAll(fills, r, linear<NuvCPLinearGEQI>(c, k),
                       [c, k](const Assignment& a) { return dot(c, a, k) >= 0; }, seed,
                       Consistency::None);
      seen += checkAll(fills, r, linear<NuvCPLinearNotEqualI>(c, k),
                       [c, k](const Assignment& a) { return dot(c, a, k) != 0; }, seed,
                       Consistency::None);
    }
  EXPECT_GT(seen, 200);
}

TEST(Sharing, ReifiedLinearWithTheControlAmongTheTerms) {
  std::uint32_t seed = 500;
  const auto fills = sharedFillings(4, {0, 1});
  const std::vector<std::pair<int, int>> r = {{-2, 2}, {-2, 2}, {-2, 2}, {0, 1}};
  int seen = 0;
  for (const auto& c : {kCoefs[0], kCoefs[2]})
    for (int k : {-1, 2}) {
      seen += checkAll(fills, r, linearReif<NuvCPLinearEquationReifI>(c, k),
                       [c, k](const Assignment& a) {
                         return isBool(a[3]) && (a[3] == 1) == (dot(c, a, k) == 0);
                       },
                       seed, Consistency::None);
      seen += checkAll(fills, r, linearReif<NuvCPLinearGEQReifI>(c, k),
                       [c, k](const Assignment& a) {
                         return isBool(a[3]) && (a[3] == 1) == (dot(c, a, k) >= 0);
                       },
                       seed, Consistency::None);
    }
  EXPECT_GT(seen, 200);
}

TEST(Sharing, UnitEquationsAndBooleanSumsWithRepeats) {
  std::uint32_t seed = 600;
  const auto fills = sharedFillings(4, {0, -1});
  const std::vector<std::pair<int, int>> r = {{-2, 2}, {-2, 2}, {-2, 2}, {-2, 2}};
  int seen = 0;
  for (int k : {-1, 0, 2}) {
    // p0 + p1 - n0 - n1 + k == 0
    auto pn = [k](const Assignment& a) { return I64{a[0]} + a[1] - a[2] - a[3] + k == 0; };
    auto post = [k](bool chaotic) {
      return [k, chaotic](NuvCPManagerI& s, const Vars& v) {
        NuvCPIntVarI* p[] = {v[0], v[1]};
        NuvCPIntVarI* n[] = {v[2], v[3]};
        if (chaotic) return s.post(nuvCPNew<NuvCPLinearPNEquationCI>(s.allocator(), &s, 2, p, 2, n, k));
        return s.post(nuvCPNew<NuvCPLinearPNEquationI>(s.allocator(), &s, 2, p, 2, n, k));
      };
    };
    seen += checkAll(fills, r, post(false), pn, seed, Consistency::None);
    seen += checkAll(fills, r, post(true), pn, seed, Consistency::None);
  }
  // Booleans repeated in a count, and the count among the Booleans.
  const auto boolFills = sharedFillings(4, {0});
  const std::vector<std::pair<int, int>> b4 = {{0, 1}, {0, 1}, {0, 1}, {0, 1}};
  const std::vector<bool> all = {true, true, true, true};
  for (int t : {0, 1, 2, 3}) {
    seen += checkAll(boolFills, b4,
                     [t](NuvCPManagerI& s, const Vars& v) {
                       return s.post(nuvCPNew<NuvCPSumBoolEqualCstI>(s.allocator(), &s, 1, 4, v.data(), t));
                     },
                     [t](const Assignment& a) { return a[0] + a[1] + a[2] + a[3] == t; }, seed,
                     Consistency::None, all);
  }
  seen += checkAll(boolFills, b4,
                   [](NuvCPManagerI& s, const Vars& v) {
                     return s.post(nuvCPNew<NuvCPSumBoolEqualI>(s.allocator(), &s, 3, v.data(), v[3]));
                   },
                   [](const Assignment& a) { return a[0] + a[1] + a[2] == a[3]; }, seed,
                   Consistency::None, all);
  EXPECT_GT(seen, 100);
}

// ---- the modeling layer ----------------------------------------------------------------
// A variable and a view of it are two slots to the expression layer, so its
// relations and sums reach the propagators with the sharing intact.

TEST(Sharing, ModelingLayerWithAVariableAndItsView) {
  PimArenaAllocator arena;
  NuvTrailI trail;
  NuvCPManagerI store(&arena, &trail);
  const NuvCPIntExpr x = nuvCPIntVar(store, 0, 5);
  const NuvCPIntExpr v(nuvCPNew<NuvCPViewIntVarI>(&arena, &arena, &store, x.var(), 2));  // x + 2
  auto rooted = [&](const NuvCPBoolExpr& c) {
    trail.push();
    const int r = store.post(c);
    std::pair<int, int> b{x.var()->getMin(), x.var()->getMax()};
    if (r == NuvCPFailure) b = {1, 0};
    trail.pop();
    store.restartPropagation();
    return b;
  };
  using P = std::pair<int, int>;
  EXPECT_EQ(rooted(x < v), P(0, 5));
  EXPECT_EQ(rooted(x >= v), P(1, 0));
  EXPECT_EQ(rooted(x != v - 2), P(1, 0));
  EXPECT_EQ(rooted(x + v <= 6), P(0, 2));
  EXPECT_EQ(rooted(2 * x - v == 1), P(3, 3));
  EXPECT_EQ(rooted(x + v + x == 20), P(1, 0));
  // Reified: the relation is decided, so the new 0/1 variable is bound.
  trail.push();
  NuvCPIntVarI* b = nuvCPReify(store, x + 2 == v);
  EXPECT_TRUE(b->isBound() && b->getMin() == 1);
  NuvCPIntVarI* c = nuvCPReify(store, x > v);
  EXPECT_TRUE(c->isBound() && c->getMin() == 0);
  trail.pop();
}

}  // namespace
