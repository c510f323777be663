#include "fzn/FznBuilder.h"

#include <algorithm>
#include <map>
#include <utility>

#include "fd/NuvCPIVarI.h"
#include "fd/NuvCPIntMath.h"
#include "fd/NuvCPManager.h"
#include "fd/NuvCPManagerI.h"
#include "fd/NuvCPNative.h"
#include "host/PimError.h"

namespace {

// The integer variables' value range; anything outside cannot be represented.
constexpr std::int64_t kMinValue = -1073741823;
constexpr std::int64_t kMaxValue = 1073741822;

bool isUnit2(const std::vector<std::int64_t>& c, std::int64_t a, std::int64_t b) {
  return c.size() == 2 && c[0] == a && c[1] == b;
}


}  // namespace

FznBuilder::FznBuilder(const FznModel& model, RavRuntime& rt, NuvNativeObject* store)
    : _m(model), _rt(rt), _store(store) {
  _handlers = {
      {"int_eq", &FznBuilder::intEq},
      {"int_ne", &FznBuilder::intNe},
      {"int_le", &FznBuilder::intLe},
      {"int_lt", &FznBuilder::intLt},
      {"int_eq_reif", &FznBuilder::intEqReif},
      {"int_ne_reif", &FznBuilder::intNeReif},
      {"int_le_reif", &FznBuilder::intLeReif},
      {"int_lt_reif", &FznBuilder::intLtReif},
      {"int_lin_eq", &FznBuilder::intLinEq},
      {"int_lin_ne", &FznBuilder::intLinNe},
      {"int_lin_le", &FznBuilder::intLinLe},
      {"int_lin_eq_reif", &FznBuilder::intLinEqReif},
      {"int_lin_ne_reif", &FznBuilder::intLinNeReif},
      {"int_lin_le_reif", &FznBuilder::intLinLeReif},
      {"int_plus", &FznBuilder::intPlus},
      {"int_times", &FznBuilder::intTimes},
      {"int_div", &FznBuilder::intDiv},
      {"int_mod", &FznBuilder::intMod},
      {"int_abs", &FznBuilder::intAbs},
      {"int_min", &FznBuilder::intMin},
      {"int_max", &FznBuilder::intMax},
      {"int_pow", &FznBuilder::intPow},
      {"array_int_minimum", &FznBuilder::arrayIntMinimum},
      {"array_int_maximum", &FznBuilder::arrayIntMaximum},
      {"array_int_element", &FznBuilder::arrayIntElement},
      {"array_bool_element", &FznBuilder::arrayIntElement},
      {"array_var_int_element", &FznBuilder::arrayVarIntElement},
      {"array_var_bool_element", &FznBuilder::arrayVarIntElement},
      {"array_bool_and", &FznBuilder::arrayBoolAnd},
      {"array_bool_or", &FznBuilder::arrayBoolOr},
      {"array_bool_xor", &FznBuilder::arrayBoolXor},
      {"bool_clause", &FznBuilder::boolClause},
      {"bool_clause_reif", &FznBuilder::boolClauseReif},
      {"bool2int", &FznBuilder::intEq},
      {"bool_eq", &FznBuilder::intEq},
      {"bool_eq_reif", &FznBuilder::intEqReif},
      {"bool_ne", &FznBuilder::intNe},
      {"bool_ne_reif", &FznBuilder::intNeReif},
      {"bool_le", &FznBuilder::intLe},
      {"bool_le_reif", &FznBuilder::intLeReif},
      {"bool_lt", &FznBuilder::boolLt},
      {"bool_lt_reif", &FznBuilder::boolLtReif},
      {"bool_and", &FznBuilder::boolAnd},
      {"bool_or", &FznBuilder::boolOr},
      {"bool_xor", &FznBuilder::boolXor},
      {"bool_not", &FznBuilder::boolNot},
      {"bool_lin_eq", &FznBuilder::boolLinEq},
      {"bool_lin_le", &FznBuilder::boolLinLe},
      {"set_in", &FznBuilder::setIn},
      {"set_in_reif", &FznBuilder::setInReif},
  };
}

NuvCPManagerI* FznBuilder::store() const { return static_cast<NuvCPManager*>(_store)->store(); }

bool FznBuilder::build() {
  _varOf.assign(_m.symbolCount(), nullptr);
  for (const FznDecl& d : _m.decls) checkUnsupportedDecl(d);
  declareVars();
  buildConstraints();
  buildOutputs();
  buildSolve();
  collectDecisionVars();
  return !_failed;
}

// ---- declarations -----------------------------------------------------------------

void FznBuilder::checkUnsupportedDecl(const FznDecl& d) const {
  if (!d.isVar()) return;
  if (d.type.base == FznBaseType::Float)
    _m.fail(d.pos, "float variables are not supported by this build of nuvfd (variable '" +
                       d.name + "')");
  if (d.type.base == FznBaseType::IntSet)
    _m.fail(d.pos, "set variables are not supported by this build of nuvfd (variable '" + d.name +
                       "')");
}

