// The exhaustive checker every propagator family is tested with, the way
// trusted solvers test theirs: on many small random domains, enumerate every
// assignment and check that
//   (a) posting and propagating never removes a value of a solution, and
//       never fails while a solution exists (soundness);
//   (b) with every variable bound at a fixpoint, the relation holds (the
//       propagator checks what it is given);
//   (c) optionally, every value left has a support among the solutions
//       within the current domains (domain consistency), or each bound has
//       one with the others anywhere within their bounds (bounds(Z)).
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <random>
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

struct PropagatorCheck {
  // Number of variables and, for each, the range random domains are drawn
  // from (a random subset of it, never empty).
  std::vector<std::pair<int, int>> ranges;
  // Builds the propagator over the variables (the store posts it).
  std::function<NuvCPDaemonI*(NuvCPManagerI*, const std::vector<NuvCPIntVarI*>&)> build;
  // The relation, over a full assignment.
  std::function<bool(const std::vector<int>&)> holds;
  enum class Strength { None, Bounds, Domain } strength = Strength::None;
  int trials = 300;
  unsigned seed = 1;
  // Probability that a value of the range is in a random domain.
  double density = 0.6;
  // Variables i with boolean[i] set are Boolean variables (range 0..1).
  std::vector<bool> boolean;
};

namespace checker_detail {

inline std::string show(const std::vector<std::vector<int>>& doms) {
  std::ostringstream os;
  for (std::size_t i = 0; i < doms.size(); ++i) {
    os << "x" << i << "={";
    for (std::size_t j = 0; j < doms[i].size(); ++j) os << (j ? "," : "") << doms[i][j];
    os << "} ";
  }
  return os.str();
}

// Every assignment of the domains, in order.
inline void enumerate(const std::vector<std::vector<int>>& doms,
                      const std::function<void(const std::vector<int>&)>& f) {
  std::vector<int> a(doms.size());
  std::function<void(std::size_t)> rec = [&](std::size_t i) {
    if (i == doms.size()) return f(a);
    for (int v : doms[i]) {
      a[i] = v;
      rec(i + 1);
    }
  };
  rec(0);
}

inline std::vector<int> valuesOf(const NuvCPIntVarI* x) {
  std::vector<int> out;
  for (int v = x->getMin(); v <= x->getMax(); ++v)
    if (x->member(v)) out.push_back(v);
  return out;
}

}  // namespace checker_detail

