// Arithmetic and element propagators with one variable, or offset views of
// one variable, in several argument positions. Every family is run through
// the search checker (soundness at every fixpoint of a complete search and of
// random dives, exact solutions, restoration on backtracking) on every way of
// spreading one or two variables (three for the array families, sampled)
// over its arguments, each argument the variable itself or a view of it.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "fd/NuvCPArithI.h"
#include "fd/NuvCPElementI.h"
#include "fd/NuvCPViewIntVarI.h"
#include "tests/fd/PropagatorChecker.h"

namespace {

using nuvcheck::Assignment;
using nuvcheck::Vars;
using Op = NuvCPBinaryFunctionI::Op;

// Argument = distinct variable `var`, plus `offset` (a view when nonzero).
struct Arg {
  int var;
  int offset;
};
using Pattern = std::vector<Arg>;

std::string show(const Pattern& p) {
  std::string s = "(";
  for (std::size_t i = 0; i < p.size(); ++i) {
    s += (i ? ", v" : "v") + std::to_string(p[i].var);
    if (p[i].offset) s += (p[i].offset > 0 ? "+" : "") + std::to_string(p[i].offset);
  }
  return s + ")";
}

// Every pattern of `arity` arguments over `nvars` distinct variables that
// uses each variable, names them in order of first use and gives the first
// use offset 0 (the others are the same up to renaming and shifting).
std::vector<Pattern> patterns(int arity, int nvars, const std::vector<int>& offsets) {
  std::vector<Pattern> out;
  Pattern p;
  std::function<void(int, int)> rec = [&](int pos, int used) {
    if (pos == arity) {
      if (used == nvars) out.push_back(p);
      return;
    }
    for (int v = 0; v <= used && v < nvars; ++v) {
      if (v == used) {
        p.push_back({v, 0});
        rec(pos + 1, used + 1);
        p.pop_back();
      } else {
        for (int o : offsets) {
          p.push_back({v, o});
          rec(pos + 1, used);
          p.pop_back();
        }
      }
    }
  };
  rec(0, 0);
  return out;
}

// At most `limit` of `all`, spread over the list.
std::vector<Pattern> sample(std::vector<Pattern> all, std::size_t limit, unsigned seed) {
  if (all.size() <= limit) return all;
  std::mt19937 rng(seed);
  std::shuffle(all.begin(), all.end(), rng);
  all.resize(limit);
  return all;
}

Vars arguments(NuvCPManagerI& s, const Vars& vs, const Pattern& p) {
  Vars out;
  for (const Arg& a : p) {
    NuvCPIntVarI* x = vs[static_cast<std::size_t>(a.var)];
    out.push_back(a.offset == 0 ? x
                                : nuvCPNew<NuvCPViewIntVarI>(s.allocator(), s.allocator(), &s, x,
                                                             a.offset));
  }
  return out;
}

std::vector<std::int64_t> values(const Assignment& a, const Pattern& p) {
  std::vector<std::int64_t> out;
  for (const Arg& g : p) out.push_back(std::int64_t{a[static_cast<std::size_t>(g.var)]} + g.offset);
  return out;
}

using Make = std::function<NuvCPDaemonI*(NuvCPManagerI&, const Vars&)>;
using Holds = std::function<bool(const std::vector<std::int64_t>&)>;

// Runs the search checker on every pattern; the first failing one is named.
void checkShared(const std::string& what, const std::vector<Pattern>& ps, int lo, int hi,
                 const Make& make, const Holds& holds, int trials = 60,
                 std::int64_t maxAssignments = 4096, double keep = 0.7) {
  nuvcheck::Stats total;
  for (const Pattern& p : ps) {
    int nvars = 0;
    for (const Arg& a : p) nvars = std::max(nvars, a.var + 1);
    std::vector<std::pair<int, int>> ranges(static_cast<std::size_t>(nvars), {lo, hi});
    nuvcheck::PropagatorChecker c(
        nuvcheck::randomDomains(ranges, keep),
        [&](NuvCPManagerI& s, const Vars& vs) {
          return s.post(static_cast<NuvCPCstrI*>(make(s, arguments(s, vs, p))));
        },
        [&](const Assignment& a) { return holds(values(a, p)); });
    nuvcheck::Options o;
    o.trials = trials;
    o.seed = 7;
    o.maxAssignments = maxAssignments;
    o.dives = trials < 60 ? 2 : 6;
    SCOPED_TRACE(what + " " + show(p));
    const nuvcheck::Stats st = c.run(o);
    if (::testing::Test::HasFailure()) return;
    total.trials += st.trials;
    total.trialsWithSolutions += st.trialsWithSolutions;
    total.nodes += st.nodes;
  }
  // Not vacuous: some trials have solutions, and the search visits nodes.
  EXPECT_GT(total.trialsWithSolutions, 0) << what;
  EXPECT_GT(total.nodes, 0) << what;
}

// Patterns of a ternary relation over one or two variables.
std::vector<Pattern> ternaryPatterns() {
  std::vector<Pattern> ps = patterns(3, 1, {0, 1, -2});
  for (const Pattern& p : patterns(3, 2, {0, 1, -2})) ps.push_back(p);
  return ps;
}
std::vector<Pattern> binaryPatterns() { return patterns(2, 1, {0, 1, -2, 3}); }

template <class T>
T* make3(NuvCPManagerI& s, const Vars& a) {
  return nuvCPNew<T>(s.allocator(), &s, a[0], a[1], a[2]);
}

// ---- arithmetic -------------------------------------------------------------------

TEST(SharedArithmetic, SumAndProduct) {
  checkShared("x + y == z", ternaryPatterns(), -4, 4, make3<NuvCPTernaryEqualI>,
              [](const auto& v) { return v[0] + v[1] == v[2]; });
  checkShared("x * y == z", ternaryPatterns(), -4, 4, make3<NuvCPMultI>,
              [](const auto& v) { return v[0] * v[1] == v[2]; });
}

TEST(SharedArithmetic, SquareAndAbsoluteValue) {
  checkShared("x * x == y", binaryPatterns(), -5, 6,
              [](NuvCPManagerI& s, const Vars& a) {
                return nuvCPNew<NuvCPSquareI>(s.allocator(), &s, a[0], a[1]);
              },
              [](const auto& v) { return v[0] * v[0] == v[1]; });
  checkShared("|x| == y", binaryPatterns(), -5, 6,
              [](NuvCPManagerI& s, const Vars& a) {
                return nuvCPNew<NuvCPAbsI>(s.allocator(), &s, a[0], a[1]);
              },
              [](const auto& v) { return (v[0] < 0 ? -v[0] : v[0]) == v[1]; });
}

TEST(SharedArithmetic, FunctionsOfTwoArguments) {
  for (Op op : {Op::Div, Op::Mod, Op::Pow, Op::Min, Op::Max}) {
    const int lo = op == Op::Pow ? -3 : -5, hi = op == Op::Pow ? 3 : 5;
    checkShared("function " + std::to_string(static_cast<int>(op)), ternaryPatterns(), lo, hi,
                [op](NuvCPManagerI& s, const Vars& a) {
                  return nuvCPNew<NuvCPBinaryFunctionI>(s.allocator(), &s, op, a[0], a[1], a[2]);
                },
                [op](const auto& v) {
                  std::int64_t f;
                  return NuvCPBinaryFunctionI::apply(op, v[0], v[1], f) && f == v[2];
                });
  }
}

TEST(SharedArithmetic, FunctionsOfTwoArgumentsBeyondTheEnumeration) {
  // Domains whose pairs are too many to enumerate: the bounds rules, then the
  // check of a fixed x and y.
  for (Op op : {Op::Div, Op::Mod, Op::Pow, Op::Min, Op::Max})
    checkShared("wide function " + std::to_string(static_cast<int>(op)), ternaryPatterns(), -60, 60,
                [op](NuvCPManagerI& s, const Vars& a) {
                  return nuvCPNew<NuvCPBinaryFunctionI>(s.allocator(), &s, op, a[0], a[1], a[2]);
                },
                [op](const auto& v) {
                  std::int64_t f;
                  return NuvCPBinaryFunctionI::apply(op, v[0], v[1], f) && f == v[2];
                },
                6, 9000, 0.95);
}

TEST(SharedArithmetic, MinimumAndMaximumOfArrays) {
  std::vector<Pattern> ps;
  for (int n = 1; n <= 3; ++n)
    for (const Pattern& p : patterns(4, n, {0, 1, -1})) ps.push_back(p);
  ps = sample(ps, 60, 3);
  for (bool isMax : {false, true})
    checkShared(isMax ? "m == max(xs)" : "m == min(xs)", ps, -3, 3,
                [isMax](NuvCPManagerI& s, const Vars& a) {
                  return nuvCPNew<NuvCPArrayMinMaxI>(s.allocator(), &s, isMax, a[0], 3, a.data() + 1);
                },
                [isMax](const auto& v) {
                  std::int64_t m = v[1];
                  for (std::size_t i = 2; i < v.size(); ++i) m = isMax ? std::max(m, v[i]) : std::min(m, v[i]);
                  return m == v[0];
                });
}

// ---- element ----------------------------------------------------------------------

// Arrays indexed from 1 with entries equal to their index, or to it shifted,
// so that index == result has solutions, and ones without.
const std::vector<std::vector<std::int32_t>> kTables = {
    {3, 1, 4, -5, -1}, {1, 5, 3, 2, 5}, {2, 3, 4, 5, 6}, {0, 0, 2, 2, 4}, {4, 2, 1, 2, 0}};

TEST(SharedElement, ConstantArray) {
  // (index, result): the result is the index or a view of it.
  const std::vector<Pattern> ps = patterns(2, 1, {0, 1, -1, -3});
  for (bool domain : {false, true})
    for (const auto& table : kTables) {
      checkShared(std::string(domain ? "AC" : "BC") + " z == a[x]", ps, -1, 6,
                  [&](NuvCPManagerI& s, const Vars& a) -> NuvCPDaemonI* {
                    NuvCPIntTable t{1, static_cast<std::int32_t>(table.size()),
                                    s.allocator()->allocateArray<std::int32_t>(table.size())};
                    for (std::size_t i = 0; i < table.size(); ++i) t.values[i] = table[i];
                    if (domain) return nuvCPNew<NuvCPElementACI>(s.allocator(), &s, t, a[1], a[0]);
                    return nuvCPNew<NuvCPElementBCI>(s.allocator(), &s, t, a[1], a[0]);
                  },
                  [&](const auto& v) {
                    return v[0] >= 1 && v[0] <= static_cast<std::int64_t>(table.size()) &&
                           table[static_cast<std::size_t>(v[0] - 1)] == v[1];
                  });
    }
}

enum class VarKind { BC, AC, Sorted };

TEST(SharedElement, VariableArray) {
  // (index, result, vars[1..3]).
  std::vector<Pattern> ps;
  for (int n = 1; n <= 3; ++n)
    for (const Pattern& p : patterns(5, n, {0, 1, -1})) ps.push_back(p);
  ps = sample(ps, 80, 5);
  for (VarKind kind : {VarKind::BC, VarKind::AC, VarKind::Sorted})
    checkShared("z == vars[x] kind " + std::to_string(static_cast<int>(kind)), ps, -1, 4,
                [kind](NuvCPManagerI& s, const Vars& a) -> NuvCPDaemonI* {
                  PimAllocator* al = s.allocator();
                  if (kind == VarKind::BC) return nuvCPNew<NuvCPElementVarBCI>(al, &s, 1, 3, a.data() + 2, a[1], a[0]);
                  if (kind == VarKind::AC) return nuvCPNew<NuvCPElementVarACI>(al, &s, 1, 3, a.data() + 2, a[1], a[0]);
                  return nuvCPNew<NuvCPElementVarSortedI>(al, &s, 1, 3, a.data() + 2, a[1], a[0]);
                },
                [kind](const auto& v) {
                  if (v[0] < 1 || v[0] > 3 || v[static_cast<std::size_t>(v[0] + 1)] != v[1]) return false;
                  return kind != VarKind::Sorted || (v[2] <= v[3] && v[3] <= v[4]);
                });
}

TEST(SharedElement, Grids) {
  // (result, x, y) over a 3 x 3 grid indexed from 0, and (result, x, y, w)
  // over a 2 x 2 x 2 one.
  const std::int32_t grid[9] = {0, 2, 1, 1, 1, 2, 2, 0, 1};
  std::vector<Pattern> ps = patterns(3, 1, {0, 1, -1});
  for (const Pattern& p : patterns(3, 2, {0, 1, -1})) ps.push_back(p);
  checkShared("z == a[x][y]", ps, -1, 3,
              [&](NuvCPManagerI& s, const Vars& a) {
                return nuvCPNew<NuvCPElement2DI>(s.allocator(), &s, 0, 3, 0, 3, grid, a[0], a[1], a[2]);
              },
              [&](const auto& v) {
                return v[1] >= 0 && v[1] < 3 && v[2] >= 0 && v[2] < 3 && grid[v[1] * 3 + v[2]] == v[0];
              });
  const std::int32_t cube[8] = {1, 0, 0, 1, 1, 1, 0, 0};
  std::vector<Pattern> qs;
  for (int n = 1; n <= 3; ++n)
    for (const Pattern& p : patterns(4, n, {0, 1})) qs.push_back(p);
  checkShared("z == a[x][y][w]", qs, -1, 2,
              [&](NuvCPManagerI& s, const Vars& a) {
                return nuvCPNew<NuvCPElement3DI>(s.allocator(), &s, 0, 2, 0, 2, 0, 2, cube, a[0], a[1],
                                                 a[2], a[3]);
              },
              [&](const auto& v) {
                for (int d = 1; d <= 3; ++d)
                  if (v[static_cast<std::size_t>(d)] < 0 || v[static_cast<std::size_t>(d)] > 1) return false;
                return cube[(v[1] * 2 + v[2]) * 2 + v[3]] == v[0];
              });
}

}  // namespace
