#include "fd/NuvCPIVarI.h"

#include "fd/NuvCPManagerI.h"
#include "fd/NuvCPStatus.h"
#include "host/Rav.h"

NuvCPIntVarI::NuvCPIntVarI(PimAllocator* allocator, NuvCPManagerI* solver)
    : PimDataI(allocator), _solver(solver), _id(solver ? solver->registerIntVar(this) : -1) {}

void NuvCPIntVarI::mark(PimMarker& m) { m.mark(_solver); }

int NuvCPIntVarI::restrictTo(const RavIntSet& s) {
  const int lo = getMin();
  const int hi = getMax();
  for (std::int64_t v = lo; v <= hi; ++v) {
    if (!s.contains(v) && removeValue(static_cast<int>(v)) == NuvCPFailure) return NuvCPFailure;
  }
  return NuvCPSuspend;
}

int NuvCPIntVarI::removeAll(const RavIntSet& s) {
  for (const auto& r : s.ranges) {
    for (std::int64_t v = r.first; v <= r.second; ++v) {
      if (removeValue(static_cast<int>(v)) == NuvCPFailure) return NuvCPFailure;
    }
  }
  return NuvCPSuspend;
}
