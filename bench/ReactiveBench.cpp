// Benchmarks of the reactive core: delivery of an attribute change to the
// reactors of an entity, and the keyed collections against
// std::unordered_map with the same key and value types.
//
// Collection benchmarks come in pairs that sort together, for instance
//   BM_Lookup_U32/HashMap2018   and   BM_Lookup_U32/unordered_map
// Every iteration does kMembers operations; the counter ns_per_op is the
// time of one of them. Keys and values are made once, outside the timed
// region, and both maps of a pair get the very same key objects. Lookups and
// removals go in one shuffled order made with a fixed seed, so runs compare.
//
//   build/bin/vnagent_bench --benchmark_filter='BM_Lookup'
//       --benchmark_repetitions=3 --benchmark_report_aggregates_only=true
//   (one command line)

#include <benchmark/benchmark.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "VirtualNetworkAgent.h"

namespace {

using Vek::Ptr;

// ---------------------------------------------------------------------------
// Delivery of a change to the reactors of one entity.
// ---------------------------------------------------------------------------

class Light : public Vek::Entity {
 public:
  static constexpr Vek::AttributeId onId = 259;
  using NotifieeConst = Vek::NotifieeConst;

  explicit Light(Vek::Name name) : Entity(std::move(name)) {}

  bool on() const { return on_.get(); }
  void onIs(bool v) { on_.set(*this, v); }

 private:
  Vek::Value<bool, onId> on_;
};

// What the reactors report to.
struct Panel {
  U64 changes = 0;
};

class LightReactor : public Vek::Reactor<LightReactor, Light const, Panel> {
 public:
  using Reactor::Reactor;
  void handleOn() {
    if (notifier()->on()) ++owner()->changes;
  }
  using vekReactions = Vek::Reactions<Vek::OnValue<Light::onId, &LightReactor::handleOn>>;
};

// One toggle of the attribute per iteration: the time of an iteration is the
// time of one change delivered to state.range(0) reactors.
void BM_Notify(benchmark::State& state) {
  auto const reactorCount = static_cast<std::size_t>(state.range(0));
  Ptr<Light> light(new Light(Vek::Name("light")));
  Panel panel;
  std::vector<Ptr<LightReactor>> reactors;
  for (std::size_t i = 0; i < reactorCount; ++i) {
    reactors.push_back(LightReactor::vekCreate(light, &panel));
    reactors.back()->hasNotificationActiveIs(true);
  }
  bool value = false;
  for (auto _ : state) {
    value = !value;
    light->onIs(value);
    benchmark::ClobberMemory();
  }
  benchmark::DoNotOptimize(panel.changes);
  // Every reactor hears every other change (the ones to true).
  if (panel.changes != reactorCount * ((state.iterations() + 1) / 2)) {
    state.SkipWithError("a reactor missed a change");
  }
  for (auto& r : reactors) r->ownerIs(nullptr);
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_Notify)->ArgName("reactors")->Arg(0)->Arg(1)->Arg(10);

// ---------------------------------------------------------------------------
// Keyed collections.
// ---------------------------------------------------------------------------

constexpr std::size_t kMembers = 10000;
constexpr unsigned kSeed = 20240611;

// A small counted member for Vek::HashMap.
class Item : public Vek::PtrInterface {
 public:
  explicit Item(U32 v) : value(v) {}
  U32 value;
};

// Keys and values of one benchmark family, made once per process.
template <class K, class V>
struct Data {
  std::vector<K> keys;      // in insertion order
  std::vector<V> values;    // values[i] goes with keys[i]
  std::vector<K> shuffled;  // the same keys, in the order of lookups and removals

