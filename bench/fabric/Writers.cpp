#include "bench/fabric/Writers.h"

#include <stdexcept>

namespace vnagent::fabric {

namespace Client = VirtualNetwork::Client;
namespace Topo = NetworkTopologyAggregatorV3;
using Vek::Name;
using Vek::String;

// --- OutputCounter ------------------------------------------------------------

class OutputCounter::Ear : public Vek::NotifieeConst {
 public:
  Ear(Vek::Ptr<Vek::PtrInterface const> const& record, std::uint64_t* count) : count_(count) {
    baseNotifierIs(record);
    isRegisteredNotifieeIs(true);
    hasNotificationActiveIs(true);
  }
  void onAttribute(Vek::AttributeId, void const*) override { ++*count_; }

 private:
  std::uint64_t* count_;
};

OutputCounter::OutputCounter(Fabric const& fabric) {
  for (auto it = fabric.portVlanConfigDir()->entityPtrCol().iterator(); it; ++it) {
    if (auto record = Vek::ptrCast<ControllerProxyAgent::PortVlanConfigV1>(it.value())) {
      ears_.push_back(new Ear(record, &count_));
    }
  }
  for (auto it = fabric.dynVtepConfigDir()->entityPtrCol().iterator(); it; ++it) {
    auto dir = Vek::ptrCast<VxlanController::VtepConfigDirV2>(it.value());
    if (!dir) continue;
    ears_.push_back(new Ear(dir, &count_));
    for (auto v = dir->vtepConfigCol().iterator(); v; ++v) {
      ears_.push_back(new Ear(v.ptr(), &count_));
    }
  }
}

OutputCounter::~OutputCounter() {
  for (auto& ear : ears_) ear->isRegisteredNotifieeIs(false);
}

// --- Writer -------------------------------------------------------------------

Vek::Ptr<Client::ResourcesForHostname> Writer::request(std::string const& hostname) const {
  auto rrc = Vek::ptrCast<Client::RequestedResourcesCollection>(
      f_.clientDir()->entityPtr(Name(Generator::kClient)));
  if (!rrc) throw std::logic_error("no client " + std::string(Generator::kClient));
  auto rfh = rrc->resourcesForHostname(Name(hostname));
  return rfh ? rfh : rrc->resourcesForHostnameIs(Name(hostname));
}

Vek::Ptr<Topo::PortBase const> Writer::port(std::string const& host,
                                           std::string const& name) const {
  auto h = f_.topology()->host(Name(host));
  auto p = h ? h->port(Name(name)) : nullptr;
  if (!p) throw std::logic_error("no port " + host + "|" + name);
  return p;
}

void Writer::vlanAdded(std::string const& hostname, U32 vlan, U32 vni, std::string const& domain) {
  auto v = request(hostname)->vlanIs(vlan);
  if (vni) v->mappedVniIs(vni);
  if (!domain.empty()) {
    auto const bar = domain.find('|');
    v->domainIs(Client::ClientDomain(String(domain.substr(0, bar)), String(domain.substr(bar + 1))));
  }
}

void Writer::vlanRemoved(std::string const& hostname, U32 vlan) { request(hostname)->vlanDel(vlan); }

void Writer::linkUp(std::string const& serverMac, std::string const& nic, U32 leaf, U32 p) {
  Topo::Status& topology = *f_.topology();
  auto const near = port(serverMac, nic);
  auto const far = port(Generator::leafMac(leaf), Generator::portName(p));
  topology.edgeIs(near)->toPortIs(far, true);
  topology.edgeIs(far)->toPortIs(near, true);
}

void Writer::linkDown(std::string const& serverMac, std::string const& nic, U32 leaf, U32 p) {
  Topo::Status& topology = *f_.topology();
  topology.edgeDel(port(serverMac, nic));
  topology.edgeDel(port(Generator::leafMac(leaf), Generator::portName(p)));
}

void Writer::vtepStatusLost(U32 leaf) { f_.dynVtepStatusDir()->entityPtrDel(Name(Generator::leafId(leaf))); }

void Writer::vtepStatusBack(U32 leaf) {
  Name const id(Generator::leafId(leaf));
  auto status = VxlanController::VtepStatusDirV2Is(id);
  status->vtepStatusIs(String(Generator::kVtep));
  f_.dynVtepStatusDir()->entityPtrIs(id, status);
}

void Writer::staticRangeReplaced(std::string const& domain, U32 firstVlan, U32 lastVlan,
                                 U32 firstVni) {
  auto const bar = domain.find('|');
  auto map = f_.config()->vlanToVniMap(
      Client::ClientDomain(String(domain.substr(0, bar)), String(domain.substr(bar + 1))));
  if (!map) throw std::logic_error("no static map for " + domain);
  VirtualNetwork::Range const vlans(firstVlan, lastVlan);
  map->mapDel(vlans);
  map->mapIs(vlans, VirtualNetwork::Range(firstVni, firstVni + (lastVlan - firstVlan)));
}

}  // namespace vnagent::fabric
