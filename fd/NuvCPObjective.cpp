#include "fd/NuvCPObjective.h"

#include "fd/NuvCPManager.h"
#include "fd/NuvCPManagerI.h"
#include "fd/NuvCPObjectiveI.h"
#include "host/PimError.h"

class NuvCPMinimize : public NuvCPCstr {
 public:
  using NuvCPCstr::NuvCPCstr;
  std::size_t classSize() const override { return sizeof(NuvCPMinimize); }
  void mark(PimMarker& m) override { m.mark(_x); }

  void init(RavRuntime& rt, int nargs) override {
    if (nargs != 2 && nargs != 3) NuvCPCstr::init(rt, nargs);
    _maximize = nargs == 3 && rt.argBool(2);
    NuvCPArgs a(rt, _maximize ? "maxObjective" : "minObjective", {"?", "expr<CP>{int}"});
    NuvCPManager* owner = nuvCPArgStore(a, 0);
    _x = a.intVar(1);
    if (_x->getSolver() != owner->store())
      throw PimExecutionError(rt.source(), "the objective's variable belongs to another solver");
    accepted(rt, nargs);
  }

  NuvCPDaemonI* build(NuvCPManagerI* s) override {
    if (_x->getSolver() != s)
      throw PimExecutionError(PimSource(), "the objective's variable belongs to another solver");
    if (_maximize) return nuvCPNew<NuvCPMaximizeI>(s->allocator(), s, _x);
    return nuvCPNew<NuvCPMinimizeI>(s->allocator(), s, _x);
  }

  static const RavMethodTable* methodTable() { return nullptr; }

  class Factory : public NuvCPFactory<NuvCPMinimize> {
   public:
    using NuvCPFactory::NuvCPFactory;
    std::size_t classSize() const override { return sizeof(Factory); }
  };

 private:
  NuvCPIntVarI* _x = nullptr;
  bool _maximize = false;
};

NuvInstanceFactory* nuvCPObjectiveFactory(PimAllocator* a, const char* name) {
  return pimCreate<NuvCPMinimize::Factory>(a, a, name);
}
