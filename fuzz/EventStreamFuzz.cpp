// Bytes decoded into agent inputs: the random suite's generator takes its
// choices from the bytes (four per choice), so every input kind, restarts,
// `enabled` and a switch's four facts are reachable, and each step is checked
// as in the random suite: the switch records equal the model's, the
// requests' referrers are those the inputs imply, a restart equals a fresh
// agent, and removing every input leaves nothing behind.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "model/RandomSequence.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  std::size_t at = 0;
  vnagent::sequence::Generator gen([&]() -> std::uint32_t {
    std::uint32_t value = 0;
    for (int i = 0; i < 4; ++i) value = value << 8 | (at < size ? data[at++] : 0u);
    return value;
  });
  // About one step per eight bytes, as a step takes two or three choices.
  int const steps = static_cast<int>(std::min<std::size_t>(size / 8, 60));
  std::vector<vnagent::sequence::Step> sequence;
  if (auto const failure = vnagent::sequence::run(sequence, &gen, steps)) {
    std::fprintf(stderr, "%s\n", failure->what.c_str());
    std::abort();
  }
  return 0;
}
