#include "tools/vnagent/Runner.h"

#include <optional>

#include "tools/vnagent/Fabric.h"
#include "tools/vnagent/Grammar.h"
#include "tools/vnagent/TraceLog.h"

namespace vnagent {

namespace {

// An exception that a step raised and that no check has named yet.
struct Pending {
  Step const* step;
  Raised raised;
};

class Run {
 public:
  Run(Scenario const& scenario, RunOptions const& options)
      : scenario_(scenario),
        options_(options),
        log_(scenario.traceLevel, options.liveTraceLevel, options.live) {}

  Outcome checked() {
    for (Step const& step : scenario_.steps) {
      if (options_.onStep) options_.onStep(step.number);
      if (step.isCheck()) {
        if (auto failure = check(step)) return {false, *failure};
        pending_.reset();
        log_.clear();
        lastCheck_ = step.number;
        continue;
      }
      if (pending_) return {false, unnamed()};
      try {
        if (auto raised = act(step)) pending_ = Pending{&step, *raised};
      } catch (PatchFault const& fault) {
        return {false, stepMessage(scenario_, step, fault.mark, fault.message)};
      }
    }
    if (pending_) return {false, unnamed()};
    return {};
  }

  Shown shown() {
    Shown out;
    out.model = Json::object();
    for (Step const& step : scenario_.steps) {
      if (options_.onStep) options_.onStep(step.number);
      if (step.isCheck()) continue;
      std::optional<std::string> raisedText;
      try {
        if (auto raised = act(step)) {
          raisedText = raised->text;
          out.notes.push_back(
              stepMessage(scenario_, step, raised->mark, "raised: " + raised->text));
        }
      } catch (PatchFault const& fault) {
        raisedText = fault.message;
        out.notes.push_back(stepMessage(scenario_, step, fault.mark, fault.message));
      }
      if (options_.afterStep) options_.afterStep(step, raisedText, fabric_);
    }
    for (std::string const& name : recordSections()) {
      std::string why;
      if (auto section = fabric_.section(name, &why)) {
        out.model[name] = *section;
      } else {
        out.notes.push_back(name + ": not available in this build: " + why);
      }
    }
    return out;
  }

 private:
  std::optional<Raised> act(Step const& step) {
    switch (step.kind) {
      case Step::Kind::set:
        return fabric_.apply(step.body);
      case Step::Kind::start:
        return fabric_.start(step.mark);
      case Step::Kind::stop:
        return fabric_.stop(step.mark);
      case Step::Kind::restart:
        if (auto raised = fabric_.stop(step.mark)) return raised;
        return fabric_.start(step.mark);
      case Step::Kind::expect:
      case Step::Kind::expectIncludes:
        break;
    }
    return std::nullopt;
  }

  std::string unnamed() const {
    return stepMessage(scenario_, *pending_->step, pending_->raised.mark,
                       "raised: " + pending_->raised.text +
                           " (a check naming it with 'error' must follow the step)");
  }

  std::string since() const {
    return lastCheck_ ? "since step " + std::to_string(lastCheck_) : "since the start";
  }

  // The first failure of a check step, or nullopt.
  std::optional<std::string> check(Step const& step) {
    YAML::Node const& body = step.body;
    if (pending_ && !body["error"]) return unnamed();
    Match const mode = step.kind == Step::Kind::expect ? Match::exact : Match::includes;
    for (auto it = body.begin(); it != body.end(); ++it) {
      std::string const section = it->first.Scalar();
      YAML::Node const node = it->second;
      YAML::Mark const keyMark = it->first.Mark();
      auto fail = [&](YAML::Mark const& mark, std::string const& detail) {
        return stepMessage(scenario_, step, mark, section + ": " + detail);
      };
      if (section == "error") {
        std::optional<std::string> const expected =
            node.IsNull() ? std::nullopt : std::optional<std::string>(node.Scalar());
        std::optional<std::string> const found =
            pending_ ? std::optional<std::string>(pending_->raised.text) : std::nullopt;
        if (expected == found) continue;
        std::string const expectedText = expected ? "'" + *expected + "'" : "no error";
        std::string const foundText =
            found ? "'" + *found + "' (raised by step " + std::to_string(pending_->step->number) +
                        " at " + position(scenario_.file, pending_->raised.mark) + ")"
                  : "no error";
        return fail(node.IsNull() ? keyMark : node.Mark(),
                    "expected " + expectedText + ", found " + foundText);
      }
      if (section == "traces" || section == "tracesExclude") {
        std::vector<TraceItem> items;
        for (std::size_t i = 0; i < node.size(); ++i) items.push_back(traceItem(node[i]));
        std::vector<TraceLine> const& lines = log_.lines();
        if (section == "traces") {
          if (auto missing = firstMissing(items, lines)) {
            std::string const after =
                *missing ? " after the line of item " + std::to_string(*missing) : std::string();
            return fail(node[*missing].Mark(),
                        std::to_string(*missing + 1) + ": expected " + items[*missing].text() +
                            after + ", not found among the " + std::to_string(lines.size()) +
                            " lines up to level " + std::to_string(scenario_.traceLevel) +
                            " written " + since());
          }
        } else if (auto excluded = firstExcluded(items, lines)) {
          return fail(node[excluded->item].Mark(),
                      std::to_string(excluded->item + 1) + ": expected no line like " +
                          items[excluded->item].text() + ", found " + lines[excluded->line].text());
        }
        continue;
      }
      if (section == "abort") {
        return fail(node.Mark(), "expected step " + std::to_string(step.number - 1) +
                                     " to end the process by the assertion `" + node.Scalar() +
                                     "', but it ran to its end");
      }
      std::string why;
      auto actual = fabric_.section(section, &why);
      if (!actual) return fail(keyMark, "not available in this build: " + why);
      Shape const& shape = *checksShape().field(section);
      if (auto difference = compare(node, *actual, shape, mode, keyMark)) {
        return fail(difference->mark, difference->text());
      }
    }
    return std::nullopt;
  }

  Scenario const& scenario_;
  RunOptions const& options_;
  TraceLog log_;
  // After the log: the agent's destructor may still trace into it.
  Fabric fabric_;
  std::optional<Pending> pending_;
  int lastCheck_ = 0;
};

}  // namespace

std::string stepMessage(Scenario const& scenario, Step const& step, YAML::Mark const& mark,
                        std::string const& detail) {
  return position(scenario.file, mark) + ": step " + std::to_string(step.number) + " " +
         stepKindName(step.kind) + ": " + detail;
}

Outcome runScenario(Scenario const& scenario, RunOptions const& options) {
  return Run(scenario, options).checked();
}

Shown showScenario(Scenario const& scenario, RunOptions const& options) {
  return Run(scenario, options).shown();
}

}  // namespace vnagent
