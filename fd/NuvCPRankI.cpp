#include "fd/NuvCPRankI.h"

#include <algorithm>
#include <ostream>

#include "fd/NuvCPArithI.h"
#include "fd/NuvCPIntMath.h"
#include "fd/NuvCPManagerI.h"

NuvCPRankI::NuvCPRankI(NuvCPManagerI* store, const Args& a)
    : NuvCPCstrI(store, 3, false), _n(a.n), _first(a.first), _low(a.low), _types(a.types), _name(a.name) {
  PimAllocator* al = store->allocator();
  _s = nuvCPCopyVars(al, a.n, a.s);
  _d = nuvCPCopyVars(al, a.n, a.d);
  _e = nuvCPCopyVars(al, a.n, a.e);
  _p = nuvCPCopyVars(al, a.n, a.present);
  _rank = nuvCPCopyVars(al, a.n, a.rank);
  _succ = nuvCPCopyVars(al, a.n, a.succ);
  if (a.type && a.setup && a.types > 0 && a.n > 0) {
    _type = al->allocateArray<std::int32_t>(static_cast<std::size_t>(a.n));
    const auto cells = static_cast<std::size_t>(a.types) * static_cast<std::size_t>(a.types);
    _matrix = al->allocateArray<std::int32_t>(cells);
    if (_type) std::copy(a.type, a.type + a.n, _type);
    if (_matrix) std::copy(a.setup, a.setup + cells, _matrix);
    if (!_type || !_matrix) _s = nullptr;  // not ok()
  }
}

void NuvCPRankI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  if (_first) m.mark(_first);
  for (NuvCPIntVarI** a : {_s, _d, _e, _p, _rank, _succ})
    for (int i = 0; a && i < _n; ++i) m.mark(a[i]);
}

void NuvCPRankI::print(std::ostream& os) const {
  os << _name << "(" << _n << " activities)";
  printStatus(os);
}

int NuvCPRankI::propagate() { return _first ? propagateFirst() : propagateRanks(); }

int NuvCPRankI::propagateFirst() {
  // Candidates: possibly present, ending before every present other's
  // latest start.
  for (int i = 0; i < _n; ++i) {
    const int name = _low + i;
    if (!_first->member(name)) continue;
    bool fits = !absent(i);
    for (int j = 0; fits && j < _n; ++j)
      if (j != i && present(j) && ect(i) > _s[j]->getMax()) fits = false;
    if (!fits && _first->removeValue(name) == NuvCPFailure) return NuvCPFailure;
  }
  if (_first->isBound()) {
    const int i = _first->getMin() - _low;
    if (_p && _p[i]->updateMin(1) == NuvCPFailure) return NuvCPFailure;
    for (int j = 0; j < _n; ++j) {
      if (j == i || absent(j)) continue;
      if (!present(j)) {
        if (ect(i) > _s[j]->getMax() && _p[j]->updateMax(0) == NuvCPFailure) return NuvCPFailure;
        continue;
      }
      if (_s[j]->updateMin(nuvCPClampInt(ect(i))) == NuvCPFailure ||
          _s[i]->updateMax(nuvCPClampInt(std::int64_t{_s[j]->getMax()} - _d[i]->getMin())) == NuvCPFailure ||
          _d[i]->updateMax(nuvCPClampInt(std::int64_t{_s[j]->getMax()} - _s[i]->getMin())) == NuvCPFailure)
        return NuvCPFailure;
    }
    return NuvCPSuspend;
  }
  // A present non-candidate comes after whichever candidate is first.
  std::int64_t earliest = INT64_MAX;
  for (int i = 0; i < _n; ++i)
    if (_first->member(_low + i)) earliest = std::min(earliest, ect(i));
  for (int j = 0; j < _n; ++j)
    if (present(j) && !_first->member(_low + j) && _s[j]->updateMin(nuvCPClampInt(earliest)) == NuvCPFailure)
      return NuvCPFailure;
  return NuvCPSuspend;
}

