// Table and inverse: the search checker on random tables and arrays (no
// solution pruned, domain consistency for tables at every fixpoint along a
// complete search and random dives, restoration on backtracking), shared
// variables and views, the documented supports, and the language objects'
// argument errors.
#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "fd/NuvCPCIntVarI.h"
#include "fd/NuvCPInverseI.h"
#include "fd/NuvCPManagerI.h"
#include "fd/NuvCPModule.h"
#include "fd/NuvCPNative.h"
#include "fd/NuvCPTableI.h"
#include "host/PimError.h"
#include "host/Rav.h"
#include "tests/fd/PropagatorChecker.h"

namespace {

using nuvcheck::Assignment;
using nuvcheck::Consistency;
using nuvcheck::Vars;

enum class Algo { Residue, Compact };

NuvCPCstrI* makeTable(NuvCPManagerI& s, const Vars& v, const NuvCPTableData* t, Algo a) {
  if (a == Algo::Residue)
    return nuvCPNew<NuvCPTableCstrI>(s.allocator(), &s, v.data(), static_cast<int>(v.size()), t);
  return nuvCPNew<NuvCPCompactTableI>(s.allocator(), &s, v.data(), static_cast<int>(v.size()), t);
}

// `count` random tuples of `arity` values in lo..hi (duplicates kept).
std::vector<int> randomRows(std::mt19937& rng, int arity, int count, int lo, int hi) {
  std::uniform_int_distribution<int> val(lo, hi);
  std::vector<int> rows;
  for (int k = 0; k < count * arity; ++k) rows.push_back(val(rng));
  return rows;
}

bool inTable(const NuvCPTableData& t, const Assignment& a) {
  for (int r = 0; r < t.size(); ++r) {
    bool eq = true;
    for (int i = 0; i < t.arity() && eq; ++i) eq = t.value(i, r) == a[static_cast<std::size_t>(i)];
    if (eq) return true;
  }
  return false;
}

// Random tables of arity 2 to 4 from one tuple to dense ones; the domains
// reach a little beyond the table's values so that post has to cut them.
void checkRandomTables(Algo algo, unsigned seed) {
  std::mt19937 rng(seed);
  for (int round = 0; round < 24; ++round) {
    const int arity = 2 + round % 3;
    int space = 1;
    for (int i = 0; i < arity; ++i) space *= 4;
    const int count = round % 6 == 0 ? 1 : space * (15 + static_cast<int>(rng() % 45)) / 100;
    auto table = std::make_shared<NuvCPTableData>(arity, randomRows(rng, arity, count, 0, 3));
    nuvcheck::PropagatorChecker checker(
        nuvcheck::randomDomains(std::vector<std::pair<int, int>>(static_cast<std::size_t>(arity), {-1, 4}), 0.8),
        [table, algo](NuvCPManagerI& s, const Vars& v) { return s.post(makeTable(s, v, table.get(), algo)); },
        [table](const Assignment& a) { return inTable(*table, a); });
    nuvcheck::Options o;
    o.seed = seed + static_cast<unsigned>(round);
    o.trials = 120;
    o.consistency = Consistency::Domain;
    SCOPED_TRACE("round " + std::to_string(round));
    const nuvcheck::Stats st = checker.run(o);
    ASSERT_FALSE(::testing::Test::HasFailure());
    EXPECT_GT(st.trials, 0);
  }
}

TEST(Table, ResidueDomainConsistentAlongSearch) { checkRandomTables(Algo::Residue, 3); }
TEST(Table, CompactDomainConsistentAlongSearch) { checkRandomTables(Algo::Compact, 5); }

// Compact table over more than one word of tuples (the sparse word index,
// residues on other words, the buffer and reset updates).
TEST(Table, ResidueAndCompactReachTheSameFixpointInANetwork) {
  // Several tables over shared variables, posted once with each propagator
  // in two stores: after every decision both stores hold the same domains
  // (each propagator is domain consistent, so the network's fixpoint is
  // the same whichever runs).
  std::mt19937 rng(31);
  for (int round = 0; round < 60; ++round) {
    const int nv = 5, nt = 6;
    std::vector<std::shared_ptr<NuvCPTableData>> tables;
    std::vector<std::pair<int, int>> scopes;
    for (int k = 0; k < nt; ++k) {
      const int a = static_cast<int>(rng() % nv);
      int b = static_cast<int>(rng() % (nv - 1));
      if (b >= a) ++b;
      scopes.emplace_back(a, b);
      tables.push_back(std::make_shared<NuvCPTableData>(2, randomRows(rng, 2, 6 + static_cast<int>(rng() % 12), 0, 4)));
    }
    PimArenaAllocator arenaA, arenaB;
    NuvTrailI trailA, trailB;
    NuvCPManagerI sa(&arenaA, &trailA), sb(&arenaB, &trailB);
    std::vector<NuvCPIntVarI*> xa, xb;
    for (int i = 0; i < nv; ++i) {
      xa.push_back(nuvCPNew<NuvCPCIntVarI>(&arenaA, &arenaA, &sa, 0, 4));
      xb.push_back(nuvCPNew<NuvCPCIntVarI>(&arenaB, &arenaB, &sb, 0, 4));
    }
    bool failA = false, failB = false;
    for (int k = 0; k < nt; ++k) {
      Vars va = {xa[scopes[k].first], xa[scopes[k].second]};
      Vars vb = {xb[scopes[k].first], xb[scopes[k].second]};
      failA = failA || sa.post(makeTable(sa, va, tables[k].get(), Algo::Residue)) == NuvCPFailure;
      failB = failB || sb.post(makeTable(sb, vb, tables[k].get(), Algo::Compact)) == NuvCPFailure;
    }
    ASSERT_EQ(failA, failB) << "round " << round;
    if (failA) continue;
    auto same = [&](int step) {
      for (int i = 0; i < nv; ++i)
        for (int v = 0; v <= 4; ++v)
          ASSERT_EQ(xa[i]->member(v), xb[i]->member(v))
              << "round " << round << " step " << step << " x" << i << " value " << v;
    };
    same(-1);
    for (int step = 0; step < 8; ++step) {
      const int i = static_cast<int>(rng() % nv);
      if (xa[i]->isBound()) continue;
      const int kind = static_cast<int>(rng() % 3);
      const int v = xa[i]->getMin() + static_cast<int>(rng() % (xa[i]->getMax() - xa[i]->getMin() + 1));
      trailA.push();
      trailB.push();
      auto act = [&](NuvCPManagerI& s, NuvCPIntVarI* x) {
        int r = kind == 0 ? x->removeValue(v) : kind == 1 ? x->bind(v) : x->updateMin(v);
        if (r != NuvCPFailure) r = s.propagate();
        return r == NuvCPFailure;
      };
      const bool fa = act(sa, xa[i]), fb = act(sb, xb[i]);
      ASSERT_EQ(fa, fb) << "round " << round << " step " << step;
      if (fa) {
        trailA.pop();
        trailB.pop();
        sa.resetQueues();
        sb.resetQueues();
        same(step);
        continue;
      }
      same(step);
      if (HasFailure()) return;
    }
  }
}

TEST(Table, ReifiedIsSoundAndDecidesTheControl) {
  // b <=> (x, y[, z]) is a row, b last; random tables and domains, then one
  // variable in several positions (b among them too).
  std::mt19937 rng(12);
  for (int round = 0; round < 12; ++round) {
    const int arity = 2 + round % 2;
    auto table = std::make_shared<NuvCPTableData>(arity, randomRows(rng, arity, 3 + static_cast<int>(rng() % 8), 0, 2));
    auto post = [table, arity](NuvCPManagerI& s, const Vars& v) {
      return s.post(nuvCPNew<NuvCPTableReifI>(s.allocator(), &s, v.data(), arity, table.get(), v[static_cast<std::size_t>(arity)]));
    };
    auto holds = [table, arity](const Assignment& a) {
      const Assignment x(a.begin(), a.begin() + arity);
      return a[static_cast<std::size_t>(arity)] == (inTable(*table, x) ? 1 : 0);
    };
    std::vector<std::pair<int, int>> ranges(static_cast<std::size_t>(arity), {-1, 3});
    ranges.emplace_back(0, 1);
    nuvcheck::PropagatorChecker checker(nuvcheck::randomDomains(ranges, 0.8), post, holds);
    nuvcheck::Options o;
    o.seed = 40 + static_cast<unsigned>(round);
    o.trials = 80;
    SCOPED_TRACE("round " + std::to_string(round));
    const nuvcheck::Stats st = checker.run(o);
    ASSERT_FALSE(HasFailure());
    EXPECT_GT(st.trials, 0);
    if (arity != 2) continue;
    unsigned seed = 200 + static_cast<unsigned>(round);
    for (const nuvcheck::Filling& f : nuvcheck::sharedFillings(3, {0, 1})) {
      nuvcheck::Options so;
      so.seed = seed++;
      so.trials = 20;
      so.dives = 3;
      nuvcheck::checkShared(f, {{0, 2}, {0, 2}, {0, 1}}, post, holds, so);
      ASSERT_FALSE(HasFailure());
    }
  }
}

TEST(Table, CompactOverManyWordsAgreesWithTheRelation) {
  std::mt19937 rng(17);
  for (int round = 0; round < 6; ++round) {
    auto table = std::make_shared<NuvCPTableData>(3, randomRows(rng, 3, 150 + 40 * round, 0, 7));
    nuvcheck::PropagatorChecker checker(
        nuvcheck::randomDomains({{0, 7}, {0, 7}, {0, 7}}, 0.5),
        [table](NuvCPManagerI& s, const Vars& v) { return s.post(makeTable(s, v, table.get(), Algo::Compact)); },
        [table](const Assignment& a) { return inTable(*table, a); });
    nuvcheck::Options o;
    o.seed = 100 + static_cast<unsigned>(round);
    o.trials = 30;
    o.consistency = Consistency::Domain;
    const nuvcheck::Stats st = checker.run(o);
    ASSERT_FALSE(::testing::Test::HasFailure());
    EXPECT_GT(st.failures, 0);
  }
}

// One variable (or views of it) in several positions: a tuple counts only
// if its values respect the differences between those positions.
TEST(Table, SharedVariablesAndViewsStayDomainConsistent) {
  std::mt19937 rng(29);
  for (Algo algo : {Algo::Residue, Algo::Compact}) {
    auto table = std::make_shared<NuvCPTableData>(3, randomRows(rng, 3, 25, 0, 3));
    for (const nuvcheck::Filling& f : nuvcheck::sharedFillings(3, {0, 1, -1})) {
      nuvcheck::Options o;
      o.trials = 25;
      o.consistency = Consistency::Domain;
      nuvcheck::checkShared(
          f, {{0, 3}, {0, 3}, {0, 3}},
          [table, algo](NuvCPManagerI& s, const Vars& v) { return s.post(makeTable(s, v, table.get(), algo)); },
          [table](const Assignment& a) { return inTable(*table, a); }, o);
      ASSERT_FALSE(::testing::Test::HasFailure());
    }
  }
}

// Tables over values far apart get one slot per distinct value.
TEST(Table, ScatteredLargeValues) {
  std::vector<int> rows = {-1000000, 7, 1000000, 7, 5, -3, 1000000, -3};
  NuvCPTableData t(2, rows);
  EXPECT_EQ(t.slots(0), 3);
  EXPECT_EQ(t.slot(0, 0), -1);
  EXPECT_LT(t.bytes(), 200u);
  for (Algo algo : {Algo::Residue, Algo::Compact}) {
    PimArenaAllocator arena;
    NuvTrailI trail;
    NuvCPManagerI s(&arena, &trail);
    auto* x = nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &s, std::int64_t{-1000000}, std::int64_t{1000000});
    auto* y = nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &s, std::int64_t{-10}, std::int64_t{10});
    Vars v{x, y};
    ASSERT_NE(s.post(makeTable(s, v, &t, algo)), NuvCPFailure);
    EXPECT_EQ(x->getSize(), 3);
    EXPECT_EQ(y->getSize(), 2);
    trail.push();
    EXPECT_NE(s.diff(y, -3), NuvCPFailure);
    EXPECT_TRUE(x->member(-1000000) && !x->member(5) && x->member(1000000));
    trail.pop();
    EXPECT_TRUE(x->member(5));
  }
}

