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

}  // namespace
