#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <sys/wait.h>

#include "fd/NuvCPModule.h"
#include "fzn/FznBuilder.h"
#include "fzn/FznParser.h"
#include "host/Rav.h"

namespace {

struct BadInput {
  const char* text;
  const char* message;  // what() of the error: "file:line:column: message"
};

std::string errorOf(std::string_view text) {
  try {
    parseFznString(text, "t.fzn");
  } catch (const PimExecutionError& e) {
    EXPECT_EQ(e.source().file, "t.fzn");
    return e.what();
  }
  return "no error";
}

TEST(FznErrors, MalformedFilesNameThePlaceAndWhatWasExpected) {
  const BadInput cases[] = {
      // structure of items
      {"", "t.fzn:1:1: expected a solve item, found end of file"},
      {"var 1..3: x;\n", "t.fzn:2:1: expected a solve item, found end of file"},
      {"var 1..3: x\nsolve satisfy;", "t.fzn:2:1: expected ';' after the declaration, found keyword 'solve'"},
      {"solve satisfy; solve satisfy;",
       "t.fzn:1:16: expected end of file after the solve item, found keyword 'solve'"},
      {"x = 3;", "t.fzn:1:1: expected an item (predicate, parameter, variable, constraint or solve), "
                 "found identifier 'x'"},
      {"solve maximise x;", "t.fzn:1:7: expected 'satisfy', 'minimize' or 'maximize', found identifier 'maximise'"},
      {"solve minimize [1];", "t.fzn:1:16: expected a single objective, found an array literal"},
      {"solve satisfy", "t.fzn:1:14: expected ';' after the solve item, found end of file"},
      // declarations
      {"int: n;", "t.fzn:1:7: expected '=' and a value for parameter 'n', found ';'"},
      {"array [1..2] of var int: a;", "t.fzn:1:27: expected '=' and an array literal for array 'a', found ';'"},
      {"array [1..3] of int: a = [1,2];",
       "t.fzn:1:26: array 'a' is declared with index set 1..3 but has 2 elements"},
      {"array [1..9223372036854775807] of int: a = [];",
       "t.fzn:1:44: array 'a' is declared with index set 1..9223372036854775807 but has 0 elements"},
      {"array [1..1] of int: a = 3;", "t.fzn:1:26: expected an array literal for 'a', found integer 3"},
      {"var int: x = [1];", "t.fzn:1:14: expected a single value for 'x', found an array literal"},
      {"var 1..3: x; var 1..3: x;",
       "t.fzn:1:14: duplicate declaration of 'x' (first declared at line 1, column 1)"},
      {"array [int] of int: a = [];", "t.fzn:1:8: expected an index set 1..n, found keyword 'int'"},
      {"array [1..2, 1..2] of int: a = [];", "t.fzn:1:12: expected ']' after the index set, found ','"},
      {"var 1..2.0: x;", "t.fzn:1:8: expected an integer upper bound, found float 2.0"},
      {"var set of {1.5}: x;", "t.fzn:1:12: expected a set of integers after 'set of', found a set of floats"},
      {"var set of 1.0..2.0: x;",
       "t.fzn:1:12: expected 'int', a range or a set of integers after 'set of', found float 1.0"},
      {"var set of bool: x;", "t.fzn:1:12: expected 'int', a range or a set of integers after 'set of', "
                              "found keyword 'bool'"},
      {"var string: x;", "t.fzn:1:5: expected a type (bool, int, float, set of int, a range or a set), "
                         "found identifier 'string'"},
      {"var {1, 2.0}: x;", "t.fzn:1:9: expected an integer in the set, found float 2.0"},
      {"var {1 2}: x;", "t.fzn:1:8: expected ',' or '}' in the set, found integer 2"},
      {"var 1..3 x;", "t.fzn:1:10: expected ':' after the type, found identifier 'x'"},
      {"var 1..3: 5;", "t.fzn:1:11: expected a name, found integer 5"},
      // expressions and annotations
      {"constraint int_le(1 2);", "t.fzn:1:21: expected ',' or ')' after the argument, found integer 2"},
      {"constraint int_le(1, );", "t.fzn:1:22: expected an expression, found ')'"},
      {"constraint f(\"s\");", "t.fzn:1:14: a string is only allowed in an annotation"},
      {"constraint f([[1]]);", "t.fzn:1:15: nested arrays are only allowed in annotations"},
      {"constraint f(g(1));", "t.fzn:1:15: expected ',' or ')' after the argument, found '('"},
      {"constraint f([1,2,]);", "t.fzn:1:19: expected an expression, found ']'"},
      {"constraint f(x[y]);", "t.fzn:1:16: expected an integer index, found identifier 'y'"},
      {"array [1..1] of var int: a = [b[1]];",
       "t.fzn:1:32: array access is not allowed inside an array declaration"},
      {"var 1..3: x :: ; solve satisfy;", "t.fzn:1:16: expected an annotation name after '::', found ';'"},
      {"var 1..3: x :: f(1,); solve satisfy;", "t.fzn:1:20: expected an expression, found ')'"},
      {"var 1..3: x :: 3; solve satisfy;", "t.fzn:1:16: expected an annotation name after '::', found integer 3"},
      {"predicate p(var int x);", "t.fzn:1:21: expected ':' after the parameter type, found identifier 'x'"},
      {"predicate p(int: x;", "t.fzn:1:19: expected ',' or ')' in the parameter list, found ';'"},
      // references, checked once the whole file is read
      {"constraint int_le(x, 3);\nsolve satisfy;", "t.fzn:1:19: unknown identifier 'x'"},
      {"var int: x = y; var int: y = x; solve satisfy;", "t.fzn:1:1: cyclic definition of 'x'"},
      {"var int: x = x; solve satisfy;", "t.fzn:1:1: cyclic definition of 'x'"},
      {"var int: x = a[1]; array [1..1] of var int: a = [x]; solve satisfy;",
       "t.fzn:1:1: cyclic definition of 'x'"},
      {"array [1..2] of var int: a = [1,2];\nconstraint int_le(a[3], 1);\nsolve satisfy;",
       "t.fzn:2:19: index 3 is out of range 1..2 of array 'a'"},
      {"var 1..2: a;\nconstraint int_le(a[1], 1);\nsolve satisfy;", "t.fzn:2:19: 'a' is not an array"},
      {"var 1..2: x; int: n = x; solve satisfy;",
       "t.fzn:1:23: parameter 'n' needs a fixed value, found variable 'x'"},
      {"var 1..2: x; array [1..2] of int: c = [1, x]; solve satisfy;",
       "t.fzn:1:43: parameter array 'c' needs fixed values, found variable 'x'"},
      {"array [1..1] of var int: a = [1]; var int: y = a; solve satisfy;",
       "t.fzn:1:48: expected a single value for 'y', found array of variables 'a'"},
      {"solve minimize nowhere;", "t.fzn:1:16: unknown identifier 'nowhere'"},
      // tokens
      {"var 1..3: x; solve satisfy @", "t.fzn:1:28: unexpected character '@'"},
      {"\x01", "t.fzn:1:1: unexpected character byte 0x01"},
      {"var 1..3: x;\n\n\t\xff", "t.fzn:3:2: unexpected character byte 0xFF"},
      {"var 1.3: x;", "t.fzn:1:8: expected '..' in the domain, found ':'"},
      {"var 1...3: x;", "t.fzn:1:8: unexpected character '.' (expected '..')"},
      {"var 1..3: x :: f(\"abc); solve satisfy;",
       "t.fzn:1:18: unterminated string: expected '\"' before the end of the line"},
      {"var 1..3: x :: f(\"a\nb\");", "t.fzn:1:18: unterminated string: expected '\"' before the end of the line"},
      {"var 1..3: x :: f(\"a\\qb\");", "t.fzn:1:20: unknown escape sequence '\\q' in string"},
      {"var 1..3: x; /* solve satisfy;", "t.fzn:1:14: unterminated comment: expected '*/', found end of file"},
      {"int: n = 9223372036854775808;", "t.fzn:1:10: integer literal out of the 64-bit range: 9223372036854775808"},
      {"int: n = -9223372036854775809;",
       "t.fzn:1:10: integer literal out of the 64-bit range: -9223372036854775809"},
      {"int: n = 0x;", "t.fzn:1:10: expected digits after '0x'"},
      {"int: n = 0x10000000000000000;", "t.fzn:1:10: integer literal out of the 64-bit range: 0x10000000000000000"},
      {"float: f = 1e999;", "t.fzn:1:12: float literal out of range: 1e999"},
      {"var int: _ ;", "t.fzn:1:10: an identifier needs a letter or digit: '_'"},
      {"int: n = - 3;", "t.fzn:1:10: unexpected character '-'"},
  };
  for (const BadInput& c : cases) EXPECT_EQ(errorOf(c.text), c.message) << "input: " << c.text;
}

TEST(FznErrors, NestingIsLimited) {
  auto nested = [](int depth) {
    std::string text = "solve :: ";
    for (int i = 0; i < depth; ++i) text += "f(";
    text += "1";
    for (int i = 0; i < depth; ++i) text += ")";
    return text + " satisfy;";
  };
  EXPECT_EQ(errorOf(nested(FznParser::kMaxNesting)), "no error");
  EXPECT_EQ(errorOf(nested(FznParser::kMaxNesting + 1)),
            "t.fzn:1:" + std::to_string(10 + 2 * FznParser::kMaxNesting) +
                ": expressions are nested more than 64 levels deep");
  // A million open brackets fails at the limit instead of overflowing the stack.
  EXPECT_EQ(errorOf("solve :: f(" + std::string(1000000, '[') + " satisfy;"),
            "t.fzn:1:75: expressions are nested more than 64 levels deep");
}

TEST(FznErrors, LongTokensAreClippedInMessages) {
  std::string name(100000, 'a');
  EXPECT_EQ(errorOf("var 1..3: x; " + name),
            "t.fzn:1:14: expected an item (predicate, parameter, variable, constraint or solve), found "
            "identifier '" + std::string(37, 'a') + "...'");
}

// ---- builtin arguments ------------------------------------------------------------

// Parses and builds: the error ("file:line:column: message"), or "ok" or
// "unsat". Every build error must carry the file and a real line.
std::string buildErrorOf(const std::string& text) {
  RavProgram program;
  program.getMgr()->setTraceLevel(-1);
  nuvfdModuleRegistry(&program, nullptr);
  RavRuntime rt(program);
  try {
    FznModel m = parseFznString(text, "t.fzn");
    FznBuilder b(m, rt, rt.create("CP$Store", 0));
    return b.build() ? "ok" : "unsat";
  } catch (const PimExecutionError& e) {
    EXPECT_EQ(e.source().file, "t.fzn") << text;
    EXPECT_GE(e.source().line, 1) << text;
    EXPECT_GE(e.source().column, 1) << text;
    return e.what();
  }
}

const char* const kVars =
    "var 1..3: x; var 1..3: y; var bool: b; var bool: c;\n"
    "array [1..2] of var bool: bs = [b, x];\n"
    "array [1..2] of int: cs = [1, 2];\n";

TEST(FznErrors, BuiltinsCheckTheirArgumentCount) {
  const BadInput cases[] = {
      {"constraint array_bool_or();", "t.fzn:4:1: constraint array_bool_or: expected 2 arguments, found 0"},
      {"constraint array_int_element();",
       "t.fzn:4:1: constraint array_int_element: expected 3 arguments, found 0"},
      {"constraint int_eq_reif(x, 1);", "t.fzn:4:1: constraint int_eq_reif: expected 3 arguments, found 2"},
      {"constraint int_le(x, y, 1);", "t.fzn:4:1: constraint int_le: expected 2 arguments, found 3"},
      {"constraint bool_xor(b);", "t.fzn:4:1: constraint bool_xor: expected 2 to 3 arguments, found 1"},
      {"constraint array_bool_xor([b], c);",
       "t.fzn:4:1: constraint array_bool_xor: expected 1 argument, found 2"},
      // A bool2int the builder would turn into an alias is checked as well.
      {"constraint bool2int(b);", "t.fzn:4:1: constraint bool2int: expected 2 arguments, found 1"},
  };
  for (const BadInput& c : cases)
    EXPECT_EQ(buildErrorOf(kVars + std::string(c.text) + "\nsolve satisfy;"), c.message)
        << "input: " << c.text;
}

TEST(FznErrors, BuiltinsCheckTheTypeOfEachArgument) {
  const BadInput cases[] = {
      {"constraint int_le(x, true);",
       "t.fzn:4:22: constraint int_le: argument 2: expected an integer variable or constant, found "
       "Boolean true"},
      {"constraint int_le(b, x);",
       "t.fzn:4:19: constraint int_le: argument 1: expected an integer variable or constant, found "
       "Boolean variable 'b'"},
      {"constraint bool_eq(b, 1);",
       "t.fzn:4:23: constraint bool_eq: argument 2: expected a Boolean variable or constant, found "
       "integer 1"},
      {"constraint bool2int(x, y);",
       "t.fzn:4:21: constraint bool2int: argument 1: expected a Boolean variable or constant, found "
       "integer variable 'x'"},
      {"constraint int_plus(x, y, cs);",
       "t.fzn:4:27: constraint int_plus: argument 3: expected an integer variable or constant, found "
       "array parameter 'cs'"},
      {"constraint array_bool_and([b, x], c);",
       "t.fzn:4:27: constraint array_bool_and: argument 1: element 2: expected a Boolean variable or "
       "constant, found integer variable 'x'"},
      // Through a declared array, still at the call.
      {"constraint array_bool_or(bs, c);",
       "t.fzn:4:26: constraint array_bool_or: argument 1: element 2: expected a Boolean variable or "
       "constant, found integer variable 'x'"},
      {"constraint int_lin_eq([1, x], [x, y], 3);",
       "t.fzn:4:23: constraint int_lin_eq: argument 1: element 2: expected an integer constant, found "
       "integer variable 'x'"},
      {"constraint int_lin_le([1], [x], y);",
       "t.fzn:4:33: constraint int_lin_le: argument 3: expected an integer constant, found integer "
       "variable 'y'"},
      {"constraint int_lin_le(x, [x], 1);",
       "t.fzn:4:23: constraint int_lin_le: argument 1: expected an array of integer constants, found "
       "integer variable 'x'"},
      {"constraint array_bool_element(x, [1, 0], b);",
       "t.fzn:4:34: constraint array_bool_element: argument 2: element 1: expected a Boolean "
       "constant, found integer 1"},
      {"constraint set_in(x, 3);",
       "t.fzn:4:22: constraint set_in: argument 2: expected a set of integers, found integer 3"},
      {"constraint int_eq(x, 1.5);",
       "t.fzn:4:22: constraint int_eq: argument 2: expected an integer variable or constant, found "
       "float 1.5"},
  };
  for (const BadInput& c : cases)
    EXPECT_EQ(buildErrorOf(kVars + std::string(c.text) + "\nsolve satisfy;"), c.message)
        << "input: " << c.text;
}

TEST(FznErrors, PairedArraysHaveTheSameLength) {
  const BadInput cases[] = {
      {"constraint int_lin_le([1, 2], [x], 2);",
       "t.fzn:4:31: constraint int_lin_le: argument 2 has 1 element but argument 1 has 2"},
      {"constraint int_lin_ne([1, 2], [x, y, x], 2);",
       "t.fzn:4:31: constraint int_lin_ne: argument 2 has 3 elements but argument 1 has 2"},
      {"constraint int_lin_eq_reif(cs, [x], 2, b);",
       "t.fzn:4:32: constraint int_lin_eq_reif: argument 2 has 1 element but argument 1 has 2"},
      {"constraint bool_lin_eq([1, 2], [b], x);",
       "t.fzn:4:32: constraint bool_lin_eq: argument 2 has 1 element but argument 1 has 2"},
      {"constraint bool_lin_le([1], [b, c], 1);",
       "t.fzn:4:29: constraint bool_lin_le: argument 2 has 2 elements but argument 1 has 1"},
  };
  for (const BadInput& c : cases)
    EXPECT_EQ(buildErrorOf(kVars + std::string(c.text) + "\nsolve satisfy;"), c.message)
        << "input: " << c.text;
}

TEST(FznErrors, WhatMiniZincEmitsIsAccepted) {
  const char* ok[] = {
      "constraint bool_eq(b, true);",
      "constraint bool2int(b, x);",
      "constraint bool_xor(b, c);",
      "constraint bool_xor(b, c, true);",
      "constraint array_bool_and([b, true], c);",
      "constraint array_bool_element(x, [true, false, true], b);",
      "constraint array_var_bool_element(x, [b, c, true], b);",
      "constraint int_lin_eq(cs, [x, 3], 7);",
      "constraint int_eq_reif(x, 2, true);",
      "constraint set_in(x, {1, 3});",
      "constraint bool_lin_eq([1, 2], [b, c], y);",
  };
  for (const char* c : ok) EXPECT_EQ(buildErrorOf(kVars + std::string(c) + "\nsolve satisfy;"), "ok") << c;
}

// Constants anywhere in 64 bits: a correct answer or a clear error.
TEST(FznErrors, ExtremeConstantsAreHandledOrRefused) {
  const BadInput cases[] = {
      {"constraint int_lt(x, -9223372036854775808);", "unsat"},
      {"constraint int_lt(9223372036854775807, x);", "unsat"},
      {"constraint int_le(-9223372036854775808, 9223372036854775807);", "ok"},
      {"constraint int_lt_reif(9223372036854775807, -9223372036854775808, b);", "ok"},
      {"constraint int_lin_le_reif([1, 1], [x, y], -9223372036854775808, false);", "ok"},
      {"constraint int_lin_le([1, -1], [x, y], 9223372036854775807);", "ok"},
      {"constraint int_lin_eq_reif([1, -1], [x, y], -9223372036854775807, b);", "ok"},
      {"constraint int_lin_le([3, 5], [x, y], 23);", "ok"},  // holds at the upper bounds
      {"constraint int_lin_eq([2147483647, -2147483648], [x, 3], 9223372036854775807);", "unsat"},
      {"constraint array_int_element(x, [9223372036854775807, 1, 2], 2);", "ok"},
      {"constraint set_in_reif(x, -9223372036854775808..9223372036854775807, b);", "ok"},
      {"constraint int_lin_le([4611686018427387904], [x], 9223372036854775807);",
       "t.fzn:4:23: constraint int_lin_le: argument 1: element 1: coefficient 4611686018427387904 "
       "does not fit in 32 bits"},
      {"constraint int_lin_le([1000000000, 1000000000, 1000000000], [x, y, x], 5000000000);",
       "t.fzn:4:1: the right-hand side of the linear constraint does not fit in 32 bits"},
      {"constraint int_lin_le([2000000000, 2000000000, 1], [x, x, y], 7000000000);",
       "t.fzn:4:1: a coefficient of the linear constraint does not fit in 32 bits"},
      {"var int: z; constraint set_in(z, {-1000000000, 1000000000});",
       "t.fzn:4:13: constraint set_in: 1999999999 values to clear from a domain; nuvfd clears at "
       "most 4194304 in a model"},
      {"var {-1073741823, 1073741822}: z;",
       "t.fzn:4:1: the domain of variable 'z': 2147483644 values to clear from a domain; nuvfd "
       "clears at most 4194304 in a model"},
      // The limit is on the model's total.
      {"var {0, 3000000}: z; var {0, 3000000}: w;",
       "t.fzn:4:22: the domain of variable 'w': 2999999 values to clear from a domain; nuvfd "
       "clears at most 4194304 in a model"},
      {"var {0, 4000000}: z;", "ok"},
  };
  for (const BadInput& c : cases)
    EXPECT_EQ(buildErrorOf(kVars + std::string(c.text) + "\nsolve satisfy;"), c.message)
        << "input: " << c.text;
}

TEST(FznErrors, EmptyDomainsAndArraysMakeTheModelUnsatisfiable) {
  const char* unsat[] = {
      "var 3..1: z :: output_var;",
      "var 3..1: z :: output_var; constraint int_le(z, x);\nsolve minimize z;",
      "var {}: z; constraint int_le(z, x);",
      "var 5..9: z = x;",
      "constraint array_int_element(x, [], y);",
      "constraint array_var_int_element(x, [], y);",
      "constraint array_int_minimum(x, []);",
      "constraint set_in(x, {});",
  };
  for (const char* c : unsat) {
    std::string text = kVars + std::string(c);
    if (text.find("solve") == std::string::npos) text += "\nsolve satisfy;";
    EXPECT_EQ(buildErrorOf(text), "unsat") << c;
  }
}

#ifdef NUVFD_FZN_BINARY
// Through the program: a refused model exits with status 1 and one line on
// stderr; an empty domain is an answer, not an error.
TEST(FznErrors, TheProgramExitsWithStatusOneOnRefusedModels) {
  struct Run {
    int status;
    std::string out, err;
  };
  auto run = [](const std::string& text) {
    const std::string dir = ::testing::TempDir();
    const std::string file = dir + "fzn_error_test.fzn";
    std::ofstream(file) << text;
    const std::string cmd = std::string(NUVFD_FZN_BINARY) + " " + file + " >" + dir +
                            "fzn_error_test.out 2>" + dir + "fzn_error_test.err";
    const int raw = std::system(cmd.c_str());
    auto slurp = [](const std::string& path) {
      std::ifstream in(path);
      return std::string(std::istreambuf_iterator<char>(in), {});
    };
    return Run{WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, slurp(dir + "fzn_error_test.out"),
               slurp(dir + "fzn_error_test.err")};
  };
  const std::pair<const char*, const char*> bad[] = {
      {"var 1..3: x;\nconstraint int_lin_le([1,2],[x],2);\nsolve satisfy;\n",
       ":2:29: constraint int_lin_le: argument 2 has 1 element but argument 1 has 2\n"},
      {"var 1..3: x;\nconstraint int_eq_reif(x,1);\nsolve satisfy;\n",
       ":2:1: constraint int_eq_reif: expected 3 arguments, found 2\n"},
      {"var 1..3: x;\nconstraint int_le(x,true);\nsolve satisfy;\n",
       ":2:21: constraint int_le: argument 2: expected an integer variable or constant, found "
       "Boolean true\n"},
  };
  for (const auto& [text, message] : bad) {
    const Run r = run(text);
    EXPECT_EQ(r.status, 1) << text;
    EXPECT_EQ(r.out, "") << text;
    ASSERT_GE(r.err.size(), std::string(message).size()) << text;
    EXPECT_EQ(r.err.substr(r.err.size() - std::string(message).size()), message) << text;
  }
  const Run r = run("var 3..1: x :: output_var;\nsolve satisfy;\n");
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "=====UNSATISFIABLE=====\n");
}
#endif

}  // namespace
