// pelloractl: adds URLs to Pellora, lists, pauses and removes its downloads and waits for them. It uses only the
// session bus, and never makes the program show a question.
#include <unistd.h>

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusReply>
#include <QElapsedTimer>
#include <QStringList>
#include <QThread>
#include <QVariantMap>
#include <cstdio>
#include <map>
#include <optional>

#include "desktop/BusTypes.h"
#include "tools/WaitList.h"

namespace pellora {
namespace {

enum ExitCode { kOk = 0, kNotFinished = 1, kUsage = 2, kNotReachable = 3, kTimedOut = 4 };

constexpr int kCallMilliseconds = 30000;  // for a reply; a call may have to start the program first
constexpr int kPollMilliseconds = 200;
constexpr int kLineMilliseconds = 1000;     // between two lines of one download
constexpr int kListedMilliseconds = 10000;  // until an added download must be listed
constexpr int kQuitMilliseconds = 60000;    // until the program must have ended

constexpr const char* kHelp =
    "Usage: pelloractl add URL...\n"
    "       pelloractl list\n"
    "       pelloractl wait [--progress] [--timeout SECONDS] [ID, INDEX or URL]...\n"
    "       pelloractl pause ID or URL...\n"
    "       pelloractl remove ID or URL...\n"
    "       pelloractl resume\n"
    "       pelloractl quit\n"
    "\n"
    "add    adds the URLs to Pellora and prints the id of each; the session bus starts Pellora if necessary.\n"
    "       Pellora shows no question: a URL that is refused or already listed is reported on standard error.\n"
    "list   prints each listed download: index, state, percent, bytes received, size, URL, saved path, id, and\n"
    "       \"no byte for N s\" if it is active and its server has been silent for ten seconds or more;\n"
    "       then, where there is one, the reason why it has failed or waits.\n"
    "wait   returns when each of the given downloads, or of all now listed, has ended.\n"
    "       --progress shows their progress; --timeout gives up after that many seconds.\n"
    "pause  stops running downloads; what they have received is kept.\n"
    "remove takes downloads out of the list and deletes the parts of unfinished ones; finished files stay.\n"
    "resume starts every waiting or paused download, as many at once as the settings allow.\n"
    "quit   pauses everything, saves the list, ends Pellora and returns when it has ended.\n"
    "\n"
    "An id belongs to one download until Pellora ends, even after another download has taken its index.\n"
    "\n"
    "Exit code: 0 if everything was done (wait: everything is finished), 1 if a download failed, was paused\n"
    "or left the list, or something was refused, 2 for wrong arguments, 3 if Pellora cannot be reached, 4 on\n"
    "a timeout.\n";

int Complain(const QString& text, ExitCode code) {
  std::fprintf(stderr, "pelloractl: %s\n", qUtf8Printable(text));
  return code;
}

void Print(const QString& line) {
  std::printf("%s\n", qUtf8Printable(line));
  std::fflush(stdout);
}

class Bus {
 public:
  bool Connected() const { return bus_.isConnected(); }
  bool ProgramRuns() const {
    const QDBusReply<bool> owned = bus_.interface()->isServiceRegistered(kBusName);
    return owned.isValid() && owned.value();
  }
  // The reply to Add, Pause or Remove; nullopt if the program cannot be reached, with the reason in Error.
  std::optional<QVariantMap> Add(const QString& url) {
    QDBusMessage call = Call(kDownloadsInterface, "Add");
    call << QVariantMap{{kUrlKey, url}};
    call.setAutoStartService(true);
    return Ask<QVariantMap>(call);
  }
  std::optional<QVariantMap> Change(const char* method, const QString& id) {
    QDBusMessage call = Call(kDownloadsInterface, method);
    call << id;
    return Ask<QVariantMap>(call);
  }
  std::optional<QList<DownloadRow>> List() {
    const std::optional<QList<DetailRow>> details = Ask<QList<DetailRow>>(Call(kDownloadsInterface, "Details"));
    if (!details) return std::nullopt;
    QList<DownloadRow> rows;
    for (const DetailRow& detail : *details) rows.append(detail.row);
    return rows;
  }
  bool ResumeAll() {
    QDBusMessage call = Call(kApplicationInterface, "ActivateAction");
    call << QString(kResumeAllAction) << QVariantList() << QVariantMap();
    return Tell(call);
  }
  bool Quit() { return Tell(Call(kDownloadsInterface, "Quit")); }
  const QString& Error() const { return error_; }

