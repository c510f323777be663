// Spanning trees of bounded weight: never loses a tree nor accepts a wrong
// one (exhaustively, across backtracking), on a complete graph, a sparse
// one with a bridge and one with a loop and parallel edges; an edge
// variable at two positions stays sound.
#include <gtest/gtest.h>

#include <numeric>
#include <vector>

#include "fd/NuvCPSpanningTreeI.h"
#include "tests/fd/PropagatorChecker.h"

namespace {

using namespace nuvcheck;

struct Graph {
  int n;
  std::vector<int> from, to, w;
};

// Positions: the m edges, then the weight.
bool spans(const Graph& g, const Assignment& a) {
  const std::size_t m = g.from.size();
  std::vector<int> dsu(static_cast<std::size_t>(g.n));
  std::iota(dsu.begin(), dsu.end(), 0);
  auto find = [&](int x) {
    while (dsu[static_cast<std::size_t>(x)] != x) x = dsu[static_cast<std::size_t>(x)];
    return x;
  };
  int edges = 0, weight = 0;
  for (std::size_t k = 0; k < m; ++k) {
    if (a[k] < 0 || a[k] > 1) return false;
    if (a[k] == 0) continue;
    const int p = find(g.from[k]), q = find(g.to[k]);
    if (p == q) return false;
    dsu[static_cast<std::size_t>(p)] = q;
    ++edges;
    weight += g.w[k];
  }
  return edges == g.n - 1 && weight == a[m];
}

TEST(SpanningTree, NeverLosesNorAcceptsAWrongTree) {
  const std::vector<Graph> graphs = {
      {4, {0, 0, 0, 1, 1, 2}, {1, 2, 3, 2, 3, 3}, {1, 4, 3, 2, 5, 2}},  // complete on 4
      {5, {0, 1, 2, 2, 3, 3}, {1, 2, 0, 3, 4, 4}, {3, 1, 2, 7, 1, 1}},  // 2-3 is a bridge
      {3, {0, 0, 1, 1, 2}, {1, 1, 2, 1, 0}, {2, 5, 1, 0, 4}},           // parallel edges, a loop
  };
  std::uint32_t seed = 160;
  for (const Graph& g : graphs) {
    const int m = static_cast<int>(g.from.size());
    const int total = std::accumulate(g.w.begin(), g.w.end(), 0);
    std::vector<std::pair<int, int>> ranges(static_cast<std::size_t>(m), {0, 1});
    ranges.push_back({0, total});
    auto post = [g, m](NuvCPManagerI& s, const Vars& v) {
      return s.post(nuvCPNew<NuvCPSpanningTreeI>(s.allocator(), &s, g.n, m, g.from.data(), g.to.data(), g.w.data(),
                                                 v.data(), v[static_cast<std::size_t>(m)]));
    };
    auto holds = [g](const Assignment& a) { return spans(g, a); };
    PropagatorChecker checker(randomDomains(ranges, 0.8), post, holds);
    Options o;
    o.seed = seed++;
    o.trials = 150;
    o.maxAssignments = 20000;
    EXPECT_GT(checker.run(o).trialsWithSolutions, 20);
    // Edges 0 and 1 read one variable.
    Filling f;
    for (int k = 0; k <= m; ++k) f.push_back({k == 0 ? 0 : k - 1});
    o.trials = 60;
    checkShared(f, ranges, post, holds, o);
    if (::testing::Test::HasFailure()) return;
  }
}

}  // namespace
