// The host's search controller: depth-first search over binary choices,
// made only through the store's decision operations (label / diff for
// x = v | x != v, lthen / gthen for x <= m | x > m), with branch and bound
// for optimisation and limits on time, nodes, failures and solutions.
//
// Each left branch opens a choice point on the store's trail; backtracking
// pops it, lets the store re-impose what it must (restartPropagation) and
// takes the right branch in the parent's choice point, so the trail depth is
// the number of open left branches.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <random>
#include <string>
#include <vector>

class NuvCPIntVarI;
class NuvCPManagerI;
class NuvTrailI;

enum class NuvVarSelect {
  InputOrder,
  FirstFail,        // smallest domain
  AntiFirstFail,    // largest domain
  Smallest,         // smallest minimum
  Largest,          // largest maximum
  Occurrence,       // most constraints
  MostConstrained,  // smallest domain, ties by most constraints
  MaxRegret,        // largest gap between the two smallest values
  DomWDeg,          // smallest domain / failure weight
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
};

struct NuvSearchLimits {
  std::int64_t timeMs = 0;     // 0: none
  std::int64_t nodes = 0;      // 0: none
  std::int64_t failures = 0;   // 0: none
  std::int64_t solutions = 0;  // 0: none (satisfaction: stop after this many)
  // Set from outside (e.g. a signal handler) to stop as soon as possible.
  const std::atomic<bool>* stop = nullptr;
};

struct NuvSearchStats {
  std::int64_t nodes = 0;
  std::int64_t failures = 0;
  std::int64_t solutions = 0;
  std::int64_t peakDepth = 0;
  std::int64_t restarts = 0;
  double seconds = 0;
};

class NuvSearch {
 public:
  enum class Outcome {
    Exhausted,  // the whole tree was explored: answers are complete
    Stopped,    // a limit, the stop flag or the callback ended the search
  };

  NuvSearch(NuvCPManagerI* store, NuvTrailI* trail);

  // Phases are searched in order; a variable is labelled by the first phase
  // that holds it. Variables no phase covers stay as propagation leaves them.
  void addPhase(NuvSearchPhase phase);
  // How often each variable occurs in constraints (for occurrence and
  // most_constrained); variables absent count 0.
  void setDegree(const NuvCPIntVarI* x, int degree);
  // Branch and bound: every solution after the first is strictly better.
  // The search posts a minimise (maximise) objective as the store's hook:
  // tightened at each solution, re-imposed by the store after each restore.
  void setObjective(NuvCPIntVarI* x, bool maximize);
  void setSeed(std::uint64_t seed) { _rng.seed(seed); }

  // Runs the search. `onSolution` is called with every variable of every
  // phase bound; it answers false to stop the search.
  Outcome solve(const NuvSearchLimits& limits, const std::function<bool()>& onSolution);

  const NuvSearchStats& stats() const { return _stats; }
  bool hasObjective() const { return _objective != nullptr; }
  // The best objective value found (valid when stats().solutions > 0).
  std::int64_t best() const { return _best; }

 private:
  struct Choice {
    NuvCPIntVarI* var;
    int value;
    enum Kind : std::uint8_t { Label, LessEq, Greater } kind;  // the left branch
  };

  // The next choice, or false when every phase variable is bound.
  bool select(Choice& c);
  NuvCPIntVarI* selectVar(const NuvSearchPhase& p);
  int selectValue(NuvCPIntVarI* x, NuvValSelect s, Choice::Kind& kind);
  int applyLeft(const Choice& c);
  int applyRight(const Choice& c);
  // Pops choice points until a right branch can be taken; false when the
  // tree is exhausted.
  bool backtrack();
  bool limitReached();
  int weight(const NuvCPIntVarI* x) const;

  NuvCPManagerI* _store;
  NuvTrailI* _trail;
  std::vector<NuvSearchPhase> _phases;
  std::vector<Choice> _stack;
  std::vector<int> _degree;  // by variable id
  std::vector<int> _wdeg;    // by variable id: failures under a choice on it
  NuvCPIntVarI* _objective = nullptr;
  bool _maximize = false;
  bool _haveBest = false;
  std::int64_t _best = 0;
  std::mt19937_64 _rng{0};
  NuvSearchStats _stats;
  NuvSearchLimits _limits;
  std::chrono::steady_clock::time_point _start;
  bool _stopped = false;
};
