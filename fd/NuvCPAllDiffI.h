// All-different: the variables of an array take pairwise different values.
//
// Five propagators of increasing strength and cost (the language class and
// the FlatZinc front end choose, see NuvCPAllDiff.h):
//   NuvCPAllDiffbI   one unit per variable: once x[k] is bound, its value
//                    leaves every other variable (value consistency);
//   NuvCPAllDiffcI   the same for x[i] + d[i] all different;
//   NuvCPAllDiffeI   the same over variables standing for expressions;
//   NuvCPAllDiffvI   value consistency from the AC5 bind events, one
//                    propagator for the whole array;
//   NuvCPAllDiffBoundsI   bounds consistency (Hall intervals);
//   NuvCPAllDifferentACI  domain consistency (matching and components).
//
// Shared variables: the same variable (or the same offset of it) in two
// positions can never take two different values; every variant fails such
// a post at once (twins()).
// Every propagator here treats its positions as independent variables,
// which only weakens it when views of one variable with different offsets
// share an array: each pruning is still implied by the relation.
#pragma once

#include <cstdint>
#include <iosfwd>

#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPIVarI.h"

// The array of every variant: n variables with the language index range
// low..low + n - 1. Constant after construction.
class NuvCPAllDiffI : public NuvCPCstrI {
 public:
  NuvCPAllDiffI(NuvCPManagerI* store, int low, int n, NuvCPIntVarI* const* x, unsigned priority = 7,
                bool idempotent = false);
  std::size_t classSize() const override { return sizeof(NuvCPAllDiffI); }
  void mark(PimMarker& m) override;
  bool ok() const { return _n == 0 || _x; }
  int size() const { return _n; }
  int low() const { return _low; }
  NuvCPIntVarI* at(int k) const { return _x[k - _low]; }  // language index
  NuvCPIntVarI* const* vars() const { return _x; }
  void printArray(std::ostream& os) const;
  // Whether two positions present the same variable with the same offset
  // (plus shift[k] - shift[j] when given): then no assignment exists.
  bool twins(const std::int32_t* shift = nullptr) const;

 protected:
  std::int32_t _low;
  std::int32_t _n;
  NuvCPIntVarI** _x;
};

// The unit of the decompositions: once x[k] is bound, its value leaves
// every other variable (removeFromOthers, which the subclasses define); the
// unit is then entailed. A unit whose variable is bound at post removes at
// once. Members: the array's owner and k, constant.
class NuvCPAllDiffUnitI : public NuvCPCstrI {
 public:
  NuvCPAllDiffUnitI(NuvCPManagerI* store, NuvCPAllDiffI* array, int k, int assertLine)
      : NuvCPCstrI(store), _array(array), _k(k), _assertLine(assertLine) {}
  void mark(PimMarker& m) override;
  int propagate() override;
  int post(int level) override;

 protected:
  virtual int removeFromOthers() = 0;
  NuvCPAllDiffI* _array;
  std::int32_t _k;
  std::int32_t _assertLine;  // of the "bound" check (0: none)
};

// Decomposition into one NuvCPAllDiffUnitbI per variable (or, for the
// expression form, NuvCPAllDiffUniteI). Value consistency; a unit costs
// O(n) once, when its variable is bound.
class NuvCPAllDiffbI : public NuvCPAllDiffI {
 public:
  using NuvCPAllDiffI::NuvCPAllDiffI;
  std::size_t classSize() const override { return sizeof(NuvCPAllDiffbI); }
  void print(std::ostream& os) const override;
  int post(int level) override;
};

class NuvCPAllDiffUnitbI : public NuvCPAllDiffUnitI {
 public:
  NuvCPAllDiffUnitbI(NuvCPManagerI* store, NuvCPAllDiffI* array, int k)
      : NuvCPAllDiffUnitI(store, array, k, 149) {}
  std::size_t classSize() const override { return sizeof(NuvCPAllDiffUnitbI); }
  void print(std::ostream& os) const override;

 protected:
  int removeFromOthers() override;
};

// x[i] + d[i] pairwise different, by units. Members: d, constant.
class NuvCPAllDiffcI : public NuvCPAllDiffI {
 public:
  NuvCPAllDiffcI(NuvCPManagerI* store, int low, int n, NuvCPIntVarI* const* x, const int* d);
  std::size_t classSize() const override { return sizeof(NuvCPAllDiffcI); }
  void print(std::ostream& os) const override;
  int post(int level) override;
  int shift(int k) const { return _d[k - _low]; }
  bool ok() const { return NuvCPAllDiffI::ok() && (_n == 0 || _d); }

 private:
  std::int32_t* _d;
};

// x[k] + d[k] bound to v: v - d[j] leaves x[j] for every j != k.
class NuvCPAllDiffUnitcI : public NuvCPAllDiffUnitI {
 public:
  NuvCPAllDiffUnitcI(NuvCPManagerI* store, NuvCPAllDiffcI* array, int k)
      : NuvCPAllDiffUnitI(store, array, k, 243) {}
  std::size_t classSize() const override { return sizeof(NuvCPAllDiffUnitcI); }
  void print(std::ostream& os) const override;

