#include "fd/NuvCPCIntVarI.h"

#include <iostream>
#include <ostream>

#include "host/PimArchiver.h"
#include "host/PimError.h"

namespace {
const char* const kSource = "..\\..\\fd\\NuvCPIVarI";
const char* const kDomainSource = "..\\..\\fd\\NuvCPDomain";

void assertThat(bool ok, const char* text, const char* source, int line) {
  if (!ok) raiseInternalAssertion(text, source, line);
}
}  // namespace

// ---- watcher tables -----------------------------------------------------------------

NuvAC5ValueI::NuvAC5ValueI(PimAllocator* allocator, NuvCPManagerI* solver, int low, int up)
    : PimCellI(allocator), _solver(solver), _entries(nullptr), _low(low), _up(up) {
  std::size_t n = static_cast<std::size_t>(static_cast<std::int64_t>(up) - low + 1);
  _entries = allocator->allocateArray<Entry>(n);
  if (_entries)
    for (std::size_t i = 0; i < n; ++i) _entries[i] = Entry{nullptr, 0};
}

NuvCPIntVarI* NuvAC5ValueI::get(int c) const {
  assertThat(c >= _low && c <= _up, "c>=_low && c<=_up", kSource, 144);
  if (c < _low || c > _up) return nullptr;
  return _entries[c - _low].watcher;
}

void NuvAC5ValueI::set(int c, NuvCPIntVarI* watcher) {
  assertThat(c >= _low && c <= _up, "c>=_low && c<=_up", kSource, 145);
  if (c < _low || c > _up) return;
  Entry& e = _entries[c - _low];
  _solver->trail()->assign(e.watcher, e.stamp, watcher);
}

void NuvAC5ValueI::mark(PimMarker& m) {
  m.mark(_solver);
  if (!_entries) return;
  for (std::int64_t c = _low; c <= _up; ++c) m.mark(_entries[c - _low].watcher);
}

// ---- snapshots ------------------------------------------------------------------------

int NuvCPIntVarSnapshotI::value() const {
  if (_size != 1) throw PimExecutionError(PimSource(kSource, 0), "variable not bound in solution");
  return _min;
}

int NuvCPIntVarSnapshotI::restoreOnto(NuvCPIntVarI* x) const {
  if (x->updateMin(_min) == NuvCPFailure) return NuvCPFailure;
  if (x->updateMax(_max) == NuvCPFailure) return NuvCPFailure;
  if (_domain) {
    for (std::int64_t v = static_cast<std::int64_t>(_min) + 1; v < _max; ++v) {
      if (v < _domain->getMin() || v > _domain->getMax() || _domain->member(static_cast<int>(v)))
        continue;
      if (x->removeValue(static_cast<int>(v)) == NuvCPFailure) return NuvCPFailure;
    }
  }
  if (auto* c = dynamic_cast<NuvCPCIntVarI*>(x)) c->snapshotRestored.emit(this);
  return NuvCPSuspend;
}

void NuvCPIntVarSnapshotI::print(std::ostream& os) const {
  os << "NuvCPIntVarSnapshotI(" << _id << ":" << _min << "," << _max << "," << _size << ")";
}

void NuvCPIntVarSnapshotI::archive(PimArchiver& ar) const {
  ar.sendInt32(_min);
  ar.sendInt32(_max);
  ar.sendUInt32(_size);
  if (!_domain) {
    ar.sendInt32(0);
    return;
  }
  ar.sendInt32(_domain->getDataId());
  ar.sendInt32(_domain->getMin());
  ar.sendInt32(_domain->getMax());
  _domain->archive(ar);
}

