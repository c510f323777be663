// Table constraint: the tuple of values of n variables is one of the rows of
// a table of allowed tuples.
//
// The tuples are kept column by column (NuvCPTableData, shared read-only by
// every propagator posted over the table) with, per column, an index of the
// tuples by value. Two propagators keep domain consistency over it:
// NuvCPTableCstrI with one trailed residual support per (variable, value),
// and NuvCPCompactTableI with a reversible bit set of the tuples that are
// still valid. nuvCPMakeTablePropagator chooses between them.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <vector>

#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPIVarI.h"

// The table: arity n, T tuples numbered 0..T-1, stored column-major.
//
// For every column i the values are indexed by a slot 0..slots(i)-1: a
// column whose values span a range at most a few times the number of tuples
// gets one slot per value of colMin..colMax (slot = value - colMin), a wider
// one gets one slot per distinct value (found by binary search), so a column
// of scattered large values costs memory in its number of tuples, not in its
// range. first(i, s) starts the chain of the tuples whose i-th value is that
// of slot s; next(i, t) follows it. Chains are built by pushing each tuple in
// increasing order on its chain's head, so each lists its tuples in
// decreasing order: the last tuple of the table holding a value is the
// first one tried as its support.
//
// Building costs time linear in n * T for dense columns (plus the sort of
// the distinct values of sparse ones) and memory of two words per cell plus
// one per slot. Nothing changes after construction.
class NuvCPTableData {
 public:
  static constexpr std::int32_t kNone = -2147483647;  // no tuple, end of chain

  // `rows` holds the tuples one after the other (row-major), arity values
  // each; arity > 0 and rows.size() a positive multiple of it (the language
  // object checks both).
  NuvCPTableData(int arity, const std::vector<std::int32_t>& rows);

  int arity() const { return _n; }
  int size() const { return _t; }
  int value(int col, int t) const { return _cells[static_cast<std::size_t>(col) * _stride + t]; }
  const std::int32_t* column(int col) const { return _cells.data() + static_cast<std::size_t>(col) * _stride; }
  int colMin(int col) const { return _cols[col].min; }
  int colMax(int col) const { return _cols[col].max; }
  int slots(int col) const { return _cols[col].slots; }
  // The slot of `value` in column `col`, or -1 when no tuple has it there.
  int slot(int col, int value) const {
    const Column& c = _cols[col];
    if (value < c.min || value > c.max) return -1;
    if (c.dense) {
      const int s = value - c.min;
      return _first[c.firstOff + s] == kNone ? -1 : s;
    }
    return sparseSlot(c, value);
  }
  int slotValue(int col, int s) const {
    const Column& c = _cols[col];
    return c.dense ? c.min + s : _distinct[c.distinctOff + s];
  }
  int first(int col, int s) const { return _first[_cols[col].firstOff + s]; }
  int next(int col, int t) const { return _next[static_cast<std::size_t>(col) * _stride + t]; }
  // Bytes held by the table (cells, chains, slot index).
  std::size_t bytes() const;

 private:
  struct Column {
    std::int32_t min = INT32_MAX;
    std::int32_t max = -2147483647;
    std::int32_t slots = 0;
    bool dense = true;
    std::size_t firstOff = 0;
    std::size_t distinctOff = 0;
  };
  int sparseSlot(const Column& c, int value) const;

  std::int32_t _n;
  std::int32_t _t;
  std::size_t _stride;
  std::vector<std::int32_t> _cells;     // column-major
  std::vector<std::int32_t> _next;      // column-major, like the cells
  std::vector<std::int32_t> _first;     // every column's slots, one after the other
  std::vector<std::int32_t> _distinct;  // sparse columns' sorted distinct values
  std::vector<Column> _cols;
};

