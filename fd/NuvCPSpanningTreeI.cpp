#include "fd/NuvCPSpanningTreeI.h"

#include <algorithm>
#include <ostream>

#include "fd/NuvCPIntMath.h"
#include "fd/NuvCPManagerI.h"

NuvCPSpanningTreeI::NuvCPSpanningTreeI(NuvCPManagerI* store, int n, int m, const int* from, const int* to,
                                       const int* w, NuvCPIntVarI* const* e, NuvCPIntVarI* z)
    : NuvCPCstrI(store, 2, false), _n(n), _m(m), _z(z) {
  if (n < 1 || m < 0 || !z) return;
  PimAllocator* a = store->allocator();
  const auto un = static_cast<std::size_t>(n) + 1, um = static_cast<std::size_t>(m) + 1;
  _e = nuvCPCopyVars(a, m, e);
  _from = a->allocateArray<std::int32_t>(um);
  _to = a->allocateArray<std::int32_t>(um);
  _w = a->allocateArray<std::int32_t>(um);
  _order = a->allocateArray<std::int32_t>(um);
  _inTree = a->allocateArray<std::int32_t>(um);
  _repl = a->allocateArray<std::int64_t>(um);
  _dsu = a->allocateArray<std::int32_t>(un);
  _head = a->allocateArray<std::int32_t>(un);
  _next = a->allocateArray<std::int32_t>(2 * un);
  _adj = a->allocateArray<std::int32_t>(2 * un);
  _parent = a->allocateArray<std::int32_t>(un);
  _parentEdge = a->allocateArray<std::int32_t>(un);
  _depth = a->allocateArray<std::int32_t>(un);
  _queue = a->allocateArray<std::int32_t>(un);
  if ((m > 0 && !_e) || !_from || !_to || !_w || !_order || !_inTree || !_repl || !_dsu || !_head || !_next ||
      !_adj || !_parent || !_parentEdge || !_depth || !_queue)
    return;
  for (int k = 0; k < m; ++k) {
    if (from[k] < 0 || from[k] >= n || to[k] < 0 || to[k] >= n) return;
    _from[k] = from[k];
    _to[k] = to[k];
    _w[k] = w[k];
    _order[k] = k;
  }
  std::stable_sort(_order, _order + m, [&](int p, int q) { return _w[p] < _w[q]; });
  _ok = true;
}

void NuvCPSpanningTreeI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  for (int k = 0; _e && k < _m; ++k) m.mark(_e[k]);
  if (_z) m.mark(_z);
}

void NuvCPSpanningTreeI::print(std::ostream& os) const {
  // Print forms begin with the class name, which names the handle.
  os << "MinSpanningTree(" << _n << " nodes, " << _m << " edges)";
  printStatus(os);
}

int NuvCPSpanningTreeI::find(int a) {
  while (_dsu[a] != a) {
    _dsu[a] = _dsu[_dsu[a]];
    a = _dsu[a];
  }
  return a;
}

int NuvCPSpanningTreeI::kruskal(bool lightest, std::int64_t& weight, bool mark) {
  for (int v = 0; v < _n; ++v) _dsu[v] = v;
  if (mark) std::fill(_inTree, _inTree + _m, 0);
  weight = 0;
  int joined = 0;
  auto join = [&](int k) {
    const int a = find(_from[k]), b = find(_to[k]);
    if (a == b) return false;
    _dsu[a] = b;
    weight += _w[k];
    ++joined;
    if (mark) _inTree[k] = 1;
    return true;
  };
  for (int k = 0; k < _m; ++k)
    if (_e[k]->getMin() >= 1 && !join(k)) return NuvCPFailure;  // the chosen edges close a cycle
  for (int r = 0; r < _m; ++r) {
    const int k = _order[lightest ? r : _m - 1 - r];
    if (_e[k]->getMin() < 1 && _e[k]->getMax() >= 1) join(k);
  }
  return joined == _n - 1 ? NuvCPSuspend : NuvCPFailure;
}

