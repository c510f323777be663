#include "fd/NuvCPUnaryI.h"

#include <algorithm>
#include <ostream>

#include "fd/NuvCPIntMath.h"
#include "fd/NuvCPManagerI.h"

namespace {

// Far below every time the tasks can have, yet safe to add durations to.
constexpr std::int64_t kMinusInf = INT64_MIN / 4;


// Insertion sort of `order` by key(i), ascending: the order left by the
// last run is nearly right, so this is close to linear.
template <class Key>
void sortBy(std::int32_t* order, int n, Key key) {
  for (int k = 1; k < n; ++k) {
    const std::int32_t t = order[k];
    const std::int64_t kt = key(t);
    int m = k;
    for (; m > 0 && key(order[m - 1]) > kt; --m) order[m] = order[m - 1];
    order[m] = t;
  }
}

}  // namespace

NuvCPUnaryResourceI::NuvCPUnaryResourceI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* s,
                                         NuvCPIntVarI* const* d, NuvCPIntVarI* const* present,
                                         bool strict)
    : NuvCPCstrI(store, 3, true), _n(n), _strict(strict) {
  PimAllocator* a = store->allocator();
  _s = nuvCPCopyVars(a, n, s);
  _d = nuvCPCopyVars(a, n, d);
  _present = nuvCPCopyVars(a, n, present);
  if (n == 0 || !_s || !_d || (present && !_present)) return;
  const auto un = static_cast<std::size_t>(n);
  std::size_t size = 1;
  while (size < un) size *= 2;
  _size = static_cast<std::int32_t>(size);
  const std::size_t bytes = 2 * (5 * un * sizeof(std::int64_t) + 4 * un * sizeof(std::int32_t)) +
                            2 * size * sizeof(Node) + un * sizeof(State) +
                            un * sizeof(std::int32_t) + un;
  void* block = a->allocate(bytes + alignof(Node));
  if (!block) return;
  // Nodes first (8-byte aligned), then the 64-bit arrays, then the rest.
  auto* p = static_cast<unsigned char*>(block);
  _tree = reinterpret_cast<Node*>(p);
  p += 2 * size * sizeof(Node);
  for (View& v : _views) {
    std::int64_t* q = reinterpret_cast<std::int64_t*>(p);
    v.est = q;
    v.lct = q + un;
    v.p = q + 2 * un;
    v.newEst = q + 3 * un;
    v.newLct = q + 4 * un;
    p += 5 * un * sizeof(std::int64_t);
  }
  for (View& v : _views) {
    std::int32_t* q = reinterpret_cast<std::int32_t*>(p);
    v.byEst = q;
    v.byLct = q + un;
    v.byLst = q + 2 * un;
    v.byEct = q + 3 * un;
    for (int i = 0; i < n; ++i) v.byEst[i] = v.byLct[i] = v.byLst[i] = v.byEct[i] = i;
    p += 4 * un * sizeof(std::int32_t);
  }
  _leaf = reinterpret_cast<std::int32_t*>(p);
  p += un * sizeof(std::int32_t);
  _state = reinterpret_cast<State*>(p);
  p += un * sizeof(State);
  _colour = p;
  _scratch = block;
}

void NuvCPUnaryResourceI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  for (int i = 0; i < _n && _s && _d; ++i) {
    m.mark(_s[i]);
    m.mark(_d[i]);
    if (_present) m.mark(_present[i]);
  }
}

void NuvCPUnaryResourceI::print(std::ostream& os) const {
  os << "UnaryResource(" << _n << " tasks" << (_present ? ", optional" : "")
     << (_strict ? ", strict" : "") << ")";
}

void NuvCPEdgeFinderOptionalI::print(std::ostream& os) const { os << "EdgeFinderOptional"; }

// ---- the Θ-Λ tree ---------------------------------------------------------------
//
// Leaves hold the tasks in est order (positions _size .. _size + n - 1), an
// inner node k combines its children 2k and 2k + 1. An empty leaf is the
// neutral element.

