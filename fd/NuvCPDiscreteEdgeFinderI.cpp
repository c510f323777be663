#include "fd/NuvCPDiscreteEdgeFinderI.h"

#include <algorithm>
#include <ostream>

#include "fd/NuvCPIntMath.h"
#include "fd/NuvCPManagerI.h"

namespace {

constexpr std::int64_t kMinusInf = INT64_MIN / 4;
constexpr std::int64_t kNone = INT64_MIN;
// Envelopes stay below this: C * horizon and the total energy each fit.
constexpr std::int64_t kLimit = std::int64_t{1} << 60;


}  // namespace

NuvCPDiscreteEdgeFinderI::NuvCPDiscreteEdgeFinderI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* s,
                                                   NuvCPIntVarI* const* d, NuvCPIntVarI* const* r,
                                                   NuvCPIntVarI* c, NuvCPIntVarI* const* present)
    : NuvCPCstrI(store, 2, false), _n(n), _c(c) {
  PimAllocator* a = store->allocator();
  _s = nuvCPCopyVars(a, n, s);
  _d = nuvCPCopyVars(a, n, d);
  _r = nuvCPCopyVars(a, n, r);
  if (present) _p = nuvCPCopyVars(a, n, present);
  if (n == 0 || !_s || !_d || !_r || (present && !_p)) return;
  const auto un = static_cast<std::size_t>(n);
  std::size_t size = 1;
  while (size < un) size *= 2;
  _size = static_cast<std::int32_t>(size);
  const std::size_t bytes = 2 * size * sizeof(Node) + 5 * un * sizeof(std::int64_t) +
                            3 * un * sizeof(std::int32_t) + un;
  auto* p = static_cast<unsigned char*>(a->allocate(bytes));
  if (!p) return;
  _scratch = p;
  _tree = reinterpret_cast<Node*>(p);
  p += 2 * size * sizeof(Node);
  for (std::int64_t** arr : {&_est, &_lct, &_dur, &_dem, &_prec}) {
    *arr = reinterpret_cast<std::int64_t*>(p);
    p += un * sizeof(std::int64_t);
  }
  for (std::int32_t** arr : {&_byEst, &_byLct, &_leaf}) {
    *arr = reinterpret_cast<std::int32_t*>(p);
    p += un * sizeof(std::int32_t);
  }
  _state = reinterpret_cast<std::int8_t*>(p);
  for (int i = 0; i < n; ++i) _byEst[i] = _byLct[i] = i;
}

void NuvCPDiscreteEdgeFinderI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  m.mark(_c);
  for (int i = 0; i < _n && _s && _d && _r; ++i) {
    m.mark(_s[i]);
    m.mark(_d[i]);
    m.mark(_r[i]);
    if (_p) m.mark(_p[i]);
  }
}

void NuvCPDiscreteEdgeFinderI::print(std::ostream& os) const { os << "Discrete Edge Finder"; }

void NuvCPDiscreteEdgeFinderI::setLeaf(int i, int colour) {
  int k = _leaf[i];
  const std::int64_t e = _dem[i] * _dur[i], env = _cap * _est[i] + e;
  if (colour == 1)
    _tree[k] = {e, env, e, env, -1, -1};
  else if (colour == 2)
    _tree[k] = {0, kMinusInf, e, env, i, i};
  else
    _tree[k] = {0, kMinusInf, 0, kMinusInf, -1, -1};
  for (k /= 2; k >= 1; k /= 2) {
    const Node& l = _tree[2 * k];
    const Node& r = _tree[2 * k + 1];
    Node& v = _tree[k];
    v.e = l.e + r.e;
    v.env = std::max(l.env + r.e, r.env);
    if (l.eBar + r.e >= l.e + r.eBar) {
      v.eBar = l.eBar + r.e;
      v.respE = l.respE;
    } else {
      v.eBar = l.e + r.eBar;
      v.respE = r.respE;
    }
    v.envBar = r.envBar;
    v.respEnv = r.respEnv;
    if (l.env + r.eBar > v.envBar) {
      v.envBar = l.env + r.eBar;
      v.respEnv = r.respE;
    }
    if (l.envBar + r.e > v.envBar) {
      v.envBar = l.envBar + r.e;
      v.respEnv = l.respEnv;
    }
  }
}

