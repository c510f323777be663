#include "fd/NuvCPMinAssignmentI.h"

#include <algorithm>
#include <ostream>

#include "fd/NuvCPAllDiffI.h"
#include "fd/NuvCPIntMath.h"
#include "fd/NuvCPManagerI.h"

namespace {
// The cost of a pair outside the domains: above any assignment's cost
// (n * 2^31 < 2^41), far from overflowing when potentials add up.
constexpr std::int64_t kForbidden = std::int64_t{1} << 50;
}  // namespace

NuvCPMinAssignmentI::NuvCPMinAssignmentI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* x, int m,
                                         const int* cost, NuvCPIntVarI* z, int low)
    : NuvCPCstrI(store, 2, false), _n(n), _m(m), _low(low), _z(z) {
  if (n > m || !z || std::int64_t{low} + m > INT32_MAX) return;
  PimAllocator* a = store->allocator();
  const auto um = static_cast<std::size_t>(m) + 1;
  _x = nuvCPCopyVars(a, n, x);
  _cost = a->allocateArray<std::int32_t>(static_cast<std::size_t>(n) * static_cast<std::size_t>(m) + 1);
  _u = a->allocateArray<std::int64_t>(static_cast<std::size_t>(n) + 1);
  _v = a->allocateArray<std::int64_t>(um);
  _minv = a->allocateArray<std::int64_t>(um);
  _p = a->allocateArray<std::int32_t>(um);
  _way = a->allocateArray<std::int32_t>(um);
  _used = a->allocateArray<std::int32_t>(um);
  _a = a->allocateArray<std::int64_t>(static_cast<std::size_t>(n) * static_cast<std::size_t>(m) + 1);
  if ((n > 0 && !_x) || !_cost || !_a || !_u || !_v || !_minv || !_p || !_way || !_used) return;
  std::copy(cost, cost + static_cast<std::ptrdiff_t>(n) * m, _cost);
  _ok = true;
}

void NuvCPMinAssignmentI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  for (int i = 0; _x && i < _n; ++i) m.mark(_x[i]);
  if (_z) m.mark(_z);
}

void NuvCPMinAssignmentI::print(std::ostream& os) const {
  // Print forms begin with the class name, which names the handle.
  os << "MinAssignment(" << _n << " rows, " << _m << " columns from " << _low << ")";
  printStatus(os);
}

int NuvCPMinAssignmentI::propagate() {
  const int n = _n, m = _m;
  if (n == 0) return _z->updateMin(0) == NuvCPFailure || _z->updateMax(0) == NuvCPFailure ? NuvCPFailure : NuvCPSuccess;
  bool bound = _z->isBound();
  for (int i = 0; i < n && bound; ++i) bound = _x[i]->isBound();
  // The pairs' costs, kForbidden outside the domains: read once a run, as
  // the algorithm's inner loop visits each pair up to n times.
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < m; ++j) {
      const std::ptrdiff_t k = static_cast<std::ptrdiff_t>(i) * m + j;
      _a[k] = _x[i]->member(_low + j) ? _cost[k] : kForbidden;
    }
  auto a = [&](int i, int j) { return _a[static_cast<std::ptrdiff_t>(i - 1) * m + (j - 1)]; };  // 1-based
  std::fill(_u, _u + n + 1, 0);
  std::fill(_v, _v + m + 1, 0);
  std::fill(_p, _p + m + 1, 0);
  for (int i = 1; i <= n; ++i) {
    _p[0] = i;
    int j0 = 0;
    std::fill(_minv, _minv + m + 1, INT64_MAX);
    std::fill(_used, _used + m + 1, 0);
    do {
      _used[j0] = 1;
      const int i0 = _p[j0];
      std::int64_t delta = INT64_MAX;
      int j1 = 0;
      for (int j = 1; j <= m; ++j) {
        if (_used[j]) continue;
        const std::int64_t cur = a(i0, j) - _u[i0] - _v[j];
        if (cur < _minv[j]) {
          _minv[j] = cur;
          _way[j] = j0;
        }
        if (_minv[j] < delta) {
          delta = _minv[j];
          j1 = j;
        }
      }
      // Only forbidden pairs left: no assignment within the domains.
      if (j1 == 0 || delta >= kForbidden / 2) return NuvCPFailure;
      for (int j = 0; j <= m; ++j) {
        if (_used[j]) {
          _u[_p[j]] += delta;
          _v[j] -= delta;
        } else {
          _minv[j] -= delta;
        }
      }
      j0 = j1;
    } while (_p[j0] != 0);
    do {
      const int j1 = _way[j0];
      _p[j0] = _p[j1];
      j0 = j1;
    } while (j0 != 0);
  }
  std::int64_t best = 0, worst = 0;
  for (int j = 1; j <= m; ++j)
    if (_p[j] != 0) best += a(_p[j], j);
  if (best >= kForbidden) return NuvCPFailure;
  for (int i = 0; i < n; ++i) {
    std::int64_t dearest = INT64_MIN;
    nuvCPForEachValue(_x[i], [&](int value) {
      const std::int64_t j = std::int64_t{value} - _low;
      if (j >= 0 && j < m) dearest = std::max<std::int64_t>(dearest, _cost[static_cast<std::ptrdiff_t>(i) * m + j]);
      return true;
    });
    worst += dearest;
  }
  bool narrowed = best > _z->getMin() || worst < _z->getMax();
  if (_z->updateMin(nuvCPClampInt(best)) == NuvCPFailure || _z->updateMax(nuvCPClampInt(worst)) == NuvCPFailure)
    return NuvCPFailure;
  // Reduced-cost filtering: r = c - u - v >= 0 (v <= 0 everywhere and 0 on
  // free columns, so any assignment through (i, j) costs best + r at least).
  const std::int64_t zmax = _z->getMax();
  for (int i = 1; i <= n; ++i) {
    NuvCPIntVarI* x = _x[i - 1];
    int r = NuvCPSuspend;
    nuvCPForEachValue(x, [&](int value) {
      const int j = value - _low + 1;
      const std::int64_t reduced = _cost[static_cast<std::ptrdiff_t>(i - 1) * m + (j - 1)] - _u[i] - _v[j];
      if (best + reduced > zmax) {
        narrowed = true;
        r = x->removeValue(value);
      }
      return r != NuvCPFailure;
    });
    if (r == NuvCPFailure) return NuvCPFailure;
  }
  return bound && !narrowed ? NuvCPSuccess : NuvCPSuspend;
}

int NuvCPMinAssignmentI::post(int level) {
  if (!ok()) return NuvCPFailure;
  const int high = _low + _m - 1;
  for (int i = 0; i < _n; ++i)
    if (_x[i]->updateMin(_low) == NuvCPFailure || _x[i]->updateMax(high) == NuvCPFailure) return NuvCPFailure;
  if (_n > 0) {
    NuvCPCstrI* alldiff = nuvCPNewAllDiff(store(), _low, _n, _x, NuvCPAllDiffStrength::Default);
    if (!alldiff || store()->post(alldiff, level) == NuvCPFailure) return NuvCPFailure;
  }
  for (int i = 0; i < _n; ++i)
    if (!_x[i]->isBound()) _x[i]->addDomain(this);
  if (!_z->isBound()) _z->addBounds(this);
  return propagate();
}
