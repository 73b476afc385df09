#include "tools/vnagent/Scenario.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include "tools/vnagent/Grammar.h"
#include "tools/vnagent/Shape.h"

namespace vnagent {

namespace {

// Where a node stands, for messages: "step 3 set at clients/c1/entity".
struct Where {
  std::string context;
  std::vector<std::string> path;

  Where operator/(std::string const& key) const {
    Where w = *this;
    w.path.push_back(key);
    return w;
  }
  std::string text() const {
    if (path.empty()) return context;
    return context + " at " + pathText(path);
  }
};

std::string found(YAML::Node const& node) {
  switch (node.Type()) {
    case YAML::NodeType::Null:
    case YAML::NodeType::Undefined:
      return "null";
    case YAML::NodeType::Scalar:
      return "'" + node.Scalar() + "'";
    case YAML::NodeType::Sequence:
      return "a list";
    case YAML::NodeType::Map:
      return "a mapping";
  }
  return "something else";
}

bool plain(YAML::Node const& node) { return node.Tag() == "?"; }

bool isTrue(YAML::Node const& node) {
  std::string const& s = node.Scalar();
  return plain(node) && (s == "true" || s == "True" || s == "TRUE");
}
bool isFalse(YAML::Node const& node) {
  std::string const& s = node.Scalar();
  return plain(node) && (s == "false" || s == "False" || s == "FALSE");
}

class Validator {
 public:
  explicit Validator(std::string file) : file_(std::move(file)) {}

  [[noreturn]] void fail(YAML::Mark const& mark, std::string const& message) const {
    throw FileError(file_, mark, message);
  }

  [[noreturn]] void wrongType(YAML::Node const& node, YAML::Mark const& mark,
                              std::string const& what, Where const& where) const {
    fail(mark, "expected " + what + " in " + where.text() + ", found " + found(node));
  }

  // Checks `node` against `shape`. `keyMark` is where its key stands, used
  // for values that have no text of their own (an empty value).
  void check(YAML::Node const& node, Shape const& shape, Where const& where,
             YAML::Mark const& keyMark) const {
    YAML::Mark const mark = node.IsNull() ? keyMark : node.Mark();
    if (node.IsNull()) {
      if (!shape.nullable) wrongType(node, mark, shape.describe(), where);
      return;
    }
    switch (shape.kind) {
      case Shape::Kind::record:
        if (!node.IsMap()) wrongType(node, mark, shape.describe(), where);
        checkRecord(node, shape, where);
        return;
      case Shape::Kind::collection:
        if (!node.IsMap()) wrongType(node, mark, shape.describe(), where);
        checkCollection(node, shape, where);
        return;
      case Shape::Kind::set:
        if (!node.IsSequence()) wrongType(node, mark, shape.describe(), where);
        for (std::size_t i = 0; i < node.size(); ++i) {
          YAML::Node item = node[i];
          if (!item.IsScalar() || !keyValid(shape.key, item.Scalar())) {
            wrongType(item, item.IsNull() ? mark : item.Mark(), describeKey(shape.key),
                      where / std::to_string(i + 1));
          }
        }
        return;
      case Shape::Kind::list:
        if (!node.IsSequence()) wrongType(node, mark, shape.describe(), where);
        for (std::size_t i = 0; i < node.size(); ++i) {
          check(node[i], *shape.value, where / std::to_string(i + 1), mark);
        }
        return;
      case Shape::Kind::scalar:
        checkScalar(node, shape, where, mark);
        return;
      case Shape::Kind::either:
        if (node.IsMap()) {
          checkRecord(node, *shape.value, where);
        } else if (node.IsScalar()) {
          checkScalar(node, shape, where, mark);
        } else {
          wrongType(node, mark, shape.describe(), where);
        }
        return;
    }
  }

  void checkRecord(YAML::Node const& node, Shape const& shape, Where const& where) const {
    std::set<std::string> seen;
    for (auto it = node.begin(); it != node.end(); ++it) {
      YAML::Node const key = it->first;
      if (!key.IsScalar()) fail(key.Mark(), "expected a name as a key in " + where.text());
      std::string const name = key.Scalar();
      Shape const* field = shape.field(name);
      if (!field) {
        std::string known;
        for (Field const& f : shape.fields) known += (known.empty() ? "" : ", ") + f.name;
        fail(key.Mark(),
             "unknown key '" + name + "' in " + where.text() +
                 (known.empty() ? " (it takes no keys)" : " (known keys: " + known + ")"));
      }
      if (!seen.insert(name).second) {
        fail(key.Mark(), "duplicate key '" + name + "' in " + where.text());
      }
      check(it->second, *field, where / name, key.Mark());
    }
  }

