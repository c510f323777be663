// Integer helpers the propagators share: exact floor and ceiling division in
// 64 bits, clamping a 64-bit value to the int range, and walking the values
// of a variable.
#pragma once

#include <cstdint>

#include <algorithm>
#include <cstddef>

#include "fd/NuvCPIVarI.h"
#include "host/PimAllocator.h"

// Exact floor and ceiling of a / b (b != 0): the truncating quotient
// corrected by one when it does not reach the dividend.
inline std::int64_t nuvCPFloorDiv(std::int64_t a, std::int64_t b) {
  std::int64_t q = a / b;
  if (q * b != a && ((a < 0) != (b < 0))) --q;
  return q;
}
inline std::int64_t nuvCPCeilDiv(std::int64_t a, std::int64_t b) {
  std::int64_t q = a / b;
  if (q * b != a && ((a < 0) == (b < 0))) ++q;
  return q;
}

// A 64-bit value as an int. Variables never hold values beyond
// -1073741823..1073741822, so a clamped bound or value lies outside every
// domain exactly when the true one does: narrowing with it keeps the outcome.
inline int nuvCPClampInt(std::int64_t v) {
  return v < INT32_MIN ? INT32_MIN : v > INT32_MAX ? INT32_MAX : static_cast<int>(v);
}

// Calls f(v) for every value of x in increasing order; f may narrow x (the
// next value is read before the call). Stops early when f returns false.
template <class F>
void nuvCPForEachValue(const NuvCPIntVarI* x, F f) {
  int v = x->getMin();
  for (;;) {
    const int max = x->getMax();
    if (v > max) return;
    const bool last = v == max;
    const int next = last ? v : x->nextValue(v);
    if (!f(v) || last) return;
    v = next;
  }
}

// A propagator's own copy of n variable pointers, from its allocator;
// nullptr when n is 0, v is null or the allocator is exhausted.
inline NuvCPIntVarI** nuvCPCopyVars(PimAllocator* a, int n, NuvCPIntVarI* const* v) {
  if (n == 0 || !v) return nullptr;
  auto** out = a->allocateArray<NuvCPIntVarI*>(static_cast<std::size_t>(n));
  if (out) std::copy(v, v + n, out);
  return out;
}
