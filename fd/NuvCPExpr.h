// Modeling expressions over integer variables, for embedding the solver in
// C++: integer expressions, comparisons and their logical combinations,
// normalised into the store's propagators when they are posted.
//
//   PimArenaAllocator arena;
//   NuvTrailI trail;
//   NuvCPManagerI store(&arena, &trail);
//   NuvCPIntExpr x = nuvCPIntVar(store, 0, 10), y = nuvCPIntVar(store, 0, 10);
//   store.post(2 * x + 3 * y - 12 == 0);           // x in 0..6, y in 0..4
//   NuvCPIntVarI* b = nuvCPReify(store, x < y);    // b is 1 exactly when x < y
//   store.post(abs(x - y) >= 2 || x * y == 12);
//   store.post(sum(std::vector<NuvCPIntExpr>{x, y, toInt(x == 3)}) <= 9);
//   int v = x.var()->getMin();
//
// Raw variables take part once wrapped: NuvCPIntExpr(v) (a pointer alone
// would meet the built-in pointer operators instead).
//
// Normalisation, when the constraint is posted: a comparison becomes
// sum(a[i] * x[i]) + k rel 0 with like terms merged, constants folded, zero
// coefficients dropped and the coefficients divided by their common divisor;
// one term goes onto the unary relations (x == k, x <= k, ...), x - y rel k
// onto the binary ones (x == y + k, x <= y + k, x != y + k) and x + y <= k
// onto its own, anything longer onto the linear propagators. A product of
// two variables, abs, min, max, div, mod and pow introduce an auxiliary
// variable of exact bounds (interval arithmetic in 64 bits) held by the
// arithmetic propagators. A constraint is refused with a PimExecutionError
// when a coefficient or constant needs more than 32 bits, when a sum could
// leave the linear propagators' exact range, or when an auxiliary variable
// would need bounds beyond -1073741823..1073741822. Refusals happen before
// the store is touched.
//
// Every post goes through the store's expression post, so an atomic section
// defers it like any other post; the normalisation then runs when the
// section closes, on the bounds of that moment.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <type_traits>
#include <vector>

#include "fd/NuvCPManagerI.h"

class NuvCPIntVarI;
struct NuvCPExprNode;
struct NuvCPCondNode;
class NuvCPBoolExpr;

// The levels of an expression post: equalities of two variables with
// bounds or with domain reasoning.
constexpr int kNuvCPExprBounds = 0;
constexpr int kNuvCPExprDomain = 1;

// An integer-valued expression. Cheap to copy: the nodes are shared and
// never change.
class NuvCPIntExpr {
 public:
  NuvCPIntExpr(std::int64_t c);  // implicit: a constant reads as an expression
  // A variable. A template, so that a literal 0 stays a constant.
  template <class V, class = std::enable_if_t<std::is_base_of_v<NuvCPIntVarI, V>>>
  NuvCPIntExpr(V* x) : NuvCPIntExpr(static_cast<NuvCPIntVarI*>(x), 0) {}

  // The variable when the expression is one, else null.
  NuvCPIntVarI* var() const;
  const std::shared_ptr<const NuvCPExprNode>& node() const { return _node; }
  explicit NuvCPIntExpr(std::shared_ptr<const NuvCPExprNode> n) : _node(std::move(n)) {}

 private:
  NuvCPIntExpr(NuvCPIntVarI* x, int);
  std::shared_ptr<const NuvCPExprNode> _node;
};

// A constraint: a comparison of two integer expressions, or a logical
// combination of constraints.
class NuvCPBoolExpr {
 public:
  static NuvCPBoolExpr constant(bool value);
  const std::shared_ptr<const NuvCPCondNode>& node() const { return _node; }
  explicit NuvCPBoolExpr(std::shared_ptr<const NuvCPCondNode> n) : _node(std::move(n)) {}

 private:
  std::shared_ptr<const NuvCPCondNode> _node;
};

