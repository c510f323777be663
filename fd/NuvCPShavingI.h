// Shaving: bounds that a trial shows to lead nowhere are taken away.
#pragma once

#include <cstdint>
#include <iosfwd>

#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPIVarI.h"

class NuvCPUnaryResourceI;

// No relation of its own: it holds of every assignment. It strengthens the
// store's consistency on n variables x[i] to singleton bounds consistency
// (shaving, Martin and Shmoys, IPCO 1996; Carlier and Pinson's "global
// operations" for job-shop, 1994; Lhomme's "quick shaving", 2005): for
// each bound b of each x[i], the trial x[i] = b (the store narrowed
// accordingly and propagated to its fixpoint, then everything undone)
// fails exactly when b belongs to no solution the store's propagation can
// tell apart, and then b is removed for good.
//
// A trial tests a block of bounds at once: x[i] <= min + w (w = 0, 1, 3,
// 7, ... while trials fail, then halved back to 0), so a bound that moves by
// k costs O(log k) trials instead of k. At the end of a run every bound of
// every x[i] has survived its trial on the store as it stands
// (idempotent).
//
// Trials run inside this propagator's run: the store is first brought to
// its fixpoint (settleNested), then each trial opens a choice point,
// narrows, propagates, and undoes everything with the store's shaving
// reset (its queues emptied, the search controller reset, a fresh trail
// stamp). Runs at the lowest priority, after everything else.
// Cost of one run: O(n log D) trials, each a full propagation of the
// store (D the largest domain width); expensive by design, for models
// whose search space this pruning cuts down more.
// Shared arguments: a variable listed twice is shaved twice; each trial
// narrows through the variable, so views and repeated variables are sound.
// Members: the variables are constant; the cursor (where the last run
// stopped) and the busy flag are scratch: the flag keeps the nested
// fixpoint from running this propagator inside its own trials.
class NuvCPShavingI : public NuvCPCstrI {
 public:
  NuvCPShavingI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* x);
  std::size_t classSize() const override { return sizeof(NuvCPShavingI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  int propagate() override;
  int post(int level) override;
  bool ok() const { return _n == 0 || _x; }
  // Trials run so far (a test counter: shaving is about doing few).
  std::int64_t trials() const { return _trials; }
  int count() const { return _n; }
  NuvCPIntVarI* start(int i) const { return _x[i]; }

 protected:
  // What a trial propagates after its narrowing: the whole store here.
  virtual int trialPropagate();

 private:
  // Shaves one side of x[i]; `changed` is set when a bound moved.
  int shave(int i, bool fromBelow, bool& changed);

  std::int32_t _n;
  NuvCPIntVarI** _x = nullptr;
  bool _busy = false;
  std::int64_t _trials = 0;
};

// "CP$ShavingEdgeFinder": a unary resource (the edge-finding engine of
// NuvCPUnaryResourceI, posted alongside) whose starts are shaved against
// that resource alone: a trial narrows one start and runs only the
// engine, not the store (local shaving, as in Carlier and Pinson's and
// Péridy and Rivreau's job-shop work, "Local shaving for the job-shop",
// 2005). Cheaper than CP$Shaving by the store's size, weaker by what the
// rest of the model would add. Same relation and soundness as the engine;
// the consistency is singleton bounds consistency with respect to it.
// Cost of one run: O(n log H) engine runs of O(n log n) each (H the
// horizon). Members: the engine and the durations and ends are constant
// (end = start + duration is posted beside the engine).
class NuvCPShavingEdgeFinderI : public NuvCPShavingI {
 public:
  NuvCPShavingEdgeFinderI(NuvCPManagerI* store, int n, NuvCPIntVarI* const* s, NuvCPIntVarI* const* d,
                          NuvCPIntVarI* const* e, NuvCPUnaryResourceI* engine);
  std::size_t classSize() const override { return sizeof(NuvCPShavingEdgeFinderI); }
  void mark(PimMarker& m) override;
  void print(std::ostream& os) const override;
  int post(int level) override;

 protected:
  int trialPropagate() override;

 private:
  NuvCPUnaryResourceI* _engine;
  NuvCPIntVarI** _d = nullptr;
  NuvCPIntVarI** _e = nullptr;
};
