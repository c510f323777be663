#include "fd/NuvCPBalance.h"

#include <string>
#include <vector>

#include "fd/NuvCPBalanceI.h"
#include "fd/NuvCPManagerI.h"
#include "host/PimError.h"

namespace {

class NuvCPBalance : public NuvCPCstr {
 public:
  using NuvCPCstr::NuvCPCstr;
  std::size_t classSize() const override { return sizeof(NuvCPBalance); }
  void mark(PimMarker& m) override {
    for (NuvCPIntVarI* x : _x) m.mark(x);
    if (_c) m.mark(_c);
  }

  void init(RavRuntime& rt, int nargs) override {
    _squares = nativeClass()->name() == "CP$Spread";
    if (nargs != 3) NuvCPCstr::init(rt, nargs);
    NuvCPArgs a(rt, _squares ? "Spread" : "Deviation", {"var<CP>{int}[]", "int", "var<CP>{int}"});
    _x = a.intVars(0);
    _total = a.intValue(1);
    _c = a.intVar(2);
    accepted(rt, nargs);
  }

  NuvCPDaemonI* build(NuvCPManagerI* s) override {
    checkSolver(s, {&_x}, {_c});
    return nuvCPNew<NuvCPBalanceI>(s->allocator(), s, static_cast<int>(_x.size()), _x.data(), _total, _c, _squares);
  }

  static const RavMethodTable* methodTable() { return nullptr; }

  class Factory : public NuvCPFactory<NuvCPBalance> {
   public:
    using NuvCPFactory::NuvCPFactory;
    std::size_t classSize() const override { return sizeof(Factory); }
  };

 private:
  std::vector<NuvCPIntVarI*> _x;
  int _total = 0;
  NuvCPIntVarI* _c = nullptr;
  bool _squares = false;
};

}  // namespace

NuvInstanceFactory* nuvCPBalanceFactory(PimAllocator* a, const char* name) {
  return pimCreate<NuvCPBalance::Factory>(a, a, name);
}