  void checkCollection(YAML::Node const& node, Shape const& shape, Where const& where) const {
    std::set<std::string> seen;
    for (auto it = node.begin(); it != node.end(); ++it) {
      YAML::Node const key = it->first;
      if (!key.IsScalar() || !keyValid(shape.key, key.Scalar())) {
        fail(key.Mark(), "expected " + describeKey(shape.key) + " as a key in " + where.text() +
                             ", found " + found(key));
      }
      std::string const canonical = canonicalKey(shape.key, key.Scalar());
      if (!seen.insert(canonical).second) {
        fail(key.Mark(), "duplicate key '" + key.Scalar() + "' in " + where.text());
      }
      check(it->second, *shape.value, where / key.Scalar(), key.Mark());
    }
  }

  void checkScalar(YAML::Node const& node, Shape const& shape, Where const& where,
                   YAML::Mark const& mark) const {
    if (!node.IsScalar()) wrongType(node, mark, shape.describe(), where);
    std::string const& text = node.Scalar();
    bool ok = true;
    switch (shape.scalarKind) {
      case ScalarKind::text:
        break;
      case ScalarKind::u32:
        ok = parseU32(text).has_value();
        break;
      case ScalarKind::boolean:
        ok = isTrue(node) || isFalse(node);
        break;
      case ScalarKind::present:
        ok = isTrue(node);
        break;
      case ScalarKind::range:
        ok = parseRange(text).has_value();
        break;
      case ScalarKind::word:
        ok = std::find(shape.words.begin(), shape.words.end(), text) != shape.words.end();
        break;
    }
    if (!ok) wrongType(node, mark, shape.describe(), where);
  }

  Scenario scenario(YAML::Node const& root) const {
    Scenario s;
    s.file = file_;
    s.name = std::filesystem::path(file_).stem().string();
    Where const top{"the scenario", {}};
    if (!root.IsMap()) {
      wrongType(root, root.Mark(), "a mapping with 'steps'", top);
    }
    std::set<std::string> seen;
    bool haveSteps = false;
    for (auto it = root.begin(); it != root.end(); ++it) {
      YAML::Node const key = it->first;
      YAML::Node const value = it->second;
      std::string const name = key.IsScalar() ? key.Scalar() : std::string();
      if (!seen.insert(name).second)
        fail(key.Mark(), "duplicate key '" + name + "' in " + top.text());
      YAML::Mark const mark = value.IsNull() ? key.Mark() : value.Mark();
      if (name == "name" || name == "description") {
        if (!value.IsScalar()) wrongType(value, mark, "a text", top / name);
        (name == "name" ? s.name : s.description) = value.Scalar();
      } else if (name == "traceLevel") {
        auto level = value.IsScalar() ? parseU32(value.Scalar()) : std::nullopt;
        if (!level || *level > 9) wrongType(value, mark, "a trace level from 0 to 9", top / name);
        s.traceLevel = static_cast<int>(*level);
      } else if (name == "steps") {
        if (!value.IsSequence()) wrongType(value, mark, "a list of steps", top / name);
        for (std::size_t i = 0; i < value.size(); ++i) {
          s.steps.push_back(step(value[i], static_cast<int>(i + 1), mark));
        }
        haveSteps = true;
      } else {
        fail(key.Mark(), "unknown key '" + name + "' in " + top.text() +
                             " (known keys: name, description, traceLevel, steps)");
      }
    }
    if (!haveSteps) fail(root.Mark(), "the scenario has no 'steps'");
    checkSequence(s);
    return s;
  }

  Step step(YAML::Node const& node, int number, YAML::Mark const& listMark) const {
    std::string const context = "step " + std::to_string(number);
    Where const where{context, {}};
    static char const* const kinds = "set, start, stop, restart, expect, expectIncludes";
    if (!node.IsMap()) {
      wrongType(node, node.IsNull() ? listMark : node.Mark(),
                std::string("a mapping with one of ") + kinds, where);
    }
    Step step;
    step.number = number;
    bool haveKind = false;
    std::string kindName;
    for (auto it = node.begin(); it != node.end(); ++it) {
      YAML::Node const key = it->first;
      YAML::Node const value = it->second;
      std::string const name = key.IsScalar() ? key.Scalar() : std::string();
      YAML::Mark const mark = value.IsNull() ? key.Mark() : value.Mark();
      if (name == "note") {
        if (!value.IsScalar()) wrongType(value, mark, "a text", where / name);
        step.note = value.Scalar();
        continue;
      }
      Step::Kind kind;
      if (name == "set") {
        kind = Step::Kind::set;
      } else if (name == "start") {
        kind = Step::Kind::start;
      } else if (name == "stop") {
        kind = Step::Kind::stop;
      } else if (name == "restart") {
        kind = Step::Kind::restart;
      } else if (name == "expect") {
        kind = Step::Kind::expect;
      } else if (name == "expectIncludes") {
        kind = Step::Kind::expectIncludes;
      } else {
        fail(key.Mark(), "unknown key '" + name + "' in " + where.text() +
                             " (known keys: " + kinds + ", note)");
      }
      if (haveKind) {
        fail(key.Mark(),
             context + " has both '" + kindName + "' and '" + name + "'; write one step for each");
      }
      haveKind = true;
      kindName = name;
      step.kind = kind;
      step.mark = key.Mark();
      step.body = value;
      Where const body{context + " " + name, {}};
      switch (kind) {
        case Step::Kind::set:
          check(value, patchShape(), body, key.Mark());
          break;
        case Step::Kind::start:
        case Step::Kind::stop:
        case Step::Kind::restart:
          if (!value.IsScalar() || value.Scalar() != "agent") {
            wrongType(value, mark, "'agent'", body);
          }
          break;
        case Step::Kind::expect:
        case Step::Kind::expectIncludes:
          check(value, checksShape(), body, key.Mark());
          break;
      }
    }
    if (!haveKind) {
      fail(node.Mark(), context + " does nothing: it needs one of " + std::string(kinds));
    }
    return step;
  }

