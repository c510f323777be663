#include <sstream>

#include "EngineFixture.h"

namespace {

using Log = std::vector<std::string>;

TEST_F(EngineTest, EventOfADaemonDisabledBeforeItRunsCallsNothing) {
  Probe* d = probe("d");
  FakeVar* x = var(0, 9);
  x->addAC5Value(d);
  x->updateMin(2);
  EXPECT_EQ(store.eventQueue().size(), 1);
  d->setEnabled(0);
  EXPECT_EQ(store.propagate(), NuvCPSuspend);
  EXPECT_TRUE(log.empty());
  // A disabled daemon gets no event at all.
  x->updateMin(4);
  EXPECT_TRUE(store.eventQueue().empty());
}

TEST_F(EngineTest, RangeEventStopsWhenTheDaemonIsEntailedHalfWay) {
  Probe* d = probe("d");
  FakeVar* x = var(0, 9);
  x->addAC5Value(d);
  d->onValue = [](int v) { return v == 2 ? NuvCPSuccess : NuvCPSuspend; };
  x->updateMin(6);
  ASSERT_EQ(store.eventQueue().size(), 1);
  NuvCPAC5Event* e = store.eventQueue().pop();
  EXPECT_EQ(e->execute(), NuvCPSuccess);
  EXPECT_EQ(log, (Log{"d.rm(0)", "d.rm(1)", "d.rm(2)"}));
  EXPECT_FALSE(d->isEnabled());
}

TEST_F(EngineTest, RangeEventsScanInTheirDirectionAndStopOnFailure) {
  Probe* d = probe("d");
  FakeVar* x = var(0, 9);
  x->addAC5Value(d);
  x->updateMax(6);
  store.propagate();
  EXPECT_EQ(log, (Log{"d.rm(9)", "d.rm(8)", "d.rm(7)"}));
  log.clear();
  d->onValue = [](int v) { return v == 1 ? NuvCPFailure : NuvCPSuspend; };
  x->updateMin(4);
  EXPECT_EQ(store.propagate(), NuvCPFailure);
  EXPECT_EQ(log, (Log{"d.rm(0)", "d.rm(1)"}));
}

TEST_F(EngineTest, EventMemoryIsReusedAtTheFixpoint) {
  Probe* d = probe("d");
  FakeVar* x = var(0, 9);
  x->addAC5Value(d);
  x->updateMin(2);
  EXPECT_GT(store.eventAllocator().usedInCurrentBlock(), 0u);
  store.propagate();
  EXPECT_EQ(store.eventAllocator().usedInCurrentBlock(), 0u);
  EXPECT_EQ(store.eventAllocator().currentBlockIndex(), 0u);
}

TEST_F(EngineTest, EmptyRangeQueuesNoEvent) {
  Probe* d = probe("d");
  FakeVar* x = var(0, 9);
  x->addAC5Value(d);
  store.notifyRemoveRangeUp(x->values.head, x, 5, 4);
  store.notifyRemoveRangeDown(x->values.head, x, 5, 4);
  EXPECT_TRUE(store.eventQueue().empty());
}

TEST_F(EngineTest, ExhaustedEventAllocatorQueuesANullThatEndsTheDraining) {
  PimArenaAllocator arena2;
  NuvTrailI trail2;
  // One block holding two events.
  NuvCPManagerI small(&arena2, &trail2, 2 * 32, 1);
  Probe d(&small, "d", 7, &log);
  FakeVar x(&small, 0, 9);
  x.addAC5Value(&d);
  for (int v = 0; v < 4; ++v) small.notifyRemoveValue(x.values.head, &x, v);
  ASSERT_EQ(small.eventQueue().size(), 4);
  EXPECT_EQ(small.propagate(), NuvCPSuspend);
  EXPECT_EQ(log, (Log{"d.rm(0)", "d.rm(1)"}));
  EXPECT_EQ(small.eventQueue().size(), 1) << "the draining ended at the first null";
}

TEST_F(EngineTest, NodesCarryOffsetIndexAndView) {
  Probe* d = probe("d");
  FakeVar* x = var(0, 9);
  FakeVar* view = var(10, 19);
  NuvCPListHead h;
  h.add<NuvCPDListIdxViewI>(&arena, &trail, d, view, 4, 10);
  h.add<NuvCPDListViewI>(&arena, &trail, d, view, 10);
  h.add<NuvCPDListIdxI>(&arena, &trail, d, 3);
  store.notifyRemoveValue(h.head, x, 2);
  store.propagate();
  // Newest subscriber first.
  EXPECT_EQ(log, (Log{"d.rm[3](2)", "d.rm(12)", "d.rm[4](12)"}));
  EXPECT_EQ(d->lastVar, view);
  log.clear();
  store.notifyUpdateMin(h.head, x, 1);
  store.notifyBindToValue(h.head, x, 5);
  store.propagate();
  EXPECT_EQ(log, (Log{"d.min(11)", "d.bind(15)"})) << "the Idx handlers keep their defaults";
}

TEST_F(EngineTest, EventsOfEveryKindReachTheirHandler) {
  struct All : NuvCPCstrI {
    All(NuvCPManagerI* s, Log* log) : NuvCPCstrI(s), log(log) {}
    int rec(std::string s) {
      log->push_back(std::move(s));
      return NuvCPSuspend;
    }
    int updateMax(NuvCPIntVarI*, int v) override { return rec("max" + std::to_string(v)); }
    int updateBounds(NuvCPIntVarI*) override { return rec("bounds"); }
    int valBindIdx(NuvCPIntVarI*, int i, int v) override {
      return rec("bind" + std::to_string(i) + ":" + std::to_string(v));
    }
    int updateMinIdx(NuvCPIntVarI*, int i, int v) override {
      return rec("min" + std::to_string(i) + ":" + std::to_string(v));
    }
    int updateMaxIdx(NuvCPIntVarI*, int i, int v) override {
      return rec("max" + std::to_string(i) + ":" + std::to_string(v));
    }
    int updateBoundsIdx(NuvCPIntVarI*, int i) override { return rec("bounds" + std::to_string(i)); }
    int bitBound(PimDataI*, int b, int v) override {
      return rec("bit" + std::to_string(b) + "=" + std::to_string(v));
    }
    int requiresElem(NuvCPSetVarI*, int e) override { return rec("req" + std::to_string(e)); }
    int excludes(NuvCPSetVarI*, int e) override { return rec("exc" + std::to_string(e)); }
    int requiresIdx(NuvCPSetVarI*, int i, int e) override {
      return rec("req" + std::to_string(i) + ":" + std::to_string(e));
    }
    int excludesIdx(NuvCPSetVarI*, int i, int e) override {
      return rec("exc" + std::to_string(i) + ":" + std::to_string(e));
    }
    int valRemoveIdx(NuvCPIntVarI*, int i, int v) override {
      return rec("rm" + std::to_string(i) + ":" + std::to_string(v));
    }
    Log* log;
  };
  All* d = keep(new All(&store, &log));
  FakeVar* x = var(0, 9);
  NuvCPListHead plain, idx;
  plain.add<NuvCPDListI>(&arena, &trail, d);
  idx.add<NuvCPDListIdxI>(&arena, &trail, d, 2);
  store.notifyUpdateMax(plain.head, x, 8);
  store.notifyUpdateBounds(plain.head, x);
  store.notifyBitBound(plain.head, x, 3, 5);
  store.notifyRequires(plain.head, nullptr, 4);
  store.notifyExcludes(plain.head, nullptr, 5);
  store.notifyBindToValue(idx.head, x, 1);
  store.notifyUpdateMin(idx.head, x, 1);
  store.notifyUpdateMax(idx.head, x, 7);
  store.notifyUpdateBounds(idx.head, x);
  store.notifyRequires(idx.head, nullptr, 6);
  store.notifyExcludes(idx.head, nullptr, 7);
  x->updateMin(2);  // a range the Idx node scans: 0 and 1
  store.notifyRemoveRangeUp(idx.head, x, 0, 1);
  store.notifyRemoveRangeDown(idx.head, x, 0, 1);
  store.propagate();
  EXPECT_EQ(log, (Log{"max8", "bounds", "bit3=1", "req4", "exc5", "bind2:1", "min2:1", "max2:7",
                      "bounds2", "req2:6", "exc2:7", "rm2:0", "rm2:1", "rm2:1", "rm2:0"}));
}

TEST_F(EngineTest, SubscriptionsMadeInABranchAreGoneAfterBacktracking) {
  Probe* a = probe("a");
  Probe* b = probe("b");
  FakeVar* x = var(0, 9);
  x->addBounds(a);
  trail.push();
  x->addBounds(b);
  x->updateMin(1);
  store.propagate();
  EXPECT_EQ(log, (Log{"b", "a"}));
  trail.pop();
  log.clear();
  EXPECT_EQ(x->getMin(), 0);
  x->updateMin(1);
  store.propagate();
  EXPECT_EQ(log, (Log{"a"}));
}

TEST_F(EngineTest, StatusSuffixAndPrintForms) {
  Probe* p = probe("p");
  std::ostringstream os;
  p->print(os);
  EXPECT_EQ(os.str(), "probe(p) enabled=T status= checked lastOC= suspend");
  os.str("");
  p->postEnabled();
  p->setLastOutcome(NuvCPDelay);
  p->setEnabled(0);
  p->print(os);
  EXPECT_EQ(os.str(), "probe(p) enabled=F status= checkit lastOC= delay");
  os.str("");
  p->setChecked(5);
  p->setLastOutcome(9);
  p->print(os);
  EXPECT_EQ(os.str(), "probe(p) enabled=F status= lastOC=");
  os.str("");
  NuvCPCstrI base(&store);
  base.print(os);
  EXPECT_EQ(os.str(), "CPConstraint()");
  EXPECT_STREQ(nuvCPStatusName(NuvCPFailure), " failure");
  EXPECT_STREQ(nuvCPStatusName(NuvCPSuccess), " success");
}

TEST_F(EngineTest, DaemonsCannotBeCloned) {
  NuvCPCstrI c(&store);
  try {
    c.clone();
    FAIL();
  } catch (const PimInternalError& e) {
    EXPECT_EQ(e.source().file, "..\\..\\fd\\NuvCPConstraintI");
    EXPECT_EQ(e.source().line, 511);
  }
}

TEST_F(EngineTest, CstrDefaults) {
  NuvCPCstrI c(&store, 3, true);
  EXPECT_EQ(c.priority(), 3u);
  EXPECT_TRUE(c.isIdempotent());
  EXPECT_EQ(c.checked(), 1);
  EXPECT_EQ(c.propagate(), NuvCPSuspend);
  EXPECT_EQ(c.valRemove(nullptr, 1), NuvCPSuspend);
  EXPECT_FALSE(c.isObjective());
  EXPECT_FALSE(c.isUserDefined());
  EXPECT_EQ(c.cloneInto(&store), nullptr);
  struct V : NuvCPCstrVisitorI {
    void visit(NuvCPDaemonI* d) override { seen = d; }
    NuvCPDaemonI* seen = nullptr;
  } v;
  c.accept(v);
  EXPECT_EQ(v.seen, &c);
}

// ---- adapters ------------------------------------------------------------------

// x >= k, built by the adapters: C(store, x, k).
struct AtLeast : NuvCPCstrI {
  AtLeast(NuvCPManagerI* s, NuvCPIntVarI* x, int k) : NuvCPCstrI(s), x(x), k(k) {}
  int post(int) override { return x->updateMin(k); }
  NuvCPIntVarI* x;
  int k;
};

// sum of coefs * x.min <= c, checked at post: C(store, n, coefs, vars, c).
struct SumCheck : NuvCPCstrI {
  SumCheck(NuvCPManagerI* s, int n, int* coefs, NuvCPIntVarI** vars, int c)
      : NuvCPCstrI(s), n(n), coefs(coefs), vars(vars), c(c) {}
  int post(int) override {
    long sum = 0;
    for (int i = 0; i < n; ++i) sum += long(coefs[i]) * vars[i]->getMin();
    return sum <= c ? NuvCPSuspend : NuvCPFailure;
  }
  int n;
  int* coefs;
  NuvCPIntVarI** vars;
  int c;
};

TEST_F(EngineTest, AdaptersRebuildOnTheTargetStoresVariables) {
  FakeVar* x = var(0, 9);
  FakeVar* y = var(0, 9);
  NuvCPCstrAdapterI2<AtLeast, NuvCPIntVarI*, int> atLeast(&arena, y, 4);
  int coefs[] = {1, 2};
  NuvCPIntVarI* vars[] = {x, y};
  NuvCPCstrAdapterIN2C<SumCheck> sum(&arena, 2, coefs, vars, 10);

  PimArenaAllocator arena2;
  NuvTrailI trail2;
  NuvCPManagerI other(&arena2, &trail2);
  FakeVar x2(&other, 0, 9);
  FakeVar y2(&other, 0, 9);
  EXPECT_EQ(atLeast.execute(&other), NuvCPSuspend);
  EXPECT_EQ(y2.getMin(), 4);
  EXPECT_EQ(y->getMin(), 0) << "the recorded store is untouched";
  x2.updateMin(3);
  EXPECT_EQ(sum.execute(&other), NuvCPFailure);  // 3 + 2*4 > 10
  EXPECT_EQ(sum.execute(&store), NuvCPSuspend);
  EXPECT_EQ(atLeast.execute(nullptr), NuvCPFailure);

  // Decisions replay on the variable of the same identifier.
  NuvCPGThenAdapter gt(&arena, x, 5);
  NuvCPLThenAdapter lt(&arena, x, 8);
  NuvCPDiffAdapter df(&arena, x, 6);
  NuvCPBindAdapter bd(&arena, x, 7);
  EXPECT_EQ(gt.execute(&other), NuvCPSuspend);
  EXPECT_EQ(lt.execute(&other), NuvCPSuspend);
  EXPECT_EQ(df.execute(&other), NuvCPSuspend);
  EXPECT_EQ(x2.getMin(), 7);
  EXPECT_EQ(x2.getMax(), 7);
  EXPECT_EQ(bd.execute(&other), NuvCPSuspend);
  EXPECT_EQ(x->getMin(), 0);
}

TEST_F(EngineTest, AdapterPostPropagatesOnlyWhenAskedTo) {
  FakeVar* x = var(0, 9);
  Probe* p = probe("p");
  x->addBounds(p);
  NuvCPCstrAdapterI2<AtLeast, NuvCPIntVarI*, int> a(&arena, x, 2);
  store.setPostThenPropagate(0);
  EXPECT_EQ(a.build(&store), NuvCPSuspend);
  EXPECT_TRUE(log.empty());
  EXPECT_EQ(store.levelQueue(7).size(), 1);
  store.setPostThenPropagate(1);
  NuvCPCstrAdapterI2<AtLeast, NuvCPIntVarI*, int> b(&arena, x, 3);
  EXPECT_EQ(b.build(&store), NuvCPSuspend);
  EXPECT_EQ(log, (Log{"p"}));
}

// ---- propagators written in the modeling language -----------------------------

RavValue scriptPropagate(RavRuntime&, NuvNativeObject*, int) { return RavValue(1); }
RavValue scriptValRemove(RavRuntime& rt, NuvNativeObject*, int) {
  // Fails when told about the value 13 of the variable it expects.
  return RavValue(rt.argInt(1) == 13 && !rt.argIsNull(0) ? 0 : 2);
}
RavValue scriptPriority(RavRuntime&, NuvNativeObject*, int) { return RavValue(4); }
const RavMethod kScriptMethods[] = {{"propagate", scriptPropagate, 0, 0},
                                    {"valRemove", scriptValRemove, 2, 2},
                                    {"getPriority", scriptPriority, 0, 0}};
struct ScriptFactory : NuvInstanceFactory {
  using NuvInstanceFactory::NuvInstanceFactory;
  const char* getName() const override { return "Script"; }
  NuvNativeObject* instantiate(PimAllocator* a, const NuvNativeClass* c) override {
    return new (a) NuvNativeObject(a, c);
  }
  const RavMethodTable* methods() const override { return &table; }
  RavMethodTable table{kScriptMethods, 3};
};

TEST_F(EngineTest, UserConstraintCallsScriptMethodsWithLanguageVariables) {
  RavProgram program;
  ScriptFactory factory(nullptr);
  program.addClass("Script", &factory);
  RavRuntime rt(program);
  NuvNativeObject* script = rt.create("Script", 0);
  NuvNativeObject* xHandle = rt.create("Script", 0);
  FakeVar* x = var(0, 20);
  store.setIntVarHandle(x->getId(), xHandle);

  NuvCPUserConstraintI u(&store, &rt, script, nullptr);
  EXPECT_EQ(u.classSize(), 372u);
  EXPECT_TRUE(u.isUserDefined());
  EXPECT_EQ(u.itemCount(), 1);
  for (int i = 0; i < 5; ++i) u.addItem(nullptr);
  EXPECT_EQ(u.itemCount(), 6);
  EXPECT_EQ(u.scriptPriority(), 4);
  EXPECT_EQ(u.post(0), NuvCPSuspend) << "no 'post' method: the default";
  EXPECT_EQ(u.updateMin(x, 3), NuvCPSuspend);
  EXPECT_EQ(u.valRemove(x, 12), NuvCPSuspend);
  EXPECT_EQ(u.valRemove(x, 13), NuvCPFailure);
  EXPECT_EQ(u.propagate(), NuvCPSuccess);
  u.announceId();  // no 'setId': nothing happens
}

}  // namespace
