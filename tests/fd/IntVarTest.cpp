// The concrete integer variable: event orders of every narrowing, interval
// and domain modes, watchers, printing, backtracking and snapshots.
#include <gtest/gtest.h>

#include <functional>
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

// Logs "name" when run as a propagator and "name.op(args)" for each event.
class Recorder : public NuvCPCstrI {
 public:
  Recorder(NuvCPManagerI* s, std::string name, std::vector<std::string>* log,
           unsigned priority = 7)
      : NuvCPCstrI(s, priority), _name(std::move(name)), _log(log) {}
  int propagate() override { return put(""); }
  int valRemove(NuvCPIntVarI*, int v) override { return put(".rm(" + std::to_string(v) + ")"); }
  int updateMin(NuvCPIntVarI*, int v) override { return put(".min(" + std::to_string(v) + ")"); }
  int updateMax(NuvCPIntVarI*, int v) override { return put(".max(" + std::to_string(v) + ")"); }
  int updateBounds(NuvCPIntVarI*) override { return put(".bounds"); }
  int valBind(NuvCPIntVarI*, int v) override { return put(".bind(" + std::to_string(v) + ")"); }
  int valRemoveIdx(NuvCPIntVarI*, int i, int v) override {
    return put(".rm[" + std::to_string(i) + "](" + std::to_string(v) + ")");
  }

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

class IntVarTest : public ::testing::Test {
 protected:
  PimArenaAllocator arena;
  NuvTrailI trail;
  NuvCPManagerI store{&arena, &trail};
  std::vector<std::string> log;
  std::vector<std::unique_ptr<Recorder>> recorders;

  NuvCPCIntVarI* var(std::int64_t lo, std::int64_t hi) {
    return nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, lo, hi);
  }
  Recorder* rec(const std::string& name, unsigned priority = 7) {
    recorders.push_back(std::make_unique<Recorder>(&store, name, &log, priority));
    return recorders.back().get();
  }
  // One recorder on each of the ten lists.
  void subscribeAll(NuvCPCIntVarI* x) {
    x->addMin(rec("MIN"));
    x->addMax(rec("MAX"));
    x->addBounds(rec("BOUNDS"));
    x->addDomain(rec("DOM"));
    x->addBind(rec("BIND"));
    x->addAC5Value(rec("v"));
    x->addAC5Min(rec("mn"));
    x->addAC5Max(rec("mx"));
    x->addAC5Bounds(rec("bd"));
    x->addAC5Bind(rec("bi"));
  }
  // Runs the queued events and propagators; answers the log and clears it.
  std::vector<std::string> run() {
    EXPECT_NE(store.propagate(), NuvCPFailure);
    std::vector<std::string> out;
    out.swap(log);
    return out;
  }
  using L = std::vector<std::string>;
};

// ---- scheduling ------------------------------------------------------------------

// A narrowing schedules its lists even when they are empty: the store's
// current level, which decides whether the loop leaves the level it drains,
// is then "none" after a run that last moved a variable nobody watches.
TEST_F(IntVarTest, NarrowingAnUnwatchedVariableResetsTheCurrentLevel) {
  auto* watched = var(0, 100);
  watched->addDomain(rec("LOW", 2));  // the last list updateMin schedules
  NuvCPBoolVarI* flag = nuvCPNew<NuvCPBoolVarI>(&arena, &arena, &store);
  NuvCPBoolVarI* other = nuvCPNew<NuvCPBoolVarI>(&arena, &arena, &store);
  auto* alone = var(0, 20);
  int next = 0;
  auto queueLow = [&] {
    ASSERT_EQ(store.propagate(), NuvCPSuspend);  // LOW leaves its queue
    ASSERT_EQ(watched->updateMin(++next), NuvCPSuspend);
    ASSERT_EQ(store.currentLevel(), 2);
  };
  const std::vector<std::function<int()>> ops = {
      [&] { return alone->updateMin(1); },   [&] { return alone->updateMax(19); },
      [&] { return alone->removeValue(5); }, [&] { return alone->removeMin(); },
      [&] { return alone->removeMax(); },    [&] { return alone->removeValue(10); },
      [&] { return alone->bind(12); },       [&] { return flag->updateMin(1); },
      [&] { return other->removeValue(1); }};
  for (std::size_t i = 0; i < ops.size(); ++i) {
    queueLow();
    EXPECT_NE(ops[i](), NuvCPFailure) << "operation " << i;
    EXPECT_EQ(store.currentLevel(), 2147483647) << "operation " << i;
  }
  // Only a Boolean's bind skips its empty change list.
  NuvCPBoolVarI* bound = nuvCPNew<NuvCPBoolVarI>(&arena, &arena, &store);
  queueLow();
  EXPECT_EQ(bound->bind(1), NuvCPSuccess);
  EXPECT_EQ(store.currentLevel(), 2);
}

