// Successor graphs: one circuit through every node, one circuit through
// some nodes, or no circuit at all.
#pragma once

#include <cstdint>
#include <iosfwd>

#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPIVarI.h"

// n successor variables over nodes named low..low + n - 1: x[i] = low + j
// links node i to node j.
//   Circuit     the links form one cycle through all n nodes (x[i] != i;
//               with n = 1 the single node links to itself);
//   Subcircuit  x[i] = low + i leaves node i out; the other nodes' links
//               form one cycle (or no node is in);
//   NoCycle     a value outside low..low + n - 1 ends a path; the links
//               form no cycle, so the graph is a forest of in-trees (with
//               all-different on the successors, a forest of paths).
// The circuit kinds post a domain-consistent all-different on x beside
// this propagator (both relations imply it).
//
// Consistency, each run from scratch:
//   - chains (Caseau and Laburthe, "Solving small TSPs with constraints",
//     ICLP 1997): the bound links form trees whose roots are unbound; a
//     root may not link into its own tree (that closes a cycle short of n
//     nodes), unless, for a circuit, the tree holds every node; for a
//     subcircuit it may close the chain from its start when no node
//     outside the chain must be in, and a closed cycle leaves every other
//     node out; a node with a linked predecessor is in;
//   - strongly connected components (the circuit kinds): every link of a
//     cycle lies inside one component of the graph of the domains, so
//     links between components go; a circuit fails unless the graph is
//     strongly connected; a subcircuit fails when two nodes that must be
//     in lie in different components, and leaves out the nodes outside the
//     component of those that must be in.
// Not the stronger dominator-based filtering of Fages and Lorca (CP 2011):
// a single component is not pruned further.
// Cost of one run: O(n) for the chains and O(n + e) for the components
// (e the sum of the domain sizes), by an iterative Tarjan walk.
// Shared arguments: all-different fails a post with one variable at two
// positions; views of one variable at several positions are read as
// independent successors, which every solution satisfies: sound, weaker.
// Entailed when every successor is bound on entry and the check passes.
// Members: x, low and the kind are constant; the walk's arrays are scratch.
class NuvCPCircuitI : public NuvCPCstrI {
 public:
  enum Kind { Circuit, Subcircuit, NoCycle };
  NuvCPCircuitI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* x, int low, Kind kind);
  std::size_t classSize() const override { return sizeof(NuvCPCircuitI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;
  // False when storage ran out or the nodes' names reach INT32_MAX.
  bool ok() const { return _n == 0 || (_x && _scratch); }

 private:
  int successor(int i) const;  // the bound successor's node, or -1
  int chains(bool& narrowed);
  int components(bool& narrowed);

  std::int32_t _n, _low;
  Kind _kind;
  NuvCPIntVarI** _x = nullptr;
  // Scratch: tree roots and sizes, the walk's stack, Tarjan's arrays.
  std::int32_t *_root = nullptr, *_size = nullptr, *_need = nullptr, *_stack = nullptr;
  std::int32_t *_order = nullptr, *_lowlink = nullptr, *_comp = nullptr, *_iter = nullptr, *_open = nullptr;
  void* _scratch = nullptr;
};
