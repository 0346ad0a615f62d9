// Player: plays one sound or video file. Cued, it shows the first picture; after its end or a stop it is at the
// beginning again.
#pragma once

#include <QAudioOutput>
#include <QImage>
#include <QMediaPlayer>
#include <QObject>
#include <QSize>
#include <QTimer>
#include <QUrl>
#include <QVideoFrame>
#include <QVideoSink>
#include <functional>

namespace pellora {

class Player : public QObject {
  Q_OBJECT

 public:
  struct Events {
    std::function<void()> rendered;
    std::function<void()> failed;
    std::function<void()> ended;
    std::function<void(std::function<QImage()> picture)> shows;  // `picture` makes it, if it is wanted
  };

  explicit Player(Events events);

  void Load(const QUrl& file);  // once
  void Run();
  void Cue();  // right after Run: shows the first picture and waits
  void Stop();
  void SetVolume(int hundredthsOfDecibel);

 private:
  void StatusChanged(QMediaPlayer::MediaStatus status);
  void FrameArrived(const QVideoFrame& frame);
  void ReportRendered();
  void ShowFirst();

  const Events events_;
  QVideoSink sink_;
  QAudioOutput sound_;
  QMediaPlayer player_;
  QTimer start_;  // a delay in which Cue can still cancel Run
  QTimer firstPicture_;
  bool rendered_ = false;
  bool running_ = false;
  QImage first_;
};

}  // namespace pellora
