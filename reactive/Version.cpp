#include "reactive/Version.h"

namespace Vek {

std::string_view versionString() noexcept { return "0.1.0"; }

}  // namespace Vek
