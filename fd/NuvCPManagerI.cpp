#include "fd/NuvCPManagerI.h"

#include <ostream>

#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPIVarI.h"
#include "fd/NuvCPSearchControllerI.h"
#include "fd/NuvCPSetVarI.h"
#include "fd/NuvCPSolutionI.h"
#include "host/Rav.h"

namespace {
const char* const kSourcePath = "..\\..\\fd\\NuvCPManagerI";
}

NuvCPManagerI::NuvCPManagerI(PimAllocator* allocator, NuvTrailI* trail, std::size_t eventBlockSize,
                             std::size_t eventBlocks)
    : PimStoreI(allocator, trail),
      _scratch(allocator),
      _deferred(allocator, 32),
      _events(allocator, eventBlockSize, eventBlocks),
      _eventQueue(allocator, 32),
      _queues{{allocator, 32}, {allocator, 32}, {allocator, 32}, {allocator, 32},
              {allocator, 32}, {allocator, 32}, {allocator, 32}, {allocator, 32}},
      _auxQueue(allocator, 64),
      _intVars(allocator),
      _floatVars(allocator),
      _bitVars(allocator),
      _setVars(allocator),
      _objects(allocator) {}

NuvCPManagerI::~NuvCPManagerI() {
  allocator()->releaseArray(_recent, static_cast<std::size_t>(_recentCapacity));
}

void NuvCPManagerI::mark(PimMarker& m) {
  m.mark(_controller);
  m.mark(_intObjective);
  m.mark(_floatObjective);
  m.mark(_failed);
  _intVars.forEach([&](NuvCPIntVarI* x) { m.mark(x); });
  _floatVars.forEach([&](PimDataI* x) { m.mark(x); });
  _bitVars.forEach([&](PimDataI* x) { m.mark(x); });
  _setVars.forEach([&](NuvCPSetVarI* x) { m.mark(x); });
  _objects.forEach([&](PimDataI* x) { m.mark(x); });
  for (int i = 0; i < _recentCount; ++i) m.mark(_recent[i]);
  // A post deferred by an atomic section is referenced by nothing else until
  // the section closes; queued daemons are normally reachable through their
  // variables, but a queue must never hold a reclaimed daemon.
  _deferred.forEach([&](const NuvCPDeferredOp& op) {
    m.mark(op.first);
    m.mark(op.second);
  });
  for (const auto& q : _queues) q.forEach([&](NuvCPDaemonI* d) { m.mark(d); });
  _auxQueue.forEach([&](PimDataI* x) { m.mark(x); });
}

void NuvCPManagerI::print(std::ostream& os) const {
  os << "CPStore" << std::endl;
  os << "\t#vars  : " << _intVars.count() << std::endl;
  os << "\t#fvars : " << _floatVars.count() << std::endl;
  os << "\t#bvars : " << _bitVars.count() << std::endl;
  os << "\t#propag: " << _propagCount << std::endl;
  os << "\ttrail  : " << trail()->peakSize() << std::endl;
}

// The solutions family builds the snapshot; until then there is none.
PimSolutionI* NuvCPManagerI::makeSolution() {
  return pimCreate<NuvCPSolutionI>(allocator(), allocator(), this);
}

void NuvCPManagerI::close() {
  _closed = 1;
  PimStoreI::close();
}

// ---- the fixpoint loop ----------------------------------------------------------------

// Never entered with a failure: both calls in propagate() stop at one first.
int NuvCPManagerI::drainEvents(int r) {
  while (!_eventQueue.empty()) {
    NuvCPAC5Event* e = _eventQueue.pop();
    if (!e) break;  // the event allocator ran dry
    ++_propagCount;
    r = e->execute();
    if (r == NuvCPFailure) {
      _failed = e->daemon();
      break;
    }
  }
  return r;
}

int NuvCPManagerI::runDaemon(NuvCPDaemonI* d) {
  d->setChecked(1);
  // A non-idempotent propagator may need to run again because of its own
  // changes, so it must be able to queue itself during its run.
  const bool idempotent = d->isIdempotent();
  if (!idempotent) d->setQueued(0);
  int r = d->propagate();
  if (idempotent) d->setQueued(0);
  d->setLastOutcome(r);
  if (r == NuvCPSuccess) d->setEnabled(0);
  return r;
}