void FznBuilder::findAliases() {
  // bool2int(a, b) with b an integer variable of its own that can be 0 and 1:
  // b is a itself, and the constraint is not posted. Models with reified
  // sums have one of these per Boolean; sharing the variable saves a
  // propagator and a round of events each.
  _aliasOf.assign(_m.symbolCount(), UINT32_MAX);
  _skip.assign(_m.constraints.size(), false);
  for (std::size_t i = 0; i < _m.constraints.size(); ++i) {
    const FznConstraint& c = _m.constraints[i];
    if (_m.name(c.symbol) != "bool2int" || c.args.size() != 2) continue;
    const FznExpr& a = _m.deref(c.args[0]);
    const FznExpr& b = _m.deref(c.args[1]);
    if (a.kind != FznExprKind::Ident || b.kind != FznExprKind::Ident || a.symbol == b.symbol) continue;
    const FznDecl* db = _m.find(b.symbol);
    if (!db || !db->isVar() || db->isArray() || db->value || _aliasOf[b.symbol] != UINT32_MAX)
      continue;
    if (db->type.base != FznBaseType::Int) continue;
    if (db->type.domain) {
      std::vector<FznIntRange> dom = _m.intSetValue(*db->type.domain);
      auto has = [&](std::int64_t v) {
        return std::any_of(dom.begin(), dom.end(),
                           [&](const FznIntRange& r) { return r.low <= v && v <= r.high; });
      };
      if (!has(0) || !has(1)) continue;
    }
    // Follow a to the variable it stands for, so that chains end at a root.
    std::uint32_t root = a.symbol;
    while (_aliasOf[root] != UINT32_MAX) root = _aliasOf[root];
    if (root == b.symbol) continue;
    _aliasOf[b.symbol] = root;
    _skip[i] = true;
  }
}

void FznBuilder::declareVars() {
  findAliases();
  for (const FznDecl& d : _m.decls) {
    if (!d.isVar() || d.isArray() || d.value) continue;
    if (_aliasOf[d.symbol] != UINT32_MAX) continue;
    NuvNativeObject* x = nullptr;
    if (d.type.base == FznBaseType::Bool) {
      x = newBoolVar();
    } else if (!d.type.domain) {
      _warnings.push_back(_m.source(d.pos).toString() + ": warning: variable '" + d.name +
                          "' has no bounds; nuvfd gives it " + std::to_string(kMinValue) + ".." +
                          std::to_string(kMaxValue));
      x = newIntVar(kMinValue, kMaxValue, d.pos);
    } else {
      std::vector<FznIntRange> dom = _m.intSetValue(*d.type.domain);
      if (dom.empty()) {
        fail();
        continue;
      }
      const std::int64_t lo = dom.front().low, hi = dom.back().high;
      if (lo < kMinValue || hi > kMaxValue)
        _m.fail(d.pos, "the domain of variable '" + d.name + "' (" + std::to_string(lo) + ".." +
                           std::to_string(hi) + ") leaves nuvfd's integer range " +
                           std::to_string(kMinValue) + ".." + std::to_string(kMaxValue));
      if (dom.size() == 1) {
        x = newIntVar(lo, hi, d.pos);
      } else {
        RavIntSet s;
        for (const FznIntRange& r : dom) s.ranges.emplace_back(r.low, r.high);
        _rt.push(_store);
        _rt.push(std::move(s));
        x = _rt.create("CP$VarInt", 2);
      }
    }
    _varOf[d.symbol] = x;
    _modelVars.push_back(static_cast<NuvCPVarObject*>(x)->intVar());
  }
  for (const FznDecl& d : _m.decls) {
    if (!d.isVar() || d.isArray() || d.value || _aliasOf[d.symbol] == UINT32_MAX) continue;
    std::uint32_t root = d.symbol;
    while (_aliasOf[root] != UINT32_MAX) root = _aliasOf[root];
    _varOf[d.symbol] = _varOf[root];
  }
  // An alias with a domain of its own narrows what it names.
  for (const FznDecl& d : _m.decls) {
    if (!d.isVar() || d.isArray() || !d.value || !d.type.domain || _failed) continue;
    if (d.type.base != FznBaseType::Int) continue;
    std::vector<FznIntRange> dom = _m.intSetValue(*d.type.domain);
    RavIntSet s;
    for (const FznIntRange& r : dom) s.ranges.emplace_back(r.low, r.high);
    const FznExpr& target = _m.deref(*d.value);
    if (isFixed(target)) {
      if (!s.contains(fixedValue(target))) fail();
      continue;
    }
    NuvCPIntVarI* x = implVar(target);
    if (x->getMin() >= s.min() && x->getMax() <= s.max() && s.isRange()) continue;
    for (std::int64_t v = x->getMin(); v <= x->getMax() && !_failed; ++v)
      if (!s.contains(v) && x->removeValue(static_cast<int>(v)) == 0) fail();
  }
}

NuvNativeObject* FznBuilder::newIntVar(std::int64_t lo, std::int64_t hi, const FznPos& pos) {
  if (lo < kMinValue || hi > kMaxValue)
    _m.fail(pos, "value " + std::to_string(lo < kMinValue ? lo : hi) +
                     " leaves nuvfd's integer range " + std::to_string(kMinValue) + ".." +
                     std::to_string(kMaxValue));
  _rt.push(_store);
  _rt.push(lo);
  _rt.push(hi);
  return _rt.create("CP$VarInt", 3);
}

NuvNativeObject* FznBuilder::newBoolVar() {
  // A Boolean variable is also a 0/1 integer variable: every integer
  // propagator takes it, and the connectives need it.
  _rt.push(_store);
  return _rt.create("CP$VarBool", 1);
}

NuvNativeObject* FznBuilder::constant(std::int64_t v, const FznPos& pos) {
  auto it = _constants.find(v);
  if (it != _constants.end()) return it->second;
  NuvNativeObject* x = newIntVar(v, v, pos);
  _constants.emplace(v, x);
  return x;
}

NuvNativeObject* FznBuilder::negation(NuvNativeObject* b) {
  NuvNativeObject* nb = newBoolVar();
  post("CP$NEqual", {RavValue(nb), RavValue(b)});
  return nb;
}

