// LookInsideRun: the whole program with an archive on a server, and the windows for looking inside.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "SimArchive.h"
#include "SimPacking.h"
#include "TestArchive.h"
#include "WebApp.h"
#include "core/ArchiveLook.h"
#include "core/Crc32.h"
#include "core/WebTexts.h"
#include "lang/Format.h"
#include "ports/Locale.h"
#include "zipview/LookInside.h"

namespace pellora {

inline constexpr const char* kUrl = "https://o.example/a.zip";

inline TestEntry Packed(const std::string& name, const std::string& plain) {
  return {.name = name,
          .data = PackDeflate(plain),
          .size = static_cast<std::uint32_t>(plain.size()),
          .crc = Crc32(plain),
          .method = 8};
}

inline TestEntry Stored(const std::string& name, const std::string& plain) {
  return {.name = name, .data = plain, .size = static_cast<std::uint32_t>(plain.size()), .crc = Crc32(plain)};
}

inline TestEntry PackedFolder(const std::string& name) {
  return {.name = name, .data = "", .attributes = 040755U << 16U};
}

inline TestEntry Encrypted(const std::string& name, const std::string& plain, const std::string& password) {
  TestEntry entry = Packed(name, plain);
  entry.data = EncryptZip(entry.data, password, entry.crc);
  entry.flags = 1;
  return entry;
}

inline std::string Bytes(std::size_t length, std::uint64_t seed) { return SimContent::Generated(length, seed).All(); }

struct LookInsideRun : WebApp {
  explicit LookInsideRun(SimOptions options = {})
      : WebApp(std::move(options)), origin(sim.network(), "o.example", 443) {
    sim.platform().folders = &folders;
    Start();
    folders.folders[Path("")] = {};
    program().settings.CheckClipboard = false;
  }
  ~LookInsideRun() { sim.DropProgram(); }  // the dialogs use the folders

  void Serve(const std::string& bytes, const std::string& etag = "\"1\"") {
    origin.File("/a.zip", SimContent(bytes));
    origin.Traits("/a.zip").validators = {{.etag = etag}};
  }
  void Serve(std::vector<TestEntry> entries) {
    TestArchive archive{.entries = std::move(entries)};
    Serve(archive.Bytes());
  }
  void Open(ArchiveLook look = {.url = kUrl}) {
    sim.Do([&] { program().lookInside(look); });
  }
  bool RunUntilListed() {
    return sim.RunUntil([&] { return Viewer() && State().ends_with(" packed.)"); }, 60'000);
  }
  // Opens the viewer and runs until its reading has ended in one way or the other.
  std::string Read(ArchiveLook look = {.url = kUrl}) {
    Open(std::move(look));
    sim.RunFor(120'000);
    return State();
  }
  LookInside* Viewer() { return sim.windows().Only<LookInside>(); }
  std::string State() { return Viewer() ? Viewer()->Label1.Caption() : "no window"; }
  std::vector<std::string> Rows() {
    std::vector<std::string> texts;
    const ListView& list = Viewer()->ListView1;
    for (std::size_t at = 0; at < list.RowCount(); ++at) texts.push_back(list.RowAt(at).text);
    return texts;
  }
  void Select(const std::vector<std::string>& names) {
    std::vector<std::size_t> rows;
    const std::vector<std::string> all = Rows();
    for (std::size_t at = 0; at < all.size(); ++at) {
      if (std::find(names.begin(), names.end(), all[at]) != names.end()) rows.push_back(at);
    }
    ASSERT_EQ(rows.size(), names.size());
    sim.Do([&] { Viewer()->ListView1.SelectByUser(rows); });
  }
  void Press(CommandButton& button) {
    sim.Do([&] { button.Click(); });
    sim.RunFor(100);
  }
  void Type(TextBox& box, const std::string& text) {
    sim.Do([&] { box.SetByUser(text); });
  }
  Extract* FolderDialog() { return sim.windows().Only<Extract>(); }
  AskUnpack* Question() { return sim.windows().Only<AskUnpack>(); }
  std::string Say(WebText text, std::initializer_list<std::string_view> values = {}) {
    return FillText(TextOf(program(), text), values);
  }
  std::string Size(std::int64_t bytes) {
    return FormatSize(bytes, program().LangStrings, sim.platform().locale.DecimalSeparator());
  }
  std::string Box() { return sim.dialogs().OpenCount() == 0 ? "" : sim.dialogs().Next().text; }
  // In the folder of the settings, which the dialog for the folder shows first; "": the folder.
  std::string Path(const std::string& name) {
    std::string folder = Folder();
    while (folder.ends_with('/')) folder.pop_back();
    return name.empty() ? folder : folder + "/" + name;
  }
  int Records() {
    int records = 0;
    for (int i = 1; i <= program().DownloadCount; ++i) records += Record(i).InUse ? 1 : 0;
    return records;
  }

  SimFolders folders;
  SimHttpServer origin;
};

}  // namespace pellora
