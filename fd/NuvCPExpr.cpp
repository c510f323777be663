#include "fd/NuvCPExpr.h"

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <numeric>
#include <ostream>
#include <string>
#include <tuple>
#include <unordered_map>
#include <utility>

#include "fd/NuvCPArithI.h"
#include "fd/NuvCPCIntVarI.h"
#include "fd/NuvCPLinEquationI.h"
#include "fd/NuvCPRelationI.h"
#include "host/PimError.h"

using Int = std::int64_t;
using ExprPtr = std::shared_ptr<const NuvCPExprNode>;
using CondPtr = std::shared_ptr<const NuvCPCondNode>;

struct NuvCPExprNode {
  enum class Kind { Const, Var, Sum, Mul, Abs, Min, Max, Div, Mod, Pow, Bool };
  Kind kind = Kind::Const;
  Int value = 0;                               // Const; the exponent of Pow
  NuvCPIntVarI* var = nullptr;                 // Var
  std::vector<std::pair<Int, ExprPtr>> terms;  // Sum: coefficient and term
  std::vector<ExprPtr> args;                   // the operands of the others
  CondPtr cond;                                // Bool
};

struct NuvCPCondNode {
  enum class Kind { Const, Cmp, And, Or, Not };
  enum class Rel { EQ, NE, LE, LT, GE, GT };
  Kind kind = Kind::Const;
  bool value = false;  // Const
  Rel rel = Rel::EQ;   // Cmp: lhs rel rhs
  ExprPtr lhs;
  ExprPtr rhs;
  std::vector<CondPtr> args;  // And, Or (flattened), Not (one)
};

namespace {

using EKind = NuvCPExprNode::Kind;
using CKind = NuvCPCondNode::Kind;
using Rel = NuvCPCondNode::Rel;

constexpr Int kVarMin = NuvCPCIntVarI::kMinBound;
constexpr Int kVarMax = NuvCPCIntVarI::kMaxBound;

[[noreturn]] void refuse(const std::string& why) {
  throw PimExecutionError(PimSource(), "expression refused: " + why);
}

Int mul(Int a, Int b) {
  Int r;
  if (__builtin_mul_overflow(a, b, &r)) refuse("a coefficient or constant exceeds 64 bits");
  return r;
}

Int add(Int a, Int b) {
  Int r;
  if (__builtin_add_overflow(a, b, &r)) refuse("a coefficient or constant exceeds 64 bits");
  return r;
}

Int floorDiv(Int a, Int b) {
  Int q = a / b;
  if (a % b != 0 && ((a < 0) != (b < 0))) --q;
  return q;
}

// A value for a unary relation: beyond the variable range it only has to
// stay beyond it, which one step past either end does.
int clampValue(Int v) {
  return static_cast<int>(v < kVarMin - 1 ? kVarMin - 1 : v > kVarMax + 1 ? kVarMax + 1 : v);
}

Rel negate(Rel r) {
  switch (r) {
    case Rel::EQ: return Rel::NE;
    case Rel::NE: return Rel::EQ;
    case Rel::LE: return Rel::GT;
    case Rel::LT: return Rel::GE;
    case Rel::GE: return Rel::LT;
    case Rel::GT: return Rel::LE;
  }
  return r;
}

ExprPtr constNode(Int c) {
  auto n = std::make_shared<NuvCPExprNode>();
  n->kind = EKind::Const;
  n->value = c;
  return n;
}

ExprPtr opNode(EKind kind, std::vector<ExprPtr> args, Int value = 0) {
  auto n = std::make_shared<NuvCPExprNode>();
  n->kind = kind;
  n->args = std::move(args);
  n->value = value;
  return n;
}

ExprPtr sumNode(std::vector<std::pair<Int, ExprPtr>> terms) {
  auto n = std::make_shared<NuvCPExprNode>();
  n->kind = EKind::Sum;
  n->terms = std::move(terms);
  return n;
}

NuvCPBoolExpr cmp(const NuvCPIntExpr& a, Rel rel, const NuvCPIntExpr& b) {
  auto n = std::make_shared<NuvCPCondNode>();
  n->kind = CKind::Cmp;
  n->rel = rel;
  n->lhs = a.node();
  n->rhs = b.node();
  return NuvCPBoolExpr(n);
}

NuvCPBoolExpr junction(CKind kind, const NuvCPBoolExpr& a, const NuvCPBoolExpr& b) {
  auto n = std::make_shared<NuvCPCondNode>();
  n->kind = kind;
  for (const CondPtr& c : {a.node(), b.node()}) {
    if (c->kind == kind)
      n->args.insert(n->args.end(), c->args.begin(), c->args.end());
    else
      n->args.push_back(c);
  }
  return NuvCPBoolExpr(n);
}

// ---- normalisation ----------------------------------------------------------------------

// The propagators of one post, planned before anything is created so that a
// refusal leaves the store as it was. Variables are slots: the variables of
// the expression and the auxiliaries still to create, each with its bounds.
class Plan {
 public:
  using Vars = std::vector<NuvCPIntVarI*>;
  using Step = std::function<NuvCPCstrI*(NuvCPManagerI*, const Vars&)>;

  // sum(a * slot) + k
  struct Lin {
    std::vector<std::pair<int, Int>> terms;
    Int k = 0;
  };

  Plan(const NuvCPManagerI* store, bool domain) : _store(store), _domain(domain) {}

  int slotOf(NuvCPIntVarI* x) {
    if (!x) refuse("a null variable");
    if (x->getSolver() != _store) refuse("a variable of another solver");
    auto [it, fresh] = _index.try_emplace(x, static_cast<int>(_slots.size()));
    if (fresh) _slots.push_back(Slot{x, x->getMin(), x->getMax()});
    return it->second;
  }

