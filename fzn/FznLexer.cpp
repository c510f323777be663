#include "fzn/FznLexer.h"

#include <charconv>
#include <climits>
#include <cstdio>

namespace {

struct Keyword {
  std::string_view text;
  FznTok kind;
};

constexpr Keyword kKeywords[] = {
    {"array", FznTok::KwArray},         {"bool", FznTok::KwBool},
    {"constraint", FznTok::KwConstraint}, {"false", FznTok::KwFalse},
    {"float", FznTok::KwFloat},         {"int", FznTok::KwInt},
    {"maximize", FznTok::KwMaximize},   {"minimize", FznTok::KwMinimize},
    {"of", FznTok::KwOf},               {"predicate", FznTok::KwPredicate},
    {"satisfy", FznTok::KwSatisfy},     {"set", FznTok::KwSet},
    {"solve", FznTok::KwSolve},         {"true", FznTok::KwTrue},
    {"var", FznTok::KwVar},
};

bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isIdentStart(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; }
bool isIdentChar(char c) { return isIdentStart(c) || isDigit(c); }

std::string showChar(char c) {
  auto u = static_cast<unsigned char>(c);
  if (u >= 0x20 && u < 0x7f) return std::string("'") + c + "'";
  char buf[16];
  std::snprintf(buf, sizeof buf, "byte 0x%02X", u);
  return buf;
}

// Long tokens (a 10 MB identifier) are cut in messages.
std::string clip(std::string_view text) {
  if (text.size() <= 40) return std::string(text);
  return std::string(text.substr(0, 37)) + "...";
}

}  // namespace

FznLexer::FznLexer(std::string_view text, std::string file)
    : _text(text), _file(std::move(file)) {
  if (text.size() >= static_cast<std::size_t>(INT_MAX))
    fail({1, 1}, "the file is too large (2 GiB or more)");
}

FznPos FznLexer::here() const {
  return {_line, static_cast<int>(_at - _lineStart) + 1};
}

void FznLexer::fail(const FznPos& pos, const std::string& message) const {
  throw PimExecutionError(PimSource(_file, pos.line, pos.column), message);
}

void FznLexer::skipSpaceAndComments() {
  while (_at < _text.size()) {
    char c = _text[_at];
    if (c == '\n') {
      ++_at;
      ++_line;
      _lineStart = _at;
    } else if (c == ' ' || c == '\t' || c == '\r' || c == '\f' || c == '\v') {
      ++_at;
    } else if (c == '%') {
      std::size_t eol = _text.find('\n', _at);
      _at = eol == std::string_view::npos ? _text.size() : eol;
    } else if (c == '/' && _at + 1 < _text.size() && _text[_at + 1] == '*') {
      FznPos start = here();
      _at += 2;
      for (;;) {
        if (_at >= _text.size()) fail(start, "unterminated comment: expected '*/', found end of file");
        if (_text[_at] == '*' && _at + 1 < _text.size() && _text[_at + 1] == '/') {
          _at += 2;
          break;
        }
        if (_text[_at] == '\n') {
          ++_line;
          _lineStart = _at + 1;
        }
        ++_at;
      }
    } else {
      return;
    }
  }
}

FznToken FznLexer::next() {
  skipSpaceAndComments();
  FznToken token;
  token.pos = here();
  if (_at >= _text.size()) {
    token.kind = FznTok::End;
    return token;
  }
  std::size_t start = _at;
  char c = _text[_at];
  auto punct = [&](FznTok kind, std::size_t length) {
    token.kind = kind;
    _at += length;
  };
  char c1 = _at + 1 < _text.size() ? _text[_at + 1] : '\0';
  if (isIdentStart(c)) {
    while (_at < _text.size() && isIdentChar(_text[_at])) ++_at;
    token.text = _text.substr(start, _at - start);
    token.kind = FznTok::Ident;
    for (const Keyword& k : kKeywords)
      if (k.text == token.text) token.kind = k.kind;
    if (token.kind == FznTok::Ident && token.text.find_first_not_of('_') == std::string_view::npos)
      fail(token.pos, "an identifier needs a letter or digit: '" + clip(token.text) + "'");
    return token;
  }
  if (isDigit(c) || (c == '-' && isDigit(c1))) {
    lexNumber(token);
    token.text = _text.substr(start, _at - start);
    return token;
  }
  switch (c) {
    case ':':
      if (c1 == ':') punct(FznTok::ColonColon, 2);
      else punct(FznTok::Colon, 1);
      break;
    case '.':
      if (c1 != '.') fail(token.pos, "unexpected character '.' (expected '..')");
      punct(FznTok::DotDot, 2);
      break;
    case ';': punct(FznTok::Semicolon, 1); break;
    case ',': punct(FznTok::Comma, 1); break;
    case '[': punct(FznTok::LBracket, 1); break;
    case ']': punct(FznTok::RBracket, 1); break;
    case '(': punct(FznTok::LParen, 1); break;
    case ')': punct(FznTok::RParen, 1); break;
    case '{': punct(FznTok::LBrace, 1); break;
    case '}': punct(FznTok::RBrace, 1); break;
    case '=': punct(FznTok::Equals, 1); break;
    case '"':
      lexString(token);
      break;
    default:
      fail(token.pos, "unexpected character " + showChar(c));
  }
  token.text = _text.substr(start, _at - start);
  return token;
}

