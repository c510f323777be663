// Daemons and propagators, the subscription nodes of the variables, the value
// events they queue, the adapters that build and post propagators, the
// recordable search decisions and propagators written in the modeling
// language.
//
// A variable change does two things: it queues the coarse-grained
// propagators of the change's propagator lists on the store's level queues
// (NuvCPManagerI::schedule) and, for fine-grained subscribers, it cuts a
// small event from the store's event allocator that names the daemon, the
// variable and the value. The store runs the events before any propagator.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <type_traits>
#include <vector>

#include "fd/NuvCPIVarI.h"
#include "fd/NuvCPManagerI.h"
#include "fd/NuvCPSetVarI.h"
#include "fd/NuvCPStatus.h"
#include "host/PimAction.h"
#include "host/Rav.h"

class NuvCPDaemonI;

// Visits propagators (the language layer's handle maker is one).
class NuvCPCstrVisitorI {
 public:
  virtual ~NuvCPCstrVisitorI() = default;
  virtual void visit(NuvCPDaemonI* c) = 0;
};

// The unit the store queues and runs.
//
// Fields: priority, idempotent flag and store are constant; the enabled and
// queued flags are trailed (stamp rule), so entailment and queueing are undone
// by backtracking; the checked word and the last outcome are scratch.
class NuvCPDaemonI : public PimDataI {
 public:
  explicit NuvCPDaemonI(NuvCPManagerI* store, unsigned priority = 7);
  NuvCPDaemonI(NuvCPManagerI* store, unsigned priority, bool idempotent);

  unsigned priority() const { return _priority; }
  bool isIdempotent() const { return _idempotent != 0; }
  NuvCPManagerI* store() const { return _store; }
  bool isEnabled() const { return _enabled != 0; }
  std::uint16_t enabledFlag() const { return _enabled; }
  void setEnabled(std::uint16_t on) { _store->trail()->assign(_enabled, _enabledStamp, on); }
  bool isQueued() const { return _queued != 0; }
  void setQueued(std::uint32_t on) { _store->trail()->assign(_queued, _queuedStamp, on); }
  // 0: "checkit" (scheduled or posted since its last run), 1: "checked".
  std::int32_t checked() const { return _checked; }
  void setChecked(std::int32_t c) { _checked = c; }
  std::int32_t lastOutcome() const { return _lastOutcome; }
  void setLastOutcome(std::int32_t r) { _lastOutcome = r; }
  std::int32_t identifier() const { return _id; }

  std::size_t classSize() const override { return sizeof(NuvCPDaemonI); }
  void mark(PimMarker& m) override { m.mark(_store); }
  // Daemons belong to one store and are never copied: throws PimInternalError.
  PimDataI* clone() const override;
  void print(std::ostream& os) const override;
  // " enabled=T status= checked lastOC= suspend": what every propagator's
  // print form ends with.
  void printStatus(std::ostream& os) const;

  // The propagator operations, in slot order, with their defaults.
  virtual int propagate() { return NuvCPSuspend; }                    // 1
  virtual int getId() const { return _id; }                           // 2
  virtual int post(int /*level*/) { return NuvCPSuspend; }            // 3
  virtual int postEnabled();                                          // 4
  virtual int valRemove(NuvCPIntVarI*, int) { return NuvCPSuspend; }  // 5
  virtual int updateMin(NuvCPIntVarI*, int) { return NuvCPSuspend; }  // 6
  virtual int updateMax(NuvCPIntVarI*, int) { return NuvCPSuspend; }  // 7
  virtual int updateBounds(NuvCPIntVarI*) { return NuvCPSuspend; }    // 8
  virtual int valBind(NuvCPIntVarI*, int) { return NuvCPSuspend; }    // 9
  virtual int valRemoveIdx(NuvCPIntVarI*, int, int) { return NuvCPSuspend; }   // 10
  virtual int valBindIdx(NuvCPIntVarI*, int, int) { return NuvCPSuspend; }     // 11
  virtual int updateMinIdx(NuvCPIntVarI*, int, int) { return NuvCPSuspend; }   // 12
  virtual int updateMaxIdx(NuvCPIntVarI*, int, int) { return NuvCPSuspend; }   // 13
  virtual int updateBoundsIdx(NuvCPIntVarI*, int) { return NuvCPSuspend; }     // 14
  // The variable of a bit event is a bit-vector variable.
  virtual int bitBound(PimDataI*, int /*bit*/, int /*value*/) { return NuvCPSuspend; }  // 15
  // `requires` is a reserved word of C++20, hence the name.
  virtual int requiresElem(NuvCPSetVarI*, int) { return NuvCPSuspend; }        // 16
  virtual int excludes(NuvCPSetVarI*, int) { return NuvCPSuspend; }            // 17
  virtual int requiresIdx(NuvCPSetVarI*, int, int) { return NuvCPSuspend; }    // 18
  virtual int excludesIdx(NuvCPSetVarI*, int, int) { return NuvCPSuspend; }    // 19
  // True for objectives (the store's objective hooks).
  virtual bool isObjective() const { return false; }                           // 20
  virtual void accept(NuvCPCstrVisitorI& v) { v.visit(this); }                 // 21
  // True for propagators written in the modeling language.
  virtual bool isUserDefined() const { return false; }                         // 22
  // With a store: the same propagator over that store's variables. With a
  // null store: the creation action that rebuilds it (recorded for replay).
  // Null when the propagator cannot be rebuilt.
  virtual PimDataI* cloneInto(NuvCPManagerI* /*store*/) { return nullptr; }    // 23