struct Small {
  PimArenaAllocator arena;
  NuvTrailI trail;
  NuvCPManagerI s{&arena, &trail};
  NuvCPIntVarI* var(int lo, int hi) { return nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &s, std::int64_t{lo}, std::int64_t{hi}); }
};

TEST(Table, SupportsAreTheLatestTuplesAndMoveOnRemoval) {
  NuvCPTableData t(2, {1, 1, 1, 2, 2, 2});
  Small w;
  NuvCPIntVarI* x = w.var(0, 5);
  NuvCPIntVarI* y = w.var(0, 5);
  Vars v{x, y};
  auto* c = static_cast<NuvCPTableCstrI*>(makeTable(w.s, v, &t, Algo::Residue));
  ASSERT_EQ(w.s.post(c), NuvCPSuspend);
  EXPECT_EQ(c->supportOf(0, 1), 1);  // (1,2), the later tuple holding x = 1
  EXPECT_EQ(c->supportOf(1, 2), 2);  // (2,2)
  EXPECT_EQ(c->supportOf(1, 1), 0);
  w.trail.push();
  ASSERT_NE(w.s.diff(y, 2), NuvCPFailure);
  EXPECT_EQ(c->supportOf(0, 1), 0);
  EXPECT_TRUE(x->isBound() && x->getMin() == 1);
  w.trail.pop();
  EXPECT_EQ(c->supportOf(0, 1), 1);
  EXPECT_EQ(x->getSize(), 2);
}

