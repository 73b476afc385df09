#include "tools/vnagent/Output.h"

#include <algorithm>

#include "tools/vnagent/Yaml.h"

namespace vnagent {

namespace {

// Field names stand plain; data keys (MACs, VLAN ids, port names) are quoted,
// as a MAC in plain YAML 1.1 reads as a number to some parsers.
bool plainKey(std::string const& key) {
  return !key.empty() && std::all_of(key.begin(), key.end(), [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
  });
}

void emit(YAML::Emitter& out, Json const& value) {
  if (value.is_object()) {
    if (value.empty()) {
      out << YAML::Flow << YAML::BeginMap << YAML::EndMap;
      return;
    }
    out << YAML::Block << YAML::BeginMap;
    for (auto it = value.begin(); it != value.end(); ++it) {
      out << YAML::Key;
      if (!plainKey(it.key())) out << YAML::DoubleQuoted;
      out << it.key() << YAML::Value;
      emit(out, it.value());
    }
    out << YAML::EndMap;
  } else if (value.is_array()) {
    out << YAML::Flow << YAML::BeginSeq;
    for (Json const& item : value) emit(out, item);
    out << YAML::EndSeq;
  } else if (value.is_string()) {
    out << YAML::DoubleQuoted << value.get<std::string>();
  } else if (value.is_boolean()) {
    out << (value.get<bool>() ? "true" : "false");
  } else if (value.is_null()) {
    out << YAML::Null;
  } else {
    out << value.dump();
  }
}

}  // namespace

std::string toYaml(Json const& value) {
  YAML::Emitter out;
  emit(out, value);
  return out.c_str();
}

}  // namespace vnagent
