#include "fd/NuvCPLinEquationI.h"

#include <algorithm>
#include <cstdlib>
#include <numeric>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "fd/NuvCPBoolVarI.h"
#include "fd/NuvCPCIntVarI.h"
#include "fd/NuvCPIntMath.h"
#include "fd/NuvCPManagerI.h"
#include "fd/NuvCPShared.h"
#include "host/PimError.h"

namespace {

const char* const kSource = "..\\..\\fd\\NuvCPLinEquationI";

void sumAssert(std::int64_t slow, std::int64_t sup, int line) {
  if (slow > sup) raiseInternalAssertion("SLOW <= SUP", kSource, line);
}

// The rounded quotients of a bound by a coefficient; unit coefficients,
// the most common ones, skip the hardware division.
std::int64_t ceilDivBy(std::int64_t n, std::int64_t a) {
  return a == 1 ? n : a == -1 ? -n : nuvCPCeilDiv(n, a);
}
std::int64_t floorDivBy(std::int64_t n, std::int64_t a) {
  return a == 1 ? n : a == -1 ? -n : nuvCPFloorDiv(n, a);
}

std::uint32_t absCoef(std::int32_t a) {
  return a < 0 ? std::uint32_t{0} - static_cast<std::uint32_t>(a) : static_cast<std::uint32_t>(a);
}

// False when no integer values of the unbound terms can bring the fixed part
// to 0: every unbound term is a multiple of g. Without this test an equation
// such as 2x - 2y + 1 == 0 over wide domains would shave one value off each
// bound per pass of the internal fixpoint, about a billion passes before
// failing.
bool zeroOnLattice(std::int64_t fixed, std::int64_t g) { return g <= 1 || fixed % g == 0; }

constexpr std::uint64_t kSumLimit = std::uint64_t{1} << 62;

// The internal fixpoints stop after this many passes. Bounds reasoning on an
// equation with large coprime coefficients, such as
// 2147483647x - 2147483646y == 1 over the whole range, can shave a value or
// two per pass for about 2^31 passes; stopping early is sound (the bounds
// are only weaker), and since these propagators are idempotent the store
// does not run them again on their own changes, so the fixpoint ends and
// the search takes over. Ordinary equations settle in a few passes.
constexpr int kMaxPasses = 64;

std::uint64_t magnitude(std::int64_t v) {
  return v < 0 ? std::uint64_t{0} - static_cast<std::uint64_t>(v) : static_cast<std::uint64_t>(v);
}

// The refusal of a sum that could leave the exact 64-bit range.
[[noreturn]] void refuseOverflow(const char* what) {
  throw PimExecutionError(PimSource(kSource, 0),
                          std::string(what) +
                              ": coefficients times bounds may exceed 2^62; the constraint is "
                              "refused rather than propagated on overflowing sums");
}

// How a term's bounds are read. The two common kinds are read through
// their own classes, whose bound accessors no subclass overrides, so the
// read is a load or two instead of two virtual calls per term and pass.
enum TermKind : std::int32_t { kOtherVar, kBoolVar, kConcreteVar };

std::int32_t termKind(NuvCPIntVarI* x) {
  if (dynamic_cast<NuvCPBoolVarI*>(x)) return kBoolVar;
  if (dynamic_cast<NuvCPCIntVarI*>(x)) return kConcreteVar;
  return kOtherVar;
}

}  // namespace

bool nuvCPLinearFits(int n, const int* coefs, NuvCPIntVarI* const* vars, std::int64_t k) {
  // Each |a| * max|x| < 2^31 * 2^30 = 2^61; the running total is checked
  // against 2^62 after every term, so it never wraps either.
  // A null coefficient array stands for unit coefficients.
  std::uint64_t total = magnitude(k);
  if (total >= kSumLimit) return false;
  for (int i = 0; i < n; ++i) {
    const std::int64_t lo = vars[i]->getMin(), hi = vars[i]->getMax();
    const std::uint64_t m = std::max(magnitude(lo), magnitude(hi));
    const std::uint64_t a = coefs ? magnitude(coefs[i]) : 1;
    total += a * m;  // < 2^61: no wrap
    if (total >= kSumLimit) return false;
  }
  return true;
}

// ---- shared terms -------------------------------------------------------------------

