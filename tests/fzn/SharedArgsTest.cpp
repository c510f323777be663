// FlatZinc models in which one variable fills several arguments of a
// constraint (directly, or through bool2int, which the front end turns into
// the Boolean itself), and a failure found while the front end narrows a
// domain itself (set_in): every solution is enumerated and compared with the
// set worked out by hand. The minimised disagreements with another solver
// are replayed from tests/diff/regress.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "fzn/FznOptions.h"
#include "fzn/FznSolve.h"

namespace {

struct Answer {
  std::set<std::string> solutions;  // each block's lines, sorted and joined by spaces
  std::string status;
  int count = 0;
};

Answer solveAll(const std::string& model) {
  const std::string path = ::testing::TempDir() + "shared_args_" +
                           std::to_string(std::hash<std::string>{}(model)) + ".fzn";
  {
    std::ofstream f(path);
    f << model;
  }
  FznOptions o = fznParseOptions({"-a", path});
  std::ostringstream out, err;
  EXPECT_EQ(fznRun(o, out, err), 0) << err.str();
  std::remove(path.c_str());
  Answer a;
  std::istringstream in(out.str());
  std::string line;
  std::vector<std::string> block;
  while (std::getline(in, line)) {
    if (line == "----------") {
      std::sort(block.begin(), block.end());
      std::string joined;
      for (const std::string& l : block) joined += (joined.empty() ? "" : " ") + l;
      a.solutions.insert(joined);
      ++a.count;
      block.clear();
    } else if (line.rfind("=====", 0) == 0) {
      a.status = line;
    } else {
      block.push_back(line);
    }
  }
  return a;
}

void expectSolutions(const std::string& model, std::set<std::string> want) {
  const Answer a = solveAll(model);
  SCOPED_TRACE(model);
  if (want.empty()) {
    EXPECT_EQ(a.status, "=====UNSATISFIABLE=====");
    EXPECT_EQ(a.count, 0);
    return;
  }
  EXPECT_EQ(a.status, "==========");
  EXPECT_EQ(a.count, static_cast<int>(want.size())) << "a solution printed twice";
  EXPECT_EQ(a.solutions, want);
}

const char* kX = "var 0..2: x :: output_var;\n";
const char* kXB = "var 0..2: x :: output_var;\nvar bool: b :: output_var;\n";
// b's 0/1 integer, the same variable as b once the front end has read it.
const char* kBi = "var 0..1: bi;\nconstraint bool2int(b, bi);\n";

std::string model(const std::string& decls, const std::string& constraint) {
  return decls + "constraint " + constraint + ";\nsolve satisfy;\n";
}

TEST(FznSharedArgs, RelationsOfAVariableWithItself) {
  expectSolutions(model(kX, "int_lt(x, x)"), {});
  // Found by the differential tester: x < x bound x to its own new bound.
  expectSolutions("var 0..2: x1 :: output_var;\nconstraint int_lt(x1, x1);\nsolve maximize x1;\n", {});
  expectSolutions(model(kX, "int_ne(x, x)"), {});
  expectSolutions(model(kX, "int_le(x, x)"), {"x = 0;", "x = 1;", "x = 2;"});
  expectSolutions(model(kX, "int_eq(x, x)"), {"x = 0;", "x = 1;", "x = 2;"});
  expectSolutions(model(kX, "int_lin_le([1, 1], [x, x], 3)"), {"x = 0;", "x = 1;"});
  expectSolutions(model(kX, "int_lin_eq([1, -1], [x, x], 1)"), {});
  expectSolutions(model(kX, "int_lin_ne([2, -1], [x, x], 1)"), {"x = 0;", "x = 2;"});
}

TEST(FznSharedArgs, ReifiedRelationsWithTheOperandsShared) {
  const std::set<std::string> bTrue = {"b = true; x = 0;", "b = true; x = 1;", "b = true; x = 2;"};
  const std::set<std::string> bFalse = {"b = false; x = 0;", "b = false; x = 1;",
                                        "b = false; x = 2;"};
  expectSolutions(model(kXB, "int_le_reif(x, x, b)"), bTrue);
  expectSolutions(model(kXB, "int_eq_reif(x, x, b)"), bTrue);
  expectSolutions(model(kXB, "int_lt_reif(x, x, b)"), bFalse);
  expectSolutions(model(kXB, "int_ne_reif(x, x, b)"), bFalse);
  expectSolutions(model(kXB, "int_lin_eq_reif([1, -1], [x, x], 0, b)"), bTrue);
  expectSolutions(model(kXB, "int_lin_le_reif([2, -1], [x, x], -1, b)"), bFalse);
}

TEST(FznSharedArgs, ReifiedRelationsWithTheControlAsAnOperand) {
  const std::string d = std::string(kXB) + kBi;
  // b <=> x == b: x = 1 either way, x = 2 only with b false, x = 0 never.
  expectSolutions(model(d, "int_eq_reif(x, bi, b)"),
                  {"b = false; x = 1;", "b = true; x = 1;", "b = false; x = 2;"});
  // b <=> x != b: the pairs the equality rejects.
  expectSolutions(model(d, "int_ne_reif(x, bi, b)"),
                  {"b = false; x = 0;", "b = true; x = 0;", "b = true; x = 2;"});
  // b <=> x <= b: true with x <= 1; false needs x > 0.
  expectSolutions(model(d, "int_le_reif(x, bi, b)"),
                  {"b = true; x = 0;", "b = true; x = 1;", "b = false; x = 1;", "b = false; x = 2;"});
  // b <=> b < x: true needs x = 2; false needs x = 0.
  expectSolutions(model(d, "int_lt_reif(bi, x, b)"), {"b = true; x = 2;", "b = false; x = 0;"});
  // b <=> x + b <= 1: true with x = 0, false with x = 2.
  expectSolutions(model(d, "int_lin_le_reif([1, 1], [x, bi], 1, b)"),
                  {"b = true; x = 0;", "b = false; x = 2;"});
  // b <=> 2x - b == 1: true with x = 1; false with any x (2x is never 1).
  expectSolutions(model(d, "int_lin_eq_reif([2, -1], [x, bi], 1, b)"),
                  {"b = true; x = 1;", "b = false; x = 0;", "b = false; x = 1;", "b = false; x = 2;"});
  // A unary relation reified by a view of its own operand: b <=> b >= 1.
  expectSolutions(model(std::string("var bool: b :: output_var;\n") + kBi, "int_le_reif(1, bi, b)"),
                  {"b = false;", "b = true;"});
  expectSolutions(model(std::string("var bool: b :: output_var;\n") + kBi, "int_eq_reif(bi, 0, b)"),
                  {});
}

TEST(FznSharedArgs, ConnectivesOverRepeatedBooleans) {
  const std::string ab = "var bool: a :: output_var;\nvar bool: b :: output_var;\n";
  const std::set<std::string> equal = {"a = false; b = false;", "a = true; b = true;"};
  const std::set<std::string> implies = {"a = false; b = false;", "a = false; b = true;",
                                         "a = true; b = true;"};
  expectSolutions(model(ab, "bool_and(a, a, b)"), equal);
  expectSolutions(model(ab, "bool_or(a, a, b)"), equal);
  expectSolutions(model(ab, "bool_and(a, b, a)"), implies);  // a <=> a /\ b: a -> b
  // a <=> b \/ a: b -> a.
  expectSolutions(model(ab, "bool_or(b, a, a)"),
                  {"a = false; b = false;", "a = true; b = false;", "a = true; b = true;"});
  expectSolutions(model(ab, "bool_xor(a, a, b)"), {"a = false; b = false;", "a = true; b = false;"});
  expectSolutions(model(ab, "bool_eq_reif(a, a, b)"), {"a = false; b = true;", "a = true; b = true;"});
  expectSolutions(model(ab, "bool_clause_reif([a], [a], b)"),
                  {"a = false; b = true;", "a = true; b = true;"});
  expectSolutions(model(ab, "array_bool_and([a, b], a)"), implies);
}

// The solutions as a sorted list (each block's lines sorted and joined by
// spaces), then the final status line.
using Listing = std::vector<std::string>;
Listing solveSorted(const std::string& model) {
  const Answer a = solveAll(model);
  EXPECT_EQ(a.count, static_cast<int>(a.solutions.size())) << "a solution printed twice";
  Listing out(a.solutions.begin(), a.solutions.end());
  out.push_back(a.status);
  return out;
}
const std::string kUnsat = "=====UNSATISFIABLE=====";
const std::string kDone = "==========";

TEST(FznSharedArgs, FailureOutsideAPostSetInThatEmptiesAMinimumIsUnsatisfiable) {
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
  EXPECT_EQ(solveSorted(model), Listing{kUnsat});
  // The same with the narrowing done before the minimum is posted.
  EXPECT_EQ(solveSorted(R"(var -2..2: x0 :: output_var;
var -3..0: x3 :: output_var;
var -30..30: a1 :: output_var;
constraint int_min(x0,x3,a1);
constraint int_ne(a1,x3);
constraint set_in(x3,{-2,2});
solve satisfy;
)"),
            Listing{kUnsat});
}

TEST(FznSharedArgs, ElementWhoseIndexIsAlsoTheResult) {
  // No i in {1, 3, 4} with a[i] == i (the index printed as its own value was
  // a wrong answer).
  EXPECT_EQ(solveSorted("var {1,3,4}: x1 :: output_var;\n"
                     "constraint array_int_element(x1,[3,1,4,-5,-1],x1);\nsolve satisfy;\n"),
            Listing{kUnsat});
  // Through a view: a[x] == x + 1.
  EXPECT_EQ(solveSorted("var -3..6: x :: output_var;\nvar -3..6: y :: output_var;\n"
                     "constraint int_plus(x,1,y);\n"
                     "constraint array_int_element(x,[2,3,3,5,4],y);\nsolve satisfy;\n"),
            (Listing{"x = 1; y = 2;", "x = 2; y = 3;", "x = 4; y = 5;", kDone}));
  // The index is also an entry of the variable array.
  EXPECT_EQ(solveSorted("var 0..3: x0 :: output_var;\nvar 0..3: x4 :: output_var;\n"
                     "var 0..3: x2 :: output_var;\n"
                     "constraint array_var_int_element(x0,[x4,x0],x2);\n"
                     "constraint int_lin_eq([1,1],[x0,x2],3);\nsolve satisfy;\n"),
            (Listing{"x0 = 1; x2 = 2; x4 = 2;", kDone}));
}

TEST(FznSharedArgs, ArithmeticWithOneVariableInSeveralPlaces) {
  // x * x == y and y div x == x.
  EXPECT_EQ(solveSorted("var -4..4: x :: output_var;\nvar -4..4: y :: output_var;\n"
                     "constraint int_times(x,x,y);\nconstraint int_div(y,x,x);\nsolve satisfy;\n"),
            (Listing{"x = -1; y = 1;", "x = -2; y = 4;", "x = 1; y = 1;", "x = 2; y = 4;", kDone}));
  // x mod x is 0 wherever it is defined.
  EXPECT_EQ(solveSorted("var {-1,0,2,3}: x0 :: output_var;\n"
                     "constraint int_mod(x0, x0, x0);\nsolve satisfy;\n"),
            Listing{kUnsat});
  EXPECT_EQ(solveSorted("var {-2,1}: x0 :: output_var;\nvar 0..1: x1 :: output_var;\n"
                     "constraint int_mod(x0, x0, x1);\nconstraint set_in(x1, {-2,1});\n"
                     "solve satisfy;\n"),
            Listing{kUnsat});
  EXPECT_EQ(solveSorted("var {1,6}: x3 :: output_var;\nvar {1,6}: a1;\n"
                     "constraint int_div(x3, x3, a1);\nconstraint set_in(a1, {6});\n"
                     "solve satisfy;\n"),
            Listing{kUnsat});
  // min(x, x) == y, max(y, x) == x, then x mod x == x has no solution.
  EXPECT_EQ(solveSorted("var -4..4: x :: output_var;\nvar -4..4: y :: output_var;\n"
                     "constraint int_min(x,x,y);\nconstraint int_max(y,x,x);\n"
                     "constraint int_mod(x,y,x);\nsolve satisfy;\n"),
            Listing{kUnsat});
  // |x| == x and y mod x == y.
  EXPECT_EQ(solveSorted("var -4..4: x :: output_var;\nvar -4..4: y :: output_var;\n"
                     "constraint int_abs(x,x);\nconstraint int_mod(y,x,y);\n"
                     "constraint int_lt(x,4);\nsolve satisfy;\n"),
            (Listing{"x = 1; y = 0;", "x = 2; y = -1;", "x = 2; y = 0;", "x = 2; y = 1;",
                    "x = 3; y = -1;", "x = 3; y = -2;", "x = 3; y = 0;", "x = 3; y = 1;",
                    "x = 3; y = 2;", kDone}));
  // x * y == x and x^x == y: 0^0 == 1 and 1^1 == 1 only.
  EXPECT_EQ(solveSorted("var -3..4: x :: output_var;\nvar -3..4: y :: output_var;\n"
                     "constraint int_times(x,y,x);\nconstraint int_pow(x,x,y);\nsolve satisfy;\n"),
            (Listing{"x = 0; y = 1;", "x = 1; y = 1;", kDone}));
  // m == min(m, x, x) and m < x: every pair m < x of -3..3.
  const Answer mins = solveAll("var -3..3: x :: output_var;\nvar -3..3: m :: output_var;\n"
                               "constraint array_int_minimum(m,[m,x,x]);\n"
                               "constraint int_lin_le([1,-1],[m,x],-1);\nsolve satisfy;\n");
  EXPECT_EQ(mins.count, 21);
  EXPECT_EQ(mins.solutions.size(), 21u);
  EXPECT_EQ(mins.status, kDone);
}

}  // namespace
