// Regular and cost-regular: on random automata, never lose a word
// (exhaustively, across backtracking, with a variable at two positions),
// reach domain consistency for regular, and check once bound; the graph
// shrinks as values go and comes back on backtracking.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "fd/NuvCPCIntVarI.h"
#include "fd/NuvCPRegularI.h"
#include "tests/fd/PropagatorChecker.h"

namespace {

using namespace nuvcheck;

struct Automaton {
  int states, symbols, initial;
  std::vector<int> delta, finals, cost;
  NuvCPAutomatonView view() const {
    NuvCPAutomatonView a;
    a.states = states;
    a.symbols = symbols;
    a.delta = delta.data();
    a.initial = initial;
    a.finals = finals.data();
    a.finalCount = static_cast<int>(finals.size());
    a.cost = cost.empty() ? nullptr : cost.data();
    return a;
  }
  // The word's cost, or -1 when the automaton rejects it.
  int run(const Assignment& a, std::size_t n) const {
    int q = initial, total = 0;
    for (std::size_t i = 0; i < n; ++i) {
      const int v = a[i];
      if (v < 1 || v > symbols) return -1;
      const std::size_t cell = static_cast<std::size_t>((q - 1) * symbols + v - 1);
      if (!cost.empty()) total += cost[cell];
      q = delta[cell];
      if (q == 0) return -1;
    }
    for (int f : finals)
      if (f == q) return total;
    return -1;
  }
};

Automaton randomAutomaton(std::mt19937& rng, bool costs) {
  Automaton a{3, 3, 1, {}, {}, {}};
  std::uniform_int_distribution<int> state(0, 3), weight(0, 2);
  for (int k = 0; k < 9; ++k) a.delta.push_back(state(rng));
  for (int q = 1; q <= 3; ++q)
    if (rng() % 2) a.finals.push_back(q);
  if (a.finals.empty()) a.finals.push_back(3);
  if (costs)
    for (int k = 0; k < 9; ++k) a.cost.push_back(weight(rng));
  return a;
}

TEST(Regular, NeverLosesAWordAndReachesDomainConsistency) {
  std::mt19937 rng(17);
  constexpr std::size_t n = 4;
  int withSolutions = 0;
  for (int k = 0; k < 25; ++k) {
    const Automaton a = randomAutomaton(rng, false);
    PropagatorChecker checker(
        randomDomains({{0, 3}, {1, 3}, {1, 4}, {1, 3}}),
        [a](NuvCPManagerI& s, const Vars& v) {
          return s.post(nuvCPNew<NuvCPRegularI>(s.allocator(), &s, static_cast<int>(n), v.data(), a.view()));
        },
        [a](const Assignment& w) { return a.run(w, n) >= 0; });
    Options o;
    o.seed = static_cast<std::uint32_t>(k);
    o.trials = 40;
    o.consistency = Consistency::Domain;
    const Stats st = checker.run(o);
    withSolutions += st.trialsWithSolutions;
    if (::testing::Test::HasFailure()) return;
  }
  EXPECT_GT(withSolutions, 100);
  // One variable at the first and third positions.
  for (int k = 0; k < 10; ++k) {
    const Automaton a = randomAutomaton(rng, false);
    Options o;
    o.seed = static_cast<std::uint32_t>(100 + k);
    o.trials = 40;
    checkShared({{0}, {1}, {0}, {2}}, {{1, 3}, {1, 3}, {1, 3}, {1, 3}},
                [a](NuvCPManagerI& s, const Vars& v) {
                  return s.post(nuvCPNew<NuvCPRegularI>(s.allocator(), &s, static_cast<int>(n), v.data(), a.view()));
                },
                [a](const Assignment& w) { return a.run(w, n) >= 0; }, o);
    if (::testing::Test::HasFailure()) return;
  }
}

TEST(Regular, CostRegularNeverLosesAWord) {
  std::mt19937 rng(29);
  constexpr std::size_t n = 3;
  int withSolutions = 0;
  for (int k = 0; k < 25; ++k) {
    const Automaton a = randomAutomaton(rng, true);
    PropagatorChecker checker(
        randomDomains({{1, 3}, {0, 3}, {1, 3}, {0, 5}}),
        [a](NuvCPManagerI& s, const Vars& v) {
          return s.post(
              nuvCPNew<NuvCPRegularI>(s.allocator(), &s, static_cast<int>(n), v.data(), a.view(), v[n]));
        },
        [a](const Assignment& w) { return a.run(w, n) == w[n]; });
    Options o;
    o.seed = static_cast<std::uint32_t>(50 + k);
    o.trials = 40;
    const Stats st = checker.run(o);
    withSolutions += st.trialsWithSolutions;
    // The cost is also a letter of the word, or one letter is read twice.
    if (k % 5 == 0) {
      auto post = [a](NuvCPManagerI& s, const Vars& v) {
        return s.post(nuvCPNew<NuvCPRegularI>(s.allocator(), &s, static_cast<int>(n), v.data(), a.view(), v[n]));
      };
      auto holds = [a](const Assignment& w) { return a.run(w, n) == w[n]; };
      o.trials = 25;
      checkShared({{0}, {1}, {2}, {1}}, {{1, 3}, {0, 3}, {1, 3}, {0, 5}}, post, holds, o);
      checkShared({{0}, {1}, {0}, {2}}, {{1, 3}, {0, 3}, {1, 3}, {0, 5}}, post, holds, o);
      checkShared({{0}, {1}, {2}, {1, 1}}, {{1, 3}, {0, 3}, {1, 3}, {0, 5}}, post, holds, o);
    }
    if (::testing::Test::HasFailure()) return;
  }
  EXPECT_GT(withSolutions, 80);
}

TEST(Regular, TheGraphShrinksAndComesBack) {
  // Words over {1, 2} without two 2s in a row, of length 4; the cost is
  // the number of 2s, at least 2: 2?2? patterns only.
  PimArenaAllocator arena;
  NuvTrailI trail;
  NuvCPManagerI store(&arena, &trail);
  const Automaton a{2, 2, 1, {1, 2, 1, 0}, {1, 2}, {0, 1, 0, 1}};
  NuvCPIntVarI* x[4];
  for (auto*& v : x) v = nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, 1, 2);
  NuvCPIntVarI* c = nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, 2, 9);
  auto* r = nuvCPNew<NuvCPRegularI>(&arena, &store, 4, x, a.view(), c);
  ASSERT_EQ(store.post(r), NuvCPSuspend);
  EXPECT_EQ(c->getMax(), 2);  // at most two 2s in four without neighbours
  const int edges = r->liveEdges();
  trail.push();
  ASSERT_EQ(x[1]->bind(2), NuvCPSuspend);
  ASSERT_EQ(store.propagate(), NuvCPSuspend);
  EXPECT_EQ(x[0]->getMax(), 1);
  EXPECT_EQ(x[2]->getMax(), 1);
  EXPECT_EQ(x[3]->getMin(), 2);  // the second 2 can only go last
  EXPECT_LT(r->liveEdges(), edges);
  trail.pop();
  EXPECT_EQ(r->liveEdges(), edges);
  EXPECT_EQ(x[0]->getMax(), 2);
}

}  // namespace
