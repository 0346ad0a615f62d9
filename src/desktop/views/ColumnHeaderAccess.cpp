#include "desktop/views/ColumnHeaderAccess.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <QColor>
#include <QStringList>
#include <QWindow>
#include <cstddef>
#include <vector>

#include "desktop/views/ColumnHeader.h"

namespace pellora {

namespace {

// Owned by QAccessible's registry; the interface of its header removes it.
class Heading : public QAccessibleInterface, public QAccessibleActionInterface {
 public:
  Heading(ColumnHeader& header, int column) : header_(header), column_(column) {}

  bool isValid() const override { return column_ < header_.count(); }
  QObject* object() const override { return nullptr; }
  QWindow* window() const override { return header_.window()->windowHandle(); }
  QAccessibleInterface* parent() const override { return QAccessible::queryAccessibleInterface(&header_); }
  QAccessibleInterface* child(int) const override { return nullptr; }
  QAccessibleInterface* childAt(int, int) const override { return nullptr; }
  int childCount() const override { return 0; }
  int indexOfChild(const QAccessibleInterface*) const override { return -1; }
  QAccessible::Role role() const override { return QAccessible::ColumnHeader; }
  QRect rect() const override {
    const QRect place = header_.PlaceOf(column_);
    return {header_.viewport()->mapToGlobal(place.topLeft()), place.size()};
  }
  QAccessible::State state() const override {
    QAccessible::State state;
    state.focusable = true;
    state.focused = header_.hasFocus() && header_.Chosen() == column_;
    state.invisible = !header_.isVisible();
    return state;
  }
  QString text(QAccessible::Text kind) const override {
    if (kind == QAccessible::Description) return header_.OrderBy(column_);
    return kind == QAccessible::Name ? header_.HeadingOf(column_) : QString();
  }
  void setText(QAccessible::Text, const QString&) override {}

  void* interface_cast(QAccessible::InterfaceType type) override {
    return type == QAccessible::ActionInterface ? static_cast<QAccessibleActionInterface*>(this) : nullptr;
  }
  QStringList actionNames() const override { return {pressAction(), setFocusAction()}; }
  void doAction(const QString& action) override {
    if (action == pressAction()) header_.Press(column_);
    if (action != setFocusAction()) return;
    header_.setFocus(Qt::OtherFocusReason);
    header_.Choose(column_);
  }
  QStringList keyBindingsForAction(const QString&) const override { return {}; }

 private:
  ColumnHeader& header_;
  int column_;
};

class Headings : public QAccessibleWidget {
 public:
  explicit Headings(ColumnHeader& header) : QAccessibleWidget(&header, QAccessible::Grouping), header_(header) {}
  ~Headings() override {
    for (const QAccessible::Id id : ids_) QAccessible::deleteAccessibleInterface(id);
  }
  Headings(const Headings&) = delete;
  Headings& operator=(const Headings&) = delete;

  int childCount() const override { return header_.count(); }
  QAccessibleInterface* child(int place) const override {
    return place < 0 || place >= header_.count() ? nullptr : OfColumn(header_.logicalIndex(place));
  }
  QAccessibleInterface* childAt(int x, int y) const override {
    const QPoint point = header_.viewport()->mapFromGlobal(QPoint(x, y));
    return header_.viewport()->rect().contains(point) ? child(header_.visualIndexAt(point.x())) : nullptr;
  }
  QAccessibleInterface* focusChild() const override {
    return header_.hasFocus() ? child(header_.visualIndex(header_.Chosen())) : nullptr;
  }
  int indexOfChild(const QAccessibleInterface* sought) const override {
    for (int place = 0; place < header_.count(); ++place) {
      if (child(place) == sought) return place;
    }
    return -1;
  }
  QString text(QAccessible::Text kind) const override {
    return kind == QAccessible::Name ? header_.parentWidget()->accessibleName() : QAccessibleWidget::text(kind);
  }

 private:
  QAccessibleInterface* OfColumn(int column) const {
    while (static_cast<int>(ids_.size()) <= column) {
      const auto next = static_cast<int>(ids_.size());
      ids_.push_back(QAccessible::registerAccessibleInterface(new Heading(header_, next)));
    }
    return QAccessible::accessibleInterface(ids_[static_cast<std::size_t>(column)]);
  }

  ColumnHeader& header_;
  mutable std::vector<QAccessible::Id> ids_;  // by column
};

}  // namespace

QAccessibleInterface* DescribeColumnHeader(const QString& className, QObject* object) {
  auto* const header = qobject_cast<ColumnHeader*>(object);
  return className == QLatin1String("pellora::ColumnHeader") ? new Headings(*header) : nullptr;
}

}  // namespace pellora
