#include "desktop/views/Icons.h"

#include <QFile>
#include <QHash>
#include <QLatin1String>
#include <QMimeDatabase>
#include <QMimeType>
#include <algorithm>
#include <array>
#include <utility>

#include "desktop/DisplayText.h"

// The drawings are in a static library; this makes the linker include them. (The macro must be used outside any
// namespace.)
static void LinkDrawings() { Q_INIT_RESOURCE(assets); }

namespace pellora {

namespace {

struct ToolDrawing {
  const char* key;
  const char* drawing;
};

constexpr std::array<ToolDrawing, 9> kToolDrawings = {{{"AddURL", "add"},
                                                       {"RemoveURL", "delete"},
                                                       {"ResetList", "reset"},
                                                       {"Options", "options"},
                                                       {"PauseDownload", "pause"},
                                                       {"PauseAll", "pause-all"},
                                                       {"ResumeDownloads", "resume-all"},
                                                       {"Quit", "quit"},
                                                       {"Browser", "browser"}}};

// The drawing for types that are neither picture, sound, film nor package, by what one would open them with.
QString DrawingOfText(const QMimeType& type) {
  const QString generic = type.genericIconName();
  const QString name = type.name();
  if (generic == QLatin1String("x-office-document") || generic == QLatin1String("x-office-spreadsheet") ||
      generic == QLatin1String("x-office-presentation") || name == QLatin1String("application/pdf")) {
    return QStringLiteral("file-document");
  }
  if (generic == QLatin1String("application-x-executable") || name.contains(QLatin1String("executable")) ||
      name.contains(QLatin1String("sharedlib")) || name.contains(QLatin1String("msdownload")) ||
      name.contains(QLatin1String("ms-dos"))) {
    return QStringLiteral("file-program");
  }
  constexpr std::array<const char*, 5> kProse = {"text/x-log", "text/x-readme", "text/x-changelog", "text/x-install",
                                                 "text/x-copying"};
  if (std::any_of(kProse.begin(), kProse.end(), [&](const char* prose) { return name == QLatin1String(prose); })) {
    return QStringLiteral("file");
  }
  if (generic == QLatin1String("text-x-script") || name.startsWith(QLatin1String("text/x-")) ||
      name.contains(QLatin1String("script")) || name.contains(QLatin1String("json")) ||
      name.contains(QLatin1String("xml")) || name == QLatin1String("text/html") || name == QLatin1String("text/css")) {
    return QStringLiteral("file-code");
  }
  return QStringLiteral("file");
}

// Without a desktop's theme there is only the one of applications, in all folders of which each icon would be looked
// for in vain.
bool ThemeHasFileTypes() { return !QIcon::themeName().isEmpty() && QIcon::themeName() != QLatin1String("hicolor"); }

}  // namespace

QIcon Drawing(const QString& name) {
  static QHash<QString, QIcon> known;
  static const bool linked = (LinkDrawings(), true);
  const auto at = known.constFind(name);
  if (!linked || at != known.constEnd()) return at == known.constEnd() ? QIcon() : *at;
  const QString path = QStringLiteral(":/icons/") + name + QStringLiteral(".svg");
  QIcon icon = !name.isEmpty() && QFile::exists(path) ? QIcon(path) : QIcon();
  // Only drawings are cached: a row's key may be any file name.
  if (!icon.isNull()) known.insert(name, icon);
  return icon;
}

QIcon ToolIcon(const std::string& key) {
  for (const ToolDrawing& entry : kToolDrawings) {
    if (key == entry.key) return Drawing(QLatin1String(entry.drawing));
  }
  return {};
}

QIcon FileTypeIcon(const QString& fileName) {
  // Cached by extension: a list of finished files has many names and few types.
  static QHash<QString, QIcon> known;
  const qsizetype dot = fileName.lastIndexOf(u'.');
  const QString extension = dot < 0 || fileName.size() - dot > 16 ? QString() : fileName.mid(dot).toLower();
  const auto at = known.constFind(extension);
  if (at != known.constEnd()) return *at;
  const QMimeType type =
      QMimeDatabase().mimeTypeForFile(QStringLiteral("file") + extension, QMimeDatabase::MatchExtension);
  QIcon icon;
  if (ThemeHasFileTypes()) {
    icon = QIcon::fromTheme(type.iconName());
    if (icon.isNull()) icon = QIcon::fromTheme(type.genericIconName());
  }
  if (icon.isNull()) {
    const QString kind = type.name();
    const QString drawing = kind.startsWith(QLatin1String("image/"))   ? QStringLiteral("file-image")
                            : kind.startsWith(QLatin1String("audio/")) ? QStringLiteral("file-sound")
                            : kind.startsWith(QLatin1String("video/")) ? QStringLiteral("file-film")
                            : type.genericIconName() == QLatin1String("package-x-generic") ||
                                    kind.contains(QLatin1String("zip")) || kind.contains(QLatin1String("compressed"))
                                ? QStringLiteral("file-package")
                                : DrawingOfText(type);
    icon = Drawing(drawing);
  }
  if (known.size() < 1000) known.insert(extension, icon);
  return icon;
}

QIcon RowIcon(const std::string& key) {
  if (key.empty()) return {};
  const QString name = WholeText(key);
  const QLatin1String fileType("file:");
  if (name.startsWith(fileType)) return FileTypeIcon(u'.' + name.mid(fileType.size()));
  const QIcon drawing = Drawing(name);
  return drawing.isNull() ? FileTypeIcon(name) : drawing;
}

}  // namespace pellora
