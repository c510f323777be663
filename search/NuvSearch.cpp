#include "search/NuvSearch.h"

#include <algorithm>
#include <climits>
#include <utility>

#include "fd/NuvCPConstraintI.h"
#include "fd/NuvCPDomain.h"
#include "fd/NuvCPIVarI.h"
#include "fd/NuvCPManagerI.h"
#include "fd/NuvCPObjectiveI.h"
#include "fd/NuvCPSearchControllerI.h"
#include "fd/NuvCPStatus.h"
#include "host/NuvTrail.h"
#include "host/PimAction.h"

namespace {

using Op = NuvSearchDecision::Op;

// The store's controller while a search records: the posts the store
// records join the search's path.
class NuvSearchRecorderI final : public NuvCPSearchControllerI {
 public:
  NuvSearchRecorderI(PimAllocator* a, NuvSearch* search) : NuvCPSearchControllerI(a), _search(search) {}
  bool isRecording() const override { return _search != nullptr; }
  void record(PimAbstractAction* action) override {
    if (_search) _search->recordAction(action);
  }
  // A shaving trial undoes itself within one propagator run and takes no
  // decision: the path has nothing to forget.
  void reset(int) override {}
  void detach() { _search = nullptr; }
  std::size_t classSize() const override { return sizeof(NuvSearchRecorderI); }
  void mark(PimMarker& m) override {
    if (!_search) return;
    for (const NuvSearchDecision& d : _search->path()) m.mark(d.action);
    for (const NuvSearchDecision& d : _search->lastPath()) m.mark(d.action);
  }

 private:
  NuvSearch* _search;
};

Op opposite(Op op) {
  switch (op) {
    case Op::Label: return Op::Diff;
    case Op::Diff: return Op::Label;
    case Op::LessEq: return Op::Greater;
    case Op::Greater: return Op::LessEq;
    case Op::Action: break;
  }
  return Op::Action;
}

int applyDecision(NuvCPManagerI* store, Op op, NuvCPIntVarI* x, int value) {
  switch (op) {
    case Op::Label: return store->label(x, value);
    case Op::Diff: return store->diff(x, value);
    // x <= INT_MAX holds for every variable: nothing to decide.
    case Op::LessEq: return value == INT32_MAX ? store->status() : store->lthen(x, value + 1);
    case Op::Greater: return store->gthen(x, value);
    case Op::Action: break;
  }
  return NuvCPFailure;
}

}  // namespace

bool nuvVarSelectFromName(const std::string& n, NuvVarSelect& out) {
  static const std::pair<const char*, NuvVarSelect> kNames[] = {
      {"input_order", NuvVarSelect::InputOrder},
      {"first_fail", NuvVarSelect::FirstFail},
      {"anti_first_fail", NuvVarSelect::AntiFirstFail},
      {"smallest", NuvVarSelect::Smallest},
      {"largest", NuvVarSelect::Largest},
      {"occurrence", NuvVarSelect::Occurrence},
      {"most_constrained", NuvVarSelect::MostConstrained},
      {"max_regret", NuvVarSelect::MaxRegret},
      {"dom_w_deg", NuvVarSelect::DomWDeg},
  };
  for (const auto& [name, v] : kNames)
    if (n == name) {
      out = v;
      return true;
    }
  return false;
}

bool nuvValSelectFromName(const std::string& n, NuvValSelect& out) {
  static const std::pair<const char*, NuvValSelect> kNames[] = {
      {"indomain_min", NuvValSelect::Min},
      {"indomain", NuvValSelect::Min},
      {"indomain_max", NuvValSelect::Max},
      {"indomain_middle", NuvValSelect::Middle},
      {"indomain_median", NuvValSelect::Median},
      {"indomain_random", NuvValSelect::Random},
      {"indomain_split", NuvValSelect::Split},
      {"indomain_reverse_split", NuvValSelect::ReverseSplit},
      {"indomain_interval", NuvValSelect::Interval},
  };
  for (const auto& [name, v] : kNames)
    if (n == name) {
      out = v;
      return true;
    }
  return false;
}

