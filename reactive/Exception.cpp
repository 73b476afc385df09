#include "reactive/Exception.h"

#include <cxxabi.h>

#include <cstdlib>
#include <memory>

#include "reactive/Entity.h"

namespace Vek {

void throwRangeException(char const* text) { throw RangeException(text); }

void throwRangeException(std::string const& text) { throw RangeException(text); }

void throwNameInUseException(String text) { throw NameInUseException(text.stdString()); }

String valueToStrep(String value) { return value; }

std::string typeName(std::type_info const& typeInfo) {
  int status = 0;
  std::unique_ptr<char, void (*)(void*)> demangled(
      abi::__cxa_demangle(typeInfo.name(), nullptr, nullptr, &status), std::free);
  return status == 0 && demangled ? std::string(demangled.get()) : std::string(typeInfo.name());
}

String valueToStrepOfRawPtr(Entity const* entity, std::type_info const& typeInfo) {
  if (!entity) return String("null");
  return String(typeName(typeInfo) + "(" + entity->name().stdString() + ")");
}

}  // namespace Vek
