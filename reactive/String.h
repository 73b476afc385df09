// Immutable shared text: Vek::String, and Vek::Name for keys that name an
// entity.
//
// Both hold a counted reference to one shared representation; copying a
// string copies the reference, never the text. The empty string is the null
// reference, so a value read from an absent entry is simply empty. A String
// and a Name convert into each other by copying the reference, and compare
// with each other by their text.
//
//   Vek::String s("aa:bb");
//   Vek::Name n = s;            // same representation, no copy of the text
//   assert(n == s && Vek::String() == Vek::String(""));
#pragma once

#include <cstddef>
#include <iosfwd>
#include <string>
#include <string_view>

#include "reactive/PtrInterface.h"

namespace Vek {

namespace detail {

class StringRep final : public PtrInterface {
 public:
  explicit StringRep(std::string_view text) : text_(text) {}
  std::string const& text() const { return text_; }
  // Computed on first use: most texts (VLAN lists, messages) are never keys.
  U32 hash() const {
    if (hash_ == 0) hash_ = computeHash();
    return hash_;
  }

 private:
  U32 computeHash() const;

  std::string text_;
  mutable U32 hash_ = 0;
};

// Common part of String and Name: everything but the type.
class TextRef {
 public:
  TextRef() = default;
  TextRef(char const* text, std::size_t length) { assign(std::string_view(text, length)); }
  TextRef(char const* text) { assign(text ? std::string_view(text) : std::string_view()); }
  TextRef(std::string const& text) { assign(text); }
  TextRef(std::string_view text) { assign(text); }

  std::string stdString() const { return rep_ ? rep_->text() : std::string(); }
  std::string_view view() const {
    return rep_ ? std::string_view(rep_->text()) : std::string_view();
  }
  char const* c_str() const { return rep_ ? rep_->text().c_str() : ""; }
  bool empty() const { return !rep_; }
  std::size_t size() const { return rep_ ? rep_->text().size() : 0; }
  // Hash of the text, computed once per representation.
  U32 hash() const { return rep_ ? rep_->hash() : 0; }
  StringRep const* rep() const { return rep_.ptr(); }

  friend bool operator==(TextRef const& a, TextRef const& b) {
    if (a.rep_ == b.rep_) return true;
    if (!a.rep_ || !b.rep_) return false;
    return a.rep_->text() == b.rep_->text();
  }
  friend bool operator<(TextRef const& a, TextRef const& b) { return a.view() < b.view(); }

 protected:
  explicit TextRef(Ptr<StringRep const> rep) : rep_(std::move(rep)) {}

 private:
  void assign(std::string_view text);

  Ptr<StringRep const> rep_;
};

std::ostream& operator<<(std::ostream& os, TextRef const& t);

}  // namespace detail

class Name;

class String : public detail::TextRef {
 public:
  using TextRef::TextRef;
  String() = default;
  String(Name const& name);  // NOLINT: implicit, shares the representation

  String operator+(String const& other) const;
  String& operator+=(String const& other);
};

class Name : public detail::TextRef {
 public:
  using TextRef::TextRef;
  Name() = default;
  Name(String const& s) : TextRef(s) {}  // NOLINT: implicit, shares the representation
};

inline String::String(Name const& name) : TextRef(name) {}

}  // namespace Vek

template <>
struct std::hash<Vek::String> {
  std::size_t operator()(Vek::String const& s) const noexcept { return s.hash(); }
};
template <>
struct std::hash<Vek::Name> {
  std::size_t operator()(Vek::Name const& s) const noexcept { return s.hash(); }
};
