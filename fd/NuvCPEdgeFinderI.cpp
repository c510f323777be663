#include "fd/NuvCPEdgeFinderI.h"

#include <algorithm>
#include <ostream>

#include "fd/NuvCPIntMath.h"
#include "fd/NuvCPManagerI.h"

namespace {

constexpr std::int32_t kPlusInf = 2147483647;
constexpr std::int32_t kMinusInf = -2147483647;


// Adjacent exchanges on strict inequality until a pass makes none: ties
// keep the previous order, and an order still right costs one pass.
template <class Before>
void bubble(std::int32_t* order, const std::int32_t* key, int n, Before before) {
  for (bool swapped = true; swapped;) {
    swapped = false;
    for (int k = 1; k < n; ++k)
      if (before(key[order[k]], key[order[k - 1]])) {
        std::swap(order[k], order[k - 1]);
        swapped = true;
      }
  }
}

}  // namespace

NuvCPEdgeFinderI::NuvCPEdgeFinderI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* start,
                                   NuvCPIntVarI* const* duration, NuvCPIntVarI* const* end,
                                   NuvCPIntVarI* guard)
    : NuvCPCstrI(store, 3, false), _n(n), _guard(guard) {
  PimAllocator* a = store->allocator();
  _start = nuvCPCopyVars(a, n, start);
  _duration = nuvCPCopyVars(a, n, duration);
  _end = nuvCPCopyVars(a, n, end);
  if (n == 0 || !_start || !_duration || !_end) return;
  // Nine arrays of n: the eight of the two orders, the bound; then one more
  // of n as the per-activity key the sorts read.
  auto* block = a->allocateArray<std::int32_t>(10 * static_cast<std::size_t>(n));
  if (!block) return;
  std::int32_t* p = block;
  for (std::int32_t** arr : {&_byLct, &_lctByLct, &_durByLct, &_estByLct, &_byEst, &_estByEst, &_durByEst,
                             &_lctByEst})
    *arr = p, p += n;
  for (int k = 0; k < n; ++k) _byLct[k] = _byEst[k] = k;
  _bound = p;
}

void NuvCPEdgeFinderI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  if (_guard) m.mark(_guard);
  for (int i = 0; i < _n && _start && _duration && _end; ++i) {
    m.mark(_start[i]);
    m.mark(_duration[i]);
    m.mark(_end[i]);
  }
}

void NuvCPEdgeFinderI::print(std::ostream& os) const { os << "EdgeFinder"; }

int NuvCPEdgeFinderI::propagate() {
  if (_guard && _guard->isBound()) return NuvCPSuccess;
  return sweeps();
}

int NuvCPEdgeFinderPureI::propagate() { return sweeps(); }

int NuvCPEdgeFinderI::sweeps() {
  // The sorts read one key per activity: the bound array serves as the
  // activity-indexed key (it is rewritten by the sweeps anyway); the
  // position arrays are filled after the sorts.
  std::int32_t* key = _bound;
  for (int i = 0; i < _n; ++i) key[i] = _end[i]->getMax();
  bubble(_byLct, key, _n, [](std::int32_t a, std::int32_t b) { return a > b; });
  for (int i = 0; i < _n; ++i) key[i] = _start[i]->getMin();
  bubble(_byEst, key, _n, [](std::int32_t a, std::int32_t b) { return a < b; });
  for (int k = 0; k < _n; ++k) {
    const int e = _byEst[k], l = _byLct[k];
    _estByEst[k] = _start[e]->getMin();
    _durByEst[k] = _duration[e]->getMin();
    _lctByEst[k] = _end[e]->getMax();
    _lctByLct[k] = _end[l]->getMax();
    _durByLct[k] = _duration[l]->getMin();
    _estByLct[k] = _start[l]->getMin();
  }
  if (forward() == NuvCPFailure) return NuvCPFailure;
  return backward() == NuvCPFailure ? NuvCPFailure : NuvCPSuspend;
}

