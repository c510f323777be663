#include "fzn/FznParser.h"

#include <algorithm>
#include <fstream>
#include <limits>

namespace {

FznExpr makeIntRange(FznPos pos, std::int64_t low, std::int64_t high) {
  FznExpr r;
  r.kind = FznExprKind::IntRange;
  r.pos = pos;
  r.low.i = low;
  r.high.i = high;
  return r;
}

FznExpr makeFloatRange(FznPos pos, double low, double high) {
  FznExpr r;
  r.kind = FznExprKind::FloatRange;
  r.pos = pos;
  r.low.f = low;
  r.high.f = high;
  return r;
}

// Sorts the ranges of a set and merges overlapping and adjacent ones, so
// consumers see one canonical form whatever the writer chose.
void normaliseIntSet(FznExpr& set) {
  auto& items = set.items;
  std::erase_if(items, [](const FznExpr& r) { return r.intValue() > r.intHigh(); });
  std::sort(items.begin(), items.end(),
            [](const FznExpr& a, const FznExpr& b) { return a.intValue() < b.intValue(); });
  std::size_t out = 0;
  for (std::size_t i = 0; i < items.size(); ++i) {
    if (out > 0) {
      FznExpr& last = items[out - 1];
      bool touches = last.intHigh() == std::numeric_limits<std::int64_t>::max() ||
                     items[i].intValue() <= last.intHigh() + 1;
      if (touches) {
        last.high.i = std::max(last.intHigh(), items[i].intHigh());
        continue;
      }
    }
    items[out++] = std::move(items[i]);
  }
  items.resize(out);
}

void normaliseFloatSet(FznExpr& set) {
  auto& items = set.items;
  std::erase_if(items, [](const FznExpr& r) { return r.floatValue() > r.floatHigh(); });
  std::sort(items.begin(), items.end(),
            [](const FznExpr& a, const FznExpr& b) { return a.floatValue() < b.floatValue(); });
  std::size_t out = 0;
  for (std::size_t i = 0; i < items.size(); ++i) {
    if (out > 0 && items[i].floatValue() <= items[out - 1].floatHigh()) {
      items[out - 1].high.f = std::max(items[out - 1].floatHigh(), items[i].floatHigh());
      continue;
    }
    items[out++] = std::move(items[i]);
  }
  items.resize(out);
}

}  // namespace

FznParser::FznParser(std::string_view text, std::string file) : _lexer(text, file) {
  _model.file = std::move(file);
}

bool FznParser::accept(FznTok kind) {
  if (_token.kind != kind) return false;
  advance();
  return true;
}

FznToken FznParser::expect(FznTok kind, const char* what) {
  if (_token.kind != kind) failHere(what);
  FznToken token = std::move(_token);
  advance();
  return token;
}

void FznParser::failHere(const std::string& expected) {
  fail(_token.pos, "expected " + expected + ", found " + FznLexer::describe(_token));
}

void FznParser::fail(const FznPos& pos, const std::string& message) {
  throw PimExecutionError(PimSource(_model.file, pos.line, pos.column), message);
}

FznModel FznParser::parse() {
  advance();
  for (;;) {
    switch (_token.kind) {
      case FznTok::KwPredicate:
        parsePredicate();
        continue;
      case FznTok::KwArray:
      case FznTok::KwVar:
      case FznTok::KwBool:
      case FznTok::KwInt:
      case FznTok::KwFloat:
      case FznTok::KwSet:
        parseDecl();
        continue;
      case FznTok::KwConstraint:
        parseConstraint();
        continue;
      case FznTok::KwSolve:
        parseSolve();
        break;
      case FznTok::End:
        failHere("a solve item");
      default:
        failHere("an item (predicate, parameter, variable, constraint or solve)");
    }
    break;
  }
  if (_token.kind != FznTok::End) failHere("end of file after the solve item");
  _model.resolve();
  return std::move(_model);
}

