#include "fd/NuvCPThetaTree.h"

#include <new>
#include <type_traits>

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

// The empty aggregates, flags cleared (the empty record's own values).
void emptyRecord(ThetaData& d, int index) {
  d._index = index;
  d._est = kInf;
  d._dur = 0;
  d._sumP = 0;
  d._ect = kInf;
  d._inTheta = false;
}

void emptyRecord(ThetaLambdaData& d, int index) {
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

// ---- both trees ----------------------------------------------------------------------

namespace {
void recompute(ThetaData& own, const ThetaData& l, const ThetaData& r, bool children) {
  nuvCPThetaRecompute(own, l, r, children);
}
void recompute(ThetaLambdaData& own, const ThetaLambdaData& l, const ThetaLambdaData& r,
               bool children) {
  nuvCPThetaLambdaRecompute(own, l, r, children);
}
}  // namespace

template <class Data>
bool NuvCPThetaTreeOf<Data>::init(PimAllocator* arena, int n) {
  _n = n;
  emptyRecord(_empty, n);
  const auto un = static_cast<std::size_t>(n > 0 ? n : 1);
  _data = static_cast<Data*>(arena->allocate(sizeof(Data) * un));
  _nodes = static_cast<Node**>(arena->allocate(sizeof(Node*) * un));
  if (!_data || !_nodes) return false;
  for (int i = 0; i < n; ++i) {
    new (&_data[i]) Data;
    emptyRecord(_data[i], i);
    _nodes[i] = _tree.insert(_data[i]._est, &_data[i]);
    if (!_nodes[i]) return false;
  }
  return true;
}

template <class Data>
void NuvCPThetaTreeOf<Data>::reset(NuvCPIntVarI* const* start, NuvCPIntVarI* const* duration) {
  for (int i = 0; i < _n; ++i) {
    Data& d = _data[i];
    emptyRecord(d, i);
    if constexpr (std::is_same_v<Data, ThetaLambdaData>) d._white = false;  // flags cleared
    d._est = start[i]->getMin();
    d._dur = duration[i]->getMin();
    _tree.updateKey(_nodes[i], d._est);
  }
}

template <class Data>
void NuvCPThetaTreeOf<Data>::recomputePath(int i) {
  for (Node* n = _nodes[i]; n; n = n->getParent()) {
    const Node* l = n->getLeft();
    const Node* r = n->getRight();
    recompute(*n->getData(), l ? *l->getData() : _empty, r ? *r->getData() : _empty, l || r);
  }
}

template class NuvCPThetaTreeOf<ThetaData>;
template class NuvCPThetaTreeOf<ThetaLambdaData>;

// ---- Θ-tree ---------------------------------------------------------------------------

void NuvCPThetaTree::add(int i) { setFlag(_data[i]._inTheta, true, i); }
void NuvCPThetaTree::remove(int i) { setFlag(_data[i]._inTheta, false, i); }

// ---- Θ-Λ-tree -------------------------------------------------------------------------

void NuvCPThetaLambdaTree::addWhite(int i) {
  if (!_data[i]._inTree) _data[i]._white = true;
  setFlag(_data[i]._inTree, true, i);
}

void NuvCPThetaLambdaTree::addGray(int i) {
  if (!_data[i]._inTree) _data[i]._white = false;
  setFlag(_data[i]._inTree, true, i);
}

void NuvCPThetaLambdaTree::reAdd(int i) { setFlag(_data[i]._inTree, true, i); }
void NuvCPThetaLambdaTree::remove(int i) { setFlag(_data[i]._inTree, false, i); }

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
