#include "fd/NuvCPInverseI.h"

#include <algorithm>
#include <ostream>
#include <vector>

#include "fd/NuvCPManagerI.h"
#include "fd/NuvCPShared.h"

NuvCPInverseI::NuvCPInverseI(NuvCPManagerI* s, int lowX, int nX, NuvCPIntVarI* const* xs, int lowY,
                             int nY, NuvCPIntVarI* const* ys)
    : NuvCPCstrI(s, 7), _lowX(lowX), _nX(nX), _lowY(lowY), _nY(nY) {
  PimAllocator* a = s->allocator();
  if (nX > 0) _x = a->allocateArray<NuvCPIntVarI*>(static_cast<std::size_t>(nX));
  if (nY > 0) _y = a->allocateArray<NuvCPIntVarI*>(static_cast<std::size_t>(nY));
  for (int i = 0; _x && i < nX; ++i) _x[i] = xs[i];
  for (int j = 0; _y && j < nY; ++j) _y[j] = ys[j];
}

void NuvCPInverseI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  for (int i = 0; _x && i < _nX; ++i) m.mark(_x[i]);
  for (int j = 0; _y && j < _nY; ++j) m.mark(_y[j]);
}

void NuvCPInverseI::print(std::ostream& os) const {
  os << "inverse([";
  for (int i = 0; _x && i < _nX; ++i) {
    if (i) os << ",";
    _x[i]->print(os);
  }
  os << "],[";
  for (int j = 0; _y && j < _nY; ++j) {
    if (j) os << ",";
    _y[j]->print(os);
  }
  os << "])";
}

int NuvCPInverseI::post(int) {
  if (_posted) return NuvCPSuspend;
  if (!ok()) return NuvCPFailure;
  const int upX = _lowX + _nX - 1, upY = _lowY + _nY - 1;
  // With a variable in several places, narrowing it for one place narrows
  // it for the others too, which the filtering below does not revisit:
  // subscribe first, so that those removals are mirrored as events.
  const bool shared = sharesVariables();
  if (shared) subscribe();
  for (int j = _lowY; j <= upY; ++j)
    if (y(j)->updateMin(_lowX) == NuvCPFailure || y(j)->updateMax(upX) == NuvCPFailure)
      return NuvCPFailure;
  for (int i = _lowX; i <= upX; ++i)
    for (int j = _lowY; j <= upY; ++j)
      if (!x(i)->member(j) && y(j)->removeValue(i) == NuvCPFailure) return NuvCPFailure;
  for (int i = _lowX; i <= upX; ++i)
    if (x(i)->updateMin(_lowY) == NuvCPFailure || x(i)->updateMax(upY) == NuvCPFailure)
      return NuvCPFailure;
  for (int j = _lowY; j <= upY; ++j)
    for (int i = _lowX; i <= upX; ++i)
      if (!y(j)->member(i) && x(i)->removeValue(j) == NuvCPFailure) return NuvCPFailure;
  if (!shared) subscribe();
  _posted = 1;
  return NuvCPSuspend;
}

bool NuvCPInverseI::sharesVariables() const {
  std::vector<const NuvCPIntVarI*> bases;
  std::int64_t c;
  for (int i = 0; i < _nX; ++i) bases.push_back(nuvCPBaseOf(_x[i], c));
  for (int j = 0; j < _nY; ++j) bases.push_back(nuvCPBaseOf(_y[j], c));
  std::sort(bases.begin(), bases.end());
  return std::adjacent_find(bases.begin(), bases.end()) != bases.end();
}

void NuvCPInverseI::subscribe() {
  for (int i = 0; i < _nX; ++i) _x[i]->addAC5ValueIdx(this, _lowX + i);
  for (int j = 0; j < _nY; ++j) _y[j]->addAC5ValueIdx(this, _lowY + j);
}

int NuvCPInverseI::valRemoveIdx(NuvCPIntVarI* v, int index, int value) {
  const bool fromX = inX(index) && x(index) == v;
  const bool fromY = inY(index) && y(index) == v;
  int r = NuvCPSuspend;
  // Values outside the other side's index range were never there.
  if (fromX && inY(value)) r = y(value)->removeValue(index);
  if (r != NuvCPFailure && (fromY || !fromX) && inX(value)) r = x(value)->removeValue(index);
  return r == NuvCPFailure ? NuvCPFailure : NuvCPSuspend;
}
