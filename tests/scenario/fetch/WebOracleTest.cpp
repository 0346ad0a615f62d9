// Whatever servers, disk and power do, a download by the web engine ends with the origin's bytes, or is stopped with a
// reason, or asks; and no wrong file ever has the name of the right one.
#include <set>

#include "WebRig.h"
#include "ports/Dialogs.h"

namespace pellora {
namespace {

constexpr const char* kUrl = "https://o.example/a.bin";
constexpr const char* kOutput = "/home/u/dl/a.bin";

void Serve(SimHttpServer& origin, const SimContent& content) {
  origin.File("/a.bin", content);
  origin.Traits("/a.bin").validators = {{.etag = "\"1\"", .modified = 1'700'000'000}};
}

// What is wrong with the outcome; empty if nothing is.
std::string Wrong(WebRig& rig, const SimContent& content) {
  const DownloadRecord& record = rig.Record();
  if (record.Finished) {
    if (record.SavePath != kOutput) return "finished as " + record.SavePath;
    if (rig.sim.disk().Holds(kOutput, content)) return "";
    return "finished with wrong bytes, " + std::to_string(rig.sim.disk().Get(kOutput).size()) + " of them";
  }
  if (rig.sim.disk().Has(kOutput)) return "not finished, but there is a file";
  if (!record.InUse) return "off the list";
  if (rig.program.Web(1) == nullptr) return "no figures";
  constexpr std::uint32_t kLongestWait = 10 * 60'000;                                                      // ms
  if (rig.Web().standing == WebStanding::Active && rig.WindowOf()->SilentFor() < kLongestWait) return "";  // bytes come
  if (rig.Web().standing != WebStanding::Stopped) return "neither finished nor stopped: " + rig.Web().reason;
  return rig.Web().reason.empty() ? "stopped without a reason" : "";
}

class WebMisbehaviour : public testing::TestWithParam<std::string> {};

TEST_P(WebMisbehaviour, EndsWithTheRightFileOrAReason) {
  for (const std::uint64_t length : {std::uint64_t{300'000}, std::uint64_t{5'000'000}}) {
    for (std::uint64_t seed = 1; seed <= 3; ++seed) {
      SimOptions options;
      options.seed = seed;
      WebRig rig(std::move(options));
      SimHttpServer origin(rig.sim.network(), "o.example", 443);
      const SimContent content = SimContent::Generated(length, 7);
      Serve(origin, content);
      ASSERT_TRUE(origin.Misbehave(GetParam()));
      rig.Start(kUrl);
      rig.sim.RunUntil(
          [&] { return rig.Record().Finished || (rig.program.Web(1) && rig.Web().standing == WebStanding::Stopped); },
          3 * 3'600'000);
      EXPECT_EQ(Wrong(rig, content), "") << length << " bytes, " << rig.sim.Replay();
    }
  }
}

std::string NameOf(const testing::TestParamInfo<std::string>& info) {
  std::string name;
  for (const char c : info.param) name += std::isalnum(static_cast<unsigned char>(c)) != 0 ? c : '_';
  return name + "_" + std::to_string(info.index);
}

INSTANTIATE_TEST_SUITE_P(Each, WebMisbehaviour, testing::ValuesIn(SimHttpServer::Misbehaviours()), NameOf);

// Kills at any call to the disk, with the power cut or not, until the file is complete.
// Every third server ignores ranges.
class WebKills : public testing::TestWithParam<int> {};

TEST_P(WebKills, TheFileIsRightAtTheEnd) {
  const auto seed = static_cast<std::uint64_t>(GetParam());
  SimRandom random(seed);
  const SimContent content = SimContent::Generated(3'000'000 + random.Below(20'000'000), seed);
  SimOptions options;
  options.seed = seed;
  bool finished = false;
  for (int run = 0; run < 60 && !finished; ++run) {
    auto rig = std::make_unique<WebRig>(std::move(options));
    SimHttpServer origin(rig->sim.network(), "o.example", 443);
    Serve(origin, content);
    origin.Always({.wire = {.bytesPerSecond = 500'000}, .ignoreRange = seed % 3 == 0});
    const bool killed = run < 12;
    if (killed) rig->sim.disk().CutAt(rig->sim.disk().Calls() + 1 + random.Below(150), random.Below(2) == 0);
    if (run > 0) rig->Load();
    std::int16_t index = rig->sim.Killed() ? std::int16_t{0} : rig->IndexOf(kUrl);
    if (!rig->sim.Killed() && index == 0) {
      index = rig->Start(kUrl);  // neither list nor journal had reached the disk
    } else if (!rig->sim.Killed() && !rig->Record(index).Finished) {
      rig->Resume(index);
    }
    if (!rig->sim.Killed()) rig->RunUntilFinished(index, 3'600'000);
    finished = !rig->sim.Killed() && rig->Record(index).Finished;
    if (!killed && !finished) FAIL() << "run " << run << ": " << rig->Web(index).reason << " " << rig->sim.Replay();
    if (rig->sim.disk().Has(kOutput)) {
      EXPECT_TRUE(rig->sim.disk().Holds(kOutput, content)) << "run " << run;
    }
    if (random.Below(2) == 0) rig->sim.disk().PowerCut(seed + static_cast<std::uint64_t>(run));
    options = SimOptions();
    options.seed = seed + static_cast<std::uint64_t>(run) + 1;
    options.disk = rig->sim.disk().TakeState();
  }
  EXPECT_TRUE(finished);
}

INSTANTIATE_TEST_SUITE_P(Seeds, WebKills, testing::Range(1, 61));

struct Changed {
  const char* name;
  HttpValidators before, after;
  bool ranges;
};

class WebChange : public testing::TestWithParam<Changed> {};

TEST_P(WebChange, IsNeverMixedIntoWhatIsHeld) {
  const Changed& change = GetParam();
  const SimContent old = SimContent::Generated(6'000'000, 1);
  const SimContent now = SimContent::Generated(6'000'000, 2);
  const auto serve = [&](SimHttpServer& origin, const SimContent& content, const HttpValidators& validators) {
    origin.File("/a.bin", content);
    if (!validators.etag.empty() || validators.modified >= 0) origin.Traits("/a.bin").validators = {validators};
    origin.Always({.wire = {.bytesPerSecond = 300'000}, .ignoreRange = !change.ranges});
  };
  WebRig first;
  SimHttpServer before(first.sim.network(), "o.example", 443);
  serve(before, old, change.before);
  first.Start(kUrl);
  ASSERT_TRUE(first.RunUntilReceived(2'000'000));
  first.Pause();
  first.sim.RunFor(10'000);
  SimOptions options;
  options.disk = first.sim.disk().TakeState();
  WebRig next(std::move(options));
  SimHttpServer after(next.sim.network(), "o.example", 443);
  serve(after, now, change.after);
  next.Load();
  next.Resume();
  ASSERT_TRUE(next.RunUntilAsked()) << next.sim.Replay();
  EXPECT_FALSE(next.sim.disk().Has(kOutput));
  next.Answer(true);
  ASSERT_TRUE(next.RunUntilFinished()) << next.sim.Replay();
  EXPECT_TRUE(next.sim.disk().Holds(kOutput, now));
  next.sim.RunFor(10'000);
  EXPECT_EQ(next.InFolder(), std::vector<std::string>{"a.bin"});
}

INSTANTIATE_TEST_SUITE_P(Each, WebChange,
                         testing::Values(Changed{"etag", {.etag = "\"1\""}, {.etag = "\"2\""}, true},
                                         Changed{
                                             "date", {.modified = 1'700'000'000}, {.modified = 1'700'000'100}, true},
                                         Changed{"unsaid", {}, {}, true},
                                         Changed{"etag_without_ranges", {.etag = "\"1\""}, {.etag = "\"2\""}, false},
                                         Changed{"unsaid_without_ranges", {}, {}, false}),
                         [](const auto& param) { return std::string(param.param.name); });

}  // namespace
}  // namespace pellora