NuvCPIntExpr operator+(const NuvCPIntExpr& a, const NuvCPIntExpr& b);
NuvCPIntExpr operator-(const NuvCPIntExpr& a, const NuvCPIntExpr& b);
NuvCPIntExpr operator-(const NuvCPIntExpr& a);
// A scalar product when either side is a constant, else a product of
// variables (an auxiliary variable and a multiplication propagator).
NuvCPIntExpr operator*(const NuvCPIntExpr& a, const NuvCPIntExpr& b);
NuvCPIntExpr abs(const NuvCPIntExpr& a);
NuvCPIntExpr sqr(const NuvCPIntExpr& a);
NuvCPIntExpr min(const NuvCPIntExpr& a, const NuvCPIntExpr& b);
NuvCPIntExpr max(const NuvCPIntExpr& a, const NuvCPIntExpr& b);
// Of a non-empty array (an empty one is refused).
NuvCPIntExpr min(const std::vector<NuvCPIntExpr>& xs);
NuvCPIntExpr max(const std::vector<NuvCPIntExpr>& xs);
// Division truncating toward zero and its remainder (the sign of a); a zero
// divisor has no solution.
NuvCPIntExpr div(const NuvCPIntExpr& a, const NuvCPIntExpr& b);
NuvCPIntExpr mod(const NuvCPIntExpr& a, const NuvCPIntExpr& b);
// a to a constant power k >= 0 (a negative one is refused).
NuvCPIntExpr pow(const NuvCPIntExpr& a, int k);
NuvCPIntExpr sum(const std::vector<NuvCPIntExpr>& xs);
NuvCPIntExpr sum(const std::vector<NuvCPIntVarI*>& xs);
// sum(coefs[i] * xs[i]); the sizes must agree.
NuvCPIntExpr sum(const std::vector<std::int64_t>& coefs, const std::vector<NuvCPIntVarI*>& xs);
// 1 when c holds, else 0.
NuvCPIntExpr toInt(const NuvCPBoolExpr& c);

NuvCPBoolExpr operator==(const NuvCPIntExpr& a, const NuvCPIntExpr& b);
NuvCPBoolExpr operator!=(const NuvCPIntExpr& a, const NuvCPIntExpr& b);
NuvCPBoolExpr operator<=(const NuvCPIntExpr& a, const NuvCPIntExpr& b);
NuvCPBoolExpr operator<(const NuvCPIntExpr& a, const NuvCPIntExpr& b);
NuvCPBoolExpr operator>=(const NuvCPIntExpr& a, const NuvCPIntExpr& b);
NuvCPBoolExpr operator>(const NuvCPIntExpr& a, const NuvCPIntExpr& b);
NuvCPBoolExpr operator&&(const NuvCPBoolExpr& a, const NuvCPBoolExpr& b);
NuvCPBoolExpr operator||(const NuvCPBoolExpr& a, const NuvCPBoolExpr& b);
NuvCPBoolExpr operator!(const NuvCPBoolExpr& a);

// Readable forms, variables written "x" and their store identifier.
std::ostream& operator<<(std::ostream& os, const NuvCPIntExpr& e);
std::ostream& operator<<(std::ostream& os, const NuvCPBoolExpr& c);

// A new variable of `store` with domain lo..hi, as an expression.
NuvCPIntExpr nuvCPIntVar(NuvCPManagerI& store, std::int64_t lo, std::int64_t hi);
// A variable equal to e: e itself when it is a variable, else a new one with
// e's exact bounds, tied to e by a (deferrable) post.
NuvCPIntVarI* nuvCPVarOf(NuvCPManagerI& store, const NuvCPIntExpr& e, int level = kNuvCPExprBounds);
// A new 0/1 variable b, tied to c by b <=> c (a deferrable post).
NuvCPIntVarI* nuvCPReify(NuvCPManagerI& store, const NuvCPBoolExpr& c, int level = kNuvCPExprBounds);
// Throws the PimExecutionError the post of c would raise; posts nothing.
void nuvCPCheckExpr(const NuvCPManagerI& store, const NuvCPBoolExpr& c);

// The store's form of a modeling constraint: what the expression post
// receives and what an atomic section defers. When the deferred record's
// second operand is a 0/1 variable b, the post is b <=> c instead of c.
class NuvCPModelExprI : public NuvCPExprI {
 public:
  NuvCPModelExprI(PimAllocator* allocator, NuvCPBoolExpr c);
  std::size_t classSize() const override { return sizeof(NuvCPModelExprI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  // Normalises and posts. A refusal throws, except while the store is
  // replaying an atomic section or propagating, where an exception would
  // leave it half-way: there the post fails instead. (The C++ posts check
  // before they defer, so that only bounds widened by a backtrack past the
  // section's opening can cause it.)
  int postInto(NuvCPManagerI* store, PimDataI* operand, int level) override;
  const NuvCPBoolExpr& expr() const { return _c; }

 private:
  NuvCPBoolExpr _c;
};
