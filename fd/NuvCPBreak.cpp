#include "fd/NuvCPBreak.h"

#include <string>
#include <vector>

#include "fd/NuvCPBreakI.h"
#include "fd/NuvCPManagerI.h"
#include "host/PimError.h"

namespace {

class NuvCPBreakCstr : public NuvCPCstr {
 public:
  using NuvCPCstr::NuvCPCstr;
  std::size_t classSize() const override { return sizeof(NuvCPBreakCstr); }
  void mark(PimMarker& m) override {
    for (const auto* a : {&_start, &_duration, &_end})
      for (NuvCPIntVarI* x : *a) m.mark(x);
  }

  void init(RavRuntime& rt, int nargs) override {
    const std::string& name = nativeClass()->name();
    _periodic = name.find("Periodic") != std::string::npos;
    _breakable = name.find("Breakable") != std::string::npos;
    const std::string sig = name.substr(3);  // without "CP$"
    constexpr const char* arr = "var<CP>{int}[]";
    if (nargs != (_periodic ? 6 : 5)) NuvCPCstr::init(rt, nargs);
    NuvCPArgs a = _periodic ? NuvCPArgs(rt, sigName(sig), {arr, arr, arr, "int", "int", "int"})
                            : NuvCPArgs(rt, sigName(sig), {arr, arr, arr, "int[]", "int[]"});
    _start = a.intVars(0);
    _duration = a.intVars(1);
    _end = a.intVars(2);
    if (_duration.size() != _start.size() || _end.size() != _start.size())
      throw PimExecutionError(rt.source(), sig + ": the activity arrays differ in size");
    if (_periodic) {
      _offset = a.intValue(3);
      _period = a.intValue(4);
      _length = a.intValue(5);
      if (!(_length > 0 && _length < _period))
        throw PimExecutionError(rt.source(), sig + ": a break must be shorter than its period and not empty");
    } else {
      _from = a.intValues(3);
      _to = a.intValues(4);
      if (_from.size() != _to.size())
        throw PimExecutionError(rt.source(), sig + ": the break arrays differ in size");
      for (std::size_t k = 0; k < _from.size(); ++k)
        if (_from[k] >= _to[k] || (k > 0 && _from[k] < _to[k - 1]))
          throw PimExecutionError(rt.source(), sig + ": break " + std::to_string(k + 1) +
                                                   " is empty or not after the one before");
    }
    accepted(rt, nargs);
  }

  NuvCPDaemonI* build(NuvCPManagerI* s) override {
    checkSolver(s, {&_start, &_duration, &_end});
    NuvCPBreakCalendar calendar;
    if (_periodic)
      calendar.initPeriodic(_offset, _period, _length);
    else if (!calendar.init(s->allocator(), static_cast<int>(_from.size()), _from.data(), _to.data()))
      return nullptr;
    return nuvCPNew<NuvCPBreakI>(s->allocator(), s, static_cast<int>(_start.size()), _start.data(),
                                 _duration.data(), _end.data(), calendar, _breakable, _periodic);
  }

  static const RavMethodTable* methodTable() { return nullptr; }

  class Factory : public NuvCPFactory<NuvCPBreakCstr> {
   public:
    using NuvCPFactory::NuvCPFactory;
    std::size_t classSize() const override { return sizeof(Factory); }
  };

 private:
  // NuvCPArgs keeps the name's pointer: a stable copy per object.
  const char* sigName(const std::string& sig) {
    _sig = sig;
    return _sig.c_str();
  }

  std::vector<NuvCPIntVarI*> _start, _duration, _end;
  std::vector<int> _from, _to;
  int _offset = 0, _period = 0, _length = 0;
  bool _periodic = false, _breakable = false;
  std::string _sig;
};

}  // namespace

NuvInstanceFactory* nuvCPBreakFactory(PimAllocator* a, const char* name) {
  return pimCreate<NuvCPBreakCstr::Factory>(a, a, name);
}
