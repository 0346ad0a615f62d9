#include "desktop/views/Spoken.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <QStringList>
#include <QVariant>
#include <array>
#include <utility>

#include "desktop/views/Widgets.h"

namespace pellora {

namespace {

// A bar of a segment: the share of it that has arrived.
class SpokenBar final : public QAccessibleWidget, public QAccessibleValueInterface {
 public:
  explicit SpokenBar(SegmentBar& bar) : QAccessibleWidget(&bar, QAccessible::ProgressBar), bar_(bar) {}

  void* interface_cast(QAccessible::InterfaceType type) override {
    if (type == QAccessible::ValueInterface) return static_cast<QAccessibleValueInterface*>(this);
    return QAccessibleWidget::interface_cast(type);
  }
  QAccessible::State state() const override {
    QAccessible::State state = QAccessibleWidget::state();
    state.readOnly = true;
    return state;
  }
  QVariant currentValue() const override { return bar_.Percent(); }
  void setCurrentValue(const QVariant&) override {}
  QVariant maximumValue() const override { return 100; }
  QVariant minimumValue() const override { return 0; }
  QVariant minimumStepSize() const override { return 1; }

 private:
  SegmentBar& bar_;
};

// Qt describes it as a label, which nobody would try to press.
class SpokenLink final : public QAccessibleWidget {
 public:
  explicit SpokenLink(FocusLabel& label) : QAccessibleWidget(&label, QAccessible::Link), label_(label) {}

  QString text(QAccessible::Text kind) const override {
    return kind == QAccessible::Name ? label_.text() : QAccessibleWidget::text(kind);
  }
  QStringList actionNames() const override { return QAccessibleWidget::actionNames() << pressAction(); }
  void doAction(const QString& name) override {
    if (name != pressAction()) return QAccessibleWidget::doAction(name);
    if (label_.isEnabled()) emit label_.Pressed();
  }

 private:
  FocusLabel& label_;
};

// What the panel shows by its font.
class SpokenKey final : public QAccessibleWidget {
 public:
  explicit SpokenKey(KeyLabel& label) : QAccessibleWidget(&label, QAccessible::CheckBox), label_(label) {}

  QString text(QAccessible::Text kind) const override {
    return kind == QAccessible::Name ? label_.text() : QAccessibleWidget::text(kind);
  }
  QAccessible::State state() const override {
    QAccessible::State state = QAccessibleWidget::state();
    state.disabled = false;
    state.checkable = state.readOnly = true;
    state.checked = label_.IsOn();
    return state;
  }

 private:
  KeyLabel& label_;
};

// Called for a widget's class and then for those that it is derived from. Without a window's role a plain widget as a
// form would be a filler.
QAccessibleInterface* Describe(const QString& className, QObject* object) {
  constexpr std::array<std::pair<const char*, QAccessible::Role>, 4> kPlainRoles{
      {{"pellora::SpeedGraph", QAccessible::Chart},
       {"pellora::FileMapBar", QAccessible::Chart},
       {"pellora::PreviewSurface", QAccessible::Graphic},
       {"QFrame", QAccessible::Client}}};  // a border would be a frame, which windows are
  auto* const widget = qobject_cast<QWidget*>(object);
  if (widget == nullptr) return nullptr;
  if (auto* const bar = qobject_cast<SegmentBar*>(widget)) return new SpokenBar(*bar);
  if (auto* const link = qobject_cast<FocusLabel*>(widget)) return new SpokenLink(*link);
  if (auto* const key = qobject_cast<KeyLabel*>(widget)) return new SpokenKey(*key);
  for (const auto& [name, role] : kPlainRoles) {
    if (className == QLatin1String(name)) return new QAccessibleWidget(widget, role);
  }
  if (className != QLatin1String("QWidget") || widget->windowType() != Qt::Window) return nullptr;
  return new QAccessibleWidget(widget, QAccessible::Window);
}

}  // namespace

void DescribeWidgets() { QAccessible::installFactory(&Describe); }

}  // namespace pellora
