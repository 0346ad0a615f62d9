// ListColumns: the columns of a list with a header. The control's widths are shares, and fill the view until the user
// sizes a column; that, and the order in which the user has put the columns, is remembered, as is the column that the
// rows are arranged by. The form names the menu of the header ("headerMenu"), which can restore the original columns.
#pragma once

#include <QObject>
#include <QString>
#include <optional>
#include <string>
#include <vector>

#include "ui/RowArrangement.h"

class QContextMenuEvent;
class QTreeView;

namespace pellora {

class ColumnHeader;
class ListView;
struct BindingContext;

class ListColumns : public QObject {
  Q_OBJECT

 public:
  // Owned by the context's receiver.
  ListColumns(ListView& control, QTreeView& view, BindingContext& context);

  // The control's columns or the room for them have changed.
  void Fit();
  // Draws and remembers what the rows are arranged by.
  void ShowOrder();

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void Divide();
  std::vector<int> Minimums() const;
  std::vector<int> Widths() const;
  void Restore();
  void RestoreOrder();
  void TakeUserWidths();
  void Remember();
  QPoint PlaceOfMenu(const QContextMenuEvent& event) const;
  void OpenMenu(const QPoint& place);
  void MakeOriginal();
  std::string Key(const char* what) const;

  ListView& control_;
  QTreeView& view_;
  ColumnHeader& header_;  // owned by the view
  BindingContext& context_;
  std::optional<ColumnOrder> rememberedOrder_;
  std::vector<int> fitted_;      // widths as last set here
  std::vector<int> userWidths_;  // by column; empty until the user has sized one
  bool moving_ = false;          // columns are being put into an order that is known already
  bool restored_ = false;
  bool menuIsMine_ = false;  // the menu was last opened over this header
};

}  // namespace pellora
