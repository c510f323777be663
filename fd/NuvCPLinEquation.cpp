#include "fd/NuvCPLinEquation.h"

#include <string>
#include <vector>

#include "fd/NuvCPLinEquationI.h"
#include "fd/NuvCPManagerI.h"
#include "host/PimError.h"

namespace {

constexpr const char* kInts = "int[]";
constexpr const char* kVars = "var<CP>{int}[]";
constexpr const char* kBools = "var<CP>{bool}[]";

enum class Kind { Equation, NotEqual, EquationReif, GEQ, GEQReif, PN, PNC, SumBoolCst, SumBool };

}  // namespace

class NuvCPLinear : public NuvCPCstr {
 public:
  using NuvCPCstr::NuvCPCstr;
  std::size_t classSize() const override { return sizeof(NuvCPLinear); }
  void mark(PimMarker& m) override {
    for (NuvCPIntVarI* x : _vars) m.mark(x);
    for (NuvCPIntVarI* x : _neg) m.mark(x);
    m.mark(_b);
  }

  void init(RavRuntime& rt, int nargs) override {
    const std::string& name = nativeClass()->name();
    if (name == "CP$LinearEquation" || name == "CP$LinearGEQ") {
      const bool eq = name == "CP$LinearEquation";
      const char* op = eq ? "linearEquation" : "linearGEQ";
      if (nargs == 3) {
        NuvCPArgs a(rt, op, {kInts, kVars, "int"});
        readTerms(a);
        _k = a.intValue(2);
        _kind = eq ? Kind::Equation : Kind::GEQ;
      } else if (nargs == 4 && eq && rt.arg(3).type() == RavType::String) {
        NuvCPArgs a(rt, op, {kInts, kVars, "int", "string"});
        readTerms(a);
        _k = a.intValue(2);
        if (rt.argString(3) != "!=")
          throw PimExecutionError(rt.source(), "linearEquation: unknown relation '" +
                                                   rt.argString(3) + "' (only \"!=\")");
        _kind = Kind::NotEqual;
      } else if (nargs == 4) {
        NuvCPArgs a(rt, op, {kInts, kVars, "int", "var<CP>{bool}"}, 3);
        readTerms(a);
        _k = a.intValue(2);
        _b = a.intVar(3);
        _kind = eq ? Kind::EquationReif : Kind::GEQReif;
      } else {
        NuvCPCstr::init(rt, nargs);
      }
      if (!nuvCPLinearFits(static_cast<int>(_vars.size()), _coefs.data(), _vars.data(), _k))
        throw PimExecutionError(rt.source(),
                                std::string(op) +
                                    ": coefficients times bounds may exceed 2^62; the constraint "
                                    "is refused rather than propagated on overflowing sums");
    } else if (name == "CP$LinearPNEquation" || name == "CP$LinearPNEquationC") {
      if (nargs != 3) NuvCPCstr::init(rt, nargs);
      NuvCPArgs a(rt, "linearPNEquation", {kVars, kVars, "int"});
      _vars = a.intVars(0);
      _neg = a.intVars(1);
      _k = a.intValue(2);
      _kind = name == "CP$LinearPNEquation" ? Kind::PN : Kind::PNC;
      std::vector<int> ones(_vars.size(), 1), minus(_neg.size(), 1);
      if (!nuvCPLinearFits(static_cast<int>(_vars.size()), ones.data(), _vars.data(), _k) ||
          !nuvCPLinearFits(static_cast<int>(_neg.size()), minus.data(), _neg.data(), 0))
        throw PimExecutionError(rt.source(), "linearPNEquation: the sums may overflow");
    } else if (name == "CP$SumBoolEqualCst") {
      if (nargs != 2) NuvCPCstr::init(rt, nargs);
      NuvCPArgs a(rt, "sumBoolEqual", {kBools, "int"});
      _vars = a.intVars(0);
      _low = a.arrayLow(0);
      _k = a.intValue(1);
      _kind = Kind::SumBoolCst;
    } else if (name == "CP$SumBoolEqual") {
      if (nargs != 2) NuvCPCstr::init(rt, nargs);
      NuvCPArgs a(rt, "sumBoolEqual", {kBools, "var<CP>{int}"});
      _vars = a.intVars(0);
      _b = a.intVar(1);
      _kind = Kind::SumBool;
    } else {
      NuvCPCstr::init(rt, nargs);
    }
    if (_kind == Kind::SumBoolCst || _kind == Kind::SumBool)
      for (NuvCPIntVarI* x : _vars)
        if (x->getMin() < 0 || x->getMax() > 1)
          throw PimExecutionError(rt.source(), "sumBoolEqual: a variable is not 0/1");
    accepted(rt, nargs);
  }

