#include "fd/NuvCPAllDiffI.h"

#include <algorithm>
#include <bit>
#include <ostream>
#include <utility>
#include <vector>

#include "fd/NuvCPIntMath.h"
#include "fd/NuvCPManagerI.h"
#include "fd/NuvCPShared.h"
#include "host/PimError.h"

namespace {

const char* const kSource = "..\\..\\fd\\NuvCPAllDiffI";

template <class T>
T* allocate(PimAllocator* a, std::int64_t n) {
  return n > 0 ? a->allocateArray<T>(static_cast<std::size_t>(n)) : nullptr;
}

// The values of x from `from` upwards, in increasing order.
template <class F>
void forValuesFrom(const NuvCPIntVarI* x, std::int64_t from, F f) {
  const int hi = x->getMax();
  if (from > hi) return;
  int v = from < x->getMin() ? x->getMin() : static_cast<int>(from);
  if (!x->member(v)) {
    if (v >= hi) return;
    v = x->nextValue(v);
  }
  for (;;) {
    if (!f(v) || v >= hi) return;
    v = x->nextValue(v);
  }
}

// The first value of x at or above `from`, or `none`.
std::int64_t firstFrom(const NuvCPIntVarI* x, std::int64_t from, std::int64_t none) {
  std::int64_t out = none;
  forValuesFrom(x, from, [&](int v) {
    out = v;
    return false;
  });
  return out;
}

}  // namespace

// ---- the array ----------------------------------------------------------------------

NuvCPAllDiffI::NuvCPAllDiffI(NuvCPManagerI* store, int low, int n, NuvCPIntVarI* const* x,
                             unsigned priority, bool idempotent)
    : NuvCPCstrI(store, priority, idempotent), _low(low), _n(n) {
  _x = allocate<NuvCPIntVarI*>(store->allocator(), n);
  if (_x) std::copy(x, x + n, _x);
}

void NuvCPAllDiffI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  for (int i = 0; _x && i < _n; ++i) m.mark(_x[i]);
}

void NuvCPAllDiffI::printArray(std::ostream& os) const {
  os << "[";
  for (int i = 0; _x && i < _n; ++i) {
    if (i) os << ",";
    _x[i]->print(os);
  }
  os << "]";
}

bool NuvCPAllDiffI::twins(const std::int32_t* shift) const {
  std::vector<std::pair<const NuvCPIntVarI*, std::int64_t>> keys;
  keys.reserve(static_cast<std::size_t>(_n));
  for (int i = 0; i < _n; ++i) {
    std::int64_t c;
    const NuvCPIntVarI* base = nuvCPBaseOf(_x[i], c);
    keys.emplace_back(base, c + (shift ? shift[i] : 0));
  }
  std::sort(keys.begin(), keys.end());
  return std::adjacent_find(keys.begin(), keys.end()) != keys.end();
}

NuvCPAllDiffStrength nuvCPAllDiffDefault(int n, NuvCPIntVarI* const* x) {
  if (n < 2) return NuvCPAllDiffStrength::Bounds;
  std::int64_t lo = x[0]->getMin(), hi = x[0]->getMax();
  for (int i = 1; i < n; ++i) {
    lo = std::min<std::int64_t>(lo, x[i]->getMin());
    hi = std::max<std::int64_t>(hi, x[i]->getMax());
  }
  const std::int64_t span = hi - lo + 1;
  return span <= n + n / 4 && n * span <= kDomainDefaultCells ? NuvCPAllDiffStrength::Domain
                                                               : NuvCPAllDiffStrength::Bounds;
}

NuvCPCstrI* nuvCPNewAllDiff(NuvCPManagerI* s, int low, int n, NuvCPIntVarI* const* x,
                            NuvCPAllDiffStrength strength) {
  PimAllocator* a = s->allocator();
  if (strength == NuvCPAllDiffStrength::Default) strength = nuvCPAllDiffDefault(n, x);
  switch (strength) {
    case NuvCPAllDiffStrength::Basic: return nuvCPNew<NuvCPAllDiffbI>(a, s, low, n, x);
    case NuvCPAllDiffStrength::Value: return nuvCPNew<NuvCPAllDiffvI>(a, s, low, n, x);
    case NuvCPAllDiffStrength::Bounds: return nuvCPNew<NuvCPAllDiffBoundsI>(a, s, low, n, x);
    default: return nuvCPNew<NuvCPAllDifferentACI>(a, s, low, n, x);
  }
}