void NuvCPIntVarSnapshotI::unarchive(PimArchiver& ar) {
  _min = ar.receiveInt32();
  _max = ar.receiveInt32();
  _size = ar.receiveUInt32();
  _domain = nullptr;
  if (ar.receiveInt32() == 0) return;
  int lo = ar.receiveInt32();
  int hi = ar.receiveInt32();
  _domain = pimCreate<NuvCPDomainI>(ar.allocator(), ar.allocator(), nullptr, lo, hi, true);
  if (!_domain) throw PimExecutionError(PimSource("archive", 0), "out of memory reading a snapshot");
  _domain->unarchive(ar);
}

// ---- the variable ------------------------------------------------------------------

NuvCPCIntVarI::NuvCPCIntVarI(PimAllocator* allocator, NuvCPManagerI* solver, std::int64_t lo,
                             std::int64_t hi)
    : NuvCPIntVarI(allocator, solver) {
  if (lo < kMinBound) lo = kMinBound;
  if (hi > kMaxBound) hi = kMaxBound;
  _initialMin = _min = static_cast<std::int32_t>(lo);
  _initialMax = _max = static_cast<std::int32_t>(hi);
  _size = static_cast<std::uint32_t>(hi - lo + 1);
  _bitsFrom = _initialMin;
  _bitsTo = _initialMax;
  // Changes made in the choice point of the creation need no saving.
  PimStamp s = trail()->stamp();
  _minStamp = _maxStamp = _sizeStamp = _bitsFromStamp = _bitsToStamp = s;
  for (NuvCPListHead* l : {&_minList, &_maxList, &_boundsList, &_bindList, &_ac5Value, &_ac5Min,
                           &_ac5Max, &_ac5Bounds, &_ac5Bind, &_domainList})
    l->stamp = s;
  // Cells of the arena are not destroyed one by one; the signals need their
  // destructor.
  if (allocator) allocator->registerFinalizer(this);
}

void NuvCPCIntVarI::mark(PimMarker& m) {
  NuvCPIntVarI::mark(m);
  m.mark(_domain);
  m.mark(_eqWatchers);
  m.mark(_neqWatchers);
  for (const NuvCPListHead* l : {&_minList, &_maxList, &_boundsList, &_bindList, &_ac5Value,
                                 &_ac5Min, &_ac5Max, &_ac5Bounds, &_ac5Bind, &_domainList})
    m.mark(l->head);
}

bool NuvCPCIntVarI::member(int v) const {
  if (v < _min || v > _max) return false;
  if (_size <= 1 || !_domain) return true;
  return _domain->member(v);
}

bool NuvCPCIntVarI::isRemoved(int v) const {
  if (member(v)) return false;
  // A clear bit inside the bounds of the domain's creation is a hole that
  // was made by a removal, not by the change that queued the range event.
  return !_domain || v < _bitsFrom || v > _bitsTo || _domain->member(v);
}

void NuvCPCIntVarI::ensureDomain() {
  if (_domain) return;
  if (isWide()) {
    // Over the current bounds; the pointer is trailed, so backtracking to
    // wider bounds returns the variable to an interval.
    NuvCPDomainI* d = pimCreate<NuvCPDomainI>(allocator(), allocator(), trail(), _min, _max);
    if (!d || !d->bits()) return;
    trail()->assign(_domain, _domainStamp, d);
    trail()->assign(_bitsFrom, _bitsFromStamp, _min);
    trail()->assign(_bitsTo, _bitsToStamp, _max);
    return;
  }
  _domain = pimCreate<NuvCPDomainI>(allocator(), allocator(), trail(), _initialMin, _initialMax);
  if (!_domain) return;
  // Strict on purpose: the value just beyond a bound keeps its bit, which is
  // never consulted.
  if (_initialMin < _min - 1) _domain->removeRange(_initialMin, _min - 1);
  if (_max + 1 < _initialMax) _domain->removeRange(_max + 1, _initialMax);
  trail()->assign(_bitsFrom, _bitsFromStamp, _min);
  trail()->assign(_bitsTo, _bitsToStamp, _max);
}

