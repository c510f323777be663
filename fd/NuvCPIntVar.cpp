#include "fd/NuvCPIntVar.h"

#include <ostream>
#include <sstream>

#include "fd/NuvCPBoolVarI.h"
#include "fd/NuvCPCIntVarI.h"
#include "fd/NuvCPManager.h"
#include "fd/NuvCPManagerI.h"
#include "fd/NuvCPSolutionI.h"
#include "fd/NuvCPViewIntVarI.h"
#include "host/PimError.h"

void NuvCPIntVar::print(std::ostream& os) const {
  if (_var)
    _var->print(os);
  else
    os << "var<CP>{int}(uninitialised)";
}

void NuvCPIntVar::init(RavRuntime& rt, int nargs) {
  NuvCPManager* owner = nullptr;
  std::int64_t lo = 0, hi = -1;
  RavIntSet set;
  bool holes = false;
  if (nargs == 3) {
    NuvCPArgs a(rt, "var<CP>{int}", {"CP$Store", "int", "int"});
    owner = nuvCPArgStore(a, 0);
    if (rt.argIsNull(1)) a.throwNull(1);
    if (rt.argIsNull(2)) a.throwNull(2);
    lo = rt.argInt64(1);
    hi = rt.argInt64(2);
  } else if (nargs == 2) {
    NuvCPArgs a(rt, "var<CP>{int}", {"CP$Store", "set{int}"});
    owner = nuvCPArgStore(a, 0);
    if (rt.argIsNull(1)) a.throwNull(1);
    set = rt.argIntSet(1);
    if (!set.empty()) {
      lo = set.min();
      hi = set.max();
      holes = !set.isRange();
    }
  } else {
    NuvNativeObject::init(rt, nargs);
  }
  if (lo > hi)
    throw PimExecutionError(rt.source(),
                            "The domain is empty upon creation of the decision variable");
  NuvCPManagerI* s = owner->store();
  auto* x = nuvCPNew<NuvCPCIntVarI>(s->allocator(), s->allocator(), s, lo, hi);
  if (!x) throw PimExecutionError(rt.source(), "out of memory creating a var<CP>{int}");
  _var = x;
  s->setIntVarHandle(x->getId(), this);
  if (holes) {
    // The gaps between the ranges; values outside the clamped bounds are
    // already gone.
    for (std::size_t i = 0; i + 1 < set.ranges.size(); ++i)
      for (std::int64_t v = set.ranges[i].second + 1; v < set.ranges[i + 1].first; ++v)
        if (v >= x->getMin() && v <= x->getMax() &&
            x->removeValue(static_cast<int>(v)) == NuvCPFailure)
          throw PimExecutionError(rt.source(), "out of memory creating a var<CP>{int}");
  }
}

NuvNativeObject* nuvCPIntViewHandle(RavRuntime& rt, NuvCPIntVarI* y, int c) {
  NuvCPManagerI* s = y->getSolver();
  const NuvNativeClass* cls = rt.getClass("CP$VarInt");
  auto* h = static_cast<NuvCPIntVar*>(cls->factory()->instantiate(rt.program().getMgr()->allocator(), cls));
  auto* v = nuvCPNew<NuvCPViewIntVarI>(s->allocator(), s->allocator(), s, y, c);
  if (!h || !v) throw PimExecutionError(rt.source(), "out of memory creating a var<CP>{int}");
  h->_var = v;
  return h;
}

void NuvCPBoolVar::print(std::ostream& os) const {
  if (_var)
    _var->print(os);
  else
    os << "var<CP>{bool}(uninitialised)";
}

void NuvCPBoolVar::init(RavRuntime& rt, int nargs) {
  if (nargs != 1) NuvNativeObject::init(rt, nargs);
  NuvCPArgs a(rt, "var<CP>{bool}", {"CP$Store"});
  NuvCPManagerI* s = nuvCPArgStore(a, 0)->store();
  auto* b = nuvCPNew<NuvCPBoolVarI>(s->allocator(), s->allocator(), s);
  if (!b) throw PimExecutionError(rt.source(), "out of memory creating a var<CP>{bool}");
  _var = b;
  s->setIntVarHandle(b->getId(), this);
}

