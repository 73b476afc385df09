#include "reactive/TypeNode.h"

#include "reactive/Entity.h"

namespace Vek {

namespace {

// In registration order; the lookup by name walks it (a dozen entries).
std::vector<TypeNode const*>& registry() {
  static std::vector<TypeNode const*> types;
  return types;
}

}  // namespace

std::string attrFlagsText(U32 flags) {
  static constexpr std::pair<AttrFlag, char const*> words[] = {
      {attrConstructorValue, "constructor value"},
      {attrWatchedEntity, "watched entity"},
      {attrKeyedReactors, "keyed reactors"},
      {attrKeyedMachines, "keyed machines"},
      {attrSingleMachine, "single machine"},
      {attrKeyedEntities, "keyed entities"},
      {attrInnerValue, "value"},
      {attrHandler, "handler"},
      {attrWritable, "writable"},
  };
  std::string text;
  for (auto const& [flag, word] : words) {
    if (!(flags & flag)) continue;
    if (!text.empty()) text += ", ";
    text += word;
  }
  return text;
}

VekAttr const* TypeNode::attribute(std::string_view attributeName) const {
  for (VekAttr const& a : attributes) {
    if (a.name == attributeName) return &a;
  }
  return nullptr;
}

VekAttr const* TypeNode::attribute(AttributeId id) const {
  for (VekAttr const& a : attributes) {
    if (a.id == id) return &a;
  }
  return nullptr;
}

TypeNode const& ptrInterfaceType() {
  static TypeNode const type = [] {
    TypeNode t;
    t.name = "Vek::PtrInterface";
    return t;
  }();
  return type;
}

TypeNode const& entityType() {
  static TypeNode type;
  if (!type.name.empty()) return type;
  type.name = "Vek::Entity";
  type.base = &ptrInterfaceType();
  auto entry = [](char const* name, std::string valueType, AttributeId id) {
    type.attributes.push_back({name, &type, std::move(valueType), {}, {}, {}, id, attrInnerValue});
  };
  // The numbers that every entity's own attributes leave free below 258.
  entry("name", typeText<Name>(), 130);
  entry("fullName", typeText<String>(), 141);
  entry("parent", "Vek::Entity", 138);
  entry("parentAttrName", typeText<String>(), 139);
  entry("entity", "Vek::Entity", 143);
  // The door reads what an entity holds itself: its name and its parent.
  type.genericIfAttributeOp = [](void* result, PtrInterface& object, AttributeId attribute,
                                 int operation, void const*, void const*) {
    auto const* a = type.attribute(attribute);
    if (!a) return int(GenericIf::noSuchAttribute);
    auto const& entity = static_cast<Entity const&>(object);
    if (operation != GenericIf::read || (attribute != 130 && attribute != 138)) {
      return int(GenericIf::refused);
    }
    if (attribute == 130 && result) *static_cast<Name*>(result) = entity.name();
    if (attribute == 138 && result) {
      *static_cast<Ptr<PtrInterface const>*>(result) = Ptr<PtrInterface const>(entity.parent());
    }
    return int(GenericIf::done);
  };
  return type;
}

void typeNodeIs(TypeNode const* type) {
  for (TypeNode const*& present : registry()) {
    if (present->name == type->name) {
      present = type;
      return;
    }
  }
  registry().push_back(type);
}

TypeNode const* typeNode(std::string_view name) {
  for (TypeNode const* type : registry()) {
    if (type->name == name) return type;
  }
  return nullptr;
}

std::vector<TypeNode const*> typeNodes() { return registry(); }

}  // namespace Vek
