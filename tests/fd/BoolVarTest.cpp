// The Boolean variable and the offset view: statuses of its narrowings, its one change list and
// two AC5 lists, its permanent watchers, print forms and snapshots.
#include <gtest/gtest.h>

#include <sstream>

#include "fd/NuvCPBoolVarI.h"
#include "fd/NuvCPCIntVarI.h"
#include "fd/NuvCPManagerI.h"
#include "fd/NuvCPRelationI.h"
#include "fd/NuvCPViewIntVarI.h"
#include "tests/fd/PropagatorChecker.h"
#include "host/NuvTrail.h"
#include "host/PimAllocator.h"

namespace {

class BoolVarTest : public ::testing::Test {
 protected:
  NuvCPBoolVarI* boolean() { return nuvCPNew<NuvCPBoolVarI>(&arena, &arena, &store); }
  static std::string str(const PimDataI& d) {
    std::ostringstream os;
    d.print(os);
    return os.str();
  }
  PimArenaAllocator arena;
  NuvTrailI trail;
  NuvCPManagerI store{&arena, &trail};
};

TEST_F(BoolVarTest, NarrowingStatuses) {
  NuvCPBoolVarI* b = boolean();
  EXPECT_EQ(str(*b), "[false,true]");
  EXPECT_EQ(b->getSize(), 2);
  EXPECT_FALSE(b->member(-1));
  EXPECT_EQ(b->removeValue(5), NuvCPSuspend);
  trail.push();
  EXPECT_EQ(b->bind(1), NuvCPSuccess);
  EXPECT_EQ(str(*b), "true");
  EXPECT_EQ(b->bind(1), NuvCPSuccess);        // already true
  EXPECT_EQ(b->bind(2), NuvCPFailure);
  EXPECT_EQ(b->removeValue(0), NuvCPSuspend);  // 0 is already gone
  EXPECT_EQ(b->removeValue(1), NuvCPFailure);
  EXPECT_EQ(b->updateMax(0), NuvCPFailure);
  trail.pop();
  EXPECT_EQ(b->state(), 3);
  EXPECT_EQ(b->updateMin(1), NuvCPSuccess);
  EXPECT_EQ(b->getMin(), 1);
  EXPECT_EQ(b->nextValue(0), 1);
  EXPECT_EQ(b->nextValue(1), 2);
  NuvCPBoolVarI* f = boolean();
  EXPECT_EQ(f->removeMax(), NuvCPSuccess);
  EXPECT_EQ(str(*f), "false");
  EXPECT_EQ(f->removeMin(), NuvCPFailure);
  EXPECT_EQ(f->prevValue(1), 0);
}

TEST_F(BoolVarTest, WatchersAreTheVariableItselfOrPermanentLinks) {
  NuvCPBoolVarI* b = boolean();
  NuvCPBoolVarI* isFalse = boolean();
  NuvCPBoolVarI* notTrue = boolean();
  EXPECT_EQ(b->getEqualityWatcher(1), b);
  EXPECT_EQ(b->getDisequalityWatcher(0), b);
  b->setEqualityWatcher(isFalse, 0);
  b->setDisequalityWatcher(notTrue, 1);
  b->setEqualityWatcher(notTrue, 1);  // ignored
  EXPECT_EQ(b->getEqualityWatcher(0), isFalse);
  EXPECT_EQ(b->getDisequalityWatcher(1), notTrue);
  trail.push();
  EXPECT_EQ(b->bind(0), NuvCPSuccess);  // the false watcher's bind(1)
  EXPECT_EQ(isFalse->getMin(), 1);
  trail.pop();
  trail.push();
  b->bind(1);
  EXPECT_EQ(notTrue->getMax(), 0);
  trail.pop();
  EXPECT_EQ(b->getEqualityWatcher(0), isFalse);  // watchers are not trailed
}

TEST_F(BoolVarTest, ConnectivesAndSnapshots) {
  NuvCPBoolVarI* x = boolean();
  NuvCPBoolVarI* y = boolean();
  NuvCPBoolVarI* r = boolean();
  auto* a = nuvCPNew<NuvCPLogicAndI>(&arena, &store, x, y, r);
  EXPECT_EQ(str(*a), "[false,true] <=> [false,true] && [false,true]");
  EXPECT_EQ(store.post(a), NuvCPSuspend);
  trail.push();
  store.label(r, 1);
  EXPECT_TRUE(x->isBound() && y->isBound());
  EXPECT_EQ(x->getMin() + y->getMin(), 2);
  trail.pop();
  trail.push();
  store.label(x, 0);
  EXPECT_EQ(r->getMax(), 0);
  auto* snap = r->makeSnapshot(&arena);
  EXPECT_EQ(str(*snap), "NuvCPBoolVarSnapshotI(" + std::to_string(r->getId()) + ":1)");
  EXPECT_EQ(snap->value(), 0);
  trail.pop();
  EXPECT_NE(snap->restoreOnto(r), NuvCPFailure);
  EXPECT_EQ(str(*r), "false");
}

TEST_F(BoolVarTest, WatchedBooleanEmitsInOrder) {
  NuvCPBoolVarI* b = boolean();
  NuvCPIntVarI* same = b;
  b->becomeWatched();
  EXPECT_NE(dynamic_cast<NuvWatchedCPBoolVarI*>(same), nullptr);
  std::vector<std::string> log;
  b->valuesRemoved.connect([&](int a, int, NuvCPDomainI*, int) {
    log.push_back("removed(" + std::to_string(a) + ")");
  });
  b->bound.connect([&](int v) { log.push_back("bound(" + std::to_string(v) + ")"); });
  b->minChanged.connect([&] { log.push_back("min"); });
  b->maxChanged.connect([&] { log.push_back("max"); });
  trail.push();
  EXPECT_EQ(same->bind(1), NuvCPSuccess);
  trail.pop();
  EXPECT_EQ(same->removeValue(1), NuvCPSuccess);
  EXPECT_EQ(log, (std::vector<std::string>{"removed(0)", "bound(1)", "min", "removed(1)",
                                           "bound(0)", "max"}));
}

TEST_F(BoolVarTest, ViewsNeverNestAndTranslateValues) {
  auto* y = nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, 0, 20);
  auto* v2 = nuvCPNew<NuvCPViewIntVarI>(&arena, &arena, &store, y, 2);
  auto* v5 = nuvCPNew<NuvCPViewIntVarI>(&arena, &arena, &store, v2, 3);
  EXPECT_EQ(v5->getViewedVar(), y);
  EXPECT_EQ(v5->offset(), 5);
  EXPECT_EQ(v5->updateMin(10), NuvCPSuspend);
  EXPECT_EQ(y->getMin(), 5);
  EXPECT_EQ(v5->removeValue(12), NuvCPSuspend);
  EXPECT_FALSE(y->member(7));
  EXPECT_EQ(v5->nextValue(11), 13);
  EXPECT_EQ(str(*v5), "(DOM:15)[5,6,8..20] + 5");
  EXPECT_EQ(str(*v5->makeSnapshot(&arena)),
            "NuvCPViewIntVarSnapshotI(" + std::to_string(v5->getId()) + ":10,25,15)");
}

TEST(Views, PropagatorsSeeTheViewsValues) {
  // x + 2 == y through a view, domain consistent: value events on x reach
  // the propagator translated.
  PropagatorCheck c;
  c.ranges = {{-3, 3}, {-2, 5}};
  c.build = [](NuvCPManagerI* s, const std::vector<NuvCPIntVarI*>& v) -> NuvCPDaemonI* {
    auto* view = nuvCPNew<NuvCPViewIntVarI>(s->allocator(), s->allocator(), s, v[0], 2);
    return nuvCPNew<NuvCPEqualACI>(s->allocator(), s, view, v[1], 0);
  };
  c.holds = [](const std::vector<int>& a) { return a[0] + 2 == a[1]; };
  c.strength = PropagatorCheck::Strength::Domain;
  checkPropagator(c);
}

}  // namespace