 private:
  std::uint16_t _priority;
  std::uint8_t _idempotent;
  NuvCPManagerI* _store;
  std::uint16_t _enabled = 1;  // trailed
  PimStamp _enabledStamp;
  std::uint32_t _queued = 0;  // trailed
  PimStamp _queuedStamp;
  std::int32_t _checked = 1;
  std::int32_t _lastOutcome = NuvCPSuspend;
  std::int32_t _id;
};

// The base of every propagator.
class NuvCPCstrI : public NuvCPDaemonI {
 public:
  using NuvCPDaemonI::NuvCPDaemonI;
  std::size_t classSize() const override { return sizeof(NuvCPCstrI); }
  void print(std::ostream& os) const override;
};

// ---- subscription nodes ---------------------------------------------------------

// A node of a variable's subscription list. The same nodes form the coarse
// propagator lists, walked by the store's schedule(), and the AC5 event
// lists, walked through the ten node operations: each queues at most one
// event for the node's daemon (none when the daemon is disabled) and answers
// the next node. An event the allocator cannot hold is queued as a null
// entry, which ends the store's current draining of the event queue.
class NuvCPDListI : public PimCellI {
 public:
  NuvCPDListI(PimAllocator* a, NuvCPDaemonI* daemon, NuvCPDListI* next, int offset = 0)
      : PimCellI(a), _daemon(daemon), _next(next), _offset(offset) {}

  NuvCPDaemonI* daemon() const { return _daemon; }
  NuvCPDListI* next() const { return _next; }
  int offset() const { return _offset; }
  std::size_t classSize() const override { return sizeof(NuvCPDListI); }
  void mark(PimMarker& m) override;
  // Builds a copy of this node at `where` (classSize() bytes) that links to
  // `next`.
  virtual NuvCPDListI* copyAt(void* where, NuvCPDListI* next) const {
    return ::new (where) NuvCPDListI(allocator(), _daemon, next, _offset);
  }

  virtual NuvCPDListI* valRemove(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPIntVarI* x, int v);
  virtual NuvCPDListI* requiresElem(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPSetVarI* x, int e);
  virtual NuvCPDListI* excludes(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPSetVarI* x, int e);
  virtual NuvCPDListI* updateMin(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPIntVarI* x, int v);
  virtual NuvCPDListI* updateMax(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPIntVarI* x, int v);
  virtual NuvCPDListI* updateBounds(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPIntVarI* x);
  virtual NuvCPDListI* bindToValue(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPIntVarI* x, int v);
  virtual NuvCPDListI* removeRangeUp(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPIntVarI* x,
                                     int low, int high);
  virtual NuvCPDListI* removeRangeDown(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPIntVarI* x,
                                       int low, int high);
  virtual NuvCPDListI* bitBound(PimAC5Allocator& a, NuvCPEventQueue& q, PimDataI* x, int bit,
                                int value);

 protected:
  NuvCPDaemonI* _daemon;
  NuvCPDListI* _next;
  std::int32_t _offset;
};

// Events carry the node's index.
class NuvCPDListIdxI : public NuvCPDListI {
 public:
  NuvCPDListIdxI(PimAllocator* a, NuvCPDaemonI* daemon, NuvCPDListI* next, int index, int offset = 0)
      : NuvCPDListI(a, daemon, next, offset), _index(index) {}
  int index() const { return _index; }
  std::size_t classSize() const override { return sizeof(NuvCPDListIdxI); }
  NuvCPDListI* copyAt(void* where, NuvCPDListI* next) const override {
    return ::new (where) NuvCPDListIdxI(allocator(), _daemon, next, _index, _offset);
  }