void FznParser::parsePredicate() {
  FznPredicate p;
  p.pos = _token.pos;
  advance();
  p.name = std::string(expect(FznTok::Ident, "a predicate name").text);
  expect(FznTok::LParen, "'('");
  if (_token.kind != FznTok::RParen) {
    do {
      FznPredicateParam param;
      param.type = parseType(true);
      expect(FznTok::Colon, "':' after the parameter type");
      param.name = std::string(expect(FznTok::Ident, "a parameter name").text);
      // Writers attach context annotations such as ::promise_ctx_monotone to
      // parameters; they say nothing the reader needs.
      parseAnnotations();
      p.params.push_back(std::move(param));
    } while (accept(FznTok::Comma));
  }
  expect(FznTok::RParen, "',' or ')' in the parameter list");
  expect(FznTok::Semicolon, "';' after the predicate declaration");
  _model.predicates.push_back(std::move(p));
}

FznType FznParser::parseType(bool inPredicate) {
  FznType type;
  if (accept(FznTok::KwArray)) {
    expect(FznTok::LBracket, "'[' after 'array'");
    do {
      FznIndexSet index;
      if (inPredicate && accept(FznTok::KwInt)) {
        index.anyInt = true;
      } else {
        index.low = expect(FznTok::Int, inPredicate ? "an index set (int or 1..n)" : "an index set 1..n")
                        .intValue;
        expect(FznTok::DotDot, "'..' in the index set");
        index.high = expect(FznTok::Int, "the upper bound of the index set").intValue;
      }
      type.indexSets.push_back(index);
    } while (inPredicate && accept(FznTok::Comma));
    expect(FznTok::RBracket, "']' after the index set");
    expect(FznTok::KwOf, "'of' after the index set");
  }
  if (accept(FznTok::KwVar)) type.isVar = true;
  switch (_token.kind) {
    case FznTok::KwBool:
      type.base = FznBaseType::Bool;
      advance();
      break;
    case FznTok::KwInt:
      type.base = FznBaseType::Int;
      advance();
      break;
    case FznTok::KwFloat:
      type.base = FznBaseType::Float;
      advance();
      break;
    case FznTok::KwSet:
      advance();
      expect(FznTok::KwOf, "'of' after 'set'");
      type.base = FznBaseType::IntSet;
      if (accept(FznTok::KwInt)) break;
      if (_token.kind != FznTok::Int && _token.kind != FznTok::LBrace)
        failHere("'int', a range or a set of integers after 'set of'");
      type.domain = parseDomain();
      if (type.domain->kind != FznExprKind::IntSet)
        fail(type.domain->pos, "expected a set of integers after 'set of', found a set of floats");
      break;
    case FznTok::Int:
    case FznTok::Float:
    case FznTok::LBrace:
      type.domain = parseDomain();
      type.base =
          type.domain->kind == FznExprKind::IntSet ? FznBaseType::Int : FznBaseType::Float;
      break;
    default:
      failHere("a type (bool, int, float, set of int, a range or a set)");
  }
  return type;
}

FznExpr FznParser::parseDomain() {
  if (_token.kind == FznTok::LBrace) return parseSetLiteral();
  FznExpr set;
  set.pos = _token.pos;
  if (_token.kind == FznTok::Int) {
    std::int64_t low = _token.intValue;
    advance();
    expect(FznTok::DotDot, "'..' in the domain");
    std::int64_t high = expect(FznTok::Int, "an integer upper bound").intValue;
    set.kind = FznExprKind::IntSet;
    set.items.push_back(makeIntRange(set.pos, low, high));
    normaliseIntSet(set);
    return set;
  }
  double low = expect(FznTok::Float, "a domain").floatValue;
  expect(FznTok::DotDot, "'..' in the domain");
  double high = expect(FznTok::Float, "a float upper bound").floatValue;
  set.kind = FznExprKind::FloatSet;
  set.items.push_back(makeFloatRange(set.pos, low, high));
  normaliseFloatSet(set);
  return set;
}