int nuvSearchReplay(NuvCPManagerI* store, const NuvSearchPath& path) {
  for (const NuvSearchDecision& d : path) {
    int r;
    if (d.op == Op::Action) {
      r = d.action ? d.action->execute(store) : NuvCPFailure;
    } else {
      NuvCPIntVarI* x = store->getIntVar(d.var);
      r = x ? applyDecision(store, d.op, x, d.value) : NuvCPFailure;
    }
    if (r == NuvCPFailure) return NuvCPFailure;
  }
  return store->status();
}

NuvSearch::NuvSearch(NuvCPManagerI* store, NuvTrailI* trail) : _store(store), _trail(trail) {}

NuvSearch::~NuvSearch() {
  // The recorder is a cell of the store's arena and may outlive the search.
  if (_recorder) static_cast<NuvSearchRecorderI*>(_recorder)->detach();
}

void NuvSearch::addPhase(NuvSearchPhase phase) { _phases.push_back(std::move(phase)); }

void NuvSearch::setDegree(const NuvCPIntVarI* x, int degree) {
  const auto id = static_cast<std::size_t>(x->getId());
  if (_degree.size() <= id) _degree.resize(id + 1, 0);
  _degree[id] = degree;
}

void NuvSearch::setObjective(NuvCPIntVarI* x, bool maximize) {
  _objective = x;
  _maximize = maximize;
}

void NuvSearch::setProgress(std::function<bool(NuvSearch&)> progress, std::int64_t everyNodes) {
  _progress = std::move(progress);
  _progressEvery = everyNodes > 0 ? everyNodes : 1;
}

void NuvSearch::setWeightDecay(double decay) {
  _decay = decay > 0 && decay <= 1 ? decay : 1;
}

void NuvSearch::buildWeights() {
  const auto daemons = static_cast<std::size_t>(_store->daemonCount());
  const auto vars = static_cast<std::size_t>(_store->intVarCount());
  _afcInc = 1;
  _afc.assign(daemons, 1.0);
  _varAfc.assign(vars, 0.0);
  _varStart.assign(vars + 1, 0);
  _varDaemons.clear();
  // Variable -> distinct daemons: a daemon on several of a variable's lists
  // counts once (the stamp marks those already taken).
  std::vector<std::uint32_t> seen(daemons, 0u);
  NuvCPListHead* lists[NuvCPIntVarI::kMaxSubscriptionLists];
  for (std::size_t v = 0; v < vars; ++v) {
    _varStart[v] = static_cast<std::uint32_t>(_varDaemons.size());
    NuvCPIntVarI* x = _store->getIntVar(static_cast<int>(v));
    if (!x || x->isView()) continue;
    const auto stamp = static_cast<std::uint32_t>(v + 1);
    const int n = x->subscriptionLists(lists);
    for (int i = 0; i < n; ++i)
      for (const NuvCPDListI* node = lists[i]->head; node; node = node->next()) {
        NuvCPDaemonI* d = node->daemon();
        const auto id = static_cast<std::size_t>(d->identifier());
        if (id >= daemons || seen[id] == stamp) continue;
        seen[id] = stamp;
        _varDaemons.push_back(d);
      }
    _varAfc[v] = static_cast<double>(_varDaemons.size() - _varStart[v]);
  }
  _varStart[vars] = static_cast<std::uint32_t>(_varDaemons.size());
  // A view's subscriptions are its variable's.
  _weightRow.resize(vars);
  for (std::size_t v = 0; v < vars; ++v) {
    const NuvCPIntVarI* x = _store->getIntVar(static_cast<int>(v));
    const NuvCPIntVarI* y = x && x->isView() ? x->getViewedVar() : nullptr;
    _weightRow[v] = y ? static_cast<std::size_t>(y->getId()) : v;
  }
  // Daemon -> variables, the transpose (a counting sort).
  _daemonStart.assign(daemons + 1, 0);
  for (const NuvCPDaemonI* d : _varDaemons) ++_daemonStart[static_cast<std::size_t>(d->identifier()) + 1];
  for (std::size_t i = 0; i < daemons; ++i) _daemonStart[i + 1] += _daemonStart[i];
  _daemonVars.assign(_varDaemons.size(), 0);
  std::vector<std::uint32_t> fill(_daemonStart.begin(), _daemonStart.end() - 1);
  for (std::size_t v = 0; v < vars; ++v)
    for (std::uint32_t k = _varStart[v]; k < _varStart[v + 1]; ++k)
      _daemonVars[fill[static_cast<std::size_t>(_varDaemons[k]->identifier())]++] =
          static_cast<std::uint32_t>(v);
  // The propagators that watch a variable of a complete phase.
  std::vector<std::uint8_t> searched(vars, 0);
  for (const NuvSearchPhase& p : _work)
    if (p.complete)
      for (const NuvCPIntVarI* x : p.vars) {
        const std::size_t v = weightRow(x);
        if (v < vars) searched[v] = 1;
      }
  _watchesSearched.assign(daemons, 0);
  for (std::size_t v = 0; v < vars; ++v)
    if (searched[v])
      for (std::uint32_t k = _varStart[v]; k < _varStart[v + 1]; ++k)
        _watchesSearched[static_cast<std::size_t>(_varDaemons[k]->identifier())] = 1;
}

