// Binary knapsack: every strength never loses a packing nor accepts a wrong
// one (exhaustively, across backtracking); the dynamic programmes reach
// domain consistency, also on the load's holes; shared variables stay sound.
#include <gtest/gtest.h>

#include <vector>

#include "fd/NuvCPKnapsackI.h"
#include "tests/fd/PropagatorChecker.h"

namespace {

using namespace nuvcheck;

// Positions: the n items, then the load.
bool weighs(const std::vector<int>& w, const Assignment& a) {
  long sum = 0;
  for (std::size_t i = 0; i < w.size(); ++i) {
    if (a[i] < 0 || a[i] > 1) return false;
    sum += long{w[i]} * a[i];
  }
  return sum == a[w.size()];
}

Post postKnapsack(std::vector<int> w, NuvCPKnapsackI::Strength strength) {
  return [=](NuvCPManagerI& s, const Vars& v) {
    const int n = static_cast<int>(w.size());
    return s.post(nuvCPNew<NuvCPKnapsackI>(s.allocator(), &s, n, v.data(), w.data(), v[static_cast<std::size_t>(n)],
                                          strength));
  };
}

TEST(Knapsack, EveryStrengthIsSoundAndTheProgrammesAreDomainConsistent) {
  using S = NuvCPKnapsackI::Strength;
  std::uint32_t seed = 120;
  const std::vector<std::vector<int>> weights = {{2, 3, 5, 7}, {1, 1, 4, 0, 6}, {70, 3, 64, 9}};
  for (const auto& w : weights)
    for (S strength : {S::Light, S::Dense, S::Sparse}) {
      SCOPED_TRACE(::testing::Message() << "items " << w.size() << ", strength " << strength);
      int total = 0;
      for (int x : w) total += x;
      std::vector<std::pair<int, int>> ranges(w.size(), {0, 1});
      ranges.push_back({-2, total + 2});
      PropagatorChecker checker(randomDomains(ranges, 0.8), postKnapsack(w, strength),
                                [=](const Assignment& a) { return weighs(w, a); });
      Options o;
      o.seed = seed++;
      o.trials = 150;
      o.maxAssignments = 20000;
      o.consistency = strength == S::Light ? Consistency::None : Consistency::Domain;
      const Stats st = checker.run(o);
      EXPECT_GT(st.trialsWithSolutions, 20);
      // One variable at two item positions, or as an item and the load.
      o.consistency = Consistency::None;
      o.trials = 60;
      const std::size_t n = w.size();
      Filling twice, asLoad;
      for (std::size_t i = 0; i <= n; ++i) {
        twice.push_back({i == 0 ? 0 : static_cast<int>(i) - 1});
        asLoad.push_back({i == n ? 0 : static_cast<int>(i)});
      }
      std::vector<std::pair<int, int>> small = ranges;
      small[n] = {0, 3};
      checkShared(twice, ranges, postKnapsack(w, strength), [=](const Assignment& a) { return weighs(w, a); }, o);
      checkShared(asLoad, small, postKnapsack(w, strength), [=](const Assignment& a) { return weighs(w, a); }, o);
      if (::testing::Test::HasFailure()) return;
    }
}

}  // namespace
