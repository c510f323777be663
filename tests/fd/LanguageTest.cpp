// Scripts' view of the module: stores, variables, domains and lists created
// by class name and used through their method tables only.
#include <gtest/gtest.h>

#include <string>

#include "fd/NuvCPManager.h"
#include "fd/NuvCPModule.h"
#include "fd/NuvCPNative.h"
#include "host/PimError.h"
#include "host/Rav.h"

namespace {

class LanguageTest : public ::testing::Test {
 protected:
  LanguageTest() {
    program.getMgr()->setTraceLevel(-1);
    nuvfdModuleRegistry(&program, nullptr);
  }
  NuvNativeObject* makeStore() { return rt.create("CP$Store", 0); }
  // An object of class `cls` from these constructor arguments.
  NuvNativeObject* create(const char* cls, std::vector<RavValue> args) {
    for (RavValue& a : args) rt.push(std::move(a));
    return rt.create(cls, static_cast<int>(args.size()));
  }
  NuvNativeObject* makeVar(NuvNativeObject* store, int lo, int hi) {
    rt.push(store);
    rt.push(lo);
    rt.push(hi);
    return rt.create("CP$VarInt", 3);
  }
  RavValue call(NuvNativeObject* o, const char* m) { return rt.call(o, m, 0); }
  RavValue call(NuvNativeObject* o, const char* m, RavValue a) {
    rt.push(std::move(a));
    return rt.call(o, m, 1);
  }
  RavValue call(NuvNativeObject* o, const char* m, RavValue a, RavValue b) {
    rt.push(std::move(a));
    rt.push(std::move(b));
    return rt.call(o, m, 2);
  }
  RavValue call(NuvNativeObject* o, const char* m, std::vector<RavValue> args) {
    for (RavValue& a : args) rt.push(std::move(a));
    return rt.call(o, m, static_cast<int>(args.size()));
  }
  template <class E>
  std::string errorOf(const std::function<void()>& f) {
    try {
      f();
    } catch (const E& e) {
      return e.message();
    }
    return "(no error)";
  }

