// pelloractl: adds URLs to Pellora, lists and changes its downloads and waits for them. It uses only the session bus,
// and never makes the program show a question.
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QStringList>
#include <QThread>
#include <QVariantMap>
#include <algorithm>
#include <cstdio>
#include <optional>

#include "core/WebAddress.h"
#include "desktop/BusTypes.h"
#include "tools/AddPlan.h"
#include "tools/Arguments.h"
#include "tools/Client.h"
#include "tools/Help.h"
#include "tools/Progress.h"
#include "tools/RowJson.h"
#include "tools/WaitList.h"
#include "tools/ZipPlan.h"

namespace pellora {
namespace {

enum ExitCode { kOk = 0, kNotDone = 1, kUsage = 2, kNotReachable = 3, kTimedOut = 4 };

constexpr int kPollMilliseconds = 200;
constexpr int kListedMilliseconds = 10000;  // until an added download must be listed
constexpr int kQuitMilliseconds = 60000;    // until the program must have ended

int Complain(const QString& text, ExitCode code) {
  std::fprintf(stderr, "pelloractl: %s\n", qUtf8Printable(text));
  return code;
}

void PrintLine(const QByteArray& line) {
  std::printf("%s\n", line.constData());
  std::fflush(stdout);
}

QString WithoutPassword(const QString& url) {
  return QString::fromStdString(pellora::WithoutPassword(url.toStdString()));
}

// Reports the reason in a reply, if the request for one download was refused.
ExitCode Answered(const QString& given, const QVariantMap& answer) {
  const QString reason = answer.value(kReasonKey).toString();
  if (reason.isEmpty()) return kOk;
  Complain(Printable(WithoutPassword(given) + ": " + reason), kNotDone);
  return kNotDone;
}

// The ids of a Metalink's files, or the one of an address.
QStringList IdsIn(const QVariantMap& answer) {
  if (answer.contains(kIdsKey)) return answer.value(kIdsKey).toStringList();
  return answer.contains(kIdKey) ? QStringList{answer.value(kIdKey).toString()} : QStringList();
}

void PrintAdded(const QString& url, const QVariantMap& answer, bool json) {
  for (const QString& id : IdsIn(answer)) {
    PrintLine(json ? JsonLine({{"url", WithoutPassword(url)}, {kIdKey, id}}) : id.toUtf8());
  }
  if (!json || !answer.contains(kReasonKey)) return;
  PrintLine(JsonLine({{"url", WithoutPassword(url)}, {kReasonKey, answer.value(kReasonKey).toString()}}));
}

void WarnOfShownPassword() {
  Complain("warning: the process list shows the password in the URL; use --user and --password-stdin", kOk);
}

int RunAdd(Client& client, const Arguments& arguments) {
  const AddPlan plan = PlanAdd(arguments);
  if (!plan.error.isEmpty()) return Complain(plan.error, kUsage);
  if (plan.showsPassword) WarnOfShownPassword();
  ExitCode code = kOk;
  for (const QString& url : plan.urls) {
    const std::optional<QVariantMap> answer = client.Ask("Add", {plan.RequestFor(url)}, IfNotRunning::Start);
    if (!answer) return Complain(client.Error(), kNotReachable);
    PrintAdded(url, *answer, arguments.Has("--json"));
    if (Answered(url, *answer) != kOk) code = kNotDone;
  }
  return code;
}

QByteArray LineOf(const DownloadRow& row) {
  QStringList fields{QString::number(row.index),
                     row.state,
                     QString::number(row.percent, 'f', 1) + "%",
                     QString::number(row.received),
                     QString::number(row.size),
                     Printable(row.url),
                     Printable(row.savedPath),
                     row.id,
                     SilenceText(row)};
  if (!row.reason.isEmpty()) fields << Printable(row.reason);
  return fields.join('\t').toUtf8();
}

int RunList(Client& client, const Arguments& arguments) {
  const std::optional<QList<DownloadRow>> rows = client.List();
  if (!rows) return Complain(client.Error(), kNotReachable);
  for (const DownloadRow& row : *rows) PrintLine(arguments.Has("--json") ? JsonLine(JsonOf(row)) : LineOf(row));
  return kOk;
}

int Wait(Client& client, const QStringList& given, WaitForm form, double seconds) {
  std::optional<QList<DownloadRow>> rows = client.List();
  if (!rows) return Complain(client.Error(), kNotReachable);
  WaitList waits = given.isEmpty() ? WaitList(*rows) : WaitList(given);
  Progress progress(form);
  QElapsedTimer clock;
  clock.start();
  for (;;) {
    waits.Update(*rows);
    if (clock.elapsed() >= kListedMilliseconds) waits.Expire();
    const bool late = seconds > 0 && static_cast<double>(clock.elapsed()) >= seconds * 1000;
    const bool done = waits.Done();
    if (late && !done) waits.GiveUp("timed out");
    progress.Show(waits);
    if (late && !done) return kTimedOut;
    if (done) return waits.AllFinished() ? kOk : kNotDone;
    QThread::msleep(kPollMilliseconds);
    rows = client.List();
    if (rows) continue;
    waits.GiveUp("Pellora has ended");
    progress.Show(waits);
    return Complain(client.Error(), kNotReachable);
  }
}

int RunWait(Client& client, const Arguments& arguments) {
  if (arguments.Has("--progress") && arguments.Has("--json")) {
    return Complain("--progress and --json exclude each other", kUsage);
  }
  double seconds = 0;
  if (arguments.Has("--timeout")) {
    bool good = false;
    seconds = arguments.Value("--timeout").toDouble(&good);
    if (!good || !(seconds > 0)) return Complain("--timeout needs a number of seconds", kUsage);
  }
  WaitForm form = WaitForm::Ends;
  if (arguments.Has("--progress")) form = WaitForm::Progress;
  if (arguments.Has("--json")) form = WaitForm::Json;
  return Wait(client, arguments.operands, form, seconds);
}

// The id of the listed download with this id or URL. An index is not accepted, since another download may have taken
// it.
QString IdOf(const QList<DownloadRow>& rows, const QString& named) {
  const auto byId = std::find_if(rows.begin(), rows.end(), [&](const DownloadRow& row) { return row.id == named; });
  if (byId != rows.end()) return byId->id;
  const auto row = std::find_if(rows.begin(), rows.end(), [&](const DownloadRow& r) { return IsNamed(r, named); });
  return row != rows.end() ? row->id : QString();
}

// Calls the method for each of the downloads, by its id and these arguments.
int ChangeEach(Client& client, const QStringList& named, const char* method, const QVariantList& more = {}) {
  const std::optional<QList<DownloadRow>> rows = client.List();
  if (!rows) return Complain(client.Error(), kNotReachable);
  ExitCode code = kOk;
  for (const QString& name : named) {
    const QString id = IdOf(*rows, name);
    if (id.isEmpty()) {
      (void)Answered(name, {{kReasonKey, "No listed download has this id or URL."}});
      code = kNotDone;
      continue;
    }
    QVariantList arguments{id};
    arguments += more;
    const std::optional<QVariantMap> answer = client.Ask(method, arguments);
    if (!answer) return Complain(client.Error(), kNotReachable);
    if (Answered(name, *answer) != kOk) code = kNotDone;
  }
  return code;
}

// A call about the program as a whole.
int ChangeProgram(Client& client, const char* method, const QVariantList& arguments,
                  IfNotRunning ifNotRunning = IfNotRunning::Fail) {
  const std::optional<QVariantMap> answer = client.Ask(method, arguments, ifNotRunning);
  if (!answer) return Complain(client.Error(), kNotReachable);
  const QString reason = answer->value(kReasonKey).toString();
  return reason.isEmpty() ? kOk : Complain(reason, kNotDone);
}

int RunPause(Client& client, const Arguments& arguments) {
  const bool all = arguments.Has("--all");
  if (all == !arguments.operands.isEmpty()) return Complain("pause needs ids or URLs, or --all", kUsage);
  return all ? ChangeProgram(client, "PauseAll", {}) : ChangeEach(client, arguments.operands, "Pause");
}

int RunResume(Client& client, const Arguments& arguments) {
  if (!arguments.operands.isEmpty()) return ChangeEach(client, arguments.operands, "Resume");
  return client.ResumeAll() ? kOk : Complain(client.Error(), kNotReachable);
}

int RunRemove(Client& client, const Arguments& arguments) {
  if (arguments.operands.isEmpty()) return Complain("remove needs at least one id or URL", kUsage);
  return ChangeEach(client, arguments.operands, "Remove");
}

int PrintLimit(Client& client, bool json) {
  const std::optional<QVariantMap> answer = client.Ask("Limit", {});
  if (!answer) return Complain(client.Error(), kNotReachable);
  const int limit = answer->value(kLimitKey).toInt();
  if (json) {
    PrintLine(JsonLine({{kLimitKey, limit > 0 ? QJsonValue(limit) : QJsonValue()}}));
  } else {
    PrintLine(limit > 0 ? QByteArray::number(limit) : QByteArray("off"));
  }
  return kOk;
}

int RunLimit(Client& client, const Arguments& arguments) {
  const QStringList& given = arguments.operands;
  const bool json = arguments.Has("--json");
  if (given.isEmpty()) return PrintLimit(client, json);
  if (json) return Complain("--json is for the limit that is printed, not for one that is set", kUsage);
  const std::optional<int> limit = SpeedLimitIn(given.last());
  if (given.size() > 2 || !limit) {
    return Complain("limit needs a number of KiB/s or \"off\", after the id or URL if it is for one download", kUsage);
  }
  if (given.size() == 1) return ChangeProgram(client, "SetLimit", {QString(), *limit});
  return ChangeEach(client, {given.first()}, "SetLimit", {*limit});
}

// A desktop raises a window only with the token of the user's action.
QVariantMap PlatformData() {
  const QString token = qEnvironmentVariable("XDG_ACTIVATION_TOKEN");
  return token.isEmpty() ? QVariantMap() : QVariantMap{{kTokenKey, token}};
}

int RunOpen(Client& client, const Arguments& arguments) {
  if (arguments.operands.size() > 1) return Complain("open takes one id or URL", kUsage);
  if (!arguments.operands.isEmpty()) return ChangeEach(client, arguments.operands, "ShowWindow", {PlatformData()});
  return ChangeProgram(client, "ShowWindow", {QString(), PlatformData()}, IfNotRunning::Start);
}

int RunQuit(Client& client, const Arguments&) {
  if (!client.Quit()) return Complain(client.Error(), kNotReachable);
  QElapsedTimer clock;
  clock.start();
  while (client.ProgramRuns()) {
    if (clock.elapsed() >= kQuitMilliseconds) return Complain("Pellora has not ended", kTimedOut);
    QThread::msleep(kPollMilliseconds);
  }
  return kOk;
}

QByteArray LineOf(const ArchiveRow& row) {
  const QStringList fields{Printable(row.name), QString::number(row.size), QString::number(row.packed), row.time,
                           row.remark};
  return fields.join('\t').toUtf8();
}

int RunZip(Client& client, const Arguments& arguments) {
  const ZipPlan plan = PlanZip(arguments);
  if (!plan.error.isEmpty()) return Complain(plan.error, kUsage);
  if (WithoutPassword(plan.url) != plan.url) WarnOfShownPassword();
  const bool json = arguments.Has("--json");
  const std::optional<QVariantMap> answer =
      client.AskServer(plan.lists ? "ListArchive" : "GetFromArchive", plan.request);
  if (!answer) return Complain(client.Error(), kNotReachable);
  if (!plan.lists) PrintAdded(plan.url, *answer, json);
  for (const ArchiveRow& row : qdbus_cast<QList<ArchiveRow>>(answer->value(kEntriesKey))) {
    PrintLine(json ? JsonLine(JsonOf(row)) : LineOf(row));
  }
  return Answered(plan.url, *answer);
}

struct Command {
  const char* name;
  const char* help;
  QList<OptionRule> options;
  bool takesOperands;
  int (*run)(Client& client, const Arguments& arguments);
};

QList<Command> Commands() {
  return {{"add", kAddHelp, AddOptions(), true, RunAdd},
          {"list", kListHelp, {{"--json"}}, false, RunList},
          {"wait", kWaitHelp, {{"--progress"}, {"--timeout", true}, {"--json"}}, true, RunWait},
          {"pause", kPauseHelp, {{"--all"}}, true, RunPause},
          {"resume", kResumeHelp, {}, true, RunResume},
          {"remove", kRemoveHelp, {}, true, RunRemove},
          {"limit", kLimitHelp, {{"--json"}}, true, RunLimit},
          {"open", kOpenHelp, {}, true, RunOpen},
          {"zip", kZipHelp, ZipOptions(), true, RunZip},
          {"quit", kQuitHelp, {}, false, RunQuit}};
}

int RunCommand(const Command& command, const QStringList& given) {
  const Arguments arguments = ParseArguments(given, command.options);
  if (arguments.Has("--help") || given == QStringList{"-h"}) {
    std::fputs(command.help, stdout);
    return kOk;
  }
  if (!arguments.error.isEmpty()) return Complain(arguments.error, kUsage);
  if (!command.takesOperands && !arguments.operands.isEmpty()) {
    return Complain(QString(command.name) + " takes no arguments", kUsage);
  }
  Client client;
  if (!client.Connected()) return Complain("there is no session bus", kNotReachable);
  return command.run(client, arguments);
}

int Run(QStringList arguments) {
  const QString name = arguments.isEmpty() ? QString() : arguments.takeFirst();
  if (name == "--help" || name == "-h") {
    std::fputs(kHelp, stdout);
    return kOk;
  }
  for (const Command& command : Commands()) {
    if (name == command.name) return RunCommand(command, arguments);
  }
  if (!name.isEmpty()) Complain("unknown command " + name, kUsage);
  std::fputs(kHelp, stderr);
  return kUsage;
}

}  // namespace
}  // namespace pellora

int main(int argc, char** argv) {
  const QCoreApplication application(argc, argv);
  return pellora::Run(QCoreApplication::arguments().mid(1));
}
