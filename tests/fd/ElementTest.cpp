// Element propagators: exhaustive soundness on small random instances (every
// solution of the relation survives every fixpoint, also after random
// narrowings inside choice points), domain consistency where the propagator
// promises it, restoration on backtracking, and the documented cases.
#include <gtest/gtest.h>

#include <climits>
#include <functional>
#include <memory>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "fd/NuvCPCIntVarI.h"
#include "fd/NuvCPElementI.h"
#include "fd/NuvCPManagerI.h"
#include "host/NuvTrail.h"
#include "host/PimAllocator.h"
#include "host/PimError.h"

namespace {

using Dom = std::vector<int>;
using Tuple = std::vector<int>;
using Relation = std::function<bool(const Tuple&)>;

// One store and its variables; fresh per instance.
struct World {
  PimArenaAllocator arena;
  NuvTrailI trail;
  NuvCPManagerI store{&arena, &trail};
  std::vector<NuvCPIntVarI*> vars;

  NuvCPIntVarI* var(const Dom& d) {
    auto* x = nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, d.front(), d.back());
    for (int v = d.front(); v <= d.back(); ++v)
      if (!std::binary_search(d.begin(), d.end(), v)) x->removeValue(v);
    vars.push_back(x);
    return x;
  }
  std::vector<Dom> domains() const {
    std::vector<Dom> ds;
    for (const NuvCPIntVarI* x : vars) {
      Dom d;
      for (int v = x->getMin(); v <= x->getMax(); ++v)
        if (x->member(v)) d.push_back(v);
      ds.push_back(d);
    }
    return ds;
  }
};

// Every tuple of the product of `ds` that satisfies `rel`.
std::vector<Tuple> solutions(const std::vector<Dom>& ds, const Relation& rel) {
  std::vector<Tuple> out;
  Tuple t(ds.size());
  std::function<void(std::size_t)> go = [&](std::size_t k) {
    if (k == ds.size()) {
      if (rel(t)) out.push_back(t);
      return;
    }
    for (int v : ds[k]) {
      t[k] = v;
      go(k + 1);
    }
  };
  go(0);
  return out;
}

std::string show(const std::vector<Dom>& ds) {
  std::ostringstream os;
  for (const Dom& d : ds) {
    os << "{";
    for (int v : d) os << v << " ";
    os << "} ";
  }
  return os.str();
}

enum class Level { Sound, Domain };

// Checks the store's state against the solutions of `rel` over `before` (the
// domains the propagation started from). `failed`: the store reported failure.
void checkState(World& w, const std::vector<Dom>& before, const Relation& rel, bool failed,
                Level level, const std::string& where) {
  const std::vector<Tuple> sols = solutions(before, rel);
  if (failed) {
    ASSERT_TRUE(sols.empty()) << where << ": failure with solutions over " << show(before);
    return;
  }
  const std::vector<Dom> now = w.domains();
  for (const Tuple& t : sols)
    for (std::size_t k = 0; k < t.size(); ++k)
      ASSERT_TRUE(std::binary_search(now[k].begin(), now[k].end(), t[k]))
          << where << ": var " << k << " lost " << t[k] << " from " << show(before) << "-> "
          << show(now);
  if (level != Level::Domain) return;
  ASSERT_FALSE(sols.empty()) << where << ": no solution left but no failure: " << show(now);
  std::vector<std::set<int>> supported(now.size());
  for (const Tuple& t : sols)
    for (std::size_t k = 0; k < t.size(); ++k) supported[k].insert(t[k]);
  for (std::size_t k = 0; k < now.size(); ++k)
    for (int v : now[k])
      ASSERT_TRUE(supported[k].count(v))
          << where << ": var " << k << " keeps unsupported " << v << " in " << show(now);
}

// Posts through `make`, checks the fixpoint, then dives: random narrowings in
// nested choice points, each followed by the fixpoint and a check, and
// finally checks that backtracking restores the domains of the post.
void dive(World& w, const Relation& rel, Level level, std::mt19937& rng, const std::string& name) {
  int r = NuvCPSuspend;
  const std::vector<Dom> posted = w.domains();
  for (int dive = 0; dive < 3; ++dive) {
    for (int step = 0; step < 6; ++step) {
      std::vector<Dom> before = w.domains();
      std::size_t k = rng() % before.size();
      Dom& d = before[k];
      if (d.size() <= 1) continue;
      w.trail.push();
      const int v = d[rng() % d.size()];
      NuvCPIntVarI* x = w.vars[k];
      int op = static_cast<int>(rng() % 4);
      switch (op) {
        case 0: r = x->removeValue(v); std::erase(d, v); break;
        case 1: r = x->updateMin(v); std::erase_if(d, [&](int u) { return u < v; }); break;
        case 2: r = x->updateMax(v); std::erase_if(d, [&](int u) { return u > v; }); break;
        default: r = x->bind(v); d = {v}; break;
      }
      if (r == NuvCPFailure)
        w.store.resetQueues();
      else
        r = w.store.propagate();
      checkState(w, before, rel, r == NuvCPFailure, level,
                 name + " dive " + std::to_string(dive) + " op " + std::to_string(op));
      if (r == NuvCPFailure || ::testing::Test::HasFatalFailure()) break;
    }
    w.trail.popTo(0);
    ASSERT_EQ(w.domains(), posted) << name << ": backtracking did not restore the post's domains";
  }
}

