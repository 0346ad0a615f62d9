// What the keyboard and assistive technology need of every window: a name for each control, in the user's language, an
// order of the Tab key that follows the eye, and a focus that is seen.
#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QAccessible>
#include <QApplication>
#include <QComboBox>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QProgressBar>
#include <QPushButton>
#include <QSlider>
#include <QTest>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "Gallery.h"
#include "LongTexts.h"
#include "Themes.h"
#include "desktop/views/Charts.h"
#include "desktop/views/Widgets.h"

namespace pellora {
namespace {

using namespace testing_views;

QString NameOf(QWidget& widget) {
  QAccessibleInterface* const seen = QAccessible::queryAccessibleInterface(&widget);
  return seen == nullptr ? QString() : seen->text(QAccessible::Name);
}

// The controls that the Tab key reaches, in its order.
std::vector<QWidget*> TabOrder(QWidget& window) {
  std::vector<QWidget*> order;
  for (QWidget* at = window.nextInFocusChain(); at != nullptr && at != &window; at = at->nextInFocusChain()) {
    const bool reached = (at->focusPolicy() & Qt::TabFocus) != 0 && at->isVisible() && at->isEnabled();
    if (reached && at->window() == &window && at->focusProxy() == nullptr) order.push_back(at);
  }
  return order;
}

QString Described(const QString& window, const QWidget& widget) {
  return window + u' ' +
         (widget.objectName().isEmpty() ? QLatin1String(widget.metaObject()->className()) : widget.objectName());
}

// The name of each control that can have the focus or draws figures, by window and object name.
class NameReader final : public Visitor {
 public:
  void Visit(QWidget& window, const QString& name) override {
    if (qobject_cast<QMenu*>(&window) != nullptr) return;
    Take(name.toStdString() + " window", window);
    for (QWidget* const widget : window.findChildren<QWidget*>()) {
      if (!widget->isVisible() || !NeedsName(*widget)) continue;
      Take(Described(name, *widget).toStdString(), *widget);
    }
  }

  struct Name {
    QString text;
    bool shown = false;  // is also on the screen
  };
  std::multimap<std::string, Name> names;

 private:
  void Take(const std::string& control, QWidget& widget) {
    const QString name = NameOf(widget);
    names.emplace(control, Name{name, IsShown(name, widget)});
  }
  static bool IsShown(const QString& name, const QWidget& widget) {
    const auto* const button = qobject_cast<const QAbstractButton*>(&widget);
    const auto* const combo = qobject_cast<const QComboBox*>(&widget);
    if (button != nullptr && button->text().remove(u'&') == name) return true;
    if (widget.window()->windowTitle() == name) return true;
    if (combo != nullptr && combo->currentText() == name) return true;
    for (const QLabel* const label : widget.window()->findChildren<QLabel*>()) {
      if (label->isVisible() && label->text() == name) return true;
    }
    return false;
  }
  static bool NeedsName(const QWidget& widget) {
    if (qobject_cast<const QComboBox*>(widget.parentWidget()) != nullptr) return false;
    return (widget.focusPolicy() & Qt::TabFocus) != 0 || qobject_cast<const QProgressBar*>(&widget) != nullptr ||
           qobject_cast<const QSlider*>(&widget) != nullptr || qobject_cast<const SpeedGraph*>(&widget) != nullptr ||
           qobject_cast<const FileMapBar*>(&widget) != nullptr || qobject_cast<const SegmentBar*>(&widget) != nullptr;
  }
};

class OrderReader final : public Visitor {
 public:
  void Visit(QWidget& window, const QString& name) override {
    if (qobject_cast<QMenu*>(&window) != nullptr) return;
    const std::vector<QWidget*> order = TabOrder(window);
    QStringList back;
    for (std::size_t at = 0; at < order.size(); ++at) {
      const QWidget& last = *order[at];
      const QWidget& next = *order[(at + 1) % order.size()];
      const QRect before = PlaceIn(window, last);
      const QRect now = PlaceIn(window, next);
      const bool sameLine = now.top() < before.bottom() && before.top() < now.bottom();
      if (now.bottom() <= before.top() || (sameLine && now.right() <= before.left())) {
        back.append(Described(name, next) + QStringLiteral(" after ") + last.objectName());
      }
    }
    // Once from the end to the beginning; where the order begins is free.
    if (back.size() > 1) faults += back;
  }
  QStringList faults;

