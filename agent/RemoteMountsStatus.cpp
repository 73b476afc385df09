#include "agent/RemoteMountsStatus.h"

#include "reactive/Generic.h"

namespace VirtualNetwork::Agent {

void RemoteMountsStatus::flagIs(bool& flag, bool value, Vek::AttributeId id) {
  if (flag == value) return;
  flag = value;
  // `ready` first: the switch node exists or is gone before anyone hears
  // of the flag itself.
  readyIs(topology_ && portVlanConfig_ && dynVtepConfig_ && dynVtepStatus_);
  vekNotify(id);
}

void RemoteMountsStatus::readyIs(bool value) {
  if (ready_ == value) return;
  ready_ = value;
  vekNotify(readyId);
}

namespace {

using R = RemoteMountsStatus;

struct Flag {
  char const* name;
  Vek::AttributeId id;
  bool (R::*get)() const;
  void (R::*set)(bool);
};

constexpr Flag flags[] = {
    {"topology", R::topologyId, &R::topology, &R::topologyIs},
    {"portVlanConfig", R::portVlanConfigId, &R::portVlanConfig, &R::portVlanConfigIs},
    {"dynVtepConfig", R::dynVtepConfigId, &R::dynVtepConfig, &R::dynVtepConfigIs},
    {"dynVtepStatus", R::dynVtepStatusId, &R::dynVtepStatus, &R::dynVtepStatusIs},
    {"ready", R::readyId, &R::ready, nullptr},
};

int attributeOp(void* result, Vek::PtrInterface& object, Vek::AttributeId attribute,
                int operation, void const* argument, void const* second) {
  using namespace Vek::GenericIf;
  auto& status = static_cast<R&>(object);
  if (attribute == R::switchIdId) {
    if (operation != read) return refused;
    Vek::detail::genericPut(result, status.switchId());
    return done;
  }
  for (Flag const& flag : flags) {
    if (flag.id != attribute) continue;
    if (operation == read) {
      Vek::detail::genericPut(result, (status.*flag.get)());
      return done;
    }
    bool value = false;
    if (operation != write || !flag.set || !Vek::detail::genericTake(argument, value)) {
      return refused;
    }
    (status.*flag.set)(value);
    return done;
  }
  return Vek::entityType().genericIfAttributeOp(result, object, attribute, operation, argument,
                                                second);
}

int construct(Vek::Ptr<Vek::PtrInterface>& result, void const* const* args) {
  Vek::String switchId;
  if (!Vek::detail::genericTake(args[0], switchId)) return Vek::GenericIf::refused;
  result = new R(switchId);
  return Vek::GenericIf::done;
}

}  // namespace

Vek::TypeNode const& RemoteMountsStatus::_vekType() {
  static Vek::TypeNode type;
  if (!type.name.empty()) return type;
  type.name = Vek::typeName(typeid(R));
  type.base = &Vek::entityType();
  type.attributes = Vek::entityType().attributes;
  type.attributes.push_back({"switchId", &type, Vek::typeText<Vek::String>(), {}, {}, {},
                             switchIdId, Vek::attrConstructorValue});
  for (Flag const& flag : flags) {
    U32 const writable = flag.set ? U32(Vek::attrWritable) : 0u;
    type.attributes.push_back({flag.name, &type, "bool", {}, {}, {}, flag.id,
                               Vek::attrInnerValue | writable});
  }
  type.constructorParameters = {{"switchId", Vek::typeText<Vek::String>()}};
  type.genericIfConstructFromCtorArgs = &construct;
  type.genericIfAttributeOp = &attributeOp;
  type.genericIfIterator = [](Vek::PtrInterface&, Vek::AttributeId,
                              Vek::GenericIf::IteratorTable const**) {
    return static_cast<Vek::GenericIf::Iterator*>(nullptr);
  };
  type.genericIfNotifiee = &Vek::GenericIfNotifiee_<topologyId, readyId>::make;
  return type;
}

}  // namespace VirtualNetwork::Agent
