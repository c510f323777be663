// Linear constraints and Boolean counts: every solution of small random
// instances is found exactly once by a depth-first search that labels
// through the store (so the trailed state of the propagators is restored at
// every depth), the documented examples, the divisibility test of the
// equation, and sums whose coefficients and bounds sit at the ends of the
// 64-bit-safe range.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <limits>
#include <random>
#include <set>
#include <sstream>
#include <vector>

#include "fd/NuvCPBoolVarI.h"
#include "fd/NuvCPCIntVarI.h"
#include "fd/NuvCPLinEquationI.h"
#include "host/PimError.h"
#include "tests/fd/PropagatorChecker.h"

namespace {

using Vars = std::vector<NuvCPIntVarI*>;
using Assignment = std::vector<int>;
using Builder = std::function<NuvCPDaemonI*(NuvCPManagerI*, const Vars&)>;

constexpr int kMinValue = -1073741823;
constexpr int kMaxValue = 1073741822;

// A store with variables over given domains (Booleans where asked).
struct Instance {
  PimArenaAllocator arena;
  NuvTrailI trail;
  NuvCPManagerI store{&arena, &trail};
  Vars xs;
  std::vector<std::size_t> order;  // the labelling order: positions in xs

  Instance(const std::vector<std::vector<int>>& doms, const std::vector<bool>& boolean) {
    for (std::size_t i = 0; i < doms.size(); ++i) {
      const auto& d = doms[i];
      NuvCPIntVarI* x;
      if (i < boolean.size() && boolean[i]) {
        x = nuvCPNew<NuvCPBoolVarI>(&arena, &arena, &store);
        x->updateMin(d.front());
        x->updateMax(d.back());
      } else {
        x = nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, d.front(), d.back());
        for (int v = d.front(); v <= d.back(); ++v)
          if (!std::binary_search(d.begin(), d.end(), v)) x->removeValue(v);
      }
      xs.push_back(x);
      order.push_back(i);
    }
  }

  // Depth-first search labelling the first unbound variable (in `order`)
  // with each of its values in turn; every leaf where all variables are
  // bound is recorded.
  void search(std::vector<Assignment>& found) {
    std::size_t p = 0;
    while (p < xs.size() && xs[order[p]]->isBound()) ++p;
    const std::size_t i = p < xs.size() ? order[p] : p;
    if (i == xs.size()) {
      Assignment a;
      for (NuvCPIntVarI* x : xs) a.push_back(x->getMin());
      found.push_back(a);
      return;
    }
    const std::vector<int> values = checker_detail::valuesOf(xs[i]);
    for (int v : values) {
      trail.push();
      if (store.label(xs[i], v) != NuvCPFailure && store.isConsistent()) search(found);
      trail.pop();
      store.restartPropagation();
    }
  }
};

// Posts the propagator on random domains and compares the solutions the
// search finds with those of brute force: same set, each found once.
void checkBySearch(const std::vector<std::pair<int, int>>& ranges, const Builder& build,
                   const std::function<bool(const Assignment&)>& holds, int trials,
                   unsigned seed, std::vector<bool> boolean = {}, bool shuffled = false) {
  std::mt19937 rng(seed);
  for (int t = 0; t < trials; ++t) {
    std::vector<std::vector<int>> doms;
    for (auto [lo, hi] : ranges) {
      std::vector<int> d;
      std::bernoulli_distribution in(0.65);
      for (int v = lo; v <= hi; ++v)
        if (in(rng)) d.push_back(v);
      if (d.empty()) d.push_back(std::uniform_int_distribution<int>(lo, hi)(rng));
      doms.push_back(d);
    }
    std::vector<Assignment> expected;
    checker_detail::enumerate(doms, [&](const Assignment& a) {
      if (holds(a)) expected.push_back(a);
    });
    Instance in(doms, boolean);
    if (shuffled) std::shuffle(in.order.begin(), in.order.end(), rng);
    std::vector<Assignment> found;
    in.trail.push();
    const int status = in.store.post(static_cast<NuvCPCstrI*>(build(&in.store, in.xs)));
    if (status != NuvCPFailure && in.store.isConsistent()) in.search(found);
    const std::string where = "trial " + std::to_string(t) + ": " + checker_detail::show(doms);
    std::set<Assignment> unique(found.begin(), found.end());
    EXPECT_EQ(unique.size(), found.size()) << "a solution found twice; " << where;
    EXPECT_EQ(unique, std::set<Assignment>(expected.begin(), expected.end())) << where;
    if (::testing::Test::HasFailure()) return;
  }
}

