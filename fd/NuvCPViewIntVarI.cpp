#include "fd/NuvCPViewIntVarI.h"

#include <ostream>

#include "fd/NuvCPStatus.h"
#include "host/PimArchiver.h"

// ---- snapshot -----------------------------------------------------------------------------

void NuvCPViewIntVarSnapshotI::print(std::ostream& os) const {
  os << "NuvCPViewIntVarSnapshotI(" << _id << ":" << _min << "," << _max << "," << _size << ")";
}

void NuvCPViewIntVarSnapshotI::archive(PimArchiver& ar) const {
  ar.sendInt32(_min);
  ar.sendInt32(_max);
  ar.sendUInt32(_size);
  ar.sendInt32(_offset);
  ar.sendObject(_viewed);
}

void NuvCPViewIntVarSnapshotI::unarchive(PimArchiver& ar) {
  _min = ar.receiveInt32();
  _max = ar.receiveInt32();
  _size = ar.receiveUInt32();
  _offset = ar.receiveInt32();
  _viewed = static_cast<NuvCPIntVarSnapshotI*>(ar.receiveObject());
}

int NuvCPViewIntVarSnapshotI::impose(NuvCPIntVarI* x) const {
  if (x->updateMin(_min) == NuvCPFailure) return NuvCPFailure;
  if (x->updateMax(_max) == NuvCPFailure) return NuvCPFailure;
  const NuvCPDomainI* d = _viewed ? _viewed->domain() : nullptr;
  if (!d) return NuvCPSuspend;
  for (std::int64_t v = static_cast<std::int64_t>(_min) + 1; v < _max; ++v) {
    const std::int64_t u = v - _offset;
    if (u < d->getMin() || u > d->getMax() || d->member(static_cast<int>(u))) continue;
    if (x->removeValue(static_cast<int>(v)) == NuvCPFailure) return NuvCPFailure;
  }
  return NuvCPSuspend;
}

// ---- the view -------------------------------------------------------------------------------

namespace {
NuvCPIntVarI* innermost(NuvCPIntVarI* y) { return y && y->isView() ? y->getViewedVar() : y; }
int totalOffset(NuvCPIntVarI* y, int c) {
  return y && y->isView() ? static_cast<NuvCPViewIntVarI*>(y)->getOffset() + c : c;
}
}  // namespace

NuvCPViewIntVarI::NuvCPViewIntVarI(PimAllocator* allocator, NuvCPManagerI* solver, NuvCPIntVarI* y,
                                   int c)
    : NuvCPIntVarI(allocator, solver), _y(innermost(y)), _c(totalOffset(y, c)) {
  // Cells of the arena are not destroyed one by one; the signals need their
  // destructor.
  if (allocator) allocator->registerFinalizer(this);
}

void NuvCPViewIntVarI::mark(PimMarker& m) {
  NuvCPIntVarI::mark(m);
  m.mark(_y);
}

void NuvCPViewIntVarI::print(std::ostream& os) const {
  const int lo = getMin();
  const int hi = getMax();
  if (isBound()) {
    os << lo;
    return;
  }
  if (!hasDomain()) {
    os << "(" << getSize() << ")[" << lo << ".." << hi << "]";
    return;
  }
  os << "(DOM:" << getSize() << ")[";
  bool first = true;
  std::int64_t v = lo;
  while (v <= hi) {
    std::int64_t end = v;
    while (end < hi && nextValue(static_cast<int>(end)) == end + 1) ++end;
    if (!first) os << ",";
    first = false;
    if (end == v)
      os << v;
    else
      os << v << (end == v + 1 ? "," : "..") << end;
    if (end >= hi) break;
    v = nextValue(static_cast<int>(end));
  }
  os << "]";
}

NuvCPIntVarSnapshotI* NuvCPViewIntVarI::makeSnapshot(PimAllocator* a) {
  NuvCPIntVarSnapshotI* viewed = _y->makeSnapshot(a);
  return pimCreate<NuvCPViewIntVarSnapshotI>(a, a, getId(), getMin(), getMax(),
                                             static_cast<unsigned>(getSize()), viewed, _c);
}
