#include <gtest/gtest.h>

#include "fd/NuvCPRingQueue.h"

namespace {

TEST(RingQueue, ThirtyThirdEntryDoublesAndKeepsFifoAcrossTheWrap) {
  PimArenaAllocator arena;
  NuvCPRingQueue<int> q(&arena, 32);
  // Move head and tail away from the buffer start so that the full ring wraps.
  for (int i = 0; i < 10; ++i) q.push(-1);
  for (int i = 0; i < 10; ++i) q.pop();
  for (int i = 0; i < 32; ++i) q.push(i);
  EXPECT_EQ(q.capacity(), 32);
  q.push(32);
  EXPECT_EQ(q.capacity(), 64);
  EXPECT_EQ(q.size(), 33);
  int next = 0;
  q.forEach([&](int v) { EXPECT_EQ(v, next++); });
  EXPECT_EQ(next, 33);
  for (int i = 0; i < 33; ++i) ASSERT_EQ(q.pop(), i);
  EXPECT_TRUE(q.empty());
}

TEST(RingQueue, GrowsFromNothingTo512AndClearKeepsTheBuffer) {
  PimArenaAllocator arena;
  NuvCPRingQueue<int> q(&arena, 0);
  EXPECT_EQ(q.capacity(), 0);
  q.push(7);
  EXPECT_EQ(q.capacity(), 512);
  for (int i = 0; i < 600; ++i) q.push(i);
  EXPECT_EQ(q.capacity(), 1024);
  q.clear();
  EXPECT_TRUE(q.empty());
  EXPECT_EQ(q.capacity(), 1024);
  q.push(1);
  q.push(2);
  EXPECT_EQ(q.pop(), 1);
  EXPECT_EQ(q.pop(), 2);
}

TEST(RingQueue, RefusedGrowthDropsTheItemAndReports) {
  PimArenaAllocator arena;
  NuvCPRingQueue<int> q(&arena, 2);
  arena.setLimit(arena.bytesInUse());
  int reports = 0;
  auto previous = pimSetAssertionHandler([&](const char*, const char*, int) { ++reports; });
  EXPECT_TRUE(q.push(1));
  EXPECT_TRUE(q.push(2));
  EXPECT_FALSE(q.push(3));
  pimSetAssertionHandler(previous);
  EXPECT_EQ(reports, 1);
  EXPECT_EQ(q.size(), 2);
  EXPECT_EQ(q.pop(), 1);
}

}  // namespace
