// DesktopMachine: where the program lies, where the user's documents lie, and the program's end.
#pragma once

#include "platform/Desktop.h"

namespace pellora {

class DesktopMachine final : public Machine {
 public:
  std::string ProgramFolder() const override;
  std::string DocumentsFolder() const override;
  // The first code holds.
  void End(int code) override;

 private:
  bool ended_ = false;
};

}  // namespace pellora
