// WireText: a record's text as sent in a request.
#pragma once

#include <string>
#include <string_view>

namespace pellora {

// `text` with every byte below 0x21 and 0x7f as "%XX".
std::string WireText(std::string_view text);

}  // namespace pellora
