#include "desktop/views/ListBinding.h"

#include <QContextMenuEvent>
#include <QHeaderView>
#include <QItemSelection>
#include <QItemSelectionModel>
#include <QKeyEvent>
#include <QMenu>
#include <QMouseEvent>
#include <QPersistentModelIndex>
#include <QPointer>
#include <QScrollBar>
#include <QTreeView>
#include <algorithm>
#include <vector>

#include "desktop/views/ListRowsModel.h"
#include "platform/Controls.h"
#include "platform/EventGate.h"

namespace pellora {

namespace {

// Watches the view's events; a child of the context's receiver, so it ends with the bindings.
class ListWatcher : public QObject {
 public:
  ListWatcher(ListView& control, QTreeView& view, BindingContext& context)
      : QObject(context.receiver), control_(control), view_(view), context_(context) {
    view.viewport()->installEventFilter(this);
    view.installEventFilter(this);
  }

  void FitColumns() {
    const auto& columns = control_.Columns();
    QHeaderView* header = view_.header();
    const int count = std::min(header->count(), static_cast<int>(columns.size()));
    if (count == 0 || view_.viewport()->width() <= 0) return;
    const QStringList samples = view_.property("columnSamples").toStringList();
    std::vector<int> least;
    std::vector<double> shares;
    double allShares = 0;
    int room = view_.viewport()->width();
    for (int at = 0; at < count; ++at) {
      const QString sample = at < samples.size() ? samples[at] : QString();
      least.push_back(std::max(header->sectionSizeHint(at), view_.fontMetrics().horizontalAdvance(sample) + 14));
      shares.push_back(std::max(columns[static_cast<std::size_t>(at)].width, 0.0));
      allShares += shares.back();
    }
    if (allShares <= 0) {
      std::fill(shares.begin(), shares.end(), 1.0);
      allShares = count;
    }
    // Columns whose share is too small take their least width; the others divide what is left.
    std::vector<int> widths(static_cast<std::size_t>(count), 0);
    for (bool again = true; again;) {
      again = false;
      for (std::size_t at = 0; at < widths.size(); ++at) {
        if (widths[at] != 0 || shares[at] * room >= least[at] * allShares) continue;
        widths[at] = least[at];
        room -= least[at];
        allShares -= shares[at];
        again = true;
      }
    }
    int used = 0;
    int widest = -1;
    for (std::size_t at = 0; at < widths.size(); ++at) {
      if (widths[at] == 0) {
        widths[at] = static_cast<int>(shares[at] * room / allShares);
        widest = widest < 0 ? static_cast<int>(at) : widest;
        used += widths[at];
      }
    }
    if (widest >= 0 && room > used) widths[static_cast<std::size_t>(widest)] += room - used;
    for (int at = 0; at < count; ++at) header->resizeSection(at, widths[static_cast<std::size_t>(at)]);
  }

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override {
    switch (event->type()) {
      case QEvent::Resize:
        if (watched == view_.viewport()) FitColumns();
        return false;
      case QEvent::MouseButtonPress:
        endsDoubleClick_ = false;
        return false;
      case QEvent::MouseButtonRelease: {
        const auto* mouse = static_cast<QMouseEvent*>(event);
        if (watched != view_.viewport() || mouse->button() != Qt::LeftButton) return false;
        if (std::exchange(endsDoubleClick_, false)) return false;
        if (!view_.indexAt(mouse->position().toPoint()).isValid()) return false;
        // The view takes the release first, so that the selection is the new one.
        const QPointer<ListWatcher> alive(this);
        QMetaObject::invokeMethod(
            this,
            [alive] {
              if (alive) alive->control_.Click();
            },
            Qt::QueuedConnection);
        return false;
      }
      case QEvent::MouseButtonDblClick:
        if (watched != view_.viewport()) return false;
        // The view takes any button's for a double click.
        if (static_cast<QMouseEvent*>(event)->button() != Qt::LeftButton) return true;
        endsDoubleClick_ = true;
        return false;
      case QEvent::KeyPress:
        return watched == &view_ && PressKey(*static_cast<QKeyEvent*>(event));
      case QEvent::ContextMenu: {
        // The menu key comes to the view, which has the focus; the mouse is the viewport's.
        const auto& asked = *static_cast<QContextMenuEvent*>(event);
        if (watched != view_.viewport() && asked.reason() != QContextMenuEvent::Keyboard) return false;
        OpenPopup(asked);
        return true;
      }
      default:
        return false;
    }
  }

 private:
  bool PressKey(const QKeyEvent& key) {
    if (key.key() == Qt::Key_Delete && key.modifiers() == Qt::NoModifier) {
      control_.PressDelete();
      return true;
    }
    if (key.key() == Qt::Key_Return || key.key() == Qt::Key_Enter) {
      if (!control_.Selection().empty()) control_.DoubleClick();
      return true;
    }
    return false;
  }

