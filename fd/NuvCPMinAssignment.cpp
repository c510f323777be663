#include "fd/NuvCPMinAssignment.h"

#include <string>
#include <vector>

#include "fd/NuvCPManagerI.h"
#include "fd/NuvCPMinAssignmentI.h"
#include "host/PimError.h"

namespace {

class NuvCPMinAssignmentCstr : public NuvCPCstr {
 public:
  using NuvCPCstr::NuvCPCstr;
  std::size_t classSize() const override { return sizeof(NuvCPMinAssignmentCstr); }
  void mark(PimMarker& m) override {
    for (NuvCPIntVarI* x : _x) m.mark(x);
    if (_z) m.mark(_z);
  }

  void init(RavRuntime& rt, int nargs) override {
    if (nargs != 3) NuvCPCstr::init(rt, nargs);
    NuvCPArgs a(rt, "minAssignment", {"var<CP>{int}[]", "int[,]", "var<CP>{int}"});
    _x = a.intVars(0);
    _low = a.arrayLow(0);
    _cost = a.intValues(1);
    _z = a.intVar(2);
    const std::size_t n = _x.size();
    if (n > 0 && (_cost.size() % n != 0 || _cost.size() < n * n))
      throw PimExecutionError(rt.source(), "minAssignment: " + std::to_string(_cost.size()) + " costs for " +
                                               std::to_string(n) + " rows (the rows need as many columns at least)");
    _m = n == 0 ? 0 : static_cast<int>(_cost.size() / n);
    accepted(rt, nargs);
  }

  NuvCPDaemonI* build(NuvCPManagerI* s) override {
    checkSolver(s, {&_x}, {_z});
    auto* p = nuvCPNew<NuvCPMinAssignmentI>(s->allocator(), s, static_cast<int>(_x.size()), _x.data(), _m,
                                            _cost.data(), _z, _low);
    return p && p->ok() ? p : nullptr;
  }

  static const RavMethodTable* methodTable() { return nullptr; }

  class Factory : public NuvCPFactory<NuvCPMinAssignmentCstr> {
   public:
    using NuvCPFactory::NuvCPFactory;
    std::size_t classSize() const override { return sizeof(Factory); }
  };

 private:
  std::vector<NuvCPIntVarI*> _x;
  std::vector<int> _cost;
  NuvCPIntVarI* _z = nullptr;
  int _low = 0, _m = 0;
};

}  // namespace

NuvInstanceFactory* nuvCPMinAssignmentFactory(PimAllocator* a, const char* name) {
  return pimCreate<NuvCPMinAssignmentCstr::Factory>(a, a, name);
}
