// Boxes: message boxes and file dialogs, one at a time; further ones wait in a queue. A waiting task resumes with the
// answer and must fetch anew whatever it knew before.
#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "async/Task.h"
#include "ports/Dialogs.h"

namespace pellora {

struct Platform;

class Boxes {
 public:
  explicit Boxes(Platform& platform);
  ~Boxes();
  Boxes(const Boxes&) = delete;
  Boxes& operator=(const Boxes&) = delete;

  // `owner` is only compared, by IsOpen. Move a named request in: g++ 12 destroys one written inside the co_await
  // twice.
  Task<int> Ask(const void* owner, BoxRequest request);
  Task<std::optional<std::string>> AskSavePath(SaveRequest request);
  Task<std::optional<std::string>> AskFolder(FolderRequest request);

  // True while a box with that owner and text is open or queued.
  bool IsOpen(const void* owner, const std::string& text) const;

 private:
  struct Entry {
    const void* owner = nullptr;
    std::string text;
    std::function<void()> show;
  };
  struct PathAnswer {
    bool given = false;
    std::optional<std::string> path;
  };
  std::shared_ptr<std::optional<int>> EnqueueBox(const void* owner, const BoxRequest& request);
  using PathAnswered = std::function<void(std::optional<std::string> path)>;
  // `ask` shows the dialog.
  std::shared_ptr<PathAnswer> EnqueuePath(const std::string& title, std::function<void(PathAnswered)> ask);
  std::shared_ptr<PathAnswer> EnqueueSave(const SaveRequest& request);
  std::shared_ptr<PathAnswer> EnqueueFolder(const FolderRequest& request);
  void Enqueue(Entry entry);
  void ShowFirst();
  void FirstAnswered();

  Platform& platform_;
  std::deque<Entry> queue_;  // the first one is open
  std::shared_ptr<int> alive_ = std::make_shared<int>(0);
};

}  // namespace pellora
