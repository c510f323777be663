#include "fd/NuvCPRegularI.h"

#include <algorithm>
#include <ostream>
#include <vector>

#include "fd/NuvCPIntMath.h"
#include "fd/NuvCPManagerI.h"

NuvCPRegularI::NuvCPRegularI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* x, const NuvCPAutomatonView& a,
                             NuvCPIntVarI* cost)
    : NuvCPCstrI(store, 2, true), _n(n), _cost(cost), _states(a.states), _symbols(a.symbols), _initial(a.initial) {
  PimAllocator* al = store->allocator();
  _x = nuvCPCopyVars(al, n, x);
  if (a.states <= 0 || a.symbols <= 0 || !a.delta || a.initial < 1 || a.initial > a.states) return;
  const auto cells = static_cast<std::size_t>(a.states) * static_cast<std::size_t>(a.symbols);
  auto* delta = al->allocateArray<std::int32_t>(cells);
  _final = al->allocateArray<std::uint8_t>(static_cast<std::size_t>(a.states));
  if (cost) _weight = al->allocateArray<std::int32_t>(cells);
  if (!delta || !_final || (cost && (!_weight || !a.cost))) return;
  std::copy(a.delta, a.delta + cells, delta);
  if (cost) std::copy(a.cost, a.cost + cells, _weight);
  std::fill(_final, _final + a.states, std::uint8_t{0});
  for (int k = 0; k < a.finalCount; ++k)
    if (a.finals[k] >= 1 && a.finals[k] <= a.states) _final[a.finals[k] - 1] = 1;
  _delta = delta;
}

void NuvCPRegularI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  if (_cost) m.mark(_cost);
  for (int i = 0; _x && i < _n; ++i) m.mark(_x[i]);
}

void NuvCPRegularI::print(std::ostream& os) const {
  os << (_cost ? "CostRegular(" : "Regular(") << _n << " variables, " << _states << " states, " << _symbols
     << " symbols)";
  printStatus(os);
}

int NuvCPRegularI::liveEdges() const {
  int k = 0;
  for (int e = 0; e < _edgeCount; ++e) k += _alive[e].v;
  return k;
}