NuvCPLinearBaseI::NuvCPLinearBaseI(NuvCPManagerI* s, int n, const int* coefs,
                                   NuvCPIntVarI* const* vars, int k)
    : NuvCPCstrI(s, 7, true), _n(n), _k(k) {
  PimAllocator* a = s->allocator();
  const auto count = static_cast<std::size_t>(n > 0 ? n : 0);
  _coefs = count ? a->allocateArray<std::int32_t>(count) : nullptr;
  _vars = count ? a->allocateArray<NuvCPIntVarI*>(count) : nullptr;
  _terms = count ? a->allocateArray<Term>(count) : nullptr;
  _bounds = count ? a->allocateArray<Bounds>(count) : nullptr;
  _nFreeStamp = _fixedStamp = 0;  // never a current stamp: the first write is saved
  if (!ok()) return;
  for (int i = 0; i < n; ++i) {
    _coefs[i] = coefs[i];
    _vars[i] = vars[i];
  }
  mergeShared();
  // Bounds only narrow from here on, so sums that fit now always fit.
  if (!nuvCPLinearFits(_n, _coefs, _vars, _k)) refuseOverflow("linear constraint");
  for (int i = 0; i < _n; ++i)
    if (_coefs[i] != 0) _terms[_nFree++] = Term{_vars[i], _coefs[i], termKind(_vars[i])};
}

void NuvCPLinearBaseI::mergeShared() {
  if (_n < 2) return;
  // The terms ordered by root, then by position: a group of equal roots
  // starts with its first term, which becomes the group's one term.
  std::vector<std::pair<const NuvCPIntVarI*, int>> byRoot;
  byRoot.reserve(static_cast<std::size_t>(_n));
  std::int64_t c;
  for (int i = 0; i < _n; ++i) byRoot.emplace_back(nuvCPBaseOf(_vars[i], c), i);
  const std::less<const NuvCPIntVarI*> before;
  std::sort(byRoot.begin(), byRoot.end(), [&](const auto& a, const auto& b) {
    return before(a.first, b.first) || (a.first == b.first && a.second < b.second);
  });
  bool shared = false;
  for (std::size_t i = 1; i < byRoot.size() && !shared; ++i)
    shared = byRoot[i].first == byRoot[i - 1].first;
  if (!shared) return;
  std::vector<int> rep(static_cast<std::size_t>(_n));
  for (std::size_t i = 0; i < byRoot.size(); ++i)
    rep[static_cast<std::size_t>(byRoot[i].second)] =
        i > 0 && byRoot[i].first == byRoot[i - 1].first
            ? rep[static_cast<std::size_t>(byRoot[i - 1].second)]
            : byRoot[i].second;
  // a * v with v == w + (v - w): the coefficient goes to w, a * (v - w) to k.
  std::vector<std::int64_t> coef(static_cast<std::size_t>(_n), 0);
  std::int64_t k = _k;
  for (int i = 0; i < _n; ++i) {
    const int r = rep[static_cast<std::size_t>(i)];
    coef[static_cast<std::size_t>(r)] += _coefs[i];
    std::int64_t gap = 0;
    nuvCPShared(_vars[r], _vars[i], gap);
    k += std::int64_t{_coefs[i]} * gap;
  }
  auto refuse = [] {
    throw PimExecutionError(PimSource(kSource, 0),
                            "linear constraint: merging the terms of a repeated variable gives a "
                            "coefficient or constant beyond the int range");
  };
  if (k < INT32_MIN || k > INT32_MAX) refuse();
  int m = 0;
  for (int i = 0; i < _n; ++i) {
    const std::int64_t a = coef[static_cast<std::size_t>(i)];
    if (rep[static_cast<std::size_t>(i)] != i || a == 0) continue;
    if (a < INT32_MIN || a > INT32_MAX) refuse();
    _coefs[m] = static_cast<std::int32_t>(a);
    _vars[m] = _vars[i];
    ++m;
  }
  _n = m;
  _k = static_cast<std::int32_t>(k);
}

void NuvCPLinearBaseI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  for (int i = 0; i < _n && _vars; ++i) m.mark(_vars[i]);
}

void NuvCPLinearBaseI::printTerms(std::ostream& os, const char* header) const {
  os << header;
  for (int i = 0; i < _n; ++i) {
    os << _coefs[i] << " * ";
    _vars[i]->print(os);
    os << " + ";
  }
  os << _k;
}

