#include "desktop/views/ColumnHeader.h"

#include <QCoreApplication>
#include <QKeyEvent>
#include <QLabel>
#include <QPainter>
#include <QPen>
#include <QScrollBar>
#include <QTreeView>
#include <algorithm>
#include <utility>

#include "desktop/views/ColumnHeaderAccess.h"

namespace pellora {

namespace {
constexpr int kSizeStep = 10;
}  // namespace

ColumnHeader::ColumnHeader(QTreeView& view) : QHeaderView(Qt::Horizontal, &view), view_(view) {
  QAccessible::installFactory(&DescribeColumnHeader);  // repeated calls have no effect
  setFocusPolicy(Qt::TabFocus);
  setSectionsMovable(true);
  view.setHeader(this);
  // The view has just forbidden to move the first column, and takes the focus of its header.
  setFirstSectionMovable(true);
  setFocusProxy(nullptr);
  QWidget::setTabOrder(&view, this);
}

int ColumnHeader::Chosen() const {
  if (count() == 0) return -1;
  return chosen_ >= 0 && chosen_ < count() ? chosen_ : logicalIndex(0);
}

void ColumnHeader::Choose(int column) {
  if (column < 0 || column >= count()) return;
  chosen_ = column;
  ScrollToChosen();
  order_ = OrderBy(column);
  viewport()->update();
  Notify(QAccessible::Focus);
}

void ColumnHeader::FollowOrder() {
  const QString now = OrderBy(Chosen());
  if (std::exchange(order_, now) != now) Notify(QAccessible::DescriptionChanged);
}

// Of the chosen heading.
void ColumnHeader::Notify(QAccessible::Event what) {
  if (!hasFocus() || count() == 0) return;
  QAccessibleEvent event(this, what);
  event.setChild(visualIndex(Chosen()));
  QAccessible::updateAccessibility(&event);
}

bool ColumnHeader::Press(int column) {
  if (!sectionsClickable() || column < 0) return false;
  emit sectionClicked(column);
  return true;
}

QString ColumnHeader::HeadingOf(int column) const {
  return model() == nullptr ? QString()
                            : model()->headerData(column, Qt::Horizontal, Qt::AccessibleTextRole).toString();
}

QRect ColumnHeader::PlaceOf(int column) const {
  return {sectionViewportPosition(column), 0, sectionSize(column), viewport()->height()};
}

QString ColumnHeader::OrderBy(int column) const {
  if (!isSortIndicatorShown() || sortIndicatorSection() != column) return {};
  const bool ascending = sortIndicatorOrder() == Qt::AscendingOrder;
  const auto* const words =
      window()->findChild<QLabel*>(ascending ? QStringLiteral("AscendingWords") : QStringLiteral("DescendingWords"));
  return words != nullptr ? words->text() : QString();
}

void ColumnHeader::keyPressEvent(QKeyEvent* event) {
  if (!UseKey(event->key(), event->modifiers() & ~Qt::KeypadModifier)) {
    // For the window. The list is left out, where keys act on its rows.
    QCoreApplication::sendEvent(view_.parentWidget(), event);
  }
  event->accept();
}

bool ColumnHeader::UseKey(int key, Qt::KeyboardModifiers modifiers) {
  const int forward = isRightToLeft() ? -1 : 1;
  if (key == Qt::Key_Right) return UseArrow(forward, modifiers);
  if (key == Qt::Key_Left) return UseArrow(-forward, modifiers);
  if (modifiers != Qt::NoModifier) return false;
  switch (key) {
    case Qt::Key_Home:
      ChooseAt(0);
      return true;
    case Qt::Key_End:
      ChooseAt(count() - 1);
      return true;
    case Qt::Key_Down:
      view_.setFocus(Qt::OtherFocusReason);
      return true;
    case Qt::Key_Space:
    case Qt::Key_Return:
    case Qt::Key_Enter:
      return Press(Chosen());
    default:
      return false;
  }
}

bool ColumnHeader::UseArrow(int step, Qt::KeyboardModifiers modifiers) {
  switch (modifiers) {
    case Qt::NoModifier:
      ChooseAt(visualIndex(Chosen()) + step);
      return true;
    case Qt::AltModifier:
      Size(step * kSizeStep);
      return true;
    case Qt::ControlModifier:
      Move(step);
      return true;
    default:
      return false;
  }
}

void ColumnHeader::ChooseAt(int place) { Choose(logicalIndex(std::clamp(place, 0, std::max(0, count() - 1)))); }

void ColumnHeader::Size(int step) {
  const int column = Chosen();
  if (column < 0) return;
  resizeSection(column, std::max(minimumSectionSize(), sectionSize(column) + step));
  emit SizedByKey();
  ScrollToChosen();
}

void ColumnHeader::Move(int step) {
  const int column = Chosen();
  const int place = visualIndex(column) + step;
  if (column < 0 || place < 0 || place >= count()) return;
  moveSection(visualIndex(column), place);
  Choose(column);
}

void ColumnHeader::ScrollToChosen() {
  QScrollBar& bar = *view_.horizontalScrollBar();
  const int start = sectionPosition(chosen_);
  const int end = start + sectionSize(chosen_);
  if (end > bar.value() + viewport()->width()) bar.setValue(end - viewport()->width());
  if (start < bar.value()) bar.setValue(start);
}

void ColumnHeader::focusInEvent(QFocusEvent* event) {
  QHeaderView::focusInEvent(event);
  Choose(Chosen());
}

void ColumnHeader::paintSection(QPainter* painter, const QRect& place, int column) const {
  painter->save();  // styles leave a clip
  QHeaderView::paintSection(painter, place, column);
  painter->restore();
  if (!hasFocus() || column != Chosen()) return;
  // The style's own mark of the focus is faint.
  painter->setPen(QPen(palette().color(QPalette::Highlight), 2));
  painter->setBrush(Qt::NoBrush);
  painter->drawRect(place.adjusted(1, 1, -2, -2));
}

}  // namespace pellora
