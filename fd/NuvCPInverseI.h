// Inverse: two arrays of variables channelled as inverse functions.
#pragma once

#include <cstdint>
#include <iosfwd>

#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPIVarI.h"

// X indexed lowX..upX, Y indexed lowY..upY: X[i] == j exactly when Y[j] == i.
//
// Consistency: every value removed from one side removes the mirrored value
// on the other (j leaves X[i] exactly when i leaves Y[j]); post first
// restricts each side to the other's index range and mirrors the values
// already missing. No more: a binding is seen only as the removal of the
// other values, so x1 = 2 alone does not bind y2 = 1 (the relation's
// all-different part is left to whatever else is posted; with every
// variable bound, any violation shows as a mirrored removal of a bound
// value, so a wrong assignment always fails).
// Cost: post O(|X| * |Y|) membership tests; one removal per value event.
// Source: the channelling constraints of Cheng, Lee & Wu, "Speeding up
// constraint propagation by redundant modeling" (CP 1996), on removals.
// Shared variables: each subscription carries its array index, and an event
// is resolved by the variable's identity at that index: a variable standing
// in X at i is X's there, one standing in Y at j is Y's; one standing in
// both arrays at the same index mirrors to both sides. Offset views are
// distinct variables whose events name the view, so they resolve the same
// way. Sound for any sharing (every narrowing is a mirrored removal); with
// a variable in several places post subscribes before filtering, so that
// narrowing it for one place is mirrored for the others.
// Members: the arrays and index ranges are constant; the posted flag is a
// plain field (a second post is a no-op answering 2, not undone by
// backtracking).
class NuvCPInverseI : public NuvCPCstrI {
 public:
  NuvCPInverseI(NuvCPManagerI* s, int lowX, int nX, NuvCPIntVarI* const* xs, int lowY, int nY,
                NuvCPIntVarI* const* ys);
  std::size_t classSize() const override { return sizeof(NuvCPInverseI); }
  void mark(PimMarker& m) override;
  // "inverse([" X's print forms, comma separated "],[" Y's "])"
  void print(std::ostream& os) const override;
  int post(int level) override;
  int valRemoveIdx(NuvCPIntVarI* x, int index, int value) override;
  bool ok() const { return (_nX == 0 || _x) && (_nY == 0 || _y); }

 private:
  NuvCPIntVarI* x(int i) const { return _x[i - _lowX]; }
  NuvCPIntVarI* y(int j) const { return _y[j - _lowY]; }
  bool inX(int i) const { return i >= _lowX && i - _lowX < _nX; }
  bool inY(int j) const { return j >= _lowY && j - _lowY < _nY; }
  bool sharesVariables() const;
  void subscribe();

  std::uint8_t _posted = 0;
  std::int32_t _lowX, _nX;
  NuvCPIntVarI** _x = nullptr;
  std::int32_t _lowY, _nY;
  NuvCPIntVarI** _y = nullptr;
};