NuvCPDomainI* NuvCPCIntVarI::copyDomain() {
  if (_domain) return _domain->clone();
  return pimCreate<NuvCPDomainI>(allocator(), allocator(), trail(), _min, _max);
}

void NuvCPCIntVarI::postBinding(int v) {
  NuvCPManagerI* s = getSolver();
  schedule(_bindList);
  s->notifyBindToValue(_ac5Value.head, this, v);
  s->notifyBindToValue(_ac5Min.head, this, v);
  s->notifyBindToValue(_ac5Max.head, this, v);
  s->notifyBindToValue(_ac5Bounds.head, this, v);
  s->notifyBindToValue(_ac5Bind.head, this, v);
}

// The six narrowings are written once; W selects the watched form, which
// also emits the change signals at fixed points (see NuvWatchedCPIntVarI).

template <bool W>
int NuvCPCIntVarI::updateMinImpl(int v) {
  if (v <= _min) return NuvCPSuspend;
  if (v > _max) return NuvCPFailure;
  NuvCPManagerI* s = getSolver();
  if (!_domain) {
    const int old = _min;
    if constexpr (W) valuesRemoved.emit(old, v - 1, nullptr, 0);
    const std::uint32_t nsz = _size - static_cast<std::uint32_t>(v - old);
    assertThat(static_cast<int>(nsz) > 0, "nsz > 0", kSource, W ? 1226 : 669);
    setSize(nsz);
    setMin(v);
    schedule(_minList);
    schedule(_boundsList);
    schedule(_domainList);
    s->notifyRemoveRangeUp(_ac5Value.head, this, old, v - 1);
    s->notifyUpdateMin(_ac5Min.head, this, old);
    s->notifyUpdateBounds(_ac5Bounds.head, this);
    if (nsz == 1) {
      setMax(v);
      if constexpr (W) bound.emit(v);
      if (bindWatchers(v) == NuvCPFailure) return NuvCPFailure;
      postBinding(_min);
    }
    const int r = removedWatchers(old, v - 1, nullptr);
    if constexpr (W)
      if (r != NuvCPFailure) minChanged.emit();
    return r;
  }
  int count = 0;
  if (!W && !_ac5Value.head && !_eqWatchers && !_neqWatchers) {
    // Nobody hears of the values one by one: count them a word at a time.
    count = _domain->countBetween(_min, v - 1);
  } else {
    // The present values only, found a word at a time (_max > v - 1 is
    // present, so nextValue always finds one).
    for (int w = _min; w < v; w = _domain->nextValue(w + 1)) {
      ++count;
      if constexpr (W) valuesRemoved.emit(w, w, _domain, 0);
      s->notifyRemoveValue(_ac5Value.head, this, w);
      if (removedWatchers(w, w, _domain) == NuvCPFailure) return NuvCPFailure;
    }
  }
  s->notifyUpdateMin(_ac5Min.head, this, _min);
  s->notifyUpdateBounds(_ac5Bounds.head, this);
  assertThat(count > 0, "nbvr>0", kSource, W ? 1199 : 646);
  const std::uint32_t nsz = _size - static_cast<std::uint32_t>(count);
  if constexpr (W) {
    if (static_cast<int>(nsz) < 1) return NuvCPFailure;
  } else {
    assertThat(static_cast<int>(nsz) > 0, "nsz > 0", kSource, 648);
  }
  setSize(nsz);
  setMin(_domain->nextValue(v));
  schedule(_minList);
  schedule(_boundsList);
  schedule(_domainList);
  if (nsz == 1) {
    if constexpr (W) bound.emit(_max);
    if (bindWatchers(_max) == NuvCPFailure) return NuvCPFailure;
    postBinding(_min);
  }
  if constexpr (W) minChanged.emit();
  return NuvCPSuspend;
}