// Runs the check; failures are reported through gtest with the domains.
inline void checkPropagator(const PropagatorCheck& c) {
  using namespace checker_detail;
  std::mt19937 rng(c.seed);
  for (int t = 0; t < c.trials; ++t) {
    std::vector<std::vector<int>> doms;
    for (auto [lo, hi] : c.ranges) {
      std::vector<int> d;
      std::bernoulli_distribution in(c.density);
      for (int v = lo; v <= hi; ++v)
        if (in(rng)) d.push_back(v);
      if (d.empty()) d.push_back(std::uniform_int_distribution<int>(lo, hi)(rng));
      doms.push_back(d);
    }
    PimArenaAllocator arena;
    NuvTrailI trail;
    NuvCPManagerI store(&arena, &trail);
    std::vector<NuvCPIntVarI*> xs;
    for (std::size_t i = 0; i < doms.size(); ++i) {
      const auto& d = doms[i];
      NuvCPIntVarI* x;
      if (i < c.boolean.size() && c.boolean[i]) {
        x = nuvCPNew<NuvCPBoolVarI>(&arena, &arena, &store);
        x->updateMin(d.front());
        x->updateMax(d.back());
      } else {
        x = nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, d.front(), d.back());
        for (int v = d.front(); v <= d.back(); ++v)
          if (!std::binary_search(d.begin(), d.end(), v)) x->removeValue(v);
      }
      xs.push_back(x);
    }
    std::vector<std::vector<int>> solutions;
    enumerate(doms, [&](const std::vector<int>& a) {
      if (c.holds(a)) solutions.push_back(a);
    });
    // Post inside a choice point so that (b) can backtrack to the root.
    trail.push();
    const int status = store.post(static_cast<NuvCPCstrI*>(c.build(&store, xs)));
    const std::string where = "trial " + std::to_string(t) + ": " + show(doms);
    if (status == NuvCPFailure || !store.isConsistent()) {
      EXPECT_TRUE(solutions.empty()) << "failed although a solution exists; " << where;
      continue;
    }
    // (a) soundness
    for (const auto& s : solutions)
      for (std::size_t i = 0; i < xs.size(); ++i)
        if (!xs[i]->member(s[i])) {
          ADD_FAILURE() << "pruned x" << i << "=" << s[i] << " of a solution; " << where;
          return;
        }
    std::vector<std::vector<int>> now;
    for (NuvCPIntVarI* x : xs) now.push_back(valuesOf(x));
    // (c) strength. Domain: every value left has a solution within the
    // current domains. Bounds: each variable's bounds have a solution in
    // which the others take any integer within their current bounds
    // (bounds(Z) consistency: propagators of this kind ignore holes).
    if (c.strength == PropagatorCheck::Strength::Domain) {
      for (std::size_t i = 0; i < xs.size(); ++i)
        for (int v : now[i]) {
          bool supported = false;
          for (const auto& s : solutions) {
            if (s[i] != v) continue;
            bool inside = true;
            for (std::size_t j = 0; j < xs.size() && inside; ++j) inside = xs[j]->member(s[j]);
            if (inside) {
              supported = true;
              break;
            }
          }
          EXPECT_TRUE(supported) << "x" << i << "=" << v << " has no support; " << where
                                 << " now " << show(now);
        }
    } else if (c.strength == PropagatorCheck::Strength::Bounds) {
      std::vector<std::vector<int>> hulls;
      for (NuvCPIntVarI* x : xs) {
        std::vector<int> h;
        for (int v = x->getMin(); v <= x->getMax(); ++v) h.push_back(v);
        hulls.push_back(h);
      }
      std::vector<bool> minOk(xs.size(), false), maxOk(xs.size(), false);
      enumerate(hulls, [&](const std::vector<int>& a) {
        if (!c.holds(a)) return;
        for (std::size_t i = 0; i < xs.size(); ++i) {
          if (a[i] == xs[i]->getMin()) minOk[i] = true;
          if (a[i] == xs[i]->getMax()) maxOk[i] = true;
        }
      });
      for (std::size_t i = 0; i < xs.size(); ++i)
        EXPECT_TRUE(minOk[i] && maxOk[i])
            << "bounds of x" << i << " lack support; " << where << " now " << show(now);
    }
    // (b) every full assignment the propagator accepts satisfies the relation
    enumerate(now, [&](const std::vector<int>& a) {
      trail.push();
      bool alive = true;
      for (std::size_t i = 0; i < xs.size() && alive; ++i)
        alive = store.label(xs[i], a[i]) != NuvCPFailure;
      if (alive) {
        for (std::size_t i = 0; i < xs.size(); ++i)
          if (!xs[i]->isBound() || xs[i]->getMin() != a[i]) alive = false;
        if (alive) {
          EXPECT_TRUE(c.holds(a)) << "accepted a non-solution; " << where;
        }
      }
      trail.pop();
      store.restartPropagation();
    });
    trail.pop();
  }
}

// ---- the search checker ---------------------------------------------------------
//
// The same families, checked along the search rather than at the root only.
// For each seeded random trial it builds a fresh store with small random
// domains, enumerates every assignment to know the solutions, posts, and then
// checks, at the post's fixpoint and at every node of a complete search and
// of random dives with mixed decisions (bind, remove, <, >):
//   - no solution compatible with the decisions taken is ever pruned, and a
//     failure happens only when no such solution is left;
//   - whenever every variable is bound at a fixpoint, the predicate holds;
//   - the search finds exactly the solutions, each once;
//   - after backtracking, every domain and every posted daemon's enabled flag
//     equals what it was before the branch;
//   - optionally, domain consistency (every remaining value has a support
//     among the solutions within the current domains) or bounds(D)
//     consistency (every variable's min and max have such a support).
// This is what catches propagators that are right when posted but wrong when
// woken: value handlers, entailment, flags undone by backtracking.

