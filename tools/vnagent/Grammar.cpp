#include "tools/vnagent/Grammar.h"

namespace vnagent {

namespace {

constexpr bool kNullable = true;

ShapePtr text(bool nullable = false) { return scalar(ScalarKind::text, nullable); }
ShapePtr number(bool nullable = false) { return scalar(ScalarKind::u32, nullable); }
ShapePtr boolean(bool nullable = false) { return scalar(ScalarKind::boolean, nullable); }
// `{"<key>": true}`: membership; null removes.
ShapePtr members(KeyKind key) { return collection(key, scalar(ScalarKind::present, kNullable)); }

// A directory child: its entry status and its entity, or any text for an
// entity of another type.
ShapePtr dirChild(ShapePtr entity) {
  return record({{"entry", number(kNullable)},
                 {"entity", either(text(), std::move(entity), kNullable)}},
                kNullable);
}

ShapePtr buildPatchShape() {
  ShapePtr config = record({
      {"enabled", boolean(kNullable)},
      {"vlanToVniMap",
       collection(KeyKind::pair,
                  collection(KeyKind::range, scalar(ScalarKind::range, kNullable), kNullable))},
  });

  ShapePtr host = record(
      {
          {"hostname", text(kNullable)},
          {"port", collection(KeyKind::text, record({{"portGroup", text(kNullable)}}, kNullable))},
          {"portGroup",
           collection(KeyKind::text, record({{"memberPort", members(KeyKind::text)}}, kNullable))},
      },
      kNullable);
  ShapePtr topology = record({
      {"host", collection(KeyKind::text, host)},
      {"edge",
       collection(KeyKind::pair,
                  record({{"toPort", collection(KeyKind::pair, boolean(kNullable))}}, kNullable))},
      {"hostsByHostname",
       collection(KeyKind::text, record({{"host", members(KeyKind::text)}}, kNullable))},
  });

  ShapePtr portVlanConfig = record({
      {"vlanList", text(kNullable)},
      {"portAllowedVlanList", collection(KeyKind::text, text(kNullable))},
      {"portNativeVlan", collection(KeyKind::text, number(kNullable))},
  });
  ShapePtr vtepConfig = record({
      {"vtepConfig",
       collection(KeyKind::text,
                  record({{"vlanToVniMap", collection(KeyKind::portVlan, number(kNullable))}},
                         kNullable))},
  });
  ShapePtr vtepStatus = record({{"vtepStatus", members(KeyKind::text)}});
  ShapePtr dirs = record({
      {"portVlanConfig", collection(KeyKind::text, dirChild(portVlanConfig))},
      {"dynVtepConfig", collection(KeyKind::text, dirChild(vtepConfig))},
      {"dynVtepStatus", collection(KeyKind::text, dirChild(vtepStatus))},
  });

  ShapePtr dynamicVlan =
      record({{"mappedVni", members(KeyKind::u32)}, {"domain", members(KeyKind::pair)}}, kNullable);
  ShapePtr client = record({
      {"resourcesForHostname",
       collection(KeyKind::text,
                  record({{"vlan", collection(KeyKind::u32, dynamicVlan)}}, kNullable))},
      {"resourcesForSwitchport",
       collection(KeyKind::pair,
                  record(
                      {
                          {"nativeVlan", number(kNullable)},
                          {"vlan", collection(KeyKind::u32, dynamicVlan)},
                          {"remoteHost", collection(KeyKind::text, boolean(kNullable))},
                      },
                      kNullable))},
  });

  ShapePtr leftover = record({}, kNullable);
  ShapePtr status = record({
      {"networkElementCollection", collection(KeyKind::text, leftover)},
      {"requestedResourcesCollection", collection(KeyKind::text, leftover)},
  });

  return record({
      {"config", config},
      {"topology", topology},
      {"dirs", dirs},
      {"clients", collection(KeyKind::text, dirChild(client))},
      {"status", status},
  });
}

// The model form of a VLAN entry with its referrers.
ShapePtr vlanModel() {
  return record(
      {
          {"referrer", set(KeyKind::text, kNullable)},
          {"mappedVni", collection(KeyKind::u32, set(KeyKind::text, kNullable), kNullable)},
          {"domain", collection(KeyKind::pair, set(KeyKind::text, kNullable), kNullable)},
      },
      kNullable);
}

ShapePtr buildChecksShape() {
  ShapePtr vlans = collection(KeyKind::u32, vlanModel(), kNullable);
  ShapePtr nativeVlans = collection(KeyKind::u32, set(KeyKind::text, kNullable), kNullable);
  ShapePtr names = set(KeyKind::text, kNullable);

  ShapePtr physicalInterface = record(
      {
          {"discovered", boolean(kNullable)},
          {"isSwitchInterface", boolean(kNullable)},
          {"portGroup", text(kNullable)},
          {"referrer", names},
          {"networkElement", names},
          {"configuredElement", names},
          {"discoveredElement", names},
          {"vlan", vlans},
          {"nativeVlan", nativeVlans},
      },
      kNullable);
  ShapePtr portGroup = record(
      {
          {"isSwitchInterface", boolean(kNullable)},
          {"memberInterface", names},
          {"vlan", vlans},
          {"nativeVlan", nativeVlans},
      },
      kNullable);
  ShapePtr element = record(
      {
          {"hostname", text(kNullable)},
          {"isSwitchElement", boolean(kNullable)},
          {"referrer", names},
          {"resourcesForHostname", text(kNullable)},
          {"vlan", vlans},
          {"physicalInterface", collection(KeyKind::text, physicalInterface, kNullable)},
          {"portGroup", collection(KeyKind::text, portGroup, kNullable)},
          {"interface", names},
      },
      kNullable);

  ShapePtr portVlanConfig = record(
      {
          {"vlanList", text(kNullable)},
          {"portAllowedVlanList", collection(KeyKind::text, text(kNullable), kNullable)},
          {"portNativeVlan", collection(KeyKind::text, number(kNullable), kNullable)},
      },
      kNullable);
  ShapePtr vtepConfig =
      collection(KeyKind::text,
                 collection(KeyKind::text,
                            collection(KeyKind::portVlan, number(kNullable), kNullable), kNullable),
                 kNullable);
  ShapePtr requests = collection(
      KeyKind::text, record({{"referrer", names}, {"vlan", vlans}}, kNullable), kNullable);

  ShapePtr traceItem =
      either(text(), record({{"level", number()}, {"function", text()}, {"message", text()}}));

  return record({
      {"portVlanConfig", collection(KeyKind::text, portVlanConfig, kNullable)},
      {"vtepConfig", vtepConfig},
      {"elements", collection(KeyKind::text, element, kNullable)},
      {"requests", requests},
      {"switchNodes", set(KeyKind::text, kNullable)},
      {"traces", list(traceItem)},
      {"tracesExclude", list(traceItem)},
      {"error", text(kNullable)},
      {"abort", text()},
  });
}

}  // namespace

Shape const& patchShape() {
  static ShapePtr const shape = buildPatchShape();
  return *shape;
}

Shape const& checksShape() {
  static ShapePtr const shape = buildChecksShape();
  return *shape;
}

std::vector<std::string> const& recordSections() {
  static std::vector<std::string> const sections = {"portVlanConfig", "vtepConfig", "elements",
                                                    "requests", "switchNodes"};
  return sections;
}

}  // namespace vnagent
