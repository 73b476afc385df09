// vnagent_fabric: builds a benchmark fabric, runs the workloads over it and
// prints their figures.
//
//   vnagent_fabric --size L --json
#include <malloc.h>

#include <cstdlib>
#include <iostream>
#include <new>

#include <CLI/CLI.hpp>

#include "bench/fabric/Workloads.h"

namespace {

// Counted by every operator new of the process; the bytes by what malloc
// really hands out, so that a delete takes back what its new added.
std::uint64_t allocations = 0;
std::int64_t bytes = 0;

void* allocate(std::size_t size) {
  void* p = std::malloc(size ? size : 1);
  if (!p) throw std::bad_alloc();
  ++allocations;
  bytes += std::int64_t(malloc_usable_size(p));
  return p;
}

void release(void* p) noexcept {
  if (!p) return;
  bytes -= std::int64_t(malloc_usable_size(p));
  std::free(p);
}

}  // namespace

void* operator new(std::size_t size) { return allocate(size); }
void* operator new[](std::size_t size) { return allocate(size); }
void operator delete(void* p) noexcept { release(p); }
void operator delete[](void* p) noexcept { release(p); }
void operator delete(void* p, std::size_t) noexcept { release(p); }
void operator delete[](void* p, std::size_t) noexcept { release(p); }

namespace vnagent::fabric {
Heap heapNow() { return Heap{allocations, bytes}; }
}  // namespace vnagent::fabric

int main(int argc, char** argv) {
  CLI::App app{"Builds a benchmark fabric and runs the workloads W1-W6 over it"};
  std::string size = "S";
  bool json = false;
  bool noDense = false;
  int recompute = 3;
  app.add_option("--size", size, "S (10 leaves), M (50), L (200) or XL (500)")
      ->check(CLI::IsMember({"S", "M", "L", "XL"}));
  app.add_flag("--json", json, "print one JSON document (the default too)");
  app.add_flag("--no-dense", noDense, "leave out W4 on 48 ports x 4,094 VLANs");
  app.add_option("--recompute-runs", recompute, "how often the model's recompute is timed");
  CLI11_PARSE(app, argc, argv);
  (void)json;

  vnagent::fabric::Options options;
  options.denseReconnect = !noDense;
  options.recomputeRuns = recompute;
  try {
    std::cout << vnagent::fabric::runWorkloads(*vnagent::fabric::shapeNamed(size), options).dump(2)
              << "\n";
  } catch (std::exception const& e) {
    std::cerr << "vnagent_fabric: " << e.what() << "\n";
    return 1;
  }
  return 0;
}
