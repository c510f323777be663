// Cumulative (discrete) resources: edge finding.
#pragma once

#include <cstdint>
#include <iosfwd>

#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPIVarI.h"

// n tasks, task i starting at s[i], lasting d[i] and using r[i] units of a
// resource of capacity c, present when p[i] is 1 (no presence array: all
// present): at every time the present tasks running use at most c units.
// The relation is the time-table's; this propagator only adds deductions
// and is posted beside it (which checks the relation in full and narrows
// d, r and c).
//
// Rule: edge finding for cumulative resources (Nuijten, thesis, 1994;
// detection as in Vilím, "Edge finding filtering algorithm for discrete
// cumulative resources in O(kn log n)", CP 2009): with energies
// e_i = r_i * d_i (minima) and C = max c, the energy envelope of a set
// Θ (max over Ω ⊆ Θ of C * est(Ω) + e(Ω)) above C * lct(Θ) is an overload;
// a task i for which Θ ∪ {i} would overload must end after all of Θ, and
// then for each Ω ⊆ Θ with rest(Ω, r_i) = e(Ω) - (C - r_i)(lct(Θ) - est(Ω))
// > 0 starts at est(Ω) + ceil(rest / r_i). Detection runs on a Θ-Λ tree
// of energy envelopes (tasks gray as they leave Θ by latest completion,
// optional tasks gray from the start); the update of a detected task scans
// the sets Ω of Θ that start at an earliest start (O(n)). Written once on
// a view of the tasks and run forward and mirrored (latest completions).
// Optional tasks: only present ones form Θ and are moved; an undecided
// one is made absent when its update leaves it no start.
// Cost of one run: O(n log n) detection plus O(n) per detected task, per
// direction; tasks of zero duration or demand take no part. Not
// idempotent: its own changes queue it again. Energies and envelopes are
// 64-bit, on times measured from the smallest earliest start; a resource
// whose C times the horizon or total energy would not fit (beyond 2^60)
// is left to time-tabling.
// Measured on the bench's project-scheduling instances beside time-tabling:
// up to a third fewer nodes but more than twice the time, so the front end
// does not post it for MiniZinc's cumulative.
// Shared arguments: each bound holds of every schedule given the bounds
// read at the start of the direction; a variable in several places only
// weakens it.
// Members: n, the variable arrays are constant; views, tree and orders are
// scratch, allocated at construction; nothing is trailed.
class NuvCPDiscreteEdgeFinderI : public NuvCPCstrI {
 public:
  NuvCPDiscreteEdgeFinderI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* s, NuvCPIntVarI* const* d,
                           NuvCPIntVarI* const* r, NuvCPIntVarI* c, NuvCPIntVarI* const* present = nullptr);
  std::size_t classSize() const override { return sizeof(NuvCPDiscreteEdgeFinderI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;
  bool ok() const { return _n == 0 || _scratch; }

 private:
  struct Node {
    std::int64_t e, env, eBar, envBar;
    std::int32_t respE, respEnv;
  };
  // -1 absent, 0 undecided, 1 present.
  int presence(int i) const {
    if (!_p) return 1;
    return _p[i]->getMin() > 0 ? 1 : _p[i]->getMax() > 0 ? 0 : -1;
  }
  int direction(bool mirrored);
  void setLeaf(int i, int colour);  // 0 empty, 1 white, 2 gray
  // The largest start bound for task i from the sets of the tasks that
  // complete by `lct` (Θ), over those of them that start at each est.
  std::int64_t adjust(int i, std::int64_t lct) const;

  std::int32_t _n;
  NuvCPIntVarI** _s;
  NuvCPIntVarI** _d;
  NuvCPIntVarI** _r;
  NuvCPIntVarI* _c;
  NuvCPIntVarI** _p = nullptr;
  void* _scratch = nullptr;
  std::int32_t _size = 0;
  Node* _tree = nullptr;
  std::int64_t *_est = nullptr, *_lct = nullptr, *_dur = nullptr, *_dem = nullptr, *_prec = nullptr;
  std::int32_t *_byEst = nullptr, *_byLct = nullptr, *_leaf = nullptr;
  std::int8_t* _state = nullptr;  // per task: -1 out, 0 optional, 1 present
  std::int64_t _cap = 0;
};
