#include "tools/vnagent/Shape.h"

#include <algorithm>
#include <charconv>
#include <limits>

namespace vnagent {

namespace {

std::string_view trimmed(std::string_view text) {
  auto const blank = [](char c) { return c == ' ' || c == '\t'; };
  while (!text.empty() && blank(text.front())) text.remove_prefix(1);
  while (!text.empty() && blank(text.back())) text.remove_suffix(1);
  return text;
}

std::shared_ptr<Shape> make(Shape::Kind kind, bool nullable) {
  auto shape = std::make_shared<Shape>();
  shape->kind = kind;
  shape->nullable = nullable;
  return shape;
}

std::string describeScalar(ScalarKind kind, std::vector<std::string> const& words) {
  switch (kind) {
    case ScalarKind::text:
      return "a text";
    case ScalarKind::u32:
      return "a whole number from 0 to 4294967295";
    case ScalarKind::boolean:
      return "true or false";
    case ScalarKind::present:
      return "true";
    case ScalarKind::range:
      return "a range '<min>-<max>'";
    case ScalarKind::word: {
      std::string text = words.size() == 1 ? "'" : "one of '";
      for (std::size_t i = 0; i < words.size(); ++i) {
        if (i) text += "', '";
        text += words[i];
      }
      return text + "'";
    }
  }
  return "a value";
}

}  // namespace

Shape const* Shape::field(std::string_view name) const {
  for (Field const& f : fields) {
    if (f.name == name) return f.shape.get();
  }
  return nullptr;
}

std::string Shape::describe() const {
  std::string text;
  switch (kind) {
    case Kind::record:
      text = "a mapping";
      break;
    case Kind::collection:
      text = "a mapping keyed by " + describeKey(key);
      break;
    case Kind::set:
      text = "a list of " + describeKeys(key);
      break;
    case Kind::list:
      text = "a list";
      break;
    case Kind::scalar:
      text = describeScalar(scalarKind, words);
      break;
    case Kind::either:
      text = describeScalar(scalarKind, words) + " or a mapping";
      break;
  }
  if (nullable) text += " or null";
  return text;
}

std::string describeKey(KeyKind key) {
  switch (key) {
    case KeyKind::text:
      return "a name";
    case KeyKind::u32:
      return "a whole number from 0 to 4294967295";
    case KeyKind::pair:
      return "'<first>|<second>'";
    case KeyKind::range:
      return "a range '<min>-<max>'";
    case KeyKind::portVlan:
      return "'<port>|<vlan>'";
  }
  return "a key";
}

std::string describeKeys(KeyKind key) {
  switch (key) {
    case KeyKind::text:
      return "names";
    case KeyKind::u32:
      return "whole numbers from 0 to 4294967295";
    case KeyKind::pair:
      return "'<first>|<second>' pairs";
    case KeyKind::range:
      return "ranges '<min>-<max>'";
    case KeyKind::portVlan:
      return "'<port>|<vlan>' pairs";
  }
  return "keys";
}

ShapePtr record(std::vector<Field> fields, bool nullable) {
  auto shape = make(Shape::Kind::record, nullable);
  shape->fields = std::move(fields);
  return shape;
}

ShapePtr collection(KeyKind key, ShapePtr value, bool nullable) {
  auto shape = make(Shape::Kind::collection, nullable);
  shape->key = key;
  shape->value = std::move(value);
  return shape;
}

ShapePtr set(KeyKind key, bool nullable) {
  auto shape = make(Shape::Kind::set, nullable);
  shape->key = key;
  return shape;
}

ShapePtr list(ShapePtr item, bool nullable) {
  auto shape = make(Shape::Kind::list, nullable);
  shape->value = std::move(item);
  return shape;
}

ShapePtr scalar(ScalarKind kind, bool nullable) {
  auto shape = make(Shape::Kind::scalar, nullable);
  shape->scalarKind = kind;
  return shape;
}

ShapePtr word(std::vector<std::string> words, bool nullable) {
  auto shape = make(Shape::Kind::scalar, nullable);
  shape->scalarKind = ScalarKind::word;
  shape->words = std::move(words);
  return shape;
}

ShapePtr either(ShapePtr scalarShape, ShapePtr mappingShape, bool nullable) {
  auto shape = make(Shape::Kind::either, nullable);
  shape->scalarKind = scalarShape->scalarKind;
  shape->words = scalarShape->words;
  shape->value = std::move(mappingShape);
  return shape;
}

std::optional<U32> parseU32(std::string_view text) {
  text = trimmed(text);
  if (text.empty()) return std::nullopt;
  for (char c : text) {
    if (c < '0' || c > '9') return std::nullopt;
  }
  U64 value = 0;
  auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (ec != std::errc() || end != text.data() + text.size()) return std::nullopt;
  if (value > std::numeric_limits<U32>::max()) return std::nullopt;
  return static_cast<U32>(value);
}

std::optional<U32Range> parseRange(std::string_view text) {
  std::size_t const dash = text.find('-');
  if (dash == std::string_view::npos) {
    auto n = parseU32(text);
    if (!n) return std::nullopt;
    return U32Range{*n, *n};
  }
  auto min = parseU32(text.substr(0, dash));
  auto max = parseU32(text.substr(dash + 1));
  if (!min || !max) return std::nullopt;
  return U32Range{*min, *max};
}

std::optional<TextPair> splitPair(std::string_view text) {
  std::size_t const bar = text.find('|');
  if (bar == std::string_view::npos) return std::nullopt;
  return TextPair{std::string(text.substr(0, bar)), std::string(text.substr(bar + 1))};
}

std::optional<PortVlan> parsePortVlan(std::string_view text) {
  std::size_t const bar = text.rfind('|');
  if (bar == std::string_view::npos) return std::nullopt;
  auto vlan = parseU32(text.substr(bar + 1));
  if (!vlan) return std::nullopt;
  return PortVlan{std::string(text.substr(0, bar)), *vlan};
}

bool keyValid(KeyKind key, std::string_view text) {
  switch (key) {
    case KeyKind::text:
      return true;
    case KeyKind::u32:
      return parseU32(text).has_value();
    case KeyKind::pair:
      return splitPair(text).has_value();
    case KeyKind::range:
      return parseRange(text).has_value();
    case KeyKind::portVlan:
      return parsePortVlan(text).has_value();
  }
  return false;
}

std::string canonicalKey(KeyKind key, std::string_view text) {
  switch (key) {
    case KeyKind::u32:
      if (auto n = parseU32(text)) return std::to_string(*n);
      break;
    case KeyKind::range:
      if (auto r = parseRange(text)) return std::to_string(r->min) + "-" + std::to_string(r->max);
      break;
    case KeyKind::portVlan:
      if (auto pv = parsePortVlan(text)) return pv->port + "|" + std::to_string(pv->vlan);
      break;
    case KeyKind::text:
    case KeyKind::pair:
      break;
  }
  return std::string(text);
}

bool keyLess(std::string const& a, std::string const& b) {
  auto const number = [](std::string const& s) {
    return !s.empty() && (s == "0" || s[0] != '0') &&
           std::all_of(s.begin(), s.end(), [](char c) { return c >= '0' && c <= '9'; });
  };
  bool const na = number(a);
  bool const nb = number(b);
  if (na != nb) return na;
  if (na && a.size() != b.size()) return a.size() < b.size();
  return a < b;
}

std::string pathText(std::vector<std::string> const& path) {
  std::string text;
  for (std::string const& key : path) {
    if (!text.empty()) text += '/';
    if (!key.empty() && key.find_first_of("/ \t\"") == std::string::npos) {
      text += key;
      continue;
    }
    text += '"';
    for (char c : key) {
      if (c == '"' || c == '\\') text += '\\';
      text += c;
    }
    text += '"';
  }
  return text;
}

}  // namespace vnagent
