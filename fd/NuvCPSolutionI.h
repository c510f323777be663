// A solution: the state of every variable of a store at one moment, as
// snapshots, to be printed, archived and restored onto the same store or
// another one.
#pragma once

#include <cstdint>
#include <iosfwd>

#include "host/PimCell.h"

class NuvCPManagerI;
class NuvCPIntVarSnapshotI;

class NuvCPSolutionI : public PimSolutionI {
 public:
  static constexpr int kDataId = 0x4E53;  // archive tag

  // Takes the snapshots of every variable of `store`.
  NuvCPSolutionI(PimAllocator* allocator, NuvCPManagerI* store);
  // An empty solution for unarchiving.
  explicit NuvCPSolutionI(PimAllocator* allocator);

  int getDataId() const override { return kDataId; }
  std::size_t classSize() const override { return sizeof(NuvCPSolutionI); }
  void mark(PimMarker& m) override;
  // "CPSolution(#vars=" n ")", then a tab and one snapshot a line.
  void print(std::ostream& os) const override;
  void archive(PimArchiver& ar) const override;
  void unarchive(PimArchiver& ar) override;

  // Imposes the snapshots on the variables of the solution's own store, or
  // of `target`; a variable the target lacks is skipped (with a warning line
  // when the host's verbosity is above 0). Answers the target's status.
  int restore();
  int restore(PimStoreI* target);

  int intCount() const { return _intCount; }
  int floatCount() const { return _floatCount; }
  int setCount() const { return _setCount; }
  const NuvCPIntVarSnapshotI* intSnapshot(int i) const { return _ints ? _ints[i] : nullptr; }
  // The value of the i-th integer variable (it must be bound).
  int intValue(int i) const;
  NuvCPManagerI* store() const { return _store; }
  PimDataI* attached() const { return _attached; }
  void attach(PimDataI* d) { _attached = d; }

 private:
  int restoreOnto(NuvCPManagerI* target, bool own);

  std::int32_t _intCount = 0;
  std::int32_t _floatCount = 0;
  std::int32_t _setCount = 0;
  NuvCPIntVarSnapshotI** _ints = nullptr;
  PimDataI** _floats = nullptr;
  PimDataI** _sets = nullptr;
  NuvCPManagerI* _store = nullptr;
  PimDataI* _attached = nullptr;
};

class PimArchiveRegistry;
// Makes the module's archived classes (snapshots, solutions) readable.
void nuvCPRegisterArchiveClasses(PimArchiveRegistry& registry);
