#include "fd/NuvCPRelationI.h"

#include <ostream>

#include "fd/NuvCPBoolVarI.h"
#include "fd/NuvCPManagerI.h"
#include "fd/NuvCPShared.h"
#include "host/PimError.h"

namespace {

const char* const kSource = "..\\..\\fd\\NuvCPConstraintI";

// The status a propagation reports after a final update: 1 when it
// succeeded (nothing is left to do), 0 when it failed.
int entailedIf(int r) { return r != NuvCPFailure ? NuvCPSuccess : NuvCPFailure; }

void check(bool ok, const char* text, int line) {
  if (!ok) raiseInternalAssertion(text, kSource, line);
}

std::ostream& offset(std::ostream& os, int k) {
  if (k != 0) os << " + " << k;
  return os;
}

// Whether a and b present the same variable, and by how much b exceeds a
// when they do.
bool sharesRoot(const NuvCPIntVarI* a, const NuvCPIntVarI* b) {
  std::int64_t d;
  return nuvCPShared(a, b, d);
}
std::int64_t sharedGap(const NuvCPIntVarI* a, const NuvCPIntVarI* b) {
  std::int64_t d = 0;
  nuvCPShared(a, b, d);
  return d;
}

// Controls hold 0 or 1; any other value would be read as false.
bool restrictTo01(NuvCPIntVarI* b) {
  return b->updateMin(0) != NuvCPFailure && b->updateMax(1) != NuvCPFailure;
}

// x - (y + k) when x and y share a root: the sign decides every relation.
std::int64_t sharedDifference(NuvCPIntVarI* x, NuvCPIntVarI* y, int k) {
  return sharedGap(y, x) - k;
}

// b <=> cond(x) with b and x sharing a root: b's value t puts x at
// t + gap(b, x), so each of b's values is kept only when cond there agrees
// with it. The relation is then decided for good.
template <class Cond>
int decideSharedControl(NuvCPIntVarI* b, NuvCPIntVarI* x, Cond cond) {
  if (!restrictTo01(b)) return NuvCPFailure;
  const std::int64_t g = sharedGap(b, x);
  for (int t = 0; t <= 1; ++t)
    if (b->member(t) && cond(t + g) != (t == 1) && b->removeValue(t) == NuvCPFailure)
      return NuvCPFailure;
  return NuvCPSuccess;
}

// A unary condition z op c on the operand a shared control leaves free.
struct Cond {
  enum Op { Eq, Ne, Ge, Le } op;
  std::int64_t c;
  Cond negated() const {
    switch (op) {
      case Eq: return {Ne, c};
      case Ne: return {Eq, c};
      case Ge: return {Le, c - 1};
      case Le: return {Ge, c + 1};
    }
    return *this;
  }
  bool holds(std::int64_t v) const {
    switch (op) {
      case Eq: return v == c;
      case Ne: return v != c;
      case Ge: return v >= c;
      case Le: return v <= c;
    }
    return true;
  }
  bool possible(const NuvCPIntVarI* z) const {
    switch (op) {
      case Eq: return c >= INT32_MIN && c <= INT32_MAX && z->member(static_cast<int>(c));
      case Ne: return !(z->isBound() && z->getMin() == c);
      case Ge: return z->getMax() >= c;
      case Le: return z->getMin() <= c;
    }
    return true;
  }
  int enforce(NuvCPIntVarI* z) const {
    const int v = nuvCPClampInt(c);
    switch (op) {
      case Eq: return entailedIf(z->bind(v));
      case Ne: return entailedIf(z->removeValue(v));
      case Ge: return entailedIf(z->updateMin(v));
      case Le: return entailedIf(z->updateMax(v));
    }
    return NuvCPFailure;
  }
};

}  // namespace

// ---- x == y + k -------------------------------------------------------------------

void NuvCPEqualI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  m.mark(_x);
  m.mark(_y);
}

int NuvCPEqualI::boundUpdates() {
  int r = _x->updateMin(nuvCPAdd(_y->getMin(), _k));
  if (r == NuvCPFailure) return r;
  r = _x->updateMax(nuvCPAdd(_y->getMax(), _k));
  if (r == NuvCPFailure) return r;
  r = _y->updateMin(nuvCPAdd(_x->getMin(), -std::int64_t{_k}));
  if (r == NuvCPFailure) return r;
  return _y->updateMax(nuvCPAdd(_x->getMax(), -std::int64_t{_k}));
}