  NuvCPDListI* valRemove(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPIntVarI* x, int v) override;
  NuvCPDListI* requiresElem(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPSetVarI* x, int e) override;
  NuvCPDListI* excludes(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPSetVarI* x, int e) override;
  NuvCPDListI* updateMin(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPIntVarI* x, int v) override;
  NuvCPDListI* updateMax(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPIntVarI* x, int v) override;
  NuvCPDListI* updateBounds(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPIntVarI* x) override;
  NuvCPDListI* bindToValue(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPIntVarI* x, int v) override;
  NuvCPDListI* removeRangeUp(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPIntVarI* x, int low,
                             int high) override;
  NuvCPDListI* removeRangeDown(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPIntVarI* x, int low,
                               int high) override;

 protected:
  std::int32_t _index;
};

// Events name the view the daemon subscribed through instead of the variable
// that changed (an offset view reports value + offset). Set and bit events
// keep the variable as it is.
class NuvCPDListViewI : public NuvCPDListI {
 public:
  NuvCPDListViewI(PimAllocator* a, NuvCPDaemonI* daemon, NuvCPDListI* next, NuvCPIntVarI* view,
                  int offset)
      : NuvCPDListI(a, daemon, next, offset), _view(view) {}
  NuvCPIntVarI* view() const { return _view; }
  std::size_t classSize() const override { return sizeof(NuvCPDListViewI); }
  NuvCPDListI* copyAt(void* where, NuvCPDListI* next) const override {
    return ::new (where) NuvCPDListViewI(allocator(), _daemon, next, _view, _offset);
  }
  void mark(PimMarker& m) override;

  NuvCPDListI* valRemove(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPIntVarI* x, int v) override;
  NuvCPDListI* updateMin(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPIntVarI* x, int v) override;
  NuvCPDListI* updateMax(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPIntVarI* x, int v) override;
  NuvCPDListI* updateBounds(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPIntVarI* x) override;
  NuvCPDListI* bindToValue(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPIntVarI* x, int v) override;
  NuvCPDListI* removeRangeUp(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPIntVarI* x, int low,
                             int high) override;
  NuvCPDListI* removeRangeDown(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPIntVarI* x, int low,
                               int high) override;

 protected:
  NuvCPIntVarI* _view;
};

// Both: the view variable and the index.
class NuvCPDListIdxViewI : public NuvCPDListIdxI {
 public:
  NuvCPDListIdxViewI(PimAllocator* a, NuvCPDaemonI* daemon, NuvCPDListI* next, NuvCPIntVarI* view,
                     int index, int offset)
      : NuvCPDListIdxI(a, daemon, next, index, offset), _view(view) {}
  NuvCPIntVarI* view() const { return _view; }
  std::size_t classSize() const override { return sizeof(NuvCPDListIdxViewI); }
  NuvCPDListI* copyAt(void* where, NuvCPDListI* next) const override {
    return ::new (where) NuvCPDListIdxViewI(allocator(), _daemon, next, _view, _index, _offset);
  }
  void mark(PimMarker& m) override;

  NuvCPDListI* valRemove(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPIntVarI* x, int v) override;
  NuvCPDListI* updateMin(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPIntVarI* x, int v) override;
  NuvCPDListI* updateMax(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPIntVarI* x, int v) override;
  NuvCPDListI* updateBounds(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPIntVarI* x) override;
  NuvCPDListI* bindToValue(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPIntVarI* x, int v) override;
  NuvCPDListI* removeRangeUp(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPIntVarI* x, int low,
                             int high) override;
  NuvCPDListI* removeRangeDown(PimAC5Allocator& a, NuvCPEventQueue& q, NuvCPIntVarI* x, int low,
                               int high) override;

 private:
  NuvCPIntVarI* _view;
};

// A variable's list head: a trailed pointer, so that a subscription made
// inside a choice point is gone when the search backtracks out of it. New
// nodes go in front: the newest subscriber is told first.
struct NuvCPListHead {
  NuvCPDListI* head = nullptr;  // trailed
  PimStamp stamp = 0;

  // Allocates a node N(allocator, daemon, head, extra...) and links it in
  // front; false when the allocator refuses.
  template <class N, class... A>
  bool add(PimAllocator* allocator, NuvTrailI* trail, NuvCPDaemonI* daemon, A... extra) {
    N* node = nuvCPNew<N>(allocator, allocator, daemon, head, extra...);
    if (!node) return false;
    trail->assign(head, stamp, static_cast<NuvCPDListI*>(node));
    return true;
  }

  // Copies the list into one block, nodes in list order, so that a walk
  // reads memory in sequence instead of chasing nodes posted at different
  // times all over the arena. The enabled daemons' nodes only; the old
  // nodes stay where they are, unreferenced. Only with no choice point
  // open (the head is then not trailed). False when the allocator refuses
  // (the list is then left as it was). `scratch` is working space.
  bool compact(PimAllocator* allocator, std::vector<NuvCPDListI*>& scratch);
};

// ---- value events -----------------------------------------------------------------