TEST(Table, PostCutsToTheTableAndFailsOutsideIt) {
  NuvCPTableData one(2, {1, 2});
  for (Algo algo : {Algo::Residue, Algo::Compact}) {
    Small w;
    NuvCPIntVarI* x = w.var(0, 5);
    NuvCPIntVarI* y = w.var(0, 5);
    Vars v{x, y};
    ASSERT_NE(w.s.post(makeTable(w.s, v, &one, algo)), NuvCPFailure);
    EXPECT_TRUE(x->isBound() && x->getMin() == 1 && y->isBound() && y->getMin() == 2);
    Small u;
    Vars far{u.var(3, 5), u.var(0, 5)};
    EXPECT_EQ(u.s.post(makeTable(u.s, far, &one, algo)), NuvCPFailure);
  }
}

TEST(Table, PrintsTheVariablesSideBySide) {
  NuvCPTableData t(2, {3, 4, 3, 5});
  Small w;
  NuvCPIntVarI* x = w.var(3, 3);
  NuvCPIntVarI* y = w.var(4, 5);
  Vars v{x, y};
  for (Algo algo : {Algo::Residue, Algo::Compact}) {
    std::ostringstream want, got;
    want << "table(";
    x->print(want);
    y->print(want);
    want << ")";
    makeTable(w.s, v, &t, algo)->print(got);
    EXPECT_EQ(got.str(), want.str());
  }
}

