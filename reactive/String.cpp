#include "reactive/String.h"

#include <ostream>

#include "reactive/Hash.h"

namespace Vek {
namespace detail {

U32 StringRep::computeHash() const {
  U32 const h = hashBytes(text_);
  return h != 0 ? h : 1;  // 0 marks "not computed yet"
}

void TextRef::assign(std::string_view text) {
  if (!text.empty()) rep_ = new StringRep(text);
}

std::ostream& operator<<(std::ostream& os, TextRef const& t) { return os << t.view(); }

}  // namespace detail

String String::operator+(String const& other) const {
  if (other.empty()) return *this;
  if (empty()) return other;
  return String(stdString() + other.stdString());
}

String& String::operator+=(String const& other) { return *this = *this + other; }

}  // namespace Vek
