// Logins, mirrors, checksums, limits and changes of address, all in use at once, while downloads are paused, servers
// restart, the program is killed and the power fails. Whatever comes: a file under the right name is right, no secret
// is on the disk, and each download is finished, goes on, or is stopped with a reason.
#include <memory>
#include <string>
#include <utility>

#include "SimDigests.h"
#include "WebRig.h"
#include "core/EngineChoice.h"
#include "core/ListFile.h"
#include "core/SpeedLimit.h"
#include "fetch/WebRecords.h"

namespace pellora {
namespace {

constexpr const char* kUrl = "https://joe@o.example/a.bin";
constexpr const char* kNew = "https://n.example/new/a.bin?until=night";
constexpr const char* kOutput = "/home/u/dl/a.bin";
constexpr const char* kSecret = "s3cret-w0rd";

std::string Hex(ChecksumKind kind, const SimContent& content, std::int64_t from, std::int64_t length) {
  return SimDigitsOf(kind, content.Bytes(static_cast<std::uint64_t>(from), static_cast<std::uint64_t>(length)));
}

// What is the same in all runs of the program.
struct World {
  explicit World(std::uint64_t seed) : random(seed) {
    length = 1'000'000 + static_cast<std::int64_t>(random.Below(5'000'000));
    content = SimContent::Generated(static_cast<std::uint64_t>(length), seed);
    login = Chance(2);
    auth = Chance(2) ? FetchAuth::Digest : FetchAuth::Basic;
    etags = Chance(3) ? 0 : 1;
    ranges = !Chance(5);
    otherAtNew = Chance(4);
    repr = Chance(4);
    if (Chance(2)) add.checksum = Checksum{ChecksumKind::Sha256, Hex(ChecksumKind::Sha256, content, 0, length)};
    if (Chance(3)) {
      PieceHashes& pieces = add.pieces.emplace();
      pieces.length = 131'072;
      for (std::int64_t at = 0; at < length; at += pieces.length)
        pieces.hex.push_back(Hex(pieces.kind, content, at, std::min(pieces.length, length - at)));
    }
    if (Chance(2)) add.size = length;
    for (const char* url : {"https://m1.example/a.bin", "https://m2.example/a.bin", "https://m3.example/a.bin",
                            "http://m1.example/a.bin", "https://m4.example/a.bin"}) {
      // Without a checksum the first source that answers decides what the file is.
      const std::string text = url;
      const bool wrong = text.find("m2.") != text.npos || text.find("m3.") != text.npos || text.starts_with("http:");
      if (wrong && !add.checksum && !add.pieces) continue;
      if (Chance(2)) add.mirrors.push_back({url, static_cast<int>(1 + random.Below(9)), "", ""});
    }
    if (login) {
      add.user = "joe";
      if (Chance(2)) add.password = kSecret;
    }
    if (Chance(4)) add.speedLimit = 200'000 + static_cast<std::int64_t>(random.Below(500'000));
    if (Chance(4)) add.handOver.cookies = std::string("session=") + kSecret;
    if (Chance(4)) add.handOver.referrer = std::string("https://o.example/") + kSecret;
  }
  bool Chance(std::uint64_t of) { return random.Below(of) == 0; }

  SimRandom random;
  std::int64_t length;
  SimContent content;
  WebAdd add;
  bool login, ranges, otherAtNew, repr;
  FetchAuth auth;
  std::uint64_t etags;
};

class Session {
 public:
  Session(World& world, SimOptions options)
      : rig(std::move(options)),
        world_(world),
        origin_(rig.sim.network(), "o.example", 443),
        fresh_(rig.sim.network(), "n.example", 443),
        right_(rig.sim.network(), "m1.example", 443),
        wrong_(rig.sim.network(), "m2.example", 443),
        short_(rig.sim.network(), "m3.example", 443),
        plain_(rig.sim.network(), "m1.example", 80),
        sly_(rig.sim.network(), "m4.example", 443) {
    const SimContent other = SimContent::Generated(static_cast<std::uint64_t>(world.length), 99);
    Serve(origin_, "/a.bin", world.content, "\"1\"");
    if (world.login) {
      origin_.Traits("/a.bin").login = std::string("joe:") + kSecret;
      origin_.Traits("/a.bin").auth = world.auth;
    }
    Serve(fresh_, "/new/a.bin?until=night", world.otherAtNew ? other : world.content, "\"n\"");
    Serve(right_, "/a.bin", world.content, "\"m\"");
    Serve(wrong_, "/a.bin", other, "\"1\"");
    Serve(short_, "/a.bin", SimContent::Generated(static_cast<std::uint64_t>(world.length - 1), 3), "\"1\"");
    Serve(plain_, "/a.bin", other, "\"1\"");
    sly_.Redirect("/a.bin", "file:///etc/passwd");
  }

