// The constraint store of one finite-domain solver: the propagation queues,
// the fixpoint loop, posting, the search's elementary decisions, atomic
// sections and the variable tables.
//
// Backtracking never copies the store: every backtrackable word (the status,
// the atomic depth, the table counts, every daemon's enabled and queued flag)
// is written through the trail under the stamp rule, so it is saved at most
// once per choice point and restored by the host's trail.
#pragma once

#include <climits>
#include <cstdint>
#include <iosfwd>
#include <new>

#include "fd/NuvCPRingQueue.h"
#include "fd/NuvCPStatus.h"
#include "host/NuvTrail.h"
#include "host/PimAction.h"
#include "host/PimAllocator.h"
#include "host/PimCell.h"
#include "host/PimError.h"

class NuvCPDaemonI;
class NuvCPCstrI;
class NuvCPDListI;
class NuvCPAC5Event;
class NuvCPIntVarI;
class NuvCPSetVarI;
class NuvCPSearchControllerI;
class NuvCPManagerI;
class NuvCPBoolExpr;
class NuvNativeObject;
class RavRuntime;

// A modeling-language constraint expression. The linear normalization of
// modeling expressions implements it; the store only posts it.
class NuvCPExprI : public PimDataI {
 public:
  using PimDataI::PimDataI;
  // Normalises the expression into propagators and posts them on `store`;
  // `operand` is the second operand of the deferred record (may be null).
  virtual int postInto(NuvCPManagerI* store, PimDataI* operand, int level) = 0;
};

using NuvCPEventQueue = NuvCPRingQueue<NuvCPAC5Event*>;
using NuvCPDaemonQueue = NuvCPRingQueue<NuvCPDaemonI*>;

// A table of the objects of one kind created in a store, in creation order.
// The count is trailed, so objects created inside a choice point drop out of
// the table when the search backtracks past it; their slots are reused.
// Each entry may carry the language-level object that stands for it.
template <class T>
class NuvCPRegistry {
 public:
  explicit NuvCPRegistry(PimAllocator* allocator) : _allocator(allocator) {}
  ~NuvCPRegistry() { _allocator->releaseArray(_entries, static_cast<std::size_t>(_capacity)); }
  NuvCPRegistry(const NuvCPRegistry&) = delete;
  NuvCPRegistry& operator=(const NuvCPRegistry&) = delete;

  // The new entry's index, or -1 when the table could not grow.
  int add(NuvTrailI* trail, T item) {
    if (_count == _capacity) {
      int capacity = _capacity == 0 ? 64 : _capacity * 2;
      Entry* entries = _allocator->allocateArray<Entry>(static_cast<std::size_t>(capacity));
      if (!entries) return -1;
      for (int i = 0; i < _count; ++i) entries[i] = _entries[i];
      _allocator->releaseArray(_entries, static_cast<std::size_t>(_capacity));
      _entries = entries;
      _capacity = capacity;
    }
    int id = _count;
    _entries[id] = Entry{item, nullptr};
    trail->assign(_count, _stamp, id + 1);
    return id;
  }
  int count() const { return _count; }
  int capacity() const { return _capacity; }
  T at(int i) const { return i >= 0 && i < _count ? _entries[i].item : nullptr; }
  NuvNativeObject* handle(int i) const { return i >= 0 && i < _count ? _entries[i].handle : nullptr; }
  void setHandle(int i, NuvNativeObject* h) {
    if (i >= 0 && i < _count) _entries[i].handle = h;
  }
  template <class F>
  void forEach(F f) const {
    for (int i = 0; i < _count; ++i) f(_entries[i].item);
  }

 private:
  struct Entry {
    T item;
    NuvNativeObject* handle;
  };
  PimAllocator* _allocator;
  Entry* _entries = nullptr;
  int _capacity = 0;
  std::int32_t _count = 0;  // trailed
  PimStamp _stamp = 0;
};

// One deferred post of an atomic section.
struct NuvCPDeferredOp {
  PimDataI* first;   // the constraint or the expression
  std::int32_t kind;  // kPost or kExprPost
  PimDataI* second;  // null for a plain post
  std::int32_t level;
  static constexpr std::int32_t kPost = 1;
  static constexpr std::int32_t kExprPost = 2;
};

class NuvCPManagerI : public PimStoreI {
 public:
  static constexpr int kLevels = 8;
  static constexpr std::int32_t kNoLevel = INT32_MAX;

