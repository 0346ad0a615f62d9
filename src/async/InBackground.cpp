#include "async/InBackground.h"

#include <memory>
#include <utility>

#include "async/TaskLoop.h"
#include "ports/Platform.h"

namespace pellora {

namespace {

struct Outcome {
  bool over = false;
  std::exception_ptr failure;
};

// Outside the coroutine: g++ 12 gets some captures in one wrong.
std::shared_ptr<Outcome> Begin(Background& background, Background::Work work) {
  auto outcome = std::make_shared<Outcome>();
  background.Run(std::move(work), [outcome](std::exception_ptr failure) {
    outcome->over = true;
    outcome->failure = std::move(failure);
  });
  return outcome;
}

std::function<bool()> IsOver(const std::shared_ptr<Outcome>& outcome) {
  return [outcome] { return outcome->over; };
}

}  // namespace

Task<> InBackground(const Platform* platform, Background::Work work) {
  const std::shared_ptr<Outcome> outcome = Begin(platform->background, std::move(work));
  std::function<bool()> over = IsOver(outcome);
  co_await platform->tasks.UntilEvent(std::move(over));
  if (outcome->failure) std::rethrow_exception(outcome->failure);
}

}  // namespace pellora
