#include "fd/NuvCPConstraintI.h"

#include <ostream>

#include "host/PimError.h"

// ---- daemons ------------------------------------------------------------------------

NuvCPDaemonI::NuvCPDaemonI(NuvCPManagerI* store, unsigned priority)
    : NuvCPDaemonI(store, priority, false) {}

NuvCPDaemonI::NuvCPDaemonI(NuvCPManagerI* store, unsigned priority, bool idempotent)
    : PimDataI(store->allocator()),
      _priority(static_cast<std::uint16_t>(priority)),
      _idempotent(idempotent ? 1 : 0),
      _store(store),
      _enabledStamp(store->trail()->stamp()),
      _queuedStamp(store->trail()->stamp()),
      _id(store->nextDaemonId()) {
  PIM_ASSERT(priority < NuvCPManagerI::kLevels, "..\\..\\fd\\NuvCPConstraintI", 18);
  if (priority >= NuvCPManagerI::kLevels) _priority = NuvCPManagerI::kLevels - 1;
}

PimDataI* NuvCPDaemonI::clone() const {
  throw PimInternalError(PimSource("..\\..\\fd\\NuvCPConstraintI", 511),
                         "a daemon cannot be cloned");
}

void NuvCPDaemonI::print(std::ostream& os) const {
  os << "CPDaemon()";
  printStatus(os);
}

void NuvCPDaemonI::printStatus(std::ostream& os) const {
  os << " enabled=" << (_enabled > 0 ? "T" : "F") << " status=";
  if (_checked == 0)
    os << " checkit";
  else if (_checked == 1)
    os << " checked";
  os << " lastOC=" << nuvCPStatusName(_lastOutcome);
}

int NuvCPDaemonI::postEnabled() {
  setEnabled(1);
  _checked = 0;
  return post(0);
}

void NuvCPCstrI::print(std::ostream& os) const { os << "CPConstraint()"; }

// ---- subscription nodes -------------------------------------------------------------

namespace {

// Queues one event, or a null entry when the allocator is exhausted.
template <class E, class... A>
inline void queueEvent(PimAC5Allocator& a, NuvCPEventQueue& q, A... args) {
  void* p = a.allocate(sizeof(E));
  q.push(p ? static_cast<NuvCPAC5Event*>(::new (p) E(args...)) : nullptr);
}

}  // namespace

void NuvCPDListI::mark(PimMarker& m) {
  m.mark(_daemon);
  m.mark(_next);
}

NuvCPDListI* NuvCPDListI::valRemove(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPIntVarI* x, int v) {
  if (_daemon->isEnabled()) queueEvent<NuvCPAC5RemoveValue>(a, q, _daemon, x, v + _offset);
  return _next;
}
NuvCPDListI* NuvCPDListI::requiresElem(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPSetVarI* x, int e) {
  if (_daemon->isEnabled()) queueEvent<NuvCPAC5Requires>(a, q, _daemon, x, e);
  return _next;
}
NuvCPDListI* NuvCPDListI::excludes(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPSetVarI* x, int e) {
  if (_daemon->isEnabled()) queueEvent<NuvCPAC5Excludes>(a, q, _daemon, x, e);
  return _next;
}
NuvCPDListI* NuvCPDListI::updateMin(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPIntVarI* x, int v) {
  if (_daemon->isEnabled()) queueEvent<NuvCPAC5UpdateMin>(a, q, _daemon, x, v + _offset);
  return _next;
}
NuvCPDListI* NuvCPDListI::updateMax(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPIntVarI* x, int v) {
  if (_daemon->isEnabled()) queueEvent<NuvCPAC5UpdateMax>(a, q, _daemon, x, v + _offset);
  return _next;
}
NuvCPDListI* NuvCPDListI::updateBounds(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPIntVarI* x) {
  if (_daemon->isEnabled()) queueEvent<NuvCPAC5UpdateBounds>(a, q, _daemon, x);
  return _next;
}
NuvCPDListI* NuvCPDListI::bindToValue(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPIntVarI* x,
                                      int v) {
  if (_daemon->isEnabled()) queueEvent<NuvCPAC5BindToValue>(a, q, _daemon, x, v + _offset);
  return _next;
}
NuvCPDListI* NuvCPDListI::removeRangeUp(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPIntVarI* x,
                                        int low, int high) {
  if (low <= high && _daemon->isEnabled())
    queueEvent<NuvCPAC5RemoveRangeScanUp>(a, q, _daemon, x, low + _offset, high + _offset);
  return _next;
}
NuvCPDListI* NuvCPDListI::removeRangeDown(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPIntVarI* x,
                                          int low, int high) {
  if (low <= high && _daemon->isEnabled())
    queueEvent<NuvCPAC5RemoveRangeScanDown>(a, q, _daemon, x, low + _offset, high + _offset);
  return _next;
}
NuvCPDListI* NuvCPDListI::bitBound(PimAC5Allocator& a, NuvCPEventQueue& q, PimDataI* x, int bit,
                                   int value) {
  if (_daemon->isEnabled()) queueEvent<NuvCPAC5BindBit>(a, q, _daemon, x, bit, value != 0 ? 1 : 0);
  return _next;
}

