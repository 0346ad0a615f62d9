// RowJson: what pelloractl prints with --json: one JSON object (RFC 8259) a line, in UTF-8, with every control
// character in strings, and what changes the writing direction, escaped, so that each line is an object and each object
// a line.
#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QString>

#include "desktop/BusTypes.h"
#include "tools/WaitList.h"

namespace pellora {

// Keys: id, index, name, url, state, percent, received, size, path, speed, silent, limit, reason. What is not known, or
// does not apply, is null.
QJsonObject JsonOf(const DownloadRow& row);
// Of one that has ended: the same, with "outcome" as "finished" or "failed", and "given" as the argument that named it.
// One that never was in the list has only these two and the reason.
QJsonObject JsonOf(const Awaited& item);

// Keys: name, size, packed, time, remark.
QJsonObject JsonOf(const ArchiveRow& row);

// Without a line end.
QByteArray JsonLine(const QJsonObject& object);

}  // namespace pellora
