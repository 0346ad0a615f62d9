// A window from which a text can be dragged, or only a picture if there is no text:
// drag_source [TEXT or @FILE]
// Prints the drop action at the end of every drag: 1 is a copy, 0 is none.
#include <QApplication>
#include <QDrag>
#include <QFile>
#include <QImage>
#include <QMimeData>
#include <QMouseEvent>
#include <QWidget>
#include <cstdio>

namespace {

// A long text is in a file.
QString TextOf(const QString& argument) {
  if (!argument.startsWith(u'@')) return argument;
  QFile file(argument.mid(1));
  return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

class Source final : public QWidget {
 protected:
  void mouseMoveEvent(QMouseEvent* event) override {
    if (!(event->buttons() & Qt::LeftButton)) return;
    auto* const content = new QMimeData;
    const QStringList arguments = QApplication::arguments();
    if (arguments.size() > 1) {
      content->setText(TextOf(arguments.at(1)));
    } else {
      content->setImageData(QImage(4, 4, QImage::Format_RGB32));
    }
    auto* const drag = new QDrag(this);
    drag->setMimeData(content);
    std::printf("%d\n", static_cast<int>(drag->exec(Qt::CopyAction | Qt::MoveAction | Qt::LinkAction)));
    std::fflush(stdout);
  }
};

}  // namespace

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  Source source;
  source.setWindowTitle(QStringLiteral("drag source"));
  source.setGeometry(900, 700, 120, 120);
  source.show();
  return QApplication::exec();
}
