#include "fd/NuvCPTransitionI.h"

#include <algorithm>
#include <ostream>

#include "fd/NuvCPIntMath.h"
#include "fd/NuvCPManagerI.h"

NuvCPTransitionPairI::NuvCPTransitionPairI(NuvCPManagerI* store, NuvCPIntVarI* aStart, NuvCPIntVarI* aEnd,
                                           NuvCPIntVarI* bStart, NuvCPIntVarI* bEnd, int setupAB, int setupBA,
                                           NuvCPIntVarI* order, NuvCPIntVarI* typeA, NuvCPIntVarI* typeB,
                                           const int* matrix, int types, const char* printName)
    : NuvCPCstrI(store, 5, false),
      _as(aStart),
      _ae(aEnd),
      _bs(bStart),
      _be(bEnd),
      _setupAB(setupAB),
      _setupBA(setupBA),
      _order(order),
      _typeA(typeA),
      _typeB(typeB),
      _types(types),
      _printName(printName) {
  if (matrix && types > 0) {
    const auto cells = static_cast<std::size_t>(types) * static_cast<std::size_t>(types);
    _matrix = store->allocator()->allocateArray<std::int32_t>(cells);
    if (_matrix) std::copy(matrix, matrix + cells, _matrix);
  }
}

void NuvCPTransitionPairI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  for (NuvCPIntVarI* x : {_as, _ae, _bs, _be, _order, _typeA, _typeB})
    if (x) m.mark(x);
}

void NuvCPTransitionPairI::print(std::ostream& os) const { os << _printName; }

std::int64_t NuvCPTransitionPairI::setup(NuvCPIntVarI* x, NuvCPIntVarI* y, int constant) const {
  if (!_typeA) return constant;
  std::int64_t best = INT64_MAX;
  for (int u = std::max(0, x->getMin()); u <= std::min(_types - 1, x->getMax()); ++u) {
    if (!x->member(u)) continue;
    for (int v = std::max(0, y->getMin()); v <= std::min(_types - 1, y->getMax()); ++v)
      if (y->member(v)) best = std::min<std::int64_t>(best, _matrix[u * _types + v]);
  }
  return best;  // INT64_MAX: no type left (the types' domains fail elsewhere)
}

// X before Y with `gap` between: Y starts after X ends, X ends before Y
// starts.
int NuvCPTransitionPairI::first(NuvCPIntVarI* xs, NuvCPIntVarI* xe, NuvCPIntVarI* ys, std::int64_t gap) {
  (void)xs;
  if (ys->updateMin(nuvCPClampInt(xe->getMin() + gap)) == NuvCPFailure) return NuvCPFailure;
  return xe->updateMax(nuvCPClampInt(ys->getMax() - gap));
}

int NuvCPTransitionPairI::propagate() {
  if (_typeA) {
    // Types index the matrix.
    for (NuvCPIntVarI* t : {_typeA, _typeB})
      if (t->updateMin(0) == NuvCPFailure || t->updateMax(_types - 1) == NuvCPFailure) return NuvCPFailure;
  }
  const std::int64_t ab = setup(_typeA, _typeB, _setupAB), ba = setup(_typeB, _typeA, _setupBA);
  const bool canAB = ab != INT64_MAX && _ae->getMin() + ab <= _bs->getMax();
  const bool canBA = ba != INT64_MAX && _be->getMin() + ba <= _as->getMax();
  if (!canAB && !canBA) return NuvCPFailure;
  if (_order) {
    if (!canAB && _order->updateMax(0) == NuvCPFailure) return NuvCPFailure;
    if (!canBA && _order->updateMin(1) == NuvCPFailure) return NuvCPFailure;
    if (_order->isBound()) return _order->getMin() == 1 ? first(_as, _ae, _bs, ab) : first(_bs, _be, _as, ba);
    return NuvCPSuspend;
  }
  if (!canAB) return first(_bs, _be, _as, ba);
  if (!canBA) return first(_as, _ae, _bs, ab);
  return NuvCPSuspend;
}

int NuvCPTransitionPairI::post(int) {
  if (!ok()) return NuvCPFailure;
  for (NuvCPIntVarI* x : {_as, _ae, _bs, _be})
    if (!x->isBound()) x->addBounds(this);
  for (NuvCPIntVarI* x : {_typeA, _typeB})
    if (x && !x->isBound()) x->addDomain(this);
  if (_order && !_order->isBound()) _order->addBind(this);
  return propagate();
}
