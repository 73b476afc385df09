#include "tools/vnagent/Compare.h"

#include <gtest/gtest.h>

#include <string>

#include "tools/vnagent/Grammar.h"

namespace vnagent {
namespace {

// The first difference of a check section, as its text ("" if none).
std::string differs(std::string const& section, std::string const& expected, Json const& actual,
                    Match mode = Match::exact) {
  YAML::Node const node = YAML::Load(expected);
  auto d = compare(node, actual, *checksShape().field(section), mode, YAML::Mark());
  return d ? d->text() : "";
}

Json const kSwitch = Json::parse(R"({
  "aa-bb": {"vlanList": "5,100", "portAllowedVlanList": {"eth1": "100", "eth2": "5"},
            "portNativeVlan": {"eth1": 5}}
})");

TEST(CompareRecords, ExactCheckNamesTheFirstDifference) {
  EXPECT_EQ(differs("portVlanConfig",
                    "{aa-bb: {vlanList: '5,100', portAllowedVlanList: {eth1: '100', eth2: '5'}, "
                    "portNativeVlan: {eth1: 5}}}",
                    kSwitch),
            "");
  EXPECT_EQ(differs("portVlanConfig",
                    "{aa-bb: {vlanList: '5,100', portAllowedVlanList: {eth1: '100', eth2: '5'}, "
                    "portNativeVlan: {eth1: 6}}}",
                    kSwitch),
            "aa-bb/portNativeVlan/eth1: expected 6, found 5");
  // An entry that the check does not list must be absent.
  EXPECT_EQ(differs("portVlanConfig",
                    "{aa-bb: {vlanList: '5,100', portAllowedVlanList: {eth1: '100'}, "
                    "portNativeVlan: {eth1: 5}}}",
                    kSwitch),
            "aa-bb/portAllowedVlanList/eth2: expected (absent), found '5'");
  // A field left out reads as empty.
  EXPECT_EQ(differs("portVlanConfig", "{aa-bb: {portAllowedVlanList: {eth1: '100', eth2: '5'}}}",
                    kSwitch),
            "aa-bb/vlanList: expected (none), found '5,100'");
}

TEST(CompareRecords, NullMeansAbsentOrEmpty) {
  EXPECT_EQ(differs("portVlanConfig", "{aa-bb: null}", Json::object()), "");
  EXPECT_EQ(differs("portVlanConfig", "{aa-bb: null}", kSwitch),
            "aa-bb: expected (absent), found {vlanList: '5,100', portAllowedVlanList: {eth1: "
            "'100', eth2: '5'}, portNativeVlan: {eth1: 5}}");
  Json const element = Json::parse(R"({"aa:bb": {"isSwitchElement": true}})");
  EXPECT_EQ(differs("elements", "{aa:bb: {isSwitchElement: null}}", element),
            "aa:bb/isSwitchElement: expected false, found true");
  EXPECT_EQ(differs("elements", "{aa:bb: {isSwitchElement: true, hostname: null}}", element), "");
  EXPECT_EQ(differs("switchNodes", "null", Json::array()), "");
}

TEST(CompareRecords, IncludesLooksOnlyAtWhatIsListed) {
  EXPECT_EQ(
      differs("portVlanConfig", "{aa-bb: {portNativeVlan: {eth1: 5}}}", kSwitch, Match::includes),
      "");
  EXPECT_EQ(
      differs("portVlanConfig", "{aa-bb: {portNativeVlan: {eth1: 4}}}", kSwitch, Match::includes),
      "aa-bb/portNativeVlan/eth1: expected 4, found 5");
  EXPECT_EQ(differs("portVlanConfig", "{aa-bb: {portNativeVlan: {eth2: null}}}", kSwitch,
                    Match::includes),
            "")
      << "null asks for absence";
  EXPECT_EQ(differs("portVlanConfig", "{aa-bb: {portAllowedVlanList: {eth2: null}}}", kSwitch,
                    Match::includes),
            "aa-bb/portAllowedVlanList/eth2: expected (absent), found '5'");
  // Written empty, a collection must be empty even in a subset check.
  EXPECT_EQ(
      differs("portVlanConfig", "{aa-bb: {portAllowedVlanList: {}}}", kSwitch, Match::includes),
      "aa-bb/portAllowedVlanList/eth1: expected (absent), found '100'");
}

TEST(CompareSets, OrderDoesNotMatter) {
  Json const element = Json::parse(R"({"aa:bb": {"referrer": ["c1", "aa:bb"]}})");
  EXPECT_EQ(differs("elements", "{aa:bb: {referrer: [aa:bb, c1]}}", element), "");
  EXPECT_EQ(differs("elements", "{aa:bb: {referrer: [c1, c2]}}", element),
            "aa:bb/referrer: expected [c1, c2], found [aa:bb, c1] (missing c2; unexpected aa:bb)");
  EXPECT_EQ(differs("elements", "{aa:bb: {referrer: [c1]}}", element, Match::includes), "");
  EXPECT_EQ(differs("elements", "{aa:bb: {referrer: [c3]}}", element, Match::includes),
            "aa:bb/referrer: expected [c3], found [aa:bb, c1] (missing c3)");
  EXPECT_EQ(differs("elements", "{aa:bb: {referrer: []}}", element, Match::includes),
            "aa:bb/referrer: expected [], found [aa:bb, c1] (unexpected aa:bb, c1)");
  EXPECT_EQ(differs("switchNodes", "[a]", Json::parse(R"(["a", "b"])")),
            "expected [a], found [a, b] (unexpected b)");
}

TEST(CompareRecords, KeysAndNumbersCompareByValue) {
  Json const requests =
      Json::parse(R"({"web-1": {"vlan": {"100": {"mappedVni": {"10100": ["web-1"]}}}}})");
  EXPECT_EQ(
      differs("requests", "{web-1: {vlan: {0100: {mappedVni: {'10100': [web-1]}}}}}", requests),
      "");
  EXPECT_EQ(differs("requests", "{web-1: {vlan: {100: {mappedVni: {10101: [web-1]}}}}}", requests),
            "web-1/vlan/100/mappedVni/10101: expected [web-1], found (absent)");
  Json const vtep = Json::parse(R"({"aa-bb": {"vtep1": {"eth1|100": 10100}}})");
  EXPECT_EQ(differs("vtepConfig", "{aa-bb: {vtep1: {eth1|0100: 10100}}}", vtep), "");
  EXPECT_EQ(differs("vtepConfig", "{aa-bb: {vtep1: {}}}", vtep),
            "aa-bb/vtep1/eth1|100: expected (absent), found 10100");
}

TEST(CompareRecords, DifferenceCarriesThePlaceOfTheExpectation) {
  YAML::Node const node = YAML::Load("aa-bb:\n  portNativeVlan:\n    eth1: 6\n");
  Json const actual = Json::parse(R"({"aa-bb": {"portNativeVlan": {"eth1": 5}}})");
  auto d =
      compare(node, actual, *checksShape().field("portVlanConfig"), Match::exact, YAML::Mark());
  ASSERT_TRUE(d);
  EXPECT_EQ(d->mark.line, 2);
  EXPECT_EQ(d->mark.column, 10);
  EXPECT_EQ(pathText(d->path), "aa-bb/portNativeVlan/eth1");
}

}  // namespace
}  // namespace vnagent
