// What the agent offers a host program: the type descriptions its classes
// register with the framework, printed for people or as JSON.
//
//   vnagent types                 every class, in registration order
//   vnagent types HostResourcesSm one class, by full or short name
//   vnagent types --json          [{"name", "base", "attributes": [...],
//                                   "constructorParameters": [...]}]
#pragma once

#include <string>
#include <vector>

#include "reactive/TypeNode.h"
#include "tools/vnagent/Compare.h"

namespace vnagent {

// The registered descriptions whose full name is `name` or ends in
// "::<name>"; all of them for an empty name.
std::vector<Vek::TypeNode const*> typesNamed(std::string const& name);

Json typesJson(std::vector<Vek::TypeNode const*> const& types);
// One block per class: its name and base, its constructor, then one line
// per attribute with its id, name, type and kind.
std::string typesText(std::vector<Vek::TypeNode const*> const& types);

}  // namespace vnagent