void NuvCPEqualBCI::print(std::ostream& os) const {
  _x->print(os);
  os << " ==BC ";
  _y->print(os);
  os << " + " << _k;
}

int NuvCPEqualBCI::propagate() {
  for (;;) {
    if (_x->isBound()) {
      setEnabled(0);
      return _y->bind(nuvCPAdd(_x->getMin(), -std::int64_t{_k}));
    }
    if (_y->isBound()) {
      setEnabled(0);
      return _x->bind(nuvCPAdd(_y->getMin(), _k));
    }
    // An update that re-schedules this propagator clears the flag: the
    // bounds moved under us, so run again rather than wait for the queue.
    setChecked(1);
    const int r = boundUpdates();
    if (r == NuvCPFailure) return r;
    if (checked() != 0) return r;
  }
}

int NuvCPEqualBCI::post(int) {
  if (sharesRoot(_x, _y)) return sharedDifference(_x, _y, _k) == 0 ? NuvCPSuccess : NuvCPFailure;
  if (propagate() == NuvCPFailure) return NuvCPFailure;
  if (_x->isBound() && _y->isBound()) return propagate();
  _x->addBounds(this);
  _y->addBounds(this);
  // Again, for what happened before the subscriptions existed.
  return propagate();
}

void NuvCPEqualACI::print(std::ostream& os) const {
  _x->print(os);
  os << " == ";
  _y->print(os);
  os << " + " << _k;
}

int NuvCPEqualACI::propagate() {
  for (;;) {
    if (_x->isBound()) return _y->bind(nuvCPAdd(_x->getMin(), -std::int64_t{_k}));
    if (_y->isBound()) return _x->bind(nuvCPAdd(_y->getMin(), _k));
    setChecked(1);
    const int r = boundUpdates();
    if (r == NuvCPFailure) return r;
    if (checked() != 0) return r;
  }
}

int NuvCPEqualACI::post(int) {
  if (sharesRoot(_x, _y)) return sharedDifference(_x, _y, _k) == 0 ? NuvCPSuccess : NuvCPFailure;
  if (_x->isBound()) {
    if (_y->bind(nuvCPAdd(_x->getMin(), -std::int64_t{_k})) == NuvCPFailure) return NuvCPFailure;
    return propagate();
  }
  if (_y->isBound()) {
    if (_x->bind(nuvCPAdd(_y->getMin(), _k)) == NuvCPFailure) return NuvCPFailure;
    return propagate();
  }
  if (boundUpdates() == NuvCPFailure) return NuvCPFailure;
  const int xmin = _x->getMin(), xmax = _x->getMax();
  const int ymin = _y->getMin(), ymax = _y->getMax();
  int r = NuvCPSuspend;
  for (int v = xmin; v <= xmax && r != NuvCPFailure; ++v)
    if (!_x->member(v)) r = _y->removeValue(nuvCPAdd(v, -std::int64_t{_k}));
  for (int w = ymin; w <= ymax && r != NuvCPFailure; ++w)
    if (!_y->member(w)) r = _x->removeValue(nuvCPAdd(w, _k));
  if (r == NuvCPFailure) return r;
  _x->addAC5Value(this);
  _y->addAC5Value(this);
  return propagate();
}

int NuvCPEqualACI::valRemove(NuvCPIntVarI* v, int val) {
  if (v != _x) return _x->removeValue(nuvCPAdd(val, _k));
  return _y->removeValue(nuvCPAdd(val, -std::int64_t{_k}));
}

int NuvCPEqualACI::valBind(NuvCPIntVarI* v, int val) {
  if (v != _x) return _x->bind(nuvCPAdd(val, _k));
  return _y->bind(nuvCPAdd(val, -std::int64_t{_k}));
}

// ---- x <= y + k, x + y <= k, x != y + k -------------------------------------------

void NuvCPBinaryI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  m.mark(_x);
  m.mark(_y);
}

void NuvCPLEqualI::print(std::ostream& os) const {
  _x->print(os);
  os << " <= ";
  _y->print(os);
  os << " + " << _k;
}

int NuvCPLEqualI::propagate() {
  if (_x->isBound()) return entailedIf(_y->updateMin(nuvCPAdd(_x->getMin(), -std::int64_t{_k})));
  if (_y->isBound()) return entailedIf(_x->updateMax(nuvCPAdd(_y->getMin(), _k)));
  if (_x->updateMax(nuvCPAdd(_y->getMax(), _k)) == NuvCPFailure) return NuvCPFailure;
  if (_y->updateMin(nuvCPAdd(_x->getMin(), -std::int64_t{_k})) == NuvCPFailure) return NuvCPFailure;
  return NuvCPSuspend;
}

