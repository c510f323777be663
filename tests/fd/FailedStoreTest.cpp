// A failure found by a fixpoint run that no post or decision started (a front
// end narrowing a variable itself, then asking the store to propagate) must
// fail the store until backtracking. The loop resets its queues on failure
// while the daemons that were waiting stay flagged as queued, so a store that
// carried on would never run them again and could accept a non-solution.
#include <gtest/gtest.h>

#include "fd/NuvCPArithI.h"
#include "fd/NuvCPCIntVarI.h"
#include "fd/NuvCPManagerI.h"
#include "fd/NuvCPRelationI.h"
#include "host/NuvTrail.h"
#include "host/PimAllocator.h"

namespace {

TEST(FailedStore, FailureOfALoopRunOnItsOwnStaysUntilBacktracking) {
  PimArenaAllocator arena;
  NuvTrailI trail;
  NuvCPManagerI store(&arena, &trail);
  auto var = [&](int lo, int hi) { return nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, lo, hi); };
  // a == min(x, y), a != y: y must stay above some value of x.
  NuvCPIntVarI* x = var(-2, 2);
  NuvCPIntVarI* y = var(-3, 0);
  NuvCPIntVarI* a = var(-30, 30);
  using Op = NuvCPBinaryFunctionI::Op;
  ASSERT_EQ(store.post(nuvCPNew<NuvCPBinaryFunctionI>(&arena, &store, Op::Min, x, y, a)), NuvCPSuspend);
  ASSERT_EQ(store.post(nuvCPNew<NuvCPNEqualI>(&arena, &store, a, y, 0)), NuvCPSuspend);

  trail.push();
  // y == -2 leaves min(x, y) == -2 == y: no solution.
  ASSERT_NE(y->updateMin(-2), NuvCPFailure);
  ASSERT_NE(y->removeValue(-1), NuvCPFailure);
  ASSERT_NE(y->removeValue(0), NuvCPFailure);
  EXPECT_EQ(store.propagate(), NuvCPFailure);
  EXPECT_FALSE(store.isConsistent());
  // Neither a second loop nor a post revives it.
  EXPECT_EQ(store.propagate(), NuvCPFailure);
  EXPECT_EQ(store.post(nuvCPNew<NuvCPLEqualcI>(&arena, &store, x, 5)), NuvCPFailure);
  EXPECT_FALSE(store.isConsistent());
  trail.pop();

  // Backtracking restores a working store: the daemons run again.
  EXPECT_TRUE(store.isConsistent());
  trail.push();
  EXPECT_EQ(store.label(y, -3), NuvCPFailure);  // min(x, -3) == -3 == y
  trail.pop();
  trail.push();
  EXPECT_NE(store.label(y, -1), NuvCPFailure);
  EXPECT_TRUE(x->isBound() && x->getMin() == -2 && a->getMin() == -2);
  trail.pop();
  trail.push();
  EXPECT_EQ(store.label(y, 0), NuvCPSuspend);
  EXPECT_EQ(x->getMax(), -1);  // min(x, 0) != 0 needs x < 0
  trail.pop();
}

}  // namespace
