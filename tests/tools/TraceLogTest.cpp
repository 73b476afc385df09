#include "tools/vnagent/TraceLog.h"

#include <gtest/gtest.h>

#include <sstream>

namespace vnagent {
namespace {

// The compiler's own text of the signature (it differs between compilers).
struct Machine {
  void handleEnabled(int level, char const* message) {
    signature = __PRETTY_FUNCTION__;
    VEK_TRACE_SITE;
    VEK_TRACE(level) << message;
  }
  std::string signature;
};

TraceLine line(int level, std::string signature, std::string function, std::string message) {
  return TraceLine{level, "@1", std::move(signature), std::move(function), std::move(message)};
}

std::vector<TraceItem> items(std::string const& yaml) {
  std::vector<TraceItem> out;
  YAML::Node const node = YAML::Load(yaml);
  for (std::size_t i = 0; i < node.size(); ++i) out.push_back(traceItem(node[i]));
  return out;
}

TEST(TraceLogCapture, RecordsUpToItsLevelAndPrintsLiveUpToAnother) {
  std::ostringstream live;
  Machine m;
  {
    TraceLog log(2, 3, &live);
    m.handleEnabled(2, "kept");
    m.handleEnabled(3, "printed only");
    m.handleEnabled(9, "neither");
    ASSERT_EQ(log.lines().size(), 1u);
    EXPECT_EQ(log.lines()[0].message, "kept");
    EXPECT_EQ(log.lines()[0].function, "handleEnabled");
    log.clear();
    EXPECT_TRUE(log.lines().empty());
  }
  EXPECT_EQ(live.str(), "[2] @1 [ " + m.signature + " ] kept\n[3] @1 [ " + m.signature +
                            " ] printed only\n");
  // The log turned tracing off when it went.
  EXPECT_EQ(Vek::traceHandle().level(), -1);
}

TEST(TraceLogCapture, ObjectsAreNamedInOrderOfFirstTrace) {
  TraceLog log(9, -1, nullptr);
  Machine a;
  Machine b;
  b.handleEnabled(1, "b");
  a.handleEnabled(1, "a");
  b.handleEnabled(1, "b again");
  ASSERT_EQ(log.lines().size(), 3u);
  EXPECT_EQ(log.lines()[0].object, "@1");
  EXPECT_EQ(log.lines()[1].object, "@2");
  EXPECT_EQ(log.lines()[2].object, "@1");
}

TEST(TraceMatching, ItemsMatchMessageLevelAndFunction) {
  TraceLine const l = line(2, "void VirtualNetwork::Agent::VirtualNetworkAgentSm::handleEnabled()",
                           "handleEnabled", "Ready: true");
  auto const m = [&](std::string const& yaml) { return matches(items("[" + yaml + "]")[0], l); };
  EXPECT_TRUE(m("'Ready: true'"));
  EXPECT_FALSE(m("'Ready:'")) << "the message is compared whole";
  EXPECT_TRUE(m("{level: 2, message: 'Ready: true'}"));
  EXPECT_FALSE(m("{level: 3, message: 'Ready: true'}"));
  EXPECT_TRUE(m("{function: handleEnabled}"));
  EXPECT_TRUE(m("{function: VirtualNetworkAgentSm::handleEnabled}"));
  EXPECT_TRUE(
      m("{function: 'void VirtualNetwork::Agent::VirtualNetworkAgentSm::handleEnabled()'}"));
  EXPECT_FALSE(m("{function: Enabled}")) << "a name must be whole";
  EXPECT_FALSE(m("{function: handleInitialized}"));
}

TEST(TraceMatching, TracesAreAnOrderedSubsequence) {
  std::vector<TraceLine> const lines = {line(2, "f()", "f", "a"), line(2, "f()", "f", "b"),
                                        line(2, "f()", "f", "c"), line(2, "f()", "f", "a")};
  EXPECT_EQ(firstMissing(items("[a, c]"), lines), std::nullopt);
  EXPECT_EQ(firstMissing(items("[c, a]"), lines), std::nullopt) << "the second a comes after c";
  EXPECT_EQ(firstMissing(items("[b, a, b]"), lines), std::optional<std::size_t>(2));
  EXPECT_EQ(firstMissing(items("[d]"), lines), std::optional<std::size_t>(0));
  EXPECT_EQ(firstMissing(items("[a, a, a]"), lines), std::optional<std::size_t>(2));
  EXPECT_EQ(firstMissing(items("[]"), {}), std::nullopt);
}

TEST(TraceMatching, ExcludedItemsNameTheFirstLineThatMatches) {
  std::vector<TraceLine> const lines = {line(2, "f()", "f", "a"), line(1, "g()", "g", "b")};
  EXPECT_FALSE(firstExcluded(items("[c, {level: 2, message: b}]"), lines));
  auto const found = firstExcluded(items("[c, {function: g}]"), lines);
  ASSERT_TRUE(found);
  EXPECT_EQ(found->item, 1u);
  EXPECT_EQ(found->line, 1u);
}

TEST(TraceMatching, ItemsPrintAsWritten) {
  EXPECT_EQ(items("['switch added']")[0].text(), "'switch added'");
  EXPECT_EQ(items("[{message: m, level: 2, function: f}]")[0].text(),
            "{level: 2, function: 'f', message: 'm'}");
}

}  // namespace
}  // namespace vnagent
