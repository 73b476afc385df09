#include "reactive/Trace.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// Signatures are the compiler's own text (spacing and the anonymous
// namespace differ between compilers): each function notes its own.
struct Tracer {
  void run(int level, int* built) {
    runSignature = __PRETTY_FUNCTION__;
    VEK_TRACE_SITE;
    VEK_TRACE(level) << "value " << expensive(built) << " " << true << " " << Vek::String("s");
  }
  // A walk's lambda still traces as the handler that runs the walk.
  void walk(int n) {
    walkSignature = __PRETTY_FUNCTION__;
    VEK_ENTRY << n;
    auto const visit = [&](int i) { VEK_TRACE(2) << "item " << i; };
    for (int i = 0; i < n; ++i) visit(i);
  }
  static int expensive(int* built) {
    ++*built;
    return 7;
  }
  std::string runSignature;
  std::string walkSignature;
};

class TraceTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Vek::traceHandle().sinkIs([this](Vek::TraceRecord const& r) { records.push_back(r); });
  }
  void TearDown() override {
    Vek::traceHandle().sinkIs(nullptr);
    Vek::traceHandle().levelIs(-1);
  }
  std::vector<Vek::TraceRecord> records;
};

TEST_F(TraceTest, DisabledLevelBuildsNothing) {
  Vek::traceHandle().levelIs(2);
  int built = 0;
  Tracer t;
  t.run(3, &built);
  EXPECT_EQ(built, 0);
  EXPECT_TRUE(records.empty());
  t.run(2, &built);
  EXPECT_EQ(built, 1);
  ASSERT_EQ(records.size(), 1u);
}

TEST_F(TraceTest, LineNamesObjectSignatureAndMessage) {
  Vek::traceHandle().levelIs(9);
  int built = 0;
  Tracer t;
  t.run(0, &built);
  ASSERT_EQ(records.size(), 1u);
  Vek::TraceRecord const& r = records[0];
  EXPECT_EQ(r.level, 0);
  EXPECT_EQ(r.message, "value 7 true s");
  EXPECT_EQ(r.signature, t.runSignature);
  EXPECT_STREQ(r.file, "VirtualNetworkAgent");
  EXPECT_STREQ(r.function, "run");
  char address[32];
  std::snprintf(address, sizeof address, "%p", static_cast<void const*>(&t));
  EXPECT_EQ(r.object, address);
  EXPECT_EQ(r.text(), r.object + " [ " + t.runSignature + " ] value 7 true s");
}

TEST_F(TraceTest, LinesInsideLambdasNameTheEnclosingHandler) {
  Vek::traceHandle().levelIs(9);
  Tracer t;
  t.walk(2);
  ASSERT_EQ(records.size(), 3u);
  EXPECT_EQ(records[0].level, 9);
  EXPECT_EQ(records[0].message, "2");
  for (Vek::TraceRecord const& r : records) {
    EXPECT_EQ(r.signature, t.walkSignature);
    EXPECT_STREQ(r.function, "walk");
  }
  EXPECT_EQ(records[2].message, "item 1");
}

}  // namespace
