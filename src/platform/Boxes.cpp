#include "platform/Boxes.h"

#include <algorithm>
#include <utility>

#include "platform/Platform.h"
#include "platform/TaskLoop.h"

namespace pellora {

Boxes::Boxes(Platform& platform) : platform_(platform) {}
Boxes::~Boxes() = default;

Task<int> Boxes::Ask(const void* owner, BoxRequest request) {
  const auto answer = std::make_shared<std::optional<int>>();
  const auto alive = std::weak_ptr<int>(alive_);
  const std::string text = request.text;
  Enqueue({owner, text, [this, request, answer, alive] {
             platform_.dialogs.Ask(request, [this, answer, alive](int chosen) {
               if (alive.expired()) return;
               *answer = chosen;
               FirstAnswered();
             });
           }});
  // Named: g++ 12 destroys a captured temporary inside a co_await twice.
  std::function<bool()> isAnswered = [answer] { return answer->has_value(); };
  co_await platform_.tasks.UntilEvent(std::move(isAnswered));
  co_return **answer;
}

Task<std::optional<std::string>> Boxes::AskSavePath(SaveRequest request) {
  const auto answered = std::make_shared<bool>(false);
  const auto path = std::make_shared<std::optional<std::string>>();
  const auto alive = std::weak_ptr<int>(alive_);
  Enqueue({this, request.title, [this, request, answered, path, alive] {
             platform_.dialogs.AskSavePath(request, [this, answered, path, alive](std::optional<std::string> chosen) {
               if (alive.expired()) return;
               *path = std::move(chosen);
               *answered = true;
               FirstAnswered();
             });
           }});
  std::function<bool()> isAnswered = [answered] { return *answered; };
  co_await platform_.tasks.UntilEvent(std::move(isAnswered));
  co_return *path;
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
