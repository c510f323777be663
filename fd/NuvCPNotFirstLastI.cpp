#include "fd/NuvCPNotFirstLastI.h"

#include <algorithm>
#include <ostream>

#include "fd/NuvCPIntMath.h"
#include "fd/NuvCPManagerI.h"

namespace {

constexpr std::int32_t kPlusInf = 2147483647;
constexpr std::int32_t kMinusInf = -2147483647;


}  // namespace

NuvCPNotFirstLastI::NuvCPNotFirstLastI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* start,
                                       NuvCPIntVarI* const* duration, NuvCPIntVarI* const* end,
                                       NuvCPIntVarI* const* presence, NuvCPIntVarI* guard)
    : NuvCPCstrI(store, 3, true), _n(n), _guard(guard) {
  PimAllocator* a = store->allocator();
  _start = nuvCPCopyVars(a, n, start);
  _duration = nuvCPCopyVars(a, n, duration);
  _end = nuvCPCopyVars(a, n, end);
  _presence = nuvCPCopyVars(a, n, presence);
}

void NuvCPNotFirstLastI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  if (_guard) m.mark(_guard);
  for (int i = 0; i < _n && ok(); ++i) {
    m.mark(_start[i]);
    m.mark(_duration[i]);
    m.mark(_end[i]);
    if (_presence) m.mark(_presence[i]);
  }
}

void NuvCPNotFirstLastI::swap(int a, int b) {
  std::swap(_start[a], _start[b]);
  std::swap(_duration[a], _duration[b]);
  std::swap(_end[a], _end[b]);
  if (_presence) std::swap(_presence[a], _presence[b]);
}

int NuvCPNotFirstLastI::raiseStart(int i, int v) {
  if (presence(i) == 1) return _start[i]->updateMin(v);
  // Undecided: present only if it can still start.
  return v > _start[i]->getMax() ? _presence[i]->updateMax(0) : NuvCPSuspend;
}

int NuvCPNotFirstLastI::lowerStart(int i, int v) {
  if (presence(i) == 1) return _start[i]->updateMax(v);
  return v < _start[i]->getMin() ? _presence[i]->updateMax(0) : NuvCPSuspend;
}

int NuvCPNotFirstLastI::post(int) {
  if (!ok()) return NuvCPFailure;
  const int r = propagate();
  if (r != NuvCPSuspend) return r;
  for (int i = 0; i < _n; ++i) {
    if (!_start[i]->isBound()) _start[i]->addBounds(this);
    if (!_duration[i]->isBound()) _duration[i]->addMin(this);
    if (!_end[i]->isBound()) _end[i]->addBounds(this);
    if (_presence && !_presence[i]->isBound()) _presence[i]->addBind(this);
  }
  if (_guard && !_guard->isBound()) _guard->addBind(this);
  return NuvCPSuspend;
}

void NuvCPNotFirstCstrI::print(std::ostream& os) const { os << "CPNotFirstCstr"; }
void NuvCPNotLastCstrI::print(std::ostream& os) const { os << "CPNotLastCstr"; }
void NuvCPNotFirstOptionalCstrI::print(std::ostream& os) const { os << "NotFirstOptionalCstr"; }
void NuvCPNotLastOptionalCstrI::print(std::ostream& os) const { os << "NotLastOptioanlCstr"; }

int NuvCPNotFirstCstrI::propagate() {
  if (_guard && _guard->isBound()) return NuvCPSuccess;
  for (bool updated = true; updated;) {
    updated = false;
    for (bool swapped = true; swapped;) {
      swapped = false;
      for (int k = 1; k < _n; ++k)
        if (_end[k - 1]->getMax() < _end[k]->getMax()) {
          swap(k - 1, k);
          swapped = true;
        }
    }
    for (int i = 0; i < _n; ++i) {
      if (presence(i) < 0) continue;
      const std::int32_t est = _start[i]->getMin();
      const std::int64_t ect = std::int64_t{est} + _duration[i]->getMin();
      std::int64_t lst = kPlusInf;
      std::int32_t minEct = kPlusInf;
      for (int j = 0; j < _n; ++j) {
        if (j == i || presence(j) != 1 || !(_end[j]->getMin() > est)) continue;
        // The packing reads each activity as [start, start + min duration)
        // completing by max end: with fixed durations lst restarts at j's
        // latest start; with variable ones j's latest start may lie below
        // max end - min duration, and restarting there could pack an
        // activity before j that may in fact follow it.
        if (_end[j]->getMax() < lst)
          lst = std::int64_t{_end[j]->getMax()} - _duration[j]->getMin();
        else
          lst -= _duration[j]->getMin();
        minEct = std::min(minEct, _end[j]->getMin());
        if (lst < ect) {
          const std::int32_t before = _start[i]->getMin();
          if (raiseStart(i, minEct) == NuvCPFailure) return NuvCPFailure;
          updated = updated || _start[i]->getMin() != before;
          break;
        }
      }
    }
  }
  return NuvCPSuspend;
}

