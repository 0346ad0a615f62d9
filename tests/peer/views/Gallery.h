// Gallery: the program's own windows one after another, with contents as long as they get, in any language. What looks
// at all windows (the pictures, the tests of their looks and names) is a Visitor.
#pragma once

#include <QLocale>
#include <QString>
#include <QWidget>
#include <string>

namespace pellora::testing_views {

class Visitor {
 public:
  Visitor() = default;
  virtual ~Visitor() = default;
  Visitor(const Visitor&) = delete;
  Visitor& operator=(const Visitor&) = delete;
  // A window or an open menu, shown and laid out.
  virtual void Visit(QWidget& widget, const QString& name) = 0;
};

struct GalleryLanguage {
  std::string texts;  // a language file's content
  QLocale locale{QLocale::English, QLocale::UnitedStates};
};

// A language file of the program's, such as "german".
std::string ShippedTexts(const char* language);
GalleryLanguage ShippedLanguage(const char* language);

void VisitWindows(const GalleryLanguage& language, Visitor& visitor);

}  // namespace pellora::testing_views
