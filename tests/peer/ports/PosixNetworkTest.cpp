#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <memory>
#include <thread>
#include <vector>

#include "Support.h"
#include "async/EventGate.h"
#include "desktop/PosixNetwork.h"
#include "desktop/QtEventLoop.h"

namespace pellora {
namespace {

constexpr std::size_t kMoreThanFits = std::size_t{8} << 20;  // bytes; more than the kernel buffers for a socket

// A listening socket on loopback: the test acts as the peer.
class Peer {
 public:
  explicit Peer(int family = AF_INET) : listener_(socket(family, SOCK_STREAM, 0)) {
    sockaddr_storage address{};
    socklen_t length = 0;
    if (family == AF_INET6) {
      auto& six = reinterpret_cast<sockaddr_in6&>(address);
      six.sin6_family = AF_INET6;
      six.sin6_addr = in6addr_loopback;
      length = sizeof six;
    } else {
      auto& four = reinterpret_cast<sockaddr_in&>(address);
      four.sin_family = AF_INET;
      four.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
      length = sizeof four;
    }
    bound_ = bind(listener_, reinterpret_cast<sockaddr*>(&address), length) == 0 && listen(listener_, 32) == 0;
    getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length);
    port_ = ntohs(family == AF_INET6 ? reinterpret_cast<sockaddr_in6&>(address).sin6_port
                                     : reinterpret_cast<sockaddr_in&>(address).sin_port);
  }
  ~Peer() {
    Hangup();
    StopListening();
  }
  bool Bound() const { return bound_; }
  int Port() const { return port_; }
  // Runs the event loop until the connection is established, since the loop connects.
  void Accept() {
    fcntl(listener_, F_SETFL, O_NONBLOCK);
    ASSERT_TRUE(RunUntil([this] {
      connection_ = accept(listener_, nullptr, nullptr);
      return connection_ >= 0;
    }));
  }
  // Whether a connection has arrived already, without a turn of the event loop.
  bool IsDialled() const {
    pollfd waiting{listener_, POLLIN, 0};
    return poll(&waiting, 1, 2000) == 1;
  }
  void StopListening() {
    if (listener_ >= 0) close(listener_);
    listener_ = -1;
  }
  void Send(const std::string& text) const {
    ASSERT_EQ(send(connection_, text.data(), text.size(), MSG_NOSIGNAL), static_cast<ssize_t>(text.size()));
  }
  std::string Receive(std::size_t bytes) const {
    std::string text(bytes, '\0');
    const ssize_t count = recv(connection_, text.data(), bytes, MSG_WAITALL);
    text.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    return text;
  }
  void Hangup() {
    if (connection_ >= 0) close(connection_);
    connection_ = -1;
  }
  void Reset() {
    const linger now{1, 0};
    setsockopt(connection_, SOL_SOCKET, SO_LINGER, &now, sizeof now);
    Hangup();
  }

 private:
  int listener_;
  int connection_ = -1;
  int port_ = 0;
  bool bound_ = false;
};

// Records the events; `then` runs inside each of them.
class Recorder final : public ConnectionEvents {
 public:
  void Connected() override { Note("connected"); }
  void DataArrived(std::string_view block) override {
    bytes += block;
    ++blocks;
    Note("data");
  }
  void PeerClosed() override { Note("closed"); }
  void ConnectionFailed(const std::string& why) override {
    reason = why;
    Note("failed");
  }
  bool Saw(const std::string& event) const { return log.find(event) != std::string::npos; }

  std::string log;
  std::string bytes;
  std::string reason;
  int blocks = 0;
  std::function<void()> then;

 private:
  void Note(const std::string& event) {
    log += event + " ";
    if (then) then();
  }
};

class PosixNetworkTest : public testing::Test {
 protected:
  EventGate gate;
  QtEventLoop events{gate};
  PosixNetwork network{gate, events};
  Peer peer;
  Recorder recorder;
  std::unique_ptr<Connection> connection;

