// AddPlan: what `pelloractl add` is to ask the program for, made from its arguments and from the files and the standard
// input that they name.
#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QStringList>
#include <QVariantMap>
#include <optional>
#include <vector>

#include "core/CookieFile.h"
#include "tools/Arguments.h"

namespace pellora {

QList<OptionRule> AddOptions();

struct AddPlan {
  QStringList urls;
  QString error;  // in one sentence, if there is no plan
  // Passwords in addresses that were given as arguments, where the process list shows them.
  bool showsPassword = false;

  // For the program, about one of the addresses.
  QVariantMap RequestFor(const QString& url) const;

  QVariantMap common;                   // of all addresses
  QMap<QString, QByteArray> metalinks;  // local files, by the names that `urls` has for them
  std::vector<ListedCookie> cookies;    // of the file that the arguments name
};

// KiB/s, or "off", which is 0.
std::optional<int> SpeedLimitIn(const QString& text);

// Reads from the standard input what the arguments say: the addresses, or the password, without echo on a terminal.
// Relative paths are those of the current folder.
AddPlan PlanAdd(const Arguments& given);

}  // namespace pellora
