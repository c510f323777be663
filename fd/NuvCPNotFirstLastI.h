// Unary-resource not-first / not-last (quadratic scans) and disjunctive
// pairs, with their optional-activity forms.
#pragma once

#include <cstdint>
#include <iosfwd>

#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPIVarI.h"

// n activities with start, duration and end variables on one unary
// resource (end = start + duration kept by the activity), optionally with
// 0/1 presence variables. A guard variable, once bound, means the
// resource's work is done: propagation answers entailment at once.
//
// Rules (Baptiste and Le Pape, "Edge-finding constraint propagation
// algorithms for disjunctive and cumulative scheduling", 1996; Torres and
// Lopez, "On not-first/not-last conditions in disjunctive scheduling",
// EJOR 2000), one activity i at a time against the set Ω of the others
// that may overlap it, packed from one end:
//   not-first: Ω (the activities that cannot end before i may start,
//   packed backwards from the largest latest completion) cannot all follow
//   i: i starts no earlier than the smallest earliest completion in Ω;
//   not-last: Ω (the activities that must start before i ends, packed
//   forwards from the smallest earliest start) cannot all precede i: i
//   ends no later than the largest latest start in Ω.
// Bounds are read live, so an update is seen by the activities after it;
// scans repeat until a pass changes nothing (idempotent).
// With presence: only present activities join Ω; a present i is moved, an
// undecided i is made absent when the bound leaves it no start, an absent
// one is skipped.
// Cost of one pass: a bubble sort on the order kept from the last run,
// then O(n^2) bound reads.
// Shared arguments: each bound holds of every schedule given the bounds
// read; a variable in several places only weakens it.
// Members: n and the guard are constant; the three (four) variable arrays
// are kept in the propagator's own order, re-sorted in place by every run
// (untrailed: the order only sequences the work).
class NuvCPNotFirstLastI : public NuvCPCstrI {
 public:
  // `presence` and `guard` may be null.
  NuvCPNotFirstLastI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* start, NuvCPIntVarI* const* duration,
                     NuvCPIntVarI* const* end, NuvCPIntVarI* const* presence, NuvCPIntVarI* guard);
  std::size_t classSize() const override { return sizeof(NuvCPNotFirstLastI); }
  void mark(PimMarker& m) override;
  int post(int level) override;
  bool ok() const { return _n == 0 || (_start && _duration && _end); }

 protected:
  void swap(int a, int b);
  // -1 absent, 0 undecided, 1 present (always 1 without presence).
  int presence(int i) const {
    if (!_presence) return 1;
    return _presence[i]->getMin() > 0 ? 1 : _presence[i]->getMax() > 0 ? 0 : -1;
  }
  int raiseStart(int i, int v);  // for a present or undecided i
  int lowerStart(int i, int v);

  std::int32_t _n;
  NuvCPIntVarI** _start;
  NuvCPIntVarI** _duration;
  NuvCPIntVarI** _end;
  NuvCPIntVarI** _presence;
  NuvCPIntVarI* _guard;
};

class NuvCPNotFirstCstrI : public NuvCPNotFirstLastI {
 public:
  using NuvCPNotFirstLastI::NuvCPNotFirstLastI;
  std::size_t classSize() const override { return sizeof(NuvCPNotFirstCstrI); }
  void print(std::ostream& os) const override;
  int propagate() override;
};

class NuvCPNotLastCstrI : public NuvCPNotFirstLastI {
 public:
  using NuvCPNotFirstLastI::NuvCPNotFirstLastI;
  std::size_t classSize() const override { return sizeof(NuvCPNotLastCstrI); }
  void print(std::ostream& os) const override;
  int propagate() override;
};

// The optional forms print their own names.
class NuvCPNotFirstOptionalCstrI : public NuvCPNotFirstCstrI {
 public:
  using NuvCPNotFirstCstrI::NuvCPNotFirstCstrI;
  std::size_t classSize() const override { return sizeof(NuvCPNotFirstOptionalCstrI); }
  void print(std::ostream& os) const override;
};

class NuvCPNotLastOptionalCstrI : public NuvCPNotLastCstrI {
 public:
  using NuvCPNotLastCstrI::NuvCPNotLastCstrI;
  std::size_t classSize() const override { return sizeof(NuvCPNotLastOptionalCstrI); }
  void print(std::ostream& os) const override;
};

// Two activities A and B that do not overlap: A.end <= B.start or
// B.end <= A.start (ends kept as start + duration by the activities).
// When B cannot start after A ends (B's latest start < A's earliest end),
// A comes second: A starts after B's earliest end and B ends before A's
// latest start; symmetrically the other way. Bounds reasoning on the two
// precedences, O(1) per run; never reports itself entailed (the pair
// keeps watching). With presence variables (the optional pair): an absent
// activity makes the pair vacuous; when the two activities' compulsory
// parts [latest start, earliest end) intersect and one is present, the
// other is made absent; the precedences move only present activities.
// Shared arguments: each update follows from the two precedences and holds
// for any variables. Members: the variables are constant; the posted flag
// is set once.
class NuvCPDisjunctiveCstrI : public NuvCPCstrI {
 public:
  NuvCPDisjunctiveCstrI(NuvCPManagerI* store, NuvCPIntVarI* aStart, NuvCPIntVarI* aEnd,
                        NuvCPIntVarI* bStart, NuvCPIntVarI* bEnd)
      : NuvCPCstrI(store, 5), _v{aStart, aEnd, bStart, bEnd} {}
  std::size_t classSize() const override { return sizeof(NuvCPDisjunctiveCstrI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;

 protected:
  NuvCPIntVarI* _v[4];  // A's start, A's end, B's start, B's end
  bool _posted = false;
};

class NuvCPOptionalDisjunctiveCstrI : public NuvCPDisjunctiveCstrI {
 public:
  NuvCPOptionalDisjunctiveCstrI(NuvCPManagerI* store, NuvCPIntVarI* aStart, NuvCPIntVarI* aEnd,
                                NuvCPIntVarI* aPresent, NuvCPIntVarI* bStart, NuvCPIntVarI* bEnd,
                                NuvCPIntVarI* bPresent)
      : NuvCPDisjunctiveCstrI(store, aStart, aEnd, bStart, bEnd), _p{aPresent, bPresent} {}
  std::size_t classSize() const override { return sizeof(NuvCPOptionalDisjunctiveCstrI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;

 private:
  NuvCPIntVarI* _p[2];
};