template <bool W>
int NuvCPCIntVarI::updateMaxImpl(int v) {
  if (v >= _max) return NuvCPSuspend;
  if (v < _min) return NuvCPFailure;
  NuvCPManagerI* s = getSolver();
  if (!_domain) {
    const int old = _max;
    if constexpr (W) valuesRemoved.emit(v + 1, old, nullptr, 0);
    const std::uint32_t nsz = _size - static_cast<std::uint32_t>(old - v);
    assertThat(static_cast<int>(nsz) > 0, "nsz > 0", kSource, W ? 1226 : 732);
    setSize(nsz);
    setMax(v);
    schedule(_maxList);
    schedule(_boundsList);
    schedule(_domainList);
    s->notifyRemoveRangeDown(_ac5Value.head, this, v + 1, old);
    s->notifyUpdateMax(_ac5Max.head, this, old);
    s->notifyUpdateBounds(_ac5Bounds.head, this);
    if (nsz == 1) {
      setMin(v);
      if constexpr (W) bound.emit(v);
      if (bindWatchers(_min) == NuvCPFailure) return NuvCPFailure;
      postBinding(_min);
    }
    const int r = removedWatchers(v + 1, old, nullptr);
    if constexpr (W)
      if (r != NuvCPFailure) maxChanged.emit();
    return r;
  }
  int count = 0;
  if (!W && !_ac5Value.head && !_eqWatchers && !_neqWatchers) {
    count = _domain->countBetween(v + 1, _max);  // as in updateMinImpl
  } else {
    // Present values in increasing order, as updateMinImpl; _max is one.
    for (int w = _domain->nextValue(v + 1);; w = _domain->nextValue(w + 1)) {
      ++count;
      if constexpr (W) valuesRemoved.emit(w, w, _domain, 0);
      s->notifyRemoveValue(_ac5Value.head, this, w);
      if (removedWatchers(w, w, _domain) == NuvCPFailure) return NuvCPFailure;
      if (w >= _max) break;
    }
  }
  s->notifyUpdateMax(_ac5Max.head, this, _max);
  s->notifyUpdateBounds(_ac5Bounds.head, this);
  const std::uint32_t nsz = _size - static_cast<std::uint32_t>(count);
  if constexpr (W) {
    if (static_cast<int>(nsz) < 1) return NuvCPFailure;
  } else {
    assertThat(static_cast<int>(nsz) > 0, "nsz > 0", kSource, 710);
  }
  setSize(nsz);
  setMax(_domain->prevValue(v));
  schedule(_maxList);
  schedule(_boundsList);
  schedule(_domainList);
  if (nsz == 1) {
    setMin(_max);
    if constexpr (W) bound.emit(_max);
    if (bindWatchers(_max) == NuvCPFailure) return NuvCPFailure;
    postBinding(_min);
  }
  if constexpr (W) maxChanged.emit();
  return NuvCPSuspend;
}

template <bool W>
int NuvCPCIntVarI::removeMinImpl() {
  if (_size <= 1) return NuvCPFailure;
  NuvCPManagerI* s = getSolver();
  const int old = _min;
  if constexpr (W) valuesRemoved.emit(old, old, _domain, 0);
  setSize(_size - 1);
  setMin(_domain ? _domain->nextValue(old + 1) : old + 1);
  schedule(_domainList);
  schedule(_boundsList);
  schedule(_minList);
  s->notifyRemoveValue(_ac5Value.head, this, old);
  s->notifyUpdateMin(_ac5Min.head, this, old);
  s->notifyUpdateBounds(_ac5Bounds.head, this);
  if (_size == 1) {
    setMax(_min);
    if constexpr (W) bound.emit(_min);
    if (bindWatchers(_min) == NuvCPFailure) return NuvCPFailure;
    postBinding(_min);
  }
  const int r = removedWatchers(old, old, _domain);
  if constexpr (W)
    if (r != NuvCPFailure) minChanged.emit();
  return r;
}

