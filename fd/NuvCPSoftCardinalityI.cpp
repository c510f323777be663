#include "fd/NuvCPSoftCardinalityI.h"

#include <algorithm>
#include <ostream>

#include "fd/NuvCPIntMath.h"
#include "fd/NuvCPManagerI.h"

NuvCPSoftCardinalityI::NuvCPSoftCardinalityI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* x, int m,
                                             const int* values, const int* low, const int* up,
                                             NuvCPIntVarI* violation)
    : NuvCPCstrI(store, 3, false), _n(n), _m(m), _c(violation) {
  PimAllocator* a = store->allocator();
  _x = nuvCPCopyVars(a, n, x);
  if (n > 0 && !_x) return;
  auto* w = a->allocateArray<std::int32_t>(5 * static_cast<std::size_t>(m) + 1);
  if (!w) return;
  _value = w;
  _low = _value + m;
  _up = _low + m;
  _sure = _up + m;
  _maybe = _sure + m;
  std::copy(values, values + m, _value);
  std::copy(low, low + m, _low);
  std::copy(up, up + m, _up);
  _scratch = w;
}

void NuvCPSoftCardinalityI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  m.mark(_c);
  for (int i = 0; _x && i < _n; ++i) m.mark(_x[i]);
}

void NuvCPSoftCardinalityI::print(std::ostream& os) const {
  os << "SoftCardinality(" << _n << " variables, " << _m << " values)";
  printStatus(os);
}

int NuvCPSoftCardinalityI::propagate() {
  std::int64_t least = 0, most = 0;
  for (int k = 0; k < _m; ++k) {
    int sure = 0, maybe = 0;
    for (int i = 0; i < _n; ++i)
      if (_x[i]->member(_value[k])) {
        ++maybe;
        sure += _x[i]->isBound();
      }
    _sure[k] = sure;
    _maybe[k] = maybe;
    least += std::max(0, _low[k] - maybe) + std::max(0, sure - _up[k]);
    most += std::max(0, _low[k] - sure) + std::max(0, maybe - _up[k]);
  }
  if (_c->updateMin(nuvCPClampInt(least)) == NuvCPFailure || _c->updateMax(nuvCPClampInt(most)) == NuvCPFailure)
    return NuvCPFailure;
  if (_c->getMax() > least) return NuvCPSuspend;
  // No room left: whatever would add to the violation is out.
  bool changed = false;
  for (int k = 0; k < _m; ++k) {
    const int v = _value[k];
    if (_sure[k] >= _up[k] && _maybe[k] > _sure[k]) {
      for (int i = 0; i < _n; ++i)
        if (!_x[i]->isBound() && _x[i]->member(v)) {
          if (_x[i]->removeValue(v) == NuvCPFailure) return NuvCPFailure;
          changed = true;
        }
    } else if (_maybe[k] <= _low[k] && _maybe[k] > _sure[k]) {
      for (int i = 0; i < _n; ++i)
        if (!_x[i]->isBound() && _x[i]->member(v)) {
          if (_x[i]->bind(v) == NuvCPFailure) return NuvCPFailure;
          changed = true;
        }
    }
  }
  return changed ? propagate() : NuvCPSuspend;
}

int NuvCPSoftCardinalityI::post(int) {
  if (!ok()) return NuvCPFailure;
  for (int i = 0; i < _n; ++i)
    if (!_x[i]->isBound()) _x[i]->addDomain(this);
  _c->addBounds(this);
  return propagate();
}
