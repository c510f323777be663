#include "fd/NuvCPRelation.h"

#include <cstring>

#include "fd/NuvCPBoolVarI.h"
#include "fd/NuvCPManagerI.h"
#include "fd/NuvCPRelationI.h"
#include "host/PimError.h"

namespace {

enum class Shape {
  XYK,     // (x, y[, k]): binary with an optional offset
  XYKReq,  // (x, y, k)
  XK,      // (x, k)
  XKB,     // (x, k, b)
  XYKB,    // (x, y[, k], b)
  XYB,     // (x, y, b) over Booleans
};

// One row per class: its name, argument shape, operator for messages and the
// propagator it builds.
using Builder = NuvCPDaemonI* (*)(NuvCPManagerI*, NuvCPIntVarI*, NuvCPIntVarI*, int,
                                  NuvCPIntVarI*);

template <class P>
NuvCPDaemonI* binary(NuvCPManagerI* s, NuvCPIntVarI* x, NuvCPIntVarI* y, int k, NuvCPIntVarI*) {
  return nuvCPNew<P>(s->allocator(), s, x, y, k);
}
template <class P>
NuvCPDaemonI* unary(NuvCPManagerI* s, NuvCPIntVarI* x, NuvCPIntVarI*, int k, NuvCPIntVarI*) {
  return nuvCPNew<P>(s->allocator(), s, x, k);
}
template <class P>
NuvCPDaemonI* reifiedUnary(NuvCPManagerI* s, NuvCPIntVarI* x, NuvCPIntVarI*, int k,
                           NuvCPIntVarI* b) {
  return nuvCPNew<P>(s->allocator(), s, x, k, b);
}
template <class P>
NuvCPDaemonI* reifiedBinary(NuvCPManagerI* s, NuvCPIntVarI* x, NuvCPIntVarI* y, int k,
                            NuvCPIntVarI* b) {
  return nuvCPNew<P>(s->allocator(), s, x, y, k, b);
}
template <class P>
NuvCPDaemonI* logic(NuvCPManagerI* s, NuvCPIntVarI* x, NuvCPIntVarI* y, int, NuvCPIntVarI* b) {
  return nuvCPNew<P>(s->allocator(), s, static_cast<NuvCPBoolVarI*>(x),
                     static_cast<NuvCPBoolVarI*>(y), static_cast<NuvCPBoolVarI*>(b));
}
// b <=> x >= y + k  is  b <=> y <= x - k.
NuvCPDaemonI* reifiedGEqual(NuvCPManagerI* s, NuvCPIntVarI* x, NuvCPIntVarI* y, int k,
                            NuvCPIntVarI* b) {
  return nuvCPNew<NuvCPReifyLEqualI>(s->allocator(), s, y, x, nuvCPAdd(0, -std::int64_t{k}), b);
}

struct Row {
  const char* name;
  Shape shape;
  const char* op;
  Builder build;
};

const Row kRows[] = {
    {"CP$Equal", Shape::XYK, "operator==", binary<NuvCPEqualBCI>},
    {"CP$EqualAC", Shape::XYK, "operator==", binary<NuvCPEqualACI>},
    {"CP$LEqual", Shape::XYK, "operator<=", binary<NuvCPLEqualI>},
    {"CP$SLEqual", Shape::XYKReq, "operator+<=", binary<NuvCPSLEqualI>},
    {"CP$NEqual", Shape::XYK, "operator!=", binary<NuvCPNEqualI>},
    {"CP$Equalc", Shape::XK, "operator==", unary<NuvCPEqualcI>},
    {"CP$NEqualc", Shape::XK, "operator!=", unary<NuvCPNEqualcI>},
    {"CP$LEqualc", Shape::XK, "operator<=", unary<NuvCPLEqualcI>},
    {"CP$GEqualc", Shape::XK, "operator>=", unary<NuvCPGEqualcI>},
    {"CP$ReifyEqualc", Shape::XKB, "operator==", reifiedUnary<NuvCPReifyEqualcI>},
    {"CP$ReifyNEqualc", Shape::XKB, "operator!=", reifiedUnary<NuvCPReifyNEqualcI>},
    {"CP$ReifyLEqualc", Shape::XKB, "operator<=", reifiedUnary<NuvCPReifyLEqualcI>},
    {"CP$ReifyGEqualc", Shape::XKB, "operator>=", reifiedUnary<NuvCPReifyGEqualcI>},
    {"CP$ReifyEqual", Shape::XYKB, "operator==", reifiedBinary<NuvCPReifyEqualBCI>},
    {"CP$ReifyNEqual", Shape::XYKB, "operator!=", reifiedBinary<NuvCPReifyNEqualI>},
    {"CP$ReifyLEqual", Shape::XYKB, "operator<=", reifiedBinary<NuvCPReifyLEqualI>},
    {"CP$ReifyGEqual", Shape::XYKB, "operator>=", reifiedGEqual},
    {"CP$LogicAnd", Shape::XYB, "operator&&", logic<NuvCPLogicAndI>},
    {"CP$LogicOr", Shape::XYB, "operator||", logic<NuvCPLogicOrI>},
    {"CP$LogicImply", Shape::XYB, "operator=>", logic<NuvCPLogicImplyI>},
};

const Row* rowOf(const std::string& name) {
  for (const Row& r : kRows)
    if (name == r.name) return &r;
  return nullptr;
}

constexpr const char* kInt = "var<CP>{int}";
constexpr const char* kBool = "var<CP>{bool}";

}  // namespace