template <bool kGcd>
void NuvCPLinearBaseI::scan(Scan& s) {
  std::int64_t fixed = _fixed;
  std::int64_t sup = 0, slow = 0, span = 0;
  bool sawA = false, sawB = false;
  int nf = _nFree, unbound = 0, last = -1;
  // Backwards, so that a bound term swaps with one already read.
  for (int j = nf - 1; j >= 0; --j) {
    const Term t = _terms[j];
    int lo, hi;
    switch (t.kind) {
      case kBoolVar: {
        const int st = static_cast<const NuvCPBoolVarI*>(t.x)->state();
        lo = (st & 1) ^ 1;
        hi = (st >> 1) & 1;
        break;
      }
      case kConcreteVar: {
        const auto* c = static_cast<const NuvCPCIntVarI*>(t.x);
        lo = c->NuvCPCIntVarI::getMin();
        hi = c->NuvCPCIntVarI::getMax();
        break;
      }
      default:
        lo = t.x->getMin();
        hi = t.x->getMax();
    }
    const std::int64_t a = t.a;
    if (lo == hi) {
      fixed += a * lo;
      if (_compact) {
        --nf;
        if (last == nf) last = j;  // the unbound term seen there moves to j
        _terms[j] = _terms[nf];
        _bounds[j] = _bounds[nf];
        _terms[nf] = t;
      } else {
        _bounds[j] = Bounds{lo, hi};  // a span of 0: never narrowed
      }
      continue;
    }
    ++unbound;
    last = j;
    if constexpr (kGcd) {
      const std::uint32_t m = absCoef(t.a);
      sawA |= m == _coprimeA;
      sawB |= m == _coprimeB;
    }
    const std::int64_t w = (a > 0 ? a : -a) * (std::int64_t{hi} - lo);
    if (w > span) span = w;
    if (a > 0) {
      sup += a * hi;
      slow += a * lo;
    } else {
      sup += a * lo;
      slow += a * hi;
    }
    _bounds[j] = Bounds{lo, hi};
  }
  if (nf != _nFree) {
    NuvTrailI* tr = store()->trail();
    tr->assign(_nFree, _nFreeStamp, nf);
    tr->assign(_fixed, _fixedStamp, fixed);
  }
  s.unbound = unbound;
  s.last = last;
  fixed += _k;
  s.fixed = fixed;
  s.slow = slow + fixed;
  s.sup = sup + fixed;
  s.g = 0;
  if constexpr (kGcd) s.g = sawA && sawB ? 1 : freeGcd();
  s.span = span;
  sumAssert(s.slow, s.sup, 366);
}

std::int64_t NuvCPLinearBaseI::freeGcd() {
  std::uint32_t g = 0;
  for (int j = 0; j < _nFree; ++j) {
    if (_bounds[j].lo == _bounds[j].hi) continue;  // bound, kept in place (see _compact)
    const std::uint32_t m = absCoef(_terms[j].a);
    g = std::gcd(g, m);
    if (g != 1) continue;
    // Remember two coprime coefficients among the unbound ones (the gcd
    // may also have reached 1 through three or more, then none is kept).
    for (int i = 0; i <= j; ++i)
      if (_bounds[i].lo != _bounds[i].hi && std::gcd(absCoef(_terms[i].a), m) == 1) {
        _coprimeA = absCoef(_terms[i].a);
        _coprimeB = m;
        break;
      }
    return 1;
  }
  return g;
}

bool NuvCPLinearBaseI::sums(std::int64_t& slow, std::int64_t& sup) {
  Scan s;
  scan<true>(s);
  slow = s.slow;
  sup = s.sup;
  return zeroOnLattice(s.fixed, s.g);
}

void NuvCPLinearBaseI::subscribeBounds() {
  for (int i = 0; i < _n; ++i)
    if (!_vars[i]->isBound() && _coefs[i] != 0) _vars[i]->addBounds(this);
}

