#include "fd/NuvCPBitVarI.h"

#include <ostream>

#include "fd/NuvCPManagerI.h"
#include "host/PimError.h"

namespace {
const char* const kSource = "..\\..\\fd\\NuvCPBitVarI";
}

NuvCPBitVarI::NuvCPBitVarI(PimAllocator* allocator, NuvCPManagerI* solver)
    : PimDataI(allocator), _solver(solver), _id(solver->registerBitVar(this)) {
  const PimStamp s = trail()->stamp();
  _loStamp = _upStamp = _minStamp = _maxStamp = _nbfStamp = s;
  _bitList.stamp = _minList.stamp = _maxList.stamp = s;
}

NuvTrailI* NuvCPBitVarI::trail() const { return _solver->trail(); }

void NuvCPBitVarI::mark(PimMarker& m) {
  m.mark(_solver);
  m.mark(_bitList.head);
  m.mark(_minList.head);
  m.mark(_maxList.head);
}

int NuvCPBitVarI::setBit(int k, int b) {
  if (k < 0 || k > 31) return NuvCPSuspend;
  const std::uint32_t mask = std::uint32_t{1} << k;
  const bool isFree = ((_lo ^ _up) & mask) != 0;
  trail()->assign(_nbf, _nbfStamp, _nbf - (isFree ? 1 : 0));
  if (!isFree) return ((_lo & mask) != 0) == (b != 0) ? NuvCPSuspend : NuvCPFailure;
  if (b)
    trail()->assign(_lo, _loStamp, _lo | mask);
  else
    trail()->assign(_up, _upStamp, _up & ~mask);
  _solver->notifyBitBound(_bitList.head, this, k, b ? 1 : 0);
  if (_lo > _min) {
    trail()->assign(_min, _minStamp, _lo);
    _solver->schedule(_minList.head);
  }
  if (_up < _max) {
    trail()->assign(_max, _maxStamp, _up);
    _solver->schedule(_maxList.head);
  }
  return NuvCPSuspend;
}

int NuvCPBitVarI::setByte(int i, std::uint32_t byte) {
  int r = NuvCPSuspend;
  for (int k = 0; k < 8 && r != NuvCPFailure; ++k) r = setBit(8 * i + k, (byte >> k) & 1);
  return r;
}

int NuvCPBitVarI::bindWord(std::uint32_t w) {
  if (w < _min || w > _max || !member(w)) return NuvCPFailure;
  trail()->assign(_min, _minStamp, w);
  trail()->assign(_max, _maxStamp, w);
  for (int k = 0; k < 32; ++k) {
    const std::uint32_t mask = std::uint32_t{1} << k;
    if (((_lo ^ _up) & mask) == 0) continue;
    _solver->notifyBitBound(_bitList.head, this, k, (w & mask) ? 1 : 0);
    if (!(_nbf > 0)) raiseInternalAssertion("_nbf > 0", kSource, 436);
    trail()->assign(_nbf, _nbfStamp, _nbf - 1);
  }
  if (_nbf != 0) raiseInternalAssertion("_nbf == 0", kSource, 442);
  trail()->assign(_lo, _loStamp, w);
  trail()->assign(_up, _upStamp, w);
  return NuvCPSuspend;
}

std::uint32_t NuvCPBitVarI::valueAt(std::int64_t r) const {
  if (r >= getInternalSize()) return _up;
  if (!(r >= 0 && r <= getInternalSize() - 1))
    raiseInternalAssertion("r >= 0 && r <= getInternalSize()-1", kSource, 141);
  std::uint32_t w = _lo;
  int i = 0;
  for (int k = 0; k < 32; ++k) {
    const std::uint32_t mask = std::uint32_t{1} << k;
    if (((_lo ^ _up) & mask) == 0) continue;
    if ((r >> i) & 1) w |= mask;
    ++i;
  }
  return w;
}

std::int64_t NuvCPBitVarI::countUpTo(std::uint32_t x) const {
  // Walk the bits from the top, counting the completions that fall below x
  // at the first bit where they differ from it.
  std::int64_t count = 0;
  int freeBelow = 0;
  for (int k = 0; k < 32; ++k)
    if ((_lo ^ _up) & (std::uint32_t{1} << k)) ++freeBelow;
  for (int k = 31; k >= 0; --k) {
    const std::uint32_t mask = std::uint32_t{1} << k;
    const bool xk = (x & mask) != 0;
    if ((_lo ^ _up) & mask) {
      --freeBelow;
      if (xk) count += std::int64_t{1} << freeBelow;  // choose 0 here
      continue;                                       // or match x
    }
    const bool fixed = (_lo & mask) != 0;
    if (fixed == xk) continue;
    if (!fixed && xk) count += std::int64_t{1} << freeBelow;
    return count;
  }
  return count + 1;  // x itself is a completion
}

std::int64_t NuvCPBitVarI::getSize() const {
  if (_min > _max) return 0;
  return countUpTo(_max) - (_min > 0 ? countUpTo(_min - 1) : 0);
}

void NuvCPBitVarI::print(std::ostream& os) const {
  os << "(" << getSize() << "," << _nbf << ")[";
  for (int k = 0; k < 32; ++k) {
    const std::uint32_t mask = std::uint32_t{1} << k;
    if (k) os << ",";
    const bool l = (_lo & mask) != 0, u = (_up & mask) != 0;
    if (l && !u) raiseInternalAssertion("false", kSource, 100);
    os << (l ? "1" : !u ? "0" : "{0,1}");
  }
  os << "]";
}
