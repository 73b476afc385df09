// The switch node's VTEP side: the VNIs of each VLAN of each port onto the
// VTEP's VLAN-to-VNI map, the operator's static maps turned into VNI
// entries, and the two conflict rules of the output.
//
// A VLAN's `mappedVni` entries come from two sources, counted by referrers
// on each entry: a client's dynamic VNI (the element's or the client's name)
// and a static map (the first string of the domain). The writer knows only
// how many entries there are: one is mapped, two or more are a conflict
// that withdraws the mapping until one is left, none removes it.
//
// Values the map cannot hold (a VLAN id above 4094, a VNI above 16777215)
// raise the value types' range errors when a VNI arrives and in the bulk
// pass, before anything is written. A removal, and a withdrawal for a
// conflict, never raise: they also run inside cleanups, in the agent's
// destructor and while an error is on its way out (a client's VLAN reactor
// whose birth raised takes its VNI back), where a second exception would end
// the process. They skip a key that such a VLAN cannot have and a remaining
// VNI that cannot be written; the next arrival or bulk pass reports them.
#include <string>

#include "reactive/Trace.h"
#include "switch/SwitchNodeSm.h"

namespace VirtualNetwork::Agent {

namespace {

using VtepConfig = VxlanController::VtepConfigV2;
using VlanKey = VxlanController::PortVlanPairV2;

// The candidates of a conflict, "5, 6", in the collection's order.
template <class Collection>
std::string candidatesOf(Collection const& collection) {
  std::string text;
  Vek::forEachKey(collection, [&](U32 key) {
    if (!text.empty()) text += ", ";
    text += std::to_string(key);
  });
  return text;
}

// Calls f(intfName, vlan) for every VLAN of every interface of the element
// that skip(intfName) does not refuse. The walks are stale-safe: f may
// delete VNIs, which runs the mapping handler inside the walk.
template <class Skip, class F>
void forEachInterfaceVlan(NetworkElement const& element, Skip&& skip, F&& f) {
  Vek::forEachKey(element.interfaceCol(), [&](Vek::String const& intfName) {
    Vek::Ptr<Interface> const interface = element.interface(intfName);
    if (!interface || skip(intfName)) return;
    Vek::forEachKey(interface->vlanCol(), [&](U32 vlanId) {
      if (Vek::Ptr<DynamicVlan> const vlan = interface->vlan(vlanId)) f(intfName, *vlan);
    });
  });
}

// Takes `referrer` from every VNI of the VLAN; an entry left with no
// referrer goes, after beforeDel(vni). Entries with other referrers (a
// client's, another domain's) stay.
template <class F>
void withdrawReferrer(DynamicVlan& vlan, Vek::String const& referrer, F&& beforeDel) {
  Vek::forEachKey(vlan.mappedVniCol(), [&](U32 vni) {
    Vek::Ptr<Client::MappedVni> const entry = vlan.mappedVni(vni);
    if (!entry) return;  // a nested handler took it meanwhile
    entry->referrerDel(referrer);
    if (!entry->referrerCol().empty()) return;
    beforeDel(vni);
    vlan.mappedVniDel(vni);
  });
}

// The switch's id for an entry line, empty once the owner has gone.
Vek::Name switchIdOf(SwitchNodeSm const* sm) { return sm ? sm->switchId() : Vek::Name(); }

}  // namespace

Vek::Ptr<VtepConfig> SwitchNodeSm::firstVtepConfig() const {
  Vek::Ptr<VtepConfigDir> const dir = vtepConfigDir();
  if (!dir) return nullptr;
  auto const first = dir->vtepConfigCol().iterator();
  return first ? first.ptr() : nullptr;
}

// --- The bulk writer ------------------------------------------------------------------

void SwitchNodeSm::handleVtepConfig(Vek::String name) {
  VEK_ENTRY << switchId() << " " << switchId() << " " << name;
  Vek::Ptr<NetworkElement> const element = switchElement();
  if (!element) {
    // handleSwitchElement runs this again once the element is set.
    VEK_TRACE(3) << switchId() << " Switch element has not been set yet. Deferring...";
    return;
  }
  Vek::Ptr<VtepStatusDir const> const status = vtepStatusDir();
  if (!status || !status->vtepStatus(name)) {
    // The configuration of a VTEP that went stays, with all its mappings.
    VEK_TRACE(3) << switchId() << " Vtep " << name << " deleted";
    return;
  }
  Vek::Ptr<VtepConfigDir> const dir = vtepConfigDir();
  if (!dir) return;
  Vek::Ptr<VtepConfig> const vtep = dir->vtepConfigIs(name);
  // Adds and refreshes only: the mapping of a VLAN that went while no node
  // was there stays in the map.
  forEachInterfaceVlan(
      *element, [&](Vek::String const& intfName) { return isMemberInterface(intfName); },
      [&](Vek::String const& intfName, DynamicVlan const& vlan) {
        U32 const vlanId = vlan.vlanId();
        if (vlan.mappedVniCol().size() >= 2) {
          handleVniMapConflict(intfName, vlanId);
          return;
        }
        // The key only where it is written: a VLAN with nothing to map
        // raises nothing, whatever its id.
        Vek::forEachKey(vlan.mappedVniCol(), [&](U32 vni) {
          VlanKey const key(intfName, vlanId);  // above 4094 raises here
          VEK_TRACE(2) << switchId() << " Mapping " << vlanId << " to " << vni << " on interface "
                       << intfName;
          vtep->vlanToVniMapIs(key, Vxlan::Vni(vni));  // above 16777215 raises before the write
        });
      });
}

// --- Static maps ----------------------------------------------------------------------

void SwitchNodeSm::handleStaticVniMapForDomain(Client::ClientDomain domain) {
  VEK_ENTRY << switchId() << " domainName : " << domain.name();
  Vek::Ptr<Config const> const config = this->config();
  if (Vek::Ptr<VlanToVniMap const> const map = config ? config->vlanToVniMap(domain) : nullptr) {
    // VekConfig has made the domain's reactor before calling here.
    Vek::Ptr<VekVlanToVniMap> const reactor = vlanToVniMap(domain);
    if (!reactor) return;
    Vek::forEachKey(map->mapCol(), [&](Range const& vlanRange) {
      reactor->handleStaticVniMapForVlanRange(vlanRange);
    });
    return;
  }
  VEK_TRACE(3) << switchId() << " There is no VLAN to VNI mapping for domain '" << domain.name()
               << "'";
  // The agent root sets the element right after making the node.
  Vek::Ptr<NetworkElement> const element = switchElement();
  if (!element) return;
  // The whole switch, whatever domains its VLANs have: an entry without the
  // domain's referrer loses nothing, and another domain's or a client's
  // entry keeps its own. No trace per entry, unlike handleVlanDomain.
  Vek::String const referrer = domain.first();
  forEachInterfaceVlan(
      *element, [](Vek::String const&) { return false; },
      [&](Vek::String const&, DynamicVlan& vlan) { withdrawReferrer(vlan, referrer, [](U32) {}); });
}

void SwitchNodeSm::VekVlanToVniMap::handleStaticVniMapForVlanRange(Range vlanRange) {
  VEK_ENTRY << switchIdOf(owner()) << " [ " << domainName().name()
            << " ] vlan mapping is changing for " << vlanRange;
  SwitchNodeSm* const sm = owner();
  if (!sm) return;
  Client::ClientDomain const domain = domainName();
  Vek::Ptr<VlanToVniMap const> const map = notifier();
  // The zero range once the entry has gone.
  Range const vniRange = map ? map->map(vlanRange) : Range();
  VEK_TRACE(3) << sm->switchId() << " Vlan range " << vlanRange << " is now mapped to " << vniRange;
  Vek::Ptr<NetworkElement> const element = sm->switchElement();
  if (!element) {
    // No retry needed: every VNI reactor reads its domains when it is born.
    VEK_TRACE(3) << "Switch element does not exist for " << sm->switchId();
    return;
  }
  // Interfaces are not filtered by domain: a VLAN without the domain takes
  // the removal path of handleVlanDomain. A range that keeps its key and
  // gets other VNIs only adds the new VNI beside the old one, so its VLANs
  // stay in conflict until the operator removes the range and adds it
  // again. Deliberate: no handler is told an old value, and the level 0
  // line shows the operator both VNIs.
  forEachInterfaceVlan(
      *element, [](Vek::String const&) { return false; },
      [&](Vek::String const& intfName, DynamicVlan const& vlan) {
        if (!vlanRange.contains(vlan.vlanId())) return;
        VekInterface* const interface = sm->interface(intfName);
        Vek::Ptr<VekInterface::VekDynVlan> const reactor =
            interface ? interface->dynVlan(vlan.vlanId()) : nullptr;
        if (reactor) reactor->handleVlanDomain(domain);
      });
}

// --- Conflicts --------------------------------------------------------------------------

void SwitchNodeSm::handleVniMapConflict(Vek::String intfName, U32 vlan) {
  VEK_ENTRY << "Interface: " << intfName << " VLAN: " << vlan;
  Vek::Ptr<VtepConfig> const vtep = firstVtepConfig();
  Vek::Ptr<NetworkElement> const element = switchElement();
  Vek::Ptr<Interface> const interface = element ? element->interface(intfName) : nullptr;
  if (!vtep || !interface) {
    VEK_TRACE(2) << "vtepConfig: " << vtep << " interface: " << interface;
    return;
  }
  Vek::Ptr<DynamicVlan> const dynVlan = interface->vlan(vlan);
  U32 const count = dynVlan ? dynVlan->mappedVniCol().size() : 0;
  std::string const candidates = dynVlan ? candidatesOf(dynVlan->mappedVniCol()) : std::string();
  // No candidate wins: the mapping is withdrawn until one is left. The
  // words stand as operators know them, without a full stop before "There".
  VEK_TRACE(0) << "Conflict is detected in VLAN " << vlan << " mapping on switch "
               << element->name() << " interface " << interface->name() << " There are " << count
               << " different VNIs (" << candidates
               << ") are requested to map on same VLAN. Removing mapping for VLAN " << vlan
               << " from interface " << interface->name();
  // A VLAN above 4094 has no key to delete (see the top of this file).
  if (!Bridging::VlanIdOrNone::holds(vlan)) return;
  vtep->vlanToVniMapDel(VlanKey(intfName, vlan));
}

void SwitchNodeSm::handleNativeVlanConflict(Vek::String intfName, U32 vlan) {
  VEK_ENTRY << "Interface: " << intfName << " VLAN: " << vlan;
  Vek::Ptr<NetworkElement> const element = switchElement();
  Vek::Ptr<Interface> const interface = element ? element->interface(intfName) : nullptr;
  Vek::Ptr<PortVlanConfig> const ports = portVlanConfig();
  if (!interface || !ports) return;
  // No candidate wins: the output is withdrawn until one is left.
  VEK_TRACE(0) << "Conflict is detected for setting native vlan on interface " << interface->name()
               << ". There are " << interface->nativeVlanCol().size() << " different nativeVlans ( "
               << candidatesOf(interface->nativeVlanCol())
               << " ) requested to be configured on the interface. Removing nativeVlan from "
               << interface->name() << " because of conflict.";
  ports->portNativeVlanDel(interface->name());
}

// --- VekDynVlan -------------------------------------------------------------------------

SwitchNodeSm* SwitchNodeSm::VekInterface::VekDynVlan::node() const {
  VekInterface* const interface = owner();
  return interface ? interface->owner() : nullptr;
}

Vek::String SwitchNodeSm::VekInterface::VekDynVlan::intfName() const {
  VekInterface* const interface = owner();
  return interface ? interface->intfName() : Vek::String();
}

Vek::Ptr<DynamicVlan> SwitchNodeSm::VekInterface::VekDynVlan::vlan() const {
  VekInterface* const interface = owner();
  Vek::Ptr<Interface> const watched = interface ? interface->interface() : nullptr;
  return watched ? watched->vlan(vlanId()) : nullptr;
}

void SwitchNodeSm::VekInterface::VekDynVlan::handleInitialized() {
  VEK_ENTRY << "inteface: " << intfName() << " VLAN: " << vlanId();
  Vek::Ptr<DynamicVlan const> const watched = notifier();
  if (!watched) return;
  Vek::forEachKey(watched->domainCol(),
                  [&](Client::ClientDomain const& domain) { handleVlanDomain(domain); });
}

void SwitchNodeSm::VekInterface::VekDynVlan::handleVlanDomain(Client::ClientDomain domain) {
  VEK_ENTRY << switchIdOf(node()) << " domainName : " << domain.name();
  SwitchNodeSm* const sm = node();
  if (!sm) return;
  U32 const vlanId = this->vlanId();
  Vek::Ptr<DynamicVlan> const vlan = this->vlan();
  Vek::Ptr<Config const> const config = sm->config();
  U32 const vni = config ? config->vniForVlan(domain, vlanId) : 0;
  Vek::String const referrer = domain.first();
  if (vni != 0 && vlan && vlan->domain(domain)) {
    VEK_TRACE(2) << "Adding static " << vlanId << " <-> " << vni << " mapping ";
    // The new entry is mapped inside mappedVniIs, before it has its
    // referrer: harmless, the writer reads no referrers.
    vlan->mappedVniIs(vni)->referrerIs(referrer);
    return;
  }
  if (!vlan) return;
  // Deliberately the VNI the map gives now (0 once the range has gone), not
  // the entry that goes: operators read these lines as they always were.
  withdrawReferrer(*vlan, referrer, [&](U32) {
    VEK_TRACE(2) << "Removing static " << vlanId << " <-> " << vni << " mapping ";
  });
}

void SwitchNodeSm::VekInterface::VekDynVlan::handleInterfaceVniMapping(U32 vni) {
  VEK_ENTRY << "VLAN: " << vlanId() << " VNI: " << vni;
  U32 const vlanId = this->vlanId();
  SwitchNodeSm* const sm = node();
  if (!sm) return;
  Vek::String const intfName = this->intfName();
  // A member's VLANs are mapped under its group's name.
  if (sm->isMemberInterface(intfName)) return;
  Vek::Ptr<VtepConfig> const vtep = sm->firstVtepConfig();
  VEK_TRACE(2) << sm->switchId() << " vtepConfigDir: " << sm->vtepConfigDir();
  if (!vtep) {
    // The bulk writer catches up when the VTEP status arrives.
    VEK_TRACE(2) << sm->switchId() << " vtepConfig is not present. Deferring...";
    return;
  }
  Vek::Ptr<DynamicVlan const> const vlan = this->vlan();
  if (vlan && vlan->mappedVniCol().size() >= 2) {
    sm->handleVniMapConflict(intfName, vlanId);
    return;
  }
  auto const map = [&](U32 mapped) {
    VlanKey const key(intfName, vlanId);  // above 4094 raises here
    VEK_TRACE(2) << sm->switchId() << " Mapping VLAN " << vlanId << " to VNI " << mapped
                 << " on interface " << intfName;
    // The VNI is made before the write: above 16777215 raises, nothing is
    // written.
    vtep->vlanToVniMapIs(key, Vxlan::Vni(mapped));
  };
  if (vlan && vlan->mappedVni(vni)) {
    map(vni);
    return;
  }
  VEK_TRACE(2) << sm->switchId() << " Removing VLAN: " << vlanId << " mapping from interface "
               << intfName;
  // A removal raises nothing (see the top of this file).
  if (!Bridging::VlanIdOrNone::holds(vlanId)) return;
  vtep->vlanToVniMapDel(VlanKey(intfName, vlanId));
  // The one left after a conflict, or the new VNI when the old one went
  // last.
  if (!vlan || vlan->mappedVniCol().size() != 1) return;
  U32 const rest = vlan->mappedVniCol().iterator().key();
  if (Vxlan::Vni::holds(rest)) map(rest);
}

void SwitchNodeSm::VekInterface::VekDynVlan::doCleanup() {
  VEK_ENTRY << "Inteface: " << intfName() << " VLAN: " << vlanId();
  SwitchNodeSm* const sm = node();
  Vek::Ptr<VtepConfig> const vtep = sm ? sm->firstVtepConfig() : nullptr;
  // No member test: a member's stale key goes too. A VLAN above 4094 has
  // no key, and a cleanup must not raise.
  if (!vtep || !Bridging::VlanIdOrNone::holds(vlanId())) return;
  vtep->vlanToVniMapDel(VlanKey(intfName(), vlanId()));
}

}  // namespace VirtualNetwork::Agent
