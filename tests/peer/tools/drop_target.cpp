// A window onto which files can be dropped. Prints the links of each drop, one a line, and then the action that the
// drag offered: 1 is a copy.
#include <QApplication>
#include <QDropEvent>
#include <QMimeData>
#include <QWidget>
#include <cstdio>

namespace {

class Target final : public QWidget {
 public:
  Target() { setAcceptDrops(true); }

 protected:
  void dragEnterEvent(QDragEnterEvent* event) override { event->acceptProposedAction(); }
  void dropEvent(QDropEvent* event) override {
    std::printf("%s%d\n", event->mimeData()->data(QStringLiteral("text/uri-list")).constData(),
                static_cast<int>(event->proposedAction()));
    std::fflush(stdout);
    event->acceptProposedAction();
  }
};

}  // namespace

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  Target target;
  target.setWindowTitle(QStringLiteral("drop target"));
  target.setGeometry(950, 750, 200, 150);
  target.show();
  return QApplication::exec();
}
