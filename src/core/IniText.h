// IniText: the text of a settings file as pure functions: section [Options], lines Key=text.
//
// A text is taken whole from behind the first "=" to the end of its line, blanks around it dropped, so that a
// list written by hand with bare commas stays one text. Texts that would not survive that stand in double
// quotes with \\ \" \n \r as in C. Lines that are not understood stay as they are. The last of several
// lines of one key holds.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace pellora {

// The text that `content` holds for `key`.
std::optional<std::string> IniValue(std::string_view content, std::string_view key);

// `content` with `value` for `key`; all other lines stay as they are, and the whole does where the value
// stands already.
std::string WithIniValue(std::string content, std::string_view key, std::string_view value);

}  // namespace pellora
