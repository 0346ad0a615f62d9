#include "tools/ZipPlan.h"

#include <QDir>
#include <QStringList>
#include <optional>

#include "desktop/BusTypes.h"
#include "tools/Password.h"

namespace pellora {

namespace {

QString ErrorOfList(const Arguments& arguments) {
  if (arguments.operands.size() != 2) return "zip list needs one URL";
  for (const char* const option : {"--to", "--existing", "--archive-password-stdin"}) {
    if (arguments.Has(option)) return QString(option) + " is for zip get";
  }
  return {};
}

QString ErrorOfGet(const Arguments& arguments) {
  if (arguments.operands.size() < 3) return "zip get needs a URL and at least one name or pattern";
  if (arguments.Value("--to").isEmpty()) return "zip get needs --to with a folder";
  const QString existing = arguments.Value("--existing");
  const bool known = QStringList{"number", "replace", "keep"}.contains(existing);
  if (arguments.Has("--existing") && !known) return "--existing needs \"number\", \"replace\" or \"keep\"";
  return {};
}

// What the arguments lack, before anything is read.
QString ErrorOf(const Arguments& arguments) {
  if (arguments.Value("--user").contains(':')) return "--user is a name alone; --password-stdin reads the password";
  const QString what = arguments.operands.value(0);
  if (what == "list") return ErrorOfList(arguments);
  if (what == "get") return ErrorOfGet(arguments);
  return "zip needs \"list\" or \"get\"";
}

}  // namespace

QList<OptionRule> ZipOptions() {
  return {{"--to", true},       {"--existing", true},         {"--user", true},
          {"--password-stdin"}, {"--archive-password-stdin"}, {"--json"}};
}

ZipPlan PlanZip(const Arguments& arguments) {
  ZipPlan plan;
  plan.error = ErrorOf(arguments);
  if (!plan.error.isEmpty()) return plan;
  plan.lists = arguments.operands[0] == "list";
  plan.url = arguments.operands[1];
  plan.request.insert(kUrlKey, plan.url);
  if (!plan.lists) {
    plan.request.insert(kPatternsKey, arguments.operands.mid(2));
    plan.request.insert(kFolderKey, QDir::cleanPath(QDir::current().absoluteFilePath(arguments.Value("--to"))));
  }
  if (arguments.Has("--existing")) plan.request.insert(kExistingKey, arguments.Value("--existing"));
  if (arguments.Has("--user")) plan.request.insert(kUserKey, arguments.Value("--user"));
  const auto takePassword = [&](const char* option, const char* key, const char* prompt) {
    if (!arguments.Has(option) || !plan.error.isEmpty()) return;
    const std::optional<QString> password = ReadPassword(prompt);
    if (!password) plan.error = QString("there is no password for %1 on the standard input").arg(option);
    plan.request.insert(key, password.value_or(QString()));
  };
  takePassword("--password-stdin", kPasswordKey, "Password: ");
  takePassword("--archive-password-stdin", kArchivePasswordKey, "Password of the archive: ");
  return plan;
}

}  // namespace pellora