// ---- decompositions -----------------------------------------------------------------

namespace {

// One unit per index, each posted in turn; the first failure ends it.
template <class Unit, class Array>
int postUnits(Array* array) {
  NuvCPManagerI* s = array->store();
  for (int k = array->low(); k < array->low() + array->size(); ++k) {
    if (!array->at(k)) raiseInternalAssertion("_array[_nb-1] != 0", kSource, 402);
    auto* u = nuvCPNew<Unit>(s->allocator(), s, array, k);
    if (!u || u->postEnabled() == NuvCPFailure) return NuvCPFailure;
  }
  return NuvCPSuspend;
}

}  // namespace

void NuvCPAllDiffUnitI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  m.mark(_array);
}

int NuvCPAllDiffUnitI::propagate() {
  if (_assertLine && !_array->at(_k)->isBound())
    raiseInternalAssertion("_xk->isBound()", kSource, _assertLine);
  if (removeFromOthers() == NuvCPFailure) return NuvCPFailure;
  setChecked(1);
  return NuvCPSuccess;
}

int NuvCPAllDiffUnitI::post(int) {
  NuvCPIntVarI* xk = _array->at(_k);
  if (xk->isBound()) return removeFromOthers();
  xk->addBind(this);
  return NuvCPSuspend;
}

void NuvCPAllDiffbI::print(std::ostream& os) const {
  os << "alldiff(";
  printArray(os);
  os << ")/basic";
}

int NuvCPAllDiffbI::post(int) {
  if (!ok() || twins()) return NuvCPFailure;
  return postUnits<NuvCPAllDiffUnitbI>(this);
}

void NuvCPAllDiffUnitbI::print(std::ostream& os) const {
  os << "alldiff-unit(" << _k << ")";
  printStatus(os);
}

int NuvCPAllDiffUnitbI::removeFromOthers() {
  const int v = _array->at(_k)->getMin();
  for (int j = _array->low(); j < _array->low() + _array->size(); ++j)
    if (j != _k && _array->at(j)->removeValue(v) == NuvCPFailure) return NuvCPFailure;
  return NuvCPSuspend;
}

NuvCPAllDiffcI::NuvCPAllDiffcI(NuvCPManagerI* store, int low, int n, NuvCPIntVarI* const* x,
                               const int* d)
    : NuvCPAllDiffI(store, low, n, x) {
  _d = allocate<std::int32_t>(store->allocator(), n);
  if (_d) std::copy(d, d + n, _d);
}

void NuvCPAllDiffcI::print(std::ostream& os) const {
  os << "alldiffconst(";
  printArray(os);
  os << ",[";
  for (int i = 0; _d && i < _n; ++i) os << (i ? "," : "") << _d[i];
  os << "])/basic";
  printStatus(os);
}

int NuvCPAllDiffcI::post(int) {
  if (!ok() || twins(_d)) return NuvCPFailure;
  return postUnits<NuvCPAllDiffUnitcI>(this);
}

void NuvCPAllDiffUnitcI::print(std::ostream& os) const {
  os << "alldiffconst-unit(" << _k << ")";
  printStatus(os);
}

int NuvCPAllDiffUnitcI::removeFromOthers() {
  const auto* a = static_cast<const NuvCPAllDiffcI*>(_array);
  const std::int64_t v = std::int64_t{a->at(_k)->getMin()} + a->shift(_k);
  for (int j = a->low(); j < a->low() + a->size(); ++j) {
    if (j == _k) continue;
    const std::int64_t w = v - a->shift(j);
    // A value outside the int range is in no domain.
    if (w < INT32_MIN || w > INT32_MAX) continue;
    if (a->at(j)->removeValue(static_cast<int>(w)) == NuvCPFailure) return NuvCPFailure;
  }
  return NuvCPSuspend;
}

