// Non-linear arithmetic: the exhaustive checker on small domains around 0,
// a sampled check of functional relations on domains too large for the
// exhaustive one (they drive the bounds rules instead of the support
// enumeration) and on domains at the ends of the variable range, where a
// wrapped product would show up as a lost or a wrongly accepted value.
#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <sstream>

#include "fd/NuvCPArithI.h"
#include "tests/fd/PropagatorChecker.h"

namespace {

using S = PropagatorCheck::Strength;
using Vars = std::vector<NuvCPIntVarI*>;
using Op = NuvCPBinaryFunctionI::Op;

constexpr int kLo = -1073741823;
constexpr int kHi = 1073741822;

// ---- exhaustive, small domains ----------------------------------------------------

PropagatorCheck ternary(std::function<NuvCPDaemonI*(NuvCPManagerI*, const Vars&)> build,
                        std::function<bool(std::int64_t, std::int64_t, std::int64_t)> rel,
                        std::vector<std::pair<int, int>> ranges, S strength) {
  PropagatorCheck c;
  c.ranges = std::move(ranges);
  c.build = std::move(build);
  c.holds = [rel](const std::vector<int>& a) { return rel(a[0], a[1], a[2]); };
  c.strength = strength;
  return c;
}

TEST(ArithExhaustive, SumIsBoundsConsistent) {
  for (unsigned seed : {1u, 2u}) {
    auto c = ternary(
        [](NuvCPManagerI* s, const Vars& v) {
          return nuvCPNew<NuvCPTernaryEqualI>(s->allocator(), s, v[0], v[1], v[2]);
        },
        [](auto x, auto y, auto z) { return x + y == z; }, {{-5, 4}, {-3, 6}, {-6, 5}}, S::Bounds);
    c.seed = seed;
    checkPropagator(c);
  }
}

TEST(ArithExhaustive, ProductKeepsEverySolution) {
  // Asymmetric ranges so that the sign cases are not mirror images.
  for (auto ranges : std::vector<std::vector<std::pair<int, int>>>{
           {{-4, 4}, {-3, 3}, {-9, 9}}, {{-5, 2}, {-1, 6}, {-12, 4}}, {{1, 6}, {-6, -1}, {-20, 3}}}) {
    auto c = ternary(
        [](NuvCPManagerI* s, const Vars& v) {
          return nuvCPNew<NuvCPMultI>(s->allocator(), s, v[0], v[1], v[2]);
        },
        [](auto x, auto y, auto z) { return x * y == z; }, ranges, S::None);
    c.trials = 400;
    c.density = 0.5;
    checkPropagator(c);
  }
}

TEST(ArithExhaustive, SquareAndAbsoluteValueAreDomainConsistent) {
  PropagatorCheck sq;
  sq.ranges = {{-6, 5}, {-3, 30}};
  sq.build = [](NuvCPManagerI* s, const Vars& v) {
    return nuvCPNew<NuvCPSquareI>(s->allocator(), s, v[0], v[1]);
  };
  sq.holds = [](const std::vector<int>& a) { return a[0] * a[0] == a[1]; };
  sq.strength = S::Domain;
  sq.density = 0.5;
  checkPropagator(sq);

  PropagatorCheck ab = sq;
  ab.ranges = {{-7, 5}, {-3, 6}};
  ab.build = [](NuvCPManagerI* s, const Vars& v) {
    return nuvCPNew<NuvCPAbsI>(s->allocator(), s, v[0], v[1]);
  };
  ab.holds = [](const std::vector<int>& a) { return (a[0] < 0 ? -a[0] : a[0]) == a[1]; };
  checkPropagator(ab);
}

TEST(ArithExhaustive, FunctionsOfTwoArgumentsAreDomainConsistentWhileSmall) {
  for (Op op : {Op::Div, Op::Mod, Op::Pow, Op::Min, Op::Max}) {
    auto c = ternary(
        [op](NuvCPManagerI* s, const Vars& v) {
          return nuvCPNew<NuvCPBinaryFunctionI>(s->allocator(), s, op, v[0], v[1], v[2]);
        },
        [op](auto x, auto y, auto z) {
          std::int64_t f;
          return NuvCPBinaryFunctionI::apply(op, x, y, f) && f == z;
        },
        {{-7, 6}, {-3, 4}, {-8, 9}}, S::Domain);
    c.seed = 7;
    c.density = 0.5;
    checkPropagator(c);
  }
}

TEST(ArithExhaustive, ArrayMinimumAndMaximumAreBoundsConsistent) {
  for (bool isMax : {false, true}) {
    PropagatorCheck a;
    a.ranges = {{-3, 2}, {-1, 4}, {-4, 1}, {-2, 3}};
    a.build = [isMax](NuvCPManagerI* s, const Vars& v) {
      NuvCPIntVarI* xs[3] = {v[0], v[1], v[2]};
      return nuvCPNew<NuvCPArrayMinMaxI>(s->allocator(), s, isMax, v[3], 3, xs);
    };
    a.holds = [isMax](const std::vector<int>& v) {
      return v[3] == (isMax ? std::max({v[0], v[1], v[2]}) : std::min({v[0], v[1], v[2]}));
    };
    a.strength = S::Bounds;
    a.seed = 3;
    checkPropagator(a);
  }
}

// ---- sampled, functional relations --------------------------------------------------

// One variable's random domain: a subset of [lo, hi] of the given density,
// or the whole interval when it is wide.
struct DomSpec {
  int lo, hi;
  double density = 0.5;
};

// z = f(inputs), with f partial. The inputs' domains are small enough to
// enumerate; the output's may be anything. Checks that every solution
// survives post + fixpoint, that the post fails only without solutions, and
// that labelling any assignment of the remaining domains (sampled) succeeds
// only on solutions.
struct FunctionCheck {
  std::vector<DomSpec> inputs;
  DomSpec output;
  std::function<std::optional<std::int64_t>(const std::vector<int>&)> f;
  // Builds over the inputs then the output.
  std::function<NuvCPDaemonI*(NuvCPManagerI*, const Vars&)> build;
  int trials = 25;
  int samples = 150;
  unsigned seed = 11;
};

std::vector<int> randomDomain(const DomSpec& d, std::mt19937& rng) {
  std::vector<int> out;
  if (std::int64_t{d.hi} - d.lo > 10000) return out;  // interval, no list
  std::bernoulli_distribution in(d.density);
  for (std::int64_t v = d.lo; v <= d.hi; ++v)
    if (in(rng)) out.push_back(static_cast<int>(v));
  if (out.empty()) out.push_back(std::uniform_int_distribution<int>(d.lo, d.hi)(rng));
  return out;
}

NuvCPIntVarI* makeVar(NuvCPManagerI& store, const DomSpec& d, const std::vector<int>& vals) {
  PimAllocator* a = store.allocator();
  if (vals.empty()) return nuvCPNew<NuvCPCIntVarI>(a, a, &store, d.lo, d.hi);
  auto* x = nuvCPNew<NuvCPCIntVarI>(a, a, &store, vals.front(), vals.back());
  for (int v = vals.front(); v <= vals.back(); ++v)
    if (!std::binary_search(vals.begin(), vals.end(), v)) x->removeValue(v);
  return x;
}

void checkFunction(const FunctionCheck& c) {
  std::mt19937 rng(c.seed);
  for (int t = 0; t < c.trials; ++t) {
    PimArenaAllocator arena;
    NuvTrailI trail;
    NuvCPManagerI store(&arena, &trail);
    std::vector<std::vector<int>> doms;
    Vars xs;
    for (const DomSpec& d : c.inputs) {
      doms.push_back(randomDomain(d, rng));
      ASSERT_FALSE(doms.back().empty()) << "inputs must be enumerable";
      xs.push_back(makeVar(store, d, doms.back()));
    }
    const std::vector<int> outDom = randomDomain(c.output, rng);
    NuvCPIntVarI* z = makeVar(store, c.output, outDom);
    Vars all = xs;
    all.push_back(z);
    std::vector<std::vector<int>> solutions;
    checker_detail::enumerate(doms, [&](const std::vector<int>& a) {
      auto r = c.f(a);
      if (r && *r >= z->getMin() && *r <= z->getMax() && z->member(static_cast<int>(*r))) {
        solutions.push_back(a);
        solutions.back().push_back(static_cast<int>(*r));
      }
    });
    std::ostringstream where;
    where << "trial " << t << ":";
    for (NuvCPIntVarI* x : all) {
      where << " ";
      x->print(where);
    }
    trail.push();
    const int status = store.post(static_cast<NuvCPCstrI*>(c.build(&store, all)));
    if (status == NuvCPFailure || !store.isConsistent()) {
      EXPECT_TRUE(solutions.empty()) << "failed with " << solutions.size() << " solutions; "
                                     << where.str();
      continue;
    }
    for (const auto& s : solutions)
      for (std::size_t i = 0; i < all.size(); ++i)
        ASSERT_TRUE(all[i]->member(s[i])) << "pruned x" << i << "=" << s[i] << "; " << where.str();
    // Random full assignments of what is left, half of them solutions.
    for (int k = 0; k < c.samples; ++k) {
      std::vector<int> a;
      if (!solutions.empty() && k % 2 == 0) {
        a = solutions[std::uniform_int_distribution<std::size_t>(0, solutions.size() - 1)(rng)];
      } else {
        for (NuvCPIntVarI* x : all) {
          std::int64_t v = std::uniform_int_distribution<std::int64_t>(x->getMin(), x->getMax())(rng);
          while (!x->member(static_cast<int>(v))) --v;  // the minimum is a member
          a.push_back(static_cast<int>(v));
        }
      }
      std::vector<int> in(a.begin(), a.end() - 1);
      const auto r = c.f(in);
      const bool holds = r && *r == a.back();
      trail.push();
      bool alive = true;
      for (std::size_t i = 0; i < all.size() && alive; ++i)
        alive = store.label(all[i], a[i]) != NuvCPFailure;
      EXPECT_EQ(alive, holds) << (holds ? "rejected a solution" : "accepted a non-solution")
                              << " (last value " << a.back() << "); " << where.str();
      trail.pop();
      store.restartPropagation();
    }
    trail.pop();
  }
}

std::optional<std::int64_t> apply(Op op, std::int64_t a, std::int64_t b) {
  std::int64_t f;
  if (!NuvCPBinaryFunctionI::apply(op, a, b, f)) return std::nullopt;
  return f;
}

template <class P>
std::function<NuvCPDaemonI*(NuvCPManagerI*, const Vars&)> build3() {
  return [](NuvCPManagerI* s, const Vars& v) {
    return nuvCPNew<P>(s->allocator(), s, v[0], v[1], v[2]);
  };
}

std::function<NuvCPDaemonI*(NuvCPManagerI*, const Vars&)> buildFunction(Op op) {
  return [op](NuvCPManagerI* s, const Vars& v) {
    return nuvCPNew<NuvCPBinaryFunctionI>(s->allocator(), s, op, v[0], v[1], v[2]);
  };
}

TEST(ArithSampled, FunctionsOnDomainsTooLargeToEnumerate) {
  // More than NuvCPBinaryFunctionI::kEnumerate pairs: the bounds rules run.
  for (Op op : {Op::Div, Op::Mod, Op::Min, Op::Max}) {
    FunctionCheck c;
    c.inputs = {{-150, 150, 0.5}, {-60, 60, 0.6}};
    c.output = {-80, 80, 0.7};
    c.f = [op](const std::vector<int>& a) { return apply(op, a[0], a[1]); };
    c.build = buildFunction(op);
    checkFunction(c);
    c.output = {-200, 200, 0.9};
    c.inputs = {{-400, 400, 0.4}, {-30, 30, 0.6}};
    c.seed = 5;
    checkFunction(c);
  }
  FunctionCheck p;
  p.inputs = {{-700, 700, 0.6}, {-2, 12, 0.7}};
  p.output = {-5000, 5000, 0.9};
  p.f = [](const std::vector<int>& a) { return apply(Op::Pow, a[0], a[1]); };
  p.build = buildFunction(Op::Pow);
  checkFunction(p);
  p.inputs = {{-6, 3000, 0.5}, {0, 8, 0.8}};
  p.output = {kLo, kHi};
  checkFunction(p);
}

TEST(ArithSampled, ProductAndSumOnWideDomains) {
  FunctionCheck c;
  c.inputs = {{-60, 60, 0.3}, {-40, 40, 0.3}};
  c.output = {-300, 300, 0.8};
  c.f = [](const std::vector<int>& a) { return std::int64_t{a[0]} * a[1]; };
  c.build = build3<NuvCPMultI>();
  checkFunction(c);
  c.output = {kLo, kHi};
  checkFunction(c);
  c.f = [](const std::vector<int>& a) { return std::int64_t{a[0]} + a[1]; };
  c.build = build3<NuvCPTernaryEqualI>();
  c.output = {-50, 50, 0.5};
  checkFunction(c);
  FunctionCheck sq;
  sq.inputs = {{-3000, 3000, 0.4}};
  sq.output = {-100, 2000, 0.5};
  sq.f = [](const std::vector<int>& a) { return std::int64_t{a[0]} * a[0]; };
  sq.build = [](NuvCPManagerI* s, const Vars& v) {
    return nuvCPNew<NuvCPSquareI>(s->allocator(), s, v[0], v[1]);
  };
  checkFunction(sq);
}

TEST(ArithSampled, NothingWrapsAtTheEndsOfTheRange) {
  const std::vector<std::pair<DomSpec, DomSpec>> inputs = {
      {{kHi - 40, kHi, 0.5}, {-3, 3, 0.8}},
      {{kLo, kLo + 40, 0.5}, {-3, 3, 0.8}},
      {{kLo, kLo + 40, 0.5}, {kHi - 40, kHi, 0.5}},
      {{kHi - 40, kHi, 0.5}, {kHi - 40, kHi, 0.5}},
      {{32700, 32800, 0.5}, {32700, 32800, 0.5}},
      {{-32800, -32700, 0.5}, {32700, 32800, 0.5}},
  };
  const std::vector<DomSpec> outputs = {{kLo, kHi}, {kHi - 1000, kHi, 0.5}, {kLo, kLo + 1000, 0.5},
                                        {-50, 50, 0.5}};
  auto sum = [](const std::vector<int>& a) { return std::int64_t{a[0]} + a[1]; };
  auto product = [](const std::vector<int>& a) { return std::int64_t{a[0]} * a[1]; };
  for (const auto& [x, y] : inputs)
    for (const DomSpec& z : outputs) {
      FunctionCheck c;
      c.inputs = {x, y};
      c.output = z;
      c.trials = 6;
      c.samples = 60;
      c.f = product;
      c.build = build3<NuvCPMultI>();
      checkFunction(c);
      c.f = sum;
      c.build = build3<NuvCPTernaryEqualI>();
      checkFunction(c);
      for (Op op : {Op::Div, Op::Mod, Op::Min, Op::Max}) {
        c.f = [op](const std::vector<int>& a) { return apply(op, a[0], a[1]); };
        c.build = buildFunction(op);
        checkFunction(c);
      }
    }
}

// ---- single cases -----------------------------------------------------------------

class ArithCase : public ::testing::Test {
 protected:
  PimArenaAllocator arena;
  NuvTrailI trail;
  NuvCPManagerI store{&arena, &trail};
  NuvCPIntVarI* var(std::int64_t lo, std::int64_t hi) {
    return nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, lo, hi);
  }
  template <class P, class... A>
  P* make(A... a) {
    return nuvCPNew<P>(&arena, &store, a...);
  }
  static std::string show(const PimDataI* p) {
    std::ostringstream os;
    p->print(os);
    return os.str();
  }
};