// A value event: cut from the store's event allocator, run once by the store,
// reclaimed when the allocator is rewound (never destroyed one by one). An
// event whose daemon is disabled by the time it runs answers 2 and calls
// nothing; a handler answering 1 disables the daemon.
class NuvCPAC5Event {
 public:
  NuvCPAC5Event(NuvCPDaemonI* daemon, PimDataI* var) : _daemon(daemon), _var(var) {}
  NuvCPAC5Event(const NuvCPAC5Event&) = delete;
  NuvCPAC5Event& operator=(const NuvCPAC5Event&) = delete;
  virtual int execute() = 0;
  NuvCPDaemonI* daemon() const { return _daemon; }
  PimDataI* variable() const { return _var; }

 protected:
  ~NuvCPAC5Event() = default;
  NuvCPIntVarI* intVar() const { return static_cast<NuvCPIntVarI*>(_var); }
  NuvCPSetVarI* setVar() const { return static_cast<NuvCPSetVarI*>(_var); }
  int finish(int r) {
    if (r == NuvCPSuccess) _daemon->setEnabled(0);
    return r;
  }

  NuvCPDaemonI* _daemon;
  PimDataI* _var;
};

// Events with one payload word (a value or a set element).
class NuvCPAC5ValueEvent : public NuvCPAC5Event {
 public:
  NuvCPAC5ValueEvent(NuvCPDaemonI* d, PimDataI* x, int value) : NuvCPAC5Event(d, x), _value(value) {}
  int value() const { return _value; }

 protected:
  ~NuvCPAC5ValueEvent() = default;
  std::int32_t _value;
};

// Events with an index and one payload word.
class NuvCPAC5IdxEvent : public NuvCPAC5Event {
 public:
  NuvCPAC5IdxEvent(NuvCPDaemonI* d, PimDataI* x, int index, int value)
      : NuvCPAC5Event(d, x), _index(index), _value(value) {}
  int index() const { return _index; }
  int value() const { return _value; }

 protected:
  ~NuvCPAC5IdxEvent() = default;
  std::int32_t _index;
  std::int32_t _value;
};

#define NUVCP_VALUE_EVENT(Name)                                                       \
  class Name final : public NuvCPAC5ValueEvent {                                      \
   public:                                                                            \
    using NuvCPAC5ValueEvent::NuvCPAC5ValueEvent;                                     \
    int execute() override;                                                           \
  }
#define NUVCP_IDX_EVENT(Name)                                                         \
  class Name final : public NuvCPAC5IdxEvent {                                        \
   public:                                                                            \
    using NuvCPAC5IdxEvent::NuvCPAC5IdxEvent;                                         \
    int execute() override;                                                           \
  }

NUVCP_VALUE_EVENT(NuvCPAC5RemoveValue);   // valRemove(x, value)
NUVCP_VALUE_EVENT(NuvCPAC5UpdateMin);     // updateMin(x, value)
NUVCP_VALUE_EVENT(NuvCPAC5UpdateMax);     // updateMax(x, value)
NUVCP_VALUE_EVENT(NuvCPAC5BindToValue);   // valBind(x, value)
NUVCP_VALUE_EVENT(NuvCPAC5Requires);      // requiresElem(s, element)
NUVCP_VALUE_EVENT(NuvCPAC5Excludes);      // excludes(s, element)
NUVCP_IDX_EVENT(NuvCPAC5RemoveValueIdx);  // valRemoveIdx(x, index, value)
NUVCP_IDX_EVENT(NuvCPAC5BindToValueIdx);  // valBindIdx(x, index, value)
NUVCP_IDX_EVENT(NuvCPAC5UpdateMinIdx);    // updateMinIdx(x, index, value)
NUVCP_IDX_EVENT(NuvCPAC5UpdateMaxIdx);    // updateMaxIdx(x, index, value)
NUVCP_IDX_EVENT(NuvCPAC5RequiresIdx);     // requiresIdx(s, index, element)
NUVCP_IDX_EVENT(NuvCPAC5ExcludesIdx);     // excludesIdx(s, index, element)
NUVCP_IDX_EVENT(NuvCPAC5BindBit);         // bitBound(x, bit, value 0/1)

#undef NUVCP_VALUE_EVENT
#undef NUVCP_IDX_EVENT

class NuvCPAC5UpdateBounds final : public NuvCPAC5Event {  // updateBounds(x)
 public:
  using NuvCPAC5Event::NuvCPAC5Event;
  int execute() override;
};

class NuvCPAC5UpdateBoundsIdx final : public NuvCPAC5Event {  // updateBoundsIdx(x, index)
 public:
  NuvCPAC5UpdateBoundsIdx(NuvCPDaemonI* d, PimDataI* x, int index) : NuvCPAC5Event(d, x), _index(index) {}
  int index() const { return _index; }
  int execute() override;

