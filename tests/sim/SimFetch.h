// SimFetch: one request of the simulated fetcher, with the connections that requests use one after another and the
// pool from which their blocks are.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "SimFetchUrl.h"
#include "SimFetcher.h"
#include "SimHttpReader.h"

namespace pellora {

constexpr std::uint64_t kFetchSources = std::uint64_t{1} << 40;  // of arrivals; beyond the numbers of connections

// The memory of all blocks. Who finds no room waits in a queue; what is freed is offered to its first, by an event.
class SimFetchPool final : public std::enable_shared_from_this<SimFetchPool> {
 public:
  explicit SimFetchPool(SimLoop& loop) : loop_(&loop) {}

  std::size_t longest = std::size_t{256} << 10;  // of a block
  std::size_t free = std::size_t{3} << 20;

  // Null if there is no room; the fetch then waits for its turn. `bytes` is what the block will hold.
  std::unique_ptr<FetchBlock> Take(std::size_t capacity, const std::shared_ptr<SimFetch>& fetch, std::string*& bytes);
  bool HasWaiters() const {
    return std::any_of(waiting_.begin(), waiting_.end(), [](const Waiting& one) { return !one.fetch.expired(); });
  }
  void Drop() {
    loop_ = nullptr;
    waiting_.clear();
  }

 private:
  friend class SimFetchBlock;
  struct Waiting {
    std::weak_ptr<SimFetch> fetch;
    std::size_t capacity;
  };
  void GiveBack(std::size_t capacity);
  void Wake();

  SimLoop* loop_;  // null once the port has ended
  std::deque<Waiting> waiting_;
  const SimFetch* turn_ = nullptr;  // it is asked to take now, before all who wait
};

// One connection. Its user is the request that it serves; without one it is kept.
class SimFetchLink final : public ConnectionEvents {
 public:
  SimFetchLink(SimFetcher& fetcher, std::string aKey, std::string address)
      : key(std::move(aKey)), peerAddress(std::move(address)), fetcher_(fetcher) {}

  std::string key;
  std::string peerAddress;
  std::unique_ptr<Connection> connection;
  SimFetch* user = nullptr;
  bool used = false;  // by an earlier request

  // Each may destroy this link.
  void Connected() override;
  void DataArrived(std::string_view block) override;
  void PeerClosed() override;
  void ConnectionFailed(const std::string& reason) override;

 private:
  SimFetcher& fetcher_;
};

// One request. Kept alive by its handle and by its own events.
class SimFetch final : public std::enable_shared_from_this<SimFetch> {
 public:
  SimFetch(SimFetcher& fetcher, FetchRequest request, FetchEvents& events, SimFetchLog& log)
      : fetcher_(fetcher),
        loop_(fetcher.loop_),
        source_(kFetchSources + ++fetcher.sources_),
        request_(std::move(request)),
        events_(&events),
        log_(log) {}

  void Begin();
  void Cancel();
  void SetReading(bool reading);
  void Resume();  // a block is free
  void Retry();   // of the throttle
  bool IsRunning() const { return events_ != nullptr; }

  // Of the link.
  void Connected();
  void DataArrived(std::string_view block);
  void PeerClosed();
  void ConnectionFailed();

 private:
  enum class Part { LookUp, Connecting, Proxy, Handshake, Reply, Done };
  struct Event {
    std::optional<FetchAnswer> answer = {};
    std::unique_ptr<FetchBlock> block = {};
    FetchEnd end = FetchEnd::Whole;
    std::string reason = {};
  };

  const SimFetchHost& Host() const { return fetcher_.hosts_[url_.host]; }
  bool IsTunnel() const { return proxy_ && url_.scheme != "http"; }
  void Connect();
  void ConnectAnew();
  void Later(SimLoop::Micros span, void (SimFetch::*step)());
  void FinishHandshake();
  bool TrustsHost();
  bool TrustsKey();
  void SendConnect();
  void SendRequest();
  std::string HttpRequestText() const;
  void Read();
  bool ReadProxy(std::string_view& input);
  bool ReadHttp(std::string_view& input);
  bool AnswerHttp();
  void EndForProxyLogin();
  bool ReadFile(std::string_view& input);
  bool AnswerFile(const std::string& line);
  bool Gather(std::string_view bytes);
  bool TakeBlock();
  bool AskThrottle(std::size_t bytes);
  void ReadOn();
  std::size_t Allowed() const { return request_.throttle ? allowed_ : std::size_t{1} << 30; }
  void MissFinalReply();
  void HandOn();
  void HandOnLater();
  void Answer(FetchAnswer answer);
  void Queue(Event event);
  void Pump();
  void Deliver();
  void End(FetchEnd end, const std::string& reason = {});
  void GiveUpLink(bool keep);
  std::size_t Room() const { return block_ ? blockCapacity_ - blockBytes_->size() : 0; }

  SimFetcher& fetcher_;
  SimLoop& loop_;
  std::uint64_t source_;
  FetchRequest request_;
  FetchEvents* events_;  // null once ended or destroyed
  SimFetchLog& log_;
  FetchUrl url_;
  std::optional<FetchUrl> proxy_;
  Part part_ = Part::LookUp;
  std::unique_ptr<SimFetchLink> link_;
  std::string pending_;  // arrived, and not read yet
  bool reading_ = true;
  bool starved_ = false;     // waits for a block
  bool throttled_ = false;   // waits for the throttle
  std::size_t allowed_ = 0;  // by the throttle, and not read yet
  SimHttpReader reader_;
  std::string fileLine_;
  std::int64_t fileLeft_ = -1;         // -1: not known
  std::unique_ptr<FetchBlock> block_;  // being filled
  std::string* blockBytes_ = nullptr;
  std::size_t blockCapacity_ = 0;
  std::size_t nextCapacity_ = std::size_t{16} << 10;  // grows with what comes at once
  std::uint64_t blockNumber_ = 0;
  std::deque<Event> queue_;
  bool pumping_ = false;
};

}  // namespace pellora
