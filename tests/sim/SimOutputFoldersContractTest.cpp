#include "OutputFoldersContract.h"
#include "SimPlatform.h"

namespace pellora {
namespace {

class SimOutputStage final : public OutputStage {
 public:
  SimOutputStage() {
    sim_.disk().MakeFolder(kRoot);
    sim_.outputs().longestName = 255;
  }
  OutputFolders& Folders() override { return sim_.outputs(); }
  std::string Root() override { return kRoot; }
  void Put(const std::string& path, const std::string& content) override {
    sim_.disk().Put(Whole(path), SimContent(content));
  }
  void PutLink(const std::string& path, const std::string& target) override {
    sim_.disk().PutLink(Whole(path), Whole(target));
  }
  void MakeFolder(const std::string& path) override { sim_.disk().MakeFolder(Whole(path)); }
  std::string Get(const std::string& path) override { return sim_.disk().Get(Whole(path)); }
  std::vector<std::string> Files() override {
    std::vector<std::string> files;
    const std::string prefix = Whole("");
    for (const std::string& path : sim_.disk().Paths()) {
      if (path.starts_with(prefix)) files.push_back(path.substr(prefix.size()));
    }
    return files;
  }
  OutputTraits TraitsOf(const std::string& path) override { return sim_.outputs().TraitsOf(Whole(path)); }

 private:
  static constexpr const char* kRoot = "/home/u/root";
  static std::string Whole(const std::string& path) { return std::string(kRoot) + "/" + path; }

  SimPlatform sim_{{.web = true}};
};

INSTANTIATE_TEST_SUITE_P(Sim, OutputFoldersContract,
                         testing::Values(OutputStageMaker{"the simulator",
                                                          [] { return std::make_unique<SimOutputStage>(); }}));

}  // namespace
}  // namespace pellora
