// What the store needs from the host's search controller: whether it is
// recording the search (so that posts and decisions are kept for replay),
// taking an action to record, and a reset when the shaving propagator
// undoes a trial. The controllers themselves live above the module.
#pragma once

#include "host/PimCell.h"

class PimAbstractAction;

class NuvCPSearchControllerI : public PimDataI {
 public:
  using PimDataI::PimDataI;
  virtual bool isRecording() const = 0;
  // The controller keeps `action` (a cell of the store's arena).
  virtual void record(PimAbstractAction* action) = 0;
  virtual void reset(int how) = 0;
};