void exercise(World& w, const std::function<NuvCPCstrI*(World&)>& make, const Relation& rel,
              Level level, std::mt19937& rng, const std::string& name) {
  const std::vector<Dom> initial = w.domains();
  const int r = w.store.post(make(w));
  checkState(w, initial, rel, r == NuvCPFailure, level, name + " post");
  if (r == NuvCPFailure || ::testing::Test::HasFatalFailure()) return;
  dive(w, rel, level, rng, name);
}

Dom randomDom(std::mt19937& rng, int lo, int hi) {
  Dom d;
  while (d.empty())
    for (int v = lo; v <= hi; ++v)
      if (rng() % 3 != 0) d.push_back(v);
  return d;
}

std::vector<std::int32_t> randomArray(std::mt19937& rng, int n, int lo, int hi) {
  std::vector<std::int32_t> a(n);
  for (int& v : a) v = lo + static_cast<int>(rng() % static_cast<unsigned>(hi - lo + 1));
  return a;
}

Dom range(int lo, int hi) {
  Dom d;
  for (int v = lo; v <= hi; ++v) d.push_back(v);
  return d;
}

std::string str(const PimDataI& d) {
  std::ostringstream os;
  d.print(os);
  return os.str();
}

// ---- over a constant array ------------------------------------------------------------

// Instances: variables (x, z); indices from `low`, x reaching one beyond each end.
template <class C>
void constantArrayRuns(Level level, unsigned seed) {
  std::mt19937 rng(seed);
  for (int inst = 0; inst < 300; ++inst) {
    const int n = 1 + static_cast<int>(rng() % 5);
    const int low = static_cast<int>(rng() % 3) - 1;  // 0-based, 1-based (FlatZinc), -1
    std::vector<std::int32_t> a = randomArray(rng, n, -3, 3);
    World w;
    w.var(randomDom(rng, low - 1, low + n));
    w.var(randomDom(rng, -4, 4));
    Relation rel = [&](const Tuple& t) {
      return t[0] >= low && t[0] < low + n && a[t[0] - low] == t[1];
    };
    exercise(
        w,
        [&](World& ww) {
          return nuvCPNew<C>(&ww.arena, &ww.store, NuvCPIntTable{low, n, a.data()}, ww.vars[1],
                             ww.vars[0]);
        },
        rel, level, rng, "instance " + std::to_string(inst));
    if (::testing::Test::HasFatalFailure()) return;
  }
}

TEST(ElementBC, SoundOnRandomInstances) { constantArrayRuns<NuvCPElementBCI>(Level::Sound, 11); }

TEST(ElementAC, DomainConsistentOnRandomInstances) {
  constantArrayRuns<NuvCPElementACI>(Level::Domain, 12);
}

// Every index left has its value inside z's bounds, at every fixpoint.
TEST(ElementBC, IndicesLeftLieWithinTheBoundsOfZ) {
  std::mt19937 rng(5);
  for (int inst = 0; inst < 200; ++inst) {
    const int n = 2 + static_cast<int>(rng() % 5);
    std::vector<std::int32_t> a = randomArray(rng, n, -4, 4);
    World w;
    NuvCPIntVarI* x = w.var(randomDom(rng, 0, n - 1));
    NuvCPIntVarI* z = w.var(randomDom(rng, -3, 3));
    if (w.store.post(nuvCPNew<NuvCPElementBCI>(&w.arena, &w.store, NuvCPIntTable{0, n, a.data()}, z,
                                                x)) == NuvCPFailure)
      continue;
    for (int i = x->getMin(); i <= x->getMax(); ++i)
      if (x->member(i)) {
        EXPECT_GE(a[i], z->getMin());
        EXPECT_LE(a[i], z->getMax());
      }
  }
}

