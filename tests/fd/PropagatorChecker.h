// An exhaustive checker for propagators over small domains.
//
// A family supplies how to make its variables, how to post the propagator
// under test and the relation it enforces, as a predicate over a full
// assignment. For each seeded random trial the checker builds a fresh store
// with small random domains, enumerates every assignment of those domains to
// know the solutions, posts, and then checks, at the post's fixpoint and at
// every node of a complete search and of random dives with mixed decisions
// (bind, remove, <, >):
//   - no solution compatible with the decisions taken is ever pruned, and a
//     failure happens only when no such solution is left;
//   - whenever every variable is bound at a fixpoint, the predicate holds;
//   - the search finds exactly the solutions, each once;
//   - after backtracking, every domain and every posted daemon's enabled flag
//     equals what it was before the branch;
//   - optionally, domain consistency (every remaining value has a support
//     among the solutions within the current domains) or bounds consistency
//     (every variable's min and max have such a support).
// Variables are read only through NuvCPIntVarI (getMin, getMax, member), so
// Boolean variables and views are checked the same way.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "fd/NuvCPCIntVarI.h"
#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPManagerI.h"
#include "host/NuvTrail.h"
#include "host/PimAllocator.h"

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
