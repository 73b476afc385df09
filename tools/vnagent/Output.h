// Printing the model form of the outputs for a reader: YAML that an `expect`
// step accepts as it is (mappings in block style, lists in flow style, texts
// quoted so that "5" stays a text).
#pragma once

#include <string>

#include "tools/vnagent/Compare.h"

namespace vnagent {

std::string toYaml(Json const& value);

}  // namespace vnagent
