// The host's search controller: depth-first search over binary choices,
// made only through the store's decision operations (label / diff for
// x = v | x != v, lthen / gthen for x <= m | x > m), with branch and bound
// for optimisation and limits on time, nodes, failures and solutions.
//
// Each left branch opens a choice point on the store's trail; backtracking
// pops it, lets the store re-impose what it must (restartPropagation) and
// takes the right branch in the parent's choice point, so the trail depth is
// the number of open left branches.
//
// The search keeps the path from the root to the current node as a list of
// decisions named by variable identifier. A path replays on any store built
// from the same model, which is how a node is handed to another worker: a
// worker can give away the right branch of an open choice (split) as a path,
// and the receiver searches the subtree below it (setRoot).
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "host/NuvTrail.h"

class NuvCPDaemonI;
class NuvCPIntVarI;
class NuvCPManagerI;
class NuvCPObjectiveI;
class NuvCPSearchControllerI;
class PimAbstractAction;

enum class NuvVarSelect {
  InputOrder,
  FirstFail,        // smallest domain
  AntiFirstFail,    // largest domain
  Smallest,         // smallest minimum
  Largest,          // largest maximum
  Occurrence,       // most constraints
  MostConstrained,  // smallest domain, ties by most constraints
  MaxRegret,        // largest gap between the two smallest values
  // Smallest domain size / failure weight (see NuvSearch::failureWeight);
  // equal ratios go to the smaller domain, then to the first in the phase.
  DomWDeg,
};

enum class NuvValSelect {
  Min,           // x = min | x != min
  Max,           // x = max | x != max
  Middle,        // the value nearest the middle of the bounds
  Median,        // the median of the remaining values
  Random,        // a random remaining value (seeded)
  Split,         // x <= mid | x > mid
  ReverseSplit,  // x > mid | x <= mid
  Interval,      // the first interval when there are holes, else Split
};

// Parses FlatZinc's names ("first_fail", "indomain_split", ...); false for
// an unknown name.
bool nuvVarSelectFromName(const std::string& name, NuvVarSelect& out);
bool nuvValSelectFromName(const std::string& name, NuvValSelect& out);

struct NuvSearchPhase {
  std::vector<NuvCPIntVarI*> vars;
  NuvVarSelect varSelect = NuvVarSelect::InputOrder;
  NuvValSelect valSelect = NuvValSelect::Min;
  // A complete phase tries every value: two solutions that differ on its
  // variables are two answers. A completion phase only completes a
  // solution, for variables whose values tell no answers apart: its
  // variables get one consistent assignment. A value that fails still gives
  // way to the next, so a completion is found whenever one exists, and a
  // failed completion backtracks into the complete phases; but once a
  // solution is found, the search goes straight back past every completion
  // choice to the last choice of a complete phase. Each assignment of the
  // complete phases' variables thus gives at most one solution.
  bool complete = true;
};

struct NuvSearchLimits {
  std::int64_t timeMs = 0;     // 0: none
  std::int64_t nodes = 0;      // 0: none
  std::int64_t failures = 0;   // 0: none
  std::int64_t solutions = 0;  // 0: none (stop after this many)
  // Set from outside (e.g. a signal handler: the flag is lock-free) to stop
  // as soon as possible; the last solution found stays readable.
  const std::atomic<bool>* stop = nullptr;
};

struct NuvSearchStats {
  std::int64_t nodes = 0;         // decisions taken, left and right
  std::int64_t failures = 0;      // decisions and restarts that failed
  std::int64_t solutions = 0;
  std::int64_t propagations = 0;  // events and propagator runs of the store
  std::int64_t peakDepth = 0;     // most open left branches at once
  std::int64_t peakTrail = 0;     // the trail's peak size
  std::int64_t restarts = 0;      // restartPropagation after a restore
  double seconds = 0;
};

// One step of a path. Decisions name their variable by its identifier in
// the store (its index in the integer-variable table), so that the path
// replays on another store built from the same model.
struct NuvSearchDecision {
  enum Op : std::uint8_t {
    Label,    // x = value
    Diff,     // x != value
    LessEq,   // x <= value
    Greater,  // x > value
    Action,   // a post the store recorded during the search
  };
  Op op = Label;
  std::int32_t var = -1;
  std::int32_t value = 0;
  PimAbstractAction* action = nullptr;  // Action only
};
using NuvSearchPath = std::vector<NuvSearchDecision>;

