#include "fd/NuvCPArithI.h"

#include <algorithm>
#include <cmath>
#include <ostream>

#include "fd/NuvCPCIntVarI.h"
#include "fd/NuvCPIntMath.h"
#include "fd/NuvCPManagerI.h"

namespace {

// Largest r with r * r <= v (v >= 0).
std::int64_t isqrt(std::int64_t v) {
  if (v <= 0) return 0;
  auto r = static_cast<std::int64_t>(std::sqrt(static_cast<double>(v)));
  while (r * r > v) --r;
  while ((r + 1) * (r + 1) <= v) ++r;
  return r;
}

// a^b for a, b >= 0, saturated at 2^32 (beyond every variable's range).
std::int64_t powSat(std::int64_t a, std::int64_t b) {
  constexpr std::int64_t kCap = std::int64_t{1} << 32;
  if (b == 0) return 1;
  if (a <= 1) return a;
  std::int64_t r = 1;
  for (std::int64_t i = 0; i < b; ++i) {
    r *= a;
    if (r >= kCap) return kCap;
  }
  return r;
}

// Largest r >= 0 with r^e <= c (c >= 0, e >= 1).
std::int64_t iroot(std::int64_t c, std::int64_t e) {
  std::int64_t lo = 0, hi = c;
  while (lo < hi) {
    const std::int64_t mid = lo + (hi - lo + 1) / 2;
    if (powSat(mid, e) <= c) lo = mid;
    else hi = mid - 1;
  }
  return lo;
}

// Widest initial range in which a variable is given holes.
constexpr std::int64_t kMaxHoleSpan = std::int64_t{1} << 20;

// Narrowing helpers that report failure and whether the bounds moved.
struct Narrow {
  bool failed = false;
  bool changed = false;
  void min(NuvCPIntVarI* x, std::int64_t v) {
    if (failed || v <= x->getMin()) return;
    changed = true;
    failed = x->updateMin(nuvCPClampInt(v)) == NuvCPFailure;
  }
  void max(NuvCPIntVarI* x, std::int64_t v) {
    if (failed || v >= x->getMax()) return;
    changed = true;
    failed = x->updateMax(nuvCPClampInt(v)) == NuvCPFailure;
  }
  // A hole in a variable without one makes it build a bit array over its
  // initial range; for a variable declared over (nearly) all integers that
  // is hundreds of megabytes, so such holes are left out (the pruning stays
  // sound, only weaker) and only the ends are removed.
  void remove(NuvCPIntVarI* x, std::int64_t v) {
    if (failed || v < x->getMin() || v > x->getMax() || !x->member(static_cast<int>(v))) return;
    if (v != x->getMin() && v != x->getMax() && !x->hasDomain() &&
        std::int64_t{x->getInitialMax()} - x->getInitialMin() > kMaxHoleSpan)
      return;
    changed = true;
    failed = x->removeValue(static_cast<int>(v)) == NuvCPFailure;
  }
  int status() const { return failed ? NuvCPFailure : NuvCPSuspend; }
};


}  // namespace

// ---- sum ----------------------------------------------------------------------------

void NuvCPTernaryEqualI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  m.mark(_x);
  m.mark(_y);
  m.mark(_z);
}

void NuvCPTernaryEqualI::print(std::ostream& os) const {
  _x->print(os);
  os << " + ";
  _y->print(os);
  os << " == ";
  _z->print(os);
}

namespace {
// Bounds of a variable known to be concrete are read without a virtual call.
template <bool kConcrete>
int lowOf(const NuvCPIntVarI* x) {
  if constexpr (kConcrete) return static_cast<const NuvCPCIntVarI*>(x)->NuvCPCIntVarI::getMin();
  return x->getMin();
}
template <bool kConcrete>
int highOf(const NuvCPIntVarI* x) {
  if constexpr (kConcrete) return static_cast<const NuvCPCIntVarI*>(x)->NuvCPCIntVarI::getMax();
  return x->getMax();
}
}  // namespace

int NuvCPTernaryEqualI::propagate() { return _concrete ? run<true>() : run<false>(); }

