#include "fd/NuvCPKnapsackI.h"

#include <algorithm>
#include <ostream>

#include "fd/NuvCPIntMath.h"
#include "fd/NuvCPManagerI.h"

namespace {
constexpr std::int64_t kDenseCap = 1 << 20;  // largest load the bit sets cover
constexpr int kSparseCap = 4096;             // most sums in one sparse layer

// Word t of the bit set f shifted up (towards larger sums) by w bits.
std::uint64_t shiftedUp(const std::uint64_t* f, std::int64_t t, std::int64_t w) {
  const std::int64_t ws = w / 64, bs = w % 64;
  std::uint64_t r = 0;
  if (t - ws >= 0) r = f[t - ws] << bs;
  if (bs > 0 && t - ws - 1 >= 0) r |= f[t - ws - 1] >> (64 - bs);
  return r;
}

// Word t of the bit set b (of `words` words) shifted down by w bits.
std::uint64_t shiftedDown(const std::uint64_t* b, std::int64_t t, std::int64_t w, std::int64_t words) {
  const std::int64_t ws = w / 64, bs = w % 64;
  std::uint64_t r = 0;
  if (t + ws < words) r = b[t + ws] >> bs;
  if (bs > 0 && t + ws + 1 < words) r |= b[t + ws + 1] << (64 - bs);
  return r;
}
}  // namespace

NuvCPKnapsackI::NuvCPKnapsackI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* x, const int* w,
                               NuvCPIntVarI* load, Strength strength)
    : NuvCPCstrI(store, strength == Light ? 4 : 2, false), _n(n), _strength(strength), _load(load) {
  PimAllocator* a = store->allocator();
  const auto un = static_cast<std::size_t>(n);
  _x = nuvCPCopyVars(a, n, x);
  _w = a->allocateArray<std::int32_t>(un + 1);
  if ((n > 0 && !_x) || !_w || !load) return;
  for (int i = 0; i < n; ++i) {
    if (w[i] < 0) return;
    _w[i] = w[i];
    _sumW += w[i];
  }
  if (strength == Dense) {
    const std::int64_t u = std::min<std::int64_t>({_sumW, std::max(0, load->getMax()), kDenseCap});
    _words = static_cast<std::int32_t>(u / 64 + 1);
    _bits = a->allocateArray<std::uint64_t>((un + 3) * static_cast<std::size_t>(_words));
    if (!_bits) return;
  } else if (strength == Sparse) {
    _sums = a->allocateArray<std::int32_t>((un + 3) * kSparseCap);
    _counts = a->allocateArray<std::int32_t>(un + 3);
    if (!_sums || !_counts) return;
  }
  _ok = true;
}

void NuvCPKnapsackI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  for (int i = 0; _x && i < _n; ++i) m.mark(_x[i]);
  if (_load) m.mark(_load);
}

void NuvCPKnapsackI::print(std::ostream& os) const {
  // Print forms begin with the class name, which names the handle.
  static const char* const names[] = {"LightBinaryKnapsack", "BinaryKnapsackAC", "SparseBinaryKnapsackAC"};
  os << names[_strength] << "(" << _n << " items, total weight " << _sumW << ")";
  printStatus(os);
}

int NuvCPKnapsackI::bounds(bool& narrowed) {
  std::int64_t lo = 0, hi = 0;
  for (int i = 0; i < _n; ++i) {
    lo += std::int64_t{_w[i]} * _x[i]->getMin();
    hi += std::int64_t{_w[i]} * _x[i]->getMax();
  }
  if (lo > _load->getMin() || hi < _load->getMax()) narrowed = true;
  if (_load->updateMin(nuvCPClampInt(lo)) == NuvCPFailure || _load->updateMax(nuvCPClampInt(hi)) == NuvCPFailure)
    return NuvCPFailure;
  const std::int64_t lmin = _load->getMin(), lmax = _load->getMax();
  for (int i = 0; i < _n; ++i) {
    NuvCPIntVarI* x = _x[i];
    if (x->isBound() || _w[i] == 0) continue;
    if (lo + _w[i] > lmax) {
      narrowed = true;
      if (x->bind(0) == NuvCPFailure) return NuvCPFailure;
    } else if (hi - _w[i] < lmin) {
      narrowed = true;
      if (x->bind(1) == NuvCPFailure) return NuvCPFailure;
    }
  }
  return NuvCPSuspend;
}

