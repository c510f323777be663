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
  if (_size > _peak) _peak = _size;
  _marks.push_back(_size);
}

void NuvTrailI::pop() {
  if (_marks.empty()) return;
  if (_size > _peak) _peak = _size;
  std::size_t mark = _marks.back();
  _marks.pop_back();
  while (_size > mark) {
    const Entry& e = _entries[_size - 1];
    void* const address = reinterpret_cast<void*>(e.word & kAddressMask);
    switch (e.word >> kSizeShift) {
      case 4: std::memcpy(address, &e.bits, 4); break;
      case 8: std::memcpy(address, &e.bits, 8); break;
      case 2: std::memcpy(address, &e.bits, 2); break;
      default: std::memcpy(address, &e.bits, 1); break;
    }
    --_size;
  }
  nextStamp();
}

void NuvTrailI::grow() {
  const std::size_t capacity = _capacity ? 2 * _capacity : 1024;
  // Not value-initialised: every entry below _size is copied in, the rest
  // is written before it is read.
  auto bigger = std::make_unique_for_overwrite<Entry[]>(capacity);
  for (std::size_t i = 0; i < _size; ++i) bigger[i] = _entries[i];
  _entries = std::move(bigger);
  _capacity = capacity;
}

void NuvTrailI::popTo(std::size_t depth) {
  while (_marks.size() > depth) pop();
}

void NuvTrailI::advanceStamp() { nextStamp(); }

void PimTrailWrapper::print(std::ostream& os) const {
  os << "Trail(depth=" << _trail.depth() << ", size=" << _trail.size()
     << ", peak=" << _trail.peakSize() << ")";
}