std::int64_t dot(const std::vector<int>& co, const Assignment& a, std::size_t n) {
  std::int64_t s = 0;
  for (std::size_t i = 0; i < n; ++i) s += std::int64_t{co[i]} * a[i];
  return s;
}

template <class P>
Builder general(std::vector<int> co, int k) {
  return [co, k](NuvCPManagerI* s, const Vars& v) -> NuvCPDaemonI* {
    return nuvCPNew<P>(s->allocator(), s, static_cast<int>(co.size()), co.data(), v.data(), k);
  };
}

template <class P>
Builder reified(std::vector<int> co, int k) {
  return [co, k](NuvCPManagerI* s, const Vars& v) -> NuvCPDaemonI* {
    return nuvCPNew<P>(s->allocator(), s, static_cast<int>(co.size()), co.data(), v.data(), k,
                       v[co.size()]);
  };
}

std::string str(const NuvCPDaemonI* c) {
  std::ostringstream os;
  c->print(os);
  return os.str();
}

}  // namespace

TEST(LinearSearch, GeneralFormsFindExactlyTheSolutions) {
  std::mt19937 rng(7);
  std::uniform_int_distribution<int> coef(-5, 5), konst(-6, 6), arity(1, 4);
  for (int inst = 0; inst < 60; ++inst) {
    const int n = arity(rng);
    std::vector<int> co(static_cast<std::size_t>(n));
    for (int& a : co) a = coef(rng);
    const int k = konst(rng);
    const unsigned seed = static_cast<unsigned>(inst);
    const std::vector<std::pair<int, int>> ranges(static_cast<std::size_t>(n), {-4, 4});
    const auto N = co.size();
    checkBySearch(ranges, general<NuvCPLinearEquationI>(co, k),
                  [&](const Assignment& a) { return dot(co, a, N) + k == 0; }, 8, seed);
    checkBySearch(ranges, general<NuvCPLinearGEQI>(co, k),
                  [&](const Assignment& a) { return dot(co, a, N) + k >= 0; }, 8, seed);
    checkBySearch(ranges, general<NuvCPLinearNotEqualI>(co, k),
                  [&](const Assignment& a) { return dot(co, a, N) + k != 0; }, 8, seed);
    // The control, last, may start with values beyond 0..1.
    auto withControl = ranges;
    withControl.emplace_back(-1, 2);
    checkBySearch(withControl, reified<NuvCPLinearEquationReifI>(co, k),
                  [&](const Assignment& a) {
                    return (a[N] == 0 || a[N] == 1) && (dot(co, a, N) + k == 0) == (a[N] == 1);
                  },
                  8, seed);
    checkBySearch(withControl, reified<NuvCPLinearGEQReifI>(co, k),
                  [&](const Assignment& a) {
                    return (a[N] == 0 || a[N] == 1) && (dot(co, a, N) + k >= 0) == (a[N] == 1);
                  },
                  8, seed);
    if (HasFailure()) return;
  }
}