std::int64_t NuvCPDiscreteEdgeFinderI::adjust(int i, std::int64_t lct) const {
  // Ω: the present tasks other than i completing by lct that start at est
  // or later, for each est in decreasing order.
  const std::int64_t c = _dem[i];
  std::int64_t energy = 0, best = kMinusInf;
  for (int k = _n - 1; k >= 0; --k) {
    const int t = _byEst[k];
    if (t == i || _state[t] != 1 || _lct[t] > lct) continue;
    energy += _dem[t] * _dur[t];
    const std::int64_t rest = energy - (_cap - c) * (lct - _est[t]);
    if (rest > 0) best = std::max(best, _est[t] + nuvCPCeilDiv(rest, c));
  }
  return best;
}

int NuvCPDiscreteEdgeFinderI::direction(bool mirrored) {
  _cap = _c->getMax();
  if (_cap <= 0) return NuvCPSuspend;  // time-tabling's case
  std::int64_t base = INT64_MAX, top = INT64_MIN, energy = 0;
  int count = 0;
  for (int i = 0; i < _n; ++i) {
    const std::int64_t p = std::max(0, _d[i]->getMin()), c = std::max(0, _r[i]->getMin());
    const int st = presence(i);
    _state[i] = static_cast<std::int8_t>(p == 0 || c == 0 || st < 0 ? -1 : st);
    const std::int64_t est = _s[i]->getMin(), lct = std::int64_t{_s[i]->getMax()} + p;
    _est[i] = mirrored ? -lct : est;
    _lct[i] = mirrored ? -est : lct;
    _dur[i] = p;
    _dem[i] = c;
    _prec[i] = kNone;
    if (_state[i] < 0) continue;
    ++count;
    base = std::min(base, _est[i]);
    top = std::max(top, _lct[i]);
    energy += p * c;
  }
  if (count < 2) return NuvCPSuspend;
  // Times from the smallest earliest start, so that C * time stays small.
  if (top - base > kLimit / _cap || energy > kLimit) return NuvCPSuspend;
  for (int i = 0; i < _n; ++i) {
    _est[i] -= base;
    _lct[i] -= base;
  }
  std::sort(_byEst, _byEst + _n, [&](int a, int b) { return _est[a] < _est[b]; });
  std::sort(_byLct, _byLct + _n, [&](int a, int b) { return _lct[a] < _lct[b]; });
  const Node empty{0, kMinusInf, 0, kMinusInf, -1, -1};
  for (int k = 1; k < 2 * _size; ++k) _tree[k] = empty;
  for (int k = 0; k < _n; ++k) _leaf[_byEst[k]] = _size + k;
  for (int i = 0; i < _n; ++i)
    if (_state[i] >= 0) setLeaf(i, _state[i] == 1 ? 1 : 2);
  // Detection: Θ (white) loses its tasks by decreasing lct, each turning
  // gray; a gray task that would overload Θ ends after all of it.
  for (int k = _n - 1; k >= 0; --k) {
    const int j = _byLct[k];
    if (_state[j] != 1) continue;
    const std::int64_t bound = _cap * _lct[j];
    if (_tree[1].env > bound) return NuvCPFailure;
    while (_tree[1].envBar > bound) {
      const int g = _tree[1].respEnv;
      if (g < 0) break;
      _prec[g] = _lct[j];
      setLeaf(g, 0);
    }
    setLeaf(j, 2);
  }
  // Adjustment, then the new bounds through the variables.
  for (int i = 0; i < _n; ++i) {
    if (_prec[i] == kNone || _state[i] < 0) continue;
    const std::int64_t est = adjust(i, _prec[i]);
    if (est <= _est[i]) continue;
    if (_state[i] == 0) {
      if (est + _dur[i] > _lct[i] && _p[i]->updateMax(0) == NuvCPFailure) return NuvCPFailure;
      continue;
    }
    const std::int64_t real = est + base;
    const int r = mirrored ? _s[i]->updateMax(nuvCPClampInt(-real - _dur[i]))
                           : _s[i]->updateMin(nuvCPClampInt(real));
    if (r == NuvCPFailure) return NuvCPFailure;
  }
  return NuvCPSuspend;
}

int NuvCPDiscreteEdgeFinderI::propagate() {
  if (direction(false) == NuvCPFailure) return NuvCPFailure;
  return direction(true);
}

int NuvCPDiscreteEdgeFinderI::post(int) {
  if (!ok()) return NuvCPFailure;
  if (_n < 2) return NuvCPSuccess;
  // Subscribed before the first run, so that the run's own changes queue
  // it again.
  _c->addMax(this);
  for (int i = 0; i < _n; ++i) {
    if (!_s[i]->isBound()) _s[i]->addBounds(this);
    if (!_d[i]->isBound()) _d[i]->addMin(this);
    if (!_r[i]->isBound()) _r[i]->addMin(this);
    if (_p && !_p[i]->isBound()) _p[i]->addBind(this);
  }
  return propagate();
}
