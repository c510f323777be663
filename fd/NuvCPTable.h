// Native classes of the table constraint.
//
//   CP$Table(arity, values)          a table of allowed tuples: `values` (an
//                                    int array) holds the tuples one after
//                                    the other, `arity` values each. Raises
//                                    an error for an arity below 1, an empty
//                                    table and a ragged last row. Methods:
//                                    getArity(), getSize() (the number of
//                                    tuples).
//   CP$TableCstr(vars, table[, algorithm])
//                                    (vars[1], ..., vars[n]) is a tuple of
//                                    the table; n must be its arity.
//                                    `algorithm` "residue" or "compact"
//                                    forces a propagator, "auto" (the
//                                    default) chooses by the table's size.
#pragma once

#include <memory>

#include "fd/NuvCPNative.h"
#include "fd/NuvCPTableI.h"

class NuvCPTable : public NuvNativeObject {
 public:
  NuvCPTable(PimAllocator* a, const NuvNativeClass* cls) : NuvNativeObject(a, cls) {
    if (a) a->registerFinalizer(this);
  }
  std::size_t classSize() const override { return sizeof(NuvCPTable); }
  void init(RavRuntime& rt, int nargs) override;
  const NuvCPTableData* data() const { return _data.get(); }
  static const RavMethodTable* methodTable();

  class Factory : public NuvCPFactory<NuvCPTable> {
   public:
    using NuvCPFactory::NuvCPFactory;
    std::size_t classSize() const override { return sizeof(Factory); }
  };

 private:
  std::unique_ptr<NuvCPTableData> _data;
};

NuvInstanceFactory* nuvCPTableFactory(PimAllocator* a, const char* name);