namespace nuvcheck {

using Domain = std::vector<int>;  // sorted, distinct, non-empty
using Assignment = std::vector<int>;
using Vars = std::vector<NuvCPIntVarI*>;

enum class Consistency { None, Bounds, Domain };

struct Options {
  std::uint32_t seed = 1;
  int trials = 300;
  // Random dives per trial, each a sequence of random decisions down to a
  // failure or to all variables bound.
  int dives = 6;
  Consistency consistency = Consistency::None;
  // Give up (without failing) on trials whose assignment space is larger.
  std::int64_t maxAssignments = 4096;
};

// What a run saw, so a test can assert that its checks were not vacuous.
struct Stats {
  int trials = 0;
  int trialsWithSolutions = 0;
  int trialsFailedAtPost = 0;
  std::int64_t solutions = 0;
  std::int64_t nodes = 0;      // fixpoints checked
  std::int64_t failures = 0;   // failed decisions met
};

// Makes variable `index` over `dom` in `store`.
using MakeVar = std::function<NuvCPIntVarI*(NuvCPManagerI& store, int index, const Domain& dom)>;
// Posts the propagator(s) under test; answers the store's status.
using Post = std::function<int(NuvCPManagerI& store, const Vars& vars)>;
using Predicate = std::function<bool(const Assignment& values)>;
// The domains of one trial.
using Domains = std::function<std::vector<Domain>(std::mt19937& rng)>;

// A concrete integer variable over [front, back] with the holes of `dom`.
inline NuvCPIntVarI* makeIntVar(NuvCPManagerI& store, int, const Domain& dom) {
  auto* x = nuvCPNew<NuvCPCIntVarI>(store.allocator(), store.allocator(), &store,
                                    std::int64_t{dom.front()}, std::int64_t{dom.back()});
  for (int v = dom.front(), i = 0; v <= dom.back(); ++v) {
    if (dom[static_cast<std::size_t>(i)] == v)
      ++i;
    else
      x->removeValue(v);
  }
  return x;
}

// A Boolean variable restricted to `dom` (within {0, 1}).
inline NuvCPIntVarI* makeBoolVar(NuvCPManagerI& store, int, const Domain& dom) {
  auto* b = nuvCPNew<NuvCPBoolVarI>(store.allocator(), store.allocator(), &store);
  if (b) {
    b->updateMin(dom.front());
    b->updateMax(dom.back());
  }
  return b;
}

// One random domain inside [lo, hi]: random bounds a <= b (a singleton about
// one time in eight), the values strictly between kept with probability
// `keep`.
inline Domain randomDomain(std::mt19937& rng, int lo, int hi, double keep = 0.7) {
  std::uniform_int_distribution<std::int64_t> pick(lo, hi);
  std::int64_t a = pick(rng), b = pick(rng);
  if (a > b) std::swap(a, b);
  if (std::uniform_int_distribution<int>(0, 7)(rng) == 0) b = a;
  std::bernoulli_distribution in(keep);
  Domain d;
  for (std::int64_t v = a; v <= b; ++v)
    if (v == a || v == b || in(rng)) d.push_back(static_cast<int>(v));
  return d;
}

// Domains for variables whose ranges are given one per variable.
inline Domains randomDomains(std::vector<std::pair<int, int>> ranges, double keep = 0.7) {
  return [ranges, keep](std::mt19937& rng) {
    std::vector<Domain> ds;
    for (auto [lo, hi] : ranges) ds.push_back(randomDomain(rng, lo, hi, keep));
    return ds;
  };
}

inline std::string show(const Domain& d) {
  std::ostringstream os;
  os << "{";
  for (std::size_t i = 0; i < d.size(); ++i) os << (i ? "," : "") << d[i];
  os << "}";
  return os.str();
}
inline std::string show(const std::vector<Domain>& ds) {
  std::string s;
  for (std::size_t i = 0; i < ds.size(); ++i) s += (i ? " " : "") + show(ds[i]);
  return s;
}

class PropagatorChecker {
 public:
  PropagatorChecker(Domains domains, Post post, Predicate pred, MakeVar make = makeIntVar)
      : _domains(std::move(domains)), _post(std::move(post)), _pred(std::move(pred)),
        _make(std::move(make)) {}

