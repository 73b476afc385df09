// What one client asks for one switch port, carried into the element model.
//
// Writes straight into the network element collection: the switch's
// element, the port's physical interface, its VLANs and native VLANs, and,
// for each host the client declares behind the port, a host element hung on
// the port as a configured element. Every entry carries the client's name
// as referrer, with one exception kept on purpose: a VLAN's domain is held
// by the domain's own name, so two clients that put one domain on one VLAN
// share one referrer, and the first to remove it removes it for both.
//
// Conflicting wishes (two native VLANs, two VNIs) stand side by side here;
// the switch output decides.
#pragma once

#include "client/HostVlanReactor.h"
#include "reactive/Accessors.h"
#include "reactive/StateMachine.h"
#include "schema/Client.h"
#include "schema/Resources.h"
#include "schema/Roots.h"

namespace VirtualNetwork::Agent {

class ClientResourcesForSwitchportSm : public Vek::StateMachine<ClientResourcesForSwitchportSm> {
 public:
  class VekResourcesForSwitchport;
  class VekHostVlan;

  using ClientRequest = Client::ResourcesForSwitchport;

  ClientResourcesForSwitchportSm(Vek::String client, Client::SwitchInterface intf,
                                 Vek::Ptr<ClientRequest const> const& resourcesForSwitchport,
                                 Vek::Ptr<NetworkElementCollection> const& networkElementCollection)
      : client_(std::move(client)),
        intf_(std::move(intf)),
        resourcesForSwitchport_(resourcesForSwitchport),
        networkElementCollection_(networkElementCollection) {}

  VEK_SM_PARAM(client, Vek::String)
  VEK_SM_PARAM(intf, Client::SwitchInterface)
  VEK_SM_REACTOR(resourcesForSwitchport, VekResourcesForSwitchport, ClientRequest const)
  VEK_SM_PARAM(networkElementCollection, Vek::Ptr<NetworkElementCollection>)
  // The stray quote ends this map's null-pointer message, as it always has.
  VEK_SM_REACTORS(hostVlan, U32, VekHostVlan, "\"")
  VEK_SM_ATTR(initialized, bool)

  // The switch's element and the port's interface, or null.
  Vek::Ptr<NetworkElement> element() const;
  Vek::Ptr<PhysicalInterface> port() const;

  // Handlers.
  void handleVlan(U32 vlanId);
  void handleNativeVlan();
  void handleRemoteHost(Vek::String host);
  void handleInitialized();
  void doCleanup();

  // The client's share goes before the reactors turn zombie.
  void vekBeforeTeardown() { doCleanup(); }

  static auto vekParams() {
    using S = ClientResourcesForSwitchportSm;
    return std::tuple{&S::client_, &S::intf_, &S::resourcesForSwitchport_,
                      &S::networkElementCollection_};
  }
  static auto vekMembers();
};

// The VLAN's handler first, then its reactor's upkeep.
class ClientResourcesForSwitchportSm::VekResourcesForSwitchport
    : public Vek::Reactor<VekResourcesForSwitchport, ClientRequest const,
                          ClientResourcesForSwitchportSm> {
 public:
  using Reactor::Reactor;
  using vekReactions = Vek::Reactions<
      Vek::OnKey<ClientRequest::vlanId, &ClientResourcesForSwitchportSm::handleVlan>,
      Vek::OnNested<ClientRequest::vlanId, &ClientResourcesForSwitchportSm::hostVlan_,
                    &ClientRequest::vlanCol>,
      Vek::OnKey<ClientRequest::remoteHostId, &ClientResourcesForSwitchportSm::handleRemoteHost>,
      Vek::OnValue<ClientRequest::nativeVlanId, &ClientResourcesForSwitchportSm::handleNativeVlan>>;
};

// One VLAN of the client's request: its VNIs and domains on the port's VLAN.
class ClientResourcesForSwitchportSm::VekHostVlan
    : public HostVlanReactor<VekHostVlan, Client::DynamicVlan, ClientResourcesForSwitchportSm> {
 public:
  using HostVlanReactor::HostVlanReactor;
  void handleInitialized();
  void handleMappedVni(U32 vni);
  void handleVlanDomain(Client::ClientDomain const& domain);
  // Runs on every retirement: takes this client from the VLAN's domains and
  // VNIs. Safe to repeat: entries already gone are skipped.
  void doCleanup();
};

inline auto ClientResourcesForSwitchportSm::vekMembers() {
  using S = ClientResourcesForSwitchportSm;
  return Vek::members(
      &S::client_, &S::intf_, &S::resourcesForSwitchport_, &S::networkElementCollection_,
      Vek::handler<"handleVlan", &S::handleVlan, "vlanId">(), Vek::idGap<1>(),
      Vek::handler<"handleNativeVlan", &S::handleNativeVlan>(),
      Vek::handler<"handleRemoteHost", &S::handleRemoteHost, "host">(), Vek::idGap<1>(),
      Vek::mirror(&S::hostVlan_, &S::resourcesForSwitchport, &ClientRequest::vlanCol),
      Vek::idGap<1>(),
      Vek::handler<"handleInitialized", &S::handleInitialized>(), &S::initialized_,
      Vek::handler<"doCleanup", &S::doCleanup>());
}

}  // namespace VirtualNetwork::Agent
