// Clipboard: the text on the user's clipboard.
#pragma once

#include <optional>
#include <string>

namespace pellora {

class Clipboard {
 public:
  virtual ~Clipboard() = default;
  // The clipboard's text, or nothing if it has none or one above 64 KiB. Cheap if unchanged.
  virtual std::optional<std::string> Text() const = 0;
};

}  // namespace pellora
