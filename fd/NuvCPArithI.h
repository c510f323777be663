// Non-linear integer arithmetic: products, squares, absolute values,
// division, remainder, powers, minimum and maximum.
//
// All intermediate values are 64-bit; variables hold values within
// -1073741823..1073741822, so products of two bounds cannot wrap, and a
// result beyond a domain simply fails or removes nothing.
#pragma once

#include <cstdint>
#include <iosfwd>

#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPIVarI.h"

// z == x * y (x may be y: a square), bounds consistent: z within the
// products of the bounds; x and y within the quotients when the divisor
// excludes 0; 0 removed from x and y when z excludes it.
class NuvCPMultI : public NuvCPCstrI {
 public:
  NuvCPMultI(NuvCPManagerI* s, NuvCPIntVarI* x, NuvCPIntVarI* y, NuvCPIntVarI* z)
      : NuvCPCstrI(s, 5), _x(x), _y(y), _z(z) {}
  std::size_t classSize() const override { return sizeof(NuvCPMultI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;

 private:
  // x within z / y when y excludes 0; `changed` tells whether x moved.
  static int divideInto(NuvCPIntVarI* x, const NuvCPIntVarI* z, const NuvCPIntVarI* y,
                        bool& changed);
  NuvCPIntVarI* _x;
  NuvCPIntVarI* _y;
  NuvCPIntVarI* _z;
};

// y == |x|, domain consistent.
class NuvCPAbsI : public NuvCPCstrI {
 public:
  NuvCPAbsI(NuvCPManagerI* s, NuvCPIntVarI* x, NuvCPIntVarI* y) : NuvCPCstrI(s, 6), _x(x), _y(y) {}
  std::size_t classSize() const override { return sizeof(NuvCPAbsI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;

 private:
  NuvCPIntVarI* _x;
  NuvCPIntVarI* _y;
};

// z == f(x, y) for division (truncating), remainder (sign of x), power,
// minimum and maximum. While x and y have at most kEnumerate pairs of
// values, every value of x, y and z keeps a supporting pair (domain
// consistency); beyond that, bounds rules specific to f, and the exact value
// once x and y are fixed.
class NuvCPBinaryFunctionI : public NuvCPCstrI {
 public:
  enum class Op { Div, Mod, Pow, Min, Max };
  static constexpr std::int64_t kEnumerate = 4096;

  NuvCPBinaryFunctionI(NuvCPManagerI* s, Op op, NuvCPIntVarI* x, NuvCPIntVarI* y, NuvCPIntVarI* z)
      : NuvCPCstrI(s, 4), _op(op), _x(x), _y(y), _z(z) {}
  std::size_t classSize() const override { return sizeof(NuvCPBinaryFunctionI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;

  // f(a, b); false where f is undefined (a zero divisor, a negative power of
  // 0) or leaves the 64-bit range.
  static bool apply(Op op, std::int64_t a, std::int64_t b, std::int64_t& out);

 private:
  int enumerate();
  int bounds();

  Op _op;
  NuvCPIntVarI* _x;
  NuvCPIntVarI* _y;
  NuvCPIntVarI* _z;
};

// m == min(xs) (or max), bounds consistent.
class NuvCPArrayMinMaxI : public NuvCPCstrI {
 public:
  NuvCPArrayMinMaxI(NuvCPManagerI* s, bool isMax, NuvCPIntVarI* m, int n, NuvCPIntVarI* const* xs);
  std::size_t classSize() const override { return sizeof(NuvCPArrayMinMaxI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;
  bool ok() const { return _n > 0 && _xs; }

 private:
  int propagateMin(int sign);
  bool _isMax;
  NuvCPIntVarI* _m;
  std::int32_t _n;
  NuvCPIntVarI** _xs;
};
