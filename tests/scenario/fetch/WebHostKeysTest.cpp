// Host keys of sftp servers: asked about once, kept for good, refused when they change.
#include "SimFileServer.h"
#include "WebRig.h"
#include "async/EventGate.h"

namespace pellora {
namespace {

constexpr const char* kKnownHosts = "/home/u/.ssh/known_hosts";
constexpr const char* kLine = "s.example ssh-ed25519 SHA256:simulated\n";

struct HostKeyRig : WebRig {
  explicit HostKeyRig(SimOptions options = {}, int port = 22)
      : WebRig(std::move(options)), server(sim.network(), "s.example", port) {
    for (const char* path : {"/a.bin", "/b.bin"}) server.File(path, content);
  }

  const SimContent content = SimContent::Generated(3'000'000, 7);
  SimFileServer server;
};

TEST(WebHostKeys, UnknownHostIsAskedAboutOnceAndKept) {
  HostKeyRig rig;
  rig.Start("sftp://s.example/a.bin");
  ASSERT_TRUE(rig.RunUntilAsked());
  rig.sim.RunFor(1000);
  EXPECT_EQ(rig.WindowOf()->state.Caption(),
            "The host s.example is unknown. Its key has the fingerprint SHA256:simulated. Trust this server?");
  EXPECT_EQ(rig.WindowOf()->Command3.Caption(), "Do Not Trust");
  rig.Answer(true);
  ASSERT_TRUE(rig.RunUntilFinished()) << rig.sim.Replay();
  EXPECT_TRUE(rig.sim.disk().Holds("/home/u/dl/a.bin", rig.content));
  EXPECT_EQ(rig.sim.disk().Get(kKnownHosts), kLine);
  EXPECT_GT(rig.server.Requests().size(), 1U) << "further lanes";
  rig.Start("sftp://s.example/b.bin");
  ASSERT_TRUE(rig.RunUntilFinished(2)) << rig.sim.Replay();
  EXPECT_EQ(rig.sim.disk().Get(kKnownHosts), kLine);

  rig.sim.DropProgram();
  HostKeyRig next({.disk = rig.sim.disk().TakeState()});
  next.sim.disk().Delete("/home/u/dl/a.bin");
  next.Start("sftp://s.example/a.bin");
  ASSERT_TRUE(next.RunUntilFinished()) << next.sim.Replay();
}

TEST(WebHostKeys, DownloadsFromOneUnknownHostShareOneQuestion) {
  for (const bool yes : {true, false}) {
    HostKeyRig rig;
    rig.Start("sftp://s.example/a.bin");
    rig.Start("sftp://s.example/b.bin");
    ASSERT_TRUE(rig.RunUntilAsked(1) && rig.RunUntilAsked(2));
    rig.Answer(yes);
    if (yes) {
      EXPECT_TRUE(rig.RunUntilFinished(1) && rig.RunUntilFinished(2)) << rig.sim.Replay();
    } else {
      rig.sim.RunFor(1000);
      for (const int index : {1, 2}) EXPECT_NE(rig.Web(index).reason, "");
      EXPECT_FALSE(rig.sim.disk().Has(kKnownHosts));
    }
  }
}

TEST(WebHostKeys, RefusedHostIsAskedAboutAgainWhenResumed) {
  HostKeyRig rig;
  rig.Start("sftp://s.example/a.bin");
  ASSERT_TRUE(rig.RunUntilAsked());
  rig.Answer(false);
  rig.Resume();
  ASSERT_TRUE(rig.RunUntilAsked());
  rig.Answer(true);
  EXPECT_TRUE(rig.RunUntilFinished());
}

TEST(WebHostKeys, ResumingADownloadWithAQuestionShowsItsWindow) {
  HostKeyRig rig;
  rig.Start("sftp://s.example/a.bin");
  ASSERT_TRUE(rig.RunUntilAsked());
  rig.sim.Do([&] { rig.WindowOf()->HideWindow(); });
  rig.Resume();
  rig.sim.RunFor(1000);
  EXPECT_TRUE(rig.WindowOf()->Visible());
  EXPECT_TRUE(rig.Asks());
  EXPECT_FALSE(rig.Record().Active);
}

TEST(WebHostKeys, ChangedKeyIsRefusedWithoutAQuestion) {
  HostKeyRig rig;
  rig.sim.disk().Put(kKnownHosts, "s.example ssh-ed25519 SHA256:former\n");
  rig.Start("sftp://s.example/a.bin");
  ASSERT_TRUE(rig.RunUntilStopped());
  EXPECT_EQ(rig.Web().reason, "The host s.example is not trusted: the host key is not the one in known_hosts");
  EXPECT_FALSE(rig.Asks());
  rig.sim.disk().Put(kKnownHosts, "s.example ssh-ed25519 SHA256:simulated\n");
  rig.Resume();
  EXPECT_TRUE(rig.RunUntilFinished());
}

TEST(WebHostKeys, KeyIsAppendedToWhatIsThereAndNamesThePort) {
  HostKeyRig rig({}, 2222);
  rig.sim.disk().Put(kKnownHosts, "other.example ssh-ed25519 x");
  rig.Start("sftp://s.example:2222/a.bin");
  ASSERT_TRUE(rig.RunUntilAsked());
  rig.Answer(true);
  ASSERT_TRUE(rig.RunUntilFinished()) << rig.sim.Replay();
  EXPECT_EQ(rig.sim.disk().Get(kKnownHosts),
            "other.example ssh-ed25519 x\n[s.example]:2222 ssh-ed25519 SHA256:simulated\n");
}

TEST(WebHostKeys, FileForAllUsersCounts) {
  HostKeyRig rig;
  rig.sim.disk().Put("/etc/ssh/ssh_known_hosts", kLine);
  rig.Start("sftp://s.example/a.bin");
  EXPECT_TRUE(rig.RunUntilFinished());
}

TEST(WebHostKeys, UsersOwnKeyIsOfferedWithTheLogin) {
  HostKeyRig rig;
  rig.sim.disk().Put(kKnownHosts, kLine);
  rig.sim.disk().Put("/home/u/.ssh/id_ecdsa", "key");
  rig.Start("sftp://joe@s.example/a.bin");
  ASSERT_TRUE(rig.RunUntilFinished());
  EXPECT_EQ(rig.sim.fetcher().Log().back().request.key, "/home/u/.ssh/id_ecdsa");
  rig.sim.disk().Put("/home/u/.ssh/id_ed25519", "key");
  rig.Start("sftp://joe@s.example/b.bin");
  ASSERT_TRUE(rig.RunUntilFinished(2));
  EXPECT_EQ(rig.sim.fetcher().Log().back().request.key, "/home/u/.ssh/id_ed25519");
}

TEST(WebHostKeys, KeyThatCannotBeWrittenCountsWhileTheProgramRuns) {
  HostKeyRig rig;
  rig.sim.disk().PutLink(kKnownHosts, "/home/u/nowhere", true);
  rig.Start("sftp://s.example/a.bin");
  ASSERT_TRUE(rig.RunUntilAsked());
  rig.Answer(true);
  ASSERT_TRUE(rig.RunUntilFinished()) << rig.sim.Replay();
  rig.Start("sftp://s.example/b.bin");
  ASSERT_TRUE(rig.RunUntilFinished(2));
}

}  // namespace
}  // namespace pellora
