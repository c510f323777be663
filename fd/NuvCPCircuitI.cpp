#include "fd/NuvCPCircuitI.h"

#include <algorithm>
#include <ostream>

#include "fd/NuvCPAllDiffI.h"
#include "fd/NuvCPIntMath.h"
#include "fd/NuvCPManagerI.h"

namespace {
constexpr std::int32_t kUnvisited = -1, kOnPath = -2;
}  // namespace

NuvCPCircuitI::NuvCPCircuitI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* x, int low, Kind kind)
    : NuvCPCstrI(store, 2, false), _n(n), _low(low), _kind(kind) {
  if (n == 0) return;
  PimAllocator* a = store->allocator();
  _x = nuvCPCopyVars(a, n, x);
  auto* w = a->allocateArray<std::int32_t>(9 * static_cast<std::size_t>(n));
  if (!_x || !w || std::int64_t{low} + n >= INT32_MAX) return;
  _root = w;
  _size = _root + n;
  _need = _size + n;
  _stack = _need + n;
  _order = _stack + n;
  _lowlink = _order + n;
  _comp = _lowlink + n;
  _iter = _comp + n;
  _open = _iter + n;
  _scratch = w;
}

void NuvCPCircuitI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  for (int i = 0; _x && i < _n; ++i) m.mark(_x[i]);
}

void NuvCPCircuitI::print(std::ostream& os) const {
  // Print forms begin with the class name, which names the handle.
  static const char* const names[] = {"circuit", "subcircuit", "NoCycle"};
  os << names[_kind] << "(" << _n << " successors from " << _low << ")";
  printStatus(os);
}

int NuvCPCircuitI::successor(int i) const {
  if (!_x[i]->isBound()) return -1;
  const std::int64_t j = std::int64_t{_x[i]->getMin()} - _low;
  return j >= 0 && j < _n ? static_cast<int>(j) : -1;
}

// The bound links, followed from every node to the root of its tree (a
// node without a bound successor inside the graph); cycles among them are
// checked, then each unbound root is kept from closing a cycle it may not.
int NuvCPCircuitI::chains(bool& narrowed) {
  const int n = _n;
  const bool sub = _kind == Subcircuit;
  std::fill(_root, _root + n, kUnvisited);
  int cycle = -1;  // a node of the closed cycle of a subcircuit (or a circuit)
  for (int i = 0; i < n; ++i) {
    int top = 0, t = i;
    // Walk until a node whose root is known, a root, or the walk itself.
    while (_root[t] == kUnvisited) {
      const int s = successor(t);
      if (s < 0 || (sub && s == t)) break;
      _root[t] = kOnPath;
      _stack[top++] = t;
      t = s;
    }
    int r;
    if (_root[t] == kOnPath) {
      // A cycle of bound links through t.
      int length = 0;
      for (int k = top - 1; k >= 0; --k) {
        ++length;
        if (_stack[k] == t) break;
      }
      if (_kind == NoCycle || (_kind == Circuit && length < n) || (sub && cycle >= 0)) return NuvCPFailure;
      cycle = t;
      r = t;
      // The cycle's nodes are their own tree; its root is a node of it.
    } else {
      r = _root[t] == kUnvisited ? t : _root[t];
      _root[t] = r;
    }
    while (top > 0) _root[_stack[--top]] = r;
  }
  if (_kind == Circuit && cycle >= 0) return NuvCPSuspend;  // every node is on it
  // Tree sizes, the nodes that must be in (subcircuit), and which nodes
  // have a linked predecessor (_iter as a flag).
  std::fill(_size, _size + n, 0);
  std::fill(_need, _need + n, 0);
  std::fill(_iter, _iter + n, 0);
  int required = 0;
  for (int i = 0; i < n; ++i) {
    ++_size[_root[i]];
    const int s = successor(i);
    if (s >= 0 && !(sub && s == i)) {
      if (_iter[s] && _kind != NoCycle) return NuvCPFailure;  // two predecessors
      _iter[s] = 1;
    }
    if (sub && !_x[i]->member(_low + i)) {
      ++required;
      ++_need[_root[i]];
    }
  }
  if (sub && cycle >= 0) {
    // The closed cycle is the circuit: every other node is out.
    const int c = _root[cycle];
    for (int i = 0; i < n; ++i)
      if (_root[i] != c) {
        if (!_x[i]->isBound()) narrowed = true;
        if (_x[i]->bind(_low + i) == NuvCPFailure) return NuvCPFailure;
      }
    return NuvCPSuspend;
  }
  // Each tree's members, as lists threaded through _order (heads in
  // _lowlink).
  std::fill(_lowlink, _lowlink + n, -1);
  for (int i = 0; i < n; ++i) {
    _order[i] = _lowlink[_root[i]];
    _lowlink[_root[i]] = i;
  }
  for (int e = 0; e < n; ++e) {
    if (_root[e] != e || _x[e]->isBound()) continue;
    NuvCPIntVarI* x = _x[e];
    if (sub && _size[e] == 1) continue;  // a lone node may stay out or link on
    if (sub && x->member(_low + e)) {
      narrowed = true;
      if (x->removeValue(_low + e) == NuvCPFailure) return NuvCPFailure;
    }
    if (_kind == Circuit && _size[e] == n) continue;  // closing it is the circuit
    for (int s = _lowlink[e]; s >= 0; s = _order[s]) {
      if (!x->member(_low + s)) continue;
      // A subcircuit may close its chain from the start when the chain
      // holds every node that must be in.
      if (sub && !_iter[s] && _need[e] == required && s != e) continue;
      narrowed = true;
      if (x->removeValue(_low + s) == NuvCPFailure) return NuvCPFailure;
    }
  }
  return NuvCPSuspend;
}

