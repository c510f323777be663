// Global cardinality: never loses a solution (exhaustively, across
// backtracking, with count variables, fixed bounds, closed or not, and a
// variable at two positions), reaches domain consistency with fixed
// bounds, and the flow's deductions.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "fd/NuvCPCIntVarI.h"
#include "fd/NuvCPCardinalityI.h"
#include "fd/NuvCPSoftCardinalityI.h"
#include "tests/fd/PropagatorChecker.h"

namespace {

using namespace nuvcheck;

constexpr int kN = 4;
const int kValues[] = {1, 2, 4};
const int kLow[] = {1, 0, 1};
const int kUp[] = {2, 1, 3};

// Positions: x[0..4), then counts[0..3) in the counts form.
bool holds(bool counts, bool closed, const Assignment& a) {
  for (int k = 0; k < 3; ++k) {
    int c = 0;
    for (int i = 0; i < kN; ++i) c += a[static_cast<std::size_t>(i)] == kValues[k];
    if (counts ? c != a[static_cast<std::size_t>(kN + k)] : c < kLow[k] || c > kUp[k]) return false;
  }
  if (closed)
    for (int i = 0; i < kN; ++i) {
      const int v = a[static_cast<std::size_t>(i)];
      if (v != 1 && v != 2 && v != 4) return false;
    }
  return true;
}

int post(bool counts, bool closed, NuvCPManagerI& s, const Vars& v) {
  return s.post(nuvCPNew<NuvCPCardinalityI>(s.allocator(), &s, kN, v.data(), 3, kValues,
                                            counts ? v.data() + kN : nullptr, counts ? nullptr : kLow,
                                            counts ? nullptr : kUp, closed));
}

TEST(Cardinality, NeverLosesASolution) {
  std::uint32_t seed = 10;
  for (bool counts : {false, true})
    for (bool closed : {false, true}) {
      SCOPED_TRACE(::testing::Message() << "counts " << counts << ", closed " << closed);
      std::vector<std::pair<int, int>> ranges(kN, {0, 5});
      if (counts)
        for (int k = 0; k < 3; ++k) ranges.push_back({0, 3});
      PropagatorChecker checker(
          randomDomains(ranges, 0.6), [=](NuvCPManagerI& s, const Vars& v) { return post(counts, closed, s, v); },
          [=](const Assignment& a) { return holds(counts, closed, a); });
      Options o;
      o.seed = seed++;
      o.trials = 300;
      o.maxAssignments = 100000;
      // Fixed bounds: domain consistency.
      if (!counts) o.consistency = Consistency::Domain;
      const Stats st = checker.run(o);
      EXPECT_GT(st.trialsWithSolutions, 40);
      EXPECT_GT(st.trialsFailedAtPost + st.failures, 0);
      // One variable at two positions.
      Options so = o;
      so.consistency = Consistency::None;
      so.trials = 150;
      std::vector<std::pair<int, int>> shared(ranges);
      Filling f{{0}, {1}, {0}, {2}};
      for (int k = 0; counts && k < 3; ++k) f.push_back({3 + k});
      const Stats sh = checkShared(
          f, shared, [=](NuvCPManagerI& s, const Vars& v) { return post(counts, closed, s, v); },
          [=](const Assignment& a) { return holds(counts, closed, a); }, so);
      EXPECT_GT(sh.trialsWithSolutions, 10);
      if (::testing::Test::HasFailure()) return;
    }
}

TEST(Cardinality, SoftNeverLosesASolution) {
  // Positions: x[0..4), violation.
  auto holds = [](const Assignment& a) {
    int violation = 0;
    for (int k = 0; k < 3; ++k) {
      int c = 0;
      for (int i = 0; i < kN; ++i) c += a[static_cast<std::size_t>(i)] == kValues[k];
      violation += std::max(0, kLow[k] - c) + std::max(0, c - kUp[k]);
    }
    return a[kN] == violation;
  };
  auto post = [](NuvCPManagerI& s, const Vars& v) {
    return s.post(nuvCPNew<NuvCPSoftCardinalityI>(s.allocator(), &s, kN, v.data(), 3, kValues, kLow, kUp, v[kN]));
  };
  const std::vector<std::pair<int, int>> ranges = {{0, 4}, {0, 4}, {0, 4}, {0, 4}, {0, 3}};
  PropagatorChecker checker(randomDomains(ranges, 0.6), post, holds);
  Options o;
  o.seed = 33;
  o.trials = 300;
  o.maxAssignments = 50000;
  const Stats st = checker.run(o);
  EXPECT_GT(st.trialsWithSolutions, 80);
  EXPECT_GT(st.failures + st.trialsFailedAtPost, 0);
  checkShared({{0}, {1}, {1}, {2}, {3}}, ranges, post, holds, o);
}

TEST(Cardinality, TheFlowSeesWhatCountingCannot) {
  // Values 1 and 2 each exactly once among x0, x1 (domains {1, 2}) and x2
  // (domain {1, 2, 3}): x0 and x1 take both, so x2 is 3. Counting alone
  // sees each value possible three times.
  PimArenaAllocator arena;
  NuvTrailI trail;
  NuvCPManagerI store(&arena, &trail);
  NuvCPIntVarI* x[] = {nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, 1, 2),
                       nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, 1, 2),
                       nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, 1, 3)};
  const int values[] = {1, 2, 3}, low[] = {1, 1, 0}, up[] = {1, 1, 3};
  ASSERT_EQ(store.post(nuvCPNew<NuvCPCardinalityI>(&arena, &store, 3, x, 3, values, nullptr, low, up, false)),
            NuvCPSuspend);
  EXPECT_TRUE(x[2]->isBound());
  EXPECT_EQ(x[2]->getMin(), 3);
  // Counts as variables: value 5 at least twice among three variables that
  // may all take it, one of them fixed elsewhere: the other two take it.
  NuvCPIntVarI* y[] = {nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, 4, 5),
                       nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, 4, 5),
                       nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, 4, 4)};
  NuvCPIntVarI* c[] = {nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, 2, 3)};
  const int five[] = {5};
  ASSERT_NE(store.post(nuvCPNew<NuvCPCardinalityI>(&arena, &store, 3, y, 1, five, c, nullptr, nullptr, false)),
            NuvCPFailure);
  EXPECT_EQ(y[0]->getMin(), 5);
  EXPECT_EQ(y[1]->getMin(), 5);
  EXPECT_EQ(c[0]->getMax(), 2);
}

}  // namespace