// ---- inverse ------------------------------------------------------------------

bool inverseHolds(const Assignment& a, int lowX, int nX, int lowY) {
  const int nY = static_cast<int>(a.size()) - nX;
  for (int i = 0; i < nX; ++i) {
    const int j = a[static_cast<std::size_t>(i)];
    if (j < lowY || j >= lowY + nY || a[static_cast<std::size_t>(nX + j - lowY)] != lowX + i) return false;
  }
  for (int j = 0; j < nY; ++j) {
    const int i = a[static_cast<std::size_t>(nX + j)];
    if (i < lowX || i >= lowX + nX || a[static_cast<std::size_t>(i - lowX)] != lowY + j) return false;
  }
  return true;
}

NuvCPCstrI* makeInverse(NuvCPManagerI& s, const Vars& v, int lowX, int nX, int lowY) {
  return nuvCPNew<NuvCPInverseI>(s.allocator(), &s, lowX, nX, v.data(), lowY,
                                 static_cast<int>(v.size()) - nX, v.data() + nX);
}

// Arrays starting at 0, 1 or elsewhere, of equal and unequal lengths (the
// latter have no solution), domains reaching past the index ranges.
TEST(Inverse, SoundAlongSearchWithAnyIndexBase) {
  struct Shape {
    int lowX, nX, lowY, nY;
  };
  for (Shape sh : {Shape{1, 3, 1, 3}, Shape{0, 3, 0, 3}, Shape{0, 4, 2, 4}, Shape{-1, 2, 5, 2}, Shape{1, 2, 1, 3}}) {
    std::vector<std::pair<int, int>> ranges;
    for (int i = 0; i < sh.nX; ++i) ranges.push_back({sh.lowY - 1, sh.lowY + sh.nY});
    for (int j = 0; j < sh.nY; ++j) ranges.push_back({sh.lowX - 1, sh.lowX + sh.nX});
    nuvcheck::PropagatorChecker checker(
        nuvcheck::randomDomains(ranges, 0.8),
        [sh](NuvCPManagerI& s, const Vars& v) { return s.post(makeInverse(s, v, sh.lowX, sh.nX, sh.lowY)); },
        [sh](const Assignment& a) { return inverseHolds(a, sh.lowX, sh.nX, sh.lowY); });
    nuvcheck::Options o;
    o.trials = 150;
    o.maxAssignments = 20000;
    SCOPED_TRACE("lowX " + std::to_string(sh.lowX) + " lowY " + std::to_string(sh.lowY));
    const nuvcheck::Stats st = checker.run(o);
    ASSERT_FALSE(::testing::Test::HasFailure());
    if (sh.nX == sh.nY) {
      EXPECT_GT(st.solutions, 0);
    }
  }
}

