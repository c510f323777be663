#include "fd/NuvCPIntSetVarI.h"

#include <algorithm>
#include <bit>
#include <ostream>
#include <vector>

#include "fd/NuvCPCIntVarI.h"
#include "fd/NuvCPManagerI.h"

NuvCPIntSetVarI::NuvCPIntSetVarI(PimAllocator* allocator, NuvCPManagerI* solver, int lo, int hi)
    : NuvCPSetVarI(allocator, solver), _lo(lo), _hi(hi) {
  // INT32_MAX itself stays outside: next() answers it for "no more".
  if (!solver || hi < lo || hi == INT32_MAX || std::int64_t{hi} - lo + 1 > kMaxUniverse) return;
  const std::int64_t size = std::int64_t{hi} - lo + 1;
  _words = static_cast<std::int32_t>((size + 63) / 64);
  _required = allocator->allocateArray<Word>(static_cast<std::size_t>(_words));
  _possible = allocator->allocateArray<Word>(static_cast<std::size_t>(_words));
  _card = nuvCPNew<NuvCPCIntVarI>(allocator, allocator, solver, std::int64_t{0}, size);
  if (!_required || !_possible || !_card) return;
  for (int k = 0; k < _words; ++k) {
    _required[k] = {0, 0};
    const std::int64_t left = size - std::int64_t{k} * 64;
    _possible[k] = {left >= 64 ? ~std::uint64_t{0} : (std::uint64_t{1} << left) - 1, 0};
  }
  _possibleCount = static_cast<std::int32_t>(size);
  auto* link = nuvCPNew<NuvCPSetCardLinkI>(allocator, solver, this);
  _ok = link && solver->post(link) != NuvCPFailure;
}

NuvTrailI* NuvCPIntSetVarI::trail() const { return getSolver()->trail(); }

void NuvCPIntSetVarI::mark(PimMarker& m) {
  if (_card) m.mark(_card);
}

int NuvCPIntSetVarI::next(const Word* w, int e) const {
  std::int64_t k = std::max<std::int64_t>(std::int64_t{e} + 1, _lo) - _lo;
  const std::int64_t size = std::int64_t{_hi} - _lo + 1;
  while (k < size) {
    const std::uint64_t rest = w[k / 64].bits >> (k % 64);
    if (rest) return static_cast<int>(_lo + k + std::countr_zero(rest));
    k = (k / 64 + 1) * 64;
  }
  return INT32_MAX;
}

int NuvCPIntSetVarI::cardinalityFollows() {
  if (_card->updateMin(_requiredCount) == NuvCPFailure || _card->updateMax(_possibleCount) == NuvCPFailure)
    return NuvCPFailure;
  return NuvCPSuspend;
}

int NuvCPIntSetVarI::require(int e) {
  if (!isPossible(e)) return NuvCPFailure;
  if (isRequired(e)) return NuvCPSuspend;
  const auto k = static_cast<std::uint32_t>(e - _lo);
  Word& w = _required[k / 64];
  trail()->assign(w.bits, w.stamp, w.bits | std::uint64_t{1} << (k % 64));
  trail()->assign(_requiredCount, _requiredStamp, _requiredCount + 1);
  NuvCPManagerI* s = getSolver();
  s->schedule(_changeList.head);
  s->notifyRequires(_requiresList.head, this, e);
  return cardinalityFollows();
}

int NuvCPIntSetVarI::exclude(int e) {
  if (isRequired(e)) return NuvCPFailure;
  if (!isPossible(e)) return NuvCPSuspend;
  const auto k = static_cast<std::uint32_t>(e - _lo);
  Word& w = _possible[k / 64];
  trail()->assign(w.bits, w.stamp, w.bits & ~(std::uint64_t{1} << (k % 64)));
  trail()->assign(_possibleCount, _possibleStamp, _possibleCount - 1);
  NuvCPManagerI* s = getSolver();
  s->schedule(_changeList.head);
  s->notifyExcludes(_excludesList.head, this, e);
  return cardinalityFollows();
}