// Indexed nodes.
NuvCPDListI* NuvCPDListIdxI::valRemove(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPIntVarI* x,
                                       int v) {
  if (_daemon->isEnabled()) queueEvent<NuvCPAC5RemoveValueIdx>(a, q, _daemon, x, _index, v + _offset);
  return _next;
}
NuvCPDListI* NuvCPDListIdxI::requiresElem(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPSetVarI* x,
                                      int e) {
  if (_daemon->isEnabled()) queueEvent<NuvCPAC5RequiresIdx>(a, q, _daemon, x, _index, e);
  return _next;
}
NuvCPDListI* NuvCPDListIdxI::excludes(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPSetVarI* x,
                                      int e) {
  if (_daemon->isEnabled()) queueEvent<NuvCPAC5ExcludesIdx>(a, q, _daemon, x, _index, e);
  return _next;
}
NuvCPDListI* NuvCPDListIdxI::updateMin(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPIntVarI* x,
                                       int v) {
  if (_daemon->isEnabled()) queueEvent<NuvCPAC5UpdateMinIdx>(a, q, _daemon, x, _index, v + _offset);
  return _next;
}
NuvCPDListI* NuvCPDListIdxI::updateMax(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPIntVarI* x,
                                       int v) {
  if (_daemon->isEnabled()) queueEvent<NuvCPAC5UpdateMaxIdx>(a, q, _daemon, x, _index, v + _offset);
  return _next;
}
NuvCPDListI* NuvCPDListIdxI::updateBounds(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPIntVarI* x) {
  if (_daemon->isEnabled()) queueEvent<NuvCPAC5UpdateBoundsIdx>(a, q, _daemon, x, _index);
  return _next;
}
NuvCPDListI* NuvCPDListIdxI::bindToValue(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPIntVarI* x,
                                         int v) {
  if (_daemon->isEnabled()) queueEvent<NuvCPAC5BindToValueIdx>(a, q, _daemon, x, _index, v + _offset);
  return _next;
}
NuvCPDListI* NuvCPDListIdxI::removeRangeUp(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPIntVarI* x,
                                           int low, int high) {
  if (low <= high && _daemon->isEnabled())
    queueEvent<NuvCPAC5RemoveRangeIdxScanUp>(a, q, _daemon, x, _index, low + _offset,
                                             high + _offset);
  return _next;
}
NuvCPDListI* NuvCPDListIdxI::removeRangeDown(PimAC5Allocator& a, NuvCPEventQueue& q,
                                             NuvCPIntVarI* x, int low, int high) {
  if (low <= high && _daemon->isEnabled())
    queueEvent<NuvCPAC5RemoveRangeIdxScanDown>(a, q, _daemon, x, _index, low + _offset,
                                               high + _offset);
  return _next;
}