TEST(ElementBC, ScanPositionsNarrowZInTwoRuns) {
  World w;
  NuvCPIntVarI* x = w.var({0, 1, 2});
  NuvCPIntVarI* z = w.var({2, 3, 4, 5, 6, 7, 8, 9, 10});
  std::int32_t a[] = {5, 1, 3};
  auto* c = nuvCPNew<NuvCPElementBCI>(&w.arena, &w.store, NuvCPIntTable{0, 3, a}, z, x);
  // The first run only sees the supports of x at post time.
  ASSERT_EQ(c->post(0), NuvCPSuspend);
  EXPECT_EQ(str(*z), "(4)[2..5]");
  EXPECT_FALSE(x->member(1));
  // The removal of index 1 queued the propagator again.
  ASSERT_EQ(w.store.propagate(), NuvCPSuspend);
  EXPECT_EQ(str(*z), "(3)[3..5]");
  EXPECT_EQ(str(*c), "(3)[3..5] =BC [5,1,3][(DOM:2)[0,2]]");
}

TEST(ElementBC, BoundIndexBindsZAndSwitchesOff) {
  World w;
  NuvCPIntVarI* x = w.var({2});
  NuvCPIntVarI* z = w.var({0, 1, 2, 3, 4, 5, 6, 7, 8, 9});
  std::int32_t a[] = {5, 1, 3};
  auto* c = nuvCPNew<NuvCPElementBCI>(&w.arena, &w.store, NuvCPIntTable{0, 3, a}, z, x);
  EXPECT_NE(w.store.post(c), NuvCPFailure);
  EXPECT_EQ(z->getMin(), 3);
  EXPECT_TRUE(z->isBound());
  EXPECT_FALSE(c->isEnabled());
}

// Entries whose differences overflow 32 bits: the order must still be the
// true one, or the scans would stop at the wrong pairs.
TEST(ElementBC, EntriesFarApartAreOrderedCorrectly) {
  World w;
  NuvCPIntVarI* x = w.var({0, 1, 2, 3});
  NuvCPIntVarI* z = w.var(range(-10, 10));
  std::int32_t a[] = {2000000000, -2000000000, 7, INT32_MIN};
  ASSERT_NE(w.store.post(nuvCPNew<NuvCPElementBCI>(&w.arena, &w.store, NuvCPIntTable{0, 4, a}, z, x)),
            NuvCPFailure);
  EXPECT_TRUE(x->isBound());
  EXPECT_EQ(x->getMin(), 2);
  EXPECT_EQ(z->getMin(), 7);
  EXPECT_TRUE(z->isBound());
}

TEST(ElementAC, ValueRangeTooLargeIsAnError) {
  World w;
  NuvCPIntVarI* x = w.var({0, 1});
  NuvCPIntVarI* z = w.var({-5, 5});
  std::int32_t a[] = {-2000000000, 2000000000};
  auto* c = nuvCPNew<NuvCPElementACI>(&w.arena, &w.store, NuvCPIntTable{0, 2, a}, z, x);
  try {
    c->post(0);
    FAIL() << "no error";
  } catch (const PimExecutionError& e) {
    EXPECT_EQ(e.message(), "value range in element constraint is too large");
  }
  // The span counts only the indices x can still take: no error here, and
  // the one entry left is beyond z.
  World v;
  NuvCPIntVarI* x1 = v.var({1});
  NuvCPIntVarI* z1 = v.var({-5, 5});
  EXPECT_EQ(v.store.post(nuvCPNew<NuvCPElementACI>(&v.arena, &v.store, NuvCPIntTable{0, 2, a}, z1, x1)),
            NuvCPFailure);
}

TEST(ElementAC, PrintForm) {
  World w;
  NuvCPIntVarI* x = w.var({1, 2, 3});
  NuvCPIntVarI* z = w.var({0, 1, 2, 3, 4, 5, 6, 7, 8, 9});
  std::int32_t a[] = {4, 8, 4};
  auto* c = nuvCPNew<NuvCPElementACI>(&w.arena, &w.store, NuvCPIntTable{1, 3, a}, z, x);
  ASSERT_EQ(w.store.post(c), NuvCPSuspend);
  EXPECT_EQ(str(*c), "(DOM:2)[4,8] =AC [4,8,4][[(3)[1..3]]]");
}

