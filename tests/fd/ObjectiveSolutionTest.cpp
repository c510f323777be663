// Objectives (f*, the strict bound re-imposed after restores, the trace
// lines and the misuse messages) and solutions (print, restore onto the same
// or another store, archive).
#include <gtest/gtest.h>

#include <iostream>
#include <sstream>

#include "fd/NuvCPCIntVarI.h"
#include "fd/NuvCPManagerI.h"
#include "fd/NuvCPObjectiveI.h"
#include "fd/NuvCPSolutionI.h"
#include "host/NuvTrail.h"
#include "host/PimAllocator.h"
#include "host/PimArchiver.h"
#include "host/PimError.h"
#include "host/PimThread.h"

namespace {

class ObjectiveTest : public ::testing::Test {
 protected:
  NuvCPCIntVarI* var(int lo, int hi) {
    return nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, lo, hi);
  }
  PimArenaAllocator arena;
  NuvTrailI trail;
  NuvCPManagerI store{&arena, &trail};
};

TEST_F(ObjectiveTest, MinimizeIsStrictAfterEachSolutionAndSurvivesRestores) {
  NuvCPCIntVarI* x = var(0, 10);
  auto* obj = nuvCPNew<NuvCPMinimizeI>(&arena, &store, x);
  store.setIntObjective(obj);
  EXPECT_EQ(store.post(obj), NuvCPSuspend);
  EXPECT_EQ(obj->bound(), 11);  // one step worse than the initial range
  EXPECT_EQ(x->getMax(), 10);
  std::ostringstream out;
  {
    PimThreadOutputScope scope(out);
    trail.push();
    store.label(x, 7);
    obj->tightenOnSolution();
    trail.pop();
  }
  EXPECT_EQ(out.str(), "objective tightened to: 7\n");
  EXPECT_EQ(x->getMax(), 10);  // the restore undid the labelling...
  EXPECT_TRUE(store.restartPropagation());
  EXPECT_EQ(x->getMax(), 6);  // ...and the restart re-imposes x < 7
  // x cannot go below 7 any more: the store fails.
  trail.push();
  store.gthen(x, 6);
  EXPECT_FALSE(store.isConsistent());
  trail.pop();
  // Unbound at a "solution", a foreign value: errors with their messages.
  try {
    obj->tightenOnSolution();
    ADD_FAILURE();
  } catch (const PimExecutionError& e) {
    EXPECT_EQ(e.message(), "Minimize<CP>: the objective function is not bound");
  }
  NuvObjectiveMaximizeIntValueI foreign(&arena, 3);
  try {
    obj->mergeValue(&foreign);
    ADD_FAILURE();
  } catch (const PimExecutionError& e) {
    EXPECT_EQ(e.message(), "Minimize<CP>: the objective value is not of the proper type");
  }
  NuvObjectiveMinimizeIntValueI same(&arena, 7), better(&arena, 5);
  EXPECT_EQ(obj->mergeValue(&same), 7);
  EXPECT_EQ(obj->bound(), 7);
  obj->mergeValue(&better);
  EXPECT_EQ(obj->bound(), 5);
  EXPECT_LT(better.compare(same), 0);
  // Reset writes its line to standard output whatever the trace level.
  std::ostringstream cout;
  std::streambuf* old = std::cout.rdbuf(cout.rdbuf());
  obj->reset();
  std::cout.rdbuf(old);
  EXPECT_EQ(cout.str(), "objective reset to: 2147483647\n");
  std::ostringstream printed;
  obj->print(printed);
  EXPECT_EQ(printed.str(), "minimize (7)[0..6]f* = 2147483647");
}

TEST_F(ObjectiveTest, MaximizeMirrors) {
  NuvCPCIntVarI* x = var(-5, 5);
  auto* obj = nuvCPNew<NuvCPMaximizeI>(&arena, &store, x);
  store.setIntObjective(obj);
  store.post(obj);
  EXPECT_EQ(obj->bound(), -6);
  std::ostringstream out;
  PimThreadOutputScope scope(out);
  trail.push();
  store.label(x, 2);
  obj->tightenOnSolution();
  trail.pop();
  EXPECT_TRUE(store.restartPropagation());
  EXPECT_EQ(x->getMin(), 3);
  NuvObjectiveMaximizeIntValueI hi(&arena, 4), lo(&arena, 1);
  EXPECT_LT(hi.compare(lo), 0);  // larger is better
}

TEST_F(ObjectiveTest, SolutionsPrintRestoreAndArchive) {
  NuvCPCIntVarI* x = var(0, 9);
  NuvCPCIntVarI* y = var(0, 9);
  NuvCPCIntVarI* z = var(0, 9);
  trail.push();
  store.label(x, 3);
  store.diff(y, 5);
  store.label(z, 8);
  auto* sol = static_cast<NuvCPSolutionI*>(store.makeSolution());
  ASSERT_NE(sol, nullptr);
  trail.pop();
  std::ostringstream os;
  sol->print(os);
  EXPECT_EQ(os.str(),
            "CPSolution(#vars=3)\n\tNuvCPIntVarSnapshotI(0:3,3,1)\n\tNuvCPIntVarSnapshotI(1:0,9,9)\n"
            "\tNuvCPIntVarSnapshotI(2:8,8,1)\n");
  EXPECT_EQ(sol->intValue(0), 3);
  EXPECT_THROW(sol->intValue(1), PimExecutionError);
  // Onto its own store: the values and the hole come back.
  trail.push();
  EXPECT_NE(sol->restore(), NuvCPFailure);
  EXPECT_EQ(x->getMin(), 3);
  EXPECT_FALSE(y->member(5));
  trail.pop();
  // Onto a store with two variables only: the third is skipped.
  PimArenaAllocator arena2;
  NuvTrailI trail2;
  NuvCPManagerI other(&arena2, &trail2);
  auto* a = nuvCPNew<NuvCPCIntVarI>(&arena2, &arena2, &other, 0, 9);
  nuvCPNew<NuvCPCIntVarI>(&arena2, &arena2, &other, 0, 9);
  EXPECT_NE(sol->restore(&other), NuvCPFailure);
  EXPECT_EQ(a->getMin(), 3);
  // Archived and read back: the snapshots stay, the store does not.
  PimMemorySocket socket;
  PimArchiveRegistry registry;
  nuvCPRegisterArchiveClasses(registry);
  PimArchiver out(socket, &arena, &registry);
  out.sendObject(sol);
  PimArchiver in(socket, &arena, &registry);
  auto* back = dynamic_cast<NuvCPSolutionI*>(in.receiveObject());
  ASSERT_NE(back, nullptr);
  EXPECT_EQ(back->store(), nullptr);
  EXPECT_EQ(back->intCount(), 3);
  EXPECT_EQ(back->intValue(2), 8);
  EXPECT_EQ(back->intValue(0), 3);  // (a snapshot's archive holds no variable id)
  // An empty store's solution.
  PimArenaAllocator arena3;
  NuvTrailI trail3;
  NuvCPManagerI empty(&arena3, &trail3);
  std::ostringstream os3;
  empty.makeSolution()->print(os3);
  EXPECT_EQ(os3.str(), "CPSolution(#vars=0)\n");
}

}  // namespace