// The graph of the automaton over the current domains, without the nodes
// that no accepting path crosses.
int NuvCPRegularI::build() {
  const int n = _n, Q = _states, S = _symbols;
  for (int i = 0; i < n; ++i)
    if (_x[i]->updateMin(1) == NuvCPFailure || _x[i]->updateMax(S) == NuvCPFailure) return NuvCPFailure;
  const auto nodes = static_cast<std::size_t>(n + 1) * static_cast<std::size_t>(Q);
  std::vector<std::uint8_t> fwd(nodes, 0), live(nodes, 0);
  auto next = [&](int q, int v) { return _delta[q * S + v - 1] - 1; };  // -1: none
  fwd[static_cast<std::size_t>(node(0, _initial - 1))] = 1;
  for (int i = 0; i < n; ++i)
    for (int q = 0; q < Q; ++q) {
      if (!fwd[static_cast<std::size_t>(node(i, q))]) continue;
      nuvCPForEachValue(_x[i], [&](int v) {
        const int t = next(q, v);
        if (t >= 0) fwd[static_cast<std::size_t>(node(i + 1, t))] = 1;
        return true;
      });
    }
  for (int q = 0; q < Q; ++q)
    live[static_cast<std::size_t>(node(n, q))] = fwd[static_cast<std::size_t>(node(n, q))] && _final[q];
  std::int64_t edges = 0;
  for (int i = n - 1; i >= 0; --i)
    for (int q = 0; q < Q; ++q) {
      if (!fwd[static_cast<std::size_t>(node(i, q))]) continue;
      nuvCPForEachValue(_x[i], [&](int v) {
        const int t = next(q, v);
        if (t >= 0 && live[static_cast<std::size_t>(node(i + 1, t))]) {
          live[static_cast<std::size_t>(node(i, q))] = 1;
          ++edges;
        }
        return true;
      });
    }
  if (edges > INT32_MAX / 2) return NuvCPFailure;
  _edgeCount = static_cast<std::int32_t>(edges);
  PimAllocator* al = store()->allocator();
  const auto un = static_cast<std::size_t>(n);
  const auto E = static_cast<std::size_t>(_edgeCount);
  _low = al->allocateArray<std::int32_t>(un + 1);
  _slotBase = al->allocateArray<std::int32_t>(un + 1);
  if (!_low || !_slotBase) return NuvCPFailure;
  std::int64_t slots = 0;
  for (int i = 0; i < n; ++i) {
    _low[i] = _x[i]->getMin();
    _slotBase[i] = static_cast<std::int32_t>(slots);
    slots += std::int64_t{_x[i]->getMax()} - _x[i]->getMin() + 1;
  }
  _slotBase[n] = static_cast<std::int32_t>(slots);
  const auto us = static_cast<std::size_t>(slots);
  _edges = al->allocateArray<Edge>(E);
  _byValueBegin = al->allocateArray<std::int32_t>(us + 1);
  _byValue = al->allocateArray<std::int32_t>(E);
  _outBegin = al->allocateArray<std::int32_t>(nodes + 1);
  _out = al->allocateArray<std::int32_t>(E);
  _inBegin = al->allocateArray<std::int32_t>(nodes + 1);
  _in = al->allocateArray<std::int32_t>(E);
  _alive = al->allocateArray<Counter>(E);
  _outDeg = al->allocateArray<Counter>(nodes);
  _inDeg = al->allocateArray<Counter>(nodes);
  _support = al->allocateArray<Counter>(us);
  _stack = al->allocateArray<std::int32_t>(E);
  if (_cost) {
    _fmin = al->allocateArray<std::int64_t>(nodes);
    _fmax = al->allocateArray<std::int64_t>(nodes);
    _bmin = al->allocateArray<std::int64_t>(nodes);
    _bmax = al->allocateArray<std::int64_t>(nodes);
    if (!_fmin || !_fmax || !_bmin || !_bmax) return NuvCPFailure;
  }
  if ((E > 0 && (!_edges || !_byValue || !_out || !_in || !_alive || !_stack)) || !_byValueBegin || !_outBegin ||
      !_inBegin || !_outDeg || !_inDeg || (us > 0 && !_support))
    return NuvCPFailure;
  // The edges, in layer order; then the three indexes by counting sort.
  std::int32_t k = 0;
  for (int i = 0; i < n; ++i)
    for (int q = 0; q < Q; ++q) {
      if (!live[static_cast<std::size_t>(node(i, q))]) continue;
      nuvCPForEachValue(_x[i], [&](int v) {
        const int t = next(q, v);
        if (t >= 0 && live[static_cast<std::size_t>(node(i + 1, t))]) _edges[k++] = {i, q, t, v};
        return true;
      });
    }
  const PimStamp stamp = store()->trail()->stamp();
  auto index = [&](std::int32_t* begin, std::int32_t* list, std::size_t count, auto key) {
    std::fill(begin, begin + count + 1, 0);
    for (std::int32_t e = 0; e < _edgeCount; ++e) ++begin[key(e) + 1];
    for (std::size_t c = 0; c < count; ++c) begin[c + 1] += begin[c];
    std::vector<std::int32_t> fill(begin, begin + count);
    for (std::int32_t e = 0; e < _edgeCount; ++e) list[fill[static_cast<std::size_t>(key(e))]++] = e;
  };
  index(_byValueBegin, _byValue, us, [&](std::int32_t e) { return slot(_edges[e].layer, _edges[e].value); });
  index(_outBegin, _out, nodes, [&](std::int32_t e) { return node(_edges[e].layer, _edges[e].from); });
  index(_inBegin, _in, nodes, [&](std::int32_t e) { return node(_edges[e].layer + 1, _edges[e].to); });
  for (std::size_t e = 0; e < E; ++e) _alive[e] = {1, stamp};
  for (std::size_t u = 0; u < nodes; ++u) {
    _outDeg[u] = {_outBegin[u + 1] - _outBegin[u], stamp};
    _inDeg[u] = {_inBegin[u + 1] - _inBegin[u], stamp};
  }
  for (std::size_t s = 0; s < us; ++s) _support[s] = {_byValueBegin[s + 1] - _byValueBegin[s], stamp};
  // Values on no accepting path.
  for (int i = 0; i < n; ++i) {
    int r = NuvCPSuspend;
    nuvCPForEachValue(_x[i], [&](int v) {
      if (_support[slot(i, v)].v == 0) r = _x[i]->removeValue(v);
      return r != NuvCPFailure;
    });
    if (r == NuvCPFailure) return NuvCPFailure;
  }
  return NuvCPSuspend;
}

