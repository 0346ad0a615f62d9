#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/inotify.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>

#include "Support.h"
#include "desktop/IniSettings.h"
#include "desktop/PosixFiles.h"
#include "ports/Failure.h"

namespace pellora {
namespace {

class IniSettingsTest : public testing::Test {
 protected:
  Folder folder;
  IniSettings settings{folder.Path("config/pellora")};
  std::string file = folder.Path("config/pellora/Pellora.ini");

  void Write(const std::string& content) {
    PosixFiles().CreateFolder(folder.Path("config/pellora"));
    Put(file, content);
  }
};

TEST_F(IniSettingsTest, ReturnsNothingForAMissingFileOrKey) {
  EXPECT_FALSE(settings.Get("Pellora", "Language"));
  Write("[Options]\nOther=1\n");
  EXPECT_FALSE(settings.Get("Pellora", "Language"));
}

TEST_F(IniSettingsTest, StoresEveryTextUnchanged) {
  for (const std::string text :
       {"", "english", "HTM,HTML,ASP,PHP,CGI", " blanks around ", "two\nlines\r\n", "\"quoted\"", "a=b", "[Options]",
        "back\\slash\\n", "caf\xe9", "C:\\temp\\", ";no comment", "\\n", "\"half"}) {
    settings.Set("Pellora", "Key", text);
    settings.Set("Pellora", "Behind", "x");
    EXPECT_EQ(settings.Get("Pellora", "Key"), text);
    EXPECT_EQ(settings.Get("Pellora", "Behind"), "x");
  }
}

TEST_F(IniSettingsTest, ReadsHandWrittenFiles) {
  Write(
      "; mine\n[Other]\nIgnoreString=no\n[Options]\r\n  IgnoreString = HTM,HTML, ASP \r\nPlain=\"a, "
      "\\\"b\\\"\"\nLast=end");
  EXPECT_EQ(settings.Get("Pellora", "IgnoreString"), "HTM,HTML, ASP");
  EXPECT_EQ(settings.Get("Pellora", "Plain"), "a, \"b\"");
  EXPECT_EQ(settings.Get("Pellora", "Last"), "end");
}

TEST_F(IniSettingsTest, SkipsAByteOrderMark) {
  Write("\xEF\xBB\xBF[Options]\r\nA=1\r\n");
  EXPECT_EQ(settings.Get("Pellora", "A"), "1");
  settings.Set("Pellora", "B", "2");
  EXPECT_EQ(Content(file), "\xEF\xBB\xBF[Options]\r\nA=1\r\nB=2\n");
}

TEST_F(IniSettingsTest, LeavesOtherLinesUnchanged) {
  Write("; mine\n[Options]\nstrange line\nA=1\nB=2\n\n[More]\nA=3\n");
  settings.Set("Pellora", "A", "9");
  settings.Set("Pellora", "C", "4");
  EXPECT_EQ(Content(file), "; mine\n[Options]\nstrange line\nA=9\nB=2\nC=4\n\n[More]\nA=3\n");
}

TEST_F(IniSettingsTest, AddsAMissingSection) {
  Write("[More]\nA=3");
  settings.Set("Pellora", "A", "1");
  EXPECT_EQ(Content(file), "[More]\nA=3\n[Options]\nA=1\n");
}

TEST_F(IniSettingsTest, AddsALineAfterAnUnterminatedOne) {
  Write("[Options]\nA=3");
  settings.Set("Pellora", "B", "1");
  EXPECT_EQ(Content(file), "[Options]\nA=3\nB=1\n");
}

TEST_F(IniSettingsTest, KeepsApplicationsSeparate) {
  settings.Set("Pellora", "TempFolder", "/a/");
  EXPECT_FALSE(settings.Get("Brenmoor", "TempFolder"));
  settings.Set("Brenmoor", "TempFolder", "/b/");
  EXPECT_EQ(settings.Get("Pellora", "TempFolder"), "/a/");
}

TEST_F(IniSettingsTest, FailedWriteKeepsTheFileAndLeavesNoDraft) {
  Write("[Options]\nA=1\n");
  // A folder in place of the file fails for every user, even root.
  PosixFiles().CreateFolder(folder.Path("config/pellora/Brenmoor.ini"));
  EXPECT_THROW(settings.Set("Brenmoor", "A", "2"), Failure);
  EXPECT_EQ(PosixFiles().FilesIn(folder.Path("config/pellora")), std::vector<std::string>{"Pellora.ini"});
}

// Counts the files that lose their name in a folder, as the draft of each replacement does. Drafts have names of
// their own; the replaced file's name would count once, as inotify merges equal events.
class Renames {
 public:
  explicit Renames(const std::string& folder) { inotify_add_watch(fd_, folder.c_str(), IN_MOVED_FROM); }
  ~Renames() { close(fd_); }
  Renames(const Renames&) = delete;
  Renames& operator=(const Renames&) = delete;

