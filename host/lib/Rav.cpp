#include "host/Rav.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <new>

// ---- properties -------------------------------------------------------------

std::string PimPropertyDict::get(const std::string& key, const std::string& otherwise) const {
  auto it = _values.find(key);
  return it == _values.end() ? otherwise : it->second;
}

long PimPropertyDict::getInt(const std::string& key, long otherwise) const {
  auto it = _values.find(key);
  if (it == _values.end()) return otherwise;
  char* end = nullptr;
  long v = std::strtol(it->second.c_str(), &end, 10);
  return (end && *end == '\0' && !it->second.empty()) ? v : otherwise;
}

// ---- sets -------------------------------------------------------------------

RavIntSet RavIntSet::range(std::int64_t lo, std::int64_t hi) {
  RavIntSet s;
  if (lo <= hi) s.ranges.emplace_back(lo, hi);
  return s;
}

RavIntSet RavIntSet::of(std::vector<std::int64_t> values) {
  std::sort(values.begin(), values.end());
  RavIntSet s;
  for (std::int64_t v : values) {
    if (!s.ranges.empty() && v <= s.ranges.back().second + 1) {
      s.ranges.back().second = std::max(s.ranges.back().second, v);
    } else {
      s.ranges.emplace_back(v, v);
    }
  }
  return s;
}

bool RavIntSet::contains(std::int64_t v) const {
  auto it = std::upper_bound(ranges.begin(), ranges.end(), v,
                             [](std::int64_t x, const auto& r) { return x < r.first; });
  if (it == ranges.begin()) return false;
  --it;
  return v <= it->second;
}

std::uint64_t RavIntSet::size() const {
  std::uint64_t n = 0;
  for (const auto& r : ranges) n += static_cast<std::uint64_t>(r.second - r.first) + 1;
  return n;
}

// ---- values -----------------------------------------------------------------

const char* ravTypeName(RavType t) {
  switch (t) {
    case RavType::Null: return "null";
    case RavType::Int: return "int";
    case RavType::Bool: return "bool";
    case RavType::Float: return "float";
    case RavType::String: return "string";
    case RavType::Object: return "object";
    case RavType::IntArray: return "int[]";
    case RavType::FloatArray: return "float[]";
    case RavType::ObjectArray: return "object[]";
    case RavType::IntSet: return "set{int}";
  }
  return "?";
}

int RavMethodTable::indexOf(const std::string& name) const {
  for (int i = 0; i < count; ++i)
    if (name == methods[i].name) return i;
  return -1;
}

// ---- objects ----------------------------------------------------------------

void* NuvObject::operator new(std::size_t size, PimAllocator* allocator) noexcept {
  return allocator ? allocator->allocate(size) : nullptr;
}

// Only reached when a constructor throws. The block stays with its arena,
// which reclaims it as a whole; its size is not known here.
void NuvObject::operator delete(void*, PimAllocator*) noexcept {}

void NuvNativeObject::init(RavRuntime& rt, int nargs) {
  if (nargs != 0)
    throw PimExecutionError(rt.source(), "no constructor of " + _class->name() + " takes " +
                                             std::to_string(nargs) + " argument(s)");
}

// ---- program ----------------------------------------------------------------

RavProgram::RavProgram() : _mgr(&_arena) {}
RavProgram::~RavProgram() = default;

void RavProgram::addClass(const std::string& name, NuvInstanceFactory* factory) {
  auto it = _classes.find(name);
  if (it == _classes.end()) _order.push_back(name);
  _classes[name] = std::make_unique<NuvNativeClass>(name, factory);
}

const NuvNativeClass* RavProgram::findClass(const std::string& name) const {
  auto it = _classes.find(name);
  return it == _classes.end() ? nullptr : it->second.get();
}

void registerClass(const char* name, NuvInstanceFactory* factory, RavProgram* program) {
  program->addClass(name, factory);
}

// ---- runtime ----------------------------------------------------------------

const NuvNativeClass* RavRuntime::getClass(const std::string& name) const {
  const NuvNativeClass* c = _program.findClass(name);
  if (!c) throw PimExecutionError(_source, "unknown class '" + name + "'");
  return c;
}

namespace {
// Restores the caller's frame and drops the callee's arguments, also when
// the callee throws.
struct FrameGuard {
  std::vector<RavValue>& stack;
  std::size_t& base;
  int& count;
  std::size_t savedBase;
  int savedCount;
  std::size_t newBase;
  FrameGuard(std::vector<RavValue>& s, std::size_t& b, int& c, int nargs)
      : stack(s), base(b), count(c), savedBase(b), savedCount(c), newBase(s.size() - nargs) {
    base = newBase;
    count = nargs;
  }
  ~FrameGuard() {
    stack.resize(newBase);
    base = savedBase;
    count = savedCount;
  }
};
}  // namespace

NuvNativeObject* RavRuntime::create(const std::string& className, int nargs) {
  if (nargs < 0 || static_cast<std::size_t>(nargs) > _stack.size())
    throw PimExecutionError(_source, "creating " + className + ": " + std::to_string(nargs) +
                                         " arguments requested, " +
                                         std::to_string(_stack.size()) + " on the stack");
  FrameGuard frame(_stack, _frameBase, _frameCount, nargs);
  const NuvNativeClass* cls = getClass(className);
  if (!cls->factory())
    throw PimExecutionError(_source, "class '" + className + "' has no factory (its registration ran out of memory)");
  NuvNativeObject* obj = cls->factory()->instantiate(_program.getMgr()->allocator(), cls);
  if (!obj) throw PimExecutionError(_source, "out of memory creating an object of class '" + className + "'");
  obj->init(*this, nargs);
  return obj;
}

