// The preview process: renders one file for the program's preview pane. It is a separate process because decoders
// block, and because downloaded files may be made to exploit them.
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

#include "desktop/confine/Confine.h"
#include "desktop/confine/Environment.h"
#include "desktop/preview/Channel.h"
#include "desktop/preview/MediaLibrary.h"
#include "desktop/preview/Player.h"
#include "desktop/preview/Plugins.h"
#include "desktop/preview/Protocol.h"
#include "desktop/preview/Still.h"

namespace pellora {
namespace {

constexpr int kFailed = 1;
constexpr std::size_t kMaxOrderLength = 65536;

[[noreturn]] void End(int code) { _exit(code); }

// Where to report why nothing is rendered. Standard error itself is silenced unless debugging: libraries complain there
// about sound cards, and a hostile file could write to a terminal.
int& ErrorDescriptor() {
  static int descriptor = STDERR_FILENO;
  return descriptor;
}

void SilenceStandardError() {
  if (std::getenv("GST_DEBUG") != nullptr) return;
  const int nothing = open("/dev/null", O_WRONLY | O_CLOEXEC);
  ErrorDescriptor() = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  if (nothing >= 0) dup2(nothing, STDERR_FILENO);
  close(nothing);
}

void CompleteConfinement(Work work) {
  RestrictCalls(work);
  if (ErrorDescriptor() != STDERR_FILENO) close(ErrorDescriptor());
}

// The first line of the input, read byte by byte: what follows is for the channel.
std::string ReadFirstLine() {
  std::string line;
  for (char byte = 0; line.size() < kMaxOrderLength;) {
    const ssize_t count = read(STDIN_FILENO, &byte, 1);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) End(EXIT_SUCCESS);
    if (byte == '\n') return line;
    line += byte;
  }
  End(kFailed);
}

// Refuses pipes and devices, which could block forever.
int OpenRegularFile(const std::string& path) {
  const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  struct stat status {};
  if (descriptor < 0 || fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) End(kFailed);
  return descriptor;
}

QSize Box(const QByteArray& width, const QByteArray& height) {
  const auto most = static_cast<int>(kMaxPreviewSide);
  return QSize(width.toInt(), height.toInt()).expandedTo({1, 1}).boundedTo({most, most});
}

QList<QByteArray> Words(const std::string& line) { return QByteArray::fromStdString(line).split(' '); }

// The first order, with its file already open. Before the confinement only the few bytes that tell pictures from media
// are read.
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
    channel_.Report(kPreviewRendered);
    End(EXIT_SUCCESS);
  }

  // Everything that needs no file is done before the last step of the confinement: finding plugins, connecting sound.
  // The media library takes names for text, but they may hold any bytes; so it gets the file by its descriptor.
  void Play(int file) {
    if (!CanPlay()) End(kFailed);
    ConnectSound();
    player_ = std::make_unique<Player>(Player::Events{
        [this] { channel_.Report(kPreviewRendered); }, [] { End(kFailed); }, [this] { channel_.Report(kPreviewEnded); },
        [this](std::function<QImage()> picture) {
          channel_.Show([this, picture = std::move(picture)] { return FitInto(picture(), box_); });
        }});
    CompleteConfinement(Work::Media);
    player_->Load(QUrl::fromLocalFile(QStringLiteral("/proc/self/fd/%1").arg(file)));
  }

  void OnLine(const std::string& line) {
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
  Channel channel_{[this](const std::string& line) { OnLine(line); }};
  std::unique_ptr<Player> player_;
};

int Render(int argc, char** argv) {
  IsolateProcess();
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
    pellora::LiftFileSizeLimit();
    dprintf(pellora::ErrorDescriptor(), "pellora-preview: renders nothing, as it cannot be confined: %s\n",
            failure.what());
    pellora::End(pellora::kPreviewUnconfined);
  }
}
