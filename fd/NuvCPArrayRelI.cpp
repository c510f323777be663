#include "fd/NuvCPArrayRelI.h"

#include <ostream>

#include "fd/NuvCPIntMath.h"
#include "fd/NuvCPManagerI.h"

namespace {
void markAll(PimMarker& m, int n, NuvCPIntVarI** x) {
  for (int i = 0; x && i < n; ++i) m.mark(x[i]);
}
void subscribe(NuvCPDaemonI* d, int n, NuvCPIntVarI** x, bool domain) {
  for (int i = 0; i < n; ++i)
    if (!x[i]->isBound()) domain ? x[i]->addDomain(d) : x[i]->addBounds(d);
}
bool allBound(int n, NuvCPIntVarI** x) {
  for (int i = 0; i < n; ++i)
    if (!x[i]->isBound()) return false;
  return true;
}
}  // namespace

// ---- increasing ---------------------------------------------------------------------------

NuvCPIncreasingI::NuvCPIncreasingI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* x, bool strict)
    : NuvCPCstrI(store, 5, true), _n(n), _strict(strict) {
  _x = nuvCPCopyVars(store->allocator(), n, x);
}
void NuvCPIncreasingI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  markAll(m, _n, _x);
}
void NuvCPIncreasingI::print(std::ostream& os) const {
  os << (_strict ? "strictly_increasing(" : "increasing(") << _n << " variables)";
  printStatus(os);
}
int NuvCPIncreasingI::propagate() {
  const int gap = _strict ? 1 : 0;
  // Repeated only when a variable at two positions moved during the passes.
  for (bool again = true; again;) {
    again = false;
    for (int i = 1; i < _n; ++i)
      if (_x[i]->updateMin(nuvCPClampInt(std::int64_t{_x[i - 1]->getMin()} + gap)) == NuvCPFailure)
        return NuvCPFailure;
    for (int i = _n - 2; i >= 0; --i)
      if (_x[i]->updateMax(nuvCPClampInt(std::int64_t{_x[i + 1]->getMax()} - gap)) == NuvCPFailure)
        return NuvCPFailure;
    for (int i = 1; i < _n && !again; ++i)
      again = _x[i]->getMin() < std::int64_t{_x[i - 1]->getMin()} + gap ||
              _x[i - 1]->getMax() > std::int64_t{_x[i]->getMax()} - gap;
  }
  return allBound(_n, _x) ? NuvCPSuccess : NuvCPSuspend;
}
int NuvCPIncreasingI::post(int) {
  if (!ok()) return NuvCPFailure;
  subscribe(this, _n, _x, false);
  return propagate();
}

// ---- all equal -------------------------------------------------------------------------------

NuvCPAllEqualI::NuvCPAllEqualI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* x)
    : NuvCPCstrI(store, 5, true), _n(n) {
  _x = nuvCPCopyVars(store->allocator(), n, x);
}
void NuvCPAllEqualI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  markAll(m, _n, _x);
}
void NuvCPAllEqualI::print(std::ostream& os) const {
  os << "all_equal(" << _n << " variables)";
  printStatus(os);
}
int NuvCPAllEqualI::propagate() {
  if (_n < 2) return NuvCPSuccess;
  // The values of the smallest domain that every other domain has.
  int best = 0;
  for (int i = 1; i < _n; ++i)
    if (_x[i]->getSize() < _x[best]->getSize()) best = i;
  NuvCPIntVarI* b = _x[best];
  int r = NuvCPSuspend;
  nuvCPForEachValue(b, [&](int v) {
    for (int i = 0; i < _n && r != NuvCPFailure; ++i)
      if (!_x[i]->member(v)) r = b->removeValue(v);
    return r != NuvCPFailure;
  });
  if (r == NuvCPFailure) return NuvCPFailure;
  for (int i = 0; i < _n; ++i) {
    if (i == best) continue;
    if (_x[i]->updateMin(b->getMin()) == NuvCPFailure || _x[i]->updateMax(b->getMax()) == NuvCPFailure)
      return NuvCPFailure;
    nuvCPForEachValue(_x[i], [&](int v) {
      if (!b->member(v)) r = _x[i]->removeValue(v);
      return r != NuvCPFailure;
    });
    if (r == NuvCPFailure) return NuvCPFailure;
  }
  return b->isBound() ? NuvCPSuccess : NuvCPSuspend;
}
int NuvCPAllEqualI::post(int) {
  if (!ok()) return NuvCPFailure;
  subscribe(this, _n, _x, true);
  return propagate();
}

// ---- member ------------------------------------------------------------------------------------

NuvCPMemberI::NuvCPMemberI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* x, NuvCPIntVarI* y)
    : NuvCPCstrI(store, 4, false), _n(n), _y(y) {
  _x = nuvCPCopyVars(store->allocator(), n, x);
}
void NuvCPMemberI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  m.mark(_y);
  markAll(m, _n, _x);
}
void NuvCPMemberI::print(std::ostream& os) const {
  os << "member(" << _n << " variables)";
  printStatus(os);
}
int NuvCPMemberI::propagate() {
  int r = NuvCPSuspend;
  nuvCPForEachValue(_y, [&](int v) {
    bool somewhere = false;
    for (int i = 0; i < _n && !somewhere; ++i) somewhere = _x[i]->member(v);
    if (!somewhere) r = _y->removeValue(v);
    return r != NuvCPFailure;
  });
  if (r == NuvCPFailure || _n == 0) return NuvCPFailure;
  // The variables that can still equal y.
  int only = -1, count = 0;
  for (int i = 0; i < _n && count < 2; ++i) {
    bool meets = false;
    nuvCPForEachValue(_x[i], [&](int v) {
      meets = _y->member(v);
      return !meets;
    });
    if (meets) {
      only = i;
      ++count;
    }
  }
  if (count == 0) return NuvCPFailure;
  if (count == 1) {
    NuvCPIntVarI* x = _x[only];
    nuvCPForEachValue(x, [&](int v) {
      if (!_y->member(v)) r = x->removeValue(v);
      return r != NuvCPFailure;
    });
    if (r == NuvCPFailure) return NuvCPFailure;
    if (x->isBound() && _y->isBound()) return NuvCPSuccess;
  }
  // Entailed once y is bound to a value some bound x has.
  if (_y->isBound())
    for (int i = 0; i < _n; ++i)
      if (_x[i]->isBound() && _x[i]->getMin() == _y->getMin()) return NuvCPSuccess;
  return NuvCPSuspend;
}
int NuvCPMemberI::post(int) {
  if (!ok()) return NuvCPFailure;
  subscribe(this, _n, _x, true);
  if (!_y->isBound()) _y->addDomain(this);
  return propagate();
}
