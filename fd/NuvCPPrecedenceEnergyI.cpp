#include "fd/NuvCPPrecedenceEnergyI.h"

#include <algorithm>
#include <ostream>

#include "fd/NuvCPCIntVarI.h"
#include "fd/NuvCPIntMath.h"
#include "fd/NuvCPManagerI.h"
#include "fd/NuvCPTimeTableI.h"

NuvCPPrecedenceEnergyI::NuvCPPrecedenceEnergyI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* s,
                                               NuvCPIntVarI* const* d, NuvCPIntVarI* const* r, int capacity, int m,
                                               const int* from, const int* to)
    : NuvCPCstrI(store, 2, false), _n(n), _m(m), _capacity(capacity) {
  PimAllocator* a = store->allocator();
  _s = nuvCPCopyVars(a, n, s);
  _d = nuvCPCopyVars(a, n, d);
  _r = nuvCPCopyVars(a, n, r);
  if (n == 0 || !_s || !_d || !_r || capacity <= 0) return;
  const auto un = static_cast<std::size_t>(n);
  _words = (un + 63) / 64;
  void* mem = a->allocate(2 * un * _words * sizeof(std::uint64_t) + un * sizeof(Item));
  if (!mem) return;
  _pred = static_cast<std::uint64_t*>(mem);
  _succ = _pred + un * _words;
  _items = reinterpret_cast<Item*>(_succ + un * _words);
  std::fill(_pred, _pred + 2 * un * _words, std::uint64_t{0});
  for (int k = 0; k < m; ++k)
    _pred[static_cast<std::size_t>(to[k]) * _words + static_cast<std::size_t>(from[k]) / 64] |=
        std::uint64_t{1} << (from[k] % 64);
  // Transitive closure (Warshall, a row at a time): whoever precedes k
  // precedes everything k precedes.
  for (std::size_t k = 0; k < un; ++k)
    for (std::size_t j = 0; j < un; ++j)
      if ((_pred[j * _words + k / 64] >> (k % 64)) & 1)
        for (std::size_t w = 0; w < _words; ++w) _pred[j * _words + w] |= _pred[k * _words + w];
  for (std::size_t j = 0; j < un; ++j)
    for (std::size_t i = 0; i < un; ++i)
      if ((_pred[j * _words + i / 64] >> (i % 64)) & 1) _succ[i * _words + j / 64] |= std::uint64_t{1} << (j % 64);
  auto* c = nuvCPNew<NuvCPCIntVarI>(a, a, store, capacity, capacity);
  if (c) _resource = nuvCPNew<NuvCPTimeTableI>(a, store, n, _s, _d, _r, c);
  if (_resource && _resource->ok()) _scratch = mem;
}

void NuvCPPrecedenceEnergyI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  if (_resource) m.mark(_resource);
  for (NuvCPIntVarI** a : {_s, _d, _r})
    for (int i = 0; a && i < _n; ++i) m.mark(a[i]);
}

void NuvCPPrecedenceEnergyI::print(std::ostream& os) const {
  os << "PEA(" << _n << " activities, " << _m << " arcs, capacity " << _capacity << ")";
  printStatus(os);
}

int NuvCPPrecedenceEnergyI::forward(int j) {
  int k = 0;
  std::int64_t bound = INT64_MIN;
  for (std::size_t w = 0; w < _words; ++w)
    for (std::uint64_t bits = _pred[static_cast<std::size_t>(j) * _words + w]; bits; bits &= bits - 1) {
      const int i = static_cast<int>(w * 64 + static_cast<std::size_t>(__builtin_ctzll(bits)));
      if (i == j) {
        if (_d[j]->getMin() > 0) return NuvCPFailure;  // j before itself
        continue;
      }
      const std::int64_t est = _s[i]->getMin(), p = _d[i]->getMin();
      bound = std::max(bound, est + p);
      _items[k++] = {est, p * _r[i]->getMin()};
    }
  if (k == 0) return NuvCPSuspend;
  std::sort(_items, _items + k, [](const Item& a, const Item& b) { return a.time > b.time; });
  std::int64_t energy = 0;
  for (int q = 0; q < k; ++q) {
    energy += _items[q].energy;
    bound = std::max(bound, _items[q].time + nuvCPCeilDiv(energy, _capacity));
  }
  return _s[j]->updateMin(nuvCPClampInt(bound));
}

int NuvCPPrecedenceEnergyI::backward(int j) {
  int k = 0;
  std::int64_t bound = INT64_MAX;
  for (std::size_t w = 0; w < _words; ++w)
    for (std::uint64_t bits = _succ[static_cast<std::size_t>(j) * _words + w]; bits; bits &= bits - 1) {
      const int i = static_cast<int>(w * 64 + static_cast<std::size_t>(__builtin_ctzll(bits)));
      if (i == j) continue;
      const std::int64_t lst = _s[i]->getMax(), p = _d[i]->getMin();
      bound = std::min(bound, lst);
      _items[k++] = {lst + p, p * _r[i]->getMin()};
    }
  if (k == 0) return NuvCPSuspend;
  std::sort(_items, _items + k, [](const Item& a, const Item& b) { return a.time < b.time; });
  std::int64_t energy = 0;
  for (int q = 0; q < k; ++q) {
    energy += _items[q].energy;
    bound = std::min(bound, _items[q].time - nuvCPCeilDiv(energy, _capacity));
  }
  // j ends by `bound`.
  if (_s[j]->updateMax(nuvCPClampInt(bound - _d[j]->getMin())) == NuvCPFailure) return NuvCPFailure;
  return _d[j]->updateMax(nuvCPClampInt(bound - _s[j]->getMin()));
}

int NuvCPPrecedenceEnergyI::propagate() {
  for (int j = 0; j < _n; ++j)
    if (forward(j) == NuvCPFailure || backward(j) == NuvCPFailure) return NuvCPFailure;
  return NuvCPSuspend;
}

int NuvCPPrecedenceEnergyI::post(int level) {
  if (!ok()) return NuvCPFailure;
  for (int i = 0; i < _n; ++i)
    if (_d[i]->updateMin(0) == NuvCPFailure || _r[i]->updateMin(0) == NuvCPFailure) return NuvCPFailure;
  if (store()->post(_resource, level) == NuvCPFailure) return NuvCPFailure;
  for (int i = 0; i < _n; ++i) {
    if (!_s[i]->isBound()) _s[i]->addBounds(this);
    if (!_d[i]->isBound()) _d[i]->addBounds(this);
    if (!_r[i]->isBound()) _r[i]->addMin(this);
  }
  return propagate();
}