int NuvCPLEqualI::post(int) {
  if (sharesRoot(_x, _y)) return sharedDifference(_x, _y, _k) <= 0 ? NuvCPSuccess : NuvCPFailure;
  const int r = propagate();
  if (r == NuvCPFailure || r == NuvCPSuccess) return r;
  if (r != NuvCPSuspend) return NuvCPFailure;
  _x->addBind(this);
  _y->addBind(this);
  _y->addMax(this);
  _x->addMin(this);
  return NuvCPSuspend;
}

void NuvCPSLEqualI::print(std::ostream& os) const {
  _x->print(os);
  os << " + ";
  _y->print(os);
  os << " <= " << _k;
}

int NuvCPSLEqualI::propagate() {
  if (_x->isBound()) return entailedIf(_y->updateMax(nuvCPAdd(_k, -std::int64_t{_x->getMin()})));
  if (_y->isBound()) return entailedIf(_x->updateMax(nuvCPAdd(_k, -std::int64_t{_y->getMin()})));
  if (_x->updateMax(nuvCPAdd(_k, -std::int64_t{_y->getMin()})) == NuvCPFailure) return NuvCPFailure;
  if (_y->updateMax(nuvCPAdd(_k, -std::int64_t{_x->getMin()})) == NuvCPFailure) return NuvCPFailure;
  return NuvCPSuspend;
}

int NuvCPSLEqualI::post(int) {
  // y == x + g: 2x + g <= k.
  if (sharesRoot(_x, _y))
    return entailedIf(_x->updateMax(nuvCPClampInt(nuvCPFloorDiv(_k - sharedGap(_x, _y), 2))));
  const int r = propagate();
  if (r == NuvCPFailure || r == NuvCPSuccess) return r;
  if (r != NuvCPSuspend) return NuvCPFailure;
  _x->addBind(this);
  _y->addBind(this);
  _y->addMin(this);
  _x->addMin(this);
  return NuvCPSuspend;
}

void NuvCPNEqualI::print(std::ostream& os) const {
  _x->print(os);
  os << " != ";
  _y->print(os);
  os << " + " << _k;
}

int NuvCPNEqualI::propagate() {
  if (_x->isBound()) return entailedIf(_y->removeValue(nuvCPAdd(_x->getMin(), -std::int64_t{_k})));
  check(_y->isBound(), "_y->isBound()", __LINE__);
  return entailedIf(_x->removeValue(nuvCPAdd(_y->getMin(), _k)));
}

int NuvCPNEqualI::post(int) {
  if (sharesRoot(_x, _y)) return sharedDifference(_x, _y, _k) != 0 ? NuvCPSuccess : NuvCPFailure;
  if (_x->isBound()) return _y->removeValue(nuvCPAdd(_x->getMin(), -std::int64_t{_k}));
  if (_y->isBound()) return _x->removeValue(nuvCPAdd(_y->getMin(), _k));
  _x->addBind(this);
  _y->addBind(this);
  return NuvCPSuspend;
}

// ---- unary --------------------------------------------------------------------------

void NuvCPRelationcI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  m.mark(_x);
}

#define NUV_CP_UNARY_IMPL(Name, op, call)            \
  void Name::print(std::ostream& os) const {         \
    _x->print(os);                                   \
    os << " " op " " << _k;                          \
  }                                                  \
  int Name::post(int) { return _x->call(_k); }
NUV_CP_UNARY_IMPL(NuvCPEqualcI, "==", bind)
NUV_CP_UNARY_IMPL(NuvCPNEqualcI, "!=", removeValue)
NUV_CP_UNARY_IMPL(NuvCPLEqualcI, "<=", updateMax)
NUV_CP_UNARY_IMPL(NuvCPGEqualcI, ">=", updateMin)
#undef NUV_CP_UNARY_IMPL

// ---- reified unary ------------------------------------------------------------------

void NuvCPReifyUnaryI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  m.mark(_x);
  m.mark(_b);
}

void NuvCPReifyEqualcI::print(std::ostream& os) const {
  _b->print(os);
  os << " <=> ";
  _x->print(os);
  os << " == " << _k;
}

