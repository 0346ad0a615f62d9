// ZipStage: the archive viewer in a real window, over the simulated network.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "SimArchive.h"
#include "SimPlatform.h"
#include "Stage.h"
#include "core/Program.h"
#include "zipview/Form2.h"

namespace pellora::testing_views {

class ZipStage {
 public:
  ZipStage() {
    const std::vector<std::string> units = {"bytes", "kb", "mb", "gb"};
    for (std::size_t i = 0; i < units.size(); ++i) program.LangStrings[i] = units[i];
    program.settings.DownloadFolder = "/home/u/";
    program.ResizeDownloads(1);
  }
  ~ZipStage() {
    sim.DropProgram();
    Stage::Settle();
  }

  // Serves the bytes as the archive of record 1 and opens the viewer for it.
  void Open(const std::string& archive, const std::string& path = "/pub/archive.zip") {
    origin.File(path, archive);
    DownloadRecord& record = program.Download(1);
    record.Host = "files.example.com";
    record.Port = 80;
    record.Path = path;
    record.URL = "http://files.example.com" + path;
    record.FileSize = static_cast<std::int32_t>(archive.size());
    record.InUse = true;
    sim.Do([&] {
      viewer = std::make_shared<Form2>(program, &folders);
      program.ZipViewerAt(1) = viewer;
      viewer->SetIndex(1);
      sim.tasks().Spawn(viewer->Start());
    });
  }
  void List(const std::vector<SimMember>& members) {
    Open(SimArchive(members));
    sim.RunUntil([&] { return viewer->Label1.Caption().ends_with(" packed.)"); }, 60'000);
    Stage::Settle();
  }
  QWidget* Form() { return Stage::Form(*viewer); }
  template <class Widget>
  Widget* Find(const char* name) {
    return Form()->findChild<Widget*>(QLatin1String(name));
  }

  SimPlatform sim;
  QtWindowSystem windows{sim.gate()};
  Platform platform{sim.gate(),     sim.loop(),      sim.tasks(),   sim.loop(),      sim.network(), sim.disk(),
                    sim.settings(), sim.clipboard(), sim.dialogs(), sim.shell(),     sim.machine(), sim.locale(),
                    sim.tray(),     windows,         sim.media(),   sim.background()};
  Program program{platform};
  SimHttpServer origin{sim.network(), "files.example.com"};
  SimFolders folders;
  std::shared_ptr<Form2> viewer;
};

// Typical contents of a software release.
inline std::vector<SimMember> SampleMembers() {
  return {{"pellora-5.2/"},
          {"pellora-5.2/README.txt", 1482, 3920},
          {"pellora-5.2/LICENSE", 11358, 35149},
          {"pellora-5.2/setup.exe", 3188210, 3411968},
          {"pellora-5.2/docs/"},
          {"pellora-5.2/docs/manual.pdf", 801234, 934511},
          {"pellora-5.2/docs/index.html", 4120, 16844},
          {"pellora-5.2/docs/images/"},
          {"pellora-5.2/docs/images/main.png", 62011, 62011},
          {"pellora-5.2/docs/images/tour.mp4", 8120034, 8133010},
          {"pellora-5.2/src/"},
          {"pellora-5.2/src/main.cpp", 2310, 8002},
          {"pellora-5.2/src/settings.json", 402, 1600},
          {"pellora-5.2/src/old-sources.tar.gz", 120334, 120310},
          {"pellora-5.2/sounds/"},
          {"pellora-5.2/sounds/finished.ogg", 30412, 31008},
          {"pellora-5.2/empty.log", 0, 0},
          {"a-name-that-is-rather-longer-than-most-columns-of-a-list-are-wide.txt", 12, 10}};
}

}  // namespace pellora::testing_views
