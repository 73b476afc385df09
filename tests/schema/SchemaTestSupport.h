// Test support for the schema records: a notifiee that writes down what an
// entity notifies, and the check that a test left no record alive.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "VirtualNetworkAgent.h"

namespace SchemaTest {

// Listens to one entity and writes each notification as "<id>" or, with a
// key, "<id> <key>". The key's type is told per attribute id with keyed<K>.
class Recorder : public Vek::NotifieeConst {
 public:
  static Vek::Ptr<Recorder> on(Vek::Ptr<Vek::Entity const> const& entity) {
    Vek::Ptr<Recorder> r(new Recorder);
    r->baseNotifierIs(entity);
    r->isRegisteredNotifieeIs(true);
    r->hasNotificationActiveIs(true);
    return r;
  }

  template <class K>
  Recorder& keyed(Vek::AttributeId id) {
    decoders_[id] = [](void const* key) {
      std::ostringstream os;
      os << Vek::notifiedKey<K>(key);
      return os.str();
    };
    return *this;
  }

  // What was heard since the last call.
  std::vector<std::string> take() { return std::exchange(events_, {}); }

  void onAttribute(Vek::AttributeId id, void const* key) override {
    std::string line = std::to_string(id);
    if (key) {
      auto d = decoders_.find(id);
      line += " " + (d == decoders_.end() ? std::string("<undecoded>") : d->second(key));
    }
    events_.push_back(line);
  }

 private:
  Recorder() = default;

  std::map<Vek::AttributeId, std::function<std::string(void const*)>> decoders_;
  std::vector<std::string> events_;
};

using Events = std::vector<std::string>;

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