// Raises earliest starts. Positions are those of the est order.
int NuvCPEdgeFinderI::forward() {
  const int L = _n - 1;
  if (L < 1) return NuvCPSuspend;
  int first = L;
  for (int k = 0; k < L; ++k)
    if (_estByEst[k + 1] < _estByEst[k] + _durByEst[k]) {
      first = k;
      break;
    }
  std::int32_t previous = kPlusInf;
  for (int m = 0; m < L; ++m) {
    const std::int32_t lct = _lctByLct[m];
    if (lct == previous) continue;
    // bound[k]: the largest earliest completion of the Ω-activities at
    // positions >= k (Ω: completing by lct).
    std::int64_t sum = 0, best = kMinusInf;
    for (int k = L; k >= first; --k) {
      if (_lctByEst[k] <= lct) {
        sum += _durByEst[k];
        const std::int64_t cand = _estByEst[k] + sum;
        if (cand > lct) return NuvCPFailure;  // Ω cannot fit before lct
        best = std::max(best, cand);
      }
      _bound[k] = static_cast<std::int32_t>(best);
    }
    std::int64_t ectBefore = kMinusInf;
    for (int k = first; k <= L; ++k) {
      const int i = _byEst[k];
      if (_lctByEst[k] > lct) {
        const std::int64_t limit = std::int64_t{lct} - _durByEst[k];
        if (_estByEst[k] + sum > limit && _start[i]->updateMin(_bound[k]) == NuvCPFailure)
          return NuvCPFailure;
        if (ectBefore > limit && _start[i]->updateMin(_bound[first]) == NuvCPFailure) return NuvCPFailure;
      } else {
        ectBefore = std::max(ectBefore, _estByEst[k] + sum);
        sum -= _durByEst[k];
      }
    }
    previous = lct;
  }
  return NuvCPSuspend;
}

// Lowers latest starts: the mirror, positions of the lct order, no
// overload test.
int NuvCPEdgeFinderI::backward() {
  const int L = _n - 1;
  if (L < 1) return NuvCPSuspend;
  std::int32_t previous = kPlusInf;
  for (int m = 0; m < L; ++m) {
    const std::int32_t est = _estByEst[m];
    if (est == previous) continue;
    std::int64_t sum = 0, best = kPlusInf;
    for (int k = L; k >= 0; --k) {
      if (_estByLct[k] >= est) {
        sum += _durByLct[k];
        best = std::min(best, _lctByLct[k] - sum);
      }
      _bound[k] = static_cast<std::int32_t>(std::max<std::int64_t>(best, kMinusInf));
    }
    std::int64_t lstAfter = kPlusInf;
    for (int k = 0; k <= L; ++k) {
      const int i = _byLct[k];
      if (_estByLct[k] < est) {
        const std::int64_t need = std::int64_t{est} + _durByLct[k];
        if (_lctByLct[k] - sum < need &&
            _start[i]->updateMax(static_cast<int>(std::max<std::int64_t>(
                std::int64_t{_bound[k]} - _durByLct[k], kMinusInf))) == NuvCPFailure)
          return NuvCPFailure;
        if (lstAfter < need && _start[i]->updateMax(static_cast<int>(std::max<std::int64_t>(
                                   std::int64_t{_bound[0]} - _durByLct[k], kMinusInf))) == NuvCPFailure)
          return NuvCPFailure;
      } else {
        lstAfter = std::min(lstAfter, _lctByLct[k] - sum);
        sum -= _durByLct[k];
      }
    }
    previous = est;
  }
  return NuvCPSuspend;
}

int NuvCPEdgeFinderI::post(int) {
  if (!ok()) return NuvCPFailure;
  // Subscribed before the first run, so that the run's own changes queue
  // it again (one run is not a fixpoint).
  for (int i = 0; i < _n; ++i) {
    if (!_start[i]->isBound()) _start[i]->addBounds(this);
    if (!_duration[i]->isBound()) _duration[i]->addMin(this);
    if (!_end[i]->isBound()) _end[i]->addMax(this);
  }
  if (_guard && !_guard->isBound()) _guard->addBind(this);
  return propagate();
}

std::int64_t NuvCPEdgeFinderI::globalSlack() const {
  std::int64_t lo = INT64_MAX, hi = INT64_MIN, total = 0;
  for (int i = 0; i < _n; ++i) {
    lo = std::min<std::int64_t>(lo, _start[i]->getMin());
    hi = std::max<std::int64_t>(hi, _end[i]->getMax());
    total += std::max(0, _duration[i]->getMin());
  }
  return _n == 0 ? 0 : hi - lo - total;
}

std::int64_t NuvCPEdgeFinderI::localSlack() const {
  std::int64_t least = INT64_MAX;
  for (int i = 0; i < _n; ++i)
    for (int j = 0; j < _n; ++j) {
      const std::int64_t from = _start[i]->getMin(), to = _end[j]->getMax();
      if (to < from) continue;
      std::int64_t inside = 0;
      for (int k = 0; k < _n; ++k)
        if (_start[k]->getMin() >= from && _end[k]->getMax() <= to) inside += std::max(0, _duration[k]->getMin());
      least = std::min(least, to - from - inside);
    }
  return _n == 0 ? 0 : least;
}
