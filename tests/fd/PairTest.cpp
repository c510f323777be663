// Pairs as one value: domain consistency and no lost solution
// (exhaustively, across backtracking, one triple and two sharing a
// variable).
#include <gtest/gtest.h>

#include <vector>

#include "fd/NuvCPPairI.h"
#include "tests/fd/PropagatorChecker.h"

namespace {


using namespace nuvcheck;

constexpr int w = 3;

TEST(Pair, DomainConsistentAndNeverLosesASolution) {
  auto holds = [](const Assignment& a, int n) {
    for (int k = 0; k < n; ++k) {
      const int x = a[static_cast<std::size_t>(k)], y = a[static_cast<std::size_t>(n + k)],
                z = a[static_cast<std::size_t>(2 * n + k)];
      if (y < 0 || y >= w || z != x * w + y) return false;
    }
    return true;
  };
  auto post = [](int n) {
    return [n](NuvCPManagerI& s, const Vars& v) {
      return s.post(nuvCPNew<NuvCPPairI>(s.allocator(), &s, n, v.data(), v.data() + n, v.data() + 2 * n, w));
    };
  };
  PropagatorChecker one(randomDomains({{-2, 2}, {-1, 3}, {-7, 9}}, 0.6), post(1),
                        [&](const Assignment& a) { return holds(a, 1); });
  Options o;
  o.seed = 5;
  o.trials = 300;
  o.consistency = Consistency::Domain;
  EXPECT_GT(one.run(o).trialsWithSolutions, 60);
  // Two triples with one x: (x, y0, z0) and (x, y1, z1).
  Options so = o;
  so.consistency = Consistency::None;
  checkShared({{0}, {0}, {1}, {2}, {3}, {4}}, {{-1, 1}, {-1, 1}, {0, 2}, {0, 2}, {-4, 6}, {-4, 6}}, post(2),
              [&](const Assignment& a) { return holds(a, 2); }, so);
}

}  // namespace
