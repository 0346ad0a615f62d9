#include "desktop/PreviewMedia.h"

#include <QByteArray>
#include <QFile>
#include <QPointer>
#include <QProcess>
#include <QTimer>
#include <functional>
#include <optional>
#include <span>
#include <utility>

#include "async/EventGate.h"
#include "desktop/PreviewFrames.h"
#include "desktop/ProcessorTime.h"
#include "ports/Failure.h"
#include "ui/MediaSurface.h"

namespace pellora {

namespace {

// More than this lies unread only at a process that stands still, or that sends frames without being asked.
constexpr qint64 kMostUnread = 65536;

// While no frame comes, as from a sound, a process that plays gets this share of the time that passes. A sound takes
// less; a decoder that goes round in circles takes all of it.
constexpr std::chrono::milliseconds kWatch{1000};
constexpr std::chrono::milliseconds kShareOfSound = kWatch / 4;

// It clears its environment itself. What it says on its standard error is why it shows nothing at all.
QProcess* NewProcess(const std::string& program, QObject* parent) {
  auto* process = new QProcess(parent);
  process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
  process->setProgram(QFile::decodeName(QByteArray::fromStdString(program)));
  return process;
}

class PreviewGraph final : public QObject, public MediaGraph {
 public:
  PreviewGraph(EventGate& gate, QProcess* process, const PreviewLimits& limits)
      : gate_(gate), process_(process), processorTime_(limits.processorTime) {
    patience_.setSingleShot(true);
    patience_.setInterval(limits.patience);
    connect(&patience_, &QTimer::timeout, this, &PreviewGraph::Lose);
    watch_.setInterval(kWatch);
    connect(&watch_, &QTimer::timeout, this, &PreviewGraph::Watch);
    connect(process_, &QProcess::started, this, &PreviewGraph::BeginWatch);
    // Queued: none of these comes inside the call that starts the process.
    connect(process_, &QProcess::readyReadStandardOutput, this, &PreviewGraph::Read, Qt::QueuedConnection);
    connect(process_, &QProcess::errorOccurred, this, &PreviewGraph::Ended, Qt::QueuedConnection);
    connect(process_, &QProcess::finished, this, &PreviewGraph::Ended, Qt::QueuedConnection);
    connect(process_, &QProcess::finished, process_, &QObject::deleteLater);
  }
  ~PreviewGraph() override {
    done_ = nullptr;
    EndProcess();
    if (surface_ != nullptr) surface_->Frame = nullptr;
  }

  void RenderFile(const std::string& path, std::function<void(bool rendered)> done) override {
    if (state_ != State::Empty) throw Failure(FailureNumber::InvalidCall, "the graph holds a file already");
    if (path.empty() || path.find('\0') != std::string::npos) throw Failure(FailureNumber::File, path + ": no file");
    state_ = State::Rendering;
    done_ = std::move(done);
    process_->start();
    const QByteArray encoded = QByteArray::fromStdString(path).toPercentEncoding("/");
    Say("open " + QByteArray::number(width_) + ' ' + QByteArray::number(height_) + ' ' + encoded);
    patience_.start();
  }

  void SetOwner(MediaSurface& surface) override {
    surface_ = &surface;
    if (surface.PixelWidth() == width_ && surface.PixelHeight() == height_) return;
    width_ = surface.PixelWidth();
    height_ = surface.PixelHeight();
    if (state_ != State::Empty) Say("size " + QByteArray::number(width_) + ' ' + QByteArray::number(height_));
  }

  void Run() override {
    Tell("run");
    playing_ = true;
  }
  void Stop() override {
    Tell("stop");
    playing_ = false;
  }
  void StopWhenReady() override {
    Tell("cue");
    playing_ = false;
  }
  void SetVolume(int hundredthsOfDecibel) override { Tell("volume " + QByteArray::number(hundredthsOfDecibel)); }

 private:
  enum class State {
    Empty,
    Rendering,
    Rendered,
    Still,  // rendered; its process had nothing more to do
    Lost,
  };

  void Tell(const QByteArray& line) {
    if (state_ != State::Rendered && state_ != State::Still) {
      throw Failure(FailureNumber::InvalidCall, "the graph holds no file");
    }
    Say(line);
  }

  void Say(const QByteArray& line) {
    if (process_ != nullptr && process_->state() != QProcess::NotRunning) process_->write(line + '\n');
  }

  void BeginWatch() {
    if (process_ == nullptr) return;
    used_.emplace(static_cast<pid_t>(process_->processId()), processorTime_);
    watch_.start();
  }

