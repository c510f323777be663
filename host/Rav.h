// The interpreter side of the host: programs, native classes, the argument
// stack, method tables and dispatch.
//
// A script (or the FlatZinc front end, which plays the part of one) creates
// objects of native classes by name, pushes arguments on the runtime's stack
// and calls methods by name. Every conversion is checked: a wrong type, a null
// where an object is needed, an unknown class or method is a host error whose
// message names what was asked for.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "host/PimAllocator.h"
#include "host/PimArchiver.h"
#include "host/PimCell.h"
#include "host/PimError.h"

class RavRuntime;
class RavProgram;
class NuvNativeObject;
class NuvNativeClass;

// Properties of a module load (key -> value).
class PimPropertyDict {
 public:
  void set(const std::string& key, const std::string& value) { _values[key] = value; }
  bool has(const std::string& key) const { return _values.count(key) != 0; }
  std::string get(const std::string& key, const std::string& otherwise = "") const;
  long getInt(const std::string& key, long otherwise) const;

 private:
  std::map<std::string, std::string> _values;
};

// Arrays carry their own index range, as in the modeling language.
template <class T>
struct RavArray {
  int low = 1;
  std::vector<T> values;
  int high() const { return low + static_cast<int>(values.size()) - 1; }
  std::size_t size() const { return values.size(); }
};
using RavIntArray = RavArray<std::int64_t>;
using RavFloatArray = RavArray<double>;
using RavObjectArray = RavArray<NuvNativeObject*>;  // entries may be null

// A set of integers as sorted, disjoint, non-adjacent closed ranges.
struct RavIntSet {
  std::vector<std::pair<std::int64_t, std::int64_t>> ranges;
  static RavIntSet range(std::int64_t lo, std::int64_t hi);
  static RavIntSet of(std::vector<std::int64_t> values);
  bool empty() const { return ranges.empty(); }
  bool contains(std::int64_t v) const;
  std::int64_t min() const { return ranges.front().first; }
  std::int64_t max() const { return ranges.back().second; }
  std::uint64_t size() const;
  bool isRange() const { return ranges.size() == 1; }
};

enum class RavType { Null, Int, Bool, Float, String, Object, IntArray, FloatArray, ObjectArray, IntSet };
const char* ravTypeName(RavType t);

// One value of the argument stack: a tag and the payload of that tag.
class RavValue {
 public:
  RavValue() = default;  // null
  RavValue(std::nullptr_t) {}
  RavValue(int v) : _type(RavType::Int) { _u.i = v; }
  RavValue(std::int64_t v) : _type(RavType::Int) { _u.i = v; }
  RavValue(bool v) : _type(RavType::Bool) { _u.b = v; }
  RavValue(double v) : _type(RavType::Float) { _u.f = v; }
  RavValue(const char* s) : _type(RavType::String), _s(s) {}
  RavValue(std::string s) : _type(RavType::String), _s(std::move(s)) {}
  RavValue(NuvNativeObject* o) : _type(o ? RavType::Object : RavType::Null) { _u.o = o; }
  RavValue(RavIntArray a) : _type(RavType::IntArray), _p(std::make_shared<RavIntArray>(std::move(a))) {}
  RavValue(RavFloatArray a)
      : _type(RavType::FloatArray), _p(std::make_shared<RavFloatArray>(std::move(a))) {}
  RavValue(RavObjectArray a)
      : _type(RavType::ObjectArray), _p(std::make_shared<RavObjectArray>(std::move(a))) {}
  RavValue(RavIntSet s) : _type(RavType::IntSet), _p(std::make_shared<RavIntSet>(std::move(s))) {}

  RavType type() const { return _type; }
  bool isNull() const { return _type == RavType::Null; }
  // Unchecked accessors; the runtime's arg* methods do the checking.
  std::int64_t asInt() const { return _u.i; }
  bool asBool() const { return _u.b; }
  double asFloat() const { return _u.f; }
  const std::string& asString() const { return _s; }
  NuvNativeObject* asObject() const { return _u.o; }
  const RavIntArray& asIntArray() const { return *static_cast<const RavIntArray*>(_p.get()); }
  const RavFloatArray& asFloatArray() const { return *static_cast<const RavFloatArray*>(_p.get()); }
  const RavObjectArray& asObjectArray() const {
    return *static_cast<const RavObjectArray*>(_p.get());
  }
  const RavIntSet& asIntSet() const { return *static_cast<const RavIntSet*>(_p.get()); }

