// HostList: the list of downloads as the browsers' extension shows it.
#pragma once

#include <QByteArray>
#include <QList>

#include "desktop/BusTypes.h"

namespace pellora {

// The reply to the extension with the downloads that are not finished: running ones first, and no more than a popup can
// show.
QByteArray ListText(const QList<DownloadRow>& rows);

}  // namespace pellora
