#include "desktop/views/ListColumns.h"

#include <QAction>
#include <QContextMenuEvent>
#include <QEvent>
#include <QHeaderView>
#include <QMenu>
#include <QStringList>
#include <QTreeView>
#include <QVariant>
#include <algorithm>
#include <set>
#include <utility>

#include "async/EventGate.h"
#include "desktop/views/Bindings.h"
#include "desktop/views/ColumnHeader.h"
#include "desktop/views/ViewMemory.h"
#include "ui/Controls.h"

namespace pellora {

namespace {

constexpr const char* kColumns = "columns";
constexpr const char* kOrder = "order";
constexpr int kWidest = 10'000;

// A column at its place, and its width; 0: as it fits.
struct KeptColumn {
  int column = 0;
  int width = 0;
};

// "2:80 0:200 1:0"; nothing unless it has each of `count` columns once.
std::vector<KeptColumn> Read(const std::string& text, int count) {
  std::vector<KeptColumn> kept;
  std::set<int> seen;
  for (const QString& part : QString::fromStdString(text).split(u' ', Qt::SkipEmptyParts)) {
    bool number = false;
    bool size = false;
    const int column = part.section(u':', 0, 0).toInt(&number);
    const int width = part.section(u':', 1, 1).toInt(&size);
    if (!number || !size || column < 0 || column >= count || width < 0 || width > kWidest) return {};
    if (!seen.insert(column).second) return {};
    kept.push_back({column, width});
  }
  return static_cast<int>(kept.size()) == count ? kept : std::vector<KeptColumn>();
}

// "3", or "3 down".
std::optional<ColumnOrder> ReadOrder(const std::string& text, int count) {
  const QStringList parts = QString::fromStdString(text).split(u' ', Qt::SkipEmptyParts);
  if (parts.isEmpty()) return std::nullopt;
  bool number = false;
  const int column = parts[0].toInt(&number);
  if (!number || column < 0 || column >= count) return std::nullopt;
  return ColumnOrder{column, parts.size() > 1};
}

std::string Written(const std::optional<ColumnOrder>& order) {
  if (!order) return {};
  return std::to_string(order->column) + (order->descending ? " down" : "");
}

}  // namespace

ListColumns::ListColumns(ListView& control, QTreeView& view, BindingContext& context)
    : QObject(context.receiver), control_(control), view_(view), header_(*new ColumnHeader(view)), context_(context) {
  ColumnHeader& header = header_;
  header.setStretchLastSection(true);
  header.setHighlightSections(false);
  header.installEventFilter(this);
  header.viewport()->installEventFilter(this);
  view.viewport()->installEventFilter(this);
  connect(&header, &QHeaderView::sectionMoved, this, [this] {
    if (!moving_) Remember();
  });
  connect(&header, &ColumnHeader::SizedByKey, this, &ListColumns::TakeUserWidths);
  if (control.OnColumnClick) {
    header.setSectionsClickable(true);
    connect(&header, &QHeaderView::sectionClicked, this, [&control](int column) { control.ClickColumn(column); });
  }
  if (auto* const original = view.window()->findChild<QAction*>(view.property("originalColumns").toString())) {
    connect(original, &QAction::triggered, this, [this] {
      if (menuIsMine_) MakeOriginal();
    });
  }
  RestoreOrder();
}

std::string ListColumns::Key(const char* what) const {
  return control_.Owner().TypeName + "." + control_.Name + "." + what;
}

bool ListColumns::eventFilter(QObject* watched, QEvent* event) {
  switch (event->type()) {
    case QEvent::Resize:
      if (watched == view_.viewport()) Fit();
      return false;
    case QEvent::MouseButtonRelease:
    case QEvent::MouseButtonDblClick:
      // Once the header has handled it.
      if (watched != view_.viewport()) {
        QMetaObject::invokeMethod(this, &ListColumns::TakeUserWidths, Qt::QueuedConnection);
      }
      return false;
    case QEvent::ContextMenu:
      if (watched == view_.viewport()) return false;
      OpenMenu(PlaceOfMenu(*static_cast<QContextMenuEvent*>(event)));
      return true;
    default:
      return false;
  }
}

void ListColumns::Fit() {
  const auto count = static_cast<std::size_t>(header_.count());
  if (count == 0 || view_.viewport()->width() <= 0) return;
  if (!std::exchange(restored_, true)) Restore();
  if (userWidths_.size() == count) {
    for (std::size_t at = 0; at < count; ++at) header_.resizeSection(static_cast<int>(at), userWidths_[at]);
  } else {
    Divide();
  }
  fitted_ = Widths();
}

std::vector<int> ListColumns::Minimums() const {
  const QStringList samples = view_.property("columnSamples").toStringList();
  std::vector<int> minimums;
  for (int at = 0; at < header_.count(); ++at) {
    const QString sample = at < samples.size() ? samples[at] : QString();
    minimums.push_back(std::max(header_.sectionSizeHint(at), view_.fontMetrics().horizontalAdvance(sample) + 14));
  }
  return minimums;
}

// By the control's shares; none becomes narrower than its heading or its sample text.
void ListColumns::Divide() {
  ColumnHeader& header = header_;
  const auto& columns = control_.Columns();
  const int count = std::min(header.count(), static_cast<int>(columns.size()));
  const std::vector<int> minimums = Minimums();
  std::vector<double> shares;
  double allShares = 0;
  int room = view_.viewport()->width();
  for (int at = 0; at < count; ++at) {
    shares.push_back(std::max(columns[static_cast<std::size_t>(at)].width, 0.0));
    allShares += shares.back();
  }
  if (allShares <= 0) {
    std::fill(shares.begin(), shares.end(), 1.0);
    allShares = count;
  }
  // Columns whose share is too small get their minimum width; the others divide the rest.
  std::vector<int> widths(static_cast<std::size_t>(count), 0);
  for (bool again = true; again;) {
    again = false;
    for (std::size_t at = 0; at < widths.size(); ++at) {
      // Rounding may leave nothing, or less, of the shares.
      const bool fits = allShares > 0 && shares[at] * room >= minimums[at] * allShares;
      if (widths[at] != 0 || fits) continue;
      widths[at] = minimums[at];
      room -= minimums[at];
      allShares -= shares[at];
      again = true;
    }
  }
  int used = 0;
  int widest = -1;
  for (std::size_t at = 0; at < widths.size(); ++at) {
    if (widths[at] == 0) {
      widths[at] = static_cast<int>(shares[at] * room / allShares);
      widest = widest < 0 ? static_cast<int>(at) : widest;
      used += widths[at];
    }
  }
  if (widest >= 0 && room > used) widths[static_cast<std::size_t>(widest)] += room - used;
  for (int at = 0; at < count; ++at) header.resizeSection(at, widths[static_cast<std::size_t>(at)]);
}

std::vector<int> ListColumns::Widths() const {
  std::vector<int> widths;
  for (int at = 0; at < header_.count(); ++at) widths.push_back(header_.sectionSize(at));
  return widths;
}

void ListColumns::Restore() {
  if (context_.memory == nullptr) return;
  ColumnHeader& header = header_;
  const std::vector<KeptColumn> kept = Read(context_.memory->Get(Key(kColumns)).value_or(""), header.count());
  if (kept.empty()) return;
  moving_ = true;
  for (int place = 0; place < header.count(); ++place) {
    header.moveSection(header.visualIndex(kept[static_cast<std::size_t>(place)].column), place);
  }
  moving_ = false;
  if (std::any_of(kept.begin(), kept.end(), [](const KeptColumn& one) { return one.width == 0; })) return;
  userWidths_.assign(kept.size(), 0);
  for (const KeptColumn& one : kept) userWidths_[static_cast<std::size_t>(one.column)] = one.width;
}

void ListColumns::RestoreOrder() {
  if (context_.memory == nullptr || !control_.OnColumnClick) return;
  const auto columns = static_cast<int>(control_.Columns().size());
  rememberedOrder_ = ReadOrder(context_.memory->Get(Key(kOrder)).value_or(""), columns);
  if (rememberedOrder_) control_.ArrangeBy(rememberedOrder_);
}

void ListColumns::ShowOrder() {
  if (!control_.OnColumnClick) return;
  ColumnHeader& header = header_;
  const std::optional<ColumnOrder>& order = control_.Arrangement().Order();
  if (order != rememberedOrder_) {
    rememberedOrder_ = order;
    if (context_.memory != nullptr) context_.memory->Set(Key(kOrder), Written(order));
  }
  header.setSortIndicatorShown(order.has_value() || control_.Sorted());
  if (order) {
    header.setSortIndicator(order->column, order->descending ? Qt::DescendingOrder : Qt::AscendingOrder);
  } else if (control_.Sorted()) {
    header.setSortIndicator(control_.SortKey(), control_.SortsDescending() ? Qt::DescendingOrder : Qt::AscendingOrder);
  }
  header.FollowOrder();
}

// The last column has the room that the others leave.
void ListColumns::TakeUserWidths() {
  std::vector<int> widths = Widths();
  if (widths.size() != fitted_.size()) return;
  const int last = header_.logicalIndex(header_.count() - 1);
  bool sized = false;
  for (std::size_t at = 0; at < widths.size(); ++at) {
    sized = sized || (static_cast<int>(at) != last && widths[at] != fitted_[at]);
  }
  if (!sized) return;
  fitted_ = widths;
  userWidths_ = std::move(widths);
  Remember();
}

void ListColumns::Remember() {
  if (context_.memory == nullptr) return;
  const ColumnHeader& header = header_;
  QStringList parts;
  for (int place = 0; place < header.count(); ++place) {
    const int column = header.logicalIndex(place);
    const int width = userWidths_.empty() ? 0 : userWidths_[static_cast<std::size_t>(column)];
    parts.append(QStringLiteral("%1:%2").arg(column).arg(width));
  }
  context_.memory->Set(Key(kColumns), parts.join(u' ').toStdString());
}

// The menu key opens it below the heading that is chosen.
QPoint ListColumns::PlaceOfMenu(const QContextMenuEvent& event) const {
  if (event.reason() != QContextMenuEvent::Keyboard) return event.globalPos();
  const QRect heading = header_.PlaceOf(header_.Chosen()) & header_.viewport()->rect();
  return header_.viewport()->mapToGlobal(heading.bottomLeft());
}

void ListColumns::OpenMenu(const QPoint& place) {
  auto* const menu = view_.window()->findChild<QMenu*>(view_.property("headerMenu").toString());
  if (menu == nullptr) return;
  for (ListColumns* const other : context_.receiver->findChildren<ListColumns*>()) other->menuIsMine_ = other == this;
  menu->popup(place);
}

void ListColumns::MakeOriginal() {
  ColumnHeader& header = header_;
  moving_ = true;
  for (int at = 0; at < header.count(); ++at) header.moveSection(header.visualIndex(at), at);
  moving_ = false;
  userWidths_.clear();
  Fit();
  if (context_.memory != nullptr) context_.memory->Set(Key(kColumns), "");
  context_.gate.Deliver([this] { control_.ArrangeBy(std::nullopt); });
}

}  // namespace pellora
