// The grammar of scenario files: what each mapping may hold and what each
// value must look like.
//
// A Shape describes one YAML node. The loader walks a file against the
// shapes of the input tree and of the check sections before anything runs,
// so that a typo or a value that a record cannot hold is reported with its
// line and column; the checker walks expected values through the same
// shapes, which tell it a record (fixed field names, empty fields may be left
// out) from a collection (data keys, every entry counts) and a set (a list
// whose order does not matter).
//
//   ShapePtr port = record({{"portGroup", scalar(ScalarKind::text, true)}});
//   ShapePtr host = record({{"hostname", scalar(ScalarKind::text)},
//                           {"port", collection(KeyKind::text, port)}});
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "reactive/Types.h"

namespace vnagent {

// How the key of a collection is written.
enum class KeyKind {
  text,      // any text: a name, a MAC address, a hostname
  u32,       // a VLAN id or a VNI, as a decimal number
  pair,      // "<first>|<second>": a client domain, a switch interface, a port
  range,     // "<min>-<max>" (or "<n>" for n-n)
  portVlan,  // "<port>|<vlan>", the VLAN a number
};

enum class ScalarKind {
  text,     // any scalar, read as text
  u32,      // a non-negative whole number up to 2^32-1
  boolean,  // true or false
  present,  // true: the key is a member (null removes it)
  range,    // "<min>-<max>" (or "<n>")
  word,     // one of a fixed list of words
};

struct Shape;
using ShapePtr = std::shared_ptr<Shape const>;

struct Field {
  std::string name;
  ShapePtr shape;
};

struct Shape {
  enum class Kind {
    record,      // a mapping with fixed field names
    collection,  // a mapping with data keys of one kind, values of one shape
    set,         // a list of keys of one kind, order not significant
    list,        // an ordered list of items of one shape
    scalar,
    either,  // a scalar, or a mapping (by what the node is)
  };

  Kind kind = Kind::scalar;
  bool nullable = false;  // null is allowed (in a patch: delete or reset)
  // record
  std::vector<Field> fields;
  // collection, set (keys), list (items), either (mapping alternative)
  KeyKind key = KeyKind::text;
  ShapePtr value;
  // scalar, either (scalar alternative)
  ScalarKind scalarKind = ScalarKind::text;
  std::vector<std::string> words;

  // The field of `name`, or null.
  Shape const* field(std::string_view name) const;
  // "a VLAN id (a whole number from 0 to 4294967295)" and the like.
  std::string describe() const;
};

ShapePtr record(std::vector<Field> fields, bool nullable = false);
ShapePtr collection(KeyKind key, ShapePtr value, bool nullable = false);
ShapePtr set(KeyKind key, bool nullable = false);
ShapePtr list(ShapePtr item, bool nullable = false);
ShapePtr scalar(ScalarKind kind, bool nullable = false);
ShapePtr word(std::vector<std::string> words, bool nullable = false);
// A scalar of `scalarShape`, or a mapping of `mappingShape`.
ShapePtr either(ShapePtr scalarShape, ShapePtr mappingShape, bool nullable = false);

// "a name", "a whole number from 0 to 4294967295"...; describeKeys gives
// the plural ("names").
std::string describeKey(KeyKind key);
std::string describeKeys(KeyKind key);

// --- Reading the texts of keys and values ----------------------------------

// A decimal number up to 2^32-1 (leading zeros allowed, no sign).
std::optional<U32> parseU32(std::string_view text);

struct U32Range {
  U32 min;
  U32 max;
};
// "<min>-<max>", or "<n>" for n-n; blanks around the numbers are allowed.
std::optional<U32Range> parseRange(std::string_view text);

struct TextPair {
  std::string first;
  std::string second;
};
// Split at the first '|' ("aa:bb|Ethernet1/1"); nullopt without one.
std::optional<TextPair> splitPair(std::string_view text);

struct PortVlan {
  std::string port;
  U32 vlan;
};
// "<port>|<vlan>", split at the last '|'.
std::optional<PortVlan> parsePortVlan(std::string_view text);

// Whether `text` is a valid key of kind `key`.
bool keyValid(KeyKind key, std::string_view text);
// The canonical text of a valid key: numbers without leading zeros, ranges
// as "<min>-<max>"; other keys as written.
std::string canonicalKey(KeyKind key, std::string_view text);

// The order in which reports list keys: numbers (decimal, without leading
// zeros) in numeric order before texts, texts in byte order.
bool keyLess(std::string const& a, std::string const& b);
struct KeyOrder {
  bool operator()(std::string const& a, std::string const& b) const { return keyLess(a, b); }
};

// A key path as reports print it: segments joined by '/', a segment that
// holds '/', a blank or a quote (or is empty) in double quotes:
// aa-bb-cc-dd-ee-01/portNativeVlan/"Ethernet1/1".
std::string pathText(std::vector<std::string> const& path);

}  // namespace vnagent