void NuvCPAllDiffeI::print(std::ostream& os) const {
  os << "alldiffexpr(";
  printArray(os);
  os << ")/basic";
  printStatus(os);
}

int NuvCPAllDiffeI::post(int) {
  if (!ok() || twins()) return NuvCPFailure;
  return postUnits<NuvCPAllDiffUniteI>(this);
}

void NuvCPAllDiffUniteI::print(std::ostream& os) const {
  os << "alldiffexpr-unit(" << _k << ")";
  printStatus(os);
}

// ---- value consistency (AC5) --------------------------------------------------------

void NuvCPAllDiffvI::print(std::ostream& os) const {
  os << "alldiff-ac5(";
  printArray(os);
  os << ")/basic";
  printStatus(os);
}

int NuvCPAllDiffvI::post(int) {
  if (!ok() || twins()) return NuvCPFailure;
  // Subscribed first, so that a variable bound by the removals below sends
  // its event too. The values of the variables bound now leave the others
  // (two bound to one value fail on the removal).
  for (int i = 0; i < _n; ++i)
    if (!_x[i]->isBound()) _x[i]->addAC5BindIdx(this, _low + i);
  for (int i = 0; i < _n; ++i) {
    if (!_x[i]->isBound()) continue;
    const int v = _x[i]->getMin();
    for (int j = 0; j < _n; ++j)
      if (j != i && _x[j]->removeValue(v) == NuvCPFailure) return NuvCPFailure;
  }
  return NuvCPSuspend;
}

int NuvCPAllDiffvI::valBindIdx(NuvCPIntVarI*, int index, int value) {
  const int i = index - _low;
  for (int j = 0; j < _n; ++j)
    if (j != i && _x[j]->removeValue(value) == NuvCPFailure) return NuvCPFailure;
  return NuvCPSuspend;
}

// ---- reified --------------------------------------------------------------------------

NuvCPAllDiffReifI::NuvCPAllDiffReifI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* x,
                                     NuvCPIntVarI* b)
    : NuvCPAllDiffI(store, 0, n, x), _b(b) {
  if (n > 0)
    _values = static_cast<std::int32_t*>(
        store->allocator()->allocate(static_cast<std::size_t>(n) * sizeof(std::int32_t)));
}

void NuvCPAllDiffReifI::mark(PimMarker& m) {
  NuvCPAllDiffI::mark(m);
  m.mark(_b);
}

void NuvCPAllDiffReifI::print(std::ostream& os) const {
  os << "alldiff(";
  printArray(os);
  os << ") <=> ";
  _b->print(os);
  printStatus(os);
}

int NuvCPAllDiffReifI::propagate() {
  if (_b->isBound() && _b->getMin() == 1) {
    // Every bound value leaves the others, pass after pass while a removal
    // binds another position (this runs at post too, before any event can
    // reach it). Removing a bound value from another bound position fails,
    // so a pass that finds every position bound has checked them all.
    for (bool again = true; again;) {
      again = false;
      int open = 0;
      for (int i = 0; i < _n; ++i) {
        if (!_x[i]->isBound()) {
          ++open;
          continue;
        }
        const int v = _x[i]->getMin();
        for (int j = 0; j < _n; ++j) {
          if (j == i || !_x[j]->member(v)) continue;
          const bool wasBound = _x[j]->isBound();
          if (_x[j]->removeValue(v) == NuvCPFailure) return NuvCPFailure;
          again |= !wasBound && _x[j]->isBound();
        }
      }
      if (!again) return open == 0 ? NuvCPSuccess : NuvCPSuspend;
    }
  }
  int k = 0, open = -1;
  for (int i = 0; i < _n; ++i) {
    if (_x[i]->isBound())
      _values[k++] = _x[i]->getMin();
    else
      open = i;
  }
  std::sort(_values, _values + k);
  if (std::adjacent_find(_values, _values + k) != _values + k)
    return _b->bind(0) == NuvCPFailure ? NuvCPFailure : NuvCPSuccess;
  if (k == _n) return _b->bind(1) == NuvCPFailure ? NuvCPFailure : NuvCPSuccess;
  if (_b->isBound() && _b->getMin() == 0 && k == _n - 1) {
    // b false: the open position must repeat one of the others' values.
    NuvCPIntVarI* u = _x[open];
    int r = NuvCPSuspend;
    nuvCPForEachValue(u, [&](int v) {
      if (!std::binary_search(_values, _values + k, v)) r = u->removeValue(v);
      return r != NuvCPFailure;
    });
    if (r == NuvCPFailure) return r;
  }
  return NuvCPSuspend;
}

