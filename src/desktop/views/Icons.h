// Icons: the program's drawings and the icons of file types, by name.
#pragma once

#include <QIcon>
#include <QString>
#include <string>

namespace pellora {

// One of the program's drawings ("add", "stop", "program"); empty for a name that is none.
QIcon Drawing(const QString& name);

// The drawing of a toolbar button with that key ("AddURL").
QIcon ToolIcon(const std::string& key);

// The icon of files with that name: the icon theme's for the MIME type, or our own sheet of paper.
QIcon FileTypeIcon(const QString& fileName);

// The small icon of a list row: a drawing by its key (notfound, down, stop, shed, wrong), "" for none, or
// the icon of a file type for "file:" and an extension ("file:zip") and for a key that is a file name.
QIcon RowIcon(const std::string& key);

}  // namespace pellora