int NuvCPReifyEqualcI::post(int) {
  if (sharesRoot(_b, _x))
    return decideSharedControl(_b, _x, [k = _k](std::int64_t v) { return v == k; });
  if (_b->isBound()) return _b->getMin() == 1 ? _x->bind(_k) : _x->removeValue(_k);
  if (_x->isBound()) return _b->bind(_x->getMin() == _k ? 1 : 0);
  if (!_x->member(_k)) return _b->bind(0);
  if (!_x->getEqualityWatcher(_k)) _x->setEqualityWatcher(_b, _k);
  if (_x->getEqualityWatcher(_k) == _b) {
    // The variable itself keeps b in step with the value k.
  } else {
    // Another literal already watches k, or x keeps no watchers (a wide
    // variable): follow x's values directly so that b is still decided as
    // soon as x is.
    _x->addAC5Value(this);
  }
  _b->addBind(this);
  return NuvCPSuspend;
}

int NuvCPReifyEqualcI::propagate() {
  if (_b->isBound()) return _b->getMin() == 1 ? _x->bind(_k) : entailedIf(_x->removeValue(_k));
  check(_x->isBound(), "_x->isBound()", __LINE__);
  return _b->bind(_x->getMin() == _k ? 1 : 0);
}

int NuvCPReifyEqualcI::valRemove(NuvCPIntVarI* v, int val) {
  check(v == _x, "v == _x", __LINE__);
  return val == _k ? _b->bind(0) : NuvCPSuspend;
}

int NuvCPReifyEqualcI::valBind(NuvCPIntVarI* v, int val) {
  check(v == _x, "v == _x", __LINE__);
  check(_x->getMin() == val, "_x->getMin() == val", __LINE__);
  return _b->bind(val == _k ? 1 : 0);
}

void NuvCPReifyNEqualcI::print(std::ostream& os) const {
  os << "cid:" << identifier() << " ID(" << _b->getId() << ")";
  _b->print(os);
  os << " <=> ID(" << _x->getId() << ")";
  _x->print(os);
  os << " != " << _k;
}

int NuvCPReifyNEqualcI::post(int) {
  if (sharesRoot(_b, _x))
    return decideSharedControl(_b, _x, [k = _k](std::int64_t v) { return v != k; });
  if (_b->isBound()) return _b->getMin() == 1 ? _x->removeValue(_k) : _x->bind(_k);
  if (_x->isBound()) return _b->bind(_x->getMin() != _k ? 1 : 0);
  if (!_x->member(_k)) return _b->bind(1);
  _b->addBind(this);
  _x->addAC5Value(this);
  return NuvCPSuspend;
}

int NuvCPReifyNEqualcI::propagate() {
  if (_b->isBound()) return _b->getMin() == 1 ? entailedIf(_x->removeValue(_k)) : _x->bind(_k);
  check(_x->isBound(), "_x->isBound()", __LINE__);
  return _b->bind(_x->getMin() != _k ? 1 : 0);
}

int NuvCPReifyNEqualcI::valRemove(NuvCPIntVarI* v, int val) {
  check(v == _x, "v == _x", __LINE__);
  return val == _k ? _b->bind(1) : NuvCPSuspend;
}

int NuvCPReifyNEqualcI::valBind(NuvCPIntVarI* v, int val) {
  check(v == _x, "v == _x", __LINE__);
  return _b->bind(val != _k ? 1 : 0);
}

void NuvCPReifyLEqualcI::print(std::ostream& os) const {
  _b->print(os);
  os << " <=> ";
  _x->print(os);
  os << " <= " << _k;
}

int NuvCPReifyLEqualcI::decide(bool posting) {
  if (_b->isBound()) {
    const int r = _b->getMin() == 1 ? _x->updateMax(_k) : _x->updateMin(nuvCPAdd(_k, 1));
    return posting ? r : entailedIf(r);
  }
  if (_x->getMax() <= _k) return _b->bind(1);
  if (_x->getMin() > _k) return _b->bind(0);
  if (posting) {
    _x->addBounds(this);
    _b->addBind(this);
  }
  return NuvCPSuspend;
}

int NuvCPReifyLEqualcI::propagate() { return decide(false); }
int NuvCPReifyLEqualcI::post(int) {
  if (sharesRoot(_b, _x))
    return decideSharedControl(_b, _x, [k = _k](std::int64_t v) { return v <= k; });
  return decide(true);
}

void NuvCPReifyGEqualcI::print(std::ostream& os) const {
  _b->print(os);
  os << " <=> ";
  _x->print(os);
  os << " >= " << _k;
}