int NuvCPLinearBaseI::propagateEquation() {
  for (int pass = 1;; ++pass) {
    // Step 1: the sums, reading each unbound term's bounds once.
    Scan s;
    scan<true>(s);
    const std::int64_t slow = s.slow, sup = s.sup;
    if (slow > 0 || sup < 0 || !zeroOnLattice(s.fixed, s.g)) return NuvCPFailure;
    if (s.unbound == 0) return NuvCPSuccess;  // every term bound, the sum is 0: entailed
    // A term's minimum rises only when its span exceeds sup, its maximum
    // falls only when its span exceeds -slow (see step 2).
    if (s.span <= sup && s.span <= -slow) return NuvCPSuspend;
    // Step 2: each unbound term within what the others leave it. A
    // variable occurs once, so the bounds read above are still its own.
    // With w = |a| * (M - m): for a > 0 the minimum moves exactly when
    // w > sup and the maximum when w > -slow; for a < 0 the other way round.
    // The divisions are done only for a bound that moves.
    bool changed = false;
    const int nf = _nFree;
    for (int j = 0; j < nf; ++j) {
      const std::int64_t a = _terms[j].a;
      const std::int64_t m = _bounds[j].lo, M = _bounds[j].hi;
      const std::int64_t w = (a > 0 ? a : -a) * (M - m);
      const bool upSlack = w > sup, downSlack = w > -slow;
      if (!upSlack && !downSlack) continue;
      NuvCPIntVarI* x = _terms[j].x;
      bool minMoves, maxMoves;
      std::int64_t lo = m, hi = M;
      if (a > 0) {
        minMoves = upSlack;
        maxMoves = downSlack;
        if (minMoves) lo = ceilDivBy(-(sup - a * M), a);
        if (maxMoves) hi = floorDivBy(-(slow - a * m), a);
      } else {
        minMoves = downSlack;
        maxMoves = upSlack;
        if (minMoves) lo = ceilDivBy(-(slow - a * M), a);
        if (maxMoves) hi = floorDivBy(-(sup - a * m), a);
      }
      if (minMoves) {
        changed = true;
        if (x->updateMin(nuvCPClampInt(lo)) == NuvCPFailure) return NuvCPFailure;
      }
      if (maxMoves) {
        changed = true;
        if (x->updateMax(nuvCPClampInt(hi)) == NuvCPFailure) return NuvCPFailure;
      }
    }
    if (!changed) return NuvCPSuspend;
    if (pass == kMaxPasses) {
      // Stopped early: at least fail on what the last pass left, so that
      // bounds it fixed are never accepted unchecked.
      std::int64_t lo, hi;
      return !sums(lo, hi) || lo > 0 || hi < 0 ? NuvCPFailure : NuvCPSuspend;
    }
  }
}

int NuvCPLinearBaseI::propagateAtLeast(int sign, std::int64_t shift) {
  // The bounds are read once; a variable is narrowed only when its new
  // bound actually moves it.
  Scan s;
  scan<false>(s);
  const std::int64_t sup = (sign > 0 ? s.sup : -s.slow) + shift;
  if (sup < 0) return NuvCPFailure;
  // The smallest value already satisfies it: entailed, and the store drops
  // the propagator on this branch (a clause once one literal is true).
  if ((sign > 0 ? s.slow : -s.sup) + shift >= 0) return NuvCPSuccess;
  // A term moves only when |a| * (hi - lo) exceeds sup.
  if (s.span <= sup) return NuvCPSuspend;
  const int nf = _nFree;
  for (int j = 0; j < nf; ++j) {
    const Bounds b = _bounds[j];
    const std::int64_t a = sign * std::int64_t{_terms[j].a};
    if ((a > 0 ? a : -a) * (std::int64_t{b.hi} - b.lo) <= sup) continue;  // this one stays
    if (a > 0) {
      const std::int64_t v = ceilDivBy(-(sup - a * b.hi), a);
      if (_terms[j].x->updateMin(nuvCPClampInt(v)) == NuvCPFailure) return NuvCPFailure;
    } else {
      const std::int64_t v = floorDivBy(-(sup - a * b.lo), a);
      if (_terms[j].x->updateMax(nuvCPClampInt(v)) == NuvCPFailure) return NuvCPFailure;
    }
  }
  return NuvCPSuspend;
}

int NuvCPLinearBaseI::propagateNotEqual() {
  Scan s;
  scan<false>(s);
  if (s.slow > 0 || s.sup < 0) return NuvCPSuccess;  // 0 is out of reach: entailed
  if (s.unbound > 1) return NuvCPSuspend;
  if (s.unbound == 1) {
    const Term& t = _terms[s.last];
    const std::int64_t rest = s.fixed, a = t.a;
    if (rest % a != 0) return NuvCPSuspend;
    return t.x->removeValue(nuvCPClampInt(-rest / a)) != NuvCPFailure ? NuvCPSuspend
                                                                       : NuvCPFailure;
  }
  return s.fixed == 0 ? NuvCPFailure : NuvCPSuccess;
}

// ---- the three general classes ------------------------------------------------------

void NuvCPLinearEquationI::print(std::ostream& os) const {
  printTerms(os, "lin-eq:");
  os << "== 0";
}

int NuvCPLinearEquationI::propagate() { return propagateEquation(); }

int NuvCPLinearEquationI::post(int) {
  if (!ok() || propagate() == NuvCPFailure) return NuvCPFailure;
  subscribeBounds();
  return propagate();
}

