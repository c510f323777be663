// Spanning trees of bounded weight over a fixed graph.
#pragma once

#include <cstdint>
#include <iosfwd>

#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPIVarI.h"

// A graph of n nodes (0..n-1) and m weighted edges k = {from[k], to[k]}
// with weights w[k], 0/1 variables e[k] and a weight variable z:
//   the edges with e[k] = 1 form a spanning tree of the n nodes, and z is
//   the sum of their weights.
//
// Consistency, each run from scratch (Dooms and Katriel, "The minimum
// spanning tree constraint", CP 2006; Régin, "Simpler and incremental
// consistency checking and arc consistency filtering algorithms for the
// weighted spanning tree constraint", CPAIOR 2008):
//   - Kruskal's algorithm with the chosen edges first gives the lightest
//     tree within the domains (failing when the chosen edges close a cycle
//     or the allowed ones leave the graph disconnected) and, heaviest
//     first, the heaviest: z lies between their weights;
//   - an allowed edge outside the lightest tree would replace the heaviest
//     unchosen edge on the tree's path between its ends: it goes when
//     that raises the weight above z's maximum, or when every edge on the
//     path is chosen (a cycle);
//   - an unchosen edge of the lightest tree is chosen when no allowed edge
//     can replace it (a bridge) or every replacement raises the weight
//     above z's maximum.
// Cost of one run: O(m log m) for the trees (edges sorted once, at
// construction), O(m * n) for the path walks.
// Shared arguments: an edge variable at two positions is two edges read
// apart (sound, weaker); z also an edge: the same; exact once bound.
// Members: the graph, e, z and the edges' order are constant; the union-
// find, the tree and the replacement costs are scratch.
class NuvCPSpanningTreeI : public NuvCPCstrI {
 public:
  NuvCPSpanningTreeI(NuvCPManagerI* store, int n, int m, const int* from, const int* to, const int* w,
                     NuvCPIntVarI* const* e, NuvCPIntVarI* z);
  std::size_t classSize() const override { return sizeof(NuvCPSpanningTreeI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;
  // False when storage ran out or an edge names a node outside 0..n-1.
  bool ok() const { return _ok; }

 private:
  int find(int a);
  // Kruskal in the given order with the chosen edges first: the tree's
  // weight, or failure; marks the tree's edges in _inTree when asked.
  int kruskal(bool lightest, std::int64_t& weight, bool mark);

  std::int32_t _n, _m;
  bool _ok = false;
  std::int32_t *_from = nullptr, *_to = nullptr, *_w = nullptr, *_order = nullptr;
  NuvCPIntVarI** _e = nullptr;
  NuvCPIntVarI* _z;
  // Scratch.
  std::int32_t *_dsu = nullptr, *_inTree = nullptr, *_head = nullptr, *_next = nullptr, *_adj = nullptr;
  std::int32_t *_parent = nullptr, *_parentEdge = nullptr, *_depth = nullptr, *_queue = nullptr;
  std::int64_t* _repl = nullptr;
};
