// ListRowsModel: the rows of a ListView for Qt's views. It reads the control's rows on demand; a row costs nothing
// until it is drawn, so a list of 32,767 rows is as fast as a short one.
#pragma once

#include <QAbstractTableModel>
#include <QStringList>
#include <cstdint>
#include <set>

namespace pellora {

class ListView;
struct ListRow;

class ListRowsModel : public QAbstractTableModel {
  Q_OBJECT

 public:
  // `list` must live until Detach or the model's end.
  explicit ListRowsModel(ListView& list, QObject* parent = nullptr);

  // Takes over the changes in the control. True if the rows changed as a whole and the view must restore its selection.
  bool Follow();
  void Detach();
  void AlignRight(int column) { rightColumns_.insert(column); }

  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  // A row with a box for a check mark has it in its first column.
  Qt::ItemFlags flags(const QModelIndex& index) const override;
  bool setData(const QModelIndex& index, const QVariant& value, int role) override;
  QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
  // What is dragged out are the files of the rows, as links.
  QStringList mimeTypes() const override;
  QMimeData* mimeData(const QModelIndexList& indexes) const override;
  Qt::DropActions supportedDragActions() const override { return Qt::CopyAction; }

 private:
  const ListRow* RowOf(const QModelIndex& index) const;  // null if it is gone

  ListView* list_;
  QStringList headers_;
  int rows_ = 0;  // as the view knows them; the control may have changed since
  std::uint64_t version_ = 0;
  std::set<int> rightColumns_;
};

}  // namespace pellora
