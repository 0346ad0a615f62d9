// Forms: the form of each window class, by type name. The forms are made with the designer and compiled
// in; what they cannot say about a widget they say in dynamic properties:
//   role         "heading" (bold), "title" (bold and larger), "link" (underlined) or "dim" (a quieter colour)
//   needsModel   the widget is hidden where the window has no control of its name
//   fileOf       on an IconLabel: the label whose text is the URL or name that decides the icon
//   foldWidget, foldBelow   on the form: the part that is folded away while the window's height is below
//   columnSamples, popupMenu, popupWithoutRow   on a list, see ListBinding.h
#pragma once

#include <QWidget>
#include <string>

namespace pellora {

// A new form for windows of that type, owned by the caller; null for a type that shows none.
QWidget* NewForm(const std::string& typeName);

}  // namespace pellora
