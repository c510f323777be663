// The FlatZinc shapes of non-linear arithmetic that pick a special
// propagator: bool2int(b) * x (the 0/1 product) and int_abs over a
// difference too large to walk. All solutions are listed with -a and checked
// against the brute-force count and the relation.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "fzn/FznOptions.h"
#include "fzn/FznSolve.h"

namespace {

// The solutions printed, each as name -> value ("true"/"false" as 1/0).
// `nodes`, when given, receives the search's node count.
std::vector<std::map<std::string, int>> allSolutions(const std::string& fzn, int* nodes = nullptr) {
  const std::string path = ::testing::TempDir() + "fzn_arith_test.fzn";
  {
    std::ofstream f(path);
    f << fzn;
  }
  std::ostringstream out, err;
  EXPECT_EQ(fznRun(fznParseOptions({"-a", "-s", path}), out, err), 0) << err.str();
  if (nodes) {
    const auto at = out.str().find("%%%mzn-stat: nodes=");
    EXPECT_NE(at, std::string::npos);
    *nodes = std::atoi(out.str().c_str() + at + 19);
  }
  std::remove(path.c_str());
  std::vector<std::map<std::string, int>> sols;
  std::map<std::string, int> cur;
  std::istringstream in(out.str());
  std::string line;
  while (std::getline(in, line)) {
    if (line == "----------") {
      sols.push_back(cur);
      cur.clear();
      continue;
    }
    const auto eq = line.find(" = ");
    if (eq == std::string::npos) continue;
    std::string v = line.substr(eq + 3);
    if (!v.empty() && v.back() == ';') v.pop_back();
    cur[line.substr(0, eq)] = v == "true" ? 1 : v == "false" ? 0 : std::atoi(v.c_str());
  }
  return sols;
}

TEST(FznArith, Bool2IntProductsAndAWideAbsoluteValue) {
  // t = bool2int(b1) * x + y * bool2int(b2) (the 0/1 factor first and
  // second), and |x - y - 300 * k| >= 2 through a difference over a range
  // far past the walking cut-off.
  const char* fzn =
      "var bool: b1 :: output_var;\n"
      "var bool: b2 :: output_var;\n"
      "var -3..4: x :: output_var;\n"
      "var -2..3: y :: output_var;\n"
      "var 0..1: k :: output_var;\n"
      "var 0..1: i1 :: var_is_introduced;\n"
      "var 0..1: i2 :: var_is_introduced;\n"
      "var -20..20: p :: var_is_introduced;\n"
      "var -20..20: q :: var_is_introduced;\n"
      "var -10..10: t :: output_var;\n"
      "var -2000..2000: d :: var_is_introduced;\n"
      "var 2..2000: a :: var_is_introduced;\n"
      "constraint bool2int(b1, i1);\n"
      "constraint bool2int(b2, i2);\n"
      "constraint int_times(i1, x, p);\n"
      "constraint int_times(y, i2, q);\n"
      "constraint int_lin_eq([1, 1, -1], [p, q, t], 0);\n"
      "constraint int_lin_eq([1, -1, -300, -1], [x, y, k, d], 0);\n"
      "constraint int_abs(d, a);\n"
      "solve satisfy;\n";
  int expected = 0;
  for (int b1 = 0; b1 <= 1; ++b1)
    for (int b2 = 0; b2 <= 1; ++b2)
      for (int x = -3; x <= 4; ++x)
        for (int y = -2; y <= 3; ++y)
          for (int k = 0; k <= 1; ++k) expected += std::abs(x - y - 300 * k) >= 2;
  const auto sols = allSolutions(fzn);
  EXPECT_EQ(static_cast<int>(sols.size()), expected);
  std::set<std::map<std::string, int>> distinct(sols.begin(), sols.end());
  EXPECT_EQ(distinct.size(), sols.size());
  for (const auto& s : sols) {
    EXPECT_EQ(s.at("t"), s.at("b1") * s.at("x") + s.at("y") * s.at("b2"));
    EXPECT_GE(std::abs(s.at("x") - s.at("y") - 300 * s.at("k")), 2);
  }
}

TEST(FznArith, AbsReasonsOnBoundsUnlessDomainIsAsked) {
  // |x| == y with y even: only ::domain removes x's odd values before the
  // search meets them; both find the same seven solutions.
  auto model = [](const char* ann) {
    return std::string("var -6..6: x :: output_var;\n"
                       "var {0, 2, 4, 6}: y :: output_var;\n"
                       "constraint int_abs(x, y)") +
           ann + ";\nsolve :: int_search([x], input_order, indomain_min, complete) satisfy;\n";
  };
  int bounds = 0, domain = 0;
  const auto a = allSolutions(model(""), &bounds);
  const auto b = allSolutions(model(" :: domain"), &domain);
  EXPECT_EQ(a, b);
  ASSERT_EQ(a.size(), 7u);
  for (const auto& s : a) EXPECT_EQ(std::abs(s.at("x")), s.at("y"));
  EXPECT_LT(domain, bounds);
}

}  // namespace
