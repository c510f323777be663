// The Boolean variable in detail: every narrowing's status, the order in
// which fixing a value tells the lists, the watcher links in both directions,
// backtracking and snapshots.
#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "fd/NuvCPBoolVarI.h"
#include "fd/NuvCPCIntVarI.h"
#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPManagerI.h"
#include "host/NuvTrail.h"
#include "host/PimAllocator.h"
#include "host/PimArchiver.h"
#include "host/PimError.h"

namespace {

class BoolRecorder : public NuvCPCstrI {
 public:
  BoolRecorder(NuvCPManagerI* s, std::string name, std::vector<std::string>* log)
      : NuvCPCstrI(s, 7), _name(std::move(name)), _log(log) {}
  int propagate() override { return put(""); }
  int valRemove(NuvCPIntVarI*, int v) override { return put(".rm(" + std::to_string(v) + ")"); }
  int updateMin(NuvCPIntVarI*, int v) override { return put(".min(" + std::to_string(v) + ")"); }
  int valBind(NuvCPIntVarI* x, int v) override {
    lastVar = x;
    return put(".bind(" + std::to_string(v) + ")");
  }
  int valBindIdx(NuvCPIntVarI*, int i, int v) override {
    return put(".bind[" + std::to_string(i) + "](" + std::to_string(v) + ")");
  }
  NuvCPIntVarI* lastVar = nullptr;

 private:
  int put(const std::string& s) {
    _log->push_back(_name + s);
    return NuvCPSuspend;
  }
  std::string _name;
  std::vector<std::string>* _log;
};

std::string str(const PimDataI& d) {
  std::ostringstream os;
  d.print(os);
  return os.str();
}

class BoolNarrowingTest : public ::testing::Test {
 protected:
  PimArenaAllocator arena;
  NuvTrailI trail;
  NuvCPManagerI store{&arena, &trail};
  std::vector<std::string> log;
  std::vector<std::unique_ptr<BoolRecorder>> recorders;
  using L = std::vector<std::string>;

  NuvCPBoolVarI* boolean() { return nuvCPNew<NuvCPBoolVarI>(&arena, &arena, &store); }
  NuvCPCIntVarI* var(int lo, int hi) { return nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, lo, hi); }
  BoolRecorder* rec(const std::string& name) {
    recorders.push_back(std::make_unique<BoolRecorder>(&store, name, &log));
    return recorders.back().get();
  }
  // Propagator "P", value "v" and bind "b" subscribers, plus the three
  // subscription kinds a Boolean ignores.
  void subscribe(NuvCPBoolVarI* b) {
    b->addBounds(rec("P"));
    b->addAC5Value(rec("v"));
    b->addAC5Bind(rec("b"));
    b->addAC5Min(rec("ignored"));
    b->addAC5Max(rec("ignored"));
    b->addAC5BoundsIdx(rec("ignored"), 1);
  }
  L run() {
    EXPECT_NE(store.propagate(), NuvCPFailure);
    L out;
    out.swap(log);
    return out;
  }
};

TEST_F(BoolNarrowingTest, FreshVariable) {
  auto* b = boolean();
  EXPECT_TRUE(b->isBool());
  EXPECT_FALSE(b->isConcrete());
  EXPECT_FALSE(b->isView());
  EXPECT_FALSE(b->isBound());
  EXPECT_EQ(b->getMin(), 0);
  EXPECT_EQ(b->getMax(), 1);
  EXPECT_EQ(b->getSize(), 2);
  EXPECT_EQ(b->nextValue(0), 1);
  EXPECT_EQ(b->prevValue(1), 0);
  EXPECT_EQ(b->nextValue(1), 2);
  EXPECT_EQ(b->prevValue(0), -1);
  EXPECT_FALSE(b->member(-1));
  EXPECT_FALSE(b->member(2));
  EXPECT_TRUE(b->member(1));
  EXPECT_EQ(str(*b), "[false,true]");
  EXPECT_EQ(store.getIntVar(b->getId()), b);
}

