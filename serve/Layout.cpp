#include "serve/Layout.h"

#include <utility>

#include "tools/vnagent/Grammar.h"

namespace vnagent::serve {

namespace {

struct Place {
  InputKind kind;
  char const* path;  // after "<p>:in:"
};

// Longest paths first where one starts another.
constexpr Place kPlaces[] = {
    {InputKind::host, "topology:host:"},
    {InputKind::edge, "topology:edge:"},
    {InputKind::hostsByHostname, "topology:hostsByHostname:"},
    {InputKind::portVlanConfig, "dirs:portVlanConfig:"},
    {InputKind::dynVtepConfig, "dirs:dynVtepConfig:"},
    {InputKind::dynVtepStatus, "dirs:dynVtepStatus:"},
    {InputKind::client, "clients:"},
};

bool startsWith(std::string const& s, std::string const& head) {
  return s.compare(0, head.size(), head) == 0;
}

// A mapping with its keys in the order the reports use.
Json sorted(std::map<std::string, Json, KeyOrder> entries) {
  Json out = Json::object();
  for (auto& [k, v] : entries) out[k] = std::move(v);
  return out;
}

}  // namespace

std::string Layout::input(InputKey const& key) const {
  std::string const in = p_ + ":in:";
  switch (key.kind) {
    case InputKind::config:
      return in + "config";
    case InputKind::status:
      return in + "status";
    case InputKind::hostnameRequest:
      return in + "clients:" + key.client + ":hostname:" + key.name;
    case InputKind::switchportRequest:
      return in + "clients:" + key.client + ":switchport:" + key.name;
    default:
      break;
  }
  for (Place const& place : kPlaces) {
    if (place.kind == key.kind) return in + place.path + key.name;
  }
  return in;
}

std::optional<InputKey> Layout::parseInput(std::string const& key) const {
  std::string const in = p_ + ":in:";
  if (!startsWith(key, in)) return std::nullopt;
  std::string const rest = key.substr(in.size());
  if (rest == "config") return InputKey{InputKind::config, "", ""};
  if (rest == "status") return InputKey{InputKind::status, "", ""};
  for (Place const& place : kPlaces) {
    if (!startsWith(rest, place.path)) continue;
    std::string name = rest.substr(std::string(place.path).size());
    if (name.empty()) return std::nullopt;
    if (place.kind == InputKind::client) {
      for (auto [kind, marker] : {std::pair{InputKind::hostnameRequest, ":hostname:"},
                                  std::pair{InputKind::switchportRequest, ":switchport:"}}) {
        auto at = name.find(marker);
        if (at == std::string::npos) continue;
        std::string request = name.substr(at + std::string(marker).size());
        if (at == 0 || request.empty()) return std::nullopt;
        return InputKey{kind, std::move(request), name.substr(0, at)};
      }
    }
    if (place.kind == InputKind::edge && !splitPair(name)) return std::nullopt;
    return InputKey{place.kind, std::move(name), ""};
  }
  return std::nullopt;
}

std::optional<OutputKey> Layout::parseOutput(std::string const& key) const {
  std::string const out = p_ + ":out:";
  if (!startsWith(key, out)) return std::nullopt;
  std::string const rest = key.substr(out.size());
  if (rest == "switchNodes") return OutputKey{OutputKey::Kind::switchNodes, "", ""};
  using K = OutputKey::Kind;
  for (auto [kind, path] : {std::pair{K::switchIndex, "switch:"},
                            std::pair{K::portVlanConfig, "portVlanConfig:"},
                            std::pair{K::vtepConfig, "vtepConfig:"}, std::pair{K::element, "element:"},
                            std::pair{K::request, "request:"}}) {
    if (!startsWith(rest, path)) continue;
    std::string name = rest.substr(std::string(path).size());
    if (kind != K::vtepConfig) return OutputKey{kind, std::move(name), ""};
    auto bar = name.find('|');
    if (bar == std::string::npos) return std::nullopt;
    return OutputKey{kind, name.substr(0, bar), name.substr(bar + 1)};
  }
  return std::nullopt;
}

Hashes Layout::switchHashes(std::string const& sw, Json const& portVlanConfig,
                            Json const& vtepConfig) const {
  Hashes out;
  if (portVlanConfig.is_null() && vtepConfig.is_null()) return out;
  auto& index = out[switchIndex(sw)];
  if (portVlanConfig.is_object()) {
    index["portVlanConfig"] = "1";
    std::map<std::string, std::string> fields;
    if (auto it = portVlanConfig.find("vlanList"); it != portVlanConfig.end()) {
      fields["vlanList"] = it->get<std::string>();
    }
    if (auto it = portVlanConfig.find("portAllowedVlanList"); it != portVlanConfig.end()) {
      for (auto p = it->begin(); p != it->end(); ++p) fields["allowed|" + p.key()] = p->get<std::string>();
    }
    if (auto it = portVlanConfig.find("portNativeVlan"); it != portVlanConfig.end()) {
      for (auto p = it->begin(); p != it->end(); ++p) fields["native|" + p.key()] = p->dump();
    }
    if (!fields.empty()) out[this->portVlanConfig(sw)] = std::move(fields);
  }
  if (vtepConfig.is_object()) {
    index["vtepConfig"] = "1";
    for (auto v = vtepConfig.begin(); v != vtepConfig.end(); ++v) {
      index["vtep|" + v.key()] = "1";
      std::map<std::string, std::string> fields;
      for (auto m = v->begin(); m != v->end(); ++m) fields[m.key()] = m->dump();
      if (!fields.empty()) out[this->vtepConfig(sw, v.key())] = std::move(fields);
    }
  }
  return out;
}

Json portVlanConfigOf(std::map<std::string, std::string> const& fields) {
  Json record = Json::object();
  std::map<std::string, Json, KeyOrder> allowed, native;
  for (auto const& [field, value] : fields) {
    if (field == "vlanList") {
      if (!value.empty()) record["vlanList"] = value;
    } else if (startsWith(field, "allowed|")) {
      allowed[field.substr(8)] = value;
    } else if (startsWith(field, "native|")) {
      native[field.substr(7)] = parseU32(value).value_or(0);
    }
  }
  if (!allowed.empty()) record["portAllowedVlanList"] = sorted(std::move(allowed));
  if (!native.empty()) record["portNativeVlan"] = sorted(std::move(native));
  return record;
}

Json vtepMapOf(std::map<std::string, std::string> const& fields) {
  std::map<std::string, Json, KeyOrder> map;
  for (auto const& [field, value] : fields) map[field] = parseU32(value).value_or(0);
  return sorted(std::move(map));
}

Shape const& shapeOf(InputKind kind) {
  Shape const& root = patchShape();
  Shape const& topology = *root.field("topology");
  Shape const& dirs = *root.field("dirs");
  Shape const& client = *root.field("clients")->value;
  Shape const& entity = *client.field("entity")->value;
  switch (kind) {
    case InputKind::config:
      return *root.field("config");
    case InputKind::status:
      return *root.field("status");
    case InputKind::host:
      return *topology.field("host")->value;
    case InputKind::edge:
      return *topology.field("edge")->value;
    case InputKind::hostsByHostname:
      return *topology.field("hostsByHostname")->value;
    case InputKind::portVlanConfig:
      return *dirs.field("portVlanConfig")->value;
    case InputKind::dynVtepConfig:
      return *dirs.field("dynVtepConfig")->value;
    case InputKind::dynVtepStatus:
      return *dirs.field("dynVtepStatus")->value;
    case InputKind::hostnameRequest:
      return *entity.field("resourcesForHostname")->value;
    case InputKind::switchportRequest:
      return *entity.field("resourcesForSwitchport")->value;
    case InputKind::client:
      return client;
  }
  return root;
}

Split split(Layout const& layout, Json const& tree) {
  Split out;
  auto put = [&](InputKind kind, std::string const& name, Json const& value,
                 std::string const& client = std::string()) {
    out.inputs[layout.input(InputKey{kind, name, client})] = value;
  };
  if (auto it = tree.find("config"); it != tree.end()) put(InputKind::config, "", *it);
  if (auto it = tree.find("status"); it != tree.end()) put(InputKind::status, "", *it);
  if (auto topology = tree.find("topology"); topology != tree.end()) {
    for (auto [field, kind] : {std::pair{"host", InputKind::host}, std::pair{"edge", InputKind::edge},
                               std::pair{"hostsByHostname", InputKind::hostsByHostname}}) {
      auto records = topology->find(field);
      if (records == topology->end()) continue;
      for (auto r = records->begin(); r != records->end(); ++r) put(kind, r.key(), *r);
    }
  }
  if (auto dirs = tree.find("dirs"); dirs != tree.end()) {
    for (auto [field, kind] : {std::pair{"portVlanConfig", InputKind::portVlanConfig},
                               std::pair{"dynVtepConfig", InputKind::dynVtepConfig},
                               std::pair{"dynVtepStatus", InputKind::dynVtepStatus}}) {
      auto children = dirs->find(field);
      if (children == dirs->end()) continue;
      for (auto c = children->begin(); c != children->end(); ++c) {
        Json value = *c;
        auto entity = value.find("entity");
        if (kind != InputKind::dynVtepStatus && entity != value.end() && entity->is_object()) {
          // The contents go to the output hashes, where the service finds
          // them at its start as the records of an earlier life.
          Json pvc, vtep;
          if (kind == InputKind::portVlanConfig) {
            pvc = *entity;
          } else {
            vtep = Json::object();
            Json const vteps = entity->value("vtepConfig", Json::object());
            for (auto v = vteps.begin(); v != vteps.end(); ++v) {
              vtep[v.key()] = v->value("vlanToVniMap", Json::object());
            }
          }
          Hashes hashes = layout.switchHashes(c.key(), pvc, vtep);
          for (auto& [key, fields] : hashes) {
            auto& into = out.leftovers[key];
            into.insert(fields.begin(), fields.end());
          }
          *entity = Json::object();
        }
        put(kind, c.key(), value);
      }
    }
  }
  if (auto clients = tree.find("clients"); clients != tree.end()) {
    for (auto c = clients->begin(); c != clients->end(); ++c) {
      Json value = *c;
      auto entity = value.find("entity");
      if (entity != value.end() && entity->is_object()) {
        for (auto [field, kind] :
             {std::pair{"resourcesForHostname", InputKind::hostnameRequest},
              std::pair{"resourcesForSwitchport", InputKind::switchportRequest}}) {
          auto requests = entity->find(field);
          if (requests == entity->end()) continue;
          for (auto r = requests->begin(); r != requests->end(); ++r) put(kind, r.key(), *r, c.key());
        }
        *entity = Json::object();
      }
      put(InputKind::client, c.key(), value);
    }
  }
  return out;
}

YAML::Node yamlOf(Json const& value) {
  if (value.is_object()) {
    YAML::Node out(YAML::NodeType::Map);
    // force_insert: no lookup per key, the keys being distinct already.
    for (auto it = value.begin(); it != value.end(); ++it) out.force_insert(it.key(), yamlOf(*it));
    return out;
  }
  if (value.is_array()) {
    YAML::Node out(YAML::NodeType::Sequence);
    for (Json const& item : value) out.push_back(yamlOf(item));
    return out;
  }
  if (value.is_null()) return YAML::Node(YAML::NodeType::Null);
  // Tagged as a parser tags them: a text as quoted, a number or a boolean
  // as plain, so that the grammar reads them as it reads a file.
  YAML::Node out(value.is_string() ? value.get<std::string>() : value.dump());
  out.SetTag(value.is_string() ? "!" : "?");
  return out;
}

Json jsonOf(YAML::Node const& node) {
  if (node.IsMap()) {
    Json out = Json::object();
    for (auto it = node.begin(); it != node.end(); ++it) {
      YAML::Node const key = it->first;
      out[key.Scalar()] = jsonOf(it->second);
    }
    return out;
  }
  if (node.IsSequence()) {
    Json out = Json::array();
    for (auto it = node.begin(); it != node.end(); ++it) out.push_back(jsonOf(*it));
    return out;
  }
  if (!node.IsScalar()) return nullptr;
  std::string const& text = node.Scalar();
  if (node.Tag() != "?") return text;  // quoted
  if (text == "true" || text == "True" || text == "TRUE") return true;
  if (text == "false" || text == "False" || text == "FALSE") return false;
  if (auto n = parseU32(text); n && std::to_string(*n) == text) return *n;
  return text;
}

Json difference(Json const& from, Json const& to, Shape const* shape) {
  if (to.is_null()) return nullptr;
  if (!from.is_object() || !to.is_object()) return to;
  auto child = [&](std::string const& key) -> Shape const* {
    if (!shape) return nullptr;
    switch (shape->kind) {
      case Shape::Kind::record:
        return shape->field(key);
      case Shape::Kind::either:
        return shape->value ? shape->value->field(key) : nullptr;
      case Shape::Kind::collection:
        return shape->value.get();
      default:
        return nullptr;
    }
  };
  Json out = Json::object();
  for (auto it = to.begin(); it != to.end(); ++it) {
    auto old = from.find(it.key());
    if (old == from.end()) {
      out[it.key()] = *it;
    } else if (*old != *it) {
      out[it.key()] = difference(*old, *it, child(it.key()));
    }
  }
  for (auto it = from.begin(); it != from.end(); ++it) {
    if (to.contains(it.key())) continue;
    Shape const* s = child(it.key());
    if (s && s->kind == Shape::Kind::collection && it->is_object()) {
      if (it->empty()) continue;
      Json removals = Json::object();
      for (auto e = it->begin(); e != it->end(); ++e) removals[e.key()] = nullptr;
      out[it.key()] = std::move(removals);
    } else {
      out[it.key()] = nullptr;
    }
  }
  return out;
}

}  // namespace vnagent::serve
