// A height-balanced (AVL) binary search tree over a signed key, with the
// height and the size of its subtree in every node, parent links, in-order
// iteration, detachment of a node and re-keying of a node in place.
//
// The scheduling propagators hang one node per activity into such a tree
// and re-key every node by its activity's current earliest start at the
// start of each run; the collector of an expression's variables uses one as
// a sorted map from an identifier to an object. A node never owns its data.
//
// Equal keys are allowed: insertion and re-keying go right on equality, so
// an in-order walk gives equal keys in the order they were (re)inserted.
//
// Rebalancing ties go right: the taller child of a node whose children are
// equally high is its right child. After a detachment this makes a
// left-heavy node whose left child's subtrees are equally high take the
// double (left-then-right) rotation, and the mirror case the single one.
//
// Detachment keeps one deliberate shortcut: when the node's in-order
// successor is its own right child and has no right child, the walk that
// rebalances starts at the detached node itself (already cut loose), so the
// successor keeps the detached node's old height and size until the next
// insertion or re-keying walk through it repairs them. The scheduling trees
// read neither heights nor sizes for their answers.
//
// Broken invariants raise the host's internal assertion with this file's
// name and the line of the check (the numbers are part of the reports
// callers compare against; they are not this file's line numbers).
//
// Storage: nodes come from the tree's allocator and go back to it in the
// destructor (post-order). No operation other than insert allocates;
// re-keying reuses the node. Assignment is shallow: the two trees then share
// their nodes, and only one of them may still hold nodes when both are
// destroyed.
#pragma once

#include <cstddef>
#include <new>

#include "host/PimAllocator.h"
#include "host/PimError.h"

template <class Key, class Data>
class PimAVLTree;
template <class Key, class Data>
class PimAVLTreeIterator;

namespace pim_avl_detail {
inline constexpr const char* kSource = "..\\..\\include\\container/PimAVLTree";
// The system allocator keeps no state, so one instance serves every tree.
inline PimAllocator* systemAllocator() {
  static PimSystemAllocator allocator;
  return &allocator;
}
}  // namespace pim_avl_detail

template <class Key, class Data>
class PimAVLTreeNode {
 public:
  Data getData() const { return _data; }
  const Data& getDataRef() const { return _data; }
  const Key& getKey() const { return _key; }
  PimAVLTreeNode* getParent() const { return _parent; }
  PimAVLTreeNode* getLeft() const { return _left; }
  PimAVLTreeNode* getRight() const { return _right; }
  int getSize() const { return _size; }
  int getHeight() const { return _height; }

  int lHeight() const { return _left ? _left->_height : 0; }
  int rHeight() const { return _right ? _right->_height : 0; }
  int lSize() const { return _left ? _left->_size : 0; }
  int rSize() const { return _right ? _right->_size : 0; }
  bool balanced() const {
    const int d = lHeight() - rHeight();
    return (!_right && lHeight() <= 1) || (d >= -1 && d <= 1);
  }
  // The left child when it is strictly taller, else the right one (maybe null).
  PimAVLTreeNode* tallest() const { return lHeight() > rHeight() ? _left : _right; }
  static int maxOf(int a, int b) { return a < b ? b : a; }
  void fixHeight() {
    _height = maxOf(lHeight(), rHeight()) + 1;
    if (!(_height > 0)) raiseInternalAssertion("_height>0", pim_avl_detail::kSource, 52);
  }
  void fixSize() {
    _size = lSize() + rSize() + 1;
    if (!(_size > 0)) raiseInternalAssertion("_size>0", pim_avl_detail::kSource, 51);
  }
  void init(const Key& key, Data data) {
    _parent = _left = _right = nullptr;
    _height = 1;
    _size = 1;
    _key = key;
    _data = data;
  }
  // Releases this subtree to `allocator`: left subtree, right subtree, then
  // the node. The data are not touched.
  void destroy(PimAllocator* allocator) {
    if (_left) _left->destroy(allocator);
    if (_right) _right->destroy(allocator);
    this->~PimAVLTreeNode();
    allocator->release(this, sizeof(PimAVLTreeNode));
  }