  int aux(Int lo, Int hi) {
    if (lo < kVarMin || hi > kVarMax)
      refuse("an auxiliary variable would need the bounds " + std::to_string(lo) + ".." +
             std::to_string(hi) + ", beyond the variable range -1073741823..1073741822");
    _slots.push_back(Slot{nullptr, lo, hi});
    return static_cast<int>(_slots.size()) - 1;
  }

  Lin linear(const NuvCPExprNode& root) {
    Lin out;
    std::unordered_map<int, std::size_t> where;
    auto addTerm = [&](int slot, Int a) {
      auto [it, fresh] = where.try_emplace(slot, out.terms.size());
      if (fresh)
        out.terms.emplace_back(slot, a);
      else
        out.terms[it->second].second = add(out.terms[it->second].second, a);
    };
    auto addScaled = [&](const Lin& l, Int m) {
      for (auto [s, a] : l.terms) addTerm(s, mul(a, m));
      out.k = add(out.k, mul(l.k, m));
    };
    // An explicit stack: sums built in a loop are as deep as they are long.
    std::vector<std::pair<const NuvCPExprNode*, Int>> work{{&root, 1}};
    while (!work.empty()) {
      auto [n, m] = work.back();
      work.pop_back();
      switch (n->kind) {
        case EKind::Const: out.k = add(out.k, mul(m, n->value)); break;
        case EKind::Var: addTerm(slotOf(n->var), m); break;
        case EKind::Sum:
          for (auto it = n->terms.rbegin(); it != n->terms.rend(); ++it)
            work.emplace_back(it->second.get(), mul(m, it->first));
          break;
        case EKind::Mul: {
          const bool same = n->args[0] == n->args[1];
          Lin a = linear(*n->args[0]);
          Lin b = same ? a : linear(*n->args[1]);
          if (a.terms.empty())
            addScaled(b, mul(m, a.k));
          else if (b.terms.empty())
            addScaled(a, mul(m, b.k));
          else
            addTerm(product(a, b, same), m);
          break;
        }
        case EKind::Pow:
          if (n->value == 0) {
            out.k = add(out.k, m);
          } else if (n->value == 1) {
            work.emplace_back(n->args[0].get(), m);
          } else {
            addTerm(power(linear(*n->args[0]), n->value), m);
          }
          break;
        default: addTerm(function(*n), m); break;
      }
    }
    std::erase_if(out.terms, [](const auto& t) { return t.second == 0; });
    return out;
  }

  std::pair<Int, Int> interval(const Lin& l) const {
    Int lo = l.k, hi = l.k;
    for (auto [s, a] : l.terms) {
      const Slot& x = _slots[static_cast<std::size_t>(s)];
      lo = add(lo, mul(a, a > 0 ? x.lo : x.hi));
      hi = add(hi, mul(a, a > 0 ? x.hi : x.lo));
    }
    return {lo, hi};
  }

  // A slot equal to l: its variable, or an auxiliary tied to it.
  int slotOfLin(const Lin& l) {
    if (l.terms.size() == 1 && l.terms[0].second == 1 && l.k == 0) return l.terms[0].first;
    auto [lo, hi] = interval(l);
    const int z = aux(lo, hi);
    Lin eq = l;
    eq.terms.emplace_back(z, -1);
    postRel(eq, Rel::EQ);
    return z;
  }

  // ---- posted constraints ----

  void postCond(const NuvCPCondNode& c, bool neg) {
    switch (c.kind) {
      case CKind::Const:
        if (c.value == neg) _fails = true;
        return;
      case CKind::Cmp: postRel(diff(c), neg ? negate(c.rel) : c.rel); return;
      case CKind::Not: postCond(*c.args[0], !neg); return;
      case CKind::And:
      case CKind::Or: {
        if ((c.kind == CKind::And) != neg) {
          for (const CondPtr& a : c.args) postCond(*a, neg);
          return;
        }
        // A disjunction: at least one of the literals is 1.
        Lin atLeastOne;
        atLeastOne.k = -1;
        for (const CondPtr& a : c.args) {
          if (a->kind == CKind::Const) {
            if (a->value != neg) return;  // a true disjunct
            continue;
          }
          atLeastOne.terms.emplace_back(reify(*a, neg, -1), 1);
        }
        postRel(atLeastOne, Rel::GE);
        return;
      }
    }
  }

  // The slot of a 0/1 variable equal to the truth of c (negated with neg);
  // target is that slot when given (>= 0).
  int reify(const NuvCPCondNode& c, bool neg, int target) {
    switch (c.kind) {
      case CKind::Const: {
        const int b = target >= 0 ? target : aux(0, 1);
        const int v = c.value != neg ? 1 : 0;
        emit([b, v](NuvCPManagerI* s, const Vars& x) {
          return nuvCPNew<NuvCPEqualcI>(s->allocator(), s, x[b], v);
        });
        return b;
      }
      case CKind::Cmp: {
        const Lin l = diff(c);
        const int b = target >= 0 ? target : aux(0, 1);
        reifyRel(l, neg ? negate(c.rel) : c.rel, b);
        return b;
      }
      case CKind::Not: return reify(*c.args[0], !neg, target);
      case CKind::And:
      case CKind::Or: {
        if (c.args.size() == 1) return reify(*c.args[0], neg, target);
        const bool conj = (c.kind == CKind::And) != neg;
        std::vector<int> bs;
        for (const CondPtr& a : c.args) bs.push_back(reify(*a, neg, -1));
        const int b = target >= 0 ? target : aux(0, 1);
        // conj: b <= b[i] and sum(b) - b <= n - 1; else b[i] <= b and b <= sum(b).
        Lin all;
        for (int bi : bs) {
          Lin one;
          one.terms = {{b, conj ? 1 : -1}, {bi, conj ? -1 : 1}};
          postRel(one, Rel::LE);
          all.terms.emplace_back(bi, conj ? 1 : -1);
        }
        all.terms.emplace_back(b, conj ? -1 : 1);
        all.k = conj ? -static_cast<Int>(bs.size() - 1) : 0;
        postRel(all, Rel::LE);
        return b;
      }
    }
    return target;
  }

