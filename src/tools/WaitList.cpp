#include "tools/WaitList.h"

#include <algorithm>

#include "core/WebAddress.h"
#include "desktop/Directions.h"

namespace pellora {

namespace {

void Fail(Awaited& item, const QString& reason) {
  item.outcome = Awaited::Outcome::Failed;
  item.reason = reason;
}

QString NameOf(const Awaited& item) {
  if (!item.last.name.isEmpty()) return item.last.name;
  return item.last.url.isEmpty() ? QString::fromStdString(WithoutPassword(item.given.toStdString())) : item.last.url;
}

}  // namespace

WaitList::WaitList(const QStringList& given) {
  for (const QString& text : given) {
    const bool again = std::any_of(items_.begin(), items_.end(), [&](const Awaited& i) { return i.given == text; });
    if (again) continue;
    Awaited item;
    item.given = text;
    items_.push_back(item);
  }
}

WaitList::WaitList(const QList<DownloadRow>& rows) {
  for (const DownloadRow& row : rows) {
    Awaited item;
    item.id = row.id;
    item.last = row;
    items_.push_back(item);
  }
  Update(rows);
}

void WaitList::Update(const QList<DownloadRow>& rows) {
  for (Awaited& item : items_) {
    if (item.outcome == Awaited::Outcome::Open) UpdateItem(item, rows);
  }
}

void WaitList::UpdateItem(Awaited& item, const QList<DownloadRow>& rows) {
  bool isIndex = false;
  const int givenIndex = item.given.toInt(&isIndex);
  const auto row = std::find_if(rows.begin(), rows.end(), [&](const DownloadRow& r) {
    if (!item.id.isEmpty()) return r.id == item.id;
    if (isIndex) return r.index == givenIndex;
    return r.id == item.given || (IsNamed(r, item.given) && !IsTaken(r.id));
  });
  if (row == rows.end()) {
    if (!item.id.isEmpty()) Fail(item, "it is no longer in the list");
    return;
  }
  item.id = row->id;
  item.last = *row;
  if (row->state == "finished") item.outcome = Awaited::Outcome::Finished;
  if (row->state == "failed") Fail(item, row->reason.isEmpty() ? QStringLiteral("it failed") : Printable(row->reason));
  if (row->state == "paused") Fail(item, "it is paused");
}

bool WaitList::IsTaken(const QString& id) const {
  return std::any_of(items_.begin(), items_.end(), [&](const Awaited& i) { return i.id == id; });
}

void WaitList::Expire() {
  for (Awaited& item : items_) {
    if (item.outcome == Awaited::Outcome::Open && item.id.isEmpty()) Fail(item, "it is not in the list");
  }
}

void WaitList::GiveUp(const QString& reason) {
  for (Awaited& item : items_) {
    if (item.outcome == Awaited::Outcome::Open) Fail(item, reason);
  }
}

bool WaitList::Done() const {
  return std::none_of(items_.begin(), items_.end(),
                      [](const Awaited& i) { return i.outcome == Awaited::Outcome::Open; });
}

bool WaitList::AllFinished() const {
  return std::all_of(items_.begin(), items_.end(),
                     [](const Awaited& i) { return i.outcome == Awaited::Outcome::Finished; });
}

bool IsNamed(const DownloadRow& row, const QString& idOrUrl) {
  if (row.id == idOrUrl || row.url == idOrUrl) return true;
  return row.url == QString::fromStdString(WithoutPassword(idOrUrl.toStdString()));
}

bool IsUnprintable(QChar character) {
  return character.category() == QChar::Other_Control || character == QChar::LineSeparator ||
         character == QChar::ParagraphSeparator || ChangesDirection(character.unicode());
}

QString Printable(QString text) {
  for (QChar& character : text) {
    if (IsUnprintable(character)) character = QChar::ReplacementCharacter;
  }
  return text;
}

QString ProgressLine(const Awaited& item) {
  const QString name = Printable(NameOf(item));
  if (item.outcome == Awaited::Outcome::Failed) return name + ": not finished, " + item.reason;
  if (item.outcome == Awaited::Outcome::Finished) return name + ": finished, " + Printable(item.last.savedPath);
  if (item.id.isEmpty()) return name + ": waiting to be listed";
  QString line = name + ": " + QString::number(item.last.percent, 'f', 1) + "%, ";
  line += QString::number(item.last.received);
  if (item.last.size > 0) line += " of " + QString::number(item.last.size);
  line += " bytes, " + item.last.state;
  const QString silence = SilenceText(item.last);
  return silence.isEmpty() ? line : line + ", " + silence;
}

QString SilenceText(const DownloadRow& row) {
  constexpr uint kMinReportedSeconds = 10;  // servers often pause for a few seconds
  if (!row.silentSeconds || *row.silentSeconds < kMinReportedSeconds) return {};
  return "no byte for " + QString::number(*row.silentSeconds) + " s";
}

}  // namespace pellora
