// ftp and ftps with vsftpd and an odd server, sftp with OpenSSH.
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <thread>

#include "FetchServers.h"
#include "Rights.h"
#include "async/EventGate.h"
#include "core/WebAddress.h"
#include "desktop/PosixDownloadFiles.h"
#include "desktop/PosixFiles.h"
#include "desktop/QtEventLoop.h"
#include "desktop/curl/CurlFetcher.h"
#include "fetch/HostKeys.h"

namespace pellora {
namespace {

constexpr std::int64_t kModified = 1000000000;

class CurlThreadTest : public testing::Test {
 protected:
  void PutFile(const std::string& name, const std::string& content) {
    std::filesystem::create_directory(folder.Path("files"));
    const std::string path = folder.Path("files/" + name);
    Put(path, content);
    chmod(path.c_str(), 0644);
    const timespec times[2] = {{kModified, 0}, {kModified, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
  }
  void Get(const std::string& url) {
    request.url = url;
    events.log.clear();
    events.content.clear();
    events.received = 0;
    fetch = fetcher.Begin(request, events);
    EXPECT_EQ(events.log, "");
    ASSERT_TRUE(RunUntil([this] { return events.HasEnded(); })) << events.log;
  }
  void ExpectContent(const std::string& content) {
    EXPECT_EQ(events.log, content.empty() ? "AE" : "ADE");
    EXPECT_EQ(events.end, FetchEnd::Whole) << events.reason;
    EXPECT_TRUE(events.content == content);
  }
  // Of a file of 40 MB.
  void ExpectPauseAndDestruction() {
    events.keepContent = false;
    events.onAnswer = [this] { fetch->SetReading(false); };
    fetch = fetcher.Begin(request, events);
    ASSERT_TRUE(RunUntil([this] { return events.answers > 0; }));
    RunFor(300);
    const std::int64_t received = events.received;
    EXPECT_LT(received, 10000000);
    RunFor(200);
    EXPECT_EQ(events.received, received);
    fetch->SetReading(true);
    ASSERT_TRUE(RunUntil([&] { return events.received > received + 1000000; }));
    fetch.reset();
  }
  void ExpectRefusal(FetchEnd end) {
    EXPECT_EQ(events.log, "E");
    EXPECT_EQ(events.end, end) << events.reason;
    EXPECT_NE(events.reason, "");
  }

  Folder folder;
  EventGate gate;
  QtEventLoop loop{gate};
  CurlFetcher fetcher{gate, loop};
  FetchRequest request;
  FetchRecorder events;
  std::unique_ptr<Fetch> fetch;
};

class CurlFtp : public CurlThreadTest {};

TEST_F(CurlFtp, DeliversAFileWithLengthAndTime) {
  const std::string content = SomeContent(3000001);
  PutFile("file", content);
  const Vsftpd server(folder, false);
  Get(server.Url("file"));
  ExpectContent(content);
  EXPECT_EQ(events.answer.status, 0);
  EXPECT_EQ(events.answer.length, 3000001);
  EXPECT_EQ(events.answer.modified, kModified);
  EXPECT_EQ(events.answer.peerAddress, "127.0.0.1");
  request.ranged = true;
  request.from = 2000000;
  request.to = 2000009;  // the caller ends it
  Get(server.Url("file"));
  ExpectContent(content.substr(2000000));
  EXPECT_EQ(events.answer.length, 1000001);
  PutFile("empty", "");
  request.ranged = false;
  Get(server.Url("empty"));
  ExpectContent("");
}

TEST_F(CurlFtp, SaysWhatIsMissingOrRefused) {
  const Vsftpd server(folder, false);
  Get(server.Url("none"));
  ExpectRefusal(FetchEnd::NotFound);
  EXPECT_EQ(events.reason, "there is no such file");
  Get(server.Url("none/file"));
  ExpectRefusal(FetchEnd::NotFound);
  request.user = "joe";
  request.password = "guess";
  Get(server.Url("file"));
  ExpectRefusal(FetchEnd::NoLogin);
  EXPECT_EQ(events.reason, "the login is refused");
  Get("ftp://127.0.0.1:" + std::to_string(FreePort()) + "/file");
  ExpectRefusal(FetchEnd::NoConnect);
}

TEST_F(CurlFtp, RefusesListingsAndTextMode) {
  PutFile("file", "content");
  const Vsftpd server(folder, false);
  for (const char* const name : {"", "file;type=a", "file;type=d", "files/"}) {
    Get(server.Url(name));
    ExpectRefusal(FetchEnd::Unsupported);
  }
  Get(server.Url("file;type=i"));
  ExpectContent("content");
}

TEST_F(CurlFtp, MayBePausedAndDestroyed) {
  PutFile("file", SomeContent(40000000));
  const Vsftpd server(folder, false);
  request.url = server.Url("file");
  ExpectPauseAndDestruction();
  events.log.clear();
  RunFor(100);
  EXPECT_EQ(events.log, "");
  for (const std::string log : {"A", "AD", "ADE"}) {
    FetchRecorder one;
    std::unique_ptr<Fetch> destroyed;
    one.keepContent = false;
    (log == "A" ? one.onAnswer : log == "AD" ? one.onData : one.onEnd) = [&] { destroyed.reset(); };
    destroyed = fetcher.Begin(request, one);
    ASSERT_TRUE(RunUntil([&] { return !destroyed; }));
    RunFor(20);
    EXPECT_EQ(one.log, log);
  }
}

// libcurl waits a minute for the confirmation inside one call.
TEST_F(CurlFtp, DeliversAllWithoutTheServersConfirmation) {
  OddFtpServer server;
  server.content = "content";
  server.size = "7";
  server.confirms = false;
  request.url = server.Url();
  fetch = fetcher.Begin(request, events);
  ASSERT_TRUE(RunUntil([this] { return events.content == "content"; }, 10000));
  EXPECT_EQ(events.log, "AD");
}

TEST_F(CurlFtp, TheThreadOfADroppedFetchEndsAtOnce) {
  OddFtpServer server;
  server.content = "content";
  server.size = "7";
  server.confirms = false;
  auto own = std::make_unique<CurlFetcher>(gate, loop);
  request.url = server.Url();
  fetch = own->Begin(request, events);
  ASSERT_TRUE(RunUntil([this] { return events.content == "content"; }, 10000));
  fetch.reset();
  const auto before = std::chrono::steady_clock::now();
  own.reset();  // waits for its threads, a second at most
  EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(700));
}

TEST_F(CurlFtp, LengthIsUnknownIfTheServerContradictsItself) {
  struct Case {
    std::string size, opening;
    std::int64_t from, length;
  };
  for (const Case& c : {Case{"10", " (10 bytes)", 0, 10}, Case{"10", " (7 bytes)", 0, -1}, Case{"10", "", 3, 7},
                        Case{"10", " (10 bytes)", 3, 7}, Case{"10", " (7 bytes)", 3, 7},
                        Case{"10", " (8 bytes)", 3, -1}, Case{"", "", 0, -1}}) {
    OddFtpServer server;
    server.content = std::string(static_cast<std::size_t>(10 - c.from), 'x');
    server.size = c.size;
    server.opening = c.opening;
    request.ranged = c.from > 0;
    request.from = c.from;
    Get(server.Url());
    EXPECT_EQ(events.answer.length, c.length) << c.size << c.opening << c.from;
  }
}

TEST_F(CurlFtp, ALengthThatCannotBeReadIsRefused) {
  for (const char* const size : {"-1294967296", "size is -5", "99999999999999999999", "many"}) {
    OddFtpServer server;
    server.content = "content";
    server.size = size;
    Get(server.Url());
    ExpectRefusal(FetchEnd::Unsupported);
  }
  OddFtpServer server;
  server.content = "content";
  server.size = "size is 7";
  Get(server.Url());
  ExpectContent("content");
}

TEST_F(CurlFtp, TooManyUsersIsARefusedConnection) {
  OddFtpServer server;
  server.greeting = "421";
  Get(server.Url());
  ExpectRefusal(FetchEnd::NoConnect);
  EXPECT_EQ(events.reason, "the server refuses more connections");
}

TEST_F(CurlFtp, ByTlsOnControlAndData) {
  const std::string content = SomeContent(3000001);
  PutFile("file", content);
  Authority(folder).Issue("server0", Certificate::Right);
  const Vsftpd server(folder, true);
  request.certificates = folder.Path("ca.pem");
  Get(server.Url("file"));
  ExpectContent(content);
  EXPECT_EQ(events.answer.length, 3000001);
  request.certificates.clear();
  Get(server.Url("file"));
  ExpectRefusal(FetchEnd::NotTrusted);
  EXPECT_EQ(events.reason, "the authority of the certificate is not known");
}

TEST_F(CurlFtp, WaitsForThePoolWithoutWork) {
  PutFile("file", SomeContent(20000000));
  const Vsftpd server(folder, false);
  request.url = server.Url("file");
  events.keepContent = false;
  events.keepBlocks = true;
  fetch = fetcher.Begin(request, events);
  ASSERT_TRUE(RunUntil([this] { return events.received > 2500000; }));
  RunFor(200);
  const std::int64_t received = events.received;
  const auto before = ProcessorTime();
  RunFor(500);
  EXPECT_LT(ProcessorTime() - before, std::chrono::milliseconds(100));
  EXPECT_EQ(events.received, received);
  events.keepBlocks = false;
  events.blocks.clear();
  ASSERT_TRUE(RunUntil([this] { return events.HasEnded(); }));
  EXPECT_EQ(events.received, 20000000);
}

class CurlSftp : public CurlThreadTest {
 protected:
  CurlSftp() : server(folder) {
    request.user = server.User();
    request.key = folder.Path("user");
    request.knownHosts = {known};
    Put(known, server.Name() + " " + server.HostKey() + "\n");
  }
  std::string Url(const std::string& name) const { return server.Url(folder.Path("files/" + name)); }

