// ClipboardUrl: which texts on the clipboard are URLs that the program asks about.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace pellora {

// A copied text without the blanks and line ends around it: terminals copy an address with its line end.
std::string_view TrimCopiedText(std::string_view text);

// The trimmed URL, or nothing. The scheme must be in lower case; an address that ends in a slash names no
// file; an extension in `ignored` (separated by commas, no regard to case) is passed over. A text of several
// lines is judged as one.
std::optional<std::string> UrlToAskAbout(std::string_view text, std::string_view ignored);

}  // namespace pellora
