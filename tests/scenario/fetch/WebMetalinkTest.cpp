// Addresses that lead to a Metalink: its files are added in its place.
#include <set>

#include "SimDigests.h"
#include "WebApp.h"
#include "core/ListFile.h"
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

TEST_F(WebMetalink, FirstFileKeepsTheIdOfTheAdd) {
  const std::string other = "<file name=\"b.iso\"><url>https://m.example/b</url></file>";
  origin.File("/files.meta4", Document(File("a.iso", right) + other));
  std::string id;
  sim.Do([&] { app.Add({.url = kUrl}, [&](const AddAnswer& answer) { id = answer.id; }); });
  ASSERT_NE(id, "");
  std::set<std::string> urls;
  const bool done = sim.RunUntil(
      [&] {
        bool listed = false;
        bool finished = false;
        for (const DownloadInfo& info : app.List()) {
          if (info.id != id) continue;
          listed = true;
          urls.insert(info.url);
          finished = info.state == "finished";
        }
        EXPECT_TRUE(listed) << "a script that waits for it would end";
        return finished || !listed;
      },
      600'000);
  ASSERT_TRUE(done);
  EXPECT_EQ(urls, (std::set<std::string>{kUrl, "https://o.example/a.bin"}));
  EXPECT_EQ(Listed(), 2);
}

TEST_F(WebMetalink, TheIdGoesToTheFirstFileThatIsNotRefused) {
  const std::string other = "<file name=\"b.iso\"><url>https://m.example/b</url></file>";
  origin.File("/files.meta4", Document(File("a.iso", right) + other));
  Add("https://o.example/a.bin");
  std::string id;
  sim.Do([&] { app.Add({.url = kUrl}, [&](const AddAnswer& answer) { id = answer.id; }); });
  ASSERT_TRUE(sim.RunUntil([&] { return sim.disk().Has(Folder() + "/b.iso"); }, 600'000));
  sim.RunFor(1000);
  std::string url;
  for (const DownloadInfo& info : app.List()) {
    if (info.id == id) url = info.url;
  }
  EXPECT_EQ(url, "https://m.example/b");
}

// To the Metalink's own server alone.
TEST_F(WebMetalink, FilesGetLoginCookiesAndPageOfItsAdd) {
  origin.File("/files.meta4", Document("<file name=\"a.iso\"><url>https://o.example/a.bin</url></file>"
                                       "<file name=\"b.iso\"><url>https://m.example/b</url></file>"));
  sim.Do([&] {
    app.Add(
        {.url = kUrl, .user = "joe", .password = "s3cret", .referrer = "https://page.example/list", .cookies = "sid=1"},
        [](const AddAnswer&) {});
  });
  ASSERT_TRUE(sim.RunUntil([&] { return sim.disk().Has(Folder() + "/b.iso"); }, 600'000));
  ASSERT_TRUE(sim.RunUntil([&] { return sim.disk().Has(Folder() + "/a.iso"); }, 600'000));
  for (const HttpRequest& request : origin.Requests()) {
    EXPECT_TRUE(request.Header("Authorization")) << request.bytes;
    EXPECT_EQ(request.Header("Cookie"), "sid=1");
    EXPECT_EQ(request.Header("Referer"), "https://page.example/");
  }
  ASSERT_FALSE(mirror.Requests().empty());
  for (const HttpRequest& request : mirror.Requests()) {
    EXPECT_FALSE(request.Header("Authorization")) << request.bytes;
    EXPECT_FALSE(request.Header("Cookie")) << request.bytes;
    EXPECT_EQ(request.Header("Referer"), "https://page.example/");
  }
}

TEST_F(WebMetalink, FilesHaveItsPlaceInTheQueue) {
  origin.File("/files.meta4", Document(File("a.iso", right)));
  Add(kUrl);
  program().SetQueuePlace(1, 5);
  ASSERT_TRUE(sim.RunUntil([&] { return sim.disk().Has(Folder() + "/a.iso"); }, 600'000));
  EXPECT_EQ(program().QueuePlace(1), 5);
}

TEST_F(WebMetalink, OneThatNamesItselfIsAFileLikeAnyOther) {
  origin.File("/files.meta4", Document("<file name=\"a.iso\"><url>" + std::string(kUrl) + "</url></file>"));
  Add(kUrl);
  ASSERT_TRUE(RunUntilFinished());
  EXPECT_TRUE(sim.disk().Has(Folder() + "/files.meta4"));
  EXPECT_EQ(origin.Requests().size(), 1U);
}

// Even a server that makes up a new one for each request comes to an end.
TEST_F(WebMetalink, OneThatAnotherNamesIsAFileLikeAnyOther) {
  const std::string second = Document("<file name=\"c.meta4\"><url>" + std::string(kUrl) + "</url></file>");
  origin.File("/files.meta4", Document("<file name=\"b.meta4\"><url>https://o.example/b.meta4</url></file>"));
  origin.File("/b.meta4", second, "application/metalink4+xml");
  Add(kUrl);
  ASSERT_TRUE(sim.RunUntil([&] { return sim.disk().Has(Folder() + "/b.meta4"); }, 600'000));
  sim.RunFor(20'000);
  EXPECT_TRUE(sim.disk().Holds(Folder() + "/b.meta4", SimContent(second)));
  EXPECT_EQ(origin.Requests().size(), 2U);
  EXPECT_EQ(Listed(), 1);
}

TEST_F(WebMetalink, OneThatAnotherNamesStaysAFileOverARestart) {
  origin.File("/files.meta4", Document("<file name=\"b.meta4\"><url>https://m.example/b.meta4</url></file>"));
  mirror.Always({.thinkTime = 60'000});
  Add(kUrl);
  ASSERT_TRUE(sim.RunUntil([&] { return Record(1).URL == "https://m.example/b.meta4"; }, 600'000));
  sim.RunFor(5000);
  const std::string journal = sim.disk().Get(JournalPath(program()));
  EXPECT_NE(journal.find(" ofmetalink=1"), std::string::npos) << journal;
}

class WebLocalMetalink : public WebMetalink {
 protected:
  AddAnswer Give(const ScriptedAdd& wanted) {
    AddAnswer given;
    sim.Do([&] { app.Add(wanted, [&](const AddAnswer& answer) { given = answer; }); });
    sim.RunReady();
    return given;
  }
  static constexpr const char* kLocal = "/home/u/x.meta4";
  const std::string b = "<file name=\"b.iso\"><url>https://m.example/b</url></file>";
};

TEST_F(WebLocalMetalink, ScriptsAddItsFilesAndGetAnIdForEach) {
  const AddAnswer answer = Give({.url = kLocal, .metalink = Document(File("a.iso", right) + b)});
  EXPECT_EQ(answer.reason, "");
  ASSERT_EQ(answer.ids.size(), 2U);
  EXPECT_EQ(answer.id, answer.ids[0]);
  EXPECT_EQ(app.List().at(0).id, answer.ids[0]);
  EXPECT_EQ(app.List().at(1).id, answer.ids[1]);
  ASSERT_TRUE(RunUntilFinished(1));
  EXPECT_EQ(Web(1).reason, "SHA-256 checked");
  EXPECT_FALSE(mirror.Requests().empty());
  ASSERT_TRUE(RunUntilFinished(2));
  EXPECT_TRUE(sim.disk().Has(Folder() + "/b.iso"));
  EXPECT_FALSE(window().addList->Visible());
}

TEST_F(WebLocalMetalink, TakesTheOptionsOfTheAdd) {
  sim.platform().files.CreateFolder("/home/u/other");
  const AddAnswer answer = Give({.url = kLocal,
                                 .folder = "/home/u/other",
                                 .name = "mine.iso",
                                 .user = "joe",
                                 .password = "s3cret",
                                 .limit = 400,
                                 .later = true,
                                 .metalink = Document(File("a.iso", right))});
  EXPECT_EQ(answer.reason, "");
  EXPECT_EQ(program().speed->LimitOf(1), 400 * 1024);
  sim.RunFor(2000);
  EXPECT_TRUE(origin.Requests().empty());
  sim.Do([&] { app.Resume(answer.id); });
  ASSERT_TRUE(sim.RunUntil([&] { return sim.disk().Has("/home/u/other/mine.iso"); }, 600'000));
  EXPECT_TRUE(origin.Requests().at(0).Header("Authorization"));
}

TEST_F(WebLocalMetalink, IsRefusedWhatIsForOneFileOrOneServer) {
  const std::string both = Document(File("a.iso", right) + b);
  EXPECT_EQ(Give({.url = kLocal, .name = "x", .metalink = both}).reason,
            "The name is for one file, and the Metalink has several.");
  EXPECT_EQ(Give({.url = kLocal, .checksum = right, .metalink = both}).reason,
            "The checksum is for one file, and the Metalink has several.");
  EXPECT_EQ(Give({.url = kLocal, .user = "joe", .metalink = both}).reason,
            "The login or the cookies would go to several servers.");
  EXPECT_EQ(Give({.url = kLocal, .metalink = "no document"}).reason,
            "This Metalink names no file that Pellora can download.");
  EXPECT_EQ(Listed(), 0);
}

TEST_F(WebLocalMetalink, FilesThatAreRefusedDoNotHoldUpTheOthers) {
  Add("https://o.example/a.bin");
  const AddAnswer answer = Give({.url = kLocal, .metalink = Document(File("a.iso", right) + b)});
  EXPECT_EQ(answer.reason, "a.iso: It is in the list already.");
  EXPECT_EQ(answer.ids.size(), 1U);
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