void FznParser::parseDecl() {
  FznDecl d;
  d.pos = _token.pos;
  d.type = parseType(false);
  expect(FznTok::Colon, "':' after the type");
  FznToken name = expect(FznTok::Ident, "a name");
  d.name = std::string(name.text);
  d.symbol = _model.intern(name.text);
  d.annotations = parseAnnotations();
  if (accept(FznTok::Equals)) d.value = parseExpr(d.isArray() ? Mode::DeclArray : Mode::Arg);
  if (!d.value) {
    if (!d.isVar()) failHere("'=' and a value for parameter '" + d.name + "'");
    if (d.isArray()) failHere("'=' and an array literal for array '" + d.name + "'");
  }
  if (d.value && d.isArray()) {
    if (d.value->kind != FznExprKind::Array)
      fail(d.value->pos, "expected an array literal for '" + d.name + "', found " +
                             _model.describe(*d.value));
    const FznIndexSet& index = d.type.indexSets.front();
    // Compare in 128 bits: the index bounds may be anything a 64-bit literal holds.
    __int128 declared = static_cast<__int128>(index.high) - index.low + 1;
    if (declared < 0) declared = 0;
    if (declared != static_cast<__int128>(d.value->items.size()))
      fail(d.value->pos, "array '" + d.name + "' is declared with index set " +
                             std::to_string(index.low) + ".." + std::to_string(index.high) +
                             " but has " + std::to_string(d.value->items.size()) + " elements");
  } else if (d.value && d.value->kind == FznExprKind::Array) {
    fail(d.value->pos, "expected a single value for '" + d.name + "', found an array literal");
  }
  expect(FznTok::Semicolon, "';' after the declaration");
  _model.decls.push_back(std::move(d));
  _model.declareLast();
}

void FznParser::parseConstraint() {
  FznConstraint c;
  c.pos = _token.pos;
  advance();
  c.symbol = _model.intern(expect(FznTok::Ident, "a predicate name").text);
  expect(FznTok::LParen, "'(' after the predicate name");
  if (_token.kind != FznTok::RParen) {
    do c.args.push_back(parseExpr(Mode::Arg));
    while (accept(FznTok::Comma));
  }
  expect(FznTok::RParen, "',' or ')' after the argument");
  c.annotations = parseAnnotations();
  expect(FznTok::Semicolon, "';' after the constraint");
  _model.constraints.push_back(std::move(c));
}

void FznParser::parseSolve() {
  FznSolve& s = _model.solve;
  s.pos = _token.pos;
  advance();
  s.annotations = parseAnnotations();
  if (accept(FznTok::KwSatisfy)) {
    s.kind = FznSolveKind::Satisfy;
  } else if (_token.kind == FznTok::KwMinimize || _token.kind == FznTok::KwMaximize) {
    s.kind = _token.kind == FznTok::KwMinimize ? FznSolveKind::Minimize : FznSolveKind::Maximize;
    advance();
    s.objective = parseExpr(Mode::Arg);
    if (s.objective->kind == FznExprKind::Array)
      fail(s.objective->pos, "expected a single objective, found an array literal");
  } else {
    failHere("'satisfy', 'minimize' or 'maximize'");
  }
  expect(FznTok::Semicolon, "';' after the solve item");
}

std::vector<FznExpr> FznParser::parseAnnotations() {
  std::vector<FznExpr> annotations;
  while (accept(FznTok::ColonColon)) annotations.push_back(parseAnnotation());
  return annotations;
}

FznExpr FznParser::parseAnnotation() {
  if (_token.kind != FznTok::Ident) failHere("an annotation name after '::'");
  return parseExpr(Mode::Annotation);
}

