#include "fd/NuvCPBinPackingI.h"

#include <algorithm>
#include <functional>
#include <ostream>

#include "fd/NuvCPIntMath.h"
#include "fd/NuvCPManagerI.h"

namespace {
// Bins whose room is at least this many units skip the subset sums.
constexpr std::int64_t kMaxRoom = 1 << 16;

}  // namespace

NuvCPBinPackingI::NuvCPBinPackingI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* x, const int* w, int m,
                                   NuvCPIntVarI* const* l, int low, bool lowerBound)
    : NuvCPCstrI(store, 2, false), _n(n), _m(m), _low(low), _lowerBound(lowerBound) {
  PimAllocator* a = store->allocator();
  const auto un = static_cast<std::size_t>(n), um = static_cast<std::size_t>(m);
  _x = nuvCPCopyVars(a, n, x);
  _l = nuvCPCopyVars(a, m, l);
  _w = a->allocateArray<std::int32_t>(un + 1);
  _order = a->allocateArray<std::int32_t>(un + 1);
  _req = a->allocateArray<std::int64_t>(um + 1);
  _poss = a->allocateArray<std::int64_t>(um + 1);
  _sizes = a->allocateArray<std::int64_t>(un + um + 1);
  if ((n > 0 && !_x) || (m > 0 && !_l) || !_w || !_order || !_req || !_poss || !_sizes) return;
  if (std::int64_t{low} + m > INT32_MAX) return;
  std::int64_t maxLoad = 0;
  for (int j = 0; j < m; ++j) maxLoad = std::max<std::int64_t>(maxLoad, l[j]->getMax());
  for (int i = 0; i < n; ++i) {
    if (w[i] < 0) return;
    _w[i] = w[i];
    _order[i] = i;
    _total += w[i];
  }
  std::sort(_order, _order + n, [&](int p, int q) { return _w[p] > _w[q]; });
  const std::int64_t room = std::min({maxLoad, _total, kMaxRoom - 1});
  _words = static_cast<std::int32_t>(room / 64 + 1);
  _bits = a->allocateArray<std::uint64_t>(static_cast<std::size_t>(_words));
  _cand = a->allocateArray<std::int32_t>(un + 1);
  _largest = a->allocateArray<std::int64_t>(un + 2);
  _smallest = a->allocateArray<std::int64_t>(un + 2);
  _ok = _bits && _cand && _largest && _smallest;
}

void NuvCPBinPackingI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  for (int i = 0; _x && i < _n; ++i) m.mark(_x[i]);
  for (int j = 0; _l && j < _m; ++j) m.mark(_l[j]);
}

void NuvCPBinPackingI::print(std::ostream& os) const {
  // Print forms begin with the class name, which names the handle.
  os << (_lowerBound ? "BinPackingLB(" : "BinPacking(") << _n << " items, " << _m << " bins from " << _low << ")";
  printStatus(os);
}

// Each bin's weight in and weight that may come; the loads within them and
// within the total less the others.
int NuvCPBinPackingI::loads(bool& narrowed) {
  std::fill(_req, _req + _m, 0);
  std::fill(_poss, _poss + _m, 0);
  for (int i = 0; i < _n; ++i) {
    const std::int64_t w = _w[i];
    if (_x[i]->isBound()) {
      const int j = _x[i]->getMin() - _low;
      _req[j] += w;
      _poss[j] += w;
    } else if (w > 0) {
      nuvCPForEachValue(_x[i], [&](int v) {
        _poss[v - _low] += w;
        return true;
      });
    }
  }
  std::int64_t sumMin = 0, sumMax = 0;
  for (int j = 0; j < _m; ++j) {
    NuvCPIntVarI* l = _l[j];
    if (_req[j] > l->getMin() || _poss[j] < l->getMax()) narrowed = true;
    if (l->updateMin(nuvCPClampInt(_req[j])) == NuvCPFailure || l->updateMax(nuvCPClampInt(_poss[j])) == NuvCPFailure)
      return NuvCPFailure;
    sumMin += l->getMin();
    sumMax += l->getMax();
  }
  if (sumMin > _total || sumMax < _total) return NuvCPFailure;
  for (int j = 0; j < _m; ++j) {
    NuvCPIntVarI* l = _l[j];
    const std::int64_t lo = _total - (sumMax - l->getMax()), hi = _total - (sumMin - l->getMin());
    if (lo > l->getMin() || hi < l->getMax()) narrowed = true;
    if (l->updateMin(nuvCPClampInt(lo)) == NuvCPFailure || l->updateMax(nuvCPClampInt(hi)) == NuvCPFailure)
      return NuvCPFailure;
  }
  return NuvCPSuspend;
}