std::size_t NuvSearch::weightRow(const NuvCPIntVarI* x) const {
  const auto id = static_cast<std::size_t>(x->getId());
  return id < _weightRow.size() ? _weightRow[id] : _weightRow.size();
}

double NuvSearch::failureWeight(const NuvCPIntVarI* x) const {
  const std::size_t v = weightRow(x);
  if (v + 1 >= _varStart.size()) return 0;  // created after the search began
  double w = 0;
  for (std::uint32_t k = _varStart[v]; k < _varStart[v + 1]; ++k) {
    const NuvCPDaemonI* d = _varDaemons[k];
    if (d->isEnabled()) w += _afc[static_cast<std::size_t>(d->identifier())];
  }
  return w;
}

double NuvSearch::weightBound(const NuvCPIntVarI* x) const {
  const std::size_t v = weightRow(x);
  return v < _varAfc.size() ? _varAfc[v] : 0;
}

double NuvSearch::failureWeight(const NuvCPDaemonI* d) const {
  const auto id = static_cast<std::size_t>(d->identifier());
  return id < _afc.size() ? _afc[id] : 0;
}

int NuvSearch::degree(const NuvCPIntVarI* x) const {
  const auto id = static_cast<std::size_t>(x->getId());
  return id < _degree.size() ? _degree[id] : 0;
}

bool NuvSearch::lastValue(const NuvCPIntVarI* x, int& value) const {
  const auto id = static_cast<std::size_t>(x->getId());
  if (!_hasSolution || id >= _solutionMin.size() || _solutionMin[id] != _solutionMax[id]) return false;
  value = _solutionMin[id];
  return true;
}

bool NuvSearch::split(NuvSearchPath& out) {
  for (Choice& c : _stack) {
    if (c.delegated || c.completion) continue;
    out.assign(_path.begin(), _path.begin() + c.pathSize);
    out.push_back(NuvSearchDecision{opposite(c.left), c.var->getId(), c.value, nullptr});
    c.delegated = true;
    return true;
  }
  return false;
}

void NuvSearch::recordAction(PimAbstractAction* action) {
  if (action) _path.push_back(NuvSearchDecision{Op::Action, -1, 0, action});
}

// ---- choices ------------------------------------------------------------------------

