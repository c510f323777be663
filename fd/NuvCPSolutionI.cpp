#include "fd/NuvCPSolutionI.h"

#include <iostream>

#include "fd/NuvCPBoolVarI.h"
#include "fd/NuvCPCIntVarI.h"
#include "fd/NuvCPManagerI.h"
#include "fd/NuvCPSetVarI.h"
#include "host/PimArchiver.h"
#include "host/PimError.h"
#include "host/Rav.h"

NuvCPSolutionI::NuvCPSolutionI(PimAllocator* allocator) : PimSolutionI(allocator) {}

NuvCPSolutionI::NuvCPSolutionI(PimAllocator* allocator, NuvCPManagerI* store)
    : PimSolutionI(allocator), _store(store) {
  _intCount = store->intVarCount();
  _floatCount = store->floatVarCount();
  _setCount = store->setVarCount();
  if (_intCount > 0) {
    _ints = allocator->allocateArray<NuvCPIntVarSnapshotI*>(static_cast<std::size_t>(_intCount));
    for (int i = 0; _ints && i < _intCount; ++i) {
      NuvCPIntVarI* x = store->getIntVar(i);
      _ints[i] = x ? x->makeSnapshot(allocator) : nullptr;
    }
  }
  // Float variables have no snapshot of their own yet: their slots stay
  // null and are skipped at restore.
  if (_floatCount > 0) {
    _floats = allocator->allocateArray<PimDataI*>(static_cast<std::size_t>(_floatCount));
    for (int i = 0; _floats && i < _floatCount; ++i) _floats[i] = nullptr;
  }
  if (_setCount > 0) {
    _sets = allocator->allocateArray<PimDataI*>(static_cast<std::size_t>(_setCount));
    for (int i = 0; _sets && i < _setCount; ++i) {
      NuvCPSetVarI* s = store->getSetVar(i);
      _sets[i] = s ? s->makeSnapshot(allocator) : nullptr;
    }
  }
}

void NuvCPSolutionI::mark(PimMarker& m) {
  m.mark(_store);
  m.mark(_attached);
  for (int i = 0; _ints && i < _intCount; ++i) m.mark(_ints[i]);
  for (int i = 0; _floats && i < _floatCount; ++i) m.mark(_floats[i]);
  for (int i = 0; _sets && i < _setCount; ++i) m.mark(_sets[i]);
}

void NuvCPSolutionI::print(std::ostream& os) const {
  os << "CPSolution(#vars=" << _intCount << ")" << std::endl;
  for (int i = 0; _ints && i < _intCount; ++i) {
    os << "\t";
    if (_ints[i]) _ints[i]->print(os);
    os << std::endl;
  }
  for (int i = 0; _sets && i < _setCount; ++i) {
    os << "\t";
    if (_sets[i]) _sets[i]->print(os);
    os << std::endl;
  }
}

int NuvCPSolutionI::intValue(int i) const {
  if (i < 0 || i >= _intCount || !_ints || !_ints[i])
    throw PimExecutionError(PimSource(), "the solution has no integer variable #" + std::to_string(i));
  return _ints[i]->value();
}

int NuvCPSolutionI::restore() {
  if (!_store) throw PimExecutionError(PimSource(), "the solution belongs to no store");
  return restoreOnto(_store, true);
}

int NuvCPSolutionI::restore(PimStoreI* target) {
  auto* cp = dynamic_cast<NuvCPManagerI*>(target);
  if (!cp) throw PimExecutionError(PimSource(), "a CP solution can only be restored onto a CP store");
  return restoreOnto(cp, false);
}

