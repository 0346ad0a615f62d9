#include "tools/AddPlan.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QUrl>
#include <algorithm>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "core/CookieFile.h"
#include "core/Metalink.h"
#include "core/Settings.h"
#include "core/UrlList.h"
#include "core/WebAddress.h"
#include "desktop/BusTypes.h"
#include "tools/Password.h"

namespace pellora {

namespace {

// A file or the standard input, "-". Nothing if it cannot be read or is far too long.
std::optional<QByteArray> ReadWhole(const QString& name) {
  constexpr qint64 kMost = 16 << 20;
  QFile file(name);
  const bool open = name == "-" ? file.open(stdin, QIODevice::ReadOnly) : file.open(QIODevice::ReadOnly);
  if (!open) return std::nullopt;
  QByteArray bytes;
  for (QByteArray block; bytes.size() <= kMost; bytes += block) {
    block = file.read(kMost + 1 - bytes.size());
    if (block.isEmpty()) break;
  }
  if (file.error() != QFileDevice::NoError || bytes.size() > kMost) return std::nullopt;
  return bytes;
}

QString Absolute(const QString& path) { return QDir::cleanPath(QDir::current().absoluteFilePath(path)); }

// The program says what is not there.
QString FaultOfFolder(const QString& folder) {
  const QFileInfo found(folder);
  return found.exists() && !found.isDir() ? "this is no folder: " + folder : QString();
}

// "NAME" is a name in the folder; "./NAME" and other paths say the folder too.
QString TakePlace(QVariantMap& request, const QString& output, const QString& folder) {
  if (!folder.isEmpty()) request.insert(kFolderKey, Absolute(folder));
  if (output.isEmpty()) return folder.isEmpty() ? QString() : FaultOfFolder(Absolute(folder));
  if (output.endsWith('/')) return "--output needs the name of a file";
  if (!output.contains('/')) {
    request.insert(kNameKey, output);
    return folder.isEmpty() ? QString() : FaultOfFolder(Absolute(folder));
  }
  if (!folder.isEmpty()) return "--output names a folder already, so --folder has no meaning";
  const QFileInfo path(Absolute(output));
  request.insert(kFolderKey, path.path());
  request.insert(kNameKey, path.fileName());
  return FaultOfFolder(path.path());
}

QString TakeLimit(QVariantMap& request, const QString& text) {
  const std::optional<int> limit = SpeedLimitIn(text);
  if (!limit) return "--limit needs a number of KiB/s";
  request.insert(kLimitKey, *limit);
  return {};
}

QString TakeDuplicate(QVariantMap& request, const QString& text) {
  if (text != "yes" && text != "no") return "--on-duplicate needs \"yes\" or \"no\"";
  if (text == "yes") request.insert(kDuplicateKey, true);
  return {};
}

QString TakeCookieFile(AddPlan& plan, const QString& name) {
  const std::optional<QByteArray> file = ReadWhole(name);
  if (!file) return "the cookies in " + name + " cannot be read";
  plan.cookies = ReadCookieFile(file->toStdString());
  if (plan.cookies.empty()) return name + " holds no cookies in the format of Netscape";
  return {};
}

bool IsNamedLikeAMetalink(const QString& name) {
  return name.endsWith(".meta4", Qt::CaseInsensitive) || name.endsWith(".metalink", Qt::CaseInsensitive);
}

bool IsMetalink(const QString& name, const QByteArray& bytes) {
  return IsNamedLikeAMetalink(name) || LooksLikeMetalink(bytes.toStdString());
}

// The path of what is given as a path, or as the address of a file here; nothing for other addresses.
QString LocalPath(const QString& given) {
  const QUrl url(given);
  if (url.isLocalFile()) return url.toLocalFile();
  return given.contains("://") ? QString() : given;
}

// What was given is a Metalink, or else stays an address.
QString TakeOperand(AddPlan& plan, const QString& given) {
  plan.urls << given;
  const QString path = LocalPath(given);
  if (path.isEmpty() || (!IsNamedLikeAMetalink(path) && !QFileInfo(path).isFile())) return {};
  const std::optional<QByteArray> bytes = ReadWhole(path);
  if (!bytes && IsNamedLikeAMetalink(path)) return "the Metalink " + path + " cannot be read";
  if (bytes && IsMetalink(path, *bytes)) plan.metalinks.insert(given, *bytes);
  return {};
}

QString TakeList(AddPlan& plan, const QString& name) {
  const std::optional<QByteArray> list = ReadWhole(name);
  if (!list) return "the addresses in " + name + " cannot be read";
  if (IsMetalink(name, *list)) {
    plan.urls << name;
    plan.metalinks.insert(name, *list);
    plan.common.insert(kQuietKey, true);
    return {};
  }
  const UrlListReading reading = ReadUrlList(list->toStdString());
  if (reading.cut) return name + " holds too many addresses; at most " + QString::number(kMostAddresses) + " are read";
  if (reading.addresses.empty()) return name + " holds no addresses";
  for (const std::string& url : reading.addresses) plan.urls << QString::fromStdString(url);
  plan.common.insert(kQuietKey, true);
  return {};
}

QString TakePassword(AddPlan& plan) {
  const std::optional<QString> password = ReadPassword();
  if (!password) return "there is no password on the standard input";
  plan.common.insert(kPasswordKey, *password);
  return {};
}

// What contradicts itself, before anything is read.
QString Contradiction(const Arguments& arguments) {
  const QString list = arguments.Value("--input");
  if (arguments.operands.isEmpty() && list.isEmpty()) return "add needs at least one URL";
  if (arguments.Has("--later") && arguments.Has("--at")) return "--later and --at exclude each other";
  const bool readsPassword = arguments.Has("--password-stdin");
  const bool readsCookies = arguments.Value("--cookies") == "-";
  if (int{readsPassword} + int{list == "-"} + int{readsCookies} > 1) return "the standard input is needed twice";
  if (arguments.Value("--user").contains(':')) return "--user is a name alone; --password-stdin reads the password";
  return {};
}

}  // namespace

QList<OptionRule> AddOptions() {
  return {{"--input", true},
          {"-i", true},
          {"--output", true},
          {"-o", true},
          {"--folder", true},
          {"--user", true},
          {"--password-stdin"},
          {"--checksum", true},
          {"--referer", true},
          {"--cookies", true},
          {"--limit", true},
          {"--later"},
          {"--at", true},
          {"--on-duplicate", true},
          {"--json"}};
}

std::optional<int> SpeedLimitIn(const QString& text) {
  bool good = false;
  const int limit = text.toInt(&good);
  if (text == "off") return 0;
  return good && limit >= 0 && limit <= kHighestSpeedLimit ? std::optional(limit) : std::nullopt;
}

QVariantMap AddPlan::RequestFor(const QString& url) const {
  QVariantMap request = common;
  request.insert(kUrlKey, url);
  if (metalinks.contains(url)) request.insert(kMetalinkKey, metalinks.value(url));
  const std::optional<WebAddress> address = ParseWebAddress(url.toStdString());
  if (!address) return request;
  const std::string fitting = CookiesFor(cookies, *address, QDateTime::currentSecsSinceEpoch());
  if (!fitting.empty()) request.insert(kCookiesKey, QString::fromStdString(fitting));
  return request;
}

AddPlan PlanAdd(const Arguments& given) {
  AddPlan plan;
  Arguments arguments = given;
  for (const auto& [brief, name] : {std::pair{"-i", "--input"}, std::pair{"-o", "--output"}}) {
    if (!arguments.Has(brief)) continue;
    if (arguments.Has(name)) plan.error = QString(name) + " is given twice";
    arguments.options.insert(name, arguments.Value(brief));
  }
  const auto take = [&](const QString& error) {
    if (plan.error.isEmpty()) plan.error = error;
  };
  take(Contradiction(arguments));
  if (plan.error.isEmpty()) {
    for (const QString& operand : arguments.operands) take(TakeOperand(plan, operand));
  }
  plan.showsPassword = std::any_of(plan.urls.begin(), plan.urls.end(), [](const QString& url) {
    return WithoutPassword(url.toStdString()) != url.toStdString();
  });
  take(TakePlace(plan.common, arguments.Value("--output"), arguments.Value("--folder")));
  constexpr std::pair<const char*, const char*> kTexts[] = {
      {"--user", kUserKey}, {"--checksum", kChecksumKey}, {"--referer", kReferrerKey}, {"--at", kAtKey}};
  for (const auto& [option, key] : kTexts) {
    if (arguments.Has(option)) plan.common.insert(key, arguments.Value(option));
  }
  if (arguments.Has("--later")) plan.common.insert(kLaterKey, true);
  if (arguments.Has("--limit")) take(TakeLimit(plan.common, arguments.Value("--limit")));
  if (arguments.Has("--on-duplicate")) take(TakeDuplicate(plan.common, arguments.Value("--on-duplicate")));
  if (plan.error.isEmpty() && arguments.Has("--cookies")) take(TakeCookieFile(plan, arguments.Value("--cookies")));
  if (plan.error.isEmpty() && arguments.Has("--input")) take(TakeList(plan, arguments.Value("--input")));
  if (!plan.metalinks.isEmpty() && !plan.cookies.empty()) take("--cookies is for URLs, not for a Metalink");
  const bool many = plan.urls.size() > 1;
  if (many && arguments.Has("--output")) take("--output is for one URL; --folder takes any number");
  if (many && arguments.Has("--checksum")) take("--checksum is for one URL");
  if (plan.error.isEmpty() && arguments.Has("--password-stdin")) take(TakePassword(plan));
  return plan;
}

}  // namespace pellora