 private:
  static QDBusMessage Call(const char* interface, const char* method) {
    QDBusMessage call = QDBusMessage::createMethodCall(kBusName, kBusPath, interface, method);
    call.setAutoStartService(false);
    return call;
  }
  bool Tell(const QDBusMessage& call) {
    const QDBusMessage reply = bus_.call(call, QDBus::Block, kCallMilliseconds);
    return reply.type() == QDBusMessage::ReplyMessage || Failed(QDBusError(reply), call);
  }
  template <class Answer>
  std::optional<Answer> Ask(const QDBusMessage& call) {
    const QDBusReply<Answer> reply = bus_.call(call, QDBus::Block, kCallMilliseconds);
    if (reply.isValid()) return reply.value();
    Failed(reply.error(), call);
    return std::nullopt;
  }
  // False, with the reason in Error.
  bool Failed(const QDBusError& error, const QDBusMessage& call) {
    if (ProgramRuns()) {
      error_ = "Pellora does not reply: " + error.message();
    } else if (call.autoStartService()) {
      error_ = "Pellora is not running, and the bus does not know how to start it. Start Pellora once by hand.";
    } else {
      error_ = "Pellora is not running.";
    }
    return false;
  }

  QDBusConnection bus_ = QDBusConnection::sessionBus();
  QString error_;
};

// One line for each download: rewritten in place on a terminal, otherwise printed when it has changed.
class Progress {
 public:
  explicit Progress(bool wanted) : wanted_(wanted), terminal_(isatty(STDOUT_FILENO) == 1) { clock_.start(); }

  void Show(const WaitList& waits) {
    if (!wanted_) return ShowEnded(waits);
    if (terminal_) return Redraw(waits);
    const auto& items = waits.Items();
    for (std::size_t i = 0; i < items.size(); ++i) {
      Shown& shown = shown_[i];
      const QString line = ProgressLine(items[i]);
      const bool due = shown.at < 0 || clock_.elapsed() - shown.at >= kLineMilliseconds;
      if (line == shown.line || (!due && items[i].outcome == Awaited::Outcome::Open)) continue;
      shown = {line, clock_.elapsed()};
      Print(line);
    }
  }

 private:
  struct Shown {
    QString line;
    qint64 at = -1;
  };

  void ShowEnded(const WaitList& waits) {
    const auto& items = waits.Items();
    for (std::size_t i = 0; i < items.size(); ++i) {
      if (items[i].outcome == Awaited::Outcome::Open || shown_[i].at >= 0) continue;
      shown_[i].at = clock_.elapsed();
      Print(ProgressLine(items[i]));
    }
  }

  void Redraw(const WaitList& waits) {
    if (drawn_ > 0) std::printf("\x1b[%zuA", drawn_);
    drawn_ = waits.Items().size();
    for (const Awaited& item : waits.Items()) std::printf("\r\x1b[K%s\n", qUtf8Printable(ProgressLine(item)));
    std::fflush(stdout);
  }

