#include "fd/NuvCPCardinalityI.h"

#include <algorithm>
#include <ostream>

#include "fd/NuvCPIntMath.h"
#include "fd/NuvCPManagerI.h"

namespace {
// Beyond this many values the flow is not built (the counting pass alone
// runs): its arrays are sized by the values' span.
constexpr std::int64_t kMaxSpan = 1 << 20;
}  // namespace

NuvCPCardinalityI::NuvCPCardinalityI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* x, int m,
                                     const int* values, NuvCPIntVarI* const* count, const int* low, const int* up,
                                     bool closed)
    : NuvCPCstrI(store, 2, false), _n(n), _m(m), _closed(closed) {
  PimAllocator* a = store->allocator();
  _x = nuvCPCopyVars(a, n, x);
  _count = nuvCPCopyVars(a, m, count);
  const auto um = static_cast<std::size_t>(m), un = static_cast<std::size_t>(n);
  _value = a->allocateArray<std::int32_t>(um + 1);
  _low = a->allocateArray<std::int32_t>(um + 1);
  _up = a->allocateArray<std::int32_t>(um + 1);
  if ((n > 0 && !_x) || (count && m > 0 && !_count) || !_value || !_low || !_up) return;
  std::int64_t lo = INT64_MAX, hi = INT64_MIN;
  for (int k = 0; k < m; ++k) {
    _value[k] = values[k];
    _low[k] = low ? low[k] : 0;
    _up[k] = up ? up[k] : n;
    lo = std::min<std::int64_t>(lo, values[k]);
    hi = std::max<std::int64_t>(hi, values[k]);
  }
  for (int i = 0; i < n; ++i) {
    lo = std::min<std::int64_t>(lo, x[i]->getMin());
    hi = std::max<std::int64_t>(hi, x[i]->getMax());
  }
  if (n == 0 || hi - lo + 1 > kMaxSpan) {
    _scratch = _value;  // counting only
    return;
  }
  _offset = static_cast<std::int32_t>(lo);
  _V = static_cast<std::int32_t>(hi - lo + 1);
  const auto uv = static_cast<std::size_t>(_V), nodes = un + uv + 1;
  const std::size_t words = uv + 4 * uv + 2 * un + (uv + 1) + un + 6 * nodes;
  auto* w = static_cast<std::int32_t*>(a->allocate(words * sizeof(std::int32_t)));
  if (!w) return;
  _index = w;
  _flow = _index + uv;
  _lo = _flow + uv;
  _hi = _lo + uv;
  _seenVal = _hi + uv;
  _match = _seenVal + uv;
  _seenVar = _match + un;
  _begin = _seenVar + un;
  _vars = _begin + uv + 1;
  _comp = _vars + un;
  _low2 = _comp + nodes;
  _stack = _low2 + nodes;
  _cstack = _stack + nodes;
  _iter = _cstack + nodes;
  std::fill(_index, _index + uv, -1);
  for (int k = 0; k < m; ++k) _index[values[k] - _offset] = k;
  std::fill(_match, _match + un, -1);
  std::fill(_seenVal, _seenVal + uv, 0);
  std::fill(_seenVar, _seenVar + un, 0);
  _scratch = w;
}

void NuvCPCardinalityI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  for (int i = 0; _x && i < _n; ++i) m.mark(_x[i]);
  for (int k = 0; _count && k < _m; ++k) m.mark(_count[k]);
}

void NuvCPCardinalityI::print(std::ostream& os) const {
  os << "Cardinality(" << _n << " variables, " << _m << " values" << (_closed ? ", closed" : "") << ")";
  printStatus(os);
}

