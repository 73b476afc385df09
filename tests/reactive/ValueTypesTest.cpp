#include "reactive/ValueTypes.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <typeinfo>

#include "tests/Raised.h"

namespace {

template <class T>
std::string printed(T const& value) {
  std::ostringstream os;
  os << value;
  return os.str();
}

// The text of the RangeException that `make` raises.
template <class F>
std::string rangeError(F make) {
  return TestSupport::raised<Vek::RangeException>(make);
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

}  // namespace