template <bool W>
int NuvCPCIntVarI::removeMaxImpl() {
  if (_size <= 1) return NuvCPFailure;
  NuvCPManagerI* s = getSolver();
  const int old = _max;
  if constexpr (W) valuesRemoved.emit(old, old, _domain, 0);
  setSize(_size - 1);
  setMax(_domain ? _domain->prevValue(old - 1) : old - 1);
  // Not the mirror of removeMin's order; propagators rely on this one.
  schedule(_maxList);
  schedule(_boundsList);
  schedule(_domainList);
  s->notifyRemoveValue(_ac5Value.head, this, old);
  s->notifyUpdateMax(_ac5Max.head, this, old);
  s->notifyUpdateBounds(_ac5Bounds.head, this);
  if (_size == 1) {
    setMin(_max);
    if constexpr (W) bound.emit(_min);
    if (bindWatchers(_min) == NuvCPFailure) return NuvCPFailure;
    postBinding(_min);
  }
  const int r = removedWatchers(old, old, _domain);
  if constexpr (W)
    if (r != NuvCPFailure) maxChanged.emit();
  return r;
}

template <bool W>
int NuvCPCIntVarI::removeValueImpl(int v) {
  if (v < _min || v > _max) return NuvCPSuspend;
  if (v == _min) return removeMinImpl<W>();
  if (v == _max) return removeMaxImpl<W>();
  ensureDomain();
  if (!_domain) return NuvCPFailure;  // no memory for the holes
  if (!_domain->member(v)) return NuvCPSuspend;
  assertThat(_size >= 3, "_sz >= 3", kSource, 805);
  if (_size == 1) return NuvCPFailure;
  if constexpr (W) valuesRemoved.emit(v, v, _domain, 0);
  const int r = removedWatchers(v, v, _domain);
  _domain->setValue(v, false);
  setSize(_size - 1);
  schedule(_domainList);
  getSolver()->notifyRemoveValue(_ac5Value.head, this, v);
  return r;
}

template <bool W>
int NuvCPCIntVarI::bindImpl(int v) {
  if (v < _min || v > _max) return NuvCPFailure;
  if (_size == 1 && _min == v) return NuvCPSuccess;
  if (_domain && !_domain->member(v)) return NuvCPFailure;
  if (bindWatchers(v) == NuvCPFailure) return NuvCPFailure;
  if (removedWatchers(_min, v - 1, _domain) == NuvCPFailure) return NuvCPFailure;
  const int r = removedWatchers(v + 1, _max, _domain);
  const int oldMin = _min;
  const int oldMax = _max;
  setMin(v);
  setMax(v);
  setSize(1);
  schedule(_minList);
  schedule(_maxList);
  schedule(_boundsList);
  schedule(_domainList);
  schedule(_bindList);
  if constexpr (W) {
    minChanged.emit();
    maxChanged.emit();
    bound.emit(v);
  }
  NuvCPManagerI* s = getSolver();
  // Both ranges are posted even when empty; the bounds events carry the new
  // value, not the old bound.
  s->notifyRemoveRangeUp(_ac5Value.head, this, oldMin, v - 1);
  s->notifyRemoveRangeDown(_ac5Value.head, this, v + 1, oldMax);
  s->notifyUpdateMin(_ac5Min.head, this, v);
  s->notifyUpdateMax(_ac5Max.head, this, v);
  s->notifyUpdateBounds(_ac5Bounds.head, this);
  s->notifyBindToValue(_ac5Value.head, this, v);
  s->notifyBindToValue(_ac5Min.head, this, v);
  s->notifyBindToValue(_ac5Max.head, this, v);
  s->notifyBindToValue(_ac5Bounds.head, this, v);
  s->notifyBindToValue(_ac5Bind.head, this, v);
  return r;
}

