// Lexicographic order: domain consistency and no lost solution
// (exhaustively, across backtracking), strict and not, equal and different
// lengths, a variable in both arrays.
#include <gtest/gtest.h>

#include <vector>

#include "fd/NuvCPLexI.h"
#include "tests/fd/PropagatorChecker.h"

namespace {

using namespace nuvcheck;

// Positions: x[0..nx), y[0..ny).
bool lexHolds(int nx, int ny, bool strict, const Assignment& a) {
  for (int i = 0; i < std::min(nx, ny); ++i) {
    const int xi = a[static_cast<std::size_t>(i)], yi = a[static_cast<std::size_t>(nx + i)];
    if (xi != yi) return xi < yi;
  }
  return nx < ny || (nx == ny && !strict);
}

TEST(Lex, DomainConsistentAndNeverLosesASolution) {
  std::uint32_t seed = 3;
  for (auto [nx, ny] : {std::pair{3, 3}, std::pair{2, 3}, std::pair{3, 2}, std::pair{4, 4}})
    for (bool strict : {false, true}) {
      SCOPED_TRACE(::testing::Message() << nx << " x " << ny << ", strict " << strict);
      std::vector<std::pair<int, int>> ranges(static_cast<std::size_t>(nx + ny), {0, 3});
      auto post = [=](NuvCPManagerI& s, const Vars& v) {
        return s.post(nuvCPNew<NuvCPLexI>(s.allocator(), &s, nx, v.data(), ny, v.data() + nx, strict));
      };
      auto holds = [=](const Assignment& a) { return lexHolds(nx, ny, strict, a); };
      PropagatorChecker checker(randomDomains(ranges, 0.6), post, holds);
      Options o;
      o.seed = seed++;
      o.trials = 250;
      o.maxAssignments = 70000;
      o.consistency = Consistency::Domain;
      const Stats st = checker.run(o);
      EXPECT_GT(st.trialsWithSolutions, 50);
      EXPECT_GT(st.trialsFailedAtPost + st.failures, 0);
      // x0 is also y1 (or y0 when the arrays are short).
      Filling f;
      for (int i = 0; i < nx + ny; ++i) f.push_back({i == nx + 1 ? 0 : i < nx + 1 ? i : i - 1});
      Options so = o;
      so.consistency = Consistency::None;
      so.trials = 120;
      checkShared(f, ranges, post, holds, so);
      if (::testing::Test::HasFailure()) return;
    }
}

}  // namespace