int NuvCPAllDiffReifI::post(int) {
  if (!ok()) return NuvCPFailure;
  // b is a truth value, whatever variable stands for it.
  if (_b->updateMin(0) == NuvCPFailure || _b->updateMax(1) == NuvCPFailure) return NuvCPFailure;
  if (twins()) return _b->bind(0) == NuvCPFailure ? NuvCPFailure : NuvCPSuccess;
  const int r = propagate();
  if (r != NuvCPSuspend) return r;
  for (int i = 0; i < _n; ++i)
    if (!_x[i]->isBound()) _x[i]->addBind(this);
  if (!_b->isBound()) _b->addBind(this);
  return NuvCPSuspend;
}

// ---- bounds consistency -------------------------------------------------------------

NuvCPAllDiffBoundsI::NuvCPAllDiffBoundsI(NuvCPManagerI* store, int low, int n,
                                         NuvCPIntVarI* const* x)
    : NuvCPAllDiffI(store, low, n, x, 4, true) {
  if (n == 0) return;
  const auto un = static_cast<std::size_t>(n);
  const std::size_t nb = 2 * un + 2;
  const std::size_t bytes = un * sizeof(Interval) + 2 * un * sizeof(std::int32_t) +
                            nb * (2 * sizeof(std::int64_t) + 2 * sizeof(std::int32_t));
  _scratch = store->allocator()->allocate(bytes);
  if (!_scratch) return;
  _iv = static_cast<Interval*>(_scratch);
  _bounds = reinterpret_cast<std::int64_t*>(_iv + un);
  _d = _bounds + nb;
  _byMin = reinterpret_cast<std::int32_t*>(_d + nb);
  _byMax = _byMin + un;
  _t = _byMax + un;
  _h = _t + nb;
  for (int i = 0; i < n; ++i) _byMin[i] = _byMax[i] = i;
}

void NuvCPAllDiffBoundsI::print(std::ostream& os) const {
  os << "alldiff(";
  printArray(os);
  os << ")/bounds";
  printStatus(os);
}

namespace {

int pathMax(const std::int32_t* t, int i) {
  while (t[i] > i) i = t[i];
  return i;
}
int pathMin(const std::int32_t* t, int i) {
  while (t[i] < i) i = t[i];
  return i;
}
void pathSet(std::int32_t* t, int start, int end, int to) {
  int k, l = start;
  while ((k = l) != end) {
    l = t[k];
    t[k] = to;
  }
}

// Insertion sort of an order kept from the last run: nearly sorted, so
// close to linear.
template <class Less>
void insertionSort(std::int32_t* a, int n, Less less) {
  for (int i = 1; i < n; ++i) {
    const std::int32_t x = a[i];
    int j = i - 1;
    for (; j >= 0 && less(x, a[j]); --j) a[j + 1] = a[j];
    a[j + 1] = x;
  }
}

}  // namespace

int NuvCPAllDiffBoundsI::filterLower(bool& changed) {
  for (int i = 1; i <= _nb + 1; ++i) {
    _t[i] = _h[i] = i - 1;
    _d[i] = _bounds[i] - _bounds[i - 1];
  }
  for (int k = 0; k < _n; ++k) {
    Interval& iv = _iv[_byMax[k]];
    const int x = iv.minrank, y = iv.maxrank;
    int z = pathMax(_t, x + 1);
    const int j = _t[z];
    if (--_d[z] == 0) {
      _t[z] = z + 1;
      z = pathMax(_t, _t[z]);
      _t[z] = j;
    }
    pathSet(_t, x + 1, z, z);
    if (_d[z] < _bounds[z] - _bounds[y]) return NuvCPFailure;
    if (_h[x] > x) {
      const int w = pathMax(_h, _h[x]);
      iv.min = _bounds[w];
      pathSet(_h, x, w, w);
      changed = true;
    }
    if (_d[z] == _bounds[z] - _bounds[y]) {
      pathSet(_h, _h[y], j - 1, y);
      _h[y] = j - 1;
    }
  }
  return NuvCPSuspend;
}