NuvCPIntVarI* NuvSearch::selectVar(const NuvSearchPhase& p, Cursor& cursor) {
  NuvCPIntVarI* const* vars = p.vars.data();
  const int n = static_cast<int>(p.vars.size());
  int i = cursor.start;
  while (i < n && vars[i]->isBound()) ++i;
  if (i != cursor.start) _trail->assign(cursor.start, cursor.stamp, i);
  if (i == n) return nullptr;
  NuvCPIntVarI* best = vars[i];
  if (p.varSelect == NuvVarSelect::InputOrder) return best;

  if (p.varSelect == NuvVarSelect::DomWDeg) {
    // The smallest size / weight, compared without division (a weight of
    // 0 makes the ratio infinite); equal ratios go to the smaller domain,
    // then to the first in the phase. The weight of every propagator on a
    // variable, enabled or not, bounds its weight from above and costs
    // nothing to read: a variable whose ratio under that bound is already
    // worse than the best is not summed. (The margin keeps rounding, the
    // bound being summed in another order, from skipping an equal.)
    double bestSize = best->getSize(), bestWeight = failureWeight(best);
    for (++i; i < n; ++i) {
      NuvCPIntVarI* x = vars[i];
      if (x->isBound()) continue;
      const double size = x->getSize();
      if (size * bestWeight > bestSize * weightBound(x) * (1 + 1e-9)) continue;
      const double w = failureWeight(x);
      const double lhs = size * bestWeight, rhs = bestSize * w;
      if (lhs < rhs || (lhs == rhs && size < bestSize)) {
        best = x;
        bestSize = size;
        bestWeight = w;
      }
    }
    return best;
  }
  // Every other rule minimises one key; the first of equals wins.
  auto key = [&](const NuvCPIntVarI* x) -> std::int64_t {
    switch (p.varSelect) {
      case NuvVarSelect::FirstFail: return x->getSize();
      case NuvVarSelect::AntiFirstFail: return -std::int64_t{x->getSize()};
      case NuvVarSelect::Smallest: return x->getMin();
      case NuvVarSelect::Largest: return -std::int64_t{x->getMax()};
      case NuvVarSelect::Occurrence: return -std::int64_t{degree(x)};
      case NuvVarSelect::MostConstrained:
        return (std::int64_t{x->getSize()} << 32) - degree(x);
      case NuvVarSelect::MaxRegret: return -std::int64_t{x->gapAboveMin()};
      case NuvVarSelect::InputOrder:
      case NuvVarSelect::DomWDeg: break;
    }
    return 0;
  };
  std::int64_t bestKey = key(best);
  for (++i; i < n; ++i) {
    NuvCPIntVarI* x = vars[i];
    if (x->isBound()) continue;
    const std::int64_t k = key(x);
    if (k < bestKey) {
      best = x;
      bestKey = k;
    }
  }
  return best;
}

int NuvSearch::selectValue(NuvCPIntVarI* x, NuvValSelect s, Op& op) {
  const int lo = x->getMin(), hi = x->getMax();
  // Floor of the middle, without overflow.
  const int mid = static_cast<int>((std::int64_t{lo} + hi) >> 1);
  op = Op::Label;
  switch (s) {
    case NuvValSelect::Min: return lo;
    case NuvValSelect::Max: return hi;
    case NuvValSelect::Middle: {
      for (int d = 0;; ++d) {
        if (x->member(mid - d)) return mid - d;
        if (x->member(mid + d + 1)) return mid + d + 1;
      }
    }
    case NuvValSelect::Median: return nthValue(x, (x->getSize() - 1) / 2);
    case NuvValSelect::Random: {
      std::uniform_int_distribution<int> pick(0, x->getSize() - 1);
      return nthValue(x, pick(_rng));
    }
    case NuvValSelect::Split: op = Op::LessEq; return mid;
    case NuvValSelect::ReverseSplit: op = Op::Greater; return mid;
    case NuvValSelect::Interval: {
      op = Op::LessEq;
      if (static_cast<std::int64_t>(hi) - lo + 1 == x->getSize()) return mid;
      if (const NuvCPDomainI* d = x->isView() ? nullptr : x->getDomain())
        return static_cast<int>(d->nextAbsent(lo) - 1);
      int end = lo;
      while (x->member(end + 1)) ++end;
      return end;
    }
  }
  return lo;
}

// The k-th (from 0) value of x: on a plain variable with holes a word of
// its domain at a time, as a domain of a million values must not cost a
// million steps per decision.
int NuvSearch::nthValue(const NuvCPIntVarI* x, int k) {
  const int lo = x->getMin();
  if (static_cast<std::int64_t>(x->getMax()) - lo + 1 == x->getSize()) return lo + k;
  if (const NuvCPDomainI* d = x->isView() ? nullptr : x->getDomain()) return d->nthValue(lo, k);
  int v = lo;
  for (; k > 0; --k) v = x->nextValue(v);  // the next value above v
  return v;
}