// Long sums of Booleans and integers (the general classes keep the unbound
// terms in a trailed sparse set and read the two kinds without virtual
// calls), labelled in a different order per trial, so that terms leave the
// set in every order and come back on backtracking.
TEST(LinearSearch, LongMixedSumsInAnyLabellingOrder) {
  std::mt19937 rng(11);
  std::uniform_int_distribution<int> coef(-9, 9), konst(-12, 12);
  const std::vector<std::pair<int, int>> ranges = {{0, 1}, {-2, 2}, {0, 1}, {0, 1}, {0, 1},
                                                   {-1, 3}, {0, 1}, {0, 1}, {0, 1}};
  const std::vector<bool> boolean = {true, false, true, true, true, false, true, true, true};
  const auto N = ranges.size();
  for (int inst = 0; inst < 12; ++inst) {
    std::vector<int> co(N);
    for (int& a : co) a = coef(rng);
    const int k = konst(rng);
    const unsigned seed = static_cast<unsigned>(100 + inst);
    auto sum = [&](const Assignment& a) { return dot(co, a, N) + k; };
    checkBySearch(ranges, general<NuvCPLinearEquationI>(co, k),
                  [&](const Assignment& a) { return sum(a) == 0; }, 3, seed, boolean, true);
    checkBySearch(ranges, general<NuvCPLinearGEQI>(co, k),
                  [&](const Assignment& a) { return sum(a) >= 0; }, 3, seed, boolean, true);
    checkBySearch(ranges, general<NuvCPLinearNotEqualI>(co, k),
                  [&](const Assignment& a) { return sum(a) != 0; }, 3, seed, boolean, true);
    auto withControl = ranges;
    withControl.emplace_back(0, 1);
    auto boolControl = boolean;
    boolControl.push_back(true);
    checkBySearch(withControl, reified<NuvCPLinearEquationReifI>(co, k),
                  [&](const Assignment& a) { return (sum(a) == 0) == (a[N] == 1); }, 3, seed,
                  boolControl, true);
    checkBySearch(withControl, reified<NuvCPLinearGEQReifI>(co, k),
                  [&](const Assignment& a) { return (sum(a) >= 0) == (a[N] == 1); }, 3, seed,
                  boolControl, true);
    if (HasFailure()) return;
  }
}

TEST(LinearSearch, UnitEquationsFindExactlyTheSolutions) {
  for (int np = 0; np <= 3; ++np)
    for (int nn = 0; nn + np <= 4; ++nn)
      for (int k : {-3, 0, 2}) {
        for (bool single : {false, true}) {
          Builder b = [np, nn, k, single](NuvCPManagerI* s, const Vars& v) -> NuvCPDaemonI* {
            if (single)
              return nuvCPNew<NuvCPLinearPNEquationCI>(s->allocator(), s, np, v.data(), nn,
                                                       v.data() + np, k);
            return nuvCPNew<NuvCPLinearPNEquationI>(s->allocator(), s, np, v.data(), nn,
                                                    v.data() + np, k);
          };
          auto holds = [np, nn, k](const Assignment& a) {
            std::int64_t s = k;
            for (int i = 0; i < np + nn; ++i) s += i < np ? a[i] : -a[i];
            return s == 0;
          };
          const std::vector<std::pair<int, int>> ranges(static_cast<std::size_t>(np + nn),
                                                        {-3, 4});
          checkBySearch(ranges, b, holds, 12, static_cast<unsigned>(np * 10 + nn));
          if (HasFailure()) return;
        }
      }
}

// x == y over the even and the odd numbers: bounds reasoning shaves one
// value off each end per pass, so a long enough chain runs into the cap on
// internal passes. Whatever pass the cap falls on, the bounds it leaves must
// be checked: otherwise a last pass that binds both variables leaves a
// "solution" x != y that nobody checks (the propagators are idempotent and
// are not rerun on their own changes).
TEST(LinearSearch, EquationsCutOffByThePassCapStillCheckTheirBounds) {
  const Builder builders[] = {
      general<NuvCPLinearEquationI>({1, -1}, 0),
      [](NuvCPManagerI* s, const Vars& v) -> NuvCPDaemonI* {
        return nuvCPNew<NuvCPLinearPNEquationI>(s->allocator(), s, 1, v.data(), 1, v.data() + 1,
                                                std::int64_t{0});
      },
      [](NuvCPManagerI* s, const Vars& v) -> NuvCPDaemonI* {
        return nuvCPNew<NuvCPLinearPNEquationCI>(s->allocator(), s, 1, v.data(), 1,
                                                 v.data() + 1, std::int64_t{0});
      }};
  for (const Builder& build : builders)
    for (int m = 1; m <= 300; ++m) {
      std::vector<int> evens, odds;
      for (int i = 0; i <= m; ++i) {
        evens.push_back(2 * i);
        odds.push_back(2 * i + 1);
      }
      Instance in({evens, odds}, {});
      in.trail.push();
      const int status = in.store.post(static_cast<NuvCPCstrI*>(build(&in.store, in.xs)));
      std::vector<Assignment> found;
      if (status != NuvCPFailure && in.store.isConsistent()) in.search(found);
      EXPECT_TRUE(found.empty()) << "m = " << m << ": x = " << found[0][0]
                                 << ", y = " << found[0][1];
      if (HasFailure()) return;
    }
}

