#include "Samples.h"

#include <array>

namespace pellora::testing_views {

namespace {

struct SegmentLook {
  const char* state;
  const char* size;
  double width;
  Colour colour;
};

constexpr std::array<SegmentLook, 8> kSegments = {{{"Complete", "12.5 mb", 2500, 0x0000FF},
                                                   {"Receiving data...", "9.87 mb", 1970, 0x00C0C0},
                                                   {"Receiving data...", "4.2 mb", 840, 0x00C0C0},
                                                   {"Paused", "6.03 mb", 1206, 0xFF0000},
                                                   {"Connected, waiting for data...", "0 bytes", 0, 0x808080},
                                                   {"Too Many Connections", "1.31 mb", 262, 0x808080},
                                                   {"Receiving data...", "11.02 mb", 2204, 0x00C0C0},
                                                   {"Connecting...", "0 bytes", 0, 0x808080}}};

ListRow Row(int record, const char* name, const char* icon, std::vector<std::string> rest) {
  ListRow row;
  row.key = std::string("http://files.example.com/pub/") + name;
  row.text = name;
  row.icon = icon;
  row.subItems = std::move(rest);
  row.record = static_cast<std::int16_t>(record);
  return row;
}

}  // namespace

void SampleTransfer::FillRunning() {
  Caption = "45.0% of archive-2026-11.zip downloaded.";
  Label3.Caption = "http://files.example.com/pub/releases/2026/november/archive-2026-11.zip";
  state.Caption = "Downloading...";
  PB.Value = 45.0;
  Speed.Caption = "2.35 mb/s";
  Est.Caption = "23s";
  Ela.Caption = "19s";
  Label4.Caption = "44.94 mb";
  Label1.Caption = "/ 99.87 mb";
  for (int i = 0; i < 8; ++i) {
    const SegmentLook& look = kSegments.at(static_cast<std::size_t>(i));
    Num(i).Caption = std::to_string(i + 1);
    StateS(i).Caption = look.state;
    Size(i).Caption = look.size;
    Prog(i).Width = look.width;
    Prog(i).FillColor = look.colour;
  }
}

void SampleTransfer::KeepRows(int count) {
  for (int i = 0; i < 8; ++i) {
    for (Control* control : {static_cast<Control*>(&Shape1(i)), static_cast<Control*>(&Num(i)),
                             static_cast<Control*>(&StateS(i)), static_cast<Control*>(&Size(i))}) {
      control->Visible = i < count;
    }
  }
}

void SampleTransfer::OnQueryUnload(bool& cancel, UnloadMode mode) {
  if (mode != UnloadMode::UserClosed) return;
  ++closes;
  if (!refuseClose) return;
  Hide();
  cancel = true;
}

void SampleMain::Fill() {
  ListView1.SetRows({
      Row(1, "archive-2026-11.zip", "stop",
          {"files.example.com", "99.87 mb", "Active (45.0%)", "11/21/2026 9:14:05", "0:00:23"}),
      Row(2, "concert-recording.flac", "stop",
          {"media.example.org", "412.5 mb", "Active (7.3%)", "11/21/2026 9:16:41", "0:04:10"}),
      Row(3, "holiday pictures.tar.gz", "down",
          {"home.example.net", "1.25 gb", "Stopped (62.1%)", "11/20/2026 18:02:11", "0:11:52"}),
      Row(4, "distribution-image.iso", "shed",
          {"mirror.example.com", "3.1 gb", "Stopped (0.0%)", "11/20/2026 22:40:00", ""}),
      Row(5, "manual.pdf", "wrong", {"docs.example.org", "8.4 mb", "Stopped (0.0%)", "11/21/2026 8:00:00", ""}),
      Row(6, "update.bin", "down", {"dist.example.com", "512 kb", "Queued", "11/21/2026 9:17:20", ""}),
  });
  ListView1.Select({1});
  ListView2.SetRows({
      Row(7, "notes.txt", "notes.txt", {"12 kb", "http://files.example.com/pub/notes.txt", "11/19/2026 12:01:07"}),
      Row(8, "picture.jpg", "picture.jpg", {"2.4 mb", "http://img.example.net/picture.jpg", "11/19/2026 12:31:55"}),
      Row(9, "song.mp3", "song.mp3", {"5.1 mb", "http://media.example.org/song.mp3", "11/18/2026 20:11:09"}),
      Row(10, "film.avi", "notfound", {"698.2 mb", "http://media.example.org/film.avi", "11/17/2026 7:45:30"}),
      Row(11, "tools.zip", "tools.zip", {"34 mb", "http://dist.example.com/tools.zip", "11/16/2026 15:00:02"}),
  });
  Legend(0).Image = "stop";
  Legend(1).Image = "down";
  Legend(2).Image = "shed";
  sdw.Checked = true;
  const std::array<const char*, 6> info = {
      "song.mp3", "5.1 mb", "http://media.example.org/song.mp3", "/home/user/Downloads/song.mp3", "11/18/2026 20:11:09",
      "1.02 mb/s"};
  for (int i = 0; i < 6; ++i) Info(i).Caption = info.at(static_cast<std::size_t>(i));
  StatusBar1.Panels = std::vector<std::string>{"Double click on file to start download or see download details.",
                                               "Speed : 2406 kb/s ",
                                               "Total downloaded : 512.03 mb  ",
                                               "CAPS",
                                               "NUM",
                                               "INS"};
  ShowPane(false, 0);
}

void SampleMain::ShowPane(bool shown, int tab) {
  TabStrip1.Visible = shown;
  TabStrip1.Selected = tab;
  Picture1.Visible = shown;
  Details.Visible = shown && tab == 1;
  Command4.Caption = shown ? ">" : "<";
}

}  // namespace pellora::testing_views
