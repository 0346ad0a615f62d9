// The viewer's requests, and how it reads the replies.
#include "ZipFixture.h"

namespace pellora {
namespace {

class ZipReading : public ZipFixture {
 protected:
  static std::string Request(const std::string& path, std::int64_t first, std::int64_t last) {
    return "GET " + path + " HTTP/1.1\r\nAccept: *.*, */*\r\nReferer: o.example\r\nHost: o.example\r\nRange: bytes=" +
           std::to_string(first) + "-" + std::to_string(last) + "\r\n\r\n";
  }
  // Connection 1 is the probe's, 2 ZIPReader's, 3 ZIP's.
  void Fault(int connection, const HttpFault& fault) { origin.OnConnection(connection, fault); }
  static HttpFault Raw(const std::string& reply) {
    HttpFault fault;
    fault.raw = reply;
    return fault;
  }
  static HttpFault Split(std::vector<std::uint64_t> at) {
    HttpFault fault;
    fault.wire.cut = SimCut::Whole;
    fault.wire.splitAt = std::move(at);
    return fault;
  }
  void StartAndWait() {
    Start("http://o.example/a.zip");
    ASSERT_TRUE(RunUntilViewed());
    sim.RunFor(3'600'000);
  }
  const std::vector<SimMember> three = {{"docs/"}, {"docs/a.txt", 10, 40}, {"b.txt", 5, 5}};
};

TEST_F(ZipReading, SendsTwoRequestsAndNothingElse) {
  ASSERT_TRUE(Open(three));
  const auto size = static_cast<std::int64_t>(SimArchive(three).size());
  const auto directory = static_cast<std::int64_t>(SimDirectory(three).size());
  ASSERT_EQ(origin.Requests().size(), 3U);
  EXPECT_EQ(origin.Requests()[1].bytes, Request("/a.zip", size - 22, size));
  EXPECT_EQ(origin.Requests()[2].bytes, Request("/a.zip", size - 22 - directory, size - 22));
  EXPECT_EQ(origin.Connections(), 3);
  sim.RunFor(3'600'000);
  EXPECT_EQ(origin.Requests().size(), 3U);
  EXPECT_EQ(Caption(), "45 bytes used by 3 file(s)  (15 bytes packed.)");
  EXPECT_EQ(Texts(*Viewer()), (std::vector<std::string>{"a.txt", "b.txt"}));
}

TEST_F(ZipReading, CountsItsBytesInTheSessionTotal) {
  ASSERT_TRUE(Open(three));
  std::uint64_t delivered = 0;
  for (const SimConnectionLog& entry : sim.network().Log()) delivered += entry.delivered;
  EXPECT_EQ(program.SessionTotal(), delivered);
}

TEST_F(ZipReading, RequestsOneByteForAnEmptyArchivesDirectory) {
  ASSERT_TRUE(Open({}));
  const auto size = static_cast<std::int64_t>(SimArchive({}).size());
  ASSERT_EQ(origin.Requests().size(), 3U);
  EXPECT_EQ(origin.Requests()[2].bytes, Request("/a.zip", size - 22, size - 22));
  EXPECT_EQ(Caption(), "0 bytes used by 0 file(s)  (0 bytes packed.)");
  EXPECT_TRUE(Viewer()->ListView1.Rows().empty());
  EXPECT_TRUE(Viewer()->ListView1.Sorted());
}

TEST_F(ZipReading, FetchesLittleButTheDirectoryOfALargeArchive) {
  std::vector<SimMember> members;
  members.reserve(30000);
  for (int i = 0; i < 30000; ++i) members.push_back({"folder/file" + std::to_string(i) + ".txt", 1, 2});
  const SimContent archive = SimArchive(members, 20'000'000);
  origin.File("/a.zip", archive);
  Start("http://o.example/a.zip");
  ASSERT_TRUE(RunUntilListed());
  EXPECT_EQ(Viewer()->Entries.size(), 30001U);
  EXPECT_EQ(Viewer()->ListView1.Rows().size(), 30000U);
  const std::deque<SimConnectionLog>& log = sim.network().Log();
  ASSERT_EQ(log.size(), 3U);
  EXPECT_LT(log[1].delivered, 22U + 500U);
  EXPECT_LT(log[2].delivered, SimDirectory(members).size() + 1 + 500);
}

TEST_F(ZipReading, BypassesTheProxy) {
  program.settings.ProxyHTTP = true;
  program.settings.ProxyServer = "proxy.example";
  program.settings.ProxyPort = 8080;
  SimHttpServer proxy(sim.network(), "proxy.example", 8080);
  proxy.File("/a.zip", SimArchive(three));
  ASSERT_TRUE(Open(three));
  EXPECT_EQ(proxy.Connections(), 1);
  EXPECT_EQ(origin.Connections(), 2);
  EXPECT_EQ(origin.Requests()[0].target, "/a.zip");
}

TEST_F(ZipReading, OpensOnlyForNamesEndingInZip) {
  for (const char* path : {"/a.ZIP", "/myzip", "/a.Zip", "/zip"}) {
    ZipRig rig;
    SimHttpServer server(rig.sim.network(), "o.example");
    server.File(path, SimArchive(three));
    rig.Start(std::string("http://o.example") + path);
    EXPECT_TRUE(rig.RunUntilListed()) << path;
    EXPECT_FALSE(rig.Record().Finished);
  }
  for (const char* path : {"/a.zipx", "/zi", "/a.zip.bin"}) {
    ZipRig rig;
    SimHttpServer server(rig.sim.network(), "o.example");
    server.File(path, SimArchive(three));
    rig.Start(std::string("http://o.example") + path);
    EXPECT_TRUE(rig.RunUntilFinished()) << path;
    EXPECT_EQ(rig.Viewer(), nullptr);
  }
}

TEST_F(ZipReading, OpensNothingWithTheSettingOff) {
  program.settings.AutoPreviewZIP = false;
  origin.File("/a.zip", SimArchive(three));
  Start("http://o.example/a.zip");
  ASSERT_TRUE(RunUntilFinished());
  EXPECT_EQ(Viewer(), nullptr);
  EXPECT_EQ(Output(), SimArchive(three));
}

TEST_F(ZipReading, OpensAfterARedirectToAnArchive) {
  origin.Redirect("/get", "http://o.example/real/a.zip");
  origin.File("/real/a.zip", SimArchive(three));
  Start("http://o.example/get");
  ASSERT_TRUE(RunUntilListed());
  EXPECT_EQ(origin.Requests().back().target, "/real/a.zip");
}

TEST_F(ZipReading, OpensNothingForAWebPageNamedZip) {
  origin.Page("/a.zip", 200, "text/html", "<html></html>");
  Start("http://o.example/a.zip");
  ASSERT_TRUE(RunUntilABoxStands());
  EXPECT_EQ(Viewer(), nullptr);
}

TEST_F(ZipReading, TrustsTheLast22BytesAfterAnArchiveComment) {
  // Far too large a directory is not read.
  origin.File("/a.zip", SimArchive(three, 100, std::string(22, 'A')));
  StartAndWait();
  ASSERT_TRUE(Viewer());
  EXPECT_EQ(Viewer()->EntryCount, 0x4141);
  EXPECT_EQ(Viewer()->DirectorySize, 0x41414141);
  EXPECT_EQ(Caption(), "Retrieving ZIP info...");
  EXPECT_EQ(origin.Connections(), 2);
}

TEST_F(ZipReading, ListsEntriesFakedByAnArchiveComment) {
  const std::string pretended = SimEndRecord(2, 50);
  origin.File("/a.zip", SimArchive(three, 100, pretended));
  Start("http://o.example/a.zip");
  ASSERT_TRUE(RunUntilListed());
  EXPECT_EQ(Viewer()->ListView1.Rows().size(), 2U);
  EXPECT_NE(Texts(*Viewer()), (std::vector<std::string>{"a.txt", "b.txt"}));
}

TEST_F(ZipReading, MisreadsEntriesAfterAnExtraField) {
  std::vector<SimMember> members = three;
  members[0].extra = std::string("UT\x05\0\x03", 5) + "abcd";
  ASSERT_TRUE(Open(members));
  EXPECT_EQ(Viewer()->Entries[1].Name, "docs/");
  EXPECT_NE(Viewer()->Entries[2].Name, "docs/a.txt");
}

TEST_F(ZipReading, ReadsAtMost22BytesIfTheServerIgnoresTheRange) {
  HttpFault whole;
  whole.ignoreRange = true;
  origin.Always(whole);
  origin.File("/a.zip", SimArchive(three, 5'000'000));
  StartAndWait();
  ASSERT_TRUE(Viewer());
  EXPECT_EQ(Viewer()->TailText, std::string(22, '\x7e'));
  EXPECT_EQ(Caption(), "Retrieving ZIP info...");
  EXPECT_LT(sim.network().Log()[1].delivered, 200'000U);
  EXPECT_EQ(sim.network().Log()[1].closedAt, -1);
  EXPECT_EQ(origin.Connections(), 2);
}

TEST_F(ZipReading, ListsGarbageIfTheServerIgnoresTheRangeOfAMatchingFile) {
  HttpFault whole;
  whole.ignoreRange = true;
  origin.Always(whole);
  origin.File("/a.zip", SimContent(SimEndRecord(3, 60) + SimArchive(three)));
  Start("http://o.example/a.zip");
  ASSERT_TRUE(RunUntilListed());
  EXPECT_EQ(Viewer()->DirectoryText, (SimEndRecord(3, 60) + SimArchive(three)).substr(0, 60));
  EXPECT_EQ(Viewer()->ListView1.Rows().size(), 3U);
}

TEST_F(ZipReading, ReadsAnErrorPageAsData) {
  HttpFault refused;
  refused.status = 503;
  refused.contentType = "text/plain";
  refused.page = std::string(40, 'e');
  Fault(2, refused);
  origin.File("/a.zip", SimArchive(three));
  StartAndWait();
  ASSERT_TRUE(Viewer());
  EXPECT_EQ(Viewer()->TailText, std::string(22, 'e'));
  EXPECT_EQ(Caption(), "Retrieving ZIP info...");
}

TEST_F(ZipReading, ReadsAHeaderWithoutAContentTypeAsData) {
  const std::string reply = "HTTP/1.1 206 Partial Content\r\nContent-Length: 22\r\n\r\n" + SimEndRecord(3, 60);
  Fault(2, Raw(reply));
  origin.File("/a.zip", SimArchive(three));
  StartAndWait();
  ASSERT_TRUE(Viewer());
  EXPECT_EQ(Viewer()->TailText, reply.substr(0, 22));
}

TEST_F(ZipReading, WaitsForeverForMissingBytes) {
  for (const int connection : {2, 3}) {
    ZipRig rig;
    SimHttpServer server(rig.sim.network(), "o.example");
    server.File("/a.zip", SimArchive(three));
    HttpFault fault;
    fault.hangInBody = 10;
    server.OnConnection(connection, fault);
    rig.Start("http://o.example/a.zip");
    ASSERT_TRUE(rig.RunUntilViewed());
    rig.sim.RunFor(3'600'000);
    EXPECT_EQ(rig.Viewer()->Label1.Caption(), connection == 2 ? "Connecting..." : "Retrieving ZIP info...");
    EXPECT_TRUE(rig.Viewer()->Visible());
    rig.sim.Do([&] { rig.Viewer()->ViewClosed(); });
    EXPECT_EQ(rig.sim.tasks().RunningTasks(), 0U);
  }
}

TEST_F(ZipReading, WaitsForeverForAFailedConnection) {
  HttpFault refused;
  refused.wire.refuse = true;
  Fault(2, refused);
  origin.File("/a.zip", SimArchive(three));
  StartAndWait();
  EXPECT_EQ(Caption(), "Connecting...");
  EXPECT_EQ(origin.Requests().size(), 1U);
}

TEST_F(ZipReading, LosesDataBeforeADoubleLineEndInABlockWithContentType) {
  std::vector<SimMember> members = three;
  members[1].name = "docs/content-type.txt";
  origin.File("/a.zip", SimArchive(members));
  // The directory's reply in two blocks; the second has the word but no header.
  const std::uint64_t head = 300;
  HttpFault fault = Split({head + 20});
  fault.extraHeaders = "X-Padding: " + std::string(100, '-') + "\r\n";
  Fault(3, fault);
  StartAndWait();
  EXPECT_EQ(Caption(), "Retrieving ZIP info...");  // it waits for the lost characters
  EXPECT_LT(Viewer()->DirectoryText.size(), SimDirectory(members).size());
}

// No cut causes a read out of bounds; the listing is right unless the header is cut.
TEST_F(ZipReading, SurvivesAReplySplitAnywhere) {
  int right = 0;
  for (const int connection : {2, 3}) {
    for (std::uint64_t at = 1; at < 420; at += 3) {
      ZipRig rig;
      SimHttpServer server(rig.sim.network(), "o.example");
      server.File("/a.zip", SimArchive(three));
      server.OnConnection(connection, Split({at}));
      rig.Start("http://o.example/a.zip");
      ASSERT_TRUE(rig.RunUntilViewed());
      rig.sim.RunFor(60'000);
      ASSERT_TRUE(rig.Viewer());
      if (Texts(*rig.Viewer()) == std::vector<std::string>{"a.txt", "b.txt"}) ++right;
    }
  }
  EXPECT_GT(right, 50);
  EXPECT_LT(right, 279);
}

TEST_F(ZipReading, SurvivesRepliesArrivingByteByByte) {
  HttpFault drip;
  drip.wire.cut = SimCut::EveryByte;
  Fault(2, drip);
  Fault(3, drip);
  origin.File("/a.zip", SimArchive(three));
  StartAndWait();
  ASSERT_TRUE(Viewer());
  EXPECT_EQ(Viewer()->TailText, "HTTP/1.1 206 Partial C");
}

TEST_F(ZipReading, ListsOnlyTheFirst32767Entries) {
  std::vector<SimMember> members;
  members.reserve(40000);
  for (int i = 0; i < 40000; ++i) members.push_back({std::to_string(i), 1, 1});
  ASSERT_TRUE(Open(members));
  EXPECT_EQ(Viewer()->EntryCount, 32767);
  EXPECT_EQ(Viewer()->ListView1.Rows().size(), 32767U);
  EXPECT_EQ(Caption(), "31.9 kb used by 32767 file(s)  (31.9 kb packed.)");
}

TEST_F(ZipReading, CapsTotalsBeyond31Bits) {
  ASSERT_TRUE(Open({{"a", 4000000000U, 4000000000U}, {"b", 1, 4000000000U}}));
  EXPECT_EQ(Caption(), "1.99 gb used by 2 file(s)  (1.99 gb packed.)");
}

TEST_F(ZipReading, KeepsEntriesBeforeANameOfImpossibleLength) {
  std::string archive = SimArchive(three);
  const std::size_t second = 100 + SimCentralRecord(three[0]).size();
  archive[second + 28] = '\xff';
  archive[second + 29] = '\xff';
  origin.File("/a.zip", archive);
  Start("http://o.example/a.zip");
  ASSERT_TRUE(RunUntilListed());
  EXPECT_EQ(Viewer()->Entries.size(), 2U);
  EXPECT_TRUE(Viewer()->ListView1.Sorted());
  EXPECT_EQ(Caption(), "0 bytes used by 1 file(s)  (0 bytes packed.)");
}

TEST_F(ZipReading, ReadsNoDirectoryOfMoreThan64MiB) {
  const std::string end = SimEndRecord(1, 64 * 1024 * 1024 + 1);
  const std::string head = "HTTP/1.1 200 OK\r\nContent-Type: application/zip\r\nContent-Length: ";
  Fault(1, Raw(head + "2000000000\r\n\r\n"));
  Fault(2, Raw(head + "22\r\n\r\n" + end));
  StartAndWait();
  ASSERT_TRUE(Viewer());
  EXPECT_EQ(Viewer()->DirectorySize, 64 * 1024 * 1024 + 1);
  EXPECT_EQ(Caption(), "Retrieving ZIP info...");
  EXPECT_EQ(origin.Connections(), 2);
}

TEST_F(ZipReading, SendsANegativeRangeForAFileBelow22Bytes) {
  origin.File("/a.zip", "0123456789");
  StartAndWait();
  EXPECT_EQ(origin.Requests().at(1).bytes, Request("/a.zip", -12, 10));
}

TEST_F(ZipReading, IgnoresALateBlockOfTheFirstRequest) {
  const std::string file = SimEndRecord(2, 60) + std::string(200'000, 'x');
  HttpFault whole;
  whole.ignoreRange = true;
  whole.wire.bytesPerSecond = 20'000;
  Fault(2, whole);
  HttpFault hang;
  hang.wire.hangAfterAccept = true;
  Fault(3, hang);
  origin.File("/a.zip", file);
  StartAndWait();
  EXPECT_EQ(origin.Connections(), 3);
  EXPECT_EQ(Caption(), "Retrieving ZIP info...");
  EXPECT_TRUE(Viewer()->DirectoryText.empty());
}

TEST_F(ZipReading, RequestsTheDirectoryAfterAReconnect) {
  HttpFault hang;
  hang.hangInBody = 0;
  Fault(2, hang);
  origin.File("/a.zip", SimArchive(three));
  Start("http://o.example/a.zip");
  ASSERT_TRUE(sim.RunUntil([&] { return origin.Requests().size() == 2; }));
  sim.Do([&] {
    Viewer()->ZIPReader.Close();
    Viewer()->ZIPReader.Connect("o.example", 80);
  });
  ASSERT_TRUE(sim.RunUntil([&] { return origin.Requests().size() == 3; }));
  const auto size = static_cast<std::int64_t>(SimArchive(three).size());
  EXPECT_EQ(Viewer()->ReadStage, 2);
  EXPECT_EQ(origin.Requests()[2].bytes, Request("/a.zip", size - 22, size - 22));
}

}  // namespace
}  // namespace pellora
