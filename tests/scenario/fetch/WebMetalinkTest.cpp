// Addresses that lead to a Metalink: its files are added in its place.
#include "SimDigests.h"
#include "WebApp.h"
#include "core/Metalink.h"
#include "core/SpeedLimits.h"
#include "core/WebTexts.h"

namespace pellora {
namespace {

constexpr const char* kUrl = "https://o.example/files.meta4";

class WebMetalink : public testing::Test, public WebApp {
 protected:
  WebMetalink() : origin(sim.network(), "o.example", 443), mirror(sim.network(), "m.example", 443) {
    origin.File("/a.bin", content);
    mirror.File("/b", content);
    for (SimHttpServer* const server : {&origin, &mirror}) server->Always({.wire = {.bytesPerSecond = 500'000}});
    Start();
  }
  std::string File(const std::string& name, const std::string& hash) const {
    return "<file name=\"" + name + "\"><size>4000000</size><hash type=\"sha-256\">" + hash +
           "</hash><url priority=\"1\">https://o.example/a.bin</url><url "
           "priority=\"2\">https://m.example/b</url></file>";
  }
  static std::string Document(const std::string& files) {
    return "<metalink xmlns=\"urn:ietf:params:xml:ns:metalink\">" + files + "</metalink>";
  }
  bool Drop(const std::string& text) {
    class Dropped final : public DataObject {
     public:
      explicit Dropped(std::string text) : text_(std::move(text)) {}
      bool GetFormat(int format) const override { return format == kTextFormat; }
      std::string GetData(int) const override { return text_; }

     private:
      std::string text_;
    };
    const bool taken = window().TakeDrop(Dropped(text));
    sim.RunReady();
    return taken;
  }
  int Listed() {
    int count = 0;
    for (int i = 1; i <= program().DownloadCount; ++i) count += Record(i).InUse ? 1 : 0;
    return count;
  }

  const SimContent content = SimContent::Generated(4'000'000, 7);
  const std::string right = SimDigitsOf(ChecksumKind::Sha256, content.All());
  SimHttpServer origin;
  SimHttpServer mirror;
};

TEST_F(WebMetalink, ItsOnlyFileIsDownloadedUnderItsNameFromAllMirrors) {
  origin.File("/files.meta4", Document(File("../my file.iso", right)));
  Add(kUrl);
  ASSERT_TRUE(sim.RunUntil([&] { return sim.disk().Has(Folder() + "/my file.iso"); }, 600'000)) << Folder();
  sim.RunFor(10'000);
  EXPECT_TRUE(sim.disk().Holds(Folder() + "/my file.iso", content));
  EXPECT_FALSE(mirror.Requests().empty());
  EXPECT_EQ(Listed(), 1);
  EXPECT_EQ(Record(1).URL, "https://o.example/a.bin");
  EXPECT_FALSE(sim.disk().Has(Folder() + "/files.meta4"));
  EXPECT_FALSE(sim.disk().Has(Folder() + "/files.meta4.part"));
}

TEST_F(WebMetalink, ItIsKnownByItsTypeToo) {
  origin.File("/get?id=1", Document(File("a.iso", right)), "Application/Metalink4+xml; charset=utf-8");
  Add("https://o.example/get?id=1");
  ASSERT_TRUE(sim.RunUntil([&] { return sim.disk().Has(Folder() + "/a.iso"); }, 600'000));
}

TEST_F(WebMetalink, SeveralFilesAreShownFirst) {
  origin.File("/files.meta4", Document(File("a.iso", right) + File("b.iso", right)));
  Add(kUrl);
  sim.RunFor(20'000);
  EXPECT_EQ(Listed(), 0);
  EXPECT_TRUE(window().addList->Visible());
  EXPECT_EQ(window().addList->ListView1.Rows().size(), 2U);
}

TEST_F(WebMetalink, FilesAreAddedUnaskedWithoutWindows) {
  const std::string other = "<file name=\"b.iso\"><url>https://m.example/b</url></file>";
  origin.File("/files.meta4", Document(File("a.iso", right) + other));
  app.SetHeadless();
  Add(kUrl);
  ASSERT_TRUE(sim.RunUntil([&] { return sim.disk().Has(Folder() + "/b.iso"); }, 600'000));
  EXPECT_TRUE(sim.disk().Has(Folder() + "/a.iso"));
  EXPECT_FALSE(window().addList->Visible());
}

TEST_F(WebMetalink, FilesOfOneThatAScriptHasAddedAreAddedUnasked) {
  const std::string other = "<file name=\"b.iso\"><url>https://m.example/b</url></file>";
  origin.File("/files.meta4", Document(File("a.iso", right) + other));
  sim.Do([&] { app.Add({.url = kUrl}, [](const AddAnswer&) {}); });
  ASSERT_TRUE(sim.RunUntil([&] { return sim.disk().Has(Folder() + "/b.iso"); }, 600'000));
  EXPECT_TRUE(sim.RunUntil([&] { return sim.disk().Has(Folder() + "/a.iso"); }, 600'000));
  EXPECT_FALSE(window().addList->Visible());
}

TEST_F(WebMetalink, FilesGoToTheFolderOfTheMetalinkWithItsSpeedLimit) {
  origin.File("/files.meta4", Document(File("a.iso", right)));
  sim.platform().files.CreateFolder("/home/u/other");
  sim.Do([&] { app.Add({.url = kUrl, .folder = "/home/u/other", .limit = 400}, [](const AddAnswer&) {}); });
  ASSERT_TRUE(sim.RunUntil([&] { return sim.disk().Has("/home/u/other/a.iso"); }, 600'000)) << Web().reason;
  EXPECT_EQ(program().speed->LimitOf(1), 400 * 1024);
}

// Where http goes to the classic engine, that would ignore checksum and mirrors, and write over a file of the name.
TEST_F(WebMetalink, AddressesOfTheClassicEngineDoNotTakeTheFileFromTheWebEngine) {
  const std::string url = "<url priority=\"1\">http://o.example/a.bin</url>";
  std::string file = File("a.iso", right);
  file.insert(file.find("<url"), url);
  origin.File("/files.meta4", Document(file));
  Add(kUrl);
  ASSERT_TRUE(sim.RunUntil([&] { return sim.disk().Has(Folder() + "/a.iso"); }, 600'000));
  EXPECT_EQ(Record(1).URL, "https://o.example/a.bin");
}

TEST_F(WebMetalink, FileOfTheClassicEngineAloneIsRefusedWithItsChecksum) {
  origin.File("/files.meta4", Document("<file name=\"a.iso\"><hash type=\"sha-256\">" + right +
                                       "</hash><url>http://o.example/a.bin</url></file>"));
  Add(kUrl);
  sim.RunFor(20'000);
  EXPECT_EQ(Listed(), 0);
  ASSERT_TRUE(window().addList->Visible());
  const ListRow& row = window().addList->ListView1.Rows().at(0);
  EXPECT_EQ(row.subItems.at(2), TextOf(program(), WebText::ChecksumLost));
  EXPECT_FALSE(row.checked);
}

TEST_F(WebMetalink, ALocalOneIsShownWhenItIsDropped) {
  sim.disk().Put("/home/u/x.META4", Document(File("a.iso", right)));
  sim.disk().Put("/home/u/bad.meta4", "no document");
  EXPECT_TRUE(Drop("file:///home/u/x.META4"));
  EXPECT_TRUE(Drop("file:///home/u/bad.meta4"));
  sim.RunFor(2000);
  ASSERT_EQ(window().addList->ListView1.Rows().size(), 1U);
  sim.Do([&] { window().addList->Command1.Click(); });
  ASSERT_TRUE(sim.RunUntil([&] { return sim.disk().Has(Folder() + "/a.iso"); }, 600'000));
  EXPECT_FALSE(mirror.Requests().empty());
}

TEST_F(WebMetalink, OneThatNamesNoFileIsKeptWithANote) {
  for (const std::string& text : {Document(""), std::string("no document"), Document("<file name=\"a\"/>")}) {
    WebApp run;
    SimHttpServer server(run.sim.network(), "o.example", 443);
    server.File("/files.meta4", text);
    run.Start();
    run.Add(kUrl);
    ASSERT_TRUE(run.RunUntilFinished());
    EXPECT_EQ(run.Web().reason, "This Metalink names no file that Pellora can download.");
    EXPECT_TRUE(run.sim.disk().Holds(run.Folder() + "/files.meta4", SimContent(text)));
  }
}

TEST_F(WebMetalink, OneThatIsTooLongIsAFileLikeAnyOther) {
  origin.File("/files.meta4", SimContent::Generated(kLongestMetalink + 1, 1));
  Add(kUrl);
  ASSERT_TRUE(RunUntilFinished());
  EXPECT_EQ(Web().reason, "");
}

}  // namespace
}  // namespace pellora