  // Runs the trials; reports the first violation through ADD_FAILURE and
  // stops there. Answers what was checked.
  Stats run(const Options& o = {}) {
    _o = o;
    _stats = Stats{};
    _failed = false;
    std::mt19937 rng(o.seed);
    for (int t = 0; t < o.trials && !_failed; ++t) {
      std::vector<Domain> ds = _domains(rng);
      std::int64_t space = 1;
      for (const Domain& d : ds) space *= static_cast<std::int64_t>(d.size());
      if (space > o.maxAssignments) continue;
      trial(t, ds, rng);
    }
    return _stats;
  }

 private:
  struct Trial {
    PimArenaAllocator arena;
    NuvTrailI trail;
    NuvCPManagerI store{&arena, &trail};
    Vars vars;
  };

  void trial(int t, const std::vector<Domain>& ds, std::mt19937& rng) {
    ++_stats.trials;
    _context = "trial " + std::to_string(t) + " (seed " + std::to_string(_o.seed) + "), domains " +
               show(ds);
    std::vector<Assignment> sols = solutions(ds);
    _stats.solutions += static_cast<std::int64_t>(sols.size());
    if (!sols.empty()) ++_stats.trialsWithSolutions;

    Trial tr;
    for (std::size_t i = 0; i < ds.size(); ++i) {
      tr.vars.push_back(_make(tr.store, static_cast<int>(i), ds[i]));
      if (!tr.vars.back()) {
        fail("could not make variable " + std::to_string(i));
        return;
      }
      if (current(tr.vars.back()) != ds[i]) {
        fail("variable " + std::to_string(i) + " made as " + show(current(tr.vars.back())));
        return;
      }
    }
    int r = _post(tr.store, tr.vars);
    if (r == NuvCPFailure || tr.store.status() == NuvCPFailure) {
      ++_stats.trialsFailedAtPost;
      if (!sols.empty()) fail("post failed with " + std::to_string(sols.size()) + " solutions, e.g. " + show(sols[0]));
      return;
    }
    if (!atFixpoint(tr, sols, "after post")) return;

    // Complete search, variables in a random order, values in a random order.
    std::vector<int> order(tr.vars.size());
    for (std::size_t i = 0; i < order.size(); ++i) order[i] = static_cast<int>(i);
    std::shuffle(order.begin(), order.end(), rng);
    std::vector<Assignment> found;
    search(tr, sols, order, 0, rng, found, "search");
    if (_failed) return;
    std::sort(found.begin(), found.end());
    std::vector<Assignment> want = sols;
    std::sort(want.begin(), want.end());
    if (found != want) {
      fail("search found " + std::to_string(found.size()) + " solutions, expected " +
           std::to_string(want.size()));
      return;
    }

    for (int d = 0; d < _o.dives && !_failed; ++d) dive(tr, sols, rng);
  }

  // Every assignment of the domains that satisfies the predicate.
  std::vector<Assignment> solutions(const std::vector<Domain>& ds) const {
    std::vector<Assignment> out;
    std::vector<std::size_t> idx(ds.size(), 0);
    Assignment a(ds.size());
    for (;;) {
      for (std::size_t i = 0; i < ds.size(); ++i) a[i] = ds[i][idx[i]];
      if (_pred(a)) out.push_back(a);
      std::size_t i = 0;
      while (i < ds.size() && ++idx[i] == ds[i].size()) idx[i++] = 0;
      if (i == ds.size()) break;
    }
    return out;
  }

  static Domain current(NuvCPIntVarI* x) {
    Domain d;
    for (std::int64_t v = x->getMin(); v <= x->getMax(); ++v)
      if (x->member(static_cast<int>(v))) d.push_back(static_cast<int>(v));
    return d;
  }

