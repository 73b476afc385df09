#include "reactive/Trace.h"

#include <cstdio>
#include <utility>

#include "reactive/Entity.h"

namespace Vek {

std::string TraceRecord::text() const { return object + " [ " + signature + " ] " + message; }

TraceHandle::TraceHandle(char const* name, int level) : name_(name), level_(level) {}

void TraceHandle::sinkIs(TraceSink sink) { sink_ = std::move(sink); }

void TraceHandle::write(TraceRecord const& record) const {
  if (sink_) {
    sink_(record);
    return;
  }
  std::string line = record.text();
  line += '\n';
  std::fputs(line.c_str(), stderr);
}

TraceHandle& traceHandle() {
  // Off by default: a host process asks for the levels it wants.
  static TraceHandle handle("VirtualNetworkAgent", -1);
  return handle;
}

TraceStream& TraceStream::operator<<(Entity const* e) {
  if (e) {
    os_ << e->name();
  } else {
    os_ << "null";
  }
  return *this;
}

TraceHelper::TraceHelper(int level, void const* object, TraceSite const& site, int line)
    : level_(level), object_(object), site_(site), line_(line) {}

void TraceHelper::trace() {
  char address[32];
  std::snprintf(address, sizeof address, "%p", object_);
  traceHandle().write(TraceRecord{level_, address, site_.signature, stream_.str(),
                                  "VirtualNetworkAgent", line_, site_.function});
}

}  // namespace Vek