void NuvCPLinearGEQI::print(std::ostream& os) const {
  printTerms(os, "lin>=:");
  os << ">= 0";
}

int NuvCPLinearGEQI::propagate() { return propagateAtLeast(1, 0); }

int NuvCPLinearGEQI::post(int) {
  if (!ok() || propagate() == NuvCPFailure) return NuvCPFailure;
  // Only the bound that can lower the sum's maximum matters.
  for (int i = 0; i < _n; ++i) {
    if (_vars[i]->isBound() || _coefs[i] == 0) continue;
    if (_coefs[i] > 0)
      _vars[i]->addMax(this);
    else
      _vars[i]->addMin(this);
  }
  return propagate();
}

void NuvCPLinearNotEqualI::print(std::ostream& os) const {
  printTerms(os, "lin-neq:");
  os << "!= 0";
}

int NuvCPLinearNotEqualI::propagate() { return propagateNotEqual(); }

int NuvCPLinearNotEqualI::post(int) {
  if (!ok() || propagate() == NuvCPFailure) return NuvCPFailure;
  for (int i = 0; i < _n; ++i)
    if (!_vars[i]->isBound() && _coefs[i] != 0) _vars[i]->addBind(this);
  return propagate();
}

// ---- reified ------------------------------------------------------------------------

namespace {

// Controls and Booleans hold 0 or 1; any other value would be read as false.
bool restrictTo01(NuvCPIntVarI* b) {
  return b->updateMin(0) != NuvCPFailure && b->updateMax(1) != NuvCPFailure;
}

}  // namespace

void NuvCPLinearEquationReifI::mark(PimMarker& m) {
  NuvCPLinearBaseI::mark(m);
  m.mark(_b);
}

void NuvCPLinearEquationReifI::print(std::ostream& os) const {
  _b->print(os);
  os << " <=> ";
  printTerms(os, "lin-eq:");
  os << "== 0";
}

int NuvCPLinearEquationReifI::propagate() {
  if (!_b->isBound()) {
    // The control is decided here and the relation it chose is enforced
    // at once: the propagator is idempotent and is not run again for the
    // control's own change.
    std::int64_t slow, sup;
    if (!sums(slow, sup) || slow > 0 || sup < 0) {
      if (_b->bind(0) == NuvCPFailure) return NuvCPFailure;
    } else if (slow == sup) {
      return _b->bind(1) == NuvCPFailure ? NuvCPFailure : NuvCPSuccess;
    } else {
      return NuvCPSuspend;
    }
  }
  return _b->getMin() == 1 ? propagateEquation() : propagateNotEqual();
}

int NuvCPLinearEquationReifI::post(int) {
  if (!ok() || !restrictTo01(_b)) return NuvCPFailure;
  const int r = propagate();
  if (r != NuvCPSuspend) return r;
  subscribeBounds();
  if (!_b->isBound()) _b->addBind(this);
  return propagate();
}

void NuvCPLinearGEQReifI::mark(PimMarker& m) {
  NuvCPLinearBaseI::mark(m);
  m.mark(_b);
}

void NuvCPLinearGEQReifI::print(std::ostream& os) const {
  _b->print(os);
  os << " <=> ";
  printTerms(os, "lin>=:");
  os << ">= 0";
}

int NuvCPLinearGEQReifI::propagate() {
  // b false: sum + k <= -1, that is -(sum + k) - 1 >= 0.
  if (!_b->isBound()) {
    Scan s;
    scan<false>(s);  // no lattice test: an inequality has no parity
    const std::int64_t slow = s.slow, sup = s.sup;
    // Either way the relation now holds for every value left: entailed.
    if (slow >= 0) return _b->bind(1) == NuvCPFailure ? NuvCPFailure : NuvCPSuccess;
    if (sup < 0) return _b->bind(0) == NuvCPFailure ? NuvCPFailure : NuvCPSuccess;
    return NuvCPSuspend;
  }
  return _b->getMin() == 1 ? propagateAtLeast(1, 0) : propagateAtLeast(-1, -1);
}

int NuvCPLinearGEQReifI::post(int) {
  if (!ok() || !restrictTo01(_b)) return NuvCPFailure;
  const int r = propagate();
  if (r != NuvCPSuspend) return r;
  subscribeBounds();
  if (!_b->isBound()) _b->addBind(this);
  return propagate();
}

// ---- unit coefficients ----------------------------------------------------------------

