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

// One list's text and members; whichever was not given is made on first need.
class VlanListV1::Rep : public Vek::PtrInterface {
 public:
  explicit Rep(Vek::String text) : text_(std::move(text)), hasText_(true) {}
  explicit Rep(Vek::Ptr<LumoUtils::VlanIdSet const> members)
      : members_(std::move(members)), fromMembers_(true) {}

  Vek::String const& text() const {
    if (!hasText_) {
      text_ = members_->multiRangeString();
      hasText_ = true;
    }
    return text_;
  }
  LumoUtils::VlanIdSet const& members() const {
    if (!members_) {
      Vek::Ptr<LumoUtils::VlanIdSet> const set = LumoUtils::VlanIdSetIs();
      LumoUtils::computeVlanSet(set, text_);
      members_ = set;
    }
    return *members_;
  }
  bool fromMembers() const { return fromMembers_; }
  bool empty() const { return fromMembers_ ? members_->empty() : text_.empty(); }

 private:
  mutable Vek::String text_;
  mutable Vek::Ptr<LumoUtils::VlanIdSet const> members_;
  mutable bool hasText_ = false;
  bool fromMembers_ = false;
};

VlanListV1::VlanListV1() = default;
VlanListV1::VlanListV1(VlanListV1 const& other) = default;
VlanListV1& VlanListV1::operator=(VlanListV1 const& other) = default;
VlanListV1::~VlanListV1() = default;

VlanListV1::VlanListV1(Vek::String text) {
  if (!text.empty()) rep_ = new Rep(std::move(text));
}

VlanListV1::VlanListV1(Vek::Ptr<LumoUtils::VlanIdSet const> members) {
  if (members && !members->empty()) rep_ = new Rep(std::move(members));
}

Vek::String const& VlanListV1::value() const {
  static Vek::String const none;
  return rep_ ? rep_->text() : none;
}

LumoUtils::VlanIdSet const& VlanListV1::members() const {
  static Vek::Ptr<LumoUtils::VlanIdSet const> const none = LumoUtils::VlanIdSetIs();
  return rep_ ? rep_->members() : *none;
}

bool VlanListV1::empty() const { return !rep_ || rep_->empty(); }

bool operator==(VlanListV1 const& a, VlanListV1 const& b) {
  if (a.rep_ == b.rep_) return true;
  if (a.rep_ && b.rep_ && a.rep_->fromMembers() && b.rep_->fromMembers()) {
    return a.rep_->members().sameMembers(b.rep_->members());
  }
  return a.value() == b.value();
}

std::ostream& operator<<(std::ostream& os, VlanListV1 const& list) { return os << list.value(); }

}  // namespace ControllerProxyAgent
