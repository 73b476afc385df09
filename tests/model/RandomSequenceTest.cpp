// Random sequences of inputs over a small fabric, each step checked against
// the reference model and against what the inputs imply.
//
//   leaf1..leaf3  00:00:00:00:01:0N  swp1..swp4; leaf2 may bond swp3+swp4 as po1
//   web-1..web-3  00:00:00:00:0a:0N  eth0, eth1
//   clients c1..c3, static maps for the domains t|n and u|m
//
// A sequence builds part of the fabric, starts the agent, then adds and
// removes inputs of every kind at random, restarts and stops the agent,
// turns `enabled` off and on, and takes one of a switch's four facts away and
// back. After every step (docs/testing.md):
//   - the switch records equal the model's (Agreement.h), conflicts included;
//   - every referrer set of the global requests holds exactly the clients
//     that ask;
//   - after a restart or a switch's reconnect, the records equal those of a
//     fresh agent built after the same inputs;
// and at the end, removing every input leaves empty outputs and, once the
// agent is gone, no live object of any counted type.
//
// A failure prints its seed and the sequence shrunk to a scenario file.
// VNAGENT_RANDOM_SEQUENCES and VNAGENT_RANDOM_SEED choose how many sequences
// run and from which seed.
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "model/RandomSequence.h"

namespace {

using namespace vnagent::sequence;

// Under the sanitizers a sequence takes about ten times as long.
#if defined(__SANITIZE_ADDRESS__)
#define VNAGENT_UNDER_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VNAGENT_UNDER_ASAN 1
#endif
#endif
#ifdef VNAGENT_UNDER_ASAN
constexpr unsigned long kSequences = 1000;
#else
constexpr unsigned long kSequences = 10000;
#endif

unsigned long envOr(char const* name, unsigned long fallback) {
  char const* value = std::getenv(name);
  return value && *value ? std::strtoul(value, nullptr, 10) : fallback;
}

// The shortest sequence found that still fails the same way: drops one step
// at a time while the failure stays.
std::vector<Step> shrink(std::vector<Step> steps, Failure const& failure) {
  steps.resize(std::min(steps.size(), failure.step + 1));
  for (bool progress = true; progress;) {
    progress = false;
    for (std::size_t i = steps.size(); i-- > 0;) {
      std::vector<Step> fewer = steps;
      fewer.erase(fewer.begin() + long(i));
      auto again = run(fewer);
      if (again && again->kind == failure.kind) {
        steps = std::move(fewer);
        progress = true;
      }
    }
  }
  return steps;
}

// A scenario file for tests/scenarios/: the steps, every input removed, and
// the check that failed.
std::string scenario(unsigned long seed, std::vector<Step> steps) {
  std::optional<Failure> failure = run(steps);
  std::string out = "# " + (failure ? failure->what : std::string("passes")) + "\n";
  for (std::size_t at = 0; (at = out.find('\n', at)) < out.size() - 1; ++at) out.insert(at + 1, "# ");
  out += "name: random sequence " + std::to_string(seed) + "\nsteps:\n";
  char const* const kinds[] = {"set", "start", "stop", "restart"};
  for (std::size_t i = 0; i < steps.size() && (!failure || i <= failure->step); ++i) {
    out += "  - " + std::string(kinds[int(steps[i].kind)]) + ": " +
           (steps[i].kind == Step::Kind::set ? steps[i].patch.dump() : "agent") + "\n";
  }
  if (failure && failure->step >= steps.size()) {
    Fabric fabric;
    for (Step const& s : steps) s.kind == Step::Kind::set ? (void)fabric.apply(yaml(s.patch)) : (void)0;
    for (Json const& patch : removeAll(fabric.inputs())) out += "  - set: " + patch.dump() + "\n";
  }
  if (failure && !failure->section.empty()) {
    out += "  - expect: " + Json{{failure->section, failure->expected}}.dump() + "\n";
  }
  return out;
}

// Disabled until the disagreements kept in tests/model/findings/ are explained or
// fixed: run it with --gtest_also_run_disabled_tests (docs/testing.md).
TEST(RandomSequence, DISABLED_EveryStepAgreesWithTheModelAndTheEndLeavesNothing) {
  unsigned long const count = envOr("VNAGENT_RANDOM_SEQUENCES", kSequences);
  unsigned long const first = envOr("VNAGENT_RANDOM_SEED", 1);
  auto const began = std::chrono::steady_clock::now();
  std::size_t steps = 0;
  for (unsigned long seed = first; seed < first + count; ++seed) {
    Generator gen(seed);
    std::vector<Step> sequence;
    auto failure = run(sequence, &gen, 32);
    steps += sequence.size();
    if (failure) {
      std::vector<Step> const shrunk = shrink(sequence, *failure);
      FAIL() << "seed " << seed << " (VNAGENT_RANDOM_SEED=" << seed << " VNAGENT_RANDOM_SEQUENCES=1)\n"
             << failure->what << "\nshrunk to " << shrunk.size() << " steps:\n" << scenario(seed, shrunk);
    }
  }
  auto const ms = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - began);
  RecordProperty("sequences", int(count));
  std::cout << count << " sequences, " << steps << " steps, from seed " << first << ", in " << ms.count() << " ms\n";
}

}  // namespace