NuvCPLinearPNEquationI::NuvCPLinearPNEquationI(NuvCPManagerI* s, int np, NuvCPIntVarI* const* pos,
                                               int nn, NuvCPIntVarI* const* neg, std::int64_t k,
                                               bool idempotent)
    : NuvCPCstrI(s, 7, idempotent), _np(np), _nn(nn), _k(k) {
  PimAllocator* a = s->allocator();
  _pos = np > 0 ? a->allocateArray<Entry>(static_cast<std::size_t>(np)) : nullptr;
  _neg = nn > 0 ? a->allocateArray<Entry>(static_cast<std::size_t>(nn)) : nullptr;
  for (int i = 0; _pos && i < np; ++i) _pos[i] = Entry{pos[i], i};
  for (int i = 0; _neg && i < nn; ++i) _neg[i] = Entry{neg[i], i};
  // Each list's sum and k below 2^62 keeps every sum and difference of a
  // pass below 2^63.
  if (!nuvCPLinearFits(np, nullptr, pos, k) || !nuvCPLinearFits(nn, nullptr, neg, 0))
    refuseOverflow("unit-coefficient equation");
}

void NuvCPLinearPNEquationI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  for (int i = 0; _pos && i < _np; ++i) m.mark(_pos[i].x);
  for (int i = 0; _neg && i < _nn; ++i) m.mark(_neg[i].x);
}

void NuvCPLinearPNEquationI::printAs(std::ostream& os, const char* header) const {
  os << header;
  for (int i = 0; i < _np; ++i) {
    if (i) os << " + ";
    _pos[i].x->print(os);
  }
  os << " - (";
  for (int i = 0; i < _nn; ++i) {
    _neg[i].x->print(os);
    os << " + ";
  }
  os << ") + " << _k << "== 0";
}

void NuvCPLinearPNEquationI::print(std::ostream& os) const { printAs(os, "lin(+/-)-eq:"); }
void NuvCPLinearPNEquationCI::print(std::ostream& os) const { printAs(os, "lin(+/-)s-eq:"); }

namespace {

// The bounds of sum(P) - sum(N) + k: [slow, sup].
void pnRange(const NuvCPLinearPNEquationI::Entry* pos, int np,
             const NuvCPLinearPNEquationI::Entry* neg, int nn, std::int64_t k,
             std::int64_t& slow, std::int64_t& sup) {
  sup = slow = k;
  for (int i = 0; i < np; ++i) {
    sup += pos[i].x->getMax();
    slow += pos[i].x->getMin();
  }
  for (int i = 0; i < nn; ++i) {
    sup -= neg[i].x->getMin();
    slow -= neg[i].x->getMax();
  }
}

// One bounds pass over sum(P) - sum(N) + k == 0; `changed` tells whether a
// bound moved.
int pnPass(NuvCPLinearPNEquationI::Entry* pos, int np, NuvCPLinearPNEquationI::Entry* neg, int nn,
           std::int64_t k, bool& changed) {
  std::int64_t slow, sup;
  pnRange(pos, np, neg, nn, k, slow, sup);
  if (slow > 0 || sup < 0) return NuvCPFailure;
  changed = false;
  // x in P: slow - min(x) + x <= 0 <= sup - max(x) + x.
  for (int i = 0; i < np; ++i) {
    NuvCPIntVarI* x = pos[i].x;
    const std::int64_t m = x->getMin(), M = x->getMax();
    const std::int64_t lo = M - sup, hi = m - slow;
    const std::int64_t nlo = lo > m ? lo : m, nhi = hi < M ? hi : M;
    if (x->updateMin(nuvCPClampInt(nlo)) == NuvCPFailure || x->updateMax(nuvCPClampInt(nhi)) == NuvCPFailure)
      return NuvCPFailure;
    if (nlo > m || nhi < M) changed = true;
  }
  // y in N: the term -y ranges over [-M, -m].
  for (int i = 0; i < nn; ++i) {
    NuvCPIntVarI* y = neg[i].x;
    const std::int64_t m = y->getMin(), M = y->getMax();
    // rest + (-y) with rest in [slow + M, sup + m]: y >= slow + M, y <= sup + m.
    const std::int64_t lo = slow + M, hi = sup + m;
    const std::int64_t nlo = lo > m ? lo : m, nhi = hi < M ? hi : M;
    if (y->updateMin(nuvCPClampInt(nlo)) == NuvCPFailure || y->updateMax(nuvCPClampInt(nhi)) == NuvCPFailure)
      return NuvCPFailure;
    if (nlo > m || nhi < M) changed = true;
  }
  return NuvCPSuspend;
}

}  // namespace

