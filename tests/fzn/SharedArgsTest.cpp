// FlatZinc models in which one variable fills several arguments of a
// constraint (directly, or through bool2int, which the front end turns into
// the Boolean itself): every solution is enumerated and compared with the
// set worked out by hand.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <set>
#include <sstream>
#include <string>

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

// Minimised disagreements with another solver (all unsatisfiable), in the
// relations, reified relations, linear sums and connectives.
TEST(FznSharedArgs, DifferentialFindings) {
  const char* models[] = {
      "var 9..10: x1 :: output_var;\nconstraint int_ne(x1, x1);\nconstraint set_in(x1, {10});\n",
      "var bool: b1 :: output_var;\nvar -1..1: a3;\nconstraint bool_clause([], [b1]);\n"
      "constraint int_le_reif(a3, a3, b1);\n",
      "var bool: b1;\nvar {-4,-2}: a2;\nconstraint bool_not(b1, b1);\n"
      "constraint int_lt_reif(a2, a2, b1);\nconstraint set_in(a2, {-2,1,8});\n",
      "var {-3,0,1,2}: x0 :: output_var;\nvar {0,3,4}: x1 :: output_var;\nvar bool: p0;\n"
      "var bool: b1;\nconstraint int_eq_reif(x0, x1, p0);\nconstraint bool_lt_reif(p0, p0, b1);\n"
      "constraint bool_le_reif(p0, b1, b1);\nconstraint set_in(x0, {-3});\n",
      "var 0..1: a2;\nvar bool: b3;\nconstraint int_le_reif(a2, a2, b3);\n"
      "constraint bool2int(b3, a2);\nconstraint set_in(a2, {0});\n",
      "var 1..2: x2 :: output_var;\nvar bool: b1;\nconstraint bool_ne_reif(b1, b1, b1);\n"
      "constraint int_le_reif(x2, x2, b1);\nconstraint set_in(x2, {1});\n",
      "var {-1,3}: x1 :: output_var;\nvar bool: p0 :: output_var;\n"
      "constraint int_ne_reif(-1, x1, p0);\nconstraint bool_le_reif(p0, false, p0);\n"
      "constraint set_in(x1, {3});\n",
      "var {10}: x2 :: output_var;\nvar 6..8: x3 :: output_var;\nvar {-2}: x6 :: output_var;\n"
      "var bool: b2;\nconstraint int_lt_reif(x6, x2, b2);\nconstraint int_lt_reif(x3, x3, b2);\n",
      "var -2..0: x2 :: output_var;\nvar -2..0: y1 :: output_var = x2;\nvar bool: b1;\n"
      "constraint int_lin_le_reif([1], [x2], -4, b1);\nconstraint int_le_reif(x2, y1, b1);\n",
      "var {0}: x1;\nvar -2..-1: x2 :: output_var;\nvar bool: p0;\nvar bool: q0 = p0;\n"
      "var {0}: y1 :: output_var = x1;\nvar bool: b1;\nconstraint int_ne_reif(y1, y1, b1);\n"
      "constraint bool_eq_reif(b1, b1, q0);\nconstraint int_ne_reif(x2, x2, p0);\n"
      "constraint set_in(x2, {-2});\n",
      "var 2..3: x2 :: output_var;\nvar bool: b3;\nconstraint int_ne_reif(x2, x2, b3);\n"
      "constraint int_ne_reif(x2, 1, b3);\nconstraint set_in(x2, {2});\n",
  };
  for (const char* m : models) expectSolutions(std::string(m) + "solve satisfy;\n", {});
}

}  // namespace
