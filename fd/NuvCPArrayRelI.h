// Relations over the variables of one array: ordered, all equal, a member.
#pragma once

#include <cstdint>
#include <iosfwd>

#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPIVarI.h"

// x[0] <= x[1] <= ... <= x[n-1] (< when strict).
// Consistency: bounds consistency, by one pass up (each minimum at least
// the one before, plus one when strict) and one pass down (each maximum at
// most the one after): a chain reaches its fixpoint in those two passes,
// where the n - 1 binary constraints of the decomposition take up to n
// rounds. Cost of one run: O(n). Idempotent.
// Shared arguments: a variable at two positions holds both bounds; with
// strict, a variable twice fails (the passes push its bounds past each
// other), as the relation says. Exact once bound.
// Members: x and the strict flag are constant.
class NuvCPIncreasingI : public NuvCPCstrI {
 public:
  NuvCPIncreasingI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* x, bool strict);
  std::size_t classSize() const override { return sizeof(NuvCPIncreasingI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;
  bool ok() const { return _n == 0 || _x; }

 private:
  std::int32_t _n;
  NuvCPIntVarI** _x;
  bool _strict;
};

// x[0] = x[1] = ... = x[n-1].
// Consistency: domain consistency: every domain becomes the intersection
// of all of them (removals copied to every variable). Cost of one run:
// O(n * d). Idempotent. Shared arguments: harmless (equal already).
// Members: x constant.
class NuvCPAllEqualI : public NuvCPCstrI {
 public:
  NuvCPAllEqualI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* x);
  std::size_t classSize() const override { return sizeof(NuvCPAllEqualI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;
  bool ok() const { return _n == 0 || _x; }

 private:
  std::int32_t _n;
  NuvCPIntVarI** _x;
};

// y equals some x[i].
// Consistency: domain consistency: y keeps the values some x may take;
// when a single x can still equal y, it keeps only y's values. Cost of
// one run: O(n * d). Shared arguments (y among the x): then the relation
// holds at once; the rules stay sound. Members: x and y constant.
class NuvCPMemberI : public NuvCPCstrI {
 public:
  NuvCPMemberI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* x, NuvCPIntVarI* y);
  std::size_t classSize() const override { return sizeof(NuvCPMemberI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;
  bool ok() const { return _n == 0 || _x; }

 private:
  std::int32_t _n;
  NuvCPIntVarI** _x;
  NuvCPIntVarI* _y;
};
