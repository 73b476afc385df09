#include "reactive/TypeNode.h"

#include <map>

namespace Vek {

namespace {

std::map<std::string, TypeNode const*, std::less<>>& registry() {
  static std::map<std::string, TypeNode const*, std::less<>> types;
  return types;
}

}  // namespace

TypeAttribute const* TypeNode::attribute(std::string_view attributeName) const {
  for (TypeAttribute const& a : attributes) {
    if (a.name == attributeName) return &a;
  }
  return nullptr;
}

void typeNodeIs(TypeNode const* type) { registry()[type->name] = type; }

TypeNode const* typeNode(std::string_view name) {
  auto it = registry().find(name);
  return it == registry().end() ? nullptr : it->second;
}

}  // namespace Vek