bool NuvSearch::select(Choice& c) {
  const std::size_t n = _work.size();
  for (std::size_t i = 0; i < n; ++i) {
    const NuvSearchPhase& p = _work[i];
    NuvCPIntVarI* x = selectVar(p, _cursors[i]);
    if (!x) continue;
    c.var = x;
    c.value = selectValue(x, p.valSelect, c.left);
    c.delegated = false;
    c.completion = !p.complete;
    return true;
  }
  return false;
}

int NuvSearch::apply(Op op, NuvCPIntVarI* x, int value) {
  _store->clearFailedDaemon();
  return applyDecision(_store, op, x, value);
}

// ---- the search -------------------------------------------------------------------

bool NuvSearch::limitReached() {
  if (_stopped) return true;
  if (_limits.stop && _limits.stop->load(std::memory_order_relaxed)) return _stopped = true;
  if (_limits.nodes && _stats.nodes >= _limits.nodes) return _stopped = true;
  if (_limits.failures && _stats.failures >= _limits.failures) return _stopped = true;
  // The clock is read once every 64 checks: cheap, and still well under a
  // millisecond between readings.
  if (_limits.timeMs && --_clockCountdown <= 0) {
    _clockCountdown = 64;
    const auto elapsed = std::chrono::steady_clock::now() - _start;
    if (std::chrono::duration_cast<std::chrono::milliseconds>(elapsed).count() >= _limits.timeMs)
      return _stopped = true;
  }
  return false;
}

void NuvSearch::countNode() {
  ++_stats.nodes;
  const auto depth = static_cast<std::int64_t>(_stack.size());
  if (depth > _stats.peakDepth) _stats.peakDepth = depth;
}

void NuvSearch::raiseWeight(std::size_t id) {
  _afc[id] += _afcInc;
  for (std::uint32_t k = _daemonStart[id]; k < _daemonStart[id + 1]; ++k) _varAfc[_daemonVars[k]] += _afcInc;
}

void NuvSearch::onFailure() {
  ++_stats.failures;
  const NuvCPDaemonI* d = _store->failedDaemon();
  if (!d) return;  // the decision's own narrowing failed: nobody to blame
  const auto id = static_cast<std::size_t>(d->identifier());
  if (id >= _afc.size()) return;  // posted during the search: not weighed
  raiseWeight(id);
  // A propagator that watches no searched variable (a clause over reified
  // Booleans) says nothing about the variables the search chooses: its
  // failure also goes to the propagators of its variables that do watch
  // one (the reifications that define those Booleans).
  if (!_watchesSearched[id])
    for (std::uint32_t k = _daemonStart[id]; k < _daemonStart[id + 1]; ++k) {
      const std::uint32_t v = _daemonVars[k];
      for (std::uint32_t j = _varStart[v]; j < _varStart[v + 1]; ++j) {
        const auto e = static_cast<std::size_t>(_varDaemons[j]->identifier());
        if (e != id && _watchesSearched[e]) raiseWeight(e);
      }
    }
  // Raising the increment instead of decaying every weight: after k more
  // failures an old one counts decay^k as much as a new one.
  _afcInc /= _decay;
  if (_afcInc > 1e100) {
    for (double& w : _afc) w *= 1e-100;
    for (double& w : _varAfc) w *= 1e-100;
    _afcInc *= 1e-100;
  }
}