TEST(LinearSearch, BooleanCountsFindExactlyTheSolutions) {
  for (bool boolVars : {false, true})
    for (int n = 0; n <= 5; ++n) {
      std::vector<bool> boolean(static_cast<std::size_t>(n), boolVars);
      const std::vector<std::pair<int, int>> ranges(static_cast<std::size_t>(n), {0, 1});
      for (int t = -1; t <= n + 1; ++t) {
        // Indexed from 3, so that an index is not a position.
        Builder b = [n, t](NuvCPManagerI* s, const Vars& v) -> NuvCPDaemonI* {
          return nuvCPNew<NuvCPSumBoolEqualCstI>(s->allocator(), s, 3, 3 + n - 1, v.data(), t);
        };
        checkBySearch(ranges, b,
                      [t](const Assignment& a) {
                        int c = 0;
                        for (int v : a) c += v;
                        return c == t;
                      },
                      10, static_cast<unsigned>(n * 7 + t + 1), boolean);
      }
      auto withZ = ranges;
      withZ.emplace_back(-1, n + 1);
      Builder bz = [n](NuvCPManagerI* s, const Vars& v) -> NuvCPDaemonI* {
        return nuvCPNew<NuvCPSumBoolEqualI>(s->allocator(), s, n, v.data(), v[n]);
      };
      checkBySearch(withZ, bz,
                    [n](const Assignment& a) {
                      int c = 0;
                      for (int i = 0; i < n; ++i) c += a[i];
                      return c == a[n];
                    },
                    10, static_cast<unsigned>(n + 100), boolean);
      if (::testing::Test::HasFailure()) return;
    }
}

TEST(LinearChecker, BooleanCountsAreDomainConsistentOnBooleanVariables) {
  for (int t = 0; t <= 4; ++t) {
    PropagatorCheck c;
    c.ranges = {{0, 1}, {0, 1}, {0, 1}, {0, 1}};
    c.boolean = {true, true, true, true};
    c.build = [t](NuvCPManagerI* s, const Vars& v) -> NuvCPDaemonI* {
      return nuvCPNew<NuvCPSumBoolEqualCstI>(s->allocator(), s, 0, 3, v.data(), t);
    };
    c.holds = [t](const Assignment& a) { return a[0] + a[1] + a[2] + a[3] == t; };
    c.strength = PropagatorCheck::Strength::Domain;
    checkPropagator(c);
  }
  PropagatorCheck z;
  z.ranges = {{0, 1}, {0, 1}, {0, 1}, {-1, 4}};
  z.boolean = {true, true, true};
  z.build = [](NuvCPManagerI* s, const Vars& v) -> NuvCPDaemonI* {
    return nuvCPNew<NuvCPSumBoolEqualI>(s->allocator(), s, 3, v.data(), v[3]);
  };
  z.holds = [](const Assignment& a) { return a[0] + a[1] + a[2] == a[3]; };
  z.strength = PropagatorCheck::Strength::Bounds;
  checkPropagator(z);
}

class LinearFixture : public ::testing::Test {
 protected:
  PimArenaAllocator arena;
  NuvTrailI trail;
  NuvCPManagerI store{&arena, &trail};
  NuvCPIntVarI* var(int lo, int hi) { return nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, lo, hi); }
  template <class P, class... A>
  P* make(A... args) {
    return nuvCPNew<P>(&arena, &store, args...);
  }
};

