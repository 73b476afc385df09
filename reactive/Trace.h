// Tracing: the one handle "VirtualNetworkAgent", levels 0 to 9.
//
//   0  configuration conflicts an operator must see
//   1  an input is not in the state that was assumed
//   2  changes of state
//   3  detail inside a change
//   9  entry of every handler
//
// A handler opens with its level 9 entry line, which also names the handler
// as the site of every line traced below it, lambdas of its walks included:
//
//   void TopologySm::handleHost(Vek::Name name) {
//     VEK_ENTRY << name;
//     Vek::forEachKey(ports, [&](Vek::Name port) { VEK_TRACE(2) << "Port " << port; });
//   }
//
// A function that traces without an entry line names itself with
// VEK_TRACE_SITE; a step shared by several handlers is handed the caller's
// site (`vekTraceSite_`, the name the site has in scope) and traces on its
// behalf with VEK_TRACE_SITE_OF(site). A trace site
// outside such a scope does not compile, so no line can lose its handler.
//
// When the level is off the site costs one call and the message is not
// built. A line reads "<object> [ <full signature> ] <message>", the object
// being the address of the machine or reactor whose member traces. A host
// process sets the level with traceHandle().levelIs(n) and receives every
// line through the sink it installs; the default sink writes the line to
// standard error.
#pragma once

#include <functional>
#include <ostream>
#include <sstream>
#include <string>

#include "reactive/String.h"

namespace Vek {

class Entity;

// The function on whose behalf lines are traced: its full signature and its
// plain name.
struct TraceSite {
  char const* signature;
  char const* function;
};

// One trace line as a sink receives it.
struct TraceRecord {
  int level;
  std::string object;     // the address of the tracing object
  std::string signature;  // the full signature of the tracing function
  std::string message;
  char const* file;  // "VirtualNetworkAgent"
  int line;
  char const* function;  // the plain function name

  // "<object> [ <signature> ] <message>"
  std::string text() const;
};

using TraceSink = std::function<void(TraceRecord const&)>;

class TraceHandle {
 public:
  TraceHandle(char const* name, int level);
  char const* name() const { return name_; }
  int level() const { return level_; }
  // Enables every level up to `level`; -1 turns tracing off.
  void levelIs(int level) { level_ = level; }
  bool enabled(int level) const { return level <= level_; }
  // Installs a sink; an empty one restores the default (standard error).
  void sinkIs(TraceSink sink);
  void write(TraceRecord const& record) const;

 private:
  char const* name_;
  int level_;
  TraceSink sink_;
};

// The handle of the whole system, made at first use.
TraceHandle& traceHandle();

class TraceStream {
 public:
  TraceStream() { os_ << std::boolalpha; }
  TraceStream& operator<<(char const* s) {
    os_ << s;
    return *this;
  }
  TraceStream& operator<<(Entity const* e);
  template <class T>
  TraceStream& operator<<(T const& v) {
    os_ << v;
    return *this;
  }
  std::string str() const { return os_.str(); }

 private:
  std::ostringstream os_;
};

// Builds one line and hands it to the handle when the statement ends.
class TraceHelper {
 public:
  // Null when `level` is off: the caller then builds nothing.
  static bool createIfEnabled(TraceHandle const& handle, int level) {
    return handle.enabled(level);
  }
  TraceHelper(int level, void const* object, TraceSite const& site, int line);
  TraceHelper(TraceHelper const&) = delete;
  TraceHelper& operator=(TraceHelper const&) = delete;
  ~TraceHelper() { trace(); }
  TraceStream& stream() { return stream_; }

 private:
  void trace();

  int level_;
  void const* object_;
  TraceSite site_;
  int line_;
  TraceStream stream_;
};

}  // namespace Vek

// Names the enclosing function as the site of the lines traced in this scope.
#define VEK_TRACE_SITE ::Vek::TraceSite const vekTraceSite_{__PRETTY_FUNCTION__, __func__}

// Traces in this scope on behalf of `site`, a handler that shares this step.
#define VEK_TRACE_SITE_OF(site) ::Vek::TraceSite const vekTraceSite_ = (site)

// A loop of at most one pass rather than an if: safe inside an unbraced if.
#define VEK_TRACE_OBJ(object, level)                                                        \
  for (bool vekTraceOn_ = ::Vek::TraceHelper::createIfEnabled(::Vek::traceHandle(), level); \
       vekTraceOn_; vekTraceOn_ = false)                                                    \
  ::Vek::TraceHelper(level, object, vekTraceSite_, __LINE__).stream()

// Traces from a member function, naming `this` as the object.
#define VEK_TRACE(level) VEK_TRACE_OBJ(static_cast<void const*>(this), level)

// The first statement of every handler: names the site and writes the
// level 9 entry line.
#define VEK_ENTRY \
  VEK_TRACE_SITE; \
  VEK_TRACE(9)
