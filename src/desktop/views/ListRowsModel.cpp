#include "desktop/views/ListRowsModel.h"

#include <QMimeData>
#include <algorithm>
#include <optional>
#include <string>

#include "desktop/DisplayText.h"
#include "desktop/views/Icons.h"
#include "ui/Controls.h"

namespace pellora {

namespace {

constexpr QLatin1String kLinkList("text/uri-list");

QStringList Captions(const ListView& list) {
  QStringList captions;
  for (const ControlPart& column : list.Columns()) captions.append(DisplayLine(column.caption));
  return captions;
}

QString TextIn(const ListRow& row, std::size_t column) {
  if (column == 0) return DisplayLine(row.text);
  return column <= row.subItems.size() ? DisplayLine(row.subItems[column - 1]) : QString();
}

}  // namespace

ListRowsModel::ListRowsModel(ListView& list, QObject* parent)
    : QAbstractTableModel(parent),
      list_(&list),
      headers_(Captions(list)),
      rows_(static_cast<int>(list.ShownCount())),
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
  const auto rows = static_cast<int>(list_->ShownCount());
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
    const std::optional<std::size_t> place = list_->PlaceOf(at);
    const auto row = static_cast<int>(place.value_or(0));
    if (place && row < rows_) emit dataChanged(index(row, 0), index(row, lastColumn));
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

const ListRow* ListRowsModel::RowOf(const QModelIndex& index) const {
  if (list_ == nullptr || !index.isValid()) return nullptr;
  const auto place = static_cast<std::size_t>(index.row());
  return place < list_->ShownCount() ? &list_->RowAt(list_->NumberAt(place)) : nullptr;
}

QVariant ListRowsModel::data(const QModelIndex& index, int role) const {
  const ListRow* const found = RowOf(index);
  if (found == nullptr) return {};
  const ListRow& row = *found;
  const auto column = static_cast<std::size_t>(index.column());
  switch (role) {
    case Qt::DisplayRole:
      return Isolated(TextIn(row, column));
    case Qt::AccessibleTextRole:
      return TextIn(row, column);
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
  Qt::ItemFlags usual = QAbstractTableModel::flags(index);
  if (list_ != nullptr && list_->FileOf) usual |= Qt::ItemIsDragEnabled;
  return data(index, Qt::CheckStateRole).isValid() ? usual | Qt::ItemIsUserCheckable : usual;
}

bool ListRowsModel::setData(const QModelIndex& index, const QVariant& value, int role) {
  if (list_ == nullptr || role != Qt::CheckStateRole || !index.isValid()) return false;
  const auto place = static_cast<std::size_t>(index.row());
  if (place >= list_->ShownCount()) return false;
  list_->CheckByUser(list_->NumberAt(place), value.toInt() == Qt::Checked);
  return true;
}

QStringList ListRowsModel::mimeTypes() const { return {kLinkList}; }

// Paths are bytes, which need not be UTF-8.
QMimeData* ListRowsModel::mimeData(const QModelIndexList& indexes) const {
  if (list_ == nullptr || !list_->FileOf) return nullptr;
  QByteArray links;
  for (const QModelIndex& index : indexes) {
    const ListRow* const row = index.column() == 0 ? RowOf(index) : nullptr;
    const std::string path = row != nullptr ? list_->FileOf(*row) : std::string();
    if (path.empty()) continue;
    links += "file://" + QByteArray::fromStdString(path).toPercentEncoding("/") + "\r\n";
  }
  if (links.isEmpty()) return nullptr;
  auto* const data = new QMimeData;
  data->setData(kLinkList, links);
  return data;
}

QVariant ListRowsModel::headerData(int section, Qt::Orientation orientation, int role) const {
  if (orientation != Qt::Horizontal || section < 0 || section >= headers_.size()) return {};
  if (role == Qt::DisplayRole) {
    const QString shown = Isolated(headers_[section]);  // one of them is a path
    return rightColumns_.contains(section) ? QString(shown + QStringLiteral("  ")) : shown;
  }
  if (role == Qt::AccessibleTextRole) return headers_[section];
  if (role == Qt::TextAlignmentRole) {
    const Qt::Alignment side = rightColumns_.contains(section) ? Qt::AlignRight : Qt::AlignLeft;
    return (side | Qt::AlignVCenter).toInt();
  }
  return {};
}

}  // namespace pellora
