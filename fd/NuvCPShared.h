// Arguments of one propagator that present the same variable: the variable
// itself in several positions, or offset views y + c of it (views never
// nest, fd/NuvCPViewIntVarI.h). Two such arguments always differ by a
// constant, which is what the propagators that care about sharing need:
// a tuple of argument values is possible only if it respects those
// differences.
#pragma once

#include <cstdint>

#include "fd/NuvCPIVarI.h"
#include "fd/NuvCPViewIntVarI.h"

// The variable x presents, and c with value(x) == value(base) + c.
inline const NuvCPIntVarI* nuvCPBaseOf(const NuvCPIntVarI* x, std::int64_t& c) {
  c = 0;
  if (x && x->isView()) {
    if (const auto* v = dynamic_cast<const NuvCPViewIntVarI*>(x)) {
      c = v->offset();
      return v->getViewedVar();
    }
  }
  return x;
}

// Whether x and y present the same variable; then value(y) == value(x) + delta.
inline bool nuvCPShared(const NuvCPIntVarI* x, const NuvCPIntVarI* y, std::int64_t& delta) {
  std::int64_t cx, cy;
  if (nuvCPBaseOf(x, cx) != nuvCPBaseOf(y, cy)) return false;
  delta = cy - cx;
  return true;
}

// For a small fixed list of arguments: for each position, the first earlier
// position that presents the same variable (or -1), and the difference of
// their values. Filled once at post; constant afterwards.
template <int N>
struct NuvCPSharing {
  std::int8_t link[N];
  std::int32_t delta[N];
  bool any = false;

  void compute(const NuvCPIntVarI* const* args) {
    any = false;
    for (int i = 0; i < N; ++i) {
      link[i] = -1;
      delta[i] = 0;
      for (int j = 0; j < i && link[i] < 0; ++j) {
        std::int64_t d;
        if (args[j] && nuvCPShared(args[j], args[i], d)) {
          link[i] = static_cast<std::int8_t>(j);
          delta[i] = static_cast<std::int32_t>(d);
          any = true;
        }
      }
    }
  }
  // Whether the values (one per position) respect every link.
  bool consistent(const std::int64_t* v) const {
    for (int i = 0; i < N; ++i)
      if (link[i] >= 0 && v[i] != v[link[i]] + delta[i]) return false;
    return true;
  }
};
