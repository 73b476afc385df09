// The VLAN list of a port is read, changed by one VLAN and written back on
// every change; these measure the three steps on the two extreme shapes.
#include <benchmark/benchmark.h>

#include <string>

#include "reactive/VlanIdSet.h"

namespace {

Vek::String denseText() { return Vek::String("1-4094"); }

// Every other VLAN: the most items a list of single VLANs can have.
Vek::String sparseText() {
  std::string text;
  for (U32 id = 1; id <= 4093; id += 2) {
    if (!text.empty()) text.push_back(',');
    text.append(std::to_string(id));
  }
  return Vek::String(text);
}

Vek::Ptr<LumoUtils::VlanIdSet> parsed(Vek::String const& text) {
  Vek::Ptr<LumoUtils::VlanIdSet> set = LumoUtils::VlanIdSetIs();
  LumoUtils::computeVlanSet(set, text);
  return set;
}

void parseOnly(benchmark::State& state, Vek::String const& text) {
  for (auto _ : state) {
    Vek::Ptr<LumoUtils::VlanIdSet> set = parsed(text);
    benchmark::DoNotOptimize(set.ptr());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(text.size()));
}

void printOnly(benchmark::State& state, Vek::String const& text) {
  Vek::Ptr<LumoUtils::VlanIdSet> const set = parsed(text);
  for (auto _ : state) {
    Vek::String out = set->multiRangeString();
    benchmark::DoNotOptimize(out.rep());
  }
}

// Read, toggle VLAN 2 (in a dense list a removal splits the run, in a sparse
// one an addition joins two items), write.
void readChangeWrite(benchmark::State& state, Vek::String const& start) {
  Vek::String text = start;
  for (auto _ : state) {
    Vek::Ptr<LumoUtils::VlanIdSet> set = parsed(text);
    if (set->vlan(2)) {
      set->doRemove(2);
    } else {
      set->doAdd(2);
    }
    text = set->multiRangeString();
    benchmark::DoNotOptimize(text.rep());
  }
}

void BM_VlanIdSetParseDense(benchmark::State& s) { parseOnly(s, denseText()); }
void BM_VlanIdSetParseSparse(benchmark::State& s) { parseOnly(s, sparseText()); }
void BM_VlanIdSetPrintDense(benchmark::State& s) { printOnly(s, denseText()); }
void BM_VlanIdSetPrintSparse(benchmark::State& s) { printOnly(s, sparseText()); }
void BM_VlanIdSetReadChangeWriteDense(benchmark::State& s) { readChangeWrite(s, denseText()); }
void BM_VlanIdSetReadChangeWriteSparse(benchmark::State& s) { readChangeWrite(s, sparseText()); }

BENCHMARK(BM_VlanIdSetParseDense);
BENCHMARK(BM_VlanIdSetParseSparse);
BENCHMARK(BM_VlanIdSetPrintDense);
BENCHMARK(BM_VlanIdSetPrintSparse);
BENCHMARK(BM_VlanIdSetReadChangeWriteDense);
BENCHMARK(BM_VlanIdSetReadChangeWriteSparse);

}  // namespace
