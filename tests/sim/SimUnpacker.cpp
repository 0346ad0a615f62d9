#include "SimUnpacker.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "SimFaults.h"
#include "SimPacking.h"

namespace pellora {

namespace {

constexpr std::uint16_t kStored = 0;
constexpr std::uint16_t kDeflate = 8;
constexpr std::uint16_t kEncrypted = 1;

// Takes the packed bytes one by one.
class Decoder {
 public:
  explicit Decoder(const PackedEntry& entry) : stored_(entry.method == kStored), crc_(entry.crc) {
    if ((entry.flags & kEncrypted) != 0) cipher_.emplace(entry.password);
  }

  // False: it cannot be decoded.
  bool Take(char byte, std::string& plain) {
    if (cipher_) byte = cipher_->Decrypt(byte);
    if (cipher_ && header_ < kCipherHeader) {
      return ++header_ < kCipherHeader || static_cast<unsigned char>(byte) == crc_ >> 24U;
    }
    if (stored_) {
      plain += byte;
      return true;
    }
    return TakeDeflated(byte, plain);
  }
  bool IsComplete() const { return stored_ || (last_ && blockHead_.empty() && blockLeft_ == 0); }

 private:
  bool TakeDeflated(char byte, std::string& plain) {
    if (blockLeft_ > 0) {
      --blockLeft_;
      plain += byte;
      return true;
    }
    if (last_) return true;  // ignored, as a decoder does with what follows its data
    blockHead_ += byte;
    if (blockHead_.size() < 5) return true;
    const auto number = [&](std::size_t at) { return static_cast<unsigned char>(blockHead_[at]); };
    last_ = number(0) == 1;
    const bool valid = number(0) <= 1 && (number(1) ^ number(3)) == 0xFF && (number(2) ^ number(4)) == 0xFF;
    blockLeft_ = number(1) | static_cast<std::uint32_t>(number(2)) << 8U;
    blockHead_.clear();
    return valid;
  }

  const bool stored_;
  const std::uint32_t crc_;
  std::optional<ZipCipher> cipher_;
  std::size_t header_ = 0;
  std::string blockHead_;
  std::uint32_t blockLeft_ = 0;
  bool last_ = false;
};

class SimUnpacking final : public Unpacking {
 public:
  SimUnpacking(const PackedEntry& entry, SimUnpackFault fault, std::size_t step, std::shared_ptr<int> running)
      : entry_(entry), fault_(std::move(fault)), step_(step), running_(std::move(running)), decoder_(entry) {
    ++*running_;
    if (entry_.method != kStored && entry_.method != kDeflate) state_ = UnpackState::Damaged;
  }
  ~SimUnpacking() override { --*running_; }
  SimUnpacking(const SimUnpacking&) = delete;
  SimUnpacking& operator=(const SimUnpacking&) = delete;

  std::size_t Exchange(std::string_view packed, std::string& plain) override {
    if (state_ != UnpackState::Working) return 0;
    if (SimFails("unpack exchange")) {
      EndWith(UnpackState::Failed);
      return 0;
    }
    if (fault_.hangs && given_ >= fault_.at) return 0;
    if (idle_ < fault_.busy) {
      ++idle_;
      return 0;
    }
    idle_ = 0;
    std::string made;
    const std::size_t taken = Decode(packed, made);
    plain += made;
    return taken;
  }
  UnpackState State() const override { return state_; }
  std::string Reason() const override { return reason_; }

 private:
  std::size_t Decode(std::string_view packed, std::string& made) {
    std::size_t taken = 0;
    while (taken < std::min(packed.size(), step_) && eaten_ < entry_.packed) {
      if (given_ + made.size() >= fault_.at) return Stumble(taken, made);
      ++eaten_;
      if (!decoder_.Take(packed[taken++], made)) return Stumble(taken, made, UnpackState::Damaged);
      if (given_ + made.size() <= entry_.size) continue;
      made.pop_back();
      return Stumble(taken, made, UnpackState::Damaged);
    }
    if (eaten_ == entry_.packed || entry_.size == 0) Complete(made);
    given_ += made.size();
    return taken;
  }
  void Complete(std::string& made) {
    const bool whole = entry_.size == 0 || (decoder_.IsComplete() && given_ + made.size() == entry_.size);
    made += fault_.more;
    made.resize(made.size() - static_cast<std::size_t>(std::min<std::uint64_t>(fault_.fewer, made.size())));
    EndWith(whole ? UnpackState::Done : UnpackState::Damaged);
  }
  std::size_t Stumble(std::size_t taken, const std::string& made) {
    if (!fault_.hangs) EndWith(fault_.becomes);
    given_ += made.size();
    return taken;
  }
  std::size_t Stumble(std::size_t taken, const std::string& made, UnpackState state) {
    EndWith(state);
    given_ += made.size();
    return taken;
  }
  void EndWith(UnpackState state) {
    state_ = state;
    if (state == UnpackState::Failed) reason_ = "pellora-unpack was killed";
  }

  const PackedEntry entry_;
  const SimUnpackFault fault_;
  const std::size_t step_;
  const std::shared_ptr<int> running_;
  Decoder decoder_;
  UnpackState state_ = UnpackState::Working;
  std::string reason_;
  std::uint64_t eaten_ = 0;
  std::uint64_t given_ = 0;
  int idle_ = 0;
};

// No process could be started.
class NoUnpacking final : public Unpacking {
 public:
  explicit NoUnpacking(std::string reason) : reason_(std::move(reason)) {}
  std::size_t Exchange(std::string_view /*packed*/, std::string& /*plain*/) override { return 0; }
  UnpackState State() const override { return UnpackState::Failed; }
  std::string Reason() const override { return reason_; }

 private:
  const std::string reason_;
};

}  // namespace

std::unique_ptr<Unpacking> SimUnpacker::Begin(const PackedEntry& entry) {
  ++begun;
  if (SimFails("unpack begin")) return std::make_unique<NoUnpacking>("pellora-unpack: no such file");
  if (!refuses.empty()) return std::make_unique<NoUnpacking>(refuses);
  return std::make_unique<SimUnpacking>(entry, fault, step, running_);
}

}  // namespace pellora
