// Reading the directory of an archive from servers of all kinds.
#include "LookInsideRun.h"

namespace pellora {
namespace {

const std::vector<TestEntry> kTwo = {Packed("a.txt", "aaa"), Packed("b.txt", "bb")};

std::string Archive(std::size_t padding = 0, const std::string& comment = {}) {
  TestArchive archive{.entries = kTwo, .padding = std::string(padding, 'x'), .comment = comment};
  return archive.Bytes();
}

// Its directory does not fit into what is read first.
std::string LargeArchive(char content) {
  TestArchive archive;
  for (int i = 0; i < 3000; ++i) archive.entries.push_back(Stored("folder/file-" + std::to_string(i), {content}));
  return archive.Bytes();
}

bool IsListed(const std::string& state) { return state.ends_with(" packed.)"); }

TEST(WebArchives, ReadTheEndByOneRequestWithoutKnowingTheLength) {
  LookInsideRun run;
  const std::string archive = Archive(1'000'000);
  run.Serve(archive);
  const std::string state = run.Read();
  EXPECT_TRUE(IsListed(state)) << state;
  EXPECT_EQ(run.Rows(), (std::vector<std::string>{"a.txt", "b.txt"}));
  ASSERT_EQ(run.origin.Requests().size(), 1U);
  EXPECT_EQ(run.origin.Requests()[0].Header("Range"), "bytes=-131072");
}

TEST(WebArchives, ReadALargeDirectoryByTwoRequests) {
  LookInsideRun run;
  run.Serve(LargeArchive('1'));
  const std::string state = run.Read();
  EXPECT_TRUE(IsListed(state)) << state;
  EXPECT_EQ(run.Rows().size(), 3000U);
  EXPECT_EQ(run.origin.Requests().size(), 2U);
}

TEST(WebArchives, AskForTheSamePlaceIfAServerCannotCountFromTheEnd) {
  LookInsideRun run;
  const std::string archive = Archive(1'000'000);
  run.Serve(archive);
  run.origin.OnRequest(1, {.ignoreRange = true});
  const std::string state = run.Read();
  EXPECT_TRUE(IsListed(state)) << state;
  ASSERT_EQ(run.origin.Requests().size(), 2U);
  const std::size_t begin = archive.size() - 131072;
  EXPECT_EQ(run.origin.Requests()[1].Header("Range"),
            "bytes=" + std::to_string(begin) + "-" + std::to_string(archive.size() - 1));
}

TEST(WebArchives, AskForAByteIfAServerRefusesToCountFromTheEnd) {
  for (const HttpFault& refusal :
       {HttpFault{.status = 400}, HttpFault{.status = 501}, HttpFault{.ignoreRange = true, .chunked = true}}) {
    LookInsideRun run;
    const std::string archive = Archive(1'000'000);
    run.Serve(archive);
    run.origin.OnEach([&](const HttpRequest& request) -> std::optional<HttpFault> {
      const bool fromEnd = request.Header("Range").value_or("").starts_with("bytes=-");
      return fromEnd ? std::optional(refusal) : std::nullopt;
    });
    const std::string state = run.Read();
    EXPECT_TRUE(IsListed(state)) << state;
    ASSERT_EQ(run.origin.Requests().size(), 3U) << refusal.status;
    EXPECT_EQ(run.origin.Requests()[1].Header("Range"), "bytes=0-0");
    const std::size_t begin = archive.size() - 131072;
    EXPECT_EQ(run.origin.Requests()[2].Header("Range"),
              "bytes=" + std::to_string(begin) + "-" + std::to_string(archive.size() - 1));
  }
}

TEST(WebArchives, SayWhyIfAServerRefusesAByteAsWell) {
  LookInsideRun run;
  run.Serve(Archive(1'000'000));
  run.origin.Always({.ignoreRange = true, .chunked = true});
  EXPECT_EQ(run.Read(), run.Say(WebText::NoParts));
  EXPECT_EQ(run.origin.Requests().size(), 2U);
  run.sim.Do([&] { run.Viewer()->Unload(); });
  run.origin.Always({.status = 400});
  EXPECT_EQ(run.Read(), run.Say(WebText::Refused, {"400"}));
  EXPECT_EQ(run.origin.Requests().size(), 4U);
}

TEST(WebArchives, SayThatAServerGivesNoParts) {
  LookInsideRun run;
  run.Serve(Archive(1'000'000));
  run.origin.Always({.ignoreRange = true});
  EXPECT_EQ(run.Read(), run.Say(WebText::NoParts));
}

TEST(WebArchives, FollowRedirects) {
  LookInsideRun run;
  run.Serve(Archive());
  run.origin.Redirect("/latest", kUrl);
  const std::string state = run.Read({.url = "https://o.example/latest"});
  EXPECT_TRUE(IsListed(state)) << state;
}

TEST(WebArchives, EndCirclesOfRedirects) {
  LookInsideRun run;
  run.origin.Redirect("/a.zip", kUrl);
  EXPECT_EQ(run.Read(), run.Say(WebText::WrongAnswers));
  EXPECT_LT(run.origin.Requests().size(), 30U);
}

TEST(WebArchives, AskTheGivenAddressOnceMoreIfTheTargetOfItsRedirectHasExpired) {
  LookInsideRun run;
  run.Serve(LargeArchive('1'));
  run.origin.Traits("/a.zip").uses = 1;
  run.origin.File("/b.zip", SimContent(LargeArchive('1')));
  run.origin.Traits("/b.zip").validators = {{.etag = "\"1\""}};
  run.origin.Redirect("/latest", kUrl);
  run.Open({.url = "https://o.example/latest"});
  ASSERT_TRUE(run.sim.RunUntil([&] { return run.origin.Requests().size() >= 2; }));
  run.origin.Redirect("/latest", "https://o.example/b.zip");
  EXPECT_TRUE(run.RunUntilListed()) << run.State();
  EXPECT_EQ(run.Rows().size(), 3000U);
}

TEST(WebArchives, SayThatTheTargetOfARedirectHasExpiredForGood) {
  LookInsideRun run;
  run.Serve(LargeArchive('1'));
  run.origin.Traits("/a.zip").uses = 1;
  run.origin.Redirect("/latest", kUrl);
  EXPECT_EQ(run.Read({.url = "https://o.example/latest"}), run.Say(WebText::Refused, {"403"}));
  EXPECT_LT(run.origin.Requests().size(), 8U);
}

TEST(WebArchives, SayThatALoginIsNeededOrWrong) {
  for (const FetchAuth auth : {FetchAuth::Basic, FetchAuth::Digest}) {
    LookInsideRun run;
    run.Serve(Archive());
    run.origin.Traits("/a.zip").login = "bob:right";
    run.origin.Traits("/a.zip").auth = auth;
    EXPECT_EQ(run.Read(), run.Say(WebText::LoginNeeded));
    run.sim.Do([&] { run.Viewer()->Unload(); });

    ArchiveLook look{.url = kUrl};
    look.add.user = "bob";
    look.add.password = "wrong";
    EXPECT_EQ(run.Read(look), run.Say(WebText::WrongLogin));
    run.sim.Do([&] { run.Viewer()->Unload(); });

    look.add.password = "right";
    const std::string state = run.Read(look);
    EXPECT_TRUE(IsListed(state)) << state;
  }
}

TEST(WebArchives, EndIfAServerDemandsTheLoginInEverOtherWays) {
  LookInsideRun run;
  run.origin.OnEach([](const HttpRequest& request) -> std::optional<HttpFault> {
    const char* const way = request.number % 2 == 1 ? "Digest realm=\"x\", nonce=\"n\"" : "Basic realm=\"x\"";
    return HttpFault{.status = 401, .extraHeaders = std::string("WWW-Authenticate: ") + way + "\r\n"};
  });
  ArchiveLook look{.url = kUrl};
  look.add.user = "bob";
  look.add.password = "right";
  EXPECT_EQ(run.Read(look), run.Say(WebText::WrongLogin));
  EXPECT_LT(run.origin.Requests().size(), 20U);
}

TEST(WebArchives, SendTheCookiesThatCameWithAnAdd) {
  LookInsideRun run;
  run.Serve(Archive());
  run.origin.Traits("/a.zip").cookie = "key=1";
  EXPECT_EQ(run.Read(), run.Say(WebText::Refused, {"403"}));
  run.sim.Do([&] { run.Viewer()->Unload(); });
  ArchiveLook look{.url = kUrl};
  look.add.handOver.cookies = "key=1";
  const std::string state = run.Read(look);
  EXPECT_TRUE(IsListed(state)) << state;
}

TEST(WebArchives, BeginAnewIfTheArchiveChangesWhileItIsRead) {
  LookInsideRun run;
  run.Serve(LargeArchive('1'));
  run.origin.ChangeAfter(1, "/a.zip", SimContent(LargeArchive('2') + std::string(10, ' ')), {{.etag = "\"2\""}});
  const std::string state = run.Read();
  EXPECT_TRUE(IsListed(state)) << state;
  EXPECT_EQ(run.origin.Requests().size(), 4U);
}

TEST(WebArchives, SayThatAnArchiveKeepsChanging) {
  LookInsideRun run;
  run.Serve(LargeArchive('1'));
  run.origin.ChangeAfter(1, "/a.zip", SimContent(LargeArchive('2')), {{.etag = "\"2\""}});
  run.origin.ChangeAfter(3, "/a.zip", SimContent(LargeArchive('3')), {{.etag = "\"3\""}});
  EXPECT_EQ(run.Read(), run.Say(WebText::ChangedMeanwhile));
}

TEST(WebArchives, SayWhatIsNoArchive) {
  for (const std::size_t length : {std::size_t{0}, std::size_t{10}, std::size_t{500'000}}) {
    LookInsideRun run;
    run.Serve(Bytes(length, 1));
    EXPECT_EQ(run.Read(), run.Say(WebText::NoArchive)) << length;
    EXPECT_FALSE(run.Viewer()->Command1.Enabled());
  }
}

TEST(WebArchives, SayThatThereIsNothing) {
  LookInsideRun run;
  EXPECT_EQ(run.Read(), run.Say(WebText::NotFound));
}

TEST(WebArchives, ReadAnArchiveWithTheLongestComment) {
  LookInsideRun run;
  run.Serve(Archive(300'000, std::string(65'535, 'c')));
  const std::string state = run.Read();
  EXPECT_TRUE(IsListed(state)) << state;
}

TEST(WebArchives, TryALostConnectionAgain) {
  LookInsideRun run;
  run.Serve(Archive(1'000'000));
  run.origin.OnRequest(1, {.dropInBody = 1000});
  const std::string state = run.Read();
  EXPECT_TRUE(IsListed(state)) << state;
  EXPECT_EQ(run.origin.Requests().size(), 2U);
}

TEST(WebArchives, GiveUpAfterThreeLostConnections) {
  LookInsideRun run;
  run.Serve(Archive(1'000'000));
  run.origin.Always({.dropInBody = 1000});
  EXPECT_EQ(run.Read(), run.Say(WebText::ConnectionLost, {"o.example"}));
  EXPECT_EQ(run.origin.Requests().size(), 3U);
}

TEST(WebArchives, EndTheReadingOfASilentServer) {
  LookInsideRun run;
  run.Serve(Archive(1'000'000));
  run.origin.Always({.hangInBody = 1000});
  EXPECT_EQ(run.Read(), run.Say(WebText::Silent, {"o.example"}));
}

TEST(WebArchives, EndWithTheCallerOfTheirList) {
  LookInsideRun run;
  run.Serve(Archive(1'000'000));
  run.origin.Always({.wire = {.bytesPerSecond = 10'000}});
  int answers = 0;
  const auto list = [&](const std::string& caller) {
    run.sim.Do([&] {
      run.app.ListArchive({.url = kUrl, .caller = caller}, [&](const ListedArchive& archive) {
        ++answers;
        EXPECT_EQ(archive.entries.size(), 2U) << archive.reason;
      });
    });
  };
  list(":1.7");
  list(":1.8");
  run.sim.RunFor(3000);
  EXPECT_EQ(run.sim.network().Open(), 2);
  run.sim.Do([&] { run.app.CallerGone(":1.7"); });
  run.sim.RunFor(1000);
  EXPECT_EQ(run.sim.network().Open(), 1);
  run.sim.RunFor(60'000);
  EXPECT_EQ(answers, 1);
}

TEST(WebArchives, EndWithTheirWindow) {
  LookInsideRun run;
  run.Serve(Archive(1'000'000));
  run.origin.Always({.wire = {.bytesPerSecond = 10'000}});
  run.Open();
  run.sim.RunFor(3000);
  EXPECT_EQ(run.State(), run.Say(WebText::ReadingEnd));
  EXPECT_EQ(run.sim.network().Open(), 1);
  run.sim.Do([&] { run.Viewer()->ViewClosed(); });
  run.sim.RunFor(1000);
  EXPECT_EQ(run.sim.network().Open(), 0);
}

}  // namespace
}  // namespace pellora