bool NuvSearch::backtrack(bool afterSolution) {
  while (!_stack.empty()) {
    const Choice c = _stack.back();
    _stack.pop_back();
    _trail->pop();
    _path.resize(c.pathSize);  // shrinks: no allocation
    // Back at the choice, x != v with v at a bound of x is a bound
    // decision, and consecutive bound decisions on one variable keep only
    // the tightest: branch and bound takes millions of right branches at
    // one level, and the path would otherwise hold each of them. (The
    // bounds are read before the restart narrows them.)
    Op right = opposite(c.left);
    int value = c.value;
    if (right == Op::Diff && value == c.var->getMin()) {
      right = Op::Greater;
    } else if (right == Op::Diff && value == c.var->getMax()) {
      right = Op::LessEq;
      --value;
    }
    if (c.delegated) continue;  // another worker owns the right branch
    // The solution just found completed this choice's complete-phase
    // assignment; its other completions are not other answers. Completion
    // choices only ever sit above the complete ones, so the first complete
    // choice met ends the skipping.
    if (afterSolution && c.completion) continue;
    if (limitReached()) return false;
    // The restart re-imposes the objective's bound (the store's hook).
    ++_stats.restarts;
    _store->clearFailedDaemon();
    if (!_store->restartPropagation()) {
      onFailure();
      continue;
    }
    const std::int32_t id = c.var->getId();
    NuvSearchDecision* last = _path.empty() ? nullptr : &_path.back();
    if (last && last->var == id && last->op == right && right == Op::Greater && last->value <= value)
      last->value = value;
    else if (last && last->var == id && last->op == right && right == Op::LessEq && last->value >= value)
      last->value = value;
    else
      _path.push_back(NuvSearchDecision{right, id, value, nullptr});
    countNode();
    if (apply(right, c.var, value) != NuvCPFailure) return true;
    onFailure();
  }
  return false;
}

void NuvSearch::keepSolution() {
  ++_stats.solutions;
  _hasSolution = true;
  for (std::size_t i = 0; i < _solutionMin.size(); ++i) {
    const NuvCPIntVarI* x = _store->getIntVar(static_cast<int>(i));
    _solutionMin[i] = x ? x->getMin() : 0;
    _solutionMax[i] = x ? x->getMax() : -1;
  }
  // Every decision was on a phase variable, and every phase variable is
  // bound here, so the values alone rebuild the solution on any store (the
  // decisions might need the objective's bound); only the recorded posts
  // are kept from the path. Copying the whole path instead made branch and
  // bound quadratic: the right branches taken at a level accumulate on it.
  _lastPath.clear();
  if (_recording)
    for (const NuvSearchDecision& d : _path)
      if (d.op == Op::Action) _lastPath.push_back(d);
  for (std::size_t i = 0; i < _solutionMin.size(); ++i) {
    const NuvCPIntVarI* x = _store->getIntVar(static_cast<int>(i));
    if (x && !x->isView() && _solutionMin[i] == _solutionMax[i])
      _lastPath.push_back(NuvSearchDecision{Op::Label, static_cast<std::int32_t>(i), _solutionMin[i], nullptr});
  }
  if (_bound) {
    _bound->tightenOnSolution();
    _best = static_cast<std::int64_t>(_bound->getBound());
  }
}