  // `eventBlocks` bounds the value-event allocator (0: only the arena's own
  // limit); when it is exhausted, events are replaced by null entries.
  NuvCPManagerI(PimAllocator* allocator, NuvTrailI* trail, std::size_t eventBlockSize = 16 * 1024,
                std::size_t eventBlocks = 0);
  ~NuvCPManagerI() override;
  NuvCPManagerI(const NuvCPManagerI&) = delete;
  NuvCPManagerI& operator=(const NuvCPManagerI&) = delete;

  // ---- host cell --------------------------------------------------------------
  std::size_t classSize() const override { return sizeof(NuvCPManagerI); }
  void mark(PimMarker& marker) override;
  // "CPStore" and one line each for #vars, #fvars, #bvars, #propag, trail.
  void print(std::ostream& os) const override;

  // ---- the store's own virtual operations, in slot order ------------------------
  virtual std::int32_t getUserWord() const { return _userWord; }
  virtual std::int32_t setUserWord(std::int32_t w) { return _userWord = w; }
  // A snapshot of every variable; the solutions family supplies it.
  virtual PimSolutionI* makeSolution();
  virtual NuvTrailI* getTrail() const { return trail(); }
  // Re-imposes the objective bounds after the host restored a search node and
  // runs the fixpoint; true when the store is consistent.
  virtual bool restartPropagation();
  virtual bool isConsistent() const { return _status != NuvCPFailure; }
  void close() override;

  // ---- propagation ------------------------------------------------------------
  // The fixpoint loop: 2 at the fixpoint, 0 on failure (the queues are then
  // reset and the status becomes a failure until backtracking; a failed
  // store answers 0 at once), 3 when called while propagating or inside an
  // atomic section.
  int propagate();
  // Queues every enabled daemon of a propagator list that is not queued yet
  // and sets the current level to the lowest priority it queued ("none" when
  // it queued nothing, as for an empty list). Inline for the empty list,
  // which every narrowing of an unwatched variable schedules.
  void schedule(NuvCPDListI* list) {
    if (!list) {
      _currentLevel = kNoLevel;
      return;
    }
    scheduleNonEmpty(list);
  }
  void scheduleNonEmpty(NuvCPDListI* list);
  // Queues one daemon (unless disabled or already queued): for a
  // propagator that must run after its post without a variable event.
  void enqueue(NuvCPDaemonI* d);
  // Clears every queue and rewinds the event allocator (after a failure).
  void resetQueues();
  // The shaving propagator's reset: the deferred-operation queue is kept, the
  // search controller is reset and the trail moves to a fresh stamp.
  void resetQueuesForShaving();
  // The shaving propagators' two services, for use inside a propagator's
  // run only. settleNested runs the fixpoint loop from there (the store's
  // own loop is busy with that propagator), leaving every queue empty; a
  // failure it reports is the store's (the caller returns it). shavingTrial
  // needs a settled store: it opens a choice point, lets `attempt` narrow
  // and propagate, then undoes everything and resets the queues as a trial
  // requires; it returns what `attempt` returned. Work left queued by the
  // trial is dropped, which is why it must start from a settled store.
  int settleNested();
  template <class F>
  int shavingTrial(F&& attempt) {
    const std::int32_t level = _currentLevel;
    trail()->push();
    const int r = attempt();
    trail()->pop();
    resetQueuesForShaving();
    _currentLevel = level;
    return r;
  }

  // The value-event services the variables call: each walks an event list and
  // lets every node queue its event.
  void notifyRemoveValue(NuvCPDListI* list, NuvCPIntVarI* x, int v);
  void notifyUpdateMin(NuvCPDListI* list, NuvCPIntVarI* x, int v);
  void notifyUpdateMax(NuvCPDListI* list, NuvCPIntVarI* x, int v);
  void notifyUpdateBounds(NuvCPDListI* list, NuvCPIntVarI* x);
  void notifyBindToValue(NuvCPDListI* list, NuvCPIntVarI* x, int v);
  void notifyRemoveRangeUp(NuvCPDListI* list, NuvCPIntVarI* x, int low, int high);
  void notifyRemoveRangeDown(NuvCPDListI* list, NuvCPIntVarI* x, int low, int high);
  void notifyRequires(NuvCPDListI* list, NuvCPSetVarI* x, int e);
  void notifyExcludes(NuvCPDListI* list, NuvCPSetVarI* x, int e);
  void notifyBitBound(NuvCPDListI* list, PimDataI* x, int bit, int value);

