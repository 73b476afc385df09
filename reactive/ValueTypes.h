// Small value types of the records: VLAN and VNI numbers, VNI ranges, and
// the two-part keys of clients, switch interfaces and port/VLAN pairs.
//
// All are plain copyable values with a default (the zero or empty value),
// equality, an order and printing. The composite ones are keys of keyed
// collections, so each has `U32 hash(U32 seed) const`: it mixes the seed and
// every part in a fixed order with Vek::mix32, the same on every run.
//
// The number types check their range when built and raise a
// Vek::RangeException otherwise:
//
//   Bridging::VlanIdOrNone vlan(100);        // 0 means "no VLAN"
//   Vxlan::Vni vni(10010);
//   VirtualNetwork::Range range(10000, 10999);
//   assert(range.contains(vni.value()));
#pragma once

#include <compare>
#include <iosfwd>
#include <utility>

#include "reactive/Exception.h"
#include "reactive/String.h"
#include "reactive/Types.h"

namespace Bridging {

// A VLAN id, 1..4094, or 0 for none.
class VlanIdOrNone {
 public:
  static constexpr U16 max = 4094;

  VlanIdOrNone() = default;
  // The argument is cut to 16 bits before the check, as the records always
  // stored it: 65541 becomes 5, while 4095 and 65535 are refused.
  VlanIdOrNone(U32 value) : value_(static_cast<U16>(value)) {  // NOLINT: implicit by design
    if (value_ > max) Vek::throwRangeException("VlanIdOrNone::value > 4094 not allowed");
  }

  U16 value() const { return value_; }

  friend bool operator==(VlanIdOrNone, VlanIdOrNone) = default;
  friend auto operator<=>(VlanIdOrNone, VlanIdOrNone) = default;

 private:
  U16 value_ = 0;
};

std::ostream& operator<<(std::ostream& os, VlanIdOrNone vlan);

}  // namespace Bridging

namespace Vxlan {

// A VXLAN network identifier: 24 bits, 0 included.
class Vni {
 public:
  static constexpr U32 min = 0;
  static constexpr U32 max = 16777215;

  Vni() = default;
  Vni(U32 value) : value_(value) {  // NOLINT: implicit by design
    if (value_ > max) Vek::throwRangeException("Vni::value < Vni::min or > Vni::max not allowed");
  }

  U32 value() const { return value_; }

  friend bool operator==(Vni, Vni) = default;
  friend auto operator<=>(Vni, Vni) = default;

 private:
  U32 value_ = 0;
};

std::ostream& operator<<(std::ostream& os, Vni vni);

}  // namespace Vxlan

namespace VirtualNetwork {

// An inclusive range of numbers (VNIs, VLANs). Range(0, 0) is the zero value
// and stands for "no entry". Nothing checks min <= max: such a range simply
// contains nothing.
class Range {
 public:
  Range() = default;
  Range(U32 min, U32 max) : min_(min), max_(max) {}

  U32 min() const { return min_; }
  U32 max() const { return max_; }
  bool contains(U32 x) const { return min_ <= x && x <= max_; }
  bool isZero() const { return min_ == 0 && max_ == 0; }
  // "<min>-<max>", as printed.
  Vek::String name() const;
  U32 hash(U32 seed) const;

  // By min, then max.
  friend bool operator==(Range const&, Range const&) = default;
  friend auto operator<=>(Range const&, Range const&) = default;

 private:
  U32 min_ = 0;
  U32 max_ = 0;
};

std::ostream& operator<<(std::ostream& os, Range const& range);

namespace Client {

// A client's domain: two names, kept in the order given.
class ClientDomain {
 public:
  ClientDomain() = default;
  ClientDomain(Vek::String first, Vek::String second)
      : first_(std::move(first)), second_(std::move(second)) {}

  Vek::String const& first() const { return first_; }
  Vek::String const& second() const { return second_; }
  // "<first>|<second>", as printed.
  Vek::String name() const;
  U32 hash(U32 seed) const;

  friend bool operator==(ClientDomain const&, ClientDomain const&) = default;
  // By first, then second.
  friend bool operator<(ClientDomain const& a, ClientDomain const& b);

 private:
  Vek::String first_;
  Vek::String second_;
};

std::ostream& operator<<(std::ostream& os, ClientDomain const& domain);

// One interface of one switch.
class SwitchInterface {
 public:
  SwitchInterface() = default;
  SwitchInterface(Vek::String switchId, Vek::String intfName)
      : switchId_(std::move(switchId)), intfName_(std::move(intfName)) {}

  Vek::String const& switchId() const { return switchId_; }
  Vek::String const& intfName() const { return intfName_; }
  // "<switchId>|<intfName>", as printed.
  Vek::String name() const;
  U32 hash(U32 seed) const;

  friend bool operator==(SwitchInterface const&, SwitchInterface const&) = default;
  // By switch, then interface.
  friend bool operator<(SwitchInterface const& a, SwitchInterface const& b);

 private:
  Vek::String switchId_;
  Vek::String intfName_;
};

std::ostream& operator<<(std::ostream& os, SwitchInterface const& intf);

}  // namespace Client
}  // namespace VirtualNetwork

namespace VxlanController {

// A VLAN on a port; printed "<port>|<vlan>".
class PortVlanPairV2 {
 public:
  PortVlanPairV2() = default;
  PortVlanPairV2(Vek::String port, Bridging::VlanIdOrNone vlan)
      : port_(std::move(port)), vlan_(vlan) {}

  Vek::String const& port() const { return port_; }
  Bridging::VlanIdOrNone vlan() const { return vlan_; }
  U32 hash(U32 seed) const;

  friend bool operator==(PortVlanPairV2 const&, PortVlanPairV2 const&) = default;
  // By port, then VLAN.
  friend bool operator<(PortVlanPairV2 const& a, PortVlanPairV2 const& b);

 private:
  Vek::String port_;
  Bridging::VlanIdOrNone vlan_;
};

std::ostream& operator<<(std::ostream& os, PortVlanPairV2 const& pair);

}  // namespace VxlanController

namespace ControllerProxyAgent {

// A VLAN list as text ("1-3,5,7-9", see LumoUtils::VlanIdSet); the empty text
// is the empty list. The text is kept as given, not normalised.
class VlanListV1 {
 public:
  VlanListV1() = default;
  VlanListV1(Vek::String value) : value_(std::move(value)) {}  // NOLINT: implicit by design

  Vek::String const& value() const { return value_; }
  bool empty() const { return value_.empty(); }

  friend bool operator==(VlanListV1 const&, VlanListV1 const&) = default;

 private:
  Vek::String value_;
};

std::ostream& operator<<(std::ostream& os, VlanListV1 const& list);

}  // namespace ControllerProxyAgent