int NuvCPAllDiffBoundsI::filterUpper(bool& changed) {
  for (int i = 0; i <= _nb; ++i) {
    _t[i] = _h[i] = i + 1;
    _d[i] = _bounds[i + 1] - _bounds[i];
  }
  for (int k = _n - 1; k >= 0; --k) {
    Interval& iv = _iv[_byMin[k]];
    const int x = iv.maxrank, y = iv.minrank;
    int z = pathMin(_t, x - 1);
    const int j = _t[z];
    if (--_d[z] == 0) {
      _t[z] = z - 1;
      z = pathMin(_t, _t[z]);
      _t[z] = j;
    }
    pathSet(_t, x - 1, z, z);
    if (_d[z] < _bounds[y] - _bounds[z]) return NuvCPFailure;
    if (_h[x] < x) {
      const int w = pathMin(_h, _h[x]);
      iv.max = _bounds[w] - 1;
      pathSet(_h, x, w, w);
      changed = true;
    }
    if (_d[z] == _bounds[y] - _bounds[z]) {
      pathSet(_h, _h[y], j + 1, y);
      _h[y] = j + 1;
    }
  }
  return NuvCPSuspend;
}

int NuvCPAllDiffBoundsI::sweep(bool& changed) {
  for (int i = 0; i < _n; ++i) {
    _iv[i].min = _x[i]->getMin();
    _iv[i].max = _x[i]->getMax();
  }
  insertionSort(_byMin, _n, [&](int a, int b) { return _iv[a].min < _iv[b].min; });
  insertionSort(_byMax, _n, [&](int a, int b) { return _iv[a].max < _iv[b].max; });
  // The distinct bounds (minima, and maxima + 1) in order, with the ranks
  // of each interval's ends among them; two sentinels outside.
  std::int64_t min = _iv[_byMin[0]].min, max = _iv[_byMax[0]].max + 1;
  std::int64_t last = min - 2;
  int nb = 0;
  _bounds[0] = last;
  for (int i = 0, j = 0;;) {
    if (i < _n && min <= max) {
      if (min != last) _bounds[++nb] = last = min;
      _iv[_byMin[i]].minrank = nb;
      if (++i < _n) min = _iv[_byMin[i]].min;
    } else {
      if (max != last) _bounds[++nb] = last = max;
      _iv[_byMax[j]].maxrank = nb;
      if (++j == _n) break;
      max = _iv[_byMax[j]].max + 1;
    }
  }
  _nb = nb;
  _bounds[nb + 1] = _bounds[nb] + 2;
  bool lower = false, upper = false;
  if (filterLower(lower) == NuvCPFailure || filterUpper(upper) == NuvCPFailure) return NuvCPFailure;
  changed = false;
  if (!lower && !upper) return NuvCPSuspend;
  for (int i = 0; i < _n; ++i) {
    NuvCPIntVarI* x = _x[i];
    if (_iv[i].min > x->getMin()) {
      if (x->updateMin(static_cast<int>(_iv[i].min)) == NuvCPFailure) return NuvCPFailure;
      changed = true;
    }
    if (_iv[i].max < x->getMax()) {
      if (x->updateMax(static_cast<int>(_iv[i].max)) == NuvCPFailure) return NuvCPFailure;
      changed = true;
    }
  }
  return NuvCPSuspend;
}

int NuvCPAllDiffBoundsI::propagate() {
  if (_n < 2) return NuvCPSuccess;
  for (bool changed = true; changed;)
    if (sweep(changed) == NuvCPFailure) return NuvCPFailure;
  return NuvCPSuspend;
}

int NuvCPAllDiffBoundsI::post(int) {
  if (!ok() || twins()) return NuvCPFailure;
  // Bound values go cheaply first.
  auto* v = nuvCPNew<NuvCPAllDiffvI>(store()->allocator(), store(), _low, _n, _x);
  if (!v || v->postEnabled() == NuvCPFailure) return NuvCPFailure;
  const int r = propagate();
  if (r != NuvCPSuspend) return r;
  for (int i = 0; i < _n; ++i)
    if (!_x[i]->isBound()) _x[i]->addBounds(this);
  return NuvCPSuspend;
}