TEST_F(LinearFixture, DocumentedExamples) {
  // 2x + 3y - 12 == 0, x, y in [0,10]: x in [0,6], y in [0,4] after the
  // equation's own fixpoint (one pass leaves y at most 4 and x at most 6
  // only because the pass is repeated).
  NuvCPIntVarI* x = var(0, 10);
  NuvCPIntVarI* y = var(0, 10);
  const int c23[2] = {2, 3};
  NuvCPIntVarI* xy[2] = {x, y};
  EXPECT_EQ(store.post(make<NuvCPLinearEquationI>(2, c23, xy, -12)), NuvCPSuspend);
  EXPECT_EQ(x->getMin(), 0);
  EXPECT_EQ(x->getMax(), 6);
  EXPECT_EQ(y->getMin(), 0);
  EXPECT_EQ(y->getMax(), 4);

  // Every variable bound and a total other than 0: failure.
  NuvCPIntVarI* b3 = var(3, 3);
  NuvCPIntVarI* b4 = var(4, 4);
  NuvCPIntVarI* bound[2] = {b3, b4};
  const int c11[2] = {1, 1};
  EXPECT_EQ(make<NuvCPLinearEquationI>(2, c11, bound, -8)->post(0), NuvCPFailure);
  // ... and a total of 0: entailed.
  EXPECT_EQ(make<NuvCPLinearEquationI>(2, c11, bound, -7)->post(0), NuvCPSuccess);
  // Entailed as soon as the bounds decide it, variables still open: a clause
  // x + y - 1 >= 0 once x is 1, x + y + 1 != 0 over nonnegative values. The
  // store then stops running them on the branch.
  NuvCPIntVarI* one = var(1, 1);
  NuvCPIntVarI* open = var(0, 1);
  NuvCPIntVarI* clause[2] = {one, open};
  EXPECT_EQ(make<NuvCPLinearGEQI>(2, c11, clause, -1)->post(0), NuvCPSuccess);
  EXPECT_EQ(make<NuvCPLinearNotEqualI>(2, c11, clause, 1)->post(0), NuvCPSuccess);
  NuvCPIntVarI* both[2] = {open, var(0, 1)};
  EXPECT_EQ(make<NuvCPLinearGEQI>(2, c11, both, -1)->post(0), NuvCPSuspend);
  EXPECT_EQ(make<NuvCPLinearNotEqualI>(2, c11, both, -1)->post(0), NuvCPSuspend);
  EXPECT_FALSE(open->isBound());

  // x + y - 20 >= 0, x, y in [0,10]: both 10.
  NuvCPIntVarI* p = var(0, 10);
  NuvCPIntVarI* q = var(0, 10);
  NuvCPIntVarI* pq[2] = {p, q};
  EXPECT_NE(store.post(make<NuvCPLinearGEQI>(2, c11, pq, -20)), NuvCPFailure);
  EXPECT_TRUE(p->isBound() && q->isBound());
  EXPECT_EQ(p->getMin() + q->getMin(), 20);

  // 2x + 3 != 0 with x unbound: 3 is odd, nothing is removed.
  NuvCPIntVarI* r = var(-5, 5);
  const int c2[1] = {2};
  auto* ne = make<NuvCPLinearNotEqualI>(1, c2, &r, 3);
  EXPECT_EQ(ne->post(0), NuvCPSuspend);
  EXPECT_EQ(r->getSize(), 11);
  // 2x - 4 != 0: 2 goes.
  EXPECT_EQ(make<NuvCPLinearNotEqualI>(1, c2, &r, -4)->post(0), NuvCPSuspend);
  EXPECT_FALSE(r->member(2));

  // Exactly 0 of four Booleans: all bound to 0 at post, entailed.
  Vars bs;
  for (int i = 0; i < 4; ++i) bs.push_back(nuvCPNew<NuvCPBoolVarI>(&arena, &arena, &store));
  EXPECT_EQ(make<NuvCPSumBoolEqualCstI>(1, 4, bs.data(), 0)->post(0), NuvCPSuccess);
  for (NuvCPIntVarI* b : bs) EXPECT_EQ(b->getMax(), 0);
}

TEST_F(LinearFixture, TrailedCountsFollowTheSearch) {
  Vars bs;
  for (int i = 0; i < 5; ++i) bs.push_back(nuvCPNew<NuvCPBoolVarI>(&arena, &arena, &store));
  auto* c = make<NuvCPSumBoolEqualCstI>(0, 4, bs.data(), 2);
  ASSERT_EQ(store.post(c), NuvCPSuspend);
  EXPECT_EQ(c->unboundCount(), 5);
  trail.push();
  ASSERT_NE(store.label(bs[1], 0), NuvCPFailure);
  ASSERT_NE(store.label(bs[3], 1), NuvCPFailure);
  EXPECT_EQ(c->nbTrue(), 1);
  EXPECT_EQ(c->nbFalse(), 1);
  EXPECT_EQ(c->unboundCount(), 3);
  trail.push();
  ASSERT_NE(store.label(bs[0], 1), NuvCPFailure);  // the second true one fixes the rest
  EXPECT_FALSE(c->isEnabled());
  EXPECT_EQ(bs[2]->getMax() + bs[4]->getMax(), 0);
  trail.pop();
  store.restartPropagation();
  EXPECT_TRUE(c->isEnabled());
  EXPECT_EQ(c->nbTrue(), 1);
  EXPECT_EQ(c->unboundCount(), 3);
  EXPECT_FALSE(bs[0]->isBound());
  trail.pop();
  store.restartPropagation();
  EXPECT_EQ(c->nbTrue(), 0);
  EXPECT_EQ(c->nbFalse(), 0);
  EXPECT_EQ(c->unboundCount(), 5);
}

