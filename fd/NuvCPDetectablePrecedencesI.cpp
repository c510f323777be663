#include "fd/NuvCPDetectablePrecedencesI.h"

#include <algorithm>
#include <ostream>

#include "fd/NuvCPIntMath.h"
#include "fd/NuvCPManagerI.h"

namespace {


// Adjacent exchanges on strict inequality until a pass makes none.
void bubble(std::int32_t* order, const std::int32_t* key, int n) {
  for (bool swapped = true; swapped;) {
    swapped = false;
    for (int k = 1; k < n; ++k)
      if (key[order[k]] < key[order[k - 1]]) {
        std::swap(order[k], order[k - 1]);
        swapped = true;
      }
  }
}

}  // namespace

NuvCPDetectablePrecedencesCstrI::NuvCPDetectablePrecedencesCstrI(NuvCPManagerI* store, int n,
                                                                 NuvCPIntVarI* const* start,
                                                                 NuvCPIntVarI* const* duration,
                                                                 NuvCPIntVarI* const* end, NuvCPIntVarI* guard)
    : NuvCPCstrI(store, 3, false), _n(n), _guard(guard) {
  PimAllocator* a = store->allocator();
  // The trees' nodes come from the system allocator: their destructors
  // must run when the arena goes.
  a->registerFinalizer(this);
  _start = nuvCPCopyVars(a, n, start);
  _duration = nuvCPCopyVars(a, n, duration);
  _end = nuvCPCopyVars(a, n, end);
  if (n > 0 && (!_start || !_duration || !_end)) return;
  auto* block = a->allocateArray<std::int32_t>(6 * static_cast<std::size_t>(n > 0 ? n : 1));
  if (!block) return;
  _byLst = block;
  _byEct = block + n;
  _est = block + 2 * n;
  _dur = block + 3 * n;
  _lct = block + 4 * n;
  _key = block + 5 * n;
  for (int k = 0; k < n; ++k) _byLst[k] = _byEct[k] = k;
  _ok = true;
}

void NuvCPDetectablePrecedencesCstrI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  if (_guard) m.mark(_guard);
  for (int i = 0; i < _n && _start && _duration && _end; ++i) {
    m.mark(_start[i]);
    m.mark(_duration[i]);
    m.mark(_end[i]);
  }
}

void NuvCPDetectablePrecedencesCstrI::print(std::ostream& os) const { os << "CPDetectablePrecedencesCstr"; }

void NuvCPDetectablePrecedencesCstrI::readActivities() {
  for (int i = 0; i < _n; ++i) _key[i] = _end[i]->getMax() - _duration[i]->getMin();
  bubble(_byLst, _key, _n);
  for (int i = 0; i < _n; ++i) _key[i] = _start[i]->getMin() + _duration[i]->getMin();
  bubble(_byEct, _key, _n);
  for (int i = 0; i < _n; ++i) {
    _est[i] = _start[i]->getMin();
    _dur[i] = _duration[i]->getMin();
    _lct[i] = _end[i]->getMax();
  }
}

int NuvCPDetectablePrecedencesCstrI::propagate() {
  if (_guard && _guard->isBound()) return NuvCPSuccess;
  readActivities();
  _theta.reset(_start, _duration);
  if (_n < 1) return NuvCPSuspend;
  int j = 0;
  for (int q = 0; q < _n; ++q) {
    const int i = _byEct[q];
    const std::int64_t ect = std::int64_t{_est[i]} + _dur[i];
    for (; j < _n; ++j) {
      const int k = _byLst[j];
      if (!(ect > std::int64_t{_lct[k]} - _dur[k])) break;
      _theta.add(k);
    }
    if (j > 0) {
      std::int32_t bound;
      if (_theta.contains(i)) {
        _theta.remove(i);
        bound = _theta.ect();
        _theta.add(i);
      } else {
        bound = _theta.ect();
      }
      if (_start[i]->updateMin(bound) == NuvCPFailure) return NuvCPFailure;
    }
  }
  return NuvCPSuspend;
}

int NuvCPDetectablePrecedencesCstrI::post(int) {
  if (_posted) return NuvCPSuspend;
  if (!_ok || !_theta.init(store()->allocator(), _n)) return NuvCPFailure;
  // Subscribed before the first run, so that the run's own changes queue
  // it again: one run is not a fixpoint, and a change nothing else reports
  // would leave an overlap unseen.
  for (int i = 0; i < _n; ++i) {
    _start[i]->addMin(this);
    _duration[i]->addMin(this);
    _end[i]->addMax(this);
  }
  if (_guard) _guard->addBind(this);
  if (propagate() == NuvCPFailure) return NuvCPFailure;
  _posted = true;
  return NuvCPSuspend;
}

