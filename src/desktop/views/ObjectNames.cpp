#include "desktop/views/ObjectNames.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace pellora {

namespace {

constexpr std::array<std::string_view, 12> kKeywords = {"delete", "new",   "default",  "switch", "case", "public",
                                                        "class",  "break", "continue", "for",    "if",   "do"};

}  // namespace

QString ObjectName(const std::string& controlName) {
  if (std::find(kKeywords.begin(), kKeywords.end(), controlName) != kKeywords.end()) {
    return QStringLiteral("menu_") + QString::fromStdString(controlName);
  }
  // The form's class has the window's name, and no member may be named like its class.
  if (controlName == "Extract") return QStringLiteral("label_Extract");
  QString name = QString::fromStdString(controlName);
  name.replace(u'(', u'_').remove(u')');
  return name;
}

}  // namespace pellora
