// Numbers of the language texts that an engine hands to its window.
#pragma once

namespace pellora {

enum TextNumber {
  // The state of the whole download, and of a segment.
  kTextBuildingFile = 520,
  kTextDownloadComplete = 521,
  kTextTimeOutTitle = 522,
  kTextAskKeepTimedOut = 523,
  kTextWaitingForData = 524,
  kTextSegmentConnecting = 525,
  kTextSegmentReceiving = 526,
  kTextSegmentComplete = 527,
  kTextPaused = 528,
  // "Could not get" PATH "from the server".
  kTextNotFromServer = 530,
  kTextCouldNotGet = 531,
  kTextDownloading = 534,
  kTextServerError = 535,  // ends in "(", which the status follows
  kTextAskOpenWebPage = 536,
  kTextConnectingSegments = 537,
  kTextBadNamePart = 951,  // a file name may not hold it
};

}  // namespace pellora
