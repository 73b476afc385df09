// The root of the agent: the one machine a host process makes by hand.
//
// It is handed the seven inputs of the whole system and
//   - creates (or empties) the two shared output collections,
//   - owns the topology tracker,
//   - owns one client combiner per client directory entry that is
//     synchronised, and ends it with the entry,
//   - keeps, per switch, the record of its four preconditions
//     (RemoteMountsStatus) and owns a switch node exactly while they hold.
// It holds no logic of networks or VLANs itself.
//
//   Vek::Ptr<VirtualNetworkAgentSm> agent = virtualNetworkAgentSmFactory(
//       config, status, topologyStatus, portVlanConfigDir, dynVtepConfigDir,
//       dynVtepStatusDir, requestedResourcesColDir);
//   // from now on every change of an input runs the agent's handlers
//   agent = nullptr;  // stops it; inputs and outputs stay
#pragma once

#include "agent/RemoteMountsStatus.h"
#include "client/ClientRequestedResourcesCollectionSm.h"
#include "reactive/Accessors.h"
#include "reactive/Dir.h"
#include "reactive/StateMachine.h"
#include "reactive/Trace.h"
#include "schema/Roots.h"
#include "switch/SwitchNodeSm.h"
#include "topology/TopologySm.h"

namespace VirtualNetwork::Agent {

class VirtualNetworkAgentSm : public Vek::StateMachine<VirtualNetworkAgentSm> {
 public:
  class VekConfig;
  class VekTopologyStatus;
  class VekRequestedResourcesColDir;
  class VekPortVlanConfigDir;
  class VekDynVtepConfigDir;
  class VekDynVtepStatusDir;
  class VekRequestedResourcesColDirEntry;
  class VekPortVlanConfigDirEntry;
  class VekDynVtepConfigDirEntry;
  class VekDynVtepStatusDirEntry;
  class VekRms;

  using TopologyStatus = NetworkTopologyAggregatorV3::Status;

  VirtualNetworkAgentSm(Vek::Ptr<Config const> const& config, Vek::Ptr<Status> const& status,
                        Vek::Ptr<TopologyStatus const> const& topologyStatus,
                        Vek::Ptr<Vek::Dir> const& portVlanConfigDir,
                        Vek::Ptr<Vek::Dir> const& dynVtepConfigDir,
                        Vek::Ptr<Vek::Dir> const& dynVtepStatusDir,
                        Vek::Ptr<Vek::Dir> const& requestedResourcesColDir);

  // The watched inputs: the current notifier of each reactor, or null.
  VEK_SM_REACTOR(config, VekConfig, Config const)
  VEK_SM_PARAM(status, Vek::Ptr<Status>)
  VEK_SM_REACTOR(topologyStatus, VekTopologyStatus, TopologyStatus const)
  VEK_SM_REACTOR(portVlanConfigDir, VekPortVlanConfigDir, Vek::Dir)
  VEK_SM_REACTOR(dynVtepConfigDir, VekDynVtepConfigDir, Vek::Dir)
  VEK_SM_REACTOR(dynVtepStatusDir, VekDynVtepStatusDir, Vek::Dir)
  VEK_SM_REACTOR(requestedResourcesColDir, VekRequestedResourcesColDir, Vek::Dir)
  // The same three inputs keep the tracker; others replace it. Never fails.
  VEK_SM_MACHINE(topologySm, TopologySm)
  // One node per ready switch, under its colon MAC.
  VEK_SM_MACHINES(switchNodeSm, Vek::Name, SwitchNodeSm)
  // One request combiner per client, under the client's directory name.
  VEK_SM_MACHINES(rrcCombinerSm, Vek::String, ClientRequestedResourcesCollectionSm)
  // One reactor per entry of each directory.
  VEK_SM_REACTORS(requestedResourcesColDirEntry, Vek::Name, VekRequestedResourcesColDirEntry)
  VEK_SM_REACTORS(portVlanConfigDirEntry, Vek::Name, VekPortVlanConfigDirEntry)
  VEK_SM_REACTORS(dynVtepConfigDirEntry, Vek::Name, VekDynVtepConfigDirEntry)
  VEK_SM_REACTORS(dynVtepStatusDirEntry, Vek::Name, VekDynVtepStatusDirEntry)
  // Per switch (dash form): the four facts, and the reactor on `ready`. A
  // new record gets its reactor at once.
  VEK_SM_CHILDREN(remoteMountsStatus, Vek::String, RemoteMountsStatus)
  Vek::Ptr<RemoteMountsStatus> remoteMountsStatusIs(Vek::String const& switchId);
  void remoteMountsStatusDel(Vek::String const& switchId);
  void remoteMountsStatusDelAll();
  VEK_SM_REACTORS(rms, Vek::String, VekRms)
  VEK_SM_ATTR(initialized, bool)