 protected:
  int removeFromOthers() override;
};

// Expressions all different: the caller turns each expression into a
// variable (the modelling layer's nuvCPVarOf) and gives those; units as
// for AllDiffb.
class NuvCPAllDiffeI : public NuvCPAllDiffI {
 public:
  using NuvCPAllDiffI::NuvCPAllDiffI;
  std::size_t classSize() const override { return sizeof(NuvCPAllDiffeI); }
  void print(std::ostream& os) const override;
  int post(int level) override;
};

class NuvCPAllDiffUniteI : public NuvCPAllDiffUnitbI {
 public:
  using NuvCPAllDiffUnitbI::NuvCPAllDiffUnitbI;
  std::size_t classSize() const override { return sizeof(NuvCPAllDiffUniteI); }
  void print(std::ostream& os) const override;
};

// Value consistency through the AC5 bind events: when x[i] is bound to v,
// v leaves every other variable. One propagator for the array; O(n) per
// bound variable. Post removes the values of variables already bound (two
// bound to one value fail there). Nothing trailed, no scratch.
class NuvCPAllDiffvI : public NuvCPAllDiffI {
 public:
  using NuvCPAllDiffI::NuvCPAllDiffI;
  std::size_t classSize() const override { return sizeof(NuvCPAllDiffvI); }
  void print(std::ostream& os) const override;
  int post(int level) override;
  int valBindIdx(NuvCPIntVarI* x, int index, int value) override;
};

// Bounds consistency: every Hall interval [a, b] (as many variables within
// it as values in it) is removed from the bounds of the other variables.
// Source: Lopez-Ortiz, Quimper, Tromp and van Beek, "A fast and simple
// algorithm for bounds consistency of the alldifferent constraint", IJCAI
// 2003 (the union-find version). Cost of one run: O(n log n) (two sorts of
// the bounds, kept from run to run so that they are nearly sorted) plus
// near-linear union-find sweeps. Idempotent: repeated until no bound moves.
// Members: the array, constant; the sort orders and the sweep arrays are
// scratch allocated at construction; nothing trailed.
class NuvCPAllDiffBoundsI : public NuvCPAllDiffI {
 public:
  NuvCPAllDiffBoundsI(NuvCPManagerI* store, int low, int n, NuvCPIntVarI* const* x);
  std::size_t classSize() const override { return sizeof(NuvCPAllDiffBoundsI); }
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;
  bool ok() const { return NuvCPAllDiffI::ok() && (_n == 0 || _scratch); }

 private:
  struct Interval {
    std::int64_t min, max;  // [min, max] of the variable
    std::int32_t minrank, maxrank;
  };
  int sweep(bool& changed);
  int filterLower(bool& changed);
  int filterUpper(bool& changed);
  void* _scratch = nullptr;
  Interval* _iv = nullptr;
  std::int32_t* _byMin = nullptr;
  std::int32_t* _byMax = nullptr;
  std::int64_t* _bounds = nullptr;  // 2n + 2 distinct bounds with sentinels
  std::int32_t* _t = nullptr;       // tree links
  std::int64_t* _d = nullptr;       // capacities
  std::int32_t* _h = nullptr;       // Hall interval links
  std::int32_t _nb = 0;
};

// Domain consistency (Regin, "A filtering algorithm for constraints of
// difference in CSPs", AAAI 1994): a maximum matching of variables to
// values, kept from run to run and repaired by augmenting paths from the
// variables that lost their value; then the strongly connected components
// of the residual graph (Tarjan) with every free value linked to every
// matched value, so that alternating paths through free values close into
// cycles; a value outside its variable's component and not its match has
// no support and goes. Cost of one run: O(n d) per augmenting path (d the
// largest domain) and O(n d) for the components; the graph search walks an
// explicit stack, so that thousands of variables need no deep recursion.
// Post also posts an NuvCPAllDiffvI over the same array, which removes
// bound values cheaply before the matching runs.
// Members: the array and the value range (fixed at post), constant; the
// matching, the stamps and the component arrays are scratch kept from run
// to run (the matching is repaired, not trailed), the value graph of a run
// (read from the domains at its start) is scratch; nothing trailed.
class NuvCPAllDifferentACI : public NuvCPAllDiffI {
 public:
  NuvCPAllDifferentACI(NuvCPManagerI* store, int low, int n, NuvCPIntVarI* const* x);
  std::size_t classSize() const override { return sizeof(NuvCPAllDifferentACI); }
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;

 private:
  static constexpr std::int32_t kUnmatched = 2147483647;
  bool completeMatching();
  bool augment(int root);
  int prune();
  bool allocate();

