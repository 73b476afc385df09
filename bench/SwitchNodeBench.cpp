// Benchmarks of the switch node, driven through the agent as a host process
// drives it (traces off):
//
//   BM_SwitchConnect/<stride>
//       A switch of 48 ports, each carrying 1000 VLANs, connects. Untimed:
//       the agent is started, the switch's host is known and its element
//       holds the 48 physical interfaces with their VLANs; the port VLAN
//       record and the VTEP configuration are mounted. Timed: the last mount
//       fact (the VTEP status) alone, that is the switch node being made,
//       the element marked as a switch (which fills the element's VLAN
//       union), and the full resync writing 48 allowed lists and the
//       switch-wide list. Untimed again: the check of the result and the
//       agent's stop. stride 1: VLANs 1..1000 on every port (lists like
//       "1-1000"); stride 2: VLANs 1,3,..,1999 (1000-item list texts).
//
//   BM_SwitchVlanChange/<layout>
//       A connected switch carrying VLANs 1..4000 on 4 ports of 1000 each.
//       Timed: VLAN 4050 added to one port, then removed from it again; each
//       change runs the element's VLAN union, the switch-wide list and the
//       port's allowed list through their text. per_change is the time of
//       one of these changes (seconds, with an SI prefix). layout 0: port p
//       has VLANs p*1000+1..(p+1)*1000 (short texts); layout 1: port p has
//       the VLANs v with v % 4 == p (a 1000-item allowed list on the
//       changed port).
//
//   build/bin/vnagent_bench --benchmark_filter=Switch

#include <benchmark/benchmark.h>

#include <string>

#include "VirtualNetworkAgent.h"

namespace {

using namespace VirtualNetwork;
using namespace VirtualNetwork::Agent;

constexpr char kMac[] = "00:00:00:00:00:01";
constexpr char kDash[] = "00-00-00-00-00-01";

// The seven inputs, an agent over them, and one switch's records.
struct Host {
  Host() {
    Vek::traceHandle().levelIs(-1);
    config = ConfigIs(Vek::Name("config"));
    status = StatusIs(Vek::Name("status"));
    topology = NetworkTopologyAggregatorV3::StatusIs(Vek::Name("topology"));
    portVlanConfigDir = Vek::DirIs("controllerProxyAgent/v1/portVlanConfigDir");
    dynVtepConfigDir = Vek::DirIs("vxlancontroller/version2/input/dynVtepConfig/openstack");
    dynVtepStatusDir = Vek::DirIs("vxlan/version2/vtepStatusDir");
    clientDir = Vek::DirIs("requestedResourcesColDir");
    ports = ControllerProxyAgent::PortVlanConfigV1Is(Vek::Name(kDash));
    agent = virtualNetworkAgentSmFactory(config, status, topology, portVlanConfigDir,
                                         dynVtepConfigDir, dynVtepStatusDir, clientDir);
    topology->hostIs(Vek::Name(kMac));
  }
  ~Host() { agent = nullptr; }

  Vek::Ptr<NetworkElement> element() const {
    return status->networkElementCollection()->networkElement(Vek::Name(kMac));
  }
  static void mount(Vek::Ptr<Vek::Dir> const& dir, Vek::Ptr<Vek::Entity> const& entity) {
    dir->entryStateIs(Vek::DirEntryIs(Vek::Name(kDash), 1));
    dir->entityPtrIs(Vek::Name(kDash), entity);
  }
  // All facts but the last: the VTEP status entity.
  void mountAllButOne() {
    mount(portVlanConfigDir, ports);
    mount(dynVtepConfigDir, VxlanController::VtepConfigDirV2Is(Vek::Name(kDash)));
    dynVtepStatusDir->entryStateIs(Vek::DirEntryIs(Vek::Name(kDash), 1));
  }
  void mountLast() {
    dynVtepStatusDir->entityPtrIs(Vek::Name(kDash),
                                  VxlanController::VtepStatusDirV2Is(Vek::Name(kDash)));
  }
  void addPort(std::string const& name, U32 first, U32 count, U32 stride) {
    Vek::Ptr<PhysicalInterface> port = element()->physicalInterfaceIs(Vek::String(name));
    for (U32 i = 0; i < count; ++i) port->vlanIs(first + i * stride);
  }

  Vek::Ptr<Config> config;
  Vek::Ptr<Status> status;
  Vek::Ptr<NetworkTopologyAggregatorV3::Status> topology;
  Vek::Ptr<Vek::Dir> portVlanConfigDir, dynVtepConfigDir, dynVtepStatusDir, clientDir;
  Vek::Ptr<ControllerProxyAgent::PortVlanConfigV1> ports;
  Vek::Ptr<VirtualNetworkAgentSm> agent;
};

void BM_SwitchConnect(benchmark::State& state) {
  constexpr int kPorts = 48;
  constexpr U32 kVlans = 1000;
  U32 const stride = static_cast<U32>(state.range(0));
  std::string const expected = stride == 1 ? "1-1000" : "";
  for (auto _ : state) {
    state.PauseTiming();
    {
      Host host;
      for (int p = 1; p <= kPorts; ++p) host.addPort("swp" + std::to_string(p), 1, kVlans, stride);
      host.mountAllButOne();
      state.ResumeTiming();
      host.mountLast();
      state.PauseTiming();
      // The work was done, and done right.
      ControllerProxyAgent::VlanListV1 const list = host.ports->vlanList();
      benchmark::DoNotOptimize(list);
      if (host.ports->portAllowedVlanListCol().size() != kPorts ||
          (stride == 1 && list.value().stdString() != expected) ||
          host.element()->vlanCol().size() != kVlans) {
        state.SkipWithError("the switch was not provisioned");
      }
    }  // the agent stops here, untimed
    state.ResumeTiming();
  }
  state.counters["vlans_per_port"] = kVlans;
  state.counters["ports"] = kPorts;
}
BENCHMARK(BM_SwitchConnect)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond);

void BM_SwitchVlanChange(benchmark::State& state) {
  bool const interleaved = state.range(0) == 1;
  Host host;
  host.mountAllButOne();
  host.mountLast();
  for (U32 p = 0; p < 4; ++p) {
    std::string const name = "swp" + std::to_string(p + 1);
    if (interleaved) {
      host.addPort(name, p == 0 ? 4 : p, 1000, 4);
    } else {
      host.addPort(name, p * 1000 + 1, 1000, 1);
    }
  }
  if (host.ports->vlanList().value().stdString() != "1-4000") {
    state.SkipWithError("the switch does not carry VLANs 1-4000");
    return;
  }
  Vek::Ptr<PhysicalInterface> const port = host.element()->physicalInterface("swp1");
  Vek::String const name("swp1");
  for (auto _ : state) {
    port->vlanIs(4050);
    benchmark::DoNotOptimize(host.ports->portAllowedVlanList(name));
    port->vlanDel(4050);
    benchmark::DoNotOptimize(host.ports->vlanList());
  }
  if (host.ports->vlanList().value().stdString() != "1-4000" ||
      host.ports->portAllowedVlanList(name).value().stdString().find("4050") != std::string::npos) {
    state.SkipWithError("VLAN 4050 did not come and go");
  }
  state.counters["per_change"] = benchmark::Counter(
      2, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_SwitchVlanChange)->Arg(0)->Arg(1);

}  // namespace
