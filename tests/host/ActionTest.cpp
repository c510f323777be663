#include <gtest/gtest.h>

#include <sstream>

#include "host/NuvTrail.h"
#include "host/PimAction.h"

namespace {

// An action replays on whichever store it is handed.
struct CountOnStore : PimAbstractAction {
  using PimAbstractAction::PimAbstractAction;
  int execute(PimStoreI* s) override {
    last = s;
    return ++runs;
  }
  PimStoreI* last = nullptr;
  int runs = 0;
};

TEST(Action, ReplaysOnTheStoreItIsGiven) {
  NuvTrailI t;
  PimStoreI a(nullptr, &t), b(nullptr, &t);
  CountOnStore act;
  PimAbstractAction& base = act;
  EXPECT_EQ(base.execute(&a), 1);
  EXPECT_EQ(base.execute(&b), 2);
  EXPECT_EQ(act.last, &b);
  std::ostringstream os;
  os << base;
  EXPECT_EQ(os.str(), "Action");
}

}  // namespace
