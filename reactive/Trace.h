// Tracing: the one handle "VirtualNetworkAgent", levels 0 to 9.
//
//   0  configuration conflicts an operator must see
//   1  an input is not in the state that was assumed
//   2  changes of state
//   3  detail inside a change
//   9  entry of every handler
//
// A trace site is one statement:
//
//   VEK_TRACE(2) << "client " << client << " added";
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
  TraceHelper(int level, void const* object, char const* signature, int line, char const* function);
  TraceHelper(TraceHelper const&) = delete;
  TraceHelper& operator=(TraceHelper const&) = delete;
  ~TraceHelper() { trace(); }
  TraceStream& stream() { return stream_; }

 private:
  void trace();

  int level_;
  void const* object_;
  char const* signature_;
  int line_;
  char const* function_;
  TraceStream stream_;
};

}  // namespace Vek

// A loop of at most one pass rather than an if: safe inside an unbraced if.
#define VEK_TRACE_OBJ(object, level)                                                        \
  for (bool vekTraceOn_ = ::Vek::TraceHelper::createIfEnabled(::Vek::traceHandle(), level); \
       vekTraceOn_; vekTraceOn_ = false)                                                    \
  ::Vek::TraceHelper(level, object, __PRETTY_FUNCTION__, __LINE__, __func__).stream()

// Traces from a member function, naming `this` as the object.
#define VEK_TRACE(level) VEK_TRACE_OBJ(static_cast<void const*>(this), level)

// Traces on behalf of the function whose signature is given: for the steps
// that several handlers share, each line still names the handler.
#define VEK_TRACE_AS(signature, level)                                                      \
  for (bool vekTraceOn_ = ::Vek::TraceHelper::createIfEnabled(::Vek::traceHandle(), level); \
       vekTraceOn_; vekTraceOn_ = false)                                                    \
  ::Vek::TraceHelper(level, static_cast<void const*>(this), signature, __LINE__, __func__).stream()