// table(x1..xn) with residual supports: domain consistency.
//
// Relation: (x1, ..., xn) is a tuple of the table.
// Consistency: domain (every value left is in a tuple whose values are all
// still possible), after post and after every value event.
// Cost: post walks every chain once, O(n * T) membership tests. A removed
// value x_i = v re-supports the values held by the tuples of v's chain from
// v's support onward, each search moving forward along its own chain; a
// binding revises every value of every other variable from its support.
// Supports only move forward within a branch (a residue never restarts from
// the head of its chain), so along a branch each chain is walked once.
// Source: Lecoutre & Hemery, "A study of residual supports in arc
// consistency" (IJCAI 2007), here in the AC5 setting: the handlers are told
// which value went and only revisit the tuples holding it.
// A tuple is valid while every variable holds its value (tested from the
// first variable on, stopping at the first that lacks it).
// Shared variables: a variable (or offset views of it) standing in several
// positions is handled by identity at each position, and a tuple is valid
// only if its values respect the constant differences between the shared
// positions, so the propagator stays domain consistent; removals reach each
// position the variable stands in.
// Members: n, the variables, the table and the sharing links are constant;
// the supports (one (tuple, stamp) pair per column slot) are trailed.
class NuvCPTableCstrI : public NuvCPCstrI {
 public:
  // `owner` is the language object that holds `table` (kept alive by
  // marking; null when the caller keeps the table alive itself).
  NuvCPTableCstrI(NuvCPManagerI* s, NuvCPIntVarI* const* vars, int n, const NuvCPTableData* table,
                  PimCellI* owner = nullptr);
  std::size_t classSize() const override { return sizeof(NuvCPTableCstrI); }
  void mark(PimMarker& m) override;
  // "table(" the variables' print forms, nothing between them, ")".
  void print(std::ostream& os) const override;
  int post(int level) override;
  int valRemove(NuvCPIntVarI* x, int v) override;
  int valBind(NuvCPIntVarI* x, int v) override;
  bool ok() const { return _vars && _supOff; }
  // The current support of value v at position i (kNone when none), for tests.
  int supportOf(int i, int v) const;

 private:
  struct Support {
    std::int32_t tuple;  // trailed
    PimStamp stamp;
  };
  bool valid(int t) const;
  Support& support(int i, int s) { return _sup[_supOff[i] + s]; }
  void setSupport(Support& e, int t) {
    if (e.tuple != t) store()->trail()->assign(e.tuple, e.stamp, t);
  }
  int initVar(int i);
  int resupport(int j, int t);
  int revise(int j);
  int removed(int i, int v);

  std::int32_t _n;
  NuvCPIntVarI** _vars = nullptr;
  const NuvCPTableData* _table;
  PimCellI* _owner;
  std::int32_t* _supOff = nullptr;  // by position: first entry of its slots in _sup
  Support* _sup = nullptr;
  // Sharing: position i's value equals position _link[i]'s plus _delta[i]
  // (-1: no earlier position presents the same variable).
  std::int32_t* _link = nullptr;
  std::int32_t* _delta = nullptr;
  bool _shared = false;
};

// table(x1..xn) with compact table: domain consistency.
//
// Relation and consistency as NuvCPTableCstrI.
// Data: the bit set of the tuples still valid (one trailed word per 64
// tuples, with the sparse index of its non-zero words, whose count is
// trailed); for every (position, slot) the static mask of the tuples that
// hold that value; one residue (a word index) per (position, slot).
// Propagation: woken once per changed variable (domain events), a run
// finds for each variable whose size moved the values gone since the last
// run from a trailed bit set of the slots it held then, clears from the
// valid set the tuples of the gone values (or keeps those of the remaining
// values when fewer remain than went), and removes every value whose mask
// no longer meets the valid set, trying its residue word first.
// Cost: per changed variable O(slots held at the last run) membership tests
// plus O(min(gone, left) * non-zero words); the filtering pass O(sum of
// domain sizes) residue checks in the common case.
// Source: Demeulenaere, Hartert, Lecoutre, Perez, Perron, Régin, Schaus,
// "Compact-Table: efficiently filtering table constraints with reversible
// sparse bit-sets" (CP 2016).
// Shared variables: tuples that break the constant differences between the
// positions a variable (or offset views of it) stands in are cleared from
// the valid set at post, so the set holds exactly the tuples that can still
// be taken; removals reach every position the variable stands in.
// Members: n, the variables, the masks and the sharing are constant; the
// valid words and their count are trailed, and so are the per-variable sizes
// and slot sets seen by the last run; the residues, the working mask and
// the gone/kept slot lists are scratch.
class NuvCPCompactTableI : public NuvCPCstrI {
 public:
  NuvCPCompactTableI(NuvCPManagerI* s, NuvCPIntVarI* const* vars, int n, const NuvCPTableData* table,
                     PimCellI* owner = nullptr);
  std::size_t classSize() const override { return sizeof(NuvCPCompactTableI); }
  void mark(PimMarker& m) override;
  // "table(" the variables' print forms ")", as NuvCPTableCstrI.
  void print(std::ostream& os) const override;
  int post(int level) override;
  int propagate() override;
  bool ok() const { return _vars; }

 private:
  using Word = std::uint64_t;
  struct TWord {
    Word bits;  // trailed
    PimStamp stamp;
  };
  const Word* mask(int i, int s) const { return _masks + (_maskOff[i] + static_cast<std::size_t>(s)) * _words; }
  void clearTuple(int t);  // at post only, before the index is in use
  // Keeps in the valid set only the tuples of _work (over its live words);
  // answers whether the set changed.
  bool intersectWork();
  bool updateVar(int i);
  int filter(int skip);