int NuvCPManagerI::propagate() {
  if (_propagating != 0 || _atomicDepth != 0) return NuvCPDelay;
  if (_status == NuvCPFailure) return NuvCPFailure;
  ++_propagating;
  const int r = fixpointLoop();
  --_propagating;
  if (r != NuvCPFailure) {
    // At the fixpoint no event is alive any more: reuse the event memory
    // instead of letting it grow until the next failure.
    if (_eventQueue.empty()) _events.rewind();
    return NuvCPSuspend;
  }
  // The failure belongs to the store, not only to this caller: the queues are
  // gone and the daemons that were waiting in them stay flagged as queued
  // until backtracking, so nothing may propagate on this branch any more.
  resetQueues();
  setStatus(NuvCPFailure);
  return NuvCPFailure;
}

int NuvCPManagerI::settleNested() {
  const std::int32_t level = _currentLevel;
  const int r = fixpointLoop();
  _currentLevel = level;
  return r == NuvCPFailure ? NuvCPFailure : NuvCPSuspend;
}

int NuvCPManagerI::fixpointLoop() {
  int r = drainEvents(NuvCPSuspend);
  while (r != NuvCPFailure) {
    int level = kLevels - 1;
    while (level >= 0 && _queues[level].empty()) --level;
    if (level < 0) break;
    NuvCPDaemonQueue& q = _queues[level];
    while (!q.empty()) {
      NuvCPDaemonI* d = q.pop();
      if (!d) break;
      if (!d->isEnabled()) continue;
      ++_propagCount;
      _currentLevel = level;
      r = runDaemon(d);
      if (r == NuvCPFailure) {
        _failed = d;
        break;
      }
      // schedule() overwrote the current level with the lowest priority it
      // newly queued: leave this level only for lower-priority work. Work of
      // a higher priority waits until this level is drained.
      if (_currentLevel < level) break;
    }
    if (r == NuvCPFailure) break;
    r = drainEvents(r);
  }
  return r;
}

namespace {

// The daemons on a list lie all over memory, and a walk that loads each in
// turn waits for one cache miss after another. Fetching the daemon a few
// nodes ahead lets those misses overlap; the nodes themselves are read in
// sequence once the lists are compacted.
constexpr int kPrefetchDistance = 4;

NuvCPDListI* startPrefetch(NuvCPDListI* n) {
  for (int i = 0; n && i < kPrefetchDistance; ++i) {
    __builtin_prefetch(n->daemon());
    n = n->next();
  }
  return n;
}

NuvCPDListI* prefetchDaemon(NuvCPDListI* ahead) {
  if (!ahead) return nullptr;
  __builtin_prefetch(ahead->daemon());
  return ahead->next();
}

}  // namespace

void NuvCPManagerI::scheduleNonEmpty(NuvCPDListI* list) {
  std::int32_t lowest = kNoLevel;
  NuvCPDListI* ahead = startPrefetch(list);
  for (NuvCPDListI* n = list; n; n = n->next()) {
    ahead = prefetchDaemon(ahead);
    NuvCPDaemonI* d = n->daemon();
    if (!d->isEnabled()) continue;
    d->setChecked(0);
    if (d->isQueued()) continue;
    const std::int32_t p = static_cast<std::int32_t>(d->priority());
    // A daemon flagged as queued but missing from its queue would never be
    // queued again on this branch; when the queue cannot grow (already
    // reported) the daemon stays unqueued so that a later change retries.
    if (!_queues[p].push(d)) continue;
    d->setQueued(1);
    if (p < lowest) lowest = p;
  }
  _currentLevel = lowest;
}

void NuvCPManagerI::enqueue(NuvCPDaemonI* d) {
  if (!d->isEnabled() || d->isQueued()) return;
  d->setChecked(0);
  if (_queues[d->priority()].push(d)) d->setQueued(1);
}

void NuvCPManagerI::resetQueues() {
  _eventQueue.clear();
  for (auto& q : _queues) q.clear();
  _auxQueue.clear();
  _deferred.clear();
  _events.rewind();
}

void NuvCPManagerI::resetQueuesForShaving() {
  _eventQueue.clear();
  for (auto& q : _queues) q.clear();
  _auxQueue.clear();
  _events.rewind();
  if (_controller) _controller->reset(0);
  trail()->advanceStamp();
}

// ---- value-event services ------------------------------------------------------------