TEST_F(LinearFixture, PrintForms) {
  NuvCPIntVarI* x = var(1, 3);
  NuvCPIntVarI* y = var(7, 7);
  NuvCPIntVarI* xy[2] = {x, y};
  const int co[2] = {2, -1};
  EXPECT_EQ(str(make<NuvCPLinearNotEqualI>(2, co, xy, 5)), "lin-neq:2 * (3)[1..3] + -1 * 7 + 5!= 0");
  EXPECT_EQ(str(make<NuvCPLinearGEQI>(2, co, xy, -4)), "lin>=:2 * (3)[1..3] + -1 * 7 + -4>= 0");
  EXPECT_EQ(str(make<NuvCPLinearPNEquationI>(2, xy, 1, &x, std::int64_t{3})),
            "lin(+/-)-eq:(3)[1..3] + 7 - ((3)[1..3] + ) + 3== 0");
  EXPECT_EQ(str(make<NuvCPLinearPNEquationCI>(1, xy, 0, xy, std::int64_t{-1})),
            "lin(+/-)s-eq:(3)[1..3] - () + -1== 0");
  EXPECT_EQ(str(make<NuvCPSumBoolEqualCstI>(0, 1, xy, 1)), "bool-eqcst:(3)[1..3] + 7 == 1");
  EXPECT_EQ(str(make<NuvCPSumBoolEqualI>(1, xy, y)), "bool-eq:(3)[1..3] == 7");
}

// An equation whose unbound coefficients share a factor that the bound part
// lacks has no integer solution; over wide domains bounds reasoning alone
// would only shave one value per pass.
TEST_F(LinearFixture, EquationsWithoutIntegerSolutionsFailAtOnce) {
  NuvCPIntVarI* x = var(kMinValue, kMaxValue);
  NuvCPIntVarI* y = var(kMinValue, kMaxValue);
  NuvCPIntVarI* z = var(0, 1);
  NuvCPIntVarI* xyz[3] = {x, y, z};
  const int even[2] = {2, -2};
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(make<NuvCPLinearEquationI>(2, even, xyz, 1)->post(0), NuvCPFailure);
  // 2x - 2y + 3z - 1 == 0: feasible with z = 1 only, found when z is bound.
  const int mixed[3] = {2, -2, 3};
  ASSERT_EQ(store.post(make<NuvCPLinearEquationI>(3, mixed, xyz, -1)), NuvCPSuspend);
  trail.push();
  EXPECT_EQ(store.label(z, 0), NuvCPFailure);
  trail.pop();
  store.restartPropagation();
  trail.push();
  EXPECT_NE(store.label(z, 1), NuvCPFailure);
  // x == y - 1: one value off one end of each.
  EXPECT_EQ(x->getMax(), kMaxValue - 1);
  EXPECT_EQ(y->getMin(), kMinValue + 1);
  EXPECT_EQ(x->getMin(), kMinValue);
  trail.pop();
  store.restartPropagation();
  // The reified form learns the control from the same test.
  NuvCPIntVarI* b = var(0, 1);
  EXPECT_NE(store.post(make<NuvCPLinearEquationReifI>(2, even, xyz, 1, b)), NuvCPFailure);
  EXPECT_TRUE(b->isBound());
  EXPECT_EQ(b->getMin(), 0);
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  EXPECT_LT(seconds, 1.0);
}

