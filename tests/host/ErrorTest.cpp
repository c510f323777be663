#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "host/PimError.h"

namespace {

TEST(Errors, CarrySourceAndMessage) {
  try {
    throw PimNullPointerError(PimSource("model.fzn", 12, 4), "alldifferent(null)");
  } catch (const PimError& e) {
    EXPECT_EQ(e.message(), "alldifferent(null)");
    EXPECT_EQ(e.source().line, 12);
    EXPECT_STREQ(e.what(), "model.fzn:12:4: alldifferent(null)");
  }
  EXPECT_STREQ(PimExecutionError(PimSource(), "bare").what(), "bare");
}

TEST(Errors, AssertionReportsAndContinues) {
  struct Seen {
    std::string cond, path;
    int line;
  };
  std::vector<Seen> seen;
  auto previous = pimSetAssertionHandler(
      [&](const char* c, const char* p, int l) { seen.push_back({c, p, l}); });
  int x = 1;
  PIM_ASSERT(x == 2, "..\\..\\fd\\NuvCPManagerI", 746);
  PIM_ASSERT(x == 1, "..\\..\\fd\\NuvCPManagerI", 747);
  raiseInternalAssertion("false", "..\\..\\fd\\NuvCPDomain", 10);
  pimSetAssertionHandler(previous);
  ASSERT_EQ(seen.size(), 2u);
  EXPECT_EQ(seen[0].cond, "x == 2");
  EXPECT_EQ(seen[0].path, "..\\..\\fd\\NuvCPManagerI");
  EXPECT_EQ(seen[0].line, 746);
  EXPECT_EQ(seen[1].cond, "false");
}

TEST(Errors, AssertionHandlerIsPerThread) {
  int here = 0, there = 0;
  auto previous = pimSetAssertionHandler([&](const char*, const char*, int) { ++here; });
  std::thread other([&] {
    pimSetAssertionHandler([&](const char*, const char*, int) { ++there; });
    raiseInternalAssertion("a", "b", 1);
  });
  other.join();
  raiseInternalAssertion("a", "b", 1);
  pimSetAssertionHandler(previous);
  EXPECT_EQ(here, 1);
  EXPECT_EQ(there, 1);
}

}  // namespace
