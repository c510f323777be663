// Linear constraints over integer variables, in the normal form
// sum(a[i] * x[i]) + k  rel  0, and the counts of true Booleans.
//
// Arithmetic: every product of a coefficient and a bound is formed in 64
// bits. Variables hold values within -1073741823..1073741822, so one product
// stays below 2^61 in magnitude; the sums stay exact as long as the sum of
// |a[i]| * max|x[i]| plus |k| stays below 2^62, which nuvCPLinearFits()
// checks. The constructors (and the native classes) refuse a constraint that
// does not fit with a PimExecutionError instead of letting a sum wrap, so a
// bound is never derived from a wrapped value. Bounds only narrow after
// construction, so a sum that fits then fits for good.
//
// Termination: the equations iterate to their own fixpoint inside one call,
// but at most a fixed number of passes (see kMaxPasses in the source): with
// large coprime coefficients bounds reasoning may shave one value per pass
// over a domain of 2^31 values (and holes can do the same on small domains).
// They are idempotent daemons: the store does not rerun them on their own
// changes, so when the cap stops them they check once more that the bounds
// the last pass left still admit 0 (a last pass may have bound every
// variable); the bounds are then weaker but never wrong. An equation whose unbound
// coefficients have a gcd that does not divide the bound part fails at once.
//
// Zero coefficients are allowed; their variables are not subscribed.
//
// Consistency and cost (general classes). Bounds reasoning: the inequality
// narrows every term against the sum's maximum in one pass (bounds
// consistent: for a single inequality the real and integer notions agree),
// the equation repeats such passes over both bounds until nothing moves
// (bounds(R) consistent with integer rounding at its fixpoint, within the
// pass cap; bounds(Z) consistency is NP-hard for equations), the
// disequality acts once a single term is unbound; the method is the usual
// one for long linear constraints (Harvey and Schimpf, "Bounds consistency
// techniques for long linear constraints", TRICS 2002). One pass reads the
// bounds of the u terms still unbound, O(u) (bound terms are folded into a
// trailed constant, see NuvCPLinearBaseI), and narrows only when some
// term's span |a| * (max - min) exceeds the slack of the sum on that side;
// otherwise it stops after the read, since no bound can move. They answer
// entailed (the store then stops running them on the branch) when every
// value left satisfies them: an inequality whose minimum already holds, a
// disequality whose bounds exclude 0, an equation with every term bound.
//
// Shared variables. The general classes merge, at construction, the terms
// whose variables share a root (one variable, or offset views of one): the
// coefficients are summed on the first such term's variable, the offsets
// folded into k, and terms that cancel are dropped; a merge that would leave
// the int range is refused with a PimExecutionError. Their propagation then
// sees each variable once, which its one-pass and idempotence arguments
// need. The control b of the reified forms may still be one of the terms or
// a view of one: while b is open they only decide b from the sums, which
// hold for every value of the terms (b's too), and once b is bound its term
// is a constant, so the relation enforced is exact. The unit-coefficient
// equations keep a repeated variable (a pass is then a relaxation that never
// removes a solution) and test the sums whenever they stop, so a full
// assignment is always checked. The Boolean counts count a repeated Boolean
// once per position: SumBoolEqualCst has one bind event per position, and
// SumBoolEqual recounts after its own narrowing, since z may be one of its
// Booleans.
#pragma once

#include <cstdint>
#include <iosfwd>

#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPIVarI.h"

// True when every sum over these terms is exact in 64 bits; a null `coefs`
// stands for unit coefficients. The constructors below check it and throw
// PimExecutionError when it does not hold.
bool nuvCPLinearFits(int n, const int* coefs, NuvCPIntVarI* const* vars, std::int64_t k);