int NuvCPReifyGEqualcI::decide(bool posting) {
  if (_b->isBound()) {
    const int r = _b->getMin() == 1 ? _x->updateMin(_k) : _x->updateMax(nuvCPAdd(_k, -1));
    return posting ? r : entailedIf(r);
  }
  if (_x->getMin() >= _k) return _b->bind(1);
  if (_x->getMax() < _k) return _b->bind(0);
  if (posting) {
    _x->addBounds(this);
    _b->addBind(this);
  }
  return NuvCPSuspend;
}

int NuvCPReifyGEqualcI::propagate() { return decide(false); }
int NuvCPReifyGEqualcI::post(int) {
  if (sharesRoot(_b, _x))
    return decideSharedControl(_b, _x, [k = _k](std::int64_t v) { return v >= k; });
  return decide(true);
}

// ---- reified binary -----------------------------------------------------------------

void NuvCPReifyBinaryI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  m.mark(_x);
  m.mark(_y);
  m.mark(_b);
}

int NuvCPReifyBinaryI::decideEquality(int equalIs) {
  const int differentIs = 1 - equalIs;
  const std::int64_t lo = std::int64_t{_y->getMin()} + _k, hi = std::int64_t{_y->getMax()} + _k;
  if (_x->getMax() < lo || _x->getMin() > hi) return _b->bind(differentIs);
  const bool xb = _x->isBound(), yb = _y->isBound();
  if (xb && yb)
    return _b->bind(std::int64_t{_x->getMin()} == std::int64_t{_y->getMin()} + _k ? equalIs
                                                                                    : differentIs);
  if (xb && !_y->member(nuvCPAdd(_x->getMin(), -std::int64_t{_k}))) return _b->bind(differentIs);
  if (yb && !_x->member(nuvCPAdd(_y->getMin(), _k))) return _b->bind(differentIs);
  return NuvCPSuspend;
}

bool NuvCPReifyBinaryI::sharedControl(const NuvCPIntVarI* x, const NuvCPIntVarI* y,
                                      const NuvCPIntVarI* b) {
  return sharesRoot(b, x) || sharesRoot(b, y);
}

int NuvCPReifyBinaryI::propagateSharedControl(Rel rel) {
  // With b on x, b == t puts x at t + gap(b, x) and leaves y + k rel that
  // value; with b on y, likewise for x.
  const bool onX = sharesRoot(_b, _x);
  NuvCPIntVarI* z = onX ? _y : _x;
  const std::int64_t g = sharedGap(_b, onX ? _x : _y);
  auto condFor = [&](int t) {
    const std::int64_t v = t + g;
    Cond c{Cond::Eq, 0};
    if (onX)  // v rel z + k
      c = rel == Rel::Le ? Cond{Cond::Ge, v - _k} : Cond{rel == Rel::Eq ? Cond::Eq : Cond::Ne, v - _k};
    else  // z rel v + k
      c = rel == Rel::Le ? Cond{Cond::Le, v + _k} : Cond{rel == Rel::Eq ? Cond::Eq : Cond::Ne, v + _k};
    return t == 1 ? c : c.negated();
  };
  if (!restrictTo01(_b)) return NuvCPFailure;
  for (int t = 0; t <= 1; ++t)
    if (_b->member(t) && !condFor(t).possible(z) && _b->removeValue(t) == NuvCPFailure)
      return NuvCPFailure;
  if (_b->isBound()) return condFor(_b->getMin()).enforce(z);
  // Both of b's values open: a value of z that agrees with neither goes.
  // The two conditions are about points one apart, so such a value lies
  // next to one of their constants.
  const Cond c0 = condFor(0), c1 = condFor(1);
  for (const std::int64_t base : {c0.c, c1.c})
    for (std::int64_t v = base - 1; v <= base + 1; ++v)
      if (!c0.holds(v) && !c1.holds(v) && v >= INT32_MIN && v <= INT32_MAX &&
          z->member(static_cast<int>(v)) && z->removeValue(static_cast<int>(v)) == NuvCPFailure)
        return NuvCPFailure;
  return NuvCPSuspend;
}

int NuvCPReifyBinaryI::postShared(Rel rel) {
  if (sharesRoot(_x, _y)) {
    const std::int64_t d = sharedDifference(_x, _y, _k);
    const bool holds = rel == Rel::Eq ? d == 0 : rel == Rel::Ne ? d != 0 : d <= 0;
    return entailedIf(_b->bind(holds ? 1 : 0));
  }
  if (!controlShared()) return -1;
  const int r = propagateSharedControl(rel);
  if (r != NuvCPSuspend) return r;
  NuvCPIntVarI* z = sharesRoot(_b, _x) ? _y : _x;
  if (rel == Rel::Le)
    z->addBounds(this);
  else
    z->addDomain(this);
  _b->addBind(this);
  return NuvCPSuspend;
}