  int Count() const {
    alignas(inotify_event) char events[4096];
    const ssize_t length = read(fd_, events, sizeof events);
    int count = 0;
    for (ssize_t at = 0; at < length; ++count) {
      at += static_cast<ssize_t>(sizeof(inotify_event) + reinterpret_cast<const inotify_event*>(events + at)->len);
    }
    return count;
  }

 private:
  const int fd_ = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
};

TEST_F(IniSettingsTest, SetAllReplacesTheFileOnce) {
  Write("; mine\n[Options]\nA=1\nB=2\n[More]\nA=3\n");
  const Renames renames(folder.Path("config/pellora"));
  settings.SetAll("Pellora", {{"C", "4"}, {"A", "9"}, {"D", " 5"}, {"B", "2"}});
  EXPECT_EQ(Content(file), "; mine\n[Options]\nA=9\nB=2\nC=4\nD=\" 5\"\n[More]\nA=3\n");
  EXPECT_EQ(renames.Count(), 1);
  settings.SetAll("Pellora", {{"A", "9"}, {"D", " 5"}});
  EXPECT_EQ(renames.Count(), 0);
}

// No file may grow beyond `bytes` while it lives.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) {
    getrlimit(RLIMIT_FSIZE, &former_);
    const rlimit small{bytes, former_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &small);
  }
  ~FileSizeLimit() {
    setrlimit(RLIMIT_FSIZE, &former_);
    std::signal(SIGXFSZ, handler_);
  }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;

 private:
  rlimit former_{};
  void (*handler_)(int) = std::signal(SIGXFSZ, SIG_IGN);
};

TEST_F(IniSettingsTest, FailedSetAllChangesNoKey) {
  const std::string before = "[Options]\nA=1\nB=2\n";
  Write(before);
  {
    const FileSizeLimit limit(100);
    EXPECT_THROW(settings.SetAll("Pellora", {{"A", "9"}, {"B", std::string(200, 'b')}, {"C", "4"}}), Failure);
  }
  EXPECT_EQ(Content(file), before);
  EXPECT_EQ(PosixFiles().FilesIn(folder.Path("config/pellora")), std::vector<std::string>{"Pellora.ini"});
}