template <bool kConcrete>
int NuvCPTernaryEqualI::run() {
  // Each pass reads the six bounds once and moves only the bounds that its
  // sums cut; a moved bound narrows by at least one value, so the loop ends,
  // in practice after two or three passes. x, y and z may share a root
  // (post handles the sharing with z), so a bound is re-read after a move
  // only through the next pass, never reused from this one.
  for (;;) {
    const std::int64_t xl = lowOf<kConcrete>(_x), xh = highOf<kConcrete>(_x);
    const std::int64_t yl = lowOf<kConcrete>(_y), yh = highOf<kConcrete>(_y);
    const std::int64_t zl = lowOf<kConcrete>(_z), zh = highOf<kConcrete>(_z);
    bool changed = false;
    auto up = [&](NuvCPIntVarI* v, std::int64_t cur, std::int64_t to) {
      if (to <= cur) return true;
      changed = true;
      return v->updateMin(nuvCPClampInt(to)) != NuvCPFailure;
    };
    auto down = [&](NuvCPIntVarI* v, std::int64_t cur, std::int64_t to) {
      if (to >= cur) return true;
      changed = true;
      return v->updateMax(nuvCPClampInt(to)) != NuvCPFailure;
    };
    if (!up(_z, zl, xl + yl) || !down(_z, zh, xh + yh) || !up(_x, xl, zl - yh) ||
        !down(_x, xh, zh - yl) || !up(_y, yl, zl - xh) || !down(_y, yh, zh - xl))
      return NuvCPFailure;
    if (changed) continue;
    // At the fixpoint: all bound means x + y == z holds (the sums cut
    // every bound to it).
    return xl == xh && yl == yh && zl == zh ? NuvCPSuccess : NuvCPSuspend;
  }
}

int NuvCPTernaryEqualI::post(int) {
  // z == x + d makes x + y == z the unary y == d; likewise with y.
  std::int64_t d;
  if (nuvCPShared(_x, _z, d)) return _y->bind(nuvCPClampInt(d)) == NuvCPFailure ? NuvCPFailure : NuvCPSuccess;
  if (nuvCPShared(_y, _z, d)) return _x->bind(nuvCPClampInt(d)) == NuvCPFailure ? NuvCPFailure : NuvCPSuccess;
  const int r = propagate();
  if (r != NuvCPSuspend) return r;
  _x->addBounds(this);
  if (_y != _x) _y->addBounds(this);
  if (_z != _x && _z != _y) _z->addBounds(this);
  return r;
}

// ---- product ------------------------------------------------------------------------

namespace {
// Domains up to this size are walked value by value (a square's supports).
constexpr int kWalk = 4096;
}  // namespace

void NuvCPMultI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  m.mark(_x);
  m.mark(_y);
  m.mark(_z);
}

void NuvCPMultI::print(std::ostream& os) const {
  _x->print(os);
  os << " * ";
  _y->print(os);
  os << " == ";
  _z->print(os);
}

int NuvCPMultI::divideInto(NuvCPIntVarI* x, const NuvCPIntVarI* z, const NuvCPIntVarI* y,
                           bool& changed) {
  // With y = 0 and z = 0 allowed, every x has a support.
  if (y->member(0) && z->member(0)) return NuvCPSuspend;
  // Otherwise y != 0 in every solution: on each side of 0, y has one sign,
  // z / y is monotone in both arguments and its extremes lie at the corners.
  const std::int64_t yl = y->getMin(), yh = y->getMax();
  const std::int64_t parts[2][2] = {{yl, std::min<std::int64_t>(-1, yh)},
                                    {std::max<std::int64_t>(1, yl), yh}};
  const std::int64_t zs[2] = {z->getMin(), z->getMax()};
  std::int64_t lo = INT64_MAX, hi = INT64_MIN;
  for (const auto& part : parts) {
    if (part[0] > part[1]) continue;
    for (std::int64_t a : zs)
      for (std::int64_t b : part) {
        lo = std::min(lo, nuvCPCeilDiv(a, b));
        hi = std::max(hi, nuvCPFloorDiv(a, b));
      }
  }
  if (lo > hi) return NuvCPFailure;
  Narrow n;
  n.min(x, lo);
  n.max(x, hi);
  changed |= n.changed;
  return n.status();
}