NuvCPDaemonI* nuvCPArgDaemon(RavRuntime& rt, int n, const char* method) {
  NuvNativeObject* o = rt.argObject(n);
  if (!o) throw PimNullPointerError(rt.source(), std::string(method) + "(null)");
  auto* h = dynamic_cast<NuvCPCstrHandle*>(o);
  if (!h)
    throw PimExecutionError(rt.source(), std::string(method) + ": an object of class " +
                                             o->nativeClass()->name() + " is not a propagator");
  return h->cstr();
}

namespace {

NuvCPIntVarI* var(RavRuntime& rt, NuvNativeObject* o) {
  NuvCPIntVarI* x = static_cast<NuvCPVarObject*>(o)->intVar();
  if (!x) throw PimExecutionError(rt.source(), "the variable was never initialised");
  return x;
}

RavValue mGetMin(RavRuntime& rt, NuvNativeObject* o, int) { return RavValue(var(rt, o)->getMin()); }
RavValue mGetMax(RavRuntime& rt, NuvNativeObject* o, int) { return RavValue(var(rt, o)->getMax()); }
RavValue mGetSize(RavRuntime& rt, NuvNativeObject* o, int) {
  return RavValue(var(rt, o)->getSize());
}
RavValue mIsBound(RavRuntime& rt, NuvNativeObject* o, int) {
  return RavValue(var(rt, o)->isBound());
}
RavValue mGetValue(RavRuntime& rt, NuvNativeObject* o, int) {
  NuvCPIntVarI* x = var(rt, o);
  if (!x->isBound())
    throw PimExecutionError(rt.source(),
                            "The CP variable is not bound: it cannot be evaluated to int");
  return RavValue(x->getMin());
}
RavValue mMember(RavRuntime& rt, NuvNativeObject* o, int) {
  return RavValue(var(rt, o)->member(rt.argInt(0)));
}
RavValue mGetId(RavRuntime& rt, NuvNativeObject* o, int) { return RavValue(var(rt, o)->getId()); }
RavValue mToString(RavRuntime& rt, NuvNativeObject* o, int) {
  std::ostringstream os;
  var(rt, o)->print(os);
  return RavValue(os.str());
}

// The variable's state in a solution.
const NuvCPIntVarSnapshotI* snapshotIn(RavRuntime& rt, NuvNativeObject* o, const char* method) {
  if (rt.argIsNull(0)) throw PimNullPointerError(rt.source(), std::string(method) + "(null)");
  auto* sol = dynamic_cast<NuvCPSolution*>(rt.argObject(0));
  if (!sol)
    throw PimExecutionError(rt.source(), std::string(method) + " requires a solution object");
  const int id = var(rt, o)->getId();
  const NuvCPIntVarSnapshotI* snap =
      id < sol->solution()->intCount() ? sol->solution()->intSnapshot(id) : nullptr;
  if (!snap)
    throw PimExecutionError(rt.source(), std::string(method) +
                                             ": the solution has no snapshot of this variable");
  return snap;
}
RavValue mGetSnapshot(RavRuntime& rt, NuvNativeObject* o, int) {
  return RavValue(snapshotIn(rt, o, "getSnapshot")->value());
}
RavValue mGetSnapshotMin(RavRuntime& rt, NuvNativeObject* o, int) {
  return RavValue(snapshotIn(rt, o, "getSnapshotMin")->getMin());
}
RavValue mGetSnapshotMax(RavRuntime& rt, NuvNativeObject* o, int) {
  return RavValue(snapshotIn(rt, o, "getSnapshotMax")->getMax());
}

// Subscriptions of script propagators: a handle, and an index for the
// indexed forms.
template <void (NuvCPIntVarI::*Add)(NuvCPDaemonI*)>
RavValue subscribe(RavRuntime& rt, NuvNativeObject* o, const char* name) {
  NuvCPDaemonI* p = nuvCPArgDaemon(rt, 0, name);
  (var(rt, o)->*Add)(p);
  return RavValue();
}
template <void (NuvCPIntVarI::*Add)(NuvCPDaemonI*, int)>
RavValue subscribeIdx(RavRuntime& rt, NuvNativeObject* o, const char* name) {
  NuvCPDaemonI* p = nuvCPArgDaemon(rt, 0, name);
  (var(rt, o)->*Add)(p, rt.argInt(1));
  return RavValue();
}

#define NUV_SUB(fn, name, op) \
  RavValue fn(RavRuntime& rt, NuvNativeObject* o, int) { return subscribe<op>(rt, o, name); }
#define NUV_SUB_IDX(fn, name, op) \
  RavValue fn(RavRuntime& rt, NuvNativeObject* o, int) { return subscribeIdx<op>(rt, o, name); }
NUV_SUB(mAddDomain, "addDomain", &NuvCPIntVarI::addDomain)
NUV_SUB(mAddAC5, "addAC5", &NuvCPIntVarI::addAC5Value)
NUV_SUB(mAddAC5Bind, "addAC5Bind", &NuvCPIntVarI::addAC5Bind)
NUV_SUB(mAddAC5Min, "addAC5Min", &NuvCPIntVarI::addAC5Min)
NUV_SUB(mAddAC5Max, "addAC5Max", &NuvCPIntVarI::addAC5Max)
NUV_SUB(mAddAC5Bounds, "addAC5Bounds", &NuvCPIntVarI::addAC5Bounds)
NUV_SUB_IDX(mAddAC5Index, "addAC5Index", &NuvCPIntVarI::addAC5ValueIdx)
NUV_SUB_IDX(mAddAC5BindIndex, "addAC5BindIndex", &NuvCPIntVarI::addAC5BindIdx)
NUV_SUB_IDX(mAddAC5MinIndex, "addAC5MinIndex", &NuvCPIntVarI::addAC5MinIdx)
NUV_SUB_IDX(mAddAC5MaxIndex, "addAC5MaxIndex", &NuvCPIntVarI::addAC5MaxIdx)
NUV_SUB_IDX(mAddAC5BoundsIndex, "addAC5BoundsIndex", &NuvCPIntVarI::addAC5BoundsIdx)
#undef NUV_SUB
#undef NUV_SUB_IDX

const RavMethod kMethods[] = {
    {"getMin", mGetMin, 0, 0},
    {"getMax", mGetMax, 0, 0},
    {"getSize", mGetSize, 0, 0},
    {"isBound", mIsBound, 0, 0},
    {"getValue", mGetValue, 0, 0},
    {"member", mMember, 1, 1},
    {"getId", mGetId, 0, 0},
    {"toString", mToString, 0, 0},
    {"getSnapshot", mGetSnapshot, 1, 1},
    {"getSnapshotMin", mGetSnapshotMin, 1, 1},
    {"getSnapshotMax", mGetSnapshotMax, 1, 1},
    {"addDomain", mAddDomain, 1, 1},
    {"addAC5", mAddAC5, 1, 1},
    {"addAC5Index", mAddAC5Index, 2, 2},
    {"addAC5Bind", mAddAC5Bind, 1, 1},
    {"addAC5BindIndex", mAddAC5BindIndex, 2, 2},
    {"addAC5Min", mAddAC5Min, 1, 1},
    {"addAC5Max", mAddAC5Max, 1, 1},
    {"addAC5Bounds", mAddAC5Bounds, 1, 1},
    {"addAC5MinIndex", mAddAC5MinIndex, 2, 2},
    {"addAC5MaxIndex", mAddAC5MaxIndex, 2, 2},
    {"addAC5BoundsIndex", mAddAC5BoundsIndex, 2, 2},
};
const RavMethodTable kTable{kMethods, sizeof(kMethods) / sizeof(kMethods[0])};

}  // namespace

const RavMethodTable* NuvCPIntVar::methodTable() { return &kTable; }