void FznLexer::lexNumber(FznToken& token) {
  std::size_t start = _at;
  bool negative = _text[_at] == '-';
  if (negative) ++_at;
  int base = 10;
  if (_text[_at] == '0' && _at + 1 < _text.size() &&
      (_text[_at + 1] == 'x' || _text[_at + 1] == 'o')) {
    base = _text[_at + 1] == 'x' ? 16 : 8;
    _at += 2;
  }
  std::size_t digits = _at;
  auto isBaseDigit = [base](char d) {
    if (base == 16) return isDigit(d) || (d >= 'a' && d <= 'f') || (d >= 'A' && d <= 'F');
    if (base == 8) return d >= '0' && d <= '7';
    return isDigit(d);
  };
  while (_at < _text.size() && isBaseDigit(_text[_at])) ++_at;
  if (_at == digits) fail(token.pos, "expected digits after '" + std::string(_text.substr(start, _at - start)) + "'");
  bool isFloat = false;
  if (base == 10) {
    // "1..5" is a range, "1.5" a float: a dot makes a float only before a digit.
    if (_at + 1 < _text.size() && _text[_at] == '.' && isDigit(_text[_at + 1])) {
      isFloat = true;
      ++_at;
      while (_at < _text.size() && isDigit(_text[_at])) ++_at;
    }
    if (_at < _text.size() && (_text[_at] == 'e' || _text[_at] == 'E')) {
      std::size_t e = _at + 1;
      if (e < _text.size() && (_text[e] == '+' || _text[e] == '-')) ++e;
      if (e < _text.size() && isDigit(_text[e])) {
        isFloat = true;
        _at = e;
        while (_at < _text.size() && isDigit(_text[_at])) ++_at;
      }
    }
  }
  std::string_view text = _text.substr(start, _at - start);
  if (isFloat) {
    token.kind = FznTok::Float;
    auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), token.floatValue);
    if (ec == std::errc::result_out_of_range)
      fail(token.pos, "float literal out of range: " + clip(text));
    if (ec != std::errc() || end != text.data() + text.size())
      fail(token.pos, "malformed float literal: " + clip(text));
    return;
  }
  token.kind = FznTok::Int;
  std::uint64_t magnitude = 0;
  std::string_view body = _text.substr(digits, _at - digits);
  auto [end, ec] = std::from_chars(body.data(), body.data() + body.size(), magnitude, base);
  std::uint64_t limit = negative ? std::uint64_t{1} << 63 : (std::uint64_t{1} << 63) - 1;
  if (ec != std::errc() || end != body.data() + body.size() || magnitude > limit)
    fail(token.pos, "integer literal out of the 64-bit range: " + clip(text));
  token.intValue = negative ? static_cast<std::int64_t>(0 - magnitude)
                            : static_cast<std::int64_t>(magnitude);
}

void FznLexer::lexString(FznToken& token) {
  token.kind = FznTok::String;
  ++_at;  // opening quote
  for (;;) {
    if (_at >= _text.size() || _text[_at] == '\n')
      fail(token.pos, "unterminated string: expected '\"' before the end of the line");
    char c = _text[_at++];
    if (c == '"') return;
    if (c != '\\') {
      token.stringValue.push_back(c);
      continue;
    }
    if (_at >= _text.size()) continue;  // reported as unterminated above
    FznPos escape{_line, static_cast<int>(_at - _lineStart)};
    char e = _text[_at++];
    switch (e) {
      case 'n': token.stringValue.push_back('\n'); break;
      case 't': token.stringValue.push_back('\t'); break;
      case 'r': token.stringValue.push_back('\r'); break;
      case '\\':
      case '"':
      case '\'':
        token.stringValue.push_back(e);
        break;
      default:
        fail(escape, "unknown escape sequence '\\" + std::string(1, e) + "' in string");
    }
  }
}

std::string FznLexer::describe(const FznToken& token) {
  switch (token.kind) {
    case FznTok::End: return "end of file";
    case FznTok::Ident: return "identifier '" + clip(token.text) + "'";
    case FznTok::Int: return "integer " + clip(token.text);
    case FznTok::Float: return "float " + clip(token.text);
    case FznTok::String: return "string " + clip(token.text);
    default: break;
  }
  if (token.kind >= FznTok::KwArray && token.kind <= FznTok::KwVar)
    return "keyword '" + std::string(token.text) + "'";
  return "'" + std::string(token.text) + "'";
}
