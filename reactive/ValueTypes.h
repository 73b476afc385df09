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
#include "reactive/FixedString.h"
#include "reactive/String.h"
#include "reactive/Types.h"
#include "reactive/VlanIdSet.h"

namespace Vek {

// A number that its upper bound checks when it is made: a greater value
// raises the range error with the text `Error`. Implicit from the number, by
// design: the records take plain numbers where they hold these.
template <class Rep, Rep Max, FixedString Error>
class BoundedNumber {
 public:
  static constexpr Rep max = Max;

  BoundedNumber() = default;
  BoundedNumber(Rep value) : value_(value) {  // NOLINT: implicit by design
    if (!holds(value_)) throwRangeException(Error.c_str());
  }

  // Whether a value can be made from `value` without the range error.
  static constexpr bool holds(Rep value) { return value <= Max; }

  Rep value() const { return value_; }

  friend bool operator==(BoundedNumber, BoundedNumber) = default;
  friend auto operator<=>(BoundedNumber, BoundedNumber) = default;

 private:
  Rep value_ = 0;
};

// Two texts kept in the order given: the base of the two-part keys. Its
// name (and its printed form) joins them with "|"; it orders by the first,
// then the second.
class TextPair {
 public:
  TextPair() = default;
  TextPair(String first, String second) : first_(std::move(first)), second_(std::move(second)) {}

  String name() const;
  U32 hash(U32 seed) const;

  friend bool operator==(TextPair const&, TextPair const&) = default;
  friend bool operator<(TextPair const& a, TextPair const& b);

 protected:
  String first_;
  String second_;
};

std::ostream& operator<<(std::ostream& os, TextPair const& pair);

}  // namespace Vek

namespace Bridging {

// A VLAN id, 1..4094, or 0 for none. The argument is cut to 16 bits before
// the check, as the records always stored it: 65541 becomes 5, while 4095
// and 65535 are refused.
class VlanIdOrNone
    : public Vek::BoundedNumber<U16, 4094, "VlanIdOrNone::value > 4094 not allowed"> {
 public:
  VlanIdOrNone() = default;
  VlanIdOrNone(U32 value) : BoundedNumber(static_cast<U16>(value)) {}  // NOLINT: implicit by design

  // Whether a VLAN id can be made from `value`, cut to 16 bits as above.
  static constexpr bool holds(U32 value) { return BoundedNumber::holds(static_cast<U16>(value)); }
};

std::ostream& operator<<(std::ostream& os, VlanIdOrNone vlan);

}  // namespace Bridging

namespace Vxlan {

// A VXLAN network identifier: 24 bits, 0 included.
class Vni
    : public Vek::BoundedNumber<U32, 16777215, "Vni::value < Vni::min or > Vni::max not allowed"> {
 public:
  static constexpr U32 min = 0;
  using BoundedNumber::BoundedNumber;
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
class ClientDomain : public Vek::TextPair {
 public:
  using TextPair::TextPair;
  Vek::String const& first() const { return first_; }
  Vek::String const& second() const { return second_; }
};

// One interface of one switch.
class SwitchInterface : public Vek::TextPair {
 public:
  using TextPair::TextPair;
  Vek::String const& switchId() const { return first_; }
  Vek::String const& intfName() const { return second_; }
};

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

// A VLAN list: its text ("1-3,5,7-9", see LumoUtils::VlanIdSet) and its
// members. A list is made from either and gives the other on first need,
// keeping it: a list read from a record and changed by one VLAN is neither
// parsed nor printed again, whatever its length. A list made from text keeps
// that text as given, not normalised; a list made from members reads as the
// set's own text form. The empty text is the empty list.
//
// Copies share one immutable representation. Two lists are equal when their
// texts are (compared as members, without printing, when both were made from
// members, whose texts follow from their members).
class VlanListV1 {
 public:
  VlanListV1();
  VlanListV1(Vek::String text);  // NOLINT: implicit by design
  // Takes the set: whoever made it changes it no more.
  explicit VlanListV1(Vek::Ptr<LumoUtils::VlanIdSet const> members);
  VlanListV1(VlanListV1 const& other);
  VlanListV1& operator=(VlanListV1 const& other);
  ~VlanListV1();

  // The text, printed on first need.
  Vek::String const& value() const;
  // The members, read from the text on first need (as far as the text can
  // be read: see LumoUtils::computeVlanSet).
  LumoUtils::VlanIdSet const& members() const;
  bool empty() const;

  friend bool operator==(VlanListV1 const& a, VlanListV1 const& b);

 private:
  class Rep;
  Vek::Ptr<Rep> rep_;
};

std::ostream& operator<<(std::ostream& os, VlanListV1 const& list);

}  // namespace ControllerProxyAgent
