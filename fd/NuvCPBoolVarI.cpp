#include "fd/NuvCPBoolVarI.h"

#include <ostream>
#include <vector>

#include "fd/NuvCPManagerI.h"
#include "host/PimArchiver.h"
#include "host/PimError.h"

namespace {
const char* const kSource = "..\\..\\fd\\NuvCPBoolVarI";

int minOf(int state) { return (state & 1) ? 0 : 1; }
int maxOf(int state) { return (state & 2) ? 1 : 0; }
}  // namespace

// ---- snapshot -------------------------------------------------------------------------

NuvCPBoolVarSnapshotI::NuvCPBoolVarSnapshotI(PimAllocator* a, int id, int state)
    : NuvCPIntVarSnapshotI(a, id, minOf(state), maxOf(state), state == 3 ? 2u : 1u, nullptr),
      _state(state) {}

void NuvCPBoolVarSnapshotI::print(std::ostream& os) const {
  os << "NuvCPBoolVarSnapshotI(" << id() << ":" << _state << ")";
}

void NuvCPBoolVarSnapshotI::archive(PimArchiver& ar) const { ar.sendInt32(_state); }

void NuvCPBoolVarSnapshotI::unarchive(PimArchiver& ar) {
  const int state = ar.receiveInt32();
  if (state < 0 || state > 3)
    throw PimExecutionError(PimSource("archive", 0), "a Boolean snapshot with state " +
                                                         std::to_string(state));
  *this = NuvCPBoolVarSnapshotI(allocator(), -1, state);
}

// ---- variable -------------------------------------------------------------------------

NuvCPBoolVarI::NuvCPBoolVarI(PimAllocator* allocator, NuvCPManagerI* solver)
    : NuvCPIntVarI(allocator, solver) {
  const PimStamp s = trail()->stamp();
  _stateStamp = _changes.stamp = _ac5Value.stamp = _ac5Bind.stamp = s;
  // The signals need their destructor when the arena goes.
  if (allocator) allocator->registerFinalizer(this);
}

NuvTrailI* NuvCPBoolVarI::trail() const { return getSolver()->trail(); }

void NuvCPBoolVarI::mark(PimMarker& m) {
  NuvCPIntVarI::mark(m);
  m.mark(_changes.head);
  m.mark(_ac5Value.head);
  m.mark(_ac5Bind.head);
  m.mark(_falseWatcher);
  m.mark(_trueWatcher);
}

void NuvCPBoolVarI::print(std::ostream& os) const {
  static const char* const kForms[] = {"EMPTY!", "false", "true", "[false,true]"};
  os << kForms[_state & 3];
}

NuvCPIntVarSnapshotI* NuvCPBoolVarI::makeSnapshot(PimAllocator* a) {
  return pimCreate<NuvCPBoolVarSnapshotI>(a, a, getId(), _state);
}

template <bool W>
int NuvCPBoolVarI::fix(int w, bool skipEmpty) {
  if constexpr (W) valuesRemoved.emit(1 - w, 1 - w, nullptr, 0);
  trail()->assign(_state, _stateStamp, w + 1);
  NuvCPManagerI* s = getSolver();
  // Scheduling even an empty list resets the store's current level, which
  // decides whether the loop leaves the level it is draining; only bind may
  // skip an empty list, every other narrowing must not.
  if (_changes.head || !skipEmpty) s->schedule(_changes.head);
  if constexpr (W) bound.emit(w);
  s->notifyBindToValue(_ac5Value.head, this, w);
  s->notifyBindToValue(_ac5Bind.head, this, w);
  int r = NuvCPSuccess;
  if (w == 1 && _trueWatcher) r = _trueWatcher->bind(0);
  if (w == 0 && _falseWatcher) r = _falseWatcher->bind(1);
  if constexpr (W) {
    if (r != NuvCPFailure) {
      // Fixing to 1 raises the minimum, to 0 lowers the maximum.
      if (w == 1)
        minChanged.emit();
      else
        maxChanged.emit();
    }
  }
  return r;
}

template <bool W>
int NuvCPBoolVarI::updateMinImpl(int v) {
  if (v <= getMin()) return NuvCPSuspend;
  if (v != 1 || !(_state & 2)) return NuvCPFailure;
  return fix<W>(1);
}