// View nodes: the base operations with the view in place of the variable.
void NuvCPDListViewI::mark(PimMarker& m) {
  NuvCPDListI::mark(m);
  m.mark(_view);
}
NuvCPDListI* NuvCPDListViewI::valRemove(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPIntVarI*, int v) {
  return NuvCPDListI::valRemove(a, q, _view, v);
}
NuvCPDListI* NuvCPDListViewI::updateMin(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPIntVarI*, int v) {
  return NuvCPDListI::updateMin(a, q, _view, v);
}
NuvCPDListI* NuvCPDListViewI::updateMax(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPIntVarI*, int v) {
  return NuvCPDListI::updateMax(a, q, _view, v);
}
NuvCPDListI* NuvCPDListViewI::updateBounds(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPIntVarI*) {
  return NuvCPDListI::updateBounds(a, q, _view);
}
NuvCPDListI* NuvCPDListViewI::bindToValue(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPIntVarI*,
                                          int v) {
  return NuvCPDListI::bindToValue(a, q, _view, v);
}
NuvCPDListI* NuvCPDListViewI::removeRangeUp(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPIntVarI*,
                                            int low, int high) {
  return NuvCPDListI::removeRangeUp(a, q, _view, low, high);
}
NuvCPDListI* NuvCPDListViewI::removeRangeDown(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPIntVarI*,
                                              int low, int high) {
  return NuvCPDListI::removeRangeDown(a, q, _view, low, high);
}

void NuvCPDListIdxViewI::mark(PimMarker& m) {
  NuvCPDListI::mark(m);
  m.mark(_view);
}
NuvCPDListI* NuvCPDListIdxViewI::valRemove(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPIntVarI*,
                                           int v) {
  return NuvCPDListIdxI::valRemove(a, q, _view, v);
}
NuvCPDListI* NuvCPDListIdxViewI::updateMin(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPIntVarI*,
                                           int v) {
  return NuvCPDListIdxI::updateMin(a, q, _view, v);
}
NuvCPDListI* NuvCPDListIdxViewI::updateMax(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPIntVarI*,
                                           int v) {
  return NuvCPDListIdxI::updateMax(a, q, _view, v);
}
NuvCPDListI* NuvCPDListIdxViewI::updateBounds(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPIntVarI*) {
  return NuvCPDListIdxI::updateBounds(a, q, _view);
}
NuvCPDListI* NuvCPDListIdxViewI::bindToValue(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPIntVarI*,
                                             int v) {
  return NuvCPDListIdxI::bindToValue(a, q, _view, v);
}
NuvCPDListI* NuvCPDListIdxViewI::removeRangeUp(PimAC5Allocator& a, NuvCPEventQueue& q,
                                               NuvCPIntVarI*, int low, int high) {
  return NuvCPDListIdxI::removeRangeUp(a, q, _view, low, high);
}
NuvCPDListI* NuvCPDListIdxViewI::removeRangeDown(PimAC5Allocator& a, NuvCPEventQueue& q,
                                                 NuvCPIntVarI*, int low, int high) {
  return NuvCPDListIdxI::removeRangeDown(a, q, _view, low, high);
}

// ---- events -----------------------------------------------------------------------------

