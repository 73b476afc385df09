// Counting of live objects per type.
//
// Every generated class derives from AllocTracked<itself>, which counts its
// constructions and destructions in a static vekAllocTrackTypeInfo_. Tests
// assert that a teardown leaves no object of a type alive:
//
//   EXPECT_EQ(Vek::liveObjects<SwitchNodeSm>(), 0u);
#pragma once

#include <string>
#include <typeinfo>
#include <vector>

#include "reactive/Types.h"

namespace Vek {

class AllocTrackTypeInfo {
 public:
  explicit AllocTrackTypeInfo(std::type_info const& type);
  std::string name() const;
  U64 allocations() const { return allocations_; }
  U64 deallocations() const { return deallocations_; }
  U64 live() const { return allocations_ - deallocations_; }

  static void trackAllocation(AllocTrackTypeInfo& info) { ++info.allocations_; }
  static void trackDeallocation(AllocTrackTypeInfo& info) { ++info.deallocations_; }
  // Every type that has counted at least once, in the order of first use.
  static std::vector<AllocTrackTypeInfo const*> const& all();

 private:
  std::type_info const& type_;
  U64 allocations_ = 0;
  U64 deallocations_ = 0;
};

template <class Self>
class AllocTracked {
 public:
  static AllocTrackTypeInfo& vekAllocTrackTypeInfo_() {
    static AllocTrackTypeInfo info(typeid(Self));
    return info;
  }

 protected:
  AllocTracked() { AllocTrackTypeInfo::trackAllocation(vekAllocTrackTypeInfo_()); }
  AllocTracked(AllocTracked const&) {
    AllocTrackTypeInfo::trackAllocation(vekAllocTrackTypeInfo_());
  }
  ~AllocTracked() { AllocTrackTypeInfo::trackDeallocation(vekAllocTrackTypeInfo_()); }
};

template <class T>
U64 liveObjects() {
  return T::vekAllocTrackTypeInfo_().live();
}

// Total of live objects over every counted type.
U64 liveObjectsOfAllTypes();

}  // namespace Vek
