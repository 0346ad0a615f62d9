// Boxes: message boxes and file dialogs, one at a time. What is asked while one stands waits in a queue.
// A waiting task resumes with the answer; whatever it knew before must be fetched anew.
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

  // `owner` tells boxes apart for Stands; it is only compared. Give a named request, moved: g++ 12
  // destroys a request written inside the co_await twice.
  Task<int> Ask(const void* owner, BoxRequest request);
  Task<std::optional<std::string>> AskSavePath(SaveRequest request);
  Task<std::optional<std::string>> AskFolder(FolderRequest request);

  // True while a box of that owner and text stands or waits its turn.
  bool Stands(const void* owner, const std::string& text) const;

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
  // `ask` shows the dialog of that title.
  std::shared_ptr<PathAnswer> EnqueuePath(const std::string& title, std::function<void(PathAnswered)> ask);
  std::shared_ptr<PathAnswer> EnqueueSave(const SaveRequest& request);
  std::shared_ptr<PathAnswer> EnqueueFolder(const FolderRequest& request);
  void Enqueue(Entry entry);
  void ShowFirst();
  void FirstAnswered();

  Platform& platform_;
  std::deque<Entry> queue_;  // the first one stands
  std::shared_ptr<int> alive_ = std::make_shared<int>(0);
};

}  // namespace pellora