int NuvCPCIntVarI::updateMin(int v) { return updateMinImpl<false>(v); }
int NuvCPCIntVarI::updateMax(int v) { return updateMaxImpl<false>(v); }
int NuvCPCIntVarI::removeMin() { return removeMinImpl<false>(); }
int NuvCPCIntVarI::removeMax() { return removeMaxImpl<false>(); }
int NuvCPCIntVarI::removeValue(int v) { return removeValueImpl<false>(v); }
int NuvCPCIntVarI::bind(int v) { return bindImpl<false>(v); }

// ---- the watched form ----------------------------------------------------------------

int NuvWatchedCPIntVarI::updateMin(int v) { return updateMinImpl<true>(v); }
int NuvWatchedCPIntVarI::updateMax(int v) { return updateMaxImpl<true>(v); }
int NuvWatchedCPIntVarI::removeMin() { return removeMinImpl<true>(); }
int NuvWatchedCPIntVarI::removeMax() { return removeMaxImpl<true>(); }
int NuvWatchedCPIntVarI::removeValue(int v) { return removeValueImpl<true>(v); }
int NuvWatchedCPIntVarI::bind(int v) { return bindImpl<true>(v); }

void NuvCPCIntVarI::becomeWatched() {
  // The object is rebuilt in place as its watched class, so every pointer
  // to it stays valid: copied aside, destroyed, rebuilt from the copy. The
  // watched class adds no field, and the arena's finalizer (registered at
  // creation, same address) destroys the rebuilt object.
  static_assert(sizeof(NuvWatchedCPIntVarI) == sizeof(NuvCPCIntVarI));
  alignas(NuvCPCIntVarI) unsigned char aside[sizeof(NuvCPCIntVarI)];
  auto* copy = ::new (aside) NuvCPCIntVarI(std::move(*this));
  this->~NuvCPCIntVarI();
  ::new (this) NuvWatchedCPIntVarI(std::move(*copy));
  copy->~NuvCPCIntVarI();
}

bool NuvCPCIntVarI::compareWithSnapshot(const NuvCPIntVarSnapshotI* snap) {
  bool same = snap && snap->getMin() == _min && snap->getMax() == _max &&
              snap->getSize() == _size;
  for (int v = _min; same && v <= _max; ++v)
    same = member(v) == (!snap->domain() || v < snap->domain()->getMin() ||
                         v > snap->domain()->getMax() || snap->domain()->member(v));
  if (!same) snapshotDiffers.emit(snap);
  return same;
}

// ---- watchers --------------------------------------------------------------------------

int NuvCPCIntVarI::bindWatchers(int v) {
  int r = NuvCPSuspend;
  if (NuvCPIntVarI* w = _eqWatchers ? _eqWatchers->get(v) : nullptr) {
    r = w->bind(1);
    if (r == NuvCPFailure) return NuvCPFailure;
  }
  if (NuvCPIntVarI* w = _neqWatchers ? _neqWatchers->get(v) : nullptr) return w->bind(0);
  return r;
}

int NuvCPCIntVarI::removedWatchers(int a, int b, const NuvCPDomainI* dom) {
  if ((!_eqWatchers && !_neqWatchers) || a > b) return NuvCPSuspend;
  auto skip = [dom](std::int64_t v) {
    return dom && (v < dom->getMin() || v > dom->getMax() || !dom->member(static_cast<int>(v)));
  };
  if (_eqWatchers) {
    for (std::int64_t v = a; v <= b; ++v) {
      if (skip(v)) continue;
      NuvCPIntVarI* w = _eqWatchers->get(static_cast<int>(v));
      if (w && w->bind(0) == NuvCPFailure) return NuvCPFailure;
    }
  }
  // This pass reads the equality table, not the disequality one: kept as it
  // is, disequality watchers are never told of removals. Without an equality
  // table there is nothing to read.
  if (_neqWatchers && _eqWatchers) {
    for (std::int64_t v = a; v <= b; ++v) {
      if (skip(v)) continue;
      NuvCPIntVarI* w = _eqWatchers->get(static_cast<int>(v));
      if (w && w->bind(1) == NuvCPFailure) return NuvCPFailure;
    }
  }
  return NuvCPSuspend;
}

