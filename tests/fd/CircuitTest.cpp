// Successor graphs: circuit, subcircuit and no-cycle never lose a graph and
// never accept a wrong one (the checker enumerates every assignment, so
// every permutation), across backtracking, with views sharing a variable;
// and the chain and component rules prune what they claim.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "fd/NuvCPCIntVarI.h"
#include "fd/NuvCPCircuitI.h"
#include "tests/fd/PropagatorChecker.h"

namespace {

using namespace nuvcheck;

// Nodes are named from `low`; a successor outside low..low + n - 1 ends a
// path (no-cycle only).
bool graphHolds(NuvCPCircuitI::Kind kind, int low, const Assignment& a) {
  const int n = static_cast<int>(a.size());
  auto succ = [&](int i) { return a[static_cast<std::size_t>(i)] - low; };
  if (kind == NuvCPCircuitI::NoCycle) {
    for (int i = 0; i < n; ++i) {  // a walk of n steps that stays inside has cycled
      int t = i, steps = 0;
      while (t >= 0 && t < n && steps <= n) {
        t = succ(t);
        ++steps;
      }
      if (steps > n) return false;
    }
    return true;
  }
  std::vector<int> in;
  for (int i = 0; i < n; ++i) {
    if (succ(i) < 0 || succ(i) >= n) return false;
    if (kind == NuvCPCircuitI::Circuit || succ(i) != i) in.push_back(i);
  }
  if (kind == NuvCPCircuitI::Circuit && n == 1) return succ(0) == 0;
  if (in.empty()) return true;
  // From one node that is in, the walk visits every node that is in, once.
  int t = in[0];
  for (std::size_t k = 0; k < in.size(); ++k) {
    t = succ(t);
    if (t == in[0] && k + 1 < in.size()) return false;
    if (kind == NuvCPCircuitI::Subcircuit && succ(t) == t) return false;
  }
  return t == in[0];
}

struct Store {
  PimArenaAllocator arena;
  NuvTrailI trail;
  NuvCPManagerI store{&arena, &trail};
  NuvCPIntVarI* var(int lo, int hi) { return nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, lo, hi); }
  NuvCPIntVarI* var(std::vector<int> values) {
    NuvCPIntVarI* x = var(values.front(), values.back());
    for (int v = values.front(); v <= values.back(); ++v)
      if (std::find(values.begin(), values.end(), v) == values.end()) x->removeValue(v);
    return x;
  }
  int post(int n, NuvCPIntVarI* const* x, NuvCPCircuitI::Kind kind) {
    return store.post(nuvCPNew<NuvCPCircuitI>(&arena, &store, n, x, 1, kind));
  }
};

Post postGraph(NuvCPCircuitI::Kind kind, int low) {
  return [=](NuvCPManagerI& s, const Vars& v) {
    return s.post(nuvCPNew<NuvCPCircuitI>(s.allocator(), &s, static_cast<int>(v.size()), v.data(), low, kind));
  };
}

TEST(Circuit, EveryKindNeverLosesNorAcceptsAWrongGraph) {
  using K = NuvCPCircuitI::Kind;
  std::uint32_t seed = 70;
  for (K kind : {K::Circuit, K::Subcircuit, K::NoCycle})
    for (int n : {1, 3, 4, 5}) {
      SCOPED_TRACE(::testing::Message() << "kind " << kind << ", n " << n);
      const int low = kind == K::NoCycle ? 0 : 1;
      // No-cycle draws one value past the nodes: the end of a path.
      const std::vector<std::pair<int, int>> ranges(static_cast<std::size_t>(n),
                                                   {low, low + n - (kind == K::NoCycle ? 0 : 1)});
      PropagatorChecker checker(randomDomains(ranges, 0.75), postGraph(kind, low),
                                [=](const Assignment& a) { return graphHolds(kind, low, a); });
      Options o;
      o.seed = seed++;
      o.trials = n == 5 ? 120 : 200;
      o.maxAssignments = 8000;
      const Stats st = checker.run(o);
      EXPECT_GT(st.trialsWithSolutions, n == 1 ? 0 : 10);
      if (n >= 4) {
        // Two positions read one variable through views.
        Filling f;
        for (int i = 0; i < n; ++i) f.push_back({i == n - 1 ? 0 : i, i == n - 1 ? 1 : 0});
        o.trials = 80;
        checkShared(f, ranges, postGraph(kind, low), [=](const Assignment& a) { return graphHolds(kind, low, a); },
                    o);
      }
      if (::testing::Test::HasFailure()) return;
    }
}

TEST(Circuit, ChainsAndComponentsPrune) {
  // Circuit over 1..4 with 1 -> 2 -> 3 bound: 3 may not go back to 1 or
  // 2, so it goes to 4 and 4 closes to 1.
  {
    Store s;
    std::vector<NuvCPIntVarI*> x;
    for (int i = 0; i < 4; ++i) x.push_back(s.var(1, 4));
    ASSERT_NE(s.post(4, x.data(), NuvCPCircuitI::Circuit), NuvCPFailure);
    ASSERT_NE(s.store.label(x[0], 2), NuvCPFailure);
    ASSERT_NE(s.store.label(x[1], 3), NuvCPFailure);
    EXPECT_TRUE(x[2]->isBound());
    EXPECT_EQ(x[2]->getMin(), 4);
    EXPECT_EQ(x[3]->getMin(), 1);
  }
  // Two groups {1, 2} and {3, 4} joined one way only: not strongly
  // connected, no circuit; as a subcircuit with 1 required, 3 and 4 are out.
  for (auto kind : {NuvCPCircuitI::Circuit, NuvCPCircuitI::Subcircuit}) {
    Store s;
    std::vector<NuvCPIntVarI*> x = {s.var({1, 2}), s.var({1, 2, 3}), s.var({3, 4}), s.var({3, 4})};
    if (kind == NuvCPCircuitI::Subcircuit) {
      ASSERT_NE(x[0]->removeValue(1), NuvCPFailure);
    }
    const int r = s.post(4, x.data(), kind);
    if (kind == NuvCPCircuitI::Circuit) {
      EXPECT_EQ(r, NuvCPFailure);
    } else {
      ASSERT_NE(r, NuvCPFailure);
      EXPECT_EQ(x[0]->getMin(), 2);
      EXPECT_EQ(x[1]->getMin(), 1);
      EXPECT_EQ(x[1]->getMax(), 1);
      EXPECT_EQ(x[2]->getMin(), 3);
      EXPECT_EQ(x[3]->getMin(), 4);
    }
  }
}

}  // namespace