TEST_F(BoolNarrowingTest, NarrowingStatuses) {
  auto* t = boolean();
  EXPECT_EQ(t->bind(1), NuvCPSuccess);
  EXPECT_EQ(t->bind(1), NuvCPSuccess);
  EXPECT_EQ(t->bind(2), NuvCPFailure);
  EXPECT_EQ(t->bind(-1), NuvCPFailure);
  EXPECT_EQ(t->bind(0), NuvCPFailure);
  EXPECT_EQ(t->removeValue(5), NuvCPSuspend);
  EXPECT_EQ(t->removeValue(-3), NuvCPSuspend);
  EXPECT_EQ(t->removeValue(0), NuvCPSuspend);
  EXPECT_EQ(t->removeValue(1), NuvCPFailure);
  EXPECT_EQ(t->removeMin(), NuvCPFailure);
  EXPECT_EQ(t->removeMax(), NuvCPFailure);
  EXPECT_EQ(t->updateMin(1), NuvCPSuspend);
  EXPECT_EQ(t->updateMax(1), NuvCPSuspend);
  EXPECT_EQ(t->updateMax(0), NuvCPFailure);
  EXPECT_EQ(str(*t), "true");

  auto* f = boolean();
  EXPECT_EQ(f->removeValue(1), NuvCPSuccess);
  EXPECT_EQ(str(*f), "false");
  EXPECT_EQ(f->removeValue(0), NuvCPFailure);
  EXPECT_EQ(f->updateMin(1), NuvCPFailure);
  EXPECT_EQ(f->updateMin(0), NuvCPSuspend);

  EXPECT_EQ(boolean()->updateMin(2), NuvCPFailure);
  EXPECT_EQ(boolean()->updateMax(-1), NuvCPFailure);
  auto* a = boolean();
  EXPECT_EQ(a->updateMin(1), NuvCPSuccess);
  EXPECT_EQ(a->getMin(), 1);
  auto* c = boolean();
  EXPECT_EQ(c->removeMin(), NuvCPSuccess);
  EXPECT_EQ(c->getMin(), 1);
  auto* d = boolean();
  EXPECT_EQ(d->removeMax(), NuvCPSuccess);
  EXPECT_EQ(d->getMax(), 0);
  EXPECT_EQ(d->getSize(), 1);
}

TEST_F(BoolNarrowingTest, FixingTellsChangeListThenValueThenBindLists) {
  auto* b = boolean();
  subscribe(b);
  auto* i = rec("i");
  b->addAC5BindIdx(i, 4);
  EXPECT_EQ(b->updateMax(0), NuvCPSuccess);
  EXPECT_EQ(run(), (L{"v.bind(0)", "i.bind[4](0)", "b.bind(0)", "P"}));
  EXPECT_EQ(b->bind(0), NuvCPSuccess);
  EXPECT_EQ(run(), L{});
}

TEST_F(BoolNarrowingTest, BacktrackingRestoresStateAndSubscriptions) {
  auto* b = boolean();
  trail.push();
  b->addAC5Value(rec("late"));
  EXPECT_EQ(b->bind(1), NuvCPSuccess);
  EXPECT_EQ(run(), L{"late.bind(1)"});
  trail.pop();
  EXPECT_EQ(b->state(), 3);
  EXPECT_EQ(b->bind(0), NuvCPSuccess);
  EXPECT_EQ(run(), L{});
}

TEST_F(BoolNarrowingTest, OwnWatchersAndTheirAnswers) {
  auto* b = boolean();
  auto* onFalse = boolean();
  auto* onTrue = boolean();
  EXPECT_EQ(b->getEqualityWatcher(1), b);
  EXPECT_EQ(b->getDisequalityWatcher(0), b);
  EXPECT_EQ(b->getEqualityWatcher(0), nullptr);
  b->setEqualityWatcher(onFalse, 0);
  b->setDisequalityWatcher(onTrue, 1);
  b->setEqualityWatcher(onTrue, 1);      // nothing to store
  b->setDisequalityWatcher(onFalse, 0);  // nothing to store
  EXPECT_EQ(b->getEqualityWatcher(0), onFalse);
  EXPECT_EQ(b->getDisequalityWatcher(1), onTrue);

  // The links are not trailed: they survive a backtrack.
  trail.push();
  EXPECT_EQ(b->bind(1), NuvCPSuccess);
  EXPECT_EQ(str(*onTrue), "false");
  EXPECT_EQ(str(*onFalse), "[false,true]");
  trail.pop();
  EXPECT_EQ(b->getDisequalityWatcher(1), onTrue);
  EXPECT_EQ(str(*onTrue), "[false,true]");

  // The watcher's failure is the answer.
  EXPECT_EQ(onFalse->bind(0), NuvCPSuccess);
  EXPECT_EQ(b->removeValue(1), NuvCPFailure);
}

