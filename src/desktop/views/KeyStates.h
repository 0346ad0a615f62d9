// KeyStates: whether Caps Lock, Num Lock and Insert are on. Qt does not tell; the modifier mask of each
// key press does, and before the first press the keyboard's lamps do where the system shows them.
#pragma once

#include <QObject>
#include <QString>
#include <optional>

namespace pellora {

class KeyStates : public QObject {
  Q_OBJECT

 public:
  explicit KeyStates(QObject* parent);
  // The state of the key that a panel with that text stands for ("CAPS"), or nothing for another text.
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