 private:
  RavType _type = RavType::Null;
  union {
    std::int64_t i;
    bool b;
    double f;
    NuvNativeObject* o;
  } _u{0};
  std::string _s;
  std::shared_ptr<const void> _p;  // arrays and sets, shared between copies
};

// A language method: arguments are on the runtime's stack (arg(0) is the
// first); the result is returned.
using RavMethodFn = RavValue (*)(RavRuntime& rt, NuvNativeObject* self, int nargs);

struct RavMethod {
  const char* name;
  RavMethodFn fn;
  int minArgs;
  int maxArgs;
};

// A native class's methods, in a fixed order so that handles are indices.
struct RavMethodTable {
  const RavMethod* methods = nullptr;
  int count = 0;
  int indexOf(const std::string& name) const;
};

// A method resolved once by name and then called by index; -1 = unresolved.
struct RavMethodHandle {
  int index = -1;
};

// Language objects: cells allocated from a host allocator.
class NuvObject : public PimDataI {
 public:
  using PimDataI::PimDataI;
  // nullptr when the allocator is exhausted; the constructor then never runs.
  static void* operator new(std::size_t size, PimAllocator* allocator) noexcept;
  static void operator delete(void* p, PimAllocator* allocator) noexcept;
  // Language objects are reclaimed with their arena, never deleted alone.
  static void operator delete(void*) noexcept {}
};

// The factory of one native class.
class NuvInstanceFactory : public PimCellI {
 public:
  explicit NuvInstanceFactory(PimAllocator* a) : PimCellI(a) {}
  std::size_t classSize() const override { return sizeof(NuvInstanceFactory); }
  virtual const char* getName() const = 0;
  // A new object of the class, or nullptr when allocation failed.
  virtual NuvNativeObject* instantiate(PimAllocator* allocator, const NuvNativeClass* cls) = 0;
  virtual const RavMethodTable* methods() const { return nullptr; }
};

// A registered native class.
class NuvNativeClass {
 public:
  NuvNativeClass(std::string name, NuvInstanceFactory* factory)
      : _name(std::move(name)), _factory(factory) {}
  const std::string& name() const { return _name; }
  NuvInstanceFactory* factory() const { return _factory; }
  const RavMethodTable* methods() const { return _factory ? _factory->methods() : nullptr; }

 private:
  std::string _name;
  NuvInstanceFactory* _factory;
};

// An instance of a native class.
class NuvNativeObject : public NuvObject {
 public:
  NuvNativeObject(PimAllocator* a, const NuvNativeClass* cls) : NuvObject(a), _class(cls) {}
  const NuvNativeClass* nativeClass() const { return _class; }
  std::size_t classSize() const override { return sizeof(NuvNativeObject); }
  // Runs the language constructor with `nargs` arguments on the stack.
  virtual void init(RavRuntime& rt, int nargs);

 private:
  const NuvNativeClass* _class;
};

// The host manager of a program: its allocator and output settings.
class RavManager {
 public:
  explicit RavManager(PimAllocator* allocator) : _allocator(allocator) {}
  PimAllocator* allocator() const { return _allocator; }
  int getTraceLevel() const { return _traceLevel; }
  void setTraceLevel(int t) { _traceLevel = t; }
  int getVerbosity() const { return _verbosity; }
  void setVerbosity(int v) { _verbosity = v; }

 private:
  PimAllocator* _allocator;
  int _traceLevel = 0;
  int _verbosity = 0;
};

// A program: the classes registered by the modules it loaded. Owns its arena.
class RavProgram {
 public:
  RavProgram();
  ~RavProgram();
  RavProgram(const RavProgram&) = delete;
  RavProgram& operator=(const RavProgram&) = delete;

  RavManager* getMgr() { return &_mgr; }
  PimArenaAllocator& arena() { return _arena; }
  PimArchiveRegistry& archiveRegistry() { return _archive; }

  // Adds a class; a later registration of the same name replaces it.
  void addClass(const std::string& name, NuvInstanceFactory* factory);
  // nullptr when no class has that name.
  const NuvNativeClass* findClass(const std::string& name) const;
  // Registered names in registration order.
  const std::vector<std::string>& classNames() const { return _order; }