TEST_F(BoolNarrowingTest, SetterAssertsOnValuesOutsideZeroOne) {
  std::vector<std::string> reports;
  PimAssertionHandler old = pimSetAssertionHandler([&](const char* c, const char* path, int line) {
    reports.push_back(std::string(c) + "|" + path + "|" + std::to_string(line));
  });
  auto* b = boolean();
  b->setEqualityWatcher(b, 2);
  b->setDisequalityWatcher(b, -1);
  pimSetAssertionHandler(old);
  EXPECT_EQ(reports, (L{"v>=0 && v <= 1|..\\..\\fd\\NuvCPBoolVarI|913",
                        "v>=0 && v <= 1|..\\..\\fd\\NuvCPBoolVarI|920"}));
  EXPECT_EQ(b->getEqualityWatcher(0), nullptr);
}

// An integer variable keeps its Booleans consistent through the watcher
// tables; a Boolean links back only through its own two watchers.
TEST_F(BoolNarrowingTest, IntegerVariableDrivesItsBooleans) {
  auto* x = var(1, 4);
  auto* eq2 = boolean();
  auto* eq4 = boolean();
  x->setEqualityWatcher(eq2, 2);
  x->setEqualityWatcher(eq4, 4);
  EXPECT_EQ(x->removeValue(4), NuvCPSuspend);
  EXPECT_EQ(str(*eq4), "false");
  EXPECT_EQ(x->bind(3), NuvCPSuspend);
  EXPECT_EQ(str(*eq2), "false");
  auto* z = var(1, 4);
  auto* ne3 = boolean();
  z->setDisequalityWatcher(ne3, 3);
  EXPECT_EQ(z->bind(3), NuvCPSuspend);
  EXPECT_EQ(str(*ne3), "false");
  // A Boolean already contradicting the value makes the bind fail.
  auto* y = var(1, 4);
  auto* yeq2 = boolean();
  y->setEqualityWatcher(yeq2, 2);
  EXPECT_EQ(yeq2->bind(0), NuvCPSuccess);
  EXPECT_EQ(y->bind(2), NuvCPFailure);
}

TEST_F(BoolNarrowingTest, EmptyStatePrintsAndSizes) {
  auto* b = boolean();
  auto* w = boolean();
  b->setEqualityWatcher(w, 0);
  EXPECT_EQ(w->bind(0), NuvCPSuccess);
  // Fixing to false is done before the watcher refuses: the state is set.
  EXPECT_EQ(b->bind(0), NuvCPFailure);
  EXPECT_EQ(str(*b), "false");
  auto* e = boolean();
  EXPECT_EQ(e->bind(1), NuvCPSuccess);
  EXPECT_EQ(e->removeValue(1), NuvCPFailure);
  EXPECT_EQ(e->getSize(), 1);
}

TEST_F(BoolNarrowingTest, SnapshotsArchiveAndRestore) {
  auto* b = boolean();
  EXPECT_EQ(b->bind(1), NuvCPSuccess);
  NuvCPIntVarSnapshotI* s = b->makeSnapshot(&arena);
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(str(*s), "NuvCPBoolVarSnapshotI(" + std::to_string(b->getId()) + ":2)");
  EXPECT_EQ(s->value(), 1);
  EXPECT_EQ(s->getDataId(), NuvCPBoolVarSnapshotI::kDataId);

  PimMemorySocket mem;
  PimArchiver out(mem, &arena);
  s->archive(out);
  PimArchiver in(mem, &arena);
  NuvCPBoolVarSnapshotI back(&arena);
  back.unarchive(in);
  EXPECT_EQ(back.state(), 2);

  auto* c = boolean();
  EXPECT_EQ(back.restoreOnto(c), NuvCPSuspend);
  EXPECT_EQ(str(*c), "true");
  auto* f = boolean();
  EXPECT_EQ(f->bind(0), NuvCPSuccess);
  EXPECT_EQ(back.restoreOnto(f), NuvCPFailure);

  NuvCPIntVarSnapshotI* open = boolean()->makeSnapshot(&arena);
  EXPECT_THROW(open->value(), PimExecutionError);
  EXPECT_EQ(open->restoreOnto(c), NuvCPSuspend);
}

}  // namespace