TEST_F(ArithCase, LimitsOfTheRange) {
  // |min| = 2^30 - 1 is one beyond the largest value: abs drops it.
  NuvCPIntVarI* x = var(kLo, kLo + 1);
  NuvCPIntVarI* y = var(kLo, kHi);
  ASSERT_NE(store.post(make<NuvCPAbsI>(x, y)), NuvCPFailure);
  EXPECT_EQ(x->getMin(), kLo + 1);
  EXPECT_EQ(y->getMin(), kHi);
  // 32768^2 = 2^30 is beyond the range; 32767^2 is within it.
  NuvCPIntVarI* r = var(30000, 40000);
  ASSERT_NE(store.post(make<NuvCPSquareI>(r, var(kLo, kHi))), NuvCPFailure);
  EXPECT_EQ(r->getMax(), 32767);
  // 2^30 as well, by power: the exponent stops at 29.
  NuvCPIntVarI* e = var(0, 40);
  NuvCPIntVarI* p = var(kLo, kHi);
  ASSERT_NE(store.post(make<NuvCPBinaryFunctionI>(NuvCPBinaryFunctionI::Op::Pow, var(2, 2), e, p)),
            NuvCPFailure);
  EXPECT_EQ(e->getMax(), 29);
  EXPECT_EQ(p->getMax(), 1 << 29);
  // min div -1 = 2^30 - 1: no solution.
  EXPECT_EQ(store.post(make<NuvCPBinaryFunctionI>(NuvCPBinaryFunctionI::Op::Div, var(kLo, kLo),
                                                  var(-1, -1), var(kLo, kHi))),
            NuvCPFailure);
}

