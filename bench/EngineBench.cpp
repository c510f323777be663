// Micro-benchmarks of the fixpoint loop: scheduling and running many cheap
// daemons, and delivering value events to them.
//
//   build/nuvfd_bench --benchmark_min_time=0.5
#include <benchmark/benchmark.h>

#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPManagerI.h"
#include "host/NuvTrail.h"
#include "host/PimAllocator.h"

namespace {

// The cheapest propagator there is: counts its runs and its events.
struct Counter : NuvCPCstrI {
  Counter(NuvCPManagerI* s, unsigned priority) : NuvCPCstrI(s, priority) {}
  int propagate() override {
    ++runs;
    return NuvCPSuspend;
  }
  int valRemove(NuvCPIntVarI*, int) override {
    ++events;
    return NuvCPSuspend;
  }
  long runs = 0;
  long events = 0;
};

// n daemons spread over the eight levels on one propagator list; each
// iteration opens a choice point, schedules the list, runs the fixpoint and
// backtracks (so the queued flags are trailed and restored every time).
void BM_ScheduleAndRun(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  PimArenaAllocator arena(1 << 20);
  NuvTrailI trail;
  NuvCPManagerI store(&arena, &trail);
  NuvCPListHead list;
  for (int i = 0; i < n; ++i) {
    auto* d = nuvCPNew<Counter>(&arena, &store, static_cast<unsigned>(i % 8));
    list.add<NuvCPDListI>(&arena, &trail, d);
  }
  for (auto _ : state) {
    trail.push();
    store.schedule(list.head);
    benchmark::DoNotOptimize(store.propagate());
    trail.pop();
  }
  state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK(BM_ScheduleAndRun)->Arg(8)->Arg(64)->Arg(1024);

// n daemons on one AC5 value list; each iteration tells them of one removed
// value (n events cut from the event allocator) and drains the events.
void BM_EventDelivery(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  PimArenaAllocator arena(1 << 20);
  NuvTrailI trail;
  NuvCPManagerI store(&arena, &trail);
  NuvCPListHead list;
  for (int i = 0; i < n; ++i) {
    auto* d = nuvCPNew<Counter>(&arena, &store, 7u);
    list.add<NuvCPDListI>(&arena, &trail, d);
  }
  int v = 0;
  for (auto _ : state) {
    store.notifyRemoveValue(list.head, nullptr, ++v);
    benchmark::DoNotOptimize(store.propagate());
  }
  state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK(BM_EventDelivery)->Arg(8)->Arg(64)->Arg(1024);

}  // namespace

BENCHMARK_MAIN();
