// Small FlatZinc models whose answers are known by hand: one variable in
// several argument positions of an arithmetic or element constraint, and a
// failure found while the front end narrows a domain itself (set_in). Every
// solution is listed (-a), so a wrong answer and a lost one both show.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "fzn/FznOptions.h"
#include "fzn/FznSolve.h"

namespace {

// The solutions, each as its assignment lines joined by spaces in the
// printed order, then the final status line.
std::vector<std::string> solveAll(const std::string& model) {
  const std::string path = ::testing::TempDir() + "nuvfd_shared_args.fzn";
  {
    std::ofstream f(path);
    f << model;
  }
  FznOptions o = fznParseOptions({"-a", path});
  std::ostringstream out, err;
  EXPECT_EQ(fznRun(o, out, err), 0) << err.str();
  std::vector<std::string> answer;
  std::istringstream in(out.str());
  std::string line, block;
  while (std::getline(in, line)) {
    if (line == "----------") {
      answer.push_back(block);
      block.clear();
    } else if (line.rfind("=====", 0) == 0) {
      std::sort(answer.begin(), answer.end());
      answer.push_back(line);
    } else {
      block += (block.empty() ? "" : " ") + line;
    }
  }
  return answer;
}

using Answer = std::vector<std::string>;
const std::string kUnsat = "=====UNSATISFIABLE=====";
const std::string kDone = "==========";

TEST(FailureOutsideAPost, SetInThatEmptiesAMinimumIsUnsatisfiable) {
  // x3 + x1 <= x1 forces x3 <= 0, so set_in leaves x3 == -2; then
  // min(x0, -2) == -2 == x3 breaks int_ne.
  const std::string model = R"(var -2..2: x0 :: output_var;
var 0..1: x1 :: output_var;
var -3..-2: x2 :: output_var;
var -3..2: x3 :: output_var;
var -30..30: a0;
var -30..30: a1;
var -30..30: a2;
constraint int_plus(x3,x1,a0);
constraint int_le(a0,x1);
constraint int_min(x0,x3,a1);
constraint int_ne(a1,x3);
constraint set_in(x3,{-2,2,5});
solve satisfy;
)";
  EXPECT_EQ(solveAll(model), Answer{kUnsat});
  // The same with the narrowing done before the minimum is posted.
  // Failures that set_in's narrowing reaches through a reified relation and
  // an element over Booleans (the disagreements the differential tester
  // found for this fault).
  EXPECT_EQ(solveAll("var bool: p0 :: output_var;\nvar 0..1: a1;\n"
                     "constraint bool2int(p0, a1);\nconstraint set_in_reif(a1, {-2,0}, p0);\n"
                     "constraint set_in(a1, {-4,1});\nsolve satisfy;\n"),
            Answer{kUnsat});
  EXPECT_EQ(solveAll("var 1..2: x0;\nvar {4}: x2;\nvar bool: p0 :: output_var;\n"
                     "array [1..1] of int: C1 = [1];\n"
                     "constraint array_bool_element(x0, [true, false], p0);\n"
                     "constraint int_lin_le_reif(C1, [x2], 5, p0);\n"
                     "constraint set_in(x0, {2});\nsolve satisfy;\n"),
            Answer{kUnsat});
  EXPECT_EQ(solveAll("var 1..2: x0;\nvar bool: p0 :: output_var;\n"
                     "constraint array_bool_element(x0, [true, false], p0);\n"
                     "constraint bool_eq(p0, true);\nconstraint set_in(x0, {2});\n"
                     "solve satisfy;\n"),
            Answer{kUnsat});
  EXPECT_EQ(solveAll(R"(var -2..2: x0 :: output_var;
var -3..0: x3 :: output_var;
var -30..30: a1 :: output_var;
constraint int_min(x0,x3,a1);
constraint int_ne(a1,x3);
constraint set_in(x3,{-2,2});
solve satisfy;
)"),
            Answer{kUnsat});
}

