// Micro-benchmarks of the concrete integer variable's narrowings, with and
// without subscribers. Each iteration opens a choice point, narrows, runs
// the fixpoint (which delivers the events) and backtracks.
//
//   build/nuvfd_bench --benchmark_filter=IntVar
#include <benchmark/benchmark.h>

#include "fd/NuvCPCIntVarI.h"
#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPManagerI.h"
#include "host/NuvTrail.h"
#include "host/PimAllocator.h"

namespace {

struct Sink : NuvCPCstrI {
  explicit Sink(NuvCPManagerI* s) : NuvCPCstrI(s, 7) {}
  int propagate() override { return NuvCPSuspend; }
  int valRemove(NuvCPIntVarI*, int) override { return NuvCPSuspend; }
  int valBind(NuvCPIntVarI*, int) override { return NuvCPSuspend; }
};

enum Op { kUpdateMin, kRemoveValue, kBind };

// state.range(0): the operation; state.range(1): subscribers per list (on
// the bounds, domain and bind lists and the AC5 value list).
void BM_IntVar(benchmark::State& state) {
  const Op op = static_cast<Op>(state.range(0));
  const int subs = static_cast<int>(state.range(1));
  PimArenaAllocator arena(1 << 20);
  NuvTrailI trail;
  NuvCPManagerI store(&arena, &trail);
  auto* x = nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, 0, 999);
  // The domain exists already: removeValue measures the steady state.
  if (op == kRemoveValue) x->removeValue(1);
  for (int i = 0; i < subs; ++i) {
    auto* d = nuvCPNew<Sink>(&arena, &store);
    x->addBounds(d);
    x->addDomain(d);
    x->addBind(d);
    x->addAC5Value(d);
  }
  for (auto _ : state) {
    trail.push();
    int r = op == kUpdateMin ? x->updateMin(500) : op == kRemoveValue ? x->removeValue(500) : x->bind(500);
    benchmark::DoNotOptimize(r);
    if (subs) benchmark::DoNotOptimize(store.propagate());
    trail.pop();
  }
}
BENCHMARK(BM_IntVar)->ArgNames({"op", "subs"})->ArgsProduct({{kUpdateMin, kRemoveValue, kBind}, {0, 8}});

}  // namespace
