// Words that the web engine says. Numbers are those of the language texts.
#pragma once

#include <cstdint>
#include <string>

namespace pellora {

inline constexpr int kTextWebLaneConnecting = 525;
inline constexpr int kTextWebLaneReceiving = 526;
inline constexpr int kTextWebLaneComplete = 527;
inline constexpr int kTextWebPaused = 528;
inline constexpr int kTextWebBuilding = 520;
inline constexpr int kTextWebComplete = 521;
inline constexpr int kTextWebDownloading = 534;

inline constexpr const char* kWordConnecting = "Connecting to server...";
inline constexpr const char* kWordNoAddress = "The address cannot be read.";
inline constexpr const char* kWordNoNetwork = "Waiting for the network";
inline constexpr const char* kWordSilent = "The server sends nothing any more.";
inline constexpr const char* kWordNoAnswer = "The server does not answer.";
inline constexpr const char* kWordEndedEarly = "The connection ended too early.";
inline constexpr const char* kWordServerRefusesMore = "Server refuses more connections";
inline constexpr const char* kWordWrongAnswers = "The server gives wrong answers.";
inline constexpr const char* kWordChanged = "The file has changed on the server.";
inline constexpr const char* kWordLogin = "The server wants a login.";
inline constexpr const char* kWordNotFound = "The file is not on the server.";
inline constexpr const char* kWordManyRedirects = "The server redirects too often.";
inline constexpr const char* kWordBadRedirect = "The server redirects to an address that cannot be used.";
inline constexpr const char* kWordNoFolder = "The download folder is no absolute path.";
inline constexpr const char* kWordBusy = "The server is busy.";

inline std::string RetryIn(std::int64_t milliseconds) {
  return "Retry in " + std::to_string((milliseconds + 999) / 1000) + " s";
}

}  // namespace pellora