bool FznBuilder::isFixed(const FznExpr& e) const {
  const FznExpr& d = _m.deref(e);
  return d.kind == FznExprKind::Int || d.kind == FznExprKind::Bool;
}

std::int64_t FznBuilder::fixedValue(const FznExpr& e) const {
  const FznExpr& d = _m.deref(e);
  return d.intValue();
}

NuvNativeObject* FznBuilder::var(const FznExpr& e) {
  const FznExpr& d = _m.deref(e);
  if (d.kind == FznExprKind::Int || d.kind == FznExprKind::Bool) return constant(d.intValue(), e.pos);
  if (d.kind == FznExprKind::Ident) {
    NuvNativeObject* x = _varOf[d.symbol];
    if (x) return x;
  }
  _m.fail(e.pos, "expected an integer or Boolean variable, found " + _m.describe(d));
}

NuvCPIntVarI* FznBuilder::implVar(const FznExpr& e) {
  return static_cast<NuvCPVarObject*>(var(e))->intVar();
}

RavObjectArray FznBuilder::vars(const FznExpr& e) {
  RavObjectArray a;
  a.low = 1;
  for (const FznExpr& item : _m.arrayElements(e)) a.values.push_back(var(item));
  return a;
}

int FznBuilder::checkedInt(std::int64_t v, const FznPos& pos, const char* what) const {
  if (v < INT32_MIN || v > INT32_MAX)
    _m.fail(pos, std::string(what) + " " + std::to_string(v) + " does not fit in 32 bits");
  return static_cast<int>(v);
}

RavIntArray FznBuilder::intArray(const std::vector<std::int64_t>& v, const FznPos& pos) const {
  RavIntArray a;
  a.low = 1;
  a.values.reserve(v.size());
  for (std::int64_t x : v) a.values.push_back(checkedInt(x, pos, "constant"));
  return a;
}

// ---- posting ----------------------------------------------------------------------

void FznBuilder::fail() { _failed = true; }

void FznBuilder::post(const char* className, std::vector<RavValue> args) {
  if (_failed) return;
  const FznPos pos = _current ? _current->pos : FznPos{};
  try {
    for (RavValue& a : args) _rt.push(std::move(a));
    NuvNativeObject* c = _rt.create(className, static_cast<int>(args.size()));
    _rt.push(c);
    const RavValue status = _rt.call(_store, "post", 1);
    ++_posted;
    if (status.asInt() == 0) fail();
  } catch (const PimError& e) {
    std::string what = _current ? "constraint " + _m.name(_current->symbol) + ": " : "";
    throw PimExecutionError(_m.source(pos), what + e.message());
  }
}

void FznBuilder::buildConstraints() {
  for (std::size_t i = 0; i < _m.constraints.size(); ++i) {
    const FznConstraint& c = _m.constraints[i];
    if (_failed) return;
    if (_skip[i]) continue;
    _current = &c;
    const std::string& name = _m.name(c.symbol);
    auto it = _handlers.find(name);
    if (it == _handlers.end()) {
      const bool floaty = name.rfind("float_", 0) == 0 || name == "int2float" ||
                          name.find("_float_") != std::string::npos;
      const bool sety = name.rfind("set_", 0) == 0 || name.find("_set_") != std::string::npos;
      _m.fail(c.pos, "constraint '" + name + "' is not supported by this build of nuvfd" +
                         (floaty ? " (float constraints are not available yet)"
                          : sety ? " (set constraints are not available yet)"
                                 : ""));
    }
    (this->*(it->second))(c);
  }
  _current = nullptr;
}

// ---- relations ----------------------------------------------------------------------

void FznBuilder::binary(const FznExpr& x, const FznExpr& y, std::int64_t k, Rel rel,
                        NuvNativeObject* r, const FznPos& pos) {
  const char* plain[] = {"CP$Equal", "CP$NEqual", "CP$LEqual"};
  const char* reified[] = {"CP$ReifyEqual", "CP$ReifyNEqual", "CP$ReifyLEqual"};
  const int ri = static_cast<int>(rel);
  if (isFixed(x) && isFixed(y)) {
    const std::int64_t a = fixedValue(x), b = fixedValue(y) + k;
    const bool holds = rel == Rel::Eq ? a == b : rel == Rel::Ne ? a != b : a <= b;
    if (!r) {
      if (!holds) fail();
    } else {
      post("CP$Equalc", {RavValue(r), RavValue(holds ? 1 : 0)});
    }
    return;
  }
  if (isFixed(y)) {
    // x rel c
    // Variables never leave the representable range, so a constant beyond it
    // acts like the first value past the range's end.
    const int c = static_cast<int>(std::clamp(fixedValue(y) + k, kMinValue - 1, kMaxValue + 1));
    const char* unary[] = {"CP$Equalc", "CP$NEqualc", "CP$LEqualc"};
    const char* unaryR[] = {"CP$ReifyEqualc", "CP$ReifyNEqualc", "CP$ReifyLEqualc"};
    if (!r)
      post(unary[ri], {RavValue(var(x)), RavValue(c)});
    else
      post(unaryR[ri], {RavValue(var(x)), RavValue(c), RavValue(r)});
    return;
  }
  if (isFixed(x)) {
    // c rel y + k  <=>  y rel' c - k
    const int c = static_cast<int>(std::clamp(fixedValue(x) - k, kMinValue - 1, kMaxValue + 1));
    const char* unary[] = {"CP$Equalc", "CP$NEqualc", "CP$GEqualc"};
    const char* unaryR[] = {"CP$ReifyEqualc", "CP$ReifyNEqualc", "CP$ReifyGEqualc"};
    if (!r)
      post(unary[ri], {RavValue(var(y)), RavValue(c)});
    else
      post(unaryR[ri], {RavValue(var(y)), RavValue(c), RavValue(r)});
    return;
  }
  const int kk = checkedInt(k, pos, "offset");
  if (!r)
    post(plain[ri], {RavValue(var(x)), RavValue(var(y)), RavValue(kk)});
  else
    post(reified[ri], {RavValue(var(x)), RavValue(var(y)), RavValue(kk), RavValue(r)});
}

