#include "fd/NuvCPSetRelationI.h"

#include <algorithm>
#include <ostream>

#include "fd/NuvCPManagerI.h"

NuvCPSetRelationI::NuvCPSetRelationI(NuvCPManagerI* store, Kind kind, NuvCPIntSetVarI* x, NuvCPIntSetVarI* y,
                                     NuvCPIntSetVarI* z)
    : NuvCPCstrI(store, 5, false), _kind(kind), _x(x), _y(y), _z(z) {}

void NuvCPSetRelationI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  for (NuvCPIntSetVarI* v : {_x, _y, _z})
    if (v) m.mark(v);
}

void NuvCPSetRelationI::print(std::ostream& os) const {
  // Print forms begin with the class name, which names the handle.
  static const char* const names[] = {"SetSubset", "SetEqual", "SetDisjoint", "SetUnion", "SetInter",
                                      "SetDifference"};
  os << names[_kind] << "(";
  _x->print(os);
  os << ", ";
  _y->print(os);
  if (_z) {
    os << ", ";
    _z->print(os);
  }
  os << ")";
  printStatus(os);
}

bool NuvCPSetRelationI::holds(bool a, bool b, bool c) const {
  switch (_kind) {
    case Subset: return !a || b;
    case Equal: return a == b;
    case Disjoint: return !(a && b);
    case Union: return c == (a || b);
    case Inter: return c == (a && b);
    case Difference: return c == (a && !b);
  }
  return false;
}

int NuvCPSetRelationI::propagate() {
  NuvCPIntSetVarI* vars[3] = {_x, _y, _z};
  const int arity = _z ? 3 : 2;
  int lo = INT32_MAX, hi = INT32_MIN;
  bool bound = true;
  for (int k = 0; k < arity; ++k) {
    lo = std::min(lo, vars[k]->universeMin());
    hi = std::max(hi, vars[k]->universeMax());
    bound = bound && vars[k]->isBound();
  }
  bool narrowed = false;
  for (std::int64_t v = lo; v <= hi; ++v) {
    const int e = static_cast<int>(v);
    // Each variable's allowed memberships: bit 0 out, bit 1 in.
    int allowed[3];
    for (int k = 0; k < arity; ++k)
      allowed[k] = vars[k]->isRequired(e) ? 2 : vars[k]->isPossible(e) ? 3 : 1;
    int seen[3] = {0, 0, 0};  // memberships that some allowed try gives
    for (int t = 0; t < (1 << arity); ++t) {
      bool m[3] = {(t & 1) != 0, (t & 2) != 0, (t & 4) != 0};
      bool fits = true;
      for (int k = 0; k < arity && fits; ++k) {
        fits = (allowed[k] >> m[k]) & 1;
        // One variable at two positions has one membership.
        for (int j = 0; j < k && fits; ++j)
          if (vars[j] == vars[k] && m[j] != m[k]) fits = false;
      }
      if (!fits || !holds(m[0], m[1], arity == 3 && m[2])) continue;
      for (int k = 0; k < arity; ++k) seen[k] |= 1 << m[k];
    }
    for (int k = 0; k < arity; ++k) {
      if (seen[k] == 0) return NuvCPFailure;
      if (seen[k] == allowed[k]) continue;
      narrowed = true;
      const int r = seen[k] == 2 ? vars[k]->require(e) : vars[k]->exclude(e);
      if (r == NuvCPFailure) return NuvCPFailure;
    }
  }
  return bound && !narrowed ? NuvCPSuccess : NuvCPSuspend;
}

int NuvCPSetRelationI::post(int) {
  if (!ok()) return NuvCPFailure;
  NuvCPIntSetVarI* vars[3] = {_x, _y, _z};
  for (int k = 0; k < (_z ? 3 : 2); ++k)
    if (!vars[k]->isBound()) vars[k]->addChange(this);
  return propagate();
}
