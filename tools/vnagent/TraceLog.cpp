#include "tools/vnagent/TraceLog.h"

#include <algorithm>

#include "tools/vnagent/Shape.h"

namespace vnagent {

std::string TraceLine::text() const {
  return "[" + std::to_string(level) + "] " + object + " [ " + signature + " ] " + message;
}

TraceLog::TraceLog(int recordLevel, int liveLevel, std::ostream* live)
    : recordLevel_(recordLevel), liveLevel_(live ? liveLevel : -1), live_(live) {
  Vek::traceHandle().sinkIs([this](Vek::TraceRecord const& record) { take(record); });
  Vek::traceHandle().levelIs(std::max(recordLevel_, liveLevel_));
}

TraceLog::~TraceLog() {
  Vek::traceHandle().levelIs(-1);
  Vek::traceHandle().sinkIs(nullptr);
}

void TraceLog::take(Vek::TraceRecord const& record) {
  auto [it, added] = objects_.try_emplace(record.object, std::string());
  if (added) it->second = "@" + std::to_string(objects_.size());
  TraceLine line{record.level, it->second, record.signature, record.function ? record.function : "",
                 record.message};
  if (live_ && record.level <= liveLevel_) *live_ << line.text() << std::endl;
  if (record.level <= recordLevel_) lines_.push_back(std::move(line));
}

std::string TraceItem::text() const {
  if (message && !level && !function) return "'" + *message + "'";
  std::string t = "{";
  auto add = [&t](std::string const& part) { t += (t.size() > 1 ? ", " : "") + part; };
  if (level) add("level: " + std::to_string(*level));
  if (function) add("function: '" + *function + "'");
  if (message) add("message: '" + *message + "'");
  return t + "}";
}

TraceItem traceItem(YAML::Node const& node) {
  TraceItem item;
  if (node.IsScalar()) {
    item.message = node.Scalar();
    return item;
  }
  if (YAML::Node level = node["level"]) item.level = static_cast<int>(*parseU32(level.Scalar()));
  if (YAML::Node function = node["function"]) item.function = function.Scalar();
  if (YAML::Node message = node["message"]) item.message = message.Scalar();
  return item;
}

namespace {

bool functionMatches(std::string const& function, TraceLine const& line) {
  if (function == line.signature || function == line.function) return true;
  // A qualified name: it must end the function's name in the signature, that
  // is stand before the parameter list, after a blank, a ':' or a '*'.
  std::string const needle = function + "(";
  for (std::size_t at = line.signature.find(needle); at != std::string::npos;
       at = line.signature.find(needle, at + 1)) {
    if (at == 0) return true;
    char const before = line.signature[at - 1];
    if (before == ' ' || before == '*' || before == '&' || (before == ':' && function[0] != ':')) {
      return true;
    }
  }
  return false;
}

}  // namespace

bool matches(TraceItem const& item, TraceLine const& line) {
  if (item.level && *item.level != line.level) return false;
  if (item.message && *item.message != line.message) return false;
  if (item.function && !functionMatches(*item.function, line)) return false;
  return true;
}

std::optional<std::size_t> firstMissing(std::vector<TraceItem> const& items,
                                        std::vector<TraceLine> const& lines) {
  std::size_t next = 0;
  for (std::size_t i = 0; i < items.size(); ++i) {
    while (next < lines.size() && !matches(items[i], lines[next])) ++next;
    if (next == lines.size()) return i;
    ++next;
  }
  return std::nullopt;
}

std::optional<Excluded> firstExcluded(std::vector<TraceItem> const& items,
                                      std::vector<TraceLine> const& lines) {
  for (std::size_t l = 0; l < lines.size(); ++l) {
    for (std::size_t i = 0; i < items.size(); ++i) {
      if (matches(items[i], lines[l])) return Excluded{i, l};
    }
  }
  return std::nullopt;
}

}  // namespace vnagent
