// The reactor that a VLAN-carrying machine keeps on each VLAN it carries.
//
// A client's hostname and switch port requests, the global request of a
// hostname on its way to an element, an element's VLANs on their way to a
// switch port and a member's VLANs on their way to its port group all carry
// VLANs whose mapped VNIs and domains follow them one by one. Each such
// machine keeps one of these per VLAN, keyed by the VLAN id; a mapped VNI
// that comes or goes reaches the reactor's handleMappedVni(vni) (named
// handleDynamicVniMapping(vni) on the element side), a domain its
// handleVlanDomain(domain). The handlers, handleInitialized() and
// doCleanup() are the machine's own:
//
//   class HostResourcesSm::VekHostVlan
//       : public HostVlanReactor<VekHostVlan, DynamicVlan, HostResourcesSm> {
//    public:
//     using HostVlanReactor::HostVlanReactor;
//     void handleMappedVni(U32 vni);
//     void handleVlanDomain(Client::ClientDomain const& domain);
//     ...
//   };
#pragma once

#include "reactive/Reactor.h"
#include "schema/Client.h"

namespace VirtualNetwork::Agent {

template <class Self, class Vlan, class Owner>
class HostVlanReactor : public Vek::Reactor<Self, Vlan const, Owner> {
  // Declared before the reactions that name them.
  void onMappedVni(U32 vni) {
    if constexpr (requires(Self& s) { s.handleDynamicVniMapping(vni); }) {
      static_cast<Self&>(*this).handleDynamicVniMapping(vni);
    } else {
      static_cast<Self&>(*this).handleMappedVni(vni);
    }
  }
  void onVlanDomain(Client::ClientDomain const& domain) {
    static_cast<Self&>(*this).handleVlanDomain(domain);
  }

 public:
  using Vek::Reactor<Self, Vlan const, Owner>::Reactor;

  // The watched VLAN; it stays readable after the request has dropped it,
  // since the reactor holds it.
  Vek::Ptr<Vlan const> hostVlan() const { return this->notifier(); }
  U32 vlanId() const { return this->fwkKey(); }

  using vekReactions =
      Vek::Reactions<Vek::OnKey<Vlan::mappedVniId, &HostVlanReactor::onMappedVni>,
                     Vek::OnKey<Vlan::domainId, &HostVlanReactor::onVlanDomain>>;
};

}  // namespace VirtualNetwork::Agent
