#include "fd/NuvCPTimeTableI.h"

#include <algorithm>
#include <ostream>

#include "fd/NuvCPIntMath.h"
#include "fd/NuvCPManagerI.h"

NuvCPTimeTableI::NuvCPTimeTableI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* s,
                                 NuvCPIntVarI* const* d, NuvCPIntVarI* const* r, NuvCPIntVarI* c,
                                 NuvCPIntVarI* const* present)
    : NuvCPCstrI(store, 3, false), _n(n), _c(c) {
  PimAllocator* a = store->allocator();
  _s = nuvCPCopyVars(a, n, s);
  _d = nuvCPCopyVars(a, n, d);
  _r = nuvCPCopyVars(a, n, r);
  if (present) _p = nuvCPCopyVars(a, n, present);
  if (n == 0 || !_s || !_d || !_r || (present && !_p)) return;
  const auto un = static_cast<std::size_t>(n);
  const std::size_t bytes = 2 * un * sizeof(Event) + 2 * un * sizeof(Segment) + 2 * un * sizeof(std::int64_t);
  _scratch = a->allocate(bytes);
  if (!_scratch) return;
  _events = static_cast<Event*>(_scratch);
  _segs = reinterpret_cast<Segment*>(_events + 2 * un);
  _lst = reinterpret_cast<std::int64_t*>(_segs + 2 * un);
  _ect = _lst + un;
}

void NuvCPTimeTableI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  m.mark(_c);
  for (int i = 0; i < _n && _s && _d && _r; ++i) {
    m.mark(_s[i]);
    m.mark(_d[i]);
    m.mark(_r[i]);
    if (_p) m.mark(_p[i]);
  }
}

void NuvCPTimeTableI::print(std::ostream& os) const {
  os << (_p ? "TimeTableCapOptionalCstr(" : "TimeTableCstr(") << _n << " tasks, capacity ";
  _c->print(os);
  os << ")";
}

std::int64_t NuvCPTimeTableI::buildProfile() {
  int ne = 0;
  for (int i = 0; i < _n; ++i) {
    const std::int64_t dm = _d[i]->getMin(), rm = _r[i]->getMin();
    const std::int64_t lst = _s[i]->getMax(), ect = std::int64_t{_s[i]->getMin()} + dm;
    if (dm > 0 && rm > 0 && lst < ect && presence(i) == 1) {
      _lst[i] = lst;
      _ect[i] = ect;
      _events[ne++] = {lst, rm};
      _events[ne++] = {ect, -rm};
    } else {
      _lst[i] = _ect[i] = 0;  // no part
    }
  }
  std::sort(_events, _events + ne, [](const Event& a, const Event& b) { return a.time < b.time; });
  _nsegs = 0;
  std::int64_t height = 0, peak = 0;
  for (int k = 0; k < ne;) {
    const std::int64_t t = _events[k].time;
    for (; k < ne && _events[k].time == t; ++k) height += _events[k].delta;
    if (height > 0 && k < ne) {
      _segs[_nsegs++] = {t, _events[k].time, height};
      peak = std::max(peak, height);
    }
  }
  return peak;
}

std::int64_t NuvCPTimeTableI::othersLoad(int k, std::int64_t lst, std::int64_t ect,
                                         std::int64_t own) const {
  // Segments are cut at every event, so one lies wholly inside or outside
  // the task's own part.
  const Segment& g = _segs[k];
  return g.from >= lst && g.to <= ect ? g.height - own : g.height;
}

int NuvCPTimeTableI::pushStart(int i, std::int64_t cap) {
  const std::int64_t dm = _d[i]->getMin(), rm = _r[i]->getMin();
  const int present = presence(i);
  if (dm <= 0 || rm <= 0 || present < 0) return NuvCPSuspend;
  const std::int64_t lst = _lst[i], ect = _ect[i];
  const std::int64_t own = lst < ect ? rm : 0;
  // An undecided task is only asked whether it fits somewhere: if not, it
  // is absent; its window is left alone.
  if (rm > cap) return present ? NuvCPFailure : _p[i]->updateMax(0);
  // Earliest start: past every segment the task would overflow while it
  // overlaps [est, est + dm).
  std::int64_t est = _s[i]->getMin();
  const Segment* first = std::upper_bound(_segs, _segs + _nsegs, est,
                                          [](std::int64_t t, const Segment& g) { return t < g.to; });
  for (int k = static_cast<int>(first - _segs); k < _nsegs && _segs[k].from < est + dm; ++k)
    if (othersLoad(k, lst, ect, own) + rm > cap) est = std::max(est, _segs[k].to);
  if (!present) {
    if (est > _s[i]->getMax()) return _p[i]->updateMax(0);
  } else if (est > _s[i]->getMin() && _s[i]->updateMin(nuvCPClampInt(est)) == NuvCPFailure) {
    return NuvCPFailure;
  }
  // Latest completion: before every segment it would overflow while it
  // overlaps [lct - dm, lct).
  std::int64_t lct = std::int64_t{_s[i]->getMax()} + dm;
  const Segment* last = std::lower_bound(_segs, _segs + _nsegs, lct,
                                         [](const Segment& g, std::int64_t t) { return g.from < t; });
  for (int k = static_cast<int>(last - _segs) - 1; k >= 0 && _segs[k].to > lct - dm; --k)
    if (othersLoad(k, lst, ect, own) + rm > cap) lct = std::min(lct, _segs[k].from);
  if (!present) return lct - dm < _s[i]->getMin() ? _p[i]->updateMax(0) : NuvCPSuspend;
  if (lct - dm < _s[i]->getMax() && _s[i]->updateMax(nuvCPClampInt(lct - dm)) == NuvCPFailure)
    return NuvCPFailure;
  return NuvCPSuspend;
}

int NuvCPTimeTableI::propagate() {
  // With every task bound before the profile is built, the profile is the
  // exact load: checked against the capacity, nothing is left to watch.
  bool allBound = true;
  for (int i = 0; i < _n && allBound; ++i)
    allBound = presence(i) < 0 ||
               (_s[i]->isBound() && _d[i]->isBound() && _r[i]->isBound() && (!_p || _p[i]->isBound()));
  const std::int64_t peak = buildProfile();
  if (_c->updateMin(nuvCPClampInt(peak)) == NuvCPFailure) return NuvCPFailure;
  const std::int64_t cap = _c->getMax();
  for (int i = 0; i < _n; ++i)
    if (pushStart(i, cap) == NuvCPFailure) return NuvCPFailure;
  return allBound ? NuvCPSuccess : NuvCPSuspend;
}

int NuvCPTimeTableI::post(int) {
  if (!ok() || (_n > 0 && (!_s || !_d || !_r))) return NuvCPFailure;
  if (_n == 0) return NuvCPSuccess;
  if (_c->updateMin(0) == NuvCPFailure) return NuvCPFailure;
  for (int i = 0; i < _n; ++i)
    if (_d[i]->updateMin(0) == NuvCPFailure || _r[i]->updateMin(0) == NuvCPFailure) return NuvCPFailure;
  const int r = propagate();
  if (r != NuvCPSuspend) return r;
  _c->addBounds(this);
  for (int i = 0; i < _n; ++i) {
    if (!_s[i]->isBound()) _s[i]->addBounds(this);
    if (!_d[i]->isBound()) _d[i]->addBounds(this);
    if (!_r[i]->isBound()) _r[i]->addBounds(this);
    if (_p && !_p[i]->isBound()) _p[i]->addBind(this);
  }
  return NuvCPSuspend;
}