template <bool W>
int NuvCPBoolVarI::updateMaxImpl(int v) {
  if (v >= getMax()) return NuvCPSuspend;
  if (v != 0 || !(_state & 1)) return NuvCPFailure;
  return fix<W>(0);
}

template <bool W>
int NuvCPBoolVarI::removeValueImpl(int v) {
  if (static_cast<unsigned>(v) > 1) return NuvCPSuspend;
  if (_state != 3) return member(v) ? NuvCPFailure : NuvCPSuspend;
  return fix<W>(1 - v);
}

template <bool W>
int NuvCPBoolVarI::bindImpl(int v) {
  if (static_cast<unsigned>(v) > 1) return NuvCPFailure;
  if (_state == v + 1) return NuvCPSuccess;
  if (!member(v)) return NuvCPFailure;
  return fix<W>(v, true);
}

int NuvCPBoolVarI::updateMin(int v) { return updateMinImpl<false>(v); }
int NuvCPBoolVarI::updateMax(int v) { return updateMaxImpl<false>(v); }
int NuvCPBoolVarI::removeMin() { return _state == 3 ? fix<false>(1) : NuvCPFailure; }
int NuvCPBoolVarI::removeMax() { return _state == 3 ? fix<false>(0) : NuvCPFailure; }
int NuvCPBoolVarI::removeValue(int v) { return removeValueImpl<false>(v); }
int NuvCPBoolVarI::bind(int v) { return bindImpl<false>(v); }

int NuvWatchedCPBoolVarI::updateMin(int v) { return updateMinImpl<true>(v); }
int NuvWatchedCPBoolVarI::updateMax(int v) { return updateMaxImpl<true>(v); }
int NuvWatchedCPBoolVarI::removeMin() { return state() == 3 ? fix<true>(1) : NuvCPFailure; }
int NuvWatchedCPBoolVarI::removeMax() { return state() == 3 ? fix<true>(0) : NuvCPFailure; }
int NuvWatchedCPBoolVarI::removeValue(int v) { return removeValueImpl<true>(v); }
int NuvWatchedCPBoolVarI::bind(int v) { return bindImpl<true>(v); }

void NuvCPBoolVarI::becomeWatched() {
  // Rebuilt in place as its watched class: every pointer to it stays valid.
  static_assert(sizeof(NuvWatchedCPBoolVarI) == sizeof(NuvCPBoolVarI));
  alignas(NuvCPBoolVarI) unsigned char aside[sizeof(NuvCPBoolVarI)];
  auto* copy = ::new (aside) NuvCPBoolVarI(std::move(*this));
  this->~NuvCPBoolVarI();
  ::new (this) NuvWatchedCPBoolVarI(std::move(*copy));
  copy->~NuvCPBoolVarI();
}

NuvCPIntVarI* NuvCPBoolVarI::getEqualityWatcher(int v) const {
  return v == 1 ? const_cast<NuvCPBoolVarI*>(this) : _falseWatcher;
}

NuvCPIntVarI* NuvCPBoolVarI::getDisequalityWatcher(int v) const {
  return v == 1 ? _trueWatcher : const_cast<NuvCPBoolVarI*>(this);
}

void NuvCPBoolVarI::setEqualityWatcher(NuvCPIntVarI* b, int v) {
  if (!(v >= 0 && v <= 1)) raiseInternalAssertion("v>=0 && v <= 1", kSource, 913);
  if (v == 0) _falseWatcher = b;
}

void NuvCPBoolVarI::setDisequalityWatcher(NuvCPIntVarI* b, int v) {
  if (!(v >= 0 && v <= 1)) raiseInternalAssertion("v>=0 && v <= 1", kSource, 920);
  if (v == 1) _trueWatcher = b;
}

bool nuvCPCompactLists(NuvCPManagerI* store) {
  if (store->trail()->depth() != 0) return false;
  std::vector<NuvCPDListI*> scratch;
  bool done = true;
  NuvCPListHead* lists[NuvCPIntVarI::kMaxSubscriptionLists];
  for (int i = 0; i < store->intVarCount(); ++i) {
    NuvCPIntVarI* x = store->getIntVar(i);
    if (!x || x->isView()) continue;  // a view's lists are its variable's
    const int n = x->subscriptionLists(lists);
    PimAllocator* const a = x->allocator();
    for (int k = 0; a && k < n; ++k) done = lists[k]->compact(a, scratch) && done;
  }
  return done;
}