NuvAC5ValueI* NuvCPCIntVarI::watcherTable(NuvAC5ValueI*& table) {
  // A table over a wide variable's whole range would be gigabytes; such a
  // variable has no watchers (reified constraints then follow its values).
  if (!table && isWide()) return nullptr;
  if (!table) {
    table = pimCreate<NuvAC5ValueI>(allocator(), allocator(), getSolver(), _initialMin, _initialMax);
    if (table && !table->ok()) table = nullptr;
  }
  return table;
}

void NuvCPCIntVarI::setEqualityWatcher(NuvCPIntVarI* b, int v) {
  if (NuvAC5ValueI* t = watcherTable(_eqWatchers)) t->set(v, b);
}

void NuvCPCIntVarI::setDisequalityWatcher(NuvCPIntVarI* b, int v) {
  if (NuvAC5ValueI* t = watcherTable(_neqWatchers)) t->set(v, b);
}

// ---- iteration, checking, printing, snapshots --------------------------------------------

void NuvCPCIntVarI::domainIterator(NuvCPDomainIterator& it) const {
  it.valid = false;
  const NuvCPDomainI* d = _domain;
  if (!d) return;
  const int from = _min;
  const int to = _max;
  assertThat(from >= d->_min, "from >= d->_min", kDomainSource, 66);
  assertThat(to <= d->_max, "to <= d->_max", kDomainSource, 67);
  const int offset = 0;
  it.bits = d->bits();
  it.base = d->_min + offset;
  const int f = from - d->_min;
  const int t = to - d->_min;
  it.word = f >> 5;
  it.lastWord = t >> 5;
  it.lastMask = (t & 31) == 31 ? 0xFFFFFFFFu : ((1u << ((t & 31) + 1)) - 1u);
  it.current = it.bits[it.word] & (0xFFFFFFFFu << (f & 31));
  if (it.word == it.lastWord) it.current &= it.lastMask;
  while (it.current == 0 && it.word < it.lastWord) {
    ++it.word;
    it.current = it.bits[it.word];
    if (it.word == it.lastWord) it.current &= it.lastMask;
  }
  it.valid = it.current != 0;
}

void NuvCPCIntVarI::check() {
  if (static_cast<std::uint32_t>(_max - _min + 1) < _size) {
    std::cerr << "Check failed! max - min < sz" << std::endl;
    throw PimInternalError(PimSource(kSource, 778), "NuvCPIntVarI::check-1");
  }
  if (_domain && static_cast<std::uint32_t>(_domain->countBetween(_min, _max)) != _size) {
    std::cerr << "Check failed!  size not correct" << std::endl;
    throw PimInternalError(PimSource(kSource, 787), "NuvCPIntVarI::check-2");
  }
}

void NuvCPCIntVarI::print(std::ostream& os) const {
  if (_size == 1) {
    os << _min;
    return;
  }
  if (!_domain) {
    os << "(" << _size << ")[" << _min << ".." << _max << "]";
    return;
  }
  os << "(DOM:" << _size << ")[";
  bool first = true;
  std::int64_t v = _min;
  while (v <= _max) {
    if (!_domain->member(static_cast<int>(v))) {
      ++v;
      continue;
    }
    std::int64_t end = v;
    while (end + 1 <= _max && _domain->member(static_cast<int>(end + 1))) ++end;
    if (!first) os << ",";
    first = false;
    if (end == v)
      os << v;
    else
      os << v << (end == v + 1 ? "," : "..") << end;
    v = end + 1;
  }
  os << "]";
}

NuvCPIntVarSnapshotI* NuvCPCIntVarI::makeSnapshot(PimAllocator* a) {
  NuvCPDomainI* copy = _domain ? _domain->clone() : nullptr;
  return pimCreate<NuvCPIntVarSnapshotI>(a, a, getId(), _min, _max, _size, copy);
}
