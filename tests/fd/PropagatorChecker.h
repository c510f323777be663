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

#include <functional>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "fd/NuvCPBoolVarI.h"
#include "fd/NuvCPCIntVarI.h"
#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPManagerI.h"
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
