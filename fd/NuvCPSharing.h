// Shared arguments: the same variable, or offset views of one variable,
// passed in several argument positions of one constraint. A propagator that
// reasons about its arguments as if they were independent can then prune a
// solution or accept a non-solution, so the relations and linear constraints
// recognise sharing when they are posted and turn it into an equivalent form
// (each family's header says how).
//
// Views never nest, so every integer variable is its root (the concrete or
// Boolean variable behind it) plus a constant: v == root(v) + offset(v).
#pragma once

#include <cstdint>

#include "fd/NuvCPIVarI.h"
#include "fd/NuvCPViewIntVarI.h"

struct NuvCPVarRef {
  NuvCPIntVarI* root;
  std::int32_t offset;  // v == root + offset
};

inline NuvCPVarRef nuvCPRef(NuvCPIntVarI* v) {
  if (v->isView()) return {v->getViewedVar(), static_cast<const NuvCPViewIntVarI*>(v)->offset()};
  return {v, 0};
}

// True when a and b are the same variable or views of the same one.
inline bool nuvCPShares(NuvCPIntVarI* a, NuvCPIntVarI* b) {
  return a && b && nuvCPRef(a).root == nuvCPRef(b).root;
}

// b - a when a and b share a root (they then differ by this constant).
inline std::int64_t nuvCPGap(NuvCPIntVarI* a, NuvCPIntVarI* b) {
  return std::int64_t{nuvCPRef(b).offset} - nuvCPRef(a).offset;
}
