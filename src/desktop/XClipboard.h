// XClipboard: the text that another program holds in the clipboard of an X display, up to a length. Qt would read all
// of it, however long, and wait ten seconds for an owner that does not answer. A separate connection to the display is
// closed once the text is known to be too long, which ends its transfer.
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>

namespace pellora {

struct XClipboardText {
  bool offered = true;  // false: the owner has no text in UTF-8, but perhaps in another form, or there is no display
  std::optional<std::string> text;  // nothing if it is too long, or not all there within the patience
};
XClipboardText ReadXClipboard(std::size_t limit, std::chrono::milliseconds patience);

}  // namespace pellora