 private:
  std::int32_t _index;
};

// Range removals: valRemove (valRemoveIdx) for every value of [low, high] that
// the variable's removed-value test reports, stopping at a failure or as soon
// as the daemon is disabled (entailed half-way).
class NuvCPAC5RangeEvent : public NuvCPAC5Event {
 public:
  NuvCPAC5RangeEvent(NuvCPDaemonI* d, PimDataI* x, int index, int low, int high)
      : NuvCPAC5Event(d, x), _index(index), _low(low), _high(high) {}
  int low() const { return _low; }
  int high() const { return _high; }

 protected:
  ~NuvCPAC5RangeEvent() = default;
  int scanUp(bool indexed);
  int scanDown(bool indexed);
  std::int32_t _index;
  std::int32_t _low;
  std::int32_t _high;
};

class NuvCPAC5RemoveRangeScanUp final : public NuvCPAC5RangeEvent {
 public:
  NuvCPAC5RemoveRangeScanUp(NuvCPDaemonI* d, PimDataI* x, int low, int high)
      : NuvCPAC5RangeEvent(d, x, 0, low, high) {}
  int execute() override { return scanUp(false); }
};
class NuvCPAC5RemoveRangeScanDown final : public NuvCPAC5RangeEvent {
 public:
  NuvCPAC5RemoveRangeScanDown(NuvCPDaemonI* d, PimDataI* x, int low, int high)
      : NuvCPAC5RangeEvent(d, x, 0, low, high) {}
  int execute() override { return scanDown(false); }
};
class NuvCPAC5RemoveRangeIdxScanUp final : public NuvCPAC5RangeEvent {
 public:
  using NuvCPAC5RangeEvent::NuvCPAC5RangeEvent;
  int index() const { return _index; }
  int execute() override { return scanUp(true); }
};
class NuvCPAC5RemoveRangeIdxScanDown final : public NuvCPAC5RangeEvent {
 public:
  using NuvCPAC5RangeEvent::NuvCPAC5RangeEvent;
  int index() const { return _index; }
  int execute() override { return scanDown(true); }
};

// ---- propagator adapters -------------------------------------------------------------

// Maps an argument recorded on one store to the same argument on another:
// variables by their identifier in the target's tables, anything else as is.
template <class T, class = void>
struct NuvCPArgMap {
  static T map(NuvCPManagerI*, T v) { return v; }
  static void mark(PimMarker&, T) {}
};
template <class T>
struct NuvCPArgMap<T*, std::enable_if_t<std::is_base_of_v<NuvCPIntVarI, T>>> {
  static T* map(NuvCPManagerI* s, T* x) {
    return x ? static_cast<T*>(s->getIntVar(x->getId())) : nullptr;
  }
  static void mark(PimMarker& m, T* x) { m.mark(x); }
};
template <class T>
struct NuvCPArgMap<T*, std::enable_if_t<std::is_base_of_v<NuvCPSetVarI, T>>> {
  static T* map(NuvCPManagerI* s, T* x) {
    return x ? static_cast<T*>(s->getSetVar(x->getId())) : nullptr;
  }
  static void mark(PimMarker& m, T* x) { m.mark(x); }
};

// Posts a freshly built propagator the way adapters do: postEnabled, then the
// fixpoint when the post did not fail and the store propagates after posts.
int nuvCPPostBuilt(NuvCPManagerI* store, NuvCPDaemonI* c);

// A copy of `n` items in `allocator` (nullptr for n <= 0 or a refusal).
template <class T>
T* nuvCPCopyArray(PimAllocator* allocator, const T* items, int n) {
  if (n <= 0 || !items) return nullptr;
  T* copy = allocator->allocateArray<T>(static_cast<std::size_t>(n));
  if (copy)
    for (int i = 0; i < n; ++i) copy[i] = items[i];
  return copy;
}
// The variables of `vars` as the target store knows them.
template <class V>
V** nuvCPMapVars(NuvCPManagerI* store, V* const* vars, int n) {
  if (n <= 0 || !vars) return nullptr;
  V** mapped = store->allocator()->allocateArray<V*>(static_cast<std::size_t>(n));
  if (mapped)
    for (int i = 0; i < n; ++i) mapped[i] = NuvCPArgMap<V*>::map(store, vars[i]);
  return mapped;
}

// A recordable action that builds one propagator on a given store and posts
// it; the store's answer is the action's status.
class NuvCPAdapterI : public PimAbstractAction {
 public:
  using PimAbstractAction::PimAbstractAction;
  virtual int build(NuvCPManagerI* store) = 0;
  // Builds on `store` when it is a CP store; failure otherwise.
  int execute(PimStoreI* store) override;
  void print(std::ostream& os) const override;
};

