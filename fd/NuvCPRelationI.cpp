#include "fd/NuvCPRelationI.h"

#include <ostream>

#include "fd/NuvCPBoolVarI.h"
#include "fd/NuvCPManagerI.h"
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
  if (_b->isBound()) return _b->getMin() == 1 ? _x->bind(_k) : _x->removeValue(_k);
  if (_x->isBound()) return _b->bind(_x->getMin() == _k ? 1 : 0);
  if (!_x->member(_k)) return _b->bind(0);
  if (!_x->getEqualityWatcher(_k)) {
    // The variable itself keeps b in step with the value k.
    _x->setEqualityWatcher(_b, _k);
  } else {
    // Another literal already watches k; follow x's values directly so that
    // b is still decided as soon as x is.
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
int NuvCPReifyLEqualcI::post(int) { return decide(true); }

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
int NuvCPReifyGEqualcI::post(int) { return decide(true); }

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
  if (_b->isBound())
    return _b->getMin() == 1 ? enforceEqual(_x, _y, _k) : enforceDifferent(_x, _y, _k);
  return decideEquality(1);
}

int NuvCPReifyEqualBCI::post(int) {
  const int r = propagate();
  if (r == NuvCPSuspend) {
    _x->addBounds(this);
    _y->addBounds(this);
    _b->addBind(this);
  }
  return r;
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
  if (!_b->isBound()) return decideEquality(1);
  if (_b->getMin() == 0) return enforceDifferent(_x, _y, _k);
  const int r = enforceEqual(_x, _y, _k);
  if (r == NuvCPFailure || _x->isBound() || _y->isBound()) return r;
  const int xmin = _x->getMin(), xmax = _x->getMax();
  const int ymin = _y->getMin(), ymax = _y->getMax();
  int s = NuvCPSuspend;
  for (int v = xmin; v <= xmax && s != NuvCPFailure; ++v)
    if (!_x->member(v)) s = _y->removeValue(nuvCPAdd(v, -std::int64_t{_k}));
  for (int w = ymin; w <= ymax && s != NuvCPFailure; ++w)
    if (!_y->member(w)) s = _x->removeValue(nuvCPAdd(w, _k));
  return s;
}

int NuvCPReifyEqualACI::post(int) {
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
  if (_b->isBound())
    return _b->getMin() == 1 ? enforceDifferent(_x, _y, _k) : enforceEqual(_x, _y, _k);
  return decideEquality(0);
}

int NuvCPReifyNEqualI::post(int) {
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
  return r;
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
  for (NuvCPBoolVarI* v : {_x, _y, _b})
    if (!v->isBound()) v->addBind(this);
}

namespace {

// The value of a bound Boolean (state 1: false, 2: true).
int valueOf(const NuvCPBoolVarI* v) { return v->state() == 2 ? 1 : 0; }
int exactlyOne(int r) { return r == NuvCPSuccess ? NuvCPSuccess : NuvCPFailure; }

}  // namespace

int NuvCPLogicAndI::propagate() {
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