  // sum + k rel 0, normalised: rel is EQ, NE or GE (sum + k >= 0), the
  // coefficients are divided by their common divisor and `truth` is 0 or 1
  // when no term is left (else -1).
  struct Canon {
    std::vector<std::pair<int, Int>> terms;
    Int k;
    Rel rel;
    int truth = -1;
  };

  static Canon canon(const Lin& l, Rel rel) {
    Canon c{l.terms, l.k, rel};
    if (rel == Rel::LE || rel == Rel::LT) {
      for (auto& t : c.terms) t.second = mul(t.second, -1);
      c.k = mul(c.k, -1);
    }
    if (rel == Rel::LT || rel == Rel::GT) c.k = add(c.k, -1);
    if (rel != Rel::EQ && rel != Rel::NE) c.rel = Rel::GE;
    Int g = 0;
    for (auto [s, a] : c.terms) g = std::gcd(g, a);
    if (g == 0) {
      c.truth = (c.rel == Rel::EQ ? c.k == 0 : c.rel == Rel::NE ? c.k != 0 : c.k >= 0) ? 1 : 0;
      return c;
    }
    if (g > 1) {
      if (c.rel != Rel::GE && c.k % g != 0) {
        c.truth = c.rel == Rel::NE ? 1 : 0;
        return c;
      }
      for (auto& t : c.terms) t.second /= g;
      c.k = c.rel == Rel::GE ? floorDiv(c.k, g) : c.k / g;
    }
    return c;
  }

  void postRel(const Lin& l, Rel rel) {
    const Canon c = canon(l, rel);
    if (c.truth == 0) _fails = true;
    if (c.truth >= 0) return;
    if (c.terms.size() == 1) {
      const int x = c.terms[0].first;
      const Int sign = c.terms[0].second;  // 1 or -1 after the division
      const int v = clampValue(mul(-sign, c.k));
      if (c.rel == Rel::EQ)
        emit([x, v](NuvCPManagerI* s, const Vars& xs) {
          return nuvCPNew<NuvCPEqualcI>(s->allocator(), s, xs[x], v);
        });
      else if (c.rel == Rel::NE)
        emit([x, v](NuvCPManagerI* s, const Vars& xs) {
          return nuvCPNew<NuvCPNEqualcI>(s->allocator(), s, xs[x], v);
        });
      else if (sign > 0)  // x - v >= 0
        emit([x, v](NuvCPManagerI* s, const Vars& xs) {
          return nuvCPNew<NuvCPGEqualcI>(s->allocator(), s, xs[x], v);
        });
      else  // -x + k >= 0: x <= k, and v = k here
        emit([x, v](NuvCPManagerI* s, const Vars& xs) {
          return nuvCPNew<NuvCPLEqualcI>(s->allocator(), s, xs[x], v);
        });
      return;
    }
    const int k = fit32(c.k);
    int p, q;
    if (unitPair(c, p, q)) {  // p - q + k rel 0
      if (c.rel == Rel::EQ) {
        if (_domain)
          emit([p, q, k](NuvCPManagerI* s, const Vars& xs) {
            return nuvCPNew<NuvCPEqualACI>(s->allocator(), s, xs[p], xs[q], -k);
          });
        else
          emit([p, q, k](NuvCPManagerI* s, const Vars& xs) {
            return nuvCPNew<NuvCPEqualBCI>(s->allocator(), s, xs[p], xs[q], -k);
          });
      } else if (c.rel == Rel::NE) {
        emit([p, q, k](NuvCPManagerI* s, const Vars& xs) {
          return nuvCPNew<NuvCPNEqualI>(s->allocator(), s, xs[p], xs[q], -k);
        });
      } else {  // q <= p + k
        emit([p, q, k](NuvCPManagerI* s, const Vars& xs) {
          return nuvCPNew<NuvCPLEqualI>(s->allocator(), s, xs[q], xs[p], k);
        });
      }
      return;
    }
    if (c.rel == Rel::GE && c.terms.size() == 2 && c.terms[0].second == -1 &&
        c.terms[1].second == -1) {  // x + y <= k
      const int x = c.terms[0].first, y = c.terms[1].first;
      emit([x, y, k](NuvCPManagerI* s, const Vars& xs) {
        return nuvCPNew<NuvCPSLEqualI>(s->allocator(), s, xs[x], xs[y], k);
      });
      return;
    }
    std::vector<int> coefs, slots;
    std::tie(coefs, slots) = general(c);
    if (c.rel == Rel::EQ)
      emit([=](NuvCPManagerI* s, const Vars& xs) {
        return linearOf<NuvCPLinearEquationI>(s, coefs, slots, xs, k);
      });
    else if (c.rel == Rel::NE)
      emit([=](NuvCPManagerI* s, const Vars& xs) {
        return linearOf<NuvCPLinearNotEqualI>(s, coefs, slots, xs, k);
      });
    else
      emit([=](NuvCPManagerI* s, const Vars& xs) {
        return linearOf<NuvCPLinearGEQI>(s, coefs, slots, xs, k);
      });
  }

