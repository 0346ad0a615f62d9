#include "desktop/views/ListBinding.h"

#include <QContextMenuEvent>
#include <QItemSelection>
#include <QItemSelectionModel>
#include <QKeyEvent>
#include <QListView>
#include <QMenu>
#include <QMouseEvent>
#include <QPersistentModelIndex>
#include <QPointer>
#include <QScrollBar>
#include <QStackedWidget>
#include <QStyledItemDelegate>
#include <QTreeView>
#include <algorithm>
#include <optional>
#include <vector>

#include "async/EventGate.h"
#include "desktop/views/ListColumns.h"
#include "desktop/views/ListRowsModel.h"
#include "ui/Controls.h"

namespace pellora {

namespace {

std::optional<RowMove> MoveOf(int key) {
  switch (key) {
    case Qt::Key_Home:
      return RowMove::First;
    case Qt::Key_Up:
      return RowMove::Up;
    case Qt::Key_Down:
      return RowMove::Down;
    case Qt::Key_End:
      return RowMove::Last;
    default:
      return std::nullopt;
  }
}

// Watches the view's events. Owned by the context's receiver, so it is destroyed with the bindings.
class ListWatcher : public QObject {
 public:
  ListWatcher(ListView& control, QAbstractItemView& view, BindingContext& context)
      : QObject(context.receiver), control_(control), view_(view), context_(context) {
    view.viewport()->installEventFilter(this);
    view.installEventFilter(this);
  }

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override {
    switch (event->type()) {
      case QEvent::MouseButtonPress:
        endsDoubleClick_ = false;
        DeliverClick();
        return false;
      case QEvent::MouseButtonRelease: {
        const auto* mouse = static_cast<QMouseEvent*>(event);
        if (watched != view_.viewport() || mouse->button() != Qt::LeftButton) return false;
        if (std::exchange(endsDoubleClick_, false)) return false;
        if (!view_.indexAt(mouse->position().toPoint()).isValid()) return false;
        // Deliver after the view has handled the release, so that the selection is the new one.
        clickPending_ = true;
        QMetaObject::invokeMethod(this, &ListWatcher::DeliverClick, Qt::QueuedConnection);
        return false;
      }
      case QEvent::MouseButtonDblClick: {
        if (watched != view_.viewport()) return false;
        const bool left = static_cast<QMouseEvent*>(event)->button() == Qt::LeftButton;
        if (left) endsDoubleClick_ = true;
        // On a busy machine both clicks may arrive together: deliver the first one before.
        DeliverClick();
        return !left;  // the view would accept a double click of any button
      }
      case QEvent::KeyPress:
        return watched == &view_ && PressKey(*static_cast<QKeyEvent*>(event));
      case QEvent::ContextMenu: {
        // The menu key goes to the view, which has the focus; the mouse to the viewport.
        const auto& menuEvent = *static_cast<QContextMenuEvent*>(event);
        if (watched != view_.viewport() && menuEvent.reason() != QContextMenuEvent::Keyboard) return false;
        OpenPopup(menuEvent);
        return true;
      }
      default:
        return false;
    }
  }

 private:
  // The click may unload the window and destroy this object.
  void DeliverClick() {
    if (std::exchange(clickPending_, false)) control_.Click();
  }

  bool PressKey(const QKeyEvent& key) {
    const Qt::KeyboardModifiers modifiers = key.modifiers() & ~Qt::KeypadModifier;
    const bool enter = key.key() == Qt::Key_Return || key.key() == Qt::Key_Enter;
    if (modifiers == Qt::AltModifier && PressMoveKey(key.key())) return true;
    if (modifiers == Qt::AltModifier && enter && control_.OnDetailsKey) {
      control_.PressDetails();
      return true;
    }
    if (key.key() == Qt::Key_Delete && key.modifiers() == Qt::NoModifier) {
      control_.PressDelete();
      return true;
    }
    if (key.key() == Qt::Key_Space && modifiers == Qt::NoModifier && control_.OnSpaceKey) {
      control_.PressSpace();
      return true;
    }
    // Else it is the dialog's, whose default button it presses.
    if (control_.OnDoubleClick && enter) {
      if (!control_.Selection().empty()) control_.DoubleClick();
      return true;
    }
    return false;
  }

