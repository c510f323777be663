// Set relations element by element: on small universes every assignment
// of subsets is enumerated, and after posting and after each random
// decision (with backtracking) no solution is lost, a bound state is a
// solution, and the bounds are exactly the solutions' intersection and
// union (bounds consistency); also with one variable at two positions.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "fd/NuvCPIntSetVarI.h"
#include "fd/NuvCPManagerI.h"
#include "fd/NuvCPSetRelationI.h"
#include "host/NuvTrail.h"
#include "host/PimAllocator.h"

namespace {

using K = NuvCPSetRelationI::Kind;

bool relation(K kind, unsigned a, unsigned b, unsigned c) {
  switch (kind) {
    case K::Subset: return (a & ~b) == 0;
    case K::Equal: return a == b;
    case K::Disjoint: return (a & b) == 0;
    case K::Union: return c == (a | b);
    case K::Inter: return c == (a & b);
    case K::Difference: return c == (a & ~b);
  }
  return false;
}

// Universes lo[v]..lo[v] + 2 inside 0..3; subsets as bit masks over 0..3.
struct Trial {
  int vars;
  int lo[3];
  unsigned req[3], poss[3];
};

unsigned maskOf(const NuvCPIntSetVarI* x, bool required) {
  unsigned m = 0;
  for (int e = 0; e < 4; ++e)
    if (required ? x->isRequired(e) : x->isPossible(e)) m |= 1u << e;
  return m;
}

// The solutions within the variables' current bounds: their number, and
// each variable's intersection and union over them.
int solve(K kind, const std::vector<NuvCPIntSetVarI*>& pos, const std::vector<NuvCPIntSetVarI*>& vars,
          std::vector<unsigned>& inter, std::vector<unsigned>& uni) {
  const std::size_t n = vars.size();
  inter.assign(n, 15u);
  uni.assign(n, 0u);
  int solutions = 0;
  std::vector<unsigned> value(n);
  for (unsigned code = 0; code < (1u << (4 * n)); ++code) {
    bool fits = true;
    for (std::size_t v = 0; v < n && fits; ++v) {
      const unsigned s = (code >> (4 * v)) & 15u, req = maskOf(vars[v], true), poss = maskOf(vars[v], false);
      value[v] = s;
      fits = (s & req) == req && (s & ~poss) == 0;
    }
    if (!fits) continue;
    auto at = [&](std::size_t p) {
      for (std::size_t v = 0; v < n; ++v)
        if (vars[v] == pos[p]) return value[v];
      return 0u;
    };
    if (!relation(kind, at(0), at(1), pos.size() > 2 ? at(2) : 0u)) continue;
    ++solutions;
    for (std::size_t v = 0; v < n; ++v) {
      inter[v] &= value[v];
      uni[v] |= value[v];
    }
  }
  return solutions;
}

// After a successful propagation: some solution, and the bounds are the
// solutions' intersection and union.
void checkConsistent(K kind, const std::vector<NuvCPIntSetVarI*>& pos, const std::vector<NuvCPIntSetVarI*>& vars,
                     const std::string& where) {
  std::vector<unsigned> inter, uni;
  if (solve(kind, pos, vars, inter, uni) == 0) {
    ADD_FAILURE() << where << ": no solution, yet no failure";
    return;
  }
  for (std::size_t v = 0; v < vars.size(); ++v)
    if (maskOf(vars[v], true) != inter[v] || maskOf(vars[v], false) != uni[v])
      ADD_FAILURE() << where << ": variable " << v << " has " << maskOf(vars[v], true) << ".."
                    << maskOf(vars[v], false) << ", the solutions give " << inter[v] << ".." << uni[v];
}

TEST(SetRelation, BoundsConsistentAndSoundAcrossBacktracking) {
  std::mt19937 rng(11);
  int posted = 0, solved = 0;
  for (K kind : {K::Subset, K::Equal, K::Disjoint, K::Union, K::Inter, K::Difference})
    for (int trial = 0; trial < 120; ++trial) {
      const int arity = kind >= K::Union ? 3 : 2;
      const bool shared = trial % 5 == 4;  // the last position reads the first variable
      const int n = shared ? arity - 1 : arity;
      PimArenaAllocator arena;
      NuvTrailI trail;
      NuvCPManagerI store{&arena, &trail};
      std::vector<NuvCPIntSetVarI*> vars;
      std::vector<unsigned> wantReq, wantPoss;
      for (int v = 0; v < n; ++v) {
        const int lo = static_cast<int>(rng() % 2);
        auto* x = nuvCPNew<NuvCPIntSetVarI>(&arena, &arena, &store, lo, lo + 2);
        for (int e = lo; e <= lo + 2; ++e) {
          const unsigned r = rng() % 4;
          if (r == 0) x->require(e);
          if (r == 1) x->exclude(e);
        }
        vars.push_back(x);
      }
      std::vector<NuvCPIntSetVarI*> pos = vars;
      if (shared) pos.push_back(vars[0]);
      const std::string where = "kind " + std::to_string(kind) + ", trial " + std::to_string(trial);
      std::vector<unsigned> inter, uni;
      const int before = solve(kind, pos, vars, inter, uni);
      const int r = store.post(nuvCPNew<NuvCPSetRelationI>(&arena, &store, kind, pos[0], pos[1],
                                                           arity == 3 ? pos[2] : nullptr));
      ++posted;
      if (r == NuvCPFailure) {
        EXPECT_EQ(before, 0) << where << ": the post failed with solutions left";
        continue;
      }
      checkConsistent(kind, pos, vars, where + " after post");
      ++solved;
      // Random decisions down to a bound state, each checked, then undone.
      for (int dive = 0; dive < 4; ++dive) {
        const std::size_t depth = trail.depth();
        for (int step = 0; step < 12; ++step) {
          NuvCPIntSetVarI* x = vars[rng() % vars.size()];
          const int e = x->universeMin() + static_cast<int>(rng() % 3);
          if (x->isRequired(e) || !x->isPossible(e)) continue;
          trail.push();
          // Bounds consistency left a solution on either side of e.
          const int d = rng() % 2 ? store.require(x, e) : store.exclude(x, e);
          if (d == NuvCPFailure) {
            ADD_FAILURE() << where << ": a decision on a supported element failed";
            break;
          }
          checkConsistent(kind, pos, vars, where + ", a dive");
          bool bound = true;
          for (NuvCPIntSetVarI* v : vars) bound = bound && v->isBound();
          if (bound) break;
        }
        trail.popTo(depth);
      }
      if (::testing::Test::HasFailure()) return;
    }
  EXPECT_GT(solved, posted / 3);
}

}  // namespace