namespace {

// x == y + k on bounds, binding one side when the other is.
int enforceEqual(NuvCPIntVarI* x, NuvCPIntVarI* y, int k) {
  if (x->isBound()) return y->bind(nuvCPAdd(x->getMin(), -std::int64_t{k}));
  if (y->isBound()) return x->bind(nuvCPAdd(y->getMin(), k));
  int r = x->updateMin(nuvCPAdd(y->getMin(), k));
  if (r == NuvCPFailure) return r;
  r = x->updateMax(nuvCPAdd(y->getMax(), k));
  if (r == NuvCPFailure) return r;
  r = y->updateMin(nuvCPAdd(x->getMin(), -std::int64_t{k}));
  if (r == NuvCPFailure) return r;
  return y->updateMax(nuvCPAdd(x->getMax(), -std::int64_t{k}));
}

// x != y + k once one side is bound.
int enforceDifferent(NuvCPIntVarI* x, NuvCPIntVarI* y, int k) {
  if (x->isBound()) return entailedIf(y->removeValue(nuvCPAdd(x->getMin(), -std::int64_t{k})));
  if (y->isBound()) return entailedIf(x->removeValue(nuvCPAdd(y->getMin(), k)));
  return NuvCPSuspend;
}

}  // namespace

void NuvCPReifyEqualBCI::print(std::ostream& os) const {
  _b->print(os);
  os << " <=> ";
  _x->print(os);
  os << " == ";
  _y->print(os);
  offset(os, _k);
}

int NuvCPReifyEqualBCI::propagate() {
  if (controlShared()) return propagateSharedControl(Rel::Eq);
  if (_b->isBound())
    return _b->getMin() == 1 ? enforceEqual(_x, _y, _k) : enforceDifferent(_x, _y, _k);
  return decideEquality(1);
}

int NuvCPReifyEqualBCI::post(int) {
  if (const int s = postShared(Rel::Eq); s >= 0) return s;
  const int r = propagate();
  if (r != NuvCPSuspend) return r;
  _x->addBounds(this);
  _y->addBounds(this);
  _b->addBind(this);
  // With b fixed the bound updates ran once, without the re-run loop of the
  // plain equality: a bound that moved onto a hole has to be seen again,
  // and only from now on do the subscriptions report such moves.
  return _b->isBound() ? propagate() : r;
}

void NuvCPReifyEqualACI::print(std::ostream& os) const {
  _b->print(os);
  os << " <=> (";
  _x->print(os);
  os << " AC== ";
  _y->print(os);
  // The parenthesis is closed only after an offset.
  if (_k != 0) os << " + " << _k << ")";
}

int NuvCPReifyEqualACI::propagate() {
  if (controlShared()) return propagateSharedControl(Rel::Eq);
  if (!_b->isBound()) return decideEquality(1);
  if (_b->getMin() == 0) return enforceDifferent(_x, _y, _k);
  // The scans cover the ranges from before the bound updates: a hole of y
  // that the updates left outside y's new bounds still has its counterpart
  // in x, and no event will report that hole again.
  const int xmin = _x->getMin(), xmax = _x->getMax();
  const int ymin = _y->getMin(), ymax = _y->getMax();
  const int r = enforceEqual(_x, _y, _k);
  if (r == NuvCPFailure || _x->isBound() || _y->isBound()) return r;
  int s = NuvCPSuspend;
  for (int v = xmin; v <= xmax && s != NuvCPFailure; ++v)
    if (!_x->member(v)) s = _y->removeValue(nuvCPAdd(v, -std::int64_t{_k}));
  for (int w = ymin; w <= ymax && s != NuvCPFailure; ++w)
    if (!_y->member(w)) s = _x->removeValue(nuvCPAdd(w, _k));
  return s;
}

int NuvCPReifyEqualACI::post(int) {
  if (const int s = postShared(Rel::Eq); s >= 0) return s;
  _x->addAC5Value(this);
  _y->addAC5Value(this);
  _b->addBind(this);
  return propagate();
}

int NuvCPReifyEqualACI::valRemove(NuvCPIntVarI* v, int val) {
  if (!_b->isBound() || _b->getMin() != 1) return NuvCPSuspend;
  if (v == _y) return _x->removeValue(nuvCPAdd(val, _k));
  return _y->removeValue(nuvCPAdd(val, -std::int64_t{_k}));
}

