// Icons: the program's drawings and the icons of file types, by name.
#pragma once

#include <QIcon>
#include <QString>
#include <string>

namespace pellora {

// One of the program's drawings ("add", "stop", "program"); empty if there is none of that name.
QIcon Drawing(const QString& name);

// The drawing of a toolbar button with that key ("AddURL").
QIcon ToolIcon(const std::string& key);

// The icon for files of that name: the icon theme's for the MIME type, or the program's drawing.
QIcon FileTypeIcon(const QString& fileName);

// The small icon of a list row: the drawing of that key (notfound, down, stop, shed, wrong), none for "", or a file
// type's icon for "file:" with an extension ("file:zip") and for a file name.
QIcon RowIcon(const std::string& key);

}  // namespace pellora
