#include "tools/vnagent/Compare.h"

#include <algorithm>
#include <set>

namespace vnagent {

namespace {

constexpr std::size_t kMaxRender = 120;

std::string cut(std::string text) {
  if (text.size() > kMaxRender) text = text.substr(0, kMaxRender - 3) + "...";
  return text;
}

using KeySet = std::set<std::string, KeyOrder>;

std::string joined(KeySet const& keys) {
  std::string text;
  for (std::string const& k : keys) text += (text.empty() ? "" : ", ") + k;
  return text;
}

std::string renderSet(KeySet const& keys) { return "[" + joined(keys) + "]"; }

std::string renderYamlInner(YAML::Node const& node) {
  switch (node.Type()) {
    case YAML::NodeType::Undefined:
    case YAML::NodeType::Null:
      return "null";
    case YAML::NodeType::Scalar:
      return node.Tag() == "!" ? "'" + node.Scalar() + "'" : node.Scalar();
    case YAML::NodeType::Sequence: {
      std::string text = "[";
      for (std::size_t i = 0; i < node.size(); ++i) {
        text += (i ? ", " : "") + renderYamlInner(node[i]);
      }
      return text + "]";
    }
    case YAML::NodeType::Map: {
      std::string text = "{";
      bool first = true;
      for (auto it = node.begin(); it != node.end(); ++it) {
        text += (first ? "" : ", ") + it->first.Scalar() + ": " + renderYamlInner(it->second);
        first = false;
      }
      return text + "}";
    }
  }
  return "?";
}

std::string renderJsonInner(Json const& value) {
  if (value.is_null()) return "null";
  if (value.is_string()) return "'" + value.get<std::string>() + "'";
  if (value.is_boolean()) return value.get<bool>() ? "true" : "false";
  if (value.is_number()) return value.dump();
  if (value.is_array()) {
    std::string text = "[";
    for (std::size_t i = 0; i < value.size(); ++i) {
      text += (i ? ", " : "") + renderJsonInner(value[i]);
    }
    return text + "]";
  }
  std::string text = "{";
  bool first = true;
  for (auto it = value.begin(); it != value.end(); ++it) {
    text += (first ? "" : ", ") + it.key() + ": " + renderJsonInner(it.value());
    first = false;
  }
  return text + "}";
}

// The text of a present scalar, "" for null.
std::string actualText(Json const& value) {
  if (value.is_null()) return "";
  if (value.is_string()) return value.get<std::string>();
  if (value.is_boolean()) return value.get<bool>() ? "true" : "false";
  if (value.is_number()) return value.dump();
  return value.dump();
}

// The canonical text of an expected scalar of `shape`.
std::string expectedText(YAML::Node const& node, Shape const& shape) {
  std::string const& text = node.Scalar();
  switch (shape.scalarKind) {
    case ScalarKind::u32:
      return canonicalKey(KeyKind::u32, text);
    case ScalarKind::range:
      return canonicalKey(KeyKind::range, text);
    case ScalarKind::boolean:
    case ScalarKind::present:
      return (text == "true" || text == "True" || text == "TRUE") ? "true" : "false";
    case ScalarKind::text:
    case ScalarKind::word:
      break;
  }
  return text;
}

bool isEmpty(Json const& value) {
  if (value.is_null()) return true;
  if (value.is_string()) return value.get<std::string>().empty();
  if (value.is_boolean()) return !value.get<bool>();
  if (value.is_array()) return value.empty();
  if (value.is_object()) {
    return std::all_of(value.begin(), value.end(), [](Json const& v) { return isEmpty(v); });
  }
  return false;
}

std::string emptyText(Shape const& shape) {
  if (shape.kind == Shape::Kind::scalar && shape.scalarKind == ScalarKind::boolean) return "false";
  return "(none)";
}

std::string renderActual(Json const& value, Shape const& shape) {
  if (isEmpty(value)) return emptyText(shape);
  if (shape.kind == Shape::Kind::scalar && shape.scalarKind == ScalarKind::text) {
    return cut("'" + actualText(value) + "'");
  }
  return cut(renderJsonInner(value));
}

std::string renderExpected(YAML::Node const& node, Shape const& shape) {
  if (!node.IsDefined() || node.IsNull()) return emptyText(shape);
  if (node.IsScalar()) {
    if (shape.scalarKind == ScalarKind::text) return cut("'" + node.Scalar() + "'");
    return expectedText(node, shape);
  }
  return cut(renderYamlInner(node));
}

// The key and value nodes of `name` in a mapping; both undefined if absent.
std::pair<YAML::Node, YAML::Node> entry(YAML::Node const& map, std::string const& name) {
  for (auto it = map.begin(); it != map.end(); ++it) {
    if (it->first.Scalar() == name) return {it->first, it->second};
  }
  return {YAML::Node(YAML::NodeType::Undefined), YAML::Node(YAML::NodeType::Undefined)};
}

class Comparer {
 public:
  explicit Comparer(Match mode) : mode_(mode) {}

