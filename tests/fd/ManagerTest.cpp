#include <cstdint>
#include <sstream>

#include "EngineFixture.h"
#include "fd/NuvCPSearchControllerI.h"
#include "fd/NuvCPSetVarI.h"

namespace {

using Log = std::vector<std::string>;

TEST_F(EngineTest, FreshStore) {
  EXPECT_EQ(store.status(), NuvCPSuspend);
  EXPECT_EQ(store.currentLevel(), -1);
  EXPECT_EQ(store.postThenPropagate(), 1);
  EXPECT_DOUBLE_EQ(store.floatPrecision(), 1e-08);
  for (int l = 0; l < 8; ++l) EXPECT_EQ(store.levelQueue(l).capacity(), 32);
  EXPECT_EQ(store.auxQueue().capacity(), 64);
  EXPECT_EQ(store.deferredQueue().capacity(), 32);
  EXPECT_EQ(store.propagate(), NuvCPSuspend);
}

TEST_F(EngineTest, LowerLevelRunThatQueuesOnlyHigherWorkFinishesItsLevelFirst) {
  Probe* a3 = probe("a3", 3);
  Probe* b3 = probe("b3", 3);
  Probe* d7 = probe("d7", 7);
  Probe* ev = probe("ev", 5);
  NuvCPDListI* high = list({d7});
  FakeVar* x = var(0, 9);
  x->addAC5Value(ev);
  a3->onPropagate = [&] {
    store.schedule(high);
    x->updateMin(1);  // queues an event for ev
    return NuvCPSuspend;
  };
  store.schedule(list({a3, b3}));
  EXPECT_EQ(store.currentLevel(), 3);
  EXPECT_EQ(store.propagate(), NuvCPSuspend);
  EXPECT_EQ(log, (Log{"a3", "b3", "ev.rm(0)", "d7"}));
  EXPECT_EQ(store.propagationCount(), 4u);
}

TEST_F(EngineTest, HigherLevelRunThatQueuesLowerWorkLeavesItsLevelAtOnce) {
  Probe* a7 = probe("a7", 7);
  Probe* b7 = probe("b7", 7);
  Probe* c7 = probe("c7", 7);
  Probe* d3 = probe("d3", 3);
  Probe* ev = probe("ev", 5);
  NuvCPDListI* low = list({d3});
  FakeVar* x = var(0, 9);
  x->addAC5Value(ev);
  a7->onPropagate = [&] {
    x->updateMin(1);
    store.schedule(low);
    return NuvCPSuspend;
  };
  store.schedule(list({a7, b7, c7}));
  EXPECT_EQ(store.propagate(), NuvCPSuspend);
  // The events run before the rescan, which finds level 7's remaining entries.
  EXPECT_EQ(log, (Log{"a7", "ev.rm(0)", "b7", "c7", "d3"}));
}

TEST_F(EngineTest, AlreadyQueuedDaemonsAreOnlyMarkedCheckit) {
  Probe* p = probe("p", 4);
  NuvCPDListI* l = list({p});
  store.schedule(l);
  EXPECT_EQ(store.levelQueue(4).size(), 1);
  p->setChecked(1);
  store.schedule(l);
  EXPECT_EQ(store.currentLevel(), NuvCPManagerI::kNoLevel);
  EXPECT_EQ(p->checked(), 0);
  EXPECT_EQ(store.levelQueue(4).size(), 1);
  store.schedule(nullptr);
  EXPECT_EQ(store.currentLevel(), NuvCPManagerI::kNoLevel);
  store.propagate();
  EXPECT_EQ(log, (Log{"p"}));
  EXPECT_EQ(p->checked(), 1);
  EXPECT_FALSE(p->isQueued());
}

TEST_F(EngineTest, NonIdempotentDaemonRequeuesItselfIdempotentOneDoesNot) {
  Probe* n = probe("n", 7);
  Probe* i = probe("i", 7, true);
  NuvCPDListI* ln = list({n});
  NuvCPDListI* li = list({i});
  int runsN = 0, runsI = 0;
  n->onPropagate = [&] {
    if (++runsN < 3) store.schedule(ln);
    return NuvCPSuspend;
  };
  i->onPropagate = [&] {
    if (++runsI < 3) store.schedule(li);
    return NuvCPSuspend;
  };
  store.schedule(ln);
  store.schedule(li);
  store.propagate();
  EXPECT_EQ(runsN, 3);
  EXPECT_EQ(runsI, 1);
}

TEST_F(EngineTest, EntailedDaemonStaysOffUntilBacktrack) {
  Probe* p = probe("p");
  NuvCPDListI* l = list({p});
  trail.push();
  p->onPropagate = [] { return NuvCPSuccess; };
  store.schedule(l);
  store.propagate();
  EXPECT_FALSE(p->isEnabled());
  EXPECT_EQ(p->lastOutcome(), NuvCPSuccess);
  store.schedule(l);
  EXPECT_EQ(store.levelQueue(7).size(), 0);
  store.propagate();
  EXPECT_EQ(log.size(), 1u);
  trail.pop();
  EXPECT_TRUE(p->isEnabled());
  p->onPropagate = nullptr;
  store.schedule(l);
  store.propagate();
  EXPECT_EQ(log.size(), 2u);
}

TEST_F(EngineTest, ReentrantPropagateAnswersDelayAndRunsNothing) {
  Probe* p = probe("p");
  Probe* q = probe("q");
  NuvCPDListI* lq = list({q});
  int inner = -1;
  p->onPropagate = [&] {
    store.schedule(lq);
    inner = store.propagate();
    EXPECT_EQ(log, (Log{"p"}));
    return NuvCPSuspend;
  };
  store.schedule(list({p}));
  EXPECT_EQ(store.propagate(), NuvCPSuspend);
  EXPECT_EQ(inner, NuvCPDelay);
  EXPECT_EQ(log, (Log{"p", "q"}));
}

TEST_F(EngineTest, FailureStopsAtOnceAndEmptiesEveryQueue) {
  Probe* f = probe("f", 7);
  Probe* later = probe("later", 2);
  Probe* ev = probe("ev", 5);
  FakeVar* x = var(0, 9);
  x->addAC5Value(ev);
  f->onPropagate = [&] {
    store.schedule(list({later}));
    x->updateMin(3);
    EXPECT_GT(store.eventAllocator().usedInCurrentBlock(), 0u);
    return NuvCPFailure;
  };
  store.schedule(list({f}));
  EXPECT_EQ(store.propagate(), NuvCPFailure);
  EXPECT_EQ(log, (Log{"f"}));
  for (int l = 0; l < 8; ++l) EXPECT_TRUE(store.levelQueue(l).empty());
  EXPECT_TRUE(store.eventQueue().empty());
  EXPECT_EQ(store.eventAllocator().usedInCurrentBlock(), 0u);
  EXPECT_EQ(f->lastOutcome(), NuvCPFailure);
}

TEST_F(EngineTest, FailedPostLeavesEmptyQueuesAndDecisionsStillCheckTheSolver) {
  Probe* c = probe("c");
  Probe* other = probe("other", 1);
  c->onPost = [&] {
    store.schedule(list({other}));
    return NuvCPFailure;
  };
  store.setAtomic(true);
  store.post(probe("deferred"));
  store.setAtomic(false);  // replays: nothing fails
  EXPECT_EQ(store.post(c), NuvCPFailure);
  EXPECT_EQ(store.status(), NuvCPFailure);
  EXPECT_FALSE(store.isConsistent());
  for (int l = 0; l < 8; ++l) EXPECT_TRUE(store.levelQueue(l).empty());
  EXPECT_TRUE(store.deferredQueue().empty());

  PimArenaAllocator arena2;
  NuvTrailI trail2;
  NuvCPManagerI store2(&arena2, &trail2);
  FakeVar foreign(&store2, 0, 3);
  try {
    store.label(&foreign, 1);
    FAIL() << "expected an execution error";
  } catch (const PimExecutionError& e) {
    EXPECT_EQ(e.message(), "attempting to label a variable from a different solver.");
  }
  EXPECT_EQ(store.post(nullptr), NuvCPFailure);
}

TEST_F(EngineTest, DecisionMessagesNameTheOperation) {
  PimArenaAllocator arena2;
  NuvTrailI trail2;
  NuvCPManagerI store2(&arena2, &trail2);
  FakeVar x(&store2, 0, 3);
  struct FakeSet : NuvCPSetVarI {
    using NuvCPSetVarI::NuvCPSetVarI;
    int inside(int) override { return NuvCPSuspend; }
    int outside(int) override { return NuvCPSuspend; }
    int require(int) override { return NuvCPSuspend; }
    int exclude(int) override { return 7; }  // an answer outside 0..2
  } s(&arena2, &store2);
  auto message = [](auto f) {
    try {
      f();
    } catch (const PimExecutionError& e) {
      return e.message();
    }
    return std::string("no error");
  };
  EXPECT_EQ(message([&] { store.diff(&x, 1); }),
            "attempting to diff a variable from a different solver.");
  EXPECT_EQ(message([&] { store.lthen(&x, 1); }),
            "attempting to set a '<' on a variable from a different solver.");
  EXPECT_EQ(message([&] { store.gthen(&x, 1); }),
            "attempting to set a '>' on a variable from a different solver.");
  EXPECT_EQ(message([&] { store.inside(&s, 1); }),
            "attempting to state an 'inside' on a set variable from a different solver.");
  EXPECT_EQ(message([&] { store.outside(&s, 1); }),
            "attempting to state an 'outside' on a set variable from a different solver.");
  EXPECT_EQ(message([&] { store.require(&s, 1); }),
            "attempting to set a 'require' on a set variable from a different solver.");
  EXPECT_EQ(message([&] { store.exclude(&s, 1); }),
            "attempting to set an 'exclude' on a set variable from a different solver.");
  // On its own store: a result outside 0..2 fails the store without the loop.
  EXPECT_EQ(store2.exclude(&s, 1), NuvCPFailure);
  EXPECT_EQ(store2.inside(&s, 1), NuvCPSuspend);
}

TEST_F(EngineTest, DecisionsNarrowAndPropagate) {
  FakeVar* x = var(0, 9);
  Probe* p = probe("p");
  x->addBounds(p);
  EXPECT_EQ(store.gthen(x, 2), NuvCPSuspend);
  EXPECT_EQ(x->getMin(), 3);
  EXPECT_EQ(store.lthen(x, 7), NuvCPSuspend);
  EXPECT_EQ(x->getMax(), 6);
  EXPECT_EQ(log, (Log{"p", "p"}));
  EXPECT_EQ(store.label(x, 5), NuvCPSuspend);
  EXPECT_TRUE(x->isBound());
  EXPECT_EQ(store.label(x, 4), NuvCPFailure);
  EXPECT_EQ(store.status(), NuvCPFailure);
}

// A split at the edge of the int range is unsatisfiable, not an overflow
// into a bound that some variable might accept.
TEST_F(EngineTest, SplitsAtTheEdgeOfTheIntRangeFail) {
  FakeVar* x = var(0, 9);
  Probe* p = probe("p");
  x->addBounds(p);
  trail.push();
  EXPECT_EQ(store.lthen(x, INT32_MIN), NuvCPFailure);
  EXPECT_EQ(store.status(), NuvCPFailure);
  trail.pop();
  EXPECT_EQ(store.status(), NuvCPSuspend);
  trail.push();
  EXPECT_EQ(store.gthen(x, INT32_MAX), NuvCPFailure);
  trail.pop();
  EXPECT_EQ(x->getMin(), 0);
  EXPECT_EQ(x->getMax(), 9);
  EXPECT_TRUE(log.empty());
}

// Deferred posts and queued daemons may be referenced by nothing but the
// store; its marking must reach them.
TEST_F(EngineTest, MarkingReachesDeferredPostsAndQueuedDaemons) {
  Probe* deferred = probe("deferred");
  Probe* queued = probe("queued", 3);
  Probe* stranger = probe("stranger");
  store.setAtomic(true);
  EXPECT_EQ(store.post(deferred), NuvCPDelay);
  store.schedule(list({queued}));
  PimMarker marker(2);
  marker.run(&store);
  EXPECT_TRUE(deferred->isMarked(2));
  EXPECT_TRUE(queued->isMarked(2));
  EXPECT_FALSE(stranger->isMarked(2));
}

TEST_F(EngineTest, DaemonThatCouldNotBeQueuedIsQueuedByTheNextChange) {
  // Fill level 5 to its first capacity, so that one more entry needs a
  // bigger buffer.
  for (int i = 0; i < 32; ++i) store.schedule(list({probe("f" + std::to_string(i), 5)}));
  Probe* late = probe("late", 5);
  NuvCPDListI* lateList = list({late});
  arena.setLimit(arena.bytesInUse());
  int reports = 0;
  auto previous = pimSetAssertionHandler([&](const char*, const char*, int) { ++reports; });
  store.schedule(lateList);
  pimSetAssertionHandler(previous);
  EXPECT_EQ(reports, 1);
  EXPECT_FALSE(late->isQueued());
  arena.setLimit(0);
  EXPECT_EQ(store.propagate(), NuvCPSuspend);
  store.schedule(lateList);
  EXPECT_EQ(store.propagate(), NuvCPSuspend);
  EXPECT_EQ(log.back(), "late");
}

TEST_F(EngineTest, AtomicSectionDefersPostsAndRunsOneFixpoint) {
  Probe* watcher = probe("w");
  NuvCPDListI* lw = list({watcher});
  Probe* c1 = probe("c1");
  Probe* c2 = probe("c2");
  c1->onPost = c2->onPost = [&] {
    store.schedule(lw);
    return NuvCPSuspend;
  };
  store.setAtomic(true);
  store.setAtomic(true);
  EXPECT_EQ(store.post(c1), NuvCPDelay);
  EXPECT_EQ(store.post(c2), NuvCPDelay);
  EXPECT_EQ(store.propagate(), NuvCPDelay);
  EXPECT_EQ(store.deferredQueue().size(), 2);
  store.setAtomic(false);
  EXPECT_TRUE(log.empty()) << "the inner section's close replays nothing";
  store.setAtomic(false);
  EXPECT_EQ(log, (Log{"w"})) << "both posts, one fixpoint";
  EXPECT_EQ(store.status(), NuvCPSuspend);
  EXPECT_EQ(store.recentCount(), 2);
  store.setAtomic(false);  // never opened: nothing happens
  EXPECT_EQ(store.atomicDepth(), 0);
}

TEST_F(EngineTest, AtomicReplayStopsAtTheFirstFailure) {
  Probe* bad = probe("bad");
  Probe* after = probe("after");
  bad->onPost = [] { return NuvCPFailure; };
  int afterPosts = 0;
  after->onPost = [&] {
    ++afterPosts;
    return NuvCPSuspend;
  };
  store.setAtomic(true);
  store.post(bad);
  store.post(after);
  store.setAtomic(false);
  EXPECT_EQ(store.status(), NuvCPFailure);
  EXPECT_EQ(afterPosts, 0);
}

TEST_F(EngineTest, AtomicDepthIsUndoneByBacktracking) {
  trail.push();
  store.setAtomic(true);
  EXPECT_EQ(store.atomicDepth(), 1);
  trail.pop();
  EXPECT_EQ(store.atomicDepth(), 0);
  EXPECT_EQ(store.propagate(), NuvCPSuspend);
}

struct RecordingController : NuvCPSearchControllerI {
  using NuvCPSearchControllerI::NuvCPSearchControllerI;
  bool isRecording() const override { return recording; }
  void record(PimAbstractAction* a) override { actions.push_back(a); }
  void reset(int how) override { resets.push_back(how); }
  bool recording = true;
  std::vector<PimAbstractAction*> actions;
  std::vector<int> resets;
};

TEST_F(EngineTest, RecordingControllerGetsAtomicActionsAndCreationActions) {
  RecordingController ctl;
  store.setController(&ctl);
  store.setAtomic(true);
  store.setAtomic(false);
  ASSERT_EQ(ctl.actions.size(), 2u);
  std::ostringstream os;
  ctl.actions[0]->print(os);
  ctl.actions[1]->print(os);
  EXPECT_EQ(os.str(), "CPSetAtomic(true)CPSetAtomic(false)");
  // Replaying the opening on a store opens a section there.
  PimArenaAllocator arena2;
  NuvTrailI trail2;
  NuvCPManagerI store2(&arena2, &trail2);
  ctl.actions[0]->execute(&store2);
  EXPECT_EQ(store2.atomicDepth(), 1);

  // Posts are recorded only once the model is closed.
  struct Rebuildable : Probe {
    using Probe::Probe;
    PimDataI* cloneInto(NuvCPManagerI* s) override {
      return s ? nullptr : nuvCPNew<NuvCPBindAdapter>(store()->allocator(), store()->allocator(), nullptr, 0);
    }
  };
  auto* c = keep(new Rebuildable(&store, "c", 7, &log));
  store.post(c);
  EXPECT_EQ(ctl.actions.size(), 2u);
  store.close();
  EXPECT_TRUE(store.isClosed());
  EXPECT_TRUE(store.isClosedBase());
  store.post(c);
  EXPECT_EQ(ctl.actions.size(), 3u);

  store.resetQueuesForShaving();
  EXPECT_EQ(ctl.resets, (std::vector<int>{0}));
  store.setController(nullptr);
}

TEST_F(EngineTest, ShavingResetKeepsDeferredPostsAndRestampsTheTrail) {
  store.setAtomic(true);
  store.post(probe("c"));
  PimStamp before = trail.stamp();
  store.resetQueuesForShaving();
  EXPECT_NE(trail.stamp(), before);
  EXPECT_EQ(store.deferredQueue().size(), 1);
  store.resetQueues();
  EXPECT_EQ(store.deferredQueue().size(), 0);
}

TEST_F(EngineTest, RestartReimposesTheObjectiveFirst) {
  Probe* objective = probe("objective");
  store.setIntObjective(objective);
  store.post(probe("c"));
  EXPECT_EQ(store.recentCount(), 1);
  EXPECT_TRUE(store.restartPropagation());
  EXPECT_EQ(store.recentCount(), 0);
  EXPECT_EQ(log, (Log{"objective"}));
  objective->onPropagate = [] { return NuvCPFailure; };
  EXPECT_FALSE(store.restartPropagation());
  EXPECT_EQ(store.status(), NuvCPFailure);
  store.setIntObjective(nullptr);
}

TEST_F(EngineTest, VariableTablesAreTrailed) {
  FakeVar* a = var(0, 1);
  EXPECT_EQ(a->getId(), 0);
  EXPECT_EQ(store.getIntVar(0), a);
  trail.push();
  FakeVar* b = var(0, 1);
  EXPECT_EQ(b->getId(), 1);
  EXPECT_EQ(store.intVarCount(), 2);
  trail.pop();
  EXPECT_EQ(store.intVarCount(), 1);
  EXPECT_EQ(store.getIntVar(1), nullptr);
  for (int i = 0; i < 100; ++i) var(0, 1);
  EXPECT_EQ(store.intVarCount(), 101);
  EXPECT_EQ(store.getIntVar(100)->getId(), 100);
}

TEST_F(EngineTest, PrintForm) {
  var(0, 3);
  var(0, 3);
  std::ostringstream os;
  store.print(os);
  EXPECT_EQ(os.str(),
            "CPStore\n\t#vars  : 2\n\t#fvars : 0\n\t#bvars : 0\n\t#propag: 0\n\ttrail  : 0\n");
}

TEST_F(EngineTest, DaemonIdentifiersCountUp) {
  int first = store.propagationCount() * 0 + probe("a")->getId();
  EXPECT_EQ(probe("b")->getId(), first + 1);
}

}  // namespace