int NuvCPReifyEqualACI::valBind(NuvCPIntVarI* v, int val) {
  NuvCPIntVarI* other = v == _y ? _x : _y;
  const int corresponding = v == _y ? nuvCPAdd(val, _k) : nuvCPAdd(val, -std::int64_t{_k});
  if (_b->isBound())
    return _b->getMin() == 1 ? other->bind(corresponding) : other->removeValue(corresponding);
  if (!other->member(corresponding)) return _b->bind(0);
  // Both sides bound to corresponding values: the equality holds.
  if (other->isBound()) return _b->bind(1);
  return NuvCPSuspend;
}

void NuvCPReifyNEqualI::print(std::ostream& os) const {
  _b->print(os);
  os << " <=> ";
  _x->print(os);
  os << " != ";
  _y->print(os);
  offset(os, _k);
}

int NuvCPReifyNEqualI::propagate() {
  if (controlShared()) return propagateSharedControl(Rel::Ne);
  if (_b->isBound())
    return _b->getMin() == 1 ? enforceDifferent(_x, _y, _k) : enforceEqual(_x, _y, _k);
  return decideEquality(0);
}

int NuvCPReifyNEqualI::post(int) {
  if (const int s = postShared(Rel::Ne); s >= 0) return s;
  const int r = propagate();
  if (r != NuvCPSuspend) return r;
  _x->addBounds(this);
  _y->addBounds(this);
  _b->addBind(this);
  // With one side fixed, the other side's loss of the one value decides b.
  if (_x->isBound())
    _y->addAC5Value(this);
  else if (_y->isBound())
    _x->addAC5Value(this);
  // b = 0 enforces the equality by one pass of bound updates: settle what
  // moved before the subscriptions existed (as the reified equality does).
  return _b->isBound() ? propagate() : r;
}

int NuvCPReifyNEqualI::valRemove(NuvCPIntVarI*, int) { return propagate(); }
int NuvCPReifyNEqualI::valBind(NuvCPIntVarI*, int) { return propagate(); }

void NuvCPReifyLEqualI::print(std::ostream& os) const {
  _b->print(os);
  os << " <=> ";
  _x->print(os);
  os << " <= ";
  _y->print(os);
  offset(os, _k);
}

int NuvCPReifyLEqualI::propagate() {
  if (controlShared()) return propagateSharedControl(Rel::Le);
  if (_b->isBound()) {
    if (_b->getMin() == 1) {
      if (_x->updateMax(nuvCPAdd(_y->getMax(), _k)) == NuvCPFailure) return NuvCPFailure;
      return _y->updateMin(nuvCPAdd(_x->getMin(), -std::int64_t{_k}));
    }
    if (_x->updateMin(nuvCPAdd(_y->getMin(), std::int64_t{_k} + 1)) == NuvCPFailure)
      return NuvCPFailure;
    return _y->updateMax(nuvCPAdd(_x->getMax(), -std::int64_t{_k} - 1));
  }
  if (std::int64_t{_x->getMax()} <= std::int64_t{_y->getMin()} + _k) return _b->bind(1);
  if (std::int64_t{_x->getMin()} > std::int64_t{_y->getMax()} + _k) return _b->bind(0);
  return NuvCPSuspend;
}

int NuvCPReifyLEqualI::post(int) {
  if (const int s = postShared(Rel::Le); s >= 0) return s;
  const int r = propagate();
  if (r == NuvCPSuspend) {
    _x->addBounds(this);
    _y->addBounds(this);
    _b->addBind(this);
  }
  return r;
}

// ---- Boolean connectives ------------------------------------------------------------
// They read the two-bit states directly, and a Boolean's successful bind
// answers exactly 1: that is what they test.

void NuvCPLogicI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  m.mark(_x);
  m.mark(_y);
  m.mark(_b);
}

void NuvCPLogicI::printAs(std::ostream& os, const char* op) const {
  _b->print(os);
  os << " <=> ";
  _x->print(os);
  os << op;
  _y->print(os);
}

void NuvCPLogicI::subscribeUnbound() {
  if (!_x->isBound()) _x->addBind(this);
  if (!_y->isBound() && _y != _x) _y->addBind(this);
  if (!_b->isBound() && _b != _x && _b != _y) _b->addBind(this);
}

