// Tokens of FlatZinc. The lexer works on the whole text in memory and never
// copies it; identifiers and number texts are views into it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "fzn/FznAst.h"

enum class FznTok : std::uint8_t {
  End,
  Ident,
  Int,
  Float,
  String,
  // keywords
  KwArray,
  KwBool,
  KwConstraint,
  KwFalse,
  KwFloat,
  KwInt,
  KwMaximize,
  KwMinimize,
  KwOf,
  KwPredicate,
  KwSatisfy,
  KwSet,
  KwSolve,
  KwTrue,
  KwVar,
  // punctuation
  ColonColon,
  Colon,
  Semicolon,
  Comma,
  DotDot,
  LBracket,
  RBracket,
  LParen,
  RParen,
  LBrace,
  RBrace,
  Equals,
};

struct FznToken {
  FznTok kind = FznTok::End;
  FznPos pos;
  std::string_view text;   // the token as written
  std::int64_t intValue = 0;
  double floatValue = 0;
  std::string stringValue;  // String: the text with escapes decoded
};

class FznLexer {
 public:
  // Texts of 2 GiB or more are rejected: positions are ints.
  FznLexer(std::string_view text, std::string file);

  // The next token; End at the end of the text (and on every later call).
  // Throws PimExecutionError for a character or literal that is not FlatZinc.
  FznToken next();

  const std::string& file() const { return _file; }
  // "identifier 'x'", "integer 3", "keyword 'var'", "';'", "end of file".
  static std::string describe(const FznToken& token);

 private:
  std::string_view _text;
  std::string _file;
  std::size_t _at = 0;
  int _line = 1;
  std::size_t _lineStart = 0;

  FznPos here() const;
  [[noreturn]] void fail(const FznPos& pos, const std::string& message) const;
  void skipSpaceAndComments();
  void lexNumber(FznToken& token);
  void lexString(FznToken& token);
};
