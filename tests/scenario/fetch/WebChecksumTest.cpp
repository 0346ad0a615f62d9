// Checksums of finished files: where they come from, and what right and wrong ones lead to.
#include <algorithm>

#include "WebChecksumRig.h"
#include "core/Ascii.h"

namespace pellora::checksums {
namespace {

TEST(WebChecksum, RightOneOfTheUserFinishesAndTheRowSaysSo) {
  for (const ChecksumKind kind : {Md5, Sha1, Sha256, Sha512}) {
    ChecksumRig rig;
    rig.StartWith(SumOf(kind));
    ASSERT_TRUE(rig.RunUntilFinished()) << rig.sim.Replay();
    EXPECT_TRUE(rig.IsWhole());
    const std::string says = ToUpper(NameOf(kind)) + " checked";
    EXPECT_EQ(rig.Web().reason, says);
    EXPECT_EQ(rig.WindowOf()->state.Caption(), "text521 " + says);
    EXPECT_EQ(rig.services->journal.Entries().front().reason, says);
  }
}

TEST(WebChecksum, WithoutOneNothingIsHashed) {
  ChecksumRig rig;
  rig.Start(kUrl);
  ASSERT_TRUE(rig.RunUntilFinished());
  EXPECT_EQ(rig.sim.digests().begun, 0);
  EXPECT_EQ(rig.Web().reason, "");
  EXPECT_EQ(rig.WindowOf()->state.Caption(), "text521");
}

TEST(WebChecksum, WrongOneNeverBecomesTheFinishedFile) {
  ChecksumRig rig;
  rig.StartWith(WrongSum(Sha256));
  ASSERT_TRUE(rig.RunUntilAsked());
  rig.sim.RunFor(10'000);
  EXPECT_FALSE(rig.Record().Finished);
  EXPECT_LT(rig.Record().Percent, 100.0F);
  EXPECT_TRUE(rig.HasPartOnly());
  const std::string reason =
      "The checksum is wrong: the file's SHA-256 is " + Shown(SumOf(Sha256)) + " instead of 00000000...00000000.";
  EXPECT_EQ(rig.Web().reason, reason);
  EXPECT_EQ(rig.Web().standing, WebStanding::Stopped);
  EXPECT_EQ(rig.WindowOf()->state.Caption(),
            reason + " Fetch it again? The part that is here is kept until the new file is complete.");
  EXPECT_EQ(rig.WindowOf()->Command1.Caption(), "Fetch Again");
  EXPECT_EQ(rig.WindowOf()->Command3.Caption(), "Keep This Part");
}

TEST(WebChecksum, FetchingAgainKeepsThePartUntilTheNewFileIsRight) {
  ChecksumRig rig({}, kOther);
  rig.StartWith(SumOf(Sha256));
  ASSERT_TRUE(rig.RunUntilAsked());
  Serve(rig.origin);
  rig.Answer(true);
  ASSERT_TRUE(rig.sim.RunUntil([&] { return rig.InFolder().size() == 2; }, 5000));
  ASSERT_TRUE(rig.RunUntilFinished());
  rig.sim.RunFor(1000);
  EXPECT_TRUE(rig.IsWhole());
  EXPECT_EQ(rig.Web().reason, "SHA-256 checked");
}

TEST(WebChecksum, KeptPartIsCheckedAgainWhenResumedAndNotFetched) {
  ChecksumRig rig;
  rig.StartWith(WrongSum(Sha1));
  ASSERT_TRUE(rig.RunUntilAsked());
  rig.Answer(false);
  rig.sim.RunFor(1000);
  EXPECT_EQ(rig.Web().standing, WebStanding::Stopped);
  EXPECT_TRUE(rig.HasPartOnly());
  const std::size_t requests = rig.origin.Requests().size();
  rig.Resume();
  ASSERT_TRUE(rig.RunUntilAsked());
  EXPECT_EQ(rig.origin.Requests().size(), requests);
  EXPECT_TRUE(rig.HasPartOnly());
}

TEST(WebChecksum, CheckShowsHowFarItIsBelowAHundredPercent) {
  ChecksumRig rig;
  rig.StartWith(SumOf(Sha256));
  ASSERT_TRUE(rig.RunIntoCheck());
  EXPECT_EQ(rig.WindowOf()->state.Caption(), "Checking 34 %");
  EXPECT_TRUE(rig.Record().Active);
  EXPECT_EQ(rig.Web().standing, WebStanding::Active);
  EXPECT_LT(rig.Record().Percent, 100.0F);
  EXPECT_TRUE(rig.HasPartOnly());
}

TEST(WebChecksum, PauseEndsACheckAndResumingBeginsItAgain) {
  ChecksumRig rig;
  rig.StartWith(SumOf(Sha256));
  ASSERT_TRUE(rig.RunIntoCheck());
  rig.Pause();
  rig.sim.RunFor(20'000);
  EXPECT_FALSE(rig.Record().Finished);
  EXPECT_EQ(rig.Web().standing, WebStanding::Paused);
  EXPECT_EQ(rig.Web().reason, "");
  EXPECT_TRUE(rig.HasPartOnly());
  EXPECT_EQ(rig.sim.downloadFiles().Locked(), 0U) << "a paused download holds no file open";
  const std::size_t requests = rig.origin.Requests().size();
  rig.Resume();
  ASSERT_TRUE(rig.RunUntilFinished());
  EXPECT_EQ(rig.origin.Requests().size(), requests);
  EXPECT_EQ(rig.sim.digests().begun, 2);
  EXPECT_TRUE(rig.IsWhole());
}

TEST(WebChecksum, KilledInMidCheckIsPausedThenCheckedAndNotFetchedAgain) {
  ChecksumRig rig;
  rig.StartWith(SumOf(Sha256));
  ASSERT_TRUE(rig.RunIntoCheck());
  rig.sim.disk().CutNow();
  rig.sim.RunFor(1000);
  ChecksumRig next({.disk = rig.sim.disk().TakeState()});
  next.Load();
  ASSERT_NE(next.program.Web(1), nullptr);
  EXPECT_EQ(next.Web().standing, WebStanding::Paused);
  EXPECT_EQ(next.Web().received, kLength);
  next.Resume();
  ASSERT_TRUE(next.RunUntilFinished());
  EXPECT_TRUE(next.origin.Requests().empty());
  EXPECT_TRUE(next.IsWhole());
  EXPECT_EQ(next.Web().reason, "SHA-256 checked");
}

TEST(WebChecksum, ReplyOfTheFirstRunCountsAfterARestart) {
  ChecksumRig rig;
  rig.Head("Repr-Digest: sha-256=:" + Base64(WrongSum(Sha256).hex) + ":");
  rig.Start(kUrl);
  ASSERT_TRUE(rig.RunIntoCheck());
  rig.sim.disk().CutNow();
  rig.sim.RunFor(1000);
  ChecksumRig next({.disk = rig.sim.disk().TakeState()});
  next.Load();
  next.Resume();
  ASSERT_TRUE(next.RunUntilAsked());
  EXPECT_TRUE(next.HasPartOnly());
}

TEST(WebChecksum, DiskThatCannotBeReadStopsTheCheckAndKeepsThePart) {
  ChecksumRig rig;
  rig.StartWith(SumOf(Sha256));
  ASSERT_TRUE(rig.RunIntoCheck());
  rig.sim.disk().FailWhere(
      [](DiskCall call, const std::string& path) { return call == DiskCall::Read && path.ends_with(".part"); });
  ASSERT_TRUE(rig.RunUntilStopped());
  EXPECT_TRUE(rig.Web().reason.starts_with("The file could not be read: ")) << rig.Web().reason;
  EXPECT_TRUE(rig.HasPartOnly());
  rig.sim.RunFor(5000);
  const std::size_t requests = rig.origin.Requests().size();
  rig.Resume();
  ASSERT_TRUE(rig.RunUntilFinished());
  EXPECT_EQ(rig.origin.Requests().size(), requests);
  EXPECT_TRUE(rig.IsWhole());
}

TEST(WebChecksum, FileReplacedInMidCheckIsNotTheFinishedOne) {
  ChecksumRig rig;
  rig.StartWith(SumOf(Sha256));
  ASSERT_TRUE(rig.RunIntoCheck());
  rig.sim.disk().Lose("/home/u/dl/a.bin.part");
  rig.sim.disk().Put("/home/u/dl/a.bin.part", kOther);
  ASSERT_TRUE(rig.RunUntilStopped());
  rig.sim.RunFor(5000);
  EXPECT_EQ(rig.Web().reason, "The unfinished file is missing, or another program has changed it.");
  EXPECT_TRUE(rig.HasPartOnly());
  EXPECT_TRUE(rig.sim.disk().Holds("/home/u/dl/a.bin.part", kOther)) << "it is another program's";
}

TEST(WebChecksum, KindThatTheSystemForbidsStopsIfItIsTheUsersOwnAlone) {
  ChecksumRig own;
  own.sim.digests().forbidden = {Md5};
  own.StartWith(SumOf(Md5));
  ASSERT_TRUE(own.RunUntilStopped());
  EXPECT_EQ(own.Web().reason, "This system does not compute MD5, so the file could not be checked.");
  EXPECT_TRUE(own.HasPartOnly());

  ChecksumRig found;
  found.sim.digests().forbidden = {Md5};
  found.Head("Digest: MD5=" + Base64(WrongSum(Md5).hex));
  found.Start(kUrl);
  ASSERT_TRUE(found.RunUntilFinished());
  EXPECT_EQ(found.Web().reason, "");
}

TEST(WebChecksum, EmptyFileIsCheckedToo) {
  for (const bool right : {true, false}) {
    ChecksumRig rig({}, "");
    rig.StartWith(right ? SumOf(Sha256, "") : WrongSum(Sha256));
    EXPECT_TRUE(right ? rig.RunUntilFinished() : rig.RunUntilAsked()) << right;
    EXPECT_EQ(rig.Record().Finished, right);
  }
}

TEST(WebChecksum, RightOneConfirmsALengthThatTheServerDidNotSay) {
  ChecksumRig rig;
  HttpFault fault;
  fault.http10 = true;
  fault.length = HttpLength::Missing;
  rig.origin.Always(fault);
  rig.StartWith(SumOf(Sha256));
  ASSERT_TRUE(rig.RunUntilFinished());
  EXPECT_EQ(rig.Web().reason, "SHA-256 checked");
}

// Replies

TEST(WebChecksum, RepliesNameOneForTheWholeFileInEveryAnswer) {
  for (const bool right : {true, false}) {
    const std::string base64 = Base64((right ? SumOf(Sha256) : WrongSum(Sha256)).hex);
    for (const std::string& line : {"Repr-Digest: sha-256=:" + base64 + ":", "Digest: SHA-256=" + base64}) {
      ChecksumRig rig;
      rig.Head(line);
      rig.Start(kUrl);
      EXPECT_TRUE(right ? rig.RunUntilFinished() : rig.RunUntilAsked()) << line;
      EXPECT_EQ(rig.Record().Finished, right) << line;
      EXPECT_EQ(rig.Web().reason.starts_with("SHA-256 checked"), right) << rig.Web().reason;
    }
  }
}

TEST(WebChecksum, OneOfTheBodyCountsInAWholeAnswerAlone) {
  for (const bool whole : {true, false}) {
    ChecksumRig rig;
    HttpFault fault;
    fault.extraHeaders = "Content-MD5: " + Base64(WrongSum(Md5).hex) + "\r\n";
    fault.ignoreRange = whole;
    rig.origin.Always(fault);
    rig.Start(kUrl);
    EXPECT_TRUE(whole ? rig.RunUntilAsked() : rig.RunUntilFinished());
    EXPECT_EQ(rig.Record().Finished, !whole);
  }
}

TEST(WebChecksum, TheUsersOwnIsCheckedBesidesAStrongerOneOfTheReplies) {
  struct Case {
    bool ownRight;
    bool foundRight;
  };
  for (const Case& c : {Case{true, true}, Case{true, false}, Case{false, true}}) {
    ChecksumRig rig;
    rig.Head("Digest: SHA-256=" + Base64((c.foundRight ? SumOf(Sha256) : WrongSum(Sha256)).hex));
    rig.StartWith(c.ownRight ? SumOf(Md5) : WrongSum(Md5));
    const bool right = c.ownRight && c.foundRight;
    EXPECT_TRUE(right ? rig.RunUntilFinished() : rig.RunUntilAsked());
    EXPECT_EQ(rig.Record().Finished, right);
    EXPECT_EQ(rig.Web().reason == "SHA-256 checked", right);
  }
}

TEST(WebChecksum, WeakerOneOfTheRepliesIsNotNeededBesidesTheUsersOwn) {
  ChecksumRig rig;
  rig.Head("Digest: MD5=" + Base64(WrongSum(Md5).hex));
  rig.StartWith(SumOf(Sha256));
  ASSERT_TRUE(rig.RunUntilFinished());
}

TEST(WebChecksum, NewVersionIsNotJudgedByTheOldOnesChecksum) {
  ChecksumRig rig;
  rig.Head("Digest: SHA-256=" + Base64(SumOf(Sha256).hex), 100'000);
  rig.Start(kUrl);
  ASSERT_TRUE(rig.RunUntilReceived(1'000'000));
  rig.Pause();
  rig.sim.RunFor(1000);
  rig.origin.File("/dir/a.bin", kOther);
  rig.origin.Traits("/dir/a.bin").validators = {{.etag = "\"2\"", .modified = 1'700'000'500}};
  rig.Head("Digest: SHA-256=" + Base64(SumOf(Sha256, kOther).hex));
  rig.Resume();
  ASSERT_TRUE(rig.RunUntilAsked());
  rig.Answer(true);
  ASSERT_TRUE(rig.RunUntilFinished());
  EXPECT_TRUE(rig.sim.disk().Holds("/home/u/dl/a.bin", kOther));
}

// Lists beside the file

struct SeekRig : ChecksumRig {
  explicit SeekRig(SimOptions options = {}) : ChecksumRig(std::move(options)) { program.settings.SeekChecksums = true; }
  void List(const std::string& name, const std::string& text) { origin.File("/dir/" + name, text, "text/plain"); }
  Names Targets() {
    Names targets;
    for (const HttpRequest& request : origin.Requests()) {
      if (request.target != "/dir/a.bin") targets.push_back(request.target);
    }
    return targets;
  }
};

TEST(WebChecksumLists, AreNotLookedForUnlessTheSettingSaysSo) {
  SeekRig rig;
  rig.program.settings.SeekChecksums = false;
  rig.List("SHA256SUMS", WrongSum(Sha256).hex + "  a.bin\n");
  rig.Start(kUrl);
  ASSERT_TRUE(rig.RunUntilFinished());
  EXPECT_EQ(rig.Targets(), Names{});
}

TEST(WebChecksumLists, DecideWhereTheyNameTheFile) {
  for (const bool right : {true, false}) {
    const std::string digits = (right ? SumOf(Sha256) : WrongSum(Sha256)).hex;
    for (const bool ofOne : {true, false}) {
      SeekRig rig;
      if (ofOne) rig.List("a.bin.sha256", digits + "\n");
      if (!ofOne) rig.List("SHA256SUMS", WrongSum(Sha256).hex + "  b.bin\n" + digits + " *a.bin\n");
      rig.Start(kUrl);
      EXPECT_TRUE(right ? rig.RunUntilFinished() : rig.RunUntilAsked());
      EXPECT_EQ(rig.Record().Finished, right);
      EXPECT_EQ(rig.Web().reason == "SHA-256 checked", right);
      EXPECT_EQ(rig.Targets(), ofOne ? (Names{"/dir/SHA256SUMS", "/dir/a.bin.sha256"}) : Names{"/dir/SHA256SUMS"});
    }
  }
}

TEST(WebChecksumLists, MissingOnesChangeNothing) {
  SeekRig rig;
  rig.Start(kUrl);
  ASSERT_TRUE(rig.RunUntilFinished());
  EXPECT_TRUE(rig.IsWhole());
  EXPECT_EQ(rig.Web().reason, "");
  EXPECT_EQ(rig.WindowOf()->state.Caption(), "text521");
  EXPECT_EQ(rig.Targets(), (Names{"/dir/SHA256SUMS", "/dir/a.bin.sha256"}));
}

TEST(WebChecksumLists, AreNotLookedForWhereAsGoodOnesAreKnown) {
  SeekRig own;
  own.StartWith(SumOf(Md5));
  ASSERT_TRUE(own.RunUntilFinished());
  EXPECT_EQ(own.Targets(), Names{});
  SeekRig found;
  found.Head("Digest: SHA-512=" + Base64(SumOf(Sha512).hex));
  found.Start(kUrl);
  ASSERT_TRUE(found.RunUntilFinished());
  EXPECT_EQ(found.Targets(), Names{});
}

TEST(WebChecksumLists, LongOnesSlowOnesAndRedirectedOnesAreGivenUp) {
  const std::string wrong = WrongSum(Sha256).hex + "  a.bin\n";
  SeekRig tooLong;
  tooLong.List("SHA256SUMS", wrong + std::string(std::size_t{1} << 20, '\n'));
  tooLong.Start(kUrl);
  EXPECT_TRUE(tooLong.RunUntilFinished());

  SeekRig elsewhere;
  elsewhere.origin.Redirect("/dir/SHA256SUMS", "https://o.example/other/SHA256SUMS");
  elsewhere.origin.File("/other/SHA256SUMS", wrong);
  elsewhere.Start(kUrl);
  EXPECT_TRUE(elsewhere.RunUntilFinished());

  SeekRig slow;
  slow.List("SHA256SUMS", wrong);
  slow.origin.OnEach([](const HttpRequest& request) -> std::optional<HttpFault> {
    HttpFault fault;
    if (request.target != "/dir/a.bin") fault.thinkTime = 60'000;
    return fault;
  });
  slow.Start(kUrl);
  ASSERT_TRUE(slow.RunUntilReceived(kLength));
  const double before = slow.sim.Elapsed();
  EXPECT_TRUE(slow.sim.RunUntil([&] { return slow.Web().reason == "Looking for a checksum"; }, 5000));
  EXPECT_TRUE(slow.RunUntilFinished(1, 15'000));
  EXPECT_LT(slow.sim.Elapsed() - before, 12'000);
}

TEST(WebChecksumLists, PauseEndsTheSearch) {
  SeekRig rig;
  rig.List("SHA256SUMS", SumOf(Sha256).hex + "  a.bin\n");
  rig.origin.OnEach([](const HttpRequest& request) -> std::optional<HttpFault> {
    HttpFault fault;
    if (request.target != "/dir/a.bin") fault.thinkTime = 3000;
    return fault;
  });
  rig.Start(kUrl);
  ASSERT_TRUE(rig.sim.RunUntil([&] { return rig.Web().reason == "Looking for a checksum"; }, 60'000));
  rig.Pause();
  rig.sim.RunFor(20'000);
  EXPECT_EQ(rig.Web().standing, WebStanding::Paused);
  EXPECT_TRUE(rig.HasPartOnly());
  EXPECT_EQ(rig.origin.Open(), 0);
  rig.Resume();
  ASSERT_TRUE(rig.RunUntilFinished());
  EXPECT_EQ(rig.Web().reason, "SHA-256 checked");
}

TEST(WebChecksumLists, AreInTheFolderWhereRedirectsHaveLed) {
  SeekRig rig;
  rig.origin.Redirect("/get", "https://o.example/dir/a.bin?token=1");
  rig.origin.File("/dir/a.bin?token=1", kContent);
  rig.List("SHA256SUMS", SumOf(Sha256).hex + "  a.bin\n");
  rig.Start("https://o.example/get");
  ASSERT_TRUE(rig.RunUntilFinished());
  EXPECT_EQ(rig.Web().reason, "SHA-256 checked");
}

TEST(WebChecksumLists, NameOfTheAddressCountsAndNoneThatTheServerOrTheDiskGives) {
  SeekRig rig;
  rig.origin.Traits("/dir/a.bin").disposition = "attachment; filename=\"b.bin\"";
  rig.List("SHA256SUMS", WrongSum(Sha256).hex + "  b.bin\n");
  rig.Start(kUrl);
  ASSERT_TRUE(rig.RunUntilFinished());
  EXPECT_EQ(rig.Web().reason, "");
  EXPECT_EQ(rig.InFolder(), Names{"b.bin"});
}

TEST(WebChecksumLists, NameOfTheGivenAddressCountsAfterRedirectsToo) {
  SeekRig rig;
  rig.origin.Redirect("/get/a.bin", "https://o.example/dir/store?id=1");
  rig.origin.File("/dir/store?id=1", kContent);
  rig.List("SHA256SUMS", SumOf(Sha256).hex + "  a.bin\n");
  rig.Start("https://o.example/get/a.bin");
  ASSERT_TRUE(rig.RunUntilFinished());
  EXPECT_EQ(rig.Web().reason, "SHA-256 checked");
}

// Pieces

PieceHashes PiecesOf(const SimContent& content, std::int64_t length) {
  PieceHashes pieces{Sha1, length, {}};
  const std::string bytes = content.All();
  for (std::size_t at = 0; at < bytes.size(); at += static_cast<std::size_t>(length)) {
    pieces.hex.push_back(SimDigitsOf(Sha1, bytes.substr(at, static_cast<std::size_t>(length))));
  }
  return pieces;
}

// The file with other bytes in [1,100,000, 1,300,000).
SimContent Damaged() {
  std::string bytes = kContent.All();
  bytes.replace(1'100'000, 200'000, 200'000, 'x');
  return bytes;
}

struct PieceRig : ChecksumRig {
  explicit PieceRig(bool withWhole) : ChecksumRig({}, Damaged()) {
    WebAdd add;
    if (withWhole) add.checksum = SumOf(Sha256);
    add.pieces = PiecesOf(kContent, 500'000);
    Start(kUrl, add);
  }
};

TEST(WebChecksumPieces, WrongOnesAloneAreFetchedAgain) {
  for (const bool withWhole : {true, false}) {
    PieceRig rig(withWhole);
    ASSERT_TRUE(rig.RunUntilAsked()) << rig.sim.Replay();
    EXPECT_EQ(rig.WindowOf()->Command1.Caption(), "Fetch Wrong Pieces Again");
    const std::string ofWhole = "The checksum is wrong: the file's SHA-256 is " + Shown(SumOf(Sha256, Damaged())) +
                                " instead of " + Shown(SumOf(Sha256)) + ".";
    EXPECT_EQ(rig.Web().reason, withWhole ? ofWhole : "1 of the file's 6 pieces have a wrong checksum.");
    Serve(rig.origin);
    const std::size_t before = rig.origin.Requests().size();
    rig.Answer(true);
    ASSERT_TRUE(rig.RunUntilFinished());
    EXPECT_TRUE(rig.IsWhole());
    EXPECT_EQ(rig.Web().reason, withWhole ? "SHA-256 checked" : "SHA-1 checked");
    for (std::size_t i = before; i < rig.origin.Requests().size(); ++i) {
      const std::string range = rig.origin.Requests()[i].Header("Range").value_or("");
      EXPECT_TRUE(range.starts_with("bytes=1")) << range;
    }
  }
}

TEST(WebChecksumPieces, StillWrongOnesAreAskedAboutAgain) {
  PieceRig rig(true);
  ASSERT_TRUE(rig.RunUntilAsked());
  rig.Answer(true);
  ASSERT_TRUE(rig.RunUntilAsked());
  EXPECT_TRUE(rig.HasPartOnly());
}

TEST(WebChecksumPieces, AllRightUnderAWrongWholeOneMeansTheFileAgain) {
  ChecksumRig rig;
  WebAdd add;
  add.checksum = WrongSum(Sha256);
  add.pieces = PiecesOf(kContent, 500'000);
  rig.Start(kUrl, add);
  ASSERT_TRUE(rig.RunUntilAsked());
  EXPECT_EQ(rig.WindowOf()->Command1.Caption(), "Fetch Again");
}

TEST(WebChecksumPieces, ThoseOfAnotherLengthCountForNothing) {
  ChecksumRig rig;
  WebAdd add;
  add.pieces = PiecesOf(kContent, 500'000);
  add.pieces->hex.pop_back();
  rig.Start(kUrl, add);
  ASSERT_TRUE(rig.RunUntilFinished());
  EXPECT_EQ(rig.Web().reason, "");
}

TEST(WebChecksumPieces, SurviveAKill) {
  PieceRig rig(false);
  ASSERT_TRUE(rig.RunUntilReceived(1'000'000));
  rig.sim.disk().CutNow();
  rig.sim.RunFor(1000);
  ChecksumRig next({.disk = rig.sim.disk().TakeState()}, Damaged());
  next.Load();
  next.Resume();
  ASSERT_TRUE(next.RunUntilAsked());
  EXPECT_EQ(next.WindowOf()->Command1.Caption(), "Fetch Wrong Pieces Again");
}

}  // namespace
}  // namespace pellora::checksums
