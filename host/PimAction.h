// Recordable actions.
//
// A search controller that records a search keeps the actions that built the
// model and the decisions it took, so that it can replay them later, on the
// same store after a restart or on another store of the same model. An action
// is a host cell, allocated in the arena of the store that made it.
#pragma once

#include <ostream>

#include "host/PimCell.h"

class PimAbstractAction : public PimDataI {
 public:
  using PimDataI::PimDataI;
  // Carries the action out on `store` and answers the status the store's
  // module gives it. The store may differ from the one the action was made on.
  virtual int execute(PimStoreI* store) = 0;
  std::size_t classSize() const override { return sizeof(PimAbstractAction); }
  void print(std::ostream& os) const override { os << "Action"; }
};
