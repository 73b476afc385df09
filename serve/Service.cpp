#include "serve/Service.h"

#include <algorithm>
#include <chrono>
#include <fstream>
#include <iostream>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <thread>
#include <vector>

#include "VirtualNetworkAgent.h"
#include "serve/Layout.h"
#include "tools/vnagent/Fabric.h"
#include "tools/vnagent/Operator.h"
#include "tools/vnagent/Scenario.h"
#include "tools/vnagent/TraceLog.h"

namespace vnagent::serve {

namespace {

using Clock = std::chrono::steady_clock;
using Fields = std::map<std::string, std::string>;

std::string escapeGlob(std::string const& text) {
  std::string out;
  for (char c : text) {
    if (c == '*' || c == '?' || c == '[' || c == ']' || c == '\\') out += '\\';
    out += c;
  }
  return out;
}

// Every key that starts with `head`, by SCAN (never KEYS, which would stop
// the server on a large store).
std::vector<std::string> scan(Redis& redis, std::string const& head) {
  std::vector<std::string> keys;
  std::string cursor = "0";
  do {
    Reply r = redis.command({"SCAN", cursor, "MATCH", escapeGlob(head) + "*", "COUNT", "1000"});
    if (!r.isArray() || r.size() != 2) throw Disconnected("unexpected reply to SCAN: " + r.str());
    cursor = r[0].str();
    for (std::size_t i = 0; i < r[1].size(); ++i) keys.push_back(r[1][i].str());
  } while (cursor != "0");
  std::sort(keys.begin(), keys.end());
  return keys;
}

Fields fieldsOf(Reply const& r) {
  Fields out;
  for (std::size_t i = 0; i + 1 < r.size(); i += 2) out[r[i].str()] = r[i + 1].str();
  return out;
}

// What the store holds under the outputs: hashes and JSON texts.
struct Outputs {
  Hashes hashes;
  std::map<std::string, std::string> texts;
};

Outputs readOutputs(Redis& redis, Layout const& layout) {
  Outputs out;
  std::vector<std::string> const keys = scan(redis, layout.outputs());
  std::vector<bool> isHash;
  for (std::string const& key : keys) {
    auto parsed = layout.parseOutput(key);
    bool const hash = parsed && (parsed->kind == OutputKey::Kind::switchIndex ||
                                 parsed->kind == OutputKey::Kind::portVlanConfig ||
                                 parsed->kind == OutputKey::Kind::vtepConfig);
    isHash.push_back(hash);
    redis.append({hash ? "HGETALL" : "GET", key});
  }
  for (std::size_t i = 0; i < keys.size(); ++i) {
    Reply r = redis.reply();
    if (r.isError()) continue;  // a key of another type: not ours to read
    if (isHash[i]) {
      out.hashes[keys[i]] = fieldsOf(r);
    } else if (!r.isNil()) {
      out.texts[keys[i]] = r.str();
    }
  }
  return out;
}

// The input keys and their texts (nullopt: not a string).
std::map<std::string, std::optional<std::string>> readInputs(Redis& redis, Layout const& layout) {
  std::map<std::string, std::optional<std::string>> out;
  std::vector<std::string> const keys = scan(redis, layout.inputs());
  for (std::string const& key : keys) redis.append({"GET", key});
  for (std::string const& key : keys) {
    Reply r = redis.reply();
    if (r.isNil()) continue;  // deleted since the scan
    out[key] = r.isString() ? std::optional<std::string>(r.str()) : std::nullopt;
  }
  return out;
}

// Listens to one record and tells its owner that something changed. Holds
// the record by a counted reference until dropped.
class Watch : public Vek::NotifieeConst {
 public:
  using Changed = std::function<void(Vek::AttributeId, void const*)>;
  Watch(Vek::Ptr<Vek::PtrInterface const> const& notifier, Changed changed)
      : changed_(std::move(changed)) {
    baseNotifierIs(notifier);
    isRegisteredNotifieeIs(true);
    hasNotificationActiveIs(true);
  }
  void onAttribute(Vek::AttributeId id, void const* key) override { changed_(id, key); }

 private:
  Changed changed_;
};

// What the notifications say changed in a switch's outputs since they were
// last written.
struct Dirty {
  bool whole = false;
  bool vlanList = false;
  std::set<std::string> allowed;
  std::set<std::string> native;
  std::map<std::string, std::set<std::pair<std::string, U32>>> vteps;  // VTEP -> (port, VLAN)
};

struct Stats {
  long long inputEvents = 0;
  long long outputFields = 0;
  long long conflicts = 0;
  long long resyncs = 0;
  long long reconnects = 0;
  long long errors = 0;

