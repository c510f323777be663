// Θ-trees and Θ-Λ-trees: for a changing subset Θ of a unary resource's
// activities, the total duration and the earliest completion time of Θ in
// O(log n) per change (Vilím, "O(n log n) filtering algorithms for unary
// resource constraints", CPAIOR 2004; Θ-Λ-trees: Vilím, Barták and Čepek,
// "Extension of O(n log n) filtering algorithms for the unary resource
// constraint to optional activities", Constraints 2005).
//
// Unlike the textbook trees, whose activities sit in the leaves of a fixed
// tree, every node of the balanced tree (include/container/PimAVLTree.h),
// inner nodes included, holds one activity, and every reset re-keys each
// node by its activity's current earliest start. A node's aggregate covers
// its left subtree, then its own activity, then its right subtree, in key
// order. An absent child reads as the empty-subtree record.
//
// Constants: minus infinity of completion times is -1073741823 throughout,
// far enough from the 32-bit limit that adding durations and times never
// overflows. One exception is kept on purpose: a childless Θ-tree node
// outside Θ gets an ect of -536870911. In a Θ-Λ-tree a white leaf carries 0
// and minus infinity in its bar fields (not its own values), an in-tree
// gray leaf an ect of 0, and a gray node with children counts its own
// duration in the white sum and ect. These are kept as designed; what they
// mean for a reader: with grays at leaves only, the white sum and ect are
// exact and the root's ectBar never exceeds the best completion with one
// gray added (whites to the right of a white leaf can be missed, so it may
// understate) and is realised by its responsible; a gray node with
// children makes the white sum and ect overstate, so a propagator that
// deduces from them must keep gray activities out of such places or
// not rely on those readouts.
//
// Cost: a membership change walks from the node to the root, O(log n)
// recomputations of constant cost; reset costs n re-keyings. Nothing is
// allocated after init; nothing is trailed: every propagation starts with
// a reset, which empties every record before any membership change.
//
// Storage: the records and the node table come from the allocator given
// to init (constant after it); the tree's nodes from the host's system
// allocator, returned by the tree's destructor, which an owner living in
// an arena must run (register a finalizer).
#pragma once

#include <cstdint>

#include "container/PimAVLTree.h"
#include "fd/NuvCPIVarI.h"
#include "host/PimCell.h"

constexpr std::int32_t kThetaMinusInfinity = -1073741823;
// The ect of a childless Θ-tree node whose activity is outside Θ.
constexpr std::int32_t kThetaLeafOutside = -536870911;

// One activity of a Θ-tree (a plain record).
struct ThetaData {
  std::int32_t _index;  // the activity's position, 0 .. n-1 (n: the empty record)
  std::int32_t _est;    // earliest start, read at reset
  std::int32_t _dur;    // duration (its minimum), read at reset
  std::int32_t _sumP;   // total duration of the Θ-activities of the subtree
  std::int32_t _ect;    // earliest completion time of those
  bool _inTheta;        // the node's own activity is in Θ
};

// One activity of a Θ-Λ-tree: white (in Θ) or gray (in Λ) when in the tree.
struct ThetaLambdaData {
  std::int32_t _index;
  std::int32_t _est;
  std::int32_t _dur;
  std::int32_t _sumP;         // white activities of the subtree
  std::int32_t _ect;          // white activities of the subtree
  std::int32_t _sumPBar;      // with at most one gray activity added
  std::int32_t _respSumPBar;  // the gray activity realising it, -1 if none
  std::int32_t _ectBar;       // with at most one gray activity added
  std::int32_t _respEctBar;   // the gray activity realising it, -1 if none
  bool _inTree;               // in Θ ∪ Λ at all
  bool _white;                // in Θ (else in Λ) when in the tree
};

// One node's aggregates from its children's (l, r: the empty record for an
// absent child). Exposed for the tests' brute-force comparison.
void nuvCPThetaRecompute(ThetaData& own, const ThetaData& l, const ThetaData& r, bool children);
void nuvCPThetaLambdaRecompute(ThetaLambdaData& own, const ThetaLambdaData& l,
                               const ThetaLambdaData& r, bool children);

// What both trees share: one record and one node per activity, the empty
// record, the reset, the walk that recomputes a node's path (with the
// record type's own rule) and the root readout. Instantiated for ThetaData
// and ThetaLambdaData in NuvCPThetaTree.cpp.
template <class Data>
class NuvCPThetaTreeOf {
 public:
  using Tree = PimAVLTree<int, Data*>;
  using Node = PimAVLTreeNode<int, Data*>;

  // n activities, every record empty, one node each inserted in activity
  // order. False when storage ran out.
  bool init(PimAllocator* arena, int n);
  // Re-reads est and duration (their minima), empties every record and
  // clears its flags, and re-keys every node by its est.
  void reset(NuvCPIntVarI* const* start, NuvCPIntVarI* const* duration);
  const Data& root() const { return _tree.getRoot() ? *_tree.getRoot()->getData() : _empty; }
  const Data& record(int i) const { return _data[i]; }
  const Data& empty() const { return _empty; }
  const Tree& tree() const { return _tree; }
  int size() const { return _n; }

 protected:
  // From activity i's node up to the root, inclusive.
  void recomputePath(int i);
  // A membership flag of activity i set to `on`; the path recomputed when
  // it changes.
  void setFlag(bool& flag, bool on, int i) {
    if (flag == on) return;
    flag = on;
    recomputePath(i);
  }

  Tree _tree;
  Data* _data = nullptr;
  Node** _nodes = nullptr;
  Data _empty{};
  int _n = 0;
};

class NuvCPThetaTree : public NuvCPThetaTreeOf<ThetaData> {
 public:
  void add(int i);     // into Θ, when not there yet
  void remove(int i);  // out of Θ, when there
  bool contains(int i) const { return _data[i]._inTheta; }
  std::int32_t sumP() const { return root()._sumP; }
  std::int32_t ect() const { return root()._ect; }
};

class NuvCPThetaLambdaTree : public NuvCPThetaTreeOf<ThetaLambdaData> {
 public:
  void addWhite(int i);  // into Θ, when not in the tree
  void addGray(int i);   // into Λ, when not in the tree
  void reAdd(int i);     // back in with its colour, when not in the tree
  void remove(int i);    // out, keeping its colour, when in the tree
  // The root's ectBar and its responsible as if activity i were out.
  void ectBarWithout(int i, std::int32_t& ectBar, std::int32_t& resp);
  bool inTree(int i) const { return _data[i]._inTree; }
  bool isWhite(int i) const { return _data[i]._white; }
};

extern template class NuvCPThetaTreeOf<ThetaData>;
extern template class NuvCPThetaTreeOf<ThetaLambdaData>;

// The module's instantiations (see NuvCPThetaTree.cpp).
extern template class PimAVLTreeNode<int, ThetaData*>;
extern template class PimAVLTree<int, ThetaData*>;
extern template class PimAVLTreeIterator<int, ThetaData*>;
extern template class PimAVLTreeNode<int, ThetaLambdaData*>;
extern template class PimAVLTree<int, ThetaLambdaData*>;
extern template class PimAVLTreeIterator<int, ThetaLambdaData*>;
extern template class PimAVLTreeNode<int, PimDataI*>;
extern template class PimAVLTree<int, PimDataI*>;
extern template class PimAVLTreeIterator<int, PimDataI*>;
