// ClipboardUrl: which clipboard texts are URLs to ask about. The watch itself is MainWindow::ClipboardUrl, called at
// each tick, and the question AskClipboard, both in Questions.cpp.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace pellora {

// Without blanks and line ends around it: terminals copy an address with its line end.
std::string_view TrimCopiedText(std::string_view text);

// The trimmed URL, or none: the scheme must be in lower case, the address must not end in a slash, and its extension
// must not be in `ignored` (separated by commas, in any case). A text of several lines is judged as one.
std::optional<std::string> UrlToAskAbout(std::string_view text, std::string_view ignored);

// The same for the schemes of the web engine, whose addresses nearly all copied links are: the last part of the path
// must be a name with an extension, which must not be in `ignored`.
std::optional<std::string> NewUrlToAskAbout(std::string_view text, std::string_view ignored);

}  // namespace pellora
