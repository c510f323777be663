#include "fd/NuvCPPairI.h"

#include <ostream>

#include "fd/NuvCPIntMath.h"
#include "fd/NuvCPManagerI.h"

NuvCPPairI::NuvCPPairI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* x, NuvCPIntVarI* const* y,
                       NuvCPIntVarI* const* z, int width)
    : NuvCPCstrI(store, 4, false), _n(n), _width(width) {
  PimAllocator* a = store->allocator();
  _x = nuvCPCopyVars(a, n, x);
  _y = nuvCPCopyVars(a, n, y);
  _z = nuvCPCopyVars(a, n, z);
}

void NuvCPPairI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  for (NuvCPIntVarI** a : {_x, _y, _z})
    for (int k = 0; a && k < _n; ++k) m.mark(a[k]);
}

void NuvCPPairI::print(std::ostream& os) const {
  os << (_n == 1 ? "Pair(" : "pairLink(") << _n << (_n == 1 ? " pair" : " pairs") << ", width " << _width << ")";
  printStatus(os);
}

int NuvCPPairI::filter(int k, bool& changed) {
  NuvCPIntVarI *x = _x[k], *y = _y[k], *z = _z[k];
  const std::int64_t w = _width;
  const int sizes = x->getSize() + y->getSize() + z->getSize();
  if (y->updateMin(0) == NuvCPFailure || y->updateMax(_width - 1) == NuvCPFailure) return NuvCPFailure;
  // z's bounds from x's and y's first: they keep the walks below short.
  if (z->updateMin(nuvCPClampInt(x->getMin() * w + y->getMin())) == NuvCPFailure ||
      z->updateMax(nuvCPClampInt(x->getMax() * w + y->getMax())) == NuvCPFailure ||
      x->updateMin(nuvCPClampInt(nuvCPFloorDiv(z->getMin(), w))) == NuvCPFailure ||
      x->updateMax(nuvCPClampInt(nuvCPFloorDiv(z->getMax(), w))) == NuvCPFailure)
    return NuvCPFailure;
  int r = NuvCPSuspend;
  nuvCPForEachValue(z, [&](int v) {
    const std::int64_t q = nuvCPFloorDiv(v, w);
    if (!x->member(nuvCPClampInt(q)) || !y->member(static_cast<int>(v - q * w))) r = z->removeValue(v);
    return r != NuvCPFailure;
  });
  if (r == NuvCPFailure) return NuvCPFailure;
  nuvCPForEachValue(x, [&](int a) {
    bool support = false;
    nuvCPForEachValue(y, [&](int b) {
      support = z->member(nuvCPClampInt(a * w + b));
      return !support;
    });
    if (!support) r = x->removeValue(a);
    return r != NuvCPFailure;
  });
  if (r == NuvCPFailure) return NuvCPFailure;
  nuvCPForEachValue(y, [&](int b) {
    bool support = false;
    nuvCPForEachValue(x, [&](int a) {
      support = z->member(nuvCPClampInt(a * w + b));
      return !support;
    });
    if (!support) r = y->removeValue(b);
    return r != NuvCPFailure;
  });
  if (r == NuvCPFailure) return NuvCPFailure;
  if (x->getSize() + y->getSize() + z->getSize() != sizes) changed = true;
  return NuvCPSuspend;
}

int NuvCPPairI::propagate() {
  if (_width < 1) return NuvCPFailure;
  for (bool changed = true; changed;) {
    changed = false;
    for (int k = 0; k < _n; ++k)
      if (filter(k, changed) == NuvCPFailure) return NuvCPFailure;
    // One triple's pass is its own fixpoint (z, then x against z, then y
    // against both); several triples may share variables, so they repeat.
    if (_n == 1) break;
  }
  for (int k = 0; k < _n; ++k)
    if (!_x[k]->isBound() || !_y[k]->isBound()) return NuvCPSuspend;
  return NuvCPSuccess;
}

int NuvCPPairI::post(int) {
  if (!ok()) return NuvCPFailure;
  for (NuvCPIntVarI** a : {_x, _y, _z})
    for (int k = 0; k < _n; ++k)
      if (!a[k]->isBound()) a[k]->addDomain(this);
  return propagate();
}
