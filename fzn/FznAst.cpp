#include "fzn/FznAst.h"

#include <algorithm>
#include <sstream>

namespace {

// FNV-1a: short identifiers hash fast and well enough for linear probing.
std::uint32_t hashName(std::string_view name) {
  std::uint32_t h = 2166136261u;
  for (char c : name) h = (h ^ static_cast<unsigned char>(c)) * 16777619u;
  return h;
}

}  // namespace

std::size_t FznModel::findSlot(std::string_view name, std::uint32_t hash) const {
  std::size_t mask = _slots.size() - 1;
  for (std::size_t i = hash & mask;; i = (i + 1) & mask) {
    std::uint64_t slot = _slots[i];
    if (slot == 0) return i;
    if (static_cast<std::uint32_t>(slot >> 32) == hash &&
        _names[static_cast<std::uint32_t>(slot) - 1] == name)
      return i;
  }
}

std::uint32_t FznModel::intern(std::string_view name) {
  std::uint32_t hash = hashName(name);
  if (!_slots.empty()) {
    std::uint64_t slot = _slots[findSlot(name, hash)];
    if (slot != 0) return static_cast<std::uint32_t>(slot) - 1;
  }
  // Keep the table at most half full so that probes stay short.
  if (2 * (_names.size() + 1) > _slots.size()) {
    std::vector<std::uint64_t> old = std::move(_slots);
    _slots.assign(std::max<std::size_t>(64, 2 * old.size()), 0);
    std::size_t mask = _slots.size() - 1;
    for (std::uint64_t slot : old) {
      if (slot == 0) continue;
      std::size_t i = (slot >> 32) & mask;
      while (_slots[i] != 0) i = (i + 1) & mask;
      _slots[i] = slot;
    }
  }
  auto symbol = static_cast<std::uint32_t>(_names.size());
  _names.emplace_back(name);
  _slots[findSlot(name, hash)] = (static_cast<std::uint64_t>(hash) << 32) | (symbol + 1);
  return symbol;
}

std::optional<std::uint32_t> FznModel::symbolOf(std::string_view name) const {
  if (_slots.empty()) return std::nullopt;
  std::uint64_t slot = _slots[findSlot(name, hashName(name))];
  if (slot == 0) return std::nullopt;
  return static_cast<std::uint32_t>(slot) - 1;
}

void FznModel::declareLast() {
  const FznDecl& d = decls.back();
  if (_declOfSymbol.size() <= d.symbol) _declOfSymbol.resize(_names.size(), -1);
  std::int32_t& slot = _declOfSymbol[d.symbol];
  if (slot >= 0) {
    const FznPos& first = decls[static_cast<std::size_t>(slot)].pos;
    fail(d.pos, "duplicate declaration of '" + d.name + "' (first declared at line " +
                    std::to_string(first.line) + ", column " + std::to_string(first.column) + ")");
  }
  slot = static_cast<std::int32_t>(decls.size() - 1);
}

const FznDecl* FznModel::find(std::uint32_t symbol) const {
  if (symbol >= _declOfSymbol.size() || _declOfSymbol[symbol] < 0) return nullptr;
  return &decls[static_cast<std::size_t>(_declOfSymbol[symbol])];
}

const FznDecl* FznModel::find(std::string_view name) const {
  auto symbol = symbolOf(name);
  return symbol ? find(*symbol) : nullptr;
}

const FznDecl& FznModel::declOf(const FznExpr& e) const {
  if (e.kind != FznExprKind::Ident && e.kind != FznExprKind::ArrayAccess)
    fail(e.pos, "expected an identifier, found " + describe(e));
  const FznDecl* d = find(e.symbol);
  if (d == nullptr) fail(e.pos, "unknown identifier '" + name(e.symbol) + "'");
  return *d;
}

const FznExpr& FznModel::element(const FznExpr& access) const {
  const FznDecl& d = declOf(access);
  if (!d.isArray()) fail(access.pos, "'" + d.name + "' is not an array");
  const FznIndexSet& index = d.type.indexSets.front();
  std::int64_t i = access.intValue();
  if (i < index.low || i > index.high)
    fail(access.pos, "index " + std::to_string(i) + " is out of range " +
                         std::to_string(index.low) + ".." + std::to_string(index.high) +
                         " of array '" + d.name + "'");
  // The parser checked that the literal has exactly high - low + 1 elements.
  auto offset = static_cast<std::uint64_t>(i) - static_cast<std::uint64_t>(index.low);
  return d.value->items[static_cast<std::size_t>(offset)];
}