// ---- domain consistency -------------------------------------------------------------

NuvCPAllDifferentACI::NuvCPAllDifferentACI(NuvCPManagerI* store, int low, int n,
                                           NuvCPIntVarI* const* x)
    : NuvCPAllDiffI(store, low, n, x, 2, true) {}

void NuvCPAllDifferentACI::print(std::ostream& os) const {
  os << "alldiff(";
  printArray(os);
  os << ")/ac";
  printStatus(os);
}

bool NuvCPAllDifferentACI::allocate() {
  PimAllocator* a = store()->allocator();
  const std::int64_t n = _n, nv = _valSize, nodes = n + nv;
  _varMatch = ::allocate<std::int32_t>(a, n);
  _varSeen = ::allocate<std::uint32_t>(a, n);
  _valMatch = ::allocate<std::int32_t>(a, nv);
  _valSeen = ::allocate<std::uint32_t>(a, nv);
  _varComp = ::allocate<std::int32_t>(a, 3 * n);
  _valComp = ::allocate<std::int32_t>(a, 3 * nv);
  _stackNode = ::allocate<std::int32_t>(a, nodes);
  _stackKind = ::allocate<std::uint8_t>(a, nodes);
  _frames = ::allocate<Frame>(a, nodes);
  _pathVar = ::allocate<std::int32_t>(a, n);
  _pathVal = ::allocate<std::int64_t>(a, n);
  if (!_varMatch || !_varSeen || !_valMatch || !_valSeen || !_varComp || !_valComp || !_stackNode ||
      !_stackKind || !_frames || !_pathVar || !_pathVal)
    return false;
  _varNum = _varComp + n;
  _varLow = _varNum + n;
  _valNum = _valComp + nv;
  _valLow = _valNum + nv;
  std::fill(_varMatch, _varMatch + n, kUnmatched);
  std::fill(_varSeen, _varSeen + n, 0u);
  std::fill(_valMatch, _valMatch + nv, -1);
  std::fill(_valSeen, _valSeen + nv, 0u);
  // The edges of one run: domains only shrink, so their sizes now bound
  // them for good.
  std::int64_t edges = 0;
  for (int i = 0; i < _n; ++i) edges += _x[i]->getSize();
  _adjStart = ::allocate<std::int32_t>(a, n + 1);
  _adj = ::allocate<std::int32_t>(a, edges);
  return _adjStart && _adj;
}

// Every variable's values as indices v - vmin, in increasing order, read
// once per run through the domains' words (a view's too) instead of a
// member and a next-value call per edge step of the search.
void NuvCPAllDifferentACI::readEdges() {
  std::int32_t k = 0;
  for (int i = 0; i < _n; ++i) {
    _adjStart[i] = k;
    const NuvCPIntVarI* x = _x[i];
    NuvCPDomainIterator it;
    x->domainIterator(it);
    if (it.valid) {
      const std::int64_t base = std::int64_t{it.base} - _vmin;
      for (std::uint32_t w = it.current;;) {
        while (w) {
          _adj[k++] = static_cast<std::int32_t>(base + 32LL * it.word + std::countr_zero(w));
          w &= w - 1;
        }
        if (it.word >= it.lastWord) break;
        w = it.bits[++it.word];
        if (it.word == it.lastWord) w &= it.lastMask;
      }
    } else {
      forValuesFrom(x, x->getMin(), [&](int v) {
        _adj[k++] = static_cast<std::int32_t>(v - _vmin);
        return true;
      });
    }
  }
  _adjStart[_n] = k;
}

