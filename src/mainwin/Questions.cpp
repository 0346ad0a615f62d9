// Questions: the add dialog and the question about a URL on the clipboard. Neither is modal; their answer is the Tag of
// their window.
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "async/Boxes.h"
#include "async/InBackground.h"
#include "async/TaskLoop.h"
#include "core/ArchiveLook.h"
#include "core/Ascii.h"
#include "core/EngineChoice.h"
#include "core/Scheme.h"
#include "core/WebTexts.h"
#include "mainwin/AddDownload.h"
#include "mainwin/ClipboardUrl.h"
#include "mainwin/MainWindow.h"
#include "ports/Clipboard.h"
#include "ports/Dialogs.h"
#include "ports/Failure.h"
#include "ports/Platform.h"

namespace pellora {

namespace {

constexpr int kBadUrl = 400;  // text

// True for as long as this lives.
class ScopedFlag {
 public:
  explicit ScopedFlag(bool& flag) : flag_(flag) { flag = true; }
  ~ScopedFlag() { flag_ = false; }
  ScopedFlag(const ScopedFlag&) = delete;
  ScopedFlag& operator=(const ScopedFlag&) = delete;

 private:
  bool& flag_;
};

// A web engine's address without its password; any other as it is.
std::string Shown(const Program& program, const std::string& url) { return ReadAddress(program, url).listed; }

}  // namespace

Task<> MainWindow::AddAction() {
  const auto hold = Hold();
  if (adding_) {  // keeps what was typed
    form1->Raise();
    co_return;
  }
  std::string answer;
  std::string text;
  bool several = false;
  FieldsReading asked;
  {
    const ScopedFlag open(adding_);
    form1->Load();  // sets the Tag
    form1->Tag = "";
    form1->EmptyFold();
    form1->Show();
    const std::optional<std::string> clipboard = platform_.clipboard.Text();
    const std::string_view offered = clipboard ? TrimCopiedText(*clipboard) : std::string_view{};
    form1->Text1.Text = std::string(TakesLowerCaseScheme(program_, offered) ? offered : kHttpScheme);
    form1->SelectText();
    // Until nothing is wrong with what was typed.
    for (std::string fault = "unanswered"; !fault.empty();) {
      std::function<bool()> answered = [this] { return !form1->Tag().empty(); };
      co_await platform_.tasks.UntilEvent(std::move(answered));
      answer = form1->Tag;
      fault.clear();
      if (answer == "CANCEL") break;
      asked = form1->Request();
      fault = co_await FaultOf(asked);
      if (fault.empty() && answer == "INSIDE") fault = FaultOfLook(asked.request.url);
      if (fault.empty()) break;
      form1->Tag = "";
      BoxRequest box{fault, kProgramName, kCritical};
      (void)co_await program_.boxes.Ask(this, std::move(box));
    }
    text = form1->Text1.Text;
    several = form1->NamesSeveral();
    form1->EmptyFold();
    form1->Hide();
  }
  if (answer == "CANCEL") co_return;
  asked.request.later = answer == "LATER";
  if (several || !TakesScheme(program_, asked.request.url)) {
    // In any case, like the parser: an address that it accepts must not vanish without a message.
    const bool taken = OfferText(text, asked.request);
    if (!taken && several) {
      BoxRequest box{program_.Text(kBadUrl), kProgramName, kCritical};
      (void)co_await program_.boxes.Ask(this, std::move(box));
    }
    co_return;
  }
  if (answer == "INSIDE") {
    ArchiveLook look;
    look.url = asked.request.url;
    look.add = asked.request.web;
    look.name = asked.request.name;
    look.add.folder = asked.request.folder;
    program_.lookInside(look);
    co_return;
  }
  asked.request.caller = this;
  co_await AddDownload(&program_, std::move(asked.request));
}

// What is wrong with it, for the user; empty if nothing is.
Task<std::string> MainWindow::FaultOf(FieldsReading asked) {
  const auto hold = Hold();
  const std::string folder = asked.request.folder;
  if (!asked.fault.empty() || folder.empty()) co_return asked.fault;
  const auto writable = std::make_shared<bool>(false);
  Background::Work look = [platform = &platform_, writable, folder] { *writable = CanWriteIn(*platform, folder); };
  try {
    co_await InBackground(&platform_, std::move(look));
  } catch (const Failure&) {
    *writable = false;
  }
  co_return *writable ? std::string() : FillText(TextOf(program_, WebText::BadFolder), {folder});
}

// Why nobody can look inside the archive there; empty if somebody can.
std::string MainWindow::FaultOfLook(const std::string& url) const {
  const EngineName engine = ReadAddress(program_, url).engine;
  if (engine == EngineName::Web && program_.lookInside) return {};
  return TextOf(program_, engine == EngineName::Classic ? WebText::OnlyWebEngine : WebText::BadAddress);
}

// The URL to ask about in a new clipboard text. The clipboard is not read while the question is open, so that a text
// copied meanwhile is new to the first tick after the answer.
std::optional<std::string> MainWindow::ClipboardUrl() {
  if (!program_.settings.CheckClipboard || program_.headless || askingClipboard_) return std::nullopt;
  std::optional<std::string> text;
  Skip([&] { text = platform_.clipboard.Text(); });
  if (!text || *text == lastClipboard_) return std::nullopt;
  lastClipboard_ = *text;
  const std::string& ignored = program_.settings.IgnoreString;
  const bool isNew = HasNewScheme(TrimCopiedText(*text));
  std::optional<std::string> url = isNew ? NewUrlToAskAbout(*text, ignored) : UrlToAskAbout(*text, ignored);
  if (!url || !TakesScheme(program_, *url)) return std::nullopt;
  const std::string shown = Shown(program_, *url);
  for (int i = 1; i <= program_.DownloadCount; ++i) {
    const DownloadRecord& record = program_.Download(i);
    if (record.InUse && EqualsNoCase(record.URL, shown)) return std::nullopt;
  }
  return url;
}

Task<> MainWindow::AskClipboard(std::string url) {
  const auto hold = Hold();
  bool yes = false;
  {
    const ScopedFlag open(askingClipboard_);
    wantDown->Load();
    wantDown->Tag = "";
    wantDown->Label2.Caption = Shown(program_, url);
    wantDown->Show();
    std::function<bool()> answered = [this] { return !wantDown->Tag().empty(); };
    co_await platform_.tasks.UntilEvent(std::move(answered));
    yes = wantDown->Tag() == "YES";
    wantDown->Hide();
    wantDown->Unload();
  }
  if (!yes) co_return;
  AddRequest request{.url = url, .caller = this};
  co_await AddDownload(&program_, std::move(request));
}

}  // namespace pellora
