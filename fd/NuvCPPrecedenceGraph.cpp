#include "fd/NuvCPPrecedenceGraph.h"

#include <string>
#include <vector>

#include "fd/NuvCPManagerI.h"
#include "fd/NuvCPPrecedenceEnergyI.h"
#include "fd/NuvCPPrecedenceGraphI.h"
#include "host/PimError.h"

namespace {

class NuvCPPrecedenceGraph : public NuvCPCstr {
 public:
  using NuvCPCstr::NuvCPCstr;
  std::size_t classSize() const override { return sizeof(NuvCPPrecedenceGraph); }
  void mark(PimMarker& m) override {
    for (const auto* a : {&_start, &_duration, &_demand})
      for (NuvCPIntVarI* x : *a) m.mark(x);
  }

  void init(RavRuntime& rt, int nargs) override {
    _energy = nativeClass()->name() == "CPPEA";
    constexpr const char* arr = "var<CP>{int}[]";
    int arcs = 2;
    if (_energy) {
      // CPPEA(start, duration, demand, capacity, from, to)
      if (nargs != 6) NuvCPCstr::init(rt, nargs);
      NuvCPArgs a(rt, "CPPEA", {arr, arr, arr, "int", "int[]", "int[]"});
      _demand = a.intVars(2);
      _capacity = a.intValue(3);
      arcs = 4;
      readArcs(rt, a, arcs, false);
    } else {
      if (nargs != 4 && nargs != 5) NuvCPCstr::init(rt, nargs);
      NuvCPArgs a = nargs == 4 ? NuvCPArgs(rt, "PrecedenceGraphClosure", {arr, arr, "int[]", "int[]"})
                               : NuvCPArgs(rt, "PrecedenceGraphClosure", {arr, arr, "int[]", "int[]", "int[]"});
      readArcs(rt, a, arcs, nargs == 5);
    }
    accepted(rt, nargs);
  }

  void readArcs(RavRuntime& rt, const NuvCPArgs& a, int arcs, bool delays) {
    _start = a.intVars(0);
    _duration = a.intVars(1);
    const int low = a.arrayLow(0);
    _from = a.intValues(arcs);
    _to = a.intValues(arcs + 1);
    if (delays) _delay = a.intValues(arcs + 2);
    const std::string what = _energy ? "CPPEA: " : "PrecedenceGraphClosure: ";
    if (_duration.size() != _start.size() || (_energy && _demand.size() != _start.size()))
      throw PimExecutionError(rt.source(), what + (_energy ? "the start, duration and demand arrays differ in size"
                                                           : "the start and duration arrays differ in size"));
    if (_energy && _capacity <= 0)
      throw PimExecutionError(rt.source(), what + "the capacity " + std::to_string(_capacity) + " is not positive");
    if (_to.size() != _from.size() || (delays && _delay.size() != _from.size()))
      throw PimExecutionError(rt.source(), what + "the arc arrays differ in size");
    const auto n = static_cast<long long>(_start.size());
    for (std::size_t k = 0; k < _from.size(); ++k) {
      for (int* e : {&_from[k], &_to[k]}) {
        const long long i = static_cast<long long>(*e) - low;
        if (i < 0 || i >= n)
          throw PimExecutionError(rt.source(), what + "arc " + std::to_string(k + 1) + " names activity " +
                                                   std::to_string(*e) + ", outside " + std::to_string(low) +
                                                   ".." + std::to_string(low + n - 1));
        *e = static_cast<int>(i);
      }
    }
  }

  NuvCPDaemonI* build(NuvCPManagerI* s) override {
    checkSolver(s, {&_start, &_duration, &_demand});
    if (_energy)
      return nuvCPNew<NuvCPPrecedenceEnergyI>(s->allocator(), s, static_cast<int>(_start.size()), _start.data(),
                                              _duration.data(), _demand.data(), _capacity,
                                              static_cast<int>(_from.size()), _from.data(), _to.data());
    return nuvCPNew<NuvCPPrecedenceGraphI>(s->allocator(), s, static_cast<int>(_start.size()), _start.data(),
                                           _duration.data(), static_cast<int>(_from.size()), _from.data(),
                                           _to.data(), _delay.empty() ? nullptr : _delay.data());
  }

  static const RavMethodTable* methodTable() { return nullptr; }

  class Factory : public NuvCPFactory<NuvCPPrecedenceGraph> {
   public:
    using NuvCPFactory::NuvCPFactory;
    std::size_t classSize() const override { return sizeof(Factory); }
  };

 private:
  std::vector<NuvCPIntVarI*> _start, _duration, _demand;
  std::vector<int> _from, _to, _delay;
  int _capacity = 0;
  bool _energy = false;
};

}  // namespace

NuvInstanceFactory* nuvCPPrecedenceGraphFactory(PimAllocator* a, const char* name) {
  return pimCreate<NuvCPPrecedenceGraph::Factory>(a, a, name);
}

NuvInstanceFactory* nuvCPPrecedenceEnergyFactory(PimAllocator* a, const char* name) {
  return pimCreate<NuvCPPrecedenceGraph::Factory>(a, a, name);
}
