// The classes' descriptions and the generic door: the tables the agent
// publishes, and the door's operations on one machine of each member kind.
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "tests/element/ElementFixture.h"

namespace VirtualNetwork::Agent::Testing {
namespace {

using Entries = std::vector<std::pair<std::string, Vek::AttributeId>>;
namespace Op = Vek::GenericIf;

// What the door hands out for a record.
template <class T>
Vek::PtrInterface const* object(Vek::Ptr<T> const& p) {
  return p.ptr();
}

// Every registered class with its attribute table, in registration order:
// "<class>: <attribute> <id>, ...".
std::vector<std::string> const kTables = {
    "ClientRequestedResourcesCollectionSm: client 130, requestedResourcesCollection 131, "
    "networkElementCollection 132, allResourcesCollection 133, resourcesForHostnameSm 134, "
    "resourcesForSwitchportSm 135, handleResourcesForHostname 136, "
    "handleResourcesForSwitchport 138, handleInitialized 140, initialized 141, doCleanup 142",
    "ClientResourcesForHostnameSm: name 130, client 131, resourcesForHostname 132, "
    "allRequestedResourcesCollection 133, handleVlan 134, hostVlan 136, handleInitialized 138, "
    "initialized 139, doCleanup 140",
    "NetworkElementSm: name 130, networkElement 131, topologyHost 132, physicalInterfaceSm 133, "
    "portGroupSm 134, hostResourcesSm 135, handleTopologyHost 136, handleIsSwitchElement 137, "
    "handleResourcesForHostname 138, physicalInterface 139, handleInterface 140, "
    "handlePhysicalInterface 143, handleNePortGroup 145, handleTopologyPortGroup 147, "
    "portGroup 149, handleInitialized 150, initialized 151, doCleanup 152",
    "TopologySm: networkElementCollection 130, requestedResourcesCollection 131, "
    "topologyStatus 132, networkElementCollectionSm 133, handleHost 134, "
    "handleHostsByHostname 136, hostsByHostname 138, directedEdge 139, topologyEdge 140, "
    "handleInitialized 142, initialized 143",
    "ClientResourcesForSwitchportSm: client 130, intf 131, resourcesForSwitchport 132, "
    "networkElementCollection 133, handleVlan 134, handleNativeVlan 136, handleRemoteHost 137, "
    "hostVlan 139, handleInitialized 141, initialized 142, doCleanup 143",
    "PortGroupSm: intfName 130, portGroup 131, memberInterface 132, handleMemberInterface 133, "
    "handleInitialized 136, initialized 137, doCleanup 138",
    "RemoteMountsStatus: name 130, fullName 141, parent 138, parentAttrName 139, entity 143, "
    "switchId 258, topology 259, portVlanConfig 260, dynVtepConfig 261, dynVtepStatus 262, "
    "ready 263",
    "VirtualNetworkAgentSm: config 130, status 131, topologyStatus 132, portVlanConfigDir 133, "
    "dynVtepConfigDir 134, dynVtepStatusDir 135, requestedResourcesColDir 136, topologySm 137, "
    "switchNodeSm 138, rrcCombinerSm 139, handleTopologyStatus 140, "
    "handleRequestedResourcesColConfigDir 142, requestedResourcesColDirEntry 144, "
    "handlePortVlanConfigMount 146, portVlanConfigDirEntry 148, handleDynVtepConfigDirMount 149, "
    "dynVtepConfigDirEntry 151, handleDynVtepStatusDirMount 152, dynVtepStatusDirEntry 154, "
    "remoteMountsStatus 155, rms 156, handleEnabled 157, doCleanup 158, handleInitialized 159, "
    "initialized 160",
    "SwitchNodeSm: switchId 130, portVlanConfig 131, vtepConfigDir 132, vtepStatusDir 133, "
    "networkElementCollection 134, config 135, handleSwitchElement 136, switchElement 137, "
    "isMemberInterface 138, interface 139, physicalInterface 140, handleInterface 141, "
    "handleVlan 143, handleNetworkElement 145, handleVtepConfig 147, vlanToVniMap 149, "
    "handleStaticVniMapForDomain 150, handleVniMapConflict 152, handleNativeVlanConflict 153, "
    "doCleanup 154, handleInitialized 155, initialized 156",
    "HostResourcesSm: hostname 130, resourcesForHostname 131, networkElement 132, handleVlan 133, "
    "hostVlan 135, handleInitialized 137, initialized 138, doCleanup 139",
    "PhysicalInterfaceSm: intfName 130, physicalInterface 131, handleIsSwitchInterface 132, "
    "networkElement 133, handleNetworkElement 134, handleConfiguredElement 137, "
    "handleDiscoveredElement 139, doCleanup 141",
    "NetworkElementCollectionSm: networkElementCollection 130, requestedResourcesCollection 131, "
    "topologyStatus 132, networkElementSm 133, handleNetworkElement 134, "
    "handleResourcesForHostname 136, networkElement 138, handleInitialized 140, initialized 141",
};

// One class's line of kTables as its name and its entries.
std::pair<std::string, Entries> parsed(std::string const& line) {
  std::istringstream in(line);
  std::string name, attribute;
  std::getline(in, name, ':');
  Entries entries;
  Vek::AttributeId id = 0;
  while (in >> attribute >> id) {
    entries.emplace_back(attribute, id);
    in.ignore(1);  // the comma
  }
  return {name, entries};
}

TEST(TypeDescriptionTest, TheTwelveClassesRegisterTheirTablesInOrder) {
  std::vector<Vek::TypeNode const*> const types = Vek::typeNodes();
  ASSERT_GE(types.size(), kTables.size());
  for (std::size_t i = 0; i < kTables.size(); ++i) {
    auto const [name, expected] = parsed(kTables[i]);
    Vek::TypeNode const* type = types[i];
    EXPECT_EQ(type->name, "VirtualNetwork::Agent::" + name);
    Entries actual;
    for (Vek::VekAttr const& a : type->attributes) actual.emplace_back(a.name, a.id);
    EXPECT_EQ(actual, expected) << name;
    EXPECT_EQ(type->entryCount(), expected.size()) << name;
    EXPECT_EQ(type->base->name,
              name == "RemoteMountsStatus" ? "Vek::Entity" : "Vek::PtrInterface");
  }
}

TEST(TypeDescriptionTest, EntriesCarryTypesKeysParametersAndKinds) {
  Vek::TypeNode const& h = HostResourcesSm::_vekType();
  EXPECT_EQ(h.constructorParameters,
            (std::vector<Vek::TypeParam>{{"hostname", "Vek::Name"},
                                         {"resourcesForHostname", "VirtualNetwork::ResourcesForHostname"},
                                         {"networkElement", "VirtualNetwork::NetworkElement"}}));
  Vek::VekAttr const& hostVlan = *h.attribute("hostVlan");
  EXPECT_EQ(hostVlan.keyType, "U32");
  EXPECT_EQ(hostVlan.keyName, "vlanId");
  EXPECT_EQ(hostVlan.valueType, "VirtualNetwork::DynamicVlan");
  EXPECT_EQ(hostVlan.owner, &h);
  EXPECT_EQ(h.attribute("handleVlan")->params,
            (std::vector<Vek::TypeParam>{{"vlanId", "U32"}}));
  EXPECT_EQ(h.attribute("hostname")->flags, Vek::attrConstructorValue);
  EXPECT_EQ(h.attribute("resourcesForHostname")->flags,
            Vek::attrConstructorValue | Vek::attrWatchedEntity);
  EXPECT_EQ(hostVlan.flags, Vek::attrKeyedReactors | Vek::attrWritable);
  EXPECT_EQ(h.attribute("handleVlan")->flags, Vek::attrHandler);
  EXPECT_EQ(h.attribute("initialized")->flags, Vek::attrInnerValue | Vek::attrWritable);
  EXPECT_EQ(h.attribute("absent"), nullptr);

  Vek::TypeNode const& s = SwitchNodeSm::_vekType();
  EXPECT_EQ(s.attribute("isMemberInterface")->valueType, "bool");
  EXPECT_EQ(s.attribute("doCleanup")->valueType, "void");
  // Its mutator has steps of its own: the door does not write it.
  EXPECT_EQ(s.attribute("switchElement")->flags, Vek::attrWatchedEntity);
  EXPECT_EQ(s.attribute("handleVniMapConflict")->params,
            (std::vector<Vek::TypeParam>{{"intfName", "Vek::String"}, {"vlan", "U32"}}));

  Vek::TypeNode const& a = VirtualNetworkAgentSm::_vekType();
  Vek::VekAttr const& switches = *a.attribute("switchNodeSm");
  EXPECT_EQ(switches.flags, Vek::attrKeyedMachines);
  EXPECT_EQ(switches.keyName, "switchId");
  EXPECT_EQ(switches.params, SwitchNodeSm::_vekType().constructorParameters);
  EXPECT_EQ(a.attribute("remoteMountsStatus")->keyName, "switchId");
  EXPECT_EQ(TopologySm::_vekType().attribute("directedEdge")->keyName, "fromPort");
  EXPECT_EQ(TopologySm::_vekType().attribute("networkElementCollectionSm")->flags,
            Vek::attrSingleMachine);
}

// The door over HostResourcesSm built by the door itself: single values,
// keyed reactors and handlers.
TEST(GenericDoorTest, BuildsReadsWritesWalksAndCallsAHostResourcesMachine) {
  Vek::TypeNode const& type = HostResourcesSm::_vekType();
  Vek::Ptr<ResourcesForHostname> wanted = ResourcesForHostnameIs(Vek::Name("web"));
  wanted->vlanIs(10);
  wanted->vlanIs(20);
  Vek::Ptr<NetworkElement> element = NetworkElementIs(Vek::Name("00:00:00:00:00:11"));

  Vek::Name const hostname("web");
  Vek::Ptr<Vek::PtrInterface const> wantedArg(wanted.ptr()), elementArg(element.ptr());
  Vek::Ptr<Vek::PtrInterface> made;
  void const* wrong[] = {&hostname, &elementArg, &elementArg};
  EXPECT_EQ(type.genericIfConstructFromCtorArgs(made, wrong), Op::refused);
  EXPECT_EQ(made, nullptr);
  void const* args[] = {&hostname, &wantedArg, &elementArg};
  ASSERT_EQ(type.genericIfConstructFromCtorArgs(made, args), Op::done);
  ASSERT_NE(made, nullptr);
  EXPECT_EQ(made->fwkType(), &type);
  ASSERT_NE(element->vlan(10), nullptr);
  EXPECT_TRUE(element->vlan(10)->referrer("web"));

  auto op = [&](void* result, Vek::AttributeId id, int code, void const* argument = nullptr) {
    return type.genericIfAttributeOp(result, *made, id, code, argument, nullptr);
  };
  bool flag = false;
  ASSERT_EQ(op(&flag, 138, Op::read), Op::done);
  EXPECT_TRUE(flag);  // handleInitialized set it
  bool const no = false;
  EXPECT_EQ(op(nullptr, 138, Op::write, &no), Op::done);
  ASSERT_EQ(op(&flag, 138, Op::read), Op::done);
  EXPECT_FALSE(flag);

  Vek::Name name;
  EXPECT_EQ(op(&name, 130, Op::read), Op::done);
  EXPECT_EQ(name, hostname);
  Vek::Name const other("db");
  EXPECT_EQ(op(nullptr, 130, Op::write, &other), Op::refused);
  EXPECT_EQ(op(nullptr, 131, Op::write, &wantedArg), Op::refused);
  EXPECT_EQ(op(nullptr, 134, Op::read), Op::noSuchAttribute);  // a gap
  EXPECT_EQ(op(nullptr, 129, Op::read), Op::noSuchAttribute);
  EXPECT_EQ(op(nullptr, 140, Op::read), Op::noSuchAttribute);

  U32 count = 0;
  ASSERT_EQ(op(&count, 135, Op::count), Op::done);
  EXPECT_EQ(count, 2u);
  U32 const ten = 10, thirty = 30;
  Vek::Ptr<Vek::PtrInterface const> entity;
  ASSERT_EQ(op(&entity, 135, Op::read, &ten), Op::done);
  EXPECT_EQ(entity.ptr(), object(wanted->vlan(10)));
  EXPECT_EQ(op(&flag, 135, Op::present, &thirty), Op::done);
  EXPECT_FALSE(flag);
  EXPECT_EQ(op(nullptr, 135, Op::call), Op::refused);

  Op::IteratorTable const* table = nullptr;
  EXPECT_EQ(type.genericIfIterator(*made, 130, &table), nullptr);
  Op::Iterator* it = type.genericIfIterator(*made, 135, &table);
  ASSERT_NE(it, nullptr);
  ASSERT_NE(table, nullptr);
  std::vector<U32> keys;
  for (; table->iterNonnull(it); table->iterInc(it)) {
    U32 key = 0;
    table->iterKey(it, &key);
    keys.push_back(key);
    EXPECT_EQ(table->iterObj(it).ptr(), object(wanted->vlan(key)));
  }
  table->iterDel(it);
  EXPECT_EQ(keys, (std::vector<U32>{10, 20}));

  // A removal by key gives the entity that the reactor watched.
  ASSERT_EQ(op(&entity, 135, Op::remove, &ten), Op::done);
  EXPECT_EQ(entity.ptr(), object(wanted->vlan(10)));
  ASSERT_EQ(op(&count, 135, Op::count), Op::done);
  EXPECT_EQ(count, 1u);

  EXPECT_EQ(op(nullptr, 139, Op::read), Op::refused);
  EXPECT_TRUE(element->vlan(20)->referrer("web"));
  EXPECT_EQ(op(nullptr, 139, Op::call), Op::done);  // doCleanup
  EXPECT_EQ(element->vlan(20), nullptr);
  made = nullptr;
  EXPECT_EQ(Vek::liveObjects<HostResourcesSm>(), 0u);
  EXPECT_EQ(Vek::liveObjects<HostResourcesSm::VekHostVlan>(), 0u);
}

class GenericDoorAgentTest : public ElementFixture {};

// Keyed and single machines, read through a running agent.
TEST_F(GenericDoorAgentTest, WalksKeyedMachinesAndReadsASingleOne) {
  start();
  hostIs("00:00:00:00:00:11", "web");
  hostIs("00:00:00:00:00:12", "db");
  TopologySm& topology = *agent->topologySm();
  NetworkElementCollectionSm& elements = *topology.networkElementCollectionSm();

  Vek::Ptr<Vek::PtrInterface const> entity;
  EXPECT_EQ(TopologySm::_vekType().genericIfAttributeOp(&entity, topology, 133, Op::read, nullptr,
                                                        nullptr),
            Op::done);
  EXPECT_EQ(entity.ptr(), &elements);
  EXPECT_EQ(TopologySm::_vekType().genericIfIterator(topology, 133, nullptr), nullptr);

  Vek::TypeNode const& type = NetworkElementCollectionSm::_vekType();
  Vek::Name const web("00:00:00:00:00:11");
  ASSERT_EQ(type.genericIfAttributeOp(&entity, elements, 133, Op::read, &web, nullptr), Op::done);
  EXPECT_EQ(entity.ptr(), elementSm("00:00:00:00:00:11"));
  EXPECT_EQ(type.genericIfAttributeOp(nullptr, elements, 133, Op::write, &web, nullptr),
            Op::refused);

  Op::IteratorTable const* table = nullptr;
  Op::Iterator* it = type.genericIfIterator(elements, 133, &table);
  ASSERT_NE(it, nullptr);
  std::vector<std::string> names;
  for (; table->iterNonnull(it); table->iterInc(it)) {
    Vek::Name key;
    table->iterKey(it, &key);
    names.push_back(key.stdString());
    EXPECT_EQ(table->iterObj(it)->fwkType(), &NetworkElementSm::_vekType());
  }
  table->iterDel(it);
  EXPECT_EQ(names, (std::vector<std::string>{"00:00:00:00:00:11", "00:00:00:00:00:12"}));
}

class Recorder : public Vek::GenericIf::Target {
 public:
  void onRawAttribute(U32 index) override { heard.push_back(index); }
  std::vector<U32> heard;
};

TEST(GenericDoorTest, RemoteMountsStatusWritesItsFactsAndPassesOnItsOwnNotifications) {
  Vek::TypeNode const& type = RemoteMountsStatus::_vekType();
  Vek::String const id("00-00-00-00-00-aa");
  void const* args[] = {&id};
  Vek::Ptr<Vek::PtrInterface> made;
  ASSERT_EQ(type.genericIfConstructFromCtorArgs(made, args), Op::done);
  auto& status = static_cast<RemoteMountsStatus&>(*made);

  Recorder recorder;
  Vek::Ptr<Vek::NotifieeConst> notifiee =
      type.genericIfNotifiee(Vek::Ptr<Vek::PtrInterface const>(made.ptr()), &recorder);
  bool const yes = true;
  for (Vek::AttributeId fact : {259, 260, 261, 262}) {
    EXPECT_EQ(type.genericIfAttributeOp(nullptr, status, fact, Op::write, &yes, nullptr), Op::done);
  }
  // `ready` is heard first when the last fact completes it.
  EXPECT_EQ(recorder.heard, (std::vector<U32>{0, 1, 2, 4, 3}));
  status.vekNotify(RemoteMountsStatus::switchIdId);
  status.vekNotify(130);
  EXPECT_EQ(recorder.heard.size(), 5u);

  bool flag = false;
  EXPECT_EQ(type.genericIfAttributeOp(&flag, status, 263, Op::read, nullptr, nullptr), Op::done);
  EXPECT_TRUE(flag);
  EXPECT_EQ(type.genericIfAttributeOp(nullptr, status, 263, Op::write, &yes, nullptr), Op::refused);
  Vek::Name name;
  EXPECT_EQ(type.genericIfAttributeOp(&name, status, 130, Op::read, nullptr, nullptr), Op::done);
  EXPECT_EQ(name.stdString(), "00-00-00-00-00-aa");
  EXPECT_EQ(type.genericIfAttributeOp(nullptr, status, 141, Op::read, nullptr, nullptr),
            Op::refused);
  EXPECT_EQ(type.genericIfAttributeOp(nullptr, status, 264, Op::read, nullptr, nullptr),
            Op::noSuchAttribute);
  EXPECT_EQ(type.genericIfIterator(status, 259, nullptr), nullptr);
}

}  // namespace
}  // namespace VirtualNetwork::Agent::Testing
