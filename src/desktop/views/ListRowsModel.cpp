#include "desktop/views/ListRowsModel.h"

#include <algorithm>

#include "desktop/DisplayText.h"
#include "desktop/views/Icons.h"
#include "ui/Controls.h"

namespace pellora {

namespace {

QStringList Captions(const ListView& list) {
  QStringList captions;
  for (const ControlPart& column : list.Columns()) captions.append(DisplayLine(column.caption));
  return captions;
}

}  // namespace

ListRowsModel::ListRowsModel(ListView& list, QObject* parent)
    : QAbstractTableModel(parent),
      list_(&list),
      headers_(Captions(list)),
      rows_(static_cast<int>(list.RowCount())),
      version_(list.RowsVersion()) {
  list.ChangesSeen();
}

bool ListRowsModel::Follow() {
  if (list_ == nullptr) return false;
  const QStringList captions = Captions(*list_);
  const bool otherColumns = captions.size() != headers_.size();
  if (captions != headers_ && !otherColumns) {
    headers_ = captions;
    emit headerDataChanged(Qt::Horizontal, 0, static_cast<int>(headers_.size()) - 1);
  }
  const auto rows = static_cast<int>(list_->RowCount());
  const auto lastColumn = static_cast<int>(captions.size()) - 1;
  if (rows != rows_ || otherColumns) {
    beginResetModel();
    headers_ = captions;
    rows_ = rows;
    version_ = list_->RowsVersion();
    list_->ChangesSeen();
    endResetModel();
    return true;
  }
  if (version_ != list_->RowsVersion()) {
    // The number of rows is the same: the view keeps its scroll position.
    version_ = list_->RowsVersion();
    list_->ChangesSeen();
    if (rows_ > 0) emit dataChanged(index(0, 0), index(rows_ - 1, lastColumn));
    return true;
  }
  const std::vector<std::size_t> changed = list_->ChangedRows();
  list_->ChangesSeen();
  for (const std::size_t at : changed) {
    const auto row = static_cast<int>(at);
    if (row < rows_) emit dataChanged(index(row, 0), index(row, lastColumn));
  }
  return false;
}

void ListRowsModel::Detach() {
  beginResetModel();
  list_ = nullptr;
  rows_ = 0;
  endResetModel();
}

int ListRowsModel::rowCount(const QModelIndex& parent) const { return parent.isValid() ? 0 : rows_; }

int ListRowsModel::columnCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(headers_.size());
}

QVariant ListRowsModel::data(const QModelIndex& index, int role) const {
  if (list_ == nullptr || !index.isValid()) return {};
  const auto at = static_cast<std::size_t>(index.row());
  if (at >= list_->RowCount()) return {};
  const ListRow& row = list_->RowAt(at);
  const auto column = static_cast<std::size_t>(index.column());
  switch (role) {
    case Qt::DisplayRole:
    case Qt::AccessibleTextRole:
      if (column == 0) return DisplayLine(row.text);
      return column <= row.subItems.size() ? DisplayLine(row.subItems[column - 1]) : QString();
    case Qt::TextAlignmentRole:
      return rightColumns_.contains(index.column()) ? QVariant(Qt::AlignRight | Qt::AlignVCenter) : QVariant();
    case Qt::ToolTipRole:
      if (!row.toolTip.empty()) return PlainTip(DisplayLine(row.toolTip));
      // The icon displays cut long names.
      return list_->View() == kReportDisplay ? QVariant() : QVariant(PlainTip(DisplayLine(row.text)));
    case Qt::CheckStateRole:
      if (column != 0 || !row.checked) return {};
      return *row.checked ? Qt::Checked : Qt::Unchecked;
    case Qt::DecorationRole:
      return column == 0 ? QVariant(RowIcon(row.icon)) : QVariant();
    default:
      return {};
  }
}

Qt::ItemFlags ListRowsModel::flags(const QModelIndex& index) const {
  const Qt::ItemFlags usual = QAbstractTableModel::flags(index);
  return data(index, Qt::CheckStateRole).isValid() ? usual | Qt::ItemIsUserCheckable : usual;
}

bool ListRowsModel::setData(const QModelIndex& index, const QVariant& value, int role) {
  if (list_ == nullptr || role != Qt::CheckStateRole || !index.isValid()) return false;
  list_->CheckByUser(static_cast<std::size_t>(index.row()), value.toInt() == Qt::Checked);
  return true;
}

QVariant ListRowsModel::headerData(int section, Qt::Orientation orientation, int role) const {
  if (orientation != Qt::Horizontal || section < 0 || section >= headers_.size()) return {};
  if (role == Qt::DisplayRole) {
    return rightColumns_.contains(section) ? QString(headers_[section] + QStringLiteral("  ")) : headers_[section];
  }
  if (role == Qt::TextAlignmentRole) {
    const Qt::Alignment side = rightColumns_.contains(section) ? Qt::AlignRight : Qt::AlignLeft;
    return (side | Qt::AlignVCenter).toInt();
  }
  return {};
}

}  // namespace pellora
