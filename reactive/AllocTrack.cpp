#include "reactive/AllocTrack.h"

#include "reactive/Exception.h"

namespace Vek {

namespace {

std::vector<AllocTrackTypeInfo const*>& registry() {
  static std::vector<AllocTrackTypeInfo const*> infos;
  return infos;
}

}  // namespace

AllocTrackTypeInfo::AllocTrackTypeInfo(std::type_info const& type) : type_(type) {
  registry().push_back(this);
}

std::string AllocTrackTypeInfo::name() const { return typeName(type_); }

std::vector<AllocTrackTypeInfo const*> const& AllocTrackTypeInfo::all() { return registry(); }

U64 liveObjectsOfAllTypes() {
  U64 total = 0;
  for (AllocTrackTypeInfo const* info : registry()) total += info->live();
  return total;
}

}  // namespace Vek
