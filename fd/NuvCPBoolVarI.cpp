#include "fd/NuvCPBoolVarI.h"

#include <new>
#include <ostream>

#include "host/PimArchiver.h"
#include "host/PimError.h"

namespace {
const char* const kSource = "..\\..\\fd\\NuvCPIVarI";

const char* stateName(std::uint32_t state) {
  switch (state) {
    case 1: return "false";
    case 2: return "true";
    case 3: return "[false,true]";
  }
  return "EMPTY!";
}
}  // namespace

// ---- snapshot ---------------------------------------------------------------------------

NuvCPBoolVarSnapshotI::NuvCPBoolVarSnapshotI(PimAllocator* allocator, int id, std::uint32_t state)
    : NuvCPIntVarSnapshotI(allocator, id, 0, 1, 2, nullptr), _state(3) {
  setState(state);
}

// The integer view of the state keeps value() and the bounds right.
void NuvCPBoolVarSnapshotI::setState(std::uint32_t state) {
  _state = state & 3u;
  _min = (_state & 1u) ? 0 : 1;
  _max = (_state & 2u) ? 1 : 0;
  _size = _state == 3 ? 2 : 1;
}

void NuvCPBoolVarSnapshotI::print(std::ostream& os) const {
  os << "NuvCPBoolVarSnapshotI(" << _id << ":" << stateName(_state) << ")";
}

void NuvCPBoolVarSnapshotI::archive(PimArchiver& ar) const { ar.sendUInt32(_state); }

void NuvCPBoolVarSnapshotI::unarchive(PimArchiver& ar) { setState(ar.receiveUInt32()); }

int NuvCPBoolVarSnapshotI::impose(NuvCPIntVarI* x) const {
  if (_state == 3) return NuvCPSuspend;
  if (_state == 0) return NuvCPFailure;
  return x->bind(static_cast<int>(_state) - 1) == NuvCPFailure ? NuvCPFailure : NuvCPSuspend;
}

// ---- the variable ---------------------------------------------------------------------------

NuvCPBoolVarI::NuvCPBoolVarI(PimAllocator* allocator, NuvCPManagerI* solver)
    : NuvCPIntVarI(allocator, solver) {
  // Changes made in the choice point of the creation need no saving.
  const PimStamp s = trail()->stamp();
  _stateStamp = s;
  _changeList.stamp = _ac5Value.stamp = _ac5Bind.stamp = s;
  // Cells of the arena are not destroyed one by one; the signals need their
  // destructor.
  if (allocator) allocator->registerFinalizer(this);
}

void NuvCPBoolVarI::mark(PimMarker& m) {
  NuvCPIntVarI::mark(m);
  m.mark(_changeList.head);
  m.mark(_ac5Value.head);
  m.mark(_ac5Bind.head);
  m.mark(_falseWatcher);
  m.mark(_trueWatcher);
}

void NuvCPBoolVarI::print(std::ostream& os) const { os << stateName(_state); }

NuvCPIntVarSnapshotI* NuvCPBoolVarI::makeSnapshot(PimAllocator* a) {
  return pimCreate<NuvCPBoolVarSnapshotI>(a, a, getId(), _state);
}

void NuvCPBoolVarI::setEqualityWatcher(NuvCPIntVarI* b, int v) {
  PIM_ASSERT(v>=0 && v <= 1, kSource, 913);
  if (v == 0) _falseWatcher = b;
}

void NuvCPBoolVarI::setDisequalityWatcher(NuvCPIntVarI* b, int v) {
  PIM_ASSERT(v>=0 && v <= 1, kSource, 920);
  if (v == 1) _trueWatcher = b;
}

