// A FlatZinc model as read from a file: a plain tree that keeps every item in
// source order with its position, plus the name-resolution helpers the model
// builder uses to turn identifiers and parameter expressions into values.
//
// Identifiers are interned: expressions carry a symbol number and the model
// holds the names. This keeps one expression node small (large models have
// millions of them) and makes every lookup a vector index.
//
// The model owns its expressions and caches pointers into them, so it can be
// moved but not copied.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/PimError.h"

struct FznPos {
  int line = 0;
  int column = 0;
};

enum class FznExprKind : std::uint8_t {
  Bool,         // intValue() is 0 or 1
  Int,          // intValue()
  Float,        // floatValue()
  IntRange,     // element of an IntSet: intValue()..intHigh()
  FloatRange,   // element of a FloatSet: floatValue()..floatHigh()
  IntSet,       // items: sorted, disjoint, non-adjacent IntRange nodes
  FloatSet,     // items: sorted, disjoint FloatRange nodes
  String,       // symbol indexes FznModel::strings (annotations only)
  Ident,        // symbol
  ArrayAccess,  // symbol[intValue()]
  Array,        // items
  Call,         // symbol(items...) (annotations only)
};

// One expression node. Sets are normalised when read, so `{3,1,2}`, `1..3`
// and `{1,2,3}` all become one IntRange 1..3, and `{}` and `1..0` the empty set.
struct FznExpr {
  FznExprKind kind = FznExprKind::Int;
  FznPos pos;
  std::uint32_t symbol = 0;
  union Number {
    std::int64_t i;
    double f;
  };
  Number low{.i = 0};
  Number high{.i = 0};
  std::vector<FznExpr> items;

  std::int64_t intValue() const { return low.i; }
  std::int64_t intHigh() const { return high.i; }
  double floatValue() const { return low.f; }
  double floatHigh() const { return high.f; }
  bool boolValue() const { return low.i != 0; }
  bool isLiteral() const {
    return kind == FznExprKind::Bool || kind == FznExprKind::Int || kind == FznExprKind::Float ||
           kind == FznExprKind::IntSet || kind == FznExprKind::FloatSet;
  }
};

enum class FznBaseType : std::uint8_t { Bool, Int, Float, IntSet };

// One index set of an array type: `1..n`, or `int` in predicate parameters.
struct FznIndexSet {
  bool anyInt = false;
  std::int64_t low = 1;
  std::int64_t high = 0;
};

struct FznType {
  bool isVar = false;
  FznBaseType base = FznBaseType::Int;
  // Empty for scalars. Declarations have exactly one index set 1..n.
  std::vector<FznIndexSet> indexSets;
  // `var 1..5`, `var {1,3}`, `var 0.0..1.0`, `var set of 1..5` (the universe).
  std::optional<FznExpr> domain;

  bool isArray() const { return !indexSets.empty(); }
};

// Declarations of solver-specific predicates; kept so the file is read in
// full, not used to check constraints.
struct FznPredicateParam {
  FznType type;
  std::string name;
};

struct FznPredicate {
  FznPos pos;
  std::string name;
  std::vector<FznPredicateParam> params;
};

// A parameter or a variable (scalar or array). Parameters always have a value;
// arrays always have an Array literal of exactly the declared length; scalar
// variables may be assigned (an alias of another variable, or a literal).
struct FznDecl {
  FznPos pos;
  std::string name;
  std::uint32_t symbol = 0;
  FznType type;
  std::optional<FznExpr> value;
  std::vector<FznExpr> annotations;

  bool isVar() const { return type.isVar; }
  bool isArray() const { return type.isArray(); }
};

struct FznConstraint {
  FznPos pos;
  std::uint32_t symbol = 0;  // the predicate name
  std::vector<FznExpr> args;
  std::vector<FznExpr> annotations;
};

enum class FznSolveKind : std::uint8_t { Satisfy, Minimize, Maximize };

struct FznSolve {
  FznPos pos;
  FznSolveKind kind = FznSolveKind::Satisfy;
  std::optional<FznExpr> objective;
  std::vector<FznExpr> annotations;
};