// Small square: x keeps the values whose square z holds, z the squares of x.
int NuvCPMultI::squareSupports(bool& changed) {
  Narrow n;
  if (_x->getSize() <= kWalk) {
    nuvCPForEachValue(_x, [&](int v) {
      const std::int64_t sq = std::int64_t{v} * v;
      // Beyond z's maximum the square cannot be narrowed to an int.
      if (sq > _z->getMax() || !_z->member(static_cast<int>(sq))) n.remove(_x, v);
      return !n.failed;
    });
  }
  if (!n.failed && _z->getSize() <= kWalk) {
    nuvCPForEachValue(_z, [&](int c) {
      const std::int64_t r = isqrt(c);
      if (c < 0 || r * r != c ||
          (!_x->member(static_cast<int>(r)) && !_x->member(static_cast<int>(-r))))
        n.remove(_z, c);
      return !n.failed;
    });
  }
  changed |= n.changed;
  return n.status();
}

int NuvCPMultI::propagate() {
  const bool square = _square;
  for (int round = 0; round < 64; ++round) {
    Narrow n;
    const std::int64_t xl = _x->getMin(), xh = _x->getMax(), yl = _y->getMin(), yh = _y->getMax();
    std::int64_t lo, hi;
    if (square) {
      hi = std::max(xl * xl, xh * xh);
      lo = xl <= 0 && xh >= 0 ? 0 : std::min(xl * xl, xh * xh);
    } else {
      const std::int64_t p[4] = {xl * yl, xl * yh, xh * yl, xh * yh};
      lo = *std::min_element(p, p + 4);
      hi = *std::max_element(p, p + 4);
    }
    n.min(_z, lo);
    n.max(_z, hi);
    if (!n.failed && !_z->member(0)) {
      n.remove(_x, 0);
      n.remove(_y, 0);
    }
    if (n.failed) return NuvCPFailure;
    bool changed = n.changed;
    if (square) {
      Narrow s;
      const std::int64_t r = isqrt(_z->getMax());
      s.min(_x, -r);
      s.max(_x, r);
      if (_z->getMin() > 0) {
        const std::int64_t c = isqrt(_z->getMin() - 1) + 1;  // smallest c with c * c >= zmin
        if (_x->getMin() > -c) s.min(_x, c);
        if (_x->getMax() < c) s.max(_x, -c);
      }
      if (s.failed) return NuvCPFailure;
      changed |= s.changed;
      if (squareSupports(changed) == NuvCPFailure) return NuvCPFailure;
    } else {
      if (divideInto(_x, _z, _y, changed) == NuvCPFailure) return NuvCPFailure;
      if (divideInto(_y, _z, _x, changed) == NuvCPFailure) return NuvCPFailure;
    }
    if (_x->isBound() && _y->isBound()) {
      const std::int64_t v = std::int64_t{_x->getMin()} * _y->getMin();
      return _z->bind(nuvCPClampInt(v)) == NuvCPFailure ? NuvCPFailure : NuvCPSuccess;
    }
    if (!changed) break;
  }
  return NuvCPSuspend;
}

int NuvCPMultI::post(int) {
  const int r = propagate();
  if (r != NuvCPSuspend) return r;
  // Holes matter (0 in any of them, every value of a small square), so any
  // change wakes the product.
  _x->addDomain(this);
  if (_y != _x) _y->addDomain(this);
  if (_z != _x && _z != _y) _z->addDomain(this);
  return r;
}

// ---- absolute value -----------------------------------------------------------------

void NuvCPAbsI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  m.mark(_x);
  m.mark(_y);
}

void NuvCPAbsI::print(std::ostream& os) const {
  _y->print(os);
  os << " == abs(";
  _x->print(os);
  os << ")";
}

