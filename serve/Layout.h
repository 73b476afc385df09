// Where the service keeps each record in Redis, under a prefix (default
// "vnagent"; docs/serve.md is the reader's version of this list):
//
//   <p>:in:config                          the configuration        (JSON)
//   <p>:in:status                          leftovers of the output root (JSON)
//   <p>:in:topology:host:<colon-mac>       a topology host          (JSON)
//   <p>:in:topology:edge:<mac>|<port>      a topology edge          (JSON)
//   <p>:in:topology:hostsByHostname:<name> a hostname group         (JSON)
//   <p>:in:dirs:<dir>:<dash-mac>           a switch's directory child: entry and entity (JSON)
//   <p>:in:clients:<client>                a client's entry and entity (JSON)
//   <p>:in:clients:<client>:hostname:<hostname>        one request by hostname (JSON)
//   <p>:in:clients:<client>:switchport:<mac>|<intf>    one request by switch port (JSON)
//
//   <p>:out:switch:<dash-mac>              which outputs a switch has (hash)
//   <p>:out:portVlanConfig:<dash-mac>      vlanList, allowed|<port>, native|<port> (hash)
//   <p>:out:vtepConfig:<dash-mac>|<vtep>   <port>|<vlan> -> VNI (hash)
//   <p>:out:element:<colon-mac>            an element, model form (JSON, for operators)
//   <p>:out:request:<hostname>             a global request, model form (JSON)
//   <p>:out:switchNodes                    the switch nodes (JSON list)
//   <p>:errors                             input key -> its last error (hash)
//   <p>:stats                              the service's counters (hash)
//
// Each input key holds, in JSON, the piece of the scenario format's input
// tree at its place. The entity of a switch's portVlanConfig and
// dynVtepConfig children is written by the agent: its input key says only
// that it exists ({}), its contents are the output hashes.
#pragma once

#include <map>
#include <optional>
#include <string>

#include "tools/vnagent/Compare.h"
#include "tools/vnagent/Shape.h"
#include "tools/vnagent/Yaml.h"

namespace vnagent::serve {

// In the order in which a full load applies them: what a key refers to
// comes before it (hosts before edges, requests before the client entity
// that takes them up).
enum class InputKind {
  config,
  status,
  host,
  edge,
  hostsByHostname,
  portVlanConfig,
  dynVtepConfig,
  dynVtepStatus,
  hostnameRequest,
  switchportRequest,
  client,
};

struct InputKey {
  InputKind kind = InputKind::config;
  std::string name;    // the record's key; for a request, the hostname or switch port
  std::string client;  // for a request: its client
};

struct OutputKey {
  enum class Kind { switchIndex, portVlanConfig, vtepConfig, element, request, switchNodes };
  Kind kind = Kind::switchIndex;
  std::string name;  // the switch (dash MAC), element or hostname
  std::string vtep;
};

// A switch's output hashes: key -> field -> value.
using Hashes = std::map<std::string, std::map<std::string, std::string>>;

class Layout {
 public:
  explicit Layout(std::string prefix) : p_(std::move(prefix)) {}

  std::string const& prefix() const { return p_; }
  std::string input(InputKey const& key) const;
  std::optional<InputKey> parseInput(std::string const& key) const;
  std::string inputs() const { return p_ + ":in:"; }
  std::string outputs() const { return p_ + ":out:"; }
  std::string client(std::string const& name) const { return p_ + ":in:clients:" + name; }

  std::string switchIndex(std::string const& sw) const { return p_ + ":out:switch:" + sw; }
  std::string portVlanConfig(std::string const& sw) const {
    return p_ + ":out:portVlanConfig:" + sw;
  }
  std::string vtepConfig(std::string const& sw, std::string const& vtep) const {
    return p_ + ":out:vtepConfig:" + sw + "|" + vtep;
  }
  std::string element(std::string const& name) const { return p_ + ":out:element:" + name; }
  std::string request(std::string const& name) const { return p_ + ":out:request:" + name; }
  std::string switchNodes() const { return p_ + ":out:switchNodes"; }
  std::optional<OutputKey> parseOutput(std::string const& key) const;

  std::string errors() const { return p_ + ":errors"; }
  std::string stats() const { return p_ + ":stats"; }

  // A switch's hashes from the model of its outputs (as Fabric lists them;
  // null where the switch has no such entity).
  Hashes switchHashes(std::string const& sw, Json const& portVlanConfig,
                      Json const& vtepConfig) const;

 private:
  std::string p_;
};

// The model of a portVlanConfig hash, and of a VTEP's hash.
Json portVlanConfigOf(std::map<std::string, std::string> const& fields);
Json vtepMapOf(std::map<std::string, std::string> const& fields);

// The shape a key's value must have (a part of the scenario grammar).
Shape const& shapeOf(InputKind kind);

// A scenario's input tree cut into keys: the input values, and the output
// hashes that stand for the entity contents it gives (leftovers of an
// earlier life).
struct Split {
  std::map<std::string, Json> inputs;
  Hashes leftovers;
};
Split split(Layout const& layout, Json const& tree);

// YAML and JSON, each way. From YAML, a quoted scalar stays a text and a
// plain one becomes a number or a boolean where it reads as one.
YAML::Node yamlOf(Json const& value);
Json jsonOf(YAML::Node const& node);

// The merge patch (RFC 7386) that takes `from` to `to`, following `shape`
// (null: `to` is absent): a collection that goes is written as the removal
// of each of its entries, as the records are changed one entry at a time.
Json difference(Json const& from, Json const& to, Shape const* shape);

}  // namespace vnagent::serve
