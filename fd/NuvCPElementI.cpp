#include "fd/NuvCPElementI.h"

#include <algorithm>
#include <array>
#include <ostream>

#include "fd/NuvCPIntMath.h"
#include "fd/NuvCPManagerI.h"
#include "fd/NuvCPShared.h"
#include "host/PimError.h"

namespace {


// Whether x and y share a value.
bool intersects(const NuvCPIntVarI* x, const NuvCPIntVarI* y) {
  if (x->getMax() < y->getMin() || y->getMax() < x->getMin()) return false;
  const NuvCPIntVarI* small = x->getSize() <= y->getSize() ? x : y;
  const NuvCPIntVarI* big = small == x ? y : x;
  bool found = false;
  nuvCPForEachValue(small, [&](int v) {
    found = big->member(v);
    return !found;
  });
  return found;
}

// z == a[x] with z == x + d is the unary relation a[x] == x + d: x keeps
// the indices that satisfy it, and then nothing is left to propagate.
int keepIndicesEqualToTheirValue(NuvCPIntVarI* x, const NuvCPIntTable& a, std::int64_t d) {
  if (x->updateMin(a.low) == NuvCPFailure || x->updateMax(a.high()) == NuvCPFailure)
    return NuvCPFailure;
  int r = NuvCPSuspend;
  nuvCPForEachValue(x, [&](int i) {
    if (a.at(i) != i + d) r = x->removeValue(i);
    return r != NuvCPFailure;
  });
  return r == NuvCPFailure ? NuvCPFailure : NuvCPSuccess;
}

void printTable(std::ostream& os, const NuvCPIntTable& a) {
  os << "[";
  for (int i = 0; i < a.size; ++i) os << (i ? "," : "") << a.values[i];
  os << "]";
}

}  // namespace

// ---- bounds, over a constant array ------------------------------------------------------

NuvCPElementBCI::NuvCPElementBCI(NuvCPManagerI* s, NuvCPIntTable a, NuvCPIntVarI* z,
                                 NuvCPIntVarI* x)
    : NuvCPCstrI(s), _a(a), _z(z), _x(x) {
  _loStamp = _hiStamp = s->trail()->stamp();
}

void NuvCPElementBCI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  m.mark(_z);
  m.mark(_x);
}

void NuvCPElementBCI::print(std::ostream& os) const {
  _z->print(os);
  os << " =BC ";
  printTable(os, _a);
  os << "[";
  _x->print(os);
  os << "]";
}

int NuvCPElementBCI::post(int) {
  std::int64_t d;
  if (nuvCPShared(_x, _z, d)) return keepIndicesEqualToTheirValue(_x, _a, d);
  if (_x->isBound()) {
    // Nothing is left to propagate once z is bound: the constraint is off.
    const int i = _x->getMin();
    if (i < _a.low || i > _a.high()) return NuvCPFailure;
    setEnabled(0);
    return _z->bind(_a.at(i)) == NuvCPFailure ? NuvCPFailure : NuvCPSuccess;
  }
  if (_x->updateMin(_a.low) == NuvCPFailure || _x->updateMax(_a.high()) == NuvCPFailure)
    return NuvCPFailure;
  _pairs = store()->allocator()->allocateArray<Pair>(static_cast<std::size_t>(_x->getSize()));
  if (!_pairs) return NuvCPFailure;
  _m = 0;
  nuvCPForEachValue(_x, [&](int i) {
    _pairs[_m++] = Pair{i, _a.at(i)};
    return true;
  });
  std::sort(_pairs, _pairs + _m, [](const Pair& p, const Pair& q) {
    return p.value != q.value ? p.value < q.value : p.index < q.index;
  });
  setLo(0);
  setHi(_m - 1);
  _z->addMin(this);
  _z->addMax(this);
  _x->addDomain(this);
  return propagate();
}