  struct Snapshot {
    std::vector<Domain> domains;
    std::vector<std::uint16_t> enabled;
  };
  static Snapshot snapshot(Trial& tr) {
    Snapshot s;
    for (NuvCPIntVarI* x : tr.vars) s.domains.push_back(current(x));
    for (int i = 0; i < tr.store.recentCount(); ++i) s.enabled.push_back(tr.store.recent(i)->enabledFlag());
    return s;
  }
  bool restored(Trial& tr, const Snapshot& before, const std::string& where) {
    Snapshot now = snapshot(tr);
    if (now.domains != before.domains)
      return fail(where + ": after backtracking the domains are " + show(now.domains) + ", were " +
                  show(before.domains));
    if (now.enabled != before.enabled)
      return fail(where + ": after backtracking a daemon's enabled flag differs");
    return true;
  }

  // The checks at a fixpoint reached without failure; `sols` are the
  // solutions compatible with the decisions taken so far.
  bool atFixpoint(Trial& tr, const std::vector<Assignment>& sols, const std::string& where) {
    ++_stats.nodes;
    std::vector<Domain> cur;
    bool allBound = true;
    for (NuvCPIntVarI* x : tr.vars) {
      cur.push_back(current(x));
      if (cur.back().empty()) return fail(where + ": a domain is empty without failure");
      if (x->isBound() != (cur.back().size() == 1))
        return fail(where + ": isBound disagrees with the domain " + show(cur.back()));
      allBound = allBound && cur.back().size() == 1;
    }
    for (const Assignment& s : sols)
      for (std::size_t i = 0; i < s.size(); ++i)
        if (!std::binary_search(cur[i].begin(), cur[i].end(), s[i]))
          return fail(where + ": solution " + show(s) + " pruned; domains now " + show(cur));
    if (allBound) {
      Assignment a;
      for (const Domain& d : cur) a.push_back(d[0]);
      if (!_pred(a)) return fail(where + ": all bound to the non-solution " + show(a));
    }
    if (_o.consistency == Consistency::None) return true;
    // sols all lie within cur (checked above): each is a support.
    for (std::size_t i = 0; i < cur.size(); ++i) {
      std::vector<int> need = cur[i];
      if (_o.consistency == Consistency::Bounds) need = {cur[i].front(), cur[i].back()};
      for (int v : need) {
        bool supported = false;
        for (const Assignment& s : sols)
          if (s[i] == v) {
            supported = true;
            break;
          }
        if (!supported)
          return fail(where + ": value " + std::to_string(v) + " of variable " + std::to_string(i) +
                      " has no support; domains now " + show(cur));
      }
    }
    return true;
  }

  void search(Trial& tr, const std::vector<Assignment>& sols, const std::vector<int>& order,
              std::size_t depth, std::mt19937& rng, std::vector<Assignment>& found,
              const std::string& where) {
    while (depth < order.size() && tr.vars[static_cast<std::size_t>(order[depth])]->isBound()) ++depth;
    if (depth == order.size()) {
      Assignment a;
      for (NuvCPIntVarI* x : tr.vars) a.push_back(x->getMin());
      found.push_back(a);
      return;
    }
    const int i = order[depth];
    NuvCPIntVarI* x = tr.vars[static_cast<std::size_t>(i)];
    Domain values = current(x);
    std::shuffle(values.begin(), values.end(), rng);
    for (int v : values) {
      Snapshot before = snapshot(tr);
      std::vector<Assignment> rest = filter(sols, i, [v](int w) { return w == v; });
      std::string here = where + " x" + std::to_string(i) + "=" + std::to_string(v);
      tr.trail.push();
      int r = tr.store.label(x, v);
      if (r == NuvCPFailure) {
        ++_stats.failures;
        if (!rest.empty()) fail(here + ": failed with " + std::to_string(rest.size()) + " solutions left, e.g. " + show(rest[0]));
      } else if (atFixpoint(tr, rest, here)) {
        search(tr, rest, order, depth + 1, rng, found, here);
      }
      tr.trail.pop();
      if (_failed || !restored(tr, before, here)) return;
    }
  }

