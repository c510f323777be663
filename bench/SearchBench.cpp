// The search controller on n-queens, all solutions, with the binary
// disequalities decomposition (x_i != x_j + k): nodes per second of the
// whole search, propagation included.
//
//   build/nuvfd_bench --benchmark_filter=Queens
#include <benchmark/benchmark.h>

#include <vector>

#include "fd/NuvCPCIntVarI.h"
#include "fd/NuvCPManagerI.h"
#include "fd/NuvCPRelationI.h"
#include "host/NuvTrail.h"
#include "host/PimAllocator.h"
#include "search/NuvSearch.h"

namespace {

void BM_QueensAllSolutions(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  PimArenaAllocator arena(1 << 20);
  NuvTrailI trail;
  NuvCPManagerI store(&arena, &trail);
  std::vector<NuvCPIntVarI*> q;
  for (int i = 0; i < n; ++i) q.push_back(nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, 0, n - 1));
  for (int i = 0; i < n; ++i)
    for (int j = i + 1; j < n; ++j)
      for (int k : {0, j - i, i - j}) store.post(nuvCPNew<NuvCPNEqualI>(&arena, &store, q[i], q[j], k));
  const auto select = state.range(1) ? NuvVarSelect::FirstFail : NuvVarSelect::InputOrder;
  std::int64_t nodes = 0, solutions = 0;
  for (auto _ : state) {
    NuvSearch search(&store, &trail);
    search.addPhase({q, select, NuvValSelect::Min});
    search.solve({}, [] { return true; });
    nodes += search.stats().nodes;
    solutions = search.stats().solutions;
  }
  state.counters["nodes/s"] = benchmark::Counter(static_cast<double>(nodes), benchmark::Counter::kIsRate);
  state.counters["solutions"] = static_cast<double>(solutions);
}
BENCHMARK(BM_QueensAllSolutions)->Args({12, 0})->Args({12, 1})->Unit(benchmark::kMillisecond);

}  // namespace
