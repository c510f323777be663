#include "fd/NuvCPViewIntVarI.h"

#include <ostream>

#include "fd/NuvCPManagerI.h"

void NuvCPViewIntVarSnapshotI::print(std::ostream& os) const {
  os << "NuvCPViewIntVarSnapshotI(" << id() << ":" << getMin() << "," << getMax() << ","
     << getSize() << ")";
}

NuvCPViewIntVarI::NuvCPViewIntVarI(PimAllocator* allocator, NuvCPManagerI* solver, NuvCPIntVarI* y,
                                   int c)
    : NuvCPIntVarI(allocator, solver),
      _y(y->isView() ? y->getViewedVar() : y),
      _c(y->isView() ? static_cast<NuvCPViewIntVarI*>(y)->_c + c : c) {
  if (allocator) allocator->registerFinalizer(this);
}

void NuvCPViewIntVarI::mark(PimMarker& m) {
  NuvCPIntVarI::mark(m);
  m.mark(_y);
}

void NuvCPViewIntVarI::print(std::ostream& os) const {
  _y->print(os);
  os << (_c < 0 ? " - " : " + ") << (_c < 0 ? -std::int64_t{_c} : _c);
}

NuvCPIntVarSnapshotI* NuvCPViewIntVarI::makeSnapshot(PimAllocator* a) {
  return pimCreate<NuvCPViewIntVarSnapshotI>(a, a, getId(), getMin(), getMax(),
                                             static_cast<unsigned>(getSize()), nullptr);
}