 private:
  static QRect PlaceIn(const QWidget& window, const QWidget& widget) {
    return {widget.mapTo(&window, QPoint()), widget.size()};
  }
};

// Styles mark the default button as if it had the focus, and draw the focus of a list on one of its rows.
bool MarksNoFocus(const QWidget& widget) {
  const auto* const button = qobject_cast<const QPushButton*>(&widget);
  const auto* const list = qobject_cast<const QAbstractItemView*>(&widget);
  return (button != nullptr && button->isDefault()) || (list != nullptr && list->model()->rowCount() == 0);
}

class FocusReader final : public Visitor {
 public:
  void Visit(QWidget& window, const QString& name) override {
    if (qobject_cast<QMenu*>(&window) != nullptr) return;
    window.activateWindow();
    if (!QTest::qWaitForWindowActive(&window)) return;
    window.setAttribute(Qt::WA_KeyboardFocusChange);  // as after a Tab key
    for (QWidget* const widget : TabOrder(window)) {
      QWidget* const old = QApplication::focusWidget();
      if (old != nullptr) old->clearFocus();
      const QImage without = window.grab().toImage();
      widget->setFocus(Qt::TabFocusReason);
      QCoreApplication::processEvents();
      if (!widget->hasFocus() || MarksNoFocus(*widget)) continue;
      ++looked;
      if (window.grab().toImage() == without) faults.append(Described(name, *widget));
    }
  }
  int looked = 0;
  QStringList faults;
};

TEST(Access, EveryControlHasANameInEveryLanguage) {
  for (const char* const language : kShippedLanguages) {
    NameReader reader;
    VisitWindows(ShippedLanguage(language), reader);
    EXPECT_GT(reader.names.size(), 200u);
    for (const auto& [control, name] : reader.names) {
      EXPECT_FALSE(name.text.trimmed().isEmpty()) << language << " " << control;
    }
  }
}

TEST(Access, NamesAreInTheUsersLanguage) {
  NameReader english;
  VisitWindows(ShippedLanguage("english"), english);
  NameReader longer;
  VisitWindows({LongerEnglish()}, longer);
  ASSERT_EQ(english.names.size(), longer.names.size());
  std::set<std::string> same;
  for (auto one = english.names.begin(), other = longer.names.begin(); one != english.names.end(); ++one, ++other) {
    ASSERT_EQ(one->first, other->first);
    const QString& name = one->second.text;
    if (!one->second.shown && name == other->second.text) same.insert(one->first + ": " + name.toStdString());
  }
  for (const std::string& control : same) ADD_FAILURE() << control;
}

TEST(Access, TabKeyFollowsTheEye) {
  OrderReader reader;
  VisitWindows(ShippedLanguage("english"), reader);
  EXPECT_EQ(reader.faults.join(u'\n').toStdString(), "");
}

TEST(Access, FocusIsSeenOnEveryPalette) {
  for (const Theme& theme : Themes()) {
    QApplication::setPalette(theme.palette);
    FocusReader reader;
    VisitWindows(ShippedLanguage("english"), reader);
    EXPECT_GT(reader.looked, 150);
    EXPECT_EQ(reader.faults.join(u'\n').toStdString(), "") << theme.name;
  }
  QApplication::setPalette(Themes().front().palette);
}

// The readers find what they are for.
TEST(Access, PlantedFaultsAreFound) {
  QWidget window;
  window.setWindowTitle(QStringLiteral("Window"));
  const auto place = [&](QWidget* widget, const char* name, int top) {
    widget->setObjectName(QLatin1String(name));
    widget->setGeometry(10, top, 100, 30);
  };
  place(new QPushButton(QStringLiteral("Lower"), &window), "lower", 100);
  place(new QLineEdit(&window), "field", 10);
  auto* const link = new QWidget(&window);
  link->setFocusPolicy(Qt::TabFocus);
  link->setAccessibleName(QStringLiteral("Link"));
  place(link, "link", 140);
  place(new QPushButton(QStringLiteral("Middle"), &window), "middle", 60);
  window.show();
  QCoreApplication::processEvents();
  NameReader names;
  names.Visit(window, QStringLiteral("w"));
  EXPECT_TRUE(names.names.find("w field")->second.text.isEmpty());
  EXPECT_FALSE(names.names.find("w link")->second.shown);
  OrderReader order;
  order.Visit(window, QStringLiteral("w"));
  EXPECT_EQ(order.faults.join(u',').toStdString(), "w field after lower,w middle after link");
  FocusReader focus;
  focus.Visit(window, QStringLiteral("w"));
  EXPECT_EQ(focus.faults.join(u',').toStdString(), "w link");
}

}  // namespace
}  // namespace pellora
