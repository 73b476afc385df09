// Test support for the schema records: the recorder of notifications, and
// the check that a test left no record alive.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "VirtualNetworkAgent.h"
#include "tests/reactive/Recorder.h"

namespace SchemaTest {

using Vek::Testing::Events;
using Vek::Testing::Recorder;

// Every record type of the schema that has been counted at least once; the
// agent's machines live in VirtualNetwork::Agent and are not records.
inline void expectNoSchemaObjectsAlive() {
  for (Vek::AllocTrackTypeInfo const* type : Vek::AllocTrackTypeInfo::all()) {
    std::string const name = type->name();
    bool const record =
        (name.starts_with("VirtualNetwork::") && !name.starts_with("VirtualNetwork::Agent::")) ||
        name.starts_with("NetworkTopologyAggregatorV3::") ||
        name.starts_with("VxlanController::") || name.starts_with("ControllerProxyAgent::");
    if (record) {
      EXPECT_EQ(type->live(), 0u) << name;
    }
  }
}

// Every schema test ends with no record alive: the records of a test are
// locals of its body, gone before TearDown.
class SchemaFixture : public ::testing::Test {
 protected:
  void TearDown() override { expectNoSchemaObjectsAlive(); }
};

}  // namespace SchemaTest
