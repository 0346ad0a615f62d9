// SocketNotifier: a notifier that may end itself. It may be delivering its signal just then, so it is disabled at once
// and deleted later.
#pragma once

#include <QSocketNotifier>
#include <memory>

namespace pellora {

struct RetireNotifier {
  void operator()(QSocketNotifier* notifier) const {
    notifier->setEnabled(false);
    notifier->deleteLater();
  }
};
using SocketNotifier = std::unique_ptr<QSocketNotifier, RetireNotifier>;

}  // namespace pellora
