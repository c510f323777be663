// The set variable: requires and excludes with their failures, the
// cardinality kept with the counts both ways, events to subscribers,
// backtracking, printing and snapshots.
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <vector>

#include "fd/NuvCPIntSetVarI.h"
#include "fd/NuvCPManagerI.h"
#include "host/NuvTrail.h"
#include "host/PimAllocator.h"

namespace {

struct Store {
  PimArenaAllocator arena;
  NuvTrailI trail;
  NuvCPManagerI store{&arena, &trail};
  NuvCPIntSetVarI* set(int lo, int hi) { return nuvCPNew<NuvCPIntSetVarI>(&arena, &arena, &store, lo, hi); }
};

std::string show(const PimDataI& x) {
  std::ostringstream os;
  x.print(os);
  return os.str();
}

// Records the requires and excludes events it receives, in a log the test
// owns (the arena runs no destructors).
class Recorder : public NuvCPCstrI {
 public:
  Recorder(NuvCPManagerI* s, std::vector<int>* out) : NuvCPCstrI(s, 7, false), log(*out) {}
  int requiresElem(NuvCPSetVarI*, int e) override {
    log.push_back(e);
    return NuvCPSuspend;
  }
  int excludes(NuvCPSetVarI*, int e) override {
    log.push_back(-e);
    return NuvCPSuspend;
  }
  int requiresIdx(NuvCPSetVarI*, int i, int e) override {
    log.push_back(100 * i + e);
    return NuvCPSuspend;
  }
  std::vector<int>& log;
};

TEST(SetVar, RequireExcludeCountsAndBacktracking) {
  Store s;
  NuvCPIntSetVarI* x = s.set(1, 70);  // two words
  ASSERT_TRUE(x->ok());
  EXPECT_EQ(x->possibleCount(), 70);
  EXPECT_EQ(x->card()->getMax(), 70);
  s.trail.push();
  EXPECT_NE(s.store.require(x, 65), NuvCPFailure);
  EXPECT_NE(s.store.exclude(x, 3), NuvCPFailure);
  EXPECT_TRUE(x->isRequired(65));
  EXPECT_FALSE(x->isPossible(3));
  EXPECT_EQ(x->requiredCount(), 1);
  EXPECT_EQ(x->possibleCount(), 69);
  EXPECT_EQ(x->card()->getMin(), 1);
  EXPECT_EQ(x->card()->getMax(), 69);
  EXPECT_EQ(x->nextRequired(0), 65);
  EXPECT_EQ(x->nextPossible(2), 4);
  // Excluding what is out, or requiring what is in, changes nothing.
  EXPECT_NE(s.store.exclude(x, 3), NuvCPFailure);
  EXPECT_NE(s.store.exclude(x, 500), NuvCPFailure);
  EXPECT_NE(s.store.require(x, 65), NuvCPFailure);
  EXPECT_EQ(x->requiredCount(), 1);
  s.trail.pop();
  EXPECT_FALSE(x->isRequired(65));
  EXPECT_TRUE(x->isPossible(3));
  EXPECT_EQ(x->card()->getMin(), 0);
  EXPECT_EQ(x->card()->getMax(), 70);
  // Contradictions fail.
  for (int k = 0; k < 3; ++k) {
    s.trail.push();
    if (k == 0) {
      ASSERT_NE(s.store.exclude(x, 5), NuvCPFailure);
      EXPECT_EQ(s.store.require(x, 5), NuvCPFailure);
    } else if (k == 1) {
      ASSERT_NE(s.store.require(x, 5), NuvCPFailure);
      EXPECT_EQ(s.store.exclude(x, 5), NuvCPFailure);
    } else {
      EXPECT_EQ(s.store.require(x, 71), NuvCPFailure);
    }
    s.trail.pop();
  }
}

TEST(SetVar, TheCardinalityFillsTheSetIn) {
  Store s;
  NuvCPIntSetVarI* x = s.set(0, 4);
  ASSERT_TRUE(x->ok());
  ASSERT_NE(s.store.require(x, 2), NuvCPFailure);
  ASSERT_NE(s.store.exclude(x, 0), NuvCPFailure);
  // At most one element: only 2.
  s.trail.push();
  ASSERT_NE(s.store.label(x->card(), 1), NuvCPFailure);
  EXPECT_TRUE(x->isBound());
  EXPECT_EQ(show(*x), "{2}");
  s.trail.pop();
  // All four possible: every one is in.
  s.trail.push();
  ASSERT_NE(s.store.label(x->card(), 4), NuvCPFailure);
  EXPECT_TRUE(x->isBound());
  EXPECT_EQ(show(*x), "{1,2,3,4}");
  s.trail.pop();
  // Excluding down to the required ones binds the cardinality.
  s.trail.push();
  for (int e : {1, 3, 4}) ASSERT_NE(s.store.exclude(x, e), NuvCPFailure);
  EXPECT_TRUE(x->card()->isBound());
  EXPECT_EQ(x->card()->getMin(), 1);
  s.trail.pop();
  EXPECT_EQ(show(*x), "{2}..{1,2,3,4}");
  // Five elements cannot fit in four possible ones.
  EXPECT_EQ(s.store.label(x->card(), 5), NuvCPFailure);
}

TEST(SetVar, SubscribersHearOfEveryChange) {
  Store s;
  NuvCPIntSetVarI* x = s.set(1, 9);
  std::vector<int> log;
  auto* r = nuvCPNew<Recorder>(&s.arena, &s.store, &log);
  x->addRequires(r);
  x->addExcludes(r);
  x->addRequiresIdx(r, 3);
  ASSERT_NE(s.store.require(x, 4), NuvCPFailure);
  ASSERT_NE(s.store.exclude(x, 7), NuvCPFailure);
  std::vector<int> got = log;
  std::sort(got.begin(), got.end());
  EXPECT_EQ(got, (std::vector<int>{-7, 4, 304}));
}

TEST(SetVar, SnapshotsAndLimits) {
  Store s;
  NuvCPIntSetVarI* x = s.set(-3, 3);
  s.trail.push();
  for (int e : {-2, 3}) ASSERT_NE(s.store.require(x, e), NuvCPFailure);
  ASSERT_NE(s.store.label(x->card(), 2), NuvCPFailure);
  PimDataI* snap = x->makeSnapshot(&s.arena);
  ASSERT_NE(snap, nullptr);
  EXPECT_EQ(show(*snap), "{-2,3}");
  s.trail.pop();
  EXPECT_FALSE(x->isBound());
  s.trail.push();
  EXPECT_NE(x->restoreSnapshot(snap), NuvCPFailure);
  EXPECT_TRUE(x->isBound());
  EXPECT_EQ(show(*x), "{-2,3}");
  s.trail.pop();
  // A snapshot that contradicts the variable fails to restore.
  s.trail.push();
  ASSERT_NE(s.store.exclude(x, 3), NuvCPFailure);
  EXPECT_EQ(x->restoreSnapshot(snap), NuvCPFailure);
  s.trail.pop();
  // Universes too large, empty, or reaching INT32_MAX are refused.
  EXPECT_FALSE(s.set(0, 1 << 23)->ok());
  EXPECT_FALSE(s.set(3, 2)->ok());
  EXPECT_FALSE(s.set(INT32_MAX - 2, INT32_MAX)->ok());
}

}  // namespace
