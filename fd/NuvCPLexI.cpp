#include "fd/NuvCPLexI.h"

#include <algorithm>
#include <ostream>

#include "fd/NuvCPIntMath.h"
#include "fd/NuvCPManagerI.h"

NuvCPLexI::NuvCPLexI(NuvCPManagerI* store, int nx, NuvCPIntVarI* const* x, int ny, NuvCPIntVarI* const* y,
                     bool strict)
    : NuvCPCstrI(store, 4, true), _nx(nx), _ny(ny), _strict(strict) {
  _x = nuvCPCopyVars(store->allocator(), nx, x);
  _y = nuvCPCopyVars(store->allocator(), ny, y);
}

void NuvCPLexI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  for (int i = 0; _x && i < _nx; ++i) m.mark(_x[i]);
  for (int i = 0; _y && i < _ny; ++i) m.mark(_y[i]);
}

void NuvCPLexI::print(std::ostream& os) const {
  os << "LexLeq(" << _nx << ", " << _ny << (_strict ? ", strict)" : ")");
  printStatus(os);
}

int NuvCPLexI::propagate() {
  const int n = std::min(_nx, _ny);
  // Equal up to the end of the shorter array: does the order hold?
  const bool endHolds = _nx < _ny || (_nx == _ny && !_strict);
  for (;;) {
    int a = 0;
    while (a < n && _x[a]->isBound() && _y[a]->isBound() && _x[a]->getMin() == _y[a]->getMin()) ++a;
    if (a == n) return endHolds ? NuvCPSuccess : NuvCPFailure;
    // beta: the first position from which x surely comes after y (n + 1:
    // none).
    int run = -1, i = a;
    for (; i < n && _x[i]->getMin() <= _y[i]->getMax(); ++i) {
      if (_x[i]->getMin() == _y[i]->getMax()) {
        if (run < 0) run = i;
      } else {
        run = -1;
      }
    }
    int beta;
    if (i < n)
      beta = run >= 0 ? run : i;
    else
      beta = endHolds ? n + 1 : (run >= 0 ? run : n);
    if (a >= beta) return NuvCPFailure;
    NuvCPIntVarI *xa = _x[a], *ya = _y[a];
    const int gap = a + 1 == beta ? 1 : 0;  // strictly below, or not above
    if (xa->updateMax(ya->getMax() - gap) == NuvCPFailure || ya->updateMin(xa->getMin() + gap) == NuvCPFailure)
      return NuvCPFailure;
    if (xa->getMax() < ya->getMin()) return NuvCPSuccess;
    // Fixed equal now: alpha moves on.
    if (!(xa->isBound() && ya->isBound() && xa->getMin() == ya->getMin())) return NuvCPSuspend;
  }
}

int NuvCPLexI::post(int) {
  if (!ok()) return NuvCPFailure;
  for (int i = 0; i < _nx; ++i)
    if (!_x[i]->isBound()) _x[i]->addBounds(this);
  for (int i = 0; i < _ny; ++i)
    if (!_y[i]->isBound()) _y[i]->addBounds(this);
  return propagate();
}