// The adapter's argument order (table indexed from low, then x, then z), as
// the front end uses it for 1-based FlatZinc arrays.
TEST(ElementBC, BuiltThroughTheElementAdapter) {
  World w;
  NuvCPIntVarI* x = w.var({0, 1, 2, 3, 4});
  NuvCPIntVarI* z = w.var({6, 7, 8, 9});
  const int table[] = {9, 2, 7};
  NuvCPCstrElementAdapter<NuvCPElementACI> ad(&w.arena, 1, 3, table, x, z);
  EXPECT_EQ(ad.build(&w.store), NuvCPSuspend);
  EXPECT_EQ(str(*x), "(DOM:2)[1,3]");
  EXPECT_EQ(str(*z), "(DOM:2)[7,9]");
}

// ---- over an array of variables --------------------------------------------------------

// Variables: x, z, then the array (0/1 domains included: Boolean arrays go
// through the same interface).
template <class C>
void variableArrayRuns(Level level, unsigned seed, bool sorted) {
  std::mt19937 rng(seed);
  for (int inst = 0; inst < 250; ++inst) {
    const int n = 1 + static_cast<int>(rng() % 4);
    const int low = static_cast<int>(rng() % 2);
    const bool boolean = rng() % 4 == 0;
    World w;
    w.var(randomDom(rng, low - 1, low + n));
    w.var(boolean ? randomDom(rng, 0, 1) : randomDom(rng, -2, 2));
    for (int i = 0; i < n; ++i) w.var(boolean ? randomDom(rng, 0, 1) : randomDom(rng, -2, 2));
    Relation rel = [&](const Tuple& t) {
      if (t[0] < low || t[0] >= low + n || t[2 + t[0] - low] != t[1]) return false;
      if (sorted)
        for (int i = 1; i < n; ++i)
          if (t[2 + i - 1] > t[2 + i]) return false;
      return true;
    };
    exercise(
        w,
        [&](World& ww) {
          return nuvCPNew<C>(&ww.arena, &ww.store, low, n, ww.vars.data() + 2, ww.vars[1], ww.vars[0]);
        },
        rel, level, rng, "instance " + std::to_string(inst));
    if (::testing::Test::HasFatalFailure()) return;
  }
}

TEST(ElementVarBC, SoundOnRandomInstances) {
  variableArrayRuns<NuvCPElementVarBCI>(Level::Sound, 21, false);
}
TEST(ElementVarAC, DomainConsistentOnRandomInstances) {
  variableArrayRuns<NuvCPElementVarACI>(Level::Domain, 22, false);
}
TEST(ElementVarSorted, SoundOnRandomInstances) {
  variableArrayRuns<NuvCPElementVarSortedI>(Level::Sound, 23, true);
}

TEST(ElementVarSorted, KeepsTheArraySortedAndCutsTheIndexAtBothEnds) {
  World w;
  NuvCPIntVarI* x = w.var({0, 1, 2, 3});
  NuvCPIntVarI* z = w.var({4, 5, 6});
  NuvCPIntVarI* v0 = w.var({0, 1, 2, 3});
  NuvCPIntVarI* v1 = w.var({0, 1, 2, 3, 4, 5, 6, 7, 8, 9});
  NuvCPIntVarI* v2 = w.var({5, 6, 7, 8, 9});
  NuvCPIntVarI* v3 = w.var({7, 8, 9});
  NuvCPIntVarI* vs[] = {v0, v1, v2, v3};
  auto* c = nuvCPNew<NuvCPElementVarSortedI>(&w.arena, &w.store, 0, 4, vs, z, x);
  ASSERT_EQ(w.store.post(c), NuvCPSuspend);
  EXPECT_EQ(str(*x), "(2)[1..2]");
  EXPECT_EQ(str(*v1), "(7)[0..6]");   // v1 <= v2 <= max of v3, and v1 <= z
  EXPECT_EQ(str(*v2), "(5)[5..9]");   // already at least z's min
  EXPECT_EQ(str(*c), "ElementVarSorted((3)[4..6],[(4)[0..3],(7)[0..6],(5)[5..9],(3)[7..9]],(2)[1..2])");
  // Fixing z above v1's new max leaves index 2 only: z and v2 meet.
  ASSERT_EQ(w.store.label(z, 6), NuvCPSuspend);
  ASSERT_EQ(w.store.gthen(v1, 5), NuvCPSuspend);  // v1 = 6 = z: both indices still fit
  EXPECT_EQ(str(*x), "(2)[1..2]");
  ASSERT_EQ(w.store.label(v2, 7), NuvCPSuspend);
  EXPECT_EQ(str(*x), "1");
}

// ---- over constant grids ------------------------------------------------------------------

