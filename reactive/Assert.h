// Assertions of the logic: they end the process in every build.
//
// The agent asserts only where a state can mean nothing but a fault of the
// program (a flag out of step with its directory). The message has the
// usual form, so that a host process can tell which assertion it was:
//   "<file>:<line>: <function>: Assertion `<expression>' failed."
#pragma once

namespace Vek {

[[noreturn]] void assertionFailed(char const* expression, char const* file, int line,
                                  char const* function);

}  // namespace Vek

#define VEK_ASSERT(expression) \
  ((expression) ? void(0)      \
                : ::Vek::assertionFailed(#expression, __FILE__, __LINE__, __PRETTY_FUNCTION__))