// The terms shared by the general classes: n, k, the coefficients and the
// variables (copied into the store's arena, in the caller's order, constant
// after the merge of shared roots), and a working copy of the terms that
// propagation permutes.
//
// The working copy is a sparse set over the trail: _terms[0.._nFree) hold
// every term that may still be unbound, _terms[_nFree..) terms found bound,
// whose a * value is summed in _fixed. A pass reads only the first part and
// moves the terms it finds bound past it; only _nFree and _fixed are
// trailed, since a restored _nFree brings back exactly the terms moved out
// after it was saved (they sit just past it), in some order. So a call
// costs the number of unbound terms, not n: deep in a search most terms of
// a long sum are bound. The disequality keeps its bound terms in place
// instead (all terms stay in the first part; a bound term's span is 0, so
// it is never narrowed): it runs once per bind of a term, and two trailed
// words per bind cost it more than the reads they save. Each term also records which variable kind it is
// (Boolean, concrete integer, other) so that its bounds are read without a
// virtual call. Zero coefficients do not enter the working copy.
class NuvCPLinearBaseI : public NuvCPCstrI {
 public:
  NuvCPLinearBaseI(NuvCPManagerI* s, int n, const int* coefs, NuvCPIntVarI* const* vars, int k);
  void mark(PimMarker& m) override;
  int size() const { return _n; }
  int constant() const { return _k; }
  int coef(int i) const { return _coefs[i]; }
  NuvCPIntVarI* var(int i) const { return _vars[i]; }
  // False when the arena could not hold the arrays; post then fails.
  bool ok() const { return _n == 0 || (_coefs && _vars && _terms && _bounds); }

 protected:
  void printTerms(std::ostream& os, const char* header) const;
  // SLOW and SUP: the smallest and largest values of the sum plus k. The
  // answer is false when the sum cannot be 0 at all because the gcd of the
  // unbound terms' coefficients does not divide the bound part.
  bool sums(std::int64_t& slow, std::int64_t& sup);
  // sum + k == 0 to its own fixpoint (bounds), failing at once when the
  // gcd of the unbound coefficients does not divide the bound part.
  int propagateEquation();
  // sign * (sum + k) + shift >= 0, one pass (bounds). sign is 1 or -1.
  int propagateAtLeast(int sign, std::int64_t shift);
  // sum + k != 0 once a single term is unbound.
  int propagateNotEqual();
  void subscribeBounds();
  // Terms over one root (the same variable or views of it) become one term
  // on the first of them, the views' offsets folded into k, and terms whose
  // coefficients cancel are dropped. Throws PimExecutionError when a merged
  // coefficient or k leaves the int range.
  void mergeShared();

  struct Term {
    NuvCPIntVarI* x;
    std::int32_t a;
    std::int32_t kind;  // how x's bounds are read: Boolean, concrete or other
  };
  struct Bounds {
    std::int32_t lo;
    std::int32_t hi;
  };
  // What one read of the unbound terms gives: the bounds of sum + k, the
  // value of its bound part, the gcd of the unbound coefficients (only when
  // asked for; 0 when none, else at least 1) and the largest |a| * (hi - lo)
  // of an unbound term. A term can move only when its span exceeds the
  // slack on its side, so a span within the slack means nothing moves.
  // Also the number of unbound terms and the position of one of them.
  struct Scan {
    std::int64_t slow, sup, fixed, g, span;
    int unbound, last;
  };
  // Reads the bounds of the terms in _terms[0.._nFree) into _bounds, moves
  // those found bound past _nFree and folds them into _fixed (trailed).
  template <bool kGcd>
  void scan(Scan& s);
  // The gcd of the unbound terms' coefficients (0 when there are none).
  // When it is 1 the two coprime coefficients that show it are kept in
  // _coprimeA/_coprimeB: while two unbound terms carry them the gcd is 1
  // and a scan spends two comparisons per term on it instead of a gcd.
  std::int64_t freeGcd();

  std::int32_t _n;          // constant after construction
  std::int32_t _k;          // constant after construction
  std::int32_t* _coefs;     // constant after construction
  NuvCPIntVarI** _vars;     // constant after construction
  Term* _terms;       // the working copy; permuted, never trailed
  Bounds* _bounds;    // scratch: _bounds[j] are _terms[j]'s at the last scan
  std::int32_t _nFree = 0;  // trailed
  PimStamp _nFreeStamp;
  std::int64_t _fixed = 0;  // trailed
  PimStamp _fixedStamp;
  bool _compact = true;     // constant: bound terms move out of the first part
  // A cache, right whatever its age: |coefficients| of two terms known coprime
  // (0 and 0, no coefficient's magnitude, until one is found).
  std::uint32_t _coprimeA = 0;
  std::uint32_t _coprimeB = 0;
};

