// Element: z == a[x] over a constant array a (indexed low..up, as the
// language array is), and z == vars[x] over an array of variables.
#pragma once

#include <cstdint>
#include <iosfwd>

#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPIVarI.h"
#include "fd/NuvCPShared.h"

// A constant array with its own index range, copied into the store's arena.
struct NuvCPIntTable {
  std::int32_t low = 0;
  std::int32_t size = 0;
  std::int32_t* values = nullptr;
  int high() const { return low + size - 1; }
  int at(int i) const { return values[i - low]; }
};

// z == a[x], bounds of z and domain of x, through the array's (index, value)
// pairs sorted by value. Pairs are ordered by value and then by index with
// true comparisons: the same order as comparing by differences wherever the
// differences fit in 32 bits, and still correct where they would not (a
// wrapped difference would misplace a pair and let the scan skip a support).
// Shared arguments: z presenting the index variable (z == x + d, d = 0 for
// the variable itself) is the unary a[x] == x + d; post keeps the indices
// that satisfy it and is done. The same rule holds for NuvCPElementACI.
class NuvCPElementBCI : public NuvCPCstrI {
 public:
  NuvCPElementBCI(NuvCPManagerI* s, NuvCPIntTable a, NuvCPIntVarI* z, NuvCPIntVarI* x);
  // The form NuvCPCstrElementAdapter builds: z = table[x], table indexed from
  // `low` (FlatZinc's arrays start at 1).
  NuvCPElementBCI(NuvCPManagerI* s, int low, int n, std::int32_t* table, NuvCPIntVarI* x,
                  NuvCPIntVarI* z)
      : NuvCPElementBCI(s, NuvCPIntTable{low, n, table}, z, x) {}
  std::size_t classSize() const override { return sizeof(NuvCPElementBCI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;

 private:
  struct Pair {
    std::int32_t index;
    std::int32_t value;
  };
  void setLo(int v) { store()->trail()->assign(_lo, _loStamp, v); }
  void setHi(int v) { store()->trail()->assign(_hi, _hiStamp, v); }

  NuvCPIntTable _a;
  NuvCPIntVarI* _z;
  NuvCPIntVarI* _x;
  Pair* _pairs = nullptr;
  std::int32_t _m = 0;
  std::int32_t _lo = 0;  // trailed
  PimStamp _loStamp;
  std::int32_t _hi = -1;  // trailed
  PimStamp _hiStamp;
};

// z == a[x], domain consistent on both, with support counts kept by value
// events. Counts are indexed by the rank of a value among the array's
// distinct values (binary search), so an array with a wide value range costs
// no more memory than a narrow one. Each index's removal is counted once:
// a per-index trailed flag guards against a removal being reported twice.
// Shared arguments: as NuvCPElementBCI (the value events of one variable in
// both roles could not be told apart).
class NuvCPElementACI : public NuvCPCstrI {
 public:
  NuvCPElementACI(NuvCPManagerI* s, NuvCPIntTable a, NuvCPIntVarI* z, NuvCPIntVarI* x);
  NuvCPElementACI(NuvCPManagerI* s, int low, int n, std::int32_t* table, NuvCPIntVarI* x,
                  NuvCPIntVarI* z)
      : NuvCPElementACI(s, NuvCPIntTable{low, n, table}, z, x) {}
  std::size_t classSize() const override { return sizeof(NuvCPElementACI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  int post(int level) override;
  int propagate() override { return NuvCPSuspend; }
  int valRemove(NuvCPIntVarI* v, int val) override;
  int valBind(NuvCPIntVarI* v, int val) override;

  // The range check of post: largest - smallest + 1 must fit in an int.
  // Post raises "value range in element constraint is too large" otherwise.
  static bool valueRangeFits(const NuvCPIntTable& a, const NuvCPIntVarI* x);

 private:
  struct Counted {
    std::int32_t count;  // trailed
    PimStamp stamp;
  };
  struct Alive {
    std::int32_t on;  // trailed: 1 while the index is still counted
    PimStamp stamp;
  };
  int rankOf(int value) const;  // -1 when no entry has it
  int removeIndex(int i);      // uncounts index i; removes its value from z at 0

  NuvCPIntTable _a;
  NuvCPIntVarI* _z;
  NuvCPIntVarI* _x;
  std::int32_t* _distinct = nullptr;  // sorted distinct values
  std::int32_t _nd = 0;
  Counted* _counts = nullptr;   // by rank
  std::int32_t* _first = nullptr;  // by rank: first index of the chain
  std::int32_t* _next = nullptr;   // by index - low: next index with the same value
  Alive* _alive = nullptr;         // by index - low
  static constexpr std::int32_t kEnd = INT32_MIN;
  std::int32_t _smallest = INT32_MAX;
  std::int32_t _largest = INT32_MIN;
};

// z == vars[x], bounds reasoning: an index stays only while its variable's
// bounds meet z's; z stays within the hull of the remaining variables; a
// fixed index makes z and that variable equal on bounds.
// Shared arguments (the index or z among the array's variables, z == x, an
// entry repeated, views of any of them): every rule of the three variable
// array propagators narrows to values all solutions have whatever the
// arguments are, a fixed index equates z and the entry it selects, and with
// everything bound an entry other than z's fails; so they are sound (not
// complete) under sharing and post them unchanged.
class NuvCPElementVarBCI : public NuvCPCstrI {
 public:
  NuvCPElementVarBCI(NuvCPManagerI* s, int low, int n, NuvCPIntVarI* const* vars, NuvCPIntVarI* z,
                     NuvCPIntVarI* x);
  std::size_t classSize() const override { return sizeof(NuvCPElementVarBCI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;
  bool ok() const { return _n == 0 || _vars; }

 protected:
  std::int32_t _low;
  std::int32_t _n;
  NuvCPIntVarI** _vars;
  NuvCPIntVarI* _z;
  NuvCPIntVarI* _x;
  bool _allConcrete = true;  // constant: every entry a NuvCPCIntVarI
};

// z == vars[x], domain consistent: an index stays only while its variable
// shares a value with z; z keeps only values some remaining variable has; a
// fixed index makes the two domains equal.
class NuvCPElementVarACI : public NuvCPElementVarBCI {
 public:
  using NuvCPElementVarBCI::NuvCPElementVarBCI;
  std::size_t classSize() const override { return sizeof(NuvCPElementVarACI); }
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;
};

// z == vars[x] over an array that is kept sorted (nondecreasing): the
// propagator maintains the order on bounds itself, which is what lets it cut
// x from both ends only (the indices whose variables meet z's bounds form an
// interval) and bound z by the two end variables.
class NuvCPElementVarSortedI : public NuvCPElementVarBCI {
 public:
  using NuvCPElementVarBCI::NuvCPElementVarBCI;
  std::size_t classSize() const override { return sizeof(NuvCPElementVarSortedI); }
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;
};

// z == a[x][y] and z == a[x][y][w] over a constant grid stored row-major,
// each dimension with its own index range. Each index keeps only the values
// that some cell whose value z still holds selects (domain consistent on the
// indices); z keeps the bounds of those cells' values.
// Shared arguments (two indices, or z and an index, presenting one variable
// or views of it): only the cells whose coordinates and value respect the
// fixed differences between the shared positions count, so the indices stay
// domain consistent and a fixed tuple of indices selects a real cell.
// Members: the grid and the sharing are constant; `_seen` is scratch.
class NuvCPElementGridI : public NuvCPCstrI {
 public:
  static constexpr int kMaxDims = 3;
  std::size_t classSize() const override { return sizeof(NuvCPElementGridI); }
  void mark(PimMarker& m) override;
  int propagate() override;
  int post(int level) override;
  bool ok() const { return _values && _seen[0] && _seen[1] && (_dims < 3 || _seen[2]); }

 protected:
  // `lows`, `sizes` and `idx` have `dims` entries; `values` holds the
  // product of the sizes. Both are copied into the store's arena.
  NuvCPElementGridI(NuvCPManagerI* s, int dims, const int* lows, const int* sizes,
                    const std::int32_t* values, NuvCPIntVarI* z, NuvCPIntVarI* const* idx);
  // z " =BC " a "[" x "," y ... "]"
  void printGrid(std::ostream& os) const;

 private:
  void printDim(std::ostream& os, int d, int offset) const;
  int cell(int i, int j, int k) const {
    return _values[((i - _low[0]) * _size[1] + (j - _low[1])) * _size[2] + (k - _low[2])];
  }

  std::int32_t _dims;
  std::int32_t _low[kMaxDims] = {0, 0, 0};
  std::int32_t _size[kMaxDims] = {1, 1, 1};
  std::int32_t* _values = nullptr;
  NuvCPIntVarI* _z;
  NuvCPIntVarI* _idx[kMaxDims] = {nullptr, nullptr, nullptr};
  NuvCPSharing<kMaxDims + 1> _share;  // over the indices, then z
  // Scratch of propagate, one flag per index of each dimension.
  std::uint8_t* _seen[kMaxDims] = {nullptr, nullptr, nullptr};
};

// z == a[x][y]; a has `rows` rows indexed from `xlow` and `cols` columns
// indexed from `ylow`.
class NuvCPElement2DI : public NuvCPElementGridI {
 public:
  NuvCPElement2DI(NuvCPManagerI* s, int xlow, int rows, int ylow, int cols,
                  const std::int32_t* values, NuvCPIntVarI* z, NuvCPIntVarI* x, NuvCPIntVarI* y);
  std::size_t classSize() const override { return sizeof(NuvCPElement2DI); }
  void print(std::ostream& os) const override { printGrid(os); }
};

// z == a[x][y][w].
class NuvCPElement3DI : public NuvCPElementGridI {
 public:
  NuvCPElement3DI(NuvCPManagerI* s, int xlow, int nx, int ylow, int ny, int wlow, int nw,
                  const std::int32_t* values, NuvCPIntVarI* z, NuvCPIntVarI* x, NuvCPIntVarI* y,
                  NuvCPIntVarI* w);
  std::size_t classSize() const override { return sizeof(NuvCPElement3DI); }
  void print(std::ostream& os) const override { printGrid(os); }
};
