#include "serve/Redis.h"

#include <poll.h>

#include <charconv>
#include <cstdlib>

#include <hiredis/hiredis.h>

namespace vnagent::serve {

std::string RedisUrl::text() const {
  return "redis://" + (user.empty() ? std::string() : user + "@") + host + ":" +
         std::to_string(port) + "/" + std::to_string(db);
}

namespace {

int number(std::string const& text, char const* what) {
  int value = 0;
  auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (ec != std::errc() || end != text.data() + text.size() || value < 0) {
    throw std::invalid_argument(std::string("bad ") + what + " '" + text + "' in the Redis URL");
  }
  return value;
}

}  // namespace

RedisUrl parseRedisUrl(std::string const& url) {
  std::string const scheme = "redis://";
  if (url.compare(0, scheme.size(), scheme) != 0) {
    throw std::invalid_argument("a Redis URL starts with redis:// (found '" + url + "')");
  }
  RedisUrl out;
  std::string rest = url.substr(scheme.size());
  if (auto at = rest.rfind('@'); at != std::string::npos) {
    std::string const credentials = rest.substr(0, at);
    rest = rest.substr(at + 1);
    auto colon = credentials.find(':');
    out.user = credentials.substr(0, colon);
    if (colon != std::string::npos) out.password = credentials.substr(colon + 1);
  }
  if (auto slash = rest.find('/'); slash != std::string::npos) {
    std::string const db = rest.substr(slash + 1);
    if (!db.empty()) out.db = number(db, "database");
    rest = rest.substr(0, slash);
  }
  if (auto colon = rest.rfind(':'); colon != std::string::npos) {
    out.port = number(rest.substr(colon + 1), "port");
    rest = rest.substr(0, colon);
  }
  if (!rest.empty()) out.host = rest;
  return out;
}

void passwordFromEnvironment(RedisUrl& url) {
  if (!url.password.empty()) return;
  if (char const* env = std::getenv("VNAGENT_REDIS_PASSWORD")) url.password = env;
}

Reply::Reply(redisReply* r)
    : Reply(std::shared_ptr<redisReply>(r, [](redisReply* p) { freeReplyObject(p); }), r) {}

Reply::Reply(std::shared_ptr<redisReply> owner, redisReply* r) : owner_(std::move(owner)), r_(r) {
  if (r_ && r_->type == REDIS_REPLY_ARRAY) {
    for (std::size_t i = 0; i < r_->elements; ++i) children_.push_back(Reply(owner_, r_->element[i]));
  }
}

bool Reply::isNil() const { return !r_ || r_->type == REDIS_REPLY_NIL; }
bool Reply::isError() const { return r_ && r_->type == REDIS_REPLY_ERROR; }
bool Reply::isString() const {
  return r_ && (r_->type == REDIS_REPLY_STRING || r_->type == REDIS_REPLY_STATUS);
}
bool Reply::isArray() const { return r_ && r_->type == REDIS_REPLY_ARRAY; }
std::string Reply::str() const {
  if (!r_ || !r_->str) return std::string();
  return std::string(r_->str, r_->len);
}
long long Reply::integer() const { return r_ ? r_->integer : 0; }
std::size_t Reply::size() const { return children_.size(); }
Reply const& Reply::operator[](std::size_t i) const { return children_.at(i); }

Redis::Redis(RedisUrl const& url) : where_(url.text()) {
  timeval const timeout{2, 0};
  c_ = redisConnectWithTimeout(url.host.c_str(), url.port, timeout);
  if (!c_ || c_->err) {
    std::string const why = c_ ? c_->errstr : "out of memory";
    if (c_) redisFree(c_);
    c_ = nullptr;
    throw Disconnected("cannot connect to " + where_ + ": " + why);
  }
  // Commands wait at most this long for their reply; a server that does not
  // answer counts as gone.
  timeval const wait{10, 0};
  redisSetTimeout(c_, wait);
  if (!url.password.empty()) {
    Reply r = url.user.empty() ? command({"AUTH", url.password})
                               : command({"AUTH", url.user, url.password});
    if (r.isError()) throw Disconnected("cannot log in to " + where_ + ": " + r.str());
  }
  if (url.db != 0) {
    Reply r = command({"SELECT", std::to_string(url.db)});
    if (r.isError()) throw Disconnected("cannot select database on " + where_ + ": " + r.str());
  }
}

Redis::~Redis() {
  if (c_) redisFree(c_);
}

void Redis::append(std::vector<std::string> const& args) {
  std::vector<char const*> argv;
  std::vector<std::size_t> lengths;
  for (std::string const& a : args) {
    argv.push_back(a.data());
    lengths.push_back(a.size());
  }
  if (redisAppendCommandArgv(c_, int(argv.size()), argv.data(), lengths.data()) != REDIS_OK) {
    throw Disconnected("lost " + where_ + ": " + c_->errstr);
  }
  ++pending_;
}

Reply Redis::reply() {
  void* r = nullptr;
  if (redisGetReply(c_, &r) != REDIS_OK || !r) {
    throw Disconnected("lost " + where_ + ": " + (c_->errstr[0] ? c_->errstr : "no reply"));
  }
  if (pending_) --pending_;
  return Reply(static_cast<redisReply*>(r));
}

Reply Redis::command(std::vector<std::string> const& args) {
  append(args);
  // Replies of commands queued before this one come first.
  while (pending_ > 1) reply();
  return reply();
}

std::optional<std::string> Redis::flush() {
  std::optional<std::string> error;
  while (pending_) {
    Reply r = reply();
    if (r.isError() && !error) error = r.str();
    // The reply of EXEC is an array of the queued commands' replies.
    if (r.isArray()) {
      for (std::size_t i = 0; i < r.size(); ++i) {
        if (r[i].isError() && !error) error = r[i].str();
      }
    }
  }
  return error;
}

std::optional<Reply> Redis::next(int timeoutMs) {
  void* r = nullptr;
  auto buffered = [&]() {
    if (redisGetReplyFromReader(c_, &r) != REDIS_OK) {
      throw Disconnected("lost " + where_ + ": " + c_->errstr);
    }
    return r != nullptr;
  };
  if (buffered()) return Reply(static_cast<redisReply*>(r));
  pollfd p{c_->fd, POLLIN, 0};
  int const n = poll(&p, 1, timeoutMs);
  if (n == 0) return std::nullopt;
  if (n < 0) return std::nullopt;  // a signal: the caller looks at its flags
  if (redisBufferRead(c_) != REDIS_OK) throw Disconnected("lost " + where_ + ": " + c_->errstr);
  if (buffered()) return Reply(static_cast<redisReply*>(r));
  return std::nullopt;
}

}  // namespace vnagent::serve