void FznBuilder::intEq(const FznConstraint& c) { binary(c.args[0], c.args[1], 0, Rel::Eq, nullptr, c.pos); }
void FznBuilder::intNe(const FznConstraint& c) { binary(c.args[0], c.args[1], 0, Rel::Ne, nullptr, c.pos); }
void FznBuilder::intLe(const FznConstraint& c) { binary(c.args[0], c.args[1], 0, Rel::Le, nullptr, c.pos); }
void FznBuilder::intLt(const FznConstraint& c) { binary(c.args[0], c.args[1], -1, Rel::Le, nullptr, c.pos); }

// A reified relation whose control is fixed is the relation or its negation.
#define NUV_REIFIED(fn, rel, k, negRel, negSwap, negK)                                      \
  void FznBuilder::fn(const FznConstraint& c) {                                             \
    const FznExpr& r = c.args[2];                                                           \
    if (isFixed(r)) {                                                                       \
      if (fixedValue(r))                                                                    \
        binary(c.args[0], c.args[1], k, rel, nullptr, c.pos);                               \
      else if (negSwap)                                                                     \
        binary(c.args[1], c.args[0], negK, negRel, nullptr, c.pos);                         \
      else                                                                                  \
        binary(c.args[0], c.args[1], negK, negRel, nullptr, c.pos);                         \
      return;                                                                               \
    }                                                                                       \
    binary(c.args[0], c.args[1], k, rel, var(r), c.pos);                                    \
  }
// not (x == y) is x != y; not (x <= y + k) is y <= x - k - 1.
NUV_REIFIED(intEqReif, Rel::Eq, 0, Rel::Ne, false, 0)
NUV_REIFIED(intNeReif, Rel::Ne, 0, Rel::Eq, false, 0)
NUV_REIFIED(intLeReif, Rel::Le, 0, Rel::Le, true, -1)
NUV_REIFIED(intLtReif, Rel::Le, -1, Rel::Le, true, 0)
#undef NUV_REIFIED

void FznBuilder::boolLt(const FznConstraint& c) { intLt(c); }
void FznBuilder::boolLtReif(const FznConstraint& c) { intLtReif(c); }

// ---- linear -------------------------------------------------------------------------

void FznBuilder::linear(std::vector<std::int64_t> coefs, RavObjectArray xs, std::int64_t rhs,
                        Rel rel, NuvNativeObject* r, const FznPos& pos) {
  // Merge like terms, fold fixed variables into the right-hand side and drop
  // zero coefficients.
  std::vector<std::int64_t> cs;
  RavObjectArray vs;
  vs.low = 1;
  std::map<NuvCPIntVarI*, std::size_t> seen;
  for (std::size_t i = 0; i < coefs.size(); ++i) {
    NuvCPIntVarI* x = static_cast<NuvCPVarObject*>(xs.values[i])->intVar();
    if (x->isBound()) {
      rhs -= coefs[i] * x->getMin();
      continue;
    }
    auto [it, fresh] = seen.emplace(x, cs.size());
    if (fresh) {
      cs.push_back(coefs[i]);
      vs.values.push_back(xs.values[i]);
    } else {
      cs[it->second] += coefs[i];
    }
  }
  for (std::size_t i = cs.size(); i-- > 0;)
    if (cs[i] == 0) {
      cs.erase(cs.begin() + static_cast<std::ptrdiff_t>(i));
      vs.values.erase(vs.values.begin() + static_cast<std::ptrdiff_t>(i));
    }
  const int rhs32 = checkedInt(rhs, pos, "right-hand side");

  if (cs.empty()) {
    const bool holds = rel == Rel::Eq ? 0 == rhs : rel == Rel::Ne ? 0 != rhs : 0 <= rhs;
    if (!r) {
      if (!holds) fail();
    } else {
      post("CP$Equalc", {RavValue(r), RavValue(holds ? 1 : 0)});
    }
    return;
  }
  if (cs.size() == 1) {
    const std::int64_t a = cs[0];
    NuvNativeObject* x = vs.values[0];
    if (rel == Rel::Le) {
      const std::int64_t bound = a > 0 ? nuvCPFloorDiv(rhs, a) : nuvCPCeilDiv(rhs, a);
      const std::int64_t clamped = std::clamp(bound, kMinValue - 1, kMaxValue + 1);
      const char* cls = a > 0 ? (r ? "CP$ReifyLEqualc" : "CP$LEqualc")
                              : (r ? "CP$ReifyGEqualc" : "CP$GEqualc");
      if (r)
        post(cls, {RavValue(x), RavValue(static_cast<int>(clamped)), RavValue(r)});
      else
        post(cls, {RavValue(x), RavValue(static_cast<int>(clamped))});
      return;
    }
    if (rhs % a != 0) {  // a * x never equals rhs
      const bool eqHolds = false;
      const bool holds = rel == Rel::Eq ? eqHolds : !eqHolds;
      if (!r) {
        if (!holds) fail();
      } else {
        post("CP$Equalc", {RavValue(r), RavValue(holds ? 1 : 0)});
      }
      return;
    }
    const std::int64_t v = std::clamp(rhs / a, kMinValue - 1, kMaxValue + 1);
    const char* cls = rel == Rel::Eq ? (r ? "CP$ReifyEqualc" : "CP$Equalc")
                                     : (r ? "CP$ReifyNEqualc" : "CP$NEqualc");
    if (r)
      post(cls, {RavValue(x), RavValue(static_cast<int>(v)), RavValue(r)});
    else
      post(cls, {RavValue(x), RavValue(static_cast<int>(v))});
    return;
  }
  if (isUnit2(cs, 1, -1) || isUnit2(cs, -1, 1)) {
    // x - y rel rhs  <=>  x rel y + rhs
    NuvNativeObject* x = cs[0] == 1 ? vs.values[0] : vs.values[1];
    NuvNativeObject* y = cs[0] == 1 ? vs.values[1] : vs.values[0];
    const char* plain[] = {"CP$Equal", "CP$NEqual", "CP$LEqual"};
    const char* reified[] = {"CP$ReifyEqual", "CP$ReifyNEqual", "CP$ReifyLEqual"};
    const int ri = static_cast<int>(rel);
    if (r)
      post(reified[ri], {RavValue(x), RavValue(y), RavValue(rhs32), RavValue(r)});
    else
      post(plain[ri], {RavValue(x), RavValue(y), RavValue(rhs32)});
    return;
  }
  if (!r && rel == Rel::Le && isUnit2(cs, 1, 1)) {
    post("CP$SLEqual", {RavValue(vs.values[0]), RavValue(vs.values[1]), RavValue(rhs32)});
    return;
  }
  // The linear classes take the normal form sum + k rel 0.
  if (rel == Rel::Le) {
    // sum <= rhs  <=>  -sum + rhs >= 0
    std::vector<std::int64_t> neg(cs.size());
    for (std::size_t i = 0; i < cs.size(); ++i) neg[i] = -cs[i];
    std::vector<RavValue> args = {RavValue(intArray(neg, pos)), RavValue(vs), RavValue(rhs32)};
    if (r) args.emplace_back(r);
    post("CP$LinearGEQ", std::move(args));
    return;
  }
  const int k = checkedInt(-rhs, pos, "right-hand side");
  std::vector<RavValue> args = {RavValue(intArray(cs, pos)), RavValue(vs), RavValue(k)};
  if (rel == Rel::Eq && r)
    args.emplace_back(r);
  else if (rel == Rel::Ne && r)
    args.emplace_back(negation(r));  // b <=> sum != rhs  is  not b <=> sum == rhs
  else if (rel == Rel::Ne)
    args.emplace_back("!=");
  post("CP$LinearEquation", std::move(args));
}

