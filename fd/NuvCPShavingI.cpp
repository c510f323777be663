#include "fd/NuvCPShavingI.h"

#include <ostream>

#include "fd/NuvCPArithI.h"
#include "fd/NuvCPIntMath.h"
#include "fd/NuvCPManagerI.h"
#include "fd/NuvCPUnaryI.h"

NuvCPShavingI::NuvCPShavingI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* x)
    : NuvCPCstrI(store, 0, true), _n(n) {
  _x = nuvCPCopyVars(store->allocator(), n, x);
}

void NuvCPShavingI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  for (int i = 0; i < _n && _x; ++i) m.mark(_x[i]);
}

void NuvCPShavingI::print(std::ostream& os) const {
  os << "Shaving(" << _n << " variables)";
  printStatus(os);
}

int NuvCPShavingI::trialPropagate() { return store()->settleNested(); }

int NuvCPShavingI::shave(int i, bool fromBelow, bool& changed) {
  NuvCPIntVarI* x = _x[i];
  std::int64_t w = 0;
  for (;;) {
    if (x->isBound()) return NuvCPSuspend;
    // Bring whatever the last removal implies to the fixpoint first: a
    // trial starts from a settled store.
    if (store()->settleNested() == NuvCPFailure) return NuvCPFailure;
    if (x->isBound()) return NuvCPSuspend;
    const std::int64_t lo = x->getMin(), hi = x->getMax();
    // The block tried: [lo, lo + w] from below, [hi - w, hi] from above,
    // never the whole domain (that is the store's own question).
    if (w > hi - lo - 1) w = hi - lo - 1;
    const std::int64_t edge = fromBelow ? lo + w : hi - w;
    ++_trials;
    const int r = store()->shavingTrial([&] {
      const int n = fromBelow ? x->updateMax(static_cast<int>(edge)) : x->updateMin(static_cast<int>(edge));
      return n == NuvCPFailure ? NuvCPFailure : trialPropagate();
    });
    if (r == NuvCPFailure) {
      const int n = fromBelow ? x->updateMin(static_cast<int>(edge + 1)) : x->updateMax(static_cast<int>(edge - 1));
      if (n == NuvCPFailure) return NuvCPFailure;
      changed = true;
      w = 2 * w + 1;
    } else if (w == 0) {
      return NuvCPSuspend;
    } else {
      w /= 2;
    }
  }
}

int NuvCPShavingI::propagate() {
  if (_busy) return NuvCPSuspend;  // inside one of our own trials
  _busy = true;
  int r = NuvCPSuspend;
  // Rounds until every bound survives its trial on the same store.
  for (bool changed = true; changed && r != NuvCPFailure;) {
    changed = false;
    for (int i = 0; i < _n && r != NuvCPFailure; ++i) {
      r = shave(i, true, changed);
      if (r != NuvCPFailure) r = shave(i, false, changed);
    }
  }
  _busy = false;
  return r;
}

int NuvCPShavingI::post(int) {
  if (!ok()) return NuvCPFailure;
  for (int i = 0; i < _n; ++i)
    if (!_x[i]->isBound()) _x[i]->addBounds(this);
  // The first shaving waits for the propagation the post is part of: a
  // trial needs a settled store, which only a run can ensure.
  store()->enqueue(this);
  return NuvCPSuspend;
}

NuvCPShavingEdgeFinderI::NuvCPShavingEdgeFinderI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* s,
                                                 NuvCPIntVarI* const* d, NuvCPIntVarI* const* e,
                                                 NuvCPUnaryResourceI* engine)
    : NuvCPShavingI(store, n, s), _engine(engine) {
  _d = nuvCPCopyVars(store->allocator(), n, d);
  _e = nuvCPCopyVars(store->allocator(), n, e);
}

void NuvCPShavingEdgeFinderI::mark(PimMarker& m) {
  NuvCPShavingI::mark(m);
  if (_engine) m.mark(_engine);
  for (int i = 0; i < count() && _d && _e; ++i) {
    m.mark(_d[i]);
    m.mark(_e[i]);
  }
}

void NuvCPShavingEdgeFinderI::print(std::ostream& os) const {
  os << "ShavingEdgeFinder";
  printStatus(os);
}

int NuvCPShavingEdgeFinderI::trialPropagate() { return _engine->propagate(); }

int NuvCPShavingEdgeFinderI::post(int level) {
  if (!_engine || !_engine->ok() || (count() > 0 && (!_d || !_e))) return NuvCPFailure;
  for (int i = 0; i < count(); ++i) {
    auto* sum = nuvCPNew<NuvCPTernaryEqualI>(store()->allocator(), store(), start(i), _d[i], _e[i]);
    if (!sum || store()->post(sum, level) == NuvCPFailure) return NuvCPFailure;
  }
  if (store()->post(_engine, level) == NuvCPFailure) return NuvCPFailure;
  return NuvCPShavingI::post(level);
}
