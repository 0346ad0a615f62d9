// The confinement of the preview process, from inside: every way out is tried, free and confined.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/landlock.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <unistd.h>

#include <QByteArray>
#include <QFile>
#include <QImage>
#include <QList>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <string>

#include "InheritedDescriptor.h"
#include "Support.h"
#include "desktop/ProcessorTime.h"
#include "desktop/preview/Protocol.h"

namespace pellora {
namespace {

using namespace std::chrono_literals;

struct Outcome {
  QByteArray said;
  QByteArray reason;
  bool exited = false;
  int code = 0;  // or the signal's number
};

Outcome RunToEnd(const QString& program, const QStringList& arguments, const QByteArray& input = {}) {
  QProcess process;
  QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
  environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), QStringLiteral("unix:path=/nonexistent"));
  environment.insert(QStringLiteral("HOME"), QStringLiteral("/"));
  process.setProcessEnvironment(environment);
  process.start(program, arguments);
  process.write(input);
  EXPECT_TRUE(process.waitForFinished(30000)) << program.toStdString();
  return {process.readAllStandardOutput(), process.readAllStandardError(), process.exitStatus() == QProcess::NormalExit,
          process.exitCode()};
}

bool HasLandlock() {
  return syscall(SYS_landlock_create_ruleset, nullptr, std::size_t{0}, LANDLOCK_CREATE_RULESET_VERSION) > 0;
}

// A home with a listening bus, recreated for each attempt.
class Home {
 public:
  Home() {
    Put(Path("own"), "what is rendered");
    Put(Path("other"), "what is not");
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, Path("bus").c_str(), sizeof address.sun_path - 1);
    EXPECT_EQ(bind(bus_, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(listen(bus_, 1), 0);
    EXPECT_EQ(dup2(open(Path("inherited").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600), kInheritedDescriptor),
              kInheritedDescriptor);
  }
  ~Home() {
    close(bus_);
    close(kInheritedDescriptor);
  }
  Home(const Home&) = delete;
  Home& operator=(const Home&) = delete;
  std::string Path(const std::string& name) const { return folder_.Path(name); }
  QString Name() const { return QString::fromStdString(folder_.Path()); }
  // Whether nothing was changed.
  bool IsUntouched() const {
    namespace fs = std::filesystem;
    const auto count = std::distance(fs::directory_iterator(folder_.Path()), fs::directory_iterator());
    return count == 4 && Content(Path("own")) == "what is rendered" && Content(Path("other")) == "what is not" &&
           Content(Path("inherited")).empty();
  }

 private:
  Folder folder_;
  const int bus_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
};

struct NamedWay {
  QString name;
  QByteArray kind;
};

QList<NamedWay> Ways() {
  QList<NamedWay> ways;
  const QByteArray all = RunToEnd(QStringLiteral(PELLORA_WAYS_OUT), {QStringLiteral("list")}).said;
  for (const QByteArray& line : all.trimmed().split('\n')) {
    const QList<QByteArray> words = line.split('\t');
    if (words.size() == 2) ways.push_back({QString::fromUtf8(words[0]), words[1]});
  }
  return ways;
}

Outcome Try(const char* mode, const Home& home, const NamedWay& way) {
  return RunToEnd(QStringLiteral(PELLORA_WAYS_OUT), {QString::fromUtf8(mode), home.Name(), way.name});
}

TEST(Confinement, LeavesEachWayOutOpenToAnUnconfinedProcess) {
  const QList<NamedWay> ways = Ways();
  EXPECT_GE(ways.size(), 60);
  for (const NamedWay& way : ways) {
    if (way.kind == "depends") continue;
    const Home home;
    EXPECT_EQ(Try("free", home, way).said, "done\n") << way.name.toStdString();
  }
}

void ExpectClosed(const Outcome& outcome, const NamedWay& way, bool landlock) {
  if (way.kind == "landlock" && !landlock) return;  // may be blocked by other means of the kernel
  if (way.name.startsWith(QStringLiteral("calls of "))) {
    EXPECT_FALSE(outcome.exited) << way.name.toStdString();
    EXPECT_EQ(outcome.code, SIGSYS) << way.name.toStdString();
  } else {
    EXPECT_TRUE(outcome.said.startsWith("refused ")) << way.name.toStdString() << ": " << outcome.said.toStdString();
  }
}

class ConfinedProcess : public testing::TestWithParam<const char*> {};

TEST_P(ConfinedProcess, HasNoWayOut) {
  const QList<NamedWay> ways = Ways();
  EXPECT_GE(ways.size(), 60);
  for (const NamedWay& way : ways) {
    const Home home;
    ExpectClosed(Try(GetParam(), home, way), way, HasLandlock());
    EXPECT_TRUE(home.IsUntouched()) << way.name.toStdString();
  }
}

INSTANTIATE_TEST_SUITE_P(Confinement, ConfinedProcess, testing::Values("picture", "media"));

TEST(Confinement, EachWayButReadingIsClosedByAKernelWithoutLandlock) {
  const QString program = QStringLiteral(PELLORA_WAYS_OUT);
  for (const NamedWay& way : Ways()) {
    const Home home;
    const Outcome outcome =
        RunToEnd(program, {QStringLiteral("without"), QStringLiteral("landlock_create_ruleset"),
                           QString::number(ENOSYS), program, QStringLiteral("media"), home.Name(), way.name});
    ExpectClosed(outcome, way, false);
    EXPECT_TRUE(home.IsUntouched()) << way.name.toStdString();
  }
}

class Spinning {
 public:
  Spinning() {
    process_.start(QStringLiteral(PELLORA_WAYS_OUT), {QStringLiteral("spin"), home_.Name()});
    EXPECT_TRUE(process_.waitForReadyRead(30000));
  }
  ~Spinning() {
    process_.kill();
    process_.waitForFinished(30000);
  }
  Spinning(const Spinning&) = delete;
  Spinning& operator=(const Spinning&) = delete;
  pid_t Number() const { return static_cast<pid_t>(process_.processId()); }
  std::chrono::milliseconds Used() const {
    clockid_t clock{};
    timespec used{};
    if (clock_getcpuclockid(Number(), &clock) != 0 || clock_gettime(clock, &used) != 0) return {};
    return std::chrono::milliseconds(used.tv_sec * 1000 + used.tv_nsec / 1000000);
  }
  bool Runs() const { return process_.state() == QProcess::Running; }
  bool EndsByItsLimit() {
    return RunUntil([this] { return !Runs(); }) && process_.exitStatus() == QProcess::CrashExit &&
           process_.exitCode() == SIGXCPU;
  }

