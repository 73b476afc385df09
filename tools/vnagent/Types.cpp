#include "tools/vnagent/Types.h"

#include <algorithm>
#include <sstream>

namespace vnagent {

namespace {

Json paramsJson(std::vector<Vek::TypeParam> const& params) {
  Json out = Json::array();
  for (auto const& p : params) out.push_back({{"name", p.name}, {"type", p.type}});
  return out;
}

std::string paramsText(std::vector<Vek::TypeParam> const& params) {
  std::string text;
  for (auto const& p : params) {
    if (!text.empty()) text += ", ";
    text += p.name.empty() ? p.type : p.name + " " + p.type;
  }
  return text;
}

bool endsWith(std::string const& text, std::string const& tail) {
  return text.size() >= tail.size() && text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

}  // namespace

std::vector<Vek::TypeNode const*> typesNamed(std::string const& name) {
  std::vector<Vek::TypeNode const*> types = Vek::typeNodes();
  if (name.empty()) return types;
  std::erase_if(types, [&](Vek::TypeNode const* t) {
    return t->name != name && !endsWith(t->name, "::" + name);
  });
  return types;
}

Json typesJson(std::vector<Vek::TypeNode const*> const& types) {
  Json out = Json::array();
  for (Vek::TypeNode const* t : types) {
    Json attributes = Json::array();
    for (Vek::VekAttr const& a : t->attributes) {
      Json entry = {{"name", a.name},
                    {"id", a.id},
                    {"kind", Vek::attrFlagsText(a.flags)},
                    {"type", a.valueType},
                    {"key", a.keyType.empty() ? Json() : Json(a.keyType)}};
      if (!a.keyName.empty()) entry["keyName"] = a.keyName;
      if (!a.params.empty()) entry["parameters"] = paramsJson(a.params);
      attributes.push_back(std::move(entry));
    }
    out.push_back({{"name", t->name},
                   {"base", t->base ? Json(t->base->name) : Json()},
                   {"attributes", std::move(attributes)},
                   {"constructorParameters", paramsJson(t->constructorParameters)}});
  }
  return out;
}

std::string typesText(std::vector<Vek::TypeNode const*> const& types) {
  std::ostringstream out;
  for (Vek::TypeNode const* t : types) {
    if (t != types.front()) out << "\n";
    out << t->name;
    if (t->base) out << " : " << t->base->name;
    out << "\n  constructor(" << paramsText(t->constructorParameters) << ")\n";
    // Columns wide enough for this class's longest attribute and type.
    std::vector<std::pair<std::string, std::string>> rows;
    for (Vek::VekAttr const& a : t->attributes) {
      std::string name = a.name;
      if (!a.keyType.empty()) name += "[" + a.keyName + " " + a.keyType + "]";
      if (a.flags & Vek::attrHandler) name += "(" + paramsText(a.params) + ")";
      rows.emplace_back(std::move(name), a.valueType);
    }
    std::size_t nameWidth = 0, typeWidth = 0;
    for (auto const& [name, type] : rows) {
      nameWidth = std::max(nameWidth, name.size());
      typeWidth = std::max(typeWidth, type.size());
    }
    for (std::size_t i = 0; i < rows.size(); ++i) {
      Vek::VekAttr const& a = t->attributes[i];
      out << "  " << a.id << "  " << rows[i].first << std::string(nameWidth - rows[i].first.size() + 2, ' ')
          << rows[i].second << std::string(typeWidth - rows[i].second.size() + 2, ' ')
          << Vek::attrFlagsText(a.flags) << "\n";
    }
    out << "  " << t->entryCount() << " entries\n";
  }
  return out.str();
}

}  // namespace vnagent