  // Random decisions down to a failure or a full assignment, checking every
  // fixpoint, then one backtrack to the root.
  void dive(Trial& tr, std::vector<Assignment> sols, std::mt19937& rng) {
    Snapshot root = snapshot(tr);
    const std::size_t depth = tr.trail.depth();
    std::string where = "dive";
    for (;;) {
      std::vector<int> open;
      for (std::size_t i = 0; i < tr.vars.size(); ++i)
        if (!tr.vars[i]->isBound()) open.push_back(static_cast<int>(i));
      if (open.empty()) break;
      const int i = open[std::uniform_int_distribution<std::size_t>(0, open.size() - 1)(rng)];
      NuvCPIntVarI* x = tr.vars[static_cast<std::size_t>(i)];
      Domain d = current(x);
      const int v = d[std::uniform_int_distribution<std::size_t>(0, d.size() - 1)(rng)];
      tr.trail.push();
      int r = NuvCPFailure;
      std::string xi = " x" + std::to_string(i);
      switch (std::uniform_int_distribution<int>(0, 3)(rng)) {
        case 0:
          where += xi + "=" + std::to_string(v);
          sols = filter(sols, i, [v](int w) { return w == v; });
          r = tr.store.label(x, v);
          break;
        case 1:
          where += xi + "!=" + std::to_string(v);
          sols = filter(sols, i, [v](int w) { return w != v; });
          r = tr.store.diff(x, v);
          break;
        case 2:
          where += xi + "<" + std::to_string(v);
          sols = filter(sols, i, [v](int w) { return w < v; });
          r = tr.store.lthen(x, v);
          break;
        default:
          where += xi + ">" + std::to_string(v);
          sols = filter(sols, i, [v](int w) { return w > v; });
          r = tr.store.gthen(x, v);
          break;
      }
      if (r == NuvCPFailure) {
        ++_stats.failures;
        if (!sols.empty()) fail(where + ": failed with " + std::to_string(sols.size()) + " solutions left, e.g. " + show(sols[0]));
        break;
      }
      if (!atFixpoint(tr, sols, where)) break;
    }
    tr.trail.popTo(depth);
    if (!_failed) restored(tr, root, where);
  }

  template <class F>
  static std::vector<Assignment> filter(const std::vector<Assignment>& sols, int i, F keep) {
    std::vector<Assignment> out;
    for (const Assignment& s : sols)
      if (keep(s[static_cast<std::size_t>(i)])) out.push_back(s);
    return out;
  }

  bool fail(const std::string& what) {
    if (!_failed) ADD_FAILURE() << _context << ": " << what;
    _failed = true;
    return false;
  }

  Domains _domains;
  Post _post;
  Predicate _pred;
  MakeVar _make;
  Options _o;
  Stats _stats;
  bool _failed = false;
  std::string _context;
};

}  // namespace nuvcheck

// ---- shared arguments -------------------------------------------------------------
//
// The same checks with one variable, or offset views of it, in several
// argument positions of the relation: a propagator that takes its arguments
// for independent variables goes wrong exactly there.

