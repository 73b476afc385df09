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
  using DirEntries = Vek::EntityMap<Vek::Name, Vek::Dir::Entry, Vek::Dir::entryStateId>;

  VirtualNetworkAgentSm(Vek::Ptr<Config const> const& config, Vek::Ptr<Status> const& status,
                        Vek::Ptr<TopologyStatus const> const& topologyStatus,
                        Vek::Ptr<Vek::Dir> const& portVlanConfigDir,
                        Vek::Ptr<Vek::Dir> const& dynVtepConfigDir,
                        Vek::Ptr<Vek::Dir> const& dynVtepStatusDir,
                        Vek::Ptr<Vek::Dir> const& requestedResourcesColDir);

  // The watched inputs: the current notifier of each reactor, or null.
  Vek::Ptr<Config const> config() const { return config_.get(); }
  void configIs(Vek::Ptr<Config const> const& config);
  Vek::Ptr<Config const> configDel();
  Vek::Ptr<Status> status() const { return status_.get(); }
  Vek::Ptr<TopologyStatus const> topologyStatus() const { return topologyStatus_.get(); }
  void topologyStatusIs(Vek::Ptr<TopologyStatus const> const& topologyStatus);
  Vek::Ptr<TopologyStatus const> topologyStatusDel();
  Vek::Ptr<Vek::Dir> portVlanConfigDir() const { return portVlanConfigDir_.get(); }
  void portVlanConfigDirIs(Vek::Ptr<Vek::Dir> const& dir);
  Vek::Ptr<Vek::Dir> portVlanConfigDirDel();
  Vek::Ptr<Vek::Dir> dynVtepConfigDir() const { return dynVtepConfigDir_.get(); }
  void dynVtepConfigDirIs(Vek::Ptr<Vek::Dir> const& dir);
  Vek::Ptr<Vek::Dir> dynVtepConfigDirDel();
  Vek::Ptr<Vek::Dir> dynVtepStatusDir() const { return dynVtepStatusDir_.get(); }
  void dynVtepStatusDirIs(Vek::Ptr<Vek::Dir> const& dir);
  Vek::Ptr<Vek::Dir> dynVtepStatusDirDel();
  Vek::Ptr<Vek::Dir> requestedResourcesColDir() const { return requestedResourcesColDir_.get(); }
  void requestedResourcesColDirIs(Vek::Ptr<Vek::Dir> const& dir);
  Vek::Ptr<Vek::Dir> requestedResourcesColDirDel();

  // One reactor per entry of each directory.
  VekRequestedResourcesColDirEntry* requestedResourcesColDirEntry(Vek::Name const& name) const;
  void requestedResourcesColDirEntryIs(Vek::Ptr<Vek::Dir::Entry> const& entry);
  void requestedResourcesColDirEntryDel(Vek::Name const& name);
  void requestedResourcesColDirEntryDelAll();
  VekPortVlanConfigDirEntry* portVlanConfigDirEntry(Vek::Name const& name) const;
  void portVlanConfigDirEntryIs(Vek::Ptr<Vek::Dir::Entry> const& entry);
  void portVlanConfigDirEntryDel(Vek::Name const& name);
  void portVlanConfigDirEntryDelAll();
  VekDynVtepConfigDirEntry* dynVtepConfigDirEntry(Vek::Name const& name) const;
  void dynVtepConfigDirEntryIs(Vek::Ptr<Vek::Dir::Entry> const& entry);
  void dynVtepConfigDirEntryDel(Vek::Name const& name);
  void dynVtepConfigDirEntryDelAll();
  VekDynVtepStatusDirEntry* dynVtepStatusDirEntry(Vek::Name const& name) const;
  void dynVtepStatusDirEntryIs(Vek::Ptr<Vek::Dir::Entry const> const& entry);
  void dynVtepStatusDirEntryDel(Vek::Name const& name);
  void dynVtepStatusDirEntryDelAll();

  // Per switch (dash form): the four facts, and the reactor on `ready`.
  RemoteMountsStatus* remoteMountsStatus(Vek::String const& switchId) const;
  Vek::Ptr<RemoteMountsStatus> remoteMountsStatusIs(Vek::String const& switchId);
  void remoteMountsStatusDel(Vek::String const& switchId);
  void remoteMountsStatusDelAll();
  VekRms* rms(Vek::String const& switchId) const;
  void rmsIs(Vek::Ptr<RemoteMountsStatus const> const& record);
  void rmsDel(Vek::String const& switchId);
  void rmsDelAll();

  TopologySm* topologySm() const { return topologySm_.get(); }
  // The same three inputs keep the tracker; others replace it. Never fails.
  Vek::Ptr<TopologySm> topologySmIs(
      Vek::Ptr<NetworkElementCollection> const& networkElementCollection,
      Vek::Ptr<RequestedResourcesCollection> const& requestedResourcesCollection,
      Vek::Ptr<TopologyStatus const> const& topologyStatus) {
    return topologySm_.is(networkElementCollection, requestedResourcesCollection, topologyStatus);
  }
  Vek::Ptr<TopologySm> topologySmDel() { return topologySm_.del(); }

  // One node per ready switch, under its colon MAC.
  SwitchNodeSm* switchNodeSm(Vek::Name const& name) const { return switchNodeSm_.find(name); }
  Vek::Ptr<SwitchNodeSm> switchNodeSmIs(
      Vek::Name const& name, Vek::Ptr<ControllerProxyAgent::PortVlanConfigV1> const& portVlanConfig,
      Vek::Ptr<VxlanController::VtepConfigDirV2> const& vtepConfigDir,
      Vek::Ptr<VxlanController::VtepStatusDirV2 const> const& vtepStatusDir,
      Vek::Ptr<NetworkElementCollection> const& networkElementCollection,
      Vek::Ptr<Config const> const& config) {
    return switchNodeSm_.is(name, portVlanConfig, vtepConfigDir, vtepStatusDir,
                            networkElementCollection, config);
  }
  Vek::Ptr<SwitchNodeSm> switchNodeSmDel(Vek::Name const& name) { return switchNodeSm_.del(name); }
  void switchNodeSmDelAll() { switchNodeSm_.delAll(); }

  // One request combiner per client, under the client's directory name.
  ClientRequestedResourcesCollectionSm* rrcCombinerSm(Vek::String const& client) const {
    return rrcCombinerSm_.find(client);
  }
  Vek::Ptr<ClientRequestedResourcesCollectionSm> rrcCombinerSmIs(
      Vek::String const& client,
      Vek::Ptr<Client::RequestedResourcesCollection const> const& requestedResourcesCollection,
      Vek::Ptr<NetworkElementCollection> const& networkElementCollection,
      Vek::Ptr<RequestedResourcesCollection> const& allResourcesCollection) {
    return rrcCombinerSm_.is(client, requestedResourcesCollection, networkElementCollection,
                             allResourcesCollection);
  }
  Vek::Ptr<ClientRequestedResourcesCollectionSm> rrcCombinerSmDel(Vek::String const& client) {
    return rrcCombinerSm_.del(client);
  }
  void rrcCombinerSmDelAll() { rrcCombinerSm_.delAll(); }

  bool initialized() const { return initialized_.get(); }
  void initializedIs(bool value) { initialized_.set(value); }

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
  // The steps the three mount handlers share; traces name `signature`.
  template <class Expected>
  void handleMount(Vek::TraceSite const& site, Vek::Ptr<Vek::Dir> const& dir,
                   Vek::String const& switchId, char const* path,
                   void (RemoteMountsStatus::*flagIs)(bool));
  static DirEntries const* entriesOf(Vek::Ptr<Vek::Dir> const& dir) {
    return dir ? &dir->entryStateCol() : nullptr;
  }

  Vek::ReactorSlot<"config", VekConfig, Config const> config_;
  Vek::Param<"status", Vek::Ptr<Status>> status_;
  Vek::ReactorSlot<"topologyStatus", VekTopologyStatus, TopologyStatus const> topologyStatus_;
  Vek::ReactorSlot<"portVlanConfigDir", VekPortVlanConfigDir, Vek::Dir> portVlanConfigDir_;
  Vek::ReactorSlot<"dynVtepConfigDir", VekDynVtepConfigDir, Vek::Dir> dynVtepConfigDir_;
  Vek::ReactorSlot<"dynVtepStatusDir", VekDynVtepStatusDir, Vek::Dir> dynVtepStatusDir_;
  Vek::ReactorSlot<"requestedResourcesColDir", VekRequestedResourcesColDir, Vek::Dir>
      requestedResourcesColDir_;
  Vek::MachineSlot<"topologySm", TopologySm> topologySm_;
  Vek::MachineMap<"switchNodeSm", Vek::Name, SwitchNodeSm> switchNodeSm_;
  Vek::MachineMap<"rrcCombinerSm", Vek::String, ClientRequestedResourcesCollectionSm>
      rrcCombinerSm_;
  Vek::ReactorMap<"requestedResourcesColDirEntry", Vek::Name, VekRequestedResourcesColDirEntry>
      requestedResourcesColDirEntry_;
  Vek::ReactorMap<"portVlanConfigDirEntry", Vek::Name, VekPortVlanConfigDirEntry>
      portVlanConfigDirEntry_;
  Vek::ReactorMap<"dynVtepConfigDirEntry", Vek::Name, VekDynVtepConfigDirEntry>
      dynVtepConfigDirEntry_;
  Vek::ReactorMap<"dynVtepStatusDirEntry", Vek::Name, VekDynVtepStatusDirEntry>
      dynVtepStatusDirEntry_;
  Vek::ChildMap<"remoteMountsStatus", Vek::String, RemoteMountsStatus> remoteMountsStatus_;
  Vek::ReactorMap<"rms", Vek::String, VekRms> rms_;
  Vek::Attr<"initialized", bool> initialized_;
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
      &A::rrcCombinerSm_, Vek::handler<"handleTopologyStatus", &A::handleTopologyStatus>(),
      Vek::handler<"handleRequestedResourcesColConfigDir",
                   &A::handleRequestedResourcesColConfigDir>(),
      Vek::mirror(&A::requestedResourcesColDirEntry_,
                  [](A const& a) { return entriesOf(a.requestedResourcesColDir()); }),
      Vek::handler<"handlePortVlanConfigMount", &A::handlePortVlanConfigMount>(),
      Vek::mirror(&A::portVlanConfigDirEntry_,
                  [](A const& a) { return entriesOf(a.portVlanConfigDir()); }),
      Vek::handler<"handleDynVtepConfigDirMount", &A::handleDynVtepConfigDirMount>(),
      Vek::mirror(&A::dynVtepConfigDirEntry_,
                  [](A const& a) { return entriesOf(a.dynVtepConfigDir()); }),
      Vek::handler<"handleDynVtepStatusDirMount", &A::handleDynVtepStatusDirMount>(),
      Vek::mirror(&A::dynVtepStatusDirEntry_,
                  [](A const& a) { return entriesOf(a.dynVtepStatusDir()); }),
      &A::remoteMountsStatus_, &A::rms_, Vek::handler<"handleEnabled", &A::handleEnabled>(),
      Vek::handler<"doCleanup", &A::doCleanup>(),
      Vek::handler<"handleInitialized", &A::handleInitialized>(), &A::initialized_);
}

}  // namespace VirtualNetwork::Agent