  std::optional<Difference> value(YAML::Node const& e, Json const& a, Shape const& shape,
                                  YAML::Mark const& mark) {
    if (!e.IsDefined() || e.IsNull()) {
      if (isEmpty(a)) return std::nullopt;
      return differ(emptyText(shape), renderActual(a, shape), mark);
    }
    YAML::Mark const here = e.Mark();
    switch (shape.kind) {
      case Shape::Kind::scalar:
      case Shape::Kind::either:
        if (expectedText(e, shape) == actualText(a)) return std::nullopt;
        return differ(renderExpected(e, shape), renderActual(a, shape), here);
      case Shape::Kind::set:
        return keySet(e, a, shape, here);
      case Shape::Kind::record:
        return recordValue(e, a, shape, here);
      case Shape::Kind::collection:
        return collectionValue(e, a, shape, here);
      case Shape::Kind::list:
        break;
    }
    return std::nullopt;
  }

 private:
  std::optional<Difference> differ(std::string expected, std::string found,
                                   YAML::Mark const& mark) const {
    return Difference{path_, std::move(expected), std::move(found), mark};
  }

  std::optional<Difference> recordValue(YAML::Node const& e, Json const& a, Shape const& shape,
                                        YAML::Mark const& mark) {
    for (Field const& field : shape.fields) {
      auto [key, value] = entry(e, field.name);
      if (!key.IsDefined() && mode_ == Match::includes) continue;
      Json const& present = a.is_object() && a.contains(field.name) ? a[field.name] : null_;
      path_.push_back(field.name);
      auto difference =
          this->value(value, present, *field.shape, key.IsDefined() ? key.Mark() : mark);
      path_.pop_back();
      if (difference) return difference;
    }
    return std::nullopt;
  }

  std::optional<Difference> collectionValue(YAML::Node const& e, Json const& a, Shape const& shape,
                                            YAML::Mark const& mark) {
    KeySet listed;
    for (auto it = e.begin(); it != e.end(); ++it) {
      std::string const written = it->first.Scalar();
      std::string const key = canonicalKey(shape.key, written);
      listed.insert(key);
      bool const present = a.is_object() && a.contains(key);
      path_.push_back(written);
      std::optional<Difference> difference;
      if (it->second.IsNull()) {
        if (present)
          difference = differ("(absent)", renderActual(a[key], *shape.value), it->first.Mark());
      } else if (!present) {
        difference = differ(renderExpected(it->second, *shape.value), "(absent)", it->first.Mark());
      } else {
        difference = value(it->second, a[key], *shape.value, it->first.Mark());
      }
      path_.pop_back();
      if (difference) return difference;
    }
    if (mode_ == Match::includes && e.size() != 0) return std::nullopt;
    if (!a.is_object()) return std::nullopt;
    for (auto it = a.begin(); it != a.end(); ++it) {
      if (listed.count(it.key())) continue;
      path_.push_back(it.key());
      auto difference = differ("(absent)", renderActual(it.value(), *shape.value), mark);
      path_.pop_back();
      return difference;
    }
    return std::nullopt;
  }

  std::optional<Difference> keySet(YAML::Node const& e, Json const& a, Shape const& shape,
                                   YAML::Mark const& mark) {
    KeySet expected;
    for (std::size_t i = 0; i < e.size(); ++i)
      expected.insert(canonicalKey(shape.key, e[i].Scalar()));
    KeySet found;
    if (a.is_array()) {
      for (Json const& item : a) found.insert(canonicalKey(shape.key, actualText(item)));
    }
    KeySet missing;
    KeySet unexpected;
    std::set_difference(expected.begin(), expected.end(), found.begin(), found.end(),
                        std::inserter(missing, missing.end()), KeyOrder());
    std::set_difference(found.begin(), found.end(), expected.begin(), expected.end(),
                        std::inserter(unexpected, unexpected.end()), KeyOrder());
    bool const subset = mode_ == Match::includes && !expected.empty();
    if (missing.empty() && (unexpected.empty() || subset)) return std::nullopt;
    std::string note;
    if (!missing.empty()) note = "missing " + joined(missing);
    if (!unexpected.empty() && !subset) {
      note += (note.empty() ? "" : "; ") + std::string("unexpected ") + joined(unexpected);
    }
    return differ(cut(renderSet(expected)), cut(renderSet(found)) + " (" + note + ")", mark);
  }

  Match mode_;
  std::vector<std::string> path_;
  Json const null_;
};

}  // namespace

std::string Difference::text() const {
  std::string const where = path.empty() ? std::string() : pathText(path) + ": ";
  return where + "expected " + expected + ", found " + found;
}

std::optional<Difference> compare(YAML::Node const& expected, Json const& actual,
                                  Shape const& shape, Match mode, YAML::Mark const& mark) {
  return Comparer(mode).value(expected, actual, shape, mark);
}

std::string renderYaml(YAML::Node const& node) { return cut(renderYamlInner(node)); }

std::string renderJson(Json const& value) { return cut(renderJsonInner(value)); }

}  // namespace vnagent