// A variable in both arrays, at the same index or not, and views of it.
TEST(Inverse, SharedVariablesAndViews) {
  for (const nuvcheck::Filling& f : nuvcheck::sharedFillings(4, {0, 1})) {
    nuvcheck::Options o;
    o.trials = 30;
    nuvcheck::checkShared(
        f, {{1, 2}, {1, 2}, {1, 2}, {1, 2}},
        [](NuvCPManagerI& s, const Vars& v) { return s.post(makeInverse(s, v, 1, 2, 1)); },
        [](const Assignment& a) { return inverseHolds(a, 1, 2, 1); }, o);
    ASSERT_FALSE(::testing::Test::HasFailure());
  }
}

// Only removals are mirrored: x1 = 2 empties 1 from y1 but does not bind
// y2; a second post changes nothing.
TEST(Inverse, MirrorsRemovalsOnlyAndPostsOnce) {
  Small w;
  NuvCPIntVarI* x1 = w.var(2, 2);
  NuvCPIntVarI* x2 = w.var(1, 2);
  NuvCPIntVarI* y1 = w.var(1, 2);
  NuvCPIntVarI* y2 = w.var(1, 2);
  Vars v{x1, x2, y1, y2};
  NuvCPCstrI* c = makeInverse(w.s, v, 1, 2, 1);
  ASSERT_EQ(w.s.post(c), NuvCPSuspend);
  EXPECT_TRUE(y1->isBound() && y1->getMin() == 2);
  EXPECT_EQ(x2->getSize(), 2);
  EXPECT_EQ(y2->getSize(), 2);
  EXPECT_EQ(c->post(0), NuvCPSuspend);
  std::ostringstream os;
  c->print(os);
  EXPECT_EQ(os.str().rfind("inverse([", 0), 0u);
}