TEST_F(ArithCase, NoHolesInAVariableDeclaredOverAllIntegers) {
  // Holes would cost a bit array over 2^31 values; the ends still move and
  // the values between them are refused once bound.
  NuvCPIntVarI* x = var(kLo, kHi);
  ASSERT_EQ(store.post(make<NuvCPAbsI>(x, var(3, 3))), NuvCPSuspend);
  EXPECT_EQ(x->getMin(), -3);
  EXPECT_EQ(x->getMax(), 3);
  EXPECT_FALSE(x->hasDomain());
  trail.push();
  EXPECT_EQ(store.label(x, 0), NuvCPFailure);
  trail.pop();
  store.restartPropagation();
  EXPECT_NE(store.label(x, -3), NuvCPFailure);
}

TEST_F(ArithCase, SumOfTheExtremesFailsOrFits) {
  trail.push();
  EXPECT_EQ(store.post(make<NuvCPTernaryEqualI>(var(kHi, kHi), var(1, 5), var(kLo, kHi))),
            NuvCPFailure);
  trail.pop();
  NuvCPIntVarI* z = var(kLo, kHi);
  EXPECT_NE(store.post(make<NuvCPTernaryEqualI>(var(kLo, kLo), var(kHi, kHi), z)), NuvCPFailure);
  EXPECT_TRUE(z->isBound());
  EXPECT_EQ(z->getMin(), -1);
}

