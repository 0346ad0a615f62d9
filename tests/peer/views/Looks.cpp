#include "Looks.h"

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QAbstractScrollArea>
#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QSlider>
#include <QStyle>
#include <QStyleOptionButton>
#include <QTabBar>
#include <QToolButton>
#include <QTreeView>
#include <vector>

#include "desktop/views/Charts.h"
#include "desktop/views/Widgets.h"

namespace pellora::testing_views {

namespace {

class Inspection {
 public:
  explicit Inspection(const QWidget& window) : window_(window) {}

  QStringList Faults() {
    for (const QWidget* const widget : window_.findChildren<QWidget*>()) {
      if (!widget->isVisible() || widget->window() != &window_ || IsCovered(*widget)) continue;
      Inspect(*widget);
    }
    FindOverlaps();
    return faults_;
  }

 private:
  // By a page in the same place, which is opaque.
  bool IsCovered(const QWidget& widget) const {
    for (const QWidget* up = &widget; up != &window_; up = up->parentWidget()) {
      const QObjectList& siblings = up->parentWidget()->children();
      for (auto at = siblings.indexOf(const_cast<QWidget*>(up)) + 1; at < siblings.size(); ++at) {
        const auto* const page = qobject_cast<const QAbstractScrollArea*>(siblings[at]);
        if (page != nullptr && page->isVisible() && page->geometry().contains(up->geometry())) return true;
      }
    }
    return false;
  }

  // What is seen of it: scrolled areas clip.
  QRect PlaceOf(const QWidget& widget) const {
    QRect place(widget.mapTo(&window_, QPoint()), widget.size());
    for (const QWidget* up = widget.parentWidget(); up != nullptr && up != &window_; up = up->parentWidget()) {
      place &= QRect(up->mapTo(&window_, QPoint()), up->size());
    }
    return place;
  }

  void Report(const QWidget& widget, const QString& fault) {
    const QString name =
        widget.objectName().isEmpty() ? QLatin1String(widget.metaObject()->className()) : widget.objectName();
    faults_.append(name + QStringLiteral(": ") + fault);
  }
  void ExpectRoom(const QWidget& widget, const QString& text, int needed, int room) {
    if (needed > room) Report(widget, QStringLiteral("\"%1\" needs %2 of %3").arg(text).arg(needed).arg(room));
  }

  void Inspect(const QWidget& widget) {
    FindEscape(widget);
    if (const auto* label = qobject_cast<const QLabel*>(&widget)) {
      InspectLabel(*label);
    } else if (const auto* button = qobject_cast<const QAbstractButton*>(&widget)) {
      InspectButton(*button);
      if (IsControl(widget)) controls_.push_back(&widget);
      return;
    } else if (const auto* box = qobject_cast<const QGroupBox*>(&widget)) {
      ExpectRoom(*box, box->title(), box->fontMetrics().horizontalAdvance(box->title()), box->width() - 12);
    } else if (const auto* tabs = qobject_cast<const QTabBar*>(&widget)) {
      InspectTabs(*tabs);
    } else if (const auto* header = qobject_cast<const QHeaderView*>(&widget)) {
      InspectHeader(*header);
    } else if (const auto* edit = qobject_cast<const QLineEdit*>(&widget)) {
      ExpectRoom(*edit, edit->placeholderText(), edit->fontMetrics().horizontalAdvance(edit->placeholderText()),
                 edit->contentsRect().width());
      ExpectRoom(*edit, QStringLiteral("height"), edit->fontMetrics().height(), edit->contentsRect().height());
    } else if (const auto* combo = qobject_cast<const QComboBox*>(&widget)) {
      ExpectRoom(*combo, combo->currentText(), combo->fontMetrics().horizontalAdvance(combo->currentText()),
                 combo->width() - combo->height());
    } else if (const auto* bar = qobject_cast<const QProgressBar*>(&widget)) {
      ExpectRoom(*bar, bar->text(), bar->fontMetrics().horizontalAdvance(bar->text()), bar->width());
      ExpectRoom(*bar, QStringLiteral("height"), bar->fontMetrics().height(), bar->height());
    }
    if (IsControl(widget)) controls_.push_back(&widget);
  }

  void InspectLabel(const QLabel& label) {
    if (label.text().isEmpty()) return;
    const QRect room = label.contentsRect();
    const QFontMetrics metrics = label.fontMetrics();
    if (qobject_cast<const WrappedLabel*>(&label) != nullptr || label.wordWrap()) {
      ExpectRoom(label, label.text(), label.heightForWidth(label.width()), label.height());
      if (!label.wordWrap()) return;
      for (const QString& word : label.text().split(u' ')) {
        ExpectRoom(label, word, metrics.horizontalAdvance(word), room.width());
      }
      return;
    }
    ExpectRoom(label, label.text(), metrics.height(), room.height());
    // Names and addresses; but the states of segments are the program's own words.
    const bool elides = qobject_cast<const ElidedLabel*>(&label) != nullptr;
    if (elides && !label.objectName().startsWith(QLatin1String("StateS"))) return;
    ExpectRoom(label, label.text(), metrics.size(Qt::TextShowMnemonic, label.text()).width(), room.width());
  }

