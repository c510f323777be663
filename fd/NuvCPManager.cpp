#include "fd/NuvCPManager.h"

#include <ostream>
#include <sstream>

#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPManagerI.h"
#include "fd/NuvCPSolutionI.h"
#include "host/PimError.h"

NuvCPManager::NuvCPManager(PimAllocator* a, const NuvNativeClass* cls) : NuvNativeObject(a, cls) {
  // The solver's arena and trail live outside the program arena; the program
  // arena runs this destructor when it goes, which releases them.
  if (a) a->registerFinalizer(this);
}

NuvCPManager::~NuvCPManager() {
  // The store's own allocators return their blocks to the arena, so the store
  // goes first.
  if (_store) _store->~NuvCPManagerI();
  _store = nullptr;
  _owned.reset();
}

void NuvCPManager::mark(PimMarker& m) { m.mark(_store); }

void NuvCPManager::print(std::ostream& os) const {
  if (_store)
    _store->print(os);
  else
    os << "CP$Store(uninitialised)";
}

void NuvCPManager::init(RavRuntime& rt, int nargs) {
  if (nargs > 1) NuvNativeObject::init(rt, nargs);
  _owned = std::make_unique<Owned>();
  if (nargs == 1) {
    std::int64_t limit = rt.argInt64(0);
    if (limit < 0) throw PimExecutionError(rt.source(), "CP$Store: negative memory limit");
    _owned->arena.setLimit(static_cast<std::size_t>(limit));
  }
  _store = pimCreate<NuvCPManagerI>(&_owned->arena, &_owned->arena, &_owned->trail);
  if (!_store) throw PimExecutionError(rt.source(), "out of memory creating a CP$Store");
  // The store reports errors at the script's position and reads the trace
  // level and verbosity of its program.
  _store->setRuntime(&rt);
}

int NuvCPManager::post(RavRuntime& rt, NuvCPCstr* c) {
  NuvCPDaemonI* p = c->build(_store);
  if (!p)
    throw PimExecutionError(rt.source(), "out of memory posting a constraint of class " +
                                             c->nativeClass()->name());
  // An objective becomes the store's hook, re-imposed after every restore.
  if (p->isObjective()) _store->setIntObjective(static_cast<NuvCPCstrI*>(p));
  return _store->post(static_cast<NuvCPCstrI*>(p));
}

NuvCPManager* nuvCPArgStore(const NuvCPArgs& args, int n) {
  NuvNativeObject* o = args.object(n, "CP$Store");
  auto* m = static_cast<NuvCPManager*>(o);
  if (!m->store())
    throw PimExecutionError(args.runtime().source(), "the CP$Store was never initialised");
  return m;
}

// ---- methods --------------------------------------------------------------------