// One language class for the whole family: the row of its native class says
// which arguments it reads and which propagator it builds.
class NuvCPRelation : public NuvCPCstr {
 public:
  using NuvCPCstr::NuvCPCstr;
  std::size_t classSize() const override { return sizeof(NuvCPRelation); }
  void mark(PimMarker& m) override {
    m.mark(_x);
    m.mark(_y);
    m.mark(_b);
  }

  void init(RavRuntime& rt, int nargs) override {
    _row = rowOf(nativeClass()->name());
    if (!_row) NuvCPCstr::init(rt, nargs);
    const char* op = _row->op;
    switch (_row->shape) {
      case Shape::XYK:
      case Shape::XYKReq:
        if (nargs == 2 && _row->shape == Shape::XYK) {
          NuvCPArgs a(rt, op, {kInt, kInt});
          _x = a.intVar(0);
          _y = a.intVar(1);
        } else if (nargs == 3) {
          NuvCPArgs a(rt, op, {kInt, kInt, "int"});
          _x = a.intVar(0);
          _y = a.intVar(1);
          _k = a.intValue(2);
        } else {
          NuvCPCstr::init(rt, nargs);
        }
        break;
      case Shape::XK: {
        if (nargs != 2) NuvCPCstr::init(rt, nargs);
        NuvCPArgs a(rt, op, {kInt, "int"});
        _x = a.intVar(0);
        _k = a.intValue(1);
        break;
      }
      case Shape::XKB: {
        if (nargs != 3) NuvCPCstr::init(rt, nargs);
        NuvCPArgs a(rt, op, {kInt, "int", kBool}, 2);
        _x = a.intVar(0);
        _k = a.intValue(1);
        _b = a.intVar(2);
        break;
      }
      case Shape::XYKB:
        if (nargs == 3) {
          NuvCPArgs a(rt, op, {kInt, kInt, kBool}, 2);
          _x = a.intVar(0);
          _y = a.intVar(1);
          _b = a.intVar(2);
        } else if (nargs == 4) {
          NuvCPArgs a(rt, op, {kInt, kInt, "int", kBool}, 3);
          _x = a.intVar(0);
          _y = a.intVar(1);
          _k = a.intValue(2);
          _b = a.intVar(3);
        } else {
          NuvCPCstr::init(rt, nargs);
        }
        break;
      case Shape::XYB: {
        if (nargs != 3) NuvCPCstr::init(rt, nargs);
        NuvCPArgs a(rt, op, {kBool, kBool, kBool}, 2);
        _x = a.intVar(0);
        _y = a.intVar(1);
        _b = a.intVar(2);
        for (NuvCPIntVarI* v : {_x, _y, _b})
          if (!dynamic_cast<NuvCPBoolVarI*>(v))
            throw PimExecutionError(rt.source(), std::string(op) +
                                                     ": the connectives take var<CP>{bool} "
                                                     "variables (CP$VarBool)");
        break;
      }
    }
    accepted(rt, nargs, _row->shape == Shape::XYB ? "CP$VarBool" : "CP$VarInt");
    checkSameStore(rt);
  }

  NuvCPDaemonI* build(NuvCPManagerI* store) override {
    if (_x->getSolver() != store)
      throw PimExecutionError(PimSource(), nativeClass()->name() +
                                               ": posted to a solver its variables do not belong to");
    return _row->build(store, _x, _y, _k, _b);
  }

  static const RavMethodTable* methodTable() { return nullptr; }

  class Factory : public NuvCPFactory<NuvCPRelation> {
   public:
    using NuvCPFactory::NuvCPFactory;
    std::size_t classSize() const override { return sizeof(Factory); }
  };

 private:
  void checkSameStore(RavRuntime& rt) const {
    NuvCPManagerI* s = _x->getSolver();
    if ((_y && _y->getSolver() != s) || (_b && _b->getSolver() != s))
      throw PimExecutionError(rt.source(), nativeClass()->name() +
                                               ": the variables belong to different solvers");
  }

  const Row* _row = nullptr;
  NuvCPIntVarI* _x = nullptr;
  NuvCPIntVarI* _y = nullptr;
  NuvCPIntVarI* _b = nullptr;
  std::int32_t _k = 0;
};

NuvInstanceFactory* nuvCPRelationFactory(PimAllocator* a, const char* name) {
  return pimCreate<NuvCPRelation::Factory>(a, a, name);
}