  // b <=> (l rel 0)
  void reifyRel(const Lin& l, Rel rel, int b) {
    const Canon c = canon(l, rel);
    if (c.truth >= 0) {
      const int v = c.truth;
      emit([b, v](NuvCPManagerI* s, const Vars& xs) {
        return nuvCPNew<NuvCPEqualcI>(s->allocator(), s, xs[b], v);
      });
      return;
    }
    if (c.terms.size() == 1) {
      const int x = c.terms[0].first;
      const Int sign = c.terms[0].second;
      const Int value = mul(-sign, c.k);
      const Slot& sx = _slots[static_cast<std::size_t>(x)];
      if (c.rel != Rel::GE && (value < sx.lo || value > sx.hi)) {
        // x cannot take the value: the literal is decided.
        const int t = c.rel == Rel::NE ? 1 : 0;
        emit([b, t](NuvCPManagerI* s, const Vars& xs) {
          return nuvCPNew<NuvCPEqualcI>(s->allocator(), s, xs[b], t);
        });
        return;
      }
      const int v = clampValue(value);
      if (c.rel == Rel::EQ)
        emit([x, v, b](NuvCPManagerI* s, const Vars& xs) {
          return nuvCPNew<NuvCPReifyEqualcI>(s->allocator(), s, xs[x], v, xs[b]);
        });
      else if (c.rel == Rel::NE)
        emit([x, v, b](NuvCPManagerI* s, const Vars& xs) {
          return nuvCPNew<NuvCPReifyNEqualcI>(s->allocator(), s, xs[x], v, xs[b]);
        });
      else if (sign > 0)
        emit([x, v, b](NuvCPManagerI* s, const Vars& xs) {
          return nuvCPNew<NuvCPReifyGEqualcI>(s->allocator(), s, xs[x], v, xs[b]);
        });
      else
        emit([x, v, b](NuvCPManagerI* s, const Vars& xs) {
          return nuvCPNew<NuvCPReifyLEqualcI>(s->allocator(), s, xs[x], v, xs[b]);
        });
      return;
    }
    const int k = fit32(c.k);
    int p, q;
    if (unitPair(c, p, q)) {  // p - q + k rel 0
      if (c.rel == Rel::EQ) {
        if (_domain)
          emit([p, q, k, b](NuvCPManagerI* s, const Vars& xs) {
            return nuvCPNew<NuvCPReifyEqualACI>(s->allocator(), s, xs[p], xs[q], -k, xs[b]);
          });
        else
          emit([p, q, k, b](NuvCPManagerI* s, const Vars& xs) {
            return nuvCPNew<NuvCPReifyEqualBCI>(s->allocator(), s, xs[p], xs[q], -k, xs[b]);
          });
      } else if (c.rel == Rel::NE) {
        emit([p, q, k, b](NuvCPManagerI* s, const Vars& xs) {
          return nuvCPNew<NuvCPReifyNEqualI>(s->allocator(), s, xs[p], xs[q], -k, xs[b]);
        });
      } else {
        emit([p, q, k, b](NuvCPManagerI* s, const Vars& xs) {
          return nuvCPNew<NuvCPReifyLEqualI>(s->allocator(), s, xs[q], xs[p], k, xs[b]);
        });
      }
      return;
    }
    std::vector<int> coefs, slots;
    std::tie(coefs, slots) = general(c);
    if (c.rel == Rel::GE) {
      emit([=](NuvCPManagerI* s, const Vars& xs) {
        return linearOf<NuvCPLinearGEQReifI>(s, coefs, slots, xs, k, xs[b]);
      });
      return;
    }
    // b <=> sum != 0 is b <=> (e == 0) for e <=> sum == 0.
    const int e = c.rel == Rel::EQ ? b : aux(0, 1);
    emit([=](NuvCPManagerI* s, const Vars& xs) {
      return linearOf<NuvCPLinearEquationReifI>(s, coefs, slots, xs, k, xs[e]);
    });
    if (e != b)
      emit([e, b](NuvCPManagerI* s, const Vars& xs) {
        return nuvCPNew<NuvCPReifyEqualcI>(s->allocator(), s, xs[e], 0, xs[b]);
      });
  }

  // Creates the auxiliaries and posts every propagator in order; the outcome
  // of the last post, or failure at the first that fails.
  int execute(NuvCPManagerI* s) const {
    if (_fails) return NuvCPFailure;
    PimAllocator* al = s->allocator();
    Vars vars(_slots.size());
    for (std::size_t i = 0; i < _slots.size(); ++i) {
      vars[i] = _slots[i].x ? _slots[i].x
                            : nuvCPNew<NuvCPCIntVarI>(al, al, s, _slots[i].lo, _slots[i].hi);
      if (!vars[i]) return NuvCPFailure;
    }
    int r = NuvCPSuspend;
    for (const Step& step : _steps) {
      NuvCPCstrI* c = step(s, vars);
      if (!c) return NuvCPFailure;
      r = s->post(c);
      if (r == NuvCPFailure) return r;
    }
    return r == NuvCPDelay ? NuvCPDelay : NuvCPSuspend;
  }

 private:
  struct Slot {
    NuvCPIntVarI* x;  // null: an auxiliary to create
    Int lo;
    Int hi;
  };

  void emit(Step s) { _steps.push_back(std::move(s)); }

  Lin diff(const NuvCPCondNode& c) {
    Lin l = linear(*c.lhs);
    Lin r = linear(*c.rhs);
    std::unordered_map<int, std::size_t> where;
    for (std::size_t i = 0; i < l.terms.size(); ++i) where[l.terms[i].first] = i;
    for (auto [s, a] : r.terms) {
      auto it = where.find(s);
      if (it == where.end())
        l.terms.emplace_back(s, mul(a, -1));
      else
        l.terms[it->second].second = add(l.terms[it->second].second, mul(a, -1));
    }
    l.k = add(l.k, mul(r.k, -1));
    std::erase_if(l.terms, [](const auto& t) { return t.second == 0; });
    return l;
  }

  static int fit32(Int v) {
    if (v < INT32_MIN || v > INT32_MAX)
      refuse("the constant " + std::to_string(v) + " does not fit in 32 bits");
    return static_cast<int>(v);
  }

