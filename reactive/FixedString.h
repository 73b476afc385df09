// Text usable as a template argument: the names of generated members.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace Vek {

template <std::size_t N>
struct FixedString {
  constexpr FixedString(char const (&text)[N]) { std::copy_n(text, N, value); }  // NOLINT
  constexpr std::string_view view() const { return std::string_view(value, N - 1); }
  constexpr char const* c_str() const { return value; }
  char value[N];
};

}  // namespace Vek