// x keeps the values the programme found an edge for (0, 1 or both).
int NuvCPKnapsackI::keepSupported(NuvCPIntVarI* x, bool zero, bool one, bool& narrowed) {
  if (!zero && !one) return NuvCPFailure;
  if (zero == one || x->isBound()) return NuvCPSuspend;
  narrowed = true;
  return x->bind(zero ? 0 : 1);
}

int NuvCPKnapsackI::dense(bool& narrowed, bool& done) {
  const std::int64_t u = std::min<std::int64_t>(_sumW, _load->getMax());
  if (u < 0) return NuvCPFailure;
  if (u >= std::int64_t{_words} * 64) return NuvCPSuspend;  // beyond the bit sets: bounds only
  done = true;
  const std::int64_t words = u / 64 + 1;
  const int lastBits = static_cast<int>(u % 64);
  const std::uint64_t lastMask = lastBits == 63 ? ~0ULL : (1ULL << (lastBits + 1)) - 1;
  auto layer = [&](int k) { return _bits + static_cast<std::int64_t>(k) * words; };
  // Forward: F[0] = {0}; F[k + 1] from F[k] and x[k]'s values.
  std::fill(layer(0), layer(0) + words, 0);
  layer(0)[0] = 1;
  for (int k = 0; k < _n; ++k) {
    const std::uint64_t* f = layer(k);
    std::uint64_t* g = layer(k + 1);
    const bool can0 = _x[k]->getMin() <= 0, can1 = _x[k]->getMax() >= 1;
    for (std::int64_t t = 0; t < words; ++t)
      g[t] = (can0 ? f[t] : 0) | (can1 ? shiftedUp(f, t, _w[k]) : 0);
    g[words - 1] &= lastMask;
  }
  // Backward from load's values.
  std::uint64_t* b = layer(_n + 1);
  std::uint64_t* nb = layer(_n + 2);
  std::fill(b, b + words, 0);
  const std::uint64_t* last = layer(_n);
  bool any = false;
  nuvCPForEachValue(_load, [&](int v) {
    if (v < 0) return true;
    if (v > u) return false;
    b[v / 64] |= 1ULL << (v % 64);
    any = any || ((last[v / 64] >> (v % 64)) & 1);
    return true;
  });
  if (!any) return NuvCPFailure;
  // The load keeps the sums the items make.
  {
    int r = NuvCPSuspend;
    nuvCPForEachValue(_load, [&](int v) {
      if (v < 0 || v > u || !((last[v / 64] >> (v % 64)) & 1)) {
        narrowed = true;
        r = _load->removeValue(v);
      }
      return r != NuvCPFailure;
    });
    if (r == NuvCPFailure) return NuvCPFailure;
  }
  for (int k = _n - 1; k >= 0; --k) {
    const std::uint64_t* f = layer(k);
    NuvCPIntVarI* x = _x[k];
    const bool can0 = x->getMin() <= 0, can1 = x->getMax() >= 1;
    bool sup0 = false, sup1 = false;
    for (std::int64_t t = 0; t < words && !(sup0 && sup1); ++t) {
      if (can0 && (f[t] & b[t])) sup0 = true;
      if (can1 && (shiftedUp(f, t, _w[k]) & b[t])) sup1 = true;
    }
    if (keepSupported(x, can0 && sup0, can1 && sup1, narrowed) == NuvCPFailure) return NuvCPFailure;
    for (std::int64_t t = 0; t < words; ++t)
      nb[t] = (sup0 ? b[t] : 0) | (sup1 ? shiftedDown(b, t, _w[k], words) : 0);
    std::swap(b, nb);
  }
  return NuvCPSuspend;
}

