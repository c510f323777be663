#include "fd/NuvCPThetaTree.h"

#include <new>

template class PimAVLTreeNode<int, ThetaData*>;
template class PimAVLTree<int, ThetaData*>;
template class PimAVLTreeIterator<int, ThetaData*>;
template class PimAVLTreeNode<int, ThetaLambdaData*>;
template class PimAVLTree<int, ThetaLambdaData*>;
template class PimAVLTreeIterator<int, ThetaLambdaData*>;
template class PimAVLTreeNode<int, PimDataI*>;
template class PimAVLTree<int, PimDataI*>;
template class PimAVLTreeIterator<int, PimDataI*>;

namespace {

constexpr std::int32_t kInf = kThetaMinusInfinity;

inline std::int32_t max2(std::int32_t a, std::int32_t b) { return a < b ? b : a; }
inline std::int32_t max3(std::int32_t a, std::int32_t b, std::int32_t c) { return max2(max2(a, b), c); }

// The largest of candidates taken in order; on a tie the first keeps the
// responsible.
struct Best {
  std::int32_t value;
  std::int32_t resp;
  void offer(std::int32_t v, std::int32_t r) {
    if (v > value) {
      value = v;
      resp = r;
    }
  }
};

void emptyTheta(ThetaData& d, int index) {
  d._index = index;
  d._est = kInf;
  d._dur = 0;
  d._sumP = 0;
  d._ect = kInf;
  d._inTheta = false;
}

void emptyThetaLambda(ThetaLambdaData& d, int index) {
  d._index = index;
  d._est = kInf;
  d._dur = 0;
  d._sumP = 0;
  d._ect = kInf;
  d._sumPBar = 0;
  d._respSumPBar = -1;
  d._ectBar = kInf;
  d._respEctBar = -1;
  d._inTree = false;
  d._white = true;
}

template <class Data, class Node>
bool initTree(PimAllocator* arena, int n, PimAVLTree<int, Data*>& tree, Data*& data, Node**& nodes,
              void (*empty)(Data&, int)) {
  data = static_cast<Data*>(arena->allocate(sizeof(Data) * static_cast<std::size_t>(n > 0 ? n : 1)));
  nodes = static_cast<Node**>(arena->allocate(sizeof(Node*) * static_cast<std::size_t>(n > 0 ? n : 1)));
  if (!data || !nodes) return false;
  for (int i = 0; i < n; ++i) {
    new (&data[i]) Data;
    empty(data[i], i);
    nodes[i] = tree.insert(data[i]._est, &data[i]);
    if (!nodes[i]) return false;
  }
  return true;
}

}  // namespace

// ---- recomputation --------------------------------------------------------------------

void nuvCPThetaRecompute(ThetaData& own, const ThetaData& l, const ThetaData& r, bool children) {
  if (!children) {
    if (own._inTheta) {
      own._sumP = own._dur;
      own._ect = own._est + own._dur;
    } else {
      own._sumP = 0;
      own._ect = kThetaLeafOutside;
    }
    return;
  }
  if (own._inTheta) {
    own._sumP = l._sumP + own._dur + r._sumP;
    own._ect = max3(r._ect, own._est + own._dur + r._sumP, l._ect + own._dur + r._sumP);
  } else {
    own._sumP = l._sumP + r._sumP;
    own._ect = max2(r._ect, l._ect + r._sumP);
  }
}

void nuvCPThetaLambdaRecompute(ThetaLambdaData& own, const ThetaLambdaData& l,
                               const ThetaLambdaData& r, bool children) {
  const std::int32_t p = own._dur;
  if (!children) {
    if (own._white) {
      own._sumPBar = 0;
      if (own._inTree) {
        own._sumP = p;
        own._ect = own._est + p;
      } else {
        own._sumP = 0;
        own._ect = kInf;
      }
      own._ectBar = kInf;
      own._respSumPBar = own._respEctBar = -1;
    } else {
      own._sumP = 0;
      if (own._inTree) {
        own._ect = 0;
        own._sumPBar = p;
        own._ectBar = own._est + p;
        own._respSumPBar = own._respEctBar = own._index;
      } else {
        own._sumPBar = 0;
        own._ect = kInf;
        own._ectBar = kInf;
        own._respSumPBar = own._respEctBar = -1;
      }
    }
    return;
  }
  if (!own._inTree) {
    own._sumP = l._sumP + r._sumP;
    own._ect = max2(r._ect, l._ect + r._sumP);
    const std::int32_t a = l._sumPBar + r._sumP, b = l._sumP + r._sumPBar;
    if (a < b) {
      own._sumPBar = b;
      own._respSumPBar = r._respSumPBar;
    } else {
      own._sumPBar = a;
      own._respSumPBar = l._respSumPBar;
    }
    Best e{r._ectBar, r._respEctBar};
    e.offer(l._ect + r._sumPBar, r._respSumPBar);
    e.offer(l._ectBar + r._sumP, l._respEctBar);
    own._ectBar = e.value;
    own._respEctBar = e.resp;
    return;
  }
  own._sumP = l._sumP + p + r._sumP;
  own._ect = max3(r._ect, own._est + p + r._sumP, l._ect + p + r._sumP);
  if (own._white) {
    const std::int32_t a = l._sumPBar + p + r._sumP, b = l._sumP + p + r._sumPBar;
    if (a < b) {
      own._sumPBar = b;
      own._respSumPBar = r._respSumPBar;
    } else {
      own._sumPBar = a;
      own._respSumPBar = l._respSumPBar;
    }
    Best e{r._ectBar, r._respEctBar};
    e.offer(own._est + p + r._sumPBar, r._respSumPBar);
    e.offer(l._ect + p + r._sumPBar, r._respSumPBar);
    e.offer(l._ectBar + p + r._sumP, l._respEctBar);
    own._ectBar = e.value;
    own._respEctBar = e.resp;
  } else {
    Best s{l._sumPBar + r._sumP, l._respSumPBar};
    s.offer(l._sumP + r._sumP + p, own._index);
    s.offer(l._sumP + r._sumPBar, r._respSumPBar);
    own._sumPBar = s.value;
    own._respSumPBar = s.resp;
    Best e{r._ectBar, r._respEctBar};
    e.offer(own._est + p + r._sumP, own._index);
    e.offer(l._ectBar + r._sumP, l._respEctBar);
    e.offer(l._ect + r._sumP + p, own._index);
    e.offer(l._ect + r._sumPBar, r._respSumPBar);
    own._ectBar = e.value;
    own._respEctBar = e.resp;
  }
}

