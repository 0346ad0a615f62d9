// SelectionRun: a run of the program that fetches chosen entries of an archive.
#pragma once

#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "SampleArchive.h"
#include "WebRig.h"
#include "core/ListFile.h"
#include "core/WebTexts.h"

namespace pellora {

inline constexpr const char* kUrl = "https://o.example/big.zip";
inline constexpr const char* kFolder = "/home/u/out";
inline constexpr const char* kPart = "/home/u/out/big.zip.part";
inline constexpr const char* kSelection = "/prog/Pellora.fetch.1";
inline constexpr const char* kEtag = "\"1\"";

inline std::string Plain(std::size_t number, std::size_t length) {
  return SimContent::Generated(length, number + 1).All();
}

// Ten files of 300 KB each, "f0.bin" to "f9.bin" in "docs".
inline SampleArchive TenFiles(std::size_t length = 300'000) {
  SampleArchive archive;
  for (std::size_t i = 0; i < 10; ++i) {
    archive.Add({"docs/f" + std::to_string(i) + ".bin", Plain(i, length), i % 2 == 0});
  }
  archive.End();
  return archive;
}

// A run of the program with the archive's server.
struct SelectionRun {
  explicit SelectionRun(SampleArchive theArchive, SimDiskState disk = {}, std::uint64_t seed = SimOptions().seed)
      : archive(std::move(theArchive)), rig(With(std::move(disk), seed)), origin(rig.sim.network(), "o.example", 443) {
    Serve(archive.bytes);
    rig.sim.disk().MakeFolder(kFolder);
  }
  static SimOptions With(SimDiskState disk, std::uint64_t seed) {
    SimOptions options;
    options.seed = seed;
    options.disk = std::move(disk);
    return options;
  }
  void Serve(const SimContent& content, const std::string& etag = kEtag) {
    origin.File("/big.zip", content);
    origin.Traits("/big.zip").validators = {{.etag = etag}};
  }
  void SlowDown(std::uint64_t bytesPerSecond = 200'000) { origin.Always({.wire = {.bytesPerSecond = bytesPerSecond}}); }
  std::shared_ptr<Selection> Choose(const std::vector<std::size_t>& numbers) const {
    std::shared_ptr<Selection> chosen = archive.Choose(numbers, kFolder);
    chosen->facts.validator.etag = kEtag;
    return chosen;
  }
  void Add(std::shared_ptr<const Selection> selection, const std::string& password = {}) {
    WebAdd add;
    add.selection = std::move(selection);
    add.archivePassword = password;
    rig.Start(kUrl, add);
  }
  void Start(const std::vector<std::size_t>& numbers) { Add(Choose(numbers)); }
  std::string Text(WebText text, std::initializer_list<std::string_view> values = {}) {
    return FillText(TextOf(rig.program, text), values);
  }
  std::string PathOf(std::size_t number) const {
    std::string path = kFolder;
    for (const std::string& part : archive.all[number].path) path += "/" + part;
    return path;
  }
  bool IsUnpacked(std::size_t number, std::size_t length = 300'000) {
    return rig.sim.disk().Holds(PathOf(number), Plain(number, length));
  }
  // Everything below the folder.
  std::vector<std::string> InFolder() {
    std::vector<std::string> found;
    for (const std::string& path : rig.sim.disk().Paths()) {
      if (path.starts_with(std::string(kFolder) + "/")) found.push_back(path.substr(std::string(kFolder).size() + 1));
    }
    return found;
  }
  // Bytes that were asked for, and how much of a range was.
  std::int64_t Asked(Range of = {0, INT64_MAX}, std::size_t from = 0) {
    std::int64_t bytes = 0;
    for (std::size_t i = from; i < origin.Requests().size(); ++i) {
      const std::string range = origin.Requests()[i].Header("Range").value_or("bytes=0-9999999999");
      const std::size_t dash = range.find('-');
      if (range.starts_with("bytes=-")) continue;  // the archive's directory
      const std::int64_t begin = std::stoll(range.substr(6, dash - 6));
      const std::int64_t end = dash + 1 == range.size() ? 9'999'999'999 : std::stoll(range.substr(dash + 1)) + 1;
      bytes += std::max<std::int64_t>(0, std::min(end, of.end) - std::max(begin, of.begin));
    }
    return bytes;
  }
  void Delete() {
    rig.sim.Do([&] {
      EmptyPlace(rig.program, 1);
      Release(rig.program, 1, kDeleted);
      SaveList(rig.program);
    });
    rig.sim.RunFor(5000);
  }
  void SaveTheList() {
    rig.sim.Do([&] { SaveList(rig.program); });
  }
  // Slow, paused once so many bytes are there, and in the saved list.
  void PauseAt(std::int64_t received, const std::vector<std::size_t>& numbers) {
    SlowDown();
    Start(numbers);
    ASSERT_TRUE(rig.RunUntilReceived(received));
    rig.Pause();
    rig.sim.RunFor(5000);
    SaveTheList();
  }

  SampleArchive archive;
  WebRig rig;
  SimHttpServer origin;
};

}  // namespace pellora
