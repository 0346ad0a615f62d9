// DesktopInhibit: asks the session manager, the power manager and login1 not to suspend the computer, all that answer.
//
// Each is asked over its bus without waiting, and asked again when it restarts meanwhile. What is asked for stops the
// automatic suspend alone:
// - org.gnome.SessionManager: flag 4, "suspending the session or computer", which the user's own suspend overrides;
// - org.freedesktop.PowerManagement.Inhibit, which has nothing to choose;
// - org.freedesktop.login1.Manager: "idle" in mode "block". Its other kind, "sleep", would refuse the user's suspend
//   and that of a closed lid too, which must still work.
// None of these keeps the screen on.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "ports/Inhibit.h"

namespace pellora {

class Inhibitor;

class DesktopInhibit final : public Inhibit {
 public:
  DesktopInhibit();
  ~DesktopInhibit() override;

  void Hold(const std::string& reason) override;
  void Release() override;

 private:
  std::vector<std::unique_ptr<Inhibitor>> all_;  // made at the first Hold
};

}  // namespace pellora
