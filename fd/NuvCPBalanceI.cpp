#include "fd/NuvCPBalanceI.h"

#include <algorithm>
#include <cmath>
#include <ostream>

#include "fd/NuvCPIntMath.h"
#include "fd/NuvCPManagerI.h"

NuvCPBalanceI::NuvCPBalanceI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* x, int total, NuvCPIntVarI* c,
                             bool squares)
    : NuvCPCstrI(store, 4, false), _n(n), _total(total), _c(c), _squares(squares) {
  _x = nuvCPCopyVars(store->allocator(), n, x);
}

void NuvCPBalanceI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  m.mark(_c);
  for (int i = 0; _x && i < _n; ++i) m.mark(_x[i]);
}

void NuvCPBalanceI::print(std::ostream& os) const {
  os << (_squares ? "Spread(" : "Deviation(") << _n << " variables, total " << _total << ")";
  printStatus(os);
}

// Values are within 2^31 and n below 2^31: a deviation n * v - s fits in
// 63 bits; squares are clamped far beyond any variable's range.
std::int64_t NuvCPBalanceI::term(std::int64_t v) const {
  const std::int64_t d = std::int64_t{_n} * v - _total;
  const std::int64_t a = d < 0 ? -d : d;
  if (!_squares) return a;
  return a > 3037000499 ? INT64_MAX / 4 : a * a;
}

std::int64_t NuvCPBalanceI::least(std::int64_t lo, std::int64_t hi) const {
  // The term is smallest at the value nearest the mean s / n.
  const std::int64_t below = nuvCPFloorDiv(_total, _n), above = nuvCPCeilDiv(_total, _n);
  std::int64_t best = std::min(term(lo), term(hi));
  for (std::int64_t v : {below, above})
    if (v >= lo && v <= hi) best = std::min(best, term(v));
  return best;
}

std::int64_t NuvCPBalanceI::greatest(std::int64_t lo, std::int64_t hi) const {
  return std::max(term(lo), term(hi));
}

int NuvCPBalanceI::propagate() {
  if (_n == 0) return _total == 0 && _c->bind(0) != NuvCPFailure ? NuvCPSuccess : NuvCPFailure;
  // The sum.
  std::int64_t mins = 0, maxs = 0;
  for (int i = 0; i < _n; ++i) {
    mins += _x[i]->getMin();
    maxs += _x[i]->getMax();
  }
  if (mins > _total || maxs < _total) return NuvCPFailure;
  std::int64_t sizes = 0;
  for (int i = 0; i < _n; ++i) sizes += _x[i]->getSize();
  for (int i = 0; i < _n; ++i) {
    const std::int64_t lo = _x[i]->getMin(), hi = _x[i]->getMax();
    if (_x[i]->updateMin(nuvCPClampInt(_total - (maxs - hi))) == NuvCPFailure ||
        _x[i]->updateMax(nuvCPClampInt(_total - (mins - lo))) == NuvCPFailure)
      return NuvCPFailure;
  }
  // The measure.
  std::int64_t low = 0, high = 0;
  for (int i = 0; i < _n; ++i) {
    low = std::min<std::int64_t>(INT64_MAX / 4, low + least(_x[i]->getMin(), _x[i]->getMax()));
    high = std::min<std::int64_t>(INT64_MAX / 4, high + greatest(_x[i]->getMin(), _x[i]->getMax()));
  }
  if (_c->updateMin(nuvCPClampInt(low)) == NuvCPFailure || _c->updateMax(nuvCPClampInt(high)) == NuvCPFailure)
    return NuvCPFailure;
  // Each term within what c.max leaves it: |n * x - s| <= r, with r the
  // room itself (deviation) or its integer square root (spread).
  const std::int64_t cap = _c->getMax();
  for (int i = 0; i < _n; ++i) {
    NuvCPIntVarI* x = _x[i];
    const std::int64_t room = cap - (low - least(x->getMin(), x->getMax()));
    if (room < 0) return NuvCPFailure;
    std::int64_t r = room;
    if (_squares) {
      r = static_cast<std::int64_t>(std::sqrt(static_cast<double>(room)));
      while (r * r > room) --r;
      while ((r + 1) * (r + 1) <= room) ++r;
    }
    if (x->updateMin(nuvCPClampInt(nuvCPCeilDiv(_total - r, _n))) == NuvCPFailure ||
        x->updateMax(nuvCPClampInt(nuvCPFloorDiv(_total + r, _n))) == NuvCPFailure)
      return NuvCPFailure;
  }
  // Entailed only when the values checked are the ones left: a narrowing
  // in this run is checked by the next (the events queue it again).
  std::int64_t after = 0;
  for (int i = 0; i < _n; ++i) after += _x[i]->getSize();
  if (after != sizes || after != _n) return NuvCPSuspend;
  return _c->isBound() ? NuvCPSuccess : NuvCPSuspend;
}

int NuvCPBalanceI::post(int) {
  if (!ok()) return NuvCPFailure;
  for (int i = 0; i < _n; ++i)
    if (!_x[i]->isBound()) _x[i]->addBounds(this);
  _c->addBounds(this);
  return propagate();
}