int NuvCPKnapsackI::sparse(bool& narrowed, bool& done) {
  const std::int64_t u = std::min<std::int64_t>(_sumW, _load->getMax());
  if (u < 0) return NuvCPFailure;
  auto layer = [&](int k) { return _sums + static_cast<std::int64_t>(k) * kSparseCap; };
  // Forward: sorted lists of the sums each prefix makes, up to u.
  layer(0)[0] = 0;
  _counts[0] = 1;
  for (int k = 0; k < _n; ++k) {
    const std::int32_t* f = layer(k);
    std::int32_t* g = layer(k + 1);
    const int nf = _counts[k];
    const bool can0 = _x[k]->getMin() <= 0, can1 = _x[k]->getMax() >= 1;
    const std::int64_t w = _w[k];
    int p = 0, q = 0, ng = 0;
    for (;;) {
      std::int64_t next;
      const std::int64_t a = can0 && p < nf ? f[p] : INT64_MAX;
      const std::int64_t c = can1 && q < nf && f[q] + w <= u ? f[q] + w : INT64_MAX;
      if (a == INT64_MAX && c == INT64_MAX) break;
      next = std::min(a, c);
      if (a == next) ++p;
      if (c == next) ++q;
      if (ng == kSparseCap) return NuvCPSuspend;  // too many sums: bounds only
      g[ng++] = static_cast<std::int32_t>(next);
    }
    _counts[k + 1] = ng;
  }
  done = true;
  // Backward: the sums of layer k that reach a value of load.
  std::int32_t* b = layer(_n + 1);
  std::int32_t* nb = layer(_n + 2);
  int nbk = 0;
  const std::int32_t* last = layer(_n);
  for (int p = 0; p < _counts[_n]; ++p)
    if (_load->member(last[p])) b[nbk++] = last[p];
  if (nbk == 0) return NuvCPFailure;
  {
    int r = NuvCPSuspend, p = 0;
    nuvCPForEachValue(_load, [&](int v) {
      while (p < nbk && b[p] < v) ++p;
      if (p == nbk || b[p] != v) {
        narrowed = true;
        r = _load->removeValue(v);
      }
      return r != NuvCPFailure;
    });
    if (r == NuvCPFailure) return NuvCPFailure;
  }
  auto in = [](const std::int32_t* list, int count, std::int64_t v) {
    return std::binary_search(list, list + count, v);
  };
  for (int k = _n - 1; k >= 0; --k) {
    const std::int32_t* f = layer(k);
    const int nf = _counts[k];
    NuvCPIntVarI* x = _x[k];
    const bool can0 = x->getMin() <= 0, can1 = x->getMax() >= 1;
    bool sup0 = false, sup1 = false;
    int nn = 0;
    for (int p = 0; p < nf; ++p) {
      const bool z = can0 && in(b, nbk, f[p]), o = can1 && in(b, nbk, std::int64_t{f[p]} + _w[k]);
      sup0 = sup0 || z;
      sup1 = sup1 || o;
      if (z || o) nb[nn++] = f[p];
    }
    if (keepSupported(x, can0 && sup0, can1 && sup1, narrowed) == NuvCPFailure) return NuvCPFailure;
    std::swap(b, nb);
    nbk = nn;
  }
  return NuvCPSuspend;
}

int NuvCPKnapsackI::propagate() {
  bool bound = _load->isBound();
  for (int i = 0; i < _n && bound; ++i) bound = _x[i]->isBound();
  bool narrowed = false, done = false;
  if (bounds(narrowed) == NuvCPFailure) return NuvCPFailure;
  if (_strength == Dense && dense(narrowed, done) == NuvCPFailure) return NuvCPFailure;
  if (_strength == Sparse && sparse(narrowed, done) == NuvCPFailure) return NuvCPFailure;
  return bound && !narrowed ? NuvCPSuccess : NuvCPSuspend;
}

int NuvCPKnapsackI::post(int) {
  if (!ok()) return NuvCPFailure;
  for (int i = 0; i < _n; ++i)
    if (_x[i]->updateMin(0) == NuvCPFailure || _x[i]->updateMax(1) == NuvCPFailure) return NuvCPFailure;
  for (int i = 0; i < _n; ++i)
    if (!_x[i]->isBound()) _x[i]->addBounds(this);
  if (!_load->isBound()) {
    if (_strength == Light)
      _load->addBounds(this);
    else
      _load->addDomain(this);
  }
  return propagate();
}
