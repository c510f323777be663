// Micro-benchmarks of the balanced tree the scheduling propagators re-key
// at every run: insert (a fresh tree of n nodes, per node), detach and
// re-insert (per node), and re-key every node by new random keys (per node,
// the cost of a propagator's reset), on trees of 10 to 10,000 nodes.
//
//   build/nuvfd_bench --benchmark_filter=AVL
#include <benchmark/benchmark.h>

#include <random>
#include <vector>

#include "container/PimAVLTree.h"
#include "fd/NuvCPThetaTree.h"

namespace {

using Tree = PimAVLTree<int, ThetaData*>;
using Node = Tree::Node;

std::vector<int> randomKeys(int n, std::uint32_t seed) {
  std::mt19937 rng(seed);
  std::vector<int> k(static_cast<std::size_t>(n));
  for (int& v : k) v = static_cast<int>(rng() % 100000);
  return k;
}

void BM_AVLInsert(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const std::vector<int> keys = randomKeys(n, 1);
  for (auto _ : state) {
    Tree t;
    for (int k : keys) benchmark::DoNotOptimize(t.insert(k, nullptr));
  }
  state.SetItemsProcessed(state.iterations() * n);
}

void BM_AVLDetachReinsert(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const std::vector<int> keys = randomKeys(n, 2);
  Tree t;
  std::vector<Node*> nodes;
  for (int k : keys) nodes.push_back(t.insert(k, nullptr));
  std::size_t i = 0;
  for (auto _ : state) {
    Node* n0 = nodes[i];
    // updateKey is a detachment followed by a reinsertion of the storage.
    benchmark::DoNotOptimize(t.updateKey(n0, keys[(i * 7919) % keys.size()]));
    if (++i == nodes.size()) i = 0;
  }
  state.SetItemsProcessed(state.iterations());
}

void BM_AVLRekeyAll(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const std::vector<int> a = randomKeys(n, 3), b = randomKeys(n, 4);
  Tree t;
  std::vector<Node*> nodes;
  for (int k : a) nodes.push_back(t.insert(k, nullptr));
  bool flip = false;
  for (auto _ : state) {
    const std::vector<int>& keys = flip ? a : b;
    for (std::size_t i = 0; i < nodes.size(); ++i) t.updateKey(nodes[i], keys[i]);
    flip = !flip;
  }
  state.SetItemsProcessed(state.iterations() * n);
}

}  // namespace

BENCHMARK(BM_AVLInsert)->Arg(10)->Arg(100)->Arg(1000)->Arg(10000);
BENCHMARK(BM_AVLDetachReinsert)->Arg(10)->Arg(100)->Arg(1000)->Arg(10000);
BENCHMARK(BM_AVLRekeyAll)->Arg(10)->Arg(100)->Arg(1000)->Arg(10000);