  bool wanted_;
  bool terminal_;
  QElapsedTimer clock_;
  std::map<std::size_t, Shown> shown_;
  std::size_t drawn_ = 0;
};

struct WaitOptions {
  bool progress = false;
  double timeoutSeconds = 0;  // 0: none
  QStringList given;
};

int Wait(Bus& bus, const WaitOptions& options) {
  std::optional<QList<DownloadRow>> rows = bus.List();
  if (!rows) return Complain(bus.Error(), kNotReachable);
  WaitList waits = options.given.isEmpty() ? WaitList(*rows) : WaitList(options.given);
  Progress progress(options.progress);
  QElapsedTimer clock;
  clock.start();
  for (;;) {
    waits.Update(*rows);
    if (clock.elapsed() >= kListedMilliseconds) waits.Expire();
    const bool late =
        options.timeoutSeconds > 0 && static_cast<double>(clock.elapsed()) >= options.timeoutSeconds * 1000;
    const bool done = waits.Done();
    if (late && !done) waits.GiveUp("timed out");
    progress.Show(waits);
    if (late && !done) return kTimedOut;
    if (done) return waits.AllFinished() ? kOk : kNotFinished;
    QThread::msleep(kPollMilliseconds);
    rows = bus.List();
    if (rows) continue;
    waits.GiveUp("Pellora has ended");
    progress.Show(waits);
    return Complain(bus.Error(), kNotReachable);
  }
}

int RunWait(Bus& bus, const QStringList& arguments) {
  WaitOptions options;
  for (qsizetype i = 0; i < arguments.size(); ++i) {
    const QString& argument = arguments[i];
    if (argument == "--progress") {
      options.progress = true;
    } else if (argument == "--timeout") {
      bool good = false;
      options.timeoutSeconds = i + 1 < arguments.size() ? arguments[++i].toDouble(&good) : 0;
      if (!good || !(options.timeoutSeconds > 0)) return Complain("--timeout needs a number of seconds", kUsage);
    } else if (argument.startsWith("-")) {
      return Complain("unknown option " + argument, kUsage);
    } else {
      options.given << argument;
    }
  }
  return Wait(bus, options);
}

int RunList(Bus& bus, const QStringList& arguments) {
  if (!arguments.isEmpty()) return Complain("list takes no arguments", kUsage);
  const std::optional<QList<DownloadRow>> rows = bus.List();
  if (!rows) return Complain(bus.Error(), kNotReachable);
  for (const DownloadRow& row : *rows) {
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
    Print(fields.join('\t'));
  }
  return kOk;
}

// False, with a message, if there are none or one of them is an option.
bool AreOperands(const QStringList& arguments, const QString& wanted) {
  if (arguments.isEmpty()) {
    Complain(wanted, kUsage);
    return false;
  }
  for (const QString& argument : arguments) {
    if (!argument.startsWith("-")) continue;
    Complain("unknown option " + argument, kUsage);
    return false;
  }
  return true;
}

// Reports the reason in a reply, if the request for one download was refused.
ExitCode Answered(const QString& given, const QVariantMap& answer) {
  const QString reason = answer.value(kReasonKey).toString();
  if (reason.isEmpty()) return kOk;
  Complain(Printable(given) + ": " + reason, kNotFinished);
  return kNotFinished;
}

int RunAdd(Bus& bus, const QStringList& arguments) {
  if (!AreOperands(arguments, "add needs at least one URL")) return kUsage;
  ExitCode code = kOk;
  for (const QString& url : arguments) {
    const std::optional<QVariantMap> answer = bus.Add(url);
    if (!answer) return Complain(bus.Error(), kNotReachable);
    if (Answered(url, *answer) == kOk) {
      Print(answer->value(kIdKey).toString());
    } else {
      code = kNotFinished;
    }
  }
  return code;
}

// The id of the listed download with this id or URL. An index is not accepted, since another download may have taken
// it.
QString IdOf(const QList<DownloadRow>& rows, const QString& named) {
  for (const DownloadRow& row : rows) {
    if (IsNamed(row, named)) return row.id;
  }
  return {};
}

int ChangeEach(Bus& bus, const QStringList& arguments, const char* method, const QString& wanted) {
  if (!AreOperands(arguments, wanted)) return kUsage;
  const std::optional<QList<DownloadRow>> rows = bus.List();
  if (!rows) return Complain(bus.Error(), kNotReachable);
  ExitCode code = kOk;
  for (const QString& named : arguments) {
    const QString id = IdOf(*rows, named);
    if (id.isEmpty()) {
      code = Answered(named, {{kReasonKey, "No listed download has this id or URL."}});
      continue;
    }
    const std::optional<QVariantMap> answer = bus.Change(method, id);
    if (!answer) return Complain(bus.Error(), kNotReachable);
    if (Answered(named, *answer) != kOk) code = kNotFinished;
  }
  return code;
}

int RunPause(Bus& bus, const QStringList& arguments) {
  return ChangeEach(bus, arguments, "Pause", "pause needs at least one id or URL");
}

int RunRemove(Bus& bus, const QStringList& arguments) {
  return ChangeEach(bus, arguments, "Remove", "remove needs at least one id or URL");
}

int RunResume(Bus& bus, const QStringList& arguments) {
  if (!arguments.isEmpty()) return Complain("resume takes no arguments", kUsage);
  return bus.ResumeAll() ? kOk : Complain(bus.Error(), kNotReachable);
}

int RunQuit(Bus& bus, const QStringList& arguments) {
  if (!arguments.isEmpty()) return Complain("quit takes no arguments", kUsage);
  if (!bus.Quit()) return Complain(bus.Error(), kNotReachable);
  QElapsedTimer clock;
  clock.start();
  while (bus.ProgramRuns()) {
    if (clock.elapsed() >= kQuitMilliseconds) return Complain("Pellora has not ended", kTimedOut);
    QThread::msleep(kPollMilliseconds);
  }
  return kOk;
}

int Run(QStringList arguments) {
  if (arguments.contains("--help") || arguments.contains("-h")) {
    std::fputs(kHelp, stdout);
    return kOk;
  }
  using Command = int (*)(Bus&, const QStringList&);
  const std::map<QString, Command> commands{{"add", RunAdd},     {"list", RunList},     {"wait", RunWait},
                                            {"pause", RunPause}, {"remove", RunRemove}, {"resume", RunResume},
                                            {"quit", RunQuit}};
  const QString name = arguments.isEmpty() ? QString() : arguments.takeFirst();
  const auto command = commands.find(name);
  if (command == commands.end()) {
    if (!name.isEmpty()) Complain("unknown command " + name, kUsage);
    std::fputs(kHelp, stderr);
    return kUsage;
  }
  RegisterBusTypes();
  Bus bus;
  if (!bus.Connected()) return Complain("there is no session bus", kNotReachable);
  return command->second(bus, arguments);
}

}  // namespace
}  // namespace pellora

int main(int argc, char** argv) {
  const QCoreApplication application(argc, argv);
  return pellora::Run(QCoreApplication::arguments().mid(1));
}
