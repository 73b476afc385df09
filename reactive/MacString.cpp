#include "reactive/MacString.h"

#include <algorithm>
#include <string>

namespace {

Vek::String replaced(Vek::String const& text, char from, char to) {
  // Strings are immutable, so a text without `from` is returned as it is.
  if (text.view().find(from) == std::string_view::npos) return text;
  std::string copy = text.stdString();
  std::replace(copy.begin(), copy.end(), from, to);
  return Vek::String(copy);
}

}  // namespace

namespace VirtualNetwork::Agent {

Vek::String getDashMacString(Vek::String const& mac) { return replaced(mac, ':', '-'); }

Vek::String getColonMacString(Vek::String const& mac) { return replaced(mac, '-', ':'); }

}  // namespace VirtualNetwork::Agent
