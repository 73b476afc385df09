// Type descriptions: what a class publishes of itself to the framework.
//
// A description lists the class's members in declaration order, handlers
// included, each with its name, kind and attribute id. It is built from the
// same vekMembers() list that drives the generated behaviour, so it cannot
// drift from the class:
//
//   static Vek::TypeNode const type = Vek::describe<HostResourcesSm>(
//       "VirtualNetwork::Agent::HostResourcesSm");
//   Vek::typeNodeIs(&type);
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "reactive/Members.h"

namespace Vek {

struct TypeAttribute {
  std::string name;
  MemberKind kind;
  AttributeId id;
};

struct TypeNode {
  std::string name;
  TypeNode const* base = nullptr;
  std::vector<TypeAttribute> attributes;

  TypeAttribute const* attribute(std::string_view attributeName) const;
};

// Registers a description; a later one under the same name replaces it.
void typeNodeIs(TypeNode const* type);
// The registered description of `name`, or null.
TypeNode const* typeNode(std::string_view name);

// The description of a machine or reactor class with vekMembers(): ids
// count up from `firstId` in declaration order.
template <class M>
TypeNode describe(std::string name, TypeNode const* base = nullptr, AttributeId firstId = 130) {
  TypeNode type{std::move(name), base, {}};
  AttributeId id = firstId;
  std::apply(
      [&](auto const&... d) {
        (
            [&](auto const& one) {
              using D = std::decay_t<decltype(one)>;
              if constexpr (std::is_member_object_pointer_v<D>) {
                using T = typename detail::MemberObjectType<D>::type;
                type.attributes.push_back({std::string(T::name.view()), T::kind, id++});
              } else if constexpr (requires {
                                     one.member;
                                     one.source;
                                   }) {
                using T = typename detail::MemberObjectType<decltype(one.member)>::type;
                type.attributes.push_back({std::string(T::name.view()), T::kind, id++});
              } else {
                type.attributes.push_back({std::string(D::name.view()), D::kind, id++});
              }
            }(d),
            ...);
      },
      M::vekMembers());
  return type;
}

}  // namespace Vek
