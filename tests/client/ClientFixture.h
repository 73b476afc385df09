// The agent with its client directory, for the tests of the client request
// machines: clients write their collections as the client service would,
// and the tests read the element model and the switch's port record.
#pragma once

#include <string>
#include <vector>

#include "tests/agent/AgentFixture.h"

namespace VirtualNetwork::Agent::Testing {

inline constexpr char kSwitch[] = "00:00:00:00:00:01";
inline constexpr char kSwitchDash[] = "00-00-00-00-00-01";

class ClientFixture : public AgentFixture {
 public:
  void TearDown() override {
    AgentFixture::TearDown();
    EXPECT_EQ(Vek::liveObjects<ClientRequestedResourcesCollectionSm>(), 0u);
    EXPECT_EQ(Vek::liveObjects<ClientResourcesForSwitchportSm>(), 0u);
    EXPECT_EQ(Vek::liveObjects<ClientResourcesForSwitchportSm::VekHostVlan>(), 0u);
    EXPECT_EQ(Vek::liveObjects<ClientResourcesForHostnameSm>(), 0u);
    EXPECT_EQ(Vek::liveObjects<ClientResourcesForHostnameSm::VekResourcesForHostname>(), 0u);
    EXPECT_EQ(Vek::liveObjects<ClientResourcesForHostnameSm::VekHostVlan>(), 0u);
  }

  static Client::SwitchInterface intf(std::string const& port) {
    return Client::SwitchInterface(Vek::String(kSwitch), Vek::String(port));
  }

  // The client's collection, mounted in the directory (entry first, as the
  // client service writes it) when it is new.
  Vek::Ptr<Client::RequestedResourcesCollection> clientCollection(std::string const& client) {
    if (auto existing = clientDir->entityPtr(Vek::Name(client))) {
      return Vek::ptrCast<Client::RequestedResourcesCollection>(existing);
    }
    auto collection = Client::RequestedResourcesCollectionIs(Vek::Name(client));
    mount(clientDir, client, collection);
    return collection;
  }
  // The client's request for one port of the switch.
  Vek::Ptr<Client::ResourcesForSwitchport> request(std::string const& client,
                                                   std::string const& port) {
    return clientCollection(client)->resourcesForSwitchportIs(intf(port));
  }
  // The client goes as the directory tells it: its entry leaves.
  void leave(std::string const& client) { clientDir->entryStateDel(Vek::Name(client)); }

  ClientRequestedResourcesCollectionSm* combiner(std::string const& client) const {
    return agent->rrcCombinerSm(Vek::String(client));
  }

  Vek::Ptr<NetworkElement> element(std::string const& name) const {
    return status->networkElementCollection()->networkElement(Vek::Name(name));
  }
  Vek::Ptr<PhysicalInterface> port(std::string const& name) const {
    auto const sw = element(kSwitch);
    return sw ? sw->physicalInterface(Vek::String(name)) : nullptr;
  }
  Vek::Ptr<DynamicVlan> portVlan(std::string const& name, U32 vlan) const {
    auto const p = port(name);
    return p ? p->vlan(vlan) : nullptr;
  }
  Vek::Ptr<ControllerProxyAgent::PortVlanConfigV1> ports() const {
    return Vek::ptrCast<ControllerProxyAgent::PortVlanConfigV1>(
        portVlanConfigDir->entityPtr(Vek::Name(kSwitchDash)));
  }

  // The keys of a collection, in its order.
  template <class Col>
  static std::vector<std::string> names(Col const& col) {
    std::vector<std::string> out;
    Vek::forEachKey(col, [&](auto const& key) { out.push_back(Vek::String(key).stdString()); });
    return out;
  }
  template <class Col>
  static std::vector<U32> ids(Col const& col) {
    std::vector<U32> out;
    Vek::forEachKey(col, [&](U32 key) { out.push_back(key); });
    return out;
  }
  using Names = std::vector<std::string>;
  using Ids = std::vector<U32>;
};

}  // namespace VirtualNetwork::Agent::Testing
