// fzn-nuvfd against Gecode on the same FlatZinc files (tests/fzn/e2e, made
// by regen.sh there): the same set of solutions for satisfaction problems,
// the same optimum for optimisation problems, the same final status line.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "fzn/FznOptions.h"
#include "fzn/FznSolve.h"

#ifndef NUVFD_FZN_TEST_DATA
#error "NUVFD_FZN_TEST_DATA must name tests/fzn/data"
#endif

namespace {

const std::string kDir = std::string(NUVFD_FZN_TEST_DATA) + "/../e2e/";

struct Answer {
  std::vector<std::string> solutions;  // each block before a "----------"
  std::string status;                  // the line after the last block, if any
};

// Solvers print a solution's assignments in different orders; each block is
// kept with its lines sorted.
Answer parse(const std::string& text) {
  Answer a;
  std::istringstream in(text);
  std::string line;
  std::vector<std::string> block;
  while (std::getline(in, line)) {
    if (line == "----------") {
      std::sort(block.begin(), block.end());
      std::string joined;
      for (const std::string& l : block) joined += l + "\n";
      a.solutions.push_back(joined);
      block.clear();
    } else if (line.rfind("=====", 0) == 0 || line == "==========") {
      a.status = line;
    } else {
      block.push_back(line);
    }
  }
  return a;
}

std::string slurp(const std::string& path) {
  std::ifstream f(path);
  std::stringstream ss;
  ss << f.rdbuf();
  return ss.str();
}

Answer runNuvfd(const std::string& model) {
  FznOptions o = fznParseOptions({"-a", kDir + model + ".fzn"});
  std::ostringstream out, err;
  EXPECT_EQ(fznRun(o, out, err), 0) << err.str();
  return parse(out.str());
}

class EndToEnd : public ::testing::TestWithParam<const char*> {};

TEST_P(EndToEnd, SameAnswersAsGecode) {
  const std::string model = GetParam();
  Answer ours = runNuvfd(model);
  Answer theirs = parse(slurp(kDir + model + ".expected"));
  EXPECT_EQ(ours.status, theirs.status);
  const bool optimisation = model == "t_knapsack" || model == "t_minmax";
  if (optimisation) {
    ASSERT_FALSE(ours.solutions.empty());
    ASSERT_FALSE(theirs.solutions.empty());
    EXPECT_EQ(ours.solutions.back(), theirs.solutions.back());
  } else {
    std::sort(ours.solutions.begin(), ours.solutions.end());
    std::sort(theirs.solutions.begin(), theirs.solutions.end());
    EXPECT_EQ(ours.solutions.size(), theirs.solutions.size());
    EXPECT_TRUE(ours.solutions == theirs.solutions);
  }
}

INSTANTIATE_TEST_SUITE_P(Models, EndToEnd,
                         ::testing::Values("t_queens", "t_unsat", "t_reif", "t_linear", "t_setin",
                                           "t_element", "t_arith", "t_knapsack", "t_minmax",
                                           "t_holechain"));

// Gecode has no int_pow builtin to compare with: the count is known by hand
// (b in -3..3 without 0, e in 0..3: 24 pairs; and 0^0 = 1).
TEST(EndToEndPow, CountsEveryPower) {
  Answer ours = runNuvfd("t_pow");
  EXPECT_EQ(ours.solutions.size(), 25u);
  EXPECT_EQ(ours.status, "==========");
}

}  // namespace
