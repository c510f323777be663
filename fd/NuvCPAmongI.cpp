#include "fd/NuvCPAmongI.h"

#include <algorithm>
#include <ostream>

#include "fd/NuvCPIntMath.h"
#include "fd/NuvCPManagerI.h"

NuvCPAmongI::NuvCPAmongI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* x, int m, const int* set,
                         NuvCPIntVarI* c, Mode mode, int bound)
    : NuvCPCstrI(store, 4, false), _n(n), _m(m), _c(c), _mode(mode), _bound(bound) {
  PimAllocator* a = store->allocator();
  _x = nuvCPCopyVars(a, n, x);
  if (m > 0) {
    _set = a->allocateArray<std::int32_t>(static_cast<std::size_t>(m));
    if (!_set) return;
    std::copy(set, set + m, _set);
    std::sort(_set, _set + m);
    _m = static_cast<std::int32_t>(std::unique(_set, _set + m) - _set);
  }
}

void NuvCPAmongI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  m.mark(_c);
  for (int i = 0; _x && i < _n; ++i) m.mark(_x[i]);
}

void NuvCPAmongI::print(std::ostream& os) const {
  static const char* const kNames[] = {"Among(", "SoftAtLeast(", "SoftAtMost("};
  os << kNames[_mode] << _n << " variables, " << _m << " values)";
  printStatus(os);
}

bool NuvCPAmongI::inSet(int v) const { return std::binary_search(_set, _set + _m, v); }

int NuvCPAmongI::where(const NuvCPIntVarI* x) const {
  if (x->isBound()) return inSet(x->getMin()) ? 1 : 0;
  bool in = false, out = false;
  nuvCPForEachValue(x, [&](int v) {
    (inSet(v) ? in : out) = true;
    return !(in && out);
  });
  return in && out ? -1 : in ? 1 : 0;
}

int NuvCPAmongI::propagate() {
  int sure = 0, maybe = 0;
  for (int i = 0; i < _n; ++i) {
    const int w = where(_x[i]);
    sure += w == 1;
    maybe += w != 0;
  }
  // The count's bounds as c allows them, and c's as the count allows.
  std::int64_t lo = sure, hi = maybe;
  switch (_mode) {
    case kExact:
      if (_c->updateMin(sure) == NuvCPFailure || _c->updateMax(maybe) == NuvCPFailure) return NuvCPFailure;
      lo = _c->getMin();
      hi = _c->getMax();
      break;
    case kAtLeast:  // c = max(0, bound - k)
      if (_c->updateMin(std::max(0, _bound - maybe)) == NuvCPFailure ||
          _c->updateMax(std::max(0, _bound - sure)) == NuvCPFailure)
        return NuvCPFailure;
      lo = std::int64_t{_bound} - _c->getMax();
      if (_c->getMin() > 0) hi = std::int64_t{_bound} - _c->getMin();
      break;
    case kAtMost:  // c = max(0, k - bound)
      if (_c->updateMin(std::max(0, sure - _bound)) == NuvCPFailure ||
          _c->updateMax(std::max(0, maybe - _bound)) == NuvCPFailure)
        return NuvCPFailure;
      hi = std::int64_t{_bound} + _c->getMax();
      if (_c->getMin() > 0) lo = std::int64_t{_bound} + _c->getMin();
      break;
  }
  if (lo > maybe || hi < sure) return NuvCPFailure;
  if (hi == sure && maybe > sure) {
    // Enough are inside: the undecided ones stay out.
    for (int i = 0; i < _n; ++i) {
      if (where(_x[i]) != -1) continue;
      for (int k = 0; k < _m; ++k)
        if (_x[i]->member(_set[k]) && _x[i]->removeValue(_set[k]) == NuvCPFailure) return NuvCPFailure;
    }
  } else if (lo == maybe && maybe > sure) {
    // Every undecided one is needed inside.
    for (int i = 0; i < _n; ++i) {
      if (where(_x[i]) != -1) continue;
      int r = NuvCPSuspend;
      nuvCPForEachValue(_x[i], [&](int v) {
        if (!inSet(v)) r = _x[i]->removeValue(v);
        return r != NuvCPFailure;
      });
      if (r == NuvCPFailure) return NuvCPFailure;
    }
  } else {
    return NuvCPSuspend;
  }
  // The pruning may have decided a variable shared with c or listed twice:
  // one more pass settles what it implies.
  return propagate();
}

int NuvCPAmongI::post(int) {
  if (!ok()) return NuvCPFailure;
  for (int i = 0; i < _n; ++i)
    if (!_x[i]->isBound()) _x[i]->addDomain(this);
  _c->addBounds(this);
  return propagate();
}