RavValue RavRuntime::invoke(NuvNativeObject* self, const RavMethod& m, int nargs) {
  FrameGuard frame(_stack, _frameBase, _frameCount, nargs);
  if (nargs < m.minArgs || nargs > m.maxArgs)
    throw PimExecutionError(_source, "method '" + std::string(m.name) + "' of " +
                                         self->nativeClass()->name() + " takes " +
                                         (m.minArgs == m.maxArgs
                                              ? std::to_string(m.minArgs)
                                              : std::to_string(m.minArgs) + ".." +
                                                    std::to_string(m.maxArgs)) +
                                         " argument(s), not " + std::to_string(nargs));
  return m.fn(*this, self, nargs);
}

RavValue RavRuntime::call(NuvNativeObject* self, const std::string& method, int nargs) {
  RavMethodHandle h;
  return call(self, h, method.c_str(), nargs);
}

RavValue RavRuntime::call(NuvNativeObject* self, RavMethodHandle& handle, const char* method,
                          int nargs) {
  if (nargs < 0 || static_cast<std::size_t>(nargs) > _stack.size())
    throw PimExecutionError(_source, std::string("calling ") + method + ": " +
                                         std::to_string(nargs) + " arguments requested, " +
                                         std::to_string(_stack.size()) + " on the stack");
  if (!self) {
    _stack.resize(_stack.size() - nargs);
    throw PimNullPointerError(_source, std::string("method '") + method + "' called on null");
  }
  const RavMethodTable* table = self->nativeClass()->methods();
  if (handle.index < 0) handle.index = table ? table->indexOf(method) : -1;
  if (handle.index < 0 || !table || handle.index >= table->count) {
    _stack.resize(_stack.size() - nargs);
    throw PimExecutionError(_source, "class " + self->nativeClass()->name() +
                                         " has no method '" + method + "'");
  }
  return invoke(self, table->methods[handle.index], nargs);
}

const RavValue& RavRuntime::arg(int n) const {
  if (n < 0 || n >= _frameCount)
    throw PimExecutionError(_source, "argument " + std::to_string(n + 1) + " requested, but only " +
                                         std::to_string(_frameCount) + " given");
  return _stack[_frameBase + n];
}

void RavRuntime::typeError(int n, const char* expected) const {
  throw PimExecutionError(_source, "argument " + std::to_string(n + 1) + ": expected " +
                                       expected + ", got " + ravTypeName(arg(n).type()));
}

std::int64_t RavRuntime::argInt64(int n) const {
  const RavValue& v = arg(n);
  if (v.type() == RavType::Int) return v.asInt();
  if (v.type() == RavType::Bool) return v.asBool() ? 1 : 0;
  typeError(n, "int");
}

int RavRuntime::argInt(int n) const {
  std::int64_t v = argInt64(n);
  if (v < INT_MIN || v > INT_MAX)
    throw PimExecutionError(_source, "argument " + std::to_string(n + 1) + ": integer " +
                                         std::to_string(v) + " does not fit in 32 bits");
  return static_cast<int>(v);
}

bool RavRuntime::argBool(int n) const {
  const RavValue& v = arg(n);
  if (v.type() == RavType::Bool) return v.asBool();
  if (v.type() == RavType::Int && (v.asInt() == 0 || v.asInt() == 1)) return v.asInt() == 1;
  typeError(n, "bool");
}

double RavRuntime::argFloat(int n) const {
  const RavValue& v = arg(n);
  if (v.type() == RavType::Float) return v.asFloat();
  if (v.type() == RavType::Int) return static_cast<double>(v.asInt());
  typeError(n, "float");
}

const std::string& RavRuntime::argString(int n) const {
  const RavValue& v = arg(n);
  if (v.type() != RavType::String) typeError(n, "string");
  return v.asString();
}

NuvNativeObject* RavRuntime::argObject(int n, const NuvNativeClass* cls) const {
  const RavValue& v = arg(n);
  if (v.isNull()) return nullptr;
  if (v.type() != RavType::Object) typeError(n, cls ? cls->name().c_str() : "object");
  NuvNativeObject* o = v.asObject();
  if (cls && o->nativeClass() != cls)
    throw PimExecutionError(_source, "argument " + std::to_string(n + 1) + ": expected " +
                                         cls->name() + ", got " + o->nativeClass()->name());
  return o;
}

const RavIntArray& RavRuntime::argIntArray(int n) const {
  const RavValue& v = arg(n);
  if (v.type() != RavType::IntArray) typeError(n, "int[]");
  return v.asIntArray();
}

const RavFloatArray& RavRuntime::argFloatArray(int n) const {
  const RavValue& v = arg(n);
  if (v.type() != RavType::FloatArray) typeError(n, "float[]");
  return v.asFloatArray();
}

const RavObjectArray& RavRuntime::argObjectArray(int n) const {
  const RavValue& v = arg(n);
  if (v.type() != RavType::ObjectArray) typeError(n, "object[]");
  return v.asObjectArray();
}

RavIntSet RavRuntime::argIntSet(int n) const {
  const RavValue& v = arg(n);
  if (v.type() == RavType::IntSet) return v.asIntSet();
  if (v.type() == RavType::IntArray) return RavIntSet::of(v.asIntArray().values);
  typeError(n, "set{int}");
}

std::int64_t PimDispatch0::toInt(const RavValue& v) {
  switch (v.type()) {
    case RavType::Int: return v.asInt();
    case RavType::Bool: return v.asBool() ? 1 : 0;
    case RavType::Null: return 0;
    default:
      throw PimExecutionError(PimSource(), std::string("a method answered ") +
                                               ravTypeName(v.type()) + " where int was expected");
  }
}
