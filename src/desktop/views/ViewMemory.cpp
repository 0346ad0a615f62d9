#include "desktop/views/ViewMemory.h"

#include <utility>

#include "ports/Failure.h"
#include "ports/SettingsStore.h"

namespace pellora {

namespace {
constexpr const char* kApplication = "Windows";
constexpr int kSoon = 500;  // ms
}  // namespace

ViewMemory::ViewMemory(SettingsStore& store) : store_(store) {
  soon_.setSingleShot(true);
  soon_.setInterval(kSoon);
  QObject::connect(&soon_, &QTimer::timeout, &soon_, [this] { Write(); });
}

std::optional<std::string> ViewMemory::Get(const std::string& key) const {
  const auto unwritten = unwritten_.find(key);
  if (unwritten != unwritten_.end()) return unwritten->second;
  std::optional<std::string> text;
  Skip([&] { text = store_.Get(kApplication, key); });
  return text;
}

void ViewMemory::Set(const std::string& key, const std::string& text) {
  if (Get(key).value_or("") == text) return;
  unwritten_[key] = text;
  soon_.start();
}

void ViewMemory::Write() {
  soon_.stop();
  const std::map<std::string, std::string> changed = std::exchange(unwritten_, {});
  if (changed.empty()) return;
  Skip([&] { store_.SetAll(kApplication, {changed.begin(), changed.end()}); });
}

}  // namespace pellora