// Propagators with two, three or four scalar or variable arguments:
// C(store, a1, a2[, a3[, a4]]).
template <class C, class A1, class A2>
class NuvCPCstrAdapterI2 : public NuvCPAdapterI {
 public:
  NuvCPCstrAdapterI2(PimAllocator* a, A1 a1, A2 a2) : NuvCPAdapterI(a), _a1(a1), _a2(a2) {}
  int build(NuvCPManagerI* s) override {
    return nuvCPPostBuilt(s, nuvCPNew<C>(s->allocator(), s, NuvCPArgMap<A1>::map(s, _a1),
                                         NuvCPArgMap<A2>::map(s, _a2)));
  }
  std::size_t classSize() const override { return sizeof(*this); }
  void mark(PimMarker& m) override {
    NuvCPArgMap<A1>::mark(m, _a1);
    NuvCPArgMap<A2>::mark(m, _a2);
  }

 private:
  A1 _a1;
  A2 _a2;
};

template <class C, class A1, class A2, class A3>
class NuvCPCstrAdapterI3 : public NuvCPAdapterI {
 public:
  NuvCPCstrAdapterI3(PimAllocator* a, A1 a1, A2 a2, A3 a3)
      : NuvCPAdapterI(a), _a1(a1), _a2(a2), _a3(a3) {}
  int build(NuvCPManagerI* s) override {
    return nuvCPPostBuilt(
        s, nuvCPNew<C>(s->allocator(), s, NuvCPArgMap<A1>::map(s, _a1),
                       NuvCPArgMap<A2>::map(s, _a2), NuvCPArgMap<A3>::map(s, _a3)));
  }
  std::size_t classSize() const override { return sizeof(*this); }
  void mark(PimMarker& m) override {
    NuvCPArgMap<A1>::mark(m, _a1);
    NuvCPArgMap<A2>::mark(m, _a2);
    NuvCPArgMap<A3>::mark(m, _a3);
  }

 private:
  A1 _a1;
  A2 _a2;
  A3 _a3;
};

template <class C, class A1, class A2, class A3, class A4>
class NuvCPCstrAdapterI4 : public NuvCPAdapterI {
 public:
  NuvCPCstrAdapterI4(PimAllocator* a, A1 a1, A2 a2, A3 a3, A4 a4)
      : NuvCPAdapterI(a), _a1(a1), _a2(a2), _a3(a3), _a4(a4) {}
  int build(NuvCPManagerI* s) override {
    return nuvCPPostBuilt(
        s, nuvCPNew<C>(s->allocator(), s, NuvCPArgMap<A1>::map(s, _a1),
                       NuvCPArgMap<A2>::map(s, _a2), NuvCPArgMap<A3>::map(s, _a3),
                       NuvCPArgMap<A4>::map(s, _a4)));
  }
  std::size_t classSize() const override { return sizeof(*this); }
  void mark(PimMarker& m) override {
    NuvCPArgMap<A1>::mark(m, _a1);
    NuvCPArgMap<A2>::mark(m, _a2);
    NuvCPArgMap<A3>::mark(m, _a3);
    NuvCPArgMap<A4>::mark(m, _a4);
  }

 private:
  A1 _a1;
  A2 _a2;
  A3 _a3;
  A4 _a4;
};

// A coefficient array, a variable array of the same length and a constant:
// C(store, n, coefs, vars, c), arrays in the target store's arena.
template <class C>
class NuvCPCstrAdapterIN2C : public NuvCPAdapterI {
 public:
  NuvCPCstrAdapterIN2C(PimAllocator* a, int n, const int* coefs, NuvCPIntVarI* const* vars, int c)
      : NuvCPAdapterI(a),
        _n(n),
        _coefs(nuvCPCopyArray(a, coefs, n)),
        _vars(nuvCPCopyArray(a, vars, n)),
        _c(c) {}
  int build(NuvCPManagerI* s) override {
    int* coefs = nuvCPCopyArray(s->allocator(), _coefs, _n);
    NuvCPIntVarI** vars = nuvCPMapVars(s, _vars, _n);
    if (_n > 0 && (!coefs || !vars)) return NuvCPFailure;
    return nuvCPPostBuilt(s, nuvCPNew<C>(s->allocator(), s, _n, coefs, vars, _c));
  }
  std::size_t classSize() const override { return sizeof(*this); }
  void mark(PimMarker& m) override {
    for (int i = 0; i < _n && _vars; ++i) m.mark(_vars[i]);
  }

 private:
  int _n;
  int* _coefs;
  NuvCPIntVarI** _vars;
  int _c;
};

