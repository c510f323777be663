// What a bit-vector variable tells its subscribers: every fixed bit through
// the bit list, bound moves through the min and max lists, and a word
// binding through the bit list alone; its assertions.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "fd/NuvCPBitVarI.h"
#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPManagerI.h"
#include "host/NuvTrail.h"
#include "host/PimAllocator.h"
#include "host/PimError.h"

namespace {

class BitRecorder : public NuvCPCstrI {
 public:
  BitRecorder(NuvCPManagerI* s, std::string name, std::vector<std::string>* log)
      : NuvCPCstrI(s, 7), _name(std::move(name)), _log(log) {}
  int propagate() override {
    _log->push_back(_name);
    return NuvCPSuspend;
  }
  int bitBound(PimDataI*, int bit, int value) override {
    _log->push_back(_name + "(" + std::to_string(bit) + "=" + std::to_string(value) + ")");
    return NuvCPSuspend;
  }

 private:
  std::string _name;
  std::vector<std::string>* _log;
};

class BitVarEventTest : public ::testing::Test {
 protected:
  PimArenaAllocator arena;
  NuvTrailI trail;
  NuvCPManagerI store{&arena, &trail};
  std::vector<std::string> log;
  BitRecorder bitRec{&store, "bit", &log};
  BitRecorder minRec{&store, "MIN", &log};
  BitRecorder maxRec{&store, "MAX", &log};
  using L = std::vector<std::string>;

  NuvCPBitVarI* subscribed() {
    auto* b = nuvCPNew<NuvCPBitVarI>(&arena, &arena, &store);
    b->addBit(&bitRec);
    b->addMin(&minRec);
    b->addMax(&maxRec);
    return b;
  }
  L run() {
    EXPECT_NE(store.propagate(), NuvCPFailure);
    L out;
    out.swap(log);
    return out;
  }
};

TEST_F(BitVarEventTest, SetBitMovesTheBoundsItCrosses) {
  auto* b = subscribed();
  EXPECT_EQ(b->setBit(4, 1), NuvCPSuspend);
  EXPECT_EQ(b->getMin(), 16u);
  EXPECT_EQ(run(), (L{"bit(4=1)", "MIN"}));
  EXPECT_EQ(b->setBit(31, 0), NuvCPSuspend);
  EXPECT_EQ(b->getMax(), 0x7FFFFFFFu);
  EXPECT_EQ(run(), (L{"bit(31=0)", "MAX"}));
  // Outside a word binding, min follows lo and max follows up: every fixed
  // bit moves one of them.
  EXPECT_EQ(b->setBit(0, 0), NuvCPSuspend);
  EXPECT_EQ(run(), (L{"bit(0=0)", "MAX"}));
  EXPECT_EQ(b->getMax(), 0x7FFFFFFEu);
  // Fixing a fixed bit again tells nobody.
  EXPECT_EQ(b->setBit(4, 1), NuvCPSuspend);
  EXPECT_EQ(b->setBit(4, 0), NuvCPFailure);
  EXPECT_EQ(run(), L{});
  EXPECT_EQ(b->freeBits(), 29);
}

TEST_F(BitVarEventTest, SetByteStopsAtTheFirstFailure) {
  auto* b = subscribed();
  EXPECT_EQ(b->setBit(2, 1), NuvCPSuspend);
  run();
  EXPECT_EQ(b->setByte(0, 0x03), NuvCPFailure);  // bits 0, 1 then bit 2 = 0 fails
  EXPECT_EQ(run(), (L{"bit(0=1)", "bit(1=1)", "MIN"}));
  EXPECT_EQ(b->lo(), 0x07u);
}

TEST_F(BitVarEventTest, BindWordReachesOnlyTheBitList) {
  auto* b = subscribed();
  EXPECT_EQ(b->setBit(1, 1), NuvCPSuspend);
  run();
  EXPECT_EQ(b->bindWord(0x80000003u), NuvCPSuspend);
  L got = run();
  ASSERT_EQ(got.size(), 31u);  // bit 1 was fixed already
  EXPECT_EQ(got[0], "bit(0=1)");
  EXPECT_EQ(got[1], "bit(2=0)");
  EXPECT_EQ(got.back(), "bit(31=1)");
  EXPECT_EQ(b->getMin(), 0x80000003u);
  EXPECT_EQ(b->getMax(), 0x80000003u);
  EXPECT_EQ(b->getSize(), 1);
  EXPECT_EQ(b->valueAt(0), 0x80000003u);
  // Outside [min, max] after the bounds moved, though member by its bits.
  auto* c = subscribed();
  EXPECT_EQ(c->setBit(3, 1), NuvCPSuspend);
  EXPECT_EQ(c->bindWord(0x7u), NuvCPFailure);
}

TEST_F(BitVarEventTest, BacktrackingRestoresBitsAndBounds) {
  auto* b = subscribed();
  trail.push();
  EXPECT_EQ(b->bindWord(0x1234u), NuvCPSuspend);
  run();
  trail.pop();
  EXPECT_EQ(b->freeBits(), 32);
  EXPECT_EQ(b->lo(), 0u);
  EXPECT_EQ(b->up(), 0xFFFFFFFFu);
  EXPECT_EQ(b->getMax(), 0xFFFFFFFFu);
  EXPECT_EQ(b->getSize(), std::int64_t{1} << 32);
}

TEST_F(BitVarEventTest, NegativeRankIsReported) {
  std::vector<std::string> reports;
  PimAssertionHandler old = pimSetAssertionHandler([&](const char* c, const char* path, int line) {
    reports.push_back(std::string(c) + "|" + path + "|" + std::to_string(line));
  });
  auto* b = subscribed();
  b->valueAt(-1);
  pimSetAssertionHandler(old);
  EXPECT_EQ(reports, (L{"r >= 0 && r <= getInternalSize()-1|..\\..\\fd\\NuvCPBitVarI|141"}));
}

}  // namespace
