#include "fd/NuvCPElement.h"

#include <string>
#include <vector>

#include "fd/NuvCPElementI.h"
#include "fd/NuvCPManagerI.h"
#include "host/PimError.h"

class NuvCPElement : public NuvCPCstr {
 public:
  using NuvCPCstr::NuvCPCstr;
  std::size_t classSize() const override { return sizeof(NuvCPElement); }
  void mark(PimMarker& m) override {
    m.mark(_x);
    m.mark(_z);
    for (NuvCPIntVarI* y : _vars) m.mark(y);
  }

  void init(RavRuntime& rt, int nargs) override {
    _sorted = nativeClass()->name() == "CP$ElementVarSorted";
    _onVars = _sorted || nativeClass()->name() == "CP$ElementVar";
    if (nargs != 3 && nargs != 4) NuvCPCstr::init(rt, nargs);
    const char* arr = _onVars ? "var<CP>{int}[]" : "int[]";
    NuvCPArgs a = nargs == 3 ? NuvCPArgs(rt, "element", {"var<CP>{int}", arr, "var<CP>{int}"})
                             : NuvCPArgs(rt, "element", {"var<CP>{int}", arr, "var<CP>{int}", "bool"});
    _x = a.intVar(0);
    _low = a.arrayLow(1);
    if (_onVars)
      _vars = a.intVars(1);
    else
      _values = a.intValues(1);
    _z = a.intVar(2);
    _domain = nargs == 4 ? rt.argBool(3) : !_onVars;
    const std::size_t n = _onVars ? _vars.size() : _values.size();
    if (n == 0) throw PimExecutionError(rt.source(), "element: the array is empty");
    if (static_cast<std::int64_t>(_low) + static_cast<std::int64_t>(n) - 1 > INT32_MAX)
      throw PimExecutionError(rt.source(), "element: the array's index range leaves the int range");
    if (!_onVars && _domain) {
      NuvCPIntTable t{_low, static_cast<std::int32_t>(n), _values.data()};
      if (!NuvCPElementACI::valueRangeFits(t, _x))
        throw PimExecutionError(rt.source(), "value range in element constraint is too large");
    }
    accepted(rt, nargs);
  }

  NuvCPDaemonI* build(NuvCPManagerI* s) override {
    if (_x->getSolver() != s || _z->getSolver() != s)
      throw PimExecutionError(PimSource(), nativeClass()->name() +
                                               ": posted to a solver its variables do not belong to");
    PimAllocator* al = s->allocator();
    if (_onVars) {
      const int n = static_cast<int>(_vars.size());
      if (_sorted) return nuvCPNew<NuvCPElementVarSortedI>(al, s, _low, n, _vars.data(), _z, _x);
      if (_domain) return nuvCPNew<NuvCPElementVarACI>(al, s, _low, n, _vars.data(), _z, _x);
      return nuvCPNew<NuvCPElementVarBCI>(al, s, _low, n, _vars.data(), _z, _x);
    }
    NuvCPIntTable t{_low, static_cast<std::int32_t>(_values.size()), nullptr};
    t.values = al->allocateArray<std::int32_t>(_values.size());
    if (!t.values) return nullptr;
    for (std::size_t i = 0; i < _values.size(); ++i) t.values[i] = _values[i];
    if (_domain) return nuvCPNew<NuvCPElementACI>(al, s, t, _z, _x);
    return nuvCPNew<NuvCPElementBCI>(al, s, t, _z, _x);
  }

  static const RavMethodTable* methodTable() { return nullptr; }

  class Factory : public NuvCPFactory<NuvCPElement> {
   public:
    using NuvCPFactory::NuvCPFactory;
    std::size_t classSize() const override { return sizeof(Factory); }
  };

 private:
  bool _onVars = false;
  bool _sorted = false;
  bool _domain = true;
  NuvCPIntVarI* _x = nullptr;
  NuvCPIntVarI* _z = nullptr;
  std::int32_t _low = 1;
  std::vector<int> _values;
  std::vector<NuvCPIntVarI*> _vars;
};

NuvInstanceFactory* nuvCPElementFactory(PimAllocator* a, const char* name) {
  return pimCreate<NuvCPElement::Factory>(a, a, name);
}
