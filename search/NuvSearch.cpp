#include "search/NuvSearch.h"

#include <utility>

#include "fd/NuvCPIVarI.h"
#include "fd/NuvCPManagerI.h"
#include "fd/NuvCPObjectiveI.h"
#include "fd/NuvCPStatus.h"
#include "host/NuvTrail.h"

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

NuvSearch::NuvSearch(NuvCPManagerI* store, NuvTrailI* trail) : _store(store), _trail(trail) {}

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

int NuvSearch::weight(const NuvCPIntVarI* x) const {
  const auto id = static_cast<std::size_t>(x->getId());
  return id < _wdeg.size() ? _wdeg[id] : 0;
}

// ---- choices ------------------------------------------------------------------------

NuvCPIntVarI* NuvSearch::selectVar(const NuvSearchPhase& p) {
  NuvCPIntVarI* best = nullptr;
  auto degree = [&](const NuvCPIntVarI* x) {
    const auto id = static_cast<std::size_t>(x->getId());
    return id < _degree.size() ? _degree[id] : 0;
  };
  for (NuvCPIntVarI* x : p.vars) {
    if (x->isBound()) continue;
    if (!best) {
      best = x;
      if (p.varSelect == NuvVarSelect::InputOrder) return x;
      continue;
    }
    bool better = false;
    switch (p.varSelect) {
      case NuvVarSelect::InputOrder: break;
      case NuvVarSelect::FirstFail: better = x->getSize() < best->getSize(); break;
      case NuvVarSelect::AntiFirstFail: better = x->getSize() > best->getSize(); break;
      case NuvVarSelect::Smallest: better = x->getMin() < best->getMin(); break;
      case NuvVarSelect::Largest: better = x->getMax() > best->getMax(); break;
      case NuvVarSelect::Occurrence: better = degree(x) > degree(best); break;
      case NuvVarSelect::MostConstrained:
        better = x->getSize() < best->getSize() ||
                 (x->getSize() == best->getSize() && degree(x) > degree(best));
        break;
      case NuvVarSelect::MaxRegret:
        better = x->gapAboveMin() > best->gapAboveMin();
        break;
      case NuvVarSelect::DomWDeg: {
        // size / (w + 1), compared without division
        const std::int64_t a = std::int64_t{x->getSize()} * (weight(best) + 1);
        const std::int64_t b = std::int64_t{best->getSize()} * (weight(x) + 1);
        better = a < b;
        break;
      }
    }
    if (better) best = x;
  }
  return best;
}

int NuvSearch::selectValue(NuvCPIntVarI* x, NuvValSelect s, Choice::Kind& kind) {
  const int lo = x->getMin(), hi = x->getMax();
  // Floor of the middle, without overflow.
  const int mid = static_cast<int>((std::int64_t{lo} + hi) >> 1);
  kind = Choice::Label;
  switch (s) {
    case NuvValSelect::Min: return lo;
    case NuvValSelect::Max: return hi;
    case NuvValSelect::Middle: {
      for (int d = 0;; ++d) {
        if (x->member(mid - d)) return mid - d;
        if (x->member(mid + d + 1)) return mid + d + 1;
      }
    }
    case NuvValSelect::Median: {
      int v = lo;
      for (int k = (x->getSize() - 1) / 2; k > 0; --k) v = x->nextValue(v);
      return v;
    }
    case NuvValSelect::Random: {
      std::uniform_int_distribution<int> pick(0, x->getSize() - 1);
      int v = lo;
      for (int k = pick(_rng); k > 0; --k) v = x->nextValue(v);
      return v;
    }
    case NuvValSelect::Split: kind = Choice::LessEq; return mid;
    case NuvValSelect::ReverseSplit: kind = Choice::Greater; return mid;
    case NuvValSelect::Interval: {
      if (static_cast<std::int64_t>(hi) - lo + 1 == x->getSize()) {
        kind = Choice::LessEq;
        return mid;
      }
      int end = lo;
      while (x->member(end + 1)) ++end;
      kind = Choice::LessEq;
      return end;
    }
  }
  return lo;
}

bool NuvSearch::select(Choice& c) {
  for (const NuvSearchPhase& p : _phases) {
    NuvCPIntVarI* x = selectVar(p);
    if (!x) continue;
    c.var = x;
    c.value = selectValue(x, p.valSelect, c.kind);
    return true;
  }
  return false;
}

int NuvSearch::applyLeft(const Choice& c) {
  switch (c.kind) {
    case Choice::Label: return _store->label(c.var, c.value);
    case Choice::LessEq: return _store->lthen(c.var, c.value + 1);
    case Choice::Greater: return _store->gthen(c.var, c.value);
  }
  return NuvCPFailure;
}

