#include "fd/NuvCPTimeTable.h"

#include <string>
#include <vector>

#include "fd/NuvCPManagerI.h"
#include "fd/NuvCPTimeTableI.h"
#include "host/PimError.h"

namespace {

class NuvCPTimeTable : public NuvCPCstr {
 public:
  using NuvCPCstr::NuvCPCstr;
  std::size_t classSize() const override { return sizeof(NuvCPTimeTable); }
  void mark(PimMarker& m) override {
    for (const auto* a : {&_s, &_d, &_r})
      for (NuvCPIntVarI* x : *a) m.mark(x);
    m.mark(_c);
  }

  void init(RavRuntime& rt, int nargs) override {
    if (nargs != 4) NuvCPCstr::init(rt, nargs);
    NuvCPArgs a(rt, "cumulative",
                {"var<CP>{int}[]", "var<CP>{int}[]", "var<CP>{int}[]", "var<CP>{int}"});
    _s = a.intVars(0);
    _d = a.intVars(1);
    _r = a.intVars(2);
    _c = a.intVar(3);
    if (_d.size() != _s.size() || _r.size() != _s.size())
      throw PimExecutionError(rt.source(),
                              "cumulative: the start, duration and demand arrays differ in size");
    accepted(rt, nargs);
  }

  NuvCPDaemonI* build(NuvCPManagerI* s) override {
    bool mine = _c->getSolver() == s;
    for (const auto* a : {&_s, &_d, &_r})
      for (NuvCPIntVarI* x : *a) mine = mine && x->getSolver() == s;
    if (!mine)
      throw PimExecutionError(PimSource(), nativeClass()->name() +
                                               ": posted to a solver its variables do not belong to");
    return nuvCPNew<NuvCPTimeTableI>(s->allocator(), s, static_cast<int>(_s.size()), _s.data(),
                                     _d.data(), _r.data(), _c);
  }

  static const RavMethodTable* methodTable() { return nullptr; }

  class Factory : public NuvCPFactory<NuvCPTimeTable> {
   public:
    using NuvCPFactory::NuvCPFactory;
    std::size_t classSize() const override { return sizeof(Factory); }
  };

 private:
  std::vector<NuvCPIntVarI*> _s, _d, _r;
  NuvCPIntVarI* _c = nullptr;
};

}  // namespace

NuvInstanceFactory* nuvCPTimeTableFactory(PimAllocator* a, const char* name) {
  return pimCreate<NuvCPTimeTable::Factory>(a, a, name);
}
