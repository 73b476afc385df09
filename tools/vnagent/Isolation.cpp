#include "tools/vnagent/Isolation.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>

namespace vnagent {

namespace {

constexpr char kAssertion[] = "Assertion `";
constexpr char kFailed[] = "' failed";
// What is kept of the child's standard error, to find the assertion in it.
constexpr std::size_t kKeptError = 1 << 20;

// The whole line of the last assertion message in `text`.
std::string assertionLine(std::string const& text) {
  std::size_t const at = text.rfind(kAssertion);
  if (at == std::string::npos) return std::string();
  std::size_t const begin = text.rfind('\n', at);
  std::size_t const end = text.find('\n', at);
  std::size_t const from = begin == std::string::npos ? 0 : begin + 1;
  return text.substr(from, end == std::string::npos ? std::string::npos : end - from);
}

bool writeAll(int fd, std::string const& text) {
  std::size_t done = 0;
  while (done < text.size()) {
    ssize_t const n = ::write(fd, text.data() + done, text.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    done += static_cast<std::size_t>(n);
  }
  return true;
}

// The child's side: runs the scenario and reports on `fd`, one line per
// message: "step N", then "pass" or "fail <message>".
[[noreturn]] void child(Scenario const& scenario, int liveTraceLevel, int fd) {
  RunOptions options;
  options.liveTraceLevel = liveTraceLevel;
  options.live = &std::cerr;
  options.onStep = [fd](int number) { writeAll(fd, "step " + std::to_string(number) + "\n"); };
  Outcome outcome;
  try {
    outcome = runScenario(scenario, options);
  } catch (std::exception const& e) {
    outcome = {false, scenario.file + ": the run stopped: " + e.what()};
  }
  std::string message = outcome.message;
  for (char& c : message) {
    if (c == '\n') c = ' ';
  }
  writeAll(fd, outcome.passed ? std::string("pass\n") : "fail " + message + "\n");
  ::close(fd);
  std::cerr.flush();
  // exit, not _exit: the sanitizers' leak check runs at exit.
  std::exit(0);
}

struct Report {
  int lastStep = 0;
  std::optional<Outcome> outcome;

  void line(std::string const& text) {
    if (text.rfind("step ", 0) == 0) {
      lastStep = std::atoi(text.c_str() + 5);
    } else if (text == "pass") {
      outcome = Outcome{};
    } else if (text.rfind("fail ", 0) == 0) {
      outcome = Outcome{false, text.substr(5)};
    }
  }
};

Outcome judge(Scenario const& scenario, int status, Report const& got,
              std::string const& errorText) {
  if (WIFSIGNALED(status)) return judgeSignal(scenario, got.lastStep, WTERMSIG(status), errorText);
  int const code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  if (!got.outcome) {
    return {false, scenario.file + ": the process ended without a result (exit status " +
                       std::to_string(code) + ")"};
  }
  if (code != 0 && got.outcome->passed) {
    return {false, scenario.file + ": the scenario passed, but its process exited with status " +
                       std::to_string(code) + " (see its error output)"};
  }
  return *got.outcome;
}

}  // namespace

std::optional<std::string> assertionExpression(std::string const& text) {
  std::size_t const at = text.rfind(kAssertion);
  if (at == std::string::npos) return std::nullopt;
  std::size_t const begin = at + sizeof kAssertion - 1;
  std::size_t const end = text.find(kFailed, begin);
  if (end == std::string::npos) return std::nullopt;
  return text.substr(begin, end - begin);
}

Outcome judgeSignal(Scenario const& scenario, int lastStep, int signal,
                    std::string const& errorText) {
  auto const expression = signal == SIGABRT ? assertionExpression(errorText) : std::nullopt;
  Step const* abortCheck = nullptr;
  if (lastStep >= 1 && lastStep < static_cast<int>(scenario.steps.size())) {
    Step const& next = scenario.steps[lastStep];
    if (next.isCheck() && next.body["abort"]) abortCheck = &next;
  }
  if (lastStep < 1) {
    return {false, scenario.file + ": the process ended by signal " + std::to_string(signal) +
                       " before the first step"};
  }
  Step const& step = scenario.steps[lastStep - 1];
  if (!expression) {
    char const* name = ::strsignal(signal);
    return {false, stepMessage(scenario, step, step.mark,
                               "the process ended by signal " + std::to_string(signal) + " (" +
                                   (name ? name : "unknown") + ")")};
  }
  if (abortCheck) {
    YAML::Node const expected = abortCheck->body["abort"];
    if (expected.Scalar() == *expression) return {};
    return {false,
            stepMessage(scenario, *abortCheck, expected.Mark(),
                        "abort: expected the assertion `" + expected.Scalar() + "', found `" +
                            *expression + "' (" + assertionLine(errorText) + ")")};
  }
  return {false, stepMessage(scenario, step, step.mark,
                             "the process ended by an assertion: " + assertionLine(errorText))};
}

Outcome runIsolated(Scenario const& scenario, int liveTraceLevel) {
  int report[2];
  int error[2];
  if (::pipe2(report, O_CLOEXEC) != 0)
    return {false, "cannot make a pipe: " + std::string(std::strerror(errno))};
  if (::pipe2(error, O_CLOEXEC) != 0) {
    ::close(report[0]);
    ::close(report[1]);
    return {false, "cannot make a pipe: " + std::string(std::strerror(errno))};
  }
  std::cout.flush();
  std::cerr.flush();
  std::fflush(nullptr);
  pid_t const pid = ::fork();
  if (pid < 0) {
    for (int fd : {report[0], report[1], error[0], error[1]}) ::close(fd);
    return {false, "cannot start a process: " + std::string(std::strerror(errno))};
  }
  if (pid == 0) {
    ::close(report[0]);
    ::close(error[0]);
    ::dup2(error[1], STDERR_FILENO);
    ::close(error[1]);
    child(scenario, liveTraceLevel, report[1]);
  }
  ::close(report[1]);
  ::close(error[1]);

  // With --trace-level the child's error output is passed on as it comes;
  // otherwise it is shown only if the scenario fails.
  bool const live = liveTraceLevel >= 0;
  Report got;
  std::string pendingLine;
  std::string errorText;
  pollfd fds[2] = {{report[0], POLLIN, 0}, {error[0], POLLIN, 0}};
  int open = 2;
  char buffer[4096];
  while (open > 0) {
    if (::poll(fds, 2, -1) < 0) {
      if (errno == EINTR) continue;
      break;
    }
    for (pollfd& p : fds) {
      if (p.fd < 0 || !(p.revents & (POLLIN | POLLHUP | POLLERR))) continue;
      ssize_t const n = ::read(p.fd, buffer, sizeof buffer);
      if (n < 0 && errno == EINTR) continue;
      if (n <= 0) {
        ::close(p.fd);
        p.fd = -1;
        --open;
        continue;
      }
      std::string const chunk(buffer, static_cast<std::size_t>(n));
      if (p.fd == error[0]) {
        if (live) writeAll(STDERR_FILENO, chunk);
        errorText += chunk;
        if (errorText.size() > 2 * kKeptError) errorText.erase(0, errorText.size() - kKeptError);
      } else {
        pendingLine += chunk;
        for (std::size_t nl; (nl = pendingLine.find('\n')) != std::string::npos;) {
          got.line(pendingLine.substr(0, nl));
          pendingLine.erase(0, nl + 1);
        }
      }
    }
  }

  int status = 0;
  while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  Outcome const outcome = judge(scenario, status, got, errorText);
  if (!outcome.passed && !live) writeAll(STDERR_FILENO, errorText);
  return outcome;
}

}  // namespace vnagent