void FznModel::checkRefs(const FznExpr& e) {
  switch (e.kind) {
    case FznExprKind::Ident:
      declOf(e);
      break;
    case FznExprKind::ArrayAccess:
      element(e);
      break;
    case FznExprKind::Array:
      for (const FznExpr& item : e.items) checkRefs(item);
      break;
    default:
      break;
  }
}

// Follows one alias chain iteratively (chains can be as long as the file) and
// caches the end for every declaration on the way, so resolving all
// declarations is linear.
void FznModel::resolveDecl(std::size_t start, std::vector<std::uint8_t>& state) {
  std::vector<std::size_t> path{start};
  state[start] = kVisiting;
  const FznExpr* current = &*decls[start].value;
  for (;;) {
    if (current->kind == FznExprKind::ArrayAccess) {
      current = &element(*current);  // elements of declared arrays are never accesses
      continue;
    }
    if (current->kind != FznExprKind::Ident) break;
    const FznDecl& d = declOf(*current);
    if (d.isArray() || !d.value) break;
    auto j = static_cast<std::size_t>(&d - decls.data());
    if (state[j] == kVisiting) fail(d.pos, "cyclic definition of '" + d.name + "'");
    if (state[j] == kDone) {
      current = _target[j];
      break;
    }
    state[j] = kVisiting;
    path.push_back(j);
    current = &*d.value;
  }
  for (std::size_t p : path) {
    _target[p] = current;
    state[p] = kDone;
  }
}

void FznModel::resolve() {
  _declOfSymbol.resize(_names.size(), -1);
  _target.assign(decls.size(), nullptr);
  for (const FznDecl& d : decls)
    if (d.value) checkRefs(*d.value);
  std::vector<std::uint8_t> state(decls.size(), kUnvisited);
  for (std::size_t i = 0; i < decls.size(); ++i)
    if (!decls[i].isArray() && decls[i].value && state[i] == kUnvisited) resolveDecl(i, state);
  // With these checks the builder's evaluation of parameters cannot meet a
  // variable, and a scalar never stands for a whole array.
  for (std::size_t i = 0; i < decls.size(); ++i) {
    const FznDecl& d = decls[i];
    if (!d.value) continue;
    if (!d.isArray()) {
      const FznExpr& target = *_target[i];
      if (target.kind == FznExprKind::Ident && declOf(target).isArray())
        fail(d.value->pos, "expected a single value for '" + d.name + "', found " + describe(target));
      if (!d.isVar() && !target.isLiteral())
        fail(d.value->pos, "parameter '" + d.name + "' needs a fixed value, found " + describe(target));
    } else if (!d.isVar()) {
      for (const FznExpr& item : d.value->items) {
        const FznExpr& target = deref(item);
        if (!target.isLiteral())
          fail(item.pos, "parameter array '" + d.name + "' needs fixed values, found " +
                             describe(target));
      }
    }
  }
  for (const FznConstraint& c : constraints)
    for (const FznExpr& a : c.args) checkRefs(a);
  if (solve.objective) checkRefs(*solve.objective);
}

const FznExpr& FznModel::deref(const FznExpr& e) const {
  const FznExpr* current = &e;
  if (current->kind == FznExprKind::ArrayAccess) current = &element(*current);
  if (current->kind != FznExprKind::Ident) return *current;
  const FznDecl& d = declOf(*current);
  if (d.isArray() || !d.value) return *current;
  auto i = static_cast<std::size_t>(&d - decls.data());
  if (i < _target.size() && _target[i] != nullptr) return *_target[i];
  fail(current->pos, "'" + d.name + "' is used before the model is resolved");
}

std::span<const FznExpr> FznModel::arrayElements(const FznExpr& e) const {
  if (e.kind == FznExprKind::Array) return e.items;
  if (e.kind == FznExprKind::Ident) {
    const FznDecl& d = declOf(e);
    if (d.isArray()) return d.value->items;
  }
  fail(e.pos, "expected an array, found " + describe(e));
}

