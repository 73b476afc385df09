#include "reactive/Assert.h"

#include <cstdio>
#include <cstdlib>

namespace Vek {

void assertionFailed(char const* expression, char const* file, int line, char const* function) {
  std::fprintf(stderr, "%s:%d: %s: Assertion `%s' failed.\n", file, line, function, expression);
  std::fflush(stderr);
  std::abort();
}

}  // namespace Vek