namespace {

NuvCPManager* self(NuvNativeObject* o) { return static_cast<NuvCPManager*>(o); }

RavValue mPost(RavRuntime& rt, NuvNativeObject* o, int) {
  NuvCPArgs a(rt, "post", {"constraint<CP>"});
  auto* c = dynamic_cast<NuvCPCstr*>(a.object(0));
  if (!c)
    throw PimExecutionError(rt.source(), "post: an object of class " +
                                             rt.argObject(0)->nativeClass()->name() +
                                             " is not a constraint");
  return RavValue(self(o)->post(rt, c));
}

RavValue mLabel(RavRuntime& rt, NuvNativeObject* o, int) {
  NuvCPArgs a(rt, "label", {"var<CP>{int}", "int"});
  return RavValue(self(o)->store()->label(a.intVar(0), a.intValue(1)));
}
RavValue mDiff(RavRuntime& rt, NuvNativeObject* o, int) {
  NuvCPArgs a(rt, "diff", {"var<CP>{int}", "int"});
  return RavValue(self(o)->store()->diff(a.intVar(0), a.intValue(1)));
}
RavValue mLthen(RavRuntime& rt, NuvNativeObject* o, int) {
  NuvCPArgs a(rt, "lthen", {"var<CP>{int}", "int"});
  return RavValue(self(o)->store()->lthen(a.intVar(0), a.intValue(1)));
}
RavValue mGthen(RavRuntime& rt, NuvNativeObject* o, int) {
  NuvCPArgs a(rt, "gthen", {"var<CP>{int}", "int"});
  return RavValue(self(o)->store()->gthen(a.intVar(0), a.intValue(1)));
}
RavValue mPropagate(RavRuntime&, NuvNativeObject* o, int) {
  return RavValue(self(o)->store()->propagate());
}
RavValue mStatus(RavRuntime&, NuvNativeObject* o, int) {
  return RavValue(self(o)->store()->status());
}
RavValue mIsConsistent(RavRuntime&, NuvNativeObject* o, int) {
  return RavValue(self(o)->store()->isConsistent());
}
RavValue mStartAtomic(RavRuntime&, NuvNativeObject* o, int) {
  self(o)->store()->setAtomic(true);
  return RavValue();
}
RavValue mEndAtomic(RavRuntime&, NuvNativeObject* o, int) {
  self(o)->store()->setAtomic(false);
  return RavValue(self(o)->store()->status());
}
// A choice point: everything changed after it is undone by pop().
RavValue mPush(RavRuntime&, NuvNativeObject* o, int) {
  self(o)->trail()->push();
  return RavValue(static_cast<std::int64_t>(self(o)->trail()->depth()));
}
RavValue mPop(RavRuntime& rt, NuvNativeObject* o, int) {
  NuvTrailI* t = self(o)->trail();
  if (t->depth() == 0) throw PimExecutionError(rt.source(), "pop: no choice point to undo");
  t->pop();
  return RavValue(self(o)->store()->restartPropagation());
}
RavValue mDepth(RavRuntime&, NuvNativeObject* o, int) {
  return RavValue(static_cast<std::int64_t>(self(o)->trail()->depth()));
}
RavValue mNbIntVars(RavRuntime&, NuvNativeObject* o, int) {
  return RavValue(self(o)->store()->intVarCount());
}
RavValue mClose(RavRuntime&, NuvNativeObject* o, int) {
  self(o)->store()->close();
  return RavValue();
}
RavValue mToString(RavRuntime&, NuvNativeObject* o, int) {
  std::ostringstream os;
  self(o)->print(os);
  return RavValue(os.str());
}

RavValue mMakeSolution(RavRuntime& rt, NuvNativeObject* o, int) {
  auto* sol = static_cast<NuvCPSolutionI*>(self(o)->store()->makeSolution());
  PimAllocator* a = rt.program().getMgr()->allocator();
  auto* h = sol ? new (a) NuvCPSolution(a, sol) : nullptr;
  if (!h) throw PimExecutionError(rt.source(), "out of memory making a solution");
  return RavValue(static_cast<NuvNativeObject*>(h));
}
RavValue mRestore(RavRuntime& rt, NuvNativeObject* o, int) {
  auto* sol = dynamic_cast<NuvCPSolution*>(rt.argObject(0));
  if (!sol) throw PimNullPointerError(rt.source(), "restore(null)");
  return RavValue(sol->solution()->restore(self(o)->store()));
}

const RavMethod kStoreMethods[] = {
    {"makeSolution", mMakeSolution, 0, 0},
    {"restore", mRestore, 1, 1},
    {"post", mPost, 1, 1},
    {"label", mLabel, 2, 2},
    {"diff", mDiff, 2, 2},
    {"lthen", mLthen, 2, 2},
    {"gthen", mGthen, 2, 2},
    {"propagate", mPropagate, 0, 0},
    {"status", mStatus, 0, 0},
    {"isConsistent", mIsConsistent, 0, 0},
    {"startAtomic", mStartAtomic, 0, 0},
    {"endAtomic", mEndAtomic, 0, 0},
    {"push", mPush, 0, 0},
    {"pop", mPop, 0, 0},
    {"depth", mDepth, 0, 0},
    {"getNbIntVars", mNbIntVars, 0, 0},
    {"close", mClose, 0, 0},
    {"toString", mToString, 0, 0},
};
const RavMethodTable kStoreTable{kStoreMethods, sizeof(kStoreMethods) / sizeof(kStoreMethods[0])};

}  // namespace

