#include "fd/NuvCPReservoirI.h"

#include <algorithm>
#include <ostream>

#include "fd/NuvCPIntMath.h"
#include "fd/NuvCPManagerI.h"

NuvCPReservoirI::NuvCPReservoirI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* s, NuvCPIntVarI* const* d,
                                 NuvCPIntVarI* const* h, int initial, NuvCPIntVarI* bound, bool atEnd,
                                 bool minimum)
    : NuvCPCstrI(store, 3, false), _n(n), _bound(bound), _initial(initial), _atEnd(atEnd), _minimum(minimum) {
  PimAllocator* a = store->allocator();
  _s = nuvCPCopyVars(a, n, s);
  _d = nuvCPCopyVars(a, n, d);
  _h = nuvCPCopyVars(a, n, h);
  if (n == 0 || !_s || !_d || !_h) return;
  const auto un = static_cast<std::size_t>(n);
  _scratch = a->allocate(2 * un * sizeof(Step) + (2 * un + 1) * sizeof(Segment));
  if (!_scratch) return;
  _steps = static_cast<Step*>(_scratch);
  _segs = reinterpret_cast<Segment*>(_steps + 2 * un);
}

void NuvCPReservoirI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  m.mark(_bound);
  for (int i = 0; i < _n && _s && _d && _h; ++i) {
    m.mark(_s[i]);
    m.mark(_d[i]);
    m.mark(_h[i]);
  }
}

void NuvCPReservoirI::print(std::ostream& os) const {
  os << (_atEnd ? "Give" : "Take") << (_minimum ? "MinCapacityCstr(" : "CapacityCstr(") << _n
     << " activities, initial " << _initial << ")";
  printStatus(os);
}

std::int64_t NuvCPReservoirI::tmin(int i) const {
  return _atEnd ? std::int64_t{_s[i]->getMin()} + _d[i]->getMin() : _s[i]->getMin();
}
std::int64_t NuvCPReservoirI::tmax(int i) const {
  return _atEnd ? std::int64_t{_s[i]->getMax()} + _d[i]->getMax() : _s[i]->getMax();
}

int NuvCPReservoirI::raiseTime(int i, std::int64_t t) {
  if (!_atEnd) return _s[i]->updateMin(nuvCPClampInt(t));
  if (_s[i]->updateMin(nuvCPClampInt(t - _d[i]->getMax())) == NuvCPFailure) return NuvCPFailure;
  return _d[i]->updateMin(nuvCPClampInt(t - _s[i]->getMax()));
}

int NuvCPReservoirI::lowerTime(int i, std::int64_t t) {
  if (!_atEnd) return _s[i]->updateMax(nuvCPClampInt(t));
  if (_s[i]->updateMax(nuvCPClampInt(t - _d[i]->getMin())) == NuvCPFailure) return NuvCPFailure;
  return _d[i]->updateMax(nuvCPClampInt(t - _s[i]->getMin()));
}