int NuvCPAbsI::propagate() {
  // Each round narrows something or stops; the bounds rules meet their
  // fixpoint in two or three rounds (shared arguments, which could creep,
  // are settled at post).
  for (;;) {
    Narrow n;
    const std::int64_t xl = _x->getMin(), xh = _x->getMax();
    n.min(_y, xl <= 0 && xh >= 0 ? 0 : std::min(xl < 0 ? -xl : xl, xh < 0 ? -xh : xh));
    n.max(_y, std::max(-xl, xh));
    if (n.failed) return NuvCPFailure;
    n.min(_x, -std::int64_t{_y->getMax()});
    n.max(_x, _y->getMax());
    const std::int64_t c = _y->getMin();
    if (!n.failed && c > 0) {
      if (_x->getMin() > -c) n.min(_x, c);
      if (!n.failed && _x->getMax() < c) n.max(_x, -c);
    }
    if (n.failed) return NuvCPFailure;
    if (!_walk && c > 0 && _x->getMin() < 0 && _x->getMax() > 0) {
      // x straddles the gap (-c, c): x's bounds lie beyond it (the rules
      // above), so every value found in it has a successor within x and
      // the scan costs one step per value still there.
      const bool holesAllowed =
          _x->hasDomain() || std::int64_t{_x->getInitialMax()} - _x->getInitialMin() <= kMaxHoleSpan;
      if (holesAllowed) {
        const int from = static_cast<int>(1 - c);
        for (int v = _x->member(from) ? from : _x->nextValue(from); v < c && !n.failed;
             v = _x->nextValue(v))
          n.remove(_x, v);
      }
    } else if (_walk) {
      // Holes, while the domains are small enough to walk.
      nuvCPForEachValue(_y, [&](int v) {
        if (!_x->member(v) && !_x->member(-v)) n.remove(_y, v);
        return !n.failed;
      });
      nuvCPForEachValue(_x, [&](int v) {
        if (!_y->member(v < 0 ? -v : v)) n.remove(_x, v);
        return !n.failed;
      });
    }
    if (n.failed) return NuvCPFailure;
    if (!n.changed) break;
  }
  if (!_x->isBound()) return NuvCPSuspend;
  const int v = _x->getMin();
  return _y->bind(v < 0 ? -v : v) == NuvCPFailure ? NuvCPFailure : NuvCPSuccess;
}

int NuvCPAbsI::post(int) {
  // y == x + d: |x| == x + d holds for every x >= 0 when d == 0, for
  // x == -d/2 alone when d > 0 is even, and never otherwise.
  std::int64_t d;
  if (nuvCPShared(_x, _y, d)) {
    int r;
    if (d == 0) r = _x->updateMin(0);
    else if (d > 0 && d % 2 == 0) r = _x->bind(nuvCPClampInt(-d / 2));
    else r = NuvCPFailure;
    return r == NuvCPFailure ? NuvCPFailure : NuvCPSuccess;
  }
  _walk = std::int64_t{_x->getSize()} + _y->getSize() <= _walkLimit;
  const int r = propagate();
  if (r != NuvCPSuspend) return r;
  if (_walk) {
    _x->addDomain(this);
    _y->addDomain(this);
  } else {
    _x->addBounds(this);
    _y->addBounds(this);
  }
  return r;
}

// ---- product with a 0/1 factor ------------------------------------------------------

NuvCPBoolTimesI::NuvCPBoolTimesI(NuvCPManagerI* s, NuvCPIntVarI* b, NuvCPIntVarI* x,
                                 NuvCPIntVarI* z)
    : NuvCPCstrI(s, 5, true), _b(b), _x(x), _z(z) {
  std::int64_t d = 0;
  _xIsB = nuvCPShared(b, x, d);
  _dx = _xIsB ? static_cast<std::int32_t>(d) : 0;
}

void NuvCPBoolTimesI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  m.mark(_b);
  m.mark(_x);
  m.mark(_z);
}

void NuvCPBoolTimesI::print(std::ostream& os) const {
  _b->print(os);
  os << " * ";
  _x->print(os);
  os << " == ";
  _z->print(os);
}

