#include "fd/NuvCPBinPacking.h"

#include <string>
#include <vector>

#include "fd/NuvCPBinPackingI.h"
#include "fd/NuvCPManagerI.h"
#include "host/PimError.h"

namespace {

class NuvCPBinPackingCstr : public NuvCPCstr {
 public:
  using NuvCPCstr::NuvCPCstr;
  std::size_t classSize() const override { return sizeof(NuvCPBinPackingCstr); }
  void mark(PimMarker& m) override {
    for (const auto* a : {&_x, &_l})
      for (NuvCPIntVarI* x : *a) m.mark(x);
  }

  void init(RavRuntime& rt, int nargs) override {
    _lowerBound = nativeClass()->name() == "CP$BinPackingLB";
    const char* name = _lowerBound ? "BinPackingLB" : "BinPacking";
    if (nargs != 3) NuvCPCstr::init(rt, nargs);
    NuvCPArgs a(rt, name, {"var<CP>{int}[]", "int[]", "var<CP>{int}[]"});
    _x = a.intVars(0);
    _w = a.intValues(1);
    _l = a.intVars(2);
    _low = a.arrayLow(2);
    if (_w.size() != _x.size())
      throw PimExecutionError(rt.source(), std::string(name) + ": " + std::to_string(_x.size()) + " items and " +
                                               std::to_string(_w.size()) + " weights");
    for (int w : _w)
      if (w < 0)
        throw PimExecutionError(rt.source(), std::string(name) + ": the weight " + std::to_string(w) +
                                                 " is negative");
    accepted(rt, nargs);
  }

  NuvCPDaemonI* build(NuvCPManagerI* s) override {
    checkSolver(s, {&_x, &_l});
    auto* p = nuvCPNew<NuvCPBinPackingI>(s->allocator(), s, static_cast<int>(_x.size()), _x.data(), _w.data(),
                                         static_cast<int>(_l.size()), _l.data(), _low, _lowerBound);
    return p && p->ok() ? p : nullptr;
  }

  static const RavMethodTable* methodTable() { return nullptr; }

  class Factory : public NuvCPFactory<NuvCPBinPackingCstr> {
   public:
    using NuvCPFactory::NuvCPFactory;
    std::size_t classSize() const override { return sizeof(Factory); }
  };

 private:
  std::vector<NuvCPIntVarI*> _x, _l;
  std::vector<int> _w;
  int _low = 0;
  bool _lowerBound = false;
};

}  // namespace

NuvInstanceFactory* nuvCPBinPackingFactory(PimAllocator* a, const char* name) {
  return pimCreate<NuvCPBinPackingCstr::Factory>(a, a, name);
}
