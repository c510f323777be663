// Relations over one array: ordered (bounds consistent), all equal and
// member (domain consistent); never lose a solution, exhaustively and
// across backtracking, with a variable at two positions.
#include <gtest/gtest.h>

#include <vector>

#include "fd/NuvCPArrayRelI.h"
#include "tests/fd/PropagatorChecker.h"

namespace {

using namespace nuvcheck;

void check(const Post& post, const Predicate& holds, Consistency c, std::uint32_t seed, int n) {
  const std::vector<std::pair<int, int>> ranges(static_cast<std::size_t>(n), {0, 4});
  PropagatorChecker checker(randomDomains(ranges, 0.6), post, holds);
  Options o;
  o.seed = seed;
  o.trials = 250;
  o.consistency = c;
  EXPECT_GT(checker.run(o).trialsWithSolutions, 10);
  o.consistency = Consistency::None;
  Filling f;
  for (int i = 0; i < n; ++i) f.push_back({i == n - 1 ? 0 : i});
  checkShared(f, ranges, post, holds, o);
}

TEST(ArrayRel, OrderedAllEqualAndMember) {
  for (bool strict : {false, true}) {
    SCOPED_TRACE(strict ? "strictly increasing" : "increasing");
    check([strict](NuvCPManagerI& s, const Vars& v) {
            return s.post(nuvCPNew<NuvCPIncreasingI>(s.allocator(), &s, 4, v.data(), strict));
          },
          [strict](const Assignment& a) {
            for (std::size_t i = 1; i < a.size(); ++i)
              if (strict ? a[i] <= a[i - 1] : a[i] < a[i - 1]) return false;
            return true;
          },
          Consistency::Bounds, strict ? 2 : 1, 4);
  }
  check([](NuvCPManagerI& s, const Vars& v) {
          return s.post(nuvCPNew<NuvCPAllEqualI>(s.allocator(), &s, 3, v.data()));
        },
        [](const Assignment& a) { return a[0] == a[1] && a[1] == a[2]; }, Consistency::Domain, 3, 3);
  // Positions: x[0..3), y.
  check([](NuvCPManagerI& s, const Vars& v) {
          return s.post(nuvCPNew<NuvCPMemberI>(s.allocator(), &s, 3, v.data(), v[3]));
        },
        [](const Assignment& a) { return a[3] == a[0] || a[3] == a[1] || a[3] == a[2]; }, Consistency::Domain, 4, 4);
}

}  // namespace
