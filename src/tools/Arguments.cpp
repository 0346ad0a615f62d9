#include "tools/Arguments.h"

#include <algorithm>

namespace pellora {

namespace {

// Takes the option at `i`, and its value if that is an argument too. Returns the error.
QString TakeOption(Arguments& arguments, const QStringList& given, qsizetype& i, const QList<OptionRule>& rules) {
  const qsizetype equals = given[i].indexOf('=');
  const QString name = given[i].left(equals);
  if (name == "--password" || name == "--archive-password") {
    return "there is no " + name + ": the process list shows arguments; use " + name + "-stdin";
  }
  const auto rule = std::find_if(rules.begin(), rules.end(), [&](const OptionRule& r) { return name == r.name; });
  if (rule == rules.end() && name != "--help") return "unknown option " + name;
  if (arguments.options.contains(name)) return name + " is given twice";
  QString value;
  if (rule == rules.end() || !rule->hasValue) {
    if (equals >= 0) return name + " takes no value";
  } else {
    if (equals >= 0) {
      value = given[i].mid(equals + 1);
    } else if (++i < given.size()) {
      value = given[i];
    }
    // An empty one is a script's empty variable: a download without its checksum, or at once, is not what was meant.
    if (value.isEmpty()) return name + " needs a value";
  }
  arguments.options.insert(name, value);
  return {};
}

}  // namespace

Arguments ParseArguments(const QStringList& given, const QList<OptionRule>& rules) {
  Arguments arguments;
  for (qsizetype i = 0; i < given.size() && arguments.error.isEmpty(); ++i) {
    if (given[i] == "--") {
      arguments.operands += given.mid(i + 1);
      break;
    }
    if (given[i].startsWith('-') && given[i] != "-") {
      arguments.error = TakeOption(arguments, given, i, rules);
    } else {
      arguments.operands << given[i];
    }
  }
  return arguments;
}

}  // namespace pellora