void FznBuilder::intLinEq(const FznConstraint& c) {
  linear(_m.intArrayValue(c.args[0]), vars(c.args[1]), _m.intValue(c.args[2]), Rel::Eq, nullptr,
         c.pos);
}
void FznBuilder::intLinNe(const FznConstraint& c) {
  linear(_m.intArrayValue(c.args[0]), vars(c.args[1]), _m.intValue(c.args[2]), Rel::Ne, nullptr,
         c.pos);
}
void FznBuilder::intLinLe(const FznConstraint& c) {
  linear(_m.intArrayValue(c.args[0]), vars(c.args[1]), _m.intValue(c.args[2]), Rel::Le, nullptr,
         c.pos);
}

// A fixed control turns a reified linear into the relation or its negation.
void FznBuilder::intLinEqReif(const FznConstraint& c) {
  const FznExpr& r = c.args[3];
  auto coefs = _m.intArrayValue(c.args[0]);
  const std::int64_t rhs = _m.intValue(c.args[2]);
  if (isFixed(r))
    linear(coefs, vars(c.args[1]), rhs, fixedValue(r) ? Rel::Eq : Rel::Ne, nullptr, c.pos);
  else
    linear(coefs, vars(c.args[1]), rhs, Rel::Eq, var(r), c.pos);
}
void FznBuilder::intLinNeReif(const FznConstraint& c) {
  const FznExpr& r = c.args[3];
  auto coefs = _m.intArrayValue(c.args[0]);
  const std::int64_t rhs = _m.intValue(c.args[2]);
  if (isFixed(r))
    linear(coefs, vars(c.args[1]), rhs, fixedValue(r) ? Rel::Ne : Rel::Eq, nullptr, c.pos);
  else
    linear(coefs, vars(c.args[1]), rhs, Rel::Ne, var(r), c.pos);
}
void FznBuilder::intLinLeReif(const FznConstraint& c) {
  const FznExpr& r = c.args[3];
  auto coefs = _m.intArrayValue(c.args[0]);
  const std::int64_t rhs = _m.intValue(c.args[2]);
  if (!isFixed(r)) {
    linear(coefs, vars(c.args[1]), rhs, Rel::Le, var(r), c.pos);
  } else if (fixedValue(r)) {
    linear(coefs, vars(c.args[1]), rhs, Rel::Le, nullptr, c.pos);
  } else {
    // not (sum <= rhs)  <=>  -sum <= -rhs - 1
    for (auto& a : coefs) a = -a;
    linear(coefs, vars(c.args[1]), -rhs - 1, Rel::Le, nullptr, c.pos);
  }
}

void FznBuilder::intPlus(const FznConstraint& c) {
  RavObjectArray xs;
  xs.values = {var(c.args[0]), var(c.args[1]), var(c.args[2])};
  linear({1, 1, -1}, xs, 0, Rel::Eq, nullptr, c.pos);
}

