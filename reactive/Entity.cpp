#include "reactive/Entity.h"

namespace Vek {

void Entity::parentIs(Entity* parent) {
  if (parent == parent_) return;
  parent_ = parent;
  handleParent(parent);
}

}  // namespace Vek
