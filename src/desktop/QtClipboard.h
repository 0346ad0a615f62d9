// QtClipboard: the desktop's clipboard. It is read only after a change was signalled, since an owner that does not
// respond holds the program up.
#pragma once

#include <QObject>

#include "ports/Clipboard.h"

namespace pellora {

class QtClipboard final : public QObject, public Clipboard {
 public:
  static constexpr qsizetype kMaxBytes = qsizetype{64} << 10;

  QtClipboard();
  std::optional<std::string> Text() const override;

 private:
  static std::optional<std::string> Read();

  mutable bool changed_ = true;
  mutable std::optional<std::string> text_;
};

}  // namespace pellora
