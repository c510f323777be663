// "CP$BitVar": the language object of a bit-vector variable.
//   CP$BitVar(store); methods setBit(k, b), setByte(i, byte), bindWord(w),
//   member(w), getMin(), getMax(), getSize(), freeBits(), isBound(), toString()
// Words are 32-bit unsigned, passed as non-negative integers.
#pragma once

#include "fd/NuvCPNative.h"

class NuvCPBitVarI;

class NuvCPBitVar : public NuvNativeObject {
 public:
  using NuvNativeObject::NuvNativeObject;
  std::size_t classSize() const override { return sizeof(NuvCPBitVar); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  void init(RavRuntime& rt, int nargs) override;
  NuvCPBitVarI* bitVar() const { return _var; }
  static const RavMethodTable* methodTable();

  class Factory : public NuvCPFactory<NuvCPBitVar> {
   public:
    using NuvCPFactory::NuvCPFactory;
    std::size_t classSize() const override { return sizeof(Factory); }
  };

 private:
  NuvCPBitVarI* _var = nullptr;
};