  void InspectButton(const QAbstractButton& button) {
    const QString name = button.objectName();
    if (name.startsWith(QLatin1String("qt_")) || name.startsWith(QLatin1String("Scroll"))) {
      Report(*button.parentWidget(), QStringLiteral("does not show all of its parts"));
      return;
    }
    const int text = button.fontMetrics().size(Qt::TextShowMnemonic, button.text()).width();
    if (const auto* push = qobject_cast<const QPushButton*>(&button)) {
      const int picture = button.icon().isNull() ? 0 : button.iconSize().width() + 4;
      ExpectRoom(*push, push->text(), text + picture, push->width() - 8);
    } else if (qobject_cast<const QCheckBox*>(&button) != nullptr ||
               qobject_cast<const QRadioButton*>(&button) != nullptr) {
      ExpectRoom(button, button.text(), button.sizeHint().width(), button.width());
    } else if (const auto* tool = qobject_cast<const QToolButton*>(&button)) {
      const bool captioned = tool->toolButtonStyle() != Qt::ToolButtonIconOnly || tool->icon().isNull();
      if (captioned) ExpectRoom(*tool, tool->text(), tool->sizeHint().width(), tool->width());
    }
    if (!button.text().isEmpty()) {
      ExpectRoom(button, QStringLiteral("height"), button.fontMetrics().height(), button.height());
    }
  }

  void InspectTabs(const QTabBar& tabs) {
    for (int at = 0; at < tabs.count(); ++at) {
      const QRect place = tabs.tabRect(at);
      if (!tabs.rect().adjusted(-4, -4, 4, 4).contains(place)) {
        Report(tabs, QStringLiteral("tab \"%1\" is not within").arg(tabs.tabText(at)));
      }
      ExpectRoom(tabs, tabs.tabText(at), tabs.fontMetrics().size(Qt::TextShowMnemonic, tabs.tabText(at)).width(),
                 place.width() - 4);
    }
  }

  void InspectHeader(const QHeaderView& header) {
    for (int at = 0; at < header.count(); ++at) {
      if (header.isSectionHidden(at)) continue;
      const QString caption = header.model()->headerData(at, header.orientation()).toString();
      ExpectRoom(header, caption, header.fontMetrics().horizontalAdvance(caption), header.sectionSize(at) - 8);
    }
  }

  // What lies in a scrolled area may reach beyond it.
  void FindEscape(const QWidget& widget) {
    const QWidget* const parent = widget.parentWidget();
    const auto* area = parent == nullptr ? nullptr : qobject_cast<const QAbstractScrollArea*>(parent->parentWidget());
    if (area != nullptr && area->viewport() == parent) return;
    if (qobject_cast<const QHeaderView*>(parent) != nullptr || !IsControl(widget)) return;
    if (!parent->rect().contains(widget.geometry())) {
      Report(widget, QStringLiteral("reaches beyond %1").arg(parent->objectName()));
    }
  }

  static bool IsControl(const QWidget& widget) {
    for (const QWidget* up = widget.parentWidget(); up != nullptr; up = up->parentWidget()) {
      if (qobject_cast<const QAbstractItemView*>(up) != nullptr || qobject_cast<const QComboBox*>(up) != nullptr ||
          qobject_cast<const QLineEdit*>(up) != nullptr || qobject_cast<const QTabBar*>(up) != nullptr) {
        return false;
      }
    }
    return qobject_cast<const QLabel*>(&widget) != nullptr ||
           qobject_cast<const QAbstractButton*>(&widget) != nullptr ||
           qobject_cast<const QLineEdit*>(&widget) != nullptr || qobject_cast<const QComboBox*>(&widget) != nullptr ||
           qobject_cast<const QProgressBar*>(&widget) != nullptr || qobject_cast<const QSlider*>(&widget) != nullptr ||
           qobject_cast<const QAbstractItemView*>(&widget) != nullptr ||
           qobject_cast<const QGroupBox*>(&widget) != nullptr || qobject_cast<const QTabBar*>(&widget) != nullptr ||
           qobject_cast<const BarFrame*>(&widget) != nullptr || qobject_cast<const SpeedGraph*>(&widget) != nullptr ||
           qobject_cast<const FileMapBar*>(&widget) != nullptr;
  }

  void FindOverlaps() {
    for (std::size_t first = 0; first < controls_.size(); ++first) {
      for (std::size_t second = first + 1; second < controls_.size(); ++second) {
        const QWidget& one = *controls_[first];
        const QWidget& other = *controls_[second];
        if (one.isAncestorOf(&other) || other.isAncestorOf(&one) || !PlaceOf(one).intersects(PlaceOf(other))) continue;
        Report(one, QStringLiteral("overlaps %1").arg(other.objectName()));
      }
    }
  }

  const QWidget& window_;
  QStringList faults_;
  std::vector<const QWidget*> controls_;
};

}  // namespace

QStringList FaultsOf(const QWidget& window) { return Inspection(window).Faults(); }

}  // namespace pellora::testing_views