bool NuvCPRegularI::push(std::int32_t e) {
  if (_alive[e].v == 0) return false;
  set(_alive[e], 0);
  _stack[_top++] = e;
  return true;
}

int NuvCPRegularI::drain() {
  while (_top > 0) {
    const Edge& g = _edges[_stack[--_top]];
    const std::int32_t u = node(g.layer, g.from), w = node(g.layer + 1, g.to);
    set(_outDeg[u], _outDeg[u].v - 1);
    if (_outDeg[u].v == 0)
      for (std::int32_t k = _inBegin[u]; k < _inBegin[u + 1]; ++k) push(_in[k]);
    set(_inDeg[w], _inDeg[w].v - 1);
    if (_inDeg[w].v == 0)
      for (std::int32_t k = _outBegin[w]; k < _outBegin[w + 1]; ++k) push(_out[k]);
    Counter& s = _support[slot(g.layer, g.value)];
    set(s, s.v - 1);
    if (s.v == 0 && _x[g.layer]->member(g.value) && _x[g.layer]->removeValue(g.value) == NuvCPFailure) {
      _top = 0;
      return NuvCPFailure;
    }
  }
  return NuvCPSuspend;
}

// Shortest and longest paths through the live graph bound the cost, and
// the cost's bounds cut the edges no path within them crosses.
int NuvCPRegularI::costRound(bool& pushed) {
  const std::size_t nodes = static_cast<std::size_t>(_n + 1) * static_cast<std::size_t>(_states);
  std::fill(_fmin, _fmin + nodes, INT64_MAX);
  std::fill(_fmax, _fmax + nodes, INT64_MIN);
  std::fill(_bmin, _bmin + nodes, INT64_MAX);
  std::fill(_bmax, _bmax + nodes, INT64_MIN);
  const std::int32_t start = node(0, _initial - 1);
  _fmin[start] = _fmax[start] = 0;
  auto weight = [&](const Edge& g) { return std::int64_t{_weight[g.from * _symbols + g.value - 1]}; };
  for (std::int32_t e = 0; e < _edgeCount; ++e) {
    if (!_alive[e].v) continue;
    const Edge& g = _edges[e];
    const std::int32_t u = node(g.layer, g.from), w = node(g.layer + 1, g.to);
    _fmin[w] = std::min(_fmin[w], _fmin[u] + weight(g));
    _fmax[w] = std::max(_fmax[w], _fmax[u] + weight(g));
  }
  for (int q = 0; q < _states; ++q)
    if (_final[q]) _bmin[node(_n, q)] = _bmax[node(_n, q)] = 0;
  for (std::int32_t e = _edgeCount - 1; e >= 0; --e) {
    if (!_alive[e].v) continue;
    const Edge& g = _edges[e];
    const std::int32_t u = node(g.layer, g.from), w = node(g.layer + 1, g.to);
    _bmin[u] = std::min(_bmin[u], _bmin[w] + weight(g));
    _bmax[u] = std::max(_bmax[u], _bmax[w] + weight(g));
  }
  if (_n == 0) {
    if (!_final[_initial - 1]) return NuvCPFailure;
    return _cost->bind(0);
  }
  if (_bmin[start] == INT64_MAX) return NuvCPFailure;
  if (_cost->updateMin(nuvCPClampInt(_bmin[start])) == NuvCPFailure ||
      _cost->updateMax(nuvCPClampInt(_bmax[start])) == NuvCPFailure)
    return NuvCPFailure;
  const std::int64_t lo = _cost->getMin(), hi = _cost->getMax();
  for (std::int32_t e = 0; e < _edgeCount; ++e) {
    if (!_alive[e].v) continue;
    const Edge& g = _edges[e];
    const std::int32_t u = node(g.layer, g.from), w = node(g.layer + 1, g.to);
    if (_fmin[u] + weight(g) + _bmin[w] > hi || _fmax[u] + weight(g) + _bmax[w] < lo) pushed = push(e) || pushed;
  }
  return NuvCPSuspend;
}

