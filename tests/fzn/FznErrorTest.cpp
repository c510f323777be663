#include <gtest/gtest.h>

#include <string>

#include "fzn/FznParser.h"

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

}  // namespace
