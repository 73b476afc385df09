// Benchmarks of the schema records: building the element model of a large
// fabric, and the referrer sets that every shared record carries.
//
//   BM_BuildElements   10k NetworkElements with 48 PhysicalInterfaces each,
//                      in a NetworkElementCollection: time to build (the
//                      collection's teardown is not timed), and the heap it
//                      holds, from mallinfo2() around one build outside the
//                      timed loop (allocator overhead included):
//                      bytes_per_element  an element with no interface,
//                      bytes_per_interface  what one more interface costs,
//                      its name, its node in the element's collection and
//                      the collection's growth included.
//   BM_Referrers/...   1M distinct referrer strings added to, then removed
//                      from, one record; ns_per_op is one add or remove.
//                      The strings are made outside the timed region;
//                      bytes_per_referrer is the heap a full set holds,
//                      over the strings themselves.
//
//   build/bin/vnagent_bench --benchmark_filter='BM_BuildElements|BM_Referrers'
//
// Peak RSS (ru_maxrss) is reported as a counter; it is the process's peak,
// so read it from a run with only these benchmarks selected.

#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <cstdio>
#include <string>
#include <vector>

#include "VirtualNetworkAgent.h"

#if defined(__GLIBC__)
#include <malloc.h>
#endif

namespace {

constexpr int kElements = 10000;
constexpr int kInterfaces = 48;
constexpr int kReferrers = 1000000;

// Heap bytes in use, allocator overhead included; 0 where unknown.
double heapInUse() {
#if defined(__GLIBC__)
  return static_cast<double>(mallinfo2().uordblks);
#else
  return 0;
#endif
}

double peakRssBytes() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_maxrss) * 1024.0;
}

std::string mac(int i) {
  char text[18];
  std::snprintf(text, sizeof text, "02:00:00:%02x:%02x:%02x", (i >> 16) & 0xff, (i >> 8) & 0xff,
                i & 0xff);
  return text;
}

// Every name is made fresh, as a host process would make it from its input:
// no representation is shared between elements.
Vek::Ptr<VirtualNetwork::NetworkElementCollection> build(int interfaces) {
  auto collection = VirtualNetwork::NetworkElementCollectionIs("");
  for (int e = 0; e < kElements; ++e) {
    auto element = collection->networkElementIs(Vek::Name(mac(e)));
    for (int i = 1; i <= interfaces; ++i) {
      element->physicalInterfaceIs(Vek::String("swp" + std::to_string(i)));
    }
  }
  return collection;
}

// Heap held by one build, measured once per process.
double heldBy(int interfaces) {
  double const before = heapInUse();
  auto collection = build(interfaces);
  double const after = heapInUse();
  benchmark::DoNotOptimize(collection.ptr());
  return after - before;
}

void BM_BuildElements(benchmark::State& state) {
  static double const elementsOnly = heldBy(0);
  static double const full = heldBy(kInterfaces);
  for (auto _ : state) {
    auto collection = build(kInterfaces);
    benchmark::DoNotOptimize(collection.ptr());
    state.PauseTiming();
    collection = nullptr;
    state.ResumeTiming();
  }
  state.counters["elements"] = kElements;
  state.counters["interfaces"] = kElements * kInterfaces;
  state.counters["heap_MB"] = full / 1e6;
  state.counters["bytes_per_element"] = elementsOnly / kElements;
  state.counters["bytes_per_interface"] = (full - elementsOnly) / (kElements * kInterfaces);
  state.counters["ns_per_interface"] =
      benchmark::Counter(static_cast<double>(state.iterations()) * kElements * kInterfaces,
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
  state.counters["peak_rss_MB"] = peakRssBytes() / 1e6;
}
BENCHMARK(BM_BuildElements)->Unit(benchmark::kMillisecond);

std::vector<Vek::String> const& referrers() {
  static std::vector<Vek::String> const strings = [] {
    std::vector<Vek::String> s;
    s.reserve(kReferrers);
    for (int i = 0; i < kReferrers; ++i) s.emplace_back("client-" + std::to_string(i));
    return s;
  }();
  return strings;
}

template <class Record, class Add, class Del>
void addRemove(benchmark::State& state, Vek::Ptr<Record> const& record, Add add, Del del) {
  auto const& strings = referrers();
  // Heap that a full set holds, strings excluded (they exist beforehand).
  double const before = heapInUse();
  for (auto const& s : strings) add(*record, s);
  double const full = heapInUse() - before;
  for (auto const& s : strings) del(*record, s);
  for (auto _ : state) {
    for (auto const& s : strings) add(*record, s);
    if (record->referrerCol().size() != strings.size()) state.SkipWithError("lost a referrer");
    for (auto const& s : strings) del(*record, s);
    if (!record->referrerCol().empty()) state.SkipWithError("kept a referrer");
  }
  state.counters["ns_per_op"] =
      benchmark::Counter(static_cast<double>(state.iterations()) * 2.0 * kReferrers,
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
  state.counters["bytes_per_referrer"] = full / kReferrers;
  state.counters["peak_rss_MB"] = peakRssBytes() / 1e6;
}

void BM_Referrers_DynamicVlan(benchmark::State& state) {
  addRemove(
      state, VirtualNetwork::DynamicVlanIs(100),
      [](VirtualNetwork::DynamicVlan& v, Vek::String const& s) { v.referrerIs(s); },
      [](VirtualNetwork::DynamicVlan& v, Vek::String const& s) { v.referrerDel(s); });
}
BENCHMARK(BM_Referrers_DynamicVlan)->Unit(benchmark::kMillisecond);

void BM_Referrers_NetworkElement(benchmark::State& state) {
  addRemove(
      state, VirtualNetwork::NetworkElementIs("02:00:00:00:00:01"),
      [](VirtualNetwork::NetworkElement& e, Vek::String const& s) { e.referrerIs(s, true); },
      [](VirtualNetwork::NetworkElement& e, Vek::String const& s) { e.referrerDel(s); });
}
BENCHMARK(BM_Referrers_NetworkElement)->Unit(benchmark::kMillisecond);

}  // namespace
