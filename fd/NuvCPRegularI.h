// Sequences accepted by a finite automaton, and the cost of the path.
#pragma once

#include <cstdint>
#include <iosfwd>

#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPIVarI.h"

#include <vector>

// A deterministic automaton: states 1..states, symbols 1..symbols,
// delta[(q - 1) * symbols + (s - 1)] the state after reading s in q (0: no
// transition), the initial state and a set of final states; optionally a
// cost per transition, in the same layout.
struct NuvCPAutomatonView {
  int states = 0, symbols = 0;
  const int* delta = nullptr;
  int initial = 1;
  const int* finals = nullptr;
  int finalCount = 0;
  const int* cost = nullptr;  // cost-regular only
};

// An automaton that owns its tables, for the constraints compiled into
// one: symbol s stands for the value s - 1 + `low`.
struct NuvCPAutomatonTables {
  int states = 0, symbols = 0, initial = 1, low = 0;
  std::vector<int> delta, finals;
  NuvCPAutomatonView view() const {
    NuvCPAutomatonView a;
    a.states = states;
    a.symbols = symbols;
    a.delta = delta.data();
    a.initial = initial;
    a.finals = finals.data();
    a.finalCount = static_cast<int>(finals.size());
    return a;
  }
};

// Stretch (Pesant, "A filtering algorithm for the stretch constraint", CP
// 2001, through the automaton of its runs): every maximal run of value
// values[j] is shortest[j]..longest[j] long, and no other value occurs.
// A state per (value, run length so far), so 1 + the sum of the longest
// runs (capped at n) states. Empty (states 0) when the values are not
// distinct or a bound is not positive.
NuvCPAutomatonTables nuvCPStretchAutomaton(int m, const int* values, const int* shortest, const int* longest, int n);
// Value precedence (s before t: a t occurs only after some s), over the
// values low..high: two states, s not seen yet and seen. Law and Lee's
// propagator reaches the same domain consistency ("Global constraints for
// integer and set value precedence", CP 2004).
NuvCPAutomatonTables nuvCPValuePrecedeAutomaton(int s, int t, int low, int high);

// x[0..n) is a word the automaton accepts (regular); with a cost variable
// c, also c = the sum of the costs of the transitions taken (cost-regular).
//
// Consistency: domain consistency on x (Pesant, "A regular language
// membership constraint for finite sequences of variables", CP 2004): the
// layered graph of the automaton unrolled over the n positions keeps, for
// every position, the transitions that lie on an accepting path through
// the current domains; a value without such a transition is removed. The
// graph is built once, at post, from the domains of that moment, and then
// only loses edges: a removed value kills its edges, a node left without
// incoming or outgoing edges kills the rest of its edges, and a value left
// without edges at its position is removed. The edge flags and the node
// and value counts are trailed, so backtracking restores the graph.
// Cost-regular adds bounds consistency on c and the edge filtering of
// Demassey, Pesant and Rousseau ("A cost-regular based hybrid column
// generation approach", Constraints 11, 2006): shortest and longest paths
// through every edge bound c, and an edge whose cheapest path costs more
// than c.max (or whose dearest path costs less than c.min) goes.
// Cost of one run: a scan of the values of every position (to see which
// were removed) plus O(1) per edge killed, so O(sum of domains + edges
// killed); cost-regular adds O(edges) per round of path bounds. Post:
// O(n * states * symbols) time and memory.
// Shared arguments: a variable at two positions is two positions whose
// values are removed independently; the scan repeats until no removal made
// during the run is missed, so the run ends at a fixpoint (idempotent) and
// the check is exact once everything is bound.
// Members: the automaton, the graph's layout and each edge's ends are
// constant (built at post); edge flags, degrees and value supports are
// trailed; the kill stack and the path bounds are scratch.
class NuvCPRegularI : public NuvCPCstrI {
 public:
  NuvCPRegularI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* x, const NuvCPAutomatonView& a,
                NuvCPIntVarI* cost = nullptr);
  std::size_t classSize() const override { return sizeof(NuvCPRegularI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;
  bool ok() const { return _delta && (_n == 0 || _x); }
  // Edges of the unrolled graph still alive (a test counter).
  int liveEdges() const;

 private:
  struct Edge {
    std::int32_t layer, from, to, value;  // states from 0
  };
  struct Counter {
    std::int32_t v;
    PimStamp s;
  };
  void set(Counter& c, std::int32_t v) { store()->trail()->assign(c.v, c.s, v); }
  int build();
  bool push(std::int32_t e);
  int drain();
  int costRound(bool& pushed);
  std::int32_t node(int layer, int state) const { return layer * _states + state; }
  std::int32_t slot(int layer, int value) const { return _slotBase[layer] + (value - _low[layer]); }

  std::int32_t _n;
  NuvCPIntVarI** _x = nullptr;
  NuvCPIntVarI* _cost;
  std::int32_t _states, _symbols, _initial;
  std::int32_t* _delta = nullptr;
  std::int32_t* _weight = nullptr;  // cost per transition, cost-regular only
  std::uint8_t* _final = nullptr;
  // The graph (built at post).
  std::int32_t _edgeCount = 0;
  Edge* _edges = nullptr;
  std::int32_t *_low = nullptr, *_slotBase = nullptr;
  std::int32_t *_byValueBegin = nullptr, *_byValue = nullptr;  // edges of a (position, value)
  std::int32_t *_outBegin = nullptr, *_out = nullptr;          // edges leaving a node
  std::int32_t *_inBegin = nullptr, *_in = nullptr;            // edges entering a node
  Counter *_alive = nullptr, *_outDeg = nullptr, *_inDeg = nullptr, *_support = nullptr;
  std::int32_t* _stack = nullptr;
  std::int32_t _top = 0;
  std::int64_t *_fmin = nullptr, *_fmax = nullptr, *_bmin = nullptr, *_bmax = nullptr;
};
