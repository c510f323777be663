// Precedences on a cumulative resource, reasoned about with energy.
#pragma once

#include <cstdint>
#include <iosfwd>

#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPIVarI.h"

class NuvCPTimeTableI;

// n activities (start s[i], duration d[i] >= 0, demand r[i] >= 0) on one
// resource of capacity C (a constant), and m arcs: arc k says activity
// from[k] ends before activity to[k] starts. Relation: every arc holds and
// at every time the running activities use at most C together.
//
// Consistency: precedence energy reasoning (Laborie, "Algorithms for
// propagating resource constraints in AI planning and scheduling",
// Artificial Intelligence 143, 2003, the "energy precedence" rule) over the
// transitive closure of the arcs: every predecessor of j, direct or not,
// must be done before j starts, and they all share the resource, so for
// every set P of j's predecessors with earliest start t,
//   s[j] >= t + ceil(energy(P) / C)        (energy: d.min * r.min summed)
// and also s[j] >= ect of each predecessor; symmetrically j ends by the
// latest completion of its successors less their energy. The rule takes,
// for each j, the best P among the predecessors sorted by earliest start.
// The resource itself is time-tabled by NuvCPTimeTableI, posted beside it
// (which makes the relation exact once everything is bound); this
// propagator adds what the precedences and the capacity say together,
// which neither says alone.
// Cost of one run: O(n * p log p) with p the largest number of
// predecessors or successors (O(n^2 log n) at worst); the closure is
// computed once, O(n^3 / 64) with bit sets.
// Shared arguments: every bound holds in all solutions and goes through the
// variables; sharing only weakens it.
// Members: the variables, C and the closure (bit sets of predecessors and
// successors) are constant; the sort buffer is scratch; nothing trailed.
class NuvCPPrecedenceEnergyI : public NuvCPCstrI {
 public:
  NuvCPPrecedenceEnergyI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* s, NuvCPIntVarI* const* d,
                         NuvCPIntVarI* const* r, int capacity, int m, const int* from, const int* to);
  std::size_t classSize() const override { return sizeof(NuvCPPrecedenceEnergyI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;
  bool ok() const { return _n == 0 || _scratch; }
  // True when the arcs close a cycle through an activity (it precedes
  // itself): fine for activities of duration 0 only.
  bool precedes(int i, int j) const {
    return (_pred[static_cast<std::size_t>(j) * _words + static_cast<std::size_t>(i) / 64] >> (i % 64)) & 1;
  }

 private:
  struct Item {
    std::int64_t time, energy;
  };
  int forward(int j);
  int backward(int j);

  std::int32_t _n, _m, _capacity;
  NuvCPIntVarI** _s;
  NuvCPIntVarI** _d;
  NuvCPIntVarI** _r;
  std::size_t _words = 0;
  std::uint64_t* _pred = nullptr;  // row j: the activities that precede j
  std::uint64_t* _succ = nullptr;  // row j: the activities j precedes
  Item* _items = nullptr;
  void* _scratch = nullptr;
  NuvCPTimeTableI* _resource = nullptr;
};
