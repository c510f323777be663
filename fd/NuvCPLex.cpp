#include "fd/NuvCPLex.h"

#include <vector>

#include "fd/NuvCPLexI.h"
#include "fd/NuvCPManagerI.h"
#include "host/PimError.h"

namespace {

class NuvCPLexCstr : public NuvCPCstr {
 public:
  using NuvCPCstr::NuvCPCstr;
  std::size_t classSize() const override { return sizeof(NuvCPLexCstr); }
  void mark(PimMarker& m) override {
    for (const auto* a : {&_x, &_y})
      for (NuvCPIntVarI* x : *a) m.mark(x);
  }

  void init(RavRuntime& rt, int nargs) override {
    if (nargs != 2 && nargs != 3) NuvCPCstr::init(rt, nargs);
    NuvCPArgs a = nargs == 2 ? NuvCPArgs(rt, "LexLeq", {"var<CP>{int}[]", "var<CP>{int}[]"})
                             : NuvCPArgs(rt, "LexLeq", {"var<CP>{int}[]", "var<CP>{int}[]", "int"});
    _x = a.intVars(0);
    _y = a.intVars(1);
    _strict = nargs == 3 && a.intValue(2) != 0;
    accepted(rt, nargs);
  }

  NuvCPDaemonI* build(NuvCPManagerI* s) override {
    checkSolver(s, {&_x, &_y});
    return nuvCPNew<NuvCPLexI>(s->allocator(), s, static_cast<int>(_x.size()), _x.data(),
                               static_cast<int>(_y.size()), _y.data(), _strict);
  }

  static const RavMethodTable* methodTable() { return nullptr; }

  class Factory : public NuvCPFactory<NuvCPLexCstr> {
   public:
    using NuvCPFactory::NuvCPFactory;
    std::size_t classSize() const override { return sizeof(Factory); }
  };

 private:
  std::vector<NuvCPIntVarI*> _x, _y;
  bool _strict = false;
};

}  // namespace

NuvInstanceFactory* nuvCPLexFactory(PimAllocator* a, const char* name) {
  return pimCreate<NuvCPLexCstr::Factory>(a, a, name);
}
