// Numbers of the older language texts that the web engine shows. The newer ones are in core/WebTexts.h.
#pragma once

namespace pellora {

enum WebTextNumber {
  kTextWebQueued = 302,
  kTextWebBuilding = 520,
  kTextWebComplete = 521,
  kTextWebConnecting = 525,  // a lane
  kTextWebReceiving = 526,
  kTextWebLaneComplete = 527,
  kTextWebPaused = 528,
  kTextWebDownloading = 534,
};

}  // namespace pellora
