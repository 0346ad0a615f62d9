// Forms: the form of each window class, by type name. The forms are made with the designer and compiled in; dynamic
// properties express what the designer cannot:
//   role         "heading" (bold), "title" (bold and larger), "link" (underlined) or "dim" (a quieter colour)
//   needsModel   hides the widget if the window has no control of its name
//   covers       the page in the same place: while it is covered, the Tab key passes it by
//   namedBy      the widgets whose words are the accessible name, and the tool tip of one that has a tip; of a tab bar
//                with the number of the tab, as "TabStrip1:0"
//   describedBy  the same for the accessible description
//   fileOf       on an IconLabel: the label whose text is the URL or name that decides the icon
//   foldWidget, foldBelow   on the form: the part that is hidden while the window's height is below
//   remembers    on the form: what of its place is remembered, see WindowPlace.h
//   popupMenu    on the form: the menu of its ground
//   columnSamples, popupMenu, popupWithoutRow   on a list, see ListBinding.h
#pragma once

#include <QWidget>
#include <string>

namespace pellora {

// A new form for windows of this type, owned by the caller; null for a type without a form.
QWidget* NewForm(const std::string& typeName);

}  // namespace pellora