// sum(a[i] * x[i]) + k == 0
class NuvCPLinearEquationI : public NuvCPLinearBaseI {
 public:
  using NuvCPLinearBaseI::NuvCPLinearBaseI;
  std::size_t classSize() const override { return sizeof(NuvCPLinearEquationI); }
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;
};

// sum(a[i] * x[i]) + k >= 0
class NuvCPLinearGEQI : public NuvCPLinearBaseI {
 public:
  using NuvCPLinearBaseI::NuvCPLinearBaseI;
  std::size_t classSize() const override { return sizeof(NuvCPLinearGEQI); }
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;
};

// sum(a[i] * x[i]) + k != 0
class NuvCPLinearNotEqualI : public NuvCPLinearBaseI {
 public:
  NuvCPLinearNotEqualI(NuvCPManagerI* s, int n, const int* coefs, NuvCPIntVarI* const* vars, int k)
      : NuvCPLinearBaseI(s, n, coefs, vars, k) {
    _compact = false;
  }
  std::size_t classSize() const override { return sizeof(NuvCPLinearNotEqualI); }
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;
};

// The reified forms (FlatZinc's int_lin_eq_reif, int_lin_ne_reif through a
// negated control, int_lin_le_reif as -sum + rhs >= 0): the control b is an
// integer variable restricted to 0..1 at post (a Boolean variable does).
//
// b <=> sum(a[i] * x[i]) + k == 0. With b true it is the equation, with b
// false the disequality; while b is open, b is set to 0 as soon as the sum's
// bounds exclude 0 or the gcd test rules 0 out, and to 1 (entailed) when the
// sum is fixed at 0. A decided control is acted on in the same call.
class NuvCPLinearEquationReifI : public NuvCPLinearBaseI {
 public:
  NuvCPLinearEquationReifI(NuvCPManagerI* s, int n, const int* coefs, NuvCPIntVarI* const* vars,
                           int k, NuvCPIntVarI* b)
      : NuvCPLinearBaseI(s, n, coefs, vars, k), _b(b) {}
  std::size_t classSize() const override { return sizeof(NuvCPLinearEquationReifI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;

 private:
  NuvCPIntVarI* _b;
};

// b <=> sum(a[i] * x[i]) + k >= 0. With b false: sum + k <= -1. With b open,
// b is decided (and the propagator entailed) once the sum's bounds lie on one
// side of 0.
class NuvCPLinearGEQReifI : public NuvCPLinearBaseI {
 public:
  NuvCPLinearGEQReifI(NuvCPManagerI* s, int n, const int* coefs, NuvCPIntVarI* const* vars, int k,
                      NuvCPIntVarI* b)
      : NuvCPLinearBaseI(s, n, coefs, vars, k), _b(b) {}
  std::size_t classSize() const override { return sizeof(NuvCPLinearGEQReifI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;

 private:
  NuvCPIntVarI* _b;
};

// sum(P) - sum(N) + k == 0 with unit coefficients, bounds reasoning over
// both lists to its own fixpoint (capped like the general equation). Each
// list entry carries a 32-bit word: the variable's position in the caller's
// arrays, kept for mapping the constraint back to its arguments. A variable
// should appear once over both lists (the expression layer merges like
// terms): a repeated one stays sound (each pass only relaxes, and the sums
// are tested when a call stops, also at the pass limit) but can converge
// slowly. The constant
// and each list's sum must stay below 2^62 in magnitude (else the
// constructor throws PimExecutionError).
class NuvCPLinearPNEquationI : public NuvCPCstrI {
 public:
  struct Entry {
    NuvCPIntVarI* x;
    std::int32_t word;
  };
  NuvCPLinearPNEquationI(NuvCPManagerI* s, int np, NuvCPIntVarI* const* pos, int nn,
                         NuvCPIntVarI* const* neg, std::int64_t k)
      : NuvCPLinearPNEquationI(s, np, pos, nn, neg, k, true) {}
  std::size_t classSize() const override { return sizeof(NuvCPLinearPNEquationI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;
  bool ok() const { return (_np == 0 || _pos) && (_nn == 0 || _neg); }

 protected:
  NuvCPLinearPNEquationI(NuvCPManagerI* s, int np, NuvCPIntVarI* const* pos, int nn,
                         NuvCPIntVarI* const* neg, std::int64_t k, bool idempotent);
  void printAs(std::ostream& os, const char* header) const;
  Entry* _pos;
  std::int32_t _np;
  Entry* _neg;
  std::int32_t _nn;
  std::int64_t _k;
};

// The same relation; it propagates one pass per call and leaves the
// fixpoint to the store (cheaper per call on long sums that rarely move), so
// it is not idempotent.
class NuvCPLinearPNEquationCI : public NuvCPLinearPNEquationI {
 public:
  NuvCPLinearPNEquationCI(NuvCPManagerI* s, int np, NuvCPIntVarI* const* pos, int nn,
                          NuvCPIntVarI* const* neg, std::int64_t k)
      : NuvCPLinearPNEquationI(s, np, pos, nn, neg, k, false) {}
  std::size_t classSize() const override { return sizeof(NuvCPLinearPNEquationCI); }
  void print(std::ostream& os) const override;
  int propagate() override;
};

// ---- Boolean sums -------------------------------------------------------------------

class NuvCPLinRelationI : public NuvCPCstrI {
 public:
  using NuvCPCstrI::NuvCPCstrI;
};

// Exactly t of b[low..up] are 1.
class NuvCPSumBoolEqualCstI : public NuvCPLinRelationI {
 public:
  NuvCPSumBoolEqualCstI(NuvCPManagerI* s, int low, int up, NuvCPIntVarI* const* bs, int t);
  std::size_t classSize() const override { return sizeof(NuvCPSumBoolEqualCstI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  int post(int level) override;
  int valBindIdx(NuvCPIntVarI* v, int i, int val) override;
  bool ok() const { return _up < _low || (_bs && _unbound && _where); }
  int nbTrue() const { return _nbTrue; }
  int nbFalse() const { return _nbFalse; }
  int unboundCount() const { return _unboundCount; }

 private:
  // Binds every still-unbound variable to v; 1, or 0 when a bind fails.
  int bindRest(int v);
  void removeUnbound(int i);

  std::int32_t _low;
  std::int32_t _up;
  NuvCPIntVarI** _bs;
  std::int32_t _t;
  std::int32_t _nbTrue = 0;  // trailed
  PimStamp _nbTrueStamp;
  std::int32_t _nbFalse = 0;  // trailed
  PimStamp _nbFalseStamp;
  // The unbound indices as a trailed sparse set: _unbound[0.._unboundCount)
  // holds them, _where[i - low] is i's position. Removal swaps with the last
  // entry, so only the count needs trailing: a restored count brings the
  // removed indices back (they still sit past it).
  std::int32_t* _unbound;
  std::int32_t* _where;
  std::int32_t _unboundCount = 0;  // trailed
  PimStamp _unboundStamp;
};

// z == the number of b[i] that are 1: bounds of z from the counts, and the
// rest fixed when z reaches one end.
class NuvCPSumBoolEqualI : public NuvCPLinRelationI {
 public:
  NuvCPSumBoolEqualI(NuvCPManagerI* s, int n, NuvCPIntVarI* const* bs, NuvCPIntVarI* z);
  std::size_t classSize() const override { return sizeof(NuvCPSumBoolEqualI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;
  bool ok() const { return _n == 0 || _bs; }

 private:
  std::int32_t _n;
  NuvCPIntVarI** _bs;
  NuvCPIntVarI* _z;
};
