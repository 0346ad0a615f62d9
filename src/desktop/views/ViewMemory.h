// ViewMemory: how the user has arranged windows and lists, kept from one run to the next: texts by key, in a store of
// its own. Losing it does no harm, so a store that fails is ignored.
#pragma once

#include <QTimer>
#include <map>
#include <optional>
#include <string>

namespace pellora {

class SettingsStore;

class ViewMemory {
 public:
  // `store` must outlive it.
  explicit ViewMemory(SettingsStore& store);
  ~ViewMemory() { Write(); }
  ViewMemory(const ViewMemory&) = delete;
  ViewMemory& operator=(const ViewMemory&) = delete;

  std::optional<std::string> Get(const std::string& key) const;
  // Written soon, together with what else changes until then: a window reports every step of being dragged.
  void Set(const std::string& key, const std::string& text);
  void Write();

 private:
  SettingsStore& store_;
  std::map<std::string, std::string> unwritten_;
  QTimer soon_;
};

}  // namespace pellora
