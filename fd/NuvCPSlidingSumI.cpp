#include "fd/NuvCPSlidingSumI.h"

#include <algorithm>
#include <ostream>

#include "fd/NuvCPIntMath.h"
#include "fd/NuvCPManagerI.h"

NuvCPSlidingSumI::NuvCPSlidingSumI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* x, int q, int low, int up)
    : NuvCPCstrI(store, 4, false), _n(n), _q(q), _low(low), _up(up) {
  PimAllocator* a = store->allocator();
  _x = nuvCPCopyVars(a, n, x);
  if (n > 0 && _x) _sums = a->allocateArray<std::int64_t>(2 * static_cast<std::size_t>(n) + 2);
}

void NuvCPSlidingSumI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  for (int i = 0; _x && i < _n; ++i) m.mark(_x[i]);
}

void NuvCPSlidingSumI::print(std::ostream& os) const {
  os << "SequenceLink(" << _n << " variables, windows of " << _q << ", " << _low << ".." << _up << ")";
  printStatus(os);
}

int NuvCPSlidingSumI::propagate() {
  if (_q < 1 || _n < _q) return NuvCPSuccess;
  std::int64_t* lo = _sums;
  std::int64_t* hi = _sums + _n + 1;
  lo[0] = hi[0] = 0;
  for (int i = 0; i < _n; ++i) {
    lo[i + 1] = lo[i] + _x[i]->getMin();
    hi[i + 1] = hi[i] + _x[i]->getMax();
  }
  const int windows = _n - _q + 1;
  for (int w = 0; w < windows; ++w)
    if (lo[w + _q] - lo[w] > _up || hi[w + _q] - hi[w] < _low) return NuvCPFailure;
  // Each variable within the room each of its windows leaves (bounds read
  // before this pass: every narrowing holds in all solutions).
  bool changed = false;
  for (int i = 0; i < _n; ++i) {
    const std::int64_t mn = lo[i + 1] - lo[i], mx = hi[i + 1] - hi[i];
    std::int64_t newMax = mx, newMin = mn;
    for (int w = std::max(0, i - _q + 1); w <= std::min(i, windows - 1); ++w) {
      newMax = std::min(newMax, _up - (lo[w + _q] - lo[w] - mn));
      newMin = std::max(newMin, _low - (hi[w + _q] - hi[w] - mx));
    }
    changed = changed || newMax < mx || newMin > mn;
    if (_x[i]->updateMax(nuvCPClampInt(newMax)) == NuvCPFailure ||
        _x[i]->updateMin(nuvCPClampInt(newMin)) == NuvCPFailure)
      return NuvCPFailure;
  }
  // Entailed only when the windows were checked on these very values.
  if (changed) return NuvCPSuspend;
  for (int i = 0; i < _n; ++i)
    if (!_x[i]->isBound()) return NuvCPSuspend;
  return NuvCPSuccess;
}

int NuvCPSlidingSumI::post(int) {
  if (!ok()) return NuvCPFailure;
  for (int i = 0; i < _n; ++i)
    if (!_x[i]->isBound()) _x[i]->addBounds(this);
  return propagate();
}
