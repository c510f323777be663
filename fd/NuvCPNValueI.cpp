#include "fd/NuvCPNValueI.h"

#include <algorithm>
#include <ostream>

#include "fd/NuvCPIntMath.h"
#include "fd/NuvCPManagerI.h"

namespace {
// Beyond this span of values the matching is not built (the bound is then
// the number of variables).
constexpr std::int64_t kMaxSpan = 1 << 20;
}  // namespace

NuvCPNValueI::NuvCPNValueI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* x, NuvCPIntVarI* c, bool exact)
    : NuvCPCstrI(store, 3, false), _n(n), _c(c), _exact(exact) {
  PimAllocator* a = store->allocator();
  _x = nuvCPCopyVars(a, n, x);
  if (n == 0 || !_x) return;
  std::int64_t lo = INT64_MAX, hi = INT64_MIN;
  for (int i = 0; i < n; ++i) {
    lo = std::min<std::int64_t>(lo, x[i]->getMin());
    hi = std::max<std::int64_t>(hi, x[i]->getMax());
  }
  const std::int64_t span = hi - lo + 1;
  const auto un = static_cast<std::size_t>(n);
  const std::size_t values = span <= kMaxSpan ? static_cast<std::size_t>(span) : 0;
  auto* w = static_cast<std::int32_t*>(a->allocate((2 * un + 2 * values) * sizeof(std::int32_t)));
  if (!w) return;
  _offset = static_cast<std::int32_t>(lo);
  _V = static_cast<std::int32_t>(values);
  _valOf = w;             // the value each variable is matched to, or -1
  _order = _valOf + un;   // sort buffer
  _varOf = _order + un;   // the variable matched to each value, or -1
  _seen = _varOf + values;
  std::fill(_valOf, _valOf + un, -1);
  std::fill(_varOf, _varOf + values, -1);
  std::fill(_seen, _seen + values, 0);
  _scratch = w;
}

void NuvCPNValueI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  m.mark(_c);
  for (int i = 0; _x && i < _n; ++i) m.mark(_x[i]);
}

void NuvCPNValueI::print(std::ostream& os) const {
  os << (_exact ? "NValue(" : "AtLeastNValue(") << _n << " variables)";
  printStatus(os);
}

bool NuvCPNValueI::augment(int i) {
  bool found = false;
  nuvCPForEachValue(_x[i], [&](int value) {
    const int v = value - _offset;
    if (_seen[v] == _epoch) return true;
    _seen[v] = _epoch;
    if (_varOf[v] < 0 || augment(_varOf[v])) {
      _varOf[v] = i;
      _valOf[i] = v;
      found = true;
    }
    return !found;
  });
  return found;
}

// The size of a maximum matching, repaired from the last one.
int NuvCPNValueI::matching() {
  if (_V == 0) return _n;
  int size = 0;
  for (int i = 0; i < _n; ++i) {
    const int v = _valOf[i];
    if (v >= 0 && (_varOf[v] != i || !_x[i]->member(v + _offset))) {
      if (_varOf[v] == i) _varOf[v] = -1;
      _valOf[i] = -1;
    }
    size += _valOf[i] >= 0;
  }
  for (int i = 0; i < _n; ++i)
    if (_valOf[i] < 0) {
      ++_epoch;
      size += augment(i);
    }
  return size;
}

// The fewest points hitting every interval [min, max].
int NuvCPNValueI::lowerBound() {
  for (int i = 0; i < _n; ++i) _order[i] = i;
  std::sort(_order, _order + _n, [&](int a, int b) { return _x[a]->getMax() < _x[b]->getMax(); });
  int count = 0;
  std::int64_t last = INT64_MIN;
  for (int k = 0; k < _n; ++k) {
    const NuvCPIntVarI* x = _x[_order[k]];
    if (x->getMin() > last) {
      ++count;
      last = x->getMax();
    }
  }
  return count;
}

int NuvCPNValueI::propagate() {
  if (_n == 0) return _exact ? _c->bind(0) == NuvCPFailure ? NuvCPFailure : NuvCPSuccess
                             : _c->updateMax(0) == NuvCPFailure ? NuvCPFailure : NuvCPSuccess;
  if (_c->updateMax(matching()) == NuvCPFailure) return NuvCPFailure;
  if (!_exact) return NuvCPSuspend;
  if (_c->updateMin(std::max(1, lowerBound())) == NuvCPFailure) return NuvCPFailure;
  // The values the bound variables take already; when c allows no more,
  // the others reuse them.
  ++_epoch;
  int taken = 0;
  for (int i = 0; i < _n; ++i)
    if (_x[i]->isBound() && _V > 0) {
      const int v = _x[i]->getMin() - _offset;
      if (_seen[v] != _epoch) {
        _seen[v] = _epoch;
        ++taken;
      }
    }
  if (_V > 0 && taken > 0 && taken == _c->getMax()) {
    const std::int32_t mark = _epoch;
    for (int i = 0; i < _n; ++i) {
      if (_x[i]->isBound()) continue;
      int r = NuvCPSuspend;
      nuvCPForEachValue(_x[i], [&](int value) {
        if (_seen[value - _offset] != mark) r = _x[i]->removeValue(value);
        return r != NuvCPFailure;
      });
      if (r == NuvCPFailure) return NuvCPFailure;
    }
  }
  return NuvCPSuspend;
}

int NuvCPNValueI::post(int) {
  if (!ok()) return NuvCPFailure;
  for (int i = 0; i < _n; ++i)
    if (!_x[i]->isBound()) _x[i]->addDomain(this);
  _c->addBounds(this);
  return propagate();
}