// ---- interval mode --------------------------------------------------------------

TEST_F(IntVarTest, UpdateMinIntervalOrder) {
  auto* x = var(1, 10);
  subscribeAll(x);
  EXPECT_EQ(x->updateMin(1), NuvCPSuspend);
  EXPECT_EQ(x->updateMin(11), NuvCPFailure);
  EXPECT_EQ(run(), L{});
  EXPECT_EQ(x->updateMin(4), NuvCPSuspend);
  EXPECT_FALSE(x->hasDomain());
  EXPECT_EQ(str(*x), "(7)[4..10]");
  EXPECT_EQ(run(), (L{"v.rm(1)", "v.rm(2)", "v.rm(3)", "mn.min(1)", "bd.bounds", "MIN", "BOUNDS", "DOM"}));
}

TEST_F(IntVarTest, UpdateMinToLastValueBinds) {
  auto* x = var(1, 3);
  subscribeAll(x);
  EXPECT_EQ(x->updateMin(3), NuvCPSuspend);
  EXPECT_TRUE(x->isBound());
  EXPECT_EQ(x->getMax(), 3);
  EXPECT_EQ(run(), (L{"v.rm(1)", "v.rm(2)", "mn.min(1)", "bd.bounds", "v.bind(3)", "mn.bind(3)",
                      "mx.bind(3)", "bd.bind(3)", "bi.bind(3)", "MIN", "BOUNDS", "DOM", "BIND"}));
}

TEST_F(IntVarTest, UpdateMaxIntervalOrder) {
  auto* x = var(1, 10);
  subscribeAll(x);
  EXPECT_EQ(x->updateMax(10), NuvCPSuspend);
  EXPECT_EQ(x->updateMax(0), NuvCPFailure);
  EXPECT_EQ(x->updateMax(8), NuvCPSuspend);
  EXPECT_EQ(run(), (L{"v.rm(10)", "v.rm(9)", "mx.max(10)", "bd.bounds", "MAX", "BOUNDS", "DOM"}));
  EXPECT_EQ(x->updateMax(1), NuvCPSuspend);
  EXPECT_EQ(x->getMin(), 1);
  EXPECT_EQ(run().back(), "BIND");
}

TEST_F(IntVarTest, RemoveMinAndMaxScheduleInTheirOwnOrders) {
  auto* x = var(1, 4);
  subscribeAll(x);
  EXPECT_EQ(x->removeMin(), NuvCPSuspend);
  EXPECT_EQ(run(), (L{"v.rm(1)", "mn.min(1)", "bd.bounds", "DOM", "BOUNDS", "MIN"}));
  EXPECT_EQ(x->removeMax(), NuvCPSuspend);
  EXPECT_EQ(run(), (L{"v.rm(4)", "mx.max(4)", "bd.bounds", "MAX", "BOUNDS", "DOM"}));
  EXPECT_EQ(x->removeMax(), NuvCPSuspend);
  EXPECT_TRUE(x->isBound());
  EXPECT_EQ(run(), (L{"v.rm(3)", "mx.max(3)", "bd.bounds", "v.bind(2)", "mn.bind(2)", "mx.bind(2)",
                      "bd.bind(2)", "bi.bind(2)", "MAX", "BOUNDS", "DOM", "BIND"}));
  EXPECT_EQ(x->removeMin(), NuvCPFailure);
}

