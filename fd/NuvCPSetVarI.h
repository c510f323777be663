// The part of a set variable that the engine calls: the store's decisions on
// sets and the replay of recorded set decisions. The set variables implement
// it; each operation answers a status.
#pragma once

#include "host/PimCell.h"

class NuvCPManagerI;

class NuvCPSetVarI : public PimDataI {
 public:
  // Registers the variable in the store's set-variable table.
  NuvCPSetVarI(PimAllocator* allocator, NuvCPManagerI* solver);

  NuvCPManagerI* getSolver() const { return _solver; }
  int getId() const { return _id; }

  virtual int inside(int element) = 0;
  virtual int outside(int element) = 0;
  virtual int require(int element) = 0;
  virtual int exclude(int element) = 0;
  // The snapshot a solution keeps (null: the variable has none) and its
  // restore, which answers a status.
  virtual PimDataI* makeSnapshot(PimAllocator*) { return nullptr; }
  virtual int restoreSnapshot(const PimDataI*) { return 2; }

 private:
  NuvCPManagerI* _solver;
  int _id;
};