int NuvCPLinearPNEquationI::propagate() {
  bool changed = true;
  for (int pass = 0; changed && pass < kMaxPasses; ++pass)
    if (pnPass(_pos, _np, _neg, _nn, _k, changed) == NuvCPFailure) return NuvCPFailure;
  if (!changed) return NuvCPSuspend;
  // Stopped early: a pass that changes nothing starts with the failure test;
  // run that test on what the last pass left (exact once all are bound).
  std::int64_t slow, sup;
  pnRange(_pos, _np, _neg, _nn, _k, slow, sup);
  return slow > 0 || sup < 0 ? NuvCPFailure : NuvCPSuspend;
}

int NuvCPLinearPNEquationCI::propagate() {
  bool changed = false;
  return pnPass(_pos, _np, _neg, _nn, _k, changed);
}

int NuvCPLinearPNEquationI::post(int) {
  if (!ok() || propagate() == NuvCPFailure) return NuvCPFailure;
  for (int i = 0; i < _np; ++i)
    if (!_pos[i].x->isBound()) _pos[i].x->addBounds(this);
  for (int i = 0; i < _nn; ++i)
    if (!_neg[i].x->isBound()) _neg[i].x->addBounds(this);
  return propagate();
}

// ---- Boolean sums ---------------------------------------------------------------------

NuvCPSumBoolEqualCstI::NuvCPSumBoolEqualCstI(NuvCPManagerI* s, int low, int up,
                                             NuvCPIntVarI* const* bs, int t)
    : NuvCPLinRelationI(s), _low(low), _up(up), _t(t) {
  const PimStamp st = s->trail()->stamp();
  _nbTrueStamp = _nbFalseStamp = _unboundStamp = st;
  const auto n = static_cast<std::size_t>(up >= low ? up - low + 1 : 0);
  PimAllocator* a = s->allocator();
  _bs = n ? a->allocateArray<NuvCPIntVarI*>(n) : nullptr;
  _unbound = n ? a->allocateArray<std::int32_t>(n) : nullptr;
  _where = n ? a->allocateArray<std::int32_t>(n) : nullptr;
  if (!ok()) return;
  for (std::size_t i = 0; i < n; ++i) {
    _bs[i] = bs[i];
    _unbound[i] = low + static_cast<int>(i);
    _where[i] = static_cast<int>(i);
  }
  _unboundCount = static_cast<int>(n);
}

void NuvCPSumBoolEqualCstI::mark(PimMarker& m) {
  NuvCPLinRelationI::mark(m);
  for (int i = 0; _bs && i <= _up - _low; ++i) m.mark(_bs[i]);
}

void NuvCPSumBoolEqualCstI::print(std::ostream& os) const {
  os << "bool-eqcst:";
  for (int i = 0; i <= _up - _low; ++i) {
    if (i) os << " + ";
    _bs[i]->print(os);
  }
  os << " == " << _t;
}

void NuvCPSumBoolEqualCstI::removeUnbound(int i) {
  const int p = _where[i - _low];
  const int last = _unboundCount - 1;
  if (p > last) return;  // already out
  const int j = _unbound[last];
  // Swap i to the end; both arrays are permutations, so every index keeps a
  // slot and a restored count brings i back.
  _unbound[p] = j;
  _where[j - _low] = p;
  _unbound[last] = i;
  _where[i - _low] = last;
  store()->trail()->assign(_unboundCount, _unboundStamp, last);
}

int NuvCPSumBoolEqualCstI::bindRest(int v) {
  for (int j = 0; j < _unboundCount; ++j)
    if (_bs[_unbound[j] - _low]->bind(v) == NuvCPFailure) return NuvCPFailure;
  return NuvCPSuccess;
}

int NuvCPSumBoolEqualCstI::post(int) {
  if (!ok()) return NuvCPFailure;
  const int size = _up - _low + 1;
  int nbTrue = 0, nbFalse = 0;
  for (int i = _low; i <= _up; ++i) {
    NuvCPIntVarI* x = _bs[i - _low];
    // The handler reads any bound value other than 1 as false.
    if (!restrictTo01(x)) return NuvCPFailure;
    if (!x->isBound()) continue;
    removeUnbound(i);
    if (x->getMin() == 1)
      ++nbTrue;
    else
      ++nbFalse;
  }
  if (nbTrue == _t) return bindRest(0);
  if (size - nbFalse == _t) return bindRest(1);
  if (nbTrue > _t || size - nbFalse < _t) return NuvCPFailure;
  NuvTrailI* tr = store()->trail();
  tr->assign(_nbTrue, _nbTrueStamp, nbTrue);
  tr->assign(_nbFalse, _nbFalseStamp, nbFalse);
  for (int j = 0; j < _unboundCount; ++j) _bs[_unbound[j] - _low]->addAC5BindIdx(this, _unbound[j]);
  return NuvCPSuspend;
}

