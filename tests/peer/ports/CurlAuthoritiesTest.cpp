// Authorities that share a subject, as renewed ones do. A server's certificate says which of their keys has signed it.
#include <sys/stat.h>
#include <unistd.h>

#include "FetchServers.h"
#include "async/EventGate.h"
#include "desktop/QtEventLoop.h"
#include "desktop/curl/CurlFetcher.h"
#include "desktop/curl/TrustedAuthorities.h"

namespace pellora {
namespace {

constexpr const char* kSettings = R"([ca]
default_ca=here
[here]
database=index
new_certs_dir=.
default_md=sha256
policy=any
unique_subject=no
rand_serial=yes
[any]
commonName=supplied
[server]
subjectAltName=DNS:localhost
authorityKeyIdentifier=keyid
[authority]
basicConstraints=critical,CA:TRUE
subjectKeyIdentifier=hash
)";
constexpr const char* kDamaged = "-----BEGIN CERTIFICATE-----\nAAAA\n-----END CERTIFICATE-----\n";
constexpr const char* kPast = "20010101000000Z";
constexpr const char* kFuture = "20800101000000Z";

class CurlAuthorities : public testing::Test {
 protected:
  CurlAuthorities() {
    Put(folder.Path("ca.cnf"), kSettings);
    Put(folder.Path("index"), "");
    EXPECT_EQ(mkdir(system.folder.c_str(), 0700), 0);
    for (const char* const name : {"first", "second"}) {
      Make(name, "Authority", "authority", name, kFuture);
    }
    Make("server", "localhost", "server", "first", kFuture);
    const std::string in = "cd " + folder.Path() + " && exec openssl ";
    server = std::make_unique<Server>(
        "sh",
        std::vector<std::string>{
            "-c", in + "s_server -quiet -www -accept " + std::to_string(port) + " -cert server.pem -key server.key"},
        port);
  }
  // NAME.pem with the key NAME.key, which is made if it is not there.
  void Make(const std::string& name, const std::string& subject, const std::string& kind, const std::string& signer,
            const std::string& end) {
    const std::string request = "openssl req -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -keyout " + name +
                                ".key -out " + name + ".csr -subj /CN=" + subject;
    const std::string by =
        name == signer ? "-selfsign -keyfile " + name + ".key" : "-cert " + signer + ".pem -keyfile " + signer + ".key";
    In("test -e " + name + ".key || " + request + "; openssl ca -batch -notext -config ca.cnf " + by + " -in " + name +
       ".csr -out " + name + ".pem -extensions " + kind + " -startdate 20000101000000Z -enddate " + end);
  }
  void In(const std::string& commands) {
    RunProgramToItsEnd("sh", {"-c", "set -e; cd " + folder.Path() + "; " + commands});
  }
  std::string Of(const std::string& name) { return Content(folder.Path(name + ".pem")); }
  void PutIntoFolder(const std::string& name) {
    Put(system.folder + "/" + name + ".pem", Of(name));
    RunProgramToItsEnd("openssl", {"rehash", system.folder});
  }
  // What the first of the folder's has without its number.
  std::string HashedName() {
    for (const auto& entry : std::filesystem::directory_iterator(system.folder)) {
      if (entry.path().extension() == ".0") return (entry.path().parent_path() / entry.path().stem()).string();
    }
    return {};
  }
  bool IsTrusted(const std::string& extra = {}) {
    FetchRequest request;
    request.url = "https://localhost:" + std::to_string(port) + "/";
    request.headers = {{"Connection", "close"}};
    if (!extra.empty()) {
      request.certificates = folder.Path("extra.pem");
      if (Content(request.certificates) != extra) Put(request.certificates, extra);
    }
    FetchRecorder events;
    const std::unique_ptr<Fetch> fetch = fetcher.Begin(request, events);
    EXPECT_TRUE(RunUntil([&] { return events.HasEnded(); })) << events.log;
    reason = events.reason;
    return events.answers == 1;
  }