int NuvCPSpanningTreeI::propagate() {
  bool bound = _z->isBound();
  for (int k = 0; k < _m && bound; ++k) bound = _e[k]->isBound();
  std::int64_t heaviest = 0, lightest = 0;
  if (kruskal(false, heaviest, false) == NuvCPFailure || kruskal(true, lightest, true) == NuvCPFailure)
    return NuvCPFailure;
  bool narrowed = lightest > _z->getMin() || heaviest < _z->getMax();
  if (_z->updateMin(nuvCPClampInt(lightest)) == NuvCPFailure || _z->updateMax(nuvCPClampInt(heaviest)) == NuvCPFailure)
    return NuvCPFailure;
  const std::int64_t zmax = _z->getMax();
  // The lightest tree, rooted at node 0 (breadth first).
  std::fill(_head, _head + _n, -1);
  int slots = 0;
  for (int k = 0; k < _m; ++k) {
    if (!_inTree[k]) continue;
    for (int side = 0; side < 2; ++side) {
      const int u = side == 0 ? _from[k] : _to[k];
      _adj[slots] = k;
      _next[slots] = _head[u];
      _head[u] = slots++;
    }
  }
  std::fill(_parent, _parent + _n, -1);
  _parent[0] = 0;
  _parentEdge[0] = -1;
  _depth[0] = 0;
  int qh = 0, qt = 0;
  _queue[qt++] = 0;
  while (qh < qt) {
    const int u = _queue[qh++];
    for (int s = _head[u]; s >= 0; s = _next[s]) {
      const int k = _adj[s], v = _from[k] == u ? _to[k] : _from[k];
      if (_parent[v] >= 0) continue;
      _parent[v] = u;
      _parentEdge[v] = k;
      _depth[v] = _depth[u] + 1;
      _queue[qt++] = v;
    }
  }
  // Each allowed edge outside the tree against its path; each tree edge's
  // cheapest replacement.
  constexpr std::int64_t kNone = INT64_MAX;
  std::fill(_repl, _repl + _m, kNone);
  for (int k = 0; k < _m; ++k) {
    if (_inTree[k] || _e[k]->getMax() < 1) continue;
    int u = _from[k], v = _to[k];
    std::int64_t swap = INT64_MIN;  // the heaviest unchosen tree edge on the path
    while (u != v) {
      int& deeper = _depth[u] >= _depth[v] ? u : v;
      const int t = _parentEdge[deeper];
      if (_e[t]->getMin() < 1) {
        swap = std::max<std::int64_t>(swap, _w[t]);
        _repl[t] = std::min<std::int64_t>(_repl[t], _w[k]);
      }
      deeper = _parent[deeper];
    }
    if (swap == INT64_MIN || lightest + _w[k] - swap > zmax) {
      narrowed = true;
      if (_e[k]->bind(0) == NuvCPFailure) return NuvCPFailure;
    }
  }
  for (int k = 0; k < _m; ++k) {
    if (!_inTree[k] || _e[k]->getMin() >= 1) continue;
    if (_repl[k] == kNone || lightest - _w[k] + _repl[k] > zmax) {
      narrowed = true;
      if (_e[k]->bind(1) == NuvCPFailure) return NuvCPFailure;
    }
  }
  return bound && !narrowed ? NuvCPSuccess : NuvCPSuspend;
}

int NuvCPSpanningTreeI::post(int) {
  if (!ok()) return NuvCPFailure;
  for (int k = 0; k < _m; ++k) {
    if (_e[k]->updateMin(0) == NuvCPFailure || _e[k]->updateMax(1) == NuvCPFailure) return NuvCPFailure;
    if (_from[k] == _to[k] && _e[k]->bind(0) == NuvCPFailure) return NuvCPFailure;  // a loop is never in a tree
  }
  for (int k = 0; k < _m; ++k)
    if (!_e[k]->isBound()) _e[k]->addBounds(this);
  if (!_z->isBound()) _z->addBounds(this);
  return propagate();
}