  void Connect() { connection = network.Connect("127.0.0.1", peer.Port(), recorder); }
  void ConnectAndAccept() {
    Connect();
    peer.Accept();
    ASSERT_TRUE(Wait("connected"));
  }
  bool Wait(const std::string& event) {
    return RunUntil([&] { return recorder.Saw(event); });
  }
};

TEST_F(PosixNetworkTest, ConnectsAfterTheCallAndCarriesBytesBothWays) {
  Connect();
  EXPECT_EQ(recorder.log, "");
  peer.Accept();
  ASSERT_TRUE(Wait("connected"));
  connection->Send(std::string("GET\0x", 5));
  EXPECT_EQ(peer.Receive(5), std::string("GET\0x", 5));
  peer.Send(std::string("answer\0!", 8));
  ASSERT_TRUE(Wait("data"));
  EXPECT_EQ(recorder.bytes, std::string("answer\0!", 8));
}

TEST_F(PosixNetworkTest, ResolvesNamesOfEitherAddressFamily) {
  for (const int family : {AF_INET, AF_INET6}) {
    Peer other(family);
    if (family == AF_INET6 && !other.Bound()) continue;  // a machine without IPv6
    Recorder events2;
    const auto made = network.Connect(family == AF_INET6 ? "::1" : "localhost", other.Port(), events2);
    EXPECT_TRUE(RunUntil([&] { return events2.Saw("connected"); })) << events2.log << events2.reason;
  }
}

TEST_F(PosixNetworkTest, ConnectsToALiteralAddressInsideTheCallAndReportsLater) {
  for (const int family : {AF_INET, AF_INET6}) {
    Peer other(family);
    if (family == AF_INET6 && !other.Bound()) continue;  // a machine without IPv6
    Recorder events2;
    const auto made = network.Connect(family == AF_INET6 ? "::1" : "127.0.0.1", other.Port(), events2);
    EXPECT_TRUE(other.IsDialled()) << family;
    EXPECT_EQ(events2.log, "");
    EXPECT_TRUE(RunUntil([&] { return events2.Saw("connected"); })) << events2.log << events2.reason;
  }
}

TEST_F(PosixNetworkTest, LiteralAddressThatFailsAtOnceReportsLaterAndOnce) {
  const char* const broadcast = "255.255.255.255";  // cannot be connected to by TCP
  connection = network.Connect(broadcast, 80, recorder);
  EXPECT_EQ(recorder.log, "");
  ASSERT_TRUE(Wait("failed"));
  EXPECT_NE(recorder.reason, "");
  connection->Send("into the void");
  RunFor(50);
  EXPECT_EQ(recorder.log, "failed ");

  Recorder events2;
  const auto made = network.Connect(broadcast, 80, events2);
  made->Close();
  RunFor(50);
  EXPECT_EQ(events2.log, "");
}

TEST_F(PosixNetworkTest, DeliversOneBlockPerReadiness) {
  ConnectAndAccept();
  peer.Send("first ");
  peer.Send("second ");
  peer.Send("third");
  ASSERT_TRUE(RunUntil([&] { return recorder.bytes.size() == 18; }));
  EXPECT_EQ(recorder.blocks, 1);
}

TEST_F(PosixNetworkTest, DeliversAllDataBeforeTheEnd) {
  ConnectAndAccept();
  peer.Send(std::string(100000, 'a'));
  peer.Hangup();
  ASSERT_TRUE(Wait("closed"));
  EXPECT_EQ(recorder.bytes, std::string(100000, 'a'));
  EXPECT_TRUE(recorder.log.starts_with("connected data ")) << recorder.log;
  EXPECT_TRUE(recorder.log.ends_with("data closed ")) << recorder.log;
}

TEST_F(PosixNetworkTest, SparesDescriptorsForFilesAndDisplayAndReusesThem) {
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
  rlimit few = before;
  few.rlim_cur = 64;  // (64 - 40) / 2 sockets
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
  std::vector<std::unique_ptr<Recorder>> recorders;
  std::vector<std::unique_ptr<Connection>> connections;
  const auto connect = [&] {
    recorders.push_back(std::make_unique<Recorder>());
    connections.push_back(network.Connect("127.0.0.1", peer.Port(), *recorders.back()));
    EXPECT_TRUE(RunUntil([&] { return !recorders.back()->log.empty(); }));
    return recorders.back()->log;
  };
  for (int i = 0; i < 12; ++i) EXPECT_EQ(connect(), "connected ") << i;
  EXPECT_EQ(connect(), "failed ");
  EXPECT_EQ(recorders.back()->reason, std::strerror(EMFILE));
  connections.front()->Close();
  EXPECT_EQ(connect(), "connected ");
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
  EXPECT_EQ(connect(), "connected ");
}

TEST_F(PosixNetworkTest, EndedStreamUsesNoProcessorTime) {
  ConnectAndAccept();
  peer.Hangup();
  ASSERT_TRUE(Wait("closed"));
  const std::clock_t before = std::clock();
  RunFor(300);
  EXPECT_LT(std::clock() - before, CLOCKS_PER_SEC / 10);
  EXPECT_EQ(recorder.log, "connected closed ");
}

TEST_F(PosixNetworkTest, ResetEndsTheConnectionOnceAndUsesNoProcessorTime) {
  ConnectAndAccept();
  peer.Reset();
  ASSERT_TRUE(Wait("closed"));
  connection->Send("into the void");
  const std::clock_t before = std::clock();
  RunFor(300);
  EXPECT_LT(std::clock() - before, CLOCKS_PER_SEC / 10);
  EXPECT_EQ(recorder.log, "connected closed ");
}

TEST_F(PosixNetworkTest, ResetDuringASendDropsTheRestSilently) {
  ConnectAndAccept();
  connection->Send(std::string(kMoreThanFits, 'z'));
  RunFor(20);
  peer.Reset();
  ASSERT_TRUE(Wait("closed"));
  connection->Send("more");
  RunFor(50);
  EXPECT_EQ(recorder.log, "connected closed ");
}

TEST_F(PosixNetworkTest, SendsTheRestAfterAPartialWrite) {
  ConnectAndAccept();
  std::string sent;
  for (int i = 0; sent.size() < kMoreThanFits; ++i) sent += std::to_string(i) + ",";
  connection->Send(sent);
  connection->Send("end");
  std::string heard;
  std::thread reader([&] { heard = peer.Receive(sent.size() + 3); });
  RunUntil([&] { return heard.size() == sent.size() + 3; }, 3000);
  reader.join();
  EXPECT_TRUE(heard == sent + "end");
}

TEST_F(PosixNetworkTest, LeavesDataInTheKernelWhileNotReading) {
  ConnectAndAccept();
  connection->SetReading(false);
  peer.Send("later");
  RunFor(50);
  EXPECT_EQ(recorder.bytes, "");
  connection->SetReading(true);
  ASSERT_TRUE(Wait("data"));
  EXPECT_EQ(recorder.bytes, "later");
}

TEST_F(PosixNetworkTest, ReadingCanBeDisabledBeforeConnecting) {
  Connect();
  connection->SetReading(false);
  peer.Accept();
  peer.Send("early");
  peer.Hangup();
  ASSERT_TRUE(Wait("connected"));
  RunFor(50);
  EXPECT_EQ(recorder.log, "connected ");
  connection->SetReading(true);
  ASSERT_TRUE(Wait("closed"));
  EXPECT_EQ(recorder.bytes, "early");
}

TEST_F(PosixNetworkTest, CloseDropsDataThatHasArrived) {
  ConnectAndAccept();
  peer.Send("unheard");
  connection->Close();
  connection->Close();
  RunFor(50);
  EXPECT_EQ(recorder.log, "connected ");
}

TEST_F(PosixNetworkTest, CloseDuringALookupDropsTheAnswer) {
  connection = network.Connect("localhost", peer.Port(), recorder);
  connection->Close();
  RunFor(100);
  EXPECT_EQ(recorder.log, "");
}

TEST_F(PosixNetworkTest, CanBeDestroyedInsideAnyOfItsEvents) {
  for (const std::string event : {"connected", "data", "closed"}) {
    Recorder events2;
    auto made = network.Connect("127.0.0.1", peer.Port(), events2);
    events2.then = [&] {
      if (events2.Saw(event)) made.reset();
    };
    peer.Accept();
    peer.Send("x");
    peer.Hangup();
    EXPECT_TRUE(RunUntil([&] { return made == nullptr; })) << event;
    RunFor(10);
    EXPECT_TRUE(events2.log.ends_with(event + " ")) << events2.log;
  }
}

TEST_F(PosixNetworkTest, ClosedPortFailsOnce) {
  peer.StopListening();
  Connect();
  EXPECT_EQ(recorder.log, "");
  ASSERT_TRUE(Wait("failed"));
  RunFor(50);
  EXPECT_EQ(recorder.log, "failed ");
  EXPECT_EQ(recorder.reason, std::strerror(ECONNREFUSED));
}

TEST_F(PosixNetworkTest, RefusesInvalidHostsAndPorts) {
  struct Case {
    std::string host;
    std::int32_t port;
  };
  for (const Case& c : {Case{"", 80}, Case{"127.0.0.1", 0}, Case{"127.0.0.1", -5}, Case{"127.0.0.1", 65536},
                        Case{"127.0.0.1", 65536 + peer.Port()}, Case{std::string("127.0.0.1\0x", 11), peer.Port()}}) {
    Recorder events2;
    const auto made = network.Connect(c.host, c.port, events2);
    EXPECT_EQ(events2.log, "");
    EXPECT_TRUE(RunUntil([&] { return events2.Saw("failed"); })) << c.host << ":" << c.port;
    EXPECT_EQ(events2.log, "failed ");
  }
}

TEST_F(PosixNetworkTest, NameWithoutAnAddressFails) {
  connection = network.Connect("no such name.invalid", 80, recorder);
  EXPECT_EQ(recorder.log, "");
  ASSERT_TRUE(RunUntil([&] { return recorder.Saw("failed"); }, 15000));
  EXPECT_EQ(recorder.log, "failed ");
}

TEST_F(PosixNetworkTest, CanBeDestroyedDuringALookup) {
  auto short1 = std::make_unique<PosixNetwork>(gate, events);
  connection = short1->Connect("localhost", peer.Port(), recorder);
  connection.reset();
  short1.reset();
  RunFor(50);
  EXPECT_EQ(recorder.log, "");
}

}  // namespace
}  // namespace pellora