TEST_F(IntVarTest, BindOrderAndAnswers) {
  auto* x = var(1, 5);
  subscribeAll(x);
  EXPECT_EQ(x->bind(6), NuvCPFailure);
  EXPECT_EQ(x->bind(3), NuvCPSuspend);
  EXPECT_EQ(run(), (L{"v.rm(1)", "v.rm(2)", "v.rm(5)", "v.rm(4)", "mn.min(3)", "mx.max(3)",
                      "bd.bounds", "v.bind(3)", "mn.bind(3)", "mx.bind(3)", "bd.bind(3)",
                      "bi.bind(3)", "MIN", "MAX", "BOUNDS", "DOM", "BIND"}));
  EXPECT_EQ(x->bind(3), NuvCPSuccess);
  EXPECT_EQ(x->bind(4), NuvCPFailure);
  EXPECT_EQ(run(), L{});
  EXPECT_EQ(str(*x), "3");
}

TEST_F(IntVarTest, RemoveValueOfABoundKeepsTheInterval) {
  auto* x = var(1, 5);
  EXPECT_EQ(x->removeValue(1), NuvCPSuspend);
  EXPECT_EQ(x->removeValue(5), NuvCPSuspend);
  EXPECT_EQ(x->removeValue(9), NuvCPSuspend);
  EXPECT_FALSE(x->hasDomain());
  EXPECT_EQ(str(*x), "(3)[2..4]");
}

TEST_F(IntVarTest, BoundsAreClampedAsymmetrically) {
  auto* x = var(-2147483648LL, 2147483647LL);
  EXPECT_EQ(x->getMin(), -1073741823);
  EXPECT_EQ(x->getMax(), 1073741822);
  EXPECT_EQ(x->getInitialMin(), -1073741823);
  EXPECT_EQ(x->getSize(), 2147483646);
  auto* y = var(-1073741823, 1073741822);
  EXPECT_EQ(y->getSize(), 2147483646);
  EXPECT_EQ(y->getId(), x->getId() + 1);
}

// ---- domain mode ----------------------------------------------------------------------

TEST_F(IntVarTest, InteriorRemovalCreatesTheDomain) {
  auto* x = var(1, 10);
  subscribeAll(x);
  EXPECT_EQ(x->removeValue(5), NuvCPSuspend);
  EXPECT_TRUE(x->hasDomain());
  EXPECT_EQ(run(), (L{"v.rm(5)", "DOM"}));
  EXPECT_EQ(x->removeValue(5), NuvCPSuspend);
  EXPECT_EQ(run(), L{});
  EXPECT_EQ(str(*x), "(DOM:9)[1..4,6..10]");
  EXPECT_FALSE(x->member(5));
  EXPECT_TRUE(x->memberOfDomain(4));
  EXPECT_EQ(x->nextValue(4), 6);
  EXPECT_EQ(x->prevValue(6), 4);
}

TEST_F(IntVarTest, DomainCreationClearsOutsideTheBoundsStrictly) {
  auto* x = var(0, 100);
  x->updateMin(10);
  x->updateMax(90);
  x->removeValue(50);
  EXPECT_FALSE(x->getDomain()->member(9));
  EXPECT_FALSE(x->getDomain()->member(91));
  auto* y = var(0, 100);
  y->updateMin(1);
  y->updateMax(99);
  y->removeValue(50);
  EXPECT_TRUE(y->getDomain()->member(0));
  EXPECT_TRUE(y->getDomain()->member(100));
  EXPECT_EQ(y->getSize(), 98);
  EXPECT_NO_THROW(y->check());
}