TEST(SharedArgumentsEndToEnd, ElementWhoseIndexIsAlsoTheResult) {
  // No i in {1, 3, 4} with a[i] == i (the index printed as its own value was
  // a wrong answer).
  EXPECT_EQ(solveAll("var {1,3,4}: x1 :: output_var;\n"
                     "constraint array_int_element(x1,[3,1,4,-5,-1],x1);\nsolve satisfy;\n"),
            Answer{kUnsat});
  // Through a view: a[x] == x + 1.
  EXPECT_EQ(solveAll("var -3..6: x :: output_var;\nvar -3..6: y :: output_var;\n"
                     "constraint int_plus(x,1,y);\n"
                     "constraint array_int_element(x,[2,3,3,5,4],y);\nsolve satisfy;\n"),
            (Answer{"x = 1; y = 2;", "x = 2; y = 3;", "x = 4; y = 5;", kDone}));
  // The index is also an entry of the variable array.
  EXPECT_EQ(solveAll("var 0..3: x0 :: output_var;\nvar 0..3: x4 :: output_var;\n"
                     "var 0..3: x2 :: output_var;\n"
                     "constraint array_var_int_element(x0,[x4,x0],x2);\n"
                     "constraint int_lin_eq([1,1],[x0,x2],3);\nsolve satisfy;\n"),
            (Answer{"x0 = 1; x4 = 2; x2 = 2;", kDone}));
}

TEST(SharedArgumentsEndToEnd, ArithmeticWithOneVariableInSeveralPlaces) {
  // x * x == y and y div x == x.
  EXPECT_EQ(solveAll("var -4..4: x :: output_var;\nvar -4..4: y :: output_var;\n"
                     "constraint int_times(x,x,y);\nconstraint int_div(y,x,x);\nsolve satisfy;\n"),
            (Answer{"x = -1; y = 1;", "x = -2; y = 4;", "x = 1; y = 1;", "x = 2; y = 4;", kDone}));
  // x mod x is 0 wherever it is defined.
  EXPECT_EQ(solveAll("var {-1,0,2,3}: x0 :: output_var;\n"
                     "constraint int_mod(x0, x0, x0);\nsolve satisfy;\n"),
            Answer{kUnsat});
  EXPECT_EQ(solveAll("var {-2,1}: x0 :: output_var;\nvar 0..1: x1 :: output_var;\n"
                     "constraint int_mod(x0, x0, x1);\nconstraint set_in(x1, {-2,1});\n"
                     "solve satisfy;\n"),
            Answer{kUnsat});
  EXPECT_EQ(solveAll("var {1,6}: x3 :: output_var;\nvar {1,6}: a1;\n"
                     "constraint int_div(x3, x3, a1);\nconstraint set_in(a1, {6});\n"
                     "solve satisfy;\n"),
            Answer{kUnsat});
  // min(x, x) == y, max(y, x) == x, then x mod x == x has no solution.
  EXPECT_EQ(solveAll("var -4..4: x :: output_var;\nvar -4..4: y :: output_var;\n"
                     "constraint int_min(x,x,y);\nconstraint int_max(y,x,x);\n"
                     "constraint int_mod(x,y,x);\nsolve satisfy;\n"),
            Answer{kUnsat});
  // |x| == x and y mod x == y.
  EXPECT_EQ(solveAll("var -4..4: x :: output_var;\nvar -4..4: y :: output_var;\n"
                     "constraint int_abs(x,x);\nconstraint int_mod(y,x,y);\n"
                     "constraint int_lt(x,4);\nsolve satisfy;\n"),
            (Answer{"x = 1; y = 0;", "x = 2; y = -1;", "x = 2; y = 0;", "x = 2; y = 1;",
                    "x = 3; y = -1;", "x = 3; y = -2;", "x = 3; y = 0;", "x = 3; y = 1;",
                    "x = 3; y = 2;", kDone}));
  // x * y == x and x^x == y: 0^0 == 1 and 1^1 == 1 only.
  EXPECT_EQ(solveAll("var -3..4: x :: output_var;\nvar -3..4: y :: output_var;\n"
                     "constraint int_times(x,y,x);\nconstraint int_pow(x,x,y);\nsolve satisfy;\n"),
            (Answer{"x = 0; y = 1;", "x = 1; y = 1;", kDone}));
  // m == min(m, x, x) and m < x: every pair m < x of -3..3.
  const Answer mins = solveAll("var -3..3: x :: output_var;\nvar -3..3: m :: output_var;\n"
                               "constraint array_int_minimum(m,[m,x,x]);\n"
                               "constraint int_lin_le([1,-1],[m,x],-1);\nsolve satisfy;\n");
  EXPECT_EQ(mins.size(), 22u);
  EXPECT_EQ(mins.back(), kDone);
}

}  // namespace
