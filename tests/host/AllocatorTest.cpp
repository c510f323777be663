#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <set>

#include "host/PimAllocator.h"
#include "host/PimCell.h"

namespace {

TEST(ArenaAllocator, RecyclesReleasedBlocksBySize) {
  PimArenaAllocator arena(1024);
  void* a = arena.allocate(24);
  void* b = arena.allocate(24);
  ASSERT_NE(a, b);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(a) % 16, 0u);
  arena.release(a, 24);
  EXPECT_EQ(arena.allocate(20), a) << "same size class reuses the released block";
  // Large blocks are allocated alone and freed on release.
  void* big = arena.allocate(10000);
  ASSERT_NE(big, nullptr);
  std::memset(big, 0xAB, 10000);
  std::size_t reserved = arena.bytesReserved();
  arena.release(big, 10000);
  EXPECT_LT(arena.bytesReserved(), reserved);
}

TEST(ArenaAllocator, LimitMakesAllocationFail) {
  PimArenaAllocator arena;
  arena.setLimit(100);
  EXPECT_NE(arena.allocate(64), nullptr);
  EXPECT_EQ(arena.allocate(64), nullptr);
  EXPECT_EQ(arena.allocate(1000), nullptr);
}

struct Finalized : PimCellI {
  explicit Finalized(int* counter) : counter(counter) {}
  ~Finalized() override { ++*counter; }
  int* counter;
};

TEST(ArenaAllocator, RunsRegisteredFinalizersAtTheEnd) {
  int finalized = 0;
  {
    PimArenaAllocator arena;
    for (int i = 0; i < 3; ++i) {
      auto* c = new (arena.allocate(sizeof(Finalized))) Finalized(&finalized);
      arena.registerFinalizer(c);
    }
    EXPECT_EQ(finalized, 0);
  }
  EXPECT_EQ(finalized, 3);
}

TEST(StackAllocator, RewindReusesBlocksInOrder) {
  PimSystemAllocator sys;
  PimStackAllocator stack(&sys, 256);
  std::set<void*> first;
  for (int i = 0; i < 40; ++i) first.insert(stack.allocate(32));  // spans several blocks
  std::size_t blocks = stack.blockCount();
  EXPECT_GE(blocks, 5u);
  EXPECT_GT(stack.currentBlockIndex(), 0u);
  stack.rewind();
  EXPECT_EQ(stack.currentBlockIndex(), 0u);
  EXPECT_EQ(stack.usedInCurrentBlock(), 0u);
  for (int i = 0; i < 40; ++i) EXPECT_TRUE(first.count(stack.allocate(32)));
  EXPECT_EQ(stack.blockCount(), blocks) << "rewinding allocates no new block";
  // A request larger than a block gets a block of its own.
  void* big = stack.allocate(1000);
  ASSERT_NE(big, nullptr);
  std::memset(big, 0, 1000);
}

TEST(StackAllocator, BlockLimitAnswersNull) {
  PimSystemAllocator sys;
  PimAC5Allocator events(&sys, 64, 2);
  int got = 0;
  while (events.allocate(32) != nullptr) ++got;
  EXPECT_EQ(got, 4);
  events.rewind();
  EXPECT_NE(events.allocate(32), nullptr);
}

}  // namespace