TEST_F(IntVarTest, UpdateMinWithDomainPostsEachPresentValue) {
  auto* x = var(1, 10);
  x->removeValue(3);
  x->removeValue(6);
  subscribeAll(x);
  EXPECT_EQ(x->updateMin(6), NuvCPSuspend);
  EXPECT_EQ(x->getMin(), 7);
  EXPECT_EQ(x->getSize(), 4);
  EXPECT_EQ(run(), (L{"v.rm(1)", "v.rm(2)", "v.rm(4)", "v.rm(5)", "mn.min(1)", "bd.bounds", "MIN",
                      "BOUNDS", "DOM"}));
  EXPECT_EQ(x->updateMax(9), NuvCPSuspend);
  EXPECT_EQ(run(), (L{"v.rm(10)", "mx.max(10)", "bd.bounds", "MAX", "BOUNDS", "DOM"}));
  x->removeValue(8);
  run();
  EXPECT_EQ(x->updateMax(8), NuvCPSuspend);
  EXPECT_TRUE(x->isBound());
  EXPECT_EQ(x->getMin(), 7);
  L got = run();
  EXPECT_EQ(got.front(), "v.rm(9)");
  EXPECT_EQ(got.back(), "BIND");
  EXPECT_NO_THROW(x->check());
}

TEST_F(IntVarTest, HolesAcrossWordBoundaries) {
  auto* x = var(0, 99);
  for (int v : {31, 32, 63, 64}) EXPECT_EQ(x->removeValue(v), NuvCPSuspend);
  EXPECT_EQ(x->nextValue(30), 33);
  EXPECT_EQ(x->prevValue(65), 62);
  EXPECT_EQ(str(*x), "(DOM:96)[0..30,33..62,65..99]");
  x->updateMin(31);
  EXPECT_EQ(x->getMin(), 33);
  x->updateMax(64);
  EXPECT_EQ(x->getMax(), 62);
  EXPECT_EQ(x->getSize(), 30);

  NuvCPDomainIterator it;
  x->domainIterator(it);
  ASSERT_TRUE(it.valid);
  EXPECT_EQ(it.word, 1);
  EXPECT_EQ(it.lastWord, 1);
  EXPECT_EQ(it.current, 0x7FFFFFFEu);
  NuvCPDomainIterator none;
  var(0, 5)->domainIterator(none);
  EXPECT_FALSE(none.valid);
}

TEST_F(IntVarTest, IteratorSkipsEmptyWords) {
  auto* x = var(0, 127);
  for (int v = 1; v < 127; ++v) x->removeValue(v);
  x->removeMin();
  NuvCPDomainIterator it;
  x->domainIterator(it);
  EXPECT_TRUE(x->isBound());
  ASSERT_TRUE(it.valid);
  EXPECT_EQ(it.word, 3);
  EXPECT_EQ(it.current, 0x80000000u);
}

TEST_F(IntVarTest, RangeEventsSkipOldHoles) {
  auto* x = var(0, 10);
  x->removeValue(3);
  x->addAC5Value(rec("v"));
  EXPECT_EQ(x->bind(6), NuvCPSuspend);
  EXPECT_EQ(run(), (L{"v.rm(0)", "v.rm(1)", "v.rm(2)", "v.rm(4)", "v.rm(5)", "v.rm(10)", "v.rm(9)",
                      "v.rm(8)", "v.rm(7)", "v.bind(6)"}));
}

TEST_F(IntVarTest, RangeEventQueuedBeforeTheDomainStillReportsItsValues) {
  auto* x = var(0, 10);
  x->addAC5Value(rec("v"));
  x->updateMin(4);
  x->removeValue(6);
  EXPECT_EQ(run(), (L{"v.rm(0)", "v.rm(1)", "v.rm(2)", "v.rm(3)", "v.rm(6)"}));
}

// ---- printing, subscriptions, backtracking ------------------------------------------

TEST_F(IntVarTest, PrintForms) {
  auto* x = var(1, 10);
  EXPECT_EQ(str(*x), "(10)[1..10]");
  auto* y = var(1, 9);
  for (int v : {4, 5, 6, 8}) y->removeValue(v);
  EXPECT_EQ(str(*y), "(DOM:5)[1..3,7,9]");
  auto* z = var(1, 6);
  z->removeValue(3);
  z->removeValue(4);
  EXPECT_EQ(str(*z), "(DOM:4)[1,2,5,6]");
  EXPECT_EQ(str(*var(7, 7)), "7");
}

