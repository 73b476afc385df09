// A small example of records and a machine over them, written the way the
// agent's machines are, to test the generated members generically.
//
//   Switch (entity)           enabled (259), port (258: Port by name)
//   Port (entity)             vlan (258: set of U32), up (259)
//   SwitchSm                  name, watched switch, one VekPort per port,
//                             keyed child machines, a single child machine
#pragma once

#include <string>
#include <vector>

#include "VirtualNetworkAgent.h"

namespace Example {

using Vek::AttributeId;
using Vek::Name;
using Vek::Ptr;

class Port : public Vek::Entity, public Vek::AllocTracked<Port> {
 public:
  static constexpr AttributeId vlanId = 258;
  static constexpr AttributeId upId = 259;
  using NotifieeConst = Vek::NotifieeConst;

  explicit Port(Name name) : Entity(std::move(name)) {}

  bool vlan(U32 v) const { return vlan_.contains(v); }
  Vek::ValueSet<U32, vlanId> const& vlanCol() const { return vlan_; }
  void vlanIs(U32 v) { vlan_.set(*this, v); }
  void vlanDel(U32 v) { vlan_.del(*this, v); }
  bool up() const { return up_.get(); }
  void upIs(bool v) { up_.set(*this, v); }

 private:
  Vek::ValueSet<U32, vlanId> vlan_;
  Vek::Value<bool, upId> up_;
};

class Switch : public Vek::Entity, public Vek::AllocTracked<Switch> {
 public:
  static constexpr AttributeId portId = 258;
  static constexpr AttributeId enabledId = 259;
  using NotifieeConst = Vek::NotifieeConst;

  explicit Switch(Name name) : Entity(std::move(name)) {}

  Ptr<Port> port(Name const& name) const { return port_.find(name); }
  Vek::EntityMap<Name, Port, portId> const& portCol() const { return port_; }
  Ptr<Port> portIs(Name const& name) { return port_.is(*this, name); }
  Ptr<Port> portDel(Name const& name) { return port_.del(*this, name); }
  bool enabled() const { return enabled_.get(); }
  void enabledIs(bool v) { enabled_.set(*this, v); }

 private:
  Vek::EntityMap<Name, Port, portId> port_;
  Vek::Value<bool, enabledId> enabled_;
};

// What the example machines did, in order.
inline std::vector<std::string>& journal() {
  static std::vector<std::string> lines;
  return lines;
}

class LeafSm : public Vek::StateMachine<LeafSm> {
 public:
  LeafSm(Name name, Ptr<Switch const> sw) : name_(std::move(name)), sw_(std::move(sw)) {}
  ~LeafSm() override { journal().push_back("~LeafSm " + name_.get().stdString()); }
  static auto vekParams() { return std::tuple{&LeafSm::name_, &LeafSm::sw_}; }
  static auto vekMembers() { return Vek::members(&LeafSm::name_, &LeafSm::sw_); }

  Vek::Param<"name", Name> name_;
  Vek::Param<"sw", Ptr<Switch const>> sw_;
};

class SwitchSm : public Vek::StateMachine<SwitchSm> {
 public:
  class VekSwitch;
  class VekPort;

  SwitchSm(Name name, Ptr<Switch const> sw) : name_(std::move(name)), sw_(std::move(sw)) {}

  Name name() const { return name_.get(); }
  Ptr<Switch const> sw() const { return sw_.get(); }
  // Defined after the reactors, which they need complete.
  void swIs(Ptr<Switch const> const& sw);
  Ptr<Switch const> swDel();
  VekPort* port(Name const& name) const { return port_.find(name); }
  U32 ports() const { return port_.size(); }
  void portIs(Ptr<Port const> const& port);
  Ptr<Port const> portDel(Name const& name);
  void portDelAll();
  Ptr<LeafSm> leafSmIs(Name const& name, Ptr<Switch const> const& sw) {
    return leafSm_.is(name, sw);
  }
  LeafSm* leafSm(Name const& name) const { return leafSm_.find(name); }
  Ptr<LeafSm> leafSmDel(Name const& name) { return leafSm_.del(name); }
  Ptr<LeafSm> onlySmIs(Name const& name, Ptr<Switch const> const& sw) {
    return onlySm_.is(name, sw);
  }
  LeafSm* onlySm() const { return onlySm_.get(); }
  Ptr<LeafSm> onlySmDel() { return onlySm_.del(); }
  bool initialized() const { return initialized_.get(); }