  // Handlers.
  void handleTopologyStatus(Vek::Name host);
  void handleRequestedResourcesColConfigDir(Vek::String client);
  void handlePortVlanConfigMount(Vek::String switchId);
  void handleDynVtepConfigDirMount(Vek::String switchId);
  void handleDynVtepStatusDirMount(Vek::String switchId);
  void handleEnabled();
  void doCleanup();
  void handleInitialized();

  static auto vekParams() {
    using A = VirtualNetworkAgentSm;
    return std::tuple{&A::config_,
                      &A::status_,
                      &A::topologyStatus_,
                      &A::portVlanConfigDir_,
                      &A::dynVtepConfigDir_,
                      &A::dynVtepStatusDir_,
                      &A::requestedResourcesColDir_};
  }
  static auto vekMembers();

 private:
  // The steps the three mount handlers share; traces name the calling handler.
  template <class Expected>
  void handleMount(Vek::TraceSite const& site, Vek::Ptr<Vek::Dir> const& dir,
                   Vek::String const& switchId, char const* path,
                   void (RemoteMountsStatus::*flagIs)(bool));
};

Vek::Ptr<VirtualNetworkAgentSm> virtualNetworkAgentSmFactory(
    Vek::Ptr<Config const> const& config, Vek::Ptr<Status> const& status,
    Vek::Ptr<NetworkTopologyAggregatorV3::Status const> const& topologyStatus,
    Vek::Ptr<Vek::Dir> const& portVlanConfigDir, Vek::Ptr<Vek::Dir> const& dynVtepConfigDir,
    Vek::Ptr<Vek::Dir> const& dynVtepStatusDir, Vek::Ptr<Vek::Dir> const& requestedResourcesColDir);

// --- Reactors ----------------------------------------------------------------

class VirtualNetworkAgentSm::VekConfig
    : public Vek::Reactor<VekConfig, Config const, VirtualNetworkAgentSm> {
 public:
  using Reactor::Reactor;
  using vekReactions =
      Vek::Reactions<Vek::OnValue<Config::enabledId, &VirtualNetworkAgentSm::handleEnabled>>;
};

// A changed topology status is not replayed: only its host changes are heard.
class VirtualNetworkAgentSm::VekTopologyStatus
    : public Vek::Reactor<VekTopologyStatus, TopologyStatus const, VirtualNetworkAgentSm> {
 public:
  using Reactor::Reactor;
  using vekReactions = Vek::Reactions<
      Vek::OnKey<TopologyStatus::hostId, &VirtualNetworkAgentSm::handleTopologyStatus>>;
};

// A directory: its entries are followed by the owner's entry reactors, its
// entities go to the owner's handler for that directory.
template <class Self, auto Entries, auto Handler>
class AgentDirReactor : public Vek::Reactor<Self, Vek::Dir, VirtualNetworkAgentSm> {
 public:
  using Vek::Reactor<Self, Vek::Dir, VirtualNetworkAgentSm>::Reactor;
  using vekReactions =
      Vek::Reactions<Vek::OnNested<Vek::Dir::entryStateId, Entries, &Vek::Dir::entryStateCol>,
                     Vek::OnKey<Vek::Dir::entityPtrId, Handler>>;
};

class VirtualNetworkAgentSm::VekRequestedResourcesColDir
    : public AgentDirReactor<VekRequestedResourcesColDir,
                             &VirtualNetworkAgentSm::requestedResourcesColDirEntry_,
                             &VirtualNetworkAgentSm::handleRequestedResourcesColConfigDir> {
 public:
  using AgentDirReactor::AgentDirReactor;
};

class VirtualNetworkAgentSm::VekPortVlanConfigDir
    : public AgentDirReactor<VekPortVlanConfigDir, &VirtualNetworkAgentSm::portVlanConfigDirEntry_,
                             &VirtualNetworkAgentSm::handlePortVlanConfigMount> {
 public:
  using AgentDirReactor::AgentDirReactor;
};

class VirtualNetworkAgentSm::VekDynVtepConfigDir
    : public AgentDirReactor<VekDynVtepConfigDir, &VirtualNetworkAgentSm::dynVtepConfigDirEntry_,
                             &VirtualNetworkAgentSm::handleDynVtepConfigDirMount> {
 public:
  using AgentDirReactor::AgentDirReactor;
};

class VirtualNetworkAgentSm::VekDynVtepStatusDir
    : public AgentDirReactor<VekDynVtepStatusDir, &VirtualNetworkAgentSm::dynVtepStatusDirEntry_,
                             &VirtualNetworkAgentSm::handleDynVtepStatusDirMount> {
 public:
  using AgentDirReactor::AgentDirReactor;
};

// A directory entry: a change of its status goes to the owner's handler for
// the entry's name.
template <class Self, auto Handler, class Entry = Vek::Dir::Entry>
class AgentDirEntryReactor : public Vek::Reactor<Self, Entry, VirtualNetworkAgentSm> {
 public:
  using Vek::Reactor<Self, Entry, VirtualNetworkAgentSm>::Reactor;
  void handleStatus() {
    if (auto* owner = this->owner()) (owner->*Handler)(this->notifier()->name());
  }
  using vekReactions =
      Vek::Reactions<Vek::OnValue<Vek::Dir::Entry::statusId, &AgentDirEntryReactor::handleStatus>>;
};

// The only entry reactor with a cleanup: a client's combiner ends with its
// directory entry, not with the entity.
class VirtualNetworkAgentSm::VekRequestedResourcesColDirEntry
    : public AgentDirEntryReactor<VekRequestedResourcesColDirEntry,
                                  &VirtualNetworkAgentSm::handleRequestedResourcesColConfigDir> {
 public:
  using AgentDirEntryReactor::AgentDirEntryReactor;
  void doCleanup();
};

class VirtualNetworkAgentSm::VekPortVlanConfigDirEntry
    : public AgentDirEntryReactor<VekPortVlanConfigDirEntry,
                                  &VirtualNetworkAgentSm::handlePortVlanConfigMount> {
 public:
  using AgentDirEntryReactor::AgentDirEntryReactor;
};

class VirtualNetworkAgentSm::VekDynVtepConfigDirEntry
    : public AgentDirEntryReactor<VekDynVtepConfigDirEntry,
                                  &VirtualNetworkAgentSm::handleDynVtepConfigDirMount> {
 public:
  using AgentDirEntryReactor::AgentDirEntryReactor;
};

class VirtualNetworkAgentSm::VekDynVtepStatusDirEntry
    : public AgentDirEntryReactor<VekDynVtepStatusDirEntry,
                                  &VirtualNetworkAgentSm::handleDynVtepStatusDirMount,
                                  Vek::Dir::Entry const> {
 public:
  using AgentDirEntryReactor::AgentDirEntryReactor;
};

// Decides, on every change of `ready`, whether the switch has a node.
class VirtualNetworkAgentSm::VekRms
    : public Vek::Reactor<VekRms, RemoteMountsStatus const, VirtualNetworkAgentSm> {
 public:
  using Reactor::Reactor;
  Vek::String switchId() const { return fwkKey(); }
  Vek::Ptr<RemoteMountsStatus const> rms() const { return notifier(); }
  void handleSwitchMounts();
  using vekReactions =
      Vek::Reactions<Vek::OnValue<RemoteMountsStatus::readyId, &VekRms::handleSwitchMounts>>;
};

inline auto VirtualNetworkAgentSm::vekMembers() {
  using A = VirtualNetworkAgentSm;
  return Vek::members(
      &A::config_, &A::status_, &A::topologyStatus_, &A::portVlanConfigDir_, &A::dynVtepConfigDir_,
      &A::dynVtepStatusDir_, &A::requestedResourcesColDir_, &A::topologySm_, &A::switchNodeSm_,
      &A::rrcCombinerSm_, Vek::handler<"handleTopologyStatus", &A::handleTopologyStatus, "host">(), Vek::idGap<1>(),
      Vek::handler<"handleRequestedResourcesColConfigDir",
                   &A::handleRequestedResourcesColConfigDir, "client">(),
      Vek::idGap<1>(),
      Vek::mirror(&A::requestedResourcesColDirEntry_, &A::requestedResourcesColDir,
                  &Vek::Dir::entryStateCol),
      Vek::idGap<1>(),
      Vek::handler<"handlePortVlanConfigMount", &A::handlePortVlanConfigMount, "switchId">(),
      Vek::idGap<1>(),
      Vek::mirror(&A::portVlanConfigDirEntry_, &A::portVlanConfigDir, &Vek::Dir::entryStateCol),
      Vek::handler<"handleDynVtepConfigDirMount", &A::handleDynVtepConfigDirMount, "switchId">(),
      Vek::idGap<1>(),
      Vek::mirror(&A::dynVtepConfigDirEntry_, &A::dynVtepConfigDir, &Vek::Dir::entryStateCol),
      Vek::handler<"handleDynVtepStatusDirMount", &A::handleDynVtepStatusDirMount, "switchId">(),
      Vek::idGap<1>(),
      Vek::mirror(&A::dynVtepStatusDirEntry_, &A::dynVtepStatusDir, &Vek::Dir::entryStateCol),
      &A::remoteMountsStatus_, &A::rms_, Vek::handler<"handleEnabled", &A::handleEnabled>(),
      Vek::handler<"doCleanup", &A::doCleanup>(),
      Vek::handler<"handleInitialized", &A::handleInitialized>(), &A::initialized_);
}

}  // namespace VirtualNetwork::Agent