  Folder folder;
  const int port = FreePort();
  std::unique_ptr<Server> server;
  const AuthorityPaths system{folder.Path("system.pem"), folder.Path("authorities")};
  EventGate gate;
  QtEventLoop loop{gate};
  CurlFetcher fetcher{gate, loop, system};
  std::string reason;
};

TEST_F(CurlAuthorities, OfTheUsersHideNoneOfTheSystemsWithTheirSubject) {
  Put(system.file, Of("first"));
  PutIntoFolder("first");
  EXPECT_TRUE(IsTrusted(Of("second"))) << reason;
  EXPECT_TRUE(IsTrusted(Of("first"))) << reason;
}

TEST_F(CurlAuthorities, OfTheUsersThatHaveExpiredHideNoneOfTheSystems) {
  Put(system.file, Of("first"));
  PutIntoFolder("first");
  Make("first", "Authority", "authority", "first", kPast);
  EXPECT_TRUE(IsTrusted(Of("first"))) << reason;
}

TEST_F(CurlAuthorities, OfTheUsersHideNoneInAFolderWithoutTheSystemsFile) {
  PutIntoFolder("second");
  EXPECT_FALSE(IsTrusted(Of("second")));
  PutIntoFolder("first");
  EXPECT_TRUE(IsTrusted(Of("second"))) << reason;
  RunProgramToItsEnd("rm", {system.folder + "/first.pem"});
  RunProgramToItsEnd("openssl", {"rehash", system.folder});
  EXPECT_FALSE(IsTrusted(Of("second")));
}

// OpenSSL overlooks it in a folder, but in no file.
TEST_F(CurlAuthorities, OfTheUsersAreReadAlsoWhereOneOfTheSystemsWithTheirHashIsDamaged) {
  Put(system.file, Of("first"));
  PutIntoFolder("first");
  Put(HashedName() + ".1", kDamaged);
  EXPECT_TRUE(IsTrusted(Of("second"))) << reason;
}

TEST_F(CurlAuthorities, WithOneSubjectAreAllFoundInAFolder) {
  Put(system.file, Of("second") + Of("first"));
  PutIntoFolder("second");
  PutIntoFolder("first");
  EXPECT_TRUE(IsTrusted()) << reason;
}

// OpenSSL counts from 0 to the first that it cannot read.
TEST_F(CurlAuthorities, AreReadFromTheirFileIfTheFolderLacksTheNumberBefore) {
  Put(system.file, Of("first"));
  PutIntoFolder("first");
  const std::string hashed = HashedName();
  ASSERT_EQ(rename((hashed + ".0").c_str(), (hashed + ".1").c_str()), 0);
  EXPECT_TRUE(IsTrusted()) << "no other: " << reason;
  ASSERT_EQ(symlink("gone.pem", (hashed + ".0").c_str()), 0);
  EXPECT_TRUE(IsTrusted()) << "a link that leads nowhere: " << reason;
  ASSERT_EQ(unlink((hashed + ".0").c_str()), 0);
  Put(hashed + ".0", "no certificate\n");
  EXPECT_TRUE(IsTrusted()) << "no certificate: " << reason;
  ASSERT_EQ(unlink((hashed + ".0").c_str()), 0);
  Put(hashed + ".0", kDamaged);
  EXPECT_TRUE(IsTrusted()) << "a damaged one: " << reason;
}

TEST_F(CurlAuthorities, AreReadFromTheirFileIfTheFolderHasNamesOfOldHashesAlone) {
  Put(system.file, Of("first"));
  Put(system.folder + "/first.pem", Of("first"));
  RunProgramToItsEnd("openssl", {"rehash", "-old", system.folder});
  EXPECT_NE(HashedName(), "");
  EXPECT_TRUE(IsTrusted()) << reason;
}

TEST_F(CurlAuthorities, OfTheUsersAreNotTakenForAllWhereTheSystemsCannotBeRead) {
  Put(system.file, std::string(std::size_t{17} << 20, '\n') + Of("first"));  // it is too long
  EXPECT_FALSE(IsTrusted(Of("second")));
  EXPECT_EQ(reason, "the file of trusted authorities cannot be read");
}

// It would be read for each connection.
TEST_F(CurlAuthorities, OfTheUsersInALongFileAreJoinedWithTheSystems) {
  Put(system.file, Of("first"));
  PutIntoFolder("first");
  const std::string extra = folder.Path("extra.pem");
  TrustedAuthorities authorities(system);
  Put(extra, Of("second"));
  EXPECT_EQ(authorities.With(extra).folder, system.folder);
  Put(extra, Of("second") + std::string(std::size_t{100} << 10, '\n'));
  EXPECT_EQ(authorities.With(extra).folder, "");
}

// OpenSSL overlooks the blanks.
TEST_F(CurlAuthorities, AreReadFromTheirFileWithBlanksAfterTheirFirstLine) {
  const std::string first = Of("first");
  Put(system.file, Of("second") + std::string(first).replace(first.find('\n'), 1, " \n"));
  PutIntoFolder("second");
  EXPECT_TRUE(IsTrusted()) << reason;
}

}  // namespace
}  // namespace pellora
