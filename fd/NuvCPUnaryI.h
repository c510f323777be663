// A unary resource: the strong, sound engine that the front end posts for
// disjunctive and unit-capacity cumulative resources.
#pragma once

#include <cstdint>
#include <iosfwd>

#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPIVarI.h"

// n tasks, task i starting at s[i] and lasting d[i], present when p[i] is 1
// (no presence array: every task is present):
//   for every two present tasks i != j: s[i] + d[i] <= s[j] or s[j] + d[j] <= s[i]
// ("strict"), or the same only for tasks of positive duration ("non-strict":
// a task of duration 0 may sit anywhere, even inside another), and every
// d[i] >= 0 (as MiniZinc's scheduling globals assume; posted at once).
//
// Consistency: the four O(n log n) rules of Vilím's unary resource
// ("O(n log n) filtering algorithms for unary resource constraint",
// CPAIOR 2004; "Filtering algorithms for the unary resource constraint",
// thesis, 2007), with optional tasks as in Vilím, Barták and Čepek,
// "Extension of O(n log n) filtering algorithms for the unary resource
// constraint to optional activities", Constraints 10(4), 2005:
//   overload checking (Θ-Λ tree: an optional task that would overload the
//   present ones is made absent), detectable precedences, not-last, and
//   edge finding (Θ-Λ tree with the optional tasks gray from the start).
// Each rule is written once, on a view of the tasks (est, lct, p), raising
// earliest starts or lowering latest completions, and runs on the forward
// view and on the mirrored one (time negated), which gives not-first and
// the latest-start halves. The rules run in turns until a whole round
// narrows nothing (idempotent). A task is read as the interval
// [s, s + min d): every present task occupies at least that, so the rules
// are sound for variable durations, and exact once d is bound. Only the
// starts of present tasks are narrowed; an undecided optional task is
// never moved, only made absent when the rules leave it no room (its start
// stays free for whatever else the model says of it). Durations are only
// read.
// Cost of one round: four sorts by insertion on orders kept from the last
// run (linear when little changed), then O(n log n) per rule and view.
// Shared arguments: every rule derives bounds valid in all schedules from
// a snapshot of the bounds and narrows through the variables, so one
// variable in several places (two tasks with one start, a start that is
// also a duration, views) only makes it weaker, never unsound.
// Members: n, the variable arrays and the strict flag are constant; the
// orders persist between runs (untrailed: they only speed up the sorts);
// views, tree and results are scratch, allocated at construction.
class NuvCPUnaryResourceI : public NuvCPCstrI {
 public:
  // `present` may be null (every task present).
  NuvCPUnaryResourceI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* s, NuvCPIntVarI* const* d,
                      NuvCPIntVarI* const* present, bool strict);
  std::size_t classSize() const override { return sizeof(NuvCPUnaryResourceI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;
  bool ok() const { return _n == 0 || _scratch; }

 private:
  enum State : std::uint8_t { kAbsent, kPresent, kOptional };
  // One Θ-Λ tree node: the white tasks' total duration and earliest
  // completion, and the same with at most one gray task added (and which).
  struct Node {
    std::int64_t sumP, ect, sumPBar, ectBar;
    std::int32_t respP, respEct;
  };
  // The tasks as one direction sees them, with the rules' results.
  struct View {
    std::int64_t *est, *lct, *p;
    std::int64_t *newEst, *newLct;
    std::int32_t *byEst, *byLct, *byLst, *byEct;  // persistent orders
  };

  int round(bool mirrored, bool& changed);
  void readView(View& v, bool mirrored);
  int overload(View& v);
  void detectablePrecedences(View& v);
  void notLast(View& v);
  int edgeFinding(View& v);
  int apply(View& v, bool mirrored, bool& changed);
  int exclude(int i);

  // The tree over the view's tasks in est order (leaf of task i: _leaf[i]).
  // thetaOnly: only the white sums and ects are kept up to date (the
  // rules without gray tasks).
  void clearTree(const View& v, bool thetaOnly);
  void fillLeaf(int i, int colour, const View& v);  // 0 empty, 1 white, 2 gray
  void setLeaf(int i, int colour, const View& v);   // fillLeaf, then the path up
  void combine(int k);
  void update(int leaf);
  std::int64_t ectWithout(int i) const;
  std::int64_t ect() const { return _tree[1].ect; }
  bool white(int i) const { return _colour[i] == 1; }

  std::int32_t _n;
  bool _strict;
  NuvCPIntVarI** _s;
  NuvCPIntVarI** _d;
  NuvCPIntVarI** _present;  // null: all present
  void* _scratch = nullptr;
  View _views[2] = {};
  State* _state = nullptr;
  std::int32_t _size = 0;  // leaves of the tree (a power of two >= n)
  Node* _tree = nullptr;
  std::int32_t* _leaf = nullptr;
  std::uint8_t* _colour = nullptr;
  bool _excluded = false;  // a task was made absent in this view's round
  bool _anyOptional = false;
  bool _thetaOnly = false;
};

// "CP$OptionalEdgeFinder": the same engine over activities with presence,
// under its own print form.
class NuvCPEdgeFinderOptionalI : public NuvCPUnaryResourceI {
 public:
  using NuvCPUnaryResourceI::NuvCPUnaryResourceI;
  std::size_t classSize() const override { return sizeof(NuvCPEdgeFinderOptionalI); }
  void print(std::ostream& os) const override;
};
