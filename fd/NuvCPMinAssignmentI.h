// Assignment of bounded cost: all-different variables, each choice with a
// cost, the total at most a variable.
#pragma once

#include <cstdint>
#include <iosfwd>

#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPIVarI.h"

// n variables x[i] over the columns named low..low + m - 1 (n <= m), a cost
// matrix c (n rows of m, row-major) and a cost variable z:
//   x all different, and z = sum of c[i][x[i] - low].
// All-different on x is posted beside this propagator.
//
// Consistency (Focacci, Lodi and Milano, "Cost-based domain filtering", CP
// 1999): the Hungarian algorithm (shortest augmenting paths, Kuhn-Munkres
// in the O(n^2 m) form) finds the cheapest assignment within the current
// domains, which bounds z from below; its dual gives every pair (i, j) a
// reduced cost r >= 0 such that an assignment that puts x[i] on j costs at
// least the bound plus r, so j leaves x[i] when that exceeds z's maximum.
// z's maximum is bounded by the dearest choices' sum (bounds reasoning).
// No assignment within the domains fails.
// Cost of one run: O(n^2 m) for the algorithm, O(n m) for the filtering.
// Shared arguments: one variable at two rows fails with all-different; a
// cost variable that is also a row is read as both: sound (every rule is a
// consequence of the relation), exact once bound.
// Members: x, the costs, z and low are constant; the matrix with its
// forbidden entries (filled once a run), the potentials and the matching
// are scratch.
class NuvCPMinAssignmentI : public NuvCPCstrI {
 public:
  NuvCPMinAssignmentI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* x, int m, const int* cost,
                      NuvCPIntVarI* z, int low);
  std::size_t classSize() const override { return sizeof(NuvCPMinAssignmentI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;
  // False when storage ran out, n > m, or the columns' names overflow.
  bool ok() const { return _ok; }

 private:
  std::int32_t _n, _m, _low;
  bool _ok = false;
  NuvCPIntVarI** _x = nullptr;
  NuvCPIntVarI* _z;
  std::int32_t* _cost = nullptr;
  std::int64_t* _a = nullptr;  // scratch: the costs with the domains' gaps forbidden
  // Scratch (1-based as the algorithm is written): u[n + 1], v[m + 1],
  // minv[m + 1], p[m + 1], way[m + 1], used[m + 1].
  std::int64_t *_u = nullptr, *_v = nullptr, *_minv = nullptr;
  std::int32_t *_p = nullptr, *_way = nullptr, *_used = nullptr;
};