// Tarjan's components of the graph of the domains (self-links left out),
// walked iteratively; _iter holds each node's next value to try.
int NuvCPCircuitI::components(bool& narrowed) {
  const int n = _n;
  std::fill(_order, _order + n, -1);
  std::fill(_comp, _comp + n, -1);
  int counter = 0, comps = 0, open = 0;
  // Successors lie within low..low + n - 1 (< INT32_MAX, see ok()), so a
  // cursor one past the maximum cannot overflow.
  auto next = [&](int u) -> int {
    const NuvCPIntVarI* x = _x[u];
    const int max = x->getMax();
    while (_iter[u] <= max) {
      const int value = _iter[u];
      _iter[u] = value == max ? value + 1 : x->nextValue(value);
      const int j = value - _low;
      if (j != u && x->member(value)) return j;
    }
    return -1;
  };
  for (int r = 0; r < n; ++r) {
    if (_order[r] >= 0) continue;
    int depth = 0;
    _stack[depth++] = r;
    _order[r] = _lowlink[r] = counter++;
    _iter[r] = _x[r]->getMin();
    _open[open++] = r;
    while (depth > 0) {
      const int u = _stack[depth - 1];
      const int w = next(u);
      if (w >= 0) {
        if (_order[w] < 0) {
          _order[w] = _lowlink[w] = counter++;
          _iter[w] = _x[w]->getMin();
          _open[open++] = w;
          _stack[depth++] = w;
        } else if (_comp[w] < 0) {
          _lowlink[u] = std::min(_lowlink[u], _order[w]);
        }
        continue;
      }
      --depth;
      if (_lowlink[u] == _order[u]) {
        int v;
        do {
          v = _open[--open];
          _comp[v] = comps;
        } while (v != u);
        ++comps;
      }
      if (depth > 0) {
        const int p = _stack[depth - 1];
        _lowlink[p] = std::min(_lowlink[p], _lowlink[u]);
      }
    }
  }
  if (comps == 1) return NuvCPSuspend;
  if (_kind == Circuit) return NuvCPFailure;
  // Subcircuit: the nodes that must be in share one component; the rest
  // are out; no link crosses components.
  int home = -1;
  for (int i = 0; i < n; ++i)
    if (!_x[i]->member(_low + i)) {
      if (home >= 0 && _comp[i] != home) return NuvCPFailure;
      home = _comp[i];
    }
  for (int i = 0; i < n; ++i) {
    NuvCPIntVarI* x = _x[i];
    if (home >= 0 && _comp[i] != home) {
      if (!x->isBound()) narrowed = true;
      if (x->bind(_low + i) == NuvCPFailure) return NuvCPFailure;
      continue;
    }
    int r = NuvCPSuspend;
    nuvCPForEachValue(x, [&](int value) {
      const std::int64_t j = std::int64_t{value} - _low;
      if (j >= 0 && j < n && j != i && _comp[j] != _comp[i]) {
        narrowed = true;
        r = x->removeValue(value);
      }
      return r != NuvCPFailure;
    });
    if (r == NuvCPFailure) return NuvCPFailure;
  }
  return NuvCPSuspend;
}

int NuvCPCircuitI::propagate() {
  if (_n == 0) return NuvCPSuccess;
  bool bound = true;
  for (int i = 0; i < _n && bound; ++i) bound = _x[i]->isBound();
  bool narrowed = false;
  if (chains(narrowed) == NuvCPFailure) return NuvCPFailure;
  if (_kind != NoCycle && components(narrowed) == NuvCPFailure) return NuvCPFailure;
  return bound && !narrowed ? NuvCPSuccess : NuvCPSuspend;
}

int NuvCPCircuitI::post(int level) {
  if (!ok()) return NuvCPFailure;
  if (_n == 0) return NuvCPSuccess;
  if (_kind != NoCycle) {
    const int high = nuvCPClampInt(std::int64_t{_low} + _n - 1);
    for (int i = 0; i < _n; ++i) {
      if (_x[i]->updateMin(_low) == NuvCPFailure || _x[i]->updateMax(high) == NuvCPFailure) return NuvCPFailure;
      if (_kind == Circuit && _n > 1 && _x[i]->removeValue(_low + i) == NuvCPFailure) return NuvCPFailure;
    }
    NuvCPCstrI* alldiff = nuvCPNewAllDiff(store(), _low, _n, _x, NuvCPAllDiffStrength::Default);
    if (!alldiff || store()->post(alldiff, level) == NuvCPFailure) return NuvCPFailure;
  } else {
    for (int i = 0; i < _n; ++i)
      if (_x[i]->removeValue(_low + i) == NuvCPFailure) return NuvCPFailure;
  }
  for (int i = 0; i < _n; ++i)
    if (!_x[i]->isBound()) _x[i]->addDomain(this);
  return propagate();
}