int NuvCPElementBCI::propagate() {
  if (_x->isBound()) {
    setEnabled(0);
    const int i = _x->getMin();
    if (i < _a.low || i > _a.high()) return NuvCPFailure;
    return _z->bind(_a.at(i));
  }
  int p = _lo;
  while (p < _m && !_x->member(_pairs[p].index)) ++p;
  if (p >= _m) return NuvCPFailure;
  int r = _z->updateMin(_pairs[p].value);
  if (r == NuvCPFailure) return r;
  setLo(p);
  int q = _hi;
  while (q >= 0 && !_x->member(_pairs[q].index)) --q;
  if (q < 0) return NuvCPFailure;
  r = _z->updateMax(_pairs[q].value);
  if (r == NuvCPFailure) return r;
  setHi(q);
  const int zmin = _z->getMin(), zmax = _z->getMax();
  while (r != NuvCPFailure && p < _m && _pairs[p].value < zmin) r = _x->removeValue(_pairs[p++].index);
  setLo(p);
  while (r != NuvCPFailure && q >= 0 && _pairs[q].value > zmax) r = _x->removeValue(_pairs[q--].index);
  setHi(q);
  return r;
}

// ---- domain, over a constant array ------------------------------------------------------

NuvCPElementACI::NuvCPElementACI(NuvCPManagerI* s, NuvCPIntTable a, NuvCPIntVarI* z,
                                 NuvCPIntVarI* x)
    : NuvCPCstrI(s), _a(a), _z(z), _x(x) {}

void NuvCPElementACI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  m.mark(_z);
  m.mark(_x);
}

void NuvCPElementACI::print(std::ostream& os) const {
  _z->print(os);
  os << " =AC ";
  printTable(os, _a);
  os << "[[";
  _x->print(os);
  os << "]]";
}

bool NuvCPElementACI::valueRangeFits(const NuvCPIntTable& a, const NuvCPIntVarI* x) {
  std::int64_t lo = INT32_MAX, hi = INT32_MIN;
  for (int i = std::max(a.low, x->getMin()); i <= std::min(a.high(), x->getMax()); ++i)
    if (x->member(i)) {
      lo = std::min<std::int64_t>(lo, a.at(i));
      hi = std::max<std::int64_t>(hi, a.at(i));
    }
  return lo > hi || hi - lo + 1 <= INT32_MAX;
}

int NuvCPElementACI::rankOf(int value) const {
  const std::int32_t* p = std::lower_bound(_distinct, _distinct + _nd, value);
  return p != _distinct + _nd && *p == value ? static_cast<int>(p - _distinct) : -1;
}

int NuvCPElementACI::post(int) {
  // The native class checks this before building; a propagator built
  // directly reports the same error.
  if (!valueRangeFits(_a, _x))
    throw PimExecutionError(PimSource(), "value range in element constraint is too large");
  std::int64_t d;
  if (nuvCPShared(_x, _z, d)) return keepIndicesEqualToTheirValue(_x, _a, d);
  if (_x->updateMin(_a.low) == NuvCPFailure || _x->updateMax(_a.high()) == NuvCPFailure)
    return NuvCPFailure;
  PimAllocator* al = store()->allocator();
  const auto n = static_cast<std::size_t>(_a.size);
  _distinct = al->allocateArray<std::int32_t>(n);
  _next = al->allocateArray<std::int32_t>(n);
  _alive = al->allocateArray<Alive>(n);
  if (!_distinct || !_next || !_alive) return NuvCPFailure;
  // z within the values the index can still select, then x within the
  // indices whose value z still has.
  _nd = 0;
  nuvCPForEachValue(_x, [&](int i) {
    _distinct[_nd++] = _a.at(i);
    _smallest = std::min(_smallest, _a.at(i));
    _largest = std::max(_largest, _a.at(i));
    return true;
  });
  std::sort(_distinct, _distinct + _nd);
  _nd = static_cast<std::int32_t>(std::unique(_distinct, _distinct + _nd) - _distinct);
  if (_z->updateMin(_smallest) == NuvCPFailure || _z->updateMax(_largest) == NuvCPFailure)
    return NuvCPFailure;
  int r = NuvCPSuspend;
  nuvCPForEachValue(_x, [&](int i) {
    if (!_z->member(_a.at(i))) r = _x->removeValue(i);
    return r != NuvCPFailure;
  });
  if (r == NuvCPFailure) return r;
  _counts = al->allocateArray<Counted>(static_cast<std::size_t>(_nd));
  _first = al->allocateArray<std::int32_t>(static_cast<std::size_t>(_nd));
  if (!_counts || !_first) return NuvCPFailure;
  const PimStamp st = store()->trail()->stamp();
  for (int k = 0; k < _nd; ++k) {
    _counts[k] = Counted{0, st};
    _first[k] = kEnd;
  }
  for (int i = _a.high(); i >= _a.low; --i) {
    const bool in = _x->member(i);
    _alive[i - _a.low] = Alive{in ? 1 : 0, st};
    _next[i - _a.low] = kEnd;
    if (!in) continue;
    const int k = rankOf(_a.at(i));
    ++_counts[k].count;
    _next[i - _a.low] = _first[k];
    _first[k] = i;
  }
  nuvCPForEachValue(_z, [&](int w) {
    const int k = rankOf(w);
    if (k < 0 || _counts[k].count == 0) r = _z->removeValue(w);
    return r != NuvCPFailure;
  });
  if (r == NuvCPFailure) return r;
  _x->addAC5Value(this);
  _z->addAC5Value(this);
  return NuvCPSuspend;
}

