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

}  // namespace

namespace Vek {

String TextPair::name() const {
  // Built in one allocation.
  std::string text;
  text.reserve(first_.size() + 1 + second_.size());
  text.append(first_.view());
  text.push_back('|');
  text.append(second_.view());
  return String(text);
}

U32 TextPair::hash(U32 seed) const { return hashPair(seed, first_.hash(), second_.hash()); }

bool operator<(TextPair const& a, TextPair const& b) {
  if (a.first_ < b.first_) return true;
  if (b.first_ < a.first_) return false;
  return a.second_ < b.second_;
}

std::ostream& operator<<(std::ostream& os, TextPair const& pair) { return os << pair.name(); }

}  // namespace Vek

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