  // ---- posting ------------------------------------------------------------------
  // Posts a propagator; the store status becomes the outcome. The level
  // travels only in the deferred record: propagators choose their own.
  int post(NuvCPCstrI* c, int level = 0);
  // The same post on behalf of `owner`, which travels in the deferred record
  // as its second operand.
  int post(PimDataI* owner, NuvCPCstrI* c, int level);
  int postExpression(NuvCPExprI* e, int level = 0, PimDataI* operand = nullptr);
  // Posts a modeling constraint (fd/NuvCPExpr.h) through postExpression.
  int post(const NuvCPBoolExpr& c, int level = 0);
  void setAtomic(bool on);

  // ---- decisions (never deferred) ---------------------------------------------
  int label(NuvCPIntVarI* x, int v);
  int diff(NuvCPIntVarI* x, int v);
  int lthen(NuvCPIntVarI* x, int v);  // x < v
  int gthen(NuvCPIntVarI* x, int v);  // x > v
  int inside(NuvCPSetVarI* s, int e);
  int outside(NuvCPSetVarI* s, int e);
  int require(NuvCPSetVarI* s, int e);
  int exclude(NuvCPSetVarI* s, int e);

  // ---- variable tables ------------------------------------------------------------
  int registerIntVar(NuvCPIntVarI* x) { return _intVars.add(trail(), x); }
  int registerFloatVar(PimDataI* x) { return _floatVars.add(trail(), x); }
  // Bit-vector variables have a table of their own ("#bvars").
  int registerBitVar(PimDataI* x) { return _bitVars.add(trail(), x); }
  int registerSetVar(NuvCPSetVarI* x) { return _setVars.add(trail(), x); }
  int registerObject(PimDataI* x) { return _objects.add(trail(), x); }
  NuvCPIntVarI* getIntVar(int id) const { return _intVars.at(id); }
  PimDataI* getFloatVar(int id) const { return _floatVars.at(id); }
  PimDataI* getBitVar(int id) const { return _bitVars.at(id); }
  NuvCPSetVarI* getSetVar(int id) const { return _setVars.at(id); }
  PimDataI* getObject(int id) const { return _objects.at(id); }
  int intVarCount() const { return _intVars.count(); }
  int floatVarCount() const { return _floatVars.count(); }
  int bitVarCount() const { return _bitVars.count(); }
  int setVarCount() const { return _setVars.count(); }
  int objectCount() const { return _objects.count(); }
  // The language-level objects that stand for variables, passed to
  // propagators written in the modeling language.
  void setIntVarHandle(int id, NuvNativeObject* h) { _intVars.setHandle(id, h); }
  NuvNativeObject* intVarHandle(int id) const { return _intVars.handle(id); }
  void setSetVarHandle(int id, NuvNativeObject* h) { _setVars.setHandle(id, h); }
  NuvNativeObject* setVarHandle(int id) const { return _setVars.handle(id); }

  // ---- state ------------------------------------------------------------------------
  int status() const { return _status; }
  void setStatus(int s) { trail()->assign(_status, _statusStamp, s); }
  std::uint32_t propagatingDepth() const { return _propagating; }
  std::int32_t atomicDepth() const { return _atomicDepth; }
  bool isClosed() const { return _closed != 0; }
  std::int32_t postThenPropagate() const { return _postThenPropagate; }
  void setPostThenPropagate(std::int32_t on) { _postThenPropagate = on; }
  std::int32_t currentLevel() const { return _currentLevel; }
  std::uint32_t propagationCount() const { return _propagCount; }
  std::int32_t nextDaemonId() { return _daemonIds++; }
  // Daemon identifiers run from 0 to daemonCount() - 1.
  std::int32_t daemonCount() const { return _daemonIds; }
  // The daemon whose run, or whose value event, ended the last failed
  // fixpoint: what failure-driven search heuristics weigh. A decision or
  // post whose own narrowing fails names none, so a caller clears it before
  // the step it wants to blame. Scratch, not trailed.
  NuvCPDaemonI* failedDaemon() const { return _failed; }
  void clearFailedDaemon() { _failed = nullptr; }
  double floatPrecision() const { return _floatPrecision; }
  void setFloatPrecision(double p) { _floatPrecision = p; }