// ---- arithmetic ---------------------------------------------------------------------

// z == op(x, y) through the arithmetic class's named operations.
void FznBuilder::function(const char* op, const FznConstraint& c) {
  post("CP$CExpr", {RavValue(op), RavValue(var(c.args[0])), RavValue(var(c.args[1])),
                    RavValue(var(c.args[2]))});
}

void FznBuilder::intTimes(const FznConstraint& c) {
  post("CP$Mult", {RavValue(var(c.args[0])), RavValue(var(c.args[1])), RavValue(var(c.args[2]))});
}
void FznBuilder::intDiv(const FznConstraint& c) { function("div", c); }
void FznBuilder::intMod(const FznConstraint& c) { function("mod", c); }
void FznBuilder::intAbs(const FznConstraint& c) {
  post("CP$CExpr", {RavValue("abs"), RavValue(var(c.args[0])), RavValue(var(c.args[1]))});
}
void FznBuilder::intMin(const FznConstraint& c) { function("min", c); }
void FznBuilder::intMax(const FznConstraint& c) { function("max", c); }
void FznBuilder::intPow(const FznConstraint& c) { function("pow", c); }
void FznBuilder::arrayIntMinimum(const FznConstraint& c) {
  post("CP$CExpr", {RavValue("minimum"), RavValue(var(c.args[0])), RavValue(vars(c.args[1]))});
}
void FznBuilder::arrayIntMaximum(const FznConstraint& c) {
  post("CP$CExpr", {RavValue("maximum"), RavValue(var(c.args[0])), RavValue(vars(c.args[1]))});
}

// ---- element ------------------------------------------------------------------------

void FznBuilder::arrayIntElement(const FznConstraint& c) {
  std::vector<std::int64_t> values;
  for (const FznExpr& e : _m.arrayElements(c.args[1])) {
    const FznExpr& d = _m.deref(e);
    values.push_back(d.kind == FznExprKind::Bool ? (d.boolValue() ? 1 : 0) : _m.intValue(e));
  }
  post("CP$Element", {RavValue(var(c.args[0])), RavValue(intArray(values, c.pos)),
                      RavValue(var(c.args[2]))});
}

void FznBuilder::arrayVarIntElement(const FznConstraint& c) {
  post("CP$ElementVar",
       {RavValue(var(c.args[0])), RavValue(vars(c.args[1])), RavValue(var(c.args[2]))});
}

// ---- Boolean ------------------------------------------------------------------------

void FznBuilder::arrayBoolAnd(const FznConstraint& c) {
  RavObjectArray as = vars(c.args[0]);
  const std::int64_t n = static_cast<std::int64_t>(as.size());
  std::vector<std::int64_t> ones(as.size(), 1);
  const FznExpr& r = c.args[1];
  if (isFixed(r)) {
    if (fixedValue(r))
      linear(ones, as, n, Rel::Eq, nullptr, c.pos);  // every one true
    else
      linear(ones, as, n - 1, Rel::Le, nullptr, c.pos);  // at least one false
    return;
  }
  // r <=> sum >= n  <=>  r <=> -sum <= -n
  std::vector<std::int64_t> neg(as.size(), -1);
  linear(neg, as, -n, Rel::Le, var(r), c.pos);
}

void FznBuilder::arrayBoolOr(const FznConstraint& c) {
  RavObjectArray as = vars(c.args[0]);
  std::vector<std::int64_t> ones(as.size(), 1), neg(as.size(), -1);
  const FznExpr& r = c.args[1];
  if (isFixed(r)) {
    if (fixedValue(r))
      linear(neg, as, -1, Rel::Le, nullptr, c.pos);  // sum >= 1
    else
      linear(ones, as, 0, Rel::Le, nullptr, c.pos);  // every one false
    return;
  }
  linear(neg, as, -1, Rel::Le, var(r), c.pos);
}

void FznBuilder::arrayBoolXor(const FznConstraint& c) {
  // An odd number true: sum - 2k == 1 for some k.
  RavObjectArray as = vars(c.args[0]);
  const std::int64_t n = static_cast<std::int64_t>(as.size());
  std::vector<std::int64_t> coefs(as.size(), 1);
  coefs.push_back(-2);
  as.values.push_back(newIntVar(0, n / 2, c.pos));
  linear(coefs, as, 1, Rel::Eq, nullptr, c.pos);
}

void FznBuilder::boolClause(const FznConstraint& c) {
  // sum(as) - sum(bs) >= 1 - |bs|  <=>  sum(bs) - sum(as) <= |bs| - 1
  RavObjectArray as = vars(c.args[0]);
  RavObjectArray bs = vars(c.args[1]);
  std::vector<std::int64_t> coefs(as.size(), -1);
  coefs.insert(coefs.end(), bs.size(), 1);
  const std::int64_t nb = static_cast<std::int64_t>(bs.size());
  as.values.insert(as.values.end(), bs.values.begin(), bs.values.end());
  linear(coefs, as, nb - 1, Rel::Le, nullptr, c.pos);
}

void FznBuilder::boolClauseReif(const FznConstraint& c) {
  RavObjectArray as = vars(c.args[0]);
  RavObjectArray bs = vars(c.args[1]);
  std::vector<std::int64_t> coefs(as.size(), -1);
  coefs.insert(coefs.end(), bs.size(), 1);
  const std::int64_t nb = static_cast<std::int64_t>(bs.size());
  as.values.insert(as.values.end(), bs.values.begin(), bs.values.end());
  const FznExpr& r = c.args[2];
  if (isFixed(r)) {
    if (fixedValue(r)) {
      linear(coefs, as, nb - 1, Rel::Le, nullptr, c.pos);
    } else {
      for (auto& a : coefs) a = -a;
      linear(coefs, as, -nb, Rel::Le, nullptr, c.pos);  // every a false, every b true
    }
    return;
  }
  linear(coefs, as, nb - 1, Rel::Le, var(r), c.pos);
}

