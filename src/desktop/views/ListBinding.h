// ListBinding: ties a ListView to a QTreeView over a ListRowsModel, or to a QStackedWidget with such a view and a
// QListView for the icon displays, which share rows and selection.
//
// The control's column widths are shares: the columns always fill the view, and none becomes narrower than its heading
// or its sample text ("columnSamples"). The form also names the menu that a right click on a row opens ("popupMenu"),
// whether it opens without a row as well, for entries that concern the whole list ("popupWithoutRow"), and the columns
// of figures ("rightColumns").
#pragma once

#include <memory>

#include "desktop/views/Bindings.h"

namespace pellora {

class ListView;

std::unique_ptr<Binding> BindListView(ListView& control, QObject& object, BindingContext& context);

}  // namespace pellora