int NuvCPSolutionI::restoreOnto(NuvCPManagerI* target, bool own) {
  const RavRuntime* rt = target->runtime();
  const bool verbose = rt && const_cast<RavRuntime*>(rt)->program().getMgr()->getVerbosity() > 0;
  auto missing = [&](int i) {
    if (verbose) std::cout << "warning: we do not have a variable #" << i << std::endl;
  };
  int status = target->status();
  for (int i = 0; _ints && i < _intCount && status != NuvCPFailure; ++i) {
    if (!_ints[i]) continue;
    NuvCPIntVarI* x = target->getIntVar(i);
    if (!x) {
      missing(i);
      continue;
    }
    if (_ints[i]->restoreOnto(x) == NuvCPFailure) status = NuvCPFailure;
  }
  for (int i = 0; _floats && i < _floatCount; ++i) {
    if (!_floats[i]) continue;
    if (!target->getFloatVar(i)) missing(i);
  }
  for (int i = 0; _sets && i < _setCount && status != NuvCPFailure; ++i) {
    if (!_sets[i]) continue;
    NuvCPSetVarI* s = target->getSetVar(i);
    if (!s) {
      missing(i);
      continue;
    }
    // Onto its own store the set pass hands over the integer snapshot of the
    // same index, as it always has; onto another store, the set snapshot.
    const PimDataI* snap = own ? (i < _intCount && _ints ? _ints[i] : nullptr) : _sets[i];
    if (s->restoreSnapshot(snap) == NuvCPFailure) status = NuvCPFailure;
  }
  if (status == NuvCPFailure) {
    target->setStatus(NuvCPFailure);
    target->resetQueues();
    return NuvCPFailure;
  }
  target->setStatus(target->propagate());
  return target->status();
}

void NuvCPSolutionI::archive(PimArchiver& ar) const {
  ar.sendInt32(_intCount);
  ar.sendInt32(_floatCount);
  ar.sendInt32(_setCount);
  for (int i = 0; i < _intCount; ++i) ar.sendObject(_ints ? _ints[i] : nullptr);
  for (int i = 0; i < _setCount; ++i) ar.sendObject(_sets ? _sets[i] : nullptr);
  ar.sendObject(_attached);
}

void NuvCPSolutionI::unarchive(PimArchiver& ar) {
  _store = nullptr;
  _intCount = ar.receiveInt32();
  _floatCount = ar.receiveInt32();
  _setCount = ar.receiveInt32();
  if (_intCount < 0 || _floatCount < 0 || _setCount < 0)
    throw PimExecutionError(PimSource("archive", 0), "a solution with a negative count");
  PimAllocator* a = ar.allocator();
  _ints = _intCount > 0 ? a->allocateArray<NuvCPIntVarSnapshotI*>(static_cast<std::size_t>(_intCount))
                        : nullptr;
  _floats = nullptr;  // float snapshots are not archived
  _sets = _setCount > 0 ? a->allocateArray<PimDataI*>(static_cast<std::size_t>(_setCount)) : nullptr;
  if ((_intCount > 0 && !_ints) || (_setCount > 0 && !_sets))
    throw PimExecutionError(PimSource("archive", 0), "out of memory reading a solution");
  for (int i = 0; i < _intCount; ++i) {
    PimDataI* d = ar.receiveObject();
    _ints[i] = dynamic_cast<NuvCPIntVarSnapshotI*>(d);
    if (d && !_ints[i])
      throw PimExecutionError(PimSource("archive", 0), "a solution holds a foreign snapshot");
  }
  for (int i = 0; i < _setCount; ++i) _sets[i] = ar.receiveObject();
  _attached = ar.receiveObject();
}

void nuvCPRegisterArchiveClasses(PimArchiveRegistry& registry) {
  registry.add(NuvCPIntVarSnapshotI::kDataId, [](PimAllocator* a) -> PimDataI* {
    return pimCreate<NuvCPIntVarSnapshotI>(a, a);
  });
  registry.add(NuvCPBoolVarSnapshotI::kDataId, [](PimAllocator* a) -> PimDataI* {
    return pimCreate<NuvCPBoolVarSnapshotI>(a, a);
  });
  registry.add(NuvCPSolutionI::kDataId, [](PimAllocator* a) -> PimDataI* {
    return pimCreate<NuvCPSolutionI>(a, a);
  });
}
