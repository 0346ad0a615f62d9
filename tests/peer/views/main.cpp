// Runs without a display unless a platform is requested.
#include <gtest/gtest.h>

#include <QApplication>
#include <QTest>
#include <QWidget>

#include "desktop/views/ProgramStyle.h"

namespace {

// A double click leaves its button pressed, which would show in the mouse moves of the next test.
class ReleasedMouse : public testing::EmptyTestEventListener {
  void OnTestStart(const testing::TestInfo&) override {
    QWidget any;
    for (unsigned button = Qt::LeftButton; button <= Qt::MaxMouseButton; button <<= 1) {
      if (QApplication::mouseButtons() & Qt::MouseButton(button)) QTest::mouseRelease(&any, Qt::MouseButton(button));
    }
  }
};

}  // namespace

int main(int argc, char** argv) {
  if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication application(argc, argv);
  QApplication::setQuitOnLastWindowClosed(false);
  QApplication::setStyle(new pellora::ProgramStyle);  // owned by the application
  testing::InitGoogleTest(&argc, argv);
  testing::UnitTest::GetInstance()->listeners().Append(new ReleasedMouse);  // owned by the list
  return RUN_ALL_TESTS();
}