  OpenSsh server;
  const std::string known = folder.Path("known_hosts");
};

TEST_F(CurlSftp, DeliversAFileWithLengthAndTime) {
  const std::string content = SomeContent(3000001);
  PutFile("file", content);
  Get(Url("file"));
  ExpectContent(content);
  EXPECT_EQ(events.answer.length, 3000001);
  EXPECT_EQ(events.answer.modified, kModified);
  request.ranged = true;
  request.from = 2000000;
  Get(Url("file"));
  ExpectContent(content.substr(2000000));
  EXPECT_EQ(events.answer.length, 1000001);
}

TEST_F(CurlSftp, AsksForAnUnknownKeyByItsFingerprint) {
  PutFile("file", "content");
  for (const std::string& file : {folder.Path("known_hosts"), folder.Path("none"), std::string()}) {
    Put(known, "[127.0.0.1]:1 " + server.HostKey() + "\n");
    request.knownHosts = {file};
    request.acceptedKey.clear();
    Get(Url("file"));
    ExpectRefusal(FetchEnd::UnknownKey);
    EXPECT_EQ(events.reason, server.Fingerprint() + " " + server.HostKey());
    request.acceptedKey = server.Fingerprint();
    Get(Url("file"));
    ExpectContent("content");
    request.acceptedKey += "x";
    Get(Url("file"));
    ExpectRefusal(FetchEnd::UnknownKey);
  }
}

TEST_F(CurlSftp, RefusesAChangedOrRevokedKeyEvenIfItWasAccepted) {
  const std::string other = Content(folder.Path("other.pub"));
  request.acceptedKey = server.Fingerprint();
  Put(known, server.Name() + " " + other);
  Get(Url("file"));
  ExpectRefusal(FetchEnd::NotTrusted);
  EXPECT_EQ(events.reason, "the host key is not the one in known_hosts");
  // The line of a second file counts like one of the first.
  Put(folder.Path("for_all"), server.Name() + " " + other);
  request.knownHosts = {folder.Path("none"), folder.Path("for_all")};
  Get(Url("file"));
  ExpectRefusal(FetchEnd::NotTrusted);
  request.knownHosts = {known};
  Put(known, server.Name() + " " + server.HostKey() + "\n@revoked * " + server.HostKey() + "\n");
  Get(Url("file"));
  ExpectRefusal(FetchEnd::NotTrusted);
  EXPECT_EQ(events.reason, "the host key is revoked");
}

// A server that does not have the known key is not asked about with another one.
TEST_F(CurlSftp, RefusesAServerWithoutTheKnownKindOfKey) {
  Folder keys;
  RunProgramToItsEnd("ssh-keygen", {"-q", "-t", "ecdsa", "-N", "", "-f", keys.Path("ecdsa")});
  Put(known, server.Name() + " " + Content(keys.Path("ecdsa.pub")));
  Get(Url("file"));
  ExpectRefusal(FetchEnd::NotTrusted);
  EXPECT_EQ(events.reason, "the host has no key of the kind in known_hosts, or no agreement on a way to encrypt");
}

// Another try may succeed.
TEST_F(CurlSftp, ServerThatEndsBeforeItsListOfKeysHasLostTheConnection) {
  for (const std::string start : {"", "SSH-2.0-x\r\n"}) {
    int port = 0;
    const int listener = ListenOnLoopback(port);
    std::thread ending([&] {
      const int fd = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
      EXPECT_EQ(send(fd, start.data(), start.size(), MSG_NOSIGNAL), static_cast<ssize_t>(start.size()));
      std::array<char, 64> version{};
      (void)recv(fd, version.data(), version.size(), 0);
      close(fd);
    });
    Get("sftp://127.0.0.1:" + std::to_string(port) + "/file");
    ending.join();
    close(listener);
    ExpectRefusal(FetchEnd::Lost);
  }
}

TEST_F(CurlSftp, KeyThatWasAddedToTheFileIsKnown) {
  PutFile("file", "content");
  PosixFiles files;
  PosixDownloadFiles downloadFiles;
  const std::string added = folder.Path("home/.ssh/known_hosts");
  request.knownHosts = {added};
  Get(Url("file"));
  ExpectRefusal(FetchEnd::UnknownKey);
  const HostKey key = ReadHostKey(events.reason);
  const std::string line = KnownHostsName(*ParseWebAddress(Url("file"))) + " " + key.key;
  AddKnownHost(files, downloadFiles, added, line);
  Get(Url("file"));
  ExpectContent("content");
  EXPECT_EQ(RightsOf(added), 0600U);
  EXPECT_EQ(RightsOf(folder.Path("home/.ssh")), 0700U);

  // A file that is there keeps its rights and its lines.
  const std::string other = "other.example " + server.HostKey();
  Put(added, other);
  chmod(added.c_str(), 0644);
  AddKnownHost(files, downloadFiles, added, line);
  EXPECT_EQ(Content(added), other + "\n" + line + "\n");
  EXPECT_EQ(RightsOf(added), 0644U);
  Get(Url("file"));
  ExpectContent("content");
  QProcess keygen;
  keygen.start("ssh-keygen", {"-F", QString::fromStdString(server.Name()), "-f", QString::fromStdString(added)});
  keygen.waitForFinished();
  EXPECT_EQ(keygen.exitCode(), 0) << "OpenSSH reads the line too";
}

TEST_F(CurlSftp, FindsTheHostAmongHashedNames) {
  PutFile("file", "content");
  Folder keys;
  RunProgramToItsEnd("ssh-keygen", {"-q", "-t", "rsa", "-b", "2048", "-N", "", "-f", keys.Path("rsa")});
  Put(known, "elsewhere.example " + Content(keys.Path("rsa.pub")) + server.Name() + " " + server.HostKey() + "\n");
  RunProgramToItsEnd("ssh-keygen", {"-H", "-f", known});
  EXPECT_EQ(Content(known).find("127.0.0.1"), std::string::npos);
  Get(Url("file"));
  ExpectContent("content");
}

TEST_F(CurlSftp, SaysWhatIsMissingOrRefused) {
  Get(Url("none"));
  ExpectRefusal(FetchEnd::NotFound);
  request.key = folder.Path("other");
  Get(Url("file"));
  ExpectRefusal(FetchEnd::NoLogin);
  request.key.clear();
  request.password = "guess";
  Get(Url("file"));
  ExpectRefusal(FetchEnd::NoLogin);
  EXPECT_EQ(events.reason, "the login is refused");
}

TEST_F(CurlSftp, MayBePausedAndDestroyed) {
  PutFile("file", SomeContent(40000000));
  request.url = Url("file");
  ExpectPauseAndDestruction();
  events.log.clear();
  RunFor(100);
  EXPECT_EQ(events.log, "");
}

}  // namespace
}  // namespace pellora
