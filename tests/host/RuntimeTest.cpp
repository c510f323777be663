#include <gtest/gtest.h>

#include <sstream>
#include <thread>

#include "host/PimThread.h"
#include "host/Rav.h"

namespace {

// A small native class: a counter with a step, built from 0 or 1 argument.
class Counter : public NuvNativeObject {
 public:
  using NuvNativeObject::NuvNativeObject;
  void init(RavRuntime& rt, int nargs) override {
    if (nargs == 1) step = rt.argInt(0);
    else NuvNativeObject::init(rt, nargs);
  }
  int value = 0;
  int step = 1;

  class Factory : public NuvInstanceFactory {
   public:
    using NuvInstanceFactory::NuvInstanceFactory;
    const char* getName() const override { return "T$Counter"; }
    NuvNativeObject* instantiate(PimAllocator* a, const NuvNativeClass* c) override {
      return new (a) Counter(a, c);
    }
    const RavMethodTable* methods() const override;
  };
};

RavValue tick(RavRuntime&, NuvNativeObject* self, int) {
  auto* c = static_cast<Counter*>(self);
  c->value += c->step;
  return RavValue(c->value);
}
RavValue add(RavRuntime& rt, NuvNativeObject* self, int nargs) {
  auto* c = static_cast<Counter*>(self);
  for (int i = 0; i < nargs; ++i) c->value += rt.argInt(i);
  return RavValue(c->value);
}
RavValue sumArray(RavRuntime& rt, NuvNativeObject*, int) {
  const RavIntArray& a = rt.argIntArray(0);
  std::int64_t s = 0;
  for (auto v : a.values) s += v;
  return RavValue(s);
}
RavValue nested(RavRuntime& rt, NuvNativeObject* self, int) {
  // Calls another method while its own argument is still needed afterwards.
  int before = rt.argInt(0);
  rt.push(RavValue(100));
  rt.call(self, "add", 1);
  return RavValue(before + rt.argInt(0));
}
const RavMethod kCounterMethods[] = {
    {"tick", tick, 0, 0},
    {"add", add, 1, 3},
    {"sumArray", sumArray, 1, 1},
    {"nested", nested, 1, 1},
};
const RavMethodTable kCounterTable{kCounterMethods, 4};
const RavMethodTable* Counter::Factory::methods() const { return &kCounterTable; }

struct RuntimeTest : ::testing::Test {
  RavProgram program;
  RavRuntime rt{program};
  void SetUp() override {
    auto* f = new (program.getMgr()->allocator()->allocate(sizeof(Counter::Factory)))
        Counter::Factory(program.getMgr()->allocator());
    registerClass(f->getName(), f, &program);
  }
};

TEST_F(RuntimeTest, CreateCallAndDispatch) {
  rt.push(RavValue(5));
  NuvNativeObject* c = rt.create("T$Counter", 1);
  EXPECT_EQ(rt.stackSize(), 0u);
  EXPECT_EQ(rt.call(c, "tick", 0).asInt(), 5);
  RavMethodHandle h;
  EXPECT_EQ((PimDispatch2<int, int>::call(rt, c, h, "add", 1, 2)), 8);
  EXPECT_GE(h.index, 0) << "the handle is resolved once";
  EXPECT_EQ(PimDispatch1<int>::call(rt, c, h, "add", 2), 10);
  rt.push(RavValue(RavIntArray{0, {1, 2, 3}}));
  EXPECT_EQ(rt.call(c, "sumArray", 1).asInt(), 6);
  rt.push(RavValue(7));
  EXPECT_EQ(rt.call(c, "nested", 1).asInt(), 14) << "a nested call keeps the caller's frame";
  EXPECT_EQ(rt.stackSize(), 0u);
}

TEST_F(RuntimeTest, BadRequestsNameWhatWasAsked) {
  auto expectError = [&](auto f, const std::string& text) {
    try {
      f();
      ADD_FAILURE() << "no error for: " << text;
    } catch (const PimError& e) {
      EXPECT_NE(e.message().find(text), std::string::npos) << e.message();
    }
    EXPECT_EQ(rt.stackSize(), 0u) << "arguments are dropped on error";
  };
  expectError([&] { rt.create("T$Nope", 0); }, "unknown class 'T$Nope'");
  NuvNativeObject* c = rt.create("T$Counter", 0);
  expectError([&] { rt.call(c, "frobnicate", 0); }, "has no method 'frobnicate'");
  expectError([&] { rt.push(RavValue("x")); rt.call(c, "add", 1); }, "argument 1: expected int, got string");
  expectError([&] { rt.push(RavValue(std::int64_t{1} << 40)); rt.call(c, "add", 1); },
              "does not fit in 32 bits");
  expectError([&] { rt.call(c, "add", 0); }, "takes 1..3 argument(s), not 0");
  expectError([&] { rt.call(nullptr, "tick", 0); }, "called on null");
  expectError([&] { rt.push(RavValue(1)); rt.push(RavValue(2)); rt.create("T$Counter", 2); },
              "no constructor of T$Counter takes 2");
  expectError([&] { rt.push(RavValue(3)); rt.call(c, "sumArray", 1); }, "expected int[], got int");
}

TEST_F(RuntimeTest, ArgumentConversions) {
  NuvNativeObject* c = rt.create("T$Counter", 0);
  rt.push(RavValue(true));
  rt.push(RavValue(3));
  rt.push(RavValue(RavIntArray{1, {5, 3, 4, 9}}));
  rt.push(RavValue(RavIntSet::range(2, 4)));
  rt.push(RavValue(static_cast<NuvNativeObject*>(nullptr)));
  rt.push(RavValue(c));
  static const RavMethod probe[] = {{"probe",
                                     [](RavRuntime& r, NuvNativeObject*, int) {
                                       EXPECT_EQ(r.argInt(0), 1) << "bool converts to int";
                                       EXPECT_DOUBLE_EQ(r.argFloat(1), 3.0);
                                       RavIntSet s = r.argIntSet(2);
                                       EXPECT_EQ(s.ranges.size(), 2u);  // {3..5, 9}
                                       EXPECT_TRUE(s.contains(4));
                                       EXPECT_FALSE(s.contains(6));
                                       EXPECT_EQ(s.size(), 4u);
                                       EXPECT_EQ(r.argIntSet(3).size(), 3u);
                                       EXPECT_EQ(r.argObject(4), nullptr);
                                       EXPECT_NE(r.argObject(5, r.getClass("T$Counter")), nullptr);
                                       EXPECT_THROW(r.argBool(1), PimExecutionError);
                                       EXPECT_THROW(r.arg(6), PimExecutionError);
                                       return RavValue();
                                     },
                                     6, 6}};
  RavMethod m = probe[0];
  RavMethodTable table{&m, 1};
  // Call the probe directly through a method table of its own.
  struct Probe : NuvNativeObject {
    using NuvNativeObject::NuvNativeObject;
  };
  struct ProbeFactory : NuvInstanceFactory {
    const RavMethodTable* t;
    ProbeFactory(const RavMethodTable* t) : NuvInstanceFactory(nullptr), t(t) {}
    const char* getName() const override { return "T$Probe"; }
    NuvNativeObject* instantiate(PimAllocator* a, const NuvNativeClass* cl) override {
      return new (a) Probe(a, cl);
    }
    const RavMethodTable* methods() const override { return t; }
  } factory(&table);
  registerClass("T$Probe", &factory, &program);
  NuvNativeObject* p = rt.create("T$Probe", 0);
  rt.call(p, "probe", 6);
  EXPECT_EQ(rt.stackSize(), 0u);
}

TEST_F(RuntimeTest, FailedAllocationIsAnErrorNotACrash) {
  program.arena().setLimit(program.arena().bytesInUse());
  try {
    rt.create("T$Counter", 0);
    FAIL();
  } catch (const PimExecutionError& e) {
    EXPECT_NE(e.message().find("out of memory"), std::string::npos);
  }
}

TEST(PropertyDict, Lookups) {
  PimPropertyDict d;
  d.set("trace", "-1");
  d.set("name", "x");
  EXPECT_EQ(d.getInt("trace", 0), -1);
  EXPECT_EQ(d.getInt("name", 7), 7);
  EXPECT_EQ(d.get("missing", "dflt"), "dflt");
}

TEST(ThreadOutput, EachThreadHasItsOwnStream) {
  std::ostringstream mine, theirs;
  PimThreadOutputScope scope(mine);
  std::thread t([&] {
    PimThreadOutputScope s(theirs);
    PimThreadKey::output() << "B";
  });
  t.join();
  PimThreadKey::output() << "A";
  EXPECT_EQ(mine.str(), "A");
  EXPECT_EQ(theirs.str(), "B");
}

}  // namespace
