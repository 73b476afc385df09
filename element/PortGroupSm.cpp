#include "element/PortGroupSm.h"

#include "reactive/Referred.h"
#include "reactive/Trace.h"

namespace VirtualNetwork::Agent {

Vek::Ptr<PortGroupSm> portGroupSmFactory(Vek::String const& intfName,
                                         Vek::Ptr<PortGroup> const& portGroup) {
  return PortGroupSm::vekCreate(intfName, portGroup);
}

void PortGroupSm::handleInitialized() {
  VEK_ENTRY << intfName();
  // `initialized` stays false, unlike the element's machines.
  if (Vek::Ptr<PortGroup> const group = portGroup()) {
    Vek::forEachKey(group->memberInterfaceCol(),
                    [&](Vek::String const& name) { handleMemberInterface(name); });
  }
}

void PortGroupSm::handleMemberInterface(Vek::String name) {
  VEK_ENTRY << name;
  Vek::Ptr<PortGroup> const group = portGroup();
  if (!group) return;
  Vek::Ptr<PhysicalInterface> const interface = group->memberInterface(name);
  if (!interface) {
    // The member's reactor has cleaned up already: the upkeep runs first.
    VEK_TRACE(2) << "Interface: " << name << " was deleted from " << group->name();
    return;
  }
  VekMemberInterface* const member = memberInterface(name);
  if (!member) return;
  Vek::forEachKey(interface->vlanCol(), [&](U32 vlan) { member->handleMemberInterfaceVlan(vlan); });
  Vek::forEachKey(interface->nativeVlanCol(),
                  [&](U32 vlan) { member->handleMemberInterfaceNativeVlan(vlan); });
}

void PortGroupSm::doCleanup() {
  VEK_TRACE_SITE;
  Vek::Ptr<PortGroup> const group = portGroup();
  if (!group) return;
  VEK_TRACE(9) << group->name();
  group->memberInterfaceDelAll();
  group->vlanDelAll();
  group->nativeVlanDelAll();
}

// --- VekMemberInterface -------------------------------------------------------------

Vek::Ptr<PortGroup> PortGroupSm::VekMemberInterface::group() const {
  PortGroupSm* const sm = owner();
  return sm ? sm->portGroup() : nullptr;
}

void PortGroupSm::VekMemberInterface::handleInitialized() {
  if (Vek::Ptr<Interface const> const member = memberInterface()) {
    dynVlan_.sync(*this, &member->vlanCol());
  }
}

void PortGroupSm::VekMemberInterface::handleMemberInterfaceVlan(U32 vlan) {
  VEK_ENTRY << intfName() << " : " << vlan;
  Vek::Ptr<Interface const> const member = memberInterface();
  Vek::Ptr<PortGroup> const group = this->group();
  if (!member || !group) return;
  Vek::follow(
      group->vlanRef(), vlan, intfName(), member->vlan(vlan) != nullptr,
      [&] { VEK_TRACE(2) << "Adding VLAN " << vlan << " to " << group->name(); },
      [&] { VEK_TRACE(2) << "Deleting " << vlan << " from " << group->name(); });
}

void PortGroupSm::VekMemberInterface::handleMemberInterfaceNativeVlan(U32 vlan) {
  VEK_ENTRY << intfName() << " : " << vlan;
  Vek::Ptr<Interface const> const member = memberInterface();
  Vek::Ptr<PortGroup> const group = this->group();
  if (!member || !group) return;
  // Deliberately the group is read first, not the member: a VLAN the group
  // lacks is added even when the member has just dropped it.
  if (!group->nativeVlan(vlan)) {
    VEK_TRACE(2) << "Adding native vlan: " << vlan << " to PortGroupt: " << group->name();
    Vek::hold(group->nativeVlanRef(), vlan, intfName());
    return;
  }
  // Deliberately no referrer for a second member with the same native
  // VLAN: the group's follows the first member that brought it.
  if (member->nativeVlan(vlan)) return;
  Vek::release(group->nativeVlanRef(), vlan, intfName(), [&] {
    VEK_TRACE(2) << "Removing native VLAN: " << vlan << " from " << group->name();
  });
}

void PortGroupSm::VekMemberInterface::handleCleanup() {
  VEK_ENTRY << intfName();
  Vek::Ptr<Interface const> const member = memberInterface();
  if (!member) return;
  Vek::Ptr<PortGroup> const group = this->group();
  Vek::String const name = intfName();
  Vek::forEachKey(member->vlanCol(), [&](U32 vlan) {
    if (VekDynVlan* const reactor = dynVlan(vlan)) reactor->doCleanup();
    // The group is gone at the owner's teardown; nothing to take off then.
    if (!group) return;
    // Tests the group's entry, unlike the native VLANs below: deliberate.
    Vek::release(group->vlanRef(), vlan, name,
                 [&] { VEK_TRACE(2) << "Deleting " << vlan << " from " << group->name(); });
  });
  if (!group) return;
  // Tests the member's entry, unlike the VLANs above: deliberate.
  Vek::releaseBySource(member->nativeVlanCol(), group->nativeVlanRef(), name, [&](U32 vlan) {
    VEK_TRACE(2) << "Deleting nativeVlan " << vlan << " from " << group->name();
  });
}

// --- VekDynVlan -----------------------------------------------------------------------

Vek::Ptr<DynamicVlan> PortGroupSm::VekMemberInterface::VekDynVlan::groupVlan() const {
  VekMemberInterface* const member = owner();
  Vek::Ptr<PortGroup> const group = member ? member->group() : nullptr;
  return group ? group->vlan(vlanId()) : nullptr;
}

bool PortGroupSm::VekMemberInterface::VekDynVlan::reach(Ends& ends) const {
  VekMemberInterface* const member = owner();
  ends.sm = member ? member->owner() : nullptr;
  Vek::Ptr<Interface const> const interface = member ? member->memberInterface() : nullptr;
  // The element's end empties the group's VLANs when it stops being a
  // switch; nothing to carry onto then.
  ends.vlan = groupVlan();
  if (!ends.sm || !interface || !ends.vlan) return false;
  ends.name = member->intfName();
  ends.memberVlan = interface->vlan(vlanId());
  return true;
}

void PortGroupSm::VekMemberInterface::VekDynVlan::handleInitialized() {
  VEK_TRACE_SITE;
  VekMemberInterface* const member = owner();
  PortGroupSm* const sm = member ? member->owner() : nullptr;
  Vek::Ptr<PortGroup> const group = member ? member->group() : nullptr;
  Vek::Ptr<DynamicVlan const> const own = hostVlan();
  if (!sm || !group || !own) return;
  VEK_TRACE(9) << sm->intfName() << " : " << member->intfName() << " : " << vlanId();
  Vek::hold(group->vlanRef(), vlanId(), member->intfName());
  Vek::forEachKey(own->mappedVniCol(), [&](U32 vni) { handleDynamicVniMapping(vni); });
  Vek::forEachKey(own->domainCol(),
                  [&](Client::ClientDomain const& domain) { handleVlanDomain(domain); });
}

void PortGroupSm::VekMemberInterface::VekDynVlan::handleVlanDomain(
    Client::ClientDomain const& domain) {
  VEK_ENTRY << "VLAN: " << vlanId() << " domain: " << domain.name();
  Ends ends;
  if (!reach(ends)) return;
  PortGroupSm* const sm = ends.sm;
  Vek::follow(
      ends.vlan->domainRef(), domain, ends.name, ends.memberVlan && ends.memberVlan->domain(domain),
      [&] {
        VEK_TRACE(2) << "Adding domain: " << domain.name() << " for VLAN: " << vlanId()
                     << " portGroup: " << sm->intfName();
      },
      [&] {
        VEK_TRACE(2) << "Deleting domain: " << domain.name() << " portGroup: " << sm->intfName();
      });
}

void PortGroupSm::VekMemberInterface::VekDynVlan::handleDynamicVniMapping(U32 vni) {
  VEK_ENTRY << "VLAN: " << vlanId() << " VNI: " << vni;
  Ends ends;
  if (!reach(ends)) return;
  PortGroupSm* const sm = ends.sm;
  Vek::follow(
      ends.vlan->mappedVniRef(), vni, ends.name, ends.memberVlan && ends.memberVlan->mappedVni(vni),
      [&] { VEK_TRACE(2) << "Adding VLAN " << vlanId() << " to " << sm->intfName(); },
      [&] {
        VEK_TRACE(2) << "Deleting " << vlanId() << " <-> " << vni << " from " << sm->intfName();
      });
}

void PortGroupSm::VekMemberInterface::VekDynVlan::doCleanup() {
  VEK_ENTRY << "";
  VekMemberInterface* const member = owner();
  PortGroupSm* const sm = member ? member->owner() : nullptr;
  Vek::Ptr<DynamicVlan const> const own = hostVlan();
  if (!sm || !own) return;
  Vek::Ptr<DynamicVlan> const vlan = groupVlan();
  if (!vlan) {
    // The normal end of the second run, once the member's cleanup took the
    // group's VLAN.
    VEK_TRACE(2) << "No portGroup vlan for " << vlanId();
    return;
  }
  VEK_TRACE(2) << "memeber interface : " << member->intfName();
  // Whether the group's entry goes is read on the member's own entry, not
  // the group's, unlike the handlers above: deliberate.
  Vek::releaseBySource(own->mappedVniCol(), vlan->mappedVniRef(), member->intfName(),
                       [&](U32 vni) {
                         VEK_TRACE(2) << "Removing VNI " << vni << " from VLAN " << vlanId()
                                      << " on " << sm->intfName();
                       });
  Vek::releaseBySource(own->domainCol(), vlan->domainRef(), member->intfName(),
                       [&](Client::ClientDomain const& domain) {
                         VEK_TRACE(2) << "Removing domain " << domain.name() << " from VLAN "
                                      << vlanId() << " on " << sm->intfName();
                       });
}

}  // namespace VirtualNetwork::Agent
