// DisplayText: from the program's byte strings to what is shown, and back.
//
// Strings of the logic are bytes of any origin and of any length. They are shown as UTF-8 where they are valid
// UTF-8 and as Windows-1252 where not. What the user types is handed on as UTF-8.
//
// Whatever is drawn (rows, labels, captions, tool tips, boxes, tray) comes from DisplayText or DisplayLine, and is
// cut there: laying out 16 KiB of combining marks, which a server can send as a name, takes seconds. Characters that
// turn the writing direction are replaced there: with one of them "gpj.exe" reads "exe.jpg". The strings of the logic
// stay whole, and so does what WholeText gives.
#pragma once

#include <QString>
#include <string>

namespace pellora {

inline constexpr qsizetype kLongestDrawn = 400;  // UTF-16 units; an ellipsis follows where more was cut off

// For drawing, in lines of its own. Without NUL characters, which neither the bus nor a label takes.
QString DisplayText(const std::string& bytes);

// The same in one line: control characters, which a URL or name from outside may hold, become blanks.
QString DisplayLine(const std::string& bytes);

// Uncut, for what is not just drawn: the bus, fields that the user edits, names that are looked up.
QString WholeText(const std::string& bytes);
QString WholeLine(const std::string& bytes);

// A text from outside as a tool tip: tool tips take for markup what looks like it.
QString PlainTip(const QString& text);

// What the user typed, as the logic keeps it.
std::string ModelText(const QString& shown);

}  // namespace pellora