  NuvCPSearchControllerI* controller() const { return _controller; }
  void setController(NuvCPSearchControllerI* c) { _controller = c; }
  // The interpreter whose source position decision errors report.
  void setRuntime(RavRuntime* rt) { _runtime = rt; }
  RavRuntime* runtime() const { return _runtime; }
  NuvCPCstrI* intObjective() const { return _intObjective; }
  void setIntObjective(NuvCPCstrI* o) { _intObjective = o; }
  NuvCPCstrI* floatObjective() const { return _floatObjective; }
  void setFloatObjective(NuvCPCstrI* o) { _floatObjective = o; }

  PimStackAllocator& scratch() { return _scratch; }
  PimAC5Allocator& eventAllocator() { return _events; }
  NuvCPEventQueue& eventQueue() { return _eventQueue; }
  const NuvCPDaemonQueue& levelQueue(int level) const { return _queues[level]; }
  NuvCPRingQueue<PimDataI*>& auxQueue() { return _auxQueue; }
  const NuvCPRingQueue<NuvCPDeferredOp>& deferredQueue() const { return _deferred; }
  // Constraints posted since the last restartPropagation.
  int recentCount() const { return _recentCount; }
  NuvCPCstrI* recent(int i) const { return i >= 0 && i < _recentCount ? _recent[i] : nullptr; }

 private:
  int drainEvents(int r);
  int fixpointLoop();
  int runDaemon(NuvCPDaemonI* d);
  // Stores a decision's outcome and finishes it as the store requires.
  int settle(int r);
  // Stores a post's outcome and propagates when it calls for it.
  int afterPost(int r);
  void checkSolver(bool same, const char* message) const;
  void recordAction(PimAbstractAction* a);
  void appendRecent(NuvCPCstrI* c);
  void setAtomicDepth(std::int32_t d) { trail()->assign(_atomicDepth, _atomicStamp, d); }

  // The host trail is the base's (PimStoreI::trail()).
  PimStackAllocator _scratch;                      // temporary objects of the store
  NuvCPSearchControllerI* _controller = nullptr;  // the host search, may be null
  std::int32_t _userWord = 0;
  std::uint32_t _propagating = 0;  // re-entrancy guard, not trailed
  std::int32_t _atomicDepth = 0;   // trailed
  PimStamp _atomicStamp = 0;
  NuvCPRingQueue<NuvCPDeferredOp> _deferred;
  std::uint8_t _closed = 0;
  std::int32_t _postThenPropagate = 1;
  PimAC5Allocator _events;
  NuvCPEventQueue _eventQueue;
  std::int32_t _currentLevel = -1;
  NuvCPDaemonQueue _queues[kLevels];
  std::int32_t _levelCount = kLevels;
  NuvCPRingQueue<PimDataI*> _auxQueue;
  std::uint32_t _propagCount = 0;
  NuvCPRegistry<NuvCPIntVarI*> _intVars;
  NuvCPRegistry<PimDataI*> _floatVars;
  NuvCPRegistry<PimDataI*> _bitVars;
  NuvCPRegistry<NuvCPSetVarI*> _setVars;
  NuvCPRegistry<PimDataI*> _objects;
  NuvCPCstrI* _intObjective = nullptr;
  NuvCPCstrI* _floatObjective = nullptr;
  std::int32_t _status = NuvCPSuspend;  // trailed
  PimStamp _statusStamp = 0;
  NuvCPCstrI** _recent = nullptr;
  std::int32_t _recentCapacity = 0;
  std::int32_t _recentCount = 0;
  std::int32_t _daemonIds = 0;
  NuvCPDaemonI* _failed = nullptr;  // scratch
  double _floatPrecision = 1e-08;
  RavRuntime* _runtime = nullptr;
};

// Replays the opening or closing of an atomic section.
class NuvCPSetAtomicAction : public PimAbstractAction {
 public:
  NuvCPSetAtomicAction(PimAllocator* a, NuvCPManagerI* store, bool on)
      : PimAbstractAction(a), _store(store), _on(on) {}
  int execute(PimStoreI* store) override;
  std::size_t classSize() const override { return sizeof(NuvCPSetAtomicAction); }
  void mark(PimMarker& m) override { m.mark(_store); }
  void print(std::ostream& os) const override;

 private:
  NuvCPManagerI* _store;
  bool _on;
};

// Allocates a T in `allocator` and constructs it; nullptr when the allocator
// refuses. Cells of the engine are never deleted one by one: their arena
// reclaims them.
template <class T, class... A>
T* nuvCPNew(PimAllocator* allocator, A&&... args) {
  void* p = allocator ? allocator->allocate(sizeof(T)) : nullptr;
  return p ? ::new (p) T(static_cast<A&&>(args)...) : nullptr;
}
