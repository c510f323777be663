// Sequences: sliding sums and stretches never lose a solution
// (exhaustively, across backtracking), stretches and value precedence
// reach domain consistency through their automata.
#include <gtest/gtest.h>

#include <vector>

#include "fd/NuvCPRegularI.h"
#include "fd/NuvCPSlidingSumI.h"
#include "fd/NuvCPViewIntVarI.h"
#include "tests/fd/PropagatorChecker.h"

namespace {

using namespace nuvcheck;

TEST(Sequence, SlidingSumsNeverLoseASolution) {
  std::uint32_t seed = 40;
  for (auto [q, low, up] : {std::tuple{2, 1, 3}, std::tuple{3, 2, 4}, std::tuple{5, 0, 2}}) {
    constexpr int n = 4;
    auto post = [=](NuvCPManagerI& s, const Vars& v) {
      return s.post(nuvCPNew<NuvCPSlidingSumI>(s.allocator(), &s, n, v.data(), q, low, up));
    };
    auto holds = [=](const Assignment& a) {
      for (int w = 0; w + q <= n; ++w) {
        int sum = 0;
        for (int i = w; i < w + q; ++i) sum += a[static_cast<std::size_t>(i)];
        if (sum < low || sum > up) return false;
      }
      return true;
    };
    const std::vector<std::pair<int, int>> ranges(n, {-1, 3});
    PropagatorChecker checker(randomDomains(ranges, 0.7), post, holds);
    Options o;
    o.seed = seed++;
    o.trials = 200;
    const Stats st = checker.run(o);
    EXPECT_GT(st.trialsWithSolutions, 30);
    checkShared({{0}, {1}, {0}, {2}}, ranges, post, holds, o);
    if (::testing::Test::HasFailure()) return;
  }
}

// Runs of 1 are 1..2 long, runs of 3 exactly 2 long.
bool stretchHolds(const Assignment& a) {
  for (std::size_t i = 0; i < a.size();) {
    std::size_t j = i;
    while (j < a.size() && a[j] == a[i]) ++j;
    const std::size_t len = j - i;
    if (a[i] == 1 ? len > 2 : a[i] == 3 ? len != 2 : true) return false;
    i = j;
  }
  return true;
}

// Posts an automaton over views that turn values into symbols.
int postAutomaton(NuvCPManagerI& s, const Vars& v, const NuvCPAutomatonTables& t) {
  std::vector<NuvCPIntVarI*> symbols;
  for (NuvCPIntVarI* x : v) symbols.push_back(nuvCPNew<NuvCPViewIntVarI>(s.allocator(), s.allocator(), &s, x, 1 - t.low));
  return s.post(nuvCPNew<NuvCPRegularI>(s.allocator(), &s, static_cast<int>(symbols.size()), symbols.data(), t.view()));
}

TEST(Sequence, StretchesAndValuePrecedenceAreDomainConsistent) {
  const int values[] = {3, 1}, shortest[] = {2, 1}, longest[] = {2, 2};
  const NuvCPAutomatonTables stretch = nuvCPStretchAutomaton(2, values, shortest, longest, 5);
  ASSERT_GT(stretch.states, 0);
  PropagatorChecker checker(
      randomDomains(std::vector<std::pair<int, int>>(5, {0, 3}), 0.8),
      [&](NuvCPManagerI& s, const Vars& v) { return postAutomaton(s, v, stretch); }, stretchHolds);
  Options o;
  o.seed = 7;
  o.trials = 200;
  o.consistency = Consistency::Domain;
  EXPECT_GT(checker.run(o).trialsWithSolutions, 10);
  // One variable at two positions, next to each other or apart.
  o.consistency = Consistency::None;
  const std::vector<std::pair<int, int>> five(5, {0, 3});
  auto postStretch = [&](NuvCPManagerI& s, const Vars& v) { return postAutomaton(s, v, stretch); };
  checkShared({{0}, {0}, {1}, {2}, {3}}, five, postStretch, stretchHolds, o);
  checkShared({{0}, {1}, {2}, {0}, {3}}, five, postStretch, stretchHolds, o);
  o.consistency = Consistency::Domain;
  // 2 precedes 0 over values -1..3: a 0 only after some 2.
  const NuvCPAutomatonTables precede = nuvCPValuePrecedeAutomaton(2, 0, -1, 3);
  PropagatorChecker prec(
      randomDomains(std::vector<std::pair<int, int>>(4, {-1, 3}), 0.7),
      [&](NuvCPManagerI& s, const Vars& v) { return postAutomaton(s, v, precede); },
      [](const Assignment& a) {
        bool seen = false;
        for (int v : a) {
          if (v == 0 && !seen) return false;
          seen = seen || v == 2;
        }
        return true;
      });
  o.seed = 8;
  EXPECT_GT(prec.run(o).trialsWithSolutions, 30);
  // Values that are not distinct, or a shortest run of 0, build nothing.
  const int twice[] = {1, 1};
  EXPECT_EQ(nuvCPStretchAutomaton(2, twice, shortest, longest, 5).states, 0);
}

}  // namespace