TEST_F(IntVarTest, BacktrackingUndoesChangesAndSubscriptions) {
  auto* x = var(1, 10);
  trail.push();
  x->addDomain(rec("DOM"));
  x->addAC5Value(rec("v"));
  EXPECT_EQ(x->removeValue(4), NuvCPSuspend);
  EXPECT_EQ(x->updateMin(3), NuvCPSuspend);
  EXPECT_EQ(x->getSize(), 7);
  run();
  trail.pop();
  EXPECT_EQ(x->domainList().head, nullptr);
  EXPECT_EQ(x->ac5ValueList().head, nullptr);
  EXPECT_EQ(x->getMin(), 1);
  EXPECT_EQ(x->getSize(), 10);
  EXPECT_TRUE(x->member(4));
  // The domain itself stays once created; its bits came back.
  EXPECT_EQ(str(*x), "(DOM:10)[1..10]");
  EXPECT_NO_THROW(x->check());
  x->removeValue(4);
  EXPECT_EQ(run(), L{});
}

// ---- watchers -----------------------------------------------------------------------------

TEST_F(IntVarTest, EqualityWatchersFollowTheVariable) {
  auto* x = var(1, 5);
  auto* b3 = var(0, 1);
  auto* b1 = var(0, 1);
  x->setEqualityWatcher(b3, 3);
  x->setEqualityWatcher(b1, 1);
  EXPECT_EQ(x->getEqualityWatcher(3), b3);
  EXPECT_EQ(x->getDisequalityWatcher(3), nullptr);
  EXPECT_EQ(x->updateMin(2), NuvCPSuspend);
  EXPECT_TRUE(b1->isBound());
  EXPECT_EQ(b1->getMin(), 0);
  EXPECT_FALSE(b3->isBound());
  EXPECT_EQ(x->bind(3), NuvCPSuspend);
  EXPECT_EQ(b3->getMin(), 1);
  EXPECT_TRUE(b3->isBound());

  auto* y = var(1, 5);
  auto* c = var(0, 1);
  y->setEqualityWatcher(c, 3);
  EXPECT_EQ(y->removeValue(3), NuvCPSuspend);
  EXPECT_EQ(str(*c), "0");
  auto* z = var(1, 5);
  auto* d = var(0, 1);
  z->setEqualityWatcher(d, 3);
  d->bind(1);
  // A failing watcher above the value does not stop the bind: the failure
  // is answered after the change, which the backtrack undoes.
  EXPECT_EQ(z->bind(2), NuvCPFailure);
  EXPECT_EQ(z->getMin(), 2);
  auto* w = var(1, 5);
  auto* f = var(0, 1);
  w->setEqualityWatcher(f, 2);
  f->bind(0);
  EXPECT_EQ(w->bind(2), NuvCPFailure);
  EXPECT_EQ(w->getSize(), 5);
}

TEST_F(IntVarTest, DisequalityWatchers) {
  auto* x = var(1, 5);
  auto* n = var(0, 1);
  x->setDisequalityWatcher(n, 3);
  // Without an equality table the removal pass has nothing to read.
  EXPECT_EQ(x->removeValue(3), NuvCPSuspend);
  EXPECT_FALSE(n->isBound());
  auto* y = var(1, 5);
  auto* m = var(0, 1);
  y->setDisequalityWatcher(m, 3);
  EXPECT_EQ(y->bind(3), NuvCPSuspend);
  EXPECT_EQ(str(*m), "0");
}

TEST_F(IntVarTest, RemovalPassOfDisequalitiesReadsTheEqualityTable) {
  auto* x = var(1, 5);
  auto* e = var(0, 1);
  auto* n = var(0, 1);
  x->setEqualityWatcher(e, 3);
  x->setDisequalityWatcher(n, 4);
  // The equality watcher of 3 is told 0 and then 1: the removal fails.
  EXPECT_EQ(x->removeValue(3), NuvCPFailure);
  EXPECT_FALSE(n->isBound());
}

TEST_F(IntVarTest, WatchersSetInAChoicePointVanish) {
  auto* x = var(1, 5);
  auto* b = var(0, 1);
  trail.push();
  x->setEqualityWatcher(b, 2);
  trail.pop();
  EXPECT_EQ(x->getEqualityWatcher(2), nullptr);
  EXPECT_EQ(x->bind(2), NuvCPSuspend);
  EXPECT_FALSE(b->isBound());
}