  NuvCPDaemonI* build(NuvCPManagerI* s) override {
    auto check = [&](NuvCPIntVarI* x) {
      if (x && x->getSolver() != s)
        throw PimExecutionError(PimSource(), nativeClass()->name() +
                                                 ": posted to a solver its variables do not belong to");
    };
    for (NuvCPIntVarI* x : _vars) check(x);
    for (NuvCPIntVarI* x : _neg) check(x);
    check(_b);
    PimAllocator* a = s->allocator();
    const int n = static_cast<int>(_vars.size());
    switch (_kind) {
      case Kind::Equation:
        return nuvCPNew<NuvCPLinearEquationI>(a, s, n, _coefs.data(), _vars.data(), _k);
      case Kind::NotEqual:
        return nuvCPNew<NuvCPLinearNotEqualI>(a, s, n, _coefs.data(), _vars.data(), _k);
      case Kind::EquationReif:
        return nuvCPNew<NuvCPLinearEquationReifI>(a, s, n, _coefs.data(), _vars.data(), _k, _b);
      case Kind::GEQ:
        return nuvCPNew<NuvCPLinearGEQI>(a, s, n, _coefs.data(), _vars.data(), _k);
      case Kind::GEQReif:
        return nuvCPNew<NuvCPLinearGEQReifI>(a, s, n, _coefs.data(), _vars.data(), _k, _b);
      case Kind::PN:
        return nuvCPNew<NuvCPLinearPNEquationI>(a, s, n, _vars.data(),
                                                static_cast<int>(_neg.size()), _neg.data(), _k);
      case Kind::PNC:
        return nuvCPNew<NuvCPLinearPNEquationCI>(a, s, n, _vars.data(),
                                                 static_cast<int>(_neg.size()), _neg.data(), _k);
      case Kind::SumBoolCst:
        return nuvCPNew<NuvCPSumBoolEqualCstI>(a, s, _low, _low + n - 1, _vars.data(), _k);
      case Kind::SumBool:
        return nuvCPNew<NuvCPSumBoolEqualI>(a, s, n, _vars.data(), _b);
    }
    return nullptr;
  }

  static const RavMethodTable* methodTable() { return nullptr; }

  class Factory : public NuvCPFactory<NuvCPLinear> {
   public:
    using NuvCPFactory::NuvCPFactory;
    std::size_t classSize() const override { return sizeof(Factory); }
  };

 private:
  void readTerms(const NuvCPArgs& a) {
    _coefs = a.intValues(0);
    _vars = a.intVars(1);
    if (_coefs.size() != _vars.size())
      throw PimExecutionError(a.runtime().source(),
                              nativeClass()->name() + ": " + std::to_string(_coefs.size()) +
                                  " coefficients for " + std::to_string(_vars.size()) +
                                  " variables");
  }

  Kind _kind = Kind::Equation;
  std::vector<int> _coefs;
  std::vector<NuvCPIntVarI*> _vars;
  std::vector<NuvCPIntVarI*> _neg;
  NuvCPIntVarI* _b = nullptr;
  std::int32_t _k = 0;
  std::int32_t _low = 1;
};

NuvInstanceFactory* nuvCPLinearFactory(PimAllocator* a, const char* name) {
  return pimCreate<NuvCPLinear::Factory>(a, a, name);
}