  void handleEnabled();
  void handlePortVlan(Name const& port, U32 vlan);
  void handleInitialized();

  static auto vekParams() { return std::tuple{&SwitchSm::name_, &SwitchSm::sw_}; }
  static auto vekMembers() {
    return Vek::members(
        &SwitchSm::name_, &SwitchSm::sw_, Vek::handler<"handleEnabled", &SwitchSm::handleEnabled>(),
        Vek::mirror(&SwitchSm::port_,
                    [](SwitchSm const& m) { return m.sw() ? &m.sw()->portCol() : nullptr; }),
        &SwitchSm::leafSm_, &SwitchSm::onlySm_,
        Vek::handler<"handleInitialized", &SwitchSm::handleInitialized>(), &SwitchSm::initialized_);
  }

 private:
  Vek::Param<"name", Name> name_;
  Vek::ReactorSlot<"sw", VekSwitch, Switch const> sw_;
  Vek::ReactorMap<"port", Name, VekPort> port_;
  Vek::MachineMap<"leafSm", Name, LeafSm> leafSm_;
  Vek::MachineSlot<"onlySm", LeafSm> onlySm_;
  Vek::Attr<"initialized", bool> initialized_;
};

class SwitchSm::VekSwitch : public Vek::Reactor<VekSwitch, Switch const, SwitchSm> {
 public:
  using Reactor::Reactor;
  using vekReactions =
      Vek::Reactions<Vek::OnValue<Switch::enabledId, &SwitchSm::handleEnabled>,
                     Vek::OnNested<Switch::portId, &SwitchSm::port_, &Switch::portCol>>;
};

class SwitchSm::VekPort : public Vek::Reactor<VekPort, Port const, SwitchSm> {
 public:
  using Reactor::Reactor;
  void handleVlan(U32 vlan) {
    if (owner()) owner()->handlePortVlan(notifier()->name(), vlan);
  }
  void handleInitialized() { journal().push_back("VekPort built " + fwkKey().stdString()); }
  void doCleanup() {
    journal().push_back(std::string(isZombie() ? "VekPort revived " : "VekPort cleanup ") +
                        fwkKey().stdString());
  }
  using vekReactions = Vek::Reactions<Vek::OnKey<Port::vlanId, &VekPort::handleVlan>>;
};

inline void SwitchSm::swIs(Ptr<Switch const> const& sw) { sw_.is(*this, sw); }
inline Ptr<Switch const> SwitchSm::swDel() { return sw_.del(); }
inline void SwitchSm::portIs(Ptr<Port const> const& port) { port_.is(*this, port); }
inline Ptr<Port const> SwitchSm::portDel(Name const& name) { return port_.del(name); }
inline void SwitchSm::portDelAll() { port_.delAll(); }

inline void SwitchSm::handleEnabled() {
  journal().push_back("handleEnabled " + std::string(sw() && sw()->enabled() ? "true" : "false"));
}

inline void SwitchSm::handlePortVlan(Name const& port, U32 vlan) {
  journal().push_back("handlePortVlan " + port.stdString() + " " + std::to_string(vlan));
}

inline void SwitchSm::handleInitialized() {
  journal().push_back("handleInitialized ports=" + std::to_string(ports()) +
                      " active=" + (hasNotificationActive() ? "true" : "false"));
  initialized_.set(true);
}

}  // namespace Example