  // p - q: two terms of coefficients 1 and -1.
  static bool unitPair(const Canon& c, int& p, int& q) {
    if (c.terms.size() != 2) return false;
    auto [s0, a0] = c.terms[0];
    auto [s1, a1] = c.terms[1];
    if (a0 == 1 && a1 == -1) {
      p = s0, q = s1;
      return true;
    }
    if (a0 == -1 && a1 == 1) {
      p = s1, q = s0;
      return true;
    }
    return false;
  }

  // The coefficients and slots of a general linear constraint, refused when
  // a coefficient needs more than 32 bits or a sum could leave the exact
  // range of the linear propagators (the rule of nuvCPLinearFits, on the
  // bounds the variables will have).
  std::pair<std::vector<int>, std::vector<int>> general(const Canon& c) const {
    constexpr std::uint64_t kLimit = std::uint64_t{1} << 62;
    std::vector<int> coefs, slots;
    std::uint64_t total = static_cast<std::uint64_t>(c.k < 0 ? -c.k : c.k);
    for (auto [s, a] : c.terms) {
      coefs.push_back(fit32(a));
      slots.push_back(s);
      const Slot& x = _slots[static_cast<std::size_t>(s)];
      const Int m = std::max(x.lo < 0 ? -x.lo : x.lo, x.hi < 0 ? -x.hi : x.hi);
      total += static_cast<std::uint64_t>(a < 0 ? -a : a) * static_cast<std::uint64_t>(m);
      if (total >= kLimit)
        refuse("coefficients times bounds may exceed 2^62 in a linear constraint");
    }
    return {coefs, slots};
  }

  template <class P, class... B>
  static NuvCPCstrI* linearOf(NuvCPManagerI* s, const std::vector<int>& coefs,
                              const std::vector<int>& slots, const Vars& xs, int k, B... b) {
    std::vector<NuvCPIntVarI*> vars;
    for (int i : slots) vars.push_back(xs[static_cast<std::size_t>(i)]);
    P* p = nuvCPNew<P>(s->allocator(), s, static_cast<int>(vars.size()), coefs.data(), vars.data(),
                       k, b...);
    return p && p->ok() ? p : nullptr;
  }

  int product(const Lin& a, const Lin& b, bool same) {
    const int x = slotOfLin(a);
    const int y = same ? x : slotOfLin(b);
    const Slot sx = _slots[static_cast<std::size_t>(x)], sy = _slots[static_cast<std::size_t>(y)];
    Int lo, hi;
    if (x == y) {
      const Int l2 = sx.lo * sx.lo, h2 = sx.hi * sx.hi;
      lo = sx.lo <= 0 && sx.hi >= 0 ? 0 : std::min(l2, h2);
      hi = std::max(l2, h2);
    } else {
      const Int c[4] = {sx.lo * sy.lo, sx.lo * sy.hi, sx.hi * sy.lo, sx.hi * sy.hi};
      lo = *std::min_element(c, c + 4);
      hi = *std::max_element(c, c + 4);
    }
    const int z = aux(lo, hi);
    emit([x, y, z](NuvCPManagerI* s, const Vars& xs) {
      return nuvCPNewProduct(s, xs[x], xs[y], xs[z]);
    });
    return z;
  }

  int power(const Lin& a, Int k) {
    if (k < 0) refuse("a negative exponent");
    const int x = slotOfLin(a);
    const Slot sx = _slots[static_cast<std::size_t>(x)];
    auto pw = [k](Int v) {
      Int r = 1;
      for (Int i = 0; i < k; ++i) {
        r = mul(r, v);
        if (r < kVarMin || r > kVarMax) refuse("a power beyond the variable range");
      }
      return r;
    };
    Int lo, hi;
    if (k % 2 == 1 || sx.lo >= 0) {
      lo = pw(sx.lo), hi = pw(sx.hi);
    } else if (sx.hi <= 0) {
      lo = pw(sx.hi), hi = pw(sx.lo);
    } else {
      lo = 0, hi = std::max(pw(sx.lo), pw(sx.hi));
    }
    const int e = aux(k, k);
    const int z = aux(lo, hi);
    emit([x, e, z](NuvCPManagerI* s, const Vars& xs) {
      return nuvCPNew<NuvCPBinaryFunctionI>(s->allocator(), s, NuvCPBinaryFunctionI::Op::Pow,
                                            xs[x], xs[e], xs[z]);
    });
    return z;
  }

