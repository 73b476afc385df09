// What one client asks for one hostname, merged into the global requests.
//
// The global RequestedResourcesCollection holds one ResourcesForHostname per
// hostname for all clients together. This machine puts its client's share
// into it: the hostname entry, its VLANs and, under each VLAN, the domains
// and mapped VNIs the client gives it. Every level carries the client's name
// as referrer, and an entry lives exactly as long as somebody refers to it.
// Clients that disagree (two VNIs on one VLAN) stand side by side; nothing
// is judged here.
//
// HostResourcesSm copies the global entry on to the elements of the
// hostname in the same shape, one level further down; the differences
// between the two are deliberate and marked where they stand.
//
// Made and deleted by ClientRequestedResourcesCollectionSm, one per
// hostname entry of the client; its end withdraws the client's share.
#pragma once

#include "client/HostVlanReactor.h"
#include "reactive/Accessors.h"
#include "reactive/StateMachine.h"
#include "schema/Client.h"
#include "schema/Resources.h"
#include "schema/Roots.h"

namespace VirtualNetwork::Agent {

class ClientResourcesForHostnameSm : public Vek::StateMachine<ClientResourcesForHostnameSm> {
 public:
  class VekResourcesForHostname;
  class VekHostVlan;

  using ClientRequest = Client::ResourcesForHostname;

  ClientResourcesForHostnameSm(
      Vek::Name name, Vek::String client, Vek::Ptr<ClientRequest const> const& resourcesForHostname,
      Vek::Ptr<RequestedResourcesCollection> const& allRequestedResourcesCollection)
      : name_(std::move(name)),
        client_(std::move(client)),
        resourcesForHostname_(resourcesForHostname),
        allRequestedResourcesCollection_(allRequestedResourcesCollection) {}

  VEK_SM_PARAM(name, Vek::Name)
  VEK_SM_PARAM(client, Vek::String)
  VEK_SM_REACTOR(resourcesForHostname, VekResourcesForHostname, ClientRequest const)
  VEK_SM_PARAM(allRequestedResourcesCollection, Vek::Ptr<RequestedResourcesCollection>)
  // The stray quote ends this map's null-pointer message, as it always has.
  VEK_SM_REACTORS(hostVlan, U32, VekHostVlan, "\"")
  VEK_SM_ATTR(initialized, bool)

  // The global entry of this hostname and one of its VLANs, or null: with
  // `enabled` false the agent empties the global collection under us.
  Vek::Ptr<ResourcesForHostname> global() const;
  Vek::Ptr<DynamicVlan> globalVlan(U32 vlanId) const;

  // Handlers.
  void handleVlan(U32 vlanId);
  void handleInitialized();
  // Withdraws the client from the hostname; the destructor runs it.
  void doCleanup();

  void vekBeforeTeardown() { doCleanup(); }

  static auto vekParams() {
    using S = ClientResourcesForHostnameSm;
    return std::tuple{&S::name_, &S::client_, &S::resourcesForHostname_,
                      &S::allRequestedResourcesCollection_};
  }
  static auto vekMembers();
};

// The handler runs first, so that a new VLAN is global before its reactor
// comes up and a removed one still has its reactor; the upkeep follows.
class ClientResourcesForHostnameSm::VekResourcesForHostname
    : public Vek::Reactor<VekResourcesForHostname, ClientRequest const,
                          ClientResourcesForHostnameSm> {
 public:
  using Reactor::Reactor;
  using vekReactions = Vek::Reactions<
      Vek::OnKey<ClientRequest::vlanId, &ClientResourcesForHostnameSm::handleVlan>,
      Vek::OnNested<ClientRequest::vlanId, &ClientResourcesForHostnameSm::hostVlan_,
                    &ClientRequest::vlanCol>>;
};

// One VLAN of the client's request: its domains and VNIs on the global VLAN.
class ClientResourcesForHostnameSm::VekHostVlan
    : public HostVlanReactor<VekHostVlan, Client::DynamicVlan, ClientResourcesForHostnameSm> {
 public:
  using HostVlanReactor::HostVlanReactor;
  void handleInitialized();
  void handleMappedVni(U32 vni);
  void handleVlanDomain(Client::ClientDomain const& domain);
  // Takes the client off the VLAN's VNIs and domains; runs on every
  // retirement as well, and is safe to repeat.
  void doCleanup();
};

inline auto ClientResourcesForHostnameSm::vekMembers() {
  using S = ClientResourcesForHostnameSm;
  return Vek::members(&S::name_, &S::client_, &S::resourcesForHostname_,
                      &S::allRequestedResourcesCollection_,
                      Vek::handler<"handleVlan", &S::handleVlan, "vlanId">(), Vek::idGap<1>(),
                      Vek::mirror(&S::hostVlan_, &S::resourcesForHostname, &ClientRequest::vlanCol),
                      Vek::idGap<1>(),
                      Vek::handler<"handleInitialized", &S::handleInitialized>(), &S::initialized_,
                      Vek::handler<"doCleanup", &S::doCleanup>());
}

Vek::Ptr<ClientResourcesForHostnameSm> clientResourcesForHostnameSmFactory(
    Vek::Name const& name, Vek::String const& client,
    Vek::Ptr<Client::ResourcesForHostname const> const& resourcesForHostname,
    Vek::Ptr<RequestedResourcesCollection> const& allRequestedResourcesCollection);

}  // namespace VirtualNetwork::Agent