TEST_F(ArithCase, AHoleAtZeroInTheProductWakesIt) {
  NuvCPIntVarI* x = var(-5, 5);
  NuvCPIntVarI* y = var(-5, 5);
  NuvCPIntVarI* z = var(-4, 4);
  ASSERT_EQ(store.post(make<NuvCPMultI>(x, y, z)), NuvCPSuspend);
  EXPECT_TRUE(x->member(0));
  ASSERT_NE(z->removeValue(0), NuvCPFailure);
  ASSERT_EQ(store.propagate(), NuvCPSuspend);
  EXPECT_FALSE(x->member(0));
  EXPECT_FALSE(y->member(0));
  // y now has no 0: x within z / y, on both sides of 0.
  EXPECT_EQ(x->getMin(), -4);
  EXPECT_EQ(x->getMax(), 4);
}

TEST_F(ArithCase, EntailedOnceBoundAndPrinted) {
  NuvCPIntVarI* x = var(2, 3);
  NuvCPIntVarI* y = var(-4, -4);
  NuvCPIntVarI* z = var(-20, 20);
  auto* m = make<NuvCPMultI>(x, y, z);
  auto* s = make<NuvCPTernaryEqualI>(x, y, var(-10, 10));
  auto* sq = make<NuvCPSquareI>(y, z);
  EXPECT_EQ(show(m), "(2)[2..3] * -4 == (41)[-20..20]");
  EXPECT_EQ(show(s), "(2)[2..3] + -4 == (21)[-10..10]");
  EXPECT_EQ(show(sq), "-4 * -4 == (41)[-20..20]");
  ASSERT_EQ(store.post(m), NuvCPSuspend);
  EXPECT_EQ(z->getMin(), -12);
  EXPECT_EQ(z->getMax(), -8);
  ASSERT_EQ(store.label(x, 3), NuvCPSuspend);
  EXPECT_TRUE(z->isBound());
  EXPECT_EQ(z->getMin(), -12);
  EXPECT_FALSE(m->isEnabled());
  // 16 is not -12.
  EXPECT_EQ(store.post(sq), NuvCPFailure);
}

}  // namespace
