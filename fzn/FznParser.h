// Recursive-descent reader of FlatZinc as MiniZinc 2.6 writes it.
//
// Items may come in any order, but the solve item must be the last one and
// appear exactly once. Errors are PimExecutionError with the file, line and
// column of the offending token and a message "expected ..., found ...".
// Nesting (arrays and calls in annotations) is limited to kMaxNesting levels
// so that hostile input cannot exhaust the stack. Parsing is linear in the
// size of the text apart from sorting set literals.
#pragma once

#include <string>
#include <string_view>

#include "fzn/FznAst.h"
#include "fzn/FznLexer.h"

class FznParser {
 public:
  static constexpr int kMaxNesting = 64;

  FznParser(std::string_view text, std::string file);

  // Reads the whole text and resolves the model's references (see
  // FznModel::resolve). Call once.
  FznModel parse();

 private:
  // What an expression may be, depending on where it stands.
  enum class Mode {
    Arg,          // constraint argument, objective, scalar value: arrays of flat elements
    Element,      // inside such an array: no nested arrays
    DeclArray,    // value of an array declaration
    DeclElement,  // inside it: no arrays, no array access
    Annotation,   // anything, including calls, strings and nested arrays
  };

  // One level of arrays or annotation calls; the depth is checked on entry.
  class Nesting {
   public:
    Nesting(FznParser& parser, const FznPos& pos);
    ~Nesting() { --_parser._depth; }

   private:
    FznParser& _parser;
  };

  FznLexer _lexer;
  FznToken _token;
  FznModel _model;
  int _depth = 0;

  void advance() { _token = _lexer.next(); }
  bool accept(FznTok kind);
  FznToken expect(FznTok kind, const char* what);
  [[noreturn]] void failHere(const std::string& expected);
  [[noreturn]] void fail(const FznPos& pos, const std::string& message);

  void parsePredicate();
  void parseDecl();
  void parseConstraint();
  void parseSolve();
  FznType parseType(bool inPredicate);
  FznExpr parseDomain();
  FznExpr parseExpr(Mode mode);
  FznExpr parseSetLiteral();
  FznExpr parseAnnotation();
  std::vector<FznExpr> parseAnnotations();
};

// Reads a FlatZinc file. Throws PimExecutionError when the file cannot be read
// or is malformed.
FznModel parseFznFile(const std::string& path);
// Reads FlatZinc from memory; `file` names it in messages.
FznModel parseFznString(std::string_view text, const std::string& file = "<string>");
