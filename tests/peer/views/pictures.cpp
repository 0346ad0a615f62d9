// Draws every window with sample contents and writes the pictures to a folder: light and dark in two languages, and
// with high contrast in one; all of them in a language that is written from right to left, too.
//   views_pictures FOLDER [NAME...]     only windows whose names begin so
#include <QApplication>
#include <QDir>
#include <QPixmap>
#include <QString>
#include <QStringList>
#include <QStyleFactory>
#include <algorithm>
#include <cstdio>
#include <utility>

#include "Gallery.h"
#include "LongTexts.h"
#include "Themes.h"
#include "desktop/views/ProgramStyle.h"

namespace {

using namespace pellora::testing_views;

// Saves windows under their names, the language's and the theme's, such as "add-german-dark.png".
class Painter final : public Visitor {
 public:
  Painter(QString folder, QStringList wanted, QString language, QString theme)
      : folder_(std::move(folder)),
        wanted_(std::move(wanted)),
        language_(std::move(language)),
        theme_(std::move(theme)) {}

  void Visit(QWidget& widget, const QString& name) override {
    const auto begins = [&](const QString& start) { return name.startsWith(start); };
    if (!wanted_.isEmpty() && std::none_of(wanted_.begin(), wanted_.end(), begins)) return;
    const QString path = QStringLiteral("%1/%2-%3-%4.png").arg(folder_, name, language_, theme_);
    if (!widget.grab().save(path)) failed = true;
    std::printf("%s %dx%d\n", qPrintable(path), widget.width(), widget.height());
  }

  bool failed = false;

 private:
  QString folder_;
  QStringList wanted_;
  QString language_;
  QString theme_;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1 && argv[1][0] == '-') {
    std::fputs("Usage: views_pictures FOLDER [NAME...]\n", stderr);
    return 2;
  }
  if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication application(argc, argv);
  QApplication::setQuitOnLastWindowClosed(false);
  QApplication::setStyle(new pellora::ProgramStyle(QStyleFactory::create(QStringLiteral("Fusion"))));
  QStringList wanted = QApplication::arguments().mid(1);
  const QString folder = wanted.isEmpty() ? QStringLiteral(".") : wanted.takeFirst();
  QDir().mkpath(folder);
  bool failed = false;
  for (const Theme& theme : Themes()) {
    QApplication::setPalette(theme.palette);
    for (const char* const language : {"english", "german"}) {
      const bool usual =
          QLatin1String(theme.name) == QLatin1String("light") || QLatin1String(theme.name) == QLatin1String("dark");
      if (!usual && QLatin1String(language) != QLatin1String("english")) continue;
      Painter painter(folder, wanted, QLatin1String(language), QLatin1String(theme.name));
      VisitWindows(ShippedLanguage(language), painter);
      failed = failed || painter.failed;
    }
    Painter painter(folder, wanted, QStringLiteral("hebrew"), QLatin1String(theme.name));
    VisitWindows({HebrewLetters()}, painter);
    failed = failed || painter.failed;
  }
  return failed ? 1 : 0;
}