int NuvCPSumBoolEqualCstI::valBindIdx(NuvCPIntVarI* v, int i, int val) {
  NuvCPIntVarI* bk = _bs[i - _low];
  if (bk != v) raiseInternalAssertion("bk == v", kSource, 230);
  if (!v->isBound()) raiseInternalAssertion("v->isBound()", kSource, 231);
  if (v->getMax() != val) raiseInternalAssertion("v->getMax() == val", kSource, 232);
  removeUnbound(i);
  const int size = _up - _low + 1;
  NuvTrailI* tr = store()->trail();
  if (val == 1) {
    if (_nbTrue + 1 == _t) return bindRest(0);
    if (_nbTrue + 1 > _t) return NuvCPFailure;
    tr->assign(_nbTrue, _nbTrueStamp, _nbTrue + 1);
    return NuvCPSuspend;
  }
  if (size - (_nbFalse + 1) == _t) return bindRest(1);
  if (size - (_nbFalse + 1) < _t) return NuvCPFailure;
  tr->assign(_nbFalse, _nbFalseStamp, _nbFalse + 1);
  return NuvCPSuspend;
}

NuvCPSumBoolEqualI::NuvCPSumBoolEqualI(NuvCPManagerI* s, int n, NuvCPIntVarI* const* bs,
                                       NuvCPIntVarI* z)
    : NuvCPLinRelationI(s), _n(n), _z(z) {
  _bs = n > 0 ? s->allocator()->allocateArray<NuvCPIntVarI*>(static_cast<std::size_t>(n)) : nullptr;
  for (int i = 0; _bs && i < n; ++i) _bs[i] = bs[i];
}

void NuvCPSumBoolEqualI::mark(PimMarker& m) {
  NuvCPLinRelationI::mark(m);
  m.mark(_z);
  for (int i = 0; _bs && i < _n; ++i) m.mark(_bs[i]);
}

void NuvCPSumBoolEqualI::print(std::ostream& os) const {
  os << "bool-eq:";
  for (int i = 0; i < _n; ++i) {
    if (i) os << " + ";
    _bs[i]->print(os);
  }
  os << " == ";
  _z->print(os);
}

int NuvCPSumBoolEqualI::propagate() {
  // z may be one of the Booleans (or a view of one), and a Boolean may be
  // counted twice: narrowing z or filling the rest can then move the counts,
  // so count again until nothing moves. Each round that goes on binds a
  // variable, so this ends.
  for (;;) {
    int nbTrue = 0, nbFalse = 0;
    for (int i = 0; i < _n; ++i)
      if (_bs[i]->isBound()) ++(_bs[i]->getMin() == 1 ? nbTrue : nbFalse);
    if (_z->updateMin(nbTrue) == NuvCPFailure || _z->updateMax(_n - nbFalse) == NuvCPFailure)
      return NuvCPFailure;
    if (nbTrue + nbFalse == _n) return NuvCPSuccess;  // z is the count
    int again = 0;
    for (int i = 0; i < _n; ++i) again += _bs[i]->isBound() ? 1 : 0;
    if (again != nbTrue + nbFalse) continue;
    // z at the count of the true ones: the rest are false; at the count of
    // those not false: the rest are true.
    int fill = -1;
    if (_z->getMax() == nbTrue)
      fill = 0;
    else if (_z->getMin() == _n - nbFalse)
      fill = 1;
    if (fill < 0) return NuvCPSuspend;
    for (int i = 0; i < _n; ++i)
      if (!_bs[i]->isBound() && _bs[i]->bind(fill) == NuvCPFailure) return NuvCPFailure;
  }
}

int NuvCPSumBoolEqualI::post(int) {
  if (!ok()) return NuvCPFailure;
  for (int i = 0; i < _n; ++i)
    if (!restrictTo01(_bs[i])) return NuvCPFailure;
  const int r = propagate();
  if (r != NuvCPSuspend) return r;
  for (int i = 0; i < _n; ++i)
    if (!_bs[i]->isBound()) _bs[i]->addBind(this);
  _z->addBounds(this);
  return NuvCPSuspend;
}
