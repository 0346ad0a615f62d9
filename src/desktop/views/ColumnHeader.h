// ColumnHeader: the headings of a list, which the keyboard can use as well as the mouse. The Tab key reaches them after
// the list. Left, Right, Home and End choose a column; Space or Enter is a click on its heading, Alt with Left or Right
// sizes it, Ctrl with Left or Right moves it, and Down returns to the list.
#pragma once

#include <QAccessible>
#include <QHeaderView>
#include <QRect>
#include <QString>

class QTreeView;

namespace pellora {

class ColumnHeader : public QHeaderView {
  Q_OBJECT

 public:
  // Becomes the view's header, which owns it.
  explicit ColumnHeader(QTreeView& view);

  // The column that the keys act on; -1: there is none.
  int Chosen() const;
  void Choose(int column);
  // As a click on its heading does; false if the list does not handle clicks.
  bool Press(int column);
  QString HeadingOf(int column) const;
  QRect PlaceOf(int column) const;  // in the header
  // How the list is sorted by this column, in the words of the form's labels; empty if it is not.
  QString OrderBy(int column) const;
  // The list was sorted, maybe otherwise: assistive technology is notified.
  void FollowOrder();

 signals:
  void SizedByKey();

 protected:
  void keyPressEvent(QKeyEvent* event) override;
  void focusInEvent(QFocusEvent* event) override;
  void paintSection(QPainter* painter, const QRect& place, int column) const override;

 private:
  bool UseKey(int key, Qt::KeyboardModifiers modifiers);
  bool UseArrow(int step, Qt::KeyboardModifiers modifiers);
  void ChooseAt(int place);
  void Size(int step);
  void Move(int step);
  void ScrollToChosen();
  void Notify(QAccessible::Event what);

  QTreeView& view_;
  int chosen_ = -1;
  QString order_;  // as last notified
};

}  // namespace pellora