TEST(Element2D, IndicesDomainConsistentOnRandomInstances) {
  std::mt19937 rng(31);
  for (int inst = 0; inst < 250; ++inst) {
    const int rows = 1 + static_cast<int>(rng() % 3), cols = 1 + static_cast<int>(rng() % 4);
    const int xl = static_cast<int>(rng() % 2), yl = static_cast<int>(rng() % 2);
    std::vector<std::int32_t> a = randomArray(rng, rows * cols, -3, 3);
    World w;
    w.var(randomDom(rng, xl - 1, xl + rows));
    w.var(randomDom(rng, yl, yl + cols));
    w.var(randomDom(rng, -3, 3));
    Relation rel = [&](const Tuple& t) {
      return t[0] >= xl && t[0] < xl + rows && t[1] >= yl && t[1] < yl + cols &&
             a[(t[0] - xl) * cols + t[1] - yl] == t[2];
    };
    // x and y domain consistent; z sound with supported bounds.
    std::vector<Dom> initial = w.domains();
    int r = w.store.post(nuvCPNew<NuvCPElement2DI>(&w.arena, &w.store, xl, rows, yl, cols, a.data(),
                                                   w.vars[2], w.vars[0], w.vars[1]));
    checkState(w, initial, rel, r == NuvCPFailure, Level::Sound, "2D " + std::to_string(inst));
    if (r == NuvCPFailure) continue;
    std::vector<Tuple> sols = solutions(w.domains(), rel);
    ASSERT_FALSE(sols.empty());
    std::set<int> sx, sy, sz;
    for (const Tuple& t : sols) {
      sx.insert(t[0]);
      sy.insert(t[1]);
      sz.insert(t[2]);
    }
    std::vector<Dom> now = w.domains();
    EXPECT_EQ(std::set<int>(now[0].begin(), now[0].end()), sx);
    EXPECT_EQ(std::set<int>(now[1].begin(), now[1].end()), sy);
    EXPECT_TRUE(sz.count(now[2].front()) && sz.count(now[2].back()));
    dive(w, rel, Level::Sound, rng, "2D dive " + std::to_string(inst));
    if (::testing::Test::HasFatalFailure()) return;
  }
}

TEST(Element3D, SoundOnRandomInstances) {
  std::mt19937 rng(32);
  for (int inst = 0; inst < 150; ++inst) {
    const int nx = 1 + static_cast<int>(rng() % 3), ny = 1 + static_cast<int>(rng() % 2),
              nw = 1 + static_cast<int>(rng() % 3);
    std::vector<std::int32_t> a = randomArray(rng, nx * ny * nw, -2, 2);
    World w;
    w.var(randomDom(rng, 0, nx));
    w.var(randomDom(rng, 1, ny));
    w.var(randomDom(rng, 0, nw - 1));
    w.var(randomDom(rng, -2, 2));
    Relation rel = [&](const Tuple& t) {
      return t[0] < nx && t[1] >= 1 && t[1] <= ny && a[(t[0] * ny + t[1] - 1) * nw + t[2]] == t[3];
    };
    exercise(
        w,
        [&](World& ww) {
          return nuvCPNew<NuvCPElement3DI>(&ww.arena, &ww.store, 0, nx, 1, ny, 0, nw, a.data(),
                                           ww.vars[3], ww.vars[0], ww.vars[1], ww.vars[2]);
        },
        rel, Level::Sound, rng, "3D " + std::to_string(inst));
    if (::testing::Test::HasFatalFailure()) return;
  }
}

TEST(Element2D, PrintFormAndEntailment) {
  World w;
  NuvCPIntVarI* x = w.var({0, 1});
  NuvCPIntVarI* y = w.var({0, 1, 2});
  NuvCPIntVarI* z = w.var({5, 6, 7, 8, 9});
  std::int32_t a[] = {1, 5, 2, 9, 3, 7};
  auto* c = nuvCPNew<NuvCPElement2DI>(&w.arena, &w.store, 0, 2, 0, 3, a, z, x, y);
  ASSERT_EQ(w.store.post(c), NuvCPSuspend);
  EXPECT_EQ(str(*c), "(5)[5..9] =BC [[1,5,2],[9,3,7]][(2)[0..1],(3)[0..2]]");
  EXPECT_EQ(w.store.diff(z, 5), NuvCPSuspend);  // column 1 keeps 3 only, below z
  EXPECT_EQ(str(*y), "(DOM:2)[0,2]");
  ASSERT_EQ(w.store.label(x, 1), NuvCPSuspend);
  EXPECT_EQ(w.store.label(y, 2), NuvCPSuspend);
  EXPECT_TRUE(z->isBound());
  EXPECT_EQ(z->getMin(), 7);
  EXPECT_FALSE(c->isEnabled());
}

}  // namespace