void NuvCPUnaryResourceI::combine(int k) {
  const Node& l = _tree[2 * k];
  const Node& r = _tree[2 * k + 1];
  Node& v = _tree[k];
  v.sumP = l.sumP + r.sumP;
  v.ect = std::max(r.ect, l.ect + r.sumP);
  if (l.sumPBar + r.sumP >= l.sumP + r.sumPBar) {
    v.sumPBar = l.sumPBar + r.sumP;
    v.respP = l.respP;
  } else {
    v.sumPBar = l.sumP + r.sumPBar;
    v.respP = r.respP;
  }
  v.ectBar = r.ectBar;
  v.respEct = r.respEct;
  if (l.ect + r.sumPBar > v.ectBar) {
    v.ectBar = l.ect + r.sumPBar;
    v.respEct = r.respP;
  }
  if (l.ectBar + r.sumP > v.ectBar) {
    v.ectBar = l.ectBar + r.sumP;
    v.respEct = l.respEct;
  }
}

void NuvCPUnaryResourceI::update(int k) {
  if (_thetaOnly) {
    for (k /= 2; k >= 1; k /= 2) {
      const Node& l = _tree[2 * k];
      const Node& r = _tree[2 * k + 1];
      _tree[k].sumP = l.sumP + r.sumP;
      _tree[k].ect = std::max(r.ect, l.ect + r.sumP);
    }
    return;
  }
  for (k /= 2; k >= 1; k /= 2) combine(k);
}

std::int64_t NuvCPUnaryResourceI::ectWithout(int i) const {
  // The root's ect with i's leaf read as empty, without touching the tree.
  std::int64_t sumP = 0, ect = kMinusInf;
  for (int k = _leaf[i]; k > 1; k /= 2) {
    const Node& sib = _tree[k ^ 1];
    if (k & 1) {  // right child: the sibling's tasks come first
      ect = std::max(ect, sib.ect + sumP);
    } else {
      ect = std::max(sib.ect, ect + sib.sumP);
    }
    sumP += sib.sumP;
  }
  return ect;
}

void NuvCPUnaryResourceI::clearTree(const View& v, bool thetaOnly) {
  const Node empty{0, kMinusInf, 0, kMinusInf, -1, -1};
  _thetaOnly = thetaOnly;
  for (int k = 1; k < 2 * _size; ++k) _tree[k] = empty;
  for (int k = 0; k < _n; ++k) {
    _leaf[v.byEst[k]] = _size + k;
    _colour[k] = 0;
  }
}

void NuvCPUnaryResourceI::fillLeaf(int i, int colour, const View& v) {
  Node& leaf = _tree[_leaf[i]];
  _colour[i] = static_cast<std::uint8_t>(colour);
  const std::int64_t e = v.est[i] + v.p[i];
  if (colour == 1)
    leaf = {v.p[i], e, v.p[i], e, -1, -1};
  else if (colour == 2)
    leaf = {0, kMinusInf, v.p[i], e, i, i};
  else
    leaf = {0, kMinusInf, 0, kMinusInf, -1, -1};
}

void NuvCPUnaryResourceI::setLeaf(int i, int colour, const View& v) {
  fillLeaf(i, colour, v);
  update(_leaf[i]);
}

// ---- the view -------------------------------------------------------------------

void NuvCPUnaryResourceI::readView(View& v, bool mirrored) {
  _anyOptional = false;
  for (int i = 0; i < _n; ++i) {
    const std::int64_t p = std::max(0, _d[i]->getMin());
    const std::int64_t est = _s[i]->getMin(), lct = std::int64_t{_s[i]->getMax()} + p;
    v.p[i] = p;
    v.est[i] = mirrored ? -lct : est;
    v.lct[i] = mirrored ? -est : lct;
    v.newEst[i] = v.est[i];
    v.newLct[i] = v.lct[i];
    State st = kPresent;
    if (_present) st = _present[i]->getMin() > 0 ? kPresent : _present[i]->getMax() > 0 ? kOptional : kAbsent;
    // Without strictness a task of duration 0 may sit anywhere: while its
    // duration may be 0 it takes no part.
    if (!_strict && p == 0) st = kAbsent;
    _state[i] = st;
    _anyOptional = _anyOptional || st == kOptional;
  }
  sortBy(v.byEst, _n, [&](int i) { return v.est[i]; });
  sortBy(v.byLct, _n, [&](int i) { return v.lct[i]; });
  sortBy(v.byLst, _n, [&](int i) { return v.lct[i] - v.p[i]; });
  sortBy(v.byEct, _n, [&](int i) { return v.est[i] + v.p[i]; });
}