void NuvCPManagerI::notifyRemoveValue(NuvCPDListI* n, NuvCPIntVarI* x, int v) {
  while (n) n = n->valRemove(_events, _eventQueue, x, v);
}
void NuvCPManagerI::notifyUpdateMin(NuvCPDListI* n, NuvCPIntVarI* x, int v) {
  while (n) n = n->updateMin(_events, _eventQueue, x, v);
}
void NuvCPManagerI::notifyUpdateMax(NuvCPDListI* n, NuvCPIntVarI* x, int v) {
  while (n) n = n->updateMax(_events, _eventQueue, x, v);
}
void NuvCPManagerI::notifyUpdateBounds(NuvCPDListI* n, NuvCPIntVarI* x) {
  while (n) n = n->updateBounds(_events, _eventQueue, x);
}
void NuvCPManagerI::notifyBindToValue(NuvCPDListI* n, NuvCPIntVarI* x, int v) {
  while (n) n = n->bindToValue(_events, _eventQueue, x, v);
}
void NuvCPManagerI::notifyRemoveRangeUp(NuvCPDListI* n, NuvCPIntVarI* x, int low, int high) {
  while (n) n = n->removeRangeUp(_events, _eventQueue, x, low, high);
}
void NuvCPManagerI::notifyRemoveRangeDown(NuvCPDListI* n, NuvCPIntVarI* x, int low, int high) {
  while (n) n = n->removeRangeDown(_events, _eventQueue, x, low, high);
}
void NuvCPManagerI::notifyRequires(NuvCPDListI* n, NuvCPSetVarI* x, int e) {
  while (n) n = n->requiresElem(_events, _eventQueue, x, e);
}
void NuvCPManagerI::notifyExcludes(NuvCPDListI* n, NuvCPSetVarI* x, int e) {
  while (n) n = n->excludes(_events, _eventQueue, x, e);
}
void NuvCPManagerI::notifyBitBound(NuvCPDListI* n, PimDataI* x, int bit, int value) {
  while (n) n = n->bitBound(_events, _eventQueue, x, bit, value);
}

// ---- posting -------------------------------------------------------------------------------

void NuvCPManagerI::appendRecent(NuvCPCstrI* c) {
  if (_recentCount == _recentCapacity) {
    std::int32_t capacity = _recentCapacity == 0 ? 32 : _recentCapacity * 2;
    auto* recent = allocator()->allocateArray<NuvCPCstrI*>(static_cast<std::size_t>(capacity));
    if (!recent) return;  // the list only serves inspection; the post goes on
    for (std::int32_t i = 0; i < _recentCount; ++i) recent[i] = _recent[i];
    allocator()->releaseArray(_recent, static_cast<std::size_t>(_recentCapacity));
    _recent = recent;
    _recentCapacity = capacity;
  }
  _recent[_recentCount++] = c;
}

void NuvCPManagerI::recordAction(PimAbstractAction* a) {
  if (a && _controller) _controller->record(a);
}

int NuvCPManagerI::afterPost(int r) {
  setStatus(r);
  if (r == NuvCPFailure) {
    resetQueues();
    return NuvCPFailure;
  }
  if (r == NuvCPSuccess || r == NuvCPSuspend) {
    setStatus(propagate());
    return _status;
  }
  return r;
}

int NuvCPManagerI::post(NuvCPCstrI* c, int level) { return post(nullptr, c, level); }

int NuvCPManagerI::post(PimDataI* owner, NuvCPCstrI* c, int level) {
  if (_atomicDepth != 0) {
    _deferred.push(NuvCPDeferredOp{c, NuvCPDeferredOp::kPost, owner, level});
    return NuvCPDelay;
  }
  if (!c) return NuvCPFailure;
  // A failed store stays failed until backtracking (see propagate()).
  if (_status == NuvCPFailure) return NuvCPFailure;
  appendRecent(c);
  // The level is not passed on: a propagator chooses its own consistency.
  int r = c->post(0);
  if (_closed && _controller && _controller->isRecording())
    recordAction(dynamic_cast<PimAbstractAction*>(c->cloneInto(nullptr)));
  return afterPost(r);
}

int NuvCPManagerI::postExpression(NuvCPExprI* e, int level, PimDataI* operand) {
  if (_atomicDepth != 0 && e) {
    _deferred.push(NuvCPDeferredOp{e, NuvCPDeferredOp::kExprPost, operand, level});
    setStatus(NuvCPDelay);
    return NuvCPDelay;
  }
  int r = e ? e->postInto(this, operand, level) : NuvCPFailure;
  return afterPost(r);
}

