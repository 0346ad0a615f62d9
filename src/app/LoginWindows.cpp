#include "app/LoginWindows.h"

#include <optional>
#include <string>
#include <utility>

#include "core/Program.h"
#include "core/WebAddress.h"
#include "fetch/SelectionFiles.h"
#include "ports/Failure.h"
#include "transferwin/AskLogin.h"

namespace pellora {

namespace {

std::string NameOf(const LoginPlace& place) {
  const bool six = place.host.find(':') != std::string::npos;
  const std::string host = (six ? "[" + place.host + "]" : place.host) + ":" + std::to_string(place.port);
  if (place.scheme == kArchivePlace) return place.host;
  if (place.scheme == "proxy") return host;
  const std::optional<WebAddress> address = ParseWebAddress(place.scheme + "://" + host + "/");
  return address ? OriginOf(*address) : host;
}

}  // namespace

void LoginWindows::Ask(LoginQuestion question) {
  const LoginPlace& place = question.place;
  const LoginWish wish(place, question.named);
  if (const auto open = open_.find(wish); open != open_.end()) {
    open->second.cancelled.push_back(std::move(question.cancelled));
    open->second.window->Show();
    open->second.window->Raise();
    return;
  }
  AskLogin::Question asked{question.reason, NameOf(place),        place.realm,
                           question.user,   question.unencrypted, logins_.CanRemember()};
  if (place.scheme == kArchivePlace) {
    asked.realm.clear();
    asked.onlyPassword = true;
  }
  const auto window = std::make_shared<AskLogin>(program_, asked);
  window->OnLogin = [this, wish](const Login& login, bool remember) {
    open_.erase(wish);
    logins_.Give(wish, login, remember);
  };
  window->OnCancel = [this, wish] { Cancelled(wish); };
  open_[wish] = {window, {std::move(question.cancelled)}};
  window->Show();
}

void LoginWindows::Cancelled(const LoginWish& wish) {
  const auto open = open_.find(wish);
  if (open == open_.end()) return;
  const Open ended = std::move(open->second);
  open_.erase(open);
  for (const auto& call : ended.cancelled) {
    if (call) call();
  }
}

std::vector<std::shared_ptr<Window>> LoginWindows::Windows() const {
  std::vector<std::shared_ptr<Window>> windows;
  for (const auto& [wish, open] : open_) windows.push_back(open.window);
  return windows;
}

void LoginWindows::UnloadAll() {
  for (auto& [wish, open] : std::exchange(open_, {})) {
    const std::shared_ptr<AskLogin> window = open.window;
    Skip([&] { window->Unload(); });
  }
}

}  // namespace pellora