int NuvCPAC5RemoveValue::execute() {
  return _daemon->isEnabled() ? finish(_daemon->valRemove(intVar(), _value)) : NuvCPSuspend;
}
int NuvCPAC5UpdateMin::execute() {
  return _daemon->isEnabled() ? finish(_daemon->updateMin(intVar(), _value)) : NuvCPSuspend;
}
int NuvCPAC5UpdateMax::execute() {
  return _daemon->isEnabled() ? finish(_daemon->updateMax(intVar(), _value)) : NuvCPSuspend;
}
int NuvCPAC5BindToValue::execute() {
  return _daemon->isEnabled() ? finish(_daemon->valBind(intVar(), _value)) : NuvCPSuspend;
}
int NuvCPAC5Requires::execute() {
  return _daemon->isEnabled() ? finish(_daemon->requiresElem(setVar(), _value)) : NuvCPSuspend;
}
int NuvCPAC5Excludes::execute() {
  return _daemon->isEnabled() ? finish(_daemon->excludes(setVar(), _value)) : NuvCPSuspend;
}
int NuvCPAC5UpdateBounds::execute() {
  return _daemon->isEnabled() ? finish(_daemon->updateBounds(intVar())) : NuvCPSuspend;
}
int NuvCPAC5RemoveValueIdx::execute() {
  return _daemon->isEnabled() ? finish(_daemon->valRemoveIdx(intVar(), _index, _value))
                              : NuvCPSuspend;
}
int NuvCPAC5BindToValueIdx::execute() {
  return _daemon->isEnabled() ? finish(_daemon->valBindIdx(intVar(), _index, _value))
                              : NuvCPSuspend;
}
int NuvCPAC5UpdateMinIdx::execute() {
  return _daemon->isEnabled() ? finish(_daemon->updateMinIdx(intVar(), _index, _value))
                              : NuvCPSuspend;
}
int NuvCPAC5UpdateMaxIdx::execute() {
  return _daemon->isEnabled() ? finish(_daemon->updateMaxIdx(intVar(), _index, _value))
                              : NuvCPSuspend;
}
int NuvCPAC5UpdateBoundsIdx::execute() {
  return _daemon->isEnabled() ? finish(_daemon->updateBoundsIdx(intVar(), _index)) : NuvCPSuspend;
}
int NuvCPAC5RequiresIdx::execute() {
  return _daemon->isEnabled() ? finish(_daemon->requiresIdx(setVar(), _index, _value))
                              : NuvCPSuspend;
}
int NuvCPAC5ExcludesIdx::execute() {
  return _daemon->isEnabled() ? finish(_daemon->excludesIdx(setVar(), _index, _value))
                              : NuvCPSuspend;
}
int NuvCPAC5BindBit::execute() {
  return _daemon->isEnabled() ? finish(_daemon->bitBound(_var, _index, _value)) : NuvCPSuspend;
}

// The scans use a 64-bit cursor so that a range ending at the largest int
// cannot wrap.
int NuvCPAC5RangeEvent::scanUp(bool indexed) {
  NuvCPIntVarI* x = intVar();
  int r = NuvCPSuspend;
  for (std::int64_t v = _low; r != NuvCPFailure && v <= _high && _daemon->isEnabled(); ++v) {
    const int value = static_cast<int>(v);
    if (!x->isRemoved(value)) continue;
    r = indexed ? _daemon->valRemoveIdx(x, _index, value) : _daemon->valRemove(x, value);
    if (r == NuvCPSuccess) _daemon->setEnabled(0);
  }
  return r;
}

int NuvCPAC5RangeEvent::scanDown(bool indexed) {
  NuvCPIntVarI* x = intVar();
  int r = NuvCPSuspend;
  for (std::int64_t v = _high; r != NuvCPFailure && v >= _low && _daemon->isEnabled(); --v) {
    const int value = static_cast<int>(v);
    if (!x->isRemoved(value)) continue;
    r = indexed ? _daemon->valRemoveIdx(x, _index, value) : _daemon->valRemove(x, value);
    if (r == NuvCPSuccess) _daemon->setEnabled(0);
  }
  return r;
}

// ---- list layout -------------------------------------------------------------------------

bool NuvCPListHead::compact(PimAllocator* allocator, std::vector<NuvCPDListI*>& scratch) {
  scratch.clear();
  std::size_t bytes = 0;
  for (NuvCPDListI* n = head; n; n = n->next()) {
    if (!n->daemon()->isEnabled()) continue;
    bytes += n->classSize();
    scratch.push_back(n);
  }
  if (scratch.size() < 2) return true;
  auto* block = static_cast<unsigned char*>(allocator->allocate(bytes));
  if (!block) return false;
  // Built back to front (each copy links to the one after it), at offsets
  // laid out front to back.
  NuvCPDListI* next = nullptr;
  std::size_t end = bytes;
  for (std::size_t j = scratch.size(); j-- > 0;) {
    end -= scratch[j]->classSize();
    next = scratch[j]->copyAt(block + end, next);
  }
  head = next;
  return true;
}

// ---- adapters ----------------------------------------------------------------------------

int nuvCPPostBuilt(NuvCPManagerI* store, NuvCPDaemonI* c) {
  if (!c) return NuvCPFailure;
  int r = c->postEnabled();
  if (r != NuvCPFailure && store->postThenPropagate()) return store->propagate();
  return r;
}

int NuvCPAdapterI::execute(PimStoreI* store) {
  auto* cp = dynamic_cast<NuvCPManagerI*>(store);
  return cp ? build(cp) : NuvCPFailure;
}

