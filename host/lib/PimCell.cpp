#include "host/PimCell.h"

#include <ostream>

std::size_t PimMarker::run(const PimCellI* root) {
  std::size_t marked = 0;
  mark(root);
  while (!_work.empty()) {
    PimCellI* c = _work.back();
    _work.pop_back();
    ++marked;
    c->mark(*this);
  }
  return marked;
}

void PimDataI::print(std::ostream& os) const { os << "PimData"; }

std::ostream& operator<<(std::ostream& os, const PimDataI& d) {
  d.print(os);
  return os;
}

unsigned PimStoreI::markReachable() {
  unsigned colour = nextMarkColour();
  PimMarker marker(colour);
  marker.run(this);
  return colour;
}
