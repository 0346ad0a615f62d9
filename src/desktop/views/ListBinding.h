// ListBinding: ties a ListView to a QTreeView over a ListRowsModel, or to a QStackedWidget that holds such a
// view and a QListView, which shows the displays of icons over the same rows and selection.
//
// Column widths of the control are shares: the columns always fill the view, and none becomes narrower
// than its heading or the sample text that the form gives it ("columnSamples"). The form also names the
// menu that a right click on a row opens ("popupMenu"), and whether it opens without a row as well, for
// entries that concern the whole list ("popupWithoutRow"), and the columns of figures ("rightColumns").
#pragma once

#include <memory>

#include "desktop/views/Bindings.h"

namespace pellora {

class ListView;

std::unique_ptr<Binding> BindListView(ListView& control, QObject& object, BindingContext& context);

}  // namespace pellora