int NuvCPElementACI::removeIndex(int i) {
  if (i < _a.low || i > _a.high()) return NuvCPSuspend;
  Alive& alive = _alive[i - _a.low];
  if (!alive.on) return NuvCPSuspend;
  NuvTrailI* t = store()->trail();
  t->assign(alive.on, alive.stamp, 0);
  const int w = _a.at(i);
  Counted& c = _counts[rankOf(w)];
  t->assign(c.count, c.stamp, c.count - 1);
  return c.count > 0 ? NuvCPSuspend : _z->removeValue(w);
}

int NuvCPElementACI::valRemove(NuvCPIntVarI* v, int val) {
  if (v != _z) return removeIndex(val);
  const int k = rankOf(val);
  if (k < 0) return NuvCPSuspend;
  int r = NuvCPSuspend;
  for (int i = _first[k]; i != kEnd && r != NuvCPFailure; i = _next[i - _a.low])
    r = _x->removeValue(i);
  return r;
}

int NuvCPElementACI::valBind(NuvCPIntVarI* v, int val) {
  // The removals that come with a binding arrive as value removals; binding
  // z at once when the index is fixed saves a round of them.
  if (v == _x) return val >= _a.low && val <= _a.high() ? _z->bind(_a.at(val)) : NuvCPFailure;
  return NuvCPSuspend;
}

// ---- over an array of variables ---------------------------------------------------------

NuvCPElementVarBCI::NuvCPElementVarBCI(NuvCPManagerI* s, int low, int n, NuvCPIntVarI* const* vars,
                                       NuvCPIntVarI* z, NuvCPIntVarI* x)
    : NuvCPCstrI(s), _low(low), _n(n), _z(z), _x(x) {
  _vars = n > 0 ? s->allocator()->allocateArray<NuvCPIntVarI*>(static_cast<std::size_t>(n)) : nullptr;
  for (int i = 0; _vars && i < n; ++i) {
    _vars[i] = vars[i];
    _allConcrete = _allConcrete && dynamic_cast<NuvCPCIntVarI*>(vars[i]) != nullptr;
  }
}

void NuvCPElementVarBCI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  m.mark(_z);
  m.mark(_x);
  for (int i = 0; _vars && i < _n; ++i) m.mark(_vars[i]);
}

void NuvCPElementVarBCI::print(std::ostream& os) const {
  _z->print(os);
  os << " =BC vars[";
  _x->print(os);
  os << "]";
}

void NuvCPElementVarACI::print(std::ostream& os) const {
  _z->print(os);
  os << " =AC vars[";
  _x->print(os);
  os << "]";
}

int NuvCPElementVarBCI::post(int) {
  if (!ok() || _n == 0) return NuvCPFailure;
  if (_x->updateMin(_low) == NuvCPFailure || _x->updateMax(_low + _n - 1) == NuvCPFailure)
    return NuvCPFailure;
  if (propagate() == NuvCPFailure) return NuvCPFailure;
  _x->addDomain(this);
  _z->addBounds(this);
  for (int i = 0; i < _n; ++i)
    if (!_vars[i]->isBound()) _vars[i]->addBounds(this);
  return propagate();
}