// Each count between the bound and the possible variables of its value.
int NuvCPCardinalityI::counting(bool& changed) {
  // With the flow's arrays, one pass over the domains counts every value
  // (_lo and _hi are free until flow() sets them); without, a member test
  // per variable and value.
  if (_index) {
    std::fill(_lo, _lo + _V, 0);
    std::fill(_hi, _hi + _V, 0);
    for (int i = 0; i < _n; ++i) {
      const NuvCPIntVarI* x = _x[i];
      if (x->isBound()) {
        const int v = x->getMin() - _offset;
        ++_lo[v];
        ++_hi[v];
      } else {
        nuvCPForEachValue(x, [&](int value) {
          ++_hi[value - _offset];
          return true;
        });
      }
    }
  }
  for (int k = 0; k < _m; ++k) {
    const int v = _value[k];
    int bound = 0, possible = 0;
    if (_index) {
      bound = _lo[v - _offset];
      possible = _hi[v - _offset];
    } else {
      for (int i = 0; i < _n; ++i)
        if (_x[i]->member(v)) {
          ++possible;
          bound += _x[i]->isBound();
        }
    }
    const int lo = _count ? _count[k]->getMin() : _low[k];
    const int hi = _count ? _count[k]->getMax() : _up[k];
    if (bound > hi || possible < lo) return NuvCPFailure;
    if (_count) {
      if (_count[k]->updateMin(bound) == NuvCPFailure || _count[k]->updateMax(possible) == NuvCPFailure)
        return NuvCPFailure;
    }
    if (bound == hi && possible > bound) {
      for (int i = 0; i < _n; ++i)
        if (!_x[i]->isBound() && _x[i]->member(v) && _x[i]->removeValue(v) == NuvCPFailure) return NuvCPFailure;
      changed = true;
    } else if (possible == lo && possible > bound) {
      for (int i = 0; i < _n; ++i)
        if (!_x[i]->isBound() && _x[i]->member(v) && _x[i]->bind(v) == NuvCPFailure) return NuvCPFailure;
      changed = true;
    }
  }
  // The counts share the n variables: they sum to n at most, and to n
  // exactly when every variable must take a listed value.
  if (_count) {
    bool covered = true;
    for (int i = 0; i < _n && covered; ++i)
      nuvCPForEachValue(_x[i], [&](int v) {
        const std::int64_t j = std::int64_t{v} - _offset;
        covered = _closed || (_index ? j >= 0 && j < _V && _index[j] >= 0
                                     : std::find(_value, _value + _m, v) != _value + _m);
        return covered;
      });
    std::int64_t mins = 0, maxs = 0;
    for (int k = 0; k < _m; ++k) {
      mins += _count[k]->getMin();
      maxs += _count[k]->getMax();
    }
    if (mins > _n || (covered && maxs < _n)) return NuvCPFailure;
    for (int k = 0; k < _m; ++k) {
      NuvCPIntVarI* c = _count[k];
      const int lo = c->getMin(), hi = c->getMax();
      if (c->updateMax(nuvCPClampInt(_n - (mins - lo))) == NuvCPFailure) return NuvCPFailure;
      if (covered && c->updateMin(nuvCPClampInt(_n - (maxs - hi))) == NuvCPFailure) return NuvCPFailure;
      if (c->getMin() != lo || c->getMax() != hi) changed = true;
    }
  }
  if (_closed)
    for (int i = 0; i < _n; ++i) {
      int r = NuvCPSuspend;
      nuvCPForEachValue(_x[i], [&](int v) {
        const std::int64_t j = std::int64_t{v} - _offset;
        const bool listed = _index ? j >= 0 && j < _V && _index[j] >= 0
                                   : std::find(_value, _value + _m, v) != _value + _m;
        if (!listed) {
          r = _x[i]->removeValue(v);
          changed = true;
        }
        return r != NuvCPFailure;
      });
      if (r == NuvCPFailure) return NuvCPFailure;
    }
  return NuvCPSuspend;
}

// Each value's bounds on the flow.
void NuvCPCardinalityI::bounds() {
  for (int v = 0; v < _V; ++v) {
    const int k = _index[v];
    if (k < 0) {
      _lo[v] = 0;
      _hi[v] = _closed ? 0 : _n;
    } else {
      _lo[v] = std::max(0, _count ? _count[k]->getMin() : _low[k]);
      _hi[v] = std::min(_n, _count ? _count[k]->getMax() : _up[k]);
    }
  }
}

// A variable for value v (below its lower bound): a free variable that may
// take v, or one whose value can spare it, or, recursively, one whose value
// finds another.
bool NuvCPCardinalityI::augmentFromValue(int v) {
  _seenVal[v] = _epoch;
  const int value = v + _offset;
  for (int i = 0; i < _n; ++i) {
    if (_match[i] == v || !_x[i]->member(value)) continue;
    const int w = _match[i];
    if (w < 0 || _flow[w] > _lo[w] || (_seenVal[w] != _epoch && augmentFromValue(w))) {
      if (w >= 0) --_flow[w];
      _match[i] = v;
      ++_flow[v];
      return true;
    }
  }
  return false;
}

// A value for variable i: one with room, or one whose variable moves on.
bool NuvCPCardinalityI::augmentFromVar(int i) {
  _seenVar[i] = _epoch;
  bool found = false;
  nuvCPForEachValue(_x[i], [&](int value) {
    const int v = value - _offset;
    if (_seenVal[v] == _epoch) return true;
    _seenVal[v] = _epoch;
    if (_flow[v] < _hi[v]) {
      found = true;
    } else {
      // A variable of v moving on leaves room (its move updates the flow).
      for (int j = 0; j < _n && !found; ++j)
        if (_match[j] == v && _seenVar[j] != _epoch && augmentFromVar(j)) found = true;
    }
    if (found) {
      if (_match[i] >= 0) --_flow[_match[i]];
      _match[i] = v;
      ++_flow[v];
    }
    return !found;
  });
  return found;
}

