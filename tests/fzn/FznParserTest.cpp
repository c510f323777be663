#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "fzn/FznParser.h"

namespace {

std::string dataFile(const char* name) { return std::string(NUVFD_FZN_TEST_DATA) + "/" + name; }

const FznExpr& valueOf(const FznModel& m, const char* name) {
  const FznDecl* d = m.find(name);
  EXPECT_NE(d, nullptr) << name;
  return *d->value;
}

template <class T>
std::string symbolName(const FznModel& m, const T& e) {
  return m.name(e.symbol);
}

// --- FlatZinc written by minizinc from our models in tests/fzn/data ---

TEST(FznReadMinizinc, QueensWithStdDecompositions) {
  FznModel m = parseFznFile(dataFile("queens.fzn"));
  EXPECT_TRUE(m.predicates.empty());
  ASSERT_EQ(m.decls.size(), 8u);
  EXPECT_EQ(m.constraints.size(), 45u);
  EXPECT_EQ(symbolName(m, m.constraints[0]), "int_lin_ne") << "constraint names are interned";
  EXPECT_EQ(m.intArrayValue(m.constraints[0].args[0]), (std::vector<std::int64_t>{1, -1}));

  const FznDecl& q = *m.find("q");
  EXPECT_TRUE(q.isVar() && q.isArray());
  const FznExpr* out = m.findAnnotation(q.annotations, "output_array");
  ASSERT_NE(out, nullptr);
  ASSERT_EQ(out->kind, FznExprKind::Call);
  auto dims = m.arrayElements(out->items[0]);
  ASSERT_EQ(dims.size(), 1u);
  EXPECT_EQ(m.intSetValue(dims[0]), (std::vector<FznIntRange>{{1, 6}}));
  auto elements = m.arrayElements(q.value.value());
  ASSERT_EQ(elements.size(), 6u);
  const FznDecl& first = m.declOf(m.deref(elements[0]));
  EXPECT_EQ(first.name, "X_INTRODUCED_0_");
  EXPECT_EQ(m.intSetValue(*first.type.domain), (std::vector<FznIntRange>{{1, 6}}));

  EXPECT_EQ(m.solve.kind, FznSolveKind::Satisfy);
  ASSERT_EQ(m.solve.annotations.size(), 1u);
  const FznExpr& search = m.solve.annotations[0];
  EXPECT_EQ(symbolName(m, search), "int_search");
  ASSERT_EQ(search.items.size(), 4u);
  EXPECT_EQ(m.arrayElements(search.items[0]).size(), 6u) << "the search names the array q";
  EXPECT_EQ(symbolName(m, search.items[1]), "first_fail");
  EXPECT_EQ(m.solve.pos.line, 54);
  EXPECT_EQ(m.solve.pos.column, 1);
}

TEST(FznReadMinizinc, SchedulingWithSolverPredicatesFloatsAndSets) {
  FznModel m = parseFznFile(dataFile("sched.fzn"));
  ASSERT_EQ(m.predicates.size(), 2u);
  EXPECT_EQ(m.predicates[0].name, "nuv_all_different");
  ASSERT_EQ(m.predicates[0].params.size(), 1u);
  const FznType& t = m.predicates[0].params[0].type;
  EXPECT_TRUE(t.isVar && t.isArray() && t.indexSets[0].anyInt);
  EXPECT_EQ(m.predicates[1].params[2].type.base, FznBaseType::Bool);

  EXPECT_EQ(m.floatArrayValue(valueOf(m, "X_INTRODUCED_32_")), (std::vector<double>{-1.0, 0.0015}));
  const FznExpr& gDomain = *m.find("g")->type.domain;
  ASSERT_EQ(gDomain.kind, FznExprKind::FloatSet);
  EXPECT_TRUE(std::signbit(gDomain.items[0].floatValue())) << "-0.0 keeps its sign";
  EXPECT_EQ(gDomain.items[0].floatHigh(), 20.0);
  EXPECT_EQ(m.find("f")->type.base, FznBaseType::Float);
  EXPECT_FALSE(m.find("flag")->type.domain.has_value());

  const FznDecl& s = *m.find("S");
  EXPECT_EQ(s.type.base, FznBaseType::IntSet);
  EXPECT_EQ(m.intSetValue(*s.type.domain), (std::vector<FznIntRange>{{1, 5}}));
  const FznDecl& odd = *m.find("X_INTRODUCED_1_");
  EXPECT_EQ(m.intSetValue(*odd.type.domain).size(), 6u);

  EXPECT_NE(m.findAnnotation(m.find("mk")->annotations, "output_var"), nullptr);
  EXPECT_NE(m.findAnnotation(m.find("X_INTRODUCED_12_")->annotations, "var_is_introduced"), nullptr);
  EXPECT_EQ(m.findAnnotation(m.find("S")->annotations, "output_var"), nullptr);

  const FznConstraint& orTrue = m.constraints[0];
  EXPECT_EQ(symbolName(m, orTrue), "array_bool_or");
  EXPECT_TRUE(m.boolValue(orTrue.args[1]));
  int definesVar = 0, imp = 0;
  for (const FznConstraint& c : m.constraints) {
    if (const FznExpr* a = m.findAnnotation(c.annotations, "defines_var")) {
      ++definesVar;
      EXPECT_NE(m.findAnnotation(m.declOf(a->items[0]).annotations, "is_defined_var"), nullptr);
    }
    if (m.name(c.symbol).ends_with("_imp")) ++imp;
  }
  EXPECT_EQ(definesVar, 17);
  EXPECT_EQ(imp, 1);

  EXPECT_EQ(m.solve.kind, FznSolveKind::Minimize);
  EXPECT_EQ(m.declOf(*m.solve.objective).name, "mk");
  const FznExpr& seq = m.solve.annotations.at(0);
  EXPECT_EQ(symbolName(m, seq), "seq_search");
  auto phases = m.arrayElements(seq.items.at(0));
  ASSERT_EQ(phases.size(), 3u);
  EXPECT_EQ(symbolName(m, phases[2]), "float_search");
  EXPECT_DOUBLE_EQ(m.floatValue(phases[2].items[1]), 0.001);
}

TEST(FznReadMinizinc, SetArraysWideIntegersAndPathStrings) {
  FznModel m = parseFznFile(dataFile("misc.fzn"));
  auto sets = m.intSetArrayValue(valueOf(m, "X_INTRODUCED_10_"));
  ASSERT_EQ(sets.size(), 3u);
  EXPECT_EQ(sets[0], (std::vector<FznIntRange>{{1, 1}, {3, 3}}));
  EXPECT_EQ(sets[1], (std::vector<FznIntRange>{{2, 4}}));
  EXPECT_TRUE(sets[2].empty()) << "1..0 is the empty set";
  EXPECT_EQ(m.intSetValue(*m.find("big")->type.domain),
            (std::vector<FznIntRange>{{-5000000000, 5000000000}}));
  bool sawWideConstant = false, sawEscapedPath = false;
  for (const FznConstraint& c : m.constraints)
    for (const FznExpr& a : c.args)
      if (a.kind == FznExprKind::Int && a.intValue() == 4000000000) sawWideConstant = true;
  for (const std::string& s : m.strings)
    if (s.find("|bin|'\\/';") != std::string::npos) sawEscapedPath = true;
  EXPECT_TRUE(sawWideConstant);
  EXPECT_TRUE(sawEscapedPath) << "\\\\ in a string is one backslash";
  const FznExpr* g = m.findAnnotation(m.find("g")->annotations, "output_array");
  ASSERT_NE(g, nullptr);
  EXPECT_EQ(m.arrayElements(g->items[0]).size(), 2u) << "2-d output keeps both index sets";
  EXPECT_EQ(m.solve.kind, FznSolveKind::Maximize);
}

TEST(FznReadMinizinc, GlobalDecompositionsAndEveryArgumentResolves) {
  FznModel m = parseFznFile(dataFile("globals.fzn"));
  EXPECT_EQ(m.constraints.size(), 273u);
  const FznExpr& floatSearch = m.arrayElements(m.solve.annotations.at(0).items.at(0))[1];
  auto searched = m.arrayElements(floatSearch.items.at(0));
  ASSERT_EQ(searched.size(), 1u) << "the variables come from an array declaration";
  EXPECT_EQ(m.name(m.deref(searched[0]).symbol), "fl");

  // What the builder will do with every argument of every file: each one is
  // an array, a literal or a variable without an alias.
  for (const char* file : {"queens.fzn", "sched.fzn", "misc.fzn", "globals.fzn"}) {
    FznModel model = parseFznFile(dataFile(file));
    auto isLeaf = [&](const FznExpr& e) {
      if (e.isLiteral()) return true;
      if (e.kind != FznExprKind::Ident) return false;
      const FznDecl& d = model.declOf(e);
      return d.isVar() && !d.isArray() && !d.value;
    };
    for (const FznConstraint& c : model.constraints) {
      for (const FznExpr& a : c.args) {
        const FznExpr& v = model.deref(a);
        bool isArray = v.kind == FznExprKind::Array ||
                       (v.kind == FznExprKind::Ident && model.declOf(v).isArray());
        if (!isArray) {
          EXPECT_TRUE(isLeaf(v)) << file << ": " << model.describe(v);
          continue;
        }
        for (const FznExpr& item : model.arrayElements(v))
          EXPECT_TRUE(isLeaf(model.deref(item))) << file << ": " << model.describe(item);
      }
    }
  }
}

// --- every syntactic form, written by hand ---

TEST(FznSyntax, ScalarParametersAndLiterals) {
  FznModel m = parseFznString(
      "bool: b = true;\n"
      "int: n = -3;\n"
      "int: hex = 0x1F;\n"
      "int: oct = -0o17;\n"
      "int: lo = -9223372036854775808;\n"
      "int: hi = 9223372036854775807;\n"
      "float: f = 1e-06;\n"
      "float: g = -2.5E+3;\n"
      "set of int: s = {5,1,3,2,4,9};\n"
      "set of int: e = {};\n"
      "set of int: r = 3..7;\n"
      "solve satisfy;\n");
  EXPECT_TRUE(m.boolValue(valueOf(m, "b")));
  EXPECT_EQ(m.intValue(valueOf(m, "n")), -3);
  EXPECT_EQ(m.intValue(valueOf(m, "hex")), 31);
  EXPECT_EQ(m.intValue(valueOf(m, "oct")), -15);
  EXPECT_EQ(m.intValue(valueOf(m, "lo")), std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(m.intValue(valueOf(m, "hi")), std::numeric_limits<std::int64_t>::max());
  EXPECT_DOUBLE_EQ(m.floatValue(valueOf(m, "f")), 1e-6);
  EXPECT_DOUBLE_EQ(m.floatValue(valueOf(m, "g")), -2500.0);
  EXPECT_DOUBLE_EQ(m.floatValue(valueOf(m, "n")), -3.0) << "integers promote to float";
  EXPECT_EQ(m.intSetValue(valueOf(m, "s")), (std::vector<FznIntRange>{{1, 5}, {9, 9}}));
  EXPECT_TRUE(m.intSetValue(valueOf(m, "e")).empty());
  EXPECT_EQ(m.intSetValue(valueOf(m, "r")), (std::vector<FznIntRange>{{3, 7}}));
}

TEST(FznSyntax, AliasesArrayAccessAndParameterNames) {
  FznModel m = parseFznString(
      "int: n = 4;\n"
      "int: n2 = n;\n"
      "array [1..3] of int: c = [n2, 5, -1];\n"
      "var 1..5: x :: output_var;\n"
      "var int: y = x;\n"
      "var int: z = y;\n"
      "var 0..9: w = 3;\n"
      "array [1..2] of var int: a :: output_array([1..2]) = [z, 7];\n"
      "var int: v = a[1];\n"
      "var bool: p = true;\n"
      "constraint int_le(a[2], x);\n"
      "constraint int_lin_le(c, [x, v, w], n);\n"
      "solve minimize v;\n");
  EXPECT_EQ(m.intValue(valueOf(m, "n2")), 4);
  EXPECT_EQ(m.intArrayValue(valueOf(m, "c")), (std::vector<std::int64_t>{4, 5, -1}));
  const FznExpr& root = m.deref(valueOf(m, "v"));
  ASSERT_EQ(root.kind, FznExprKind::Ident);
  EXPECT_EQ(m.name(root.symbol), "x") << "v = a[1] = z = y = x";
  EXPECT_EQ(m.intValue(valueOf(m, "w")), 3);
  EXPECT_TRUE(m.boolValue(valueOf(m, "p")));
  EXPECT_EQ(m.intValue(m.constraints[0].args[0]), 7);
  EXPECT_EQ(m.name(m.deref(*m.solve.objective).symbol), "x");
  auto args = m.arrayElements(m.constraints[1].args[1]);
  EXPECT_EQ(m.deref(args[2]).kind, FznExprKind::Int) << "w is fixed by its assignment";
  EXPECT_EQ(m.intValue(m.constraints[1].args[2]), 4);
}

TEST(FznSyntax, DomainsPredicatesCommentsAndOrder) {
  FznModel m = parseFznString(
      "% a comment line\r\n"
      "predicate my_pred(array [int,int] of int: t, var set of int: s,\n"
      "                  array [1..3] of var 0..1: b ::promise_ctx_monotone, var {1,3}: x);\n"
      "predicate nullary();\n"
      "/* block\n comment */ var {7, 2, 3}: d;\n"
      "var {2.5, 0.5}: fd;\n"
      "var set of {4,2}: ss;\n"
      "var set of int: su;\n"
      "var float: free;\n"
      "array [1..0] of var int: none = [];\n"
      "constraint my_pred([], su, [], d) :: domain :: weird(\"a\\\"b\", [1..2, {}], f(), [[1]]);\n"
      "var 1..2: late;\n"
      "solve :: int_search(none, input_order, indomain_min, complete) satisfy;  % trailing\n");
  ASSERT_EQ(m.predicates.size(), 2u);
  const auto& params = m.predicates[0].params;
  ASSERT_EQ(params.size(), 4u);
  EXPECT_EQ(params[0].type.indexSets.size(), 2u);
  EXPECT_EQ(params[1].type.base, FznBaseType::IntSet);
  EXPECT_TRUE(params[1].type.isVar);
  EXPECT_EQ(params[2].type.indexSets[0].high, 3);
  EXPECT_TRUE(m.predicates[1].params.empty());

  EXPECT_EQ(m.intSetValue(*m.find("d")->type.domain), (std::vector<FznIntRange>{{2, 3}, {7, 7}}));
  EXPECT_EQ(m.find("d")->pos.line, 6);
  EXPECT_EQ(m.find("d")->pos.column, 13);
  const FznExpr& fd = *m.find("fd")->type.domain;
  ASSERT_EQ(fd.kind, FznExprKind::FloatSet);
  EXPECT_EQ(fd.items[0].floatValue(), 0.5);
  EXPECT_EQ(m.intSetValue(*m.find("ss")->type.domain), (std::vector<FznIntRange>{{2, 2}, {4, 4}}));
  EXPECT_FALSE(m.find("su")->type.domain.has_value());
  EXPECT_TRUE(m.arrayElements(valueOf(m, "none")).empty());

  const FznConstraint& c = m.constraints.at(0);
  EXPECT_EQ(c.pos.line, 12);
  ASSERT_EQ(c.annotations.size(), 2u);
  const FznExpr& weird = c.annotations[1];
  ASSERT_EQ(weird.items.size(), 4u);
  EXPECT_EQ(m.strings.at(weird.items[0].symbol), "a\"b");
  EXPECT_EQ(weird.items[1].items[1].kind, FznExprKind::IntSet);
  EXPECT_EQ(weird.items[2].kind, FznExprKind::Call);
  EXPECT_EQ(weird.items[3].items[0].kind, FznExprKind::Array) << "annotations may nest arrays";
  EXPECT_NE(m.find("late"), nullptr) << "a declaration after a constraint is accepted";
}

TEST(FznResolve, WrongKindsAreReportedAtTheUse) {
  FznModel m = parseFznString(
      "var 1..3: x;\n"
      "array [1..2] of var int: a = [x, x];\n"
      "constraint int_le(x, a);\n"
      "solve :: int_search(q, first_fail, indomain, complete) satisfy;\n",
      "r.fzn");
  const FznConstraint& c = m.constraints[0];
  auto messageOf = [](auto&& call) {
    try {
      call();
    } catch (const PimExecutionError& e) {
      return std::string(e.what());
    }
    return std::string("no error");
  };
  EXPECT_EQ(messageOf([&] { m.intValue(c.args[0]); }),
            "r.fzn:3:19: expected an integer, found variable 'x'");
  EXPECT_EQ(messageOf([&] { m.intValue(c.args[1]); }),
            "r.fzn:3:22: expected an integer, found array of variables 'a'");
  EXPECT_EQ(messageOf([&] { m.arrayElements(c.args[0]); }),
            "r.fzn:3:19: expected an array, found variable 'x'");
  EXPECT_EQ(messageOf([&] { m.declOf(m.solve.annotations[0].items[0]); }),
            "r.fzn:4:21: unknown identifier 'q'");
  EXPECT_EQ(messageOf([&] { m.boolValue(m.solve.annotations[0].items[1]); }),
            "r.fzn:4:24: unknown identifier 'first_fail'");
  EXPECT_EQ(messageOf([] { parseFznFile("/nonexistent/x.fzn"); }),
            "/nonexistent/x.fzn: cannot open the file");
}

TEST(FznResolve, LongAliasChainsResolveWithoutRecursion) {
  // Each link would be one stack frame in a recursive resolver.
  constexpr int kLinks = 200000;
  std::string text = "var 1..2: v0;\n";
  for (int i = kLinks; i >= 1; --i)
    text += "var int: v" + std::to_string(i) + " = v" + std::to_string(i - 1) + ";\n";
  text += "solve satisfy;\n";
  FznModel m = parseFznString(text);
  EXPECT_EQ(m.name(m.deref(valueOf(m, "v200000")).symbol), "v0");
  EXPECT_EQ(m.name(m.deref(valueOf(m, "v1")).symbol), "v0");
}

}  // namespace
