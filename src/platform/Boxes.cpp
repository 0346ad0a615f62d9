#include "platform/Boxes.h"

#include <algorithm>
#include <utility>

#include "platform/Platform.h"
#include "platform/TaskLoop.h"

namespace pellora {

Boxes::Boxes(Platform& platform) : platform_(platform) {}
Boxes::~Boxes() = default;

// The entries are made in plain functions: inside a coroutine g++ 12 copies a temporary aggregate bit by bit
// and then destroys both, which ends what its closures share too early.
Boxes::Answer Boxes::EnqueueBox(const void* owner, const BoxRequest& request) {
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

Boxes::ChosenPath Boxes::EnqueueSavePath(const SaveRequest& request) {
  auto chosenPath = std::make_shared<std::optional<std::optional<std::string>>>();
  Entry entry;
  entry.owner = this;
  entry.text = request.title;
  entry.show = [this, request, chosenPath, alive = std::weak_ptr<int>(alive_)] {
    platform_.dialogs.AskSavePath(request, [this, chosenPath, alive](std::optional<std::string> chosen) {
      if (alive.expired()) return;
      chosenPath->emplace(std::move(chosen));
      FirstAnswered();
    });
  };
  Enqueue(std::move(entry));
  return chosenPath;
}

Task<int> Boxes::Ask(const void* owner, BoxRequest request) {
  const Answer answer = EnqueueBox(owner, request);
  std::function<bool()> answered = [answer] { return answer->has_value(); };
  co_await platform_.tasks.UntilEvent(std::move(answered));
  co_return answer->value();
}

Task<std::optional<std::string>> Boxes::AskSavePath(SaveRequest request) {
  const ChosenPath path = EnqueueSavePath(request);
  std::function<bool()> answered = [path] { return path->has_value(); };
  co_await platform_.tasks.UntilEvent(std::move(answered));
  co_return path->value();
}

bool Boxes::Stands(const void* owner, const std::string& text) const {
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