int NuvCPBoolTimesI::propagate() {
  // Every round either narrows a bound or returns, so the loop ends; without
  // holes it returns within three rounds.
  for (;;) {
    if (_b->getMax() < 1) return _z->bind(0) == NuvCPFailure ? NuvCPFailure : NuvCPSuccess;
    const bool canZero = _b->getMin() < 1;
    // x's bounds when b is 1.
    const std::int64_t xl = _xIsB ? 1 + std::int64_t{_dx} : _x->getMin();
    const std::int64_t xh = _xIsB ? 1 + std::int64_t{_dx} : _x->getMax();
    Narrow n;
    if (!canZero) {
      n.min(_z, xl);
      n.max(_z, xh);
      n.min(_x, _z->getMin());
      n.max(_x, _z->getMax());
      if (n.failed) return NuvCPFailure;
      if (_x->isBound() && _z->isBound())
        return _x->getMin() == _z->getMin() ? NuvCPSuccess : NuvCPFailure;
      if (!n.changed) return NuvCPSuspend;
      continue;
    }
    const std::int64_t zl = _z->getMin(), zh = _z->getMax();
    if (zl > 0 || zh < 0 || !_z->member(0)) {
      if (_b->bind(1) == NuvCPFailure) return NuvCPFailure;
      continue;
    }
    if (zh < xl || zl > xh) {
      if (_b->bind(0) == NuvCPFailure) return NuvCPFailure;
      continue;
    }
    // z within {0} u [xl, xh]; 0 is in z, so both ends exist.
    std::int64_t lo = 0, hi = 0;
    if (zl <= xh && std::max(zl, xl) < 0) lo = std::max(zl, xl);
    if (zh >= xl && std::min(zh, xh) > 0) hi = std::min(zh, xh);
    n.min(_z, lo);
    n.max(_z, hi);
    if (n.failed) return NuvCPFailure;
    if (!n.changed) return NuvCPSuspend;
  }
}

int NuvCPBoolTimesI::post(int) {
  // z == x + d with d != 0: b == 1 would need x == x + d.
  std::int64_t d;
  if (nuvCPShared(_x, _z, d) && d != 0 && _b->bind(0) == NuvCPFailure) return NuvCPFailure;
  const int r = propagate();
  if (r != NuvCPSuspend) return r;
  // Any change of b binds it. 0 can leave z through a hole only while it is
  // strictly inside z's bounds (z's bounds never widen).
  _b->addBind(this);
  if (!_xIsB) _x->addBounds(this);
  if (_z != _x && _z != _b) {
    if (_z->getMin() < 0 && _z->getMax() > 0) _z->addDomain(this);
    else _z->addBounds(this);
  }
  return r;
}

NuvCPCstrI* nuvCPNewProduct(NuvCPManagerI* s, NuvCPIntVarI* x, NuvCPIntVarI* y, NuvCPIntVarI* z) {
  PimAllocator* al = s->allocator();
  if (NuvCPBoolTimesI::zeroOne(x)) return nuvCPNew<NuvCPBoolTimesI>(al, s, x, y, z);
  if (NuvCPBoolTimesI::zeroOne(y)) return nuvCPNew<NuvCPBoolTimesI>(al, s, y, x, z);
  return nuvCPNew<NuvCPMultI>(al, s, x, y, z);
}

// ---- division, remainder, power, min, max -------------------------------------------

bool NuvCPBinaryFunctionI::apply(Op op, std::int64_t a, std::int64_t b, std::int64_t& out) {
  switch (op) {
    case Op::Div:
      if (b == 0) return false;
      out = a / b;
      return true;
    case Op::Mod:
      if (b == 0) return false;
      out = a % b;
      return true;
    case Op::Min: out = std::min(a, b); return true;
    case Op::Max: out = std::max(a, b); return true;
    case Op::Pow: {
      if (b < 0) {
        // 1 div a^|b|
        if (a == 0) return false;
        out = a == 1 ? 1 : a == -1 ? ((-b) % 2 ? -1 : 1) : 0;
        return true;
      }
      std::int64_t r = 1;
      for (std::int64_t i = 0; i < b; ++i) {
        if (a == 0 || a == 1 || (a == -1)) {
          r = a == 0 ? 0 : a == 1 ? 1 : (b % 2 ? -1 : 1);
          break;
        }
        r *= a;
        if (r > (std::int64_t{1} << 40) || r < -(std::int64_t{1} << 40)) return false;
      }
      out = r;
      return true;
    }
  }
  return false;
}

void NuvCPBinaryFunctionI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  m.mark(_x);
  m.mark(_y);
  m.mark(_z);
}