// i before j: ranks and windows.
int NuvCPRankI::order(int i, int j, bool& changed) {
  const std::int64_t gap = setup(i, j);
  if (_rank[j]->getMin() <= _rank[i]->getMin()) {
    if (_rank[j]->updateMin(_rank[i]->getMin() + 1) == NuvCPFailure) return NuvCPFailure;
    changed = true;
  }
  if (_rank[i]->getMax() >= _rank[j]->getMax()) {
    if (_rank[i]->updateMax(_rank[j]->getMax() - 1) == NuvCPFailure) return NuvCPFailure;
    changed = true;
  }
  const std::int64_t start = ect(i) + gap;
  if (_s[j]->getMin() < start) {
    if (_s[j]->updateMin(nuvCPClampInt(start)) == NuvCPFailure) return NuvCPFailure;
    changed = true;
  }
  const std::int64_t latest = std::int64_t{_s[j]->getMax()} - gap;
  if (std::int64_t{_s[i]->getMax()} + _d[i]->getMin() > latest) {
    if (_s[i]->updateMax(nuvCPClampInt(latest - _d[i]->getMin())) == NuvCPFailure) return NuvCPFailure;
    changed = true;
  }
  if (std::int64_t{_s[i]->getMin()} + _d[i]->getMax() > latest) {
    if (_d[i]->updateMax(nuvCPClampInt(latest - _s[i]->getMin())) == NuvCPFailure) return NuvCPFailure;
    changed = true;
  }
  return NuvCPSuspend;
}

int NuvCPRankI::propagateRanks() {
  const int n = _n;
  for (bool changed = true; changed;) {
    changed = false;
    // Presence and rank n go together.
    for (int i = 0; i < n; ++i) {
      NuvCPIntVarI* r = _rank[i];
      const int lo = r->getMin(), hi = r->getMax();
      if (r->updateMin(0) == NuvCPFailure || r->updateMax(_p ? n : n - 1) == NuvCPFailure) return NuvCPFailure;
      if (_p) {
        if (_p[i]->getMax() == 0 && r->bind(n) == NuvCPFailure) return NuvCPFailure;
        if (_p[i]->getMin() == 1 && r->updateMax(n - 1) == NuvCPFailure) return NuvCPFailure;
        if (r->getMin() == n && _p[i]->updateMax(0) == NuvCPFailure) return NuvCPFailure;
        if (r->getMax() < n && _p[i]->updateMin(1) == NuvCPFailure) return NuvCPFailure;
      }
      if (r->getMin() != lo || r->getMax() != hi) changed = true;
    }
    for (int i = 0; i < n; ++i) {
      if (absent(i)) continue;
      int before = 0, after = 0;
      for (int j = 0; j < n; ++j) {
        if (j == i || absent(j)) continue;
        const bool both = present(i) && present(j);
        const bool ij = ect(i) + setup(i, j) <= _s[j]->getMax();
        const bool ji = ect(j) + setup(j, i) <= _s[i]->getMax();
        if (!ij && !ji) {
          if (both) return NuvCPFailure;
          // The undecided one cannot join the present one.
          if (present(i) && _p[j]->updateMax(0) == NuvCPFailure) return NuvCPFailure;
          if (present(j) && _p[i]->updateMax(0) == NuvCPFailure) return NuvCPFailure;
          if (present(i) || present(j)) changed = true;
          continue;
        }
        if (!both) {
          // A rank taken by a present activity.
          if (present(i) && _rank[i]->isBound() && _rank[j]->isBound() && _rank[i]->getMin() == _rank[j]->getMin() &&
              _p[j]->updateMax(0) == NuvCPFailure)
            return NuvCPFailure;
          continue;
        }
        if (_rank[i]->isBound() && _rank[j]->member(_rank[i]->getMin())) {
          if (_rank[j]->removeValue(_rank[i]->getMin()) == NuvCPFailure) return NuvCPFailure;
          changed = true;
        }
        const bool iFirst = !ji || _rank[i]->getMax() < _rank[j]->getMin();
        const bool jFirst = !ij || _rank[j]->getMax() < _rank[i]->getMin();
        if (iFirst && jFirst) return NuvCPFailure;
        if (iFirst && order(i, j, changed) == NuvCPFailure) return NuvCPFailure;
        if (jFirst && order(j, i, changed) == NuvCPFailure) return NuvCPFailure;
        before += jFirst;
        after += iFirst;
      }
      if (!present(i)) continue;
      const int lo = _rank[i]->getMin(), hi = _rank[i]->getMax();
      if (_rank[i]->updateMin(before) == NuvCPFailure || _rank[i]->updateMax(n - 1 - after) == NuvCPFailure)
        return NuvCPFailure;
      if (_rank[i]->getMin() != lo || _rank[i]->getMax() != hi) changed = true;
    }
    if (_succ && successors(changed) == NuvCPFailure) return NuvCPFailure;
  }
  return NuvCPSuspend;
}

