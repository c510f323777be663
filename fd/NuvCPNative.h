// Shared pieces of the module's native classes: the generic factory and the
// stand-in for classes whose family is not built yet.
#pragma once

#include <new>
#include <string>

#include "host/Rav.h"

// The factory of native class T: T must be constructible from
// (PimAllocator*, const NuvNativeClass*).
template <class T>
class NuvCPFactory : public NuvInstanceFactory {
 public:
  NuvCPFactory(PimAllocator* a, const char* name) : NuvInstanceFactory(a), _name(name) {}
  std::size_t classSize() const override { return sizeof(NuvCPFactory); }
  const char* getName() const override { return _name; }
  NuvNativeObject* instantiate(PimAllocator* a, const NuvNativeClass* cls) override {
    return new (a) T(a, cls);
  }
  const RavMethodTable* methods() const override { return T::methodTable(); }

 private:
  const char* _name;
};

// A registered class whose propagators are not part of this build. Creating
// one raises an execution error naming the class, rather than building
// something that would silently do nothing.
class NuvCPUnavailable : public NuvNativeObject {
 public:
  using NuvNativeObject::NuvNativeObject;
  void init(RavRuntime& rt, int nargs) override;
  static const RavMethodTable* methodTable() { return nullptr; }
  std::size_t classSize() const override { return sizeof(NuvCPUnavailable); }

  class Factory : public NuvCPFactory<NuvCPUnavailable> {
   public:
    using NuvCPFactory::NuvCPFactory;
    std::size_t classSize() const override { return sizeof(Factory); }
  };
};
