// Turns a FlatZinc model into solver objects, the way a script would: every
// variable and constraint is created through the module's native classes by
// name ("CP$VarInt", "CP$Equal", ...) with its arguments on the runtime's
// stack, and posted with the store's "post" method.
//
// Each FlatZinc builtin maps onto the strongest native class available:
// binary relations with a constant become the unary relations, unit
// two-term linear constraints become the binary ones, Boolean connectives
// over arrays become Boolean sums. Literals in variable positions become
// fixed variables (one per value). An unsupported construct is an error that
// names it and its line; nothing is silently dropped.
//
// Before anything is created, every constraint is checked against its
// builtin's signature (argument count, each argument's type, paired array
// lengths); a mismatch is an error at the argument's position naming the
// constraint and the argument.
#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "fzn/FznAst.h"
#include "host/Rav.h"

class NuvCPCstrI;
class NuvCPIntVarI;
class NuvCPManagerI;

// How a model's variable or array is printed after a solution.
struct FznOutputItem {
  std::string name;
  bool isArray = false;
  bool isBool = false;
  std::vector<FznIntRange> dims;  // output_array index sets
  // The printed values: a variable, or a fixed value when `var` is null.
  std::vector<NuvCPIntVarI*> vars;
  std::vector<std::int64_t> fixed;
};

// A search phase of the solve item, resolved to variables.
struct FznSearchPhase {
  std::vector<NuvCPIntVarI*> vars;
  std::string varSelect = "input_order";
  std::string valSelect = "indomain_min";
  FznPos pos;
};

class FznBuilder {
 public:
  FznBuilder(const FznModel& model, RavRuntime& rt, NuvNativeObject* store);

  // Creates every variable and posts every constraint. Errors are
  // PimExecutionError with the FlatZinc position. Returns false when the
  // store failed while posting (the model is unsatisfiable).
  bool build();

  const std::vector<FznOutputItem>& outputs() const { return _outputs; }
  // The solve item's search annotations, flattened (seq_search in order);
  // empty when there are none or they name no integer variables.
  const std::vector<FznSearchPhase>& phases() const { return _phases; }
  // Every variable created for the model, in declaration order (the default
  // search's scope).
  const std::vector<NuvCPIntVarI*>& modelVars() const { return _modelVars; }
  // The variables whose values tell solutions apart: the printed ones, in
  // declaration order (a variable may appear twice). Any consistent value
  // of the others will do: -a prints each assignment of the printed
  // variables once, as MiniZinc defines a model's solutions by its output.
  const std::vector<NuvCPIntVarI*>& decisionVars() const { return _decisionVars; }
  // The objective variable (null for satisfaction problems).
  NuvCPIntVarI* objective() const { return _objective; }
  NuvCPManagerI* store() const;
  int constraintCount() const { return _posted; }
  // Lines of warnings met while building (printed by the front end).
  const std::vector<std::string>& warnings() const { return _warnings; }

 private:
  using Handler = void (FznBuilder::*)(const FznConstraint&);

  // What a builtin accepts in one argument position. Variables are checked
  // against their declared type: a Boolean where an integer is expected (or
  // the reverse) is an error, as FlatZinc converts only through bool2int.
  enum class Arg : std::uint8_t {
    Int,           // an integer constant
    Bool,          // a Boolean constant
    IntVar,        // an integer variable or constant
    BoolVar,       // a Boolean variable or constant
    IntArray,      // an array of integer constants
    BoolArray,     // an array of Boolean constants
    IntVarArray,   // an array of integer variables or constants
    BoolVarArray,  // an array of Boolean variables or constants
    IntSet,        // a set of integers
  };
  // A builtin: its handler and signature. The signature is checked before
  // the handler runs, so handlers index their arguments freely.
  struct Builtin {
    Handler handler;
    std::vector<Arg> args;
    std::size_t optional = 0;   // trailing arguments that may be left out
    bool pairedArrays = false;  // arguments 1 and 2 have the same length
  };

  void findAliases();
  // The variable a symbol finally names, and the offset it adds to it.
  std::uint32_t aliasRoot(std::uint32_t symbol, std::int64_t& offset) const;
  void declareVars();
  void buildConstraints();
  void buildOutputs();
  void buildSolve();
  void collectDecisionVars();
  void checkUnsupportedDecl(const FznDecl& d) const;
  void checkConstraints();
  void checkArguments(const FznConstraint& c, const Builtin& b) const;
  // Why `e` does not fit `kind` (empty when it does).
  std::string mismatch(const FznExpr& e, Arg kind) const;

  // Variables and values of arguments.
  NuvNativeObject* var(const FznExpr& e);      // a variable object (literals fixed)
  RavObjectArray vars(const FznExpr& e);       // an array of variable objects, low = 1
  NuvCPIntVarI* implVar(const FznExpr& e);
  // Holes in domains are cleared value by value, so a model may clear only
  // so many (in declared domains, set_in and narrowing aliases together);
  // beyond, it is refused with an error naming `what` rather than hang.
  static constexpr std::int64_t kMaxHoles = std::int64_t(1) << 22;
  void spendHoles(__int128 holes, const FznPos& pos, const std::string& what);
  // Removes from x every value outside `ranges` (sorted, disjoint); false
  // when x's domain empties.
  bool keepOnly(NuvCPIntVarI* x, const std::vector<FznIntRange>& ranges, const FznPos& pos,
                const std::string& what);
  bool isFixed(const FznExpr& e) const;        // a literal after dereferencing
  std::int64_t fixedValue(const FznExpr& e) const;
  NuvNativeObject* constant(std::int64_t v, const FznPos& pos);
  NuvNativeObject* newIntVar(std::int64_t lo, std::int64_t hi, const FznPos& pos);
  NuvNativeObject* newBoolVar();
  NuvNativeObject* negation(NuvNativeObject* b);  // 1 - b
  int checkedInt(std::int64_t v, const FznPos& pos, const char* what) const;
  RavIntArray intArray(const std::vector<std::int64_t>& v, const FznPos& pos) const;

