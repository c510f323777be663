// Offset views: no nesting, translation of values both ways, events reaching
// propagators in the view's terms, printing and snapshots.
#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "fd/NuvCPBoolVarI.h"
#include "fd/NuvCPCIntVarI.h"
#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPManagerI.h"
#include "fd/NuvCPViewIntVarI.h"
#include "host/NuvTrail.h"
#include "host/PimAllocator.h"

namespace {

// Logs the events with the variable they name ("V" for the view under test,
// "Y" otherwise).
class ViewRecorder : public NuvCPCstrI {
 public:
  ViewRecorder(NuvCPManagerI* s, std::vector<std::string>* log, NuvCPIntVarI** view)
      : NuvCPCstrI(s, 7), _log(log), _view(view) {}
  int propagate() override { return put("run"); }
  int valRemove(NuvCPIntVarI* x, int v) override { return put(who(x) + ".rm(" + std::to_string(v) + ")"); }
  int updateMin(NuvCPIntVarI* x, int v) override { return put(who(x) + ".min(" + std::to_string(v) + ")"); }
  int updateMax(NuvCPIntVarI* x, int v) override { return put(who(x) + ".max(" + std::to_string(v) + ")"); }
  int valBind(NuvCPIntVarI* x, int v) override { return put(who(x) + ".bind(" + std::to_string(v) + ")"); }
  int valRemoveIdx(NuvCPIntVarI* x, int i, int v) override {
    return put(who(x) + ".rm[" + std::to_string(i) + "](" + std::to_string(v) + ")");
  }

 private:
  std::string who(NuvCPIntVarI* x) const { return x == *_view ? "V" : "Y"; }
  int put(const std::string& s) {
    _log->push_back(s);
    return NuvCPSuspend;
  }
  std::vector<std::string>* _log;
  NuvCPIntVarI** _view;
};

std::string str(const PimDataI& d) {
  std::ostringstream os;
  d.print(os);
  return os.str();
}

class ViewVarTest : public ::testing::Test {
 protected:
  PimArenaAllocator arena;
  NuvTrailI trail;
  NuvCPManagerI store{&arena, &trail};
  std::vector<std::string> log;
  NuvCPIntVarI* current = nullptr;
  std::unique_ptr<ViewRecorder> recorder;
  using L = std::vector<std::string>;

  NuvCPCIntVarI* var(int lo, int hi) { return nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, lo, hi); }
  NuvCPViewIntVarI* view(NuvCPIntVarI* y, int c) {
    return nuvCPNew<NuvCPViewIntVarI>(&arena, &arena, &store, y, c);
  }
  ViewRecorder* rec(NuvCPIntVarI* v) {
    current = v;
    recorder = std::make_unique<ViewRecorder>(&store, &log, &current);
    return recorder.get();
  }
  L run() {
    EXPECT_NE(store.propagate(), NuvCPFailure);
    L out;
    out.swap(log);
    return out;
  }
};

TEST_F(ViewVarTest, ViewsNeverNest) {
  auto* y = var(0, 20);
  auto* v = view(view(y, 2), 3);
  EXPECT_TRUE(v->isView());
  EXPECT_FALSE(v->isConcrete());
  EXPECT_FALSE(v->isBool());
  EXPECT_EQ(v->getViewedVar(), y);
  EXPECT_EQ(v->offset(), 5);
  EXPECT_EQ(v->updateMin(10), NuvCPSuspend);
  EXPECT_EQ(y->getMin(), 5);
  EXPECT_EQ(v->getMin(), 10);
  EXPECT_EQ(v->getInitialMin(), 5);
  EXPECT_EQ(v->getInitialMax(), 25);
  EXPECT_EQ(store.getIntVar(v->getId()), v);
}

TEST_F(ViewVarTest, ValuesTranslateBothWays) {
  auto* y = var(0, 10);
  auto* v = view(y, -4);
  EXPECT_EQ(v->removeValue(0), NuvCPSuspend);  // y loses 4
  EXPECT_FALSE(y->member(4));
  EXPECT_FALSE(v->member(0));
  EXPECT_TRUE(v->member(1));
  EXPECT_EQ(v->nextValue(-1), 1);
  EXPECT_EQ(v->prevValue(1), -1);
  EXPECT_EQ(v->gapAboveMin(), 1);
  EXPECT_EQ(v->updateMax(2), NuvCPSuspend);
  EXPECT_EQ(y->getMax(), 6);
  EXPECT_EQ(str(*v), "(DOM:6)[0..3,5,6] - 4");
  EXPECT_EQ(v->removeMin(), NuvCPSuspend);
  EXPECT_EQ(v->getMin(), -3);
  EXPECT_EQ(v->bind(0), NuvCPFailure);
  EXPECT_EQ(v->bind(1), NuvCPSuspend);
  EXPECT_EQ(y->getMin(), 5);
  EXPECT_EQ(str(*v), "5 - 4");
  EXPECT_EQ(str(*view(var(3, 9), 1)), "(7)[3..9] + 1");
}