int NuvCPLogicI::propagateShared(bool (*op)(int, int)) {
  NuvCPBoolVarI* const vs[3] = {_x, _y, _b};
  bool supported[3][2] = {};
  for (int x = 0; x <= 1; ++x)
    for (int y = 0; y <= 1; ++y) {
      const int b = op(x, y) ? 1 : 0;
      if (!_x->member(x) || !_y->member(y) || !_b->member(b)) continue;
      // One variable takes one value in every position it fills.
      if ((_x == _y && x != y) || (_x == _b && x != b) || (_y == _b && y != b)) continue;
      supported[0][x] = supported[1][y] = supported[2][b] = true;
    }
  for (int i = 0; i < 3; ++i)
    for (int v = 0; v <= 1; ++v)
      if (vs[i]->member(v) && !supported[i][v] && vs[i]->removeValue(v) == NuvCPFailure)
        return NuvCPFailure;
  return _x->isBound() && _y->isBound() && _b->isBound() ? NuvCPSuccess : NuvCPSuspend;
}

namespace {

// The value of a bound Boolean (state 1: false, 2: true).
int valueOf(const NuvCPBoolVarI* v) { return v->state() == 2 ? 1 : 0; }
int exactlyOne(int r) { return r == NuvCPSuccess ? NuvCPSuccess : NuvCPFailure; }

}  // namespace

int NuvCPLogicAndI::propagate() {
  if (shared()) return propagateShared([](int x, int y) { return x == 1 && y == 1; });
  const bool xb = _x->isBound(), yb = _y->isBound();
  if (xb && yb) return _b->bind(valueOf(_x) == 1 && valueOf(_y) == 1 ? 1 : 0);
  if (!xb && !yb) {
    if (!_b->isBound() || valueOf(_b) == 0) return NuvCPSuspend;
    if (_x->bind(1) != NuvCPSuccess) return NuvCPFailure;
    return exactlyOne(_y->bind(1));
  }
  NuvCPBoolVarI* fixed = xb ? _x : _y;
  NuvCPBoolVarI* other = xb ? _y : _x;
  if (valueOf(fixed) == 0) return _b->bind(0);
  if (!_b->isBound()) return NuvCPSuspend;
  return other->bind(valueOf(_b));
}

int NuvCPLogicAndI::post(int) {
  const int r = propagate();
  if (r != NuvCPSuspend) return r;
  subscribeUnbound();
  return NuvCPSuspend;
}

int NuvCPLogicOrI::propagate() {
  if (shared()) return propagateShared([](int x, int y) { return x == 1 || y == 1; });
  const bool xb = _x->isBound(), yb = _y->isBound();
  if (xb && yb) return _b->bind(valueOf(_x) == 1 || valueOf(_y) == 1 ? 1 : 0);
  if (xb) {
    if (valueOf(_x) == 1) return _b->bind(1);
    if (_b->isBound()) return _y->bind(valueOf(_b));
    return NuvCPSuspend;
  }
  if (yb) {
    if (valueOf(_y) == 1) return _b->bind(1);
    if (_b->isBound()) return _x->bind(valueOf(_b));
    return NuvCPSuspend;
  }
  if (_b->isBound() && valueOf(_b) == 0) {
    if (_x->bind(0) != NuvCPSuccess) return NuvCPFailure;
    return exactlyOne(_y->bind(0));
  }
  return NuvCPSuspend;
}

int NuvCPLogicOrI::post(int) {
  const int r = propagate();
  if (r == NuvCPFailure) return r;
  subscribeUnbound();
  return NuvCPSuspend;
}

int NuvCPLogicImplyI::propagate() {
  if (shared()) return propagateShared([](int x, int y) { return x == 0 || y == 1; });
  const bool xb = _x->isBound(), yb = _y->isBound();
  if (xb && yb) return exactlyOne(_b->bind(valueOf(_x) == 1 && valueOf(_y) == 0 ? 0 : 1));
  if (xb) {
    if (valueOf(_x) == 0) return _b->bind(1);
    if (_b->isBound()) return _y->bind(valueOf(_b));
    return NuvCPSuspend;
  }
  if (yb) {
    if (valueOf(_y) == 1) return _b->bind(1);
    if (_b->isBound()) return _x->bind(1 - valueOf(_b));
    return NuvCPSuspend;
  }
  if (_b->isBound() && valueOf(_b) == 0) {
    if (_x->bind(1) != NuvCPSuccess) return NuvCPFailure;
    return exactlyOne(_y->bind(0));
  }
  return NuvCPSuspend;
}

int NuvCPLogicImplyI::post(int) {
  const int r = propagate();
  if (r != NuvCPSuspend) return r;
  subscribeUnbound();
  return NuvCPSuspend;
}