int NuvCPNotLastCstrI::propagate() {
  if (_guard && _guard->isBound()) return NuvCPSuccess;
  for (bool updated = true; updated;) {
    updated = false;
    for (bool swapped = true; swapped;) {
      swapped = false;
      for (int k = 1; k < _n; ++k)
        if (_start[k - 1]->getMin() > _start[k]->getMin()) {
          swap(k - 1, k);
          swapped = true;
        }
    }
    for (int i = 0; i < _n; ++i) {
      if (presence(i) < 0) continue;
      const std::int32_t lsti = _start[i]->getMax();
      const std::int32_t duri = _duration[i]->getMin();
      std::int64_t ect = kMinusInf;
      std::int32_t maxLst = kMinusInf;
      for (int j = 0; j < _n; ++j) {
        // The duration of i, not of j: j must start before i ends.
        if (j == i || presence(j) != 1 || !(std::int64_t{_start[j]->getMax()} - duri < lsti)) continue;
        // The mirror of not-first's packing: j's earliest completion is
        // read as min start + min duration (equal to min end with fixed
        // durations; a larger min end need not hold of [start, start +
        // min duration)).
        const std::int32_t dj = _duration[j]->getMin();
        const std::int64_t ectj = std::int64_t{_start[j]->getMin()} + dj;
        if (ect + dj > ectj)
          ect += dj;
        else
          ect = ectj;
        maxLst = std::max(maxLst, _start[j]->getMax());
        if (ect > lsti) {
          const std::int32_t before = _start[i]->getMax();
          if (lowerStart(i, static_cast<int>(std::max<std::int64_t>(std::int64_t{maxLst} - duri, kMinusInf))) ==
              NuvCPFailure)
            return NuvCPFailure;
          updated = updated || _start[i]->getMax() != before;
          break;
        }
      }
    }
  }
  return NuvCPSuspend;
}

// ---- disjunctive pairs ------------------------------------------------------------

void NuvCPDisjunctiveCstrI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  for (NuvCPIntVarI* x : _v) m.mark(x);
}

void NuvCPDisjunctiveCstrI::print(std::ostream& os) const { os << "CPDisjunctiveCstr"; }

int NuvCPDisjunctiveCstrI::propagate() {
  NuvCPIntVarI *as = _v[0], *ae = _v[1], *bs = _v[2], *be = _v[3];
  if (bs->getMax() < ae->getMin()) {
    // A cannot come first.
    if (as->updateMin(be->getMin()) == NuvCPFailure || be->updateMax(as->getMax()) == NuvCPFailure)
      return NuvCPFailure;
  } else if (be->getMin() > as->getMax()) {
    if (bs->updateMin(ae->getMin()) == NuvCPFailure || ae->updateMax(bs->getMax()) == NuvCPFailure)
      return NuvCPFailure;
  }
  return NuvCPSuspend;
}

int NuvCPDisjunctiveCstrI::post(int) {
  if (_posted) return NuvCPSuspend;
  if (propagate() == NuvCPFailure) return NuvCPFailure;
  for (NuvCPIntVarI* x : {_v[0], _v[2], _v[1], _v[3]})
    if (!x->isBound()) x->addBounds(this);
  _posted = true;
  return NuvCPSuspend;
}

void NuvCPOptionalDisjunctiveCstrI::mark(PimMarker& m) {
  NuvCPDisjunctiveCstrI::mark(m);
  for (NuvCPIntVarI* x : _p) m.mark(x);
}

void NuvCPOptionalDisjunctiveCstrI::print(std::ostream& os) const { os << "OptionalDisjunctiveCstr"; }

int NuvCPOptionalDisjunctiveCstrI::propagate() {
  if (_p[0]->getMax() == 0 || _p[1]->getMax() == 0) return NuvCPSuccess;  // vacuous
  NuvCPIntVarI *as = _v[0], *ae = _v[1], *bs = _v[2], *be = _v[3];
  // Compulsory parts [lst, ect) of both intersect: they cannot both run.
  const bool clash = std::max(as->getMax(), bs->getMax()) < std::min(ae->getMin(), be->getMin()) &&
                     as->getMax() < ae->getMin() && bs->getMax() < be->getMin();
  if (clash) {
    if (_p[0]->getMin() == 1) return _p[1]->updateMax(0) == NuvCPFailure ? NuvCPFailure : NuvCPSuccess;
    if (_p[1]->getMin() == 1) return _p[0]->updateMax(0) == NuvCPFailure ? NuvCPFailure : NuvCPSuccess;
    return NuvCPSuspend;
  }
  if (_p[0]->getMin() == 1 && _p[1]->getMin() == 1) return NuvCPDisjunctiveCstrI::propagate();
  return NuvCPSuspend;
}

int NuvCPOptionalDisjunctiveCstrI::post(int) {
  if (_posted) return NuvCPSuspend;
  const int r = propagate();
  if (r != NuvCPSuspend) return r;
  for (NuvCPIntVarI* x : {_v[0], _v[2], _v[1], _v[3]})
    if (!x->isBound()) x->addBounds(this);
  for (NuvCPIntVarI* x : _p)
    if (!x->isBound()) x->addBind(this);
  _posted = true;
  return NuvCPSuspend;
}
