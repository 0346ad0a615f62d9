#include "SimMedia.h"

#include <algorithm>
#include <utility>

#include "SimFaults.h"
#include "ports/Failure.h"
#include "ui/MediaSurface.h"

namespace pellora {

class SimMediaGraph final : public MediaGraph {
 public:
  SimMediaGraph(SimMedia& media, int number) : media_(media), number_(number) { ++media_.living_; }
  ~SimMediaGraph() override {
    --media_.living_;
    if (surface_) surface_->Frame = nullptr;
  }

  void RenderFile(const std::string& path, std::function<void(bool rendered)> done) override {
    Note("render " + path);
    if (media_.silent.contains(path)) return;
    const bool good = !SimFails("media render", path) && !media_.broken.contains(path);
    done_ = media_.loop_.NewAlarm([this, good, done = std::move(done)] {
      rendered_ = good;
      done(good);
    });
    done_->Start(media_.renderTime, false);
  }
  void SetOwner(MediaSurface& surface) override {
    ++media_.attached_;
    if (surface_ == &surface) return;
    surface_ = &surface;
    Note("owner " + surface.Name);
  }
  void Run() override {
    Tell("run");
    ShowFrame();
  }
  void Stop() override { Tell("stop"); }
  void StopWhenReady() override {
    Tell("stop when ready");
    ShowFrame();
  }
  void SetVolume(int hundredthsOfDecibel) override { Tell("volume " + std::to_string(hundredthsOfDecibel)); }

 private:
  void Note(const std::string& call) { media_.calls_.push_back(std::to_string(number_) + " " + call); }
  void Tell(const std::string& call) {
    if (SimFails("media", call)) rendered_ = false;  // the decoder crashed
    if (!rendered_) throw Failure(FailureNumber::InvalidCall, "nothing is rendered");
    Note(call);
  }
  void ShowFrame() {
    auto frame = std::make_shared<MediaFrame>();
    *frame = {1, 1, {0xffffffffU}};
    if (surface_) surface_->Frame = std::move(frame);
  }

  SimMedia& media_;
  const int number_;
  bool rendered_ = false;
  MediaSurface* surface_ = nullptr;
  std::unique_ptr<Alarm> done_;
};

std::unique_ptr<MediaGraph> SimMedia::NewGraph() { return std::make_unique<SimMediaGraph>(*this, ++graphs_); }

bool SimMedia::Called(const std::string& call) const {
  return std::find(calls_.begin(), calls_.end(), call) != calls_.end();
}

}  // namespace pellora