void FznBuilder::boolAnd(const FznConstraint& c) {
  const FznExpr* args[] = {&c.args[0], &c.args[1], &c.args[2]};
  if (std::none_of(args, args + 3, [&](const FznExpr* e) { return isFixed(*e); })) {
    post("CP$LogicAnd", {RavValue(var(c.args[0])), RavValue(var(c.args[1])), RavValue(var(c.args[2]))});
    return;
  }
  RavObjectArray as;
  as.values = {var(c.args[0]), var(c.args[1])};
  // r <=> a + b >= 2
  if (isFixed(c.args[2])) {
    if (fixedValue(c.args[2]))
      linear({1, 1}, as, 2, Rel::Eq, nullptr, c.pos);
    else
      linear({1, 1}, as, 1, Rel::Le, nullptr, c.pos);
    return;
  }
  linear({-1, -1}, as, -2, Rel::Le, var(c.args[2]), c.pos);
}

void FznBuilder::boolOr(const FznConstraint& c) {
  const FznExpr* args[] = {&c.args[0], &c.args[1], &c.args[2]};
  if (std::none_of(args, args + 3, [&](const FznExpr* e) { return isFixed(*e); })) {
    post("CP$LogicOr", {RavValue(var(c.args[0])), RavValue(var(c.args[1])), RavValue(var(c.args[2]))});
    return;
  }
  RavObjectArray as;
  as.values = {var(c.args[0]), var(c.args[1])};
  if (isFixed(c.args[2])) {
    if (fixedValue(c.args[2]))
      linear({-1, -1}, as, -1, Rel::Le, nullptr, c.pos);
    else
      linear({1, 1}, as, 0, Rel::Le, nullptr, c.pos);
    return;
  }
  linear({-1, -1}, as, -1, Rel::Le, var(c.args[2]), c.pos);
}

void FznBuilder::boolXor(const FznConstraint& c) {
  if (c.args.size() == 2) {  // a != b
    binary(c.args[0], c.args[1], 0, Rel::Ne, nullptr, c.pos);
    return;
  }
  const FznExpr& r = c.args[2];
  if (isFixed(r)) {
    binary(c.args[0], c.args[1], 0, fixedValue(r) ? Rel::Ne : Rel::Eq, nullptr, c.pos);
    return;
  }
  binary(c.args[0], c.args[1], 0, Rel::Ne, var(r), c.pos);
}

void FznBuilder::boolNot(const FznConstraint& c) {
  binary(c.args[0], c.args[1], 0, Rel::Ne, nullptr, c.pos);
}

void FznBuilder::boolLinEq(const FznConstraint& c) {
  std::vector<std::int64_t> coefs = _m.intArrayValue(c.args[0]);
  RavObjectArray xs = vars(c.args[1]);
  coefs.push_back(-1);
  xs.values.push_back(var(c.args[2]));
  linear(coefs, xs, 0, Rel::Eq, nullptr, c.pos);
}

void FznBuilder::boolLinLe(const FznConstraint& c) {
  linear(_m.intArrayValue(c.args[0]), vars(c.args[1]), _m.intValue(c.args[2]), Rel::Le, nullptr,
         c.pos);
}

// ---- sets of constants --------------------------------------------------------------

void FznBuilder::setIn(const FznConstraint& c) {
  const FznExpr& s = _m.deref(c.args[1]);
  if (s.kind != FznExprKind::IntSet)
    _m.fail(c.pos, "set_in over a set variable is not supported by this build of nuvfd");
  std::vector<FznIntRange> ranges = _m.intSetValue(s);
  if (isFixed(c.args[0])) {
    const std::int64_t v = fixedValue(c.args[0]);
    if (std::none_of(ranges.begin(), ranges.end(),
                     [&](const FznIntRange& r) { return r.low <= v && v <= r.high; }))
      fail();
    return;
  }
  NuvCPIntVarI* x = implVar(c.args[0]);
  if (ranges.empty()) {
    fail();
    return;
  }
  if (x->updateMin(static_cast<int>(std::max(ranges.front().low, kMinValue - 1))) == 0 ||
      x->updateMax(static_cast<int>(std::min(ranges.back().high, kMaxValue + 1))) == 0) {
    fail();
    return;
  }
  for (std::size_t i = 0; i + 1 < ranges.size(); ++i)
    for (std::int64_t v = ranges[i].high + 1; v < ranges[i + 1].low; ++v)
      if (x->removeValue(static_cast<int>(v)) == 0) {
        fail();
        return;
      }
  _rt.call(_store, "propagate", 0);
  if (!store()->isConsistent()) fail();
}

