// Compacting a store's propagator lists must not change what propagation
// does: every enabled daemon stays subscribed, in the same order, to the
// same events (with its index and view intact), disabled daemons leave, and
// nothing happens while a choice point is open.
#include <gtest/gtest.h>

#include <vector>

#include "fd/NuvCPBoolVarI.h"
#include "fd/NuvCPCIntVarI.h"
#include "fd/NuvCPManagerI.h"
#include "fd/NuvCPRelationI.h"
#include "host/NuvTrail.h"
#include "host/PimAllocator.h"

namespace {

std::vector<NuvCPDaemonI*> daemons(const NuvCPListHead& l) {
  std::vector<NuvCPDaemonI*> out;
  for (NuvCPDListI* n = l.head; n; n = n->next()) out.push_back(n->daemon());
  return out;
}

TEST(ListLayout, CompactedListsKeepOrderAndEventsAndDropDisabledDaemons) {
  PimArenaAllocator arena;
  NuvTrailI trail;
  NuvCPManagerI store(&arena, &trail);
  auto var = [&](int lo, int hi) { return nuvCPNew<NuvCPCIntVarI>(&arena, &arena, &store, lo, hi); };
  auto* x = static_cast<NuvCPCIntVarI*>(var(0, 9));
  std::vector<NuvCPIntVarI*> ys;
  std::vector<NuvCPCstrI*> ne;
  for (int i = 0; i < 6; ++i) {
    ys.push_back(var(0, 9));
    ne.push_back(nuvCPNew<NuvCPNEqualI>(&arena, &store, x, ys.back(), i));
    ASSERT_EQ(store.post(ne.back()), NuvCPSuspend);
  }
  // A Boolean with its own list, and one daemon entailed at the root.
  auto* b = nuvCPNew<NuvCPBoolVarI>(&arena, &arena, &store);
  ASSERT_EQ(store.post(nuvCPNew<NuvCPNEqualI>(&arena, &store, b, ys[0], 0)), NuvCPSuspend);
  ASSERT_NE(ys[5]->bind(7), NuvCPFailure);  // x != 7 + 5: ne[5] is done
  ASSERT_NE(store.propagate(), NuvCPFailure);
  ASSERT_FALSE(ne[5]->isEnabled());

  std::vector<NuvCPDaemonI*> before;
  for (NuvCPDaemonI* d : daemons(x->bindList()))
    if (d->isEnabled()) before.push_back(d);
  ASSERT_EQ(before.size(), 5u);

  // Refused under a choice point.
  trail.push();
  EXPECT_FALSE(nuvCPCompactLists(&store));
  trail.pop();
  ASSERT_TRUE(nuvCPCompactLists(&store));
  EXPECT_EQ(daemons(x->bindList()), before);
  // The nodes now lie in one block, in list order.
  const NuvCPListHead& l = x->bindList();
  for (NuvCPDListI* n = l.head; n && n->next(); n = n->next())
    EXPECT_EQ(reinterpret_cast<const char*>(n) + n->classSize(),
              reinterpret_cast<const char*>(n->next()));

  // Propagation through the copies: x = 3 removes 3 - i from y_i.
  trail.push();
  ASSERT_NE(x->bind(3), NuvCPFailure);
  ASSERT_NE(store.propagate(), NuvCPFailure);
  for (int i = 0; i < 5; ++i) EXPECT_FALSE(ys[i]->member(3 - i)) << i;
  EXPECT_TRUE(ys[5]->isBound());
  trail.pop();
  // b != y0 through the Boolean's compacted list.
  trail.push();
  ASSERT_NE(b->bind(1), NuvCPFailure);
  ASSERT_NE(store.propagate(), NuvCPFailure);
  EXPECT_FALSE(ys[0]->member(1));
  trail.pop();
  EXPECT_TRUE(ys[0]->member(1));
}

}  // namespace