int NuvCPRegularI::propagate() {
  for (;;) {
    bool pushed = false;
    for (int i = 0; i < _n; ++i)
      for (std::int32_t s = _slotBase[i]; s < _slotBase[i + 1]; ++s) {
        const int v = _low[i] + (s - _slotBase[i]);
        if (_support[s].v == 0 || _x[i]->member(v)) continue;
        for (std::int32_t k = _byValueBegin[s]; k < _byValueBegin[s + 1]; ++k) pushed = push(_byValue[k]) || pushed;
      }
    if (pushed) {
      if (drain() == NuvCPFailure) return NuvCPFailure;
      continue;
    }
    if (!_cost) break;
    if (costRound(pushed) == NuvCPFailure) return NuvCPFailure;
    if (!pushed) break;
    if (drain() == NuvCPFailure) return NuvCPFailure;
  }
  for (int i = 0; i < _n; ++i)
    if (!_x[i]->isBound()) return NuvCPSuspend;
  return NuvCPSuccess;
}

int NuvCPRegularI::post(int) {
  if (!ok()) return NuvCPFailure;
  if (_n == 0) {
    if (!_final[_initial - 1]) return NuvCPFailure;
    return _cost ? (_cost->bind(0) == NuvCPFailure ? NuvCPFailure : NuvCPSuccess) : NuvCPSuccess;
  }
  if (build() == NuvCPFailure) return NuvCPFailure;
  for (int i = 0; i < _n; ++i)
    if (!_x[i]->isBound()) _x[i]->addDomain(this);
  if (_cost) _cost->addBounds(this);
  return propagate();
}

NuvCPAutomatonTables nuvCPStretchAutomaton(int m, const int* values, const int* shortest, const int* longest,
                                          int n) {
  NuvCPAutomatonTables a;
  if (m <= 0) return a;
  const int low = *std::min_element(values, values + m), high = *std::max_element(values, values + m);
  if (std::int64_t{high} - low >= 1 << 16) return a;
  std::vector<int> cap(static_cast<std::size_t>(m)), first(static_cast<std::size_t>(m));
  int states = 1;  // state 1: nothing read yet
  for (int j = 0; j < m; ++j) {
    if (shortest[j] < 1 || longest[j] < shortest[j]) return a;
    for (int k = 0; k < j; ++k)
      if (values[k] == values[j]) return a;
    cap[static_cast<std::size_t>(j)] = std::min(longest[j], std::max(n, 1));
    first[static_cast<std::size_t>(j)] = states + 1;  // state of a run of length 1
    states += cap[static_cast<std::size_t>(j)];
  }
  a.states = states;
  a.symbols = high - low + 1;
  a.low = low;
  a.delta.assign(static_cast<std::size_t>(states) * static_cast<std::size_t>(a.symbols), 0);
  auto at = [&](int q, int value) -> int& {
    return a.delta[static_cast<std::size_t>(q - 1) * static_cast<std::size_t>(a.symbols) +
                   static_cast<std::size_t>(value - low)];
  };
  a.finals.push_back(1);
  for (int j = 0; j < m; ++j) at(1, values[j]) = first[static_cast<std::size_t>(j)];
  for (int j = 0; j < m; ++j)
    for (int k = 1; k <= cap[static_cast<std::size_t>(j)]; ++k) {
      const int q = first[static_cast<std::size_t>(j)] + k - 1;
      if (k < cap[static_cast<std::size_t>(j)]) at(q, values[j]) = q + 1;
      if (k >= shortest[j]) {
        a.finals.push_back(q);
        for (int o = 0; o < m; ++o)
          if (o != j) at(q, values[o]) = first[static_cast<std::size_t>(o)];
      }
    }
  return a;
}

NuvCPAutomatonTables nuvCPValuePrecedeAutomaton(int s, int t, int low, int high) {
  NuvCPAutomatonTables a;
  if (high < low || std::int64_t{high} - low >= 1 << 20) return a;
  a.states = 2;
  a.symbols = high - low + 1;
  a.low = low;
  a.delta.assign(2 * static_cast<std::size_t>(a.symbols), 0);
  for (int v = low; v <= high; ++v) {
    const auto k = static_cast<std::size_t>(v - low);
    a.delta[k] = v == s ? 2 : v == t && s != t ? 0 : 1;  // s not seen yet
    a.delta[static_cast<std::size_t>(a.symbols) + k] = 2;  // seen
  }
  a.finals = {1, 2};
  return a;
}