int NuvCPElementVarBCI::propagate() {
  for (;;) {
    if (_x->isBound()) {
      NuvCPIntVarI* y = _vars[_x->getMin() - _low];
      for (int round = 0; round < 2; ++round)
        if (y->updateMin(_z->getMin()) == NuvCPFailure || y->updateMax(_z->getMax()) == NuvCPFailure ||
            _z->updateMin(y->getMin()) == NuvCPFailure || _z->updateMax(y->getMax()) == NuvCPFailure)
          return NuvCPFailure;
      return NuvCPSuspend;
    }
    int lo = INT32_MAX, hi = INT32_MIN, r = NuvCPSuspend;
    const int zmin = _z->getMin(), zmax = _z->getMax();
    // The entries' bounds are most of the reads: read them without a
    // virtual call when every entry is a plain variable.
    auto visit = [&](int i, int ylo, int yhi) {
      if (yhi < zmin || ylo > zmax) {
        r = _x->removeValue(i);
      } else {
        lo = std::min(lo, ylo);
        hi = std::max(hi, yhi);
      }
      return r != NuvCPFailure;
    };
    if (_allConcrete) {
      nuvCPForEachValue(_x, [&](int i) {
        const auto* y = static_cast<const NuvCPCIntVarI*>(_vars[i - _low]);
        return visit(i, y->NuvCPCIntVarI::getMin(), y->NuvCPCIntVarI::getMax());
      });
    } else {
      nuvCPForEachValue(_x, [&](int i) {
        const NuvCPIntVarI* y = _vars[i - _low];
        return visit(i, y->getMin(), y->getMax());
      });
    }
    if (r == NuvCPFailure || lo > hi) return NuvCPFailure;
    if (_x->isBound()) continue;
    if (_z->updateMin(lo) == NuvCPFailure || _z->updateMax(hi) == NuvCPFailure) return NuvCPFailure;
    return NuvCPSuspend;
  }
}

int NuvCPElementVarACI::post(int) {
  if (!ok() || _n == 0) return NuvCPFailure;
  if (_x->updateMin(_low) == NuvCPFailure || _x->updateMax(_low + _n - 1) == NuvCPFailure)
    return NuvCPFailure;
  if (propagate() == NuvCPFailure) return NuvCPFailure;
  _x->addDomain(this);
  _z->addDomain(this);
  for (int i = 0; i < _n; ++i)
    if (!_vars[i]->isBound()) _vars[i]->addDomain(this);
  return propagate();
}

int NuvCPElementVarACI::propagate() {
  for (;;) {
    if (_x->isBound()) {
      NuvCPIntVarI* y = _vars[_x->getMin() - _low];
      int r = NuvCPSuspend;
      nuvCPForEachValue(y, [&](int w) {
        if (!_z->member(w)) r = y->removeValue(w);
        return r != NuvCPFailure;
      });
      if (r == NuvCPFailure) return r;
      nuvCPForEachValue(_z, [&](int w) {
        if (!y->member(w)) r = _z->removeValue(w);
        return r != NuvCPFailure;
      });
      return r;
    }
    int r = NuvCPSuspend;
    nuvCPForEachValue(_x, [&](int i) {
      if (!intersects(_vars[i - _low], _z)) r = _x->removeValue(i);
      return r != NuvCPFailure;
    });
    if (r == NuvCPFailure) return r;
    if (_x->isBound()) continue;
    nuvCPForEachValue(_z, [&](int w) {
      bool supported = false;
      nuvCPForEachValue(_x, [&](int i) {
        supported = _vars[i - _low]->member(w);
        return !supported;
      });
      if (!supported) r = _z->removeValue(w);
      return r != NuvCPFailure;
    });
    return r;
  }
}

// ---- over a sorted array of variables ---------------------------------------------------

