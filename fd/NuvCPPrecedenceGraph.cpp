#include "fd/NuvCPPrecedenceGraph.h"

#include <string>
#include <vector>

#include "fd/NuvCPManagerI.h"
#include "fd/NuvCPPrecedenceGraphI.h"
#include "host/PimError.h"

namespace {

class NuvCPPrecedenceGraph : public NuvCPCstr {
 public:
  using NuvCPCstr::NuvCPCstr;
  std::size_t classSize() const override { return sizeof(NuvCPPrecedenceGraph); }
  void mark(PimMarker& m) override {
    for (const auto* a : {&_start, &_duration})
      for (NuvCPIntVarI* x : *a) m.mark(x);
  }

  void init(RavRuntime& rt, int nargs) override {
    if (nargs != 4 && nargs != 5) NuvCPCstr::init(rt, nargs);
    constexpr const char* arr = "var<CP>{int}[]";
    NuvCPArgs a = nargs == 4 ? NuvCPArgs(rt, "PrecedenceGraphClosure", {arr, arr, "int[]", "int[]"})
                             : NuvCPArgs(rt, "PrecedenceGraphClosure", {arr, arr, "int[]", "int[]", "int[]"});
    _start = a.intVars(0);
    _duration = a.intVars(1);
    const int low = a.arrayLow(0);
    _from = a.intValues(2);
    _to = a.intValues(3);
    if (nargs == 5) _delay = a.intValues(4);
    const std::string what = "PrecedenceGraphClosure: ";
    if (_duration.size() != _start.size())
      throw PimExecutionError(rt.source(), what + "the start and duration arrays differ in size");
    if (_to.size() != _from.size() || (nargs == 5 && _delay.size() != _from.size()))
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
    accepted(rt, nargs);
  }

  NuvCPDaemonI* build(NuvCPManagerI* s) override {
    bool mine = true;
    for (const auto* a : {&_start, &_duration})
      for (NuvCPIntVarI* x : *a) mine = mine && x->getSolver() == s;
    if (!mine)
      throw PimExecutionError(PimSource(), nativeClass()->name() +
                                               ": posted to a solver its variables do not belong to");
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
  std::vector<NuvCPIntVarI*> _start, _duration;
  std::vector<int> _from, _to, _delay;
};

}  // namespace

NuvInstanceFactory* nuvCPPrecedenceGraphFactory(PimAllocator* a, const char* name) {
  return pimCreate<NuvCPPrecedenceGraph::Factory>(a, a, name);
}
