#include "desktop/ScaleVariables.h"

#include <QByteArray>
#include <QByteArrayList>
#include <QtGlobal>
#include <algorithm>
#include <array>
#include <cstdio>

namespace pellora {

namespace {

struct ScaleVariable {
  const char* name;
  double least;
  double most;
};
constexpr std::array<ScaleVariable, 3> kScales{
    {{"QT_SCALE_FACTOR", 0.5, 8}, {"QT_SCREEN_SCALE_FACTORS", 0.5, 8}, {"QT_FONT_DPI", 0, 768}}};

// One number, or "screen=number" of several screens.
bool IsUseless(const QByteArray& value, const ScaleVariable& variable) {
  const QByteArrayList scales = value.split(';');
  return std::any_of(scales.begin(), scales.end(), [&](const QByteArray& each) {
    bool isNumber = false;
    const double scale = each.mid(each.indexOf('=') + 1).toDouble(&isNumber);
    return isNumber && !(scale >= variable.least && scale <= variable.most);  // NaN neither
  });
}

}  // namespace

void DropUselessScales() {
  for (const ScaleVariable& variable : kScales) {
    const QByteArray value = qgetenv(variable.name);
    if (value.isEmpty() || !IsUseless(value, variable)) continue;
    std::fprintf(stderr, "Pellora: ignores %s=%.100s\n", variable.name, value.constData());
    qunsetenv(variable.name);
  }
}

}  // namespace pellora
