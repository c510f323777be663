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
#include "fd/NuvCPShared.h"

// z == x + y, bounds(Z) consistent (exact for a sum of unit terms): each
// bound is the sum or difference of the others' bounds, repeated to the
// fixpoint. One run costs O(1) per round. Sums of two bounds fit easily in
// 64 bits; a bound beyond a variable's range fails rather than wraps.
// Entailed once two of the three are bound (the third is then bound too).
// Shared arguments (one variable, or offset views of it, in two positions):
// z sharing with x (z == x + d) makes the relation y == d, and z sharing with
// y makes it x == d; post binds that argument and is done (this also covers
// all three sharing). x sharing with y (z == 2x + d) keeps the bounds rules,
// which hold for any arguments and leave a bound tuple checked.
class NuvCPTernaryEqualI : public NuvCPCstrI {
 public:
  NuvCPTernaryEqualI(NuvCPManagerI* s, NuvCPIntVarI* x, NuvCPIntVarI* y, NuvCPIntVarI* z)
      : NuvCPCstrI(s, 5), _x(x), _y(y), _z(z),
        _concrete(x->isConcrete() && y->isConcrete() && z->isConcrete()) {}
  std::size_t classSize() const override { return sizeof(NuvCPTernaryEqualI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;

 private:
  // All constant.
  NuvCPIntVarI* _x;
  NuvCPIntVarI* _y;
  NuvCPIntVarI* _z;
  bool _concrete;  // constant: all three concrete, bounds read without virtual calls
  template <bool kConcrete>
  int run();
};

// z == x * y (x may be y: a square). Bounds consistent over the reals, with
// the hole at 0 taken into account: z within the products of the bounds; x
// within z / y, y split into its negative and positive parts, whenever 0 * x
// cannot give a value of z; 0 removed from x and y when z lacks it. For a
// square, x within +-sqrt of z's bounds, and while the domains are small
// every value keeps a support (domain consistent). One run is O(1) per round
// (O(|x| + |z|) for a small square). Products of two bounds are below 2^61,
// so nothing wraps; a bound beyond a variable's range fails.
// Shared arguments: x and y presenting the same variable with the same value
// (the variable itself, or a view with offset 0) is the square. Any other
// sharing (x * (x + c), x * y == x, ...) keeps the general rules: each one
// narrows to values that every solution has, whatever the arguments are, and
// once x and y are bound z is bound to their product, which fails when z's
// shared value disagrees. Sound, not complete, for those.
class NuvCPMultI : public NuvCPCstrI {
 public:
  NuvCPMultI(NuvCPManagerI* s, NuvCPIntVarI* x, NuvCPIntVarI* y, NuvCPIntVarI* z)
      : NuvCPCstrI(s, 5), _x(x), _y(y), _z(z) {
    std::int64_t d;
    _square = x == y || (nuvCPShared(x, y, d) && d == 0);
  }
  std::size_t classSize() const override { return sizeof(NuvCPMultI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;

 private:
  // x within z / y unless 0 * x can give a value of z; `changed` tells
  // whether x moved.
  static int divideInto(NuvCPIntVarI* x, const NuvCPIntVarI* z, const NuvCPIntVarI* y,
                        bool& changed);
  int squareSupports(bool& changed);
  // All constant.
  NuvCPIntVarI* _x;
  NuvCPIntVarI* _y;
  NuvCPIntVarI* _z;
  bool _square;
};

// z == b * x with b's domain within {0, 1} (a bool2int'd Boolean times an
// integer: the cost of an optional assignment, the load of a resource).
// Rules, repeated to their fixpoint:
//   b == 0 => z == 0 (and done);
//   0 not in z => b == 1;
//   b can be 1 but z's bounds do not meet x's => b == 0;
//   b == 1 => z == x on bounds, done once both are bound;
//   b open => z within hull({0} u [min x, max x]), each bound of z moved to
//   the next value of {0} u [min x, max x].
// Bounds(Z) consistent (holes of x and of z, other than 0 in z, are not
// read). One run is O(1) per round, two or three rounds, no division: the
// general product spent most of its time dividing bounds for this shape.
// No particular paper: the case split of a product by its 0/1 factor.
// Shared arguments: x == b + d (b times itself, shifted) makes x exactly
// 1 + d when b is 1, which the rules use as x's bounds; z == x + d with
// d != 0 leaves only b == 0 (x == -d), set at post; z == x leaves b == 1 or
// x == 0, which the rules reach; z == b + e is handled by the rules (each
// one narrows to values every solution has, and a bound b settles z). Sound
// for every sharing, bounds(Z) consistent for independent arguments.
// Idempotent: every run ends at the fixpoint of its rules.
// Members: all constant (the b/x sharing is computed at construction);
// nothing trailed, no scratch.
class NuvCPBoolTimesI : public NuvCPCstrI {
 public:
  NuvCPBoolTimesI(NuvCPManagerI* s, NuvCPIntVarI* b, NuvCPIntVarI* x, NuvCPIntVarI* z);
  std::size_t classSize() const override { return sizeof(NuvCPBoolTimesI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;

  // Whether v's domain lies within {0, 1}.
  static bool zeroOne(const NuvCPIntVarI* v) { return v->getMin() >= 0 && v->getMax() <= 1; }

 private:
  NuvCPIntVarI* _b;
  NuvCPIntVarI* _x;
  NuvCPIntVarI* _z;
  bool _xIsB;            // x presents b's variable: x == b + _dx
  std::int32_t _dx = 0;
};

// z == x * y: NuvCPBoolTimesI when either factor's domain lies within
// {0, 1} now (the factor that does is b), NuvCPMultI otherwise.
NuvCPCstrI* nuvCPNewProduct(NuvCPManagerI* s, NuvCPIntVarI* x, NuvCPIntVarI* y, NuvCPIntVarI* z);

// y == x * x: the product with both factors the same variable.
class NuvCPSquareI final : public NuvCPMultI {
 public:
  NuvCPSquareI(NuvCPManagerI* s, NuvCPIntVarI* x, NuvCPIntVarI* y) : NuvCPMultI(s, x, x, y) {}
  std::size_t classSize() const override { return sizeof(NuvCPSquareI); }
};

// y == |x|. Bounds rules always: y within [min |x|, max |x|] over x's
// bounds, x within [-max y, max y] and outside (-min y, min y) while one
// side of it is left; repeated to their fixpoint (two or three rounds).
// Past the cut-off (|x| + |y| > kWalk at post: |x - y| >= d over
// frequencies or positions in the hundreds or thousands), those rules plus
// the gap (-min y, min y) removed from x when x straddles it: domain
// consistent for x and y without holes (their other holes are not read),
// woken by bounds only. One run costs O(1) per round, plus one step per
// value still inside the gap. Walking every value of such domains on every
// run cost most of the search time and found little beyond the gap: the
// difference is typically defined by a linear equation that reads bounds.
// The gap itself matters: without it, that equation and the absolute value
// wake each other over and over (on a frequency model, 16 times as many
// runs of the absolute values and twice as many of the equations).
// Within the cut-off: domain consistent, woken by any change, every run
// also walks the values (y keeps v while x has v or -v, x keeps v while y
// has |v|): O(|x| + |y|) member tests per round. The cut-off is where the
// walk stops paying on a frequency model with the same search tree either
// way: about even at |x| + |y| = 60, 1.27 times the time at 240. Even
// below it, the walk can cost more than the nodes it saves: the all-interval
// series (|x| + |y| = 34) visits 8 % fewer nodes in 12 % more time. So the
// FlatZinc front end asks for the walk only under ::domain, as strong
// solvers make bounds reasoning the default for arithmetic.
// No particular paper: the textbook rules.
// Shared arguments (y == x + d, one variable or offset views of it): the
// relation |x| == x + d is decided at post (d == 0: x >= 0; d > 0 even:
// x == -d/2; otherwise no solution) and the propagator is not kept. Any
// other argument pair is independent.
// Idempotent: every run ends at the fixpoint of its rules.
// Members: _x, _y, _walkLimit constant; _walk set once at post (constant
// afterwards); nothing trailed, no scratch.
class NuvCPAbsI : public NuvCPCstrI {
 public:
  // |x| + |y| at post up to which values are walked; `walk` replaces it
  // (tests give 0 to check the walkless rules on small domains). The
  // FlatZinc front end gives 0 unless the constraint asks for domain
  // reasoning, and then kDomainWalk.
  static constexpr std::int64_t kWalk = 64;
  static constexpr std::int64_t kDomainWalk = 4096;

  NuvCPAbsI(NuvCPManagerI* s, NuvCPIntVarI* x, NuvCPIntVarI* y, std::int64_t walk = kWalk)
      : NuvCPCstrI(s, 6, true), _x(x), _y(y), _walkLimit(walk) {}
  std::size_t classSize() const override { return sizeof(NuvCPAbsI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;
  // Whether the values are walked (known after post).
  bool walksValues() const { return _walk; }


 private:
  NuvCPIntVarI* _x;
  NuvCPIntVarI* _y;
  std::int64_t _walkLimit;
  bool _walk = false;
};

// z == f(x, y) for division (truncating), remainder (sign of x), power,
// minimum and maximum. While x and y have at most kEnumerate pairs of
// values, every value of x, y and z keeps a supporting pair (domain
// consistency); beyond that, bounds rules specific to f, and the exact value
// once x and y are fixed. An enumerating run costs O(|x| * |y|) applications
// of f, plus O(|z|) for z's holes while z's range is at most kMarkBits wide
// (the supported values are marked on the stack during the pass; a calendar's
// t mod 24 over a few hundred t is this case), else a search for a pair per
// value of z while |z| * |x| * |y| <= 16 * kEnumerate, else z's holes are
// left. "min" and "max" through CP$CExpr and the modeling
// layer are posted as NuvCPArrayMinMaxI instead (bounds consistent, two
// reads per argument and run); the Min and Max operations here are the
// domain-consistent alternative for small domains.
// Shared arguments (one variable, or offset views of it, in two or three
// positions: min(x, x), x div x, x mod (x + 1) == x, ...): the enumeration
// only counts pairs (a, b) and results f that respect the fixed differences
// between the shared positions, so it stays domain consistent; the bounds
// rules hold for any arguments, and fixed x and y bind z, which fails when
// z's shared value disagrees.
// Members: all constant (the sharing is computed at construction).
class NuvCPBinaryFunctionI : public NuvCPCstrI {
 public:
  enum class Op { Div, Mod, Pow, Min, Max };
  static constexpr std::int64_t kEnumerate = 4096;
  // Width of z's range up to which the supported values of z are marked in
  // a bit set on the stack during the pass over the pairs.
  static constexpr std::int64_t kMarkBits = 256;

  NuvCPBinaryFunctionI(NuvCPManagerI* s, Op op, NuvCPIntVarI* x, NuvCPIntVarI* y, NuvCPIntVarI* z)
      : NuvCPCstrI(s, 4), _op(op), _x(x), _y(y), _z(z) {
    const NuvCPIntVarI* args[3] = {x, y, z};
    _share.compute(args);
  }
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
  // Whether x = a, y = b, z = f respect the shared positions.
  bool consistent(std::int64_t a, std::int64_t b, std::int64_t f) const {
    const std::int64_t v[3] = {a, b, f};
    return !_share.any || _share.consistent(v);
  }

  Op _op;
  NuvCPIntVarI* _x;
  NuvCPIntVarI* _y;
  NuvCPIntVarI* _z;
  NuvCPSharing<3> _share;
};

// m == min(xs) (or max), bounds consistent; also the binary int_min and
// int_max. One run: at most four rounds of two reads per argument, O(n) each
// (the standard bounds-consistency rules for min and max, from no
// particular paper); no allocation. Shared arguments (m among the xs, a variable
// or its views at several places): every rule narrows to values that all
// solutions have, whatever the arguments are (a variable that appears twice
// only counts twice as a candidate, which prunes less), and with everything
// bound m is the minimum or the bounds fail.
// Members: all constant (_xs is allocated once at construction); nothing is
// trailed, no scratch.
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