 private:
  Home home_;
  QProcess process_;
};

TEST(ProcessorTimes, EndAProcessThatExhaustsThem) {
  Spinning spinning;
  const ProcessorTime time(spinning.Number(), 1s);
  EXPECT_TRUE(spinning.EndsByItsLimit());
}

TEST(ProcessorTimes, StartAgainAtEachRenewal) {
  Spinning spinning;
  ProcessorTime time(spinning.Number(), 1s);
  EXPECT_TRUE(RunUntil([&] {
    time.Renew();
    return !spinning.Runs() || spinning.Used() > 4s;
  }));
  EXPECT_TRUE(spinning.Runs());
  EXPECT_FALSE(time.IsExceeded());
  EXPECT_TRUE(spinning.EndsByItsLimit());
}

TEST(ProcessorTimes, GrowByEachExtension) {
  Spinning spinning;
  ProcessorTime time(spinning.Number(), 1s);
  time.Extend(2s);
  EXPECT_TRUE(RunUntil([&] { return !spinning.Runs() || spinning.Used() > 2500ms; }));
  EXPECT_TRUE(spinning.Runs());
  EXPECT_TRUE(spinning.EndsByItsLimit());
}

// The preview process on a kernel that refuses one of the steps.
class UnconfinedPreview : public testing::Test {
 protected:
  UnconfinedPreview() {
    QImage image(40, 30, QImage::Format_RGB32);
    image.fill(Qt::blue);
    EXPECT_TRUE(image.save(QString::fromStdString(Picture())));
  }
  std::string Picture() const { return folder.Path("a.png"); }
  Outcome Render(const char* refused, int error) const {
    const QByteArray order = "open 40 30 " + QByteArray::fromStdString(Picture()).toPercentEncoding("/") + '\n';
    return RunToEnd(QStringLiteral(PELLORA_WAYS_OUT),
                    {QStringLiteral("without"), QString::fromUtf8(refused), QString::number(error),
                     QStringLiteral(PELLORA_PREVIEW)},
                    order);
  }

  Folder folder;
};

TEST_F(UnconfinedPreview, RendersNothingAndReportsWhy) {
  QStringList steps = {QStringLiteral("seccomp"), QStringLiteral("prctl"), QStringLiteral("prlimit64")};
  if (HasLandlock()) steps += {QStringLiteral("landlock_create_ruleset"), QStringLiteral("landlock_restrict_self")};
  for (const QString& step : steps) {
    const Outcome outcome = Render(qPrintable(step), EPERM);
    EXPECT_TRUE(outcome.exited) << step.toStdString();
    EXPECT_EQ(outcome.code, kPreviewUnconfined) << step.toStdString();
    EXPECT_TRUE(outcome.said.isEmpty()) << step.toStdString();
    EXPECT_TRUE(outcome.reason.contains("it cannot be confined: ")) << step.toStdString();
  }
}

TEST_F(UnconfinedPreview, RendersOnAKernelWithoutLandlock) {
  const Outcome outcome = Render("landlock_create_ruleset", ENOSYS);
  EXPECT_TRUE(outcome.exited);
  EXPECT_EQ(outcome.code, 0);
  EXPECT_GT(outcome.said.size(), 40 * 30 * 4);
}

}  // namespace
}  // namespace pellora
