// IniText: the text of a settings file as pure functions: section [Options], lines Key=text.
//
// A text reaches from the first "=" to the end of its line, without blanks around it, so that a list written by hand
// with bare commas stays one text. Texts that would not survive that are in double quotes with \\ \" \n \r as in C.
// Lines that are not understood are kept. Of several lines of one key the last counts.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace pellora {

// The text that `content` holds for `key`.
std::optional<std::string> IniValue(std::string_view content, std::string_view key);

// `content` with `value` for `key`. All other lines stay unchanged; so does the whole if it has that value already.
std::string WithIniValue(std::string content, std::string_view key, std::string_view value);

}  // namespace pellora
