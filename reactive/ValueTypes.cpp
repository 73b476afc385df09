#include "reactive/ValueTypes.h"

#include <ostream>
#include <string>
#include <string_view>

#include "reactive/Hash.h"

namespace {

// One step of a key hash. The constant keeps a zero part from leaving the
// state at zero, and mixing after every part makes the order matter, so
// ("a", "b") and ("b", "a") differ.
U32 hashStep(U32 state, U32 part) { return Vek::mix32((state ^ part) + 0x9e3779b9u); }

U32 hashPair(U32 seed, U32 first, U32 second) {
  return hashStep(hashStep(Vek::mix32(seed), first), second);
}

// "<first>|<second>" built in one allocation.
Vek::String joinWithBar(Vek::String const& first, Vek::String const& second) {
  std::string text;
  text.reserve(first.size() + 1 + second.size());
  text.append(first.view());
  text.push_back('|');
  text.append(second.view());
  return Vek::String(text);
}

// Lexicographic order on two string parts.
bool lessPair(Vek::String const& a1, Vek::String const& a2, Vek::String const& b1,
              Vek::String const& b2) {
  if (a1 < b1) return true;
  if (b1 < a1) return false;
  return a2 < b2;
}

}  // namespace

namespace Bridging {

std::ostream& operator<<(std::ostream& os, VlanIdOrNone vlan) {
  return os << static_cast<unsigned>(vlan.value());
}

}  // namespace Bridging

namespace Vxlan {

std::ostream& operator<<(std::ostream& os, Vni vni) { return os << vni.value(); }

}  // namespace Vxlan

namespace VirtualNetwork {

Vek::String Range::name() const {
  return Vek::String(std::to_string(min_) + "-" + std::to_string(max_));
}

U32 Range::hash(U32 seed) const { return hashPair(seed, min_, max_); }

std::ostream& operator<<(std::ostream& os, Range const& range) {
  return os << range.min() << '-' << range.max();
}

namespace Client {

Vek::String ClientDomain::name() const { return joinWithBar(first_, second_); }

U32 ClientDomain::hash(U32 seed) const { return hashPair(seed, first_.hash(), second_.hash()); }

bool operator<(ClientDomain const& a, ClientDomain const& b) {
  return lessPair(a.first(), a.second(), b.first(), b.second());
}

std::ostream& operator<<(std::ostream& os, ClientDomain const& domain) {
  return os << domain.first() << '|' << domain.second();
}

Vek::String SwitchInterface::name() const { return joinWithBar(switchId_, intfName_); }

U32 SwitchInterface::hash(U32 seed) const {
  return hashPair(seed, switchId_.hash(), intfName_.hash());
}

bool operator<(SwitchInterface const& a, SwitchInterface const& b) {
  return lessPair(a.switchId(), a.intfName(), b.switchId(), b.intfName());
}

std::ostream& operator<<(std::ostream& os, SwitchInterface const& intf) {
  return os << intf.switchId() << '|' << intf.intfName();
}

}  // namespace Client
}  // namespace VirtualNetwork

namespace VxlanController {

U32 PortVlanPairV2::hash(U32 seed) const { return hashPair(seed, port_.hash(), vlan_.value()); }

bool operator<(PortVlanPairV2 const& a, PortVlanPairV2 const& b) {
  if (a.port() < b.port()) return true;
  if (b.port() < a.port()) return false;
  return a.vlan() < b.vlan();
}

std::ostream& operator<<(std::ostream& os, PortVlanPairV2 const& pair) {
  return os << pair.port() << '|' << pair.vlan();
}

}  // namespace VxlanController

namespace ControllerProxyAgent {

std::ostream& operator<<(std::ostream& os, VlanListV1 const& list) { return os << list.value(); }

}  // namespace ControllerProxyAgent
