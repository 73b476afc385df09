// The text of the exception that a call raises, for the tests of the
// system's own texts.
#pragma once

#include <string>

namespace TestSupport {

// What `run` raised as an E, or "no exception".
template <class E, class F>
std::string raised(F run) {
  try {
    run();
  } catch (E const& e) {
    return e.what();
  }
  return "no exception";
}

}  // namespace TestSupport
