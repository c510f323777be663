// fzn-nuvfd's answers on small models written here: each assignment of the
// printed variables comes once with -a (introduced variables are only
// completed), -n bounds the count with or without -a, and optimisation
// still proves the optimum.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "fzn/FznOptions.h"
#include "fzn/FznSolve.h"

namespace {

struct Output {
  std::vector<std::string> solutions;  // each block before a "----------"
  std::string status;                  // the final status line, if any
};

Output solve(const std::string& fzn, std::vector<std::string> args) {
  const std::string path = ::testing::TempDir() + "fzn_solve_test.fzn";
  {
    std::ofstream f(path);
    f << fzn;
  }
  args.push_back(path);
  std::ostringstream out, err;
  EXPECT_EQ(fznRun(fznParseOptions(args), out, err), 0) << err.str();
  std::remove(path.c_str());
  Output r;
  std::istringstream in(out.str());
  std::string line, block;
  while (std::getline(in, line)) {
    if (line == "----------") {
      r.solutions.push_back(block);
      block.clear();
    } else if (line.rfind("=====", 0) == 0) {
      r.status = line;
    } else {
      block += line + "\n";
    }
  }
  EXPECT_EQ(block, "") << "text after the last solution";
  return r;
}

std::size_t distinct(const Output& r) {
  return std::set<std::string>(r.solutions.begin(), r.solutions.end()).size();
}

const char* const kIntroduced =
    "var 1..3: x :: output_var;\n"
    "var bool: b :: var_is_introduced;\n"
    "var 0..4: y :: var_is_introduced;\n"
    "solve :: int_search([x], input_order, indomain_min, complete) satisfy;\n";

TEST(FznSolve, IntroducedVariablesAreCompletedNotEnumerated) {
  Output all = solve(kIntroduced, {"-a"});
  EXPECT_EQ(all.solutions, (std::vector<std::string>{"x = 1;\n", "x = 2;\n", "x = 3;\n"}));
  EXPECT_EQ(all.status, "==========");
  // Without annotations too.
  Output free = solve(kIntroduced, {"-a", "-f"});
  EXPECT_EQ(free.solutions.size(), 3u);
  EXPECT_EQ(distinct(free), 3u);
  EXPECT_EQ(free.status, "==========");
}

TEST(FznSolve, WhatIsPrintedOrDeclaredIsSearchedInFull) {
  // z is the model's own (no var_is_introduced) though not printed: its
  // values are answers of their own. t is introduced but printed through
  // an array: searched in full too. u is introduced and only completed.
  const char* fzn =
      "var 1..2: x :: output_var;\n"
      "var 1..2: z;\n"
      "var 0..1: t :: var_is_introduced;\n"
      "var 0..5: u :: var_is_introduced;\n"
      "array [1..2] of var int: a :: output_array([1..2]) = [x, t];\n"
      "constraint int_le(t, u);\n"
      "solve satisfy;\n";
  Output r = solve(fzn, {"-a"});
  EXPECT_EQ(r.solutions.size(), 8u);  // x, z, t: 2 * 2 * 2
  EXPECT_EQ(r.status, "==========");
}

TEST(FznSolve, AFailedCompletionRemovesTheAnswerAndLosesNoOther) {
  // y = x + 1 and y = 2 * k, both introduced: x = 2 leaves no completion
  // (y = 3 is odd), x = 1 and x = 3 have one each.
  const char* fzn =
      "var 1..3: x :: output_var;\n"
      "var 0..9: y :: var_is_introduced :: is_defined_var;\n"
      "var 0..4: k :: var_is_introduced;\n"
      "constraint int_lin_eq([1, -1], [y, x], 1) :: defines_var(y);\n"
      "constraint int_lin_eq([1, -2], [y, k], 0);\n"
      "solve :: int_search([x], input_order, indomain_min, complete) satisfy;\n";
  Output r = solve(fzn, {"-a"});
  EXPECT_EQ(r.solutions, (std::vector<std::string>{"x = 1;\n", "x = 3;\n"}));
  EXPECT_EQ(r.status, "==========");
}

TEST(FznSolve, SolutionCountWithAndWithoutAllSolutions) {
  Output two = solve(kIntroduced, {"-a", "-n", "2"});
  EXPECT_EQ(two.solutions.size(), 2u);
  EXPECT_EQ(two.status, "");  // stopped early: nothing proven
  EXPECT_EQ(solve(kIntroduced, {"-n", "2"}).solutions.size(), 2u);
  EXPECT_EQ(solve(kIntroduced, {}).solutions.size(), 1u);
  // More than there are: the search ends by itself and says so.
  Output many = solve(kIntroduced, {"-a", "-n", "10"});
  EXPECT_EQ(many.solutions.size(), 3u);
  EXPECT_EQ(many.status, "==========");
}

TEST(FznSolve, OptimisationWithIntroducedVariablesFindsTheOptimum) {
  // The objective depends on an introduced variable that nothing defines:
  // o = x + y with y in 0..3 but y != 3, so the best, o = 4, needs x = 2
  // and the right completion y = 2.
  const char* fzn =
      "var 0..2: x :: output_var;\n"
      "var 0..3: y :: var_is_introduced;\n"
      "var 0..5: o :: output_var;\n"
      "constraint int_lin_eq([1, 1, -1], [x, y, o], 0);\n"
      "constraint int_ne(y, 3);\n"
      "solve :: int_search([x], input_order, indomain_min, complete) maximize o;\n";
  Output best = solve(fzn, {});
  ASSERT_EQ(best.solutions.size(), 1u);
  EXPECT_EQ(best.solutions[0], "x = 2;\no = 4;\n");
  EXPECT_EQ(best.status, "==========");
  Output improving = solve(fzn, {"-a"});
  ASSERT_FALSE(improving.solutions.empty());
  EXPECT_EQ(improving.solutions.back(), "x = 2;\no = 4;\n");
  EXPECT_EQ(distinct(improving), improving.solutions.size());
}

}  // namespace
