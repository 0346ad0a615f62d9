// pelloractl: hands URLs to Pellora, lists its downloads and waits for them. It uses nothing but the session bus.
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
#include <cstdio>
#include <map>
#include <optional>

#include "desktop/BusTypes.h"
#include "tools/WaitList.h"

namespace pellora {
namespace {

enum ExitCode { kOk = 0, kNotFinished = 1, kUsage = 2, kNotReachable = 3, kTimedOut = 4 };

constexpr int kStartMilliseconds = 30000;  // for an answer; a call may have to start the program first
constexpr int kLookMilliseconds = 200;
constexpr int kLineMilliseconds = 1000;     // between two lines of one download
constexpr int kListedMilliseconds = 10000;  // for an added download to be listed

constexpr const char* kHelp =
    "Usage: pelloractl add URL...\n"
    "       pelloractl resume\n"
    "       pelloractl list\n"
    "       pelloractl wait [--progress] [--timeout SECONDS] [INDEX or URL]...\n"
    "\n"
    "add    hands the addresses to Pellora; the session bus starts it if need be.\n"
    "resume starts every waiting or paused download, as many at once as the settings allow.\n"
    "list   prints each listed download: index, state, percent, bytes received, size, URL, saved path.\n"
    "wait   returns when each of the given downloads, or of all that are listed now, has ended.\n"
    "       --progress shows how they stand; --timeout gives up after that many seconds.\n"
    "\n"
    "Exit code: 0 if everything was done (wait: everything is finished), 1 if a download failed, was paused\n"
    "or left the list, 2 for wrong arguments, 3 if Pellora cannot be reached, 4 if the time ran out.\n";

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
  // Empty if it went well.
  QString Add(const QString& url) {
    QDBusMessage call = QDBusMessage::createMethodCall(kBusName, kBusPath, kAutomationInterface, "MenuURL");
    call << url << QString() << QString();
    const QDBusMessage reply = bus_.call(call, QDBus::Block, kStartMilliseconds);
    if (reply.type() == QDBusMessage::ReplyMessage) return {};
    if (QDBusError(reply).type() == QDBusError::ServiceUnknown) {
      return "Pellora is not running, and the bus does not know how to start it. Start Pellora once.";
    }
    return "Pellora did not take the address: " + reply.errorMessage();
  }
  // Empty if it went well.
  QString ResumeAll() {
    QDBusMessage call = QDBusMessage::createMethodCall(kBusName, kBusPath, kApplicationInterface, "ActivateAction");
    call << QString(kResumeAllAction) << QVariantList() << QVariantMap();
    call.setAutoStartService(false);
    const QDBusMessage reply = bus_.call(call, QDBus::Block, kStartMilliseconds);
    if (reply.type() == QDBusMessage::ReplyMessage) return {};
    return ProgramRuns() ? "Pellora does not answer: " + reply.errorMessage() : QString("Pellora is not running.");
  }
  std::optional<QList<DownloadRow>> List() {
    QDBusMessage call = QDBusMessage::createMethodCall(kBusName, kBusPath, kDownloadsInterface, "List");
    call.setAutoStartService(false);
    const QDBusReply<QList<DownloadRow>> reply = bus_.call(call, QDBus::Block, kStartMilliseconds);
    if (reply.isValid()) return reply.value();
    error_ = ProgramRuns() ? "Pellora does not answer: " + reply.error().message() : QString("Pellora is not running.");
    return std::nullopt;
  }
  const QString& Error() const { return error_; }

 private:
  QDBusConnection bus_ = QDBusConnection::sessionBus();
  QString error_;
};

// One line for each download: rewritten in place on a terminal, else printed when it has changed.
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
  QStringList asked;
};

int Wait(Bus& bus, const WaitOptions& options) {
  std::optional<QList<DownloadRow>> rows = bus.List();
  if (!rows) return Complain(bus.Error(), kNotReachable);
  WaitList waits = options.asked.isEmpty() ? WaitList(*rows) : WaitList(options.asked);
  Progress progress(options.progress);
  QElapsedTimer clock;
  clock.start();
  for (;;) {
    waits.Look(*rows);
    if (clock.elapsed() >= kListedMilliseconds) waits.Expire();
    const bool late =
        options.timeoutSeconds > 0 && static_cast<double>(clock.elapsed()) >= options.timeoutSeconds * 1000;
    const bool done = waits.Done();
    if (late && !done) waits.GiveUp("the time ran out");
    progress.Show(waits);
    if (late && !done) return kTimedOut;
    if (done) return waits.AllFinished() ? kOk : kNotFinished;
    QThread::msleep(kLookMilliseconds);
    rows = bus.List();
    if (rows) continue;
    waits.GiveUp("Pellora has gone");
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
      if (!good || !(options.timeoutSeconds > 0)) return Complain("--timeout wants a number of seconds", kUsage);
    } else if (argument.startsWith("-")) {
      return Complain("unknown option " + argument, kUsage);
    } else {
      options.asked << argument;
    }
  }
  return Wait(bus, options);
}

// A server may have put tabs and line ends into a URL or name; a line stays one line of so many fields.
QString Field(QString text) {
  for (QChar& c : text) {
    if (c.unicode() < 0x20 || c.unicode() == 0x7F) c = QChar::ReplacementCharacter;
  }
  return text;
}

int RunList(Bus& bus, const QStringList& arguments) {
  if (!arguments.isEmpty()) return Complain("list takes no arguments", kUsage);
  const std::optional<QList<DownloadRow>> rows = bus.List();
  if (!rows) return Complain(bus.Error(), kNotReachable);
  for (const DownloadRow& row : *rows) {
    const QStringList fields{QString::number(row.index),
                             row.state,
                             QString::number(row.percent, 'f', 1) + "%",
                             QString::number(row.received),
                             QString::number(row.size),
                             Field(row.url),
                             Field(row.savedPath)};
    Print(fields.join('\t'));
  }
  return kOk;
}

int RunAdd(Bus& bus, const QStringList& arguments) {
  if (arguments.isEmpty()) return Complain("add wants at least one URL", kUsage);
  for (const QString& url : arguments) {
    if (url.startsWith("-")) return Complain("unknown option " + url, kUsage);
  }
  for (const QString& url : arguments) {
    const QString error = bus.Add(url);
    if (!error.isEmpty()) return Complain(error, kNotReachable);
  }
  return kOk;
}

int RunResume(Bus& bus, const QStringList& arguments) {
  if (!arguments.isEmpty()) return Complain("resume takes no arguments", kUsage);
  const QString error = bus.ResumeAll();
  return error.isEmpty() ? kOk : Complain(error, kNotReachable);
}

int Run(QStringList arguments) {
  if (arguments.contains("--help") || arguments.contains("-h")) {
    std::fputs(kHelp, stdout);
    return kOk;
  }
  using Command = int (*)(Bus&, const QStringList&);
  const std::map<QString, Command> commands{
      {"add", RunAdd}, {"resume", RunResume}, {"list", RunList}, {"wait", RunWait}};
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