// A variable array indexed low..up and a constant: C(store, low, up, vars, c).
template <class C>
class NuvCPCstrAdapterILU1C : public NuvCPAdapterI {
 public:
  NuvCPCstrAdapterILU1C(PimAllocator* a, int low, int up, NuvCPIntVarI* const* vars, int c)
      : NuvCPAdapterI(a), _low(low), _up(up), _vars(nuvCPCopyArray(a, vars, up - low + 1)), _c(c) {}
  int build(NuvCPManagerI* s) override {
    NuvCPIntVarI** vars = nuvCPMapVars(s, _vars, _up - _low + 1);
    if (_up >= _low && !vars) return NuvCPFailure;
    return nuvCPPostBuilt(s, nuvCPNew<C>(s->allocator(), s, _low, _up, vars, _c));
  }
  std::size_t classSize() const override { return sizeof(*this); }
  void mark(PimMarker& m) override {
    for (int i = 0; i <= _up - _low && _vars; ++i) m.mark(_vars[i]);
  }

 private:
  int _low;
  int _up;
  NuvCPIntVarI** _vars;
  int _c;
};

// A variable array: C(store, n, vars).
template <class C>
class NuvCPCstrAdapterIDArr1 : public NuvCPAdapterI {
 public:
  NuvCPCstrAdapterIDArr1(PimAllocator* a, int n, NuvCPIntVarI* const* vars)
      : NuvCPAdapterI(a), _n(n), _vars(nuvCPCopyArray(a, vars, n)) {}
  int build(NuvCPManagerI* s) override {
    NuvCPIntVarI** vars = nuvCPMapVars(s, _vars, _n);
    if (_n > 0 && !vars) return NuvCPFailure;
    return nuvCPPostBuilt(s, nuvCPNew<C>(s->allocator(), s, _n, vars));
  }
  std::size_t classSize() const override { return sizeof(*this); }
  void mark(PimMarker& m) override {
    for (int i = 0; i < _n && _vars; ++i) m.mark(_vars[i]);
  }

 private:
  int _n;
  NuvCPIntVarI** _vars;
};

// Element over a constant table: y = table[x], the table indexed from `low`:
// C(store, low, n, table, x, y).
template <class C>
class NuvCPCstrElementAdapter : public NuvCPAdapterI {
 public:
  NuvCPCstrElementAdapter(PimAllocator* a, int low, int n, const int* table, NuvCPIntVarI* x,
                          NuvCPIntVarI* y)
      : NuvCPAdapterI(a), _low(low), _n(n), _table(nuvCPCopyArray(a, table, n)), _x(x), _y(y) {}
  int build(NuvCPManagerI* s) override {
    int* table = nuvCPCopyArray(s->allocator(), _table, _n);
    if (_n > 0 && !table) return NuvCPFailure;
    return nuvCPPostBuilt(s, nuvCPNew<C>(s->allocator(), s, _low, _n, table,
                                         NuvCPArgMap<NuvCPIntVarI*>::map(s, _x),
                                         NuvCPArgMap<NuvCPIntVarI*>::map(s, _y)));
  }
  std::size_t classSize() const override { return sizeof(*this); }
  void mark(PimMarker& m) override {
    m.mark(_x);
    m.mark(_y);
  }

 private:
  int _low;
  int _n;
  int* _table;
  NuvCPIntVarI* _x;
  NuvCPIntVarI* _y;
};

// ---- recorded search decisions ------------------------------------------------------

// One decision on an integer variable, replayed through the store's decision
// operation on the target store's variable of the same identifier.
class NuvCPIntDecisionAdapter : public NuvCPAdapterI {
 public:
  NuvCPIntDecisionAdapter(PimAllocator* a, NuvCPIntVarI* x, int value)
      : NuvCPAdapterI(a), _x(x), _value(value) {}
  NuvCPIntVarI* var() const { return _x; }
  int value() const { return _value; }
  void mark(PimMarker& m) override { m.mark(_x); }

 protected:
  NuvCPIntVarI* target(NuvCPManagerI* s) const { return NuvCPArgMap<NuvCPIntVarI*>::map(s, _x); }
  NuvCPIntVarI* _x;
  int _value;
};

class NuvCPGThenAdapter final : public NuvCPIntDecisionAdapter {  // x > value
 public:
  using NuvCPIntDecisionAdapter::NuvCPIntDecisionAdapter;
  int build(NuvCPManagerI* s) override;
  std::size_t classSize() const override { return sizeof(*this); }
};
class NuvCPLThenAdapter final : public NuvCPIntDecisionAdapter {  // x < value
 public:
  using NuvCPIntDecisionAdapter::NuvCPIntDecisionAdapter;
  int build(NuvCPManagerI* s) override;
  std::size_t classSize() const override { return sizeof(*this); }
};
class NuvCPDiffAdapter final : public NuvCPIntDecisionAdapter {  // x != value
 public:
  using NuvCPIntDecisionAdapter::NuvCPIntDecisionAdapter;
  int build(NuvCPManagerI* s) override;
  std::size_t classSize() const override { return sizeof(*this); }
};
class NuvCPBindAdapter final : public NuvCPIntDecisionAdapter {  // x == value
 public:
  using NuvCPIntDecisionAdapter::NuvCPIntDecisionAdapter;
  int build(NuvCPManagerI* s) override;
  std::size_t classSize() const override { return sizeof(*this); }
};

