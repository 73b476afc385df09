// yaml-cpp, as the tool includes it.
//
// Mind the iterators of a mapping: `it->first` and `it->second` live in a
// temporary that dies with the full expression, so they are copied
// (`YAML::Node const key = it->first;`, a cheap handle), never bound to a
// reference.
#pragma once

#include <yaml-cpp/yaml.h>
