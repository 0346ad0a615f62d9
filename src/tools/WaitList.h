// WaitList: follows the awaited downloads from one snapshot of the program's list to the next.
//
// A download is found by id, index or URL and from then on followed by its id: a redirect changes the URL, and another
// download may take the index. One that is not listed yet is awaited until Expire is called. The result depends only on
// the snapshots.
#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <vector>

#include "desktop/BusTypes.h"

namespace pellora {

struct Awaited {
  enum class Outcome { Open, Finished, Failed };
  QString given;  // an id, an index or a URL; empty for a download of a list awaited as a whole
  QString id;     // empty until found
  DownloadRow last;
  Outcome outcome = Outcome::Open;
  QString reason;  // why it failed
};

class WaitList {
 public:
  // Waits for each of `given`.
  explicit WaitList(const QStringList& given);
  // Waits for everything in the list.
  explicit WaitList(const QList<DownloadRow>& rows);

  void Update(const QList<DownloadRow>& rows);
  // Fails what has not been found in the list so far.
  void Expire();
  // Fails everything that has not ended.
  void GiveUp(const QString& reason);

  bool Done() const;
  bool AllFinished() const;
  const std::vector<Awaited>& Items() const { return items_; }

 private:
  void UpdateItem(Awaited& item, const QList<DownloadRow>& rows);
  bool IsTaken(const QString& id) const;

  std::vector<Awaited> items_;
};

// True if the download has this id, or was added as this URL: the list has those of the web engine without passwords.
bool IsNamed(const DownloadRow& row, const QString& idOrUrl);

// What a terminal takes for orders, line ends, and what changes the writing direction.
bool IsUnprintable(QChar character);

// In one line, and without any of these: names and addresses come from servers.
QString Printable(QString text);

// "name: 42.0%, 420000 of 1000000 bytes, active"; a finished download shows its saved path.
QString ProgressLine(const Awaited& item);

// "no byte for 42 s" for a download that has been silent for long, otherwise empty.
QString SilenceText(const DownloadRow& row);

}  // namespace pellora