  void Serve(SimHttpServer& server, const std::string& path, const SimContent& bytes, const std::string& etag) {
    server.File(path, bytes);
    if (world_.etags > 0) server.Traits(path).validators = {{.etag = etag, .modified = 1'700'000'000}};
    HttpFault fault{.wire = {.bytesPerSecond = 300'000}, .ignoreRange = !world_.ranges};
    if (world_.repr) fault.extraHeaders = "Repr-Digest: sha-256=:bm90aGluZw==:, x=?1\r\nDigest: md5=\xff\r\n";
    server.Always(fault);
  }

  std::int16_t Index() {
    const std::int16_t old = rig.IndexOf(kUrl);
    return old != 0 ? old : rig.IndexOf(kNew);
  }
  bool Alive() { return !rig.sim.Killed(); }

  void Begin(bool first) {
    if (!first) rig.Load();
    if (!Alive()) return;
    const std::int16_t index = Index();
    if (index == 0) {
      rig.Start(kUrl, world_.add);
    } else if (!rig.Record(index).Finished) {
      rig.Resume(index);
    }
  }

  void Step() {
    const std::int16_t index = Index();
    if (index == 0 || rig.Record(index).Finished) return;
    switch (world_.random.Below(12)) {
      case 0:
        if (rig.program.TransferWindowAt(index)) rig.Pause(index);
        break;
      case 1:
      case 2:
      case 3:
        rig.Resume(index);
        break;
      case 4:
        if (rig.Asks(index)) rig.Answer(world_.Chance(2), index);
        break;
      case 5:
        origin_.Restart(static_cast<std::uint32_t>(world_.random.Below(40'000)));
        break;
      case 6:
        GiveLogin(world_.Chance(3) ? "wrong" : kSecret);
        break;
      case 7:
        if (rig.Record(index).URL == kUrl && !rig.Record(index).Active) ChangeAddress(index);
        break;
      case 8:
        rig.sim.Do([&] { SetSpeedLimitOf(rig.program, index, SomeLimit()); });
        break;
      case 9:
        rig.sim.Do([&] { SetSpeedLimit(rig.program, static_cast<std::int32_t>(SomeLimit() / 1024)); });
        break;
      case 10:
        rig.sim.Do([&] { SaveList(rig.program); });
        break;
      default:
        rig.sim.Stall(20'000);
    }
    if (Alive()) rig.sim.RunFor(world_.random.Below(6'000));
  }

  std::int64_t SomeLimit() {
    constexpr std::int64_t kLimits[] = {0, 1, 1024, 65'536, 400'000, 100'000'000, std::int64_t{1} << 45};
    return kLimits[world_.random.Below(7)];
  }
  void GiveLogin(const std::string& password) {
    rig.sim.Do([&] {
      rig.services->logins.Give({{"https", "o.example", 443, "origin"}, {}}, {"joe", password}, world_.Chance(2));
    });
  }
  void ChangeAddress(std::int16_t index) {
    if (rig.program.Web(index) == nullptr || rig.Web(index).received < 200'000) return;
    rig.sim.Do([&] { RememberAddress(rig.program, *rig.services, index, ReadOtherAddress(rig.program, kNew)); });
    rig.Resume(index);
  }

  // No more faults: questions are answered, logins given.
  void Settle() {
    for (int round = 0; round < 60; ++round) {
      const std::int16_t index = Index();
      if (index == 0 || rig.Record(index).Finished) return;
      if (round == 0) {
        rig.sim.Do([&] {
          SetSpeedLimit(rig.program, 0);
          SetSpeedLimitOf(rig.program, index, 0);
        });
      }
      if (world_.login) GiveLogin(kSecret);
      rig.sim.RunFor(1000);
      if (!world_.add.handOver.IsEmpty())
        rig.sim.Do([&] { (void)TakeHandOver(rig.program, *rig.services, index, world_.add.handOver); });
      if (rig.Asks(index)) {
        rig.Answer(true, index);
      } else if (!rig.Record(index).Active) {
        rig.Resume(index);
      }
      rig.RunUntilFinished(index, 60'000);
    }
  }

  std::string Wrong() {
    for (const std::string& path : {std::string("/prog/Pellora.fetch"), ListPath(rig.program)}) {
      if (rig.sim.disk().Has(path) && rig.sim.disk().Get(path).find(kSecret) != std::string::npos)
        return "a secret in " + path;
    }
    if (rig.sim.disk().Has(kOutput) && !rig.sim.disk().Holds(kOutput, world_.content)) {
      const std::int16_t index = Index();
      return "wrong file, of " + std::to_string(rig.sim.disk().Get(kOutput).size()) + " of " +
             std::to_string(world_.length) + " bytes, at " + (index > 0 ? rig.Record(index).URL : "") + " other " +
             std::to_string(world_.otherAtNew) + " checksum " + std::to_string(world_.add.checksum.has_value()) +
             " pieces " + std::to_string(world_.add.pieces.has_value()) + " mirrors " +
             std::to_string(world_.add.mirrors.size()) + " etags " + std::to_string(world_.etags) + " other: " +
             std::to_string(
                 rig.sim.disk().Holds(kOutput, SimContent::Generated(static_cast<std::uint64_t>(world_.length), 99)));
    }
    for (const SimHttpServer* server : {&fresh_, &right_, &wrong_, &short_, &plain_, &sly_}) {
      for (const HttpRequest& request : server->Requests()) {
        if (request.Header("Authorization") || request.Header("Cookie")) return "secret elsewhere: " + request.bytes;
      }
    }
    return "";
  }
  std::string Outcome() {
    const std::int16_t index = Index();
    if (index == 0) return "off the list";
    if (rig.Record(index).Finished) {
      if (!rig.sim.disk().Holds(rig.Record(index).SavePath, world_.content)) return "finished with wrong bytes";
      return "";
    }
    if (rig.program.Web(index) == nullptr) return "no figures";
    const WebFigures& web = rig.Web(index);
    return "not finished: standing " + std::to_string(static_cast<int>(web.standing)) + " " + web.reason;
  }

  WebRig rig;

 private:
  World& world_;
  SimHttpServer origin_, fresh_, right_, wrong_, short_, plain_, sly_;
};

class WebEverything : public testing::TestWithParam<int> {};

TEST_P(WebEverything, EndsWithTheRightFile) {
  const auto seed = static_cast<std::uint64_t>(GetParam());
  World world(seed);
  SimOptions options;
  options.seed = seed;
  for (int number = 0; number < 8; ++number) {
    const bool last = number == 7;
    Session run(world, std::move(options));
    if (!last && world.Chance(2))
      run.rig.sim.disk().CutAt(run.rig.sim.disk().Calls() + 1 + world.random.Below(200), world.Chance(2));
    run.Begin(number == 0);
    for (int step = 0; !last && run.Alive() && step < 12; ++step) run.Step();
    if (last) run.Settle();
    ASSERT_EQ(run.Wrong(), "") << "run " << number << " " << run.rig.sim.Replay();
    if (last) {
      EXPECT_EQ(run.Outcome(), "") << run.rig.sim.Replay();
      return;
    }
    if (world.Chance(2)) run.rig.sim.disk().PowerCut(seed + static_cast<std::uint64_t>(number));
    options = SimOptions();
    options.seed = seed * 100 + static_cast<std::uint64_t>(number) + 1;
    options.disk = run.rig.sim.disk().TakeState();
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, WebEverything, testing::Range(1, 61));

}  // namespace
}  // namespace pellora
