// The preview process: renders one file for the program's preview pane. It is a process of its own because
// decoders stall, and because what is downloaded may be made to break them.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QByteArray>
#include <QGuiApplication>
#include <QList>
#include <QSize>
#include <QString>
#include <QUrl>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "desktop/preview/Channel.h"
#include "desktop/preview/Confine.h"
#include "desktop/preview/Environment.h"
#include "desktop/preview/MediaLibrary.h"
#include "desktop/preview/Player.h"
#include "desktop/preview/Plugins.h"
#include "desktop/preview/Protocol.h"
#include "desktop/preview/Still.h"

namespace pellora {
namespace {

constexpr int kFailed = 1;
constexpr std::size_t kLongestOrder = 65536;

[[noreturn]] void End(int code) { _exit(code); }

// Where it is said why nothing is rendered. Standard error itself is silent, unless it is being debugged: libraries
// complain there about sound cards, and a hostile file could draw on a terminal.
int& ReasonDescriptor() {
  static int descriptor = STDERR_FILENO;
  return descriptor;
}

void SilenceStandardError() {
  if (std::getenv("GST_DEBUG") != nullptr) return;
  const int nothing = open("/dev/null", O_WRONLY | O_CLOEXEC);
  ReasonDescriptor() = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  if (nothing >= 0) dup2(nothing, STDERR_FILENO);
  close(nothing);
}

void CompleteConfinement(Work work) {
  RestrictCalls(work);
  if (ReasonDescriptor() != STDERR_FILENO) close(ReasonDescriptor());
}

// The first line of the input, without a byte of what follows: the channel is not open yet.
std::string ReadFirstLine() {
  std::string line;
  for (char byte = 0; line.size() < kLongestOrder;) {
    const ssize_t count = read(STDIN_FILENO, &byte, 1);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) End(EXIT_SUCCESS);
    if (byte == '\n') return line;
    line += byte;
  }
  End(kFailed);
}

// A pipe or a device, which would be waited for without an end, is no file to render.
int OpenRegularFile(const std::string& path) {
  const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  struct stat status {};
  if (descriptor < 0 || fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) End(kFailed);
  return descriptor;
}

QSize Box(const QByteArray& width, const QByteArray& height) {
  const auto most = static_cast<int>(kLargestPreviewSide);
  return QSize(width.toInt(), height.toInt()).expandedTo({1, 1}).boundedTo({most, most});
}

QList<QByteArray> Words(const std::string& line) { return QByteArray::fromStdString(line).split(' '); }

// What the first order says, and the file itself. It is opened before the confinement, and read after it but for the
// few bytes that tell pictures from media.
struct Order {
  explicit Order(const std::string& line) {
    const QList<QByteArray> words = Words(line);
    if (words.size() != 4 || words.first() != "open") End(kFailed);
    box = Box(words[1], words[2]);
    path = QByteArray::fromPercentEncoding(words[3]).toStdString();
    file = OpenRegularFile(path);
    work = IsStill(path) ? Work::Picture : Work::Media;
  }

  QSize box;
  std::string path;
  int file = -1;
  Work work = Work::Picture;
};

class Session {
 public:
  void Open(const Order& order) {
    box_ = order.box;
    if (order.work == Work::Picture) {
      Show(order.path);
    } else {
      Play(order.file);
    }
  }

 private:
  [[noreturn]] void Show(const std::string& path) {
    CompleteConfinement(Work::Picture);
    const QImage picture = FitInto(ReadStill(path, box_), box_);
    if (picture.isNull()) End(kFailed);
    channel_.ShowNow(picture);
    channel_.Tell(kPreviewRendered);
    End(EXIT_SUCCESS);
  }

  // All that needs no file is made before the last of the confinement: plugins are found, sound is connected. Names may
  // hold any bytes, which the media library would take for text: it gets the file by its descriptor, which stays open.
  void Play(int file) {
    if (!CanPlay()) End(kFailed);
    ConnectSound();
    player_ = std::make_unique<Player>(Player::Events{
        [this] { channel_.Tell(kPreviewRendered); }, [] { End(kFailed); }, [this] { channel_.Tell(kPreviewEnded); },
        [this](std::function<QImage()> picture) {
          channel_.Show([this, picture = std::move(picture)] { return FitInto(picture(), box_); });
        }});
    CompleteConfinement(Work::Media);
    player_->Load(QUrl::fromLocalFile(QStringLiteral("/proc/self/fd/%1").arg(file)));
  }

  void Take(const std::string& line) {
    const QList<QByteArray> words = Words(line);
    const QByteArray& word = words.first();
    if (word == "size" && words.size() == 3) {
      box_ = Box(words[1], words[2]);
    } else if (word == "run") {
      player_->Run();
    } else if (word == "cue") {
      player_->Cue();
    } else if (word == "stop") {
      player_->Stop();
    } else if (word == "volume" && words.size() == 2) {
      player_->SetVolume(words[1].toInt());
    }
  }

  QSize box_{1, 1};
  Channel channel_{[this](const std::string& line) { Take(line); }};
  std::unique_ptr<Player> player_;
};

int Render(int argc, char** argv) {
  LeaveOthers();
  SilenceStandardError();
  const std::string cache = CacheFolder();
  ReduceEnvironment();
  const Order order(ReadFirstLine());
  std::vector<std::string> places = NamedPlaces();
  if (order.work == Work::Media) places.push_back(PreparePlugins(cache));
  RestrictProcess(order.work, order.file, places);
  QGuiApplication application(argc, argv);
  Session session;
  session.Open(order);
  return QGuiApplication::exec();
}

int List() {
  const std::string cache = CacheFolder();
  ReduceEnvironment();
  return ListPlugins(cache);
}

}  // namespace
}  // namespace pellora

int main(int argc, char** argv) {
  try {
    if (argc == 2 && std::string_view(argv[1]) == pellora::kListPlugins) return pellora::List();
    return pellora::Render(argc, argv);
  } catch (const pellora::ConfinementFailure& failure) {
    pellora::LetFilesGrow();
    dprintf(pellora::ReasonDescriptor(), "pellora-preview: renders nothing, as it cannot be confined: %s\n",
            failure.what());
    pellora::End(pellora::kPreviewUnconfined);
  }
}