int NuvCPUnaryResourceI::exclude(int i) {
  _state[i] = kAbsent;
  _excluded = true;
  return _present[i]->updateMax(0);
}

// Θ grows by latest completion: the present tasks must fit before lct;
// an optional task that cannot join them without overload is absent.
int NuvCPUnaryResourceI::overload(View& v) {
  clearTree(v, false);
  for (int k = 0; k < _n; ++k) {
    const int j = v.byLct[k];
    if (_state[j] == kAbsent) continue;
    setLeaf(j, _state[j] == kPresent ? 1 : 2, v);
    const std::int64_t lct = v.lct[j];
    if (ect() > lct) return NuvCPFailure;
    while (_tree[1].ectBar > lct) {
      const int g = _tree[1].respEct;
      if (g < 0) break;
      if (exclude(g) == NuvCPFailure) return NuvCPFailure;
      setLeaf(g, 0, v);
    }
  }
  return NuvCPSuspend;
}

// j precedes i when i cannot end before j must start (ect_i > lst_j): i
// starts after the earliest completion of all such present j.
void NuvCPUnaryResourceI::detectablePrecedences(View& v) {
  clearTree(v, true);
  int q = 0;
  for (int k = 0; k < _n; ++k) {
    const int i = v.byEct[k];
    if (_state[i] == kAbsent) continue;
    const std::int64_t ecti = v.est[i] + v.p[i];
    for (; q < _n && ecti > v.lct[v.byLst[q]] - v.p[v.byLst[q]]; ++q) {
      const int j = v.byLst[q];
      if (_state[j] == kPresent) setLeaf(j, 1, v);
    }
    v.newEst[i] = std::max(v.newEst[i], white(i) ? ectWithout(i) : ect());
  }
}

// Not-last: when the present tasks that must start before i ends (lst_j <
// lct_i) cannot all end before i's latest start, i is not last among them
// and ends by the latest start of one of them.
void NuvCPUnaryResourceI::notLast(View& v) {
  clearTree(v, true);
  int q = 0, last = -1;
  for (int k = 0; k < _n; ++k) {
    const int i = v.byLct[k];
    if (_state[i] == kAbsent) continue;
    for (; q < _n && v.lct[i] > v.lct[v.byLst[q]] - v.p[v.byLst[q]]; ++q) {
      const int j = v.byLst[q];
      if (_state[j] == kPresent) {
        setLeaf(j, 1, v);
        last = j;
      }
    }
    // last is the member with the largest latest start; when it is i
    // itself, its latest start still bounds the others' from above.
    if ((white(i) ? ectWithout(i) : ect()) > v.lct[i] - v.p[i])
      v.newLct[i] = std::min(v.newLct[i], v.lct[last] - v.p[last]);
  }
}

// Θ shrinks by latest completion, each task leaving Θ turning gray: a gray
// task that cannot join Θ before lct(Θ) comes after all of Θ. Optional
// tasks are gray from the start.
int NuvCPUnaryResourceI::edgeFinding(View& v) {
  clearTree(v, false);
  for (int i = 0; i < _n; ++i)
    if (_state[i] != kAbsent) fillLeaf(i, _state[i] == kPresent ? 1 : 2, v);
  for (int k = _size - 1; k >= 1; --k) combine(k);
  for (int k = _n - 1; k >= 0; --k) {
    const int j = v.byLct[k];
    if (_state[j] != kPresent || !white(j)) continue;
    const std::int64_t lct = v.lct[j];
    if (ect() > lct) return NuvCPFailure;
    while (_tree[1].ectBar > lct) {
      const int g = _tree[1].respEct;
      if (g < 0) break;
      if (_state[g] == kPresent) {
        v.newEst[g] = std::max(v.newEst[g], ect());
      } else if (ect() + v.p[g] > v.lct[g]) {
        if (exclude(g) == NuvCPFailure) return NuvCPFailure;
      }
      setLeaf(g, 0, v);
    }
    setLeaf(j, 2, v);
  }
  return NuvCPSuspend;
}