  bool PressMoveKey(int key) {
    const std::optional<RowMove> move = MoveOf(key);
    if (!move || !control_.OnMoveKey) return false;
    control_.PressMove(*move);
    return true;
  }

  void OpenPopup(const QContextMenuEvent& event) {
    const bool byKey = event.reason() == QContextMenuEvent::Keyboard;
    const QModelIndex row = byKey ? view_.currentIndex() : view_.indexAt(event.pos());
    const bool onRow = row.isValid() && (!byKey || !control_.Selection().empty());
    if (!onRow && !view_.property("popupWithoutRow").toBool()) return;
    // A click on empty ground does not concern the selected rows.
    if (!byKey && !onRow) view_.clearSelection();
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
    control_.RightClick();
    if (!alive) return;
    // The handler has set the entries; apply them before the menu opens.
    context_.flush();
    if (auto* menu = view_.window()->findChild<QMenu*>(view_.property("popupMenu").toString())) {
      menu->popup(view_.viewport()->mapToGlobal(place));
    }
  }

  ListView& control_;
  QAbstractItemView& view_;
  BindingContext& context_;
  bool clickPending_ = false;     // released, but not yet delivered
  bool endsDoubleClick_ = false;  // the next release of the left button is not a click
};

// Cells of one size, so that the pane need not measure its rows. A large icon is above its name; the view's own icon
// mode would lay out item by item.
class CellDelegate : public QStyledItemDelegate {
 public:
  CellDelegate(QListView& pane, bool large) : QStyledItemDelegate(&pane), pane_(pane), large_(large) {}
  QSize sizeHint(const QStyleOptionViewItem&, const QModelIndex&) const override { return pane_.gridSize(); }

 protected:
  void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override {
    QStyledItemDelegate::initStyleOption(option, index);
    if (!large_) return;
    option->decorationPosition = QStyleOptionViewItem::Top;
    option->decorationAlignment = Qt::AlignCenter;
    option->displayAlignment = Qt::AlignHCenter | Qt::AlignTop;
    option->features |= QStyleOptionViewItem::WrapText;
  }

 private:
  QListView& pane_;
  bool large_;
};

void ArrangeIcons(QListView& pane, int display) {
  const bool large = display == kIconDisplay;
  const int line = pane.fontMetrics().height();
  const int letter = pane.fontMetrics().averageCharWidth();
  pane.setFlow(display == kListDisplay ? QListView::TopToBottom : QListView::LeftToRight);
  pane.setWrapping(true);
  pane.setResizeMode(QListView::Adjust);
  pane.setUniformItemSizes(true);
  pane.setTextElideMode(Qt::ElideMiddle);
  pane.setIconSize(large ? QSize(32, 32) : QSize(16, 16));
  pane.setGridSize(large ? QSize(letter * 17, 32 + 3 * line + 4) : QSize(letter * 30, std::max(line, 16) + 8));
  QAbstractItemDelegate* const former = pane.itemDelegate();
  pane.setItemDelegate(new CellDelegate(pane, large));
  delete former;
}

// Keeps figures away from the text of the next column.
class FigureDelegate : public QStyledItemDelegate {
 public:
  using QStyledItemDelegate::QStyledItemDelegate;

 protected:
  void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override {
    QStyledItemDelegate::initStyleOption(option, index);
    if ((option->displayAlignment & Qt::AlignRight) != 0) option->text += QStringLiteral("  ");
  }
};

class ListBinding : public Binding {
 public:
  // `stack` contains the view and `icons`, the pane of the icon displays; both may be null.
  ListBinding(ListView& control, QTreeView& view, QListView* icons, QStackedWidget* stack, BindingContext& context)
      : control_(control),
        view_(view),
        icons_(icons),
        stack_(stack),
        context_(context),
        rows_(new ListRowsModel(control, &view)) {
    for (const QString& column : view.property("rightColumns").toStringList()) rows_->AlignRight(column.toInt());
    view.setItemDelegate(new FigureDelegate(&view));
    view.setModel(rows_);
    view.setUniformRowHeights(true);
    view.setRootIsDecorated(false);
    view.setItemsExpandable(false);
    view.setAllColumnsShowFocus(true);
    view.setSelectionBehavior(QAbstractItemView::SelectRows);
    view.setEditTriggers(QAbstractItemView::NoEditTriggers);
    view.setMouseTracking(true);
    if (control.FileOf) {
      view.setDragDropMode(QAbstractItemView::DragOnly);
      view.setDefaultDropAction(Qt::CopyAction);
    }
    new ListWatcher(control, view, context);  // owned by the receiver
    // NOLINTNEXTLINE(cppcoreguidelines-prefer-member-initializer): needs the view's model and header
    header_ = new ListColumns(control, view, context);
    QObject::connect(view.selectionModel(), &QItemSelectionModel::selectionChanged, context.receiver, [this] {
      if (!context_.updatingWidgets) ReportSelection();
    });
    QObject::connect(&view, &QTreeView::doubleClicked, context.receiver, [&control] { control.DoubleClick(); });
    if (icons_ == nullptr) return;
    new ListWatcher(control, *icons_, context);  // owned by the receiver
    icons_->setSelectionBehavior(QAbstractItemView::SelectRows);
    icons_->setSelectionMode(view.selectionMode());
    icons_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    QObject::connect(icons_, &QListView::doubleClicked, context.receiver, [&control] { control.DoubleClick(); });
  }

