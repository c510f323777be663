#include "fzn/FznBuilder.h"

#include <algorithm>
#include <map>
#include <utility>

#include "fd/NuvCPAllDiffI.h"
#include "fd/NuvCPCircuitI.h"
#include "fd/NuvCPAmongI.h"
#include "fd/NuvCPArrayRelI.h"
#include "fd/NuvCPIVarI.h"
#include "fd/NuvCPIntMath.h"
#include "fd/NuvCPIntVar.h"
#include "fd/NuvCPManager.h"
#include "fd/NuvCPManagerI.h"
#include "fd/NuvCPNValueI.h"
#include "fd/NuvCPNative.h"
#include "fd/NuvCPRegularI.h"
#include "fd/NuvCPTable.h"
#include "fd/NuvCPTableI.h"
#include "fd/NuvCPUnaryI.h"
#include "fd/NuvCPViewIntVarI.h"
#include "host/PimError.h"

namespace {

// The integer variables' value range; anything outside cannot be represented.
constexpr std::int64_t kMinValue = -1073741823;
constexpr std::int64_t kMaxValue = 1073741822;
// A view's offset stays below 2^30 in magnitude, so that the view's values
// never leave the int range.
constexpr std::int64_t kViewOffsetLimit = std::int64_t{1} << 30;

// Sums and products of constants from the file (anywhere in 64 bits) with
// coefficients and bounds are taken in 128 bits, where they cannot overflow.
using Wide = __int128;

Wide floorDiv(Wide a, Wide b) {
  Wide q = a / b;
  if (q * b != a && ((a < 0) != (b < 0))) --q;
  return q;
}

// Variables never leave the representable range, so a constant beyond it
// acts like the first value past the range's end.
int clampedInt(Wide v) { return static_cast<int>(std::clamp<Wide>(v, kMinValue - 1, kMaxValue + 1)); }

bool isUnit2(const std::vector<std::int64_t>& c, std::int64_t a, std::int64_t b) {
  return c.size() == 2 && c[0] == a && c[1] == b;
}


}  // namespace

FznBuilder::FznBuilder(const FznModel& model, RavRuntime& rt, NuvNativeObject* store)
    : _m(model), _rt(rt), _store(store) {
  using B = FznBuilder;
  constexpr Arg I = Arg::Int, IV = Arg::IntVar, BV = Arg::BoolVar, IA = Arg::IntArray,
                BA = Arg::BoolArray, IVA = Arg::IntVarArray, BVA = Arg::BoolVarArray,
                S = Arg::IntSet;
  _builtins = {
      {"int_eq", {&B::intEq, {IV, IV}}},
      {"int_ne", {&B::intNe, {IV, IV}}},
      {"int_le", {&B::intLe, {IV, IV}}},
      {"int_lt", {&B::intLt, {IV, IV}}},
      {"int_eq_reif", {&B::intEqReif, {IV, IV, BV}}},
      {"int_ne_reif", {&B::intNeReif, {IV, IV, BV}}},
      {"int_le_reif", {&B::intLeReif, {IV, IV, BV}}},
      {"int_lt_reif", {&B::intLtReif, {IV, IV, BV}}},
      {"int_lin_eq", {&B::intLinEq, {IA, IVA, I}, 0, true}},
      {"int_lin_ne", {&B::intLinNe, {IA, IVA, I}, 0, true}},
      {"int_lin_le", {&B::intLinLe, {IA, IVA, I}, 0, true}},
      {"int_lin_eq_reif", {&B::intLinEqReif, {IA, IVA, I, BV}, 0, true}},
      {"int_lin_ne_reif", {&B::intLinNeReif, {IA, IVA, I, BV}, 0, true}},
      {"int_lin_le_reif", {&B::intLinLeReif, {IA, IVA, I, BV}, 0, true}},
      {"int_plus", {&B::intPlus, {IV, IV, IV}}},
      {"int_times", {&B::intTimes, {IV, IV, IV}}},
      {"int_div", {&B::intDiv, {IV, IV, IV}}},
      {"int_mod", {&B::intMod, {IV, IV, IV}}},
      {"int_abs", {&B::intAbs, {IV, IV}}},
      {"int_min", {&B::intMin, {IV, IV, IV}}},
      {"int_max", {&B::intMax, {IV, IV, IV}}},
      {"int_pow", {&B::intPow, {IV, IV, IV}}},
      {"array_int_minimum", {&B::arrayIntMinimum, {IV, IVA}}},
      {"array_int_maximum", {&B::arrayIntMaximum, {IV, IVA}}},
      {"array_int_element", {&B::arrayIntElement, {IV, IA, IV}}},
      {"array_bool_element", {&B::arrayIntElement, {IV, BA, BV}}},
      {"array_var_int_element", {&B::arrayVarIntElement, {IV, IVA, IV}}},
      {"fzn_cumulative", {&B::cumulative, {IVA, IVA, IVA, IV}}},
      {"nuvfd_cumulative_opt", {&B::cumulativeOpt, {IVA, IVA, IVA, IV, BVA}}},
      {"nuvfd_disjunctive", {&B::disjunctive, {IVA, IVA}}},
      {"nuvfd_disjunctive_strict", {&B::disjunctive, {IVA, IVA}}},
      {"nuvfd_disjunctive_opt", {&B::disjunctive, {IVA, IVA, BVA}}},
      {"nuvfd_disjunctive_strict_opt", {&B::disjunctive, {IVA, IVA, BVA}}},
      {"fzn_all_different_int", {&B::allDifferent, {IVA}}},
      {"fzn_all_different_int_reif", {&B::allDifferentReif, {IVA, BV}}},
      {"array_var_bool_element", {&B::arrayVarIntElement, {IV, BVA, BV}}},
      {"array_bool_and", {&B::arrayBoolAnd, {BVA, BV}}},
      {"array_bool_or", {&B::arrayBoolOr, {BVA, BV}}},
      {"array_bool_xor", {&B::arrayBoolXor, {BVA}}},
      {"bool_clause", {&B::boolClause, {BVA, BVA}}},
      {"bool_clause_reif", {&B::boolClauseReif, {BVA, BVA, BV}}},
      {"bool2int", {&B::intEq, {BV, IV}}},
      {"bool_eq", {&B::intEq, {BV, BV}}},
      {"bool_eq_reif", {&B::intEqReif, {BV, BV, BV}}},
      {"bool_ne", {&B::intNe, {BV, BV}}},
      {"bool_ne_reif", {&B::intNeReif, {BV, BV, BV}}},
      {"bool_le", {&B::intLe, {BV, BV}}},
      {"bool_le_reif", {&B::intLeReif, {BV, BV, BV}}},
      {"bool_lt", {&B::boolLt, {BV, BV}}},
      {"bool_lt_reif", {&B::boolLtReif, {BV, BV, BV}}},
      {"bool_and", {&B::boolAnd, {BV, BV, BV}}},
      {"bool_or", {&B::boolOr, {BV, BV, BV}}},
      {"bool_xor", {&B::boolXor, {BV, BV, BV}, 1}},  // bool_xor(a, b) is a != b
      {"bool_not", {&B::boolNot, {BV, BV}}},
      {"bool_lin_eq", {&B::boolLinEq, {IA, BVA, IV}, 0, true}},
      {"bool_lin_le", {&B::boolLinLe, {IA, BVA, I}, 0, true}},
      {"set_in", {&B::setIn, {IV, S}}},
      {"set_in_reif", {&B::setInReif, {IV, S, BV}}},
      {"nuvfd_table_int", {&B::tableInt, {IVA, IA}}},
      {"nuvfd_table_bool", {&B::tableInt, {BVA, BA}}},
      {"nuvfd_table_int_reif", {&B::tableIntReif, {IVA, IA, BV}}},
      {"nuvfd_table_bool_reif", {&B::tableIntReif, {BVA, BA, BV}}},
      {"nuvfd_inverse", {&B::inverse, {IVA, I, IVA, I}}},
      {"nuvfd_regular", {&B::regular, {IVA, I, I, IA, I, IA}}},
      {"nuvfd_global_cardinality", {&B::globalCardinality, {IVA, IA, IVA, I}}},
      {"nuvfd_lex_int", {&B::lex, {IVA, IVA, I}}},
      {"nuvfd_among", {&B::among, {IV, IVA, IA}}},
      {"nuvfd_nvalue", {&B::nvalue, {IV, IVA}}},
      {"nuvfd_sliding_sum", {&B::slidingSum, {I, I, I, IVA}}},
      {"nuvfd_increasing", {&B::arrayRelation, {IVA, I}}},
      {"nuvfd_increasing_bool", {&B::arrayRelation, {BVA, I}}},
      {"nuvfd_all_equal", {&B::arrayRelation, {IVA}}},
      {"nuvfd_member", {&B::member, {IVA, IV}}},
      {"nuvfd_member_bool", {&B::member, {BVA, BV}}},
      {"nuvfd_value_precede", {&B::valuePrecede, {I, I, IVA}}},
      {"nuvfd_lex_bool", {&B::lex, {BVA, BVA, I}}},
      {"nuvfd_global_cardinality_low_up", {&B::globalCardinality, {IVA, IA, IA, IA, I}}},
      {"nuvfd_cost_regular", {&B::regular, {IVA, I, I, IA, I, IA, IA, IV}}},
      {"nuvfd_circuit", {&B::circuit, {I, IVA, I}}},
      {"nuvfd_bin_packing_load", {&B::binPacking, {IVA, IVA, IA, I}}},
      {"nuvfd_knapsack", {&B::knapsack, {IA, IA, IVA, IV, IV}}},
      {"nuvfd_wst", {&B::spanningTree, {I, IA, IA, IA, BVA, IV}}},
  };
}