TEST_F(ViewVarTest, DomainIteratorYieldsTheViewsValues) {
  auto* y = var(0, 40);
  auto* v = view(y, 100);
  y->removeValue(7);
  NuvCPDomainIterator it;
  v->domainIterator(it);
  ASSERT_TRUE(it.valid);
  EXPECT_EQ(it.base, 100);
  EXPECT_EQ(it.current & (1u << 7), 0u);
  EXPECT_EQ(v->getDomain(), y->getDomain());
  NuvCPDomainI* copy = v->copyDomain();
  ASSERT_NE(copy, nullptr);
  EXPECT_FALSE(copy->member(7));
}

TEST_F(ViewVarTest, EventsReachThePropagatorInTheViewsTerms) {
  auto* y = var(0, 10);
  auto* v = view(y, 10);
  auto* r = rec(v);
  v->addAC5Value(r);
  v->addAC5Min(r);
  EXPECT_EQ(y->removeValue(5), NuvCPSuspend);
  EXPECT_EQ(run(), (L{"V.rm(15)"}));
  // A range event over a hole does not report the hole a second time.
  EXPECT_EQ(y->updateMin(7), NuvCPSuspend);
  EXPECT_EQ(run(), (L{"V.rm(10)", "V.rm(11)", "V.rm(12)", "V.rm(13)", "V.rm(14)", "V.rm(16)",
                      "V.min(10)"}));
}

TEST_F(ViewVarTest, IndexedAndPropagatorSubscriptionsGoToTheViewedVariable) {
  auto* y = var(0, 10);
  auto* v = view(view(y, 1), 1);
  auto* r = rec(v);
  v->addAC5ValueIdx(r, 3);
  v->addBind(r);
  EXPECT_EQ(v->removeValue(4), NuvCPSuspend);
  EXPECT_EQ(run(), (L{"V.rm[3](4)"}));
  EXPECT_EQ(v->bind(12), NuvCPSuspend);
  L got = run();
  ASSERT_FALSE(got.empty());
  EXPECT_EQ(got.front(), "V.rm[3](2)");
  EXPECT_EQ(got.back(), "run");
}

TEST_F(ViewVarTest, ViewOfABoolean) {
  auto* b = nuvCPNew<NuvCPBoolVarI>(&arena, &arena, &store);
  auto* v = view(b, 1);
  auto* r = rec(v);
  v->addAC5Bind(r);
  v->addAC5Min(r);  // a Boolean has no min list
  EXPECT_EQ(v->getMin(), 1);
  EXPECT_EQ(v->removeValue(1), NuvCPSuccess);
  EXPECT_EQ(run(), (L{"V.bind(2)"}));
  EXPECT_EQ(str(*v), "true + 1");
}

TEST_F(ViewVarTest, WatchersAreTranslated) {
  auto* y = var(0, 5);
  auto* v = view(y, 10);
  auto* b = nuvCPNew<NuvCPBoolVarI>(&arena, &arena, &store);
  v->setEqualityWatcher(b, 12);
  EXPECT_EQ(y->getEqualityWatcher(2), b);
  EXPECT_EQ(v->getEqualityWatcher(12), b);
  EXPECT_EQ(v->bind(12), NuvCPSuspend);
  EXPECT_EQ(str(*b), "true");
}

// A view's snapshot holds the view's bounds and size; its holes are the
// viewed variable's, restored from that variable's own snapshot.
TEST_F(ViewVarTest, SnapshotsKeepTheViewsBounds) {
  auto* y = var(0, 10);
  auto* v = view(y, 5);
  v->updateMin(6);
  v->removeValue(9);
  NuvCPIntVarSnapshotI* s = v->makeSnapshot(&arena);
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(str(*s), "NuvCPViewIntVarSnapshotI(" + std::to_string(v->getId()) + ":6,15,9)");
  auto* y2 = var(0, 10);
  auto* w = view(y2, 5);
  EXPECT_EQ(s->restoreOnto(w), NuvCPSuspend);
  EXPECT_EQ(y->makeSnapshot(&arena)->restoreOnto(y2), NuvCPSuspend);
  EXPECT_EQ(str(*w), str(*v));
  EXPECT_EQ(str(*w), "(DOM:9)[1..3,5..10] + 5");
}

}  // namespace