  RavProgram program;
  RavRuntime rt{program};
};

TEST_F(LanguageTest, DecisionsNarrowAndChoicePointsUndoThem) {
  NuvNativeObject* s = makeStore();
  NuvNativeObject* x = makeVar(s, 1, 10);
  EXPECT_EQ(call(x, "getSize").asInt(), 10);
  EXPECT_EQ(call(s, "push").asInt(), 1);
  EXPECT_EQ(call(s, "lthen", x, 5).asInt(), 2);
  EXPECT_EQ(call(s, "diff", x, 2).asInt(), 2);
  EXPECT_EQ(call(x, "toString").asString(), "(DOM:3)[1,3,4]");
  EXPECT_FALSE(call(x, "member", 2).asBool());
  EXPECT_TRUE(call(s, "pop").asBool());
  EXPECT_EQ(call(x, "getMax").asInt(), 10);
  EXPECT_TRUE(call(x, "member", 2).asBool());
  EXPECT_EQ(call(s, "label", x, 7).asInt(), 2);
  EXPECT_EQ(call(x, "getValue").asInt(), 7);
  EXPECT_EQ(call(s, "label", x, 8).asInt(), 0);
  EXPECT_FALSE(call(s, "isConsistent").asBool());
}

TEST_F(LanguageTest, VariablesFromSetsAndTheirErrors) {
  NuvNativeObject* s = makeStore();
  rt.push(s);
  rt.push(RavIntSet::of({2, 3, 7, 9}));
  NuvNativeObject* x = rt.create("CP$VarInt", 2);
  EXPECT_EQ(call(x, "toString").asString(), "(DOM:4)[2,3,7,9]");
  EXPECT_EQ(errorOf<PimExecutionError>([&] { call(x, "getValue"); }),
            "The CP variable is not bound: it cannot be evaluated to int");
  EXPECT_EQ(errorOf<PimExecutionError>([&] { makeVar(s, 5, 4); }),
            "The domain is empty upon creation of the decision variable");
  EXPECT_EQ(errorOf<PimNullPointerError>([&] { makeVar(nullptr, 1, 4); }),
            "var<CP>{int}(null,int,int)");
  EXPECT_EQ(errorOf<PimNullPointerError>([&] { call(x, "addAC5Bind", RavValue()); }),
            "addAC5Bind(null)");
  EXPECT_EQ(errorOf<PimExecutionError>([&] { call(s, "label", 3, 3); }),
            "argument 1: expected object, got int");
  // Bounds beyond the clamping limits are clamped, not refused.
  rt.push(s);
  rt.push(std::int64_t{-5000000000});
  rt.push(std::int64_t{5000000000});
  NuvNativeObject* wide = rt.create("CP$VarInt", 3);
  EXPECT_EQ(call(wide, "getMin").asInt(), -1073741823);
  EXPECT_EQ(call(wide, "getSize").asInt(), 2147483646);
}

TEST_F(LanguageTest, DomainObject) {
  NuvNativeObject* s = makeStore();
  rt.push(s);
  rt.push(RavIntSet::range(1, 10));
  NuvNativeObject* d = rt.create("CP$Domain", 2);
  std::ostringstream os;
  d->print(os);
  EXPECT_EQ(os.str(), "dom(1 .. 10)");
  call(d, "setValue", 4, false);
  EXPECT_EQ(call(d, "nextValue", 4).asInt(), 5);
  EXPECT_EQ(call(d, "prevValue", 4).asInt(), 3);
  EXPECT_THROW(call(d, "member", 11), PimExecutionError);

  rt.push(RavValue());
  rt.push(RavIntSet::range(1, 10));
  try {
    rt.create("CP$Domain", 2);
    ADD_FAILURE();
  } catch (const PimNullPointerError& e) {
    EXPECT_EQ(e.message(), "solver is null");
    EXPECT_EQ(e.source().file, "Domain constructor");
  }
  rt.push(s);
  rt.push(RavValue());
  EXPECT_EQ(errorOf<PimNullPointerError>([&] { rt.create("CP$Domain", 2); }), "range is null");
}

TEST_F(LanguageTest, TrailIntListShrinksOnBacktrack) {
  NuvNativeObject* s = makeStore();
  rt.push(s);
  NuvNativeObject* l = rt.create("CP$TrailIntList", 1);
  for (int i = 0; i < 10; ++i) call(l, "add", i);
  call(s, "push");
  for (int i = 10; i < 20; ++i) call(l, "add", i);
  EXPECT_EQ(call(l, "size").asInt(), 20);
  call(s, "pop");
  EXPECT_EQ(call(l, "size").asInt(), 10);
  EXPECT_EQ(call(l, "get", 9).asInt(), 9);
  call(l, "add", 42);
  EXPECT_EQ(call(l, "toString").asString(), "[0,1,2,3,4,5,6,7,8,9,42]");
  EXPECT_THROW(call(l, "get", 11), PimExecutionError);
}

TEST_F(LanguageTest, BooleanAndBitVectorVariables) {
  NuvNativeObject* s = makeStore();
  rt.push(s);
  NuvNativeObject* b = rt.create("CP$VarBool", 1);
  EXPECT_EQ(call(b, "toString").asString(), "[false,true]");
  EXPECT_EQ(call(s, "label", b, 1).asInt(), 2);
  EXPECT_EQ(call(b, "getValue").asInt(), 1);
  rt.push(s);
  NuvNativeObject* w = rt.create("CP$BitVar", 1);
  EXPECT_EQ(call(w, "setBit", 3, 1).asInt(), 2);
  EXPECT_TRUE(call(w, "member", 8).asBool());
  EXPECT_EQ(call(w, "bindWord", 9).asInt(), 2);
  EXPECT_EQ(call(w, "getSize").asInt(), 1);
  EXPECT_THROW(call(w, "bindWord", -1), PimExecutionError);
  // The connectives take Booleans only.
  NuvNativeObject* x = makeVar(s, 0, 1);
  rt.push(b);
  rt.push(x);
  rt.push(b);
  EXPECT_EQ(errorOf<PimExecutionError>([&] { rt.create("CP$LogicAnd", 3); }),
            "operator&&: the connectives take var<CP>{bool} variables (CP$VarBool)");
  rt.push(b);
  rt.push(b);
  rt.push(RavValue());
  EXPECT_EQ(errorOf<PimNullPointerError>([&] { rt.create("CP$LogicImply", 3); }),
            "null operator=>(var<CP>{bool},var<CP>{bool})");
}

TEST_F(LanguageTest, SolutionsAndSnapshots) {
  NuvNativeObject* s = makeStore();
  NuvNativeObject* x = makeVar(s, 0, 9);
  call(s, "push");
  call(s, "label", x, 4);
  RavValue sol = call(s, "makeSolution");
  call(s, "pop");
  EXPECT_EQ(call(x, "getSnapshot", sol).asInt(), 4);
  EXPECT_EQ(call(x, "getSnapshotMax", sol).asInt(), 4);
  EXPECT_EQ(errorOf<PimNullPointerError>([&] { call(x, "getSnapshot", RavValue()); }),
            "getSnapshot(null)");
  EXPECT_EQ(errorOf<PimExecutionError>([&] { call(x, "getSnapshot", s); }),
            "getSnapshot requires a solution object");
  EXPECT_EQ(call(x, "getSize").asInt(), 10);
  EXPECT_NE(call(s, "restore", sol).asInt(), 0);
  EXPECT_EQ(call(x, "getValue").asInt(), 4);
}

TEST_F(LanguageTest, StoresAreIndependent) {
  NuvNativeObject* s1 = makeStore();
  NuvNativeObject* s2 = makeStore();
  NuvNativeObject* x = makeVar(s1, 0, 3);
  EXPECT_EQ(errorOf<PimExecutionError>([&] { call(s2, "label", x, 1); }),
            "attempting to label a variable from a different solver.");
  EXPECT_EQ(call(x, "getSize").asInt(), 4);
  EXPECT_EQ(call(s1, "getNbIntVars").asInt(), 1);
  EXPECT_EQ(call(s2, "getNbIntVars").asInt(), 0);
}

TEST_F(LanguageTest, ConstraintClassesSpellTheSignatureOfANullArgument) {
  NuvNativeObject* s = makeStore();
  NuvNativeObject* x = makeVar(s, 0, 9);
  NuvNativeObject* b = makeVar(s, 0, 1);
  auto nullError = [&](const char* cls, std::vector<RavValue> args) {
    return errorOf<PimNullPointerError>([&] { create(cls, std::move(args)); });
  };
  EXPECT_EQ(nullError("CP$Equal", {x, RavValue()}), "operator==(var<CP>{int},null)");
  EXPECT_EQ(nullError("CP$Equal", {RavValue(), x, 3}), "operator==(null,var<CP>{int},int)");
  EXPECT_EQ(nullError("CP$ReifyEqualc", {x, 3, RavValue()}), "null operator==(var<CP>{int},int)");
  EXPECT_EQ(nullError("CP$ReifyEqualc", {RavValue(), 3, b}), "var<CP>{bool} operator==(null,int)");
  EXPECT_EQ(nullError("CP$ReifyLEqual", {x, RavValue(), 2, b}),
            "var<CP>{bool} operator<=(var<CP>{int},null,int)");
  EXPECT_EQ(nullError("CP$LinearEquation", {RavIntArray{1, {1}}, RavValue(), 0}),
            "linearEquation(int[],null,int)");
  RavObjectArray withHole;
  withHole.values = {x, nullptr};
  EXPECT_EQ(nullError("CP$ElementVar", {x, withHole, x}),
            "element(var<CP>{int},null,var<CP>{int})");
  // Wrong argument counts and wrong kinds are execution errors naming them.
  EXPECT_EQ(errorOf<PimExecutionError>([&] { create("CP$SLEqual", {x, x}); }),
            "no constructor of CP$SLEqual takes 2 argument(s)");
  EXPECT_EQ(errorOf<PimExecutionError>([&] {
              create("CP$LinearEquation", {RavIntArray{1, {1, 2}}, RavObjectArray{1, {x}}, 0});
            }),
            "CP$LinearEquation: 2 coefficients for 1 variables");
  EXPECT_EQ(errorOf<PimExecutionError>([&] { create("CP$Equal", {x, s}); }),
            "argument 2: expected a variable, got an object of class CP$Store");
}

TEST_F(LanguageTest, AllDifferentAndCumulativeObjects) {
  NuvNativeObject* s = makeStore();
  NuvNativeObject* x = makeVar(s, 1, 2);
  NuvNativeObject* y = makeVar(s, 1, 2);
  NuvNativeObject* z = makeVar(s, 1, 3);
  const RavObjectArray xyz{1, {x, y, z}};
  EXPECT_EQ(errorOf<PimNullPointerError>([&] { create("CP$AllDiff", {RavValue()}); }),
            "alldifferent(null)");
  EXPECT_EQ(errorOf<PimNullPointerError>([&] { create("CP$AllDiff", {xyz, RavValue()}); }),
            "alldifferent(var<CP>{int}[],null)");
  EXPECT_EQ(errorOf<PimExecutionError>([&] { create("CP$AllDiff", {xyz, "strong"}); }),
            "alldifferent: unknown strength \"strong\" (basic, value, bounds, domain or default)");
  // Domain consistency: x, y take {1, 2}, so z is 3.
  EXPECT_EQ(call(s, "post", create("CP$AllDiff", {xyz, "domain"})).asInt(), 2);
  EXPECT_EQ(call(z, "getMin").asInt(), 3);
  // Shifted: x + 5, y + 5 and z differ; a variable twice fails at once.
  EXPECT_EQ(call(s, "post", create("CP$AllDiff", {xyz, RavIntArray{1, {5, 5, 0}}, "value"})).asInt(), 2);
  EXPECT_EQ(call(s, "post", create("CP$AllDiff", {RavObjectArray{1, {x, x}}})).asInt(), 0);

  NuvNativeObject* t = makeStore();
  NuvNativeObject* s1 = makeVar(t, 0, 5);
  NuvNativeObject* s2 = makeVar(t, 0, 5);
  NuvNativeObject* two = makeVar(t, 2, 2);
  const RavObjectArray starts{1, {s1, s2}}, durations{1, {two, two}};
  EXPECT_EQ(errorOf<PimNullPointerError>([&] { create("CP$TimeTableCstr", {starts, RavValue(), durations, two}); }),
            "cumulative(var<CP>{int}[],null,var<CP>{int}[],var<CP>{int})");
  EXPECT_EQ(errorOf<PimExecutionError>([&] {
              create("CP$TimeTableCstr", {starts, RavObjectArray{1, {two}}, durations, two});
            }),
            "cumulative: the start, duration and demand arrays differ in size");
  // Two tasks of demand 2 under capacity 2 with s1 fixed at 0: s2 >= 2.
  EXPECT_EQ(call(t, "label", s1, 0).asInt(), 2);
  EXPECT_EQ(call(t, "post", create("CP$TimeTableCstr", {starts, durations, durations, two})).asInt(), 2);
  EXPECT_EQ(call(s2, "getMin").asInt(), 2);
  EXPECT_EQ(call(t, "post", create("CP$DiscreteEdgeFinder", {starts, durations, durations, two})).asInt(), 2);
  EXPECT_EQ(errorOf<PimNullPointerError>([&] {
              create("CP$TimeTableMinCapCstr", {starts, durations, durations, RavValue(), 0, 4});
            }),
            "coverage(var<CP>{int}[],var<CP>{int}[],var<CP>{int}[],null,int,int)");
  // s1 = 0 covers [0, 2); s2 (from 2) must cover [2, 4): s2 = 2.
  EXPECT_EQ(call(t, "post", create("CP$TimeTableMinCstr", {starts, durations, durations, 1, 0, 4})).asInt(), 2);
  EXPECT_EQ(call(s2, "getMax").asInt(), 2);
  EXPECT_EQ(errorOf<PimNullPointerError>([&] {
              create("CP$TimeTableCapOptionalCstr", {starts, durations, durations, two, RavValue()});
            }),
            "cumulative(var<CP>{int}[],var<CP>{int}[],var<CP>{int}[],var<CP>{int},null)");
}

TEST_F(LanguageTest, UnaryResourceObjects) {
  NuvNativeObject* s = makeStore();
  // a: start 0..5, duration 5; b: start 0..5, duration 5; x: start 0..19,
  // duration 1: edge finding puts x after both.
  NuvNativeObject* five = makeVar(s, 5, 5);
  NuvNativeObject* one = makeVar(s, 1, 1);
  NuvNativeObject* a = makeVar(s, 0, 5);
  NuvNativeObject* b = makeVar(s, 0, 5);
  NuvNativeObject* x = makeVar(s, 0, 19);
  NuvNativeObject* ae = makeVar(s, 5, 10);
  NuvNativeObject* be = makeVar(s, 5, 10);
  NuvNativeObject* xe = makeVar(s, 1, 20);
  const RavObjectArray starts{1, {a, b, x}}, durations{1, {five, five, one}}, ends{1, {ae, be, xe}};
  EXPECT_EQ(errorOf<PimNullPointerError>([&] { create("CP$EdgeFinder", {starts, RavValue(), ends}); }),
            "EdgeFinder(var<CP>{int}[],null,var<CP>{int}[])");
  EXPECT_EQ(errorOf<PimNullPointerError>([&] { create("CP$NotLastCstr", {starts, durations, ends, RavValue()}); }),
            "NotLastCstr(var<CP>{int}[],var<CP>{int}[],var<CP>{int}[],null)");
  EXPECT_EQ(errorOf<PimExecutionError>([&] { create("CP$NotFirstCstr", {starts, RavObjectArray{1, {one}}, ends}); }),
            "NotFirstCstr: the activity arrays differ in size");
  EXPECT_EQ(errorOf<PimNullPointerError>([&] { create("CP$DisjunctiveCstr", {a, ae, RavValue(), be}); }),
            "DisjunctiveCstr(var<CP>{int},var<CP>{int},null,var<CP>{int})");
  NuvNativeObject* ef = create("CP$EdgeFinder", {starts, durations, ends});
  EXPECT_EQ(errorOf<PimExecutionError>([&] { call(ef, "getGlobalSlack"); }), "EdgeFinder: The constraint is not posted");
  EXPECT_EQ(call(s, "post", ef).asInt(), 2);
  EXPECT_EQ(call(x, "getMin").asInt(), 10);
  // Window [0, 20], durations 11.
  EXPECT_EQ(call(ef, "getGlobalSlack").asInt(), 9);
  EXPECT_EQ(errorOf<PimExecutionError>([&] { call(ef, "getLocalSlack"); }),
            "UnaryResource::getLocalSlack(): The resource is not closed");
  call(ef, "close");
  EXPECT_EQ(call(ef, "getLocalSlack").asInt(), 0);  // a and b fill [0, 10]
  // Every other class builds and posts.
  NuvNativeObject* p = makeVar(s, 0, 1);
  const RavObjectArray presence{1, {p, p, p}};
  for (const char* cls : {"CP$DetectablePrecedencesCstr", "CP$NotFirstCstr", "CP$NotLastCstr"})
    EXPECT_EQ(call(s, "post", create(cls, {starts, durations, ends})).asInt(), 2) << cls;
  for (const char* cls : {"CP$DetectablePrecedencesWOCstr", "CP$NotFirstOptionalCstr", "CP$NotLastOptionalCstr",
                          "CP$OptionalEdgeFinder"})
    EXPECT_EQ(call(s, "post", create(cls, {starts, durations, ends, presence})).asInt(), 2) << cls;
  EXPECT_EQ(call(s, "post", create("CP$DisjunctiveCstr", {a, ae, b, be})).asInt(), 2);
  EXPECT_EQ(call(s, "post", create("CP$OptionalDisjunctiveCstr", {a, ae, p, b, be, p})).asInt(), 2);
  EXPECT_EQ(errorOf<PimExecutionError>([&] {
              create("CP$DisjunctiveTransitionTimesCstr", {a, ae, p, b, be, p, RavIntArray{1, {0, 1, 2}}});
            }),
            "DisjunctiveTransitionTimesCstr: the setup matrix is not square (3 entries)");
  EXPECT_EQ(call(s, "post", create("CP$DisjunctiveTransitionCstr", {a, ae, b, be, 0, 0})).asInt(), 2);
  EXPECT_EQ(call(s, "post", create("CP$DisjunctiveTransitionPrecedenceCstr", {a, ae, b, be, 0, 0, p})).asInt(), 2);
  EXPECT_EQ(call(s, "post", create("CP$DisjunctiveTransitionTimesCstr",
                                   {a, ae, p, b, be, p, RavIntArray{1, {0, 0, 0, 0}}}))
                .asInt(),
            2);
}

TEST_F(LanguageTest, BreakObjects) {
  NuvNativeObject* s = makeStore();
  NuvNativeObject* st = makeVar(s, 0, 9);
  NuvNativeObject* du = makeVar(s, 3, 3);
  NuvNativeObject* en = makeVar(s, 3, 12);
  const RavObjectArray starts{1, {st}}, durations{1, {du}}, ends{1, {en}};
  EXPECT_EQ(errorOf<PimNullPointerError>([&] {
              create("CP$UnaryBreakUR", {starts, durations, ends, RavValue(), RavIntArray{1, {4}}});
            }),
            "UnaryBreakUR(var<CP>{int}[],var<CP>{int}[],var<CP>{int}[],null,int[])");
  EXPECT_EQ(errorOf<PimExecutionError>([&] {
              create("CP$UnaryBreakUR", {starts, durations, ends, RavIntArray{1, {2, 3}}, RavIntArray{1, {4, 5}}});
            }),
            "UnaryBreakUR: break 2 is empty or not after the one before");
  EXPECT_EQ(errorOf<PimExecutionError>([&] { create("CP$UnaryPeriodicBreak", {starts, durations, ends, 0, 5, 5}); }),
            "UnaryPeriodicBreak: a break must be shorter than its period and not empty");
  // Break [2, 4): a duration of 3 starts at 4 at the earliest.
  EXPECT_EQ(call(s, "post", create("CP$UnaryBreakUR", {starts, durations, ends, RavIntArray{1, {2}},
                                                       RavIntArray{1, {4}}}))
                .asInt(),
            2);
  EXPECT_EQ(call(st, "getMin").asInt(), 4);
  EXPECT_EQ(call(s, "post", create("CP$UnaryPeriodicBreakBreakable", {starts, durations, ends, 20, 30, 2})).asInt(),
            2);
  // A precedence graph names activities by the start array's index range.
  NuvNativeObject* st2 = makeVar(s, 0, 20);
  const RavObjectArray two{5, {st, st2}}, twoDurations{5, {du, du}};
  EXPECT_EQ(errorOf<PimExecutionError>([&] {
              create("CP$PrecedenceGraphClosure", {two, twoDurations, RavIntArray{1, {5}}, RavIntArray{1, {7}}});
            }),
            "PrecedenceGraphClosure: arc 1 names activity 7, outside 5..6");
  EXPECT_EQ(call(s, "post", create("CP$PrecedenceGraphClosure",
                                   {two, twoDurations, RavIntArray{1, {5}}, RavIntArray{1, {6}}, RavIntArray{1, {2}}}))
                .asInt(),
            2);
  EXPECT_EQ(call(st2, "getMin").asInt(), 9);  // 4 + 3 + 2
}

TEST_F(LanguageTest, ReservoirObjects) {
  NuvNativeObject* s = makeStore();
  NuvNativeObject* st = makeVar(s, 0, 9);
  NuvNativeObject* du = makeVar(s, 2, 2);
  NuvNativeObject* h = makeVar(s, 0, 5);
  NuvNativeObject* cap = makeVar(s, 0, 3);
  const RavObjectArray one{1, {st}}, durations{1, {du}}, amounts{1, {h}};
  EXPECT_EQ(errorOf<PimNullPointerError>([&] { create("CP$GiveCapacityCstr", {one, durations, amounts, 0, RavValue()}); }),
            "GiveCapacityCstr(var<CP>{int}[],var<CP>{int}[],var<CP>{int}[],int,null)");
  EXPECT_EQ(errorOf<PimExecutionError>([&] {
              create("CP$TakeMinCapacityCstr", {one, RavObjectArray{1, {du, du}}, amounts, 0, cap});
            }),
            "TakeMinCapacityCstr: the start, duration and amount arrays differ in size");
  // A gift into a store of 1 with room for 3: at most 2.
  EXPECT_EQ(call(s, "post", create("CP$GiveCapacityCstr", {one, durations, amounts, 1, cap})).asInt(), 2);
  EXPECT_EQ(call(h, "getMax").asInt(), 2);
  // A take from a stock of 2 that must keep 1: at most 1.
  EXPECT_EQ(call(s, "post", create("CP$TakeMinCapacityCstr", {one, durations, amounts, 2, makeVar(s, 1, 1)})).asInt(),
            2);
  EXPECT_EQ(call(h, "getMax").asInt(), 1);
  // From an empty store nothing can be taken.
  EXPECT_EQ(call(s, "post", create("CP$TakeCapacityCstr", {one, durations, amounts, 0, cap})).asInt(), 2);
  EXPECT_EQ(call(h, "getMax").asInt(), 0);
}

TEST_F(LanguageTest, RankObjects) {
  NuvNativeObject* s = makeStore();
  // Two activities named 1 and 2; a must start at 0 and b by 1, both last 2.
  NuvNativeObject* a = makeVar(s, 0, 0);
  NuvNativeObject* b = makeVar(s, 0, 5);
  NuvNativeObject* d = makeVar(s, 2, 2);
  const RavObjectArray st{1, {a, b}}, du{1, {d, d}}, en{1, {makeVar(s, 0, 9), makeVar(s, 0, 9)}};
  NuvNativeObject* first = makeVar(s, 0, 5);
  EXPECT_EQ(errorOf<PimNullPointerError>([&] { create("CP$RankFirstCstr", {st, du, en, RavValue()}); }),
            "RankFirstCstr(var<CP>{int}[],var<CP>{int}[],var<CP>{int}[],null)");
  EXPECT_EQ(errorOf<PimExecutionError>([&] {
              create("CP$RankTransitionCstr", {st, du, en, RavObjectArray{1, {first, first}}, RavIntArray{1, {0, 2}},
                                               RavIntArray{1, {0, 1, 1, 0}}});
            }),
            "RankTransitionCstr: activity 2 has type 2, outside 0..1");
  EXPECT_EQ(errorOf<PimExecutionError>([&] {
              create("CP$RankTransitionSuccCstr", {st, du, en, RavObjectArray{1, {first, first}},
                                                   RavObjectArray{1, {first, first}}, RavIntArray{1, {0, 0}},
                                                   RavIntArray{1, {0, 1, 1}}});
            }),
            "RankTransitionSuccCstr: the setup matrix is not square (3 entries)");
  EXPECT_EQ(call(s, "post", create("CP$RankFirstCstr", {st, du, en, first})).asInt(), 2);
  EXPECT_EQ(call(first, "getMin").asInt(), 1);  // activities are named from the array's low index
  EXPECT_EQ(call(first, "getMax").asInt(), 1);  // b cannot end by a's start 0
  EXPECT_EQ(call(b, "getMin").asInt(), 2);
  NuvNativeObject* ra = makeVar(s, 0, 5);
  NuvNativeObject* rb = makeVar(s, 0, 5);
  EXPECT_EQ(call(s, "post", create("CP$RankCstr", {st, du, en, RavObjectArray{1, {ra, rb}}})).asInt(), 2);
  EXPECT_EQ(call(ra, "getMax").asInt(), 0);
  EXPECT_EQ(call(rb, "getMin").asInt(), 1);
}

TEST_F(LanguageTest, ResourceObjects) {
  NuvNativeObject* s = makeStore();
  // A resource of capacity 1 joined by two activities of 3: the second,
  // fixed at 0, pushes the first to 3.
  NuvNativeObject* tt = create("CP$TimeTable", {makeVar(s, 1, 1)});
  NuvNativeObject* a = makeVar(s, 0, 9);
  NuvNativeObject* three = makeVar(s, 3, 3);
  NuvNativeObject* one = makeVar(s, 1, 1);
  call(tt, "add", {a, three, one});
  call(tt, "add", {makeVar(s, 0, 0), three, one});
  EXPECT_EQ(call(tt, "size").asInt(), 2);
  EXPECT_EQ(errorOf<PimNullPointerError>([&] { call(tt, "add", {a, RavValue(), one}); }),
            "add(var<CP>{int},null,var<CP>{int})");
  EXPECT_EQ(call(s, "post", tt).asInt(), 2);
  EXPECT_EQ(call(a, "getMin").asInt(), 3);
  EXPECT_EQ(errorOf<PimExecutionError>([&] { call(tt, "add", {a, three, one}); }),
            "TimeTable: the resource is posted; no activity can join it");
  // CPPEA: activities named from the array's low index.
  NuvNativeObject* b = makeVar(s, 0, 9);
  NuvNativeObject* c = makeVar(s, 0, 9);
  const RavObjectArray st{1, {b, c}}, du{1, {three, three}}, de{1, {one, one}};
  EXPECT_EQ(errorOf<PimExecutionError>([&] {
              create("CPPEA", {st, du, de, 0, RavIntArray{1, {1}}, RavIntArray{1, {2}}});
            }),
            "CPPEA: the capacity 0 is not positive");
  EXPECT_EQ(errorOf<PimExecutionError>([&] {
              create("CPPEA", {st, du, de, 2, RavIntArray{1, {1}}, RavIntArray{1, {3}}});
            }),
            "CPPEA: arc 1 names activity 3, outside 1..2");
  EXPECT_EQ(errorOf<PimNullPointerError>([&] { create("CPPEA", {st, du, RavValue(), 2, RavIntArray{1, {1}}, RavIntArray{1, {2}}}); }),
            "CPPEA(var<CP>{int}[],var<CP>{int}[],null,int,int[],int[])");
  EXPECT_EQ(call(s, "post", create("CPPEA", {st, du, de, 2, RavIntArray{1, {1}}, RavIntArray{1, {2}}})).asInt(), 2);
  EXPECT_EQ(call(c, "getMin").asInt(), 3);
  EXPECT_EQ(call(b, "getMax").asInt(), 6);
}

TEST_F(LanguageTest, AutomatonObjects) {
  NuvNativeObject* s = makeStore();
  // Words over {1, 2} without two 2s in a row.
  const RavIntArray delta{1, {1, 2, 1, 0}}, finals{1, {1, 2}};
  EXPECT_EQ(errorOf<PimExecutionError>([&] { create("CP$Automaton", {2, 2, RavIntArray{1, {1, 2, 1}}, 1, finals}); }),
            "automaton: 3 transitions for 2 states and 2 symbols");
  EXPECT_EQ(errorOf<PimExecutionError>([&] { create("CP$Automaton", {2, 2, RavIntArray{1, {1, 2, 3, 0}}, 1, finals}); }),
            "automaton: state 2 goes to state 3 on symbol 1, outside 0..2");
  EXPECT_EQ(errorOf<PimExecutionError>([&] { create("CP$Automaton", {2, 2, delta, 3, finals}); }),
            "automaton: initial state 3 outside 1..2");
  NuvNativeObject* a = create("CP$Automaton", {2, 2, delta, 1, finals});
  EXPECT_EQ(call(a, "getStates").asInt(), 2);
  EXPECT_EQ(call(a, "accepts", RavIntArray{1, {2, 1, 2}}).asInt(), 1);
  EXPECT_EQ(call(a, "accepts", RavIntArray{1, {1, 2, 2}}).asInt(), 0);
  NuvNativeObject* x = makeVar(s, 2, 2);
  NuvNativeObject* y = makeVar(s, 0, 5);
  const RavObjectArray xy{1, {x, y}};
  EXPECT_EQ(errorOf<PimNullPointerError>([&] { create("CP$Regular", {xy, RavValue()}); }),
            "Regular(var<CP>{int}[],null)");
  EXPECT_EQ(errorOf<PimExecutionError>([&] { create("CP$CostRegular", {xy, a, RavIntArray{1, {1}}, y}); }),
            "CostRegular: 1 costs for 4 transitions");
  EXPECT_EQ(call(s, "post", create("CP$Regular", {xy, a})).asInt(), 2);
  EXPECT_EQ(call(y, "getMax").asInt(), 1);  // after a 2 only a 1
  NuvNativeObject* cost = makeVar(s, 0, 9);
  EXPECT_EQ(call(s, "post", create("CP$CostRegular", {xy, a, RavIntArray{1, {0, 5, 1, 0}}, cost})).asInt(), 2);
  EXPECT_EQ(call(cost, "getMin").asInt(), 6);  // 1 -2-> 2 costs 5, 2 -1-> 1 costs 1
}

TEST_F(LanguageTest, CardinalityObjects) {
  NuvNativeObject* s = makeStore();
  NuvNativeObject* a = makeVar(s, 1, 2);
  NuvNativeObject* b = makeVar(s, 1, 2);
  NuvNativeObject* c = makeVar(s, 1, 3);
  const RavObjectArray x{1, {a, b, c}};
  EXPECT_EQ(errorOf<PimExecutionError>([&] {
              create("CP$Cardinality", {x, RavIntArray{1, {1, 1}}, RavIntArray{1, {0, 0}}, RavIntArray{1, {1, 1}}});
            }),
            "Cardinality: value 1 is listed twice");
  EXPECT_EQ(errorOf<PimExecutionError>([&] {
              create("CP$Cardinality", {x, RavIntArray{1, {1, 2}}, RavObjectArray{1, {a}}});
            }),
            "Cardinality: the value and count arrays differ in size");
  EXPECT_EQ(errorOf<PimNullPointerError>([&] { create("CP$Cardinality", {x, RavValue(), RavObjectArray{1, {a}}}); }),
            "Cardinality(var<CP>{int}[],null,var<CP>{int}[])");
  // 1 and 2 exactly once each, closed over 1..3: c takes 3.
  EXPECT_EQ(call(s, "post", create("CP$Cardinality", {x, RavIntArray{1, {1, 2, 3}}, RavIntArray{1, {1, 1, 0}},
                                                       RavIntArray{1, {1, 1, 3}}, 1}))
                .asInt(),
            2);
  EXPECT_EQ(call(c, "getMin").asInt(), 3);
  NuvNativeObject* n1 = makeVar(s, 0, 5);
  EXPECT_EQ(call(s, "post", create("CP$Cardinality", {x, RavIntArray{1, {3}}, RavObjectArray{1, {n1}}})).asInt(), 2);
  EXPECT_EQ(call(n1, "getMin").asInt(), 1);
  EXPECT_EQ(call(n1, "getMax").asInt(), 1);
  // Soft: value 1 wanted three times among a, b (both 1 or 2): short by 1
  // at least.
  NuvNativeObject* v = makeVar(s, 0, 9);
  EXPECT_EQ(call(s, "post", create("CP$SoftCardinality", {RavObjectArray{1, {a, b}}, RavIntArray{1, {1}},
                                                           RavIntArray{1, {3}}, RavIntArray{1, {3}}, v}))
                .asInt(),
            2);
  EXPECT_EQ(call(v, "getMin").asInt(), 1);
}

TEST_F(LanguageTest, LexObjects) {
  NuvNativeObject* s = makeStore();
  NuvNativeObject* a = makeVar(s, 0, 5);
  NuvNativeObject* b = makeVar(s, 2, 2);
  EXPECT_EQ(errorOf<PimNullPointerError>([&] { create("CP$LexLeq", {RavValue(), RavObjectArray{1, {b}}}); }),
            "LexLeq(null,var<CP>{int}[])");
  // [a] <lex [b]: a < 2.
  EXPECT_EQ(call(s, "post", create("CP$LexLeq", {RavObjectArray{1, {a}}, RavObjectArray{1, {b}}, 1})).asInt(), 2);
  EXPECT_EQ(call(a, "getMax").asInt(), 1);
}

TEST_F(LanguageTest, SoftCountObjects) {
  NuvNativeObject* s = makeStore();
  NuvNativeObject* a = makeVar(s, 0, 1);
  NuvNativeObject* b = makeVar(s, 0, 1);
  NuvNativeObject* v = makeVar(s, 0, 9);
  const RavObjectArray x{1, {a, b}};
  EXPECT_EQ(errorOf<PimNullPointerError>([&] { create("CP$SoftAtMost", {x, RavIntArray{1, {1}}, 1, RavValue()}); }),
            "SoftAtMost(var<CP>{int}[],int[],int,null)");
  // At least 3 ones among two: the violation is 1 at least, 3 at most.
  EXPECT_EQ(call(s, "post", create("CP$SoftAtLeast", {x, RavIntArray{1, {1}}, 3, v})).asInt(), 2);
  EXPECT_EQ(call(v, "getMin").asInt(), 1);
  EXPECT_EQ(call(v, "getMax").asInt(), 3);
  // At most none: no violation allowed, so both are 0.
  EXPECT_EQ(call(s, "post", create("CP$SoftAtMost", {x, RavIntArray{1, {1}}, 0, makeVar(s, 0, 0)})).asInt(), 2);
  EXPECT_EQ(call(a, "getMax").asInt(), 0);
  EXPECT_EQ(call(v, "getMin").asInt(), 3);
  // At least 3 distinct values among a and b (both 0 now): fails.
  EXPECT_EQ(errorOf<PimNullPointerError>([&] { create("CP$AtLeastNValue", {x, RavValue()}); }),
            "AtLeastNValue(var<CP>{int}[],null)");
  EXPECT_EQ(call(s, "post", create("CP$AtLeastNValue", {x, makeVar(s, 2, 3)})).asInt(), 0);
}

TEST_F(LanguageTest, SequenceObjects) {
  NuvNativeObject* s = makeStore();
  NuvNativeObject* a = makeVar(s, 0, 3);
  NuvNativeObject* b = makeVar(s, 3, 3);
  NuvNativeObject* c = makeVar(s, 0, 3);
  const RavObjectArray x{1, {a, b, c}};
  EXPECT_EQ(errorOf<PimExecutionError>([&] { create("CP$SequenceLink", {x, 0, 4, 0}); }),
            "SequenceLink: the window length 0 is not positive");
  EXPECT_EQ(errorOf<PimExecutionError>([&] {
              create("CP$Stretch", {x, RavIntArray{1, {1, 1}}, RavIntArray{1, {1, 1}}, RavIntArray{1, {2, 2}}});
            }),
            "Stretch: the values must be distinct, the lengths 1 <= shortest <= longest, the values spanning fewer "
            "than 65536");
  // Pairs sum to at most 4 around a 3: a and c at most 1.
  EXPECT_EQ(call(s, "post", create("CP$SequenceLink", {x, 0, 4, 2})).asInt(), 2);
  EXPECT_EQ(call(a, "getMax").asInt(), 1);
  // Runs of 3 exactly 1 long, of 0 or 1 any length up to 3: a and c are
  // not 3 (next to b's 3).
  EXPECT_EQ(call(s, "post", create("CP$Stretch", {x, RavIntArray{1, {0, 1, 3}}, RavIntArray{1, {1, 1, 1}},
                                                   RavIntArray{1, {3, 3, 1}}}))
                .asInt(),
            2);
  EXPECT_EQ(call(c, "getMax").asInt(), 1);
}

TEST_F(LanguageTest, FunctionalTableObjects) {
  NuvNativeObject* s = makeStore();
  // y = x0 + x1 over {0, 1}, and (y0, y1) = (x, -x).
  const RavIntArray sum{1, {0, 0, 0, 0, 1, 1, 1, 0, 1, 1, 1, 2}};
  EXPECT_EQ(errorOf<PimExecutionError>([&] { create("CP$FunctionalTable", {2, RavIntArray{1, {0, 0, 0, 0, 0, 1}}}); }),
            "FunctionalTable: row 2 gives its inputs a second output");
  EXPECT_EQ(errorOf<PimExecutionError>([&] { create("CP$FunctionalTable", {2, RavIntArray{1, {0, 0}}}); }),
            "FunctionalTable: 2 values do not make rows of 3");
  NuvNativeObject* f = create("CP$FunctionalTable", {2, sum});
  EXPECT_EQ(call(f, "getSize").asInt(), 4);
  NuvNativeObject* a = makeVar(s, 1, 1);
  NuvNativeObject* b = makeVar(s, 0, 1);
  NuvNativeObject* y = makeVar(s, 0, 9);
  EXPECT_EQ(errorOf<PimExecutionError>([&] {
              create("CP$FunctionalTableCstr", {RavObjectArray{1, {a}}, y, f});
            }),
            "FunctionalTableCstr: 1 inputs and 1 outputs for a table of 2 and 1");
  EXPECT_EQ(call(s, "post", create("CP$FunctionalTableCstr", {RavObjectArray{1, {a, b}}, y, f})).asInt(), 2);
  EXPECT_EQ(call(y, "getMin").asInt(), 1);
  EXPECT_EQ(call(y, "getMax").asInt(), 2);
  NuvNativeObject* m = create("CP$MultiFunctionalTable", {1, 2, RavIntArray{1, {0, 0, 0, 1, 1, -1}}});
  NuvNativeObject* p = makeVar(s, -5, 5);
  NuvNativeObject* q = makeVar(s, -5, 5);
  EXPECT_EQ(call(s, "post", create("CP$MultiFunctionalTableCstr", {RavObjectArray{1, {a}}, RavObjectArray{1, {p, q}}, m}))
                .asInt(),
            2);
  EXPECT_EQ(call(q, "getMax").asInt(), -1);
  // A pair as one value: z = 1 * 3 + b.
  NuvNativeObject* z = makeVar(s, 0, 20);
  EXPECT_EQ(errorOf<PimExecutionError>([&] { create("CP$Pair", {a, b, z, 0}); }), "Pair: the width 0 is not positive");
  EXPECT_EQ(call(s, "post", create("CP$Pair", {a, b, z, 3})).asInt(), 2);
  EXPECT_EQ(call(z, "getMin").asInt(), 3);
  EXPECT_EQ(call(z, "getMax").asInt(), 4);
  EXPECT_EQ(call(s, "post", create("CP$pairLink", {RavObjectArray{1, {a}}, RavObjectArray{1, {b}},
                                                   RavObjectArray{1, {makeVar(s, 4, 9)}}, 3}))
                .asInt(),
            2);
  EXPECT_EQ(call(b, "getMin").asInt(), 1);
}

TEST_F(LanguageTest, BalanceObjects) {
  NuvNativeObject* s = makeStore();
  NuvNativeObject* a = makeVar(s, 0, 6);
  NuvNativeObject* b = makeVar(s, 0, 6);
  NuvNativeObject* c = makeVar(s, 0, 100);
  EXPECT_EQ(errorOf<PimNullPointerError>([&] { create("CP$Spread", {RavObjectArray{1, {a, b}}, 6, RavValue()}); }),
            "Spread(var<CP>{int}[],int,null)");
  // a + b = 6 with |2a - 6| + |2b - 6| <= 4: each term within 4, so each
  // within 1..5 (the sum would say 2..4: the terms are bounded one at a
  // time).
  EXPECT_EQ(call(s, "post", create("CP$Deviation", {RavObjectArray{1, {a, b}}, 6, c})).asInt(), 2);
  EXPECT_EQ(call(c, "getMax").asInt(), 12);
  EXPECT_EQ(call(s, "post", create("CP$LEqualc", {c, 4})).asInt(), 2);
  EXPECT_EQ(call(a, "getMin").asInt(), 1);
  EXPECT_EQ(call(b, "getMax").asInt(), 5);
}

// A script's constraint: x != 3, propagated by the script itself. It
// counts the calls the store makes.
int gScriptCalls = 0;
RavValue scriptPropagate(RavRuntime&, NuvNativeObject*, int) {
  ++gScriptCalls;
  return RavValue(2);
}
RavValue scriptUpdateMin(RavRuntime&, NuvNativeObject*, int) {
  ++gScriptCalls;
  return RavValue(2);
}
const RavMethod kScriptMethods[] = {{"propagate", scriptPropagate, 0, 0}, {"updateMin", scriptUpdateMin, 2, 2}};
struct ScriptFactory : NuvInstanceFactory {
  using NuvInstanceFactory::NuvInstanceFactory;
  const char* getName() const override { return "Script"; }
  NuvNativeObject* instantiate(PimAllocator* a, const NuvNativeClass* c) override {
    return new (a) NuvNativeObject(a, c);
  }
  const RavMethodTable* methods() const override { return &table; }
  RavMethodTable table{kScriptMethods, 2};
};

TEST_F(LanguageTest, AdapterPostsTheScriptsOwnConstraint) {
  ScriptFactory factory(nullptr);
  program.addClass("Script", &factory);
  NuvNativeObject* s = makeStore();
  NuvNativeObject* x = makeVar(s, 0, 9);
  NuvNativeObject* script = rt.create("Script", 0);
  auto create = [&](std::vector<RavValue> args) {
    for (RavValue& a : args) rt.push(std::move(a));
    return rt.create("CP$Adapter", static_cast<int>(args.size()));
  };
  EXPECT_EQ(errorOf<PimNullPointerError>([&] { create({RavValue()}); }), "Adapter(null)");
  gScriptCalls = 0;
  EXPECT_EQ(call(s, "post", create({script, RavObjectArray{1, {x}}})).asInt(), 2);
  // A change to x reaches the script: its updateMin, then its propagate.
  const int before = gScriptCalls;
  rt.push(x);
  rt.push(4);
  EXPECT_EQ(call(s, "post", rt.create("CP$GEqualc", 2)).asInt(), 2);
  EXPECT_GT(gScriptCalls, before);
}

TEST_F(LanguageTest, ShavingObjects) {
  NuvNativeObject* s = makeStore();
  // Two tasks of 3 that must end by 6, one of them (b) not before 1.
  NuvNativeObject* a = makeVar(s, 0, 3);
  NuvNativeObject* b = makeVar(s, 1, 3);
  NuvNativeObject* d = makeVar(s, 3, 3);
  NuvNativeObject* ea = makeVar(s, 0, 6);
  NuvNativeObject* eb = makeVar(s, 0, 6);
  EXPECT_EQ(errorOf<PimNullPointerError>([&] { create("CP$Shaving", {RavValue()}); }), "Shaving(null)");
  EXPECT_EQ(errorOf<PimNullPointerError>([&] {
              create("CP$ShavingEdgeFinder", {RavObjectArray{1, {a, b}}, RavValue(), RavObjectArray{1, {ea, eb}}});
            }),
            "ShavingEdgeFinder(var<CP>{int}[],null,var<CP>{int}[])");
  EXPECT_EQ(errorOf<PimExecutionError>([&] {
              create("CP$ShavingEdgeFinder",
                     {RavObjectArray{1, {a, b}}, RavObjectArray{1, {d}}, RavObjectArray{1, {ea, eb}}});
            }),
            "ShavingEdgeFinder: the activity arrays differ in size");
  EXPECT_EQ(call(s, "post", create("CP$ShavingEdgeFinder",
                                   {RavObjectArray{1, {a, b}}, RavObjectArray{1, {d, d}}, RavObjectArray{1, {ea, eb}}}))
                .asInt(),
            2);
  // b cannot start at 1 or 2 (a would have no room before it, and none
  // after it within 6): b = 3, a = 0.
  EXPECT_EQ(call(b, "getMin").asInt(), 3);
  EXPECT_EQ(call(a, "getMax").asInt(), 0);
  NuvNativeObject* x = makeVar(s, 0, 5);
  EXPECT_EQ(call(s, "post", create("CP$Shaving", {RavObjectArray{1, {x}}})).asInt(), 2);
}

TEST_F(LanguageTest, SuccessorGraphObjects) {
  NuvNativeObject* s = makeStore();
  EXPECT_EQ(errorOf<PimNullPointerError>([&] { create("CP$circuit", {RavValue()}); }), "circuit(null)");
  EXPECT_EQ(errorOf<PimNullPointerError>([&] { create("CP$NoCycle", {RavValue()}); }), "NoCycle(null)");
  // Nodes named 0..2 by the array's index range: 0 -> 1 leaves 1 -> 2
  // and 2 -> 0.
  NuvNativeObject* a = makeVar(s, 1, 1);
  NuvNativeObject* b = makeVar(s, -5, 5);
  NuvNativeObject* c = makeVar(s, -5, 5);
  EXPECT_EQ(call(s, "post", create("CP$circuit", {RavObjectArray{0, {a, b, c}}})).asInt(), 2);
  EXPECT_EQ(call(b, "getMin").asInt(), 2);
  EXPECT_EQ(call(c, "getMax").asInt(), 0);
  // No cycle over nodes 1..2 with 1 -> 2: 2 may not go back to 1 (nor to
  // itself), any other value ends the path.
  NuvNativeObject* d = makeVar(s, 2, 2);
  NuvNativeObject* e = makeVar(s, 1, 3);
  EXPECT_EQ(call(s, "post", create("CP$NoCycle", {RavObjectArray{1, {d, e}}})).asInt(), 2);
  EXPECT_EQ(call(e, "getMin").asInt(), 3);
}

TEST_F(LanguageTest, BinPackingObjects) {
  NuvNativeObject* s = makeStore();
  NuvNativeObject* a = makeVar(s, 0, 9);
  NuvNativeObject* b = makeVar(s, 0, 9);
  NuvNativeObject* l0 = makeVar(s, 0, 4);
  NuvNativeObject* l1 = makeVar(s, 0, 9);
  const RavObjectArray items{1, {a, b}}, loads{0, {l0, l1}};
  EXPECT_EQ(errorOf<PimNullPointerError>([&] { create("CP$BinPacking", {RavValue(), RavIntArray{1, {1}}, loads}); }),
            "BinPacking(null,int[],var<CP>{int}[])");
  EXPECT_EQ(errorOf<PimExecutionError>([&] { create("CP$BinPackingLB", {items, RavIntArray{1, {1}}, loads}); }),
            "BinPackingLB: 2 items and 1 weights");
  EXPECT_EQ(errorOf<PimExecutionError>([&] { create("CP$BinPacking", {items, RavIntArray{1, {1, -2}}, loads}); }),
            "BinPacking: the weight -2 is negative");
  // Bins 0 and 1; the 5 does not fit bin 0 (at most 4).
  EXPECT_EQ(call(s, "post", create("CP$BinPackingLB", {items, RavIntArray{1, {5, 3}}, loads})).asInt(), 2);
  EXPECT_EQ(call(a, "getMin").asInt(), 1);
  EXPECT_EQ(call(b, "getMax").asInt(), 1);
  EXPECT_EQ(call(l1, "getMin").asInt(), 5);
}

TEST_F(LanguageTest, KnapsackObjects) {
  NuvNativeObject* s = makeStore();
  NuvNativeObject* a = makeVar(s, 0, 1);
  NuvNativeObject* b = makeVar(s, 0, 1);
  NuvNativeObject* load = makeVar(s, 1, 7);
  const RavObjectArray x{1, {a, b}};
  EXPECT_EQ(errorOf<PimNullPointerError>([&] { create("CP$BinaryKnapsackAC", {x, RavIntArray{1, {1, 2}}, RavValue()}); }),
            "BinaryKnapsackAC(var<CP>{int}[],int[],null)");
  EXPECT_EQ(errorOf<PimExecutionError>([&] { create("CP$LightBinaryKnapsack", {x, RavIntArray{1, {1}}, load}); }),
            "LightBinaryKnapsack: 2 variables and 1 weights");
  EXPECT_EQ(errorOf<PimExecutionError>([&] {
              create("CP$SparseBinaryKnapsackAC", {x, RavIntArray{1, {1, -1}}, load});
            }),
            "SparseBinaryKnapsackAC: the weight -1 is negative");
  // 3a + 5b in 1..7: the sums 3 and 5 only; one of them is in.
  EXPECT_EQ(call(s, "post", create("CP$BinaryKnapsackAC", {x, RavIntArray{1, {3, 5}}, load})).asInt(), 2);
  EXPECT_EQ(call(load, "getMin").asInt(), 3);
  EXPECT_EQ(call(load, "getMax").asInt(), 5);
  EXPECT_EQ(call(load, "getSize").asInt(), 2);
}

TEST_F(LanguageTest, MinAssignmentObjects) {
  NuvNativeObject* s = makeStore();
  NuvNativeObject* a = makeVar(s, 0, 9);
  NuvNativeObject* b = makeVar(s, 0, 9);
  NuvNativeObject* z = makeVar(s, 0, 100);
  const RavObjectArray x{0, {a, b}};
  const RavIntArray c{0, {4, 1, 2, 8}};
  EXPECT_EQ(errorOf<PimNullPointerError>([&] { create("CP$MinAssignment", {x, c, RavValue()}); }),
            "minAssignment(var<CP>{int}[],int[,],null)");
  EXPECT_EQ(errorOf<PimNullPointerError>([&] { create("CP$MinAssignment", {RavValue(), c, z}); }),
            "minAssignment(null,int[,],var<CP>{int})");
  EXPECT_EQ(errorOf<PimExecutionError>([&] { create("CP$MinAssignment", {x, RavIntArray{0, {1, 2, 3}}, z}); }),
            "minAssignment: 3 costs for 2 rows (the rows need as many columns at least)");
  // Columns 0 and 1: a = 1, b = 0 costs 3, the other way 12.
  EXPECT_EQ(call(s, "post", create("CP$MinAssignment", {x, c, z})).asInt(), 2);
  EXPECT_EQ(call(z, "getMin").asInt(), 3);
  EXPECT_EQ(call(z, "getMax").asInt(), 12);
  EXPECT_EQ(call(a, "getMax").asInt(), 1);
}

TEST_F(LanguageTest, SpanningTreeObjects) {
  NuvNativeObject* s = makeStore();
  NuvNativeObject* a = makeVar(s, 0, 1);
  NuvNativeObject* b = makeVar(s, 0, 1);
  NuvNativeObject* c = makeVar(s, 0, 1);
  NuvNativeObject* z = makeVar(s, 0, 100);
  const RavObjectArray e{1, {a, b, c}};
  const RavIntArray from{1, {1, 2, 1}}, to{1, {2, 3, 3}}, w{1, {1, 2, 9}};
  EXPECT_EQ(errorOf<PimNullPointerError>([&] { create("CP$MinSpanningTree", {3, from, to, w, e, RavValue()}); }),
            "MinSpanningTree(int,int[],int[],int[],var<CP>{int}[],null)");
  EXPECT_EQ(errorOf<PimExecutionError>([&] {
              create("CP$MinSpanningTree", {3, from, RavIntArray{1, {2, 4, 3}}, w, e, z});
            }),
            "MinSpanningTree: edge 2 names node 4, outside 1..3");
  // A triangle of weights 1, 2, 9, the tree at most 9: the heavy edge in
  // any tree weighs 10 at least, so only the light pair is left.
  NuvNativeObject* small = makeVar(s, 0, 9);
  EXPECT_EQ(call(s, "post", create("CP$MinSpanningTree", {3, from, to, w, e, small})).asInt(), 2);
  EXPECT_EQ(call(small, "getMin").asInt(), 3);
  EXPECT_EQ(call(small, "getMax").asInt(), 3);
  EXPECT_EQ(call(c, "getMax").asInt(), 0);
  EXPECT_EQ(call(a, "getMin").asInt(), 1);
}

TEST_F(LanguageTest, PostingBuildsPropagatorsAndHandlesNameTheirClass) {
  NuvNativeObject* s = makeStore();
  NuvNativeObject* x = makeVar(s, 0, 9);
  NuvNativeObject* y = makeVar(s, 0, 9);
  rt.push(x);
  rt.push(y);
  rt.push(4);
  NuvNativeObject* c = rt.create("CP$Equal", 3);
  EXPECT_EQ(call(s, "post", c).asInt(), 2);
  EXPECT_EQ(call(x, "getMin").asInt(), 4);
  EXPECT_EQ(call(y, "getMax").asInt(), 5);
  // A constraint posted to a store its variables do not belong to.
  NuvNativeObject* other = makeStore();
  EXPECT_THROW(call(other, "post", c), PimExecutionError);
  // The handle of a built propagator is an object of its native class.
  NuvCPMakeHandle maker(rt);
  NuvCPDaemonI* p = static_cast<NuvCPCstr*>(c)->build(static_cast<NuvCPManager*>(s)->store());
  NuvNativeObject* h = maker.makeHandle(p);
  ASSERT_NE(h, nullptr);
  EXPECT_EQ(h->nativeClass()->name(), "CP$Equal");
  EXPECT_EQ(static_cast<NuvCPCstrHandle*>(h)->cstr(), p);
  EXPECT_EQ(maker.makeHandle(nullptr), nullptr);
  // Scheduling propagators name the class they were built for, also where
  // one propagator type serves several classes.
  NuvNativeObject* d = makeVar(s, 1, 1);
  NuvNativeObject* present = makeVar(s, 0, 1);
  const RavObjectArray st{1, {x, y}}, du{1, {d, d}}, pr{1, {present, present}};
  const std::pair<const char*, std::vector<RavValue>> built[] = {
      {"CP$GiveMinCapacityCstr", {st, du, du, 0, x}},
      {"CP$RankOptionalCstr", {st, du, st, pr, st}},
      {"CP$UnaryPeriodicBreakBreakable", {st, du, st, 0, 5, 1}},
      {"CP$Shaving", {st}},
      {"CP$ShavingEdgeFinder", {st, du, st}},
      {"CPPEA", {st, du, du, 1, RavIntArray{1, {1}}, RavIntArray{1, {2}}}},
      {"CP$NotLastOptionalCstr", {st, du, st, pr}},
      {"CP$DiscreteEdgeFinder", {st, du, du, d}},
      {"CP$TimeTableMinCstr", {st, du, du, 1, 0, 4}},
      {"CP$circuit", {st}},
      {"CP$NoCycle", {st}},
      {"CP$BinPacking", {st, RavIntArray{1, {1, 2}}, st}},
      {"CP$BinPackingLB", {st, RavIntArray{1, {1, 2}}, st}},
      {"CP$BinaryKnapsackAC", {pr, RavIntArray{1, {1, 2}}, x}},
      {"CP$SparseBinaryKnapsackAC", {pr, RavIntArray{1, {1, 2}}, x}},
      {"CP$LightBinaryKnapsack", {pr, RavIntArray{1, {1, 2}}, x}},
      {"CP$MinAssignment", {st, RavIntArray{1, {1, 2, 3, 4}}, x}},
      {"CP$MinSpanningTree", {2, RavIntArray{1, {1}}, RavIntArray{1, {2}}, RavIntArray{1, {5}}, RavObjectArray{1, {present}}, x}},
  };
  for (const auto& [cls, args] : built) {
    NuvCPDaemonI* q = static_cast<NuvCPCstr*>(create(cls, args))->build(static_cast<NuvCPManager*>(s)->store());
    NuvNativeObject* hq = maker.makeHandle(q);
    ASSERT_NE(hq, nullptr) << cls;
    EXPECT_EQ(hq->nativeClass()->name(), cls);
  }
}

}  // namespace
