// The media port with misbehaving scripts as the preview process, and with the real one.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QElapsedTimer>
#include <QImage>
#include <QProcess>
#include <QString>
#include <QTimer>
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>

#include "Support.h"
#include "async/EventGate.h"
#include "async/TaskLoop.h"
#include "desktop/PreviewMedia.h"
#include "ports/Clipboard.h"
#include "ports/Dialogs.h"
#include "ports/EventLoop.h"
#include "ports/Failure.h"
#include "ports/Locale.h"
#include "ports/Machine.h"
#include "ports/Media.h"
#include "ports/Platform.h"
#include "ports/SettingsStore.h"
#include "ports/Shell.h"
#include "ui/MediaSurface.h"
#include "ui/Views.h"
#include "ui/Window.h"

namespace pellora {
namespace {

using namespace std::chrono_literals;

// A window without a view, as the owner of a surface.
struct Pane : Window {
  explicit Pane(Platform& given) : Window(given, "Pane", "") { Picture3.Resized(200, 150); }
  MediaSurface Picture3{this, "Picture3"};
};

// A window uses nothing of its platform before it is shown.
template <class Port>
Port& Unused() {
  static std::aligned_storage_t<64, 16> storage;
  return *reinterpret_cast<Port*>(&storage);
}

class PreviewMediaTest : public testing::Test {
 protected:
  PreviewMediaTest()
      : platform{gate,
                 Unused<EventLoop>(),
                 Unused<TaskLoop>(),
                 Unused<Clock>(),
                 Unused<Network>(),
                 Unused<Files>(),
                 Unused<SettingsStore>(),
                 Unused<Clipboard>(),
                 Unused<Dialogs>(),
                 Unused<Shell>(),
                 Unused<Machine>(),
                 Unused<Locale>(),
                 Unused<Tray>(),
                 Unused<WindowSystem>(),
                 Unused<Media>(),
                 Unused<Background>()},
        pane(std::make_shared<Pane>(platform)) {}

  ~PreviewMediaTest() override {
    graph.reset();
    EXPECT_TRUE(RunUntil([this] { return !media || media->Processes() == 0; }));
  }

  // Runs a script in place of the preview process.
  void Script(const std::string& text, const PreviewLimits& limits = {}) {
    const std::string path = folder.Path("script");
    Put(path, "#!/bin/sh\n" + text + "\n");
    ASSERT_EQ(chmod(path.c_str(), 0700), 0);
    Use(path, limits);
  }
  void Use(const std::string& program, const PreviewLimits& limits = {}) {
    graph.reset();
    media = std::make_unique<PreviewMedia>(gate, program, limits);
  }

  void Begin(const std::string& path) {
    outcome.reset();
    graph = media->NewGraph();
    graph->SetOwner(pane->Picture3);
    graph->RenderFile(path, [this](bool rendered) { outcome = rendered; });
    EXPECT_FALSE(outcome.has_value());  // the outcome is posted
  }
  bool Renders(const std::string& path) {
    Begin(path);
    EXPECT_TRUE(RunUntil([this] { return outcome.has_value(); }, 25000));
    return outcome.value_or(false);
  }
  std::shared_ptr<const MediaFrame> Frame() { return pane->Picture3.Frame; }
  bool RefusesOrders() {
    int refused = 0;
    for (const auto& order : {+[](MediaGraph& g) { g.Run(); }, +[](MediaGraph& g) { g.Stop(); },
                              +[](MediaGraph& g) { g.StopWhenReady(); }, +[](MediaGraph& g) { g.SetVolume(0); }}) {
      refused += !Skip([&] { order(*graph); });
    }
    return refused == 4;
  }

