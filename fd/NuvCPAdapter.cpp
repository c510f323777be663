#include "fd/NuvCPAdapter.h"

#include <vector>

#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPManagerI.h"
#include "host/PimError.h"

namespace {

// The script's propagator, subscribed to the variables it was given.
class NuvCPAdaptedI : public NuvCPUserConstraintI {
 public:
  NuvCPAdaptedI(NuvCPManagerI* store, RavRuntime* rt, NuvNativeObject* object, int n, NuvCPIntVarI* const* vars)
      : NuvCPUserConstraintI(store, rt, object, nullptr) {
    for (int i = 0; i < n; ++i) addItem(vars[i]);
  }
  int post(int level) override {
    const int r = NuvCPUserConstraintI::post(level);
    if (r == NuvCPFailure || r == NuvCPSuccess) return r;
    for (int i = 1; i < itemCount(); ++i) {
      auto* x = static_cast<NuvCPIntVarI*>(item(i));
      if (!x->isBound()) x->addDomain(this);
    }
    announceId();
    return r;
  }
};

class NuvCPAdapter : public NuvCPCstr {
 public:
  using NuvCPCstr::NuvCPCstr;
  std::size_t classSize() const override { return sizeof(NuvCPAdapter); }
  void mark(PimMarker& m) override {
    if (_object) m.mark(_object);
    for (NuvCPIntVarI* x : _vars) m.mark(x);
  }

  void init(RavRuntime& rt, int nargs) override {
    if (nargs != 1 && nargs != 2) NuvCPCstr::init(rt, nargs);
    NuvCPArgs a = nargs == 1 ? NuvCPArgs(rt, "Adapter", {"object"})
                             : NuvCPArgs(rt, "Adapter", {"object", "var<CP>{int}[]"});
    _object = a.object(0);
    if (nargs == 2) _vars = a.intVars(1);
    _rt = &rt;
    accepted(rt, nargs);
  }

  NuvCPDaemonI* build(NuvCPManagerI* s) override {
    for (NuvCPIntVarI* x : _vars)
      if (x->getSolver() != s)
        throw PimExecutionError(PimSource(), "CP$Adapter: posted to a solver its variables do not belong to");
    return nuvCPNew<NuvCPAdaptedI>(s->allocator(), s, _rt, _object, static_cast<int>(_vars.size()), _vars.data());
  }

  static const RavMethodTable* methodTable() { return nullptr; }

  class Factory : public NuvCPFactory<NuvCPAdapter> {
   public:
    using NuvCPFactory::NuvCPFactory;
    std::size_t classSize() const override { return sizeof(Factory); }
  };

 private:
  NuvNativeObject* _object = nullptr;
  std::vector<NuvCPIntVarI*> _vars;
  RavRuntime* _rt = nullptr;  // the runtime that owns the object
};

}  // namespace

NuvInstanceFactory* nuvCPAdapterFactory(PimAllocator* a, const char* name) {
  return pimCreate<NuvCPAdapter::Factory>(a, a, name);
}