// Applies a path's steps in order on `store` through its decision
// operations, each followed by propagation; stops at the first failure.
// Answers the store's status (0 when a step failed or names a variable the
// store lacks).
int nuvSearchReplay(NuvCPManagerI* store, const NuvSearchPath& path);

class NuvSearch {
 public:
  enum class Outcome {
    Exhausted,  // the whole tree was explored: answers are complete
    Stopped,    // a limit, the stop flag or a callback ended the search
  };

  NuvSearch(NuvCPManagerI* store, NuvTrailI* trail);
  ~NuvSearch();
  NuvSearch(const NuvSearch&) = delete;
  NuvSearch& operator=(const NuvSearch&) = delete;

  // Phases are searched in order, the complete ones first (then the
  // objective), the completion ones last; a variable is labelled by the
  // first phase that holds it. Variables no phase covers stay as
  // propagation leaves them.
  // Without any phase the search labels every integer variable of the store
  // (views excepted) by dom/wdeg, smallest value first.
  void addPhase(NuvSearchPhase phase);
  // How often each variable occurs in constraints (for occurrence and
  // most_constrained); variables absent count 0.
  void setDegree(const NuvCPIntVarI* x, int degree);
  // Branch and bound: every solution after the first is strictly better.
  // The search posts a minimise (maximise) objective as the store's hook:
  // tightened at each solution, re-imposed by the store after each restore.
  // Without this call an objective the store already has is used.
  void setObjective(NuvCPIntVarI* x, bool maximize);
  void setSeed(std::uint64_t seed) { _rng.seed(seed); }
  // dom/wdeg's failure weights (NuvVarSelect::DomWDeg, the default).
  // Every propagator the store holds when solve() starts weighs 1. When a
  // decision (or the restart after a backtrack) fails, the store names the
  // daemon whose run failed, and its weight grows by an increment that is
  // itself multiplied by 1 / decay at each failure: a failure k failures ago
  // counts decay^k as much as the latest one (decay 1: plain failure
  // counts). A propagator that watches no variable of a complete phase (a
  // clause over introduced Booleans) tells nothing about the variables
  // searched: its failure also raises, by the same increment, those
  // propagators on its variables that do watch one (the reifications that
  // define the Booleans). Weights survive backtracking by design and last
  // until the next solve(); they are rescaled together long before they
  // could overflow. A variable's weight is the sum over the distinct
  // propagators on its subscription lists at the start of the search that
  // are still enabled (not entailed) at the current node; a view weighs as
  // its variable. Propagators posted during the search do not weigh, nor do
  // variables created during it (weight 0: chosen last). No randomness: the
  // same model and phases give the same tree, whatever the seed. The decay
  // is taken in (0, 1] (default 0.99); anything else means 1.
  void setWeightDecay(double decay);
  double failureWeight(const NuvCPIntVarI* x) const;
  double failureWeight(const NuvCPDaemonI* d) const;
  // Searches only the subtree below `root` (a path from split() or from
  // lastPath()); the root's steps are never undone by the search.
  void setRoot(NuvSearchPath root) { _root = std::move(root); }
  const NuvSearchPath& root() const { return _root; }
  // While recording, the search is the store's controller: posts the store
  // records (those after close()) join the path as Action steps.
  void setRecording(bool on) { _recording = on; }
  // Called every `everyNodes` nodes; answering false stops the search. The
  // place to hand work away with split().
  void setProgress(std::function<bool(NuvSearch&)> progress, std::int64_t everyNodes);

  // Runs the search. `onSolution` is called at every solution, with every
  // variable of every phase bound and the store in the solution's state
  // (for all solutions, or for each improving one when optimising); it
  // answers false to stop. The store is left as it was before the search.
  Outcome solve(const NuvSearchLimits& limits, const std::function<bool()>& onSolution);

  const NuvSearchStats& stats() const { return _stats; }
  bool hasObjective() const { return _objective != nullptr; }
  // The best objective value found (valid when stats().solutions > 0).
  std::int64_t best() const { return _best; }

  // The last solution found (the best, when optimising), kept after the
  // search whatever stopped it: the value of a variable bound in it.
  bool hasSolution() const { return _hasSolution; }
  bool lastValue(const NuvCPIntVarI* x, int& value) const;
  // The last solution as a path: the posts recorded on the way to it (when
  // recording), then a Label step for every variable bound in it; replayed
  // on a store of the same model it rebuilds that solution, with or without
  // the objective's bound.
  const NuvSearchPath& lastPath() const { return _lastPath; }
  // The path to the current node (inside the callbacks).
  const NuvSearchPath& path() const { return _path; }
  int depth() const { return static_cast<int>(_stack.size()); }