TEST_F(LinearFixture, SumsThatCouldLeaveTheSafeRangeAreRefused) {
  NuvCPIntVarI* x = var(kMinValue, kMaxValue);
  NuvCPIntVarI* y = var(kMinValue, kMaxValue);
  NuvCPIntVarI* z = var(kMinValue, kMaxValue);
  NuvCPIntVarI* xyz[3] = {x, y, z};
  const int extreme[3] = {INT32_MIN, INT32_MAX, INT32_MAX};
  EXPECT_THROW(make<NuvCPLinearEquationI>(3, extreme, xyz, 0), PimExecutionError);
  EXPECT_THROW(make<NuvCPLinearGEQI>(3, extreme, xyz, 0), PimExecutionError);
  EXPECT_THROW(make<NuvCPLinearNotEqualI>(3, extreme, xyz, 0), PimExecutionError);
  EXPECT_THROW(make<NuvCPLinearEquationReifI>(3, extreme, xyz, 0, var(0, 1)), PimExecutionError);
  EXPECT_THROW(make<NuvCPLinearGEQReifI>(3, extreme, xyz, 0, var(0, 1)), PimExecutionError);
  try {
    make<NuvCPLinearEquationI>(3, extreme, xyz, 0);
  } catch (const PimExecutionError& e) {
    EXPECT_NE(e.message().find("refused"), std::string::npos) << e.message();
  }
  // Two extreme terms fit; the same with narrower variables fits with three.
  EXPECT_NO_THROW(make<NuvCPLinearEquationI>(2, extreme, xyz, INT32_MIN));
  NuvCPIntVarI* small[3] = {var(-1000, 1000), var(-1000, 1000), var(-1000, 1000)};
  EXPECT_NO_THROW(make<NuvCPLinearEquationI>(3, extreme, small, INT32_MAX));
  // Unit sums: only a constant near 2^62 can break them.
  EXPECT_THROW(make<NuvCPLinearPNEquationI>(1, xyz, 1, xyz + 1, std::int64_t{1} << 62),
               PimExecutionError);
  EXPECT_THROW(
      make<NuvCPLinearPNEquationCI>(1, xyz, 1, xyz + 1, std::numeric_limits<std::int64_t>::min()),
      PimExecutionError);
  EXPECT_NO_THROW(make<NuvCPLinearPNEquationI>(2, xyz, 1, xyz + 2, (std::int64_t{1} << 61)));
}

