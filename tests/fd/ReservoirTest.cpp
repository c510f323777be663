// Reservoirs: never lose a schedule (exhaustively, across backtracking, for
// takes and gifts, capacities and minimum levels, amounts of both signs,
// shared variables), and the textbook deductions.
#include <gtest/gtest.h>

#include <vector>

#include "fd/NuvCPCIntVarI.h"
#include "fd/NuvCPReservoirI.h"
#include "tests/fd/PropagatorChecker.h"

namespace {

using namespace nuvcheck;

constexpr int kInitial = 2;

// Positions: s[0..3), d[0..3), h[0..3), bound.
bool holds(bool atEnd, bool minimum, const Assignment& a) {
  auto at = [&](int k) { return a[static_cast<std::size_t>(k)]; };
  for (int i = 0; i < 3; ++i)
    if (at(3 + i) < 0) return false;
  // The level after every event time.
  for (int i = 0; i < 3; ++i) {
    const int t = atEnd ? at(i) + at(3 + i) : at(i);
    int level = kInitial;
    for (int j = 0; j < 3; ++j) {
      const int tj = atEnd ? at(j) + at(3 + j) : at(j);
      if (tj <= t) level += atEnd ? at(6 + j) : -at(6 + j);
    }
    if (minimum ? level < at(9) : level < 0 || level > at(9)) return false;
  }
  return minimum ? kInitial >= at(9) : kInitial <= at(9);
}

int post(bool atEnd, bool minimum, NuvCPManagerI& s, const Vars& v) {
  return s.post(nuvCPNew<NuvCPReservoirI>(s.allocator(), &s, 3, v.data(), v.data() + 3, v.data() + 6, kInitial,
                                          v[9], atEnd, minimum));
}

TEST(Reservoir, NeverLosesAScheduleAndChecksWhenBound) {
  std::uint32_t seed = 40;
  const std::vector<std::pair<int, int>> ranges = {{0, 3}, {0, 3}, {0, 3}, {0, 2}, {1, 2}, {-1, 1},
                                                   {-2, 2}, {0, 3}, {1, 2}, {0, 4}};
  for (bool atEnd : {false, true})
    for (bool minimum : {false, true}) {
      SCOPED_TRACE(::testing::Message() << "gives " << atEnd << ", minimum " << minimum);
      PropagatorChecker checker(
          randomDomains(ranges), [=](NuvCPManagerI& s, const Vars& v) { return post(atEnd, minimum, s, v); },
          [=](const Assignment& a) { return holds(atEnd, minimum, a); });
      Options o;
      o.seed = seed++;
      o.trials = 250;
      o.maxAssignments = 80000;
      const Stats st = checker.run(o);
      EXPECT_GT(st.trialsWithSolutions, 30);
      EXPECT_GT(st.failures, 0);
      // One variable in two places: an amount that is a duration, two
      // events at one time.
      for (const Filling& f : {Filling{{0}, {1}, {2}, {3}, {4}, {5}, {6}, {4}, {7}, {8}},
                               Filling{{0}, {0}, {1}, {2}, {3}, {4}, {5}, {6}, {7}, {8}}}) {
        Options so = o;
        so.trials = 100;
        const Stats sh = checkShared(
            f, ranges,
            [=](NuvCPManagerI& s, const Vars& v) { return post(atEnd, minimum, s, v); },
            [=](const Assignment& a) { return holds(atEnd, minimum, a); }, so);
        EXPECT_GT(sh.trialsWithSolutions, 10);
      }
      if (::testing::Test::HasFailure()) return;
    }
}

TEST(Reservoir, DrawsOnlyWhatHasBeenGiven) {
  // A stock of 0 (capacity 5): gift g of 3 ends in 2..6, take a of 2
  // starts in 0..9. The take cannot come before the gift, and with the
  // take early the gift must come early:
  //   time  0 1 2 3 4 5 6 7 8 9
  //   g     ..+++++            gives 3 at its end, 2..6
  //   a     ----------         takes 2 at its start: not before 2
  // Both kinds on one stock are two events each changing it once: the
  // test posts them as one reservoir of gifts with signed amounts (a take
  // of 2 at time t is a gift of -2 ending at t).
  PimArenaAllocator arena;
  NuvTrailI trail;
  NuvCPManagerI store(&arena, &trail);
  auto var = [&](int lo, int hi) -> NuvCPIntVarI* { return nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, lo, hi); };
  NuvCPIntVarI* s[] = {var(0, 4), var(0, 9)};
  NuvCPIntVarI* d[] = {var(2, 2), var(0, 0)};
  NuvCPIntVarI* h[] = {var(3, 3), var(-2, -2)};
  NuvCPIntVarI* cap = var(0, 5);
  ASSERT_EQ(store.post(nuvCPNew<NuvCPReservoirI>(&arena, &store, 2, s, d, h, 0, cap, true, false)), NuvCPSuspend);
  EXPECT_EQ(s[1]->getMin(), 2);  // the take waits for the earliest gift
  EXPECT_EQ(cap->getMin(), 1);   // what is left in the end
  trail.push();
  ASSERT_NE(s[1]->updateMax(3), NuvCPFailure);
  ASSERT_EQ(store.propagate(), NuvCPSuspend);
  EXPECT_EQ(s[0]->getMax(), 1);  // the gift ends by 3
  trail.pop();
  // A minimum level: takes may not draw a stock of 4 below 1; after takes
  // of 2 and 1 nothing is left for the third.
  NuvCPIntVarI* ts[] = {var(0, 5), var(0, 5), var(0, 5)};
  NuvCPIntVarI* td[] = {var(1, 1), var(1, 1), var(1, 1)};
  NuvCPIntVarI* th[] = {var(2, 2), var(1, 1), var(0, 3)};
  NuvCPIntVarI* m = var(1, 1);
  ASSERT_EQ(store.post(nuvCPNew<NuvCPReservoirI>(&arena, &store, 3, ts, td, th, 4, m, false, true)), NuvCPSuspend);
  EXPECT_EQ(th[2]->getMax(), 0);  // the room the other two leave
}

}  // namespace
