#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "SimPlatform.h"
#include "async/Winsock.h"
#include "ports/Failure.h"

namespace pellora {
namespace {

class WinsockTest : public testing::Test {
 protected:
  WinsockTest() {
    sim.network().Serve("peer.example", 21, server);
    server.wire.cut = SimCut::Whole;
    server.onConnect = [](SimPeer& peer) { peer.Send("220 hello\r\n"); };
    socket->OnConnect = [this] { log += "C"; };
    socket->OnDataArrival = [this](std::size_t bytes) {
      log += "D" + std::to_string(bytes);
      data += socket->GetData();
    };
    socket->OnClose = [this] { log += "P"; };
    socket->OnError = [this] { log += "E"; };
  }
  void Connect() { socket->Connect("peer.example", 21); }

  SimPlatform sim;
  SimScript server;
  std::unique_ptr<Winsock> socket = std::make_unique<Winsock>(sim.platform());
  std::string log;
  std::string data;
};

TEST_F(WinsockTest, PassesThroughItsStates) {
  EXPECT_EQ(socket->State(), SocketState::Closed);
  Connect();
  EXPECT_EQ(socket->State(), SocketState::Connecting);
  EXPECT_EQ(log, "");
  server.onData = [](SimPeer& peer, std::string_view) { peer.Close(); };
  sim.RunUntilIdle();
  EXPECT_EQ(socket->State(), SocketState::Connected);
  EXPECT_EQ(log, "CD11");
  socket->SendData("QUIT\r\n");
  sim.RunUntilIdle();
  EXPECT_EQ(socket->State(), SocketState::PeerClosing);
  EXPECT_EQ(log, "CD11P");
  EXPECT_EQ(data, "220 hello\r\n");
  socket->Close();
  EXPECT_EQ(socket->State(), SocketState::Closed);
}

TEST_F(WinsockTest, ConnectOnAnOpenSocketFails) {
  Connect();
  const std::uint32_t number = socket->Number();
  EXPECT_THROW(Connect(), Failure);  // connecting
  sim.RunUntilIdle();
  EXPECT_THROW(Connect(), Failure);  // connected
  EXPECT_EQ(socket->Number(), number);
  EXPECT_EQ(log, "CD11");
  EXPECT_EQ(sim.network().Log().size(), 1U);
}

TEST_F(WinsockTest, FailedSocketIsNotClosedUntilClose) {
  socket->Connect("nobody.example", 80);
  sim.RunUntilIdle();
  EXPECT_EQ(log, "E");
  EXPECT_EQ(socket->State(), SocketState::Error);
  EXPECT_THROW(Connect(), Failure);
  socket->Close();
  Connect();
  sim.RunUntilIdle();
  EXPECT_EQ(log, "ECD11");
}

TEST_F(WinsockTest, PortOutOfRangeFailsByAnEvent) {
  socket->Connect("peer.example", 65536 + 21);
  EXPECT_EQ(log, "");
  sim.RunUntilIdle();
  EXPECT_EQ(log, "E");
}

TEST_F(WinsockTest, NoEventComesAfterClose) {
  for (int events = 0; events < 4; ++events) {
    log.clear();
    Connect();
    sim.RunFor(static_cast<std::uint64_t>(events) * 5);
    socket->Close();
    const std::string before = log;
    sim.RunFor(10'000);
    EXPECT_EQ(log, before);
  }
}

TEST_F(WinsockTest, CloseOnAClosedSocketKeepsItsNumber) {
  const std::uint32_t number = socket->Number();
  socket->Close();
  EXPECT_EQ(socket->Number(), number);
}

TEST_F(WinsockTest, NumberRisesWithEachConnectAndClose) {
  const std::uint32_t number = socket->Number();
  Connect();
  EXPECT_EQ(socket->Number(), number + 1);
  socket->Close();
  EXPECT_EQ(socket->Number(), number + 2);
  Connect();
  EXPECT_EQ(socket->Number(), number + 3);
}

TEST_F(WinsockTest, SendOnAnUnconnectedSocketFails) {
  EXPECT_THROW(socket->SendData("x"), Failure);
  Connect();
  EXPECT_THROW(socket->SendData("x"), Failure);
  sim.RunUntilIdle();
  socket->SendData("x");
  socket->Close();
  EXPECT_THROW(socket->SendData("x"), Failure);
  EXPECT_EQ(sim.network().Log().front().received, "x");
}

TEST_F(WinsockTest, CanCloseAndReconnectInItsHandler) {
  int arrivals = 0;
  socket->OnDataArrival = [&](std::size_t) {
    if (++arrivals > 1) return;
    socket->Close();
    EXPECT_EQ(socket->GetData(), "");
    Connect();
  };
  Connect();
  sim.RunUntilIdle();
  EXPECT_EQ(arrivals, 2);
  EXPECT_EQ(socket->State(), SocketState::Connected);
}

TEST_F(WinsockTest, DestructionEndsTheConnection) {
  Connect();
  sim.RunUntilIdle();
  socket.reset();
  EXPECT_EQ(sim.network().Open(), 0);
  sim.RunUntilIdle();
  EXPECT_EQ(log, "CD11");
}

TEST_F(WinsockTest, DisabledReadingAppliesToLaterConnections) {
  socket->SetReading(false);
  Connect();
  sim.RunFor(10'000);
  EXPECT_EQ(log, "C");
  socket->SetReading(true);
  sim.RunUntilIdle();
  EXPECT_EQ(log, "CD11");
}

TEST_F(WinsockTest, AHeldConnectionIsNotReadAndTheNextOneIs) {
  Connect();
  ASSERT_TRUE(sim.RunUntil([this] { return socket->State() == SocketState::Connected; }));
  socket->Hold(true);
  socket->SetReading(false);
  socket->SetReading(true);
  sim.RunFor(10'000);
  EXPECT_EQ(log, "C");
  socket->Close();
  EXPECT_FALSE(socket->Held());
  Connect();
  sim.RunUntilIdle();
  EXPECT_EQ(log, "CCD11");
}

TEST_F(WinsockTest, DataIsGoneAfterItsHandler) {
  Connect();
  sim.RunUntilIdle();
  EXPECT_EQ(socket->GetData(), "");
}

}  // namespace
}  // namespace pellora
