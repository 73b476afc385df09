#include "reactive/Trace.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

struct Tracer {
  void run(int level, int* built) {
    VEK_TRACE(level) << "value " << expensive(built) << " " << true << " " << Vek::String("s");
  }
  static int expensive(int* built) {
    ++*built;
    return 7;
  }
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
  EXPECT_EQ(r.signature, "void {anonymous}::Tracer::run(int, int*)");
  EXPECT_STREQ(r.file, "VirtualNetworkAgent");
  EXPECT_STREQ(r.function, "run");
  char address[32];
  std::snprintf(address, sizeof address, "%p", static_cast<void const*>(&t));
  EXPECT_EQ(r.object, address);
  EXPECT_EQ(r.text(), r.object + " [ void {anonymous}::Tracer::run(int, int*) ] value 7 true s");
}

}  // namespace
