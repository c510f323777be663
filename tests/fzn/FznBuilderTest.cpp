// Building FlatZinc models through the module's native classes: what is
// refused, and how, before any search runs.
#include <gtest/gtest.h>

#include <string>

#include "fd/NuvCPModule.h"
#include "fzn/FznBuilder.h"
#include "fzn/FznOptions.h"
#include "fzn/FznParser.h"

namespace {

class FznBuilderTest : public ::testing::Test {
 protected:
  FznBuilderTest() {
    program.getMgr()->setTraceLevel(-1);
    nuvfdModuleRegistry(&program, nullptr);
  }
  // The build error's "file:line:column: message", or "ok"/"unsat".
  std::string build(const std::string& text) {
    FznModel m = parseFznString(text, "t.fzn");
    NuvNativeObject* store = rt.create("CP$Store", 0);
    FznBuilder b(m, rt, store);
    try {
      return b.build() ? "ok" : "unsat";
    } catch (const PimError& e) {
      return e.what();
    }
  }
  RavProgram program;
  RavRuntime rt{program};
};

TEST_F(FznBuilderTest, UnsupportedConstructsAreNamedWithTheirLine) {
  EXPECT_EQ(build("var 0.0..1.0: f;\nsolve satisfy;"),
            "t.fzn:1:1: float variables are not supported by this build of nuvfd (variable 'f')");
  EXPECT_EQ(build("var int: x;\nvar set of 1..3: s;\nsolve satisfy;"),
            "t.fzn:2:1: set variables are not supported by this build of nuvfd (variable 's')");
  EXPECT_EQ(build("var 1..3: x;\nconstraint foo(x);\nsolve satisfy;"),
            "t.fzn:2:1: constraint 'foo' is not supported by this build of nuvfd");
  EXPECT_EQ(build("var 1..3: x;\nvar 1..3: y;\nconstraint float_lin_eq([1.0],[x],1.0);\nsolve satisfy;"),
            "t.fzn:3:1: constraint 'float_lin_eq' is not supported by this build of nuvfd (float "
            "constraints are not available yet)");
}

TEST_F(FznBuilderTest, ValuesOutsideTheIntegerRangeAreRefusedNotClamped) {
  EXPECT_EQ(build("var 0..2000000000: x;\nsolve satisfy;"),
            "t.fzn:1:1: the domain of variable 'x' (0..2000000000) leaves nuvfd's integer range "
            "-1073741823..1073741822");
  // A constant beyond the range is no reason to refuse a model it cannot affect.
  EXPECT_EQ(build("var 0..5: x;\nconstraint int_le(x, 3000000000);\nsolve satisfy;"), "ok");
  EXPECT_EQ(build("var 0..5: x;\nconstraint int_eq(x, 3000000000);\nsolve satisfy;"), "unsat");
}

TEST_F(FznBuilderTest, TriviallyFailingModelsAreUnsatisfiable) {
  EXPECT_EQ(build("var 1..0: x;\nsolve satisfy;"), "unsat");
  EXPECT_EQ(build("var 1..5: x;\nconstraint set_in(x, {7,9});\nsolve satisfy;"), "unsat");
  EXPECT_EQ(build("constraint int_le(3, 2);\nsolve satisfy;"), "unsat");
  EXPECT_EQ(build("var 1..9: x;\nconstraint set_in(x, {2,4});\nsolve satisfy;"), "ok");
}

TEST(FznOptions, FlagsMiniZincForwards) {
  FznOptions o = fznParseOptions({"-a", "-s", "-t", "1500", "-r", "7", "-p", "2", "m.fzn"});
  EXPECT_TRUE(o.allSolutions);
  EXPECT_TRUE(o.stats);
  EXPECT_EQ(o.timeLimitMs, 1500);
  EXPECT_EQ(o.seed, 7u);
  EXPECT_EQ(o.file, "m.fzn");
  EXPECT_THROW(fznParseOptions({"-t"}), std::invalid_argument);
  EXPECT_THROW(fznParseOptions({"-n", "x", "m.fzn"}), std::invalid_argument);
  EXPECT_THROW(fznParseOptions({"--bogus", "m.fzn"}), std::invalid_argument);
  EXPECT_THROW(fznParseOptions({}), std::invalid_argument);
}

}  // namespace