void NuvCPElementVarSortedI::print(std::ostream& os) const {
  os << "ElementVarSorted(";
  _z->print(os);
  os << ",[";
  for (int i = 0; i < _n; ++i) {
    if (i) os << ",";
    _vars[i]->print(os);
  }
  os << "],";
  _x->print(os);
  os << ")";
}

int NuvCPElementVarSortedI::post(int) {
  if (!ok() || _n == 0) return NuvCPFailure;
  if (_x->updateMin(_low) == NuvCPFailure || _x->updateMax(_low + _n - 1) == NuvCPFailure)
    return NuvCPFailure;
  _x->addDomain(this);
  _z->addBounds(this);
  for (int i = 0; i < _n; ++i)
    if (!_vars[i]->isBound()) _vars[i]->addBounds(this);
  return propagate();
}

int NuvCPElementVarSortedI::propagate() {
  // The order on bounds: each min at least its left neighbour's, each max at
  // most its right neighbour's.
  for (int i = 1; i < _n; ++i)
    if (_vars[i]->updateMin(_vars[i - 1]->getMin()) == NuvCPFailure) return NuvCPFailure;
  for (int i = _n - 2; i >= 0; --i)
    if (_vars[i]->updateMax(_vars[i + 1]->getMax()) == NuvCPFailure) return NuvCPFailure;
  const int zmin = _z->getMin(), zmax = _z->getMax();
  // Maxima rise with the index, so the indices whose variable lies wholly
  // below z are a prefix; minima rise too, so those wholly above are a suffix.
  int first = _x->getMin();
  while (_vars[first - _low]->getMax() < zmin) {
    if (first == _x->getMax()) return NuvCPFailure;
    first = _x->nextValue(first);
  }
  int last = _x->getMax();
  while (_vars[last - _low]->getMin() > zmax) {
    if (last == first) return NuvCPFailure;
    last = _x->prevValue(last);
  }
  if (_x->updateMin(first) == NuvCPFailure || _x->updateMax(last) == NuvCPFailure)
    return NuvCPFailure;
  NuvCPIntVarI* left = _vars[first - _low];
  NuvCPIntVarI* right = _vars[last - _low];
  // vars[first] <= vars[x] = z <= vars[last]: z lies between the two end
  // variables, and they lie on their side of z.
  if (_z->updateMin(left->getMin()) == NuvCPFailure || _z->updateMax(right->getMax()) == NuvCPFailure)
    return NuvCPFailure;
  if (left->updateMax(_z->getMax()) == NuvCPFailure || right->updateMin(_z->getMin()) == NuvCPFailure)
    return NuvCPFailure;
  return NuvCPSuspend;
}

// ---- over a constant grid ---------------------------------------------------------------

NuvCPElementGridI::NuvCPElementGridI(NuvCPManagerI* s, int dims, const int* lows, const int* sizes,
                                     const std::int32_t* values, NuvCPIntVarI* z,
                                     NuvCPIntVarI* const* idx)
    : NuvCPCstrI(s), _dims(dims), _z(z) {
  PimAllocator* al = s->allocator();
  std::size_t cells = 1;
  for (int d = 0; d < dims; ++d) {
    _low[d] = lows[d];
    _size[d] = sizes[d];
    _idx[d] = idx[d];
    cells *= static_cast<std::size_t>(std::max(sizes[d], 0));
    _seen[d] = sizes[d] > 0 ? al->allocateArray<std::uint8_t>(static_cast<std::size_t>(sizes[d]))
                            : nullptr;
  }
  _values = cells > 0 ? al->allocateArray<std::int32_t>(cells) : nullptr;
  for (std::size_t c = 0; _values && c < cells; ++c) _values[c] = values[c];
  const NuvCPIntVarI* args[4] = {_idx[0], _idx[1], _idx[2], z};
  _share.compute(args);
}

NuvCPElement2DI::NuvCPElement2DI(NuvCPManagerI* s, int xlow, int rows, int ylow, int cols,
                                 const std::int32_t* values, NuvCPIntVarI* z, NuvCPIntVarI* x,
                                 NuvCPIntVarI* y)
    : NuvCPElementGridI(s, 2, std::array<int, 2>{xlow, ylow}.data(),
                        std::array<int, 2>{rows, cols}.data(), values, z,
                        std::array<NuvCPIntVarI*, 2>{x, y}.data()) {}

