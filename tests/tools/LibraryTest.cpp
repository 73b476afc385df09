#include "tools/vnagent/Library.h"

#include <gtest/gtest.h>

namespace vnagent {
namespace {

// Stand-ins for the agent: without any access to its switch nodes, with a
// lookup only, and with a walk, keyed as the records key their collections.
struct AgentWithoutSwitchNodes {};

struct AgentWithLookup {
  Vek::HashMap2018<Vek::Name, bool> nodes;
  bool const* switchNodeSm(Vek::Name const& name) const { return nodes.find(name); }
};

struct AgentWithWalk : AgentWithLookup {
  Vek::HashMap2018<Vek::Name, bool> const& switchNodeSmCol() const { return nodes; }
};

TEST(LibraryOffers, SwitchNodesByWalkOrByLookupOfTheNamesTheInputsHeld) {
  std::set<std::string> const candidates = {"00:00:00:00:00:01", "00:00:00:00:00:02",
                                            "00:00:00:00:00:03"};
  EXPECT_EQ(library::switchNodes(AgentWithoutSwitchNodes{}, candidates), std::nullopt);

  AgentWithLookup lookup;
  lookup.nodes.set(Vek::Name("00:00:00:00:00:02"), true);
  lookup.nodes.set(Vek::Name("00:00:00:00:00:01"), true);
  lookup.nodes.set(Vek::Name("00:00:00:00:00:09"), true);
  EXPECT_EQ(library::switchNodes(lookup, candidates),
            (std::optional<std::vector<std::string>>{{"00:00:00:00:00:01", "00:00:00:00:00:02"}}))
      << "only candidates can be found by lookup";

  AgentWithWalk walk;
  walk.nodes.set(Vek::Name("00:00:00:00:00:09"), true);
  walk.nodes.set(Vek::Name("00:00:00:00:00:01"), true);
  EXPECT_EQ(library::switchNodes(walk, candidates),
            (std::optional<std::vector<std::string>>{{"00:00:00:00:00:09", "00:00:00:00:00:01"}}))
      << "a walk lists every node, in its own order";
}

}  // namespace
}  // namespace vnagent