template <bool W, bool B>
int NuvCPBoolVarI::fixTo(int w) {
  NuvCPManagerI* s = getSolver();
  if constexpr (W && !B) signals.valuesRemoved.emit(1 - w, 1 - w, nullptr, 0);
  trail()->assign(_state, _stateStamp, static_cast<std::uint32_t>(w + 1));
  if (_changeList.head) s->schedule(_changeList.head);
  if constexpr (W) {
    if constexpr (B) {
      signals.minChanged.emit();
      signals.maxChanged.emit();
    }
    signals.bound.emit(w);
  }
  s->notifyBindToValue(_ac5Value.head, this, w);
  s->notifyBindToValue(_ac5Bind.head, this, w);
  int r = NuvCPSuccess;
  if (w == 1 && _trueWatcher)
    r = _trueWatcher->bind(0);
  else if (w == 0 && _falseWatcher)
    r = _falseWatcher->bind(1);
  if constexpr (W && !B) {
    if (r != NuvCPFailure) {
      if (w == 1)
        signals.minChanged.emit();
      else
        signals.maxChanged.emit();
    }
  }
  return r;
}

template <bool W>
int NuvCPBoolVarI::updateMinT(int v) {
  if (v <= getMin()) return NuvCPSuspend;
  if (v != 1 || !(_state & 2u)) return NuvCPFailure;
  return fixTo<W>(1);
}

template <bool W>
int NuvCPBoolVarI::updateMaxT(int v) {
  if (v >= getMax()) return NuvCPSuspend;
  if (v != 0 || !(_state & 1u)) return NuvCPFailure;
  return fixTo<W>(0);
}

template <bool W>
int NuvCPBoolVarI::removeMinT() {
  return _state == kBoth ? fixTo<W>(1) : NuvCPFailure;
}

template <bool W>
int NuvCPBoolVarI::removeMaxT() {
  return _state == kBoth ? fixTo<W>(0) : NuvCPFailure;
}

template <bool W>
int NuvCPBoolVarI::removeValueT(int v) {
  if (static_cast<unsigned>(v) > 1u) return NuvCPSuspend;
  if (_state != kBoth) return member(v) ? NuvCPFailure : NuvCPSuspend;
  return fixTo<W>(1 - v);
}

template <bool W>
int NuvCPBoolVarI::bindT(int v) {
  if (static_cast<unsigned>(v) > 1u) return NuvCPFailure;
  if (_state == static_cast<std::uint32_t>(v) + 1) return NuvCPSuccess;
  if (!member(v)) return NuvCPFailure;
  return fixTo<W, true>(v);
}

int NuvCPBoolVarI::updateMin(int v) { return updateMinT<false>(v); }
int NuvCPBoolVarI::updateMax(int v) { return updateMaxT<false>(v); }
int NuvCPBoolVarI::removeMin() { return removeMinT<false>(); }
int NuvCPBoolVarI::removeMax() { return removeMaxT<false>(); }
int NuvCPBoolVarI::removeValue(int v) { return removeValueT<false>(v); }
int NuvCPBoolVarI::bind(int v) { return bindT<false>(v); }

// Every pointer to the variable (store table, watchers, subscriptions, the
// trail's saved addresses) stays valid: the object is rebuilt at the same
// address with the same fields, only its class changes.
void NuvCPBoolVarI::becomeWatched() {
  static_assert(sizeof(NuvWatchedCPBoolVarI) == sizeof(NuvCPBoolVarI));
  const NuvCPBoolVarI aside(*this);
  this->~NuvCPBoolVarI();
  ::new (static_cast<void*>(this)) NuvWatchedCPBoolVarI(aside);
}

// ---- the watched form -----------------------------------------------------------------------

int NuvWatchedCPBoolVarI::updateMin(int v) { return updateMinT<true>(v); }
int NuvWatchedCPBoolVarI::updateMax(int v) { return updateMaxT<true>(v); }
int NuvWatchedCPBoolVarI::removeMin() { return removeMinT<true>(); }
int NuvWatchedCPBoolVarI::removeMax() { return removeMaxT<true>(); }
int NuvWatchedCPBoolVarI::removeValue(int v) { return removeValueT<true>(v); }
int NuvWatchedCPBoolVarI::bind(int v) { return bindT<true>(v); }
