#include "fd/NuvCPInverse.h"

#include <string>
#include <vector>

#include "fd/NuvCPInverseI.h"
#include "fd/NuvCPManagerI.h"
#include "host/PimError.h"

namespace {

class NuvCPInverse : public NuvCPCstr {
 public:
  using NuvCPCstr::NuvCPCstr;
  std::size_t classSize() const override { return sizeof(NuvCPInverse); }
  void mark(PimMarker& m) override {
    for (NuvCPIntVarI* x : _x) m.mark(x);
    for (NuvCPIntVarI* y : _y) m.mark(y);
  }

  void init(RavRuntime& rt, int nargs) override {
    if (nargs != 2) NuvCPCstr::init(rt, nargs);
    if (rt.argIsNull(0)) throw PimNullPointerError(rt.source(), "Inverse(null,...)");
    if (rt.argIsNull(1)) throw PimNullPointerError(rt.source(), "Inverse(...,null)");
    NuvCPArgs a(rt, "Inverse", {"var<CP>{int}[]", "var<CP>{int}[]"});
    _lowX = a.arrayLow(0);
    _x = a.intVars(0);
    _lowY = a.arrayLow(1);
    _y = a.intVars(1);
    if (static_cast<std::int64_t>(_lowX) + static_cast<std::int64_t>(_x.size()) - 1 > INT32_MAX ||
        static_cast<std::int64_t>(_lowY) + static_cast<std::int64_t>(_y.size()) - 1 > INT32_MAX)
      throw PimExecutionError(rt.source(), "Inverse: an index range leaves the int range");
    accepted(rt, nargs);
  }

  NuvCPDaemonI* build(NuvCPManagerI* s) override {
    for (const auto* arr : {&_x, &_y})
      for (NuvCPIntVarI* v : *arr)
        if (v->getSolver() != s)
          throw PimExecutionError(PimSource(), "CP$Inverse: posted to a solver its variables do not belong to");
    auto* c = nuvCPNew<NuvCPInverseI>(s->allocator(), s, _lowX, static_cast<int>(_x.size()), _x.data(),
                                      _lowY, static_cast<int>(_y.size()), _y.data());
    return c && c->ok() ? c : nullptr;
  }

  static const RavMethodTable* methodTable() { return nullptr; }

  class Factory : public NuvCPFactory<NuvCPInverse> {
   public:
    using NuvCPFactory::NuvCPFactory;
    std::size_t classSize() const override { return sizeof(Factory); }
  };

 private:
  int _lowX = 1, _lowY = 1;
  std::vector<NuvCPIntVarI*> _x, _y;
};

}  // namespace

NuvInstanceFactory* nuvCPInverseFactory(PimAllocator* a, const char* name) {
  return pimCreate<NuvCPInverse::Factory>(a, a, name);
}
