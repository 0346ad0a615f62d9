#include "desktop/views/KeyStates.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QKeyEvent>

namespace pellora {

namespace {

// X and Wayland keyboards have Lock at bit 1 and, in all common layouts, Num Lock at Mod2.
constexpr quint32 kLockMask = 0x02;
constexpr quint32 kNumMask = 0x10;

bool LedIsOn(const QString& name) {
  const QDir folder(QStringLiteral("/sys/class/leds"));
  for (const QString& lamp : folder.entryList({QStringLiteral("*::") + name}, QDir::Dirs | QDir::NoDotAndDotDot)) {
    QFile brightness(folder.filePath(lamp) + QStringLiteral("/brightness"));
    if (brightness.open(QIODevice::ReadOnly) && brightness.readAll().trimmed() != "0") return true;
  }
  return false;
}

}  // namespace

KeyStates::KeyStates(QObject* parent)
    : QObject(parent), caps_(LedIsOn(QStringLiteral("capslock"))), num_(LedIsOn(QStringLiteral("numlock"))) {
  QCoreApplication::instance()->installEventFilter(this);
}

std::optional<bool> KeyStates::State(const QString& panel) const {
  if (panel == QLatin1String("CAPS")) return caps_;
  if (panel == QLatin1String("NUM")) return num_;
  if (panel == QLatin1String("INS")) return insert_;
  return std::nullopt;
}

bool KeyStates::eventFilter(QObject* watched, QEvent* event) {
  // A key press reaches the window first and then its widgets; count it once, at the window.
  if (event->type() != QEvent::KeyPress || !watched->isWindowType()) return false;
  const auto* key = static_cast<QKeyEvent*>(event);
  if (key->isAutoRepeat()) return false;
  const quint32 mask = key->nativeModifiers();
  // The mask shows the state before this key.
  const bool caps = ((mask & kLockMask) != 0) != (key->key() == Qt::Key_CapsLock);
  const bool num = ((mask & kNumMask) != 0) != (key->key() == Qt::Key_NumLock);
  const bool insert = insert_ != (key->key() == Qt::Key_Insert && key->modifiers() == Qt::NoModifier);
  if (caps == caps_ && num == num_ && insert == insert_) return false;
  caps_ = caps;
  num_ = num;
  insert_ = insert;
  emit Changed();
  return false;
}

}  // namespace pellora
