// DisplayText: converts between the program's byte strings and the text on the screen.
//
// The logic's strings are bytes of any origin and length. They are shown as UTF-8 if they are valid UTF-8, otherwise as
// Windows-1252. What the user types is passed on as UTF-8.
//
// All drawn text (rows, labels, captions, tool tips, boxes, tray) comes from the Display functions, which cut it:
// laying out 16 KiB of combining marks, which a server can send as a name, takes seconds. They also replace characters
// that change the writing direction, with which "gpj.exe" could read "exe.jpg". The logic's strings and WholeText are
// neither cut nor changed.
#pragma once

#include <QString>
#include <string>

namespace pellora {

// UTF-16 units; a longer text is cut and gets an ellipsis.
inline constexpr qsizetype kMaxDrawnLength = 400;
inline constexpr qsizetype kMaxMessageLength = 2400;  // the notes of a new version are up to 2,000 bytes long

// For drawing, with its line breaks, without NUL characters, which neither the bus nor a label accepts.
QString DisplayText(const std::string& bytes);

// The same in one line: control characters, which URLs and names may contain, become blanks.
QString DisplayLine(const std::string& bytes);

// For a message box. The question or the fault may come at the end, after a name or notes of any length, so a text that
// is too long loses its middle.
QString DisplayMessage(const std::string& bytes, qsizetype longest = kMaxMessageLength);

// Uncut, for the bus, fields that the user edits, and names that are looked up.
QString WholeText(const std::string& bytes);
QString WholeLine(const std::string& bytes);

// An untrusted text as a tool tip, which would otherwise interpret markup in it.
QString PlainTip(const QString& text);

// A name, address or figure for drawing in windows that are laid out from right to left: it keeps its own direction,
// so that "/home/user" does not become "home/user/". Elsewhere the text itself.
QString Isolated(const QString& text);

// What the user typed, as the logic stores it.
std::string ModelText(const QString& shown);

}  // namespace pellora
