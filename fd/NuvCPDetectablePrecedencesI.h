// Unary-resource detectable precedences over Θ-trees.
#pragma once

#include <cstdint>
#include <iosfwd>

#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPIVarI.h"
#include "fd/NuvCPThetaTree.h"

// n activities with start, duration and end variables on one unary
// resource (end = start + duration kept by the activity; end is read as the
// latest completion), optionally with 0/1 presence variables. A guard
// variable, once bound, means the resource's work is done: propagation
// answers entailment at once.
//
// Rule: detectable precedences (Vilím, "O(n log n) filtering algorithms for
// unary resource constraint", CPAIOR 2004): when i cannot end before j must
// start (ect_i > lst_j, lst_j = max end_j - min duration_j), j precedes i,
// and i starts after the earliest completion of all activities detected to
// precede it, kept in a Θ-tree. With presence (Vilím, Barták and Čepek,
// Constraints 2005): undecided activities join as gray ones; only present
// activities are moved, and an undecided activity that would push a present
// one past its latest completion is made absent. When the gray record
// responsible for that is missing (-1: the bar value comes from the white
// activities alone), nothing is excluded and the loop stops: the present
// activity's own bound already carries that completion.
// The Θ-Λ tree of the optional form counts a gray activity that sits on an
// inner node in its white sums, so it is used only to name candidates: the
// bound of a present activity comes from a Θ-tree of the present ones, and
// each candidate for exclusion is confirmed on that tree (Θ without i, with
// the candidate) before it is made absent; an unconfirmed one ends the
// loop.
// Cost of one run: two bubble sorts on the orders kept from the last run,
// a reset of the tree (n re-keyings) and O(n log n) tree work. Not
// idempotent: its own changes queue it again.
// Shared arguments: each bound holds of every schedule given the bounds
// read at the start of the run; a variable in several places only weakens
// it.
// Members: n, the variables and the guard are constant; the orders persist
// between runs (untrailed); the value arrays, the records and the tree are
// scratch, rebuilt by every run.
class NuvCPDetectablePrecedencesCstrI : public NuvCPCstrI {
 public:
  NuvCPDetectablePrecedencesCstrI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* start,
                                  NuvCPIntVarI* const* duration, NuvCPIntVarI* const* end,
                                  NuvCPIntVarI* guard);
  std::size_t classSize() const override { return sizeof(NuvCPDetectablePrecedencesCstrI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;
  bool ok() const { return _ok; }

 protected:
  // Sorts byLst and byEct, reads est, dur and lct.
  void readActivities();

  std::int32_t _n;
  NuvCPIntVarI** _start;
  NuvCPIntVarI** _duration;
  NuvCPIntVarI** _end;
  NuvCPIntVarI* _guard;
  std::int32_t *_byLst = nullptr, *_byEct = nullptr, *_est = nullptr, *_dur = nullptr, *_lct = nullptr;
  std::int32_t* _key = nullptr;
  bool _ok = false;
  bool _posted = false;
  NuvCPThetaTree _theta;
};

class NuvCPDetectablePrecedencesWOCstrI : public NuvCPDetectablePrecedencesCstrI {
 public:
  NuvCPDetectablePrecedencesWOCstrI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* start,
                                    NuvCPIntVarI* const* duration, NuvCPIntVarI* const* end,
                                    NuvCPIntVarI* const* presence, NuvCPIntVarI* guard);
  std::size_t classSize() const override { return sizeof(NuvCPDetectablePrecedencesWOCstrI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;

 private:
  NuvCPIntVarI** _presence;
  bool* _present = nullptr;
  bool* _optional = nullptr;
  NuvCPThetaLambdaTree _tree;
  // The present activities' earliest completion without i and with k
  // added, from the white tree.
  std::int32_t ectWith(int i, int k);
};