  Folder folder;
  EventGate gate;
  Platform platform;
  std::shared_ptr<Pane> pane;
  std::unique_ptr<PreviewMedia> media;
  std::unique_ptr<MediaGraph> graph;
  std::optional<bool> outcome;
};

// Headers and pixels as octal escapes for printf.
constexpr const char* kRendered = "printf '\\001\\000\\000\\000\\000\\000\\000\\000\\000\\000\\000\\000'\n";
constexpr const char* kRedPixel =
    "printf '\\002\\000\\000\\000\\001\\000\\000\\000\\001\\000\\000\\000\\000\\000\\377\\377'\n";

TEST_F(PreviewMediaTest, EmptyGraphRefusesCommands) {
  Use(PELLORA_PREVIEW);
  graph = media->NewGraph();
  EXPECT_TRUE(RefusesOrders());
  EXPECT_EQ(media->Processes(), 0);
}

TEST_F(PreviewMediaTest, RendersNothingIfTheProgramIsMissing) {
  Use(folder.Path("nothing here"));
  EXPECT_FALSE(Renders("/etc/passwd"));
  EXPECT_TRUE(RefusesOrders());
}

TEST_F(PreviewMediaTest, RendersNothingIfTheProcessDies) {
  for (const char* end : {"exit 0", "exit 7", "kill -SEGV $$"}) {
    Script(end);
    EXPECT_FALSE(Renders("/a.avi")) << end;
    EXPECT_TRUE(RefusesOrders());
  }
}

TEST_F(PreviewMediaTest, EndsASilentProcess) {
  Script("trap '' TERM; exec sleep 60", {.renderTimeout = 300ms});
  EXPECT_FALSE(Renders("/a.avi"));
  EXPECT_TRUE(RunUntil([this] { return media->Processes() == 0; }));
}

TEST_F(PreviewMediaTest, EndsAProcessThatUsesTheProcessorAndShowsNothing) {
  // The second blocks the kernel's signal.
  for (const char* start : {"", "trap '' XCPU\n"}) {
    Script(start + std::string(kRendered) + "while :; do :; done", {.processorTime = 1s});
    EXPECT_TRUE(Renders("/a.avi"));
    EXPECT_TRUE(RunUntil([this] { return media->Processes() == 0; })) << start;
    RunFor(50);
    EXPECT_TRUE(RefusesOrders()) << start;
  }
}

// The limit of processor time of the process whose number is in the file.
rlim_t ProcessorLimit(const std::string& file) {
  rlimit limit{};
  EXPECT_EQ(prlimit(std::stoi("0" + Content(file)), RLIMIT_CPU, nullptr, &limit), 0);
  return limit.rlim_cur;
}

TEST_F(PreviewMediaTest, RenewsProcessorTimeForFramesTaken) {
  const std::string number = folder.Path("number");
  Script("echo $$ >" + number + "\n" + kRendered + "while :; do\n" + kRedPixel +
             "read -r seen; i=0; while [ $i -lt 20000 ]; do i=$((i + 1)); done; done",
         {.processorTime = 3s});
  EXPECT_TRUE(Renders("/a.avi"));
  EXPECT_TRUE(RunUntil([&] { return ProcessorLimit(number) > 6; }));
  EXPECT_EQ(media->Processes(), 1);
  EXPECT_NE(Frame(), nullptr);
}

TEST_F(PreviewMediaTest, ExtendsProcessorTimeSlowlyDuringASound) {
  const std::string number = folder.Path("number");
  Script("echo $$ >" + number + "\n" + kRendered + "cat >/dev/null", {.processorTime = 1s});
  EXPECT_TRUE(Renders("/a.mp3"));
  RunFor(1500);
  EXPECT_LE(ProcessorLimit(number), 2U);  // one second more than starting took
  graph->Run();
  EXPECT_TRUE(RunUntil([&] { return ProcessorLimit(number) > 2; }));
  graph->Stop();
  const rlim_t before = ProcessorLimit(number);
  RunFor(5500);
  EXPECT_EQ(ProcessorLimit(number), before);
}

TEST_F(PreviewMediaTest, EndsAProcessThatSendsGarbage) {
  const char* const rubbish[] = {
      "exec yes",
      "printf '\\002\\000\\000\\000\\377\\377\\377\\377\\001\\000\\000\\000'; exec sleep 60",
      "printf '\\002\\000\\000\\000\\000\\000\\000\\000\\001\\000\\000\\000'; exec sleep 60",
      "printf '\\011\\000\\000\\000\\001\\000\\000\\000\\001\\000\\000\\000'; exec sleep 60",
  };
  for (const char* text : rubbish) {
    Script(text);
    EXPECT_FALSE(Renders("/a.avi")) << text;
    EXPECT_EQ(Frame(), nullptr);
    EXPECT_TRUE(RunUntil([this] { return media->Processes() == 0; })) << text;
  }
}

TEST_F(PreviewMediaTest, EndsAProcessThatFloodsFramesAndReadsNothing) {
  Script(std::string(kRendered) + "frames=" + folder.Path("frames") + "\n" + "i=0; while [ $i -lt 2000 ]; do " +
         std::string(kRedPixel, std::string(kRedPixel).size() - 1) +
         "; i=$((i + 1)); done >$frames\nwhile :; do cat $frames; done");
  EXPECT_TRUE(Renders("/a.avi"));
  EXPECT_TRUE(RunUntil([this] { return media->Processes() == 0; }));
  EXPECT_EQ(Frame(), nullptr);
  EXPECT_TRUE(RefusesOrders());
}

TEST_F(PreviewMediaTest, FrameReachesTheSurface) {
  Script(std::string(kRedPixel) + kRendered + "cat >/dev/null");
  EXPECT_TRUE(Renders("/a.avi"));
  ASSERT_NE(Frame(), nullptr);
  EXPECT_EQ(Frame()->width, 1);
  EXPECT_EQ(Frame()->pixels, std::vector<std::uint32_t>{0xffff0000U});
  graph.reset();
  EXPECT_EQ(Frame(), nullptr);
}

TEST_F(PreviewMediaTest, ProcessThatDiesLaterBlanksTheSurfaceAndRefusesCommands) {
  Script(std::string(kRedPixel) + kRendered + "while read -r order; do [ \"$order\" = run ] && kill -SEGV $$; done");
  EXPECT_TRUE(Renders("/a.avi"));
  graph->Run();
  EXPECT_TRUE(RunUntil([this] { return Frame() == nullptr; }));
  EXPECT_TRUE(RefusesOrders());
}

TEST_F(PreviewMediaTest, PassesFileSizeAndCommandsToTheProcess) {
  const std::string said = folder.Path("said");
  Script(std::string(kRendered) + "cat >" + said);
  EXPECT_TRUE(Renders("/d \xe4\n%/a.mp3"));
  graph->SetVolume(-1260);
  graph->Run();
  graph->StopWhenReady();
  graph->Stop();
  for (int tick = 0; tick < 5; ++tick) graph->SetOwner(pane->Picture3);
  pane->Picture3.Resized(300, 200);
  for (int tick = 0; tick < 5; ++tick) graph->SetOwner(pane->Picture3);
  const std::string expected = "open 200 150 /d%20%E4%0A%25/a.mp3\nvolume -1260\nrun\ncue\nstop\nsize 300 200\n";
  EXPECT_TRUE(RunUntil([&] { return Content(said).size() >= expected.size(); }));
  EXPECT_EQ(Content(said), expected);
}

TEST_F(PreviewMediaTest, GraphHoldsOneFile) {
  Script("exec sleep 60");
  Begin("/a.avi");
  EXPECT_THROW(graph->RenderFile("/b.avi", [](bool) {}), Failure);
  EXPECT_THROW(media->NewGraph()->RenderFile(std::string("/a\0b", 4), [](bool) {}), Failure);
}

TEST_F(PreviewMediaTest, KeepsThePicturesProportions) {
  Use(PELLORA_PREVIEW);
  QImage image(400, 200, QImage::Format_RGB32);
  image.fill(Qt::blue);
  ASSERT_TRUE(image.save(QString::fromStdString(folder.Path("a.png"))));
  EXPECT_TRUE(Renders(folder.Path("a.png")));
  ASSERT_NE(Frame(), nullptr);
  EXPECT_EQ(Frame()->width, 200);
  EXPECT_EQ(Frame()->height, 100);
  EXPECT_EQ(Frame()->pixels.at(0), 0xff0000ffU);
  // The process has exited; commands have no effect and the picture stays.
  EXPECT_TRUE(RunUntil([this] { return media->Processes() == 0; }));
  RunFor(50);
  graph->Run();
  graph->Stop();
  graph->SetVolume(-2000);
  RunFor(50);
  EXPECT_NE(Frame(), nullptr);
}

TEST_F(PreviewMediaTest, RendersNothingForOtherFiles) {
  Use(PELLORA_PREVIEW);
  Put(folder.Path("a.avi"), "no video");
  Put(folder.Path("empty.mp3"), "");
  for (const char* name : {"a.avi", "empty.mp3", "missing.avi", "."}) {
    EXPECT_FALSE(Renders(folder.Path(name))) << name;
    EXPECT_EQ(Frame(), nullptr);
  }
}

TEST_F(PreviewMediaTest, RefusesAPipeNamedLikeAVideoWithoutWaiting) {
  Use(PELLORA_PREVIEW, {.renderTimeout = 60s});
  for (const char* name : {"pipe.avi", "pipe.tga", "pipe"}) {
    ASSERT_EQ(mkfifo(folder.Path(name).c_str(), 0600), 0);
    EXPECT_FALSE(Renders(folder.Path(name))) << name;
    ASSERT_TRUE(outcome.has_value()) << name;
  }
}

TEST_F(PreviewMediaTest, RendersNothingWithoutPlugins) {
  qputenv("GST_PLUGIN_SYSTEM_PATH_1_0", "/nonexistent");
  qputenv("XDG_CACHE_HOME", QByteArray::fromStdString(folder.Path()));
  Use(PELLORA_PREVIEW);
  Put(folder.Path("a.mp3"), "ID3");
  EXPECT_FALSE(Renders(folder.Path("a.mp3")));
  qunsetenv("GST_PLUGIN_SYSTEM_PATH_1_0");
  qunsetenv("XDG_CACHE_HOME");
}

std::size_t CountOf(const char* folder) {
  std::size_t count = 0;
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(folder)) ++count;
  return count;
}

long ResidentPages() {
  std::ifstream file("/proc/self/statm");
  long all = 0;
  long resident = 0;
  file >> all >> resident;
  return resident;
}

// Clicks that supersede each other and clicks that complete, with files damaged in many ways.
TEST_F(PreviewMediaTest, BrokenFilesLeaveNoProcessOrDescriptor) {
  Script("read line; case $line in *1) exit 1;; *2) exec yes;; *3) kill -SEGV $$;; *) exec sleep 60;; esac");
  const auto click = [this](int i) {
    Begin("/broken" + std::to_string(i % 5));
    if (i % 10 == 0) RunUntil([this] { return outcome.has_value(); }, 30);
  };
  const auto settle = [this] {
    graph.reset();
    RunUntil([this] { return media->Processes() == 0; });
    RunFor(50);
  };
  for (int i = 0; i < 100; ++i) click(i);
  settle();
  const std::size_t descriptors = CountOf("/proc/self/fd");
  const std::size_t threads = CountOf("/proc/self/task");
  const long pages = ResidentPages();
  for (int i = 0; i < 1000; ++i) click(i);
  settle();
  EXPECT_EQ(CountOf("/proc/self/fd"), descriptors);
  EXPECT_EQ(CountOf("/proc/self/task"), threads);
  EXPECT_LT((ResidentPages() - pages) * sysconf(_SC_PAGESIZE), 2 * 1024 * 1024);
}

// Measures the longest time that the event loop was blocked.
class Stalls {
 public:
  Stalls() {
    since_.start();
    QObject::connect(&timer_, &QTimer::timeout, &timer_, [this] {
      longest_ = std::max(longest_, since_.nsecsElapsed());
      since_.restart();
    });
    timer_.start(1);
  }
  double Longest() const { return static_cast<double>(longest_) / 1e6; }