// ---- Θ-tree ---------------------------------------------------------------------------

bool NuvCPThetaTree::init(PimAllocator* arena, int n) {
  _n = n;
  emptyTheta(_empty, n);
  return initTree<ThetaData, Node>(arena, n, _tree, _data, _nodes, emptyTheta);
}

void NuvCPThetaTree::reset(NuvCPIntVarI* const* start, NuvCPIntVarI* const* duration) {
  for (int i = 0; i < _n; ++i) {
    ThetaData& d = _data[i];
    d._est = start[i]->getMin();
    d._dur = duration[i]->getMin();
    d._inTheta = false;
    d._sumP = 0;
    d._ect = kInf;
    _tree.updateKey(_nodes[i], d._est);
  }
}

void NuvCPThetaTree::recomputePath(Node* n) {
  for (; n; n = n->getParent()) {
    const Node* l = n->getLeft();
    const Node* r = n->getRight();
    nuvCPThetaRecompute(*n->getData(), l ? *l->getData() : _empty, r ? *r->getData() : _empty,
                        l || r);
  }
}

void NuvCPThetaTree::add(int i) {
  if (_data[i]._inTheta) return;
  _data[i]._inTheta = true;
  recomputePath(_nodes[i]);
}

void NuvCPThetaTree::remove(int i) {
  if (!_data[i]._inTheta) return;
  _data[i]._inTheta = false;
  recomputePath(_nodes[i]);
}

// ---- Θ-Λ-tree -------------------------------------------------------------------------

bool NuvCPThetaLambdaTree::init(PimAllocator* arena, int n) {
  _n = n;
  emptyThetaLambda(_empty, n);
  return initTree<ThetaLambdaData, Node>(arena, n, _tree, _data, _nodes, emptyThetaLambda);
}

void NuvCPThetaLambdaTree::reset(NuvCPIntVarI* const* start, NuvCPIntVarI* const* duration) {
  for (int i = 0; i < _n; ++i) {
    ThetaLambdaData& d = _data[i];
    d._est = start[i]->getMin();
    d._dur = duration[i]->getMin();
    d._inTree = false;
    d._white = false;
    d._sumP = 0;
    d._ect = kInf;
    d._sumPBar = 0;
    d._ectBar = kInf;
    d._respSumPBar = d._respEctBar = -1;
    _tree.updateKey(_nodes[i], d._est);
  }
}

void NuvCPThetaLambdaTree::recomputePath(Node* n) {
  for (; n; n = n->getParent()) {
    const Node* l = n->getLeft();
    const Node* r = n->getRight();
    nuvCPThetaLambdaRecompute(*n->getData(), l ? *l->getData() : _empty,
                              r ? *r->getData() : _empty, l || r);
  }
}

void NuvCPThetaLambdaTree::addWhite(int i) {
  if (_data[i]._inTree) return;
  _data[i]._inTree = true;
  _data[i]._white = true;
  recomputePath(_nodes[i]);
}

void NuvCPThetaLambdaTree::addGray(int i) {
  if (_data[i]._inTree) return;
  _data[i]._inTree = true;
  _data[i]._white = false;
  recomputePath(_nodes[i]);
}

void NuvCPThetaLambdaTree::reAdd(int i) {
  if (_data[i]._inTree) return;
  _data[i]._inTree = true;
  recomputePath(_nodes[i]);
}

void NuvCPThetaLambdaTree::remove(int i) {
  if (!_data[i]._inTree) return;
  _data[i]._inTree = false;
  recomputePath(_nodes[i]);
}

void NuvCPThetaLambdaTree::ectBarWithout(int i, std::int32_t& ectBar, std::int32_t& resp) {
  if (_data[i]._inTree) {
    remove(i);
    ectBar = root()._ectBar;
    resp = root()._respEctBar;
    reAdd(i);
  } else {
    ectBar = root()._ectBar;
    resp = root()._respEctBar;
  }
}