std::int64_t FznModel::intValue(const FznExpr& e) const {
  const FznExpr& v = deref(e);
  if (v.kind != FznExprKind::Int) fail(e.pos, "expected an integer, found " + describe(v));
  return v.intValue();
}

bool FznModel::boolValue(const FznExpr& e) const {
  const FznExpr& v = deref(e);
  if (v.kind != FznExprKind::Bool) fail(e.pos, "expected a Boolean, found " + describe(v));
  return v.boolValue();
}

double FznModel::floatValue(const FznExpr& e) const {
  const FznExpr& v = deref(e);
  if (v.kind == FznExprKind::Float) return v.floatValue();
  if (v.kind == FznExprKind::Int) return static_cast<double>(v.intValue());
  fail(e.pos, "expected a float, found " + describe(v));
}

std::vector<FznIntRange> FznModel::intSetValue(const FznExpr& e) const {
  const FznExpr& v = deref(e);
  if (v.kind != FznExprKind::IntSet) fail(e.pos, "expected a set of int, found " + describe(v));
  std::vector<FznIntRange> ranges;
  ranges.reserve(v.items.size());
  for (const FznExpr& r : v.items) ranges.push_back({r.intValue(), r.intHigh()});
  return ranges;
}

std::vector<std::int64_t> FznModel::intArrayValue(const FznExpr& e) const {
  std::vector<std::int64_t> values;
  for (const FznExpr& item : arrayElements(e)) values.push_back(intValue(item));
  return values;
}

std::vector<bool> FznModel::boolArrayValue(const FznExpr& e) const {
  std::vector<bool> values;
  for (const FznExpr& item : arrayElements(e)) values.push_back(boolValue(item));
  return values;
}

std::vector<double> FznModel::floatArrayValue(const FznExpr& e) const {
  std::vector<double> values;
  for (const FznExpr& item : arrayElements(e)) values.push_back(floatValue(item));
  return values;
}

std::vector<std::vector<FznIntRange>> FznModel::intSetArrayValue(const FznExpr& e) const {
  std::vector<std::vector<FznIntRange>> values;
  for (const FznExpr& item : arrayElements(e)) values.push_back(intSetValue(item));
  return values;
}

const FznExpr* FznModel::findAnnotation(const std::vector<FznExpr>& annotations,
                                        std::string_view annotation) const {
  auto symbol = symbolOf(annotation);
  if (!symbol) return nullptr;
  for (const FznExpr& a : annotations)
    if ((a.kind == FznExprKind::Ident || a.kind == FznExprKind::Call) && a.symbol == *symbol)
      return &a;
  return nullptr;
}

std::string FznModel::describe(const FznExpr& e) const {
  std::ostringstream os;
  switch (e.kind) {
    case FznExprKind::Bool:
      os << (e.boolValue() ? "true" : "false");
      break;
    case FznExprKind::Int:
      os << "integer " << e.intValue();
      break;
    case FznExprKind::Float:
      os << "float " << e.floatValue();
      break;
    case FznExprKind::IntRange:
    case FznExprKind::FloatRange:
      os << "range";
      break;
    case FznExprKind::IntSet:
      os << "set of int";
      break;
    case FznExprKind::FloatSet:
      os << "set of float";
      break;
    case FznExprKind::String:
      os << "string";
      break;
    case FznExprKind::Ident: {
      const FznDecl* d = find(e.symbol);
      if (d == nullptr)
        os << "identifier";
      else if (d->isArray())
        os << (d->isVar() ? "array of variables" : "array parameter");
      else
        os << (d->isVar() ? "variable" : "parameter");
      os << " '" << name(e.symbol) << "'";
      break;
    }
    case FznExprKind::ArrayAccess:
      os << "array access '" << name(e.symbol) << '[' << e.intValue() << "]'";
      break;
    case FznExprKind::Array:
      os << "array literal";
      break;
    case FznExprKind::Call:
      os << "annotation '" << name(e.symbol) << "(...)'";
      break;
  }
  return os.str();
}

void FznModel::fail(const FznPos& pos, const std::string& message) const {
  throw PimExecutionError(source(pos), message);
}
