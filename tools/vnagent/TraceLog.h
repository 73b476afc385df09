// The agent's trace lines as a scenario sees them: recorded for `traces` and
// `tracesExclude` checks, and printed as they happen for --trace-level.
//
// A TraceLog installs itself as the sink of the one trace handle and sets
// the handle's level to the higher of the two levels; its destructor turns
// tracing off and restores the default sink. Only one may live at a time.
//
// The object of a line is the address of the machine that traced it, which
// differs from run to run; the log names objects "@1", "@2"... in the order
// in which they first trace, so that the same scenario prints the same
// lines on every run.
//
//   TraceLog log(3, -1, nullptr);
//   ... run a step ...
//   auto missing = firstMissing(items, log.lines());
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "tools/vnagent/Yaml.h"

#include "reactive/Trace.h"

namespace vnagent {

struct TraceLine {
  int level = 0;
  std::string object;     // "@3"
  std::string signature;  // the full signature of the tracing function
  std::string function;   // its plain name
  std::string message;

  // "[<level>] <object> [ <signature> ] <message>"
  std::string text() const;
};

class TraceLog {
 public:
  // Records lines up to `recordLevel` and writes lines up to `liveLevel` to
  // `live` (if not null) as they come; -1 turns either off.
  TraceLog(int recordLevel, int liveLevel, std::ostream* live);
  ~TraceLog();
  TraceLog(TraceLog const&) = delete;
  TraceLog& operator=(TraceLog const&) = delete;

  std::vector<TraceLine> const& lines() const { return lines_; }
  // Forgets the recorded lines (object names stay).
  void clear() { lines_.clear(); }

  // Takes one line; what the sink calls.
  void take(Vek::TraceRecord const& record);

 private:
  int recordLevel_;
  int liveLevel_;
  std::ostream* live_;
  std::map<std::string, std::string> objects_;
  std::vector<TraceLine> lines_;
};

// One item of a `traces` or `tracesExclude` check: a text is the message
// alone; a mapping gives any of level, function and message, all of which
// must match.
struct TraceItem {
  std::optional<int> level;
  std::optional<std::string> function;
  std::optional<std::string> message;

  // "'message'" or "{level: 2, function: 'f', message: 'm'}"
  std::string text() const;
};

TraceItem traceItem(YAML::Node const& node);

// Whether `line` matches `item`. The message must be equal. A function
// matches the full signature as traced, the plain name ("handleEnabled"), or
// a qualified name that ends the signature's function name
// ("VirtualNetworkAgentSm::handleEnabled").
bool matches(TraceItem const& item, TraceLine const& line);

// The index of the first item that is not found in order among `lines`
// (each item after the line that matched the one before it), or nullopt when
// all are found.
std::optional<std::size_t> firstMissing(std::vector<TraceItem> const& items,
                                        std::vector<TraceLine> const& lines);

struct Excluded {
  std::size_t item;
  std::size_t line;
};
// The first line that matches any of `items`, or nullopt.
std::optional<Excluded> firstExcluded(std::vector<TraceItem> const& items,
                                      std::vector<TraceLine> const& lines);

}  // namespace vnagent