  // Creates a native object from the values pushed since `mark` and posts it.
  void post(const char* className, std::vector<RavValue> args);
  void fail();  // the store failed: the model has no solution

  // Builtins.
  void intEq(const FznConstraint& c);
  void intNe(const FznConstraint& c);
  void intLe(const FznConstraint& c);
  void intLt(const FznConstraint& c);
  void intEqReif(const FznConstraint& c);
  void intNeReif(const FznConstraint& c);
  void intLeReif(const FznConstraint& c);
  void intLtReif(const FznConstraint& c);
  void intLinEq(const FznConstraint& c);
  void intLinNe(const FznConstraint& c);
  void intLinLe(const FznConstraint& c);
  void intLinEqReif(const FznConstraint& c);
  void intLinNeReif(const FznConstraint& c);
  void intLinLeReif(const FznConstraint& c);
  void intPlus(const FznConstraint& c);
  void function(const char* op, const FznConstraint& c);
  void intTimes(const FznConstraint& c);
  void intDiv(const FznConstraint& c);
  void intMod(const FznConstraint& c);
  void intAbs(const FznConstraint& c);
  void intMin(const FznConstraint& c);
  void intMax(const FznConstraint& c);
  void intPow(const FznConstraint& c);
  void arrayIntMinimum(const FznConstraint& c);
  void arrayIntMaximum(const FznConstraint& c);
  void arrayIntElement(const FznConstraint& c);
  void arrayVarIntElement(const FznConstraint& c);
  void cumulative(const FznConstraint& c);
  void disjunctive(const FznConstraint& c);
  void cumulativeOpt(const FznConstraint& c);
  void allDifferent(const FznConstraint& c);
  void allDifferentReif(const FznConstraint& c);
  void arrayBoolAnd(const FznConstraint& c);
  void arrayBoolOr(const FznConstraint& c);
  void arrayBoolXor(const FznConstraint& c);
  void boolClause(const FznConstraint& c);
  void boolClauseReif(const FznConstraint& c);
  void boolAnd(const FznConstraint& c);
  void boolOr(const FznConstraint& c);
  void boolXor(const FznConstraint& c);
  void boolNot(const FznConstraint& c);
  void boolLt(const FznConstraint& c);
  void boolLtReif(const FznConstraint& c);
  void boolLinEq(const FznConstraint& c);
  void boolLinLe(const FznConstraint& c);
  void setIn(const FznConstraint& c);
  void setInReif(const FznConstraint& c);
  void tableInt(const FznConstraint& c);
  void tableIntReif(const FznConstraint& c);
  void postPropagator(NuvCPCstrI* p, const FznConstraint& c);
  std::vector<NuvCPIntVarI*> implVars(const RavObjectArray& xs) const;
  NuvNativeObject* tableObject(const FznConstraint& c, std::size_t n);
  void inverse(const FznConstraint& c);
  void regular(const FznConstraint& c);
  void globalCardinality(const FznConstraint& c);
  void lex(const FznConstraint& c);
  void among(const FznConstraint& c);
  void nvalue(const FznConstraint& c);
  void slidingSum(const FznConstraint& c);
  void arrayRelation(const FznConstraint& c);
  void member(const FznConstraint& c);
  void valuePrecede(const FznConstraint& c);
  void circuit(const FznConstraint& c);
  void binPacking(const FznConstraint& c);
  void knapsack(const FznConstraint& c);
  void spanningTree(const FznConstraint& c);
  RavIntArray constants(const FznConstraint& c, std::size_t k) const;

  // Shared shapes.
  enum class Rel { Eq, Ne, Le };
  // sum(coefs[i] * xs[i]) rel rhs, optionally reified by r.
  void linear(std::vector<std::int64_t> coefs, RavObjectArray xs, __int128 rhs, Rel rel,
              NuvNativeObject* r, const FznPos& pos);
  // x rel y + k with either side possibly fixed, optionally reified by r.
  void binary(const FznExpr& x, const FznExpr& y, std::int64_t k, Rel rel,
              NuvNativeObject* r, const FznPos& pos);

  const FznModel& _m;
  RavRuntime& _rt;
  NuvNativeObject* _store;
  std::unordered_map<std::string, Builtin> _builtins;
  std::vector<const Builtin*> _builtinOf;  // by constraint, after checkConstraints()
  std::vector<NuvNativeObject*> _varOf;  // by symbol; null for non-variables
  std::vector<std::uint32_t> _aliasOf;   // by symbol: the variable it shares, or UINT32_MAX
  std::vector<std::int32_t> _aliasOffset;  // by symbol: it is _aliasOf's variable plus this
  std::vector<bool> _skip;               // by constraint: already expressed by an alias
  std::unordered_map<std::int64_t, NuvNativeObject*> _constants;
  std::vector<NuvCPIntVarI*> _modelVars;
  std::vector<NuvCPIntVarI*> _decisionVars;
  std::vector<FznOutputItem> _outputs;
  std::vector<FznSearchPhase> _phases;
  std::vector<std::string> _warnings;
  NuvCPIntVarI* _objective = nullptr;
  const FznConstraint* _current = nullptr;
  std::int64_t _holesLeft = kMaxHoles;
  int _posted = 0;
  // Tables already built, by their array in the model: constraints over the
  // same named array share one table.
  std::unordered_map<const FznExpr*, NuvNativeObject*> _tables;
  bool _failed = false;
};
