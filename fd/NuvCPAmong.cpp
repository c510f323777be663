#include "fd/NuvCPAmong.h"

#include <string>
#include <vector>

#include "fd/NuvCPAmongI.h"
#include "fd/NuvCPManagerI.h"
#include "fd/NuvCPNValueI.h"
#include "fd/NuvCPSlidingSumI.h"
#include "host/PimError.h"

namespace {

class NuvCPSoftCount : public NuvCPCstr {
 public:
  using NuvCPCstr::NuvCPCstr;
  std::size_t classSize() const override { return sizeof(NuvCPSoftCount); }
  void mark(PimMarker& m) override {
    for (NuvCPIntVarI* x : _x) m.mark(x);
    if (_violation) m.mark(_violation);
  }

  void init(RavRuntime& rt, int nargs) override {
    _atLeast = nativeClass()->name() == "CP$SoftAtLeast";
    if (nargs != 4) NuvCPCstr::init(rt, nargs);
    NuvCPArgs a(rt, _atLeast ? "SoftAtLeast" : "SoftAtMost", {"var<CP>{int}[]", "int[]", "int", "var<CP>{int}"});
    _x = a.intVars(0);
    _values = a.intValues(1);
    _bound = a.intValue(2);
    _violation = a.intVar(3);
    accepted(rt, nargs);
  }

  NuvCPDaemonI* build(NuvCPManagerI* s) override {
    checkSolver(s, {&_x}, {_violation});
    return nuvCPNew<NuvCPAmongI>(s->allocator(), s, static_cast<int>(_x.size()), _x.data(),
                                 static_cast<int>(_values.size()), _values.data(), _violation,
                                 _atLeast ? NuvCPAmongI::kAtLeast : NuvCPAmongI::kAtMost, _bound);
  }

  static const RavMethodTable* methodTable() { return nullptr; }

  class Factory : public NuvCPFactory<NuvCPSoftCount> {
   public:
    using NuvCPFactory::NuvCPFactory;
    std::size_t classSize() const override { return sizeof(Factory); }
  };

 private:
  std::vector<NuvCPIntVarI*> _x;
  std::vector<int> _values;
  int _bound = 0;
  NuvCPIntVarI* _violation = nullptr;
  bool _atLeast = false;
};

// CP$AtLeastNValue(x, n): at least n distinct values among x.
class NuvCPAtLeastNValue : public NuvCPCstr {
 public:
  using NuvCPCstr::NuvCPCstr;
  std::size_t classSize() const override { return sizeof(NuvCPAtLeastNValue); }
  void mark(PimMarker& m) override {
    for (NuvCPIntVarI* x : _x) m.mark(x);
    if (_n) m.mark(_n);
  }

  void init(RavRuntime& rt, int nargs) override {
    if (nargs != 2) NuvCPCstr::init(rt, nargs);
    NuvCPArgs a(rt, "AtLeastNValue", {"var<CP>{int}[]", "var<CP>{int}"});
    _x = a.intVars(0);
    _n = a.intVar(1);
    accepted(rt, nargs);
  }

  NuvCPDaemonI* build(NuvCPManagerI* s) override {
    checkSolver(s, {&_x}, {_n});
    return nuvCPNew<NuvCPNValueI>(s->allocator(), s, static_cast<int>(_x.size()), _x.data(), _n, false);
  }

  static const RavMethodTable* methodTable() { return nullptr; }

  class Factory : public NuvCPFactory<NuvCPAtLeastNValue> {
   public:
    using NuvCPFactory::NuvCPFactory;
    std::size_t classSize() const override { return sizeof(Factory); }
  };

 private:
  std::vector<NuvCPIntVarI*> _x;
  NuvCPIntVarI* _n = nullptr;
};

// CP$SequenceLink(x, low, up, q): every q consecutive x sum to low..up.
class NuvCPSequenceLink : public NuvCPCstr {
 public:
  using NuvCPCstr::NuvCPCstr;
  std::size_t classSize() const override { return sizeof(NuvCPSequenceLink); }
  void mark(PimMarker& m) override {
    for (NuvCPIntVarI* x : _x) m.mark(x);
  }

  void init(RavRuntime& rt, int nargs) override {
    if (nargs != 4) NuvCPCstr::init(rt, nargs);
    NuvCPArgs a(rt, "SequenceLink", {"var<CP>{int}[]", "int", "int", "int"});
    _x = a.intVars(0);
    _low = a.intValue(1);
    _up = a.intValue(2);
    _q = a.intValue(3);
    if (_q < 1) throw PimExecutionError(rt.source(), "SequenceLink: the window length " + std::to_string(_q) +
                                                         " is not positive");
    accepted(rt, nargs);
  }

  NuvCPDaemonI* build(NuvCPManagerI* s) override {
    checkSolver(s, {&_x});
    return nuvCPNew<NuvCPSlidingSumI>(s->allocator(), s, static_cast<int>(_x.size()), _x.data(), _q, _low, _up);
  }

  static const RavMethodTable* methodTable() { return nullptr; }

  class Factory : public NuvCPFactory<NuvCPSequenceLink> {
   public:
    using NuvCPFactory::NuvCPFactory;
    std::size_t classSize() const override { return sizeof(Factory); }
  };

 private:
  std::vector<NuvCPIntVarI*> _x;
  int _low = 0, _up = 0, _q = 1;
};

}  // namespace

NuvInstanceFactory* nuvCPAmongFactory(PimAllocator* a, const char* name) {
  if (std::string(name) == "CP$SequenceLink") return pimCreate<NuvCPSequenceLink::Factory>(a, a, name);
  if (std::string(name) == "CP$AtLeastNValue") return pimCreate<NuvCPAtLeastNValue::Factory>(a, a, name);
  return pimCreate<NuvCPSoftCount::Factory>(a, a, name);
}