namespace nuvcheck {

// One argument position filled by variable `var` plus `offset` (a non-zero
// offset passes an offset view of the variable).
struct Fill {
  int var;
  int offset = 0;
};
using Filling = std::vector<Fill>;

inline std::string show(const Filling& f) {
  std::ostringstream os;
  for (std::size_t i = 0; i < f.size(); ++i) {
    os << (i ? " " : "") << "v" << f[i].var;
    if (f[i].offset) os << (f[i].offset > 0 ? "+" : "") << f[i].offset;
  }
  return os.str();
}

// Every way to fill `arity` positions in which some variable fills two or
// more: each partition of the positions with a group of two or more; the
// first position of a group takes the variable itself, each further one the
// variable plus one of `offsets` (0: the variable itself). Positions marked
// in `plain` take no views.
inline std::vector<Filling> sharedFillings(int arity, const std::vector<int>& offsets,
                                           const std::vector<bool>& plain = {}) {
  std::vector<Filling> out;
  std::vector<int> group(static_cast<std::size_t>(arity), 0);
  std::function<void(int, int)> partitions = [&](int i, int groups) {
    if (i == arity) {
      if (groups == arity) return;  // all different: not shared
      // Offsets for every position that is not the first of its group.
      std::vector<std::vector<int>> choices;
      std::vector<bool> first(static_cast<std::size_t>(groups), true);
      for (int p = 0; p < arity; ++p) {
        const auto g = static_cast<std::size_t>(group[static_cast<std::size_t>(p)]);
        const bool isPlain = static_cast<std::size_t>(p) < plain.size() && plain[static_cast<std::size_t>(p)];
        choices.push_back(first[g] || isPlain ? std::vector<int>{0} : offsets);
        first[g] = false;
      }
      std::function<void(int, Filling&)> pick = [&](int p, Filling& f) {
        if (p == arity) return out.push_back(f);
        for (int o : choices[static_cast<std::size_t>(p)]) {
          f.push_back({group[static_cast<std::size_t>(p)], o});
          pick(p + 1, f);
          f.pop_back();
        }
      };
      Filling f;
      pick(0, f);
      return;
    }
    for (int g = 0; g <= groups && g < arity; ++g) {
      group[static_cast<std::size_t>(i)] = g;
      partitions(i + 1, g == groups ? groups + 1 : groups);
    }
  };
  partitions(0, 0);
  return out;
}

// Runs the search checker on a relation whose positions are filled as
// `fill` says. `ranges` holds each position's range; a variable's domains
// are drawn from the union of its positions' ranges, each moved back by the
// position's offset. `post` receives one variable (or view) per position and
// `holds` one value per position. A variable filling a position marked in
// `boolean` is a Boolean variable.
inline Stats checkShared(const Filling& fill, const std::vector<std::pair<int, int>>& ranges,
                         Post post, Predicate holds, Options o = {},
                         const std::vector<bool>& boolean = {}) {
  if (fill.size() != ranges.size()) {
    ADD_FAILURE() << "filling " << show(fill) << " has " << fill.size() << " positions, the ranges "
                  << ranges.size();
    return {};
  }
  int nvars = 0;
  for (const Fill& f : fill) nvars = std::max(nvars, f.var + 1);
  std::vector<std::pair<int, int>> varRanges(static_cast<std::size_t>(nvars), {INT32_MAX, INT32_MIN});
  std::vector<bool> isBool(static_cast<std::size_t>(nvars), false);
  for (std::size_t p = 0; p < fill.size(); ++p) {
    auto& r = varRanges[static_cast<std::size_t>(fill[p].var)];
    r.first = std::min(r.first, ranges[p].first - fill[p].offset);
    r.second = std::max(r.second, ranges[p].second - fill[p].offset);
    if (p < boolean.size() && boolean[p]) isBool[static_cast<std::size_t>(fill[p].var)] = true;
  }
  for (std::size_t v = 0; v < varRanges.size(); ++v)
    if (isBool[v]) varRanges[v] = {0, 1};
  // A variable no position names would get no domain at all.
  for (std::size_t v = 0; v < varRanges.size(); ++v)
    if (varRanges[v].first > varRanges[v].second) {
      ADD_FAILURE() << "filling " << show(fill) << " leaves variable " << v << " unused";
      return {};
    }
  MakeVar make = [isBool](NuvCPManagerI& s, int i, const Domain& d) {
    return isBool[static_cast<std::size_t>(i)] ? makeBoolVar(s, i, d) : makeIntVar(s, i, d);
  };
  Post filled = [fill, post](NuvCPManagerI& s, const Vars& vars) {
    Vars args;
    for (const Fill& f : fill) {
      NuvCPIntVarI* x = vars[static_cast<std::size_t>(f.var)];
      if (f.offset != 0)
        x = nuvCPNew<NuvCPViewIntVarI>(s.allocator(), s.allocator(), &s, x, f.offset);
      args.push_back(x);
    }
    return post(s, args);
  };
  Predicate pred = [fill, holds](const Assignment& a) {
    Assignment at;
    for (const Fill& f : fill) at.push_back(a[static_cast<std::size_t>(f.var)] + f.offset);
    return holds(at);
  };
  SCOPED_TRACE("positions filled as " + show(fill));
  PropagatorChecker checker(randomDomains(varRanges), filled, pred, make);
  return checker.run(o);
}

}  // namespace nuvcheck
