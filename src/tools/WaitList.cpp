#include "tools/WaitList.h"

#include <algorithm>

namespace pellora {

namespace {

void Fail(Awaited& item, const QString& reason) {
  item.outcome = Awaited::Outcome::Failed;
  item.reason = reason;
}

QString NameOf(const Awaited& item) {
  if (!item.last.name.isEmpty()) return item.last.name;
  return item.last.url.isEmpty() ? item.asked : item.last.url;
}

}  // namespace

WaitList::WaitList(const QStringList& asked) {
  for (const QString& text : asked) {
    const bool again = std::any_of(items_.begin(), items_.end(), [&](const Awaited& i) { return i.asked == text; });
    if (again) continue;
    Awaited item;
    item.asked = text;
    items_.push_back(item);
  }
}

WaitList::WaitList(const QList<DownloadRow>& rows) {
  for (const DownloadRow& row : rows) {
    Awaited item;
    item.index = row.index;
    item.last = row;
    items_.push_back(item);
  }
  Look(rows);
}

void WaitList::Look(const QList<DownloadRow>& rows) {
  for (Awaited& item : items_) {
    if (item.outcome == Awaited::Outcome::Open) LookAt(item, rows);
  }
}

void WaitList::LookAt(Awaited& item, const QList<DownloadRow>& rows) {
  bool isIndex = false;
  const int askedIndex = item.asked.toInt(&isIndex);
  const auto row = std::find_if(rows.begin(), rows.end(), [&](const DownloadRow& r) {
    if (item.index != 0) return r.index == item.index;
    if (isIndex) return r.index == askedIndex;
    return r.url == item.asked && !Taken(r.index);
  });
  if (row == rows.end()) {
    if (item.index != 0) Fail(item, "it is no longer in the list");
    return;
  }
  // A redirect changes the URL before anything is received; a lower count under another URL is another
  // download that has taken the place.
  if (item.index != 0 && row->url != item.last.url && row->received < item.last.received) {
    return Fail(item, "it is no longer in the list");
  }
  item.index = row->index;
  item.last = *row;
  if (row->state == "finished") item.outcome = Awaited::Outcome::Finished;
  if (row->state == "failed") Fail(item, "it failed");
  if (row->state == "paused") Fail(item, "it is paused");
}

bool WaitList::Taken(int index) const {
  return std::any_of(items_.begin(), items_.end(), [&](const Awaited& i) { return i.index == index; });
}

void WaitList::Expire() {
  for (Awaited& item : items_) {
    if (item.outcome == Awaited::Outcome::Open && item.index == 0) Fail(item, "it is not in the list");
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

QString ProgressLine(const Awaited& item) {
  const QString name = NameOf(item);
  if (item.outcome == Awaited::Outcome::Failed) return name + ": not finished, " + item.reason;
  if (item.outcome == Awaited::Outcome::Finished) return name + ": finished, " + item.last.savedPath;
  if (item.index == 0) return name + ": waiting to be listed";
  QString line = name + ": " + QString::number(item.last.percent, 'f', 1) + "%, ";
  line += QString::number(item.last.received);
  if (item.last.size > 0) line += " of " + QString::number(item.last.size);
  return line + " bytes, " + item.last.state;
}

}  // namespace pellora