// Values at the ends of the variables' range with coefficients at the ends
// of int: the propagators agree with exact arithmetic on every sampled
// assignment (nothing valid pruned, nothing invalid accepted).
TEST(LinearLimits, ExtremeCoefficientsAndBoundsAreExact) {
  const std::vector<int> coefs = {INT32_MIN, INT32_MIN + 1, -3, -1, 0, 1, 2, INT32_MAX};
  const std::vector<int> values = {kMinValue, kMinValue + 1, -2, -1, 0, 1, kMaxValue - 1,
                                   kMaxValue};
  const std::vector<int> ks = {INT32_MIN, -1, 0, 1, INT32_MAX};
  std::mt19937 rng(3);
  auto pick = [&rng](const std::vector<int>& v) {
    return v[std::uniform_int_distribution<std::size_t>(0, v.size() - 1)(rng)];
  };
  for (int trial = 0; trial < 400; ++trial) {
    const std::vector<int> co = {pick(coefs), pick(coefs)};
    const int k = pick(ks);
    const int kind = trial % 5;  // ==, >=, !=, reified ==, reified >=
    // Solutions of a*x + b*y + k == 0 near the ends are rare; aim at one by
    // choosing x and deriving k's partner when the coefficients allow.
    for (int probe = 0; probe < 8; ++probe) {
      const int vx = pick(values), vy = pick(values), vb = probe % 2;
      const std::int64_t sum = std::int64_t{co[0]} * vx + std::int64_t{co[1]} * vy + k;
      bool rel = kind == 0 || kind == 3 ? sum == 0 : kind == 1 || kind == 4 ? sum >= 0 : sum != 0;
      const bool holds = kind >= 3 ? rel == (vb == 1) : rel;
      PimArenaAllocator arena;
      NuvTrailI trail;
      NuvCPManagerI store(&arena, &trail);
      // Small windows around the values keep the products near 2^61 while
      // a removed interior value costs a small bit vector, not one over 2^31
      // values.
      auto window = [&](int v) {
        return nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, std::max(kMinValue, v - 2),
                                       std::min(kMaxValue, v + 2));
      };
      NuvCPIntVarI* x = window(vx);
      NuvCPIntVarI* y = window(vy);
      NuvCPIntVarI* b = nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, 0, 1);
      NuvCPIntVarI* xy[2] = {x, y};
      NuvCPCstrI* c = nullptr;
      switch (kind) {
        case 0: c = nuvCPNew<NuvCPLinearEquationI>(&arena, &store, 2, co.data(), xy, k); break;
        case 1: c = nuvCPNew<NuvCPLinearGEQI>(&arena, &store, 2, co.data(), xy, k); break;
        case 2: c = nuvCPNew<NuvCPLinearNotEqualI>(&arena, &store, 2, co.data(), xy, k); break;
        case 3:
          c = nuvCPNew<NuvCPLinearEquationReifI>(&arena, &store, 2, co.data(), xy, k, b);
          break;
        default: c = nuvCPNew<NuvCPLinearGEQReifI>(&arena, &store, 2, co.data(), xy, k, b); break;
      }
      // Posted at the root, then the assignment labelled in either order.
      bool alive = store.post(c) != NuvCPFailure && store.isConsistent();
      const bool xFirst = probe % 4 < 2;
      if (alive) alive = store.label(xFirst ? x : y, xFirst ? vx : vy) != NuvCPFailure;
      if (alive) alive = store.label(xFirst ? y : x, xFirst ? vy : vx) != NuvCPFailure;
      if (alive && kind >= 3) alive = store.label(b, vb) != NuvCPFailure;
      alive = alive && store.isConsistent();
      EXPECT_EQ(alive, holds) << "kind " << kind << ": " << co[0] << " * " << vx << " + "
                              << co[1] << " * " << vy << " + " << k << " (b=" << vb << ")";
      if (::testing::Test::HasFailure()) return;
    }
  }
  // An equation with a solution at the very ends: INT32_MAX * x - INT32_MAX * y == 0
  // keeps x == y through both extremes.
  PimArenaAllocator arena;
  NuvTrailI trail;
  NuvCPManagerI store(&arena, &trail);
  NuvCPIntVarI* x = nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, kMinValue, kMaxValue);
  NuvCPIntVarI* y = nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, kMinValue, kMaxValue);
  NuvCPIntVarI* xy[2] = {x, y};
  const int co[2] = {INT32_MAX, -INT32_MAX};
  ASSERT_EQ(store.post(nuvCPNew<NuvCPLinearEquationI>(&arena, &store, 2, co, xy, 0)), NuvCPSuspend);
  EXPECT_EQ(x->getMin(), kMinValue);
  EXPECT_EQ(y->getMax(), kMaxValue);
  for (int v : {kMinValue, kMaxValue}) {
    trail.push();
    EXPECT_NE(store.label(x, v), NuvCPFailure);
    EXPECT_TRUE(y->isBound());
    EXPECT_EQ(y->getMin(), v);
    trail.pop();
    store.restartPropagation();
  }
}

// 2147483647x - 2147483646y == 1 has the single solution x = y = 1 within
// the variables' range, and bounds reasoning on it converges a value or two
// per pass: the post stops after its bounded number of passes, keeps that
// solution and still rejects every other labelling it is shown.
TEST_F(LinearFixture, SlowlyConvergingEquationsStopEarlyAndStaySound) {
  NuvCPIntVarI* x = var(kMinValue, kMaxValue);
  NuvCPIntVarI* y = var(kMinValue, kMaxValue);
  NuvCPIntVarI* xy[2] = {x, y};
  const int co[2] = {INT32_MAX, -(INT32_MAX - 1)};
  const auto start = std::chrono::steady_clock::now();
  ASSERT_EQ(store.post(make<NuvCPLinearEquationI>(2, co, xy, -1)), NuvCPSuspend);
  EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(), 1.0);
  EXPECT_TRUE(x->member(1) && y->member(1));
  for (int v : {x->getMin(), 0, 1, 2, x->getMax()}) {
    trail.push();
    const bool alive = store.label(x, v) != NuvCPFailure && store.isConsistent();
    EXPECT_EQ(alive, v == 1) << v;
    if (alive) {
      EXPECT_TRUE(y->isBound() && y->getMin() == 1);
    }
    trail.pop();
    store.restartPropagation();
  }
}