NuvCPElement3DI::NuvCPElement3DI(NuvCPManagerI* s, int xlow, int nx, int ylow, int ny, int wlow,
                                 int nw, const std::int32_t* values, NuvCPIntVarI* z,
                                 NuvCPIntVarI* x, NuvCPIntVarI* y, NuvCPIntVarI* w)
    : NuvCPElementGridI(s, 3, std::array<int, 3>{xlow, ylow, wlow}.data(),
                        std::array<int, 3>{nx, ny, nw}.data(), values, z,
                        std::array<NuvCPIntVarI*, 3>{x, y, w}.data()) {}

void NuvCPElementGridI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  m.mark(_z);
  for (int d = 0; d < _dims; ++d) m.mark(_idx[d]);
}

void NuvCPElementGridI::printDim(std::ostream& os, int d, int offset) const {
  int stride = 1;
  for (int e = d + 1; e < kMaxDims; ++e) stride *= _size[e];
  os << "[";
  for (int i = 0; i < _size[d]; ++i) {
    if (i) os << ",";
    if (d + 1 < _dims)
      printDim(os, d + 1, offset + i * stride);
    else
      os << _values[offset + i];
  }
  os << "]";
}

void NuvCPElementGridI::printGrid(std::ostream& os) const {
  _z->print(os);
  os << " =BC ";
  printDim(os, 0, 0);
  os << "[";
  for (int d = 0; d < _dims; ++d) {
    if (d) os << ",";
    _idx[d]->print(os);
  }
  os << "]";
}

int NuvCPElementGridI::post(int) {
  if (!ok()) return NuvCPFailure;
  for (int d = 0; d < _dims; ++d)
    if (_idx[d]->updateMin(_low[d]) == NuvCPFailure ||
        _idx[d]->updateMax(_low[d] + _size[d] - 1) == NuvCPFailure)
      return NuvCPFailure;
  for (int d = 0; d < _dims; ++d) _idx[d]->addDomain(this);
  _z->addDomain(this);
  return propagate();
}

int NuvCPElementGridI::propagate() {
  for (int d = 0; d < _dims; ++d)
    for (int i = 0; i < _size[d]; ++i) _seen[d][i] = 0;
  // A missing third dimension is a single index at its low end.
  const bool three = _dims == 3;
  int lo = INT32_MAX, hi = INT32_MIN;
  nuvCPForEachValue(_idx[0], [&](int i) {
    nuvCPForEachValue(_idx[1], [&](int j) {
      auto visit = [&](int k) {
        const int v = cell(i, j, k);
        if (!_z->member(v)) return true;
        if (_share.any) {
          const std::int64_t t[4] = {i, j, k, v};
          if (!_share.consistent(t)) return true;
        }
        _seen[0][i - _low[0]] = 1;
        _seen[1][j - _low[1]] = 1;
        if (three) _seen[2][k - _low[2]] = 1;
        lo = std::min(lo, v);
        hi = std::max(hi, v);
        return true;
      };
      if (three)
        nuvCPForEachValue(_idx[2], visit);
      else
        visit(_low[2]);
      return true;
    });
    return true;
  });
  if (lo > hi) return NuvCPFailure;
  // lo and hi are values of z, so the new bounds land on them exactly.
  if (_z->updateMin(lo) == NuvCPFailure || _z->updateMax(hi) == NuvCPFailure) return NuvCPFailure;
  int r = NuvCPSuspend;
  bool allBound = true;
  for (int d = 0; d < _dims && r != NuvCPFailure; ++d) {
    NuvCPIntVarI* x = _idx[d];
    nuvCPForEachValue(x, [&](int i) {
      if (!_seen[d][i - _low[d]]) r = x->removeValue(i);
      return r != NuvCPFailure;
    });
    allBound = allBound && x->isBound();
  }
  if (r == NuvCPFailure) return r;
  // Every index fixed and z equal to that cell: nothing more can happen.
  return allBound ? NuvCPSuccess : NuvCPSuspend;
}