// succ[i] = low + j <=> rank[j] = rank[i] + 1; low + n: rank[i] = n - 1
// (no presence here: ranks are a permutation).
int NuvCPRankI::successors(bool& changed) {
  const int n = _n, none = _low + n;
  for (int i = 0; i < n; ++i) {
    NuvCPIntVarI* x = _succ[i];
    const int size = x->getSize();
    if (x->updateMin(_low) == NuvCPFailure || x->updateMax(none) == NuvCPFailure) return NuvCPFailure;
    if (x->member(_low + i) && x->removeValue(_low + i) == NuvCPFailure) return NuvCPFailure;
    if (_rank[i]->getMax() < n - 1 && x->member(none) && x->removeValue(none) == NuvCPFailure) return NuvCPFailure;
    for (int j = 0; j < n; ++j) {
      if (j == i || !x->member(_low + j)) continue;
      if (_rank[j]->getMax() < _rank[i]->getMin() + 1 || _rank[j]->getMin() > _rank[i]->getMax() + 1)
        if (x->removeValue(_low + j) == NuvCPFailure) return NuvCPFailure;
    }
    if (x->getSize() != size) changed = true;
    if (!x->isBound()) continue;
    const int lo = _rank[i]->getMin(), hi = _rank[i]->getMax();
    if (x->getMin() == none) {
      if (_rank[i]->bind(n - 1) == NuvCPFailure) return NuvCPFailure;
    } else {
      NuvCPIntVarI* r = _rank[x->getMin() - _low];
      const int rlo = r->getMin(), rhi = r->getMax();
      if (r->updateMin(lo + 1) == NuvCPFailure || r->updateMax(hi + 1) == NuvCPFailure ||
          _rank[i]->updateMin(r->getMin() - 1) == NuvCPFailure || _rank[i]->updateMax(r->getMax() - 1) == NuvCPFailure)
        return NuvCPFailure;
      if (r->getMin() != rlo || r->getMax() != rhi) changed = true;
    }
    if (_rank[i]->getMin() != lo || _rank[i]->getMax() != hi) changed = true;
  }
  return NuvCPSuspend;
}

int NuvCPRankI::post(int) {
  if (!ok()) return NuvCPFailure;
  for (int i = 0; i < _n; ++i)
    if (_d[i]->updateMin(0) == NuvCPFailure) return NuvCPFailure;
  if (_e)
    for (int i = 0; i < _n; ++i) {
      auto* sum = nuvCPNew<NuvCPTernaryEqualI>(store()->allocator(), store(), _s[i], _d[i], _e[i]);
      if (!sum || store()->post(sum) == NuvCPFailure) return NuvCPFailure;
    }
  if (_first) {
    if (_first->updateMin(_low) == NuvCPFailure || _first->updateMax(_low + _n - 1) == NuvCPFailure)
      return NuvCPFailure;
    _first->addDomain(this);
  }
  for (NuvCPIntVarI** a : {_s, _d, _p, _rank, _succ})
    for (int i = 0; a && i < _n; ++i)
      if (!a[i]->isBound()) a[i]->addDomain(this);
  return propagate();
}