// One decision on a set variable.
class NuvCPSetDecisionAdapter : public NuvCPAdapterI {
 public:
  NuvCPSetDecisionAdapter(PimAllocator* a, NuvCPSetVarI* x, int element)
      : NuvCPAdapterI(a), _x(x), _element(element) {}
  void mark(PimMarker& m) override { m.mark(_x); }

 protected:
  NuvCPSetVarI* target(NuvCPManagerI* s) const { return NuvCPArgMap<NuvCPSetVarI*>::map(s, _x); }
  NuvCPSetVarI* _x;
  int _element;
};

class NuvCPRequiresAdapter final : public NuvCPSetDecisionAdapter {
 public:
  using NuvCPSetDecisionAdapter::NuvCPSetDecisionAdapter;
  int build(NuvCPManagerI* s) override;
  std::size_t classSize() const override { return sizeof(*this); }
};
class NuvCPExcludesAdapter final : public NuvCPSetDecisionAdapter {
 public:
  using NuvCPSetDecisionAdapter::NuvCPSetDecisionAdapter;
  int build(NuvCPManagerI* s) override;
  std::size_t classSize() const override { return sizeof(*this); }
};

// ---- propagators written in the modeling language ----------------------------------

// A daemon whose operations are methods of a language object. Each operation
// calls the method of its name (with the language-level variable object in
// place of the implementation variable) and answers the method's integer
// result; an operation whose method the object's class lacks keeps the
// default answer. Method handles are resolved on first use.
class NuvCPUserConstraintI : public NuvCPDaemonI {
 public:
  enum Method {
    kPost, kPropagate, kValRemove, kUpdateMin, kUpdateMax, kUpdateBounds, kValBind,
    kValRemoveIdx, kValBindIdx, kUpdateMinIdx, kUpdateMaxIdx, kUpdateBoundsIdx, kRequires,
    kExcludes, kRequiresIdx, kExcludesIdx, kBitBound, kGetPriority, kSetId, kMethodCount
  };
  static const char* const kMethodNames[kMethodCount];

  // `first` is the first entry of the constraint's own pointer array.
  NuvCPUserConstraintI(NuvCPManagerI* store, RavRuntime* rt, NuvNativeObject* object,
                       PimDataI* first);

  NuvNativeObject* object() const { return _object; }
  // The size the host accounts for such a daemon.
  std::size_t classSize() const override { return 372; }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;

  int propagate() override;
  int post(int level) override;
  int valRemove(NuvCPIntVarI* x, int v) override;
  int updateMin(NuvCPIntVarI* x, int v) override;
  int updateMax(NuvCPIntVarI* x, int v) override;
  int updateBounds(NuvCPIntVarI* x) override;
  int valBind(NuvCPIntVarI* x, int v) override;
  int valRemoveIdx(NuvCPIntVarI* x, int i, int v) override;
  int valBindIdx(NuvCPIntVarI* x, int i, int v) override;
  int updateMinIdx(NuvCPIntVarI* x, int i, int v) override;
  int updateMaxIdx(NuvCPIntVarI* x, int i, int v) override;
  int updateBoundsIdx(NuvCPIntVarI* x, int i) override;
  int bitBound(PimDataI* x, int bit, int value) override;
  int requiresElem(NuvCPSetVarI* x, int e) override;
  int excludes(NuvCPSetVarI* x, int e) override;
  int requiresIdx(NuvCPSetVarI* x, int i, int e) override;
  int excludesIdx(NuvCPSetVarI* x, int i, int e) override;
  bool isUserDefined() const override { return true; }

  // The priority the script asks for ("getPriority"), 7 when it has none.
  int scriptPriority();
  // Tells the script the daemon's identifier ("setId").
  void announceId();

  // The constraint's own growable pointer array.
  int itemCount() const { return _itemCount; }
  PimDataI* item(int i) const { return i >= 0 && i < _itemCount ? _items[i] : nullptr; }
  bool addItem(PimDataI* p);

 private:
  bool has(Method m);
  NuvNativeObject* lang(NuvCPIntVarI* x) const;
  NuvNativeObject* lang(NuvCPSetVarI* x) const;

  NuvNativeObject* _object;
  RavRuntime* _rt;
  RavMethodHandle _methods[kMethodCount];
  PimDataI** _items;
  int _itemCount;
  int _itemCapacity;
};
