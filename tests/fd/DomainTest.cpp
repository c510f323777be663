#include <gtest/gtest.h>

#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "fd/NuvCPDomain.h"
#include "host/PimArchiver.h"
#include "host/PimError.h"

namespace {

struct DomainTest : ::testing::Test {
  PimArenaAllocator arena;
  NuvTrailI trail;
  NuvCPDomainI* make(int lo, int hi) { return pimCreate<NuvCPDomainI>(&arena, &arena, &trail, lo, hi); }
  static std::string str(const NuvCPDomainI& d) {
    std::ostringstream os;
    d.print(os);
    return os.str();
  }
};

TEST_F(DomainTest, WordCountAndWordBoundaries) {
  EXPECT_EQ(make(0, 31)->wordCount(), 1);
  EXPECT_EQ(make(0, 32)->wordCount(), 2);
  EXPECT_EQ(make(-1073741823, 1073741822)->wordCount(), 67108864);
  NuvCPDomainI* d = make(10, 100);
  // [10, 41] is exactly word 0: to + 1 starts word 1, which stays untouched.
  EXPECT_EQ(d->removeRange(10, 41), 32);
  EXPECT_TRUE(d->member(42));
  EXPECT_EQ(d->nextValue(10), 42);
  // Partly absent ranges count only what was present.
  EXPECT_EQ(d->removeRange(40, 45), 4);
  EXPECT_EQ(d->removeRange(10, 45), 0);
  EXPECT_EQ(d->countBetween(10, 100), 55);
  EXPECT_EQ(d->countBetween(46, 46), 1);
  // A range inside one word, and one across three words.
  EXPECT_EQ(d->removeRange(50, 52), 3);
  EXPECT_EQ(d->removeRange(60, 99), 40);
  EXPECT_EQ(str(*d), "{46,47,48,49,53,54,55,56,57,58,59,100}");
  EXPECT_EQ(d->nextValue(60), 100);
  EXPECT_EQ(d->prevValue(99), 59);
  EXPECT_EQ(d->prevValue(52), 49);
  EXPECT_EQ(d->nextValue(53), 53) << "a present value is its own next value";
}

TEST_F(DomainTest, NegativeUniverse) {
  NuvCPDomainI* d = make(-40, -1);
  d->setValue(-40, false);
  d->setValue(-2, false);
  EXPECT_EQ(d->nextValue(-40), -39);
  EXPECT_EQ(d->prevValue(-1), -1);
  EXPECT_EQ(d->prevValue(-2), -3);
  d->setValue(-100, false);  // outside: nothing happens
  d->setValue(5, false);
  EXPECT_EQ(d->countBetween(-40, -1), 38);
}

TEST_F(DomainTest, TrailsEachWordOncePerChoicePointAndRestores) {
  NuvCPDomainI* d = make(0, 99);
  trail.push();
  d->setValue(3, false);
  d->setValue(5, false);
  EXPECT_EQ(trail.size(), 1u) << "two bits of one word: one save";
  d->removeRange(20, 70);  // words 0, 1 and 2; word 0 is already saved
  EXPECT_EQ(trail.size(), 3u);
  trail.push();
  d->setValue(3, true);
  d->removeRange(0, 99);
  EXPECT_EQ(d->countBetween(0, 99), 0);
  trail.pop();
  EXPECT_EQ(d->countBetween(0, 99), 100 - 2 - 51);
  EXPECT_FALSE(d->member(3));
  trail.pop();
  EXPECT_EQ(d->countBetween(0, 99), 100);
}

// Random operations against a std::set, with backtracking.
TEST_F(DomainTest, MatchesAReferenceSetUnderRandomOperations) {
  std::mt19937 rng(7);
  const int lo = -70, hi = 130;
  NuvCPDomainI* d = make(lo, hi);
  std::vector<std::set<int>> saved;
  std::set<int> ref;
  for (int v = lo; v <= hi; ++v) ref.insert(v);
  for (int step = 0; step < 3000; ++step) {
    int op = rng() % 10;
    int a = lo + static_cast<int>(rng() % (hi - lo + 1));
    int b = std::min(hi, a + static_cast<int>(rng() % 40));
    if (op == 0 && saved.size() < 20) {
      trail.push();
      saved.push_back(ref);
    } else if (op == 1 && !saved.empty()) {
      trail.pop();
      ref = saved.back();
      saved.pop_back();
    } else if (op < 5) {
      int expected = 0;
      for (int v = a; v <= b; ++v) expected += static_cast<int>(ref.erase(v));
      ASSERT_EQ(d->removeRange(a, b), expected);
    } else if (op < 7) {
      d->setValue(a, op == 5);
      if (op == 5) {
        ref.insert(a);
      } else {
        ref.erase(a);
      }
    } else {
      int expected = 0;
      for (int v = a; v <= b; ++v) expected += static_cast<int>(ref.count(v));
      ASSERT_EQ(d->countBetween(a, b), expected);
      auto it = ref.lower_bound(a);
      if (it != ref.end()) {
        ASSERT_EQ(d->nextValue(a), *it);
      }
      auto jt = ref.upper_bound(b);
      if (jt != ref.begin()) {
        ASSERT_EQ(d->prevValue(b), *std::prev(jt));
      }
    }
    for (int v : {lo, 0, hi, a}) ASSERT_EQ(d->member(v), ref.count(v) == 1);
  }
}

TEST_F(DomainTest, CopyCloneArchiveAndPrint) {
  NuvCPDomainI* d = make(1, 5);
  d->setValue(2, false);
  d->setValue(4, false);
  EXPECT_EQ(str(*d), "{1,3,5}");
  NuvCPDomainI* c = d->clone();
  ASSERT_NE(c, nullptr);
  EXPECT_EQ(str(*c), "{1,3,5}");
  c->setValue(2, true);
  EXPECT_FALSE(d->member(2)) << "the clone owns its own words";
  NuvCPDomainI* e = make(1, 5);
  EXPECT_EQ(e->copyFrom(*d), 1);
  EXPECT_EQ(str(*e), "{1,3,5}");

  PimMemorySocket mem;
  PimArchiver ar(mem, &arena);
  d->archive(ar);
  EXPECT_EQ(mem.bytes().size(), 8u) << "one word and its stamp";
  NuvCPDomainI back(&arena, &trail, 1, 5, true);
  back.unarchive(ar);
  EXPECT_EQ(str(back), "{1,3,5}");
  arena.setLimit(arena.bytesInUse());
  EXPECT_EQ(d->clone(), nullptr) << "an exhausted allocator gives no clone";
}

TEST_F(DomainTest, BrokenPreconditionsAreReportedAndExecutionContinues) {
  std::vector<std::string> seen;
  auto previous = pimSetAssertionHandler([&](const char* c, const char* p, int l) {
    seen.push_back(std::string(c) + "@" + p + ":" + std::to_string(l));
  });
  NuvCPDomainI* d = make(0, 9);
  EXPECT_FALSE(d->member(10));
  EXPECT_EQ(d->removeRange(5, 12), 5);
  NuvCPDomainI* other = make(0, 8);
  other->copyFrom(*d);
  d->removeRange(0, 4);
  d->prevValue(9);  // nothing present at or below 9
  pimSetAssertionHandler(previous);
  ASSERT_EQ(seen.size(), 4u);
  EXPECT_EQ(seen[0], "b >= _min && b <= _max@..\\..\\fd\\NuvCPDomain:43");
  EXPECT_EQ(seen[1], "to >= _min && to <= _max@..\\..\\fd\\NuvCPDomain:111");
  EXPECT_EQ(seen[2], "_max == src->_max && _min == src->_min@..\\..\\fd\\NuvCPDomain:52");
  EXPECT_EQ(seen[3], "(_bits[mw] & mask) == mask@..\\..\\fd\\NuvCPDomain:215");
}

}  // namespace