int NuvCPAllDifferentACI::post(int) {
  if (!ok() || twins()) return NuvCPFailure;
  // Bound values go cheaply first.
  auto* v = nuvCPNew<NuvCPAllDiffvI>(store()->allocator(), store(), _low, _n, _x);
  if (!v || v->postEnabled() == NuvCPFailure) return NuvCPFailure;
  if (_n < 2) return NuvCPSuccess;
  _vmin = INT32_MAX;
  _vmax = -2147483647;
  for (int i = 0; i < _n; ++i) {
    _vmin = std::min<std::int64_t>(_vmin, _x[i]->getMin());
    _vmax = std::max<std::int64_t>(_vmax, _x[i]->getMax());
  }
  if (_vmax - _vmin + 1 > (std::int64_t{1} << 26))
    throw PimExecutionError(PimSource(), "alldifferent: the values span too wide a range for domain consistency");
  _valSize = static_cast<std::int32_t>(_vmax - _vmin + 1);
  if (!allocate()) throw PimExecutionError(PimSource(), "alldifferent: the store's allocator refused its arrays");
  // Greedy matching, then augmenting paths for the rest.
  _matched = 0;
  for (int i = 0; i < _n; ++i) {
    forValuesFrom(_x[i], _x[i]->getMin(), [&](int w) {
      if (_valMatch[w - _vmin] >= 0) return true;
      _valMatch[w - _vmin] = i;
      _varMatch[i] = w;
      ++_matched;
      return false;
    });
  }
  if (!completeMatching()) return NuvCPFailure;
  if (prune() == NuvCPFailure) return NuvCPFailure;
  for (int i = 0; i < _n; ++i)
    if (!_x[i]->isBound()) _x[i]->addDomain(this);
  return NuvCPSuspend;
}

int NuvCPAllDifferentACI::propagate() {
  for (int i = 0; i < _n; ++i) {
    const std::int32_t v = _varMatch[i];
    if (v != kUnmatched && !_x[i]->member(v)) {
      _valMatch[v - _vmin] = -1;
      _varMatch[i] = kUnmatched;
      --_matched;
    }
  }
  if (!completeMatching()) return NuvCPFailure;
  return prune();
}

bool NuvCPAllDifferentACI::completeMatching() {
  if (_matched >= _n) return true;
  for (int i = 0; i < _n; ++i) {
    if (_varMatch[i] != kUnmatched) continue;
    ++_stamp;
    if (!augment(i)) return false;
    ++_matched;
  }
  return true;
}

// Depth first from variable `root` for a free value along alternating
// paths: each variable tries its values in increasing order (not its own
// match, not a value seen in this search); a free value ends the path, a
// matched one continues from its variable. The path is an explicit stack:
// level d holds its variable and the value to try next.
bool NuvCPAllDifferentACI::augment(int root) {
  if (_varSeen[root] == _stamp) return false;
  _varSeen[root] = _stamp;
  int depth = 0;
  _pathVar[0] = root;
  _pathVal[0] = _x[root]->getMin();
  for (;;) {
    const int i = _pathVar[depth];
    const std::int32_t own = _varMatch[i];
    std::int64_t v = _pathVal[depth];
    // The next value of x[i] from v on that is neither its match nor seen.
    for (;;) {
      v = firstFrom(_x[i], v, INT64_MAX);
      if (v == INT64_MAX) break;
      if (v != own && _valSeen[v - _vmin] != _stamp) break;
      ++v;
    }
    if (v == INT64_MAX) {
      if (depth == 0) return false;
      --depth;  // the parent goes on with its next value
      continue;
    }
    _valSeen[v - _vmin] = _stamp;
    _pathVal[depth] = v + 1;
    const int j = _valMatch[v - _vmin];
    if (j < 0) {
      // Free: every variable on the path takes the value it tried.
      for (int d = depth; d >= 0; --d) {
        const auto w = static_cast<std::int32_t>(_pathVal[d] - 1);
        _varMatch[_pathVar[d]] = w;
        _valMatch[w - _vmin] = _pathVar[d];
      }
      return true;
    }
    if (_varSeen[j] == _stamp) continue;  // that search fails at once
    _varSeen[j] = _stamp;
    ++depth;
    _pathVar[depth] = j;
    _pathVal[depth] = _x[j]->getMin();
  }
}

