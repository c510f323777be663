// The bit-vector variable: bit statuses, the binding that reaches only the
// bit list, completions, the 64-bit size and the print form.
#include <gtest/gtest.h>

#include <random>
#include <sstream>

#include "fd/NuvCPBitVarI.h"
#include "fd/NuvCPManagerI.h"
#include "host/NuvTrail.h"
#include "host/PimAllocator.h"

namespace {

class BitVarTest : public ::testing::Test {
 protected:
  NuvCPBitVarI* bits() { return nuvCPNew<NuvCPBitVarI>(&arena, &arena, &store); }
  PimArenaAllocator arena;
  NuvTrailI trail;
  NuvCPManagerI store{&arena, &trail};
};

TEST_F(BitVarTest, BitsAndBindings) {
  NuvCPBitVarI* b = bits();
  EXPECT_EQ(store.bitVarCount(), 1);
  EXPECT_EQ(b->getSize(), std::int64_t{1} << 32);
  EXPECT_EQ(b->setBit(40, 1), NuvCPSuspend);
  trail.push();
  EXPECT_EQ(b->setBit(0, 1), NuvCPSuspend);
  EXPECT_EQ(b->setBit(0, 1), NuvCPSuspend);  // already 1
  EXPECT_EQ(b->setBit(0, 0), NuvCPFailure);
  EXPECT_EQ(b->setByte(1, 0xA5), NuvCPSuspend);
  EXPECT_EQ(b->lo(), 0xA501u);
  EXPECT_EQ(b->getMin(), 0xA501u);
  EXPECT_EQ(b->freeBits(), 23);
  EXPECT_FALSE(b->member(0xA500u));
  EXPECT_TRUE(b->member(0xFFA501u));
  EXPECT_EQ(b->bindWord(0xA500u), NuvCPFailure);  // lacks bit 0
  EXPECT_EQ(b->bindWord(0x10A501u), NuvCPSuspend);
  EXPECT_TRUE(b->isBound());
  EXPECT_EQ(b->getSize(), 1);
  trail.pop();
  EXPECT_EQ(b->freeBits(), 32);
  EXPECT_EQ(b->lo(), 0u);
}

TEST_F(BitVarTest, CompletionsAndSizeAgreeWithCounting) {
  std::mt19937 rng(7);
  for (int t = 0; t < 200; ++t) {
    NuvCPBitVarI* b = bits();
    trail.push();
    // Fix all but a few bits, at random.
    for (int k = 0; k < 32; ++k)
      if (rng() % 5 != 0) b->setBit(k, rng() % 2);
    const std::int64_t n = b->getInternalSize();
    ASSERT_LE(n, std::int64_t{1} << 20);
    std::int64_t inside = 0;
    for (std::int64_t r = 0; r < n; ++r) {
      const std::uint32_t w = b->valueAt(r);
      ASSERT_TRUE(b->member(w));
      if (w >= b->getMin() && w <= b->getMax()) ++inside;
    }
    EXPECT_EQ(b->getSize(), inside);
    EXPECT_EQ(b->valueAt(n), b->up());
    trail.pop();
  }
}

TEST_F(BitVarTest, PrintForm) {
  NuvCPBitVarI* b = bits();
  b->setBit(0, 1);
  b->setBit(2, 0);
  std::ostringstream os;
  b->print(os);
  std::string expected = "(1073741824,30)[1,{0,1},0";
  for (int k = 3; k < 32; ++k) expected += ",{0,1}";
  EXPECT_EQ(os.str(), expected + "]");
}

}  // namespace