  std::int64_t _vmin = 0, _vmax = -1;
  std::int32_t _valSize = 0;
  std::int32_t* _varMatch = nullptr;
  std::uint32_t* _varSeen = nullptr;
  std::int32_t* _valMatch = nullptr;  // by v - vmin
  std::uint32_t* _valSeen = nullptr;
  std::int32_t _matched = 0;
  std::uint32_t _stamp = 0;
  // Components (Tarjan, numbers counting down, low links kept as maxima).
  std::int32_t* _varComp = nullptr;
  std::int32_t* _varNum = nullptr;
  std::int32_t* _varLow = nullptr;
  std::int32_t* _valComp = nullptr;
  std::int32_t* _valNum = nullptr;
  std::int32_t* _valLow = nullptr;
  std::int32_t _dfsNum = 0;
  std::int32_t _nbComp = 0;
  // Tarjan's stack of (node, kind) and the walk's own stack of frames.
  std::int32_t* _stackNode = nullptr;
  std::uint8_t* _stackKind = nullptr;
  std::int32_t _top = 0;
  struct Frame {
    std::int32_t node;
    std::uint8_t kind;  // 0 variable, 1 value
    std::int64_t next;  // the next successor to try (a value, or an index)
  };
  Frame* _frames = nullptr;
  // The augmenting search's path: the variable and the value it tries.
  std::int32_t* _pathVar = nullptr;
  std::int64_t* _pathVal = nullptr;
  // The value graph of one run: variable i's values (as v - vmin) are
  // _adj[_adjStart[i] .. _adjStart[i + 1]); sized at post by the domains.
  std::int32_t* _adjStart = nullptr;
  std::int32_t* _adj = nullptr;
  void readEdges();
};

// b <=> the variables of x pairwise different (MiniZinc's reified
// all_different). Our own; it reasons on bound values:
// - two positions bound to one value make b false (the post does so at
//   once when two positions present the same variable with the same
//   offset); every position bound to distinct values makes b true;
// - b true: value consistency, as NuvCPAllDiffvI, rerun from the bound
//   positions on every bind (O(n) per bound position and run);
// - b false with a single position open and the others bound to distinct
//   values: that position keeps only the others' values (O(its domain)).
// No bounds or domain reasoning under b true: a reified all-different is
// rarely the core of a model, and the bind-driven check keeps every answer
// exact. Cost of one run O(n log n + n k) with k bound positions.
// Shared variables: positions are independent (views of one variable with
// different offsets only make some pairs never equal); b may be one of the
// positions, whose value is then read like any other.
// Members: the array and b, constant; the sorted values, scratch.
class NuvCPAllDiffReifI : public NuvCPAllDiffI {
 public:
  NuvCPAllDiffReifI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* x, NuvCPIntVarI* b);
  std::size_t classSize() const override { return sizeof(NuvCPAllDiffReifI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;
  bool ok() const { return NuvCPAllDiffI::ok() && (_n == 0 || _values); }

 private:
  NuvCPIntVarI* _b;
  std::int32_t* _values = nullptr;
};

// How strongly an all-different reasons.
enum class NuvCPAllDiffStrength {
  Basic,   // units, one per variable
  Value,   // NuvCPAllDiffvI
  Bounds,  // NuvCPAllDiffBoundsI (with NuvCPAllDiffvI)
  Domain,  // NuvCPAllDifferentACI (with NuvCPAllDiffvI)
  Default  // by the array's values; see nuvCPAllDiffDefault
};

// The all-different propagator of a strength over x[low..low + n - 1].
// The default depends on how tight the values are (nuvCPAllDiffDefault):
// - nearly a permutation (the values of all variables span at most n + n/4
//   integers) and small (n times that span at most kDomainDefaultCells):
//   domain consistency. Hall sets with holes abound there (Latin squares,
//   sudoku, the rows of n-queens), and bounds reasoning misses them: a
//   quasigroup completion of order 25 takes 246 nodes with it and is not
//   solved in 4 million without. Its matching costs O(n d) a run, which is
//   why it is kept to small arrays;
// - otherwise bounds consistency (with the value propagator for bound
//   values): O(n log n) a run. On loose arrays (the differences of a Golomb
//   ruler, the diagonals of n-queens) it visits as few nodes as domain
//   consistency (49,889 for a 10-mark ruler against 300,330 with value
//   consistency alone) at a fraction of its cost.
// Value consistency alone is cheaper still per node (all 13-queens in less
// than half the time of bounds, with 13% more nodes), but loses badly where
// bounds move (the ruler above: six times the nodes); ask for it with
// "value" (::value_propagation from MiniZinc).
constexpr std::int64_t kDomainDefaultCells = 65536;
NuvCPAllDiffStrength nuvCPAllDiffDefault(int n, NuvCPIntVarI* const* x);
NuvCPCstrI* nuvCPNewAllDiff(NuvCPManagerI* s, int low, int n, NuvCPIntVarI* const* x,
                            NuvCPAllDiffStrength strength);