// Tarjan's components over: variable i -> each value of its domain but its
// match; matched value -> its variable; free value -> every matched value.
// Numbers count down from n + |values|, so low links are maxima. The walk
// keeps its frames on an explicit stack.
int NuvCPAllDifferentACI::prune() {
  readEdges();
  std::fill(_varComp, _varComp + 3 * _n, 0);
  std::fill(_valComp, _valComp + 3 * _valSize, 0);
  _dfsNum = _n + _valSize;
  _nbComp = 0;
  _top = 0;
  int frames = 0;
  auto num = [&](int node, std::uint8_t kind) -> std::int32_t& {
    return kind == 0 ? _varNum[node] : _valNum[node];
  };
  auto lowOf = [&](int node, std::uint8_t kind) -> std::int32_t& {
    return kind == 0 ? _varLow[node] : _valLow[node];
  };
  auto comp = [&](int node, std::uint8_t kind) -> std::int32_t& {
    return kind == 0 ? _varComp[node] : _valComp[node];
  };
  auto enter = [&](int node, std::uint8_t kind) {
    num(node, kind) = lowOf(node, kind) = _dfsNum--;
    if (_top >= _n + _valSize) raiseInternalAssertion("_top <= _varSize + _valSize", kSource, 718);
    _stackNode[_top] = node;
    _stackKind[_top] = kind;
    ++_top;
    _frames[frames++] = Frame{node, kind, kind == 0 ? std::int64_t{_adjStart[node]} : 0};
  };
  for (int root = 0; root < _n; ++root) {
    if (_varNum[root] != 0) continue;
    enter(root, 0);
    while (frames > 0) {
      Frame& f = _frames[frames - 1];
      int succ = -1;
      std::uint8_t succKind = 0;
      if (f.kind == 0) {
        const std::int64_t own = _varMatch[f.node] - _vmin;
        const std::int32_t end = _adjStart[f.node + 1];
        if (f.next < end && _adj[f.next] == own) ++f.next;
        if (f.next < end) {
          succ = _adj[f.next++];
          succKind = 1;
        }
      } else if (_valMatch[f.node] >= 0) {
        if (f.next == 0) {
          f.next = 1;
          succ = _valMatch[f.node];
          succKind = 0;
        }
      } else {
        while (f.next < _n) {
          const std::int32_t m = _varMatch[f.next++];
          if (m != kUnmatched) {
            succ = static_cast<int>(m - _vmin);
            succKind = 1;
            break;
          }
        }
      }
      if (succ >= 0) {
        if (num(succ, succKind) == 0) {
          enter(succ, succKind);
        } else if (num(succ, succKind) > num(f.node, f.kind) && comp(succ, succKind) == 0) {
          lowOf(f.node, f.kind) = std::max(lowOf(f.node, f.kind), num(succ, succKind));
        }
        continue;
      }
      // Every successor done.
      const int node = f.node;
      const std::uint8_t kind = f.kind;
      if (lowOf(node, kind) == num(node, kind)) {
        ++_nbComp;
        for (;;) {
          if (_top <= 0) raiseInternalAssertion("_top > 0", kSource, 743);
          --_top;
          comp(_stackNode[_top], _stackKind[_top]) = _nbComp;
          if (_stackNode[_top] == node && _stackKind[_top] == kind) break;
        }
      }
      --frames;
      if (frames > 0) {
        Frame& p = _frames[frames - 1];
        lowOf(p.node, p.kind) = std::max(lowOf(p.node, p.kind), lowOf(node, kind));
      }
    }
  }
  // A value outside its variable's component, and not its match, has no
  // support. (With views of one variable in two places a removal can empty
  // another position: that is a failure, not an error.)
  // The edges read at the start may name values a removal here has taken
  // since (views of one variable): those are skipped.
  for (int i = 0; i < _n; ++i) {
    NuvCPIntVarI* x = _x[i];
    const std::int64_t own = _varMatch[i] - _vmin;
    for (std::int32_t e = _adjStart[i]; e < _adjStart[i + 1]; ++e) {
      const std::int32_t w = _adj[e];
      if (w == own || _varComp[i] == _valComp[w]) continue;
      const int v = static_cast<int>(w + _vmin);
      if (x->member(v) && x->removeValue(v) == NuvCPFailure) return NuvCPFailure;
    }
  }
  return NuvCPSuspend;
}
