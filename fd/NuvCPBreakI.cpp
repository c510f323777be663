#include "fd/NuvCPBreakI.h"

#include <algorithm>
#include <ostream>

#include "fd/NuvCPIntMath.h"
#include "fd/NuvCPManagerI.h"

// ---- the calendar -----------------------------------------------------------------

bool NuvCPBreakCalendar::init(PimAllocator* a, int n, const int* from, const int* to) {
  _periodic = false;
  _n = n;
  if (n == 0) return true;
  _from = a->allocateArray<std::int32_t>(static_cast<std::size_t>(n));
  _to = a->allocateArray<std::int32_t>(static_cast<std::size_t>(n));
  if (!_from || !_to) return false;
  std::copy(from, from + n, _from);
  std::copy(to, to + n, _to);
  return true;
}

void NuvCPBreakCalendar::initPeriodic(std::int64_t offset, std::int64_t period, std::int64_t length) {
  _periodic = true;
  _offset = offset;
  _period = period;
  _length = length;
}

bool NuvCPBreakCalendar::after(std::int64_t t, std::int64_t& from, std::int64_t& to) const {
  if (_periodic) {
    // The first k with offset + k * period + length > t.
    const std::int64_t k = nuvCPFloorDiv(t - _offset - _length, _period) + 1;
    from = _offset + k * _period;
    to = from + _length;
    return true;
  }
  const std::int32_t* p = std::upper_bound(_to, _to + _n, t, [](std::int64_t v, std::int32_t e) { return v < e; });
  if (p == _to + _n) return false;
  from = _from[p - _to];
  to = *p;
  return true;
}

bool NuvCPBreakCalendar::before(std::int64_t t, std::int64_t& from, std::int64_t& to) const {
  if (_periodic) {
    // The last k with offset + k * period < t.
    const std::int64_t k = nuvCPCeilDiv(t - _offset, _period) - 1;
    from = _offset + k * _period;
    to = from + _length;
    return true;
  }
  const std::int32_t* p =
      std::lower_bound(_from, _from + _n, t, [](std::int32_t s, std::int64_t v) { return s < v; });
  if (p == _from) return false;
  from = *(p - 1);
  to = _to[p - 1 - _from];
  return true;
}

bool NuvCPBreakCalendar::inside(std::int64_t t) const {
  std::int64_t a, b;
  return after(t, a, b) && a <= t;
}

std::int64_t NuvCPBreakCalendar::fitUp(std::int64_t v, std::int64_t d) const {
  if (_periodic && d > _period - _length) return kNever;
  for (;;) {
    std::int64_t a, b;
    if (!after(v, a, b) || a >= v + d) return v;
    v = b;
  }
}

std::int64_t NuvCPBreakCalendar::fitDown(std::int64_t v, std::int64_t d) const {
  if (_periodic && d > _period - _length) return -kNever;
  for (;;) {
    std::int64_t a, b;
    if (!before(v + d, a, b) || b <= v) return v;
    v = a - d;
  }
}

std::int64_t NuvCPBreakCalendar::finish(std::int64_t t, std::int64_t d) const {
  std::int64_t a, b;
  if (after(t, a, b) && a <= t) t = b;  // work begins when the break ends
  if (!after(t, a, b) || t + d <= a) return t + d;
  d -= a - t;  // the work before the break
  t = b;
  if (_periodic) {
    // Whole stretches of work between breaks, then the rest.
    const std::int64_t w = _period - _length;
    const std::int64_t q = (d - 1) / w;
    return t + q * _period + (d - q * w);
  }
  for (;;) {
    if (!after(t, a, b) || t + d <= a) return t + d;
    d -= a - t;
    t = b;
  }
}

// ---- the propagator ---------------------------------------------------------------

NuvCPBreakI::NuvCPBreakI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* start, NuvCPIntVarI* const* duration,
                         NuvCPIntVarI* const* end, const NuvCPBreakCalendar& calendar, bool breakable,
                         bool periodic)
    : NuvCPCstrI(store, 5, false), _n(n), _calendar(calendar), _breakable(breakable), _periodic(periodic) {
  PimAllocator* a = store->allocator();
  _start = nuvCPCopyVars(a, n, start);
  _duration = nuvCPCopyVars(a, n, duration);
  _end = nuvCPCopyVars(a, n, end);
}

