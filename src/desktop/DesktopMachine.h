// DesktopMachine: the program's folders, the user's folders and environment, whether there is a network, and the
// program's end.
#pragma once

#include <utility>

#include "desktop/ProgramPlaces.h"
#include "ports/Machine.h"

namespace pellora {

class Network;

class DesktopMachine final : public Machine {
 public:
  DesktopMachine(const Network& network, ProgramPlaces places) : network_(network), places_(std::move(places)) {}

  static std::string FolderOfThisProgram();

  std::string ProgramFolder() const override { return places_.program; }
  std::string LanguageFolder() const override { return places_.languages; }
  std::string DataFolder() const override { return places_.data; }
  bool IsPackaged() const override { return places_.packaged; }
  std::string DocumentsFolder() const override;
  std::string HomeFolder() const override;
  std::string Variable(const std::string& name) const override;
  bool ConnectionUp() const override;
  // The first exit code counts.
  void End(int code) override;

 private:
  const Network& network_;
  const ProgramPlaces places_;
  bool ended_ = false;
};

}  // namespace pellora
