// The checker itself: a correct toy propagator passes, and each kind of
// fault it is meant to catch is caught.
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include "PropagatorChecker.h"

namespace {

using namespace nuvcheck;

enum class Fault { None, Overprune, TooWeak };

// x <= y, bounds reasoning, with an optional planted fault.
class ToyLEq : public NuvCPCstrI {
 public:
  ToyLEq(NuvCPManagerI* s, NuvCPIntVarI* x, NuvCPIntVarI* y, Fault f)
      : NuvCPCstrI(s, 7), _x(x), _y(y), _f(f) {}
  int post(int) override {
    _x->addBounds(this);
    _y->addBounds(this);
    return propagate();
  }
  int propagate() override {
    if (_f == Fault::TooWeak) return NuvCPSuspend;
    const int slack = _f == Fault::Overprune ? 1 : 0;
    if (!_x->updateMax(_y->getMax() - slack)) return NuvCPFailure;
    if (!_y->updateMin(_x->getMin())) return NuvCPFailure;
    return NuvCPSuspend;
  }

 private:
  NuvCPIntVarI* _x;
  NuvCPIntVarI* _y;
  Fault _f;
};

PropagatorChecker toy(Fault f) {
  return PropagatorChecker(
      randomDomains({{0, 5}, {0, 5}}),
      [f](NuvCPManagerI& s, const Vars& v) {
        return s.post(nuvCPNew<ToyLEq>(s.allocator(), &s, v[0], v[1], f));
      },
      [](const Assignment& a) { return a[0] <= a[1]; });
}

TEST(PropagatorChecker, CorrectPropagatorPassesWithBoundsConsistency) {
  Options o;
  o.consistency = Consistency::Bounds;
  Stats st = toy(Fault::None).run(o);
  EXPECT_GT(st.trials, 200);
  EXPECT_GT(st.trialsWithSolutions, 100);
  EXPECT_GT(st.trialsFailedAtPost, 0);
  EXPECT_GT(st.failures, 0);
  EXPECT_GT(st.nodes, 1000);
}

TEST(PropagatorChecker, CatchesPrunedSolution) {
  EXPECT_NONFATAL_FAILURE(toy(Fault::Overprune).run(), "pruned");
}

TEST(PropagatorChecker, CatchesBoundNonSolution) {
  EXPECT_NONFATAL_FAILURE(toy(Fault::TooWeak).run(), "non-solution");
}

TEST(PropagatorChecker, CatchesMissingDomainConsistency) {
  // x == y by bounds reasoning: bounds consistent, but holes of one side
  // leave values of the other unsupported.
  PropagatorChecker eq(
      randomDomains({{0, 5}, {0, 5}}, 0.5),
      [](NuvCPManagerI& s, const Vars& v) {
        struct Both : NuvCPCstrI {
          NuvCPIntVarI *x, *y;
          Both(NuvCPManagerI* s, NuvCPIntVarI* x, NuvCPIntVarI* y) : NuvCPCstrI(s, 7), x(x), y(y) {}
          int post(int) override {
            x->addDomain(this);
            y->addDomain(this);
            return propagate();
          }
          int propagate() override {
            for (int i = 0; i < 2; ++i) {
              if (!x->updateMin(y->getMin()) || !x->updateMax(y->getMax())) return NuvCPFailure;
              if (!y->updateMin(x->getMin()) || !y->updateMax(x->getMax())) return NuvCPFailure;
            }
            return NuvCPSuspend;
          }
        };
        return s.post(nuvCPNew<Both>(s.allocator(), &s, v[0], v[1]));
      },
      [](const Assignment& a) { return a[0] == a[1]; });
  Options o;
  o.consistency = Consistency::Bounds;
  eq.run(o);  // bounds reasoning is enough for bounds consistency
  o.consistency = Consistency::Domain;
  EXPECT_NONFATAL_FAILURE(eq.run(o), "has no support");
}

TEST(PropagatorChecker, SameSeedSameRun) {
  Options o;
  o.seed = 7;
  Stats a = toy(Fault::None).run(o);
  Stats b = toy(Fault::None).run(o);
  EXPECT_EQ(a.nodes, b.nodes);
  EXPECT_EQ(a.solutions, b.solutions);
  o.seed = 8;
  EXPECT_NE(toy(Fault::None).run(o).nodes, a.nodes);
}

}  // namespace