  // Long films go on; what uses the processors without showing anything comes to an end.
  void Watch() {
    if (std::exchange(shown_, false)) {
      used_->Renew();
    } else if (playing_) {
      used_->Extend(kShareOfSound);
    }
    if (used_->IsExceeded()) Lose();
  }

  void Read() {
    if (process_ == nullptr) return;
    process_->setReadChannel(QProcess::StandardOutput);
    const QPointer<PreviewGraph> alive(this);
    while (alive && process_ != nullptr && TakeSome()) {
    }
    if (alive && process_ != nullptr && process_->bytesToWrite() > kMostUnread) Lose();
  }

  // False once there is nothing to take. What was said may end this graph.
  bool TakeSome() {
    const std::span<char> room = frames_.Room();
    const qint64 count = process_->read(room.data(), static_cast<qint64>(room.size()));
    if (count <= 0) return false;
    switch (frames_.Took(static_cast<std::size_t>(count))) {
      case PreviewFrames::Said::Rendered:
        Finish(true);
        break;
      case PreviewFrames::Said::Frame:
        Say("seen");
        shown_ = true;
        SetFrame(frames_.TakeFrame());
        break;
      case PreviewFrames::Said::Ended:
        playing_ = false;
        break;
      case PreviewFrames::Said::Nonsense:
        Lose();
        break;
      default:
        break;
    }
    return true;
  }

  // The event may end this graph.
  void SetFrame(std::shared_ptr<const MediaFrame> frame) {
    gate_.Deliver([&] {
      if (surface_ != nullptr) surface_->Frame = std::move(frame);
    });
  }

  // The event may end this graph.
  void Finish(bool rendered) {
    if (state_ != State::Rendering) return;
    patience_.stop();
    state_ = rendered ? State::Rendered : State::Lost;
    const auto done = std::exchange(done_, nullptr);
    if (done) gate_.Deliver([&] { done(rendered); });
  }

  // The process is gone, or was never there.
  void Ended() {
    if (process_ == nullptr || process_->state() != QProcess::NotRunning) return;
    const QPointer<PreviewGraph> alive(this);
    Read();
    if (!alive || process_ == nullptr) return;
    const bool well = process_->exitStatus() == QProcess::NormalExit && process_->exitCode() == 0;
    watch_.stop();
    if (well && state_ == State::Rendered) {
      state_ = State::Still;
      process_ = nullptr;  // deletes itself
      return;
    }
    Lose();
  }

  void Lose() {
    EndProcess();
    const bool rendering = state_ == State::Rendering;
    if (!rendering) state_ = State::Lost;
    const QPointer<PreviewGraph> alive(this);
    SetFrame(nullptr);
    if (alive && rendering) Finish(false);
  }

  void EndProcess() {
    patience_.stop();
    watch_.stop();
    QProcess* const process = std::exchange(process_, nullptr);
    if (process == nullptr) return;
    process->disconnect(this);
    if (process->state() == QProcess::NotRunning) {
      process->deleteLater();
    } else {
      process->kill();
    }
  }

  EventGate& gate_;
  QProcess* process_;  // its parent's; deletes itself behind its end
  MediaSurface* surface_ = nullptr;
  State state_ = State::Empty;
  std::function<void(bool rendered)> done_;
  QTimer patience_;
  QTimer watch_;
  const std::chrono::milliseconds processorTime_;
  std::optional<ProcessorTime> used_;
  bool shown_ = false;  // a frame, since the last watch
  bool playing_ = false;
  int width_ = 0;
  int height_ = 0;
  PreviewFrames frames_;
};

}  // namespace

PreviewMedia::PreviewMedia(EventGate& gate, std::string program, const PreviewLimits& limits)
    : gate_(gate), program_(std::move(program)), limits_(limits), processes_(std::make_unique<QObject>()) {}

// A killed process is gone in a moment; waiting for it leaves no zombie to a program that goes on.
PreviewMedia::~PreviewMedia() {
  for (QProcess* process : processes_->findChildren<QProcess*>()) {
    if (process->state() == QProcess::NotRunning) continue;
    process->kill();
    process->waitForFinished(1000);
  }
}

std::unique_ptr<MediaGraph> PreviewMedia::NewGraph() {
  return std::make_unique<PreviewGraph>(gate_, NewProcess(program_, processes_.get()), limits_);
}

int PreviewMedia::Processes() const {
  int running = 0;
  for (const QObject* child : processes_->children()) {
    if (static_cast<const QProcess*>(child)->state() != QProcess::NotRunning) ++running;
  }
  return running;
}

}  // namespace pellora