  void OpenPopup(const QContextMenuEvent& event) {
    const bool byKey = event.reason() == QContextMenuEvent::Keyboard;
    const QModelIndex row = byKey ? view_.currentIndex() : view_.indexAt(event.pos());
    const bool onRow = row.isValid() && (!byKey || !control_.Selection().empty());
    if (!onRow && !view_.property("popupWithoutRow").toBool()) return;
    if (!byKey && onRow && !view_.selectionModel()->isSelected(row)) {
      view_.selectionModel()->setCurrentIndex(row, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    }
    QPoint place = event.pos();
    if (byKey) {
      const QRect seen = view_.viewport()->rect();
      const QRect shown = onRow ? view_.visualRect(row) & seen : QRect();
      place = shown.isEmpty() ? seen.center() : shown.center();
    }
    const QPointer<ListWatcher> alive(this);
    if (onRow) control_.RightClick();
    if (!alive) return;
    // The entries are set by now; the menu must not open with those of the row before.
    context_.flush();
    if (auto* menu = view_.window()->findChild<QMenu*>(view_.property("popupMenu").toString())) {
      menu->popup(view_.viewport()->mapToGlobal(place));
    }
  }

  ListView& control_;
  QTreeView& view_;
  BindingContext& context_;
  bool endsDoubleClick_ = false;  // the next release of the left button is no click
};

class ListBinding : public Binding {
 public:
  ListBinding(ListView& control, QTreeView& view, BindingContext& context)
      : control_(control), view_(view), context_(context), rows_(new ListRowsModel(control, &view)) {
    view.setModel(rows_);
    view.setUniformRowHeights(true);
    view.setRootIsDecorated(false);
    view.setItemsExpandable(false);
    view.setAllColumnsShowFocus(true);
    view.setSelectionBehavior(QAbstractItemView::SelectRows);
    view.setEditTriggers(QAbstractItemView::NoEditTriggers);
    view.setMouseTracking(true);
    view.header()->setStretchLastSection(true);
    view.header()->setHighlightSections(false);
    watcher_ = new ListWatcher(control, view, context);
    QObject::connect(view.selectionModel(), &QItemSelectionModel::selectionChanged, context.receiver, [this] {
      if (!context_.settingDown) TellSelection();
    });
    QObject::connect(&view, &QTreeView::doubleClicked, context.receiver, [&control] { control.DoubleClick(); });
  }

  ~ListBinding() override { rows_->Detach(); }

  void Down() override {
    if (view_.isHidden() == control_.Visible()) view_.setVisible(control_.Visible);
    view_.setEnabled(control_.Enabled);
    const int scroll = view_.verticalScrollBar()->value();
    const bool anew = rows_->Follow();
    ShowSelection();
    if (anew) view_.verticalScrollBar()->setValue(scroll);
    if (columns_ != control_.Columns()) {
      columns_ = control_.Columns;
      watcher_->FitColumns();
    }
  }

 private:
  void TellSelection() {
    std::vector<std::size_t> rows;
    for (const QItemSelectionRange& range : view_.selectionModel()->selection()) {
      for (int row = range.top(); row <= range.bottom(); ++row) rows.push_back(static_cast<std::size_t>(row));
    }
    context_.gate.Deliver([&] { control_.SelectByUser(std::move(rows)); });
  }

  void ShowSelection() {
    const std::vector<std::size_t>& rows = control_.Selection();
    std::vector<std::size_t> shown;
    for (const QItemSelectionRange& range : view_.selectionModel()->selection()) {
      for (int row = range.top(); row <= range.bottom(); ++row) shown.push_back(static_cast<std::size_t>(row));
    }
    std::sort(shown.begin(), shown.end());
    if (shown == rows) return;
    const int lastColumn = rows_->columnCount() - 1;
    QItemSelection selection;
    for (std::size_t at = 0; at < rows.size();) {
      std::size_t end = at + 1;
      while (end < rows.size() && rows[end] == rows[end - 1] + 1) ++end;
      selection.append(QItemSelectionRange(rows_->index(static_cast<int>(rows[at]), 0),
                                           rows_->index(static_cast<int>(rows[end - 1]), lastColumn)));
      at = end;
    }
    view_.selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect);
    if (!rows.empty() && !view_.selectionModel()->isSelected(view_.currentIndex())) {
      view_.selectionModel()->setCurrentIndex(rows_->index(static_cast<int>(rows.front()), 0),
                                              QItemSelectionModel::NoUpdate);
    }
  }

  ListView& control_;
  QTreeView& view_;
  BindingContext& context_;
  ListRowsModel* rows_;   // owned by the view
  ListWatcher* watcher_;  // owned by the context's receiver
  std::vector<ControlPart> columns_;
};

}  // namespace

std::unique_ptr<Binding> BindListView(ListView& control, QObject& object, BindingContext& context) {
  auto* view = qobject_cast<QTreeView*>(&object);
  return view == nullptr ? nullptr : std::make_unique<ListBinding>(control, *view, context);
}

}  // namespace pellora