NuvCPDetectablePrecedencesWOCstrI::NuvCPDetectablePrecedencesWOCstrI(
    NuvCPManagerI* store, int n, NuvCPIntVarI* const* start, NuvCPIntVarI* const* duration,
    NuvCPIntVarI* const* end, NuvCPIntVarI* const* presence, NuvCPIntVarI* guard)
    : NuvCPDetectablePrecedencesCstrI(store, n, start, duration, end, guard) {
  PimAllocator* a = store->allocator();
  _presence = nuvCPCopyVars(a, n, presence);
  auto* flags = static_cast<bool*>(a->allocate(2 * static_cast<std::size_t>(n > 0 ? n : 1)));
  if ((n > 0 && !_presence) || !flags) {
    _ok = false;
    return;
  }
  _present = flags;
  _optional = flags + n;
}

void NuvCPDetectablePrecedencesWOCstrI::mark(PimMarker& m) {
  NuvCPDetectablePrecedencesCstrI::mark(m);
  for (int i = 0; i < _n && _presence; ++i) m.mark(_presence[i]);
}

void NuvCPDetectablePrecedencesWOCstrI::print(std::ostream& os) const {
  os << "CP$DetectablePrecedencesWOCstr";
}

int NuvCPDetectablePrecedencesWOCstrI::propagate() {
  if (_guard && _guard->isBound()) return NuvCPSuccess;
  readActivities();
  for (int i = 0; i < _n; ++i) {
    NuvCPIntVarI* p = _presence[i];
    _optional[i] = p->getSize() == 2;
    _present[i] = !_optional[i] && p->getMax() != 0;
  }
  _tree.reset(_start, _duration);
  _theta.reset(_start, _duration);
  if (_n < 1) return NuvCPSuspend;
  int j = 0, count = 0;
  for (int q = 0; q < _n; ++q) {
    const int i = _byEct[q];
    const std::int64_t ect = std::int64_t{_est[i]} + _dur[i];
    for (; j < _n; ++j) {
      const int k = _byLst[j];
      if (!(ect > std::int64_t{_lct[k]} - _dur[k])) break;
      if (_present[k]) {
        ++count;
        _tree.addWhite(k);
        _theta.add(k);
      } else if (_optional[k]) {
        ++count;
        _tree.addGray(k);
      }
    }
    if (count == 0 || !_present[i]) continue;
    std::int32_t bound;
    if (_theta.contains(i)) {
      _theta.remove(i);
      bound = _theta.ect();
      _theta.add(i);
    } else {
      bound = _theta.ect();
    }
    if (_start[i]->updateMin(bound) == NuvCPFailure) return NuvCPFailure;
    std::int32_t ectBar, resp;
    _tree.ectBarWithout(i, ectBar, resp);
    while (std::int64_t{_dur[i]} + ectBar > _lct[i] && resp >= 0) {
      if (!(std::int64_t{_dur[i]} + ectWith(i, resp) > _lct[i])) break;
      _tree.remove(resp);
      if (_presence[resp]->updateMax(0) == NuvCPFailure) return NuvCPFailure;
      _tree.ectBarWithout(i, ectBar, resp);
    }
  }
  return NuvCPSuspend;
}

std::int32_t NuvCPDetectablePrecedencesWOCstrI::ectWith(int i, int k) {
  const bool in = _theta.contains(i);
  if (in) _theta.remove(i);
  _theta.add(k);
  const std::int32_t v = _theta.ect();
  _theta.remove(k);
  if (in) _theta.add(i);
  return v;
}

int NuvCPDetectablePrecedencesWOCstrI::post(int) {
  if (_posted) return NuvCPSuspend;
  if (!_ok || !_theta.init(store()->allocator(), _n) || !_tree.init(store()->allocator(), _n))
    return NuvCPFailure;
  for (int i = 0; i < _n; ++i) {  // before the first run, as above
    _start[i]->addMin(this);
    _duration[i]->addMin(this);
    _end[i]->addMax(this);
    _presence[i]->addBind(this);
  }
  if (_guard) _guard->addBind(this);
  if (propagate() == NuvCPFailure) return NuvCPFailure;
  _posted = true;
  return NuvCPSuspend;
}
