#include "fd/NuvCPPrecedenceGraphI.h"

#include <algorithm>
#include <limits>
#include <ostream>

#include "fd/NuvCPIntMath.h"
#include "fd/NuvCPManagerI.h"

NuvCPPrecedenceGraphI::NuvCPPrecedenceGraphI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* start,
                                             NuvCPIntVarI* const* duration, int m, const int* from, const int* to,
                                             const int* delay)
    : NuvCPCstrI(store, 6, true), _n(n), _m(m) {
  PimAllocator* a = store->allocator();
  const auto un = static_cast<std::size_t>(n), um = static_cast<std::size_t>(m);
  _start = n ? a->allocateArray<NuvCPIntVarI*>(un) : nullptr;
  _duration = n ? a->allocateArray<NuvCPIntVarI*>(un) : nullptr;
  if (n == 0 || !_start || !_duration) return;
  std::copy(start, start + n, _start);
  std::copy(duration, duration + n, _duration);
  const std::size_t words = 2 * (un + 1) + 2 * um + 3 * um + 2 * un;
  auto* w = a->allocateArray<std::int32_t>(words);
  auto* q = static_cast<std::uint8_t*>(a->allocate(un));
  _dist = a->allocateArray<std::int64_t>(un);
  if (!w || !q || !_dist) return;
  _outBegin = w, w += un + 1;
  _inBegin = w, w += un + 1;
  _outArc = w, w += um;
  _inArc = w, w += um;
  _from = w, w += um;
  _to = w, w += um;
  _delay = w, w += um;
  _queue = w, w += un;
  _count = w;
  _queued = q;
  std::fill(_outBegin, _outBegin + n + 1, 0);
  std::fill(_inBegin, _inBegin + n + 1, 0);
  for (int k = 0; k < m; ++k) {
    _from[k] = from[k];
    _to[k] = to[k];
    _delay[k] = delay ? delay[k] : 0;
    ++_outBegin[from[k] + 1];
    ++_inBegin[to[k] + 1];
  }
  for (int i = 0; i < n; ++i) {
    _outBegin[i + 1] += _outBegin[i];
    _inBegin[i + 1] += _inBegin[i];
  }
  std::fill(_count, _count + n, 0);  // used as fill positions here
  for (int k = 0; k < m; ++k) _outArc[_outBegin[_from[k]] + _count[_from[k]]++] = k;
  std::fill(_count, _count + n, 0);
  for (int k = 0; k < m; ++k) _inArc[_inBegin[_to[k]] + _count[_to[k]]++] = k;
  _scratch = w;
}

void NuvCPPrecedenceGraphI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  for (int i = 0; i < _n && _start && _duration; ++i) {
    m.mark(_start[i]);
    m.mark(_duration[i]);
  }
}

void NuvCPPrecedenceGraphI::print(std::ostream& os) const {
  os << "PrecedenceGraphClosure(" << _n << " activities, " << _m << " arcs)";
}

// Earliest starts along the arcs, from every activity once, then from
// those whose start moved.
int NuvCPPrecedenceGraphI::forward() {
  int head = 0, size = 0;
  for (int i = 0; i < _n; ++i) {
    _queue[size++] = i;
    _queued[i] = 1;
    _count[i] = 0;
  }
  while (size > 0) {
    const int i = _queue[head];
    head = head + 1 == _n ? 0 : head + 1;
    --size;
    _queued[i] = 0;
    const std::int64_t ect = std::int64_t{_start[i]->getMin()} + _duration[i]->getMin();
    for (int a = _outBegin[i]; a < _outBegin[i + 1]; ++a) {
      const int k = _outArc[a], j = _to[k];
      const std::int64_t est = ect + _delay[k];
      if (est <= _start[j]->getMin()) continue;
      if (_start[j]->updateMin(nuvCPClampInt(est)) == NuvCPFailure) return NuvCPFailure;
      if (!_queued[j]) {
        // Queued more often than paths without repeats explain: perhaps a
        // cycle of positive length (holes in domains can also make bounds
        // leapfrog around a cycle of length 0, so the weights decide).
        if (++_count[j] > _n) {
          if (positiveCycle()) return NuvCPFailure;
          std::fill(_count, _count + _n, std::numeric_limits<std::int32_t>::min());
        }
        _queued[j] = 1;
        _queue[(head + size) % _n] = j;
        ++size;
      }
    }
  }
  return NuvCPSuspend;
}

// Latest starts against the arcs.
int NuvCPPrecedenceGraphI::backward() {
  int head = 0, size = 0;
  for (int i = 0; i < _n; ++i) {
    _queue[size++] = i;
    _queued[i] = 1;
    _count[i] = 0;
  }
  while (size > 0) {
    const int j = _queue[head];
    head = head + 1 == _n ? 0 : head + 1;
    --size;
    _queued[j] = 0;
    const std::int64_t lst = _start[j]->getMax();
    for (int a = _inBegin[j]; a < _inBegin[j + 1]; ++a) {
      const int k = _inArc[a], i = _from[k];
      const std::int64_t bound = lst - _delay[k] - _duration[i]->getMin();
      if (bound >= _start[i]->getMax()) continue;
      if (_start[i]->updateMax(nuvCPClampInt(bound)) == NuvCPFailure) return NuvCPFailure;
      if (!_queued[i]) {
        if (++_count[i] > _n) {
          if (positiveCycle()) return NuvCPFailure;
          std::fill(_count, _count + _n, std::numeric_limits<std::int32_t>::min());
        }
        _queued[i] = 1;
        _queue[(head + size) % _n] = i;
        ++size;
      }
    }
  }
  return NuvCPSuspend;
}

bool NuvCPPrecedenceGraphI::positiveCycle() {
  // Bellman-Ford for longest paths on the weights duration min + delay,
  // from 0 everywhere (the queue array holds the distances): an
  // improvement in the n-th round means a positive cycle.
  std::int64_t* dist = _dist;
  std::fill(dist, dist + _n, 0);
  for (int round = 0; round < _n; ++round) {
    bool changed = false;
    for (int k = 0; k < _m; ++k) {
      const std::int64_t v = dist[_from[k]] + std::max(0, _duration[_from[k]]->getMin()) + _delay[k];
      if (v > dist[_to[k]]) {
        dist[_to[k]] = v;
        changed = true;
      }
    }
    if (!changed) return false;
  }
  return true;
}

int NuvCPPrecedenceGraphI::propagate() {
  // A start shared by two activities moves in both passes: repeat until
  // neither moves anything.
  for (;;) {
    std::int64_t before = 0, after = 0;
    for (int i = 0; i < _n; ++i) before += std::int64_t{_start[i]->getMin()} - _start[i]->getMax();
    if (forward() == NuvCPFailure || backward() == NuvCPFailure) return NuvCPFailure;
    for (int i = 0; i < _n; ++i) after += std::int64_t{_start[i]->getMin()} - _start[i]->getMax();
    if (after == before) break;
  }
  return NuvCPSuspend;
}

int NuvCPPrecedenceGraphI::post(int) {
  if (!ok()) return NuvCPFailure;
  if (_m == 0) return NuvCPSuccess;
  for (int i = 0; i < _n; ++i) {
    if (!_start[i]->isBound()) _start[i]->addBounds(this);
    if (!_duration[i]->isBound()) _duration[i]->addMin(this);
  }
  return propagate();
}
