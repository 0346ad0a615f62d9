// QtClipboard: the desktop's clipboard. It is asked only after it said that it changed, since asking an
// owner that does not answer takes long.
#pragma once

#include <QObject>

#include "ports/Clipboard.h"

namespace pellora {

class QtClipboard final : public QObject, public Clipboard {
 public:
  static constexpr qsizetype kMostBytes = qsizetype{64} << 10;

  QtClipboard();
  std::optional<std::string> Text() const override;

 private:
  mutable bool changed_ = true;
  mutable std::optional<std::string> text_;
};

}  // namespace pellora
