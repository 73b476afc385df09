// The two exceptions of the framework and the texts of values in them.
//
// The logic raises them and never catches them: a value out of range
// (RangeException) and a keyed machine re-created with other constructor
// parameters (NameInUseException). A host process catches them where it
// drives a change; the records stay as the handlers left them.
#pragma once

#include <stdexcept>
#include <string>
#include <typeinfo>

#include "reactive/String.h"

namespace Vek {

class Exception : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class RangeException : public Exception {
 public:
  using Exception::Exception;
};

class NameInUseException : public Exception {
 public:
  using Exception::Exception;
};

[[noreturn]] void throwRangeException(char const* text);
[[noreturn]] void throwRangeException(std::string const& text);
[[noreturn]] void throwNameInUseException(String text);

class Entity;

// The text of a value in an exception message.
String valueToStrep(String value);
// The text of an object: "<type>(<name>)" for an entity, "null" for null.
String valueToStrepOfRawPtr(Entity const* entity, std::type_info const& typeInfo);

// Readable name of a C++ type ("VirtualNetwork::Config").
std::string typeName(std::type_info const& typeInfo);

}  // namespace Vek