  void shuffle() {
    shuffled = keys;
    std::mt19937 rng(kSeed);
    std::shuffle(shuffled.begin(), shuffled.end(), rng);
  }
};

Data<U32, U32> const& u32Data() {
  static Data<U32, U32> const data = [] {
    Data<U32, U32> d;
    std::mt19937 rng(kSeed);
    std::unordered_set<U32> seen;
    while (d.keys.size() < kMembers) {
      U32 const k = static_cast<U32>(rng());
      if (seen.insert(k).second) {
        d.keys.push_back(k);
        d.values.push_back(static_cast<U32>(d.values.size()));
      }
    }
    d.shuffle();
    return d;
  }();
  return data;
}

Data<Vek::String, U32> const& stringData() {
  static Data<Vek::String, U32> const data = [] {
    Data<Vek::String, U32> d;
    for (std::size_t i = 0; i < kMembers; ++i) {
      d.keys.emplace_back("Ethernet" + std::to_string(i / 64 + 1) + "/" +
                          std::to_string(i % 64 + 1));
      d.values.push_back(static_cast<U32>(i));
    }
    d.shuffle();
    return d;
  }();
  return data;
}

// Equal texts in representations of their own: a lookup cannot stop at the
// shared-representation shortcut and compares the text.
std::vector<Vek::String> const& stringCopies() {
  static std::vector<Vek::String> const copies = [] {
    std::vector<Vek::String> c;
    for (auto const& k : stringData().shuffled) c.emplace_back(k.stdString());
    return c;
  }();
  return copies;
}

Data<Vek::Name, Ptr<Item>> const& nameData() {
  static Data<Vek::Name, Ptr<Item>> const data = [] {
    Data<Vek::Name, Ptr<Item>> d;
    for (std::size_t i = 0; i < kMembers; ++i) {
      d.keys.emplace_back("vm-" + std::to_string(i) + ".tenant");
      d.values.push_back(Ptr<Item>(new Item(static_cast<U32>(i))));
    }
    d.shuffle();
    return d;
  }();
  return data;
}

// A number read from a found value, so the lookup has a visible result.
inline U64 weigh(U32 v) { return v; }
inline U64 weigh(Item const* v) { return v ? v->value : 0; }
inline U64 weigh(Ptr<Item> const& v) { return v->value; }

// The same five operations on every map type.
template <class Map>
struct Ops;

template <class K, class V>
struct Ops<Vek::HashMap2018<K, V>> {
  using Map = Vek::HashMap2018<K, V>;
  static void insert(Map& m, K const& k, V const& v) { m.set(k, v); }
  static U64 lookup(Map const& m, K const& k) { return weigh(*m.find(k)); }
  static bool erase(Map& m, K const& k) { return m.erase(k); }
  static U64 walk(Map const& m) {
    U64 sum = 0;
    for (auto it = m.iterator(); it; ++it) sum += weigh(it.value());
    return sum;
  }
  static std::size_t size(Map const& m) { return m.size(); }
};

template <class K, class T>
struct Ops<Vek::HashMap<K, T>> {
  using Map = Vek::HashMap<K, T>;
  static void insert(Map& m, K const& k, Ptr<T> const& v) { m.newMember(v, k); }
  static U64 lookup(Map const& m, K const& k) { return weigh(m[k]); }
  static bool erase(Map& m, K const& k) { return m.deleteMember(k) != nullptr; }
  static U64 walk(Map const& m) {
    U64 sum = 0;
    for (auto it = m.iterator(); it; ++it) sum += weigh(it.ptr());
    return sum;
  }
  static std::size_t size(Map const& m) { return m.size(); }
};

template <class K, class V>
struct Ops<std::unordered_map<K, V>> {
  using Map = std::unordered_map<K, V>;
  static void insert(Map& m, K const& k, V const& v) { m.emplace(k, v); }
  static U64 lookup(Map const& m, K const& k) { return weigh(m.find(k)->second); }
  static bool erase(Map& m, K const& k) { return m.erase(k) != 0; }
  static U64 walk(Map const& m) {
    U64 sum = 0;
    for (auto const& [k, v] : m) sum += weigh(v);
    return sum;
  }
  static std::size_t size(Map const& m) { return m.size(); }
};

template <class Map, class D>
void fill(Map& m, D const& d) {
  for (std::size_t i = 0; i < d.keys.size(); ++i) Ops<Map>::insert(m, d.keys[i], d.values[i]);
}

void perOp(benchmark::State& state, std::size_t opsPerIteration) {
  auto const ops = static_cast<double>(opsPerIteration);
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * opsPerIteration));
  // Seconds per operation, shown in ns by the SI prefix of the report.
  state.counters["ns_per_op"] = benchmark::Counter(
      ops, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

// kMembers insertions into an empty map; the teardown is not timed.
template <class Map, class D>
void bmInsert(benchmark::State& state, D const& (*data)()) {
  D const& d = data();
  for (auto _ : state) {
    auto m = std::make_unique<Map>();
    fill(*m, d);
    benchmark::DoNotOptimize(m.get());
    benchmark::ClobberMemory();
    state.PauseTiming();
    if (Ops<Map>::size(*m) != d.keys.size()) state.SkipWithError("wrong size after insert");
    m.reset();
    state.ResumeTiming();
  }
  perOp(state, d.keys.size());
}

// kMembers lookups that all hit, in shuffled order, with the keys given.
template <class Map, class D, class Keys>
void lookupLoop(benchmark::State& state, D const& d, Keys const& keys) {
  Map m;
  fill(m, d);
  U64 expected = 0;
  for (std::size_t i = 0; i < d.values.size(); ++i) expected += weigh(d.values[i]);
  for (auto _ : state) {
    U64 sum = 0;
    for (auto const& k : keys) sum += Ops<Map>::lookup(m, k);
    benchmark::DoNotOptimize(sum);
    if (sum != expected) state.SkipWithError("lookup found a wrong value");
  }
  perOp(state, keys.size());
}

template <class Map, class D>
void bmLookup(benchmark::State& state, D const& (*data)()) {
  lookupLoop<Map>(state, data(), data().shuffled);
}

template <class Map>
void bmLookupEqualText(benchmark::State& state) {
  lookupLoop<Map>(state, stringData(), stringCopies());
}

// Removal of every member, in shuffled order; refilling is not timed.
template <class Map, class D>
void bmErase(benchmark::State& state, D const& (*data)()) {
  D const& d = data();
  Map m;
  fill(m, d);
  for (auto _ : state) {
    std::size_t removed = 0;
    for (auto const& k : d.shuffled) removed += Ops<Map>::erase(m, k);
    benchmark::DoNotOptimize(removed);
    benchmark::ClobberMemory();
    state.PauseTiming();
    if (removed != d.keys.size() || Ops<Map>::size(m) != 0) state.SkipWithError("erase missed");
    fill(m, d);
    state.ResumeTiming();
  }
  perOp(state, d.keys.size());
}

// A walk over every member, reading each value.
template <class Map, class D>
void bmWalk(benchmark::State& state, D const& (*data)()) {
  D const& d = data();
  Map m;
  fill(m, d);
  for (auto _ : state) {
    U64 sum = Ops<Map>::walk(m);
    benchmark::DoNotOptimize(sum);
  }
  perOp(state, d.keys.size());
}

template <class VekMap, class StdMap, class D>
void registerPair(char const* vekLabel, std::string const& keyLabel, D const& (*data)()) {
  auto add = [&](std::string const& op, auto vekFn, auto stdFn) {
    std::string const base = "BM_" + op + "_" + keyLabel + "/";
    benchmark::RegisterBenchmark((base + vekLabel).c_str(), vekFn, data);
    benchmark::RegisterBenchmark((base + "unordered_map").c_str(), stdFn, data);
  };
  add("Insert", bmInsert<VekMap, D>, bmInsert<StdMap, D>);
  add("Lookup", bmLookup<VekMap, D>, bmLookup<StdMap, D>);
  add("Erase", bmErase<VekMap, D>, bmErase<StdMap, D>);
  add("Walk", bmWalk<VekMap, D>, bmWalk<StdMap, D>);
}

[[maybe_unused]] int const registered = [] {
  registerPair<Vek::HashMap2018<U32, U32>, std::unordered_map<U32, U32>>("HashMap2018", "U32",
                                                                         &u32Data);
  registerPair<Vek::HashMap2018<Vek::String, U32>, std::unordered_map<Vek::String, U32>>(
      "HashMap2018", "String", &stringData);
  registerPair<Vek::HashMap<Vek::Name, Item>, std::unordered_map<Vek::Name, Ptr<Item>>>(
      "HashMap", "Name", &nameData);
  benchmark::RegisterBenchmark("BM_LookupEqualText_String/HashMap2018",
                               bmLookupEqualText<Vek::HashMap2018<Vek::String, U32>>);
  benchmark::RegisterBenchmark("BM_LookupEqualText_String/unordered_map",
                               bmLookupEqualText<std::unordered_map<Vek::String, U32>>);
  return 0;
}();

}  // namespace