 private:
  QTimer timer_;
  QElapsedTimer since_;
  qint64 longest_ = 0;
};

TEST_F(PreviewMediaTest, GigabyteVideoDoesNotStallTheProgram) {
  const std::string path = folder.Path("large.avi");
  QProcess encoder;
  encoder.start(QStringLiteral("ffmpeg"),
                {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-f"), QStringLiteral("lavfi"),
                 QStringLiteral("-i"), QStringLiteral("testsrc=size=640x480:rate=25:duration=4"),
                 QStringLiteral("-c:v"), QStringLiteral("mpeg4"), QString::fromStdString(path)});
  ASSERT_TRUE(encoder.waitForFinished(60000) && encoder.exitCode() == 0);
  std::filesystem::resize_file(path, std::uintmax_t{1} << 30);  // its end is a hole in the file
  Use(PELLORA_PREVIEW);
  // A busy machine may delay this process as well; the program itself would block every time.
  double longest = 0;
  for (int attempt = 0; attempt < 5; ++attempt) {
    RunFor(50);
    const Stalls stalls;
    EXPECT_TRUE(Renders(path));
    EXPECT_NE(Frame(), nullptr);
    graph->Run();
    const auto first = Frame();
    EXPECT_TRUE(RunUntil([&] { return Frame() != first; }));
    RunFor(500);
    graph->Stop();
    RunFor(200);
    graph.reset();
    RunFor(100);
    longest = stalls.Longest();
    if (longest < 50) break;
  }
  std::printf("A click on a video of 1 GiB blocked the event loop for %.1f ms at most\n", longest);
  EXPECT_LT(longest, 50);
}

}  // namespace
}  // namespace pellora