// An item leaves the bins it would overfill and joins the bin that needs
// it (counts from loads(): an item bound meanwhile only makes them loose).
int NuvCPBinPackingI::items(bool& narrowed) {
  for (int i = 0; i < _n; ++i) {
    NuvCPIntVarI* x = _x[i];
    if (x->isBound() || _w[i] == 0) continue;
    const std::int64_t w = _w[i];
    int r = NuvCPSuspend, join = INT32_MIN;
    nuvCPForEachValue(x, [&](int v) {
      const int j = v - _low;
      if (_req[j] + w > _l[j]->getMax()) {
        narrowed = true;
        r = x->removeValue(v);
      } else if (_poss[j] - w < _l[j]->getMin()) {
        join = v;
        return false;
      }
      return r != NuvCPFailure;
    });
    if (r == NuvCPFailure) return NuvCPFailure;
    if (join != INT32_MIN) {
      narrowed = true;
      if (x->bind(join) == NuvCPFailure) return NuvCPFailure;
    }
  }
  return NuvCPSuspend;
}

// For each bin with room below kMaxRoom: the sums the items that may come
// can make (bit i: some subset weighs i); the load takes the nearest.
int NuvCPBinPackingI::subsetSums(bool& narrowed) {
  for (int j = 0; j < _m; ++j) {
    NuvCPIntVarI* l = _l[j];
    std::int64_t req = 0, poss = 0;
    // Recount: items may have been bound or moved since loads().
    for (int i = 0; i < _n; ++i) {
      if (!_x[i]->member(_low + j)) continue;
      if (_x[i]->isBound()) req += _w[i];
      poss += _w[i];
    }
    const std::int64_t alpha = std::max<std::int64_t>(0, l->getMin() - req), beta = l->getMax() - req;
    if (beta < 0 || alpha > poss - req) return NuvCPFailure;
    if (beta >= poss - req && alpha == 0) continue;  // nothing and everything both fit
    if (beta >= std::int64_t{_words} * 64) continue;
    const int words = static_cast<int>(beta / 64 + 1);
    std::fill(_bits, _bits + words, 0);
    _bits[0] = 1;
    for (int k = 0; k < _n; ++k) {
      const int i = _order[k];
      const std::int64_t w = _w[i];
      if (w == 0 || w > beta || _x[i]->isBound() || !_x[i]->member(_low + j)) continue;
      const int ws = static_cast<int>(w / 64), bs = static_cast<int>(w % 64);
      for (int t = words - 1; t >= ws; --t) {
        std::uint64_t shifted = _bits[t - ws] << bs;
        if (bs > 0 && t - ws - 1 >= 0) shifted |= _bits[t - ws - 1] >> (64 - bs);
        _bits[t] |= shifted;
      }
    }
    auto has = [&](std::int64_t s) { return (_bits[s / 64] >> (s % 64)) & 1; };
    std::int64_t lo = alpha, hi = beta;
    while (lo <= beta && !has(lo)) ++lo;
    if (lo > beta) return NuvCPFailure;
    while (!has(hi)) --hi;
    if (req + lo > l->getMin() || req + hi < l->getMax()) narrowed = true;
    if (l->updateMin(nuvCPClampInt(req + lo)) == NuvCPFailure || l->updateMax(nuvCPClampInt(req + hi)) == NuvCPFailure)
      return NuvCPFailure;
    if (singleItems(j, req, narrowed) == NuvCPFailure) return NuvCPFailure;
  }
  return NuvCPSuspend;
}

// For bin j: each item that may come stays only if the others can
// complete the bin around it, and joins if they cannot fill it without it.
// "Cannot" is Shaw's NoSum test in its basic form: with the others sorted,
// if the t largest weigh less than the target's low end and the t + 1
// smallest more than its high end, no subset lands in between (those of t
// items or fewer fall short, the larger ones overshoot).
int NuvCPBinPackingI::singleItems(int j, std::int64_t req, bool& narrowed) {
  NuvCPIntVarI* l = _l[j];
  const std::int64_t alpha = std::max<std::int64_t>(0, l->getMin() - req), beta = l->getMax() - req;
  // With nothing to reach (alpha 0) every item fits with no other and the
  // bin is filled without any: only items heavier than the room go, which
  // items() did.
  if (alpha == 0) return NuvCPSuspend;
  const int value = _low + j;
  int k = 0;
  for (int r = 0; r < _n; ++r) {  // heaviest first
    const int i = _order[r];
    if (_w[i] > 0 && !_x[i]->isBound() && _x[i]->member(value)) {
      _cand[k] = i;
      ++k;
    }
  }
  if (k == 0) return NuvCPSuspend;
  _largest[0] = _smallest[0] = 0;
  for (int t = 0; t < k; ++t) {
    _largest[t + 1] = _largest[t] + _w[_cand[t]];
    _smallest[t + 1] = _smallest[t] + _w[_cand[k - 1 - t]];
  }
  // No subset of the candidates but the p-th sums into [lo, hi].
  auto noSum = [&](int p, std::int64_t lo, std::int64_t hi) {
    if (lo <= 0) return hi < 0;
    if (lo > hi) return true;
    const std::int64_t wp = _w[_cand[p]];
    const int others = k - 1;
    auto largest = [&](int t) { return t <= p ? _largest[t] : _largest[t + 1] - wp; };
    auto smallest = [&](int t) { return p < k - t ? _smallest[t] : _smallest[t + 1] - wp; };
    int t = 0;
    while (t < others && largest(t + 1) < lo) ++t;
    if (largest(t) >= lo) return false;  // t = 0 and lo <= 0 was handled
    return t == others || smallest(t + 1) > hi;
  };
  for (int p = 0; p < k; ++p) {
    NuvCPIntVarI* x = _x[_cand[p]];
    if (x->isBound() || !x->member(value)) continue;
    const std::int64_t w = _w[_cand[p]];
    if (noSum(p, alpha - w, beta - w)) {
      narrowed = true;
      if (x->removeValue(value) == NuvCPFailure) return NuvCPFailure;
    } else if (noSum(p, alpha, beta)) {
      narrowed = true;
      if (x->bind(value) == NuvCPFailure) return NuvCPFailure;
    }
  }
  return NuvCPSuspend;
}

