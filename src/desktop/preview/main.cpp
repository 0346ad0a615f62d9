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
#include <memory>
#include <string>

#include "desktop/preview/Channel.h"
#include "desktop/preview/Confine.h"
#include "desktop/preview/Player.h"
#include "desktop/preview/Still.h"

namespace pellora {
namespace {

constexpr int kFailed = 1;

[[noreturn]] void End(int code) { _exit(code); }

// Names may hold any bytes, which the media library would take for text: the file is handed to it by its descriptor,
// which stays open. A pipe or a device, which would be waited for without an end, is no file to play.
QUrl FileUrl(const std::string& path) {
  const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  struct stat status {};
  if (descriptor < 0 || fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) End(kFailed);
  return QUrl::fromLocalFile(QStringLiteral("/proc/self/fd/%1").arg(descriptor));
}

class Session {
 public:
  void Take(const std::string& text) {
    const QList<QByteArray> words = QByteArray::fromStdString(text).split(' ');
    const QByteArray& word = words.first();
    if (word == "open" && words.size() == 4 && !opened_) {
      opened_ = true;
      Resize(words[1], words[2]);
      Open(words[3]);
    } else if (word == "size" && words.size() == 3) {
      Resize(words[1], words[2]);
    } else if (player_ == nullptr) {
      return;
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

 private:
  void Resize(const QByteArray& width, const QByteArray& height) {
    const QSize told(width.toInt(), height.toInt());
    const auto most = static_cast<int>(kLargestPreviewSide);
    box_ = told.expandedTo({1, 1}).boundedTo({most, most});
  }

  void Open(const QByteArray& encoded) {
    const std::string path = QByteArray::fromPercentEncoding(encoded).toStdString();
    if (IsStill(path)) {
      const QImage picture = FitInto(ReadStill(path, box_), box_);
      if (picture.isNull()) End(kFailed);
      channel_.ShowNow(picture);
      channel_.Tell(kPreviewRendered);
      End(0);
    }
    if (!CanPlay()) End(kFailed);
    player_ = std::make_unique<Player>(
        FileUrl(path),
        Player::Events{[this] { channel_.Tell(kPreviewRendered); }, [] { End(kFailed); },
                       [this] { channel_.Tell(kPreviewEnded); },
                       [this](std::function<QImage()> picture) {
                         channel_.Show([this, picture = std::move(picture)] { return FitInto(picture(), box_); });
                       }});
  }

  Channel channel_{[this](const std::string& line) { Take(line); }};
  std::unique_ptr<Player> player_;
  QSize box_{1, 1};
  bool opened_ = false;
};

}  // namespace
}  // namespace pellora

int main(int argc, char** argv) {
  pellora::Confine();
  // Nothing is shown from here.
  qputenv("QT_QPA_PLATFORM", "offscreen");
  qputenv("QT_MEDIA_BACKEND", "gstreamer");
  QGuiApplication application(argc, argv);
  pellora::Session session;
  return QGuiApplication::exec();
}
