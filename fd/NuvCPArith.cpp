#include "fd/NuvCPArith.h"

#include <string>
#include <vector>

#include "fd/NuvCPArithI.h"
#include "fd/NuvCPLinEquationI.h"
#include "fd/NuvCPManagerI.h"
#include "host/PimError.h"

namespace {

constexpr const char* kInt = "var<CP>{int}";

enum class Kind { Mult, Square, Plus, Abs, Function, Minimum, Maximum };

}  // namespace

class NuvCPArith : public NuvCPCstr {
 public:
  using NuvCPCstr::NuvCPCstr;
  std::size_t classSize() const override { return sizeof(NuvCPArith); }
  void mark(PimMarker& m) override {
    m.mark(_x);
    m.mark(_y);
    m.mark(_z);
    for (NuvCPIntVarI* v : _xs) m.mark(v);
  }

  void init(RavRuntime& rt, int nargs) override {
    const std::string& name = nativeClass()->name();
    if (name == "CP$Mult" || name == "CP$TernaryEqual") {
      if (nargs != 3) NuvCPCstr::init(rt, nargs);
      NuvCPArgs a(rt, name == "CP$Mult" ? "operator*" : "operator+", {kInt, kInt, kInt});
      _x = a.intVar(0);
      _y = a.intVar(1);
      _z = a.intVar(2);
      _kind = name == "CP$Mult" ? Kind::Mult : Kind::Plus;
    } else if (name == "CP$Square") {
      if (nargs != 2) NuvCPCstr::init(rt, nargs);
      NuvCPArgs a(rt, "square", {kInt, kInt});
      _x = a.intVar(0);
      _z = a.intVar(1);
      _kind = Kind::Square;
    } else {  // CP$CExpr
      if (nargs < 1) NuvCPCstr::init(rt, nargs);
      if (rt.argIsNull(0)) throw PimNullPointerError(rt.source(), "expr(null)");
      const std::string op = rt.argString(0);
      if (op == "abs") {
        // An optional fourth argument chooses the reasoning: 0 bounds (and
        // the gap around 0), 1 domain; without it, domain while cheap.
        if (nargs != 3 && nargs != 4) NuvCPCstr::init(rt, nargs);
        if (nargs == 3) {
          NuvCPArgs a(rt, "abs", {"string", kInt, kInt});
          _x = a.intVar(1);
          _z = a.intVar(2);
        } else {
          NuvCPArgs a(rt, "abs", {"string", kInt, kInt, "int"});
          _x = a.intVar(1);
          _z = a.intVar(2);
          _absWalk = a.intValue(3) ? NuvCPAbsI::kDomainWalk : 0;
        }
        _kind = Kind::Abs;
      } else if (op == "minimum" || op == "maximum") {
        if (nargs != 3) NuvCPCstr::init(rt, nargs);
        NuvCPArgs a(rt, op.c_str(), {"string", kInt, "var<CP>{int}[]"});
        _z = a.intVar(1);
        _xs = a.intVars(2);
        if (_xs.empty()) throw PimExecutionError(rt.source(), op + " of an empty array");
        _kind = op == "minimum" ? Kind::Minimum : Kind::Maximum;
      } else {
        static const std::pair<const char*, NuvCPBinaryFunctionI::Op> kOps[] = {
            {"div", NuvCPBinaryFunctionI::Op::Div}, {"mod", NuvCPBinaryFunctionI::Op::Mod},
            {"pow", NuvCPBinaryFunctionI::Op::Pow}, {"min", NuvCPBinaryFunctionI::Op::Min},
            {"max", NuvCPBinaryFunctionI::Op::Max}};
        bool known = false;
        for (const auto& [n, o] : kOps)
          if (op == n) known = true, _op = o;
        if (!known)
          throw PimExecutionError(rt.source(), "CP$CExpr: unknown operation '" + op + "'");
        if (nargs != 4) NuvCPCstr::init(rt, nargs);
        NuvCPArgs a(rt, op.c_str(), {"string", kInt, kInt, kInt});
        _x = a.intVar(1);
        _y = a.intVar(2);
        _z = a.intVar(3);
        _kind = Kind::Function;
      }
    }
    accepted(rt, nargs);
  }

  NuvCPDaemonI* build(NuvCPManagerI* s) override {
    for (NuvCPIntVarI* v : {_x, _y, _z})
      if (v && v->getSolver() != s)
        throw PimExecutionError(PimSource(), nativeClass()->name() +
                                                 ": posted to a solver its variables do not belong to");
    PimAllocator* al = s->allocator();
    switch (_kind) {
      case Kind::Mult: return nuvCPNewProduct(s, _x, _y, _z);
      case Kind::Square: return nuvCPNew<NuvCPMultI>(al, s, _x, _x, _z);
      case Kind::Plus: return nuvCPNew<NuvCPTernaryEqualI>(al, s, _x, _y, _z);
      case Kind::Abs: return nuvCPNew<NuvCPAbsI>(al, s, _x, _z, _absWalk);
      case Kind::Function: {
        // min and max reason on bounds, like the array forms: enumerating
        // pairs of values costs the product of the domain sizes per run,
        // where the bounds rules cost two reads per argument, and a
        // makespan or a distance is a bounds matter anyway.
        if (_op == NuvCPBinaryFunctionI::Op::Min || _op == NuvCPBinaryFunctionI::Op::Max) {
          NuvCPIntVarI* xs[2] = {_x, _y};
          return nuvCPNew<NuvCPArrayMinMaxI>(al, s, _op == NuvCPBinaryFunctionI::Op::Max, _z, 2, xs);
        }
        return nuvCPNew<NuvCPBinaryFunctionI>(al, s, _op, _x, _y, _z);
      }
      case Kind::Minimum:
      case Kind::Maximum:
        return nuvCPNew<NuvCPArrayMinMaxI>(al, s, _kind == Kind::Maximum, _z,
                                           static_cast<int>(_xs.size()), _xs.data());
    }
    return nullptr;
  }

  static const RavMethodTable* methodTable() { return nullptr; }

  class Factory : public NuvCPFactory<NuvCPArith> {
   public:
    using NuvCPFactory::NuvCPFactory;
    std::size_t classSize() const override { return sizeof(Factory); }
  };

 private:
  Kind _kind = Kind::Mult;
  NuvCPBinaryFunctionI::Op _op = NuvCPBinaryFunctionI::Op::Div;
  std::int64_t _absWalk = NuvCPAbsI::kWalk;  // abs: |x| + |y| up to which values are walked
  NuvCPIntVarI* _x = nullptr;
  NuvCPIntVarI* _y = nullptr;
  NuvCPIntVarI* _z = nullptr;
  std::vector<NuvCPIntVarI*> _xs;
};

NuvInstanceFactory* nuvCPArithFactory(PimAllocator* a, const char* name) {
  return pimCreate<NuvCPArith::Factory>(a, a, name);
}