FznExpr FznParser::parseExpr(Mode mode) {
  FznExpr e;
  e.pos = _token.pos;
  switch (_token.kind) {
    case FznTok::KwTrue:
    case FznTok::KwFalse:
      e.kind = FznExprKind::Bool;
      e.low.i = _token.kind == FznTok::KwTrue ? 1 : 0;
      advance();
      return e;
    case FznTok::Int: {
      std::int64_t low = _token.intValue;
      advance();
      if (!accept(FznTok::DotDot)) {
        e.kind = FznExprKind::Int;
        e.low.i = low;
        return e;
      }
      std::int64_t high = expect(FznTok::Int, "an integer after '..'").intValue;
      e.kind = FznExprKind::IntSet;
      e.items.push_back(makeIntRange(e.pos, low, high));
      normaliseIntSet(e);
      return e;
    }
    case FznTok::Float: {
      double low = _token.floatValue;
      advance();
      if (!accept(FznTok::DotDot)) {
        e.kind = FznExprKind::Float;
        e.low.f = low;
        return e;
      }
      double high = expect(FznTok::Float, "a float after '..'").floatValue;
      e.kind = FznExprKind::FloatSet;
      e.items.push_back(makeFloatRange(e.pos, low, high));
      normaliseFloatSet(e);
      return e;
    }
    case FznTok::LBrace:
      return parseSetLiteral();
    case FznTok::String:
      if (mode != Mode::Annotation) fail(e.pos, "a string is only allowed in an annotation");
      e.kind = FznExprKind::String;
      e.symbol = static_cast<std::uint32_t>(_model.strings.size());
      _model.strings.push_back(std::move(_token.stringValue));
      advance();
      return e;
    case FznTok::Ident:
      e.kind = FznExprKind::Ident;
      e.symbol = _model.intern(_token.text);
      advance();
      if (_token.kind == FznTok::LBracket) {
        if (mode == Mode::DeclElement)
          fail(_token.pos, "array access is not allowed inside an array declaration");
        advance();
        e.kind = FznExprKind::ArrayAccess;
        e.low.i = expect(FznTok::Int, "an integer index").intValue;
        expect(FznTok::RBracket, "']' after the index");
      } else if (_token.kind == FznTok::LParen && mode == Mode::Annotation) {
        Nesting nesting(*this, e.pos);
        advance();
        e.kind = FznExprKind::Call;
        if (_token.kind != FznTok::RParen) {
          do e.items.push_back(parseExpr(Mode::Annotation));
          while (accept(FznTok::Comma));
        }
        expect(FznTok::RParen, "',' or ')' after the annotation argument");
      }
      return e;
    case FznTok::LBracket: {
      if (mode == Mode::Element || mode == Mode::DeclElement)
        fail(e.pos, "nested arrays are only allowed in annotations");
      Mode inner = mode == Mode::Annotation  ? Mode::Annotation
                   : mode == Mode::DeclArray ? Mode::DeclElement
                                             : Mode::Element;
      Nesting nesting(*this, e.pos);
      advance();
      e.kind = FznExprKind::Array;
      if (_token.kind != FznTok::RBracket) {
        do e.items.push_back(parseExpr(inner));
        while (accept(FznTok::Comma));
      }
      expect(FznTok::RBracket, "',' or ']' in the array literal");
      return e;
    }
    default:
      failHere("an expression");
  }
}

FznParser::Nesting::Nesting(FznParser& parser, const FznPos& pos) : _parser(parser) {
  if (++_parser._depth > kMaxNesting)
    _parser.fail(pos, "expressions are nested more than " + std::to_string(kMaxNesting) +
                          " levels deep");
}

FznExpr FznParser::parseSetLiteral() {
  FznExpr set;
  set.pos = _token.pos;
  set.kind = FznExprKind::IntSet;
  expect(FznTok::LBrace, "'{'");
  if (_token.kind == FznTok::Float) set.kind = FznExprKind::FloatSet;
  if (_token.kind != FznTok::RBrace) {
    do {
      if (set.kind == FznExprKind::IntSet) {
        FznToken t = expect(FznTok::Int, "an integer in the set");
        set.items.push_back(makeIntRange(t.pos, t.intValue, t.intValue));
      } else {
        FznToken t = expect(FznTok::Float, "a float in the set");
        set.items.push_back(makeFloatRange(t.pos, t.floatValue, t.floatValue));
      }
    } while (accept(FznTok::Comma));
  }
  expect(FznTok::RBrace, "',' or '}' in the set");
  if (set.kind == FznExprKind::IntSet)
    normaliseIntSet(set);
  else
    normaliseFloatSet(set);
  return set;
}

FznModel parseFznString(std::string_view text, const std::string& file) {
  return FznParser(text, file).parse();
}

FznModel parseFznFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw PimExecutionError(PimSource(path, 0), "cannot open the file");
  std::string text;
  char buffer[1 << 16];
  while (in.read(buffer, sizeof buffer) || in.gcount() > 0)
    text.append(buffer, static_cast<std::size_t>(in.gcount()));
  if (in.bad()) throw PimExecutionError(PimSource(path, 0), "cannot read the file");
  return parseFznString(text, path);
}
