// ZipFixture: the transfer fixture with "AutoPreviewZIP" on and the archive viewer over a small set of folders.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "../transfer/TransferFixture.h"
#include "SimArchive.h"
#include "zipview/Form2.h"

namespace pellora {

class ZipRig : public TransferRig {
 public:
  explicit ZipRig(SimOptions options = {}) : TransferRig(std::move(options)) {
    program.settings.AutoPreviewZIP = true;
    program.newZipViewer = [this] { return std::make_shared<Form2>(program, &folders); };
  }
  ~ZipRig() { sim.DropProgram(); }  // the viewers use the folders

  // The viewer in the slot; null if it is empty.
  std::shared_ptr<Form2> Viewer(int index = 1) { return std::dynamic_pointer_cast<Form2>(program.ZipViewerAt(index)); }
  bool RunUntilViewed(int index = 1) {
    return sim.RunUntil([&] { return Viewer(index) != nullptr; }, 60'000);
  }
  bool RunUntilListed(int index = 1) {
    return sim.RunUntil([&] { return Viewer(index) && Viewer(index)->Label1.Caption().ends_with(" packed.)"); },
                        60'000);
  }
  static std::vector<std::string> Texts(const Form2& viewer) {
    std::vector<std::string> texts;
    for (const ListRow& row : viewer.ListView1.Rows()) texts.push_back(row.text);
    return texts;
  }

  SimFolders folders;
};

class ZipFixture : public ::testing::Test, protected ZipRig {
 protected:
  ZipFixture() = default;
  ~ZipFixture() override { sim.DropProgram(); }

  // Serves an archive and opens it; True once it is listed.
  bool Open(const std::vector<SimMember>& members, const std::string& path = "/a.zip") {
    origin.File(path, SimArchive(members));
    Start("http://o.example" + path);
    return RunUntilListed();
  }
  std::string Caption(int index = 1) {
    const auto viewer = Viewer(index);
    return viewer ? viewer->Label1.Caption() : "no viewer";
  }

  SimHttpServer origin{sim.network(), "o.example"};
};

}  // namespace pellora
