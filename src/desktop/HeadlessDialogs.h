// HeadlessDialogs: the answers where nobody can be asked. Every message and question goes to standard error.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "ports/Dialogs.h"

namespace pellora {

class EventLoop;

class HeadlessDialogs final : public Dialogs {
 public:
  explicit HeadlessDialogs(EventLoop& events) : events_(events) {}

  // Which questions are answered Yes, by their texts. All others are answered No.
  void SetYes(std::function<bool(const std::string& text)> isYes) { isYes_ = std::move(isYes); }

  void Ask(const BoxRequest& request, std::function<void(int answer)> answered) override;
  // No path is ever chosen.
  void AskSavePath(const SaveRequest& request, std::function<void(std::optional<std::string> path)> answered) override;
  void AskFolder(const FolderRequest& request,
                 std::function<void(std::optional<std::string> folder)> answered) override;

 private:
  EventLoop& events_;
  std::function<bool(const std::string& text)> isYes_;
};

}  // namespace pellora