// MiniZinc's form of a set: {1,3,5}; an unbound variable prints its bounds
// as required..possible.
void NuvCPIntSetVarI::print(std::ostream& os) const {
  auto list = [&](const Word* w) {
    os << "{";
    bool first = true;
    for (int e = next(w, _lo - 1); e != INT32_MAX; e = next(w, e)) {
      os << (first ? "" : ",") << e;
      first = false;
    }
    os << "}";
  };
  if (!_ok) {
    os << "{}";
    return;
  }
  list(_required);
  if (!isBound()) {
    os << "..";
    list(_possible);
  }
}

PimDataI* NuvCPIntSetVarI::makeSnapshot(PimAllocator* a) {
  std::vector<int> elements;
  elements.reserve(static_cast<std::size_t>(_requiredCount));
  for (int e = nextRequired(_lo - 1); e != INT32_MAX; e = nextRequired(e)) elements.push_back(e);
  auto* snap = nuvCPNew<NuvCPIntSetVarSnapshotI>(a, a, getId(), static_cast<int>(elements.size()), elements.data());
  return snap && snap->ok() ? snap : nullptr;
}

int NuvCPIntSetVarI::restoreSnapshot(const PimDataI* snapshot) {
  const auto* snap = dynamic_cast<const NuvCPIntSetVarSnapshotI*>(snapshot);
  if (!snap) return NuvCPFailure;
  for (int k = 0; k < snap->size(); ++k)
    if (require(snap->element(k)) == NuvCPFailure) return NuvCPFailure;
  for (int e = nextPossible(_lo - 1), k = 0; e != INT32_MAX; e = nextPossible(e)) {
    while (k < snap->size() && snap->element(k) < e) ++k;
    if ((k == snap->size() || snap->element(k) != e) && exclude(e) == NuvCPFailure) return NuvCPFailure;
  }
  return NuvCPSuspend;
}

NuvCPIntSetVarSnapshotI::NuvCPIntSetVarSnapshotI(PimAllocator* allocator, int id, int count, const int* elements)
    : PimDataI(allocator), _id(id), _count(count) {
  if (count > 0) {
    _elements = allocator->allocateArray<std::int32_t>(static_cast<std::size_t>(count));
    if (_elements && elements) std::copy(elements, elements + count, _elements);
  }
}

void NuvCPIntSetVarSnapshotI::print(std::ostream& os) const {
  os << "{";
  for (int k = 0; k < _count; ++k) os << (k ? "," : "") << _elements[k];
  os << "}";
}

NuvCPSetCardLinkI::NuvCPSetCardLinkI(NuvCPManagerI* store, NuvCPIntSetVarI* x) : NuvCPCstrI(store, 6, true), _x(x) {}

void NuvCPSetCardLinkI::mark(PimMarker& m) {
  NuvCPCstrI::mark(m);
  m.mark(_x);
}

void NuvCPSetCardLinkI::print(std::ostream& os) const {
  os << "SetCardinality(" << *_x << ")";
  printStatus(os);
}

int NuvCPSetCardLinkI::propagate() {
  NuvCPIntSetVarI* x = _x;
  NuvCPIntVarI* c = x->card();
  if (c->updateMin(x->requiredCount()) == NuvCPFailure || c->updateMax(x->possibleCount()) == NuvCPFailure)
    return NuvCPFailure;
  if (x->isBound()) return NuvCPSuccess;
  // At the possible count every possible element is in; at the required
  // count every other one is out. Each step moves one count towards the
  // other, so one pass settles the link.
  if (c->getMin() == x->possibleCount()) {
    for (int e = x->nextPossible(x->universeMin() - 1); e != INT32_MAX; e = x->nextPossible(e)) {
      if (x->require(e) == NuvCPFailure) return NuvCPFailure;
    }
  } else if (c->getMax() == x->requiredCount()) {
    for (int e = x->nextPossible(x->universeMin() - 1); e != INT32_MAX; e = x->nextPossible(e)) {
      if (!x->isRequired(e) && x->exclude(e) == NuvCPFailure) return NuvCPFailure;
    }
  }
  return x->isBound() ? NuvCPSuccess : NuvCPSuspend;
}

int NuvCPSetCardLinkI::post(int) {
  _x->card()->addBounds(this);
  _x->addChange(this);
  return propagate();
}