namespace {

// The word-at-a-time queries against the values listed one by one, on random
// domains whose universe does not start on a word boundary.
TEST_F(DomainTest, NthValueAndNextAbsentMatchTheValuesOneByOne) {
  std::mt19937 rng(7);
  for (int round = 0; round < 200; ++round) {
    const int lo = static_cast<int>(rng() % 100) - 50, hi = lo + static_cast<int>(rng() % 200);
    NuvCPDomainI* d = make(lo, hi);
    std::vector<int> present;
    for (int v = lo; v <= hi; ++v) {
      if (rng() % 3 == 0 && v != hi) d->setValue(v, false);
      if (d->member(v)) present.push_back(v);
    }
    const int from = present[rng() % present.size()];
    std::size_t first = 0;
    while (present[first] < from) ++first;
    for (std::size_t k = 0; first + k < present.size(); ++k)
      ASSERT_EQ(d->nthValue(from, static_cast<int>(k)), present[first + k]) << round << " " << k;
    for (int v = lo - 1; v <= hi; ++v) {
      std::int64_t absent = v;
      while (absent >= lo && absent <= hi && d->member(static_cast<int>(absent))) ++absent;
      ASSERT_EQ(d->nextAbsent(v), absent) << round << " " << v;
    }
  }
}

}  // namespace