  ~ListBinding() override { rows_->Detach(); }

  void UpdateWidget() override {
    QWidget& whole = stack_ != nullptr ? static_cast<QWidget&>(*stack_) : view_;
    if (whole.isHidden() == control_.Visible()) whole.setVisible(control_.Visible);
    whole.setEnabled(control_.Enabled);
    ShowDisplay();
    const int scroll = view_.verticalScrollBar()->value();
    const bool reset = rows_->Follow();
    ShowSelection();
    if (reset) view_.verticalScrollBar()->setValue(scroll);
    header_->ShowOrder();
    if (columns_ != control_.Columns()) {
      columns_ = control_.Columns;
      header_->Fit();
    }
  }

 private:
  // A hidden pane gets no model, so that it lays out no rows.
  void ShowDisplay() {
    if (icons_ == nullptr || stack_ == nullptr || display_ == control_.View()) return;
    display_ = control_.View();
    if (display_ == kReportDisplay) {
      stack_->setCurrentWidget(&view_);
      icons_->setModel(nullptr);
      return;
    }
    ArrangeIcons(*icons_, display_);
    if (icons_->model() == nullptr) {
      icons_->setModel(rows_);
      const QItemSelectionModel* const own = icons_->selectionModel();
      icons_->setSelectionModel(view_.selectionModel());
      delete own;
    }
    stack_->setCurrentWidget(icons_);
  }

  std::vector<std::size_t> SelectedPlaces() const {
    std::vector<std::size_t> places;
    for (const QItemSelectionRange& range : view_.selectionModel()->selection()) {
      for (int row = range.top(); row <= range.bottom(); ++row) places.push_back(static_cast<std::size_t>(row));
    }
    std::sort(places.begin(), places.end());
    return places;
  }

  void ReportSelection() {
    std::vector<std::size_t> rows;
    for (const std::size_t place : SelectedPlaces()) {
      if (place < control_.ShownCount()) rows.push_back(control_.NumberAt(place));
    }
    context_.gate.Deliver([&] { control_.SelectByUser(std::move(rows)); });
  }

  void ShowSelection() {
    std::vector<std::size_t> rows;  // of the view
    for (const std::size_t row : control_.Selection()) {
      if (const auto place = control_.PlaceOf(row)) rows.push_back(*place);
    }
    std::sort(rows.begin(), rows.end());
    if (SelectedPlaces() == rows) return;
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
  QListView* icons_;
  QStackedWidget* stack_;
  BindingContext& context_;
  int display_ = kReportDisplay;
  ListRowsModel* rows_;  // owned by the view
  ListColumns* header_;  // owned by the context's receiver
  std::vector<ControlPart> columns_;
};

}  // namespace

std::unique_ptr<Binding> BindListView(ListView& control, QObject& object, BindingContext& context) {
  auto* stack = qobject_cast<QStackedWidget*>(&object);
  auto* view = stack != nullptr ? stack->findChild<QTreeView*>() : qobject_cast<QTreeView*>(&object);
  auto* icons = stack != nullptr ? stack->findChild<QListView*>() : nullptr;
  return view == nullptr ? nullptr : std::make_unique<ListBinding>(control, *view, icons, stack, context);
}

}  // namespace pellora