void NuvCPAdapterI::print(std::ostream& os) const { os << "CPAdapter"; }

int NuvCPGThenAdapter::build(NuvCPManagerI* s) { return s->gthen(target(s), _value); }
int NuvCPLThenAdapter::build(NuvCPManagerI* s) { return s->lthen(target(s), _value); }
int NuvCPDiffAdapter::build(NuvCPManagerI* s) { return s->diff(target(s), _value); }
int NuvCPBindAdapter::build(NuvCPManagerI* s) { return s->label(target(s), _value); }
int NuvCPRequiresAdapter::build(NuvCPManagerI* s) { return s->require(target(s), _element); }
int NuvCPExcludesAdapter::build(NuvCPManagerI* s) { return s->exclude(target(s), _element); }

// ---- modeling-language propagators ------------------------------------------------------

const char* const NuvCPUserConstraintI::kMethodNames[kMethodCount] = {
    "post",         "propagate",    "valRemove",       "updateMin",   "updateMax",
    "updateBounds", "valBind",      "valRemoveIdx",    "valBindIdx",  "updateMinIdx",
    "updateMaxIdx", "updateBoundsIdx", "requires",     "excludes",    "requiresIdx",
    "excludesIdx",  "bitBound",     "getPriority",     "setId"};

NuvCPUserConstraintI::NuvCPUserConstraintI(NuvCPManagerI* store, RavRuntime* rt,
                                           NuvNativeObject* object, PimDataI* first)
    : NuvCPDaemonI(store, 7), _object(object), _rt(rt), _itemCount(0), _itemCapacity(0) {
  _items = store->allocator()->allocateArray<PimDataI*>(4);
  if (_items) {
    _itemCapacity = 4;
    _items[0] = first;
    _itemCount = 1;
  }
}

void NuvCPUserConstraintI::mark(PimMarker& m) {
  NuvCPDaemonI::mark(m);
  m.mark(_object);
  for (int i = 0; i < _itemCount; ++i) m.mark(_items[i]);
}

void NuvCPUserConstraintI::print(std::ostream& os) const {
  os << "CPUserConstraint(";
  if (_object && _object->nativeClass()) os << _object->nativeClass()->name();
  os << ")";
  printStatus(os);
}

bool NuvCPUserConstraintI::addItem(PimDataI* p) {
  if (_itemCount == _itemCapacity) {
    int capacity = _itemCapacity == 0 ? 4 : _itemCapacity * 2;
    PimDataI** items = allocator()->allocateArray<PimDataI*>(static_cast<std::size_t>(capacity));
    if (!items) return false;
    for (int i = 0; i < _itemCount; ++i) items[i] = _items[i];
    allocator()->releaseArray(_items, static_cast<std::size_t>(_itemCapacity));
    _items = items;
    _itemCapacity = capacity;
  }
  _items[_itemCount++] = p;
  return true;
}

// Index -1: not looked up yet; -2: the class has no such method.
bool NuvCPUserConstraintI::has(Method m) {
  RavMethodHandle& h = _methods[m];
  if (h.index == -1) {
    const RavMethodTable* table =
        _object && _object->nativeClass() ? _object->nativeClass()->methods() : nullptr;
    int i = table ? table->indexOf(kMethodNames[m]) : -1;
    h.index = i >= 0 ? i : -2;
  }
  return h.index >= 0 && _rt;
}

NuvNativeObject* NuvCPUserConstraintI::lang(NuvCPIntVarI* x) const {
  return x ? store()->intVarHandle(x->getId()) : nullptr;
}
NuvNativeObject* NuvCPUserConstraintI::lang(NuvCPSetVarI* x) const {
  return x ? store()->setVarHandle(x->getId()) : nullptr;
}

int NuvCPUserConstraintI::propagate() {
  if (!has(kPropagate)) return NuvCPSuspend;
  return static_cast<int>(PimDispatch0::call(*_rt, _object, _methods[kPropagate], "propagate"));
}
int NuvCPUserConstraintI::post(int level) {
  if (!has(kPost)) return NuvCPSuspend;
  return static_cast<int>(PimDispatch1<int>::call(*_rt, _object, _methods[kPost], "post", level));
}

