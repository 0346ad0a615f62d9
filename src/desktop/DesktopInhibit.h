// DesktopInhibit: asks the session manager, the power manager and login1 not to suspend the computer, all that answer.
//
// Each is asked over its bus without waiting, and asked again when it restarts meanwhile:
// - org.gnome.SessionManager: flag 4, "suspending the session or computer", which the user's own suspend overrides;
// - org.freedesktop.PowerManagement.Inhibit, which has nothing to choose;
// - org.freedesktop.login1.Manager: "sleep" in mode "block-weak", or "block" before systemd 257. It ignores this where
//   the user's own desktop suspends and where the lid is closed, and refuses it outside a session. Its "idle" keeps the
//   screen on in some desktops.
// None of these keeps the screen on.
//
// A suspend that comes all the same waits for onSleep: of login1 the mode "delay" is held too.
#pragma once

#include <QObject>
#include <QString>
#include <memory>
#include <string>
#include <vector>

#include "async/EventGate.h"
#include "ports/Inhibit.h"

namespace pellora {

class Inhibitor;

class DesktopInhibit final : public QObject, public Inhibit {
  Q_OBJECT
 public:
  explicit DesktopInhibit(EventGate& gate);
  ~DesktopInhibit() override;

  void Hold(const std::string& reason) override;
  void Release() override;

 private slots:
  void PrepareForSleep(bool begins);

 private:
  void MakeAll();

  EventGate& gate_;
  std::vector<std::unique_ptr<Inhibitor>> all_;  // made at the first Hold
  std::unique_ptr<Inhibitor> delay_;             // likewise
  QString reason_;
  bool held_ = false;
};

}  // namespace pellora