// Shaw's reduction: every bin topped up to the largest room by a virtual
// item; the unplaced items and the virtual ones need at least L2 bins.
int NuvCPBinPackingI::lowerBound() {
  std::int64_t c = 0;
  for (int j = 0; j < _m; ++j) c = std::max<std::int64_t>(c, _l[j]->getMax());
  if (c <= 0) return NuvCPSuspend;
  std::fill(_req, _req + _m, 0);
  int count = 0;
  for (int i = 0; i < _n; ++i) {
    if (_x[i]->isBound())
      _req[_x[i]->getMin() - _low] += _w[i];
    else if (_w[i] > 0)
      _sizes[count++] = _w[i];
  }
  if (count == 0) return NuvCPSuspend;
  for (int j = 0; j < _m; ++j) {
    const std::int64_t top = c - (_l[j]->getMax() - _req[j]);
    if (top > 0) _sizes[count++] = top;
  }
  std::sort(_sizes, _sizes + count, std::greater<>());
  std::int64_t sum = 0;
  for (int k = 0; k < count; ++k) {
    if (_sizes[k] > c) return NuvCPFailure;
    sum += _sizes[k];
  }
  if ((sum + c - 1) / c > _m) return NuvCPFailure;
  // L2 (Martello and Toth, 1990) for every K among 0 and the sizes up to
  // c / 2: items above c - K each need a bin of their own, so do those
  // above c / 2; what those leave cannot host the items from K to c / 2
  // beyond their free room.
  for (int t = count; t >= 0; --t) {
    const std::int64_t k = t == count ? 0 : _sizes[t];
    if (2 * k > c) break;
    if (t < count && t + 1 < count && _sizes[t + 1] == k) continue;
    std::int64_t n1 = 0, n2 = 0, sum2 = 0, sum3 = 0;
    for (int q = 0; q < count; ++q) {
      const std::int64_t s = _sizes[q];
      if (s > c - k)
        ++n1;
      else if (2 * s > c) {
        ++n2;
        sum2 += s;
      } else if (s >= k) {
        sum3 += s;
      }
    }
    const std::int64_t spill = sum3 - (n2 * c - sum2);
    const std::int64_t bound = n1 + n2 + (spill > 0 ? (spill + c - 1) / c : 0);
    if (bound > _m) return NuvCPFailure;
  }
  return NuvCPSuspend;
}

int NuvCPBinPackingI::propagate() {
  bool bound = true;
  for (int i = 0; i < _n && bound; ++i) bound = _x[i]->isBound();
  for (int j = 0; j < _m && bound; ++j) bound = _l[j]->isBound();
  bool narrowed = false;
  if (loads(narrowed) == NuvCPFailure || items(narrowed) == NuvCPFailure || subsetSums(narrowed) == NuvCPFailure)
    return NuvCPFailure;
  if (_lowerBound && lowerBound() == NuvCPFailure) return NuvCPFailure;
  return bound && !narrowed ? NuvCPSuccess : NuvCPSuspend;
}

int NuvCPBinPackingI::post(int) {
  if (!ok()) return NuvCPFailure;
  if (_n > 0 && _m == 0) return NuvCPFailure;
  const int high = _low + _m - 1;
  for (int i = 0; i < _n; ++i)
    if (_x[i]->updateMin(_low) == NuvCPFailure || _x[i]->updateMax(high) == NuvCPFailure) return NuvCPFailure;
  for (int j = 0; j < _m; ++j)
    if (_l[j]->updateMin(0) == NuvCPFailure) return NuvCPFailure;
  for (int i = 0; i < _n; ++i)
    if (!_x[i]->isBound()) _x[i]->addDomain(this);
  for (int j = 0; j < _m; ++j)
    if (!_l[j]->isBound()) _l[j]->addBounds(this);
  return propagate();
}
