#include "async/Boxes.h"

#include <algorithm>
#include <utility>

#include "async/TaskLoop.h"
#include "ports/Dialogs.h"
#include "ports/Platform.h"

namespace pellora {

Boxes::Boxes(Platform& platform) : platform_(platform) {}
Boxes::~Boxes() = default;

// Entries are built outside the coroutines: g++ 12 releases the captures of a lambda in a braced list there twice.
std::shared_ptr<std::optional<int>> Boxes::EnqueueBox(const void* owner, const BoxRequest& request) {
  auto answer = std::make_shared<std::optional<int>>();
  Entry entry;
  entry.owner = owner;
  entry.text = request.text;
  entry.show = [this, request, answer, alive = std::weak_ptr<int>(alive_)] {
    platform_.dialogs.Ask(request, [this, answer, alive](int chosen) {
      if (alive.expired()) return;
      *answer = chosen;
      FirstAnswered();
    });
  };
  Enqueue(std::move(entry));
  return answer;
}

std::shared_ptr<Boxes::PathAnswer> Boxes::EnqueuePath(const std::string& title, std::function<void(PathAnswered)> ask) {
  auto answer = std::make_shared<PathAnswer>();
  Entry entry;
  entry.owner = this;
  entry.text = title;
  entry.show = [this, ask = std::move(ask), answer, alive = std::weak_ptr<int>(alive_)] {
    ask([this, answer, alive](std::optional<std::string> chosen) {
      if (alive.expired()) return;
      answer->path = std::move(chosen);
      answer->given = true;
      FirstAnswered();
    });
  };
  Enqueue(std::move(entry));
  return answer;
}

std::shared_ptr<Boxes::PathAnswer> Boxes::EnqueueSave(const SaveRequest& request) {
  return EnqueuePath(request.title, [this, request](PathAnswered answered) {
    platform_.dialogs.AskSavePath(request, std::move(answered));
  });
}

std::shared_ptr<Boxes::PathAnswer> Boxes::EnqueueFolder(const FolderRequest& request) {
  return EnqueuePath(request.title, [this, request](PathAnswered answered) {
    platform_.dialogs.AskFolder(request, std::move(answered));
  });
}

Task<int> Boxes::Ask(const void* owner, BoxRequest request) {
  const std::shared_ptr<std::optional<int>> answer = EnqueueBox(owner, request);
  std::function<bool()> answered = [answer] { return answer->has_value(); };
  co_await platform_.tasks.UntilEvent(std::move(answered));
  co_return **answer;
}

Task<std::optional<std::string>> Boxes::AskSavePath(SaveRequest request) {
  const std::shared_ptr<PathAnswer> answer = EnqueueSave(request);
  std::function<bool()> answered = [answer] { return answer->given; };
  co_await platform_.tasks.UntilEvent(std::move(answered));
  co_return answer->path;
}

Task<std::optional<std::string>> Boxes::AskFolder(FolderRequest request) {
  const std::shared_ptr<PathAnswer> answer = EnqueueFolder(request);
  std::function<bool()> answered = [answer] { return answer->given; };
  co_await platform_.tasks.UntilEvent(std::move(answered));
  co_return answer->path;
}

bool Boxes::IsOpen(const void* owner, const std::string& text) const {
  return std::any_of(queue_.begin(), queue_.end(), [&](const Entry& e) { return e.owner == owner && e.text == text; });
}

void Boxes::Enqueue(Entry entry) {
  queue_.push_back(std::move(entry));
  if (queue_.size() == 1) ShowFirst();
}

void Boxes::ShowFirst() { queue_.front().show(); }

void Boxes::FirstAnswered() {
  queue_.pop_front();
  if (!queue_.empty()) ShowFirst();
}

}  // namespace pellora