// Writes the view's results back: new earliest starts and latest
// completions of present tasks through their start variables; an optional
// task left without room is made absent instead.
int NuvCPUnaryResourceI::apply(View& v, bool mirrored, bool& changed) {
  for (int i = 0; i < _n; ++i) {
    if (_state[i] == kAbsent) continue;
    if (v.newEst[i] == v.est[i] && v.newLct[i] == v.lct[i]) continue;
    if (_state[i] == kOptional) {
      if (v.newEst[i] + v.p[i] > v.newLct[i]) {
        if (exclude(i) == NuvCPFailure) return NuvCPFailure;
        changed = true;
      }
      continue;
    }
    // Forward: est is the start's minimum, lct - p its maximum; mirrored,
    // est = -(max + p) and lct = -min.
    const std::int64_t lo = mirrored ? -v.newLct[i] : v.newEst[i];
    const std::int64_t hi = mirrored ? -v.newEst[i] - v.p[i] : v.newLct[i] - v.p[i];
    NuvCPIntVarI* s = _s[i];
    if (lo > s->getMin()) {
      if (s->updateMin(nuvCPClampInt(lo)) == NuvCPFailure) return NuvCPFailure;
      changed = true;
    }
    if (hi < s->getMax()) {
      if (s->updateMax(nuvCPClampInt(hi)) == NuvCPFailure) return NuvCPFailure;
      changed = true;
    }
  }
  return NuvCPSuspend;
}

int NuvCPUnaryResourceI::round(bool mirrored, bool& changed) {
  View& v = _views[mirrored ? 1 : 0];
  readView(v, mirrored);
  // Edge finding checks the present tasks for overload too; the rule of
  // its own is needed only to rule optional tasks out.
  if (_anyOptional && overload(v) == NuvCPFailure) return NuvCPFailure;
  detectablePrecedences(v);
  notLast(v);
  if (edgeFinding(v) == NuvCPFailure) return NuvCPFailure;
  return apply(v, mirrored, changed);
}

int NuvCPUnaryResourceI::propagate() {
  if (_n < 2) return NuvCPSuccess;
  // Views alternate until both have run on the same bounds without
  // narrowing a start or making a task absent.
  bool mirrored = false;
  for (int unchanged = 0; unchanged < 2; mirrored = !mirrored) {
    bool changed = false;
    _excluded = false;
    if (round(mirrored, changed) == NuvCPFailure) return NuvCPFailure;
    unchanged = changed || _excluded ? 0 : unchanged + 1;
  }
  for (int i = 0; i < _n; ++i) {
    if (_present && _present[i]->getMax() == 0) continue;
    if (!_s[i]->isBound() || !_d[i]->isBound() || (_present && !_present[i]->isBound()))
      return NuvCPSuspend;
  }
  return NuvCPSuccess;
}

int NuvCPUnaryResourceI::post(int) {
  if (!ok()) return NuvCPFailure;
  for (int i = 0; i < _n; ++i)
    if (_d[i]->updateMin(0) == NuvCPFailure) return NuvCPFailure;
  if (_n < 2) return NuvCPSuccess;
  const int r = propagate();
  if (r != NuvCPSuspend) return r;
  for (int i = 0; i < _n; ++i) {
    if (!_s[i]->isBound()) _s[i]->addBounds(this);
    if (!_d[i]->isBound()) _d[i]->addMin(this);
    if (_present && !_present[i]->isBound()) _present[i]->addBind(this);
  }
  return NuvCPSuspend;
}
