// WireText: a record's text as it goes out in a request.
#pragma once

#include <string>
#include <string_view>

namespace pellora {

// `text` with every byte below 0x21 and 0x7f as "%XX"; all else as it stands.
std::string WireText(std::string_view text);

}  // namespace pellora