  // Gives away the right branch of the shallowest open choice of a complete
  // phase that still has one: `out` becomes the path to that subtree, which
  // this search will no longer visit. False when no open choice is left.
  // (A completion choice's alternatives stay here: they only matter until
  // this search has found the one completion it needs.)
  bool split(NuvSearchPath& out);

  // The store's recorder calls this with each post it records.
  void recordAction(PimAbstractAction* action);

 private:
  struct Choice {
    NuvCPIntVarI* var;
    std::int32_t value;
    std::uint32_t pathSize;  // the path's length before the left branch
    NuvSearchDecision::Op left;
    bool delegated;   // its right branch was given away
    bool completion;  // made by a completion phase
  };
  // The first variable of a phase that may still be unbound. Trailed: the
  // variables before it stay bound in the whole subtree.
  struct Cursor {
    std::int32_t start;
    PimStamp stamp;
  };

  // The next choice, or false when every phase variable is bound.
  bool select(Choice& c);
  NuvCPIntVarI* selectVar(const NuvSearchPhase& p, Cursor& cursor);
  int selectValue(NuvCPIntVarI* x, NuvValSelect s, NuvSearchDecision::Op& op);
  static int nthValue(const NuvCPIntVarI* x, int k);
  int apply(NuvSearchDecision::Op op, NuvCPIntVarI* x, int value);
  // Pops choice points until a right branch can be taken; false when the
  // tree is exhausted. After a solution, the choices of completion phases
  // are popped without taking their right branches.
  bool backtrack(bool afterSolution = false);
  bool limitReached();
  void countNode();
  // Counts a failure and raises the weight of the daemon the store blames.
  void onFailure();
  void buildWeights();
  void raiseWeight(std::size_t daemon);
  // An upper bound of failureWeight(x), read in constant time.
  double weightBound(const NuvCPIntVarI* x) const;
  std::size_t weightRow(const NuvCPIntVarI* x) const;
  void keepSolution();
  int degree(const NuvCPIntVarI* x) const;

  NuvCPManagerI* _store;
  NuvTrailI* _trail;
  std::vector<NuvSearchPhase> _phases;
  // The phases of the running search: the given ones (or the default) and
  // the objective last.
  std::vector<NuvSearchPhase> _work;
  std::vector<Cursor> _cursors;
  std::vector<Choice> _stack;
  NuvSearchPath _path;
  NuvSearchPath _lastPath;
  NuvSearchPath _root;
  std::vector<int> _degree;  // by variable id
  // dom/wdeg (built by buildWeights at each solve): the weights by daemon
  // identifier, the current increment and the decay; each variable's
  // distinct daemons (_varDaemons[_varStart[v] .. _varStart[v + 1]]) and the
  // transpose, each daemon's variables; and each variable's weight over all
  // its daemons, enabled or not, kept up to date at each failure.
  std::vector<double> _afc;
  double _afcInc = 1;
  double _decay = 0.99;
  std::vector<std::uint32_t> _varStart;
  std::vector<NuvCPDaemonI*> _varDaemons;
  std::vector<std::uint32_t> _daemonStart;
  std::vector<std::uint32_t> _daemonVars;
  std::vector<double> _varAfc;
  std::vector<std::size_t> _weightRow;  // by variable id: whose daemons count
  std::vector<std::uint8_t> _watchesSearched;  // by daemon: on a complete phase's variable
  std::vector<int> _solutionMin;  // the last solution, by variable id
  std::vector<int> _solutionMax;
  NuvCPIntVarI* _objective = nullptr;
  NuvCPObjectiveI* _bound = nullptr;  // the hook branch and bound tightens
  bool _maximize = false;
  bool _hasSolution = false;
  bool _recording = false;
  NuvCPSearchControllerI* _recorder = nullptr;
  std::int64_t _best = 0;
  std::mt19937_64 _rng{0};
  std::function<bool(NuvSearch&)> _progress;
  std::int64_t _progressEvery = 0;
  std::int64_t _progressCountdown = 0;
  NuvSearchStats _stats;
  NuvSearchLimits _limits;
  std::chrono::steady_clock::time_point _start;
  int _clockCountdown = 0;
  bool _stopped = false;
};