void NuvCPBreakI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  for (int i = 0; i < _n && ok(); ++i) {
    m.mark(_start[i]);
    m.mark(_duration[i]);
    m.mark(_end[i]);
  }
}

void NuvCPBreakI::print(std::ostream& os) const {
  os << (_periodic ? "UnaryPeriodicBreak" : "UnaryBreakUR") << (_breakable ? "Breakable" : "") << "(" << _n
     << " activities)";
}

int NuvCPBreakI::fixed(int i) {
  const std::int64_t d = _duration[i]->getMin();
  if (d <= 0) return NuvCPSuspend;
  NuvCPIntVarI* s = _start[i];
  const std::int64_t lo = _calendar.fitUp(s->getMin(), d);
  if (lo > s->getMin() && s->updateMin(nuvCPClampInt(lo)) == NuvCPFailure) return NuvCPFailure;
  const std::int64_t hi = _calendar.fitDown(s->getMax(), d);
  if (hi < s->getMax() && s->updateMax(nuvCPClampInt(hi)) == NuvCPFailure) return NuvCPFailure;
  return NuvCPSuspend;
}

int NuvCPBreakI::breakable(int i) {
  NuvCPIntVarI *s = _start[i], *d = _duration[i], *e = _end[i];
  if (d->getMin() < 0 && d->updateMin(0) == NuvCPFailure) return NuvCPFailure;
  // Starts outside breaks.
  std::int64_t a, b;
  if (_calendar.after(s->getMin(), a, b) && a <= s->getMin() && s->updateMin(nuvCPClampInt(b)) == NuvCPFailure)
    return NuvCPFailure;
  if (_calendar.before(std::int64_t{s->getMax()} + 1, a, b) && b > s->getMax() &&
      s->updateMax(nuvCPClampInt(a - 1)) == NuvCPFailure)
    return NuvCPFailure;
  const std::int64_t sMin = s->getMin(), sMax = s->getMax(), dMin = d->getMin(), dMax = d->getMax();
  // The end from the start and the duration.
  if (e->updateMin(nuvCPClampInt(_calendar.finish(sMin, dMin))) == NuvCPFailure) return NuvCPFailure;
  if (e->updateMax(nuvCPClampInt(_calendar.finish(sMax, dMax))) == NuvCPFailure) return NuvCPFailure;
  // The start from the end: the largest start that can finish by max end
  // with the least work, the smallest that reaches min end with the most.
  const std::int64_t eMax = e->getMax(), eMin = e->getMin();
  if (_calendar.finish(sMax, dMin) > eMax) {
    // finish is non-decreasing in the start; finish(sMin, dMin) <= eMax
    // holds, since the end's minimum is at least that.
    std::int64_t lo = sMin, hi = sMax;
    while (lo < hi) {
      const std::int64_t mid = lo + (hi - lo + 1) / 2;
      if (_calendar.finish(mid, dMin) <= eMax)
        lo = mid;
      else
        hi = mid - 1;
    }
    if (s->updateMax(nuvCPClampInt(lo)) == NuvCPFailure) return NuvCPFailure;
  }
  if (_calendar.finish(sMin, dMax) < eMin) {
    std::int64_t lo = sMin, hi = s->getMax();
    while (lo < hi) {
      const std::int64_t mid = lo + (hi - lo) / 2;
      if (_calendar.finish(mid, dMax) >= eMin)
        hi = mid;
      else
        lo = mid + 1;
    }
    if (s->updateMin(nuvCPClampInt(lo)) == NuvCPFailure) return NuvCPFailure;
  }
  return NuvCPSuspend;
}

int NuvCPBreakI::propagate() {
  for (int i = 0; i < _n; ++i)
    if ((_breakable ? breakable(i) : fixed(i)) == NuvCPFailure) return NuvCPFailure;
  return NuvCPSuspend;
}

int NuvCPBreakI::post(int) {
  if (!ok()) return NuvCPFailure;
  for (int i = 0; i < _n; ++i) {
    if (!_start[i]->isBound()) _start[i]->addBounds(this);
    if (!_duration[i]->isBound()) _duration[i]->addBounds(this);
    if (_breakable && !_end[i]->isBound()) _end[i]->addBounds(this);
  }
  return propagate();
}
