#include "fd/NuvCPCircuit.h"

#include <vector>

#include "fd/NuvCPCircuitI.h"
#include "fd/NuvCPManagerI.h"
#include "host/PimError.h"

namespace {

class NuvCPSuccessorGraph : public NuvCPCstr {
 public:
  using NuvCPCstr::NuvCPCstr;
  std::size_t classSize() const override { return sizeof(NuvCPSuccessorGraph); }
  void mark(PimMarker& m) override {
    for (NuvCPIntVarI* x : _x) m.mark(x);
  }

  void init(RavRuntime& rt, int nargs) override {
    _noCycle = nativeClass()->name() == "CP$NoCycle";
    if (nargs != 1) NuvCPCstr::init(rt, nargs);
    NuvCPArgs a(rt, _noCycle ? "NoCycle" : "circuit", {"var<CP>{int}[]"});
    _x = a.intVars(0);
    _low = a.arrayLow(0);
    accepted(rt, nargs);
  }

  NuvCPDaemonI* build(NuvCPManagerI* s) override {
    checkSolver(s, {&_x});
    auto* c = nuvCPNew<NuvCPCircuitI>(s->allocator(), s, static_cast<int>(_x.size()), _x.data(), _low,
                                      _noCycle ? NuvCPCircuitI::NoCycle : NuvCPCircuitI::Circuit);
    return c && c->ok() ? c : nullptr;
  }

  static const RavMethodTable* methodTable() { return nullptr; }

  class Factory : public NuvCPFactory<NuvCPSuccessorGraph> {
   public:
    using NuvCPFactory::NuvCPFactory;
    std::size_t classSize() const override { return sizeof(Factory); }
  };

 private:
  std::vector<NuvCPIntVarI*> _x;
  int _low = 0;
  bool _noCycle = false;
};

}  // namespace

NuvInstanceFactory* nuvCPCircuitFactory(PimAllocator* a, const char* name) {
  return pimCreate<NuvCPSuccessorGraph::Factory>(a, a, name);
}
