// The path every front end takes: load the module with dlopen, register, then
// work purely through class names and the argument stack.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <iostream>
#include <sstream>

#include "host/Rav.h"

#ifndef NUVFD_MODULE_PATH
#error "NUVFD_MODULE_PATH must name the built module"
#endif

namespace {

using Registry = void (*)(RavProgram*, PimPropertyDict*);

Registry loadRegistry() {
  void* handle = dlopen(NUVFD_MODULE_PATH, RTLD_NOW | RTLD_LOCAL);
  EXPECT_NE(handle, nullptr) << dlerror();
  if (!handle) return nullptr;
  return reinterpret_cast<Registry>(dlsym(handle, "nuvfdModuleRegistry"));
}

// Runs the registry with std::cout captured.
std::string registerCapturing(Registry reg, RavProgram& program) {
  std::ostringstream captured;
  std::streambuf* old = std::cout.rdbuf(captured.rdbuf());
  reg(&program, nullptr);
  std::cout.rdbuf(old);
  return captured.str();
}

TEST(Module, RegistersEveryClassInOrder) {
  Registry reg = loadRegistry();
  ASSERT_NE(reg, nullptr);
  RavProgram program;
  EXPECT_EQ(registerCapturing(reg, program), "Registration in progress(CP)...\n");
  const auto& names = program.classNames();
  ASSERT_EQ(names.size(), 134u);
  EXPECT_EQ(names.front(), "CP$Store");
  EXPECT_EQ(names[1], "CP$VarInt");
  EXPECT_EQ(names[109], "CPPEA");
  EXPECT_EQ(names[110], "CP$PrecedenceGraphClosure");
  EXPECT_EQ(names.back(), "CP$TrailIntList");
  EXPECT_NE(program.findClass("CP$circuit"), nullptr);
  EXPECT_NE(program.findClass("CP$pairLink"), nullptr);
  EXPECT_EQ(program.findClass("CP$PEA"), nullptr);
  for (const auto& n : names) {
    const NuvNativeClass* c = program.findClass(n);
    ASSERT_NE(c, nullptr);
    ASSERT_NE(c->factory(), nullptr);
    EXPECT_EQ(n, c->factory()->getName());
  }
}

TEST(Module, NegativeTraceLevelSilencesTheProgressLine) {
  Registry reg = loadRegistry();
  ASSERT_NE(reg, nullptr);
  RavProgram quiet;
  quiet.getMgr()->setTraceLevel(-1);
  EXPECT_EQ(registerCapturing(reg, quiet), "");
  EXPECT_EQ(quiet.classNames().size(), 134u);
}

TEST(Module, ClassesNotBuiltYetSayWhatIsMissing) {
  Registry reg = loadRegistry();
  ASSERT_NE(reg, nullptr);
  RavProgram program;
  program.getMgr()->setTraceLevel(-1);
  reg(&program, nullptr);
  RavRuntime rt(program);
  try {
    rt.create("CP$SetUnion", 0);
    FAIL() << "no error";
  } catch (const PimExecutionError& e) {
    EXPECT_EQ(e.message(), "class CP$SetUnion is not available in this build of nuvfd");
  }
}

TEST(Module, FailedFactoryAllocationRegistersNull) {
  Registry reg = loadRegistry();
  ASSERT_NE(reg, nullptr);
  RavProgram program;
  program.getMgr()->setTraceLevel(-1);
  program.arena().setLimit(program.arena().bytesInUse() + 1);
  reg(&program, nullptr);
  ASSERT_EQ(program.classNames().size(), 134u);
  EXPECT_EQ(program.findClass("CP$Store")->factory(), nullptr);
  RavRuntime rt(program);
  EXPECT_THROW(rt.create("CP$Store", 0), PimExecutionError);
}

}  // namespace
