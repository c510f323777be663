// "CP$VarInt": the language object of a var<CP>{int}.
#pragma once

#include "fd/NuvCPNative.h"

class NuvCPIntVar : public NuvCPVarObject {
 public:
  using NuvCPVarObject::NuvCPVarObject;
  std::size_t classSize() const override { return sizeof(NuvCPIntVar); }
  void print(std::ostream& os) const override;
  // CP$VarInt(store, lo, hi) or CP$VarInt(store, set-or-int-array).
  void init(RavRuntime& rt, int nargs) override;
  static const RavMethodTable* methodTable();
  friend NuvNativeObject* nuvCPIntViewHandle(RavRuntime& rt, NuvCPIntVarI* y, int c);

  class Factory : public NuvCPFactory<NuvCPIntVar> {
   public:
    using NuvCPFactory::NuvCPFactory;
    std::size_t classSize() const override { return sizeof(Factory); }
  };
};

// "CP$VarBool": the language object of a var<CP>{bool}, a Boolean variable
// answering the same methods as CP$VarInt. CP$VarBool(store).
class NuvCPBoolVar : public NuvCPVarObject {
 public:
  using NuvCPVarObject::NuvCPVarObject;
  std::size_t classSize() const override { return sizeof(NuvCPBoolVar); }
  void print(std::ostream& os) const override;
  void init(RavRuntime& rt, int nargs) override;
  static const RavMethodTable* methodTable() { return NuvCPIntVar::methodTable(); }

  class Factory : public NuvCPFactory<NuvCPBoolVar> {
   public:
    using NuvCPFactory::NuvCPFactory;
    std::size_t classSize() const override { return sizeof(Factory); }
  };
};

// A "CP$VarInt" handle on the view y + c (|c| below 2^30), for front ends
// that name one variable by another: the handle passes the view to every
// constraint that takes a var<CP>{int}.
NuvNativeObject* nuvCPIntViewHandle(RavRuntime& rt, NuvCPIntVarI* y, int c);

// The propagator a subscription method was given: a handle of a posted
// propagator. `method` names the method for the "(null)" message.
NuvCPDaemonI* nuvCPArgDaemon(RavRuntime& rt, int n, const char* method);
