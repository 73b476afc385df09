// A notifiee for tests: listens to one entity and writes each notification
// as "<id>" or, with a key, "<id> <key>". The key is read as the type told
// per attribute id (keyed<K>) or for every id (keyedAll<K>). A probe, if
// given, runs at each notification and what it returns is appended as
// " | <text>": it sees the state the notifiee sees, and may act on it.
#pragma once

#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "reactive/Attribute.h"

namespace Vek::Testing {

using Events = std::vector<std::string>;

class Recorder : public NotifieeConst {
 public:
  using Decoder = std::function<std::string(void const*)>;

  static Ptr<Recorder> on(Ptr<Entity const> const& entity) {
    Ptr<Recorder> r(new Recorder);
    r->baseNotifierIs(entity);
    r->isRegisteredNotifieeIs(true);
    r->hasNotificationActiveIs(true);
    return r;
  }

  template <class K>
  Recorder& keyed(AttributeId id) {
    decoders_[id] = decoder<K>();
    return *this;
  }
  template <class K>
  Recorder& keyedAll() {
    fallback_ = decoder<K>();
    return *this;
  }
  Recorder& probing(std::function<std::string()> probe) {
    probe_ = std::move(probe);
    return *this;
  }

  // What was heard since the last call.
  Events take() { return std::exchange(events_, {}); }

  void onAttribute(AttributeId id, void const* key) override {
    std::string line = std::to_string(id);
    if (key) {
      auto d = decoders_.find(id);
      Decoder const& decode = d == decoders_.end() ? fallback_ : d->second;
      line += " " + (decode ? decode(key) : std::string("<undecoded>"));
    }
    std::size_t const at = events_.size();
    events_.push_back(line);
    if (probe_) {
      std::string const seen = probe_();
      if (!seen.empty()) events_[at] += " | " + seen;
    }
  }

 private:
  Recorder() = default;

  template <class K>
  static Decoder decoder() {
    return [](void const* key) {
      std::ostringstream os;
      os << notifiedKey<K>(key);
      return os.str();
    };
  }

  std::map<AttributeId, Decoder> decoders_;
  Decoder fallback_;
  std::function<std::string()> probe_;
  Events events_;
};

}  // namespace Vek::Testing