void NuvCPManagerI::setAtomic(bool on) {
  const bool recording = _controller && _controller->isRecording();
  if (on) {
    setAtomicDepth(_atomicDepth + 1);
    if (recording) recordAction(nuvCPNew<NuvCPSetAtomicAction>(allocator(), allocator(), this, true));
    return;
  }
  if (_atomicDepth == 0) return;
  setAtomicDepth(_atomicDepth - 1);
  if (recording) recordAction(nuvCPNew<NuvCPSetAtomicAction>(allocator(), allocator(), this, false));
  if (_atomicDepth != 0) return;

  // Replay with the loop blocked, so that the deferred posts share one fixpoint.
  ++_propagating;
  int r = NuvCPSuspend;
  while (!_deferred.empty()) {
    NuvCPDeferredOp op = _deferred.pop();
    if (op.kind == NuvCPDeferredOp::kPost) {
      auto* c = static_cast<NuvCPCstrI*>(op.first);
      r = op.second ? post(op.second, c, op.level) : post(c, op.level);
    } else if (op.kind == NuvCPDeferredOp::kExprPost) {
      r = postExpression(static_cast<NuvCPExprI*>(op.first), op.level, op.second);
    } else {
      raiseInternalAssertion("false", kSourcePath, 746);
    }
    if (r == NuvCPFailure) break;
  }
  --_propagating;
  if (r == NuvCPFailure)
    setStatus(NuvCPFailure);
  else if (r >= NuvCPSuccess && r <= NuvCPDelay)
    setStatus(propagate());
}

// ---- decisions --------------------------------------------------------------------------

void NuvCPManagerI::checkSolver(bool same, const char* message) const {
  if (!same) throw PimExecutionError(_runtime ? _runtime->source() : PimSource(), message);
}

int NuvCPManagerI::settle(int r) {
  setStatus(r);
  if (r == NuvCPFailure)
    resetQueues();
  else if (r == NuvCPSuccess || r == NuvCPSuspend)
    setStatus(propagate());
  else
    setStatus(NuvCPFailure);
  return _status;
}

int NuvCPManagerI::label(NuvCPIntVarI* x, int v) {
  checkSolver(x && x->getSolver() == this,
              "attempting to label a variable from a different solver.");
  return settle(x->bind(v));
}

int NuvCPManagerI::diff(NuvCPIntVarI* x, int v) {
  checkSolver(x && x->getSolver() == this, "attempting to diff a variable from a different solver.");
  return settle(x->removeValue(v));
}

int NuvCPManagerI::lthen(NuvCPIntVarI* x, int v) {
  checkSolver(x && x->getSolver() == this,
              "attempting to set a '<' on a variable from a different solver.");
  // Nothing lies below the smallest int, and v - 1 would overflow.
  return settle(v == INT32_MIN ? NuvCPFailure : x->updateMax(v - 1));
}

int NuvCPManagerI::gthen(NuvCPIntVarI* x, int v) {
  checkSolver(x && x->getSolver() == this,
              "attempting to set a '>' on a variable from a different solver.");
  // Nothing lies above the largest int, and v + 1 would overflow.
  return settle(v == INT32_MAX ? NuvCPFailure : x->updateMin(v + 1));
}

int NuvCPManagerI::inside(NuvCPSetVarI* s, int e) {
  checkSolver(s && s->getSolver() == this,
              "attempting to state an 'inside' on a set variable from a different solver.");
  return settle(s->inside(e));
}

int NuvCPManagerI::outside(NuvCPSetVarI* s, int e) {
  checkSolver(s && s->getSolver() == this,
              "attempting to state an 'outside' on a set variable from a different solver.");
  return settle(s->outside(e));
}

int NuvCPManagerI::require(NuvCPSetVarI* s, int e) {
  checkSolver(s && s->getSolver() == this,
              "attempting to set a 'require' on a set variable from a different solver.");
  return settle(s->require(e));
}

int NuvCPManagerI::exclude(NuvCPSetVarI* s, int e) {
  checkSolver(s && s->getSolver() == this,
              "attempting to set an 'exclude' on a set variable from a different solver.");
  return settle(s->exclude(e));
}

// ---- restart ---------------------------------------------------------------------------

bool NuvCPManagerI::restartPropagation() {
  if (_intObjective) setStatus(_intObjective->propagate());
  if (_floatObjective) setStatus(_floatObjective->propagate());
  if (_status == NuvCPFailure) return false;
  setStatus(propagate());
  _recentCount = 0;
  if (!_recent) {
    _recent = allocator()->allocateArray<NuvCPCstrI*>(32);
    if (_recent) _recentCapacity = 32;
  }
  return _status != NuvCPFailure;
}

// ---- atomic-section action -------------------------------------------------------------

int NuvCPSetAtomicAction::execute(PimStoreI* store) {
  auto* cp = store ? dynamic_cast<NuvCPManagerI*>(store) : _store;
  if (!cp) return NuvCPFailure;
  cp->setAtomic(_on);
  return cp->status();
}

void NuvCPSetAtomicAction::print(std::ostream& os) const {
  os << "CPSetAtomic(" << (_on ? "true" : "false") << ")";
}

NuvCPSetVarI::NuvCPSetVarI(PimAllocator* allocator, NuvCPManagerI* solver)
    : PimDataI(allocator), _solver(solver), _id(solver ? solver->registerSetVar(this) : -1) {}
