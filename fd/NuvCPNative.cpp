#include "fd/NuvCPNative.h"

#include <typeindex>
#include <typeinfo>
#include <utility>

#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPIVarI.h"
#include "host/PimError.h"

void NuvCPUnavailable::init(RavRuntime& rt, int) {
  throw PimExecutionError(rt.source(), "class " + nativeClass()->name() +
                                           " is not available in this build of nuvfd");
}

void NuvCPVarObject::mark(PimMarker& m) {
  m.mark(_var);
}

// ---- arguments ------------------------------------------------------------------

NuvCPArgs::NuvCPArgs(RavRuntime& rt, const char* name, std::initializer_list<const char*> types,
                     int receiver)
    : _rt(rt), _name(name), _types(types), _receiver(receiver) {}

std::string NuvCPArgs::nullMessage(int n) const {
  // A reified form names its result first: "null operator==(...)" when the
  // result is missing, "var<CP>{bool} operator==(null,int)" otherwise.
  std::string s;
  if (_receiver >= 0)
    s = std::string(n == _receiver ? "null" : _types[static_cast<std::size_t>(_receiver)]) + " ";
  s += std::string(_name) + "(";
  bool first = true;
  for (int i = 0; i < static_cast<int>(_types.size()); ++i) {
    if (i == _receiver) continue;
    if (!first) s += ",";
    first = false;
    s += i == n ? "null" : _types[static_cast<std::size_t>(i)];
  }
  return s + ")";
}

void NuvCPArgs::throwNull(int n) const { throw PimNullPointerError(_rt.source(), nullMessage(n)); }

namespace {

NuvCPIntVarI* varOf(RavRuntime& rt, NuvNativeObject* o, int n) {
  auto* v = dynamic_cast<NuvCPVarObject*>(o);
  if (!v)
    throw PimExecutionError(rt.source(), "argument " + std::to_string(n + 1) +
                                             ": expected a variable, got an object of class " +
                                             o->nativeClass()->name());
  return v->intVar();
}

}  // namespace

NuvCPIntVarI* NuvCPArgs::intVar(int n) const {
  NuvNativeObject* o = _rt.argObject(n);
  if (!o) throwNull(n);
  return varOf(_rt, o, n);
}

std::vector<NuvCPIntVarI*> NuvCPArgs::intVars(int n) const {
  if (_rt.argIsNull(n)) throwNull(n);
  const RavObjectArray& a = _rt.argObjectArray(n);
  std::vector<NuvCPIntVarI*> out;
  out.reserve(a.size());
  for (NuvNativeObject* o : a.values) {
    if (!o) throwNull(n);
    out.push_back(varOf(_rt, o, n));
  }
  return out;
}

int NuvCPArgs::intValue(int n) const {
  if (_rt.argIsNull(n)) throwNull(n);
  return _rt.argInt(n);
}

std::vector<int> NuvCPArgs::intValues(int n) const {
  if (_rt.argIsNull(n)) throwNull(n);
  const RavIntArray& a = _rt.argIntArray(n);
  std::vector<int> out;
  out.reserve(a.size());
  for (std::int64_t v : a.values) {
    if (v < INT32_MIN || v > INT32_MAX)
      throw PimExecutionError(_rt.source(), "argument " + std::to_string(n + 1) + " of " + _name +
                                                ": value " + std::to_string(v) +
                                                " does not fit in 32 bits");
    out.push_back(static_cast<int>(v));
  }
  return out;
}

int NuvCPArgs::arrayLow(int n) const {
  if (_rt.argIsNull(n)) throwNull(n);
  const RavValue& v = _rt.arg(n);
  switch (v.type()) {
    case RavType::IntArray: return v.asIntArray().low;
    case RavType::FloatArray: return v.asFloatArray().low;
    case RavType::ObjectArray: return v.asObjectArray().low;
    default: return _rt.argObjectArray(n).low;  // raises the type error
  }
}

NuvNativeObject* NuvCPArgs::object(int n, const char* className) const {
  const NuvNativeClass* cls = className ? _rt.getClass(className) : nullptr;
  NuvNativeObject* o = _rt.argObject(n, cls);
  if (!o) throwNull(n);
  return o;
}

// ---- constraint objects ---------------------------------------------------------

void NuvCPCstr::init(RavRuntime& rt, int nargs) {
  throw PimExecutionError(rt.source(), "no constructor of " + nativeClass()->name() + " takes " +
                                           std::to_string(nargs) + " argument(s)");
}

void NuvCPCstr::accepted(RavRuntime& rt, int overload, const char* varClassName) {
  _overload = overload;
  _varClass = varClassName ? rt.program().findClass(varClassName) : nullptr;
}

void NuvCPCstr::checkSolver(NuvCPManagerI* store, std::initializer_list<const std::vector<NuvCPIntVarI*>*> arrays,
                            std::initializer_list<NuvCPIntVarI*> vars) const {
  bool mine = true;
  for (const auto* a : arrays)
    for (NuvCPIntVarI* x : *a) mine = mine && x->getSolver() == store;
  for (NuvCPIntVarI* x : vars) mine = mine && (!x || x->getSolver() == store);  // null: an absent option
  if (!mine)
    throw PimExecutionError(PimSource(), nativeClass()->name() + ": posted to a solver its variables do not belong to");
}

void NuvCPCstrHandle::mark(PimMarker& m) {
  m.mark(_cstr);
}

// ---- handles --------------------------------------------------------------------

namespace {

class HandleVisitor final : public NuvCPCstrVisitorI {
 public:
  explicit HandleVisitor(RavRuntime& rt) : _rt(rt) {}
  void visit(NuvCPDaemonI* c) override {
    const char* name = nuvCPNativeClassOf(c);
    const NuvNativeClass* cls = _rt.program().findClass(name ? name : "CP$Adapter");
    if (!cls) return;
    PimAllocator* a = _rt.program().getMgr()->allocator();
    result = new (a) NuvCPCstrHandle(a, cls, c);
  }
  NuvNativeObject* result = nullptr;

 private:
  RavRuntime& _rt;
};

}  // namespace

NuvNativeObject* NuvCPMakeHandle::makeHandle(NuvCPDaemonI* c) {
  _result = nullptr;
  if (!c) return nullptr;
  HandleVisitor v(_rt);
  c->accept(v);
  _result = v.result;
  return _result;
}