int NuvCPCardinalityI::flow() {
  bounds();
  std::fill(_flow, _flow + _V, 0);
  // Keep what still fits of the last flow.
  for (int i = 0; i < _n; ++i) {
    const int v = _match[i];
    if (v >= 0 && (!_x[i]->member(v + _offset) || _flow[v] >= _hi[v])) _match[i] = -1;
    if (_match[i] >= 0) ++_flow[_match[i]];
  }
  for (int v = 0; v < _V; ++v)
    while (_flow[v] < _lo[v]) {
      ++_epoch;
      if (!augmentFromValue(v)) return NuvCPFailure;
    }
  for (int i = 0; i < _n; ++i)
    if (_match[i] < 0) {
      ++_epoch;
      if (!augmentFromVar(i)) return NuvCPFailure;
    }
  return NuvCPSuspend;
}

// Values off the flow that no cycle of the residual graph crosses go.
// Nodes: variables 0..n-1, values n..n+V-1, the sink n+V; an edge from a
// variable to each other value of its domain, from a value to its
// variables (and to the sink while below its upper bound), from the sink
// to each value above its lower bound.
int NuvCPCardinalityI::filter() {
  const int n = _n, V = _V, t = n + V, nodes = n + V + 1;
  // The variables of each value, by counting sort (_iter as the cursor).
  std::fill(_begin, _begin + V + 1, 0);
  for (int i = 0; i < n; ++i) ++_begin[_match[i] + 1];
  for (int v = 0; v < V; ++v) _begin[v + 1] += _begin[v];
  for (int v = 0; v < V; ++v) _iter[v] = _begin[v];
  for (int i = 0; i < n; ++i) _vars[_iter[_match[i]]++] = i;
  // _iter[u]: how far u's successors have been walked (INT32_MIN: not yet).
  auto next = [&](int u) -> int {
    if (u < n) {
      const NuvCPIntVarI* x = _x[u];
      for (int value = _iter[u] == INT32_MIN ? x->getMin() : _iter[u];;) {
        if (value > x->getMax()) {
          _iter[u] = value;
          return -1;
        }
        const int here = value;
        value = here == x->getMax() ? here + 1 : x->nextValue(here);
        _iter[u] = value;
        if (here - _offset != _match[u] && x->member(here)) return n + (here - _offset);
      }
    }
    if (u < t) {
      const int v = u - n, k = _iter[u] == INT32_MIN ? 0 : _iter[u];
      const int count = _begin[v + 1] - _begin[v];
      _iter[u] = k + 1;
      if (k < count) return _vars[_begin[v] + k];
      if (k == count && _flow[v] < _hi[v]) return t;
      return -1;
    }
    for (int v = _iter[u] == INT32_MIN ? 0 : _iter[u]; v < V; ++v)
      if (_flow[v] > _lo[v]) {
        _iter[u] = v + 1;
        return n + v;
      }
    _iter[u] = V;
    return -1;
  };
  // Iterative Tarjan with parent links. state: -2 unvisited, the parent
  // (-1 for a root) while open, -3 - component once closed.
  std::int32_t *state = _comp, *disc = _low2, *lowlink = _cstack, *open = _stack;
  std::fill(state, state + nodes, -2);
  for (int u = 0; u < nodes; ++u) _iter[u] = INT32_MIN;
  int order = 0, comps = 0, top = 0;
  for (int root = 0; root < nodes; ++root) {
    if (state[root] != -2) continue;
    state[root] = -1;
    disc[root] = lowlink[root] = order++;
    open[top++] = root;
    for (int u = root; u >= 0;) {
      const int w = next(u);
      if (w >= 0) {
        if (state[w] == -2) {
          state[w] = u;
          disc[w] = lowlink[w] = order++;
          open[top++] = w;
          u = w;
        } else if (state[w] >= -1) {
          lowlink[u] = std::min(lowlink[u], disc[w]);
        }
        continue;
      }
      const int parent = state[u];
      const bool closes = lowlink[u] == disc[u];
      if (closes) {
        int w2;
        do {
          w2 = open[--top];
          state[w2] = -3 - comps;
        } while (w2 != u);
        ++comps;
      }
      if (parent >= 0 && !closes) lowlink[parent] = std::min(lowlink[parent], lowlink[u]);
      u = parent;
    }
  }
  for (int i = 0; i < n; ++i) {
    if (_x[i]->isBound()) continue;
    int r = NuvCPSuspend;
    nuvCPForEachValue(_x[i], [&](int value) {
      const int v = value - _offset;
      if (v != _match[i] && state[n + v] != state[i]) r = _x[i]->removeValue(value);
      return r != NuvCPFailure;
    });
    if (r == NuvCPFailure) return NuvCPFailure;
  }
  return NuvCPSuspend;
}

int NuvCPCardinalityI::propagate() {
  bool changed = false;
  if (counting(changed) == NuvCPFailure) return NuvCPFailure;
  if (!_index) return NuvCPSuspend;
  if (flow() == NuvCPFailure) return NuvCPFailure;
  return filter();
}

int NuvCPCardinalityI::post(int) {
  if (!ok()) return NuvCPFailure;
  for (int i = 0; i < _n; ++i)
    if (!_x[i]->isBound()) _x[i]->addDomain(this);
  for (int k = 0; _count && k < _m; ++k)
    if (!_count[k]->isBound()) _count[k]->addBounds(this);
  return propagate();
}