void NuvCPBinaryFunctionI::print(std::ostream& os) const {
  static const char* const kNames[] = {"div", "mod", "pow", "min", "max"};
  _z->print(os);
  os << " == " << kNames[static_cast<int>(_op)] << "(";
  _x->print(os);
  os << ", ";
  _y->print(os);
  os << ")";
}

int NuvCPBinaryFunctionI::enumerate() {
  // Supports are found pair by pair; the values of x and y are walked in
  // place, so nothing is allocated.
  Narrow n;
  std::int64_t zlo = INT64_MAX, zhi = INT64_MIN;
  // The pass over the pairs sees every supported value of z; while z's range
  // fits, they are marked on the stack, and z's holes cost one pass over z
  // instead of a search for a pair per value. (With shared arguments z moves
  // during the pass, so the marks are not used.)
  std::uint64_t seen[kMarkBits / 64] = {};
  const std::int64_t zbase = _z->getMin();
  const std::int64_t ztop = _z->getMax();
  const bool mark = !_share.any && ztop - zbase < kMarkBits;
  // Without sharing z stays put during the pass: its bounds are read once.
  auto inZ = [&](std::int64_t f) {
    return _share.any ? f >= _z->getMin() && f <= _z->getMax() && _z->member(static_cast<int>(f))
                      : f >= zbase && f <= ztop && _z->member(static_cast<int>(f));
  };
  nuvCPForEachValue(_x, [&](int a) {
    bool supported = false;
    nuvCPForEachValue(_y, [&](int b) {
      std::int64_t f;
      if (apply(_op, a, b, f) && inZ(f) && consistent(a, b, f)) {
        supported = true;
        zlo = std::min(zlo, f);
        zhi = std::max(zhi, f);
        if (mark) seen[(f - zbase) >> 6] |= std::uint64_t{1} << ((f - zbase) & 63);
      }
      return true;
    });
    if (!supported) n.remove(_x, a);
    return !n.failed;
  });
  if (n.failed || zlo > zhi) return NuvCPFailure;
  nuvCPForEachValue(_y, [&](int b) {
    bool supported = false;
    nuvCPForEachValue(_x, [&](int a) {
      std::int64_t f;
      supported = apply(_op, a, b, f) && f >= _z->getMin() && f <= _z->getMax() &&
                  _z->member(static_cast<int>(f)) && consistent(a, b, f);
      return !supported;
    });
    if (!supported) n.remove(_y, b);
    return !n.failed;
  });
  n.min(_z, zlo);
  n.max(_z, zhi);
  if (n.failed) return NuvCPFailure;
  if (mark) {
    nuvCPForEachValue(_z, [&](int c) {
      const std::int64_t o = c - zbase;
      if (!((seen[o >> 6] >> (o & 63)) & 1)) n.remove(_z, c);
      return !n.failed;
    });
    return n.status();
  }
  // Holes of z, while walking them stays cheap.
  if (std::int64_t{_z->getSize()} * _x->getSize() * _y->getSize() <= 16 * kEnumerate) {
    nuvCPForEachValue(_z, [&](int c) {
      bool supported = false;
      nuvCPForEachValue(_x, [&](int a) {
        nuvCPForEachValue(_y, [&](int b) {
          std::int64_t f;
          supported = apply(_op, a, b, f) && f == c && consistent(a, b, f);
          return !supported;
        });
        return !supported;
      });
      if (!supported) n.remove(_z, c);
      return !n.failed;
    });
  }
  return n.status();
}

