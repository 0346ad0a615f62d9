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

// More than this stays unwritten only if the process hangs or sends frames without waiting for "seen".
constexpr qint64 kMaxUnwritten = 65536;

// A playing process that sends no frames, as for a sound, gets this share of the elapsed time. A sound takes less; a
// decoder in an endless loop takes all of it.
constexpr std::chrono::milliseconds kCheckInterval{1000};
constexpr std::chrono::milliseconds kSoundShare = kCheckInterval / 4;

// The process clears its environment itself. It reports on standard error why it renders nothing at all.
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
    renderTimer_.setSingleShot(true);
    renderTimer_.setInterval(limits.renderTimeout);
    connect(&renderTimer_, &QTimer::timeout, this, &PreviewGraph::Abandon);
    checkTimer_.setInterval(kCheckInterval);
    connect(&checkTimer_, &QTimer::timeout, this, &PreviewGraph::CheckProcessorTime);
    connect(process_, &QProcess::started, this, &PreviewGraph::StartChecks);
    // Queued, so that none of these arrives inside the call that starts the process.
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
    WriteLine("open " + QByteArray::number(width_) + ' ' + QByteArray::number(height_) + ' ' + encoded);
    renderTimer_.start();
  }

  void SetOwner(MediaSurface& surface) override {
    surface_ = &surface;
    if (surface.PixelWidth() == width_ && surface.PixelHeight() == height_) return;
    width_ = surface.PixelWidth();
    height_ = surface.PixelHeight();
    if (state_ != State::Empty) WriteLine("size " + QByteArray::number(width_) + ' ' + QByteArray::number(height_));
  }

  void Run() override {
    Command("run");
    playing_ = true;
  }
  void Stop() override {
    Command("stop");
    playing_ = false;
  }
  void StopWhenReady() override {
    Command("cue");
    playing_ = false;
  }
  void SetVolume(int hundredthsOfDecibel) override { Command("volume " + QByteArray::number(hundredthsOfDecibel)); }

 private:
  enum class State {
    Empty,
    Rendering,
    Rendered,
    Exited,  // rendered; its process has exited
    Failed,
  };

  void Command(const QByteArray& line) {
    if (state_ != State::Rendered && state_ != State::Exited) {
      throw Failure(FailureNumber::InvalidCall, "the graph holds no file");
    }
    WriteLine(line);
  }

  void WriteLine(const QByteArray& line) {
    if (process_ != nullptr && process_->state() != QProcess::NotRunning) process_->write(line + '\n');
  }

  void StartChecks() {
    if (process_ == nullptr) return;
    used_.emplace(static_cast<pid_t>(process_->processId()), processorTime_);
    checkTimer_.start();
  }

  // Long films continue; a process that uses processor time without showing anything is ended.
  void CheckProcessorTime() {
    if (std::exchange(shown_, false)) {
      used_->Renew();
    } else if (playing_) {
      used_->Extend(kSoundShare);
    }
    if (used_->IsExceeded()) Abandon();
  }

  void Read() {
    if (process_ == nullptr) return;
    process_->setReadChannel(QProcess::StandardOutput);
    const QPointer<PreviewGraph> alive(this);
    while (alive && process_ != nullptr && ReadSome()) {
    }
    if (alive && process_ != nullptr && process_->bytesToWrite() > kMaxUnwritten) Abandon();
  }

  // False if there is nothing to read. The message may end this graph.
  bool ReadSome() {
    const std::span<char> area = frames_.WriteArea();
    const qint64 count = process_->read(area.data(), static_cast<qint64>(area.size()));
    if (count <= 0) return false;
    switch (frames_.Received(static_cast<std::size_t>(count))) {
      case PreviewFrames::Event::Rendered:
        Finish(true);
        break;
      case PreviewFrames::Event::Frame:
        WriteLine("seen");
        shown_ = true;
        SetFrame(frames_.TakeFrame());
        break;
      case PreviewFrames::Event::Ended:
        playing_ = false;
        break;
      case PreviewFrames::Event::Malformed:
        Abandon();
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
    renderTimer_.stop();
    state_ = rendered ? State::Rendered : State::Failed;
    const auto done = std::exchange(done_, nullptr);
    if (done) gate_.Deliver([&] { done(rendered); });
  }

  // The process has ended, or could not be started.
  void Ended() {
    if (process_ == nullptr || process_->state() != QProcess::NotRunning) return;
    const QPointer<PreviewGraph> alive(this);
    Read();
    if (!alive || process_ == nullptr) return;
    const bool well = process_->exitStatus() == QProcess::NormalExit && process_->exitCode() == 0;
    checkTimer_.stop();
    if (well && state_ == State::Rendered) {
      state_ = State::Exited;
      process_ = nullptr;  // deletes itself
      return;
    }
    Abandon();
  }

  void Abandon() {
    EndProcess();
    const bool rendering = state_ == State::Rendering;
    if (!rendering) state_ = State::Failed;
    const QPointer<PreviewGraph> alive(this);
    SetFrame(nullptr);
    if (alive && rendering) Finish(false);
  }

  void EndProcess() {
    renderTimer_.stop();
    checkTimer_.stop();
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
  QProcess* process_;  // owned by its parent; deletes itself after its end
  MediaSurface* surface_ = nullptr;
  State state_ = State::Empty;
  std::function<void(bool rendered)> done_;
  QTimer renderTimer_;
  QTimer checkTimer_;
  const std::chrono::milliseconds processorTime_;
  std::optional<ProcessorTime> used_;
  bool shown_ = false;  // a frame, since the last check
  bool playing_ = false;
  int width_ = 0;
  int height_ = 0;
  PreviewFrames frames_;
};

}  // namespace

PreviewMedia::PreviewMedia(EventGate& gate, std::string program, const PreviewLimits& limits)
    : gate_(gate), program_(std::move(program)), limits_(limits), processes_(std::make_unique<QObject>()) {}

// A killed process exits at once; waiting for it avoids a zombie while the program continues.
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
