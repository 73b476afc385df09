#include "agent/VirtualNetworkAgentSm.h"

#include "client/ClientRequestedResourcesCollectionSm.h"
#include "client/ClientResourcesForHostnameSm.h"
#include "client/ClientResourcesForSwitchportSm.h"
#include "element/HostResourcesSm.h"
#include "element/NetworkElementCollectionSm.h"
#include "element/NetworkElementSm.h"
#include "element/PhysicalInterfaceSm.h"
#include "element/PortGroupSm.h"
#include "reactive/Assert.h"
#include "reactive/MacString.h"
#include "reactive/Trace.h"
#include "schema/Client.h"
#include "schema/PortVlan.h"
#include "schema/Vtep.h"

namespace VirtualNetwork::Agent {

namespace {

// The agent's classes describe themselves to the framework when the library
// is loaded. It lives beside the agent's factory, so that every program that
// builds an agent links it.
struct TypeRegistration {
  TypeRegistration() {
    // The registration's namespace prefix; no operation reads it.
    static Vek::String const prefix("ns-");
    for (Vek::TypeNode const* type : {
             &ClientRequestedResourcesCollectionSm::_vekType(),
             &ClientResourcesForHostnameSm::_vekType(),
             &NetworkElementSm::_vekType(),
             &TopologySm::_vekType(),
             &ClientResourcesForSwitchportSm::_vekType(),
             &PortGroupSm::_vekType(),
             &RemoteMountsStatus::_vekType(),
             &VirtualNetworkAgentSm::_vekType(),
             &SwitchNodeSm::_vekType(),
             &HostResourcesSm::_vekType(),
             &PhysicalInterfaceSm::_vekType(),
             &NetworkElementCollectionSm::_vekType(),
         }) {
      Vek::typeNodeIs(type);
    }
  }
} const typeRegistration;

}  // namespace

VirtualNetworkAgentSm::VirtualNetworkAgentSm(Vek::Ptr<Config const> const& config,
                                             Vek::Ptr<Status> const& status,
                                             Vek::Ptr<TopologyStatus const> const& topologyStatus,
                                             Vek::Ptr<Vek::Dir> const& portVlanConfigDir,
                                             Vek::Ptr<Vek::Dir> const& dynVtepConfigDir,
                                             Vek::Ptr<Vek::Dir> const& dynVtepStatusDir,
                                             Vek::Ptr<Vek::Dir> const& requestedResourcesColDir)
    : config_(config),
      status_(status),
      topologyStatus_(topologyStatus),
      portVlanConfigDir_(portVlanConfigDir),
      dynVtepConfigDir_(dynVtepConfigDir),
      dynVtepStatusDir_(dynVtepStatusDir),
      requestedResourcesColDir_(requestedResourcesColDir) {}

Vek::Ptr<VirtualNetworkAgentSm> virtualNetworkAgentSmFactory(
    Vek::Ptr<Config const> const& config, Vek::Ptr<Status> const& status,
    Vek::Ptr<NetworkTopologyAggregatorV3::Status const> const& topologyStatus,
    Vek::Ptr<Vek::Dir> const& portVlanConfigDir, Vek::Ptr<Vek::Dir> const& dynVtepConfigDir,
    Vek::Ptr<Vek::Dir> const& dynVtepStatusDir,
    Vek::Ptr<Vek::Dir> const& requestedResourcesColDir) {
  return VirtualNetworkAgentSm::vekCreate(config, status, topologyStatus, portVlanConfigDir,
                                          dynVtepConfigDir, dynVtepStatusDir,
                                          requestedResourcesColDir);
}

// --- Generated members with steps of their own --------------------------------

Vek::Ptr<RemoteMountsStatus> VirtualNetworkAgentSm::remoteMountsStatusIs(
    Vek::String const& switchId) {
  bool made = false;
  Vek::Ptr<RemoteMountsStatus> record = remoteMountsStatus_.is(switchId, &made);
  if (made) rmsIs(record);
  return record;
}

// No handler calls this: a switch that has gone keeps its record, with its
// flags false, for its next coming.
void VirtualNetworkAgentSm::remoteMountsStatusDel(Vek::String const& switchId) {
  Vek::Ptr<RemoteMountsStatus> record = remoteMountsStatus_.take(switchId);
  if (!record) return;
  rmsDel(switchId);
  record->parentIs(nullptr);
}

void VirtualNetworkAgentSm::remoteMountsStatusDelAll() {
  Vek::forEachKey(remoteMountsStatus_, [&](Vek::String const& key) { remoteMountsStatusDel(key); });
}

// --- Handlers -------------------------------------------------------------------

void VirtualNetworkAgentSm::handleEnabled() {
  VEK_ENTRY << "";
  Vek::Ptr<Config const> const config = this->config();
  if (!config) return;
  if (config->enabled()) {
    handleInitialized();
  } else {
    doCleanup();
  }
}

void VirtualNetworkAgentSm::handleInitialized() {
  VEK_ENTRY << "";
  if (initialized()) return;
  Vek::Ptr<Status> const status = this->status();
  if (!status->networkElementCollection()) {
    status->networkElementCollectionIs(Vek::Name(""));
  } else {
    VEK_TRACE(2) << "Cleaning up networkElementCollection";
    // Elements of an earlier life never survive the start of a new one.
    status->networkElementCollection()->destroy();
  }
  if (!status->requestedResourcesCollection()) {
    status->requestedResourcesCollectionIs(Vek::Name(""));
  } else {
    VEK_TRACE(2) << "Cleaning up requestedResourcesCollection";
    status->requestedResourcesCollection()->resourcesForHostnameDelAll();
  }
  topologySmIs(status->networkElementCollection(), status->requestedResourcesCollection(),
               topologyStatus());
  auto forEachEntity = [](Vek::Ptr<Vek::Dir> const& dir, auto&& handler) {
    if (dir) Vek::forEachKey(dir->entityPtrCol(), handler);
  };
  forEachEntity(requestedResourcesColDir(),
                [&](Vek::Name const& name) { handleRequestedResourcesColConfigDir(name); });
  forEachEntity(portVlanConfigDir(),
                [&](Vek::Name const& name) { handlePortVlanConfigMount(name); });
  forEachEntity(dynVtepConfigDir(),
                [&](Vek::Name const& name) { handleDynVtepConfigDirMount(name); });
  forEachEntity(dynVtepStatusDir(),
                [&](Vek::Name const& name) { handleDynVtepStatusDirMount(name); });
  // Last of all: a switch whose directories are all there becomes ready here
  // and gets its node after the topology and the clients.
  if (Vek::Ptr<TopologyStatus const> const topology = topologyStatus()) {
    Vek::forEachKey(topology->hostCol(),
                    [&](Vek::Name const& host) { handleTopologyStatus(host); });
  }
  initializedIs(true);
}

// Empties the two outputs and nothing else: the machines stay, and
// `initialized` stays true, so `enabled` going true again rebuilds nothing.
void VirtualNetworkAgentSm::doCleanup() {
  VEK_ENTRY << "";
  Vek::Ptr<Status> const status = this->status();
  if (auto const collection = status->networkElementCollection()) collection->destroy();
  if (auto const collection = status->requestedResourcesCollection()) {
    collection->resourcesForHostnameDelAll();
  }
}

void VirtualNetworkAgentSm::handleRequestedResourcesColConfigDir(Vek::String client) {
  VEK_ENTRY << "client : " << client;
  Vek::Ptr<Vek::Dir> const dir = requestedResourcesColDir();
  if (!dir) return;
  if (!dir->entityPtr(client)) {
    // The combiner goes with the directory entry, not here.
    VEK_TRACE(2) << "networkElementCollectionDir " << client << " deleted";
    return;
  }
  Vek::Ptr<Vek::Dir::Entry> const entry = dir->entryState(client);
  if (!entry) {
    VEK_TRACE(1) << "networkElementCollectionDir " << client << " not instantiated yet";
    return;
  }
  if (entry->status() != Vek::Dir::Entry::synchronised) {
    VEK_TRACE(1) << "networkElementCollectionDir " << client << " not synchronized";
    return;
  }
  VEK_TRACE(2) << "VirtualNetworkAgent client " << client << " added";
  // The directory holds nothing but client collections, so the result is
  // not tested; an entity of another type converts to null, and the combiner
  // then watches nothing.
  auto const requests =
      Vek::ptrCast<Client::RequestedResourcesCollection const>(dir->entityPtr(client));
  rrcCombinerSmIs(client, requests, status()->networkElementCollection(),
                  status()->requestedResourcesCollection());
}

// A client's combiner ends with its directory entry, not with the entity.
void VirtualNetworkAgentSm::VekRequestedResourcesColDirEntry::doCleanup() {
  VEK_ENTRY << fwkKey();
  VirtualNetworkAgentSm* const agent = owner();
  Vek::Ptr<Vek::Dir::Entry const> const entry = notifier();
  if (agent && entry) agent->rrcCombinerSmDel(entry->name());
}

template <class Expected>
void VirtualNetworkAgentSm::handleMount(Vek::TraceSite const& site, Vek::Ptr<Vek::Dir> const& dir,
                                        Vek::String const& switchId, char const* path,
                                        void (RemoteMountsStatus::*flagIs)(bool)) {
  VEK_TRACE_SITE_OF(site);
  // The record comes into being on any news of the switch, its deletion too.
  Vek::Ptr<RemoteMountsStatus> const record = remoteMountsStatusIs(switchId);
  if (!dir) return;
  if (!dir->entityPtr(switchId)) {
    VEK_TRACE(2) << "switch deleted";
    (record.ptr()->*flagIs)(false);
    return;
  }
  Vek::Ptr<Vek::Dir::Entry> const entry = dir->entryState(switchId);
  if (!entry) {
    VEK_TRACE(2) << "switch subdir added, but not instantiated yet";
    return;
  }
  if (entry->status() != Vek::Dir::Entry::synchronised) {
    // A ready switch stays ready while its entry leaves the synchronised state.
    VEK_TRACE(2) << "entry instantiated but not synchronized";
    return;
  }
  VEK_TRACE(2) << "switch added";
  if (!Vek::ptrCast<Expected>(dir->entityPtr(switchId))) {
    VEK_TRACE(2) << "switchId " << switchId << " doesn't exist in " << path;
    (record.ptr()->*flagIs)(false);
    return;
  }
  (record.ptr()->*flagIs)(true);
}

void VirtualNetworkAgentSm::handlePortVlanConfigMount(Vek::String switchId) {
  VEK_ENTRY << "switchId " << switchId;
  handleMount<ControllerProxyAgent::PortVlanConfigV1>(vekTraceSite_, portVlanConfigDir(), switchId,
                                                      "controllerProxyAgent/v1/portVlanConfigDir",
                                                      &RemoteMountsStatus::portVlanConfigIs);
}

void VirtualNetworkAgentSm::handleDynVtepConfigDirMount(Vek::String switchId) {
  VEK_ENTRY << "switchId : " << switchId;
  handleMount<VxlanController::VtepConfigDirV2>(
      vekTraceSite_, dynVtepConfigDir(), switchId,
      "vxlancontroller/version2/input/dynVtepConfig/openstack",
      &RemoteMountsStatus::dynVtepConfigIs);
}

void VirtualNetworkAgentSm::handleDynVtepStatusDirMount(Vek::String switchId) {
  VEK_ENTRY << "switchId : " << switchId;
  handleMount<VxlanController::VtepStatusDirV2>(vekTraceSite_, dynVtepStatusDir(), switchId,
                                                "vxlan/version2/vtepStatusDir",
                                                &RemoteMountsStatus::dynVtepStatusIs);
}

void VirtualNetworkAgentSm::handleTopologyStatus(Vek::Name host) {
  VEK_TRACE_SITE;
  // The topology keys its hosts by colon MAC, the switch directories by dash.
  Vek::String const switchId = getDashMacString(host);
  VEK_TRACE(9) << " for switchId " << switchId;
  Vek::Ptr<RemoteMountsStatus> const record = remoteMountsStatusIs(switchId);
  Vek::Ptr<TopologyStatus const> const topology = topologyStatus();
  if (topology && topology->host(host)) {
    VEK_TRACE(2) << "switch added";
    record->topologyIs(true);
  } else {
    VEK_TRACE(2) << "switch deleted";
    record->topologyIs(false);
  }
}

// The one place that decides whether a switch has a node.
void VirtualNetworkAgentSm::VekRms::handleSwitchMounts() {
  VEK_TRACE_SITE;
  Vek::Ptr<RemoteMountsStatus const> const record = notifier();
  VirtualNetworkAgentSm* const agent = owner();
  if (!record || !agent) return;
  Vek::String const switchId = record->switchId();
  VEK_TRACE(9) << "switchId : " << switchId;
  VEK_TRACE(2) << "PortVlanConfig : " << record->portVlanConfig();
  VEK_TRACE(2) << "Ready: " << record->ready();
  Vek::String const mac = getColonMacString(switchId);
  if (record->ready()) {
    auto const portVlanConfig = Vek::ptrCast<ControllerProxyAgent::PortVlanConfigV1>(
        agent->portVlanConfigDir()->entityPtr(switchId));
    VEK_ASSERT(portVlanConfig);
    auto const vtepConfigDir = Vek::ptrCast<VxlanController::VtepConfigDirV2>(
        agent->dynVtepConfigDir()->entityPtr(switchId));
    VEK_ASSERT(vtepConfigDir);
    auto const vtepStatusDir = Vek::ptrCast<VxlanController::VtepStatusDirV2 const>(
        agent->dynVtepStatusDir()->entityPtr(switchId));
    VEK_ASSERT(vtepStatusDir);
    Vek::Ptr<SwitchNodeSm> const sm =
        agent->switchNodeSmIs(mac, portVlanConfig, vtepConfigDir, vtepStatusDir,
                              agent->status()->networkElementCollection(), agent->config());
    VEK_TRACE(3) << "Mac address: " << mac;
    Vek::Ptr<NetworkElement> const element =
        agent->status()->networkElementCollection()->networkElementIs(mac);
    // The switch refers to its own element, under its colon MAC.
    element->referrerIs(mac, true);
    VEK_TRACE(3) << "Switch element: " << element.ptr();
    sm->switchElementIs(element);
  } else {
    VEK_TRACE(2) << "Deleting switch node sm for switch " << switchId;
    // `ready` goes false only from true, which made the node; another path
    // may still have taken it.
    if (Vek::Ptr<SwitchNodeSm> const sm = agent->switchNodeSm(mac)) sm->doCleanup();
    agent->switchNodeSmDel(mac);
  }
}

}  // namespace VirtualNetwork::Agent