  // The order of the steps: the agent is started only when it is not running
  // and stopped only when it is; `abort` stands alone, last, after a step
  // that can end the process.
  void checkSequence(Scenario const& s) const {
    int runningSince = 0;
    for (Step const& step : s.steps) {
      std::string const context = "step " + std::to_string(step.number);
      switch (step.kind) {
        case Step::Kind::start:
          if (runningSince) {
            fail(step.mark, context + " starts the agent, which runs since step " +
                                std::to_string(runningSince) + " (write 'restart: agent')");
          }
          runningSince = step.number;
          break;
        case Step::Kind::stop:
        case Step::Kind::restart:
          if (!runningSince) {
            fail(step.mark, context + " " + stepKindName(step.kind) +
                                "s the agent, which is not running (write 'start: agent' first)");
          }
          runningSince = step.kind == Step::Kind::stop ? 0 : step.number;
          break;
        case Step::Kind::set:
          break;
        case Step::Kind::expect:
        case Step::Kind::expectIncludes: {
          YAML::Node const abort = step.body["abort"];
          if (!abort) break;
          if (step.body.size() != 1) {
            fail(step.mark, context +
                                " checks 'abort' with other sections; nothing can be "
                                "checked in a process that has ended, so 'abort' stands alone");
          }
          if (step.number == 1 || s.steps[step.number - 2].isCheck()) {
            fail(step.mark, context +
                                " checks 'abort', but the step before it runs nothing that "
                                "could end the process");
          }
          if (step.number != static_cast<int>(s.steps.size())) {
            fail(s.steps[step.number].mark, "step " + std::to_string(step.number + 1) +
                                                " follows a check of 'abort' at " + context +
                                                "; a process that has ended runs no further steps");
          }
          break;
        }
      }
    }
  }

 private:
  std::string file_;
};

}  // namespace

FileError::FileError(std::string const& file, YAML::Mark const& mark, std::string const& message)
    : std::runtime_error(position(file, mark) + ": " + message) {}

FileError::FileError(std::string const& file, std::string const& message)
    : std::runtime_error(file + ": " + message) {}

std::string position(std::string const& file, YAML::Mark const& mark) {
  int const line = mark.line < 0 ? 1 : mark.line + 1;
  int const column = mark.column < 0 ? 1 : mark.column + 1;
  return file + ":" + std::to_string(line) + ":" + std::to_string(column);
}

char const* stepKindName(Step::Kind kind) {
  switch (kind) {
    case Step::Kind::set:
      return "set";
    case Step::Kind::start:
      return "start";
    case Step::Kind::stop:
      return "stop";
    case Step::Kind::restart:
      return "restart";
    case Step::Kind::expect:
      return "expect";
    case Step::Kind::expectIncludes:
      return "expectIncludes";
  }
  return "step";
}

Scenario parseScenario(std::string const& text, std::string const& file) {
  YAML::Node root;
  try {
    root = YAML::Load(text);
  } catch (YAML::ParserException const& e) {
    throw FileError(file, e.mark, "not valid YAML: " + e.msg);
  }
  return Validator(file).scenario(root);
}

void checkNode(YAML::Node const& node, Shape const& shape, std::string const& file,
               std::string const& what) {
  Validator(file).check(node, shape, Where{what, {}}, node.Mark());
}

Scenario loadScenario(std::string const& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) throw FileError(file, "cannot be read");
  std::ostringstream text;
  text << in.rdbuf();
  if (in.bad()) throw FileError(file, "cannot be read");
  return parseScenario(text.str(), file);
}

}  // namespace vnagent