int NuvCPReservoirI::propagate() {
  // Floor and ceiling of the level.
  const std::int64_t floor = _minimum ? _bound->getMin() : 0;
  const std::int64_t ceiling = _minimum ? INT64_MAX : _bound->getMax();
  // The profile: before every event the level is L0; an event adds the
  // part of its change that helps each bound from its earliest time, and
  // the rest from its latest.
  int ns = 0;
  for (int i = 0; i < _n; ++i) {
    const std::int64_t lo = tmin(i), hi = tmax(i), cmin = changeMin(i), cmax = changeMax(i);
    _steps[ns++] = {lo, std::max<std::int64_t>(0, cmax), std::min<std::int64_t>(0, cmin)};
    _steps[ns++] = {hi, std::min<std::int64_t>(0, cmax), std::max<std::int64_t>(0, cmin)};
  }
  std::sort(_steps, _steps + ns, [](const Step& a, const Step& b) { return a.time < b.time; });
  int nseg = 0;
  std::int64_t best = _initial, least = _initial;
  _segs[nseg++] = {INT64_MIN, best, least};
  for (int k = 0; k < ns;) {
    const std::int64_t t = _steps[k].time;
    for (; k < ns && _steps[k].time == t; ++k) {
      best += _steps[k].dmax;
      least += _steps[k].dmin;
    }
    _segs[nseg++] = {t, best, least};
  }
  std::int64_t lowestBest = INT64_MAX, highestLeast = INT64_MIN;
  for (int k = 0; k < nseg; ++k) {
    if (_segs[k].best < floor || _segs[k].least > ceiling) return NuvCPFailure;
    lowestBest = std::min(lowestBest, _segs[k].best);
    highestLeast = std::max(highestLeast, _segs[k].least);
  }
  if (_minimum ? _bound->updateMax(nuvCPClampInt(lowestBest)) == NuvCPFailure
               : _bound->updateMin(nuvCPClampInt(highestLeast)) == NuvCPFailure)
    return NuvCPFailure;
  // The rules per event, on the profile without the event's own part.
  for (int i = 0; i < _n; ++i) {
    const std::int64_t lo = tmin(i), hi = tmax(i), cmin = changeMin(i), cmax = changeMax(i);
    auto ownBest = [&](std::int64_t t) { return t < lo ? 0 : t < hi ? std::max<std::int64_t>(0, cmax) : cmax; };
    auto ownLeast = [&](std::int64_t t) { return t < lo ? 0 : t < hi ? std::min<std::int64_t>(0, cmin) : cmin; };
    std::int64_t earliest = lo, latest = hi, amountMin = cmin, amountMax = cmax;
    bool pushing = true;
    for (int k = 0; k < nseg; ++k) {
      const Segment& g = _segs[k];
      const std::int64_t to = k + 1 < nseg ? _segs[k + 1].from : INT64_MAX;
      if (to <= lo) continue;
      const std::int64_t at = std::max(g.from, lo);  // the segment's first time the event may have passed by
      const std::int64_t otherBest = g.best - ownBest(at), otherLeast = g.least - ownLeast(at);
      // Had the event passed by `at`, could the level be right there?
      if (pushing) {
        if (at >= earliest && (otherBest + cmax < floor || otherLeast + cmin > ceiling))
          earliest = to;
        else
          pushing = false;
      }
      // Could the level be right at `at` without it?
      if (at < latest && (otherBest < floor || otherLeast > ceiling)) latest = at;
      // Surely passed: the room the others leave.
      if (at >= hi) {
        amountMin = std::max(amountMin, floor - otherBest);
        if (ceiling != INT64_MAX) amountMax = std::min(amountMax, ceiling - otherLeast);
      }
    }
    if (earliest > lo && raiseTime(i, earliest) == NuvCPFailure) return NuvCPFailure;
    if (latest < hi && lowerTime(i, latest) == NuvCPFailure) return NuvCPFailure;
    // The change is +h (gift) or -h (take).
    if (_atEnd) {
      if (_h[i]->updateMin(nuvCPClampInt(amountMin)) == NuvCPFailure ||
          _h[i]->updateMax(nuvCPClampInt(amountMax)) == NuvCPFailure)
        return NuvCPFailure;
    } else if (_h[i]->updateMax(nuvCPClampInt(-amountMin)) == NuvCPFailure ||
               _h[i]->updateMin(nuvCPClampInt(-amountMax)) == NuvCPFailure) {
      return NuvCPFailure;
    }
  }
  return NuvCPSuspend;
}

int NuvCPReservoirI::post(int) {
  if (!ok()) return NuvCPFailure;
  for (int i = 0; i < _n; ++i)
    if (_d[i]->updateMin(0) == NuvCPFailure) return NuvCPFailure;
  _bound->addBounds(this);
  for (int i = 0; i < _n; ++i) {
    if (!_s[i]->isBound()) _s[i]->addBounds(this);
    if (_atEnd && !_d[i]->isBound()) _d[i]->addBounds(this);
    if (!_h[i]->isBound()) _h[i]->addBounds(this);
  }
  return propagate();
}
