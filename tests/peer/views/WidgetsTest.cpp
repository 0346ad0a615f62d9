// Widgets of our own, without a window of the program.
#include <gtest/gtest.h>

#include <QApplication>
#include <QCheckBox>
#include <memory>

#include "desktop/views/Widgets.h"

namespace pellora {

namespace {

struct Application : QApplication {
  using QApplication::receivers;
};

int FollowersOfTheFocus() { return (qApp->*(&Application::receivers))(SIGNAL(focusChanged(QWidget*, QWidget*))); }

}  // namespace

// The control in it that has the focus is deleted when it is no PageArea any more.
TEST(PageArea, FollowsNoFocusWhileItGoes) {
  const int others = FollowersOfTheFocus();
  auto area = std::make_unique<PageArea>();
  EXPECT_EQ(FollowersOfTheFocus(), others + 1);
  int atTheEnd = -1;
  QObject::connect(new QCheckBox(area.get()), &QObject::destroyed, qApp, [&] { atTheEnd = FollowersOfTheFocus(); });
  area.reset();
  EXPECT_EQ(atTheEnd, others);
}

}  // namespace pellora