  // abs, min, max, div, mod and reified constraints: an auxiliary.
  int function(const NuvCPExprNode& n) {
    if (n.kind == EKind::Bool) return reify(*n.cond, false, -1);
    std::vector<int> xs;
    for (const ExprPtr& a : n.args) xs.push_back(slotOfLin(linear(*a)));
    auto at = [&](std::size_t i) { return _slots[static_cast<std::size_t>(xs[i])]; };
    using Op = NuvCPBinaryFunctionI::Op;
    Int lo = 0, hi = 0;
    Op op = Op::Div;
    switch (n.kind) {
      case EKind::Abs: {
        const Slot sa = at(0);
        lo = sa.lo >= 0 ? sa.lo : sa.hi <= 0 ? -sa.hi : 0;
        hi = std::max(-sa.lo, sa.hi);
        const int x = xs[0], z = aux(lo, hi);
        emit([x, z](NuvCPManagerI* s, const Vars& v) {
          return nuvCPNew<NuvCPAbsI>(s->allocator(), s, v[x], v[z]);
        });
        return z;
      }
      case EKind::Min:
      case EKind::Max: {
        if (xs.size() == 1) return xs[0];
        const bool isMax = n.kind == EKind::Max;
        lo = at(0).lo, hi = at(0).hi;
        for (std::size_t i = 1; i < xs.size(); ++i) {
          lo = isMax ? std::max(lo, at(i).lo) : std::min(lo, at(i).lo);
          hi = isMax ? std::max(hi, at(i).hi) : std::min(hi, at(i).hi);
        }
        const int z = aux(lo, hi);
        // Bounds reasoning for two arguments too, as for FlatZinc's int_min/int_max.
        emit([isMax, xs, z](NuvCPManagerI* s, const Vars& v) -> NuvCPCstrI* {
          std::vector<NuvCPIntVarI*> args;
          for (int i : xs) args.push_back(v[static_cast<std::size_t>(i)]);
          auto* p = nuvCPNew<NuvCPArrayMinMaxI>(s->allocator(), s, isMax, v[z],
                                                static_cast<int>(args.size()), args.data());
          return p && p->ok() ? p : nullptr;
        });
        return z;
      }
      case EKind::Div: {
        op = Op::Div;
        const Slot a = at(0), b = at(1);
        bool any = false;
        auto consider = [&](Int d) {
          for (Int v : {a.lo, a.hi}) {
            const Int q = v / d;
            lo = any ? std::min(lo, q) : q;
            hi = any ? std::max(hi, q) : q;
            any = true;
          }
        };
        // Truncation is monotone in the real quotient, which takes its
        // extremes at the corners of each sign of the divisor.
        if (b.hi >= 1) consider(std::max<Int>(b.lo, 1)), consider(b.hi);
        if (b.lo <= -1) consider(b.lo), consider(std::min<Int>(b.hi, -1));
        break;  // a zero divisor only: 0..0, and the propagator fails
      }
      case EKind::Mod: {
        op = Op::Mod;
        const Slot a = at(0), b = at(1);
        const Int m = std::max(b.lo < 0 ? -b.lo : b.lo, b.hi < 0 ? -b.hi : b.hi) - 1;
        if (m >= 0) {
          lo = a.lo >= 0 ? 0 : -std::min(-a.lo, m);
          hi = a.hi <= 0 ? 0 : std::min(a.hi, m);
        }
        break;
      }
      default: refuse("an unknown expression");
    }
    const int x = xs[0], y = xs[1], z = aux(lo, hi);
    emit([op, x, y, z](NuvCPManagerI* s, const Vars& v) {
      return nuvCPNew<NuvCPBinaryFunctionI>(s->allocator(), s, op, v[x], v[y], v[z]);
    });
    return z;
  }

  const NuvCPManagerI* _store;
  bool _domain;
  bool _fails = false;  // a constraint folded to false
  std::vector<Slot> _slots;
  std::unordered_map<NuvCPIntVarI*, int> _index;
  std::vector<Step> _steps;
};

// ---- printing -------------------------------------------------------------------------

void printExpr(std::ostream& os, const NuvCPExprNode& n);
void printCond(std::ostream& os, const NuvCPCondNode& c);

void printOperand(std::ostream& os, const NuvCPExprNode& n) {
  if (n.kind == EKind::Sum && n.terms.size() > 1) {
    os << "(";
    printExpr(os, n);
    os << ")";
  } else {
    printExpr(os, n);
  }
}

void printList(std::ostream& os, const char* name, const std::vector<ExprPtr>& args) {
  os << name << "(";
  for (std::size_t i = 0; i < args.size(); ++i) {
    if (i) os << ", ";
    printExpr(os, *args[i]);
  }
  os << ")";
}

void printExpr(std::ostream& os, const NuvCPExprNode& n) {
  switch (n.kind) {
    case EKind::Const: os << n.value; return;
    case EKind::Var: os << "x" << n.var->getId(); return;
    case EKind::Sum: {
      bool first = true;
      for (const auto& [a, t] : n.terms) {
        Int c = a;
        if (t->kind == EKind::Const) {
          const Int v = c * t->value;
          if (first)
            os << v;
          else
            os << (v < 0 ? " - " : " + ") << (v < 0 ? -v : v);
          first = false;
          continue;
        }
        if (!first) {
          os << (c < 0 ? " - " : " + ");
          c = c < 0 ? -c : c;
        } else if (c == -1) {
          os << "-";
          c = 1;
        }
        first = false;
        if (c != 1) {
          os << c << "*";
          printOperand(os, *t);
        } else if (t->kind == EKind::Sum && a < 0 && t->terms.size() > 1) {
          printOperand(os, *t);
        } else {
          printExpr(os, *t);
        }
      }
      if (first) os << 0;
      return;
    }
    case EKind::Mul:
      printOperand(os, *n.args[0]);
      os << " * ";
      printOperand(os, *n.args[1]);
      return;
    case EKind::Abs: printList(os, "abs", n.args); return;
    case EKind::Min: printList(os, "min", n.args); return;
    case EKind::Max: printList(os, "max", n.args); return;
    case EKind::Div: printList(os, "div", n.args); return;
    case EKind::Mod: printList(os, "mod", n.args); return;
    case EKind::Pow:
      os << "pow(";
      printExpr(os, *n.args[0]);
      os << ", " << n.value << ")";
      return;
    case EKind::Bool:
      os << "int(";
      printCond(os, *n.cond);
      os << ")";
      return;
  }
}

void printCond(std::ostream& os, const NuvCPCondNode& c) {
  switch (c.kind) {
    case CKind::Const: os << (c.value ? "true" : "false"); return;
    case CKind::Cmp: {
      static const char* const kOps[] = {" == ", " != ", " <= ", " < ", " >= ", " > "};
      printExpr(os, *c.lhs);
      os << kOps[static_cast<int>(c.rel)];
      printExpr(os, *c.rhs);
      return;
    }
    case CKind::Not:
      os << "!(";
      printCond(os, *c.args[0]);
      os << ")";
      return;
    case CKind::And:
    case CKind::Or:
      os << "(";
      for (std::size_t i = 0; i < c.args.size(); ++i) {
        if (i) os << (c.kind == CKind::And ? " && " : " || ");
        printCond(os, *c.args[i]);
      }
      os << ")";
      return;
  }
}

// Every variable of a constraint, once per occurrence.
template <class F>
void forEachVar(const NuvCPCondNode& root, F f) {
  std::vector<const NuvCPCondNode*> conds{&root};
  std::vector<const NuvCPExprNode*> exprs;
  while (!conds.empty() || !exprs.empty()) {
    if (!conds.empty()) {
      const NuvCPCondNode* c = conds.back();
      conds.pop_back();
      for (const CondPtr& a : c->args) conds.push_back(a.get());
      if (c->lhs) exprs.push_back(c->lhs.get());
      if (c->rhs) exprs.push_back(c->rhs.get());
      continue;
    }
    const NuvCPExprNode* n = exprs.back();
    exprs.pop_back();
    if (n->var) f(n->var);
    for (const auto& t : n->terms) exprs.push_back(t.second.get());
    for (const ExprPtr& a : n->args) exprs.push_back(a.get());
    if (n->cond) conds.push_back(n->cond.get());
  }
}

}  // namespace