NuvCPManagerI* FznBuilder::store() const { return static_cast<NuvCPManager*>(_store)->store(); }

bool FznBuilder::build() {
  _varOf.assign(_m.symbolCount(), nullptr);
  for (const FznDecl& d : _m.decls) checkUnsupportedDecl(d);
  checkConstraints();
  declareVars();
  // An empty domain: nothing else needs building, and the variables it
  // would have named do not exist.
  if (_failed) return false;
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

std::uint32_t FznBuilder::aliasRoot(std::uint32_t symbol, std::int64_t& offset) const {
  offset = 0;
  while (_aliasOf[symbol] != UINT32_MAX) {
    offset += _aliasOffset[symbol];
    symbol = _aliasOf[symbol];
  }
  return symbol;
}

void FznBuilder::findAliases() {
  // Two kinds of constraint only name one variable by another, and are not
  // posted:
  // - bool2int(a, b) with b an integer variable of its own that can be 0 and
  //   1: b is a itself. Models with reified sums have one of these per
  //   Boolean; sharing the variable saves a propagator and a round of events.
  // - int_lin_eq([1, -1], [a, b], c) (either sign order) that defines b, an
  //   integer variable of its own: b is the view a - c (so for b = a + i,
  //   the diagonals of n-queens and every shifted copy MiniZinc introduces).
  //   The view has no domain of its own; b's declared domain is kept by
  //   narrowing a (declareVars). Every propagator takes views, so a
  //   constraint on b acts on a directly, without a channel between two
  //   variables and its second round of events.
  // The objective is never made a view (branch and bound narrows it
  // directly), and a view's root is always an integer variable.
  _aliasOf.assign(_m.symbolCount(), UINT32_MAX);
  _aliasOffset.assign(_m.symbolCount(), 0);
  _skip.assign(_m.constraints.size(), false);
  std::uint32_t objective = UINT32_MAX;
  if (_m.solve.objective) {
    const FznExpr& o = _m.deref(*_m.solve.objective);
    if (o.kind == FznExprKind::Ident) objective = o.symbol;
  }
  auto ownIntVar = [&](std::uint32_t sym) {
    const FznDecl* d = _m.find(sym);
    return d && d->isVar() && !d->isArray() && !d->value && d->type.base == FznBaseType::Int &&
           _aliasOf[sym] == UINT32_MAX;
  };
  for (std::size_t i = 0; i < _m.constraints.size(); ++i) {
    const FznConstraint& c = _m.constraints[i];
    const std::string& name = _m.name(c.symbol);
    if (name == "bool2int" && c.args.size() == 2) {
      const FznExpr& a = _m.deref(c.args[0]);
      const FznExpr& b = _m.deref(c.args[1]);
      if (a.kind != FznExprKind::Ident || b.kind != FznExprKind::Ident || a.symbol == b.symbol) continue;
      if (!ownIntVar(b.symbol)) continue;
      const FznDecl* db = _m.find(b.symbol);
      if (db->type.domain) {
        std::vector<FznIntRange> dom = _m.intSetValue(*db->type.domain);
        auto has = [&](std::int64_t v) {
          return std::any_of(dom.begin(), dom.end(),
                             [&](const FznIntRange& r) { return r.low <= v && v <= r.high; });
        };
        if (!has(0) || !has(1)) continue;
      }
      // Follow a to the variable it stands for, so that chains end at a root.
      std::int64_t offset;
      const std::uint32_t root = aliasRoot(a.symbol, offset);
      if (root == b.symbol || offset != 0) continue;
      _aliasOf[b.symbol] = root;
      _skip[i] = true;
    } else if (name == "int_lin_eq" && c.args.size() == 3) {
      const FznExpr* def = _m.findAnnotation(c.annotations, "defines_var");
      if (!def || def->kind != FznExprKind::Call || def->items.size() != 1) continue;
      const FznExpr& target = _m.deref(def->items[0]);
      if (target.kind != FznExprKind::Ident) continue;
      const std::vector<std::int64_t> coefs = _m.intArrayValue(c.args[0]);
      std::span<const FznExpr> xs = _m.arrayElements(c.args[1]);
      if (coefs.size() != 2 || xs.size() != 2 || coefs[0] != -coefs[1] ||
          (coefs[0] != 1 && coefs[0] != -1))
        continue;
      const FznExpr& x0 = _m.deref(xs[0]);
      const FznExpr& x1 = _m.deref(xs[1]);
      if (x0.kind != FznExprKind::Ident || x1.kind != FznExprKind::Ident || x0.symbol == x1.symbol)
        continue;
      // With k = coefs[0] (1 or -1), x0 - x1 == k * rhs; the defined one,
      // b, is the other, a, plus d.
      const std::int64_t rhs = _m.intValue(c.args[2]);
      std::uint32_t a, b;
      std::int64_t d;
      if (target.symbol == x1.symbol) {  // x1 = x0 - coefs[0] * rhs
        a = x0.symbol;
        b = x1.symbol;
        d = -coefs[0] * rhs;
      } else if (target.symbol == x0.symbol) {  // x0 = x1 + coefs[0] * rhs
        a = x1.symbol;
        b = x0.symbol;
        d = coefs[0] * rhs;
      } else {
        continue;
      }
      if (b == objective || !ownIntVar(b)) continue;
      std::int64_t offset;
      const std::uint32_t root = aliasRoot(a, offset);
      const FznDecl* dr = _m.find(root);
      if (root == b || !dr || !dr->isVar() || dr->type.base != FznBaseType::Int) continue;
      offset += d;
      if (offset <= -kViewOffsetLimit || offset >= kViewOffsetLimit) continue;
      _aliasOf[b] = root;
      _aliasOffset[b] = static_cast<std::int32_t>(offset);
      _skip[i] = true;
    }
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
        Wide holes = Wide(hi) - lo + 1;
        for (const FznIntRange& r : dom) holes -= Wide(r.high) - r.low + 1;
        spendHoles(holes, d.pos, "the domain of variable '" + d.name + "'");
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
    std::int64_t offset;
    const std::uint32_t root = aliasRoot(d.symbol, offset);
    if (!_varOf[root]) continue;  // its root failed to exist (an empty domain)
    if (offset == 0) {
      _varOf[d.symbol] = _varOf[root];
      continue;
    }
    NuvNativeObject* v = nuvCPIntViewHandle(_rt, static_cast<NuvCPVarObject*>(_varOf[root])->intVar(),
                                            static_cast<int>(offset));
    _varOf[d.symbol] = v;
    // The view keeps the domain declared for it by narrowing its root.
    if (d.type.domain && !_failed &&
        !keepOnly(static_cast<NuvCPVarObject*>(v)->intVar(), _m.intSetValue(*d.type.domain), d.pos,
                  "the domain of variable '" + d.name + "'"))
      fail();
  }
  // An alias with a domain of its own narrows what it names.
  for (const FznDecl& d : _m.decls) {
    if (!d.isVar() || d.isArray() || !d.value || !d.type.domain || _failed) continue;
    if (d.type.base != FznBaseType::Int) continue;
    std::vector<FznIntRange> dom = _m.intSetValue(*d.type.domain);
    const FznExpr& target = _m.deref(*d.value);
    if (isFixed(target)) {
      const std::int64_t v = fixedValue(target);
      if (std::none_of(dom.begin(), dom.end(),
                       [&](const FznIntRange& r) { return r.low <= v && v <= r.high; }))
        fail();
      continue;
    }
    if (!keepOnly(implVar(target), dom, d.pos, "the domain of variable '" + d.name + "'")) fail();
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

void FznBuilder::spendHoles(Wide holes, const FznPos& pos, const std::string& what) {
  if (holes > _holesLeft)
    _m.fail(pos, what + ": " + std::to_string(static_cast<std::int64_t>(holes)) +
                     " values to clear from a domain; nuvfd clears at most " +
                     std::to_string(kMaxHoles) + " in a model");
  _holesLeft -= static_cast<std::int64_t>(holes);
}

bool FznBuilder::keepOnly(NuvCPIntVarI* x, const std::vector<FznIntRange>& ranges,
                          const FznPos& pos, const std::string& what) {
  if (ranges.empty()) return false;
  if (x->updateMin(clampedInt(ranges.front().low)) == 0 ||
      x->updateMax(clampedInt(ranges.back().high)) == 0)
    return false;
  Wide holes = 0;
  for (std::size_t i = 0; i + 1 < ranges.size(); ++i) {
    const Wide lo = std::max<Wide>(ranges[i].high + 1, x->getMin());
    const Wide hi = std::min<Wide>(ranges[i + 1].low - 1, x->getMax());
    if (lo <= hi) holes += hi - lo + 1;
  }
  spendHoles(holes, pos, what);
  for (std::size_t i = 0; i + 1 < ranges.size(); ++i) {
    const std::int64_t lo = std::max<std::int64_t>(ranges[i].high + 1, x->getMin());
    const std::int64_t hi = std::min<std::int64_t>(ranges[i + 1].low - 1, x->getMax());
    for (std::int64_t v = lo; v <= hi; ++v)
      if (x->member(static_cast<int>(v)) && x->removeValue(static_cast<int>(v)) == 0) return false;
  }
  return true;
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

// For the forms no language class has: the propagator goes on the store
// directly (null: its storage could not be had).
void FznBuilder::postPropagator(NuvCPCstrI* p, const FznConstraint& c) {
  if (!p) _m.fail(c.pos, "constraint " + _m.name(c.symbol) + ": out of memory");
  ++_posted;
  if (store()->post(p) == NuvCPFailure) fail();
}

std::vector<NuvCPIntVarI*> FznBuilder::implVars(const RavObjectArray& xs) const {
  std::vector<NuvCPIntVarI*> out;
  out.reserve(xs.values.size());
  for (NuvNativeObject* o : xs.values) out.push_back(static_cast<NuvCPVarObject*>(o)->intVar());
  return out;
}

void FznBuilder::buildConstraints() {
  for (std::size_t i = 0; i < _m.constraints.size(); ++i) {
    const FznConstraint& c = _m.constraints[i];
    if (_failed) return;
    if (_skip[i]) continue;
    _current = &c;
    (this->*(_builtinOf[i]->handler))(c);
  }
  _current = nullptr;
}

// ---- argument checks --------------------------------------------------------------

void FznBuilder::checkConstraints() {
  _builtinOf.assign(_m.constraints.size(), nullptr);
  for (std::size_t i = 0; i < _m.constraints.size(); ++i) {
    const FznConstraint& c = _m.constraints[i];
    const std::string& name = _m.name(c.symbol);
    auto it = _builtins.find(name);
    if (it == _builtins.end()) {
      const bool floaty = name.rfind("float_", 0) == 0 || name == "int2float" ||
                          name.find("_float_") != std::string::npos;
      const bool sety = name.rfind("set_", 0) == 0 || name.find("_set_") != std::string::npos;
      _m.fail(c.pos, "constraint '" + name + "' is not supported by this build of nuvfd" +
                         (floaty ? " (float constraints are not available yet)"
                          : sety ? " (set constraints are not available yet)"
                                 : ""));
    }
    checkArguments(c, it->second);
    _builtinOf[i] = &it->second;
  }
}

void FznBuilder::checkArguments(const FznConstraint& c, const Builtin& b) const {
  const std::string& name = _m.name(c.symbol);
  const std::size_t most = b.args.size(), least = most - b.optional;
  if (c.args.size() < least || c.args.size() > most) {
    const std::string expected =
        least == most ? std::to_string(most) : std::to_string(least) + " to " + std::to_string(most);
    _m.fail(c.pos, "constraint " + name + ": expected " + expected + " argument" +
                       (most == 1 ? "" : "s") + ", found " + std::to_string(c.args.size()));
  }
  // Arguments parsed from the file carry their own position; the
  // constraint's is the fallback.
  auto at = [&](const FznExpr& e) { return e.pos.line > 0 ? e.pos : c.pos; };
  for (std::size_t i = 0; i < c.args.size(); ++i) {
    const std::string why = mismatch(c.args[i], b.args[i]);
    if (!why.empty())
      _m.fail(at(c.args[i]),
              "constraint " + name + ": argument " + std::to_string(i + 1) + ": " + why);
  }
  if (b.pairedArrays) {
    // Coefficients are negated and posted as 32-bit values.
    std::size_t i = 0;
    for (const FznExpr& e : _m.arrayElements(c.args[0])) {
      ++i;
      const std::int64_t v = _m.deref(e).intValue();
      if (v < INT32_MIN || v > INT32_MAX)
        _m.fail(at(c.args[0]), "constraint " + name + ": argument 1: element " + std::to_string(i) +
                                   ": coefficient " + std::to_string(v) + " does not fit in 32 bits");
    }
    const std::size_t n0 = _m.arrayElements(c.args[0]).size();
    const std::size_t n1 = _m.arrayElements(c.args[1]).size();
    if (n0 != n1)
      _m.fail(at(c.args[1]), "constraint " + name + ": argument 2 has " + std::to_string(n1) +
                                 " element" + (n1 == 1 ? "" : "s") + " but argument 1 has " +
                                 std::to_string(n0));
  }
}

std::string FznBuilder::mismatch(const FznExpr& e, Arg kind) const {
  const FznExpr& d = _m.deref(e);
  const FznDecl* decl = d.kind == FznExprKind::Ident ? _m.find(d.symbol) : nullptr;
  auto found = [&]() -> std::string {
    if (d.kind == FznExprKind::Bool) return std::string("Boolean ") + (d.boolValue() ? "true" : "false");
    if (decl && decl->isVar() && !decl->isArray()) {
      const char* type = decl->type.base == FznBaseType::Bool    ? "Boolean"
                         : decl->type.base == FznBaseType::Float ? "float"
                         : decl->type.base == FznBaseType::IntSet ? "set"
                                                                   : "integer";
      return std::string(type) + " variable '" + decl->name + "'";
    }
    return _m.describe(d);
  };
  auto scalar = [&](Arg k) -> std::string {
    switch (k) {
      case Arg::Int:
        if (d.kind == FznExprKind::Int) return {};
        return "expected an integer constant, found " + found();
      case Arg::IntVar:
        if (d.kind == FznExprKind::Int) return {};
        if (decl && decl->isVar() && !decl->isArray() && decl->type.base == FznBaseType::Int)
          return {};
        return "expected an integer variable or constant, found " + found();
      case Arg::BoolVar:
        if (d.kind == FznExprKind::Bool) return {};
        if (decl && decl->isVar() && !decl->isArray() && decl->type.base == FznBaseType::Bool)
          return {};
        return "expected a Boolean variable or constant, found " + found();
      case Arg::Bool:
        if (d.kind == FznExprKind::Bool) return {};
        return "expected a Boolean constant, found " + found();
      default:
        return {};
    }
  };
  switch (kind) {
    case Arg::Int:
    case Arg::Bool:
    case Arg::IntVar:
    case Arg::BoolVar:
      return scalar(kind);
    case Arg::IntSet:
      if (d.kind == FznExprKind::IntSet) return {};
      return "expected a set of integers, found " + found();
    case Arg::IntArray:
    case Arg::BoolArray:
    case Arg::IntVarArray:
    case Arg::BoolVarArray: {
      const char* what = kind == Arg::IntArray      ? "an array of integer constants"
                         : kind == Arg::BoolArray   ? "an array of Boolean constants"
                         : kind == Arg::IntVarArray ? "an array of integer variables"
                                                    : "an array of Boolean variables";
      if (d.kind != FznExprKind::Array && !(decl && decl->isArray()))
        return std::string("expected ") + what + ", found " + found();
      const Arg item = kind == Arg::IntArray      ? Arg::Int
                       : kind == Arg::BoolArray   ? Arg::Bool
                       : kind == Arg::IntVarArray ? Arg::IntVar
                                                  : Arg::BoolVar;
      std::size_t i = 0;
      for (const FznExpr& x : _m.arrayElements(d)) {
        ++i;
        const std::string why = mismatch(x, item);
        if (!why.empty()) return "element " + std::to_string(i) + ": " + why;
      }
      return {};
    }
  }
  return {};
}

// ---- relations ----------------------------------------------------------------------

void FznBuilder::binary(const FznExpr& x, const FznExpr& y, std::int64_t k, Rel rel,
                        NuvNativeObject* r, const FznPos& pos) {
  const char* plain[] = {"CP$Equal", "CP$NEqual", "CP$LEqual"};
  const char* reified[] = {"CP$ReifyEqual", "CP$ReifyNEqual", "CP$ReifyLEqual"};
  const int ri = static_cast<int>(rel);
  if (isFixed(x) && isFixed(y)) {
    const Wide a = fixedValue(x), b = Wide(fixedValue(y)) + k;
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
    const int c = clampedInt(Wide(fixedValue(y)) + k);
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
    const int c = clampedInt(Wide(fixedValue(x)) - k);
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

void FznBuilder::linear(std::vector<std::int64_t> coefs, RavObjectArray xs, Wide rhs, Rel rel,
                        NuvNativeObject* r, const FznPos& pos) {
  // Merge like terms, fold fixed variables into the right-hand side and drop
  // zero coefficients.
  std::vector<Wide> wide;
  RavObjectArray vs;
  vs.low = 1;
  std::map<NuvCPIntVarI*, std::size_t> seen;
  for (std::size_t i = 0; i < coefs.size(); ++i) {
    NuvCPIntVarI* x = static_cast<NuvCPVarObject*>(xs.values[i])->intVar();
    if (x->isBound()) {
      rhs -= Wide(coefs[i]) * x->getMin();
      continue;
    }
    auto [it, fresh] = seen.emplace(x, wide.size());
    if (fresh) {
      wide.push_back(coefs[i]);
      vs.values.push_back(xs.values[i]);
    } else {
      wide[it->second] += coefs[i];
    }
  }
  for (std::size_t i = wide.size(); i-- > 0;)
    if (wide[i] == 0) {
      wide.erase(wide.begin() + static_cast<std::ptrdiff_t>(i));
      vs.values.erase(vs.values.begin() + static_cast<std::ptrdiff_t>(i));
    }

  if (wide.empty()) {
    const bool holds = rel == Rel::Eq ? 0 == rhs : rel == Rel::Ne ? 0 != rhs : 0 <= rhs;
    if (!r) {
      if (!holds) fail();
    } else {
      post("CP$Equalc", {RavValue(r), RavValue(holds ? 1 : 0)});
    }
    return;
  }
  if (wide.size() == 1) {
    const Wide a = wide[0];
    NuvNativeObject* x = vs.values[0];
    if (rel == Rel::Le) {
      // a * x <= rhs: x <= floor(rhs / a) for a > 0, x >= ceil(rhs / a) for a < 0.
      const Wide bound = a > 0 ? floorDiv(rhs, a) : -floorDiv(-rhs, a);
      const int clamped = clampedInt(bound);
      const char* cls = a > 0 ? (r ? "CP$ReifyLEqualc" : "CP$LEqualc")
                              : (r ? "CP$ReifyGEqualc" : "CP$GEqualc");
      if (r)
        post(cls, {RavValue(x), RavValue(clamped), RavValue(r)});
      else
        post(cls, {RavValue(x), RavValue(clamped)});
      return;
    }
    if (rhs % a != 0) {  // a * x never equals rhs
      const bool holds = rel == Rel::Ne;
      if (!r) {
        if (!holds) fail();
      } else {
        post("CP$Equalc", {RavValue(r), RavValue(holds ? 1 : 0)});
      }
      return;
    }
    const int v = clampedInt(rhs / a);
    const char* cls = rel == Rel::Eq ? (r ? "CP$ReifyEqualc" : "CP$Equalc")
                                     : (r ? "CP$ReifyNEqualc" : "CP$NEqualc");
    if (r)
      post(cls, {RavValue(x), RavValue(v), RavValue(r)});
    else
      post(cls, {RavValue(x), RavValue(v)});
    return;
  }
  // A relation its terms' bounds already decide needs no propagator (and
  // its right-hand side may lie anywhere).
  Wide low = 0, high = 0;
  for (std::size_t i = 0; i < wide.size(); ++i) {
    const NuvCPIntVarI* x = static_cast<NuvCPVarObject*>(vs.values[i])->intVar();
    low += wide[i] * (wide[i] > 0 ? x->getMin() : x->getMax());
    high += wide[i] * (wide[i] > 0 ? x->getMax() : x->getMin());
  }
  const bool decided = rel == Rel::Le ? high <= rhs || low > rhs : rhs < low || rhs > high;
  if (decided) {
    const bool holds = rel == Rel::Le ? high <= rhs : rel == Rel::Ne;
    if (!r) {
      if (!holds) fail();
    } else {
      post("CP$Equalc", {RavValue(r), RavValue(holds ? 1 : 0)});
    }
    return;
  }
  // Two or more terms go to classes that take 32-bit coefficients and
  // right-hand side.
  auto narrow = [&](Wide v, const char* what) {
    if (v < INT32_MIN || v > INT32_MAX)
      _m.fail(pos, std::string(what) + " of the linear constraint does not fit in 32 bits");
    return static_cast<std::int64_t>(v);
  };
  std::vector<std::int64_t> cs;
  for (Wide a : wide) cs.push_back(narrow(a, "a coefficient"));
  const int rhs32 = static_cast<int>(narrow(rhs, "the right-hand side"));
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
  if (!r && rel == Rel::Eq && rhs32 == 0 && cs.size() == 3) {
    // x + y - z == 0 (in any order and sign) is z == x + y: a propagator
    // over three bounds instead of the general sum's term loop.
    int plus = 0, minus = 0;
    for (auto a : cs) {
      plus += a == 1;
      minus += a == -1;
    }
    if (plus + minus == 3 && (plus == 1 || minus == 1)) {
      const std::int64_t lone = plus == 1 ? 1 : -1;
      std::vector<NuvNativeObject*> xy;
      NuvNativeObject* z = nullptr;
      for (std::size_t i = 0; i < 3; ++i)
        if (cs[i] == lone)
          z = vs.values[i];
        else
          xy.push_back(vs.values[i]);
      post("CP$TernaryEqual", {RavValue(xy[0]), RavValue(xy[1]), RavValue(z)});
      return;
    }
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
  const int k = static_cast<int>(narrow(-rhs, "the right-hand side"));
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
    linear(coefs, vars(c.args[1]), -Wide(rhs) - 1, Rel::Le, nullptr, c.pos);
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
  // Bounds reasoning (and the gap around 0) unless ::domain asks for more.
  const bool domain = _m.findAnnotation(c.annotations, "domain") != nullptr;
  post("CP$CExpr", {RavValue("abs"), RavValue(var(c.args[0])), RavValue(var(c.args[1])),
                    RavValue(domain ? 1 : 0)});
}
void FznBuilder::intMin(const FznConstraint& c) { function("min", c); }
void FznBuilder::intMax(const FznConstraint& c) { function("max", c); }
void FznBuilder::intPow(const FznConstraint& c) { function("pow", c); }
// The minimum or maximum of no values is undefined: the constraint fails.
void FznBuilder::arrayIntMinimum(const FznConstraint& c) {
  if (_m.arrayElements(c.args[1]).empty()) return fail();
  post("CP$CExpr", {RavValue("minimum"), RavValue(var(c.args[0])), RavValue(vars(c.args[1]))});
}
void FznBuilder::arrayIntMaximum(const FznConstraint& c) {
  if (_m.arrayElements(c.args[1]).empty()) return fail();
  post("CP$CExpr", {RavValue("maximum"), RavValue(var(c.args[0])), RavValue(vars(c.args[1]))});
}

// ---- element ------------------------------------------------------------------------

void FznBuilder::arrayIntElement(const FznConstraint& c) {
  std::vector<std::int64_t> values;
  for (const FznExpr& e : _m.arrayElements(c.args[1])) {
    const FznExpr& d = _m.deref(e);
    values.push_back(d.intValue());
  }
  if (values.empty()) {  // no index is valid
    fail();
    return;
  }
  // A value beyond the representable range is never the result's, whatever
  // it is exactly.
  RavIntArray table;
  table.low = 1;
  for (std::int64_t v : values) table.values.push_back(clampedInt(v));
  post("CP$Element", {RavValue(var(c.args[0])), RavValue(std::move(table)), RavValue(var(c.args[2]))});
}

void FznBuilder::arrayVarIntElement(const FznConstraint& c) {
  if (_m.arrayElements(c.args[1]).empty()) {  // no index is valid
    fail();
    return;
  }
  post("CP$ElementVar",
       {RavValue(var(c.args[0])), RavValue(vars(c.args[1])), RavValue(var(c.args[2]))});
}

// A cumulative resource: time-tabling over the tasks (durations and demands
// are non-negative, as MiniZinc's cumulative asserts before it gets here).
// Arrays of different sizes are refused by the native class, with the
// constraint's position.
void FznBuilder::cumulative(const FznConstraint& c) {
  // Fixed demands of which no two fit together under a fixed capacity make
  // a unary resource: its own propagator is far stronger than time-tabling.
  // A task of demand 0 fits beside anything, and one above the capacity
  // may not run at all: both leave it to time-tabling.
  if (_failed) return;
  const std::vector<NuvCPIntVarI*> s = implVars(vars(c.args[0])), d = implVars(vars(c.args[1])),
                                   r = implVars(vars(c.args[2]));
  const NuvCPIntVarI* cap = implVar(c.args[3]);
  const bool unary = cap->isBound() && s.size() >= 2 && d.size() == s.size() && r.size() == s.size() &&
                     std::all_of(r.begin(), r.end(), [&](const NuvCPIntVarI* x) {
                       return x->isBound() && x->getMin() <= cap->getMin() &&
                              2 * std::int64_t{x->getMin()} > cap->getMin();
                     });
  if (unary) {
    // Time-tabling stays: it checks the durations' signs.
    NuvCPManagerI* st = store();
    postPropagator(nuvCPNew<NuvCPUnaryResourceI>(st->allocator(), st, static_cast<int>(s.size()), s.data(),
                                                d.data(), nullptr, false),
                   c);
  }
  // Edge finding (CP$DiscreteEdgeFinder) is not added: on the bench's
  // project-scheduling instances it cut nodes by up to a third but more
  // than doubled the time (rcpsp-a 257k -> 179k nodes, 0.62 -> 1.44 s).
  post("CP$TimeTableCstr", {RavValue(vars(c.args[0])), RavValue(vars(c.args[1])),
                            RavValue(vars(c.args[2])), RavValue(var(c.args[3]))});
}

// A cumulative resource over optional tasks (MiniZinc's cumulative over
// `var opt int` starts): time-tabling of the present tasks; an undecided
// task that fits nowhere is made absent.
void FznBuilder::cumulativeOpt(const FznConstraint& c) {
  post("CP$TimeTableCapOptionalCstr", {RavValue(vars(c.args[0])), RavValue(vars(c.args[1])),
                                       RavValue(vars(c.args[2])), RavValue(var(c.args[3])),
                                       RavValue(vars(c.args[4]))});
}

// A unary resource (MiniZinc's disjunctive and its strict and optional
// forms): one propagator with overload checking, detectable precedences,
// not-first/not-last and edge finding, both ways (fd/NuvCPUnaryI.h). The
// library asks d >= 0 before it calls these.
void FznBuilder::disjunctive(const FznConstraint& c) {
  if (_failed) return;
  const std::string& name = _m.name(c.symbol);
  const bool strict = name.find("strict") != std::string::npos;
  std::vector<NuvCPIntVarI*> s = implVars(vars(c.args[0])), d = implVars(vars(c.args[1])), p;
  if (c.args.size() > 2) p = implVars(vars(c.args[2]));
  if (d.size() != s.size() || (c.args.size() > 2 && p.size() != s.size()))
    _m.fail(c.pos, "constraint " + name + ": the start, duration and presence arrays differ in size");
  NuvCPManagerI* st = store();
  postPropagator(nuvCPNew<NuvCPUnaryResourceI>(st->allocator(), st, static_cast<int>(s.size()), s.data(),
                                              d.data(), p.empty() ? nullptr : p.data(), strict),
                 c);
}

// One propagator instead of the quadratic decomposition; ::domain,
// ::bounds and ::value_propagation choose its strength (without one the
// store picks by the values, see nuvCPAllDiffDefault in fd/NuvCPAllDiffI.h).
void FznBuilder::allDifferent(const FznConstraint& c) {
  const char* strength = "default";
  if (_m.findAnnotation(c.annotations, "value_propagation")) strength = "value";
  for (const char* s : {"bounds", "domain"})
    if (_m.findAnnotation(c.annotations, s)) strength = s;
  post("CP$AllDiff", {RavValue(vars(c.args[0])), RavValue(strength)});
}

// b <=> all different: no language class has this form, so the propagator
// is posted on the store directly.
void FznBuilder::allDifferentReif(const FznConstraint& c) {
  if (_failed) return;
  std::vector<NuvCPIntVarI*> xs = implVars(vars(c.args[0]));
  NuvCPManagerI* s = store();
  postPropagator(nuvCPNew<NuvCPAllDiffReifI>(s->allocator(), s, static_cast<int>(xs.size()), xs.data(),
                                             implVar(c.args[1])),
                 c);
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
  if (!keepOnly(implVar(c.args[0]), ranges, c.pos, "constraint set_in")) {
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
    post("CP$ReifyGEqualc", {RavValue(x), RavValue(clampedInt(range.low)), RavValue(ge)});
    post("CP$ReifyLEqualc", {RavValue(x), RavValue(clampedInt(range.high)), RavValue(le)});
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
    if (!_m.findAnnotation(d.annotations, "output_var")) continue;
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

// ---- table and inverse ----------------------------------------------------------------

// The "CP$Table" of a constraint's rows (args[1]) for n variables, shared by
// the constraints that name the same array; null when no row can be taken.
NuvNativeObject* FznBuilder::tableObject(const FznConstraint& c, std::size_t n) {
  const FznExpr* key = &_m.deref(c.args[1]);
  NuvNativeObject*& table = _tables[key];
  if (!table) {
    const std::span<const FznExpr> cells = _m.arrayElements(c.args[1]);
    if (cells.size() % n != 0)
      throw PimExecutionError(_m.source(c.pos), "constraint " + _m.name(c.symbol) + ": " +
                                                    std::to_string(cells.size()) +
                                                    " values do not make rows of " + std::to_string(n));
    // A row with a value no variable can take is never matched: left out.
    RavIntArray rows;
    rows.low = 1;
    rows.values.reserve(cells.size());
    for (std::size_t r = 0; r < cells.size(); r += n) {
      bool fits = true;
      for (std::size_t k = 0; k < n && fits; ++k) {
        const std::int64_t v = _m.deref(cells[r + k]).intValue();
        fits = v >= kMinValue && v <= kMaxValue;
      }
      if (!fits) continue;
      for (std::size_t k = 0; k < n; ++k) rows.values.push_back(_m.deref(cells[r + k]).intValue());
    }
    if (rows.values.empty()) return nullptr;  // no row can be taken
    try {
      _rt.push(RavValue(static_cast<int>(n)));
      _rt.push(RavValue(std::move(rows)));
      table = _rt.create("CP$Table", 2);
    } catch (const PimError& e) {
      throw PimExecutionError(_m.source(c.pos), "constraint " + _m.name(c.symbol) + ": " + e.message());
    }
  }
  return table;
}

void FznBuilder::tableInt(const FznConstraint& c) {
  RavObjectArray xs = vars(c.args[0]);
  if (xs.size() == 0) return;  // the empty tuple: nothing to constrain
  NuvNativeObject* table = tableObject(c, xs.size());
  if (!table) return fail();
  post("CP$TableCstr", {RavValue(std::move(xs)), RavValue(table)});
}

// b <=> a row: no language class has this form, so the propagator is
// posted on the store directly.
void FznBuilder::tableIntReif(const FznConstraint& c) {
  if (_failed) return;
  RavObjectArray xs = vars(c.args[0]);
  NuvNativeObject* b = var(c.args[2]);
  if (xs.size() == 0) {  // the empty tuple is a row of any table with rows
    const bool rows = !_m.arrayElements(c.args[1]).empty();
    post("CP$Equalc", {RavValue(b), RavValue(rows ? 1 : 0)});
    return;
  }
  NuvNativeObject* table = tableObject(c, xs.size());
  if (!table) {
    post("CP$Equalc", {RavValue(b), RavValue(0)});
    return;
  }
  std::vector<NuvCPIntVarI*> impl = implVars(xs);
  NuvCPManagerI* s = store();
  auto* p = nuvCPNew<NuvCPTableReifI>(s->allocator(), s, impl.data(), static_cast<int>(impl.size()),
                                      static_cast<NuvCPTable*>(table)->data(),
                                      static_cast<NuvCPVarObject*>(b)->intVar(), table);
  postPropagator(p && p->ok() ? p : nullptr, c);
}

// The constant int array of argument k, as the language takes it.
RavIntArray FznBuilder::constants(const FznConstraint& c, std::size_t k) const {
  std::vector<std::int64_t> v;
  for (const FznExpr& e : _m.arrayElements(c.args[k])) v.push_back(_m.deref(e).intValue());
  return intArray(v, c.pos);
}

// regular(x, Q, S, d, q0, F) and cost_regular(..., cost, C): an automaton
// object, then the constraint over it.
void FznBuilder::regular(const FznConstraint& c) {
  if (_failed) return;
  const bool costed = c.args.size() == 8;
  NuvNativeObject* automaton = nullptr;
  try {
    _rt.push(RavValue(checkedInt(fixedValue(c.args[1]), c.pos, "state count")));
    _rt.push(RavValue(checkedInt(fixedValue(c.args[2]), c.pos, "symbol count")));
    _rt.push(RavValue(constants(c, 3)));
    _rt.push(RavValue(checkedInt(fixedValue(c.args[4]), c.pos, "initial state")));
    _rt.push(RavValue(constants(c, 5)));
    automaton = _rt.create("CP$Automaton", 5);
  } catch (const PimError& e) {
    throw PimExecutionError(_m.source(c.pos), "constraint " + _m.name(c.symbol) + ": " + e.message());
  }
  if (costed)
    post("CP$CostRegular", {RavValue(vars(c.args[0])), RavValue(automaton), RavValue(constants(c, 6)),
                            RavValue(var(c.args[7]))});
  else
    post("CP$Regular", {RavValue(vars(c.args[0])), RavValue(automaton)});
}

// global_cardinality and its closed and low-up forms (the last argument
// says closed).
void FznBuilder::globalCardinality(const FznConstraint& c) {
  const int closed = fixedValue(c.args.back()) != 0 ? 1 : 0;
  if (c.args.size() == 4)
    post("CP$Cardinality", {RavValue(vars(c.args[0])), RavValue(constants(c, 1)), RavValue(vars(c.args[2])),
                            RavValue(closed)});
  else
    post("CP$Cardinality", {RavValue(vars(c.args[0])), RavValue(constants(c, 1)), RavValue(constants(c, 2)),
                            RavValue(constants(c, 3)), RavValue(closed)});
}

// lex_lesseq / lex_less over int or bool arrays (the last argument says
// strict).
void FznBuilder::lex(const FznConstraint& c) {
  post("CP$LexLeq", {RavValue(vars(c.args[0])), RavValue(vars(c.args[1])),
                     RavValue(fixedValue(c.args[2]) != 0 ? 1 : 0)});
}

// among(n, x, S) and the counts of one constant value: no language class
// has the exact form (the soft ones take a bound), so the propagator goes
// on the store directly.
void FznBuilder::among(const FznConstraint& c) {
  if (_failed) return;
  const std::vector<NuvCPIntVarI*> xs = implVars(vars(c.args[1]));
  const RavIntArray set = constants(c, 2);
  const std::vector<int> values(set.values.begin(), set.values.end());
  NuvCPManagerI* s = store();
  auto* p = nuvCPNew<NuvCPAmongI>(s->allocator(), s, static_cast<int>(xs.size()), xs.data(),
                                  static_cast<int>(values.size()), values.data(), implVar(c.args[0]));
  postPropagator(p && p->ok() ? p : nullptr, c);
}

// nvalue(n, x): the exact form has no language class (CP$AtLeastNValue is
// the one-sided one), so the propagator goes on the store directly.
void FznBuilder::nvalue(const FznConstraint& c) {
  if (_failed) return;
  const std::vector<NuvCPIntVarI*> xs = implVars(vars(c.args[1]));
  NuvCPManagerI* s = store();
  auto* p = nuvCPNew<NuvCPNValueI>(s->allocator(), s, static_cast<int>(xs.size()), xs.data(), implVar(c.args[0]),
                                   true);
  postPropagator(p && p->ok() ? p : nullptr, c);
}

void FznBuilder::slidingSum(const FznConstraint& c) {
  post("CP$SequenceLink", {RavValue(vars(c.args[3])), RavValue(checkedInt(fixedValue(c.args[0]), c.pos, "low")),
                           RavValue(checkedInt(fixedValue(c.args[1]), c.pos, "up")),
                           RavValue(checkedInt(fixedValue(c.args[2]), c.pos, "window"))});
}

// circuit through the language class (its nodes named from the first
// index); subcircuit has no class of its own, so its propagator goes on
// the store directly.
void FznBuilder::circuit(const FznConstraint& c) {
  if (_failed) return;
  const int low = checkedInt(fixedValue(c.args[0]), c.pos, "first index");
  RavObjectArray x = vars(c.args[1]);
  if (std::int64_t{low} + static_cast<std::int64_t>(x.values.size()) >= INT32_MAX)
    _m.fail(c.pos, "constraint " + _m.name(c.symbol) + ": the node names reach past 2147483646");
  if (fixedValue(c.args[2]) == 0) {
    x.low = low;
    post("CP$circuit", {RavValue(x)});
    return;
  }
  const std::vector<NuvCPIntVarI*> xs = implVars(x);
  NuvCPManagerI* s = store();
  auto* p = nuvCPNew<NuvCPCircuitI>(s->allocator(), s, static_cast<int>(xs.size()), xs.data(), low,
                                    NuvCPCircuitI::Subcircuit);
  postPropagator(p && p->ok() ? p : nullptr, c);
}

// bin_packing_load(load, bin, w): CP$BinPackingLB, its bins named from
// the loads' first index.
void FznBuilder::binPacking(const FznConstraint& c) {
  RavObjectArray load = vars(c.args[0]);
  load.low = checkedInt(fixedValue(c.args[3]), c.pos, "first bin");
  if (std::int64_t{load.low} + static_cast<std::int64_t>(load.values.size()) >= INT32_MAX)
    _m.fail(c.pos, "constraint " + _m.name(c.symbol) + ": the bin names reach past 2147483646");
  post("CP$BinPackingLB", {RavValue(vars(c.args[1])), RavValue(intArray(_m.intArrayValue(c.args[2]), c.pos)),
                           RavValue(load)});
}

// knapsack(w, p, x, W, P) over 0/1 x: two binary knapsacks with interval
// bounds. The domain-consistent programme was measured on multi-knapsacks
// and equality knapsacks (market split): the same search trees as bounds,
// 10 to 35 times the time (the loads' domains fill with holes), so the
// MiniZinc entry keeps to bounds; the programmes stay for the classes.
void FznBuilder::knapsack(const FznConstraint& c) {
  const RavObjectArray x = vars(c.args[2]);
  for (int k : {0, 1})
    post("CP$LightBinaryKnapsack",
         {RavValue(x), RavValue(intArray(_m.intArrayValue(c.args[k]), c.pos)), RavValue(var(c.args[k + 3]))});
}

// weighted_spanning_tree: CP$MinSpanningTree over the Boolean edges.
void FznBuilder::spanningTree(const FznConstraint& c) {
  post("CP$MinSpanningTree",
       {RavValue(checkedInt(fixedValue(c.args[0]), c.pos, "the number of nodes")),
        RavValue(intArray(_m.intArrayValue(c.args[1]), c.pos)), RavValue(intArray(_m.intArrayValue(c.args[2]), c.pos)),
        RavValue(intArray(_m.intArrayValue(c.args[3]), c.pos)), RavValue(vars(c.args[4])), RavValue(var(c.args[5]))});
}

// value_precede(s, t, x): a two-state automaton over the values x may
// take, read through views that turn values into symbols.
void FznBuilder::valuePrecede(const FznConstraint& c) {
  if (_failed) return;
  const std::vector<NuvCPIntVarI*> xs = implVars(vars(c.args[2]));
  if (xs.empty()) return;
  std::int64_t low = INT64_MAX, high = INT64_MIN;
  for (const NuvCPIntVarI* x : xs) {
    low = std::min<std::int64_t>(low, x->getMin());
    high = std::max<std::int64_t>(high, x->getMax());
  }
  const std::int64_t sv = fixedValue(c.args[0]), tv = fixedValue(c.args[1]);
  if (tv < low || tv > high || sv == tv) return;  // no x can be t: nothing to hold
  low = std::min(low, sv);
  high = std::max(high, sv);
  const NuvCPAutomatonTables t =
      nuvCPValuePrecedeAutomaton(static_cast<int>(sv), static_cast<int>(tv), static_cast<int>(low),
                                 static_cast<int>(high));
  if (t.states == 0)
    _m.fail(c.pos, "constraint " + _m.name(c.symbol) + ": the values span too wide a range for value_precede");
  NuvCPManagerI* s = store();
  std::vector<NuvCPIntVarI*> symbols;
  for (NuvCPIntVarI* x : xs) {
    NuvCPIntVarI* v = nuvCPNew<NuvCPViewIntVarI>(s->allocator(), s->allocator(), s, x, 1 - t.low);
    if (!v) return postPropagator(nullptr, c);
    symbols.push_back(v);
  }
  auto* p = nuvCPNew<NuvCPRegularI>(s->allocator(), s, static_cast<int>(symbols.size()), symbols.data(), t.view());
  postPropagator(p && p->ok() ? p : nullptr, c);
}

// increasing (strict when the second argument is 1; decreasing arrives
// reversed) and all_equal: no language class, the propagators go on the
// store directly.
void FznBuilder::arrayRelation(const FznConstraint& c) {
  if (_failed) return;
  const std::vector<NuvCPIntVarI*> xs = implVars(vars(c.args[0]));
  NuvCPManagerI* s = store();
  const int n = static_cast<int>(xs.size());
  NuvCPCstrI* p = nullptr;
  if (c.args.size() == 2) {
    auto* q = nuvCPNew<NuvCPIncreasingI>(s->allocator(), s, n, xs.data(), fixedValue(c.args[1]) != 0);
    p = q && q->ok() ? q : nullptr;
  } else {
    auto* q = nuvCPNew<NuvCPAllEqualI>(s->allocator(), s, n, xs.data());
    p = q && q->ok() ? q : nullptr;
  }
  postPropagator(p, c);
}

void FznBuilder::member(const FznConstraint& c) {
  if (_failed) return;
  const std::vector<NuvCPIntVarI*> xs = implVars(vars(c.args[0]));
  NuvCPManagerI* s = store();
  auto* p = nuvCPNew<NuvCPMemberI>(s->allocator(), s, static_cast<int>(xs.size()), xs.data(), implVar(c.args[1]));
  postPropagator(p && p->ok() ? p : nullptr, c);
}

void FznBuilder::inverse(const FznConstraint& c) {
  RavObjectArray f = vars(c.args[0]);
  RavObjectArray invf = vars(c.args[2]);
  f.low = checkedInt(fixedValue(c.args[1]), c.pos, "index");
  invf.low = checkedInt(fixedValue(c.args[3]), c.pos, "index");
  post("CP$Inverse", {RavValue(std::move(f)), RavValue(std::move(invf))});
}
