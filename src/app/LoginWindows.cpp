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
  const LoginPlace place = question.place;
  if (const auto open = open_.find(place); open != open_.end()) {
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
  window->OnLogin = [this, place](const Login& login, bool remember) {
    open_.erase(place);
    logins_.Give(place, login, remember);
  };
  window->OnCancel = [this, place] { Cancelled(place); };
  open_[place] = {window, {std::move(question.cancelled)}};
  window->Show();
}

void LoginWindows::Cancelled(const LoginPlace& place) {
  const auto open = open_.find(place);
  if (open == open_.end()) return;
  const Open ended = std::move(open->second);
  open_.erase(open);
  for (const auto& call : ended.cancelled) {
    if (call) call();
  }
}

void LoginWindows::UnloadAll() {
  for (auto& [place, open] : std::exchange(open_, {})) {
    const std::shared_ptr<AskLogin> window = open.window;
    Skip([&] { window->Unload(); });
  }
}

}  // namespace pellora
