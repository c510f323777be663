#include <gtest/gtest.h>

#include <cstdint>
#include <set>

#include "host/NuvTrail.h"
#include "host/PimError.h"

namespace {

// A trailed word with its stamp, as the engine keeps them.
template <class T>
struct Trailed {
  T value{};
  PimStamp stamp = 0;
  void set(NuvTrailI& t, T v) { t.assign(value, stamp, v); }
};

TEST(Trail, WordSavedOncePerChoicePoint) {
  NuvTrailI t;
  Trailed<std::int32_t> w;
  w.set(t, 5);
  EXPECT_EQ(t.size(), 0u) << "no choice point open: nothing to restore, nothing saved";
  t.push();
  for (int i = 0; i < 100; ++i) w.set(t, i);
  EXPECT_EQ(t.size(), 1u);
  t.pop();
  EXPECT_EQ(w.value, 5);
}

TEST(Trail, NestedChoicePointsRestoreExactly) {
  NuvTrailI t;
  Trailed<std::int32_t> a;
  Trailed<std::uint32_t> b;
  Trailed<std::int64_t> c;
  Trailed<double> d;
  Trailed<PimCellI*> p;
  PimCellI cell1, cell2;
  a.set(t, 1);
  b.set(t, 1u);
  c.set(t, 1);
  d.set(t, 1.5);
  p.set(t, &cell1);

  t.push();  // level 1
  a.set(t, 2);
  c.set(t, INT64_MAX);
  p.set(t, &cell2);
  t.push();  // level 2
  a.set(t, 3);
  b.set(t, 0xFFFFFFFFu);
  d.set(t, -0.25);
  p.set(t, nullptr);
  t.push();  // level 3
  a.set(t, 4);
  a.set(t, 5);

  t.pop();
  EXPECT_EQ(a.value, 3);
  t.pop();
  EXPECT_EQ(a.value, 2);
  EXPECT_EQ(b.value, 1u);
  EXPECT_EQ(d.value, 1.5);
  EXPECT_EQ(p.value, &cell2);
  EXPECT_EQ(c.value, INT64_MAX);
  // Writing again at level 1 after the pop must be saved against level 1.
  a.set(t, 9);
  t.pop();
  EXPECT_EQ(a.value, 1);
  EXPECT_EQ(c.value, 1);
  EXPECT_EQ(p.value, &cell1);
  EXPECT_EQ(t.depth(), 0u);
  t.pop();  // nothing open: no effect
  EXPECT_EQ(a.value, 1);
}

TEST(Trail, StampNeverReused) {
  NuvTrailI t;
  std::set<PimStamp> seen{t.stamp()};
  for (int round = 0; round < 50; ++round) {
    t.push();
    EXPECT_TRUE(seen.insert(t.stamp()).second);
    t.push();
    EXPECT_TRUE(seen.insert(t.stamp()).second);
    t.pop();
    EXPECT_TRUE(seen.insert(t.stamp()).second);
    t.pop();
    EXPECT_TRUE(seen.insert(t.stamp()).second);
    t.advanceStamp();
    EXPECT_TRUE(seen.insert(t.stamp()).second);
  }
}

// A word saved in a child that was popped, then written again in a sibling,
// must be saved again: the sibling's stamp differs from the child's.
TEST(Trail, SiblingBranchesSaveAfresh) {
  NuvTrailI t;
  Trailed<std::int32_t> w;
  w.set(t, 10);
  t.push();
  w.set(t, 11);
  t.pop();
  t.push();
  w.set(t, 12);
  t.pop();
  EXPECT_EQ(w.value, 10);
}

TEST(Trail, AdvanceStampForcesNewSave) {
  NuvTrailI t;
  Trailed<std::int32_t> w;
  t.push();
  w.set(t, 1);
  t.advanceStamp();
  w.set(t, 2);
  EXPECT_EQ(t.size(), 2u);
  t.pop();
  EXPECT_EQ(w.value, 0);
}

TEST(Trail, PeakSizeAndPopTo) {
  NuvTrailI t;
  Trailed<std::int32_t> w[10];
  t.push();
  for (auto& x : w) x.set(t, 1);
  t.push();
  for (int i = 0; i < 4; ++i) w[i].set(t, 2);
  EXPECT_EQ(t.peakSize(), 14u);
  t.popTo(0);
  EXPECT_EQ(t.size(), 0u);
  EXPECT_EQ(t.peakSize(), 14u);
  for (auto& x : w) EXPECT_EQ(x.value, 0);
}

TEST(TrailWrapper, Prints) {
  PimTrailWrapper w;
  w.trail()->push();
  std::ostringstream os;
  w.print(os);
  EXPECT_EQ(os.str(), "Trail(depth=1, size=0, peak=0)");
}

}  // namespace
