#include "fd/NuvCPTimeTableMinI.h"

#include <algorithm>
#include <ostream>

#include "fd/NuvCPIntMath.h"
#include "fd/NuvCPManagerI.h"

NuvCPTimeTableMinI::NuvCPTimeTableMinI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* s,
                                       NuvCPIntVarI* const* d, NuvCPIntVarI* const* r, NuvCPIntVarI* m, int from,
                                       int to)
    : NuvCPCstrI(store, 3, false), _n(n), _m(m), _from(from), _to(to) {
  PimAllocator* a = store->allocator();
  _s = nuvCPCopyVars(a, n, s);
  _d = nuvCPCopyVars(a, n, d);
  _r = nuvCPCopyVars(a, n, r);
  if (n == 0 || !_s || !_d || !_r) return;
  const auto un = static_cast<std::size_t>(n);
  _scratch = a->allocate((2 * un + 2) * sizeof(Event) + (2 * un + 3) * sizeof(Segment));
  if (!_scratch) return;
  _events = static_cast<Event*>(_scratch);
  _segs = reinterpret_cast<Segment*>(_events + 2 * un + 2);
}

void NuvCPTimeTableMinI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  m.mark(_m);
  for (int i = 0; i < _n && _s && _d && _r; ++i) {
    m.mark(_s[i]);
    m.mark(_d[i]);
    m.mark(_r[i]);
  }
}

void NuvCPTimeTableMinI::print(std::ostream& os) const {
  os << "TimeTableMinCstr(" << _n << " tasks, window [" << _from << ", " << _to << "))";
}

int NuvCPTimeTableMinI::propagate() {
  if (_from >= _to) return NuvCPSuccess;  // an empty window asks nothing
  // The optimistic profile over the window: segments cut at every event
  // and at the window's ends.
  int ne = 0;
  for (int i = 0; i < _n; ++i) {
    const std::int64_t dmax = _d[i]->getMax(), rmax = _r[i]->getMax();
    if (dmax <= 0 || rmax <= 0) continue;
    const std::int64_t lo = std::max<std::int64_t>(_s[i]->getMin(), _from);
    const std::int64_t hi = std::min<std::int64_t>(std::int64_t{_s[i]->getMax()} + dmax, _to);
    if (lo >= hi) continue;
    _events[ne++] = {lo, rmax};
    _events[ne++] = {hi, -rmax};
  }
  _events[ne++] = {_from, 0};
  _events[ne++] = {_to, 0};
  std::sort(_events, _events + ne, [](const Event& a, const Event& b) { return a.time < b.time; });
  int ns = 0;
  std::int64_t height = 0, least = INT64_MAX;
  for (int k = 0; k < ne;) {
    const std::int64_t t = _events[k].time;
    for (; k < ne && _events[k].time == t; ++k) height += _events[k].delta;
    if (k < ne && t >= _from && _events[k].time <= _to && _events[k].time > t) {
      _segs[ns++] = {t, _events[k].time, height};
      least = std::min(least, height);
    }
  }
  if (least != INT64_MAX && _m->updateMax(nuvCPClampInt(least)) == NuvCPFailure) return NuvCPFailure;
  const std::int64_t need = _m->getMin();
  if (need <= 0) return NuvCPSuspend;
  // A task whose absence leaves a segment short must run over it.
  for (int i = 0; i < _n; ++i) {
    const std::int64_t dmax = _d[i]->getMax(), rmax = _r[i]->getMax();
    if (dmax <= 0 || rmax <= 0) continue;
    const std::int64_t lo = std::max<std::int64_t>(_s[i]->getMin(), _from);
    const std::int64_t hi = std::min<std::int64_t>(std::int64_t{_s[i]->getMax()} + dmax, _to);
    // The times it must cover, and what it must provide there at least.
    std::int64_t first = INT64_MAX, last = INT64_MIN, provide = INT64_MIN;
    for (int k = 0; k < ns; ++k) {
      const Segment& g = _segs[k];
      const std::int64_t own = g.from >= lo && g.to <= hi ? rmax : 0;
      if (g.height - own < need) {
        first = std::min(first, g.from);
        last = std::max(last, g.to - 1);
        provide = std::max(provide, need - (g.height - own));
      }
    }
    if (first == INT64_MAX) continue;
    // Covering first and last: s <= first and s + d > last.
    if (_s[i]->updateMax(nuvCPClampInt(first)) == NuvCPFailure) return NuvCPFailure;
    if (_s[i]->updateMin(nuvCPClampInt(last - dmax + 1)) == NuvCPFailure) return NuvCPFailure;
    if (_d[i]->updateMin(nuvCPClampInt(last - _s[i]->getMax() + 1)) == NuvCPFailure) return NuvCPFailure;
    if (_r[i]->updateMin(nuvCPClampInt(provide)) == NuvCPFailure) return NuvCPFailure;
  }
  return NuvCPSuspend;
}

int NuvCPTimeTableMinI::post(int) {
  if (!ok()) return NuvCPFailure;
  for (int i = 0; i < _n; ++i)
    if (_d[i]->updateMin(0) == NuvCPFailure || _r[i]->updateMin(0) == NuvCPFailure) return NuvCPFailure;
  _m->addBounds(this);
  for (int i = 0; i < _n; ++i) {
    if (!_s[i]->isBound()) _s[i]->addBounds(this);
    if (!_d[i]->isBound()) _d[i]->addMax(this);
    if (!_r[i]->isBound()) _r[i]->addMax(this);
  }
  return propagate();
}
