// DisplayText: from the program's byte strings to what is shown, and back.
//
// Strings of the logic are bytes of any origin. They are shown as UTF-8 where they are valid UTF-8 and as
// Windows-1252 where not. What the user types is handed on as UTF-8.
#pragma once

#include <QString>
#include <string>

namespace pellora {

// Without NUL characters, which neither the bus nor a label takes.
QString DisplayText(const std::string& bytes);

// The same in one line: control characters, which a URL or name from outside may hold, become blanks.
QString DisplayLine(const std::string& bytes);

// A text from outside as a tool tip: tool tips take for markup what looks like it.
QString PlainTip(const QString& text);

// What the user typed, as the logic keeps it.
std::string ModelText(const QString& shown);

}  // namespace pellora