  std::int32_t _n;
  NuvCPIntVarI** _vars = nullptr;
  const NuvCPTableData* _table;
  PimCellI* _owner;
  std::int32_t _words = 0;
  TWord* _valid = nullptr;
  std::int32_t* _index = nullptr;  // the live word indices are _index[0.._limit-1]
  std::int32_t _limit = 0;         // trailed
  PimStamp _limitStamp = 0;
  Word* _masks = nullptr;
  std::size_t* _maskOff = nullptr;  // by position: its first slot in _masks / _residue
  std::int32_t* _residue = nullptr;
  Word* _work = nullptr;
  // Per position: the variable's size at the last run (trailed); the slots
  // it held then, a bit set of trailed words _snap[_snapOff[i] ..
  // _snapOff[i + 1]). A run finds what went by testing the remembered
  // slots against the domain, so it needs no value events (which other
  // propagators' removals may deliver after this one has run).
  struct Pos {
    std::int32_t seen;
    PimStamp seenStamp;
  };
  Pos* _pos = nullptr;
  bool* _concrete = nullptr;  // constant: position i's variable is concrete
  std::int32_t* _snapOff = nullptr;
  TWord* _snap = nullptr;
  std::int32_t* _gone = nullptr;  // scratch: slots gone at this run
  std::int32_t* _kept = nullptr;  // scratch: slots left
  std::int32_t* _link = nullptr;
  std::int32_t* _delta = nullptr;
  bool _shared = false;
};

// b <=> (x1..xn) is a row of the table (MiniZinc's reified table). Ours.
// Relation: b is 1 exactly when the tuple of values is a row.
// Consistency: b is decided once no row is possible any more (b = 0) or
// the variables are bound to a row (b = 1); with b = 1 every value left has
// a row whose values are all still possible (domain consistency, except
// that a variable in two positions is tested at each position alone); with
// b = 0 and one position open, that position loses every value that would
// complete a row.
// Cost of one run: O(n * T) membership tests (a scan of the rows) per pass,
// repeated while a pass removes values (idempotent), which suits the small tables reified in models (MiniZinc's own decomposition
// enumerates the product of the domains instead).
// Shared variables: a row whose shared positions disagree is never matched
// once the variable is bound, and a position's removal reaches the others;
// b among the variables is read like any other position.
// Members: n, the variables, b and the table, constant; the support marks,
// scratch.
class NuvCPTableReifI : public NuvCPCstrI {
 public:
  NuvCPTableReifI(NuvCPManagerI* s, NuvCPIntVarI* const* vars, int n, const NuvCPTableData* table,
                  NuvCPIntVarI* b, PimCellI* owner = nullptr);
  std::size_t classSize() const override { return sizeof(NuvCPTableReifI); }
  void mark(PimMarker& m) override;
  // "table(" the variables ") <=> " b.
  void print(std::ostream& os) const override;
  int post(int level) override;
  int propagate() override;
  bool ok() const { return _vars && _marks; }

 private:
  bool valid(int t) const;
  int pass(bool& changed);
  std::int32_t _n;
  NuvCPIntVarI** _vars = nullptr;
  const NuvCPTableData* _table;
  NuvCPIntVarI* _b;
  PimCellI* _owner;
  std::size_t* _markOff = nullptr;  // by position: its first slot in _marks
  std::uint8_t* _marks = nullptr;   // scratch: (position, slot) has a row
};

// The table propagator for `table`: compact table from kNuvCPCompactTuples
// tuples on, residual supports below. Measured on random table CSPs
// (bench/globals, same nodes either way): 90 binary tables of 55 rows,
// compact 3.2 s against residual 6.1 s; 40 ternary tables of 180 rows,
// compact 2.2-2.4 s (residual is slower there still). On tables of a few
// rows no instance we have tells them apart; the residual propagator's
// per-value events are then few and it needs no bit sets. Tables with many
// values per column keep residual supports too (nuvCPCompactFits): a
// million rows of three columns over 0..999 load in 0.8 s either way, but
// compact's masks took 594 MB at peak.
NuvCPCstrI* nuvCPMakeTablePropagator(NuvCPManagerI* s, NuvCPIntVarI* const* vars, int n,
                                     const NuvCPTableData* table, PimCellI* owner = nullptr);
inline constexpr int kNuvCPCompactTuples = 8;
// Compact table also needs at most this many distinct values per column on
// average: its masks take (values) x (rows / 8) bytes, at most 32 times the
// table's own cells at this bound.
inline constexpr int kNuvCPCompactSlotsPerColumn = 256;
bool nuvCPCompactFits(const NuvCPTableData& table);
