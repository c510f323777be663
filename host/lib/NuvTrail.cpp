#include "host/NuvTrail.h"

#include <limits>
#include <ostream>

#include "host/PimError.h"

// Stamp 0 is never current, so that words whose stamp starts at 0 are saved
// on their first write.
NuvTrailI::NuvTrailI() : _stamp(1), _lastIssued(1) {}

void NuvTrailI::nextStamp() {
  if (_lastIssued == std::numeric_limits<PimStamp>::max())
    throw PimExecutionError(PimSource("trail", 0),
                            "trail stamps exhausted: the search opened more than 4294967294 "
                            "choice points");
  _stamp = ++_lastIssued;
}

void NuvTrailI::push() {
  nextStamp();
  if (_entries.size() > _peak) _peak = _entries.size();
  _marks.push_back(_entries.size());
}

void NuvTrailI::pop() {
  if (_marks.empty()) return;
  if (_entries.size() > _peak) _peak = _entries.size();
  std::size_t mark = _marks.back();
  _marks.pop_back();
  while (_entries.size() > mark) {
    const Entry& e = _entries.back();
    switch (e.size) {
      case 4: std::memcpy(e.address, &e.bits, 4); break;
      case 8: std::memcpy(e.address, &e.bits, 8); break;
      default: std::memcpy(e.address, &e.bits, e.size); break;
    }
    _entries.pop_back();
  }
  nextStamp();
}

void NuvTrailI::popTo(std::size_t depth) {
  while (_marks.size() > depth) pop();
}

void NuvTrailI::advanceStamp() { nextStamp(); }

void PimTrailWrapper::print(std::ostream& os) const {
  os << "Trail(depth=" << _trail.depth() << ", size=" << _trail.size()
     << ", peak=" << _trail.peakSize() << ")";
}
