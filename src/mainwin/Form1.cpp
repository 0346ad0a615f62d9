#include "mainwin/Form1.h"

#include <cmath>
#include <utility>

#include "async/Boxes.h"
#include "async/TaskLoop.h"
#include "core/Ascii.h"
#include "core/DateTexts.h"
#include "core/UrlList.h"
#include "core/WebTexts.h"
#include "lang/Format.h"
#include "lang/Language.h"
#include "mainwin/FolderRoom.h"
#include "ports/Clock.h"
#include "ports/Dialogs.h"
#include "ports/Failure.h"
#include "ports/Locale.h"

namespace pellora {

namespace {

constexpr int kCaptionNumber = 695;
constexpr double kHoursOfADay = 24;

bool HasSeveral(const std::string& text) {
  return text.find_first_of("\r\n") != std::string::npos && ReadUrlList(text).addresses.size() > 1;
}

}  // namespace

Form1::Form1(Program& program)
    : Window(program.platform, "Form1", "Enter the URL of the file to download"), program_(program) {
  Tag = TagText(kCaptionNumber);
  Height = kFoldedHeight;
  Command1.OnClick = [this] { Answer("NOW"); };
  Command2.OnClick = [this] { Answer("LATER"); };
  Command3.OnClick = [this] { Unload(); };
  Command4.OnClick = [this] { platform_.tasks.Spawn(Browse()); };
  Command5.OnClick = [this] { Answer("INSIDE"); };
  Check1.OnClick = [this] {
    Height = Check1.Value ? kUnfoldedHeight : kFoldedHeight;
    Foretell();
    ShowRoom();
  };
  Check2.OnClick = [this] { Text10.Enabled = Check2.Value(); };
  Text1.OnChange = [this] {
    if (NamesSeveral()) return Answer("LIST");
    Foretell();
  };
  Text3.OnChange = [this] { Foretell(); };
  Text2.OnChange = [this] {
    Foretell();
    ShowRoom();
  };
}

// From here on the Tag is the answer.
void Form1::OnLoad() {
  Tag = TagText(kCaptionNumber);
  ApplyLanguage(*this, program_);
  Tag = "CANCEL";
  SelectText();
}

void Form1::OnQueryUnload(bool&, UnloadMode) { Tag = "CANCEL"; }

void Form1::SelectText() { Text1.SelectAll = Text1.SelectAll() + 1; }

void Form1::Answer(const char* answer) { Tag = answer; }

bool Form1::NamesSeveral() const { return HasSeveral(Text1.Text); }

// What surrounds a copied address, such as a comment in the next line, is left out.
std::string Form1::Url() const {
  const bool oneLine = Text1.Text().find_first_of("\r\n") == std::string::npos;
  const UrlListReading reading = oneLine ? UrlListReading() : ReadUrlList(Text1.Text());
  return reading.addresses.size() == 1 ? reading.addresses.front() : std::string(TrimBlanks(Text1.Text()));
}

// The proposed time is a full hour, an hour ahead at least.
void Form1::EmptyFold() {
  Check1.Value = false;
  Check2.Value = false;
  Height = kFoldedHeight;
  for (TextBox* const box : {&Text2, &Text3, &Text4, &Text5, &Text6, &Text7, &Text8, &Text9}) box->Text = "";
  const double proposed = std::ceil((platform_.clock.Now() + 1 / kHoursOfADay) * kHoursOfADay) / kHoursOfADay;
  const DateForms forms = platform_.locale.ShortForms();
  Skip([&] { Text10.Text = ShortDate(proposed, forms) + " " + ShortTime(proposed, forms); });
  Text10.Enabled = false;
  Label9.Caption = "";
  Label10.Caption = "";
}

void Form1::Foretell() {
  std::string foretold;
  if (Check1.Value) {
    Skip([&] {
      foretold =
          ForetoldOf(program_, Url(), std::string(TrimBlanks(Text2.Text())), std::string(TrimBlanks(Text3.Text())));
    });
  }
  Label9.Caption = std::move(foretold);
}

std::string Form1::Folder() const {
  const std::string typed(TrimBlanks(Text2.Text()));
  return typed.empty() ? program_.settings.DownloadFolder : typed;
}

void Form1::ShowRoom() {
  if (!Check1.Value()) {
    Label10.Caption = "";
  } else if (!measuring_) {
    platform_.tasks.Spawn(MeasureRoom());
  }
}

// Another folder may have been typed meanwhile.
Task<> Form1::MeasureRoom() {
  const auto hold = Hold();
  measuring_ = true;
  const std::string folder = Folder();
  const FolderRoom room = co_await RoomOf(&platform_, folder);
  measuring_ = false;
  if (!Loaded() || !Check1.Value()) co_return;
  if (folder != Folder()) {
    ShowRoom();
    co_return;
  }
  const std::string size = FormatSize(room.bytes, program_.LangStrings, platform_.locale.DecimalSeparator());
  Label10.Caption = room.bytes >= 0 ? FillText(TextOf(program_, WebText::RoomFree), {size}) : std::string();
}

FieldsReading Form1::Request() const {
  AddFields fields;
  if (Check1.Value()) {
    fields = {.folder = Text2.Text,
              .name = Text3.Text,
              .user = Text4.Text,
              .password = Text5.Text,
              .checksum = Text6.Text,
              .page = Text7.Text,
              .cookies = Text8.Text,
              .speedLimit = Text9.Text,
              .beginsLater = Check2.Value,
              .beginAt = Text10.Text};
  }
  return ReadAddFields(program_, Url(), fields);
}

Task<> Form1::Browse() {
  const auto hold = Hold();
  FolderRequest request{Label1.Caption, Folder()};
  const std::optional<std::string> folder = co_await program_.boxes.AskFolder(std::move(request));
  if (!folder || !Loaded()) co_return;
  Text2.Text = *folder;
  Foretell();
  ShowRoom();
}

}  // namespace pellora