// ---- snapshots -------------------------------------------------------------------------------

TEST_F(IntVarTest, SnapshotRoundTrip) {
  auto* x = var(0, 20);
  x->updateMin(2);
  x->updateMax(15);
  x->removeValue(5);
  x->removeValue(9);
  NuvCPIntVarSnapshotI* s = x->makeSnapshot(&arena);
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(str(*s), "NuvCPIntVarSnapshotI(" + std::to_string(x->getId()) + ":2,15,12)");
  try {
    s->value();
    FAIL() << "unbound value";
  } catch (const PimExecutionError& e) {
    EXPECT_EQ(e.message(), "variable not bound in solution");
  }

  PimMemorySocket mem;
  PimArchiver out(mem, &arena);
  s->archive(out);
  PimArchiver in(mem, &arena);
  NuvCPIntVarSnapshotI back(&arena);
  back.unarchive(in);
  EXPECT_EQ(back.getMin(), 2);
  EXPECT_EQ(back.getMax(), 15);
  EXPECT_EQ(back.getSize(), 12u);
  ASSERT_NE(back.domain(), nullptr);

  auto* y = var(0, 20);
  EXPECT_EQ(back.restoreOnto(y), NuvCPSuspend);
  EXPECT_EQ(str(*y), str(*x));

  auto* z = var(3, 3);
  NuvCPIntVarSnapshotI* bound = z->makeSnapshot(&arena);
  EXPECT_EQ(bound->value(), 3);
  EXPECT_EQ(bound->domain(), nullptr);
  EXPECT_EQ(bound->restoreOnto(var(4, 9)), NuvCPFailure);
}

TEST_F(IntVarTest, CopyDomainOfAnInterval) {
  auto* x = var(3, 40);
  x->updateMin(5);
  NuvCPDomainI* d = x->copyDomain();
  ASSERT_NE(d, nullptr);
  EXPECT_EQ(d->getMin(), 5);
  EXPECT_EQ(d->getMax(), 40);
  EXPECT_EQ(d->countBetween(5, 40), 36);
}

}  // namespace

namespace {

TEST_F(IntVarTest, IndexedAndViewNodesCarryTheirExtras) {
  auto* x = var(1, 10);
  auto* view = var(0, 20);
  Recorder* r = rec("i");
  x->addAC5ValueIdx(r, 7);
  x->addAC5BindView(rec("w"), view, 2);
  x->removeValue(4);
  EXPECT_EQ(run(), L{"i.rm[7](4)"});
  EXPECT_EQ(x->bind(5), NuvCPSuspend);
  L got = run();
  // 1..3 and 10..6 through the index (the hole 4 is not told again), then
  // the bind through the view, shifted by its offset.
  EXPECT_EQ(got.size(), 9u);
  EXPECT_EQ(got.front(), "i.rm[7](1)");
  EXPECT_EQ(got.back(), "w.bind(7)");
}

TEST_F(IntVarTest, WatcherOutsideTheInitialBoundsIsReported) {
  std::vector<std::string> reports;
  PimAssertionHandler old = pimSetAssertionHandler(
      [&](const char* c, const char* path, int line) {
        reports.push_back(std::string(c) + "|" + path + "|" + std::to_string(line));
      });
  auto* x = var(1, 5);
  x->setEqualityWatcher(var(0, 1), 9);
  EXPECT_EQ(x->getEqualityWatcher(0), nullptr);
  pimSetAssertionHandler(old);
  EXPECT_EQ(reports, (std::vector<std::string>{"c>=_low && c<=_up|..\\..\\fd\\NuvCPIVarI|145",
                                               "c>=_low && c<=_up|..\\..\\fd\\NuvCPIVarI|144"}));
}

}  // namespace