int NuvCPBinaryFunctionI::bounds() {
  Narrow n;
  const std::int64_t xl = _x->getMin(), xh = _x->getMax();
  switch (_op) {
    case Op::Div: {
      n.remove(_y, 0);
      if (n.failed) return NuvCPFailure;
      const std::int64_t yl = _y->getMin(), yh = _y->getMax();
      std::int64_t bs[4];
      int nb = 0;
      if (yh >= 1) {
        bs[nb++] = std::max<std::int64_t>(1, yl);
        bs[nb++] = yh;
      }
      if (yl <= -1) {
        bs[nb++] = yl;
        bs[nb++] = std::min<std::int64_t>(-1, yh);
      }
      std::int64_t lo = INT64_MAX, hi = INT64_MIN;
      for (std::int64_t a : {xl, xh})
        for (int i = 0; i < nb; ++i) {
          lo = std::min(lo, a / bs[i]);
          hi = std::max(hi, a / bs[i]);
        }
      n.min(_z, lo);
      n.max(_z, hi);
      if (!n.failed && _y->isBound()) {
        // x within the values whose quotient by d lies in z.
        std::int64_t d = _y->getMin(), zl = _z->getMin(), zh = _z->getMax();
        if (d < 0) {
          d = -d;
          std::swap(zl, zh);
          zl = -zl;
          zh = -zh;
        }
        n.min(_x, zl > 0 ? zl * d : zl * d - (d - 1));
        n.max(_x, zh >= 0 ? zh * d + (d - 1) : zh * d);
      }
      break;
    }
    case Op::Mod: {
      n.remove(_y, 0);
      if (n.failed) return NuvCPFailure;
      const std::int64_t m = std::max<std::int64_t>(-std::int64_t{_y->getMin()}, _y->getMax()) - 1;
      n.min(_z, std::max(-m, std::min<std::int64_t>(0, xl)));
      n.max(_z, std::min(m, std::max<std::int64_t>(0, xh)));
      break;
    }
    case Op::Pow: {
      // A negative exponent gives -1, 0 or 1 (1 div x^-y); the rules below
      // hold for y >= 0 only.
      const std::int64_t yl = _y->getMin(), yh = _y->getMax();
      if (yl < 0) break;
      const std::int64_t ax = std::max(xl < 0 ? -xl : xl, xh < 0 ? -xh : xh);
      // |x^y| <= max|x|^max(y), and 1 covers 0^0 and the powers of -1, 0, 1.
      const std::int64_t top = std::max<std::int64_t>(1, powSat(ax, yh));
      n.min(_z, -top);
      n.max(_z, top);
      // x^y grows with x and with y once x >= 1.
      if (xl >= 1) n.min(_z, powSat(xl, yl));
      if (xl >= 0) n.min(_z, 0);
      if (!n.failed && yl == yh && yl >= 1) {
        const std::int64_t zl = _z->getMin(), zh = _z->getMax();
        const std::int64_t r = iroot(std::max(zl < 0 ? -zl : zl, zh < 0 ? -zh : zh), yl);
        n.min(_x, -r);
        n.max(_x, r);
        if (yl % 2 == 0) n.min(_z, 0);
      }
      break;
    }
    case Op::Min:
      n.min(_z, std::min<std::int64_t>(xl, _y->getMin()));
      n.max(_z, std::min<std::int64_t>(xh, _y->getMax()));
      n.min(_x, _z->getMin());
      n.min(_y, _z->getMin());
      if (_y->getMin() > _z->getMax()) n.max(_x, _z->getMax());
      if (_x->getMin() > _z->getMax()) n.max(_y, _z->getMax());
      break;
    case Op::Max:
      n.max(_z, std::max<std::int64_t>(xh, _y->getMax()));
      n.min(_z, std::max<std::int64_t>(xl, _y->getMin()));
      n.max(_x, _z->getMax());
      n.max(_y, _z->getMax());
      if (_y->getMax() < _z->getMin()) n.min(_x, _z->getMin());
      if (_x->getMax() < _z->getMin()) n.min(_y, _z->getMin());
      break;
  }
  return n.status();
}

int NuvCPBinaryFunctionI::propagate() {
  if (_x->isBound() && _y->isBound()) {
    std::int64_t f;
    if (!apply(_op, _x->getMin(), _y->getMin(), f)) return NuvCPFailure;
    return _z->bind(nuvCPClampInt(f)) == NuvCPFailure ? NuvCPFailure : NuvCPSuccess;
  }
  const int r = std::int64_t{_x->getSize()} * _y->getSize() <= kEnumerate ? enumerate() : bounds();
  // The run may have fixed x and y (through a shared argument, say) without
  // looking at z: a propagator is not woken by its own changes made in post.
  if (r != NuvCPFailure && _x->isBound() && _y->isBound()) return propagate();
  return r;
}