TEST_F(IniSettingsTest, WriteRemovesOnlyTheDraftsOfKilledWrites) {
  Write("[Options]\nA=1\n");
  const std::string held = file + ".new-Held00.draft";
  for (const char* const end :
       {".new-Left00.draft", ".new-Held00.draft", ".new-longer0.draft", ".new-backup", ".backup"}) {
    Put(file + end, "half");
  }
  const int fd = open(held.c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_EQ(flock(fd, LOCK_EX), 0);  // like a program that is writing it
  settings.Set("Pellora", "A", "2");
  close(fd);
  EXPECT_EQ(PosixFiles().FilesIn(folder.Path("config/pellora")),
            (std::vector<std::string>{"Pellora.ini", "Pellora.ini.backup", "Pellora.ini.new-Held00.draft",
                                      "Pellora.ini.new-backup", "Pellora.ini.new-longer0.draft"}));
}

TEST_F(IniSettingsTest, KeepsSymbolicLinksAndPermissions) {
  PosixFiles().CreateFolder(folder.Path("config/pellora"));
  Put(folder.Path("real.ini"), "[Options]\nA=1\n");
  ASSERT_EQ(chmod(folder.Path("real.ini").c_str(), 0640), 0);
  ASSERT_EQ(symlink(folder.Path("real.ini").c_str(), file.c_str()), 0);
  settings.Set("Pellora", "A", "2");
  EXPECT_EQ(Content(folder.Path("real.ini")), "[Options]\nA=2\n");
  struct stat status {};
  ASSERT_EQ(stat(folder.Path("real.ini").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0640u);
}

TEST_F(IniSettingsTest, DoesNotRewriteAnEqualText) {
  settings.Set("Pellora", "A", " 1 ");
  struct stat before {
  }, after{};
  ASSERT_EQ(stat(file.c_str(), &before), 0);
  settings.Set("Pellora", "A", " 1 ");
  ASSERT_EQ(stat(file.c_str(), &after), 0);
  EXPECT_EQ(after.st_ino, before.st_ino);
  settings.Set("Pellora", "A", "1");
  EXPECT_EQ(settings.Get("Pellora", "A"), "1");
}

class SystemSettings : public IniSettingsTest {
 protected:
  void SystemFile(const std::string& name, const std::string& content) {
    PosixFiles().CreateFolder(folder.Path(name));
    Put(folder.Path(name) + "/Pellora.ini", content);
  }

  IniSettings layered{folder.Path("config/pellora"), {folder.Path("first"), folder.Path("second")}};
};

TEST_F(SystemSettings, CountForKeysThatTheUsersFileLacks) {
  SystemFile("first", "[Options]\nWebEngine=2\nMaxSegments=5\n");
  EXPECT_EQ(layered.Get("Pellora", "WebEngine"), "2");
  Write("[Options]\nWebEngine=0\n");
  EXPECT_EQ(layered.Get("Pellora", "WebEngine"), "0");
  EXPECT_EQ(layered.Get("Pellora", "MaxSegments"), "5");
  EXPECT_FALSE(layered.Get("Pellora", "Language"));
}

TEST_F(SystemSettings, AreThoseOfTheFirstFolderThatHasTheKey) {
  SystemFile("first", "[Options]\nMaxSegments=5\n");
  SystemFile("second", "[Options]\nMaxSegments=6\nWebEngine=2\n");
  EXPECT_EQ(layered.Get("Pellora", "MaxSegments"), "5");
  EXPECT_EQ(layered.Get("Pellora", "WebEngine"), "2");
}

TEST_F(SystemSettings, OfAnUnreadableFileAreSkipped) {
  PosixFiles().CreateFolder(folder.Path("first"));
  PosixFiles().CreateFolder(folder.Path("first/Pellora.ini"));
  SystemFile("second", "[Options]\nWebEngine=2\n");
  EXPECT_EQ(layered.Get("Pellora", "WebEngine"), "2");
}

TEST_F(SystemSettings, AreNeverWrittenNorCopied) {
  SystemFile("first", "[Options]\nWebEngine=2\n");
  layered.Set("Pellora", "MaxSegments", "3");
  EXPECT_EQ(Content(folder.Path("first/Pellora.ini")), "[Options]\nWebEngine=2\n");
  EXPECT_EQ(Content(file).find("WebEngine"), std::string::npos);
}

TEST_F(SystemSettings, DoNotHideAnUnreadableFileOfTheUsers) {
  SystemFile("first", "[Options]\nWebEngine=2\n");
  PosixFiles().CreateFolder(folder.Path("config/pellora"));
  PosixFiles().CreateFolder(file);
  EXPECT_THROW((void)layered.Get("Pellora", "WebEngine"), Failure);
}

TEST_F(SystemSettings, AreOfThisApplicationAlone) {
  SystemFile("first", "[Options]\nDownloadFolder=/x/\n");
  EXPECT_FALSE(layered.Get("Brenmoor", "DownloadFolder"));
}

}  // namespace
}  // namespace pellora
