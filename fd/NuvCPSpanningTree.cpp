#include "fd/NuvCPSpanningTree.h"

#include <string>
#include <vector>

#include "fd/NuvCPManagerI.h"
#include "fd/NuvCPSpanningTreeI.h"
#include "host/PimError.h"

namespace {

class NuvCPSpanningTreeCstr : public NuvCPCstr {
 public:
  using NuvCPCstr::NuvCPCstr;
  std::size_t classSize() const override { return sizeof(NuvCPSpanningTreeCstr); }
  void mark(PimMarker& m) override {
    for (NuvCPIntVarI* x : _e) m.mark(x);
    if (_z) m.mark(_z);
  }

  void init(RavRuntime& rt, int nargs) override {
    if (nargs != 6) NuvCPCstr::init(rt, nargs);
    NuvCPArgs a(rt, "MinSpanningTree", {"int", "int[]", "int[]", "int[]", "var<CP>{int}[]", "var<CP>{int}"});
    _n = a.intValue(0);
    _from = a.intValues(1);
    _to = a.intValues(2);
    _w = a.intValues(3);
    _e = a.intVars(4);
    _z = a.intVar(5);
    const std::size_t m = _e.size();
    if (_from.size() != m || _to.size() != m || _w.size() != m)
      throw PimExecutionError(rt.source(), "MinSpanningTree: " + std::to_string(m) + " edge variables, " +
                                               std::to_string(_from.size()) + " from, " + std::to_string(_to.size()) +
                                               " to and " + std::to_string(_w.size()) + " weights");
    if (_n < 1) throw PimExecutionError(rt.source(), "MinSpanningTree: " + std::to_string(_n) + " nodes");
    for (std::size_t k = 0; k < m; ++k)
      for (int* end : {&_from[k], &_to[k]}) {
        if (*end < 1 || *end > _n)
          throw PimExecutionError(rt.source(), "MinSpanningTree: edge " + std::to_string(k + 1) + " names node " +
                                                   std::to_string(*end) + ", outside 1.." + std::to_string(_n));
        --*end;  // nodes from 0 inside
      }
    accepted(rt, nargs);
  }

  NuvCPDaemonI* build(NuvCPManagerI* s) override {
    checkSolver(s, {&_e}, {_z});
    auto* p = nuvCPNew<NuvCPSpanningTreeI>(s->allocator(), s, _n, static_cast<int>(_e.size()), _from.data(),
                                           _to.data(), _w.data(), _e.data(), _z);
    return p && p->ok() ? p : nullptr;
  }

  static const RavMethodTable* methodTable() { return nullptr; }

  class Factory : public NuvCPFactory<NuvCPSpanningTreeCstr> {
   public:
    using NuvCPFactory::NuvCPFactory;
    std::size_t classSize() const override { return sizeof(Factory); }
  };

 private:
  int _n = 0;
  std::vector<int> _from, _to, _w;
  std::vector<NuvCPIntVarI*> _e;
  NuvCPIntVarI* _z = nullptr;
};

}  // namespace

NuvInstanceFactory* nuvCPSpanningTreeFactory(PimAllocator* a, const char* name) {
  return pimCreate<NuvCPSpanningTreeCstr::Factory>(a, a, name);
}