int NuvSearch::applyRight(const Choice& c) {
  switch (c.kind) {
    case Choice::Label: return _store->diff(c.var, c.value);
    case Choice::LessEq: return _store->gthen(c.var, c.value);
    case Choice::Greater: return _store->lthen(c.var, c.value + 1);
  }
  return NuvCPFailure;
}

// ---- the search -------------------------------------------------------------------

bool NuvSearch::limitReached() {
  if (_stopped) return true;
  if (_limits.stop && _limits.stop->load(std::memory_order_relaxed)) return _stopped = true;
  if (_limits.nodes && _stats.nodes >= _limits.nodes) return _stopped = true;
  if (_limits.failures && _stats.failures >= _limits.failures) return _stopped = true;
  // The clock is read every 64 nodes: cheap, and still well under a
  // millisecond between readings.
  if (_limits.timeMs && (_stats.nodes & 63) == 0) {
    const auto elapsed = std::chrono::steady_clock::now() - _start;
    if (std::chrono::duration_cast<std::chrono::milliseconds>(elapsed).count() >= _limits.timeMs)
      return _stopped = true;
  }
  return false;
}

bool NuvSearch::backtrack() {
  while (!_stack.empty()) {
    const Choice c = _stack.back();
    _stack.pop_back();
    _trail->pop();
    if (limitReached()) return false;
    // The restart re-imposes the objective's bound (the store's hook).
    if (!_store->restartPropagation()) {
      ++_stats.failures;
      continue;
    }
    ++_stats.nodes;
    if (applyRight(c) != NuvCPFailure) return true;
    ++_stats.failures;
    const auto id = static_cast<std::size_t>(c.var->getId());
    if (_wdeg.size() <= id) _wdeg.resize(id + 1, 0);
    ++_wdeg[id];
  }
  return false;
}

NuvSearch::Outcome NuvSearch::solve(const NuvSearchLimits& limits,
                                    const std::function<bool()>& onSolution) {
  _limits = limits;
  _stats = NuvSearchStats{};
  _start = std::chrono::steady_clock::now();
  _stopped = false;
  _haveBest = false;
  _stack.clear();
  // A choice point of the search's own, so that right branches taken at the
  // top level are undone too and the store ends as it started.
  _trail->push();
  // Branch and bound through the store's objective hook, posted inside the
  // search's own choice point so that it goes with the search.
  NuvCPCstrI* previousHook = _store->intObjective();
  NuvCPObjectiveI* objective = nullptr;
  if (_objective) {
    if (_maximize)
      objective = nuvCPNew<NuvCPMaximizeI>(_store->allocator(), _store, _objective);
    else
      objective = nuvCPNew<NuvCPMinimizeI>(_store->allocator(), _store, _objective);
    if (objective) {
      _store->setIntObjective(objective);
      _store->post(objective);
    }
  }

  bool alive = objective || !_objective ? _store->isConsistent() && _store->restartPropagation()
                                        : false;
  while (alive) {
    if (limitReached()) break;
    Choice c;
    if (!select(c)) {
      ++_stats.solutions;
      if (objective) {
        objective->tightenOnSolution();
        _best = static_cast<std::int64_t>(objective->getBound());
        _haveBest = true;
      }
      if (!onSolution() || (_limits.solutions && _stats.solutions >= _limits.solutions)) {
        _stopped = true;
        break;
      }
      // Without an objective the same store state has no other solution;
      // with one, a better solution lies elsewhere too.
      alive = backtrack();
      continue;
    }
    _trail->push();
    _stack.push_back(c);
    ++_stats.nodes;
    if (static_cast<std::int64_t>(_stack.size()) > _stats.peakDepth)
      _stats.peakDepth = static_cast<std::int64_t>(_stack.size());
    if (applyLeft(c) == NuvCPFailure) {
      ++_stats.failures;
      const auto id = static_cast<std::size_t>(c.var->getId());
      if (_wdeg.size() <= id) _wdeg.resize(id + 1, 0);
      ++_wdeg[id];
      alive = backtrack();
    }
  }
  // Leave the store as it was before the search.
  while (!_stack.empty()) {
    _stack.pop_back();
    _trail->pop();
  }
  _trail->pop();
  _store->setIntObjective(previousHook);
  _store->restartPropagation();
  _stats.seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - _start).count();
  return _stopped ? Outcome::Stopped : Outcome::Exhausted;
}
