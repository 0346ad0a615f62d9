// Clipboard: the text on the user's clipboard.
#pragma once

#include <optional>
#include <string>

namespace pellora {

class Clipboard {
 public:
  virtual ~Clipboard() = default;
  // The clipboard's text, or nothing if it holds none or more than 64 KiB. Cheap when nothing changed.
  virtual std::optional<std::string> Text() const = 0;
};

}  // namespace pellora