int NuvCPBinaryFunctionI::post(int) {
  const int r = propagate();
  if (r != NuvCPSuspend) return r;
  _x->addDomain(this);
  _y->addDomain(this);
  _z->addDomain(this);
  return r;
}

// ---- minimum and maximum of an array ------------------------------------------------

NuvCPArrayMinMaxI::NuvCPArrayMinMaxI(NuvCPManagerI* s, bool isMax, NuvCPIntVarI* m, int n,
                                     NuvCPIntVarI* const* xs)
    : NuvCPCstrI(s, 5), _isMax(isMax), _m(m), _n(n) {
  _xs = n > 0 ? s->allocator()->allocateArray<NuvCPIntVarI*>(static_cast<std::size_t>(n)) : nullptr;
  for (int i = 0; _xs && i < n; ++i) _xs[i] = xs[i];
}

void NuvCPArrayMinMaxI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  m.mark(_m);
  for (int i = 0; _xs && i < _n; ++i) m.mark(_xs[i]);
}

void NuvCPArrayMinMaxI::print(std::ostream& os) const {
  _m->print(os);
  os << (_isMax ? " == max(" : " == min(");
  for (int i = 0; i < _n; ++i) {
    if (i) os << ", ";
    _xs[i]->print(os);
  }
  os << ")";
}

int NuvCPArrayMinMaxI::propagate() {
  for (int round = 0; round < 4; ++round) {
    Narrow n;
    if (!_isMax) {
      std::int64_t lo = INT64_MAX, hi = INT64_MAX;
      for (int i = 0; i < _n; ++i) {
        lo = std::min<std::int64_t>(lo, _xs[i]->getMin());
        hi = std::min<std::int64_t>(hi, _xs[i]->getMax());
      }
      n.min(_m, lo);
      n.max(_m, hi);
      int candidates = 0;
      NuvCPIntVarI* only = nullptr;
      for (int i = 0; i < _n && !n.failed; ++i) {
        n.min(_xs[i], _m->getMin());
        if (_xs[i]->getMin() <= _m->getMax()) ++candidates, only = _xs[i];
      }
      if (!n.failed && candidates == 0) return NuvCPFailure;
      if (candidates == 1) n.max(only, _m->getMax());
    } else {
      std::int64_t lo = INT64_MIN, hi = INT64_MIN;
      for (int i = 0; i < _n; ++i) {
        lo = std::max<std::int64_t>(lo, _xs[i]->getMin());
        hi = std::max<std::int64_t>(hi, _xs[i]->getMax());
      }
      n.min(_m, lo);
      n.max(_m, hi);
      int candidates = 0;
      NuvCPIntVarI* only = nullptr;
      for (int i = 0; i < _n && !n.failed; ++i) {
        n.max(_xs[i], _m->getMax());
        if (_xs[i]->getMax() >= _m->getMin()) ++candidates, only = _xs[i];
      }
      if (!n.failed && candidates == 0) return NuvCPFailure;
      if (candidates == 1) n.min(only, _m->getMin());
    }
    if (n.failed) return NuvCPFailure;
    if (!n.changed) break;
  }
  // The rounds are capped (m among its own arguments, as a view, can move one
  // value per round); a fully bound tuple is checked here, since a change
  // made in post does not wake the propagator again.
  if (!_m->isBound()) return NuvCPSuspend;
  std::int64_t best = _isMax ? INT64_MIN : INT64_MAX;
  for (int i = 0; i < _n; ++i) {
    if (!_xs[i]->isBound()) return NuvCPSuspend;
    best = _isMax ? std::max<std::int64_t>(best, _xs[i]->getMin())
                  : std::min<std::int64_t>(best, _xs[i]->getMin());
  }
  return best == _m->getMin() ? NuvCPSuccess : NuvCPFailure;
}

int NuvCPArrayMinMaxI::post(int) {
  if (!ok()) return NuvCPFailure;
  const int r = propagate();
  if (r != NuvCPSuspend) return r;
  _m->addBounds(this);
  for (int i = 0; i < _n; ++i) _xs[i]->addBounds(this);
  return r;
}
