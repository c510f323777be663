#include "fd/NuvCPKnapsack.h"

#include <string>
#include <vector>

#include "fd/NuvCPKnapsackI.h"
#include "fd/NuvCPManagerI.h"
#include "host/PimError.h"

namespace {

class NuvCPKnapsackCstr : public NuvCPCstr {
 public:
  using NuvCPCstr::NuvCPCstr;
  std::size_t classSize() const override { return sizeof(NuvCPKnapsackCstr); }
  void mark(PimMarker& m) override {
    for (NuvCPIntVarI* x : _x) m.mark(x);
    if (_load) m.mark(_load);
  }

  void init(RavRuntime& rt, int nargs) override {
    const std::string& cls = nativeClass()->name();
    _strength = cls == "CP$LightBinaryKnapsack" ? NuvCPKnapsackI::Light
                : cls == "CP$SparseBinaryKnapsackAC" ? NuvCPKnapsackI::Sparse
                                                     : NuvCPKnapsackI::Dense;
    const std::string name = cls.substr(3);
    if (nargs != 3) NuvCPCstr::init(rt, nargs);
    NuvCPArgs a(rt, name.c_str(), {"var<CP>{int}[]", "int[]", "var<CP>{int}"});
    _x = a.intVars(0);
    _w = a.intValues(1);
    _load = a.intVar(2);
    if (_w.size() != _x.size())
      throw PimExecutionError(rt.source(), name + ": " + std::to_string(_x.size()) + " variables and " +
                                               std::to_string(_w.size()) + " weights");
    for (int w : _w)
      if (w < 0) throw PimExecutionError(rt.source(), name + ": the weight " + std::to_string(w) + " is negative");
    accepted(rt, nargs);
  }

  NuvCPDaemonI* build(NuvCPManagerI* s) override {
    checkSolver(s, {&_x}, {_load});
    auto* p = nuvCPNew<NuvCPKnapsackI>(s->allocator(), s, static_cast<int>(_x.size()), _x.data(), _w.data(), _load,
                                       _strength);
    return p && p->ok() ? p : nullptr;
  }

  static const RavMethodTable* methodTable() { return nullptr; }

  class Factory : public NuvCPFactory<NuvCPKnapsackCstr> {
   public:
    using NuvCPFactory::NuvCPFactory;
    std::size_t classSize() const override { return sizeof(Factory); }
  };

 private:
  std::vector<NuvCPIntVarI*> _x;
  std::vector<int> _w;
  NuvCPIntVarI* _load = nullptr;
  NuvCPKnapsackI::Strength _strength = NuvCPKnapsackI::Dense;
};

}  // namespace

NuvInstanceFactory* nuvCPKnapsackFactory(PimAllocator* a, const char* name) {
  return pimCreate<NuvCPKnapsackCstr::Factory>(a, a, name);
}
