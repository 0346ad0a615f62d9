#include "desktop/preview/Player.h"

#include <cmath>
#include <utility>

namespace pellora {

namespace {

constexpr int kCueDelayMilliseconds = 20;
constexpr int kFirstPictureMilliseconds = 3000;

}  // namespace

Player::Player(Events events) : events_(std::move(events)) {
  start_.setSingleShot(true);
  start_.setInterval(kCueDelayMilliseconds);
  connect(&start_, &QTimer::timeout, this, [this] {
    running_ = true;
    player_.play();
  });
  firstPicture_.setSingleShot(true);
  firstPicture_.setInterval(kFirstPictureMilliseconds);
  connect(&firstPicture_, &QTimer::timeout, this, &Player::ReportRendered);
  connect(&sink_, &QVideoSink::videoFrameChanged, this, &Player::FrameArrived);
  connect(&player_, &QMediaPlayer::mediaStatusChanged, this, &Player::StatusChanged);
  connect(&player_, &QMediaPlayer::errorOccurred, this, [this] {
    if (!rendered_) events_.failed();
  });
  player_.setVideoSink(&sink_);
  player_.setAudioOutput(&sound_);  // without one, a file with only sound does not play
}

void Player::Load(const QUrl& file) { player_.setSource(file); }

void Player::Run() {
  if (!running_) start_.start();
}

void Player::Cue() { start_.stop(); }

void Player::Stop() {
  start_.stop();
  running_ = false;
  player_.stop();
  ShowFirst();
}

void Player::SetVolume(int hundredthsOfDecibel) {
  const auto volume = static_cast<float>(std::pow(10.0, hundredthsOfDecibel / 2000.0));
  if (volume == sound_.volume()) return;
  sound_.setVolume(volume);
  // Buffered sound has the old volume. A seek discards it; a seek to 0 would do nothing.
  if (rendered_ && !running_) player_.setPosition(1);
}

void Player::StatusChanged(QMediaPlayer::MediaStatus status) {
  switch (status) {
    case QMediaPlayer::LoadedMedia:
      if (rendered_ || firstPicture_.isActive()) return;
      if (!player_.hasVideo()) return ReportRendered();
      firstPicture_.start();
      player_.pause();
      return;
    case QMediaPlayer::InvalidMedia:
      if (!rendered_) events_.failed();
      return;
    case QMediaPlayer::EndOfMedia:
      running_ = false;
      ShowFirst();
      events_.ended();
      return;
    default:
      return;
  }
}

void Player::FrameArrived(const QVideoFrame& frame) {
  if (!frame.isValid()) return;
  if (first_.isNull()) {
    first_ = frame.toImage();
    ShowFirst();
    ReportRendered();
  } else if (running_) {
    events_.shows([frame] { return frame.toImage(); });
  }
}

void Player::ReportRendered() {
  firstPicture_.stop();
  if (std::exchange(rendered_, true)) return;
  events_.rendered();
}

void Player::ShowFirst() {
  if (first_.isNull()) return;
  events_.shows([first = first_] { return first; });
}

}  // namespace pellora
