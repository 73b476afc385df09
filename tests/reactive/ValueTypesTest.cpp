#include "reactive/ValueTypes.h"

#include <gtest/gtest.h>

#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <typeinfo>

#include "reactive/MacString.h"

namespace {

template <class T>
std::string printed(T const& value) {
  std::ostringstream os;
  os << value;
  return os.str();
}

// Runs `make` and returns the text of the RangeException it raises.
template <class F>
std::string rangeError(F make) {
  try {
    make();
  } catch (Vek::RangeException const& e) {
    return e.what();
  }
  return "no exception";
}

TEST(VlanIdOrNone, AcceptsUpTo4094AndRefusesAboveAfterCuttingTo16Bits) {
  EXPECT_EQ(Bridging::VlanIdOrNone(4094).value(), 4094);
  EXPECT_EQ(Bridging::VlanIdOrNone().value(), 0);
  EXPECT_EQ(rangeError([] { (void)Bridging::VlanIdOrNone(4095); }),
            "VlanIdOrNone::value > 4094 not allowed");
  EXPECT_EQ(rangeError([] { (void)Bridging::VlanIdOrNone(65535); }),
            "VlanIdOrNone::value > 4094 not allowed");
  // 65541 = 65536 + 5: the upper bits are dropped before the check.
  EXPECT_EQ(Bridging::VlanIdOrNone(65541), Bridging::VlanIdOrNone(5));
  EXPECT_EQ(printed(Bridging::VlanIdOrNone(65541)), "5");
  EXPECT_LT(Bridging::VlanIdOrNone(9), Bridging::VlanIdOrNone(10));
}

TEST(Vni, AcceptsZeroToTwentyFourBitsAndRefusesAbove) {
  EXPECT_EQ(Vxlan::Vni(0).value(), 0u);
  EXPECT_EQ(Vxlan::Vni(16777215).value(), 16777215u);
  EXPECT_EQ(printed(Vxlan::Vni(16777215)), "16777215");
  EXPECT_EQ(rangeError([] { (void)Vxlan::Vni(16777216); }),
            "Vni::value < Vni::min or > Vni::max not allowed");
  EXPECT_LT(Vxlan::Vni(7), Vxlan::Vni(300));
}

TEST(Range, ContainsBothBoundsPrintsAsMinDashMaxAndKeysByBoth) {
  VirtualNetwork::Range const a(10, 20), b(10, 21);
  EXPECT_FALSE(a.contains(9) || a.contains(21));
  EXPECT_TRUE(a.contains(10) && a.contains(20));
  EXPECT_TRUE(VirtualNetwork::Range().isZero());
  EXPECT_FALSE(VirtualNetwork::Range(0, 1).isZero());
  EXPECT_EQ(printed(a), "10-20");
  EXPECT_EQ(a.name(), Vek::String("10-20"));
  // Ranges differing only in max are distinct keys.
  EXPECT_NE(a, b);
  EXPECT_NE(a.hash(0), b.hash(0));
  EXPECT_EQ(a.hash(0), VirtualNetwork::Range(10, 20).hash(0));
  EXPECT_NE(a.hash(0), a.hash(1));  // the seed counts
  std::map<VirtualNetwork::Range, int> keys{{b, 2}, {a, 1}, {VirtualNetwork::Range(9, 30), 0}};
  ASSERT_EQ(keys.size(), 3u);
  EXPECT_EQ(keys.begin()->first, VirtualNetwork::Range(9, 30));  // by min first
  EXPECT_EQ(std::next(keys.begin())->second, 1);                 // then by max
}

// The three keys of two parts: named "<first>|<second>", ordered by the
// first part then the second, equal and hashed by both.
template <class Key, class Second>
void expectTwoPartKey(Second low, Second high) {
  SCOPED_TRACE(typeid(Key).name());
  EXPECT_EQ(printed(Key("a", low)), "a|" + printed(low));
  EXPECT_LT(Key("a", high), Key("b", low));
  EXPECT_LT(Key("a", low), Key("a", high));
  EXPECT_FALSE(Key("a", low) < Key("a", low));
  // Separately built strings, so that equality cannot come from sharing.
  Key const one(Vek::String(std::string("a") + "1"), low), other("a1", low);
  EXPECT_EQ(one, other);
  EXPECT_EQ(one.hash(3), other.hash(3));
  EXPECT_NE(Key("a", low).hash(0), Key("a", high).hash(0));
  EXPECT_NE(Key("a", low).hash(0), Key("b", low).hash(0));
}

TEST(TwoPartKeys, NameOrderEqualityAndHashTakeBothParts) {
  expectTwoPartKey<VirtualNetwork::Client::ClientDomain>(Vek::String("b"), Vek::String("c"));
  expectTwoPartKey<VirtualNetwork::Client::SwitchInterface>(Vek::String("Et1"), Vek::String("Et2"));
  expectTwoPartKey<VxlanController::PortVlanPairV2>(9, 10);
  EXPECT_EQ(VirtualNetwork::Client::ClientDomain("tenant", "dom1").name(),
            Vek::String("tenant|dom1"));
  EXPECT_EQ(VirtualNetwork::Client::SwitchInterface("sw1", "Et3").name(), Vek::String("sw1|Et3"));
  // Swapped parts are another key.
  EXPECT_NE(VirtualNetwork::Client::ClientDomain("a", "b"),
            VirtualNetwork::Client::ClientDomain("b", "a"));
  // A VLAN id is cut to 16 bits.
  EXPECT_EQ(VxlanController::PortVlanPairV2("Et1", 5).hash(0),
            VxlanController::PortVlanPairV2("Et1", 65541).hash(0));
}

TEST(VlanListV1, EmptyTextIsEmptyListAndTextIsKeptAsGiven) {
  EXPECT_TRUE(ControllerProxyAgent::VlanListV1().empty());
  EXPECT_TRUE(ControllerProxyAgent::VlanListV1(Vek::String("")).empty());
  ControllerProxyAgent::VlanListV1 const list(Vek::String("1-3, 5"));
  EXPECT_FALSE(list.empty());
  EXPECT_EQ(printed(list), "1-3, 5");
  EXPECT_NE(list, ControllerProxyAgent::VlanListV1(Vek::String("1-3,5")));
}

TEST(VlanListV1, MembersAndTextAreTwoFormsOfOneList) {
  using ControllerProxyAgent::VlanListV1;
  Vek::Ptr<LumoUtils::VlanIdSet> set = LumoUtils::VlanIdSetIs();
  for (U16 vlan : {1, 2, 3, 5, 4094}) set->doAdd(vlan);
  VlanListV1 const fromMembers{Vek::Ptr<LumoUtils::VlanIdSet const>(set)};
  EXPECT_EQ(printed(fromMembers), "1-3,5,4094");
  // Read from text: members as far as the text goes, ids no port carries left out.
  VlanListV1 const fromText(Vek::String("1-3, 5,4094,4095"));
  EXPECT_TRUE(fromText.members().sameMembers(*set));
  // Equal only where the texts are; two member-made lists compare by members.
  EXPECT_EQ(fromMembers, VlanListV1(Vek::String("1-3,5,4094")));
  EXPECT_NE(fromMembers, fromText);
  Vek::Ptr<LumoUtils::VlanIdSet> other = LumoUtils::VlanIdSetIs(*set);
  EXPECT_EQ(fromMembers, VlanListV1(Vek::Ptr<LumoUtils::VlanIdSet const>(other)));
  other = LumoUtils::VlanIdSetIs(*set);
  other->doRemove(4094);
  EXPECT_NE(fromMembers, VlanListV1(Vek::Ptr<LumoUtils::VlanIdSet const>(other)));
  EXPECT_TRUE(VlanListV1(Vek::Ptr<LumoUtils::VlanIdSet const>(LumoUtils::VlanIdSetIs())).empty());
  // Copies share the list and its reading.
  VlanListV1 copy = fromText;
  EXPECT_EQ(&copy.members(), &fromText.members());
}

TEST(MacString, SwapsEverySeparatorAndNothingElse) {
  using VirtualNetwork::Agent::getColonMacString;
  using VirtualNetwork::Agent::getDashMacString;
  Vek::String const colon("00:1C:73:aa:bb:cc"), dash("00-1C-73-aa-bb-cc");
  EXPECT_EQ(getDashMacString(colon), dash);
  EXPECT_EQ(getColonMacString(dash), colon);
  EXPECT_EQ(getDashMacString(Vek::String("a:b-c:")), Vek::String("a-b-c-"));
  EXPECT_EQ(getColonMacString(Vek::String("-a:b-c")), Vek::String(":a:b:c"));
  EXPECT_EQ(getDashMacString(dash), dash);
  EXPECT_EQ(getColonMacString(colon), colon);
  EXPECT_TRUE(getDashMacString(Vek::String()).empty());
  EXPECT_TRUE(getColonMacString(Vek::String()).empty());
}

}  // namespace
