// The global requests of one hostname, copied onto one network element.
//
// Once an element is tied to a hostname that clients asked for, its
// `resourcesForHostname` points at the merged ResourcesForHostname and this
// machine copies that entry's VLANs, with their domains and mapped VNIs, to
// the element's `vlan`. It is a copy with a referrer, not a view: every
// entry it makes on the element is held by the hostname, at every level,
// and goes when its last holder lets go. Which clients asked for what does
// not show on the element; conflicting entries are copied side by side.
//
// The shape is that of ClientResourcesForHostnameSm one level further down;
// where the two differ, they do so deliberately and say so where it stands.
//
// Made by NetworkElementSm while the element has `resourcesForHostname`;
// the element's machine calls doCleanup() before it deletes this one.
#pragma once

#include "client/HostVlanReactor.h"
#include "reactive/Accessors.h"
#include "reactive/StateMachine.h"
#include "schema/Resources.h"

namespace VirtualNetwork::Agent {

class HostResourcesSm : public Vek::StateMachine<HostResourcesSm> {
 public:
  class VekResourcesForHostname;
  class VekHostVlan;

  HostResourcesSm(Vek::Name hostname,
                  Vek::Ptr<ResourcesForHostname const> const& resourcesForHostname,
                  Vek::Ptr<NetworkElement> const& networkElement)
      : hostname_(std::move(hostname)),
        resourcesForHostname_(resourcesForHostname),
        networkElement_(networkElement) {}

  // The global entry's name, and the referrer of everything copied.
  VEK_SM_PARAM(hostname, Vek::Name)
  VEK_SM_REACTOR(resourcesForHostname, VekResourcesForHostname, ResourcesForHostname const)
  VEK_SM_PARAM(networkElement, Vek::Ptr<NetworkElement>)
  // The stray quote ends this map's null-pointer message, as it always has.
  VEK_SM_REACTORS(hostVlan, U32, VekHostVlan, "\"")
  VEK_SM_ATTR(initialized, bool)

  // Handlers.
  void handleVlan(U32 vlanId);
  void handleInitialized();
  // Takes the hostname off the element's VLANs. The owner's call: unlike
  // the client machine, this one's end does not run it, and a machine that
  // dies without it leaves the hostname on the element's VLANs.
  void doCleanup();

  static auto vekParams() {
    using H = HostResourcesSm;
    return std::tuple{&H::hostname_, &H::resourcesForHostname_, &H::networkElement_};
  }
  static auto vekMembers();
};

// The handler runs first, then the upkeep, as on the client side.
class HostResourcesSm::VekResourcesForHostname
    : public Vek::Reactor<VekResourcesForHostname, ResourcesForHostname const, HostResourcesSm> {
 public:
  using Reactor::Reactor;
  using vekReactions = Vek::Reactions<
      Vek::OnKey<ResourcesForHostname::vlanId, &HostResourcesSm::handleVlan>,
      Vek::OnNested<ResourcesForHostname::vlanId, &HostResourcesSm::hostVlan_,
                    &ResourcesForHostname::vlanCol>>;
};

// One VLAN of the global entry: its domains and VNIs on the element's VLAN.
class HostResourcesSm::VekHostVlan
    : public HostVlanReactor<VekHostVlan, DynamicVlan, HostResourcesSm> {
 public:
  using HostVlanReactor::HostVlanReactor;
  void handleInitialized();
  void handleMappedVni(U32 vni);
  void handleVlanDomain(Client::ClientDomain const& domain);
  // Takes the hostname off the element VLAN's VNIs and domains; runs on
  // every retirement as well, and is safe to repeat.
  void doCleanup();

 private:
  // The element's copy of this VLAN, or null: the element's end may have
  // emptied its VLANs already.
  Vek::Ptr<DynamicVlan> elementVlan() const;
};

inline auto HostResourcesSm::vekMembers() {
  using H = HostResourcesSm;
  return Vek::members(
      &H::hostname_, &H::resourcesForHostname_, &H::networkElement_,
      Vek::handler<"handleVlan", &H::handleVlan, "vlanId">(), Vek::idGap<1>(),
      Vek::mirror(&H::hostVlan_, &H::resourcesForHostname, &ResourcesForHostname::vlanCol),
      Vek::idGap<1>(),
      Vek::handler<"handleInitialized", &H::handleInitialized>(), &H::initialized_,
      Vek::handler<"doCleanup", &H::doCleanup>());
}

Vek::Ptr<HostResourcesSm> hostResourcesSmFactory(
    Vek::Name const& hostname, Vek::Ptr<ResourcesForHostname const> const& resourcesForHostname,
    Vek::Ptr<NetworkElement> const& networkElement);

}  // namespace VirtualNetwork::Agent