 private:
  friend class PimAVLTree<Key, Data>;
  PimAVLTreeNode* _parent = nullptr;
  PimAVLTreeNode* _left = nullptr;
  PimAVLTreeNode* _right = nullptr;
  int _height = 1;
  int _size = 1;
  Key _key{};
  Data _data{};
};

template <class Key, class Data>
class PimAVLTree {
 public:
  using Node = PimAVLTreeNode<Key, Data>;

  // Nodes from the host's system allocator.
  PimAVLTree() : _root(nullptr), _allocator(pim_avl_detail::systemAllocator()) {}
  explicit PimAVLTree(PimAllocator* allocator) : _root(nullptr), _allocator(allocator) {}
  PimAVLTree(const PimAVLTree&) = delete;
  // Shallow: both fields are copied (see the header comment).
  PimAVLTree& operator=(const PimAVLTree& other) {
    _root = other._root;
    _allocator = other._allocator;
    return *this;
  }
  ~PimAVLTree() {
    if (_root && _allocator) _root->destroy(_allocator);
  }

  // A new node placed by key (equal keys go right), the tree rebalanced.
  // Null when the allocator has no storage.
  Node* insert(const Key& key, Data data) {
    Node* parent = nullptr;
    Node** cur = &_root;
    while (*cur) {
      parent = *cur;
      cur = key < parent->_key ? &parent->_left : &parent->_right;
    }
    if (!(*cur == nullptr)) raiseInternalAssertion("*cur==0", pim_avl_detail::kSource, 261);
    void* block = _allocator ? _allocator->allocate(sizeof(Node)) : nullptr;
    if (!block) return nullptr;
    Node* n = new (block) Node;
    n->init(key, data);
    n->_parent = parent;
    *cur = n;
    reBalance(n);
    return n;
  }

  // Unlinks `togo` and rebalances; its storage, key and data stay as they
  // were. Null in, null out.
  Node* detachNode(Node* togo) {
    if (!togo) return nullptr;
    Node* start;
    if (togo->_left && togo->_right) {
      Node* splice = smallest(togo->_right);
      start = splice->_right ? splice->_right : splice->_parent;
      Node* sp = splice->_parent;
      if (sp->_left == splice)
        sp->_left = splice->_right;
      else
        sp->_right = splice->_right;
      if (splice->_right) splice->_right->_parent = sp;
      splice->_left = togo->_left;
      splice->_right = togo->_right;
      splice->_parent = togo->_parent;
      splice->_size = togo->_size;
      splice->_height = togo->_height;
      if (splice->_left) splice->_left->_parent = splice;
      if (splice->_right) splice->_right->_parent = splice;
      if (!togo->_parent) {
        _root = splice;
      } else if (togo->_parent->_left == togo) {
        togo->_parent->_left = splice;
      } else {
        if (!(splice->_parent->_right == togo))
          raiseInternalAssertion("splice->_parent->_right == togo", pim_avl_detail::kSource, 365);
        splice->_parent->_right = splice;
      }
    } else {
      Node* child = togo->_left ? togo->_left : togo->_right;
      start = child ? child : togo->_parent;
      Node* p = togo->_parent;
      if (p) {
        if (p->_left == togo)
          p->_left = child;
        else
          p->_right = child;
        if (child) child->_parent = p;
      } else {
        _root = child;
        if (child) child->_parent = nullptr;
      }
    }
    togo->_parent = togo->_left = togo->_right = nullptr;
    if (start) reBalance(start);
    return togo;
  }

