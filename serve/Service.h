// The agent as a service over Redis, and the tools around it.
//
// serve: reads every input key (Layout.h), applies them to a Fabric, starts
// the agent over it, writes the switch outputs that differ from what the
// store holds, then follows keyspace notifications of the input keys. On
// each event it reads the key and applies the difference from the value it
// holds, so that coalesced or repeated events change nothing twice; the
// output fields that one input change causes go out together in one
// MULTI/EXEC. The operator views (elements, requests, switch nodes) and the
// counters are written when the stream of events pauses, and every few
// seconds while it does not.
//
// Output records found in the store at the start are the records of the
// agent's last life: they are handed to the agent as the contents of the
// switches' entities, and the switch node's reconcile sweeps them. A lost
// connection is retried with backoff, then everything is read again (events
// are lost while disconnected) and only real differences are written.
//
//   ServeOptions options;
//   options.url = parseRedisUrl("redis://127.0.0.1:6379");
//   return serve(options);
#pragma once

#include <functional>
#include <ostream>
#include <string>

#include "serve/Redis.h"
#include "tools/vnagent/Compare.h"

namespace vnagent::serve {

struct ServeOptions {
  RedisUrl url;
  std::string prefix = "vnagent";
  bool once = false;        // reconcile, write, and exit
  int traceLevel = -1;      // the agent's trace lines up to this level...
  std::string traceFile;    // ...to this file, or standard error when empty
  std::ostream* log = nullptr;  // messages and counters; standard error when null
  int statsSeconds = 60;        // how often the counters are logged
  std::function<bool()> stopping;  // asked between events; true ends the service
};

// Exit status: 0 when stopped (or done with --once).
int serve(ServeOptions const& options);

// Writes the inputs of a scenario file's `set` steps, one MULTI/EXEC per
// step, `stepDelayMs` apart. Returns 0, or 2 when the file cannot be read.
int load(std::string const& file, RedisUrl const& url, std::string const& prefix,
         int stepDelayMs, std::ostream& log);

// The outputs in the store, in the model form of `vnagent show`.
Json dumpModel(RedisUrl const& url, std::string const& prefix);

}  // namespace vnagent::serve
