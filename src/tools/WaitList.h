// WaitList: decides from one look at the program's list after another how the awaited downloads stand.
//
// A download is found by id, index or URL and from then on followed by its id: a redirect changes the URL, and another
// download may take the index. One that is not listed yet is waited for until Expire says that it had its time. A pure
// function of the lists it is shown.
#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <vector>

#include "desktop/BusTypes.h"

namespace pellora {

struct Awaited {
  enum class Outcome { Open, Finished, Failed };
  QString asked;  // an id, an index or a URL; empty for a row of a list that is awaited as a whole
  QString id;     // empty until found
  DownloadRow last;
  Outcome outcome = Outcome::Open;
  QString reason;  // why it failed
};

class WaitList {
 public:
  // Waits for each of `asked`; every one must come to its end.
  explicit WaitList(const QStringList& asked);
  // Waits for what the list holds now.
  explicit WaitList(const QList<DownloadRow>& rows);

  void Look(const QList<DownloadRow>& rows);
  // Fails what has not been listed so far.
  void Expire();
  // Fails everything that is still open.
  void GiveUp(const QString& reason);

  bool Done() const;
  bool AllFinished() const;
  const std::vector<Awaited>& Items() const { return items_; }

 private:
  void LookAt(Awaited& item, const QList<DownloadRow>& rows);
  bool Taken(const QString& id) const;

  std::vector<Awaited> items_;
};

// In one line, and without what a terminal takes for orders: names and addresses come from servers.
QString Printable(QString text);

// "name: 42.0%, 420000 of 1000000 bytes, active"; the saved path behind a finished one.
QString ProgressLine(const Awaited& item);

// "no byte for 42 s" of a download that has been silent for long, else empty.
QString SilenceText(const DownloadRow& row);

}  // namespace pellora
