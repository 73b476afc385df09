#pragma once

#include <string_view>

namespace Vek {

// The library version, "major.minor.patch".
std::string_view versionString() noexcept;

}  // namespace Vek
