// A graph of precedences: never loses a schedule (exhaustively, across
// backtracking, on chains, cycles of length 0 and of positive length, and a
// start shared by two activities), and fails a positive cycle at once on
// domains too wide to walk.
#include <gtest/gtest.h>

#include <vector>

#include "fd/NuvCPPrecedenceGraphI.h"
#include "tests/fd/PropagatorChecker.h"

namespace {

using namespace nuvcheck;

struct Arc {
  int from, to, delay;
};

TEST(PrecedenceGraph, NeverLosesAScheduleAndChecksWhenBound) {
  // Positions: s[0..3), d[0..3).
  const std::vector<std::vector<Arc>> graphs = {
      {{0, 1, 0}, {1, 2, 0}},               // a chain
      {{0, 1, 0}, {1, 0, -3}},              // a cycle that may close (d0 + d1 <= 3)
      {{0, 1, 1}, {1, 2, 0}, {2, 0, -4}},   // a longer one
      {{0, 1, 0}, {0, 2, -1}, {2, 1, 0}},   // two paths
  };
  std::uint32_t seed = 800;
  for (const auto& g : graphs) {
    std::vector<int> from, to, delay;
    for (const Arc& a : g) {
      from.push_back(a.from);
      to.push_back(a.to);
      delay.push_back(a.delay);
    }
    PropagatorChecker checker(
        randomDomains({{0, 6}, {0, 6}, {0, 6}, {0, 2}, {1, 3}, {0, 2}}),
        [=](NuvCPManagerI& s, const Vars& v) {
          return s.post(nuvCPNew<NuvCPPrecedenceGraphI>(s.allocator(), &s, 3, v.data(), v.data() + 3,
                                                        static_cast<int>(from.size()), from.data(), to.data(),
                                                        delay.data()));
        },
        [=](const Assignment& a) {
          for (std::size_t k = 0; k < from.size(); ++k)
            if (a[static_cast<std::size_t>(from[k])] + a[static_cast<std::size_t>(3 + from[k])] + delay[k] >
                a[static_cast<std::size_t>(to[k])])
              return false;
          return true;
        });
    Options o;
    o.seed = seed++;
    o.trials = 300;
    const Stats st = checker.run(o);
    EXPECT_GT(st.trialsWithSolutions, 40);
    if (::testing::Test::HasFailure()) return;
  }
  // One start for two activities: a -> b with b's start a's.
  Options o;
  o.seed = 9;
  o.trials = 200;
  const int from[] = {0}, to[] = {1}, delay[] = {-1};
  checkShared(
      {{0}, {0}, {1}, {2}}, {{0, 5}, {0, 5}, {0, 2}, {0, 2}},
      [&](NuvCPManagerI& s, const Vars& v) {
        return s.post(nuvCPNew<NuvCPPrecedenceGraphI>(s.allocator(), &s, 2, v.data(), v.data() + 2, 1, from, to,
                                                      delay));
      },
      [](const Assignment& a) { return a[0] + a[2] - 1 <= a[1]; }, o);
}

TEST(PrecedenceGraph, PositiveCycleFailsAtOnce) {
  // a before b before a on starts in [0, 10^9]: as separate constraints
  // this walks a billion steps; the graph sees the cycle.
  PimArenaAllocator arena;
  NuvTrailI trail;
  NuvCPManagerI store(&arena, &trail);
  auto var = [&](int lo, int hi) -> NuvCPIntVarI* { return nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, lo, hi); };
  NuvCPIntVarI* s[] = {var(0, 1000000000), var(0, 1000000000)};
  NuvCPIntVarI* d[] = {var(1, 1), var(1, 1)};
  const int from[] = {0, 1}, to[] = {1, 0};
  EXPECT_EQ(store.post(nuvCPNew<NuvCPPrecedenceGraphI>(&arena, &store, 2, s, d, 2, from, to, nullptr)),
            NuvCPFailure);
}

}  // namespace