namespace {
template <class... A>
int dispatch(RavRuntime& rt, NuvNativeObject* self, RavMethodHandle& h, const char* name,
             A... args) {
  if constexpr (sizeof...(A) == 1)
    return static_cast<int>(PimDispatch1<A...>::call(rt, self, h, name, args...));
  else if constexpr (sizeof...(A) == 2)
    return static_cast<int>(PimDispatch2<A...>::call(rt, self, h, name, args...));
  else
    return static_cast<int>(PimDispatch3<A...>::call(rt, self, h, name, args...));
}
}  // namespace

#define NUVCP_USER_CALL(method, ...)                                                    \
  (has(method) ? dispatch(*_rt, _object, _methods[method], kMethodNames[method], __VA_ARGS__) \
               : NuvCPSuspend)

int NuvCPUserConstraintI::valRemove(NuvCPIntVarI* x, int v) {
  return NUVCP_USER_CALL(kValRemove, lang(x), v);
}
int NuvCPUserConstraintI::updateMin(NuvCPIntVarI* x, int v) {
  return NUVCP_USER_CALL(kUpdateMin, lang(x), v);
}
int NuvCPUserConstraintI::updateMax(NuvCPIntVarI* x, int v) {
  return NUVCP_USER_CALL(kUpdateMax, lang(x), v);
}
int NuvCPUserConstraintI::updateBounds(NuvCPIntVarI* x) {
  return NUVCP_USER_CALL(kUpdateBounds, lang(x));
}
int NuvCPUserConstraintI::valBind(NuvCPIntVarI* x, int v) {
  return NUVCP_USER_CALL(kValBind, lang(x), v);
}
int NuvCPUserConstraintI::valRemoveIdx(NuvCPIntVarI* x, int i, int v) {
  return NUVCP_USER_CALL(kValRemoveIdx, lang(x), i, v);
}
int NuvCPUserConstraintI::valBindIdx(NuvCPIntVarI* x, int i, int v) {
  return NUVCP_USER_CALL(kValBindIdx, lang(x), i, v);
}
int NuvCPUserConstraintI::updateMinIdx(NuvCPIntVarI* x, int i, int v) {
  return NUVCP_USER_CALL(kUpdateMinIdx, lang(x), i, v);
}
int NuvCPUserConstraintI::updateMaxIdx(NuvCPIntVarI* x, int i, int v) {
  return NUVCP_USER_CALL(kUpdateMaxIdx, lang(x), i, v);
}
int NuvCPUserConstraintI::updateBoundsIdx(NuvCPIntVarI* x, int i) {
  return NUVCP_USER_CALL(kUpdateBoundsIdx, lang(x), i);
}
// Bit-vector variables have no language-level table in the store yet: the
// script receives null for the variable.
int NuvCPUserConstraintI::bitBound(PimDataI*, int bit, int value) {
  return NUVCP_USER_CALL(kBitBound, static_cast<NuvNativeObject*>(nullptr), bit, value);
}
int NuvCPUserConstraintI::requiresElem(NuvCPSetVarI* x, int e) {
  return NUVCP_USER_CALL(kRequires, lang(x), e);
}
int NuvCPUserConstraintI::excludes(NuvCPSetVarI* x, int e) {
  return NUVCP_USER_CALL(kExcludes, lang(x), e);
}
int NuvCPUserConstraintI::requiresIdx(NuvCPSetVarI* x, int i, int e) {
  return NUVCP_USER_CALL(kRequiresIdx, lang(x), i, e);
}
int NuvCPUserConstraintI::excludesIdx(NuvCPSetVarI* x, int i, int e) {
  return NUVCP_USER_CALL(kExcludesIdx, lang(x), i, e);
}

#undef NUVCP_USER_CALL

int NuvCPUserConstraintI::scriptPriority() {
  if (!has(kGetPriority)) return 7;
  return static_cast<int>(
      PimDispatch0::call(*_rt, _object, _methods[kGetPriority], kMethodNames[kGetPriority]));
}

void NuvCPUserConstraintI::announceId() {
  if (has(kSetId))
    PimDispatch1<int>::call(*_rt, _object, _methods[kSetId], kMethodNames[kSetId], identifier());
}