const RavMethodTable* NuvCPManager::methodTable() { return &kStoreTable; }

// ---- trailed integer list -------------------------------------------------------

void NuvCPTrailIntList::mark(PimMarker& m) { m.mark(_owner); }

void NuvCPTrailIntList::print(std::ostream& os) const {
  os << "[";
  for (int i = 0; i < _size; ++i) os << (i ? "," : "") << _values[i];
  os << "]";
}

void NuvCPTrailIntList::init(RavRuntime& rt, int nargs) {
  if (nargs != 1) NuvNativeObject::init(rt, nargs);
  NuvCPArgs a(rt, "TrailIntList", {"CP$Store"});
  _owner = nuvCPArgStore(a, 0);
  _sizeStamp = _owner->trail()->stamp();
}

void NuvCPTrailIntList::add(int v) {
  if (_size == _capacity) {
    // Values past the trailed size are dead, so the copy needs no trailing.
    const std::int32_t cap = _capacity ? 2 * _capacity : 8;
    auto* bigger = _owner->arena()->allocateArray<std::int32_t>(static_cast<std::size_t>(cap));
    if (!bigger) throw PimExecutionError(PimSource{}, "out of memory growing a CP$TrailIntList");
    for (int i = 0; i < _size; ++i) bigger[i] = _values[i];
    _owner->arena()->releaseArray(_values, static_cast<std::size_t>(_capacity));
    _values = bigger;
    _capacity = cap;
  }
  _values[_size] = v;
  _owner->trail()->assign(_size, _sizeStamp, _size + 1);
}

namespace {

NuvCPTrailIntList* list(NuvNativeObject* o) { return static_cast<NuvCPTrailIntList*>(o); }

RavValue mAdd(RavRuntime& rt, NuvNativeObject* o, int) {
  list(o)->add(rt.argInt(0));
  return RavValue();
}
RavValue mSize(RavRuntime&, NuvNativeObject* o, int) { return RavValue(list(o)->size()); }
RavValue mGet(RavRuntime& rt, NuvNativeObject* o, int) {
  int i = rt.argInt(0);
  if (i < 0 || i >= list(o)->size())
    throw PimExecutionError(rt.source(), "TrailIntList: index " + std::to_string(i) +
                                             " outside 0.." + std::to_string(list(o)->size() - 1));
  return RavValue(list(o)->get(i));
}
RavValue mListToString(RavRuntime&, NuvNativeObject* o, int) {
  std::ostringstream os;
  list(o)->print(os);
  return RavValue(os.str());
}

const RavMethod kListMethods[] = {
    {"add", mAdd, 1, 1},
    {"size", mSize, 0, 0},
    {"get", mGet, 1, 1},
    {"toString", mListToString, 0, 0},
};
const RavMethodTable kListTable{kListMethods, sizeof(kListMethods) / sizeof(kListMethods[0])};

}  // namespace

const RavMethodTable* NuvCPTrailIntList::methodTable() { return &kListTable; }

// ---- solutions ------------------------------------------------------------------------

NuvCPSolution::NuvCPSolution(PimAllocator* a, NuvCPSolutionI* s)
    : NuvNativeObject(a, nativeClassOfSolutions()), _solution(s) {}

const NuvNativeClass* NuvCPSolution::nativeClassOfSolutions() {
  // Immutable once made: shared by every program and thread.
  static const NuvNativeClass kClass("CP$Solution", nullptr);
  return &kClass;
}

void NuvCPSolution::mark(PimMarker& m) { m.mark(_solution); }

void NuvCPSolution::print(std::ostream& os) const { _solution->print(os); }
