// A graph of precedences among activities, propagated as a whole.
#pragma once

#include <cstdint>
#include <iosfwd>

#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPIVarI.h"

// n activities with start and duration variables and m arcs: arc k says
// start[from[k]] + duration[from[k]] + delay[k] <= start[to[k]].
//
// Consistency: the bounds every chain of arcs implies (longest paths from
// the earliest starts forward, to the latest starts backward), which
// the arcs as separate binary constraints reach too, but here with the
// graph's cycles recognised: a cycle of positive length (with minimum
// durations) fails at once instead of pushing bounds around it until a
// domain empties, which on a wide domain takes as many rounds as it is
// wide. Label-correcting (Bellman-Ford with a queue) over the activities
// whose bounds changed.
// Cost of one run: O(n * m) at worst, O(m) when bounds move along a DAG
// in order; an activity queued more than n times in one pass makes it
// check the weights for a positive cycle (Bellman-Ford, O(n * m)): holes in
// domains can make bounds leapfrog around a cycle of length 0, which is
// no reason to fail. Idempotent: it runs to its fixpoint.
// Shared arguments: each bound follows from the arcs and the current
// bounds; a variable in several places (two activities with one start) is
// handled as the arcs say.
// Members: the variables and the arcs (in CSR form, both directions) are
// constant; the queue, flags and counts are scratch; nothing is trailed.
class NuvCPPrecedenceGraphI : public NuvCPCstrI {
 public:
  NuvCPPrecedenceGraphI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* start, NuvCPIntVarI* const* duration,
                        int m, const int* from, const int* to, const int* delay);
  std::size_t classSize() const override { return sizeof(NuvCPPrecedenceGraphI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;
  bool ok() const { return _n == 0 || _scratch; }

 private:
  int forward();
  int backward();
  bool positiveCycle();

  std::int32_t _n, _m;
  NuvCPIntVarI** _start;
  NuvCPIntVarI** _duration;
  // Arcs out of (into) activity i: _outArc[_outBegin[i] .. _outBegin[i + 1]).
  std::int32_t *_outBegin = nullptr, *_outArc = nullptr, *_inBegin = nullptr, *_inArc = nullptr;
  std::int32_t *_from = nullptr, *_to = nullptr, *_delay = nullptr;
  std::int32_t *_queue = nullptr, *_count = nullptr;
  std::uint8_t* _queued = nullptr;
  std::int64_t* _dist = nullptr;
  void* _scratch = nullptr;
};
