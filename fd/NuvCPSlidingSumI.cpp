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
    if (newMax < mx && _x[i]->updateMax(nuvCPClampInt(newMax)) == NuvCPFailure) return NuvCPFailure;
    if (newMin > mn && _x[i]->updateMin(nuvCPClampInt(newMin)) == NuvCPFailure) return NuvCPFailure;
    changed = changed || newMax < mx || newMin > mn;
  }
  // Entailed only when the windows were checked on these very values.
  if (changed) return NuvCPSuspend;
  for (int i = 0; i < _n; ++i)
    if (!_x[i]->isBound()) return NuvCPSuspend;
  return NuvCPSuccess;
}

// The windows through position i, each with its own sums (bounds read
// before the narrowings, so each narrowing holds in all solutions).
int NuvCPSlidingSumI::windowsAt(int i) {
  const int first = std::max(0, i - _q + 1), last = std::min(i, _n - _q);
  if (first > last) return NuvCPSuspend;
  // The bounds of positions first..last + q - 1, read once (the prefix-sum
  // scratch is free between runs).
  std::int64_t* mn = _sums;
  std::int64_t* mx = _sums + _n + 1;
  std::int64_t lo = 0, hi = 0;
  for (int j = first; j < last + _q; ++j) {
    mn[j] = _x[j]->getMin();
    mx[j] = _x[j]->getMax();
    if (j < first + _q) {
      lo += mn[j];
      hi += mx[j];
    }
  }
  for (int w = first;; ++w) {
    if (lo > _up || hi < _low) return NuvCPFailure;
    if (hi > _up || lo < _low) {
      for (int j = w; j < w + _q; ++j) {
        const std::int64_t newMax = _up - (lo - mn[j]), newMin = _low - (hi - mx[j]);
        if (newMax < mx[j] && _x[j]->updateMax(nuvCPClampInt(newMax)) == NuvCPFailure) return NuvCPFailure;
        if (newMin > mn[j] && _x[j]->updateMin(nuvCPClampInt(newMin)) == NuvCPFailure) return NuvCPFailure;
      }
    }
    if (w == last) return NuvCPSuspend;
    // The next window's sums from the bounds read before any narrowing:
    // still valid bounds, so its narrowings hold too; the narrowed
    // variables' own events tighten further.
    lo += mn[w + _q] - mn[w];
    hi += mx[w + _q] - mx[w];
  }
}

int NuvCPSlidingSumI::updateBoundsIdx(NuvCPIntVarI*, int i) { return windowsAt(i); }
int NuvCPSlidingSumI::valBindIdx(NuvCPIntVarI*, int i, int) { return windowsAt(i); }

int NuvCPSlidingSumI::post(int) {
  if (!ok()) return NuvCPFailure;
  // Subscribed first, so that the first pass's own narrowings come back
  // as events.
  for (int i = 0; i < _n; ++i)
    if (!_x[i]->isBound()) _x[i]->addAC5BoundsIdx(this, i);
  return propagate();
}
