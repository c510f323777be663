// Shared pieces of the module's native classes (the objects scripts see): the
// generic factory, the stand-in for classes whose family is not built yet,
// argument reading with the null-argument rule, the base of every language
// constraint object and the handle objects that stand for propagators.
//
// How a script (or the FlatZinc front end, which plays one) uses a
// constraint class, e.g. x == y + 3:
//     rt.push(x); rt.push(y); rt.push(3);
//     NuvNativeObject* c = rt.create("CP$Equal", 3);   // checks the arguments
//     rt.push(c); rt.call(store, "post", 1);           // builds and posts
// The method tables of all native classes are listed in fd/README.md.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <new>
#include <string>
#include <vector>

#include "host/Rav.h"

class NuvCPManagerI;
class NuvCPDaemonI;
class NuvCPCstrI;
class NuvCPIntVarI;

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

// A language object that stands for one integer variable of a store
// ("CP$VarInt", "CP$VarBool"): what constraint arguments are read from.
class NuvCPVarObject : public NuvNativeObject {
 public:
  using NuvNativeObject::NuvNativeObject;
  NuvCPIntVarI* intVar() const { return _var; }
  std::size_t classSize() const override { return sizeof(NuvCPVarObject); }
  void mark(PimMarker& m) override;

 protected:
  NuvCPIntVarI* _var = nullptr;
};

// Reads the arguments of one language signature, e.g.
//     NuvCPArgs a(rt, "operator==", {"var<CP>{int}", "var<CP>{int}", "int"});
// A null where a value is needed throws PimNullPointerError whose message is
// the signature with "null" in that place: "operator==(var<CP>{int},null,int)".
// When `receiver` names an argument (the result of a reified form), its type
// is written in front of the signature, which leaves that argument out; a
// null there reads "null operator==(var<CP>{int},int)", a null elsewhere
// "var<CP>{bool} operator==(null,int)".
class NuvCPArgs {
 public:
  NuvCPArgs(RavRuntime& rt, const char* name, std::initializer_list<const char*> types,
            int receiver = -1);

  // The message for a null at argument n.
  std::string nullMessage(int n) const;
  [[noreturn]] void throwNull(int n) const;

  NuvCPIntVarI* intVar(int n) const;
  std::vector<NuvCPIntVarI*> intVars(int n) const;  // every entry non-null
  int intValue(int n) const;
  std::vector<int> intValues(int n) const;  // from an int array
  // The low index of an array argument (its language index range).
  int arrayLow(int n) const;
  NuvNativeObject* object(int n, const char* className = nullptr) const;
  RavRuntime& runtime() const { return _rt; }

 private:
  RavRuntime& _rt;
  const char* _name;
  std::vector<const char*> _types;
  int _receiver;
};

// The base of every language constraint object: the overload tag of the
// constructor call that initialised it, its converted arguments (in the
// subclass) and the native class of the variables it expects.
class NuvCPCstr : public NuvNativeObject {
 public:
  // Subclasses keep their converted arguments in standard containers, so
  // the arena runs the destructor when it goes.
  NuvCPCstr(PimAllocator* a, const NuvNativeClass* cls) : NuvNativeObject(a, cls) {
    if (a) a->registerFinalizer(this);
  }
  std::size_t classSize() const override { return sizeof(NuvCPCstr); }
  // An argument list this class does not accept.
  void init(RavRuntime& rt, int nargs) override;
  // Builds the propagator in `store` (not posted yet); nullptr when the
  // allocator is exhausted.
  virtual NuvCPDaemonI* build(NuvCPManagerI* store) = 0;
  int overload() const { return _overload; }
  const NuvNativeClass* varClass() const { return _varClass; }
  static const RavMethodTable* methodTable() { return nullptr; }

 protected:
  // Records the accepted argument list and resolves the variables' class.
  void accepted(RavRuntime& rt, int overload, const char* varClassName = "CP$VarInt");
  // Throws "<class>: posted to a solver its variables do not belong to"
  // unless every variable of the arrays and every single variable (null
  // ones left out) belongs to `store`.
  void checkSolver(NuvCPManagerI* store, std::initializer_list<const std::vector<NuvCPIntVarI*>*> arrays,
                   std::initializer_list<NuvCPIntVarI*> vars = {}) const;

  std::int32_t _overload = -1;
  const NuvNativeClass* _varClass = nullptr;
};

// The language object that stands for a propagator already in a store; its
// native class is the propagator's own ("CP$Equal", ...).
class NuvCPCstrHandle : public NuvNativeObject {
 public:
  NuvCPCstrHandle(PimAllocator* a, const NuvNativeClass* cls, NuvCPDaemonI* c)
      : NuvNativeObject(a, cls), _cstr(c) {}
  NuvCPDaemonI* cstr() const { return _cstr; }
  std::size_t classSize() const override { return sizeof(NuvCPCstrHandle); }
  void mark(PimMarker& m) override;

 private:
  std::uintptr_t _zero = 0;
  NuvCPDaemonI* _cstr;
};

// Turns a propagator back into a language object of its native class. The
// class is found from the propagator's dynamic type in the tables of the
// families; a propagator of no native class gets "CP$Adapter". A null handle
// when allocation fails.
class NuvCPMakeHandle {
 public:
  explicit NuvCPMakeHandle(RavRuntime& rt) : _rt(rt) {}
  NuvNativeObject* makeHandle(NuvCPDaemonI* c);

 private:
  RavRuntime& _rt;
  NuvNativeObject* _result = nullptr;
};

// The native class name of a propagator's dynamic type, or nullptr.
const char* nuvCPNativeClassOf(const NuvCPDaemonI* c);