struct FznIntRange {
  std::int64_t low;
  std::int64_t high;
  bool operator==(const FznIntRange&) const = default;
};

class FznModel {
 public:
  FznModel() = default;
  FznModel(FznModel&&) = default;
  FznModel& operator=(FznModel&&) = default;
  FznModel(const FznModel&) = delete;
  FznModel& operator=(const FznModel&) = delete;

  std::string file;
  std::vector<FznPredicate> predicates;
  std::vector<FznDecl> decls;  // parameters and variables in source order
  std::vector<FznConstraint> constraints;
  FznSolve solve;
  std::vector<std::string> strings;  // String literals

  // --- symbols ---
  std::uint32_t intern(std::string_view name);
  std::optional<std::uint32_t> symbolOf(std::string_view name) const;
  const std::string& name(std::uint32_t symbol) const { return _names[symbol]; }
  std::size_t symbolCount() const { return _names.size(); }

  // --- declarations ---
  // Registers decls.back(); throws on a duplicate name.
  void declareLast();
  const FznDecl* find(std::string_view name) const;
  const FznDecl* find(std::uint32_t symbol) const;
  // The declaration an Ident or ArrayAccess refers to; throws at the
  // expression's position when the name is not declared.
  const FznDecl& declOf(const FznExpr& e) const;

  // Checks every reference in declaration values, constraint arguments and
  // the objective (names declared, array indices in range, no alias cycles)
  // and caches what aliases resolve to. The parser calls it once at the end.
  void resolve();

  // --- resolution (valid after resolve()) ---
  // Follows parameter names, variable aliases and array accesses to what an
  // expression stands for: a literal, an Array, or the Ident of a variable
  // that has no value (or of an array declaration). Costs O(1) per call.
  const FznExpr& deref(const FznExpr& e) const;
  // The elements of an Array literal or of a declared array.
  std::span<const FznExpr> arrayElements(const FznExpr& e) const;
  // Parameter values; throw with the expression's position and what was
  // found when `e` is not a fixed value of that type.
  std::int64_t intValue(const FznExpr& e) const;
  bool boolValue(const FznExpr& e) const;
  double floatValue(const FznExpr& e) const;  // integers are promoted
  std::vector<FznIntRange> intSetValue(const FznExpr& e) const;
  std::vector<std::int64_t> intArrayValue(const FznExpr& e) const;
  std::vector<bool> boolArrayValue(const FznExpr& e) const;
  std::vector<double> floatArrayValue(const FznExpr& e) const;
  std::vector<std::vector<FznIntRange>> intSetArrayValue(const FznExpr& e) const;

  // --- annotations ---
  // The first annotation named `name` (an Ident or a Call), or null.
  const FznExpr* findAnnotation(const std::vector<FznExpr>& annotations,
                                std::string_view name) const;

  // A short description for messages: "integer 3", "variable 'x'", "array".
  std::string describe(const FznExpr& e) const;
  PimSource source(const FznPos& pos) const { return PimSource(file, pos.line, pos.column); }
  [[noreturn]] void fail(const FznPos& pos, const std::string& message) const;

 private:
  // Open-addressing table of symbols: each slot holds the name's hash in the
  // high 32 bits and symbol + 1 in the low 32 bits (0 = empty). A node-based
  // map spent most of the reading time on cache misses for large files.
  std::vector<std::uint64_t> _slots;
  std::vector<std::string> _names;
  std::vector<std::int32_t> _declOfSymbol;  // -1 when the symbol names no declaration
  // For each scalar declaration with a value: what the value resolves to.
  std::vector<const FznExpr*> _target;

  enum : std::uint8_t { kUnvisited, kVisiting, kDone };
  void resolveDecl(std::size_t start, std::vector<std::uint8_t>& state);
  const FznExpr& element(const FznExpr& access) const;
  void checkRefs(const FznExpr& e);
  std::size_t findSlot(std::string_view name, std::uint32_t hash) const;
};
