#include "fd/NuvCPCardinality.h"

#include <algorithm>
#include <string>
#include <vector>

#include "fd/NuvCPCardinalityI.h"
#include "fd/NuvCPManagerI.h"
#include "fd/NuvCPSoftCardinalityI.h"
#include "host/PimError.h"

namespace {

constexpr const char* kArr = "var<CP>{int}[]";

class NuvCPCardinalityCstr : public NuvCPCstr {
 public:
  using NuvCPCstr::NuvCPCstr;
  std::size_t classSize() const override { return sizeof(NuvCPCardinalityCstr); }
  void mark(PimMarker& m) override {
    for (const auto* a : {&_x, &_counts})
      for (NuvCPIntVarI* x : *a) m.mark(x);
  }

  void init(RavRuntime& rt, int nargs) override {
    if (nargs < 3 || nargs > 5) NuvCPCstr::init(rt, nargs);
    // The third argument tells the forms apart: count variables or bounds.
    const bool counts = rt.arg(2).type() == RavType::ObjectArray;
    if (counts ? nargs > 4 : nargs < 4) NuvCPCstr::init(rt, nargs);
    const bool closed = nargs == (counts ? 4 : 5);
    NuvCPArgs a = counts ? (closed ? NuvCPArgs(rt, "Cardinality", {kArr, "int[]", kArr, "int"})
                                   : NuvCPArgs(rt, "Cardinality", {kArr, "int[]", kArr}))
                         : (closed ? NuvCPArgs(rt, "Cardinality", {kArr, "int[]", "int[]", "int[]", "int"})
                                   : NuvCPArgs(rt, "Cardinality", {kArr, "int[]", "int[]", "int[]"}));
    _x = a.intVars(0);
    _values = a.intValues(1);
    if (counts) {
      _counts = a.intVars(2);
    } else {
      _low = a.intValues(2);
      _up = a.intValues(3);
    }
    _closed = closed && a.intValue(nargs - 1) != 0;
    const std::size_t m = _values.size();
    if (counts ? _counts.size() != m : _low.size() != m || _up.size() != m)
      throw PimExecutionError(rt.source(), std::string("Cardinality: ") +
                                               (counts ? "the value and count arrays differ in size"
                                                       : "the value and bound arrays differ in size"));
    std::vector<int> sorted(_values);
    std::sort(sorted.begin(), sorted.end());
    if (std::adjacent_find(sorted.begin(), sorted.end()) != sorted.end())
      throw PimExecutionError(rt.source(), "Cardinality: value " +
                                               std::to_string(*std::adjacent_find(sorted.begin(), sorted.end())) +
                                               " is listed twice");
    accepted(rt, nargs);
  }

  NuvCPDaemonI* build(NuvCPManagerI* s) override {
    checkSolver(s, {&_x, &_counts});
    return nuvCPNew<NuvCPCardinalityI>(s->allocator(), s, static_cast<int>(_x.size()), _x.data(),
                                       static_cast<int>(_values.size()), _values.data(),
                                       _counts.empty() ? nullptr : _counts.data(),
                                       _low.empty() ? nullptr : _low.data(), _up.empty() ? nullptr : _up.data(),
                                       _closed);
  }

  static const RavMethodTable* methodTable() { return nullptr; }

  class Factory : public NuvCPFactory<NuvCPCardinalityCstr> {
   public:
    using NuvCPFactory::NuvCPFactory;
    std::size_t classSize() const override { return sizeof(Factory); }
  };

 private:
  std::vector<NuvCPIntVarI*> _x, _counts;
  std::vector<int> _values, _low, _up;
  bool _closed = false;
};

// CP$SoftCardinality(x, values, low, up, violation).
class NuvCPSoftCardinality : public NuvCPCstr {
 public:
  using NuvCPCstr::NuvCPCstr;
  std::size_t classSize() const override { return sizeof(NuvCPSoftCardinality); }
  void mark(PimMarker& m) override {
    for (NuvCPIntVarI* x : _x) m.mark(x);
    if (_violation) m.mark(_violation);
  }

  void init(RavRuntime& rt, int nargs) override {
    if (nargs != 5) NuvCPCstr::init(rt, nargs);
    NuvCPArgs a(rt, "SoftCardinality", {kArr, "int[]", "int[]", "int[]", "var<CP>{int}"});
    _x = a.intVars(0);
    _values = a.intValues(1);
    _low = a.intValues(2);
    _up = a.intValues(3);
    _violation = a.intVar(4);
    if (_low.size() != _values.size() || _up.size() != _values.size())
      throw PimExecutionError(rt.source(), "SoftCardinality: the value and bound arrays differ in size");
    accepted(rt, nargs);
  }

  NuvCPDaemonI* build(NuvCPManagerI* s) override {
    checkSolver(s, {&_x}, {_violation});
    return nuvCPNew<NuvCPSoftCardinalityI>(s->allocator(), s, static_cast<int>(_x.size()), _x.data(),
                                           static_cast<int>(_values.size()), _values.data(), _low.data(),
                                           _up.data(), _violation);
  }

  static const RavMethodTable* methodTable() { return nullptr; }

  class Factory : public NuvCPFactory<NuvCPSoftCardinality> {
   public:
    using NuvCPFactory::NuvCPFactory;
    std::size_t classSize() const override { return sizeof(Factory); }
  };

 private:
  std::vector<NuvCPIntVarI*> _x;
  std::vector<int> _values, _low, _up;
  NuvCPIntVarI* _violation = nullptr;
};

}  // namespace

NuvInstanceFactory* nuvCPCardinalityFactory(PimAllocator* a, const char* name) {
  if (std::string(name) == "CP$SoftCardinality") return pimCreate<NuvCPSoftCardinality::Factory>(a, a, name);
  return pimCreate<NuvCPCardinalityCstr::Factory>(a, a, name);
}
