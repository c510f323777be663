#include "fd/NuvCPShaving.h"

#include <string>
#include <vector>

#include "fd/NuvCPManagerI.h"
#include "fd/NuvCPShavingI.h"
#include "fd/NuvCPUnaryI.h"
#include "host/PimError.h"

namespace {

constexpr const char* kArr = "var<CP>{int}[]";

class NuvCPShavingCstr : public NuvCPCstr {
 public:
  using NuvCPCstr::NuvCPCstr;
  std::size_t classSize() const override { return sizeof(NuvCPShavingCstr); }
  void mark(PimMarker& m) override {
    for (const auto* a : {&_x, &_duration, &_end})
      for (NuvCPIntVarI* x : *a) m.mark(x);
  }

  void init(RavRuntime& rt, int nargs) override {
    _edgeFinder = nativeClass()->name() == "CP$ShavingEdgeFinder";
    if (nargs != (_edgeFinder ? 3 : 1)) NuvCPCstr::init(rt, nargs);
    if (_edgeFinder) {
      NuvCPArgs a(rt, "ShavingEdgeFinder", {kArr, kArr, kArr});
      _x = a.intVars(0);
      _duration = a.intVars(1);
      _end = a.intVars(2);
      if (_duration.size() != _x.size() || _end.size() != _x.size())
        throw PimExecutionError(rt.source(), "ShavingEdgeFinder: the activity arrays differ in size");
    } else {
      NuvCPArgs a(rt, "Shaving", {kArr});
      _x = a.intVars(0);
    }
    accepted(rt, nargs);
  }

  NuvCPDaemonI* build(NuvCPManagerI* s) override {
    checkSolver(s, {&_x, &_duration, &_end});
    PimAllocator* al = s->allocator();
    const int n = static_cast<int>(_x.size());
    if (!_edgeFinder) return nuvCPNew<NuvCPShavingI>(al, s, n, _x.data());
    auto* engine = nuvCPNew<NuvCPUnaryResourceI>(al, s, n, _x.data(), _duration.data(), nullptr, false);
    if (!engine) return nullptr;
    return nuvCPNew<NuvCPShavingEdgeFinderI>(al, s, n, _x.data(), _duration.data(), _end.data(), engine);
  }

  static const RavMethodTable* methodTable() { return nullptr; }

  class Factory : public NuvCPFactory<NuvCPShavingCstr> {
   public:
    using NuvCPFactory::NuvCPFactory;
    std::size_t classSize() const override { return sizeof(Factory); }
  };

 private:
  std::vector<NuvCPIntVarI*> _x, _duration, _end;
  bool _edgeFinder = false;
};

}  // namespace

NuvInstanceFactory* nuvCPShavingFactory(PimAllocator* a, const char* name) {
  return pimCreate<NuvCPShavingCstr::Factory>(a, a, name);
}