// ---- building ---------------------------------------------------------------------------

NuvCPIntExpr::NuvCPIntExpr(std::int64_t c) : _node(constNode(c)) {}

NuvCPIntExpr::NuvCPIntExpr(NuvCPIntVarI* x, int) {
  if (!x) throw PimNullPointerError(PimSource(), "expression of a null variable");
  auto n = std::make_shared<NuvCPExprNode>();
  n->kind = EKind::Var;
  n->var = x;
  _node = std::move(n);
}

NuvCPIntVarI* NuvCPIntExpr::var() const { return _node->kind == EKind::Var ? _node->var : nullptr; }

NuvCPBoolExpr NuvCPBoolExpr::constant(bool value) {
  auto n = std::make_shared<NuvCPCondNode>();
  n->kind = CKind::Const;
  n->value = value;
  return NuvCPBoolExpr(n);
}

NuvCPIntExpr operator+(const NuvCPIntExpr& a, const NuvCPIntExpr& b) {
  return NuvCPIntExpr(sumNode({{1, a.node()}, {1, b.node()}}));
}
NuvCPIntExpr operator-(const NuvCPIntExpr& a, const NuvCPIntExpr& b) {
  return NuvCPIntExpr(sumNode({{1, a.node()}, {-1, b.node()}}));
}
NuvCPIntExpr operator-(const NuvCPIntExpr& a) { return NuvCPIntExpr(sumNode({{-1, a.node()}})); }
NuvCPIntExpr operator*(const NuvCPIntExpr& a, const NuvCPIntExpr& b) {
  if (a.node()->kind == EKind::Const) return NuvCPIntExpr(sumNode({{a.node()->value, b.node()}}));
  if (b.node()->kind == EKind::Const) return NuvCPIntExpr(sumNode({{b.node()->value, a.node()}}));
  return NuvCPIntExpr(opNode(EKind::Mul, {a.node(), b.node()}));
}
NuvCPIntExpr abs(const NuvCPIntExpr& a) { return NuvCPIntExpr(opNode(EKind::Abs, {a.node()})); }
NuvCPIntExpr sqr(const NuvCPIntExpr& a) {
  return NuvCPIntExpr(opNode(EKind::Mul, {a.node(), a.node()}));
}
NuvCPIntExpr min(const NuvCPIntExpr& a, const NuvCPIntExpr& b) { return min({a, b}); }
NuvCPIntExpr max(const NuvCPIntExpr& a, const NuvCPIntExpr& b) { return max({a, b}); }

namespace {
NuvCPIntExpr extremum(EKind kind, const std::vector<NuvCPIntExpr>& xs) {
  if (xs.empty())
    throw PimExecutionError(PimSource(), kind == EKind::Min ? "min of an empty array"
                                                            : "max of an empty array");
  std::vector<ExprPtr> args;
  for (const NuvCPIntExpr& x : xs) args.push_back(x.node());
  return NuvCPIntExpr(opNode(kind, std::move(args)));
}
}  // namespace

NuvCPIntExpr min(const std::vector<NuvCPIntExpr>& xs) { return extremum(EKind::Min, xs); }
NuvCPIntExpr max(const std::vector<NuvCPIntExpr>& xs) { return extremum(EKind::Max, xs); }
NuvCPIntExpr div(const NuvCPIntExpr& a, const NuvCPIntExpr& b) {
  return NuvCPIntExpr(opNode(EKind::Div, {a.node(), b.node()}));
}
NuvCPIntExpr mod(const NuvCPIntExpr& a, const NuvCPIntExpr& b) {
  return NuvCPIntExpr(opNode(EKind::Mod, {a.node(), b.node()}));
}
NuvCPIntExpr pow(const NuvCPIntExpr& a, int k) {
  if (k < 0) refuse("a negative exponent");
  return NuvCPIntExpr(opNode(EKind::Pow, {a.node()}, k));
}

NuvCPIntExpr sum(const std::vector<NuvCPIntExpr>& xs) {
  std::vector<std::pair<Int, ExprPtr>> terms;
  for (const NuvCPIntExpr& x : xs) terms.emplace_back(1, x.node());
  return NuvCPIntExpr(sumNode(std::move(terms)));
}
NuvCPIntExpr sum(const std::vector<NuvCPIntVarI*>& xs) {
  return sum(std::vector<std::int64_t>(xs.size(), 1), xs);
}
NuvCPIntExpr sum(const std::vector<std::int64_t>& coefs, const std::vector<NuvCPIntVarI*>& xs) {
  if (coefs.size() != xs.size())
    throw PimExecutionError(PimSource(), "sum: " + std::to_string(coefs.size()) +
                                             " coefficients for " + std::to_string(xs.size()) +
                                             " variables");
  std::vector<std::pair<Int, ExprPtr>> terms;
  for (std::size_t i = 0; i < xs.size(); ++i) terms.emplace_back(coefs[i], NuvCPIntExpr(xs[i]).node());
  return NuvCPIntExpr(sumNode(std::move(terms)));
}
NuvCPIntExpr toInt(const NuvCPBoolExpr& c) {
  auto n = std::make_shared<NuvCPExprNode>();
  n->kind = EKind::Bool;
  n->cond = c.node();
  return NuvCPIntExpr(n);
}

