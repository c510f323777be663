// Pairs with setup times: never lose a schedule (exhaustively, across
// backtracking), with constant setups, an order variable, and setups from
// a matrix by the activities' types.
#include <gtest/gtest.h>

#include <vector>

#include "fd/NuvCPTransitionI.h"
#include "tests/fd/PropagatorChecker.h"

namespace {

using namespace nuvcheck;

// Positions: A.start, A.end, B.start, B.end, order, typeA, typeB.
const int kMatrix[] = {0, 2, 1, 0};  // setup[typeA][typeB], types 0..1

bool holds(bool order, bool types, const Assignment& a) {
  int ab = 1, ba = 2;  // the constant setups
  if (types) {
    if (a[5] < 0 || a[5] > 1 || a[6] < 0 || a[6] > 1) return false;
    ab = kMatrix[a[5] * 2 + a[6]];
    ba = kMatrix[a[6] * 2 + a[5]];
  }
  const bool first = a[1] + ab <= a[2], second = a[3] + ba <= a[0];
  if (order) return a[4] == 1 ? first : second;
  return first || second;
}

TEST(Transition, NeverLosesAScheduleAndChecksWhenBound) {
  std::uint32_t seed = 900;
  for (bool order : {false, true})
    for (bool types : {false, true}) {
      const std::vector<std::pair<int, int>> ranges = {{0, 6}, {1, 7}, {0, 6}, {1, 7}, {0, 1}, {-1, 2}, {-1, 2}};
      PropagatorChecker checker(
          randomDomains(ranges),
          [=](NuvCPManagerI& s, const Vars& v) {
            return s.post(nuvCPNew<NuvCPTransitionPairI>(s.allocator(), &s, v[0], v[1], v[2], v[3], 1, 2,
                                                        order ? v[4] : nullptr, types ? v[5] : nullptr,
                                                        types ? v[6] : nullptr, types ? kMatrix : nullptr, 2,
                                                        "DisjunctiveTransitionCstr"));
          },
          [=](const Assignment& a) { return holds(order, types, a); });
      Options o;
      o.seed = seed++;
      o.trials = 300;
      o.maxAssignments = 60000;
      const Stats st = checker.run(o);
      SCOPED_TRACE(::testing::Message() << "order " << order << ", types " << types);
      EXPECT_GT(st.trialsWithSolutions, 40);
      EXPECT_GT(st.failures, 0);
      if (::testing::Test::HasFailure()) return;
    }
}

TEST(Transition, SharedVariables) {
  // A's end is B's start (A first only with a setup of 0), one type for
  // both, the order variable that is a type.
  const std::vector<std::pair<int, int>> ranges = {{0, 6}, {1, 7}, {0, 6}, {1, 7}, {0, 1}, {0, 1}, {0, 1}};
  const Filling fillings[] = {
      {{0}, {1}, {1}, {2}, {3}, {4}, {5}},  // A.end == B.start
      {{0}, {1}, {2}, {3}, {4}, {5}, {5}},  // typeA == typeB
      {{0}, {1}, {2}, {3}, {4}, {4}, {5}},  // order == typeA
  };
  std::uint32_t seed = 940;
  for (const Filling& f : fillings) {
    Options o;
    o.seed = seed++;
    o.trials = 150;
    o.maxAssignments = 60000;
    const Stats st = checkShared(
        f, ranges,
        [](NuvCPManagerI& s, const Vars& v) {
          return s.post(nuvCPNew<NuvCPTransitionPairI>(s.allocator(), &s, v[0], v[1], v[2], v[3], 1, 2, v[4], v[5],
                                                      v[6], kMatrix, 2, "DisjunctiveTransitionCstr"));
        },
        [](const Assignment& a) { return holds(true, true, a); }, o);
    EXPECT_GT(st.trialsWithSolutions, 10);
    if (::testing::Test::HasFailure()) return;
  }
}

}  // namespace
