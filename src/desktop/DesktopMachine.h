// DesktopMachine: the program's folder, the user's folders and environment, whether there is a network, and the
// program's end.
#pragma once

#include "ports/Machine.h"

namespace pellora {

class Network;

class DesktopMachine final : public Machine {
 public:
  explicit DesktopMachine(const Network& network) : network_(network) {}

  static std::string FolderOfThisProgram();

  std::string ProgramFolder() const override { return FolderOfThisProgram(); }
  std::string DocumentsFolder() const override;
  std::string HomeFolder() const override;
  std::string Variable(const std::string& name) const override;
  bool ConnectionUp() const override;
  // The first exit code counts.
  void End(int code) override;

 private:
  const Network& network_;
  bool ended_ = false;
};

}  // namespace pellora