void FznBuilder::setInReif(const FznConstraint& c) {
  const FznExpr& s = _m.deref(c.args[1]);
  if (s.kind != FznExprKind::IntSet)
    _m.fail(c.pos, "set_in_reif over a set variable is not supported by this build of nuvfd");
  std::vector<FznIntRange> ranges = _m.intSetValue(s);
  const FznExpr& r = c.args[2];
  NuvNativeObject* rv = var(r);
  if (ranges.size() == 1) {
    // r <=> lo <= x <= hi: r = (x >= lo) and (x <= hi).
    NuvNativeObject* ge = newBoolVar();
    NuvNativeObject* le = newBoolVar();
    const FznIntRange range = ranges.front();
    NuvNativeObject* x = var(c.args[0]);
    post("CP$ReifyGEqualc",
         {RavValue(x), RavValue(checkedInt(range.low, c.pos, "bound")), RavValue(ge)});
    post("CP$ReifyLEqualc",
         {RavValue(x), RavValue(checkedInt(range.high, c.pos, "bound")), RavValue(le)});
    RavObjectArray as;
    as.values = {ge, le};
    linear({-1, -1}, as, -2, Rel::Le, rv, c.pos);
    return;
  }
  // r == table[x] over x's current values.
  NuvCPIntVarI* x = implVar(c.args[0]);
  const std::int64_t lo = x->getMin(), hi = x->getMax();
  if (hi - lo > 1000000)
    _m.fail(c.pos, "set_in_reif: the variable's domain is too wide for a table (" +
                       std::to_string(hi - lo + 1) + " values)");
  RavIntArray table;
  table.low = static_cast<int>(lo);
  for (std::int64_t v = lo; v <= hi; ++v)
    table.values.push_back(std::any_of(ranges.begin(), ranges.end(), [&](const FznIntRange& rg) {
      return rg.low <= v && v <= rg.high;
    }));
  post("CP$Element", {RavValue(var(c.args[0])), RavValue(std::move(table)), RavValue(rv)});
}

// ---- output and solve ---------------------------------------------------------------

void FznBuilder::buildOutputs() {
  for (const FznDecl& d : _m.decls) {
    if (!d.isVar()) continue;
    const FznExpr* ov = _m.findAnnotation(d.annotations, "output_var");
    const FznExpr* oa = _m.findAnnotation(d.annotations, "output_array");
    if (!ov && !oa) continue;
    FznOutputItem item;
    item.name = d.name;
    item.isBool = d.type.base == FznBaseType::Bool;
    auto add = [&](const FznExpr& e) {
      if (isFixed(e)) {
        item.vars.push_back(nullptr);
        item.fixed.push_back(fixedValue(e));
      } else {
        item.vars.push_back(implVar(e));
        item.fixed.push_back(0);
      }
    };
    if (d.isArray()) {
      item.isArray = true;
      if (oa && oa->kind == FznExprKind::Call && !oa->items.empty())
        for (const FznExpr& dim : _m.arrayElements(oa->items[0])) {
          std::vector<FznIntRange> r = _m.intSetValue(dim);
          item.dims.push_back(r.empty() ? FznIntRange{1, 0}
                                        : FznIntRange{r.front().low, r.back().high});
        }
      if (item.dims.empty())
        item.dims.push_back({1, static_cast<std::int64_t>(d.value ? d.value->items.size() : 0)});
      if (d.value)
        for (const FznExpr& e : d.value->items) add(e);
    } else {
      FznExpr self;
      self.kind = FznExprKind::Ident;
      self.symbol = d.symbol;
      self.pos = d.pos;
      add(self);
    }
    _outputs.push_back(std::move(item));
  }
}

void FznBuilder::collectDecisionVars() {
  if (_failed) return;  // no search follows
  for (const FznDecl& d : _m.decls) {
    if (!d.isVar() || d.isArray()) continue;
    const bool printed = _m.findAnnotation(d.annotations, "output_var") != nullptr;
    if (!printed && _m.findAnnotation(d.annotations, "var_is_introduced")) continue;
    FznExpr self;
    self.kind = FznExprKind::Ident;
    self.symbol = d.symbol;
    self.pos = d.pos;
    if (!isFixed(self)) _decisionVars.push_back(implVar(self));
  }
  // Printed arrays may name introduced variables.
  for (const FznOutputItem& item : _outputs)
    for (NuvCPIntVarI* x : item.vars)
      if (x) _decisionVars.push_back(x);
}

void FznBuilder::buildSolve() {
  const FznSolve& s = _m.solve;
  if (s.kind != FznSolveKind::Satisfy && s.objective) {
    const FznExpr& o = _m.deref(*s.objective);
    if (o.kind == FznExprKind::Float)
      _m.fail(s.pos, "float objectives are not supported by this build of nuvfd");
    _objective = implVar(*s.objective);
  }
  // Search annotations, flattened.
  std::vector<const FznExpr*> work;
  for (const FznExpr& a : s.annotations) work.push_back(&a);
  for (std::size_t i = 0; i < work.size(); ++i) {
    const FznExpr& a = *work[i];
    if (a.kind != FznExprKind::Call) continue;
    const std::string& name = _m.name(a.symbol);
    if (name == "seq_search" && !a.items.empty()) {
      // Inline the inner list in order, replacing this entry.
      std::vector<const FznExpr*> inner;
      for (const FznExpr& e : _m.arrayElements(a.items[0])) inner.push_back(&e);
      work.insert(work.begin() + static_cast<std::ptrdiff_t>(i) + 1, inner.begin(), inner.end());
      continue;
    }
    if ((name == "int_search" || name == "bool_search") && a.items.size() >= 3) {
      FznSearchPhase p;
      p.pos = a.pos;
      for (const FznExpr& e : _m.arrayElements(a.items[0]))
        if (!isFixed(e)) p.vars.push_back(implVar(e));
      p.varSelect = _m.name(a.items[1].symbol);
      p.valSelect = _m.name(a.items[2].symbol);
      _phases.push_back(std::move(p));
      continue;
    }
    if (name == "int_search" || name == "bool_search" || name == "set_search" ||
        name == "float_search")
      _warnings.push_back(_m.source(a.pos).toString() + ": warning: search annotation '" + name +
                          "' ignored");
  }
}
