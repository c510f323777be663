#include "fd/NuvCPAdapter.h"

#include <ostream>
#include <vector>

#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPManagerI.h"
#include "host/PimError.h"

namespace {

// The store takes propagators (NuvCPCstrI); the script's daemon is a
// NuvCPUserConstraintI, so this propagator holds one and hands every
// operation to it, subscribed to the variables it was given.
class NuvCPAdaptedI : public NuvCPCstrI {
 public:
  NuvCPAdaptedI(NuvCPManagerI* store, RavRuntime* rt, NuvNativeObject* object, int n, NuvCPIntVarI* const* vars)
      : NuvCPCstrI(store, 7) {
    _script = nuvCPNew<NuvCPUserConstraintI>(store->allocator(), store, rt, object, nullptr);
    for (int i = 0; _script && i < n; ++i) _script->addItem(vars[i]);
  }
  std::size_t classSize() const override { return sizeof(NuvCPAdaptedI); }
  void mark(PimMarker& m) override {
    NuvCPCstrI::mark(m);
    if (_script) m.mark(_script);
  }
  void print(std::ostream& os) const override {
    if (_script) _script->print(os);
  }
  bool isUserDefined() const override { return true; }
  int post(int level) override {
    if (!_script) return NuvCPFailure;
    const int r = _script->post(level);
    if (r == NuvCPFailure || r == NuvCPSuccess) return r;
    for (int i = 1; i < _script->itemCount(); ++i) {
      auto* x = static_cast<NuvCPIntVarI*>(_script->item(i));
      if (!x->isBound()) x->addDomain(this);
    }
    _script->announceId();
    return r;
  }
  int propagate() override { return _script->propagate(); }
  int valRemove(NuvCPIntVarI* x, int v) override { return _script->valRemove(x, v); }
  int updateMin(NuvCPIntVarI* x, int v) override { return _script->updateMin(x, v); }
  int updateMax(NuvCPIntVarI* x, int v) override { return _script->updateMax(x, v); }
  int updateBounds(NuvCPIntVarI* x) override { return _script->updateBounds(x); }
  int valBind(NuvCPIntVarI* x, int v) override { return _script->valBind(x, v); }
  int valRemoveIdx(NuvCPIntVarI* x, int i, int v) override { return _script->valRemoveIdx(x, i, v); }
  int valBindIdx(NuvCPIntVarI* x, int i, int v) override { return _script->valBindIdx(x, i, v); }
  int updateMinIdx(NuvCPIntVarI* x, int i, int v) override { return _script->updateMinIdx(x, i, v); }
  int updateMaxIdx(NuvCPIntVarI* x, int i, int v) override { return _script->updateMaxIdx(x, i, v); }
  int updateBoundsIdx(NuvCPIntVarI* x, int i) override { return _script->updateBoundsIdx(x, i); }

 private:
  NuvCPUserConstraintI* _script = nullptr;
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