  std::vector<std::pair<std::string, long long>> fields() const {
    return {{"inputEvents", inputEvents}, {"outputFields", outputFields},
            {"conflicts", conflicts},     {"resyncs", resyncs},
            {"reconnects", reconnects},   {"errors", errors}};
  }
};

class Service {
 public:
  explicit Service(ServeOptions const& options)
      : o_(options), log_(options.log ? *options.log : std::cerr), layout_(options.prefix) {
    if (!o_.traceFile.empty()) {
      traceFile_ = std::make_unique<std::ofstream>(o_.traceFile, std::ios::app);
      if (!*traceFile_) throw std::runtime_error("cannot write the trace file " + o_.traceFile);
    }
    std::ostream* traces = traceFile_ ? traceFile_.get() : &std::cerr;
    traceLog_ = std::make_unique<TraceLog>(-1, o_.traceLevel, traces);
    fabric_ = std::make_unique<Fabric>();
  }

  ~Service() {
    // The watches hold records of the fabric; the agent may trace as it goes.
    watches_.clear();
    dirWatches_.clear();
    fabric_.reset();
  }

  int run() {
    int backoffMs = 100;
    bool started = false;
    for (;;) {
      try {
        connect();
        if (!started) {
          initialLoad();
          started = true;
        } else {
          ++stats_.reconnects;
          log_ << "vnagent serve: reconnected to " << o_.url.text() << "; reading everything again"
               << std::endl;
          resync();
        }
        backoffMs = 100;
        if (o_.once) {
          refreshViews();
          return 0;
        }
        follow();
        return 0;
      } catch (Disconnected const& e) {
        cmd_.reset();
        sub_.reset();
        log_ << "vnagent serve: " << e.what() << "; retrying in " << backoffMs << " ms"
             << std::endl;
        for (int waited = 0; waited < backoffMs; waited += 50) {
          if (stopping()) return 0;
          std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        backoffMs = std::min(backoffMs * 2, 5000);
      }
    }
  }

 private:
  bool stopping() const { return o_.stopping && o_.stopping(); }

  void connect() {
    cmd_ = std::make_unique<Redis>(o_.url);
    if (o_.once) return;
    enableNotifications();
    sub_ = std::make_unique<Redis>(o_.url);
    // Subscribed before anything is read: a change made while the keys are
    // read is heard, and reading it again changes nothing.
    channel_ = "__keyspace@" + std::to_string(o_.url.db) + "__:";
    Reply r = sub_->command({"PSUBSCRIBE", escapeGlob(channel_ + layout_.inputs()) + "*"});
    if (r.isError()) throw Disconnected("cannot subscribe: " + r.str());
  }

  // Keyspace events of keys (K), for strings ($), generic commands such as
  // DEL and RENAME (g) and expiry (x).
  void enableNotifications() {
    Reply r = cmd_->command({"CONFIG", "GET", "notify-keyspace-events"});
    std::string flags = r.isArray() && r.size() == 2 ? r[1].str() : std::string();
    std::string wanted = flags;
    bool const all = flags.find('A') != std::string::npos;
    for (char c : std::string(all ? "K" : "K$gx")) {
      if (wanted.find(c) == std::string::npos) wanted += c;
    }
    if (wanted == flags) return;
    Reply set = cmd_->command({"CONFIG", "SET", "notify-keyspace-events", wanted});
    if (set.isError()) {
      log_ << "vnagent serve: cannot turn on keyspace notifications (" << set.str()
           << "); the server must run with notify-keyspace-events K$gx" << std::endl;
    }
  }

  // --- inputs ---

  void initialLoad() {
    Outputs outputs = readOutputs(*cmd_, layout_);
    written_ = std::move(outputs.hashes);
    views_ = std::move(outputs.texts);
    errorsHeld_ = fieldsOf(cmd_->command({"HGETALL", layout_.errors()}));
    // The records of the last life, as the contents of the entities.
    for (auto const& [key, fields] : written_) {
      auto parsed = layout_.parseOutput(key);
      if (!parsed) continue;
      if (parsed->kind == OutputKey::Kind::portVlanConfig) {
        leftoverPvc_[parsed->name] = portVlanConfigOf(fields);
      } else if (parsed->kind == OutputKey::Kind::vtepConfig) {
        leftoverVtep_[parsed->name]["vtepConfig"][parsed->vtep]["vlanToVniMap"] = vtepMapOf(fields);
      }
    }
    auto inputs = readInputs(*cmd_, layout_);
    for (std::string const& key : ordered(inputs)) apply(key, inputs.at(key));
    leftoverPvc_.clear();
    leftoverVtep_.clear();
    if (auto raised = fabric_->start(YAML::Mark())) {
      log_ << "vnagent serve: the agent raised at its start: " << raised->text << std::endl;
    }
    watchDirs();
    writeAllOutputs();
    cmd_->flush();
    log_ << "vnagent serve: " << inputs.size() << " input keys read from " << o_.url.text()
         << ", " << stats_.outputFields << " output fields written" << std::endl;
  }

  void resync() {
    ++stats_.resyncs;
    Outputs outputs = readOutputs(*cmd_, layout_);
    written_ = std::move(outputs.hashes);
    views_ = std::move(outputs.texts);
    errorsHeld_ = fieldsOf(cmd_->command({"HGETALL", layout_.errors()}));
    auto inputs = readInputs(*cmd_, layout_);
    std::map<std::string, std::optional<std::string>> all = inputs;
    // A key that went while the service was away is applied as gone.
    for (auto const& [key, value] : held_) all.emplace(key, std::nullopt);
    for (std::string const& key : ordered(all)) {
      auto it = inputs.find(key);
      if (it == inputs.end()) {
        apply(key, std::nullopt, true);
      } else {
        apply(key, it->second);
      }
    }
    writeAllOutputs();
    refreshViews();
    cmd_->flush();
  }

  // Keys in the order a full load applies them (Layout.h), then by name.
  std::vector<std::string> ordered(std::map<std::string, std::optional<std::string>> const& keys) {
    std::vector<std::pair<int, std::string>> order;
    for (auto const& [key, value] : keys) {
      auto parsed = layout_.parseInput(key);
      order.emplace_back(parsed ? int(parsed->kind) : -1, key);
    }
    std::sort(order.begin(), order.end());
    std::vector<std::string> out;
    for (auto& [kind, key] : order) out.push_back(std::move(key));
    return out;
  }

  // Applies the key's new text (nullopt with `gone`: the key is gone; without
  // it: the key holds something that is not a string). Returns whether the
  // records changed.
  bool apply(std::string const& key, std::optional<std::string> const& text, bool gone = false) {
    auto parsed = layout_.parseInput(key);
    if (!parsed) {
      if (!gone) report(key, key + ": not a key of the layout (see docs/serve.md)");
      return false;
    }
    Json next;
    if (!gone) {
      if (!text) return report(key, key + ": not a string; the value must be JSON"), false;
      auto value = parse(key, *parsed, *text);
      if (!value) return false;
      next = std::move(*value);
    }
    auto held = held_.find(key);
    Json const previous = held == held_.end() ? Json() : held->second;
    if (previous == next) {
      clearError(key);
      return false;
    }
    Json patch = patchOf(*parsed, previous, next);
    if (!next.is_null()) {
      held_[key] = next;
    } else {
      held_.erase(key);
    }
    ++stats_.inputEvents;
    viewsStale_ = true;
    if (patch.is_null()) return clearError(key), true;
    try {
      if (auto raised = fabric_->apply(yamlOf(patch))) {
        // The leaves before the one that raised are written: the value is
        // held as it is, and the fault reported.
        report(key, key + ": the agent raised: " + raised->text);
        return true;
      }
    } catch (PatchFault const& fault) {
      // The value names what is not there yet (an edge before its host):
      // kept aside and tried again after the next change that succeeds.
      if (previous.is_null()) {
        held_.erase(key);
      } else {
        held_[key] = previous;
      }
      waiting_[key] = text;
      report(key, key + ": " + fault.message + "; tried again after the next change");
      return false;
    }
    clearError(key);
    if (!waiting_.empty() && !waiting_.count(key)) retryWaiting();
    return true;
  }

  void retryWaiting() {
    auto waiting = std::move(waiting_);
    waiting_.clear();
    for (auto const& [key, text] : waiting) apply(key, text, !text);
  }

  // The value of a key, checked against its shape; nullopt after reporting
  // what is wrong with it.
  std::optional<Json> parse(std::string const& key, InputKey const& parsed, std::string const& text) {
    Json value;
    try {
      value = Json::parse(text);
    } catch (Json::parse_error const& e) {
      report(key, key + ": invalid JSON: " + e.what());
      return std::nullopt;
    }
    if (!value.is_object()) {
      report(key, key + ":1:1: expected a JSON object");
      return std::nullopt;
    }
    YAML::Node node = yamlOf(value);
    try {
      checkNode(node, shapeOf(parsed.kind), key, "the value");
    } catch (FileError const&) {
      // Checked again over the text itself, for the place of the fault in it.
      try {
        checkNode(YAML::Load(text), shapeOf(parsed.kind), key, "the value");
      } catch (FileError const& e) {
        report(key, e.what());
        return std::nullopt;
      } catch (YAML::Exception const& e) {
        report(key, position(key, e.mark) + ": " + e.msg);
        return std::nullopt;
      }
    }
    if (parsed.kind == InputKind::portVlanConfig || parsed.kind == InputKind::dynVtepConfig) {
      YAML::Node const entity = node["entity"];
      if (entity && entity.IsMap() && entity.size() != 0) {
        report(key, position(key, entity.Mark()) +
                        ": the entity's contents are the agent's to write; give {} for the entity");
        return std::nullopt;
      }
    }
    return stripNulls(std::move(value));
  }

  static Json stripNulls(Json value) {
    if (!value.is_object()) return value;
    Json out = Json::object();
    for (auto it = value.begin(); it != value.end(); ++it) {
      if (!it->is_null()) out[it.key()] = stripNulls(*it);
    }
    return out;
  }

  // The patch of the input tree that takes the records from `previous` to
  // `next`; null when the records do not see this key now (a request of a
  // client that has no entity).
  Json patchOf(InputKey const& key, Json const& previous, Json const& next) {
    Shape const& shape = shapeOf(key.kind);
    auto at = [](std::initializer_list<std::string> path, Json value) {
      Json out = std::move(value);
      for (auto it = std::rbegin(path); it != std::rend(path); ++it) {
        Json up = Json::object();
        up[*it] = std::move(out);
        out = std::move(up);
      }
      return out;
    };
    switch (key.kind) {
      case InputKind::config:
      case InputKind::status: {
        // A record that goes resets its fields.
        Json const to = next.is_null() ? Json::object() : next;
        Json const from = previous.is_null() ? Json::object() : previous;
        return at({key.kind == InputKind::config ? "config" : "status"},
                  difference(from, to, &shape));
      }
      case InputKind::host:
        return at({"topology", "host", key.name}, difference(previous, next, &shape));
      case InputKind::edge:
        return at({"topology", "edge", key.name}, difference(previous, next, &shape));
      case InputKind::hostsByHostname:
        return at({"topology", "hostsByHostname", key.name}, difference(previous, next, &shape));
      case InputKind::dynVtepStatus:
        return at({"dirs", "dynVtepStatus", key.name}, difference(previous, next, &shape));
      case InputKind::portVlanConfig:
      case InputKind::dynVtepConfig: {
        bool const pvc = key.kind == InputKind::portVlanConfig;
        Json d = difference(previous, next, &shape);
        if (d.is_object() && d.contains("entity") && d["entity"].is_object()) {
          auto& leftovers = pvc ? leftoverPvc_ : leftoverVtep_;
          auto it = leftovers.find(key.name);
          d["entity"] = it == leftovers.end() ? Json::object() : it->second;
        }
        return at({"dirs", pvc ? "portVlanConfig" : "dynVtepConfig", key.name}, std::move(d));
      }
      case InputKind::hostnameRequest:
      case InputKind::switchportRequest: {
        if (!clientHasEntity(key.client)) return Json();
        char const* field = key.kind == InputKind::hostnameRequest ? "resourcesForHostname"
                                                                   : "resourcesForSwitchport";
        return at({"clients", key.client, "entity", field, key.name},
                  difference(previous, next, &shape));
      }
      case InputKind::client: {
        Json d = difference(previous, next, &shape);
        if (d.is_object() && d.contains("entity") && d["entity"].is_object()) {
          // The entity comes with every request its client has written.
          d["entity"] = requestsOf(key.name);
        }
        return at({"clients", key.name}, std::move(d));
      }
    }
    return Json();
  }

  bool clientHasEntity(std::string const& client) const {
    auto it = held_.find(layout_.client(client));
    return it != held_.end() && it->second.contains("entity") && it->second["entity"].is_object();
  }

  Json requestsOf(std::string const& client) const {
    Json entity = Json::object();
    std::string const head = layout_.client(client) + ":";
    for (auto it = held_.lower_bound(head); it != held_.end() && it->first.compare(0, head.size(), head) == 0;
         ++it) {
      auto parsed = layout_.parseInput(it->first);
      if (!parsed || parsed->client != client) continue;
      char const* field = parsed->kind == InputKind::hostnameRequest ? "resourcesForHostname"
                                                                     : "resourcesForSwitchport";
      entity[field][parsed->name] = it->second;
    }
    return entity;
  }

  void report(std::string const& key, std::string const& text) {
    // A value tried again fails the same way: said once.
    if (auto it = errorsHeld_.find(key); it != errorsHeld_.end() && it->second == text) return;
    ++stats_.errors;
    log_ << "vnagent serve: " << text << std::endl;
    errorsHeld_[key] = text;
    cmd_->append({"HSET", layout_.errors(), key, text});
  }

  void clearError(std::string const& key) {
    if (errorsHeld_.erase(key)) cmd_->append({"HDEL", layout_.errors(), key});
  }

  // --- outputs ---

  void watchDirs() {
    dirWatches_.clear();
    for (auto const& dir : {fabric_->portVlanConfigDir(), fabric_->dynVtepConfigDir()}) {
      dirWatches_.push_back(
          Vek::Ptr<Watch>(new Watch(dir, [this](Vek::AttributeId, void const*) { dirsChanged_ = true; })));
    }
  }

  // The switches whose entities are not those watched.
  void findMovedEntities() {
    dirsChanged_ = false;
    std::set<std::string> names;
    for (auto const& dir : {fabric_->portVlanConfigDir(), fabric_->dynVtepConfigDir()}) {
      for (auto it = dir->entityPtrCol().iterator(); it; ++it) names.insert(it.key().stdString());
    }
    for (auto const& [sw, entities] : watchedEntities_) names.insert(sw);
    for (std::string const& sw : names) {
      if (entitiesOf(sw) != watchedEntities_[sw]) dirty_[sw].whole = true;
    }
  }

  std::pair<Vek::Entity const*, Vek::Entity const*> entitiesOf(std::string const& sw) const {
    Vek::Name const name(sw);
    return {fabric_->portVlanConfigDir()->entityPtr(name).ptr(),
            fabric_->dynVtepConfigDir()->entityPtr(name).ptr()};
  }

  void writeAllOutputs() {
    for (auto const& [key, fields] : written_) {
      if (auto parsed = layout_.parseOutput(key)) dirty_[parsed->name].whole = true;
    }
    for (auto const& dir : {fabric_->portVlanConfigDir(), fabric_->dynVtepConfigDir()}) {
      for (auto it = dir->entityPtrCol().iterator(); it; ++it) dirty_[it.key().stdString()].whole = true;
    }
    writeOutputs();
  }

  // Writes what the dirty switches' outputs changed, in one MULTI/EXEC.
  void writeOutputs() {
    if (dirsChanged_) findMovedEntities();
    if (dirty_.empty()) return;
    std::vector<std::vector<std::string>> commands;
    for (auto const& [sw, dirty] : dirty_) {
      Vek::Name const name(sw);
      auto pvc = Vek::ptrCast<ControllerProxyAgent::PortVlanConfigV1>(
          fabric_->portVlanConfigDir()->entityPtr(name));
      auto vtep = Vek::ptrCast<VxlanController::VtepConfigDirV2>(
          fabric_->dynVtepConfigDir()->entityPtr(name));
      if (!dirty.whole) {
        writeFields(sw, dirty, pvc, vtep, commands);
        continue;
      }
      Hashes const wanted = layout_.switchHashes(sw, pvc ? portVlanConfigModel(*pvc) : Json(),
                                                 vtep ? vtepConfigModel(*vtep) : Json());
      std::set<std::string> keys = keysOf(sw);
      for (auto const& [key, fields] : wanted) keys.insert(key);
      for (std::string const& key : keys) {
        auto want = wanted.find(key);
        auto have = written_.find(key);
        if (want == wanted.end()) {
          if (have == written_.end()) continue;
          stats_.outputFields += have->second.size();
          commands.push_back({"DEL", key});
          written_.erase(have);
          continue;
        }
        Fields& held = written_[key];
        std::vector<std::string> hset = {"HSET", key};
        std::vector<std::string> hdel = {"HDEL", key};
        for (auto const& [field, value] : want->second) {
          auto it = held.find(field);
          if (it != held.end() && it->second == value) continue;
          hset.push_back(field);
          hset.push_back(value);
        }
        for (auto const& [field, value] : held) {
          if (!want->second.count(field)) hdel.push_back(field);
        }
        stats_.outputFields += (hset.size() - 2) / 2 + (hdel.size() - 2);
        if (hset.size() > 2) commands.push_back(std::move(hset));
        if (hdel.size() > 2) commands.push_back(std::move(hdel));
        held = want->second;
      }
      rewatch(sw, pvc, vtep);
    }
    dirty_.clear();
    if (commands.empty()) return;
    cmd_->append({"MULTI"});
    for (auto const& c : commands) cmd_->append(c);
    cmd_->append({"EXEC"});
    viewsStale_ = true;
  }

  // The fields that the notifications named, read one by one: a change of
  // one port's VLANs costs that port, not the switch.
  void writeFields(std::string const& sw, Dirty const& dirty,
                   Vek::Ptr<ControllerProxyAgent::PortVlanConfigV1> const& pvc,
                   Vek::Ptr<VxlanController::VtepConfigDirV2> const& vtep,
                   std::vector<std::vector<std::string>>& commands) {
    using Change = std::pair<std::string, std::optional<std::string>>;
    if (pvc) {
      std::vector<Change> changes;
      if (dirty.vlanList) {
        std::string const list = pvc->vlanList().value().stdString();
        changes.emplace_back("vlanList", list.empty() ? std::nullopt : std::optional(list));
      }
      for (std::string const& port : dirty.allowed) {
        auto const* list = pvc->portAllowedVlanListCol().find(Vek::String(port));
        changes.emplace_back("allowed|" + port,
                             list ? std::optional(list->value().stdString()) : std::nullopt);
      }
      for (std::string const& port : dirty.native) {
        auto const* vlan = pvc->portNativeVlanCol().find(Vek::String(port));
        changes.emplace_back("native|" + port,
                             vlan ? std::optional(std::to_string(vlan->value())) : std::nullopt);
      }
      writeChanges(layout_.portVlanConfig(sw), changes, commands);
    }
    if (!vtep) return;
    for (auto const& [name, pairs] : dirty.vteps) {
      auto child = vtep->vtepConfig(Vek::String(name));
      // A VTEP that went since is written whole: its directory notified.
      if (!child) continue;
      std::vector<Change> changes;
      for (auto const& [port, vlan] : pairs) {
        VxlanController::PortVlanPairV2 const key{Vek::String(port), Bridging::VlanIdOrNone(vlan)};
        auto const* vni = child->vlanToVniMapCol().find(key);
        changes.emplace_back(port + "|" + std::to_string(vlan),
                             vni ? std::optional(std::to_string(vni->value())) : std::nullopt);
      }
      writeChanges(layout_.vtepConfig(sw, name), changes, commands);
    }
  }

  void writeChanges(std::string const& key,
                    std::vector<std::pair<std::string, std::optional<std::string>>> const& changes,
                    std::vector<std::vector<std::string>>& commands) {
    if (changes.empty()) return;
    Fields& held = written_[key];
    std::vector<std::string> hset = {"HSET", key};
    std::vector<std::string> hdel = {"HDEL", key};
    for (auto const& [field, value] : changes) {
      auto it = held.find(field);
      if (value) {
        if (it != held.end() && it->second == *value) continue;
        hset.push_back(field);
        hset.push_back(*value);
        held[field] = *value;
      } else if (it != held.end()) {
        hdel.push_back(field);
        held.erase(it);
      }
    }
    stats_.outputFields += (hset.size() - 2) / 2 + (hdel.size() - 2);
    if (hset.size() > 2) commands.push_back(std::move(hset));
    // A hash whose last field goes is gone from the store as well.
    if (hdel.size() > 2) commands.push_back(std::move(hdel));
    if (held.empty()) written_.erase(key);
  }

  std::set<std::string> keysOf(std::string const& sw) const {
    std::set<std::string> keys;
    for (std::string const& key : {layout_.switchIndex(sw), layout_.portVlanConfig(sw)}) {
      if (written_.count(key)) keys.insert(key);
    }
    std::string const head = layout_.vtepConfig(sw, "");
    for (auto it = written_.lower_bound(head); it != written_.end() && it->first.compare(0, head.size(), head) == 0;
         ++it) {
      keys.insert(it->first);
    }
    return keys;
  }

  void rewatch(std::string const& sw, Vek::Ptr<ControllerProxyAgent::PortVlanConfigV1> const& pvc,
               Vek::Ptr<VxlanController::VtepConfigDirV2> const& vtep) {
    auto& watches = watches_[sw];
    watches.clear();
    auto whole = [this, sw](Vek::AttributeId, void const*) { dirty_[sw].whole = true; };
    using Pvc = ControllerProxyAgent::PortVlanConfigV1;
    if (pvc) {
      watches.push_back(Vek::Ptr<Watch>(new Watch(pvc, [this, sw](Vek::AttributeId id, void const* key) {
        Dirty& d = dirty_[sw];
        auto port = [key] { return static_cast<Vek::String const*>(key)->stdString(); };
        if (id == Pvc::vlanListId) {
          d.vlanList = true;
        } else if (key && id == Pvc::portAllowedVlanListId) {
          d.allowed.insert(port());
        } else if (key && id == Pvc::portNativeVlanId) {
          d.native.insert(port());
        } else {
          d.whole = true;
        }
      })));
    }
    if (vtep) {
      watches.push_back(Vek::Ptr<Watch>(new Watch(vtep, whole)));
      for (auto it = vtep->vtepConfigCol().iterator(); it; ++it) {
        std::string const name = it.key().stdString();
        watches.push_back(Vek::Ptr<Watch>(
            new Watch(it.ptr(), [this, sw, name](Vek::AttributeId id, void const* key) {
              if (key && id == VxlanController::VtepConfigV2::vlanToVniMapId) {
                auto const& pair = *static_cast<VxlanController::PortVlanPairV2 const*>(key);
                dirty_[sw].vteps[name].emplace(pair.port().stdString(), pair.vlan().value());
              } else {
                dirty_[sw].whole = true;
              }
            })));
      }
    }
    if (watches.empty()) {
      watches_.erase(sw);
      watchedEntities_.erase(sw);
    } else {
      watchedEntities_[sw] = {pvc.ptr(), vtep.ptr()};
    }
  }

  // The operator views and the counters.
  void refreshViews() {
    viewsStale_ = false;
    lastViews_ = Clock::now();
    std::map<std::string, std::string> wanted;
    for (auto [section, keyOf] :
         {std::pair<char const*, std::string (Layout::*)(std::string const&) const>{
              "elements", &Layout::element},
          {"requests", &Layout::request}}) {
      Json const model = fabric_->section(section).value_or(Json::object());
      for (auto it = model.begin(); it != model.end(); ++it) {
        wanted[(layout_.*keyOf)(it.key())] = it->dump();
      }
    }
    if (auto nodes = fabric_->section("switchNodes")) wanted[layout_.switchNodes()] = nodes->dump();
    std::vector<std::vector<std::string>> commands;
    for (auto const& [key, text] : wanted) {
      auto it = views_.find(key);
      if (it == views_.end() || it->second != text) commands.push_back({"SET", key, text});
    }
    for (auto const& [key, text] : views_) {
      if (!wanted.count(key)) commands.push_back({"DEL", key});
    }
    views_ = std::move(wanted);
    std::vector<std::string> stats = {"HSET", layout_.stats()};
    for (auto const& [name, value] : stats_.fields()) {
      stats.push_back(name);
      stats.push_back(std::to_string(value));
    }
    commands.push_back(std::move(stats));
    cmd_->append({"MULTI"});
    for (auto const& c : commands) cmd_->append(c);
    cmd_->append({"EXEC"});
    if (auto error = cmd_->flush()) log_ << "vnagent serve: Redis refused a write: " << *error << std::endl;
  }

  void logStats() {
    lastStats_ = Clock::now();
    // A walk over every switch's outputs: once a minute, not with each view.
    stats_.conflicts = static_cast<long long>(conflictsOf(snapshotOf(*fabric_)).size());
    log_ << "vnagent serve: stats";
    for (auto const& [name, value] : stats_.fields()) log_ << " " << name << "=" << value;
    log_ << std::endl;
  }

  // --- the loop ---

  void follow() {
    lastStats_ = Clock::now();
    lastViews_ = Clock::now();
    refreshViews();
    while (!stopping()) {
      auto message = sub_->next(viewsStale_ ? 50 : 100);
      if (message) {
        std::vector<std::string> keys;
        std::set<std::string> seen;
        auto take = [&](Reply const& r) {
          // ["pmessage", pattern, channel, event]
          if (!r.isArray() || r.size() != 4 || r[0].str() != "pmessage") return;
          std::string key = r[2].str().substr(channel_.size());
          if (seen.insert(key).second) keys.push_back(std::move(key));
        };
        take(*message);
        // Events already here are taken together: their reads go out at once.
        while (keys.size() < 1000) {
          auto more = sub_->next(0);
          if (!more) break;
          take(*more);
        }
        handle(keys);
      }
      auto const now = Clock::now();
      if (message) lastEvent_ = now;
      // The views are a walk over the whole model: written once the stream
      // has paused, or every few seconds while it does not.
      if (viewsStale_ && (now - lastEvent_ > std::chrono::milliseconds(200) ||
                          now - lastViews_ > std::chrono::seconds(5))) {
        refreshViews();
      }
      if (now - lastStats_ > std::chrono::seconds(o_.statsSeconds)) logStats();
    }
  }

  void handle(std::vector<std::string> const& keys) {
    cmd_->flush();
    for (std::string const& key : keys) cmd_->append({"GET", key});
    std::vector<Reply> values;
    for (std::size_t i = 0; i < keys.size(); ++i) values.push_back(cmd_->reply());
    for (std::size_t i = 0; i < keys.size(); ++i) {
      Reply const& r = values[i];
      bool const gone = r.isNil();
      std::optional<std::string> text;
      if (r.isString()) text = r.str();
      if (apply(keys[i], text, gone)) writeOutputs();
    }
    if (auto error = cmd_->flush()) log_ << "vnagent serve: Redis refused a write: " << *error << std::endl;
  }

  ServeOptions const& o_;
  std::ostream& log_;
  Layout layout_;
  std::unique_ptr<std::ofstream> traceFile_;
  std::unique_ptr<TraceLog> traceLog_;
  std::unique_ptr<Fabric> fabric_;
  std::unique_ptr<Redis> cmd_;
  std::unique_ptr<Redis> sub_;
  std::string channel_;

  std::map<std::string, Json> held_;  // input key -> the value the records have
  std::map<std::string, std::optional<std::string>> waiting_;
  std::map<std::string, std::string> errorsHeld_;
  std::map<std::string, Json> leftoverPvc_;
  std::map<std::string, Json> leftoverVtep_;

  Hashes written_;  // the switch outputs as the store holds them
  std::map<std::string, std::string> views_;
  std::map<std::string, Dirty> dirty_;
  bool dirsChanged_ = false;
  bool viewsStale_ = false;
  std::vector<Vek::Ptr<Watch>> dirWatches_;
  std::map<std::string, std::vector<Vek::Ptr<Watch>>> watches_;
  std::map<std::string, std::pair<Vek::Entity const*, Vek::Entity const*>> watchedEntities_;

  Stats stats_;
  Clock::time_point lastStats_ = Clock::now();
  Clock::time_point lastViews_ = Clock::now();
  Clock::time_point lastEvent_ = Clock::now();
};

}  // namespace

int serve(ServeOptions const& options) {
  Service service(options);
  return service.run();
}

int load(std::string const& file, RedisUrl const& url, std::string const& prefix, int stepDelayMs,
         std::ostream& log) {
  Scenario scenario;
  try {
    scenario = loadScenario(file);
  } catch (FileError const& e) {
    log << "ERROR " << e.what() << std::endl;
    return 2;
  }
  Layout const layout(prefix);
  Redis redis(url);
  Json tree = Json::object();
  Split before;
  bool first = true;
  for (Step const& step : scenario.steps) {
    if (step.kind != Step::Kind::set) continue;
    if (!first && stepDelayMs > 0) std::this_thread::sleep_for(std::chrono::milliseconds(stepDelayMs));
    first = false;
    tree.merge_patch(jsonOf(step.body));
    Split after = split(layout, tree);
    // What goes, then what comes, in the order a full load applies keys
    // (the reverse for removals), so that the service hears a host before
    // its edges and an edge's removal before its host's.
    auto order = [&](std::string const& key) {
      auto parsed = layout.parseInput(key);
      return std::pair{parsed ? int(parsed->kind) : -1, key};
    };
    std::vector<std::pair<int, std::string>> gone, changed;
    for (auto const& [key, value] : before.inputs) {
      if (!after.inputs.count(key)) gone.push_back(order(key));
    }
    for (auto const& [key, value] : after.inputs) {
      auto it = before.inputs.find(key);
      if (it == before.inputs.end() || it->second != value) changed.push_back(order(key));
    }
    std::sort(gone.rbegin(), gone.rend());
    std::sort(changed.begin(), changed.end());
    redis.append({"MULTI"});
    for (auto const& [kind, key] : gone) redis.append({"DEL", key});
    for (auto const& [kind, key] : changed) redis.append({"SET", key, after.inputs.at(key).dump()});
    for (auto const& [key, fields] : after.leftovers) {
      auto it = before.leftovers.find(key);
      if (it != before.leftovers.end() && it->second == fields) continue;
      redis.append({"DEL", key});
      std::vector<std::string> hset = {"HSET", key};
      for (auto const& [f, v] : fields) {
        hset.push_back(f);
        hset.push_back(v);
      }
      if (hset.size() > 2) redis.append(hset);
    }
    redis.append({"EXEC"});
    if (auto error = redis.flush()) {
      log << "ERROR " << url.text() << " refused step " << step.number << ": " << *error << std::endl;
      return 1;
    }
    before = std::move(after);
  }
  return 0;
}

Json dumpModel(RedisUrl const& url, std::string const& prefix) {
  Layout const layout(prefix);
  Redis redis(url);
  Outputs const outputs = readOutputs(redis, layout);
  std::map<std::string, Json, KeyOrder> pvc, vtep, elements, requests;
  Json nodes = Json::array();
  auto fieldsAt = [&](std::string const& key) {
    auto it = outputs.hashes.find(key);
    return it == outputs.hashes.end() ? Fields() : it->second;
  };
  for (auto const& [key, fields] : outputs.hashes) {
    auto parsed = layout.parseOutput(key);
    if (!parsed || parsed->kind != OutputKey::Kind::switchIndex) continue;
    std::string const& sw = parsed->name;
    if (fields.count("portVlanConfig")) pvc[sw] = portVlanConfigOf(fieldsAt(layout.portVlanConfig(sw)));
    if (!fields.count("vtepConfig")) continue;
    std::map<std::string, Json, KeyOrder> vteps;
    for (auto const& [field, value] : fields) {
      if (field.rfind("vtep|", 0) != 0) continue;
      std::string const name = field.substr(5);
      vteps[name] = vtepMapOf(fieldsAt(layout.vtepConfig(sw, name)));
    }
    Json out = Json::object();
    for (auto& [k, v] : vteps) out[k] = std::move(v);
    vtep[sw] = std::move(out);
  }
  for (auto const& [key, text] : outputs.texts) {
    auto parsed = layout.parseOutput(key);
    if (!parsed) continue;
    Json value = Json::parse(text, nullptr, false);
    if (parsed->kind == OutputKey::Kind::element) elements[parsed->name] = std::move(value);
    if (parsed->kind == OutputKey::Kind::request) requests[parsed->name] = std::move(value);
    if (parsed->kind == OutputKey::Kind::switchNodes) nodes = std::move(value);
  }
  auto object = [](std::map<std::string, Json, KeyOrder>& entries) {
    Json out = Json::object();
    for (auto& [k, v] : entries) out[k] = std::move(v);
    return out;
  };
  Json model = Json::object();
  model["portVlanConfig"] = object(pvc);
  model["vtepConfig"] = object(vtep);
  model["elements"] = object(elements);
  model["requests"] = object(requests);
  model["switchNodes"] = nodes;
  return model;
}

}  // namespace vnagent::serve