NuvSearch::Outcome NuvSearch::solve(const NuvSearchLimits& limits,
                                    const std::function<bool()>& onSolution) {
  _limits = limits;
  _stats = NuvSearchStats{};
  _start = std::chrono::steady_clock::now();
  _stopped = false;
  _hasSolution = false;
  _clockCountdown = 0;
  _stack.clear();
  _path.clear();
  _lastPath.clear();
  const std::uint32_t propagationsBefore = _store->propagationCount();
  const auto varCount = static_cast<std::size_t>(_store->intVarCount());
  _solutionMin.assign(varCount, 0);
  _solutionMax.assign(varCount, -1);

  NuvCPCstrI* const previousHook = _store->intObjective();
  // With a hook the store already had, the search does not know the
  // objective's variable and cannot label it before the completions: a
  // completion could then decide the objective's value, and skipping the
  // others could miss a better solution. Every phase is complete then.
  const bool hookOnly = !_objective && previousHook && previousHook->isObjective();
  _work.clear();
  for (const NuvSearchPhase& p : _phases)
    if (p.complete || hookOnly) {
      _work.push_back(p);
      _work.back().complete = true;
    }
  if (_phases.empty()) {
    NuvSearchPhase all;
    all.varSelect = NuvVarSelect::DomWDeg;
    for (std::size_t i = 0; i < varCount; ++i) {
      NuvCPIntVarI* x = _store->getIntVar(static_cast<int>(i));
      if (x && !x->isView()) all.vars.push_back(x);
    }
    _work.push_back(std::move(all));
  }
  // The objective is labelled after the complete phases, towards its better
  // end, so that it is bound at every solution even when no phase names it.
  // Before the completions: each completion then has the objective's value
  // already fixed, and the first one found is as good as any other (branch
  // and bound needs no other), while the objective's own alternatives are
  // still searched in full.
  if (_objective) {
    NuvSearchPhase last;
    last.vars.push_back(_objective);
    last.valSelect = _maximize ? NuvValSelect::Max : NuvValSelect::Min;
    _work.push_back(std::move(last));
  }
  if (!hookOnly)
    for (const NuvSearchPhase& p : _phases)
      if (!p.complete) _work.push_back(p);

  // After the objective's hook: it weighs too.
  buildWeights();

  // A choice point of the search's own, so that right branches taken at the
  // top level are undone too and the store ends as it started.
  const std::size_t baseDepth = _trail->depth();
  _trail->push();
  // Never moved during the search: the trail holds the cursors' addresses.
  _cursors.assign(_work.size(), Cursor{0, _trail->stamp()});

  // Branch and bound through the store's objective hook, posted inside the
  // search's own choice point so that it goes with the search.
  NuvCPSearchControllerI* const previousController = _store->controller();
  _bound = nullptr;
  bool alive = true;
  if (_objective) {
    if (_maximize)
      _bound = nuvCPNew<NuvCPMaximizeI>(_store->allocator(), _store, _objective);
    else
      _bound = nuvCPNew<NuvCPMinimizeI>(_store->allocator(), _store, _objective);
    if (_bound) {
      _store->setIntObjective(_bound);
      _store->post(_bound);
    } else {
      alive = false;
    }
  } else if (previousHook && previousHook->isObjective()) {
    _bound = dynamic_cast<NuvCPObjectiveI*>(previousHook);
  }

  auto finish = [&] {
    _store->setController(previousController);
    _trail->popTo(baseDepth);
    _stack.clear();
    _store->setIntObjective(previousHook);
    _stats.propagations = static_cast<std::uint32_t>(_store->propagationCount() - propagationsBefore);
    _stats.peakTrail = static_cast<std::int64_t>(_trail->peakSize());
    _stats.seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - _start).count();
  };

  try {
    alive = alive && _store->isConsistent() && _store->restartPropagation();
    if (alive && !_root.empty()) {
      _path = _root;
      alive = nuvSearchReplay(_store, _root) != NuvCPFailure;
    }
    // Installed after the root's replay, whose own posts are in the root.
    if (_recording) {
      if (!_recorder)
        _recorder = nuvCPNew<NuvSearchRecorderI>(_store->allocator(), _store->allocator(), this);
      if (_recorder) _store->setController(_recorder);
    }
    std::int64_t nextProgress = _progress ? _progressEvery : INT64_MAX;

    while (alive && !limitReached()) {
      if (_stats.nodes >= nextProgress) {
        nextProgress = _stats.nodes + _progressEvery;
        if (!_progress(*this)) {
          _stopped = true;
          break;
        }
      }
      Choice c;
      if (!select(c)) {
        keepSolution();
        if (!onSolution() || (_limits.solutions && _stats.solutions >= _limits.solutions)) {
          _stopped = true;
          break;
        }
        // Without an objective this node has no other solution; with one,
        // a better solution lies elsewhere too.
        alive = backtrack(true);
        continue;
      }
      _trail->push();
      c.pathSize = static_cast<std::uint32_t>(_path.size());
      _stack.push_back(c);
      _path.push_back(NuvSearchDecision{c.left, c.var->getId(), c.value, nullptr});
      countNode();
      if (apply(c.left, c.var, c.value) == NuvCPFailure) {
        onFailure();
        alive = backtrack();
      }
    }
  } catch (...) {
    finish();
    throw;
  }
  finish();
  return _stopped ? Outcome::Stopped : Outcome::Exhausted;
}