NuvCPBoolExpr operator==(const NuvCPIntExpr& a, const NuvCPIntExpr& b) { return cmp(a, Rel::EQ, b); }
NuvCPBoolExpr operator!=(const NuvCPIntExpr& a, const NuvCPIntExpr& b) { return cmp(a, Rel::NE, b); }
NuvCPBoolExpr operator<=(const NuvCPIntExpr& a, const NuvCPIntExpr& b) { return cmp(a, Rel::LE, b); }
NuvCPBoolExpr operator<(const NuvCPIntExpr& a, const NuvCPIntExpr& b) { return cmp(a, Rel::LT, b); }
NuvCPBoolExpr operator>=(const NuvCPIntExpr& a, const NuvCPIntExpr& b) { return cmp(a, Rel::GE, b); }
NuvCPBoolExpr operator>(const NuvCPIntExpr& a, const NuvCPIntExpr& b) { return cmp(a, Rel::GT, b); }
NuvCPBoolExpr operator&&(const NuvCPBoolExpr& a, const NuvCPBoolExpr& b) {
  return junction(CKind::And, a, b);
}
NuvCPBoolExpr operator||(const NuvCPBoolExpr& a, const NuvCPBoolExpr& b) {
  return junction(CKind::Or, a, b);
}
NuvCPBoolExpr operator!(const NuvCPBoolExpr& a) {
  auto n = std::make_shared<NuvCPCondNode>();
  n->kind = CKind::Not;
  n->args.push_back(a.node());
  return NuvCPBoolExpr(n);
}

std::ostream& operator<<(std::ostream& os, const NuvCPIntExpr& e) {
  printExpr(os, *e.node());
  return os;
}
std::ostream& operator<<(std::ostream& os, const NuvCPBoolExpr& c) {
  printCond(os, *c.node());
  return os;
}

// ---- posting ------------------------------------------------------------------------------

NuvCPIntExpr nuvCPIntVar(NuvCPManagerI& store, std::int64_t lo, std::int64_t hi) {
  if (lo > hi || hi < kVarMin || lo > kVarMax)
    throw PimExecutionError(PimSource(),
                            "The domain is empty upon creation of the decision variable");
  PimAllocator* al = store.allocator();
  auto* x = nuvCPNew<NuvCPCIntVarI>(al, al, &store, lo, hi);
  if (!x) throw PimExecutionError(PimSource(), "the store's allocator refused a variable");
  return NuvCPIntExpr(x);
}

void nuvCPCheckExpr(const NuvCPManagerI& store, const NuvCPBoolExpr& c) {
  Plan p(&store, false);
  p.postCond(*c.node(), false);
}

NuvCPIntVarI* nuvCPReify(NuvCPManagerI& store, const NuvCPBoolExpr& c, int level) {
  Plan p(&store, false);
  p.reify(*c.node(), false, p.aux(0, 1));
  NuvCPIntVarI* b = nuvCPIntVar(store, 0, 1).var();
  PimAllocator* al = store.allocator();
  store.postExpression(nuvCPNew<NuvCPModelExprI>(al, al, c), level, b);
  return b;
}

NuvCPIntVarI* nuvCPVarOf(NuvCPManagerI& store, const NuvCPIntExpr& e, int level) {
  if (NuvCPIntVarI* x = e.var()) return x;
  Plan p(&store, false);
  Plan::Lin l = p.linear(*e.node());
  auto [lo, hi] = p.interval(l);
  // The tie is checked on a stand-in of the same bounds before anything is
  // created.
  l.terms.emplace_back(p.aux(lo, hi), -1);
  p.postRel(l, Rel::EQ);
  NuvCPIntVarI* z = nuvCPIntVar(store, lo, hi).var();
  store.post(NuvCPIntExpr(z) == e, level);
  return z;
}

int NuvCPManagerI::post(const NuvCPBoolExpr& c, int level) {
  // A deferred post is normalised when the section closes, where a refusal
  // could no longer be thrown: check it now.
  if (atomicDepth() != 0) nuvCPCheckExpr(*this, c);
  return postExpression(nuvCPNew<NuvCPModelExprI>(allocator(), allocator(), c), level);
}

NuvCPModelExprI::NuvCPModelExprI(PimAllocator* allocator, NuvCPBoolExpr c)
    : NuvCPExprI(allocator), _c(std::move(c)) {
  // The arena reclaims cells without destroying them; the nodes need it.
  if (allocator) allocator->registerFinalizer(this);
}

void NuvCPModelExprI::mark(PimMarker& m) {
  forEachVar(*_c.node(), [&](NuvCPIntVarI* x) { m.mark(x); });
}

void NuvCPModelExprI::print(std::ostream& os) const { os << _c; }

int NuvCPModelExprI::postInto(NuvCPManagerI* store, PimDataI* operand, int level) {
  Plan p(store, level == kNuvCPExprDomain);
  try {
    if (auto* b = dynamic_cast<NuvCPIntVarI*>(operand))
      p.reify(*_c.node(), false, p.slotOf(b));
    else
      p.postCond(*_c.node(), false);
  } catch (const PimError&) {
    if (store->propagatingDepth() == 0) throw;
    return NuvCPFailure;
  }
  return p.execute(store);
}
