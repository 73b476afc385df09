// The workloads W1-W6 over one benchmark fabric, each reported as median
// and p99 time, allocations and outputs written per event, the process's
// memory after it, and the ratio of the reference model's full recompute of
// the same fabric (measured in the same run) to the event's median.
#pragma once

#include <cstdint>

#include "bench/fabric/Generator.h"

namespace vnagent::fabric {

// Calls of operator new and bytes held, as the benchmark binary counts them.
struct Heap {
  std::uint64_t allocations = 0;
  std::int64_t bytes = 0;
};
Heap heapNow();

struct Options {
  // W4 on 48 ports x 4,094 VLANs, dense and sparse: two more fabrics of one
  // leaf, built for the purpose.
  bool denseReconnect = true;
  // How often the model's recompute is timed.
  int recomputeRuns = 3;
};

Json runWorkloads(Shape const& shape, Options const& options);

}  // namespace vnagent::fabric
