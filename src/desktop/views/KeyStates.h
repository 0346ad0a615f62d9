// KeyStates: whether Caps Lock, Num Lock and Insert are on. Qt offers no query; the modifier mask of each key press
// shows it, and before the first press the keyboard's LEDs do if the system exports them.
#pragma once

#include <QObject>
#include <QString>
#include <optional>

namespace pellora {

class KeyStates : public QObject {
  Q_OBJECT

 public:
  explicit KeyStates(QObject* parent);
  // The state of the key named on a panel ("CAPS"); nullopt for another text.
  std::optional<bool> State(const QString& panel) const;

 signals:
  void Changed();

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  bool caps_ = false;
  bool num_ = false;
  bool insert_ = false;
};

}  // namespace pellora
