// SimFetcher: the port of the same name over the simulated network.
//
// http and https speak HTTP/1.1 to a SimHttpServer (or any SimServer) at the host and port of the URL; https adds a
// handshake, which checks the host's certificate (SimFetchHost), and is not encrypted. ftp, ftps and sftp read from a
// SimFileServer. Wires, faults and times are those of the network.
//
//   SimHttpServer origin(sim.network(), "origin.example", 443);
//   sim.fetcher().Host("other.example").tls = SimTls::Expired;
//   sim.network().Serve("10.0.0.2", 443, node);          // a name with several addresses is served at each of them
//   sim.fetcher().SetAddresses("many.example", {"10.0.0.1", "10.0.0.2"});
//   sim.fetcher().Log().back().request.headers           // what was asked for
//
// A host without SetAddresses gets a made-up address of its own, which FetchRequest::address leads back to. Blocks are
// handed on when they are full, 100 ms after their first byte, and at the end. While SetReading is False no event
// comes.
//
// Ends, where the header leaves a choice:
// - Whole also for a body until the connection's end, which the sender's close and a cut wire end alike: that length is
//   not confirmed. Such an answer has neither "Transfer-Encoding: chunked" nor a usable Content-Length.
// - Lost for a connection that ends before the head, the stated length, or the last chunk.
// - Other for what is no HTTP, and a Content-Length that is no number. Then Answered does not come.
// - Unsupported, after Answered, for a Transfer-Encoding that is more than "chunked".
// - Bytes beyond the Content-Length are not delivered; the end is Whole, and the connection is not kept.
// - A kept connection that the server ends before the first byte of a reply is replaced by a new one, once.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "SimDisk.h"
#include "SimLoop.h"
#include "SimNetwork.h"
#include "ports/Fetcher.h"

namespace pellora {

enum class SimTls {
  Good,
  Expired,
  WrongHost,
  UnknownAuthority,  // good if the file FetchRequest::certificates has SimFetchHost::authority in it
  OldVersion,        // nothing newer than TLS 1.1
  None,              // the server does not speak TLS
};

// What is behind one host name, for all its ports.
struct SimFetchHost {
  SimTls tls = SimTls::Good;
  std::string authority;         // a text of the PEM file that makes UnknownAuthority good
  std::uint32_t handshake = 20;  // ms
  bool http2Only = false;
  // sftp: known if a line of FetchRequest::knownHosts, a file on the simulated disk, begins with the host and has it.
  std::string key = "SHA256:simulated";
};

struct SimFetchLog {
  FetchRequest request;
  std::int64_t beganAt = 0;      // ms since the start of the run
  std::int64_t answeredAt = -1;  // -1: never
  std::int64_t endedAt = -1;     // Ended, or the destruction of its Fetch
  std::optional<FetchEnd> end;   // none: it was destroyed, or goes on
  std::string reason;
  std::uint64_t delivered = 0;  // bytes of blocks
  std::string peerAddress;
  bool kept = false;  // sent on a kept connection
};

class SimFetchPool;
class SimFetchLink;
class SimFetch;

class SimFetcher final : public Fetcher {
 public:
  SimFetcher(SimLoop& loop, SimNetwork& network, const SimDisk& disk);
  ~SimFetcher() override;

  // The port.
  std::unique_ptr<Fetch> Begin(FetchRequest request, FetchEvents& events) override;
  bool Supports(std::string_view scheme) const override { return schemes.contains(scheme); }
  bool Starved() const override;

  // For the test.
  SimFetchHost& Host(const std::string& host) { return hosts_[host]; }
  // Each look-up of the host leads to the next of these.
  void SetAddresses(const std::string& host, std::vector<std::string> addresses);
  void SetPool(std::size_t bytes, std::size_t longestBlock);  // before the first request; by default 3 MiB and 256 KiB
  std::size_t FreeBytes() const;
  void SetMostKept(std::size_t connections) { mostKept_ = connections; }
  std::set<std::string, std::less<>> schemes{"http", "https", "ftp", "ftps", "sftp"};

  const std::deque<SimFetchLog>& Log() const { return log_; }
  std::size_t Running() const;  // requests that have neither ended nor been destroyed
  std::size_t Kept() const { return kept_.size(); }
  void CloseKept();
  // Ends the port with its program: nothing is delivered any more, and all connections are closed.
  void Drop();

 private:
  friend class SimFetchLink;
  friend class SimFetch;
  struct Address {
    std::string name;  // where the network serves it
    std::string numeric;
  };
  std::optional<Address> LookUp(const std::string& host, const std::string& demanded);
  std::string OwnAddress(const std::string& host);
  std::unique_ptr<SimFetchLink> TakeKept(const std::string& key, const std::string& address);
  void Keep(std::unique_ptr<SimFetchLink> link);
  void Forget(const SimFetchLink& link);

  SimLoop& loop_;
  SimNetwork& network_;
  const SimDisk& disk_;
  std::shared_ptr<SimFetchPool> pool_;
  std::map<std::string, SimFetchHost> hosts_;
  struct Rotation {
    std::vector<std::string> addresses;
    std::size_t next = 0;
  };
  std::map<std::string, Rotation> rotations_;
  std::map<std::string, std::string> ownAddresses_;  // by host
  std::vector<std::unique_ptr<SimFetchLink>> kept_;  // the oldest first
  std::size_t mostKept_ = 16;
  std::deque<SimFetchLog> log_;
  std::vector<std::weak_ptr<SimFetch>> running_;
  std::uint64_t sources_ = 0;
};

}  // namespace pellora