// ---- language objects ------------------------------------------------------------

class TableLanguage : public ::testing::Test {
 protected:
  TableLanguage() {
    program.getMgr()->setTraceLevel(-1);
    nuvfdModuleRegistry(&program, nullptr);
    store = rt.create("CP$Store", 0);
  }
  NuvNativeObject* var(int lo, int hi) {
    rt.push(store);
    rt.push(lo);
    rt.push(hi);
    return rt.create("CP$VarInt", 3);
  }
  NuvNativeObject* table(int arity, std::vector<std::int64_t> values) {
    rt.push(arity);
    rt.push(RavIntArray{1, std::move(values)});
    return rt.create("CP$Table", 2);
  }
  template <class E>
  std::string errorOf(const std::function<void()>& f) {
    try {
      f();
    } catch (const E& e) {
      return e.message();
    }
    return "(no error)";
  }
  RavProgram program;
  RavRuntime rt{program};
  NuvNativeObject* store = nullptr;
};

TEST_F(TableLanguage, TableArgumentsAreChecked) {
  EXPECT_NE(errorOf<PimExecutionError>([&] { table(3, {1, 2, 3, 4}); }).find("do not make rows of 3"),
            std::string::npos);
  EXPECT_NE(errorOf<PimExecutionError>([&] { table(2, {}); }).find("no tuples"), std::string::npos);
  EXPECT_NE(errorOf<PimExecutionError>([&] { table(0, {1}); }).find("arity"), std::string::npos);
  NuvNativeObject* t = table(2, {1, 2, 2, 1});
  EXPECT_EQ(rt.call(t, "getSize", 0).asInt(), 2);
  NuvNativeObject* x = var(0, 3);
  NuvNativeObject* y = var(0, 3);
  NuvNativeObject* z = var(0, 3);
  rt.push(RavObjectArray{1, {x, y, z}});
  rt.push(t);
  EXPECT_NE(errorOf<PimExecutionError>([&] { rt.create("CP$TableCstr", 2); }).find("3 variables for a table of arity 2"),
            std::string::npos);
  rt.push(RavObjectArray{1, {x, y}});
  rt.push(t);
  NuvNativeObject* c = rt.create("CP$TableCstr", 2);
  rt.push(c);
  EXPECT_EQ(rt.call(store, "post", 1).asInt(), NuvCPSuspend);
  EXPECT_EQ(rt.call(x, "getSize", 0).asInt(), 2);
}

TEST_F(TableLanguage, InverseNullArrays) {
  NuvNativeObject* x = var(1, 2);
  rt.push(RavValue());
  rt.push(RavObjectArray{1, {x}});
  EXPECT_EQ(errorOf<PimNullPointerError>([&] { rt.create("CP$Inverse", 2); }), "Inverse(null,...)");
  rt.push(RavObjectArray{1, {x}});
  rt.push(RavValue());
  EXPECT_EQ(errorOf<PimNullPointerError>([&] { rt.create("CP$Inverse", 2); }), "Inverse(...,null)");
  NuvNativeObject* y = var(0, 5);
  rt.push(RavObjectArray{0, {x}});
  rt.push(RavObjectArray{2, {y}});
  NuvNativeObject* c = rt.create("CP$Inverse", 2);
  rt.push(c);
  EXPECT_EQ(rt.call(store, "post", 1).asInt(), NuvCPSuspend);
  EXPECT_EQ(rt.call(x, "toString", 0).asString(), "2");
  EXPECT_EQ(rt.call(y, "toString", 0).asString(), "0");
}

}  // namespace
