#include "fd/NuvCPAllDiff.h"

#include <string>
#include <vector>

#include "fd/NuvCPAllDiffI.h"
#include "fd/NuvCPManagerI.h"
#include "fd/NuvCPViewIntVarI.h"
#include "host/PimError.h"

namespace {

class NuvCPAllDiff : public NuvCPCstr {
 public:
  using NuvCPCstr::NuvCPCstr;
  std::size_t classSize() const override { return sizeof(NuvCPAllDiff); }
  void mark(PimMarker& m) override {
    for (NuvCPIntVarI* x : _x) m.mark(x);
  }

  void init(RavRuntime& rt, int nargs) override {
    if (nargs < 1 || nargs > 3) NuvCPCstr::init(rt, nargs);
    std::string strength = "default";
    if (nargs == 1) {
      NuvCPArgs a(rt, "alldifferent", {"var<CP>{int}[]"});
      read(a);
    } else if (nargs == 2) {
      NuvCPArgs a(rt, "alldifferent", {"var<CP>{int}[]", "string"});
      read(a);
      if (rt.argIsNull(1)) a.throwNull(1);
      strength = rt.argString(1);
    } else {
      NuvCPArgs a(rt, "alldifferent", {"var<CP>{int}[]", "int[]", "string"});
      read(a);
      _d = a.intValues(1);
      if (rt.argIsNull(2)) a.throwNull(2);
      strength = rt.argString(2);
      if (_d.size() != _x.size())
        throw PimExecutionError(rt.source(), "alldifferent: the shifts and the variables differ in number");
    }
    static const std::pair<const char*, NuvCPAllDiffStrength> kNames[] = {
        {"basic", NuvCPAllDiffStrength::Basic},   {"value", NuvCPAllDiffStrength::Value},
        {"bounds", NuvCPAllDiffStrength::Bounds}, {"domain", NuvCPAllDiffStrength::Domain},
        {"default", NuvCPAllDiffStrength::Default}};
    bool known = false;
    for (const auto& [name, s] : kNames)
      if (strength == name) known = true, _strength = s;
    if (!known)
      throw PimExecutionError(rt.source(), "alldifferent: unknown strength \"" + strength +
                                               "\" (basic, value, bounds, domain or default)");
    accepted(rt, nargs);
  }

  NuvCPDaemonI* build(NuvCPManagerI* s) override {
    for (NuvCPIntVarI* x : _x)
      if (x->getSolver() != s)
        throw PimExecutionError(PimSource(), nativeClass()->name() +
                                                 ": posted to a solver its variables do not belong to");
    PimAllocator* al = s->allocator();
    const int n = static_cast<int>(_x.size());
    if (_d.empty()) return nuvCPNewAllDiff(s, _low, n, _x.data(), _strength);
    if (_strength == NuvCPAllDiffStrength::Basic)
      return nuvCPNew<NuvCPAllDiffcI>(al, s, _low, n, _x.data(), _d.data());
    std::vector<NuvCPIntVarI*> shifted;
    for (int i = 0; i < n; ++i) {
      NuvCPIntVarI* v = _d[static_cast<std::size_t>(i)] == 0
                            ? _x[static_cast<std::size_t>(i)]
                            : nuvCPNew<NuvCPViewIntVarI>(al, al, s, _x[static_cast<std::size_t>(i)],
                                                         _d[static_cast<std::size_t>(i)]);
      if (!v) return nullptr;
      shifted.push_back(v);
    }
    return nuvCPNewAllDiff(s, _low, n, shifted.data(), _strength);
  }

  static const RavMethodTable* methodTable() { return nullptr; }

  class Factory : public NuvCPFactory<NuvCPAllDiff> {
   public:
    using NuvCPFactory::NuvCPFactory;
    std::size_t classSize() const override { return sizeof(Factory); }
  };

 private:
  void read(const NuvCPArgs& a) {
    _x = a.intVars(0);
    _low = a.arrayLow(0);
  }
  std::vector<NuvCPIntVarI*> _x;
  std::vector<int> _d;
  std::int32_t _low = 1;
  NuvCPAllDiffStrength _strength = NuvCPAllDiffStrength::Default;
};

}  // namespace

NuvInstanceFactory* nuvCPAllDiffFactory(PimAllocator* a, const char* name) {
  return pimCreate<NuvCPAllDiff::Factory>(a, a, name);
}