namespace {

// The watched form: the same object after becomeWatched(), emitting its
// signals in the fixed order.
TEST(WatchedIntVar, KeepsItsIdentityAndEmitsInOrder) {
  PimArenaAllocator arena;
  NuvTrailI trail;
  NuvCPManagerI store(&arena, &trail);
  auto* x = nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, 0, 9);
  std::vector<std::string> log;
  // Handlers connected before the change survive it.
  x->bound.connect([&](int v) { log.push_back("bound(" + std::to_string(v) + ")"); });
  NuvCPIntVarI* asInterface = x;
  x->becomeWatched();
  EXPECT_NE(dynamic_cast<NuvWatchedCPIntVarI*>(asInterface), nullptr);
  EXPECT_EQ(store.getIntVar(x->getId()), asInterface);
  x->valuesRemoved.connect([&](int a, int b, NuvCPDomainI* d, int z) {
    log.push_back("removed(" + std::to_string(a) + "," + std::to_string(b) + (d ? ",dom" : ",null") +
                  "," + std::to_string(z) + ")");
  });
  x->minChanged.connect([&] { log.push_back("min"); });
  x->maxChanged.connect([&] { log.push_back("max"); });
  trail.push();
  EXPECT_EQ(asInterface->updateMin(3), NuvCPSuspend);
  EXPECT_EQ(asInterface->removeValue(5), NuvCPSuspend);  // creates the domain
  EXPECT_EQ(asInterface->updateMax(6), NuvCPSuspend);
  EXPECT_EQ(asInterface->updateMin(6), NuvCPSuspend);   // binds to 6
  EXPECT_EQ(log, (std::vector<std::string>{"removed(0,2,null,0)", "min", "removed(5,5,dom,0)",
                                           "removed(7,7,dom,0)", "removed(8,8,dom,0)",
                                           "removed(9,9,dom,0)", "max", "removed(3,3,dom,0)",
                                           "removed(4,4,dom,0)", "bound(6)", "min"}));
  trail.pop();
  log.clear();
  EXPECT_EQ(asInterface->bind(4), NuvCPSuspend);
  EXPECT_EQ(log, (std::vector<std::string>{"min", "max", "bound(4)"}));
  // The snapshot signals: a restore, and a comparison that differs.
  int restored = 0, differs = 0;
  x->snapshotRestored.connect([&](const NuvCPIntVarSnapshotI*) { ++restored; });
  x->snapshotDiffers.connect([&](const NuvCPIntVarSnapshotI*) { ++differs; });
  NuvCPIntVarSnapshotI* snap = x->makeSnapshot(&arena);
  EXPECT_TRUE(x->compareWithSnapshot(snap));
  snap->restoreOnto(x);
  NuvCPIntVarSnapshotI other(&arena, 0, 1, 1, 1, nullptr);
  EXPECT_FALSE(x->compareWithSnapshot(&other));
  EXPECT_EQ(restored, 1);
  EXPECT_EQ(differs, 1);
}

}  // namespace

namespace {

// A variable declared over (nearly) all integers: its holes cost a bit set
// over its current bounds only, gone again when the search backtracks past
// them; it keeps no per-value watcher table.
TEST(WideIntVar, HolesCoverTheCurrentBoundsAndGoWithThem) {
  PimArenaAllocator arena;
  NuvTrailI trail;
  NuvCPManagerI store(&arena, &trail);
  auto* x = nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, -1073741823, 1073741822);
  ASSERT_TRUE(x->isWide());
  trail.push();
  x->updateMin(0);
  x->updateMax(100);
  EXPECT_EQ(x->removeValue(50), NuvCPSuspend);
  ASSERT_TRUE(x->hasDomain());
  EXPECT_EQ(x->getDomain()->getMin(), 0);
  EXPECT_EQ(x->getDomain()->getMax(), 100);
  EXPECT_FALSE(x->member(50));
  EXPECT_FALSE(x->memberOfDomain(-5));
  EXPECT_EQ(x->getSize(), 100);
  trail.pop();
  EXPECT_FALSE(x->hasDomain());
  EXPECT_TRUE(x->member(50));
  EXPECT_EQ(x->getSize(), 2147483646);
  auto* b = nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, 0, 1);
  x->setEqualityWatcher(b, 7);
  EXPECT_EQ(x->getEqualityWatcher(7), nullptr);
  EXPECT_LT(arena.bytesReserved(), std::size_t{64} << 20);
}

}  // namespace
