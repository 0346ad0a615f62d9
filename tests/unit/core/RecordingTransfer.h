// RecordingTransfer: a transfer object that records the calls to it and does nothing else.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "core/Transfer.h"

namespace pellora {

class RecordingTransfer final : public Transfer {
 public:
  void SetRecordIndex(std::int16_t theIndex) override { index = theIndex; }
  Task<> InitConnection() override {
    Note("connect");
    co_return;
  }
  Task<> ConnectSegmented() override { co_return; }
  void PauseDownload() override {}
  Task<> ResumeDownload() override { co_return; }
  std::uint32_t SilentFor() const override { return 0; }
  void ShowWindow() override { Note("show"); }
  void HideWindow() override { Note("hide"); }
  void UnloadWindow() override { Note("unload"); }

  std::int16_t index = 0;
  std::string events;                     // "connect show"
  std::function<void()> onEvent = [] {};  // called at each

 private:
  void Note(const std::string& event) {
    events += (events.empty() ? "" : " ") + event;
    onEvent();
  }
};

}  // namespace pellora
