// One port group of an element, carried as one interface.
//
// The switch output treats a PortGroup as one port and never provisions
// its member ports under their own names, so what the members carry must
// stand on the group: their VLANs, native VLANs and, under each VLAN, the
// domains and mapped VNIs. Each item is held on the group by the member's
// interface name and goes when its last member lets go. Conflicts (two
// native VLANs from two members) are left side by side for the switch
// output to judge.
//
// Some removals read the member's entry and others the group's, and the
// group's native VLAN follows the first member that brought it; each of
// these is deliberate and marked where it stands.
//
// Made by NetworkElementSm for each port group of its element; the
// element's machine calls doCleanup() when the group leaves, then deletes
// this one.
#pragma once

#include "client/HostVlanReactor.h"
#include "reactive/Accessors.h"
#include "reactive/StateMachine.h"
#include "schema/Resources.h"

namespace VirtualNetwork::Agent {

class PortGroupSm : public Vek::StateMachine<PortGroupSm> {
 public:
  class VekPortGroup;
  class VekMemberInterface;

  PortGroupSm(Vek::String intfName, Vek::Ptr<PortGroup> const& portGroup)
      : intfName_(std::move(intfName)), portGroup_(portGroup) {}

  // The group's name; what members carry is held by their own names.
  VEK_SM_PARAM(intfName, Vek::String)
  VEK_SM_REACTOR(portGroup, VekPortGroup, PortGroup)
  VEK_SM_REACTORS(memberInterface, Vek::String, VekMemberInterface)
  // Never set: the group is ready as soon as it is built.
  VEK_SM_ATTR(initialized, bool)

  // Handlers.
  void handleInitialized();
  void handleMemberInterface(Vek::String name);
  // Empties the group: members, VLANs, native VLANs. The owner's call.
  void doCleanup();

  static auto vekParams() { return std::tuple{&PortGroupSm::intfName_, &PortGroupSm::portGroup_}; }
  static auto vekMembers();
};

// The upkeep first, so that a leaving member has cleaned up before the
// handler reports it.
class PortGroupSm::VekPortGroup : public Vek::Reactor<VekPortGroup, PortGroup, PortGroupSm> {
 public:
  using Reactor::Reactor;
  using vekReactions = Vek::Reactions<
      Vek::OnNested<PortGroup::memberInterfaceId, &PortGroupSm::memberInterface_,
                    &PortGroup::memberInterfaceCol>,
      Vek::OnKey<PortGroup::memberInterfaceId, &PortGroupSm::handleMemberInterface>>;
};

// One member port, watched as a plain interface. Its name holds what it
// carries onto the group.
class PortGroupSm::VekMemberInterface
    : public Vek::Reactor<VekMemberInterface, Interface const, PortGroupSm> {
 public:
  class VekDynVlan;

  using Reactor::Reactor;
  Vek::Ptr<Interface const> memberInterface() const { return notifier(); }
  Vek::String intfName() const { return fwkKey(); }
  // The owner's group, or null.
  Vek::Ptr<PortGroup> group() const;

  VEK_SM_REACTORS(dynVlan, U32, VekDynVlan)

  // Building replays the member's VLANs as reactors; its native VLANs are
  // replayed by the machine's handleMemberInterface.
  void handleInitialized();
  void handleMemberInterfaceVlan(U32 vlan);
  void handleMemberInterfaceNativeVlan(U32 vlan);
  // Takes the member off the group; runs when the reactor turns zombie,
  // before its VLAN reactors do.
  void handleCleanup();

  static auto vekMembers() { return Vek::members(&VekMemberInterface::dynVlan_); }

  // The handler first, then the upkeep: a removed VLAN leaves the group
  // before its reactor cleans up its VNIs and domains.
  using vekReactions = Vek::Reactions<
      Vek::OnKey<Interface::vlanId, &VekMemberInterface::handleMemberInterfaceVlan>,
      Vek::OnNested<Interface::vlanId, &VekMemberInterface::dynVlan_, &Interface::vlanCol>,
      Vek::OnKey<Interface::nativeVlanId, &VekMemberInterface::handleMemberInterfaceNativeVlan>>;
};

// One VLAN of a member: its domains and VNIs onto the group's VLAN.
class PortGroupSm::VekMemberInterface::VekDynVlan
    : public HostVlanReactor<VekDynVlan, DynamicVlan, VekMemberInterface> {
 public:
  using HostVlanReactor::HostVlanReactor;

  // Never set.
  VEK_SM_ATTR(initialized, bool)

  void handleInitialized();
  void handleVlanDomain(Client::ClientDomain const& domain);
  void handleDynamicVniMapping(U32 vni);
  // Runs when the reactor turns zombie and from its member's cleanup, so
  // twice for a member that leaves; the second run finds the group's VLAN
  // gone or its own holds taken.
  void doCleanup();

  static auto vekMembers() { return Vek::members(&VekDynVlan::initialized_); }

 private:
  // The group's record of this VLAN, or null.
  Vek::Ptr<DynamicVlan> groupVlan() const;
  // What a domain or VNI change reads: the machine, the member's name and
  // its record of the VLAN (null once gone), the group's record.
  struct Ends {
    PortGroupSm* sm = nullptr;
    Vek::String name;
    Vek::Ptr<DynamicVlan const> memberVlan;
    Vek::Ptr<DynamicVlan> vlan;
  };
  // Fills `ends`; false when the machine, the member or the group's VLAN
  // is gone, and there is nothing to carry.
  bool reach(Ends& ends) const;
};

inline auto PortGroupSm::vekMembers() {
  using P = PortGroupSm;
  return Vek::members(&P::intfName_, &P::portGroup_,
                      Vek::mirror(&P::memberInterface_, &P::portGroup, &PortGroup::memberInterfaceCol),
                      Vek::handler<"handleMemberInterface", &P::handleMemberInterface, "name">(),
                      Vek::idGap<2>(),
                      Vek::handler<"handleInitialized", &P::handleInitialized>(), &P::initialized_,
                      Vek::handler<"doCleanup", &P::doCleanup>());
}

Vek::Ptr<PortGroupSm> portGroupSmFactory(Vek::String const& intfName,
                                         Vek::Ptr<PortGroup> const& portGroup);

}  // namespace VirtualNetwork::Agent