 private:
  PimArenaAllocator _arena;
  RavManager _mgr;
  PimArchiveRegistry _archive;
  std::unordered_map<std::string, std::unique_ptr<NuvNativeClass>> _classes;
  std::vector<std::string> _order;
};

void registerClass(const char* name, NuvInstanceFactory* factory, RavProgram* program);

// The interpreter context: class lookup, the argument stack, calls.
class RavRuntime {
 public:
  explicit RavRuntime(RavProgram& program) : _program(program) {}

  RavProgram& program() { return _program; }
  // The current source position, used by errors raised in native code.
  const PimSource& source() const { return _source; }
  void setSource(PimSource s) { _source = std::move(s); }

  // Throws PimExecutionError "unknown class 'X'" when absent.
  const NuvNativeClass* getClass(const std::string& name) const;

  // The stack. push() adds on top; a call consumes the top nargs values.
  void push(RavValue v) { _stack.push_back(std::move(v)); }
  std::size_t stackSize() const { return _stack.size(); }

  // Creates an object of a class, running its constructor on the top nargs
  // values, which are popped.
  NuvNativeObject* create(const std::string& className, int nargs);
  // Calls a method by name on the top nargs values, which are popped.
  RavValue call(NuvNativeObject* self, const std::string& method, int nargs);
  // Calls through a handle, resolving it by name on first use.
  RavValue call(NuvNativeObject* self, RavMethodHandle& handle, const char* method, int nargs);

  // Arguments of the running call, 0-based. Each checks the type (integers
  // also their 32-bit range) and throws PimExecutionError naming the
  // argument, the expected and the given type.
  const RavValue& arg(int n) const;
  bool argIsNull(int n) const { return arg(n).isNull(); }
  int argInt(int n) const;
  std::int64_t argInt64(int n) const;
  bool argBool(int n) const;
  double argFloat(int n) const;  // integers convert
  const std::string& argString(int n) const;
  // nullptr for a null argument; when `cls` is given the object must be of it.
  NuvNativeObject* argObject(int n, const NuvNativeClass* cls = nullptr) const;
  const RavIntArray& argIntArray(int n) const;
  const RavFloatArray& argFloatArray(int n) const;
  const RavObjectArray& argObjectArray(int n) const;
  // A set; an integer array converts to the set of its values.
  RavIntSet argIntSet(int n) const;
  int argCount() const { return _frameCount; }

 private:
  [[noreturn]] void typeError(int n, const char* expected) const;
  RavValue invoke(NuvNativeObject* self, const RavMethod& m, int nargs);

  RavProgram& _program;
  PimSource _source;
  std::vector<RavValue> _stack;
  std::size_t _frameBase = 0;
  int _frameCount = 0;
};

// Calls a language method with 0..3 arguments through a handle and answers
// its integer result (used by propagators written in the modeling language).
struct PimDispatch0 {
  static std::int64_t call(RavRuntime& rt, NuvNativeObject* self, RavMethodHandle& h,
                           const char* name) {
    return toInt(rt.call(self, h, name, 0));
  }
  static std::int64_t toInt(const RavValue& v);
};
template <class A1>
struct PimDispatch1 {
  static std::int64_t call(RavRuntime& rt, NuvNativeObject* self, RavMethodHandle& h,
                           const char* name, A1 a1) {
    rt.push(RavValue(a1));
    return PimDispatch0::toInt(rt.call(self, h, name, 1));
  }
};
template <class A1, class A2>
struct PimDispatch2 {
  static std::int64_t call(RavRuntime& rt, NuvNativeObject* self, RavMethodHandle& h,
                           const char* name, A1 a1, A2 a2) {
    rt.push(RavValue(a1));
    rt.push(RavValue(a2));
    return PimDispatch0::toInt(rt.call(self, h, name, 2));
  }
};
template <class A1, class A2, class A3>
struct PimDispatch3 {
  static std::int64_t call(RavRuntime& rt, NuvNativeObject* self, RavMethodHandle& h,
                           const char* name, A1 a1, A2 a2, A3 a3) {
    rt.push(RavValue(a1));
    rt.push(RavValue(a2));
    rt.push(RavValue(a3));
    return PimDispatch0::toInt(rt.call(self, h, name, 3));
  }
};
