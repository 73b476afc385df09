// The model's inputs read from the scenario format's input tree, and its
// outputs written in the form of the `portVlanConfig` and `vtepConfig` check
// sections, so that a test compares them with Fabric::section directly.
//
// The tree is the one that `set:` patches build (config, topology, dirs,
// clients, status), as JSON. Scalars may be texts or numbers alike: a patch
// read from YAML keeps its scalars as texts.
//
//   model::Inputs in = model::inputsFromTree(fabric.inputs());
//   Json expected = model::portVlanConfigSection(in, model::recompute(in));
#pragma once

#include <nlohmann/json.hpp>

#include "model/Model.h"

namespace vnagent::model {

using Tree = nlohmann::ordered_json;

Inputs inputsFromTree(Tree const& tree);

// Replaces what the switch directories' entities held (the records of an
// earlier life) by the records as the two sections show them now.
void recordsFromSections(Inputs& in, Tree const& portVlanConfig, Tree const& vtepConfig);

// Every switch whose directory holds an entity of the right type: a ready
// switch with what the model computes, any other with what its inputs left.
// Empty fields are left out, as the sections leave them out.
Tree portVlanConfigSection(Inputs const& in, Outputs const& out);
Tree vtepConfigSection(Inputs const& in, Outputs const& out);

// "1-3,5,7-9"
std::string vlanListText(std::set<U32> const& ids);

}  // namespace vnagent::model