  // Detaches `node` and reinserts the same storage under `key` with its
  // data; equal keys go right, so the node follows every node of that key.
  Node* updateKey(Node* node, const Key& key) {
    Data data = node->_data;
    detachNode(node);
    Node* parent = nullptr;
    Node** cur = &_root;
    while (*cur) {
      parent = *cur;
      cur = key < parent->_key ? &parent->_left : &parent->_right;
    }
    if (!(*cur == nullptr)) raiseInternalAssertion("*cur == 0", pim_avl_detail::kSource, 299);
    node->init(key, data);
    node->_parent = parent;
    *cur = node;
    reBalance(node);
    return node;
  }

  // The first node with exactly this key on the search path, or null.
  Node* findNode(const Key& key) const {
    Node* n = _root;
    while (n) {
      if (n->_key == key) return n;
      n = key < n->_key ? n->_left : n->_right;
    }
    return nullptr;
  }

  // The leftmost node of `node`'s subtree (of the tree for null).
  Node* smallest(Node* node) const {
    Node* n = node ? node : _root;
    if (!n) return nullptr;
    while (n->_left) n = n->_left;
    return n;
  }

  // The in-order successor, null after the last node or for null.
  Node* findSucc(Node* node) const {
    if (!node) return nullptr;
    if (node->_right) return smallest(node->_right);
    while (node->_parent && node == node->_parent->_right) node = node->_parent;
    return node->_parent;
  }

  int getSize() const { return _root ? _root->_size : 0; }
  Node* getRoot() const { return _root; }

 private:
  // From `n` up to the root: heights and sizes recomputed, each node out of
  // balance rotated (ties to the right), the new subtree root checked again.
  void reBalance(Node* n) {
    while (n) {
      n->fixHeight();
      n->fixSize();
      const int d = n->lHeight() - n->rHeight();
      if (d >= -1 && d <= 1) {
        n = n->_parent;
        continue;
      }
      Node* t = n->tallest();
      Node* g = t->tallest();
      if (t == n->_left) {
        if (g == t->_left) {
          rightRotate(n);
        } else {
          leftRotate(t);
          rightRotate(n);
        }
      } else {
        if (g == t->_left) {
          rightRotate(t);
          leftRotate(n);
        } else {
          leftRotate(n);
        }
      }
      Node* top = n->_parent;
      if (top->_left) {
        top->_left->fixHeight();
        top->_left->fixSize();
      }
      if (top->_right) {
        top->_right->fixHeight();
        top->_right->fixSize();
      }
      top->fixHeight();
      top->fixSize();
      n = top;
    }
  }

  void leftRotate(Node* x) {
    Node* y = x->_right;
    x->_right = y->_left;
    if (y->_left) y->_left->_parent = x;
    y->_parent = x->_parent;
    x->_parent = y;
    y->_left = x;
    if (!y->_parent)
      _root = y;
    else if (y->_parent->_right == x)
      y->_parent->_right = y;
    else
      y->_parent->_left = y;
  }

  void rightRotate(Node* x) {
    Node* y = x->_left;
    x->_left = y->_right;
    if (y->_right) y->_right->_parent = x;
    y->_parent = x->_parent;
    x->_parent = y;
    y->_right = x;
    if (!y->_parent)
      _root = y;
    else if (y->_parent->_left == x)
      y->_parent->_left = y;
    else
      y->_parent->_right = y;
  }

  Node* _root;
  PimAllocator* _allocator;
};

// In-order walk over a tree's data.
template <class Key, class Data>
class PimAVLTreeIterator {
 public:
  // On the smallest node, or exhausted until reset() when the flag is false.
  PimAVLTreeIterator(const PimAVLTree<Key, Data>& tree, bool startAtSmallest)
      : _tree(tree), _current(startAtSmallest ? tree.smallest(nullptr) : nullptr) {}
  void reset() { _current = _tree.smallest(nullptr); }
  bool more() const { return _current != nullptr; }
  void next() {
    if (_current) _current = _tree.findSucc(_current);
  }
  const Data& current() const { return _current->getDataRef(); }

 private:
  const PimAVLTree<Key, Data>& _tree;
  PimAVLTreeNode<Key, Data>* _current;
};
