// VersionCheck: a double click on Label7 fetches the version file and offers a newer package as an ordinary download.
// There is one check per run: neither the label nor the socket is ever reset.
#include <algorithm>
#include <string>
#include <utility>

#include "async/Boxes.h"
#include "async/TaskLoop.h"
#include "core/Addresses.h"
#include "core/RecordLife.h"
#include "core/Version.h"
#include "core/WebTexts.h"
#include "mainwin/AddDownload.h"
#include "mainwin/MainWindow.h"
#include "mainwin/VersionReply.h"
#include "ports/Machine.h"
#include "ports/Platform.h"

namespace pellora {

namespace {

constexpr const char* kChecking = "CONN";

// Each block of the reply may raise a question; an endless reply must not pile them up.
constexpr int kMostOffers = 2;

// Longer notes would push the buttons off the screen.
constexpr std::size_t kLongestNotes = 2000;
constexpr int kMostLines = 25;

std::string Request() {
  const std::string host = kVersionHost;
  return "GET /Pellora/version.txt HTTP/1.1\r\n"
         "Accept: *.*, */*\r\n"
         "Referer: " +
         host +
         " \r\n"
         "Host: " +
         host + "\r\n\r\n";
}

// Where the last shown line ends; CR, LF and CRLF are line ends.
std::size_t EndOfLines(const std::string& notes) {
  int lines = 1;
  for (std::size_t at = notes.find_first_of("\r\n"); at != std::string::npos; at = notes.find_first_of("\r\n", at)) {
    if (lines == kMostLines) return at;
    ++lines;
    at += notes.compare(at, 2, "\r\n") == 0 ? 2 : 1;
  }
  return notes.size();
}

// Cut between UTF-8 characters.
std::string Shortened(std::string notes) {
  std::size_t end = std::min(EndOfLines(notes), kLongestNotes);
  if (end >= notes.size()) return notes;
  while (end > 0 && (static_cast<unsigned char>(notes[end]) & 0xC0U) == 0x80U) --end;
  notes.resize(end);
  return notes + "...";
}

// Counts an open question for as long as this lives.
class Counted {
 public:
  explicit Counted(int& count) : count_(count) { ++count_; }
  ~Counted() { --count_; }
  Counted(const Counted&) = delete;
  Counted& operator=(const Counted&) = delete;

 private:
  int& count_;
};

}  // namespace

void MainWindow::ConnectVersionCheck() {
  GetNewVersion.RemoteHost = kVersionHost;
  GetNewVersion.RemotePort = 80;
  GetNewVersion.OnConnect = [this] { GetNewVersion.SendData(Request()); };
  GetNewVersion.OnDataArrival = [this](std::size_t bytes) {
    program_.CountReceived(bytes);
    VersionArrived(std::string(GetNewVersion.GetData()));
  };
  Label7.OnDoubleClick = [this] { CheckVersion(); };
  Label7.OnMouseMove = [this] {
    if (Label7.Tag() == kChecking) return;
    Label7.ForeColour = kLinkHighlight;
    Label7.Underline = true;
    Status("Check if a newer version of the program is available on the web.");
  };
}

void MainWindow::CheckVersion() {
  if (platform_.machine.IsPackaged()) return platform_.tasks.Spawn(SayWhoUpdates());
  if (Label7.Tag() == kChecking) return;
  Label7.Caption = "Connecting...";
  Label7.Tag = kChecking;
  GetNewVersion.Connect();
}

Task<> MainWindow::SayWhoUpdates() {
  const auto hold = Hold();
  BoxRequest request{TextOf(program_, WebText::UpdatedByPackages), kProgramName, kInformation};
  if (program_.boxes.IsOpen(this, request.text)) co_return;
  (void)co_await program_.boxes.Ask(this, std::move(request));
}

// Each block is judged separately: one without a blank line usually shows no new version.
void MainWindow::VersionArrived(const std::string& block) {
  const VersionReply reply = ReadVersionReply(block);
  if (!(kVersion < reply.version)) {
    Label7.Caption = "No new version available";
    return;
  }
  Label7.Caption = "New version available";
  platform_.tasks.Spawn(OfferVersion(reply.version, reply.notes));
}

Task<> MainWindow::OfferVersion(float version, std::string notes) {
  const auto hold = Hold();
  const std::string text = Shortened(std::move(notes)) + "\r\n\r\nWould you want to download this new version ?";
  if (offers_ == kMostOffers || program_.boxes.IsOpen(this, text)) co_return;
  int answer = kAnswerNo;
  {
    const Counted counted(offers_);
    BoxRequest request{text, kProgramName, kYesNo | kQuestion};
    answer = co_await program_.boxes.Ask(this, std::move(request));
  }
  if (answer != kAnswerYes) co_return;
  const std::string url = kPackageSite + VersionDigits(version) + ".zip";
  AddRequest request{.url = url, .kind = kUpdateKind, .caller = this};
  co_await AddDownload(&program_, std::move(request));
}

}  // namespace pellora
