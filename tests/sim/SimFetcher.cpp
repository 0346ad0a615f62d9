#include "SimFetcher.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "SimFaults.h"
#include "SimHttpReader.h"
#include "SimHttpText.h"

namespace pellora {

namespace {

constexpr std::uint64_t kSources = std::uint64_t{1} << 40;  // beyond the numbers of connections
constexpr SimLoop::Micros kGather = 100 * SimLoop::kMillisecond;
constexpr SimLoop::Micros kLookUp = 20 * SimLoop::kMillisecond;
constexpr SimLoop::Micros kFinalReply = 60 * SimLoop::kSecond;

struct Scheme {
  const char* name;
  std::int32_t port;
};
constexpr Scheme kSchemes[] = {{"http", 80}, {"https", 443}, {"ftp", 21}, {"ftps", 990}, {"sftp", 22}};

struct FetchUrl {
  std::string scheme, host, target, login;
  std::int32_t port = 0;
  bool hasPort = false;
  bool IsHttp() const { return scheme == "http" || scheme == "https"; }
  std::string HostLine() const {
    const std::string name = host.find(':') == std::string::npos ? host : "[" + host + "]";
    return hasPort ? name + ":" + std::to_string(port) : name;
  }
};

// nullopt if the scheme or the port is none that can be fetched from.
std::optional<FetchUrl> Split(const std::string& text) {
  FetchUrl url;
  const std::size_t colon = text.find("://");
  if (colon == std::string::npos) return std::nullopt;
  url.scheme = text.substr(0, colon);
  const auto* const known = std::find_if(std::begin(kSchemes), std::end(kSchemes),
                                         [&](const Scheme& scheme) { return url.scheme == scheme.name; });
  if (known == std::end(kSchemes)) return std::nullopt;
  const std::size_t begin = colon + 3;
  const std::size_t end = std::min(text.find_first_of("/?", begin), text.size());
  std::string authority = text.substr(begin, end - begin);
  if (const std::size_t at = authority.rfind('@'); at != std::string::npos) {
    url.login = authority.substr(0, at);
    authority.erase(0, at + 1);
  }
  url.target = text.substr(end);
  if (!url.target.starts_with('/')) url.target.insert(0, "/");
  url.port = known->port;
  const std::size_t bracket = authority.find(']');
  const std::size_t mark = authority.find(':', bracket == std::string::npos ? 0 : bracket);
  url.host = bracket == std::string::npos ? authority.substr(0, mark) : authority.substr(1, bracket - 1);
  if (mark == std::string::npos) return url;
  const char* const last = authority.data() + authority.size();
  const auto number = std::from_chars(authority.data() + mark + 1, last, url.port);
  if (number.ec != std::errc() || number.ptr != last) return std::nullopt;
  url.hasPort = url.port != known->port;
  return url;
}

bool IsNumeric(const std::string& host) {
  return host.find(':') != std::string::npos || host.find_first_not_of("0123456789.") == std::string::npos;
}

const char* WhatIsWrong(SimTls tls) {
  switch (tls) {
    case SimTls::Expired:
      return "has expired";
    case SimTls::WrongHost:
      return "was issued for another host";
    default:
      return "was issued by an unknown authority";
  }
}

}  // namespace

// The blocks that are free, and who waits for one.
class SimFetchPool final : public std::enable_shared_from_this<SimFetchPool> {
 public:
  explicit SimFetchPool(SimLoop& loop) : loop_(&loop) {}

  std::size_t blockSize = std::size_t{256} << 10;
  std::size_t free = 32;

  std::unique_ptr<FetchBlock> Take(std::string*& bytes);
  void Wait(std::weak_ptr<SimFetch> fetch) { waiting_.push_back(std::move(fetch)); }
  void Drop() {
    loop_ = nullptr;
    waiting_.clear();
  }

 private:
  friend class SimFetchBlock;
  void GiveBack();
  void Wake();

  SimLoop* loop_;  // null once the port has ended
  std::deque<std::weak_ptr<SimFetch>> waiting_;
};

class SimFetchBlock final : public FetchBlock {
 public:
  explicit SimFetchBlock(std::shared_ptr<SimFetchPool> pool) : pool_(std::move(pool)) {}
  ~SimFetchBlock() override { pool_->GiveBack(); }
  SimFetchBlock(const SimFetchBlock&) = delete;
  SimFetchBlock& operator=(const SimFetchBlock&) = delete;
  std::string_view Bytes() const override { return bytes; }
  std::string bytes;

 private:
  std::shared_ptr<SimFetchPool> pool_;
};

// Null if there is none.
std::unique_ptr<FetchBlock> SimFetchPool::Take(std::string*& bytes) {
  if (free == 0) return nullptr;
  --free;
  auto block = std::make_unique<SimFetchBlock>(shared_from_this());
  bytes = &block->bytes;
  return block;
}

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
        source_(kSources + ++fetcher.sources_),
        request_(std::move(request)),
        events_(&events),
        log_(log) {}

  void Begin();
  void Cancel();
  void SetReading(bool reading);
  void Resume();  // a block is free
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
  void AnswerHttp();
  bool ReadFile(std::string_view& input);
  bool AnswerFile(const std::string& line);
  bool Gather(std::string_view bytes);
  bool TakeBlock();
  void MissFinalReply();
  void HandOn();
  void Answer(FetchAnswer answer);
  void Queue(Event event);
  void Pump();
  void Deliver();
  void End(FetchEnd end, const std::string& reason = {});
  void GiveUpLink(bool keep);
  std::size_t Room() const { return block_ ? fetcher_.pool_->blockSize - blockBytes_->size() : 0; }
  std::string At() const { return " " + url_.host; }

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
  bool starved_ = false;  // waits for a block
  SimHttpReader reader_;
  std::string fileLine_;
  std::int64_t fileLeft_ = -1;         // -1: not known
  std::unique_ptr<FetchBlock> block_;  // being filled
  std::string* blockBytes_ = nullptr;
  std::uint64_t blockNumber_ = 0;
  std::deque<Event> queue_;
  bool pumping_ = false;
};

namespace {

class FetchHandle final : public Fetch {
 public:
  explicit FetchHandle(std::shared_ptr<SimFetch> fetch) : fetch_(std::move(fetch)) {}
  ~FetchHandle() override { fetch_->Cancel(); }
  FetchHandle(const FetchHandle&) = delete;
  FetchHandle& operator=(const FetchHandle&) = delete;
  void SetReading(bool reading) override { fetch_->SetReading(reading); }

 private:
  std::shared_ptr<SimFetch> fetch_;
};

}  // namespace

void SimFetchPool::GiveBack() {
  ++free;
  if (!loop_ || waiting_.empty()) return;
  loop_->Arrive(kSources, loop_->Time(), [self = shared_from_this()] { self->Wake(); });
}

void SimFetchPool::Wake() {
  while (free > 0 && !waiting_.empty()) {
    const std::shared_ptr<SimFetch> fetch = waiting_.front().lock();
    waiting_.pop_front();
    if (fetch) fetch->Resume();
  }
}

void SimFetchLink::Connected() {
  if (user) user->Connected();
}

void SimFetchLink::DataArrived(std::string_view block) {
  if (user) return user->DataArrived(block);
  fetcher_.Forget(*this);  // a reply that was not asked for
}

void SimFetchLink::PeerClosed() {
  if (user) return user->PeerClosed();
  fetcher_.Forget(*this);
}

void SimFetchLink::ConnectionFailed(const std::string&) {
  if (user) user->ConnectionFailed();
}

void SimFetch::Begin() {
  const std::optional<FetchUrl> url = Split(request_.url);
  if (!url || !fetcher_.Supports(url->scheme)) {
    return End(FetchEnd::Unsupported, "This kind of address is not supported: " + request_.url);
  }
  url_ = *url;
  if (!request_.proxy.empty()) {
    proxy_ = Split(request_.proxy);
    if (!proxy_ || proxy_->scheme != "http") {
      return End(FetchEnd::Proxy, "This kind of proxy is not supported: " + request_.proxy);
    }
  }
  const std::string key = url_.scheme + " " + url_.host + " " + std::to_string(url_.port) + " " + request_.proxy;
  if (url_.IsHttp()) link_ = fetcher_.TakeKept(key, request_.address);
  if (!link_) {
    link_ = std::make_unique<SimFetchLink>(fetcher_, key, "");
    return Connect();
  }
  link_->user = this;
  log_.kept = true;
  part_ = Part::Reply;
  if (!reading_) link_->connection->SetReading(false);
  SendRequest();
}

void SimFetch::Connect() {
  const std::string& host = proxy_ ? proxy_->host : url_.host;
  const auto address = fetcher_.LookUp(host, proxy_ ? "" : request_.address);
  if (!address || SimFails("look up", host)) {
    return Later(kLookUp, &SimFetch::ConnectionFailed);
  }
  link_->peerAddress = address->numeric;
  link_->user = this;
  part_ = Part::Connecting;
  link_->connection = fetcher_.network_.Connect(address->name, proxy_ ? proxy_->port : url_.port, *link_);
  if (!reading_) link_->connection->SetReading(false);
}

// The server had ended the kept connection.
void SimFetch::ConnectAnew() {
  auto link = std::make_unique<SimFetchLink>(fetcher_, link_->key, "");
  link_ = std::move(link);
  log_.kept = false;
  part_ = Part::LookUp;
  Connect();
}

void SimFetch::Later(SimLoop::Micros span, void (SimFetch::*step)()) {
  loop_.Arrive(source_, loop_.Time() + span, [weak = weak_from_this(), step, link = link_.get()] {
    const std::shared_ptr<SimFetch> self = weak.lock();
    if (self && self->link_ && self->link_.get() == link) ((*self).*step)();
  });
}

void SimFetch::Cancel() {
  if (events_ && log_.endedAt < 0) log_.endedAt = loop_.Time() / SimLoop::kMillisecond;
  events_ = nullptr;
  queue_.clear();
  block_.reset();
  link_.reset();
  part_ = Part::Done;
}

void SimFetch::SetReading(bool reading) {
  if (!events_ || reading_ == reading) return;
  reading_ = reading;
  if (link_ && link_->connection && !starved_) link_->connection->SetReading(reading);
  if (!reading) return;
  Pump();
  Later(0, &SimFetch::Read);
}

void SimFetch::Resume() {
  if (!starved_) return;
  starved_ = false;
  if (!reading_ || !link_) return;
  Read();
  if (link_ && !starved_) link_->connection->SetReading(true);
}

void SimFetch::Connected() {
  if (IsTunnel()) return SendConnect();
  part_ = Part::Handshake;
  const bool secured = url_.scheme != "http" && url_.scheme != "ftp";
  if (!secured) return FinishHandshake();
  Later(SimLoop::Micros{Host().handshake} * SimLoop::kMillisecond, &SimFetch::FinishHandshake);
}

void SimFetch::SendConnect() {
  part_ = Part::Proxy;
  reader_ = SimHttpReader(true);
  const std::string to = url_.host + ":" + std::to_string(url_.port);
  std::string text = "CONNECT " + to + " HTTP/1.1\r\nHost: " + to + "\r\n";
  if (!proxy_->login.empty()) text += "Proxy-Authorization: Basic " + SimBase64(proxy_->login) + "\r\n";
  link_->connection->Send(text + "\r\n");
}

void SimFetch::FinishHandshake() {
  if (part_ != Part::Handshake) return;
  if (url_.scheme == "sftp" && !TrustsKey()) return;
  if ((url_.scheme == "https" || url_.scheme == "ftps") && !TrustsHost()) return;
  part_ = Part::Reply;
  SendRequest();
}

bool SimFetch::TrustsHost() {
  const SimFetchHost& host = Host();
  if (host.http2Only && !request_.http2) {
    End(FetchEnd::Unsupported, "The server" + At() + " speaks only HTTP/2.");
    return false;
  }
  if (host.tls == SimTls::Good) return true;
  if (host.tls == SimTls::None) {
    End(FetchEnd::Other, "The server" + At() + " does not speak TLS.");
    return false;
  }
  if (host.tls == SimTls::OldVersion) {
    End(FetchEnd::NotTrusted, "The server" + At() + " has no TLS version from 1.2 on.");
    return false;
  }
  if (host.tls == SimTls::UnknownAuthority && !host.authority.empty() && fetcher_.disk_.Has(request_.certificates) &&
      fetcher_.disk_.Get(request_.certificates).find(host.authority) != std::string::npos) {
    return true;
  }
  End(FetchEnd::NotTrusted, "The certificate of" + At() + " " + WhatIsWrong(host.tls) + ".");
  return false;
}

bool SimFetch::TrustsKey() {
  const std::string& key = Host().key;
  const std::string& path = request_.knownHosts;
  std::string known = !path.empty() && fetcher_.disk_.Has(path) ? "\n" + fetcher_.disk_.Get(path) : "";
  const std::size_t line = known.find("\n" + url_.host + " ");
  if (line != std::string::npos) {
    if (known.substr(line, known.find('\n', line + 1) - line).find(key) != std::string::npos) return true;
    End(FetchEnd::NotTrusted, "The key of" + At() + " is not the one that is known.");
    return false;
  }
  if (request_.acceptedKey == key) return true;
  End(FetchEnd::UnknownKey, key);
  return false;
}

std::string SimFetch::HttpRequestText() const {
  const bool throughProxy = proxy_ && !IsTunnel();
  std::string text = "GET " + (throughProxy ? "http://" + url_.HostLine() : "") + url_.target +
                     " HTTP/1.1\r\nHost: " + url_.HostLine() + "\r\n";
  if (throughProxy && !proxy_->login.empty()) {
    text += "Proxy-Authorization: Basic " + SimBase64(proxy_->login) + "\r\n";
  }
  if (!request_.user.empty()) {
    text += "Authorization: Basic " + SimBase64(request_.user + ":" + request_.password) + "\r\n";
  }
  if (request_.ranged) {
    text += "Range: bytes=" + std::to_string(request_.from) + "-" +
            (request_.to < 0 ? "" : std::to_string(request_.to)) + "\r\n";
  }
  text += "Accept-Encoding: identity\r\n";
  for (const FetchHeader& header : request_.headers) text += header.name + ": " + header.value + "\r\n";
  return text + "\r\n";
}

void SimFetch::SendRequest() {
  reader_ = SimHttpReader();
  log_.peerAddress = link_->peerAddress;
  if (url_.IsHttp()) return link_->connection->Send(HttpRequestText());
  link_->connection->Send(url_.scheme + "\n" + request_.user + "\n" + request_.password + "\n" + url_.target + "\n" +
                          std::to_string(request_.ranged ? request_.from : 0) + "\n");
}

void SimFetch::ConnectionFailed() {
  const std::string& host = proxy_ ? proxy_->host : url_.host;
  if (proxy_) return End(FetchEnd::Proxy, "The proxy " + host + " does not answer.");
  if (part_ != Part::Connecting && !IsNumeric(host))
    return End(FetchEnd::NoHost, "The host " + host + " was not found.");
  End(FetchEnd::NoConnect, "The server " + host + " refuses the connection or cannot be reached.");
}

void SimFetch::DataArrived(std::string_view block) {
  pending_ += block;
  Read();
}

void SimFetch::PeerClosed() {
  if (part_ == Part::Proxy) return End(FetchEnd::Proxy, "The proxy " + proxy_->host + " ended the connection.");
  const bool nothing = part_ == Part::Reply && !reader_.HasHead() && pending_.empty();
  if (link_->used && nothing) return ConnectAnew();
  const bool whole =
      url_.IsHttp() ? reader_.EndsWithConnection() : fileLeft_ == 0 || (log_.answeredAt >= 0 && fileLeft_ < 0);
  if (part_ == Part::Reply && whole) return End(FetchEnd::Whole);
  End(FetchEnd::Lost, "The connection to" + At() + " ended too early.");
}

void SimFetch::Read() {
  std::string_view input = pending_;
  bool more = true;
  while (more && reading_ && !starved_ && link_) {
    if (part_ == Part::Proxy) {
      more = ReadProxy(input);
    } else if (part_ != Part::Reply) {
      more = false;
    } else {
      more = url_.IsHttp() ? ReadHttp(input) : ReadFile(input);
    }
  }
  pending_.erase(0, pending_.size() - input.size());
}

// The readers return False when nothing more can be read now.
bool SimFetch::ReadProxy(std::string_view& input) {
  std::string_view body;
  const SimHttpReader::Step step = reader_.Next(input, 0, body);
  if (step == SimHttpReader::Step::More) return false;
  if (step == SimHttpReader::Step::Broken || reader_.Status() >= 300) {
    End(FetchEnd::Proxy, "The proxy " + proxy_->host + " refuses: " + std::to_string(reader_.Status()) + ".");
    return false;
  }
  part_ = Part::Handshake;
  Later(SimLoop::Micros{Host().handshake} * SimLoop::kMillisecond, &SimFetch::FinishHandshake);
  return false;
}

bool SimFetch::ReadHttp(std::string_view& input) {
  std::string_view body;
  switch (reader_.Next(input, Room(), body)) {
    case SimHttpReader::Step::More:
      return false;
    case SimHttpReader::Step::Head:
      AnswerHttp();
      return true;
    case SimHttpReader::Step::Body:
      return Gather(body);
    case SimHttpReader::Step::Room:
      return TakeBlock();
    case SimHttpReader::Step::End:
      End(FetchEnd::Whole);
      return false;
    case SimHttpReader::Step::Broken:
      End(FetchEnd::Other, "The server" + At() + " sends what is no HTTP.");
      return false;
  }
  return false;
}

void SimFetch::AnswerHttp() {
  FetchAnswer answer;
  answer.status = reader_.Status();
  answer.headers = reader_.Headers();
  answer.peerAddress = link_->peerAddress;
  Answer(std::move(answer));
}

bool SimFetch::ReadFile(std::string_view& input) {
  if (log_.answeredAt < 0) {
    const std::size_t end = input.find('\n');
    fileLine_ += input.substr(0, end);
    input.remove_prefix(end == std::string_view::npos ? input.size() : end + 1);
    return end != std::string_view::npos && AnswerFile(fileLine_);
  }
  if (input.empty()) return false;
  if (Room() == 0 && !TakeBlock()) return false;
  std::size_t size = std::min(input.size(), Room());
  if (fileLeft_ >= 0) size = std::min(size, static_cast<std::size_t>(fileLeft_));
  const std::string_view bytes = input.substr(0, size);
  input.remove_prefix(size == 0 ? input.size() : size);
  if (fileLeft_ >= 0) fileLeft_ -= static_cast<std::int64_t>(size);
  return size > 0 && Gather(bytes);
}

bool SimFetch::AnswerFile(const std::string& line) {
  if (line == "login") {
    End(FetchEnd::NoLogin, "The server" + At() + " refuses the login.");
    return false;
  }
  constexpr std::string_view kFound = "bytes ";
  if (!line.starts_with(kFound)) {
    End(FetchEnd::NotFound, "The server" + At() + " has no such file.");
    return false;
  }
  FetchAnswer answer;
  answer.peerAddress = link_->peerAddress;
  const char* const end = line.data() + line.size();
  const auto length = std::from_chars(line.data() + kFound.size(), end, answer.length);
  (void)std::from_chars(length.ptr + 1, end, answer.modified);
  fileLeft_ = answer.length;
  Answer(std::move(answer));
  return true;
}

bool SimFetch::TakeBlock() {
  if (block_) HandOn();
  block_ = fetcher_.pool_->Take(blockBytes_);
  if (!block_) {
    starved_ = true;
    link_->connection->SetReading(false);
    fetcher_.pool_->Wait(weak_from_this());
    return false;
  }
  loop_.Arrive(source_, loop_.Time() + kGather, [weak = weak_from_this(), number = ++blockNumber_] {
    const std::shared_ptr<SimFetch> self = weak.lock();
    if (self && self->block_ && self->blockNumber_ == number) self->HandOn();
  });
  return true;
}

bool SimFetch::Gather(std::string_view bytes) {
  *blockBytes_ += bytes;
  if (Room() == 0) HandOn();
  if (!url_.IsHttp() && fileLeft_ == 0) Later(kFinalReply, &SimFetch::MissFinalReply);
  return true;
}

void SimFetch::MissFinalReply() { End(FetchEnd::Other, "The server" + At() + " does not confirm the end."); }

void SimFetch::HandOn() {
  if (blockBytes_->empty()) return;
  log_.delivered += blockBytes_->size();
  Queue({.block = std::move(block_)});
}

void SimFetch::Answer(FetchAnswer answer) {
  log_.answeredAt = loop_.Time() / SimLoop::kMillisecond;
  Queue({.answer = std::move(answer)});
}

void SimFetch::End(FetchEnd end, const std::string& reason) {
  if (part_ == Part::Done) return;
  if (block_) HandOn();
  block_.reset();
  GiveUpLink(end == FetchEnd::Whole && url_.IsHttp() && reader_.MayKeep());
  part_ = Part::Done;
  log_.end = end;
  log_.reason = reason;
  log_.endedAt = loop_.Time() / SimLoop::kMillisecond;
  Queue({.end = end, .reason = reason});
}

void SimFetch::GiveUpLink(bool keep) {
  if (!link_) return;
  link_->user = nullptr;
  link_->used = true;
  if (keep) return fetcher_.Keep(std::move(link_));
  link_.reset();
}

void SimFetch::Queue(Event event) {
  queue_.push_back(std::move(event));
  Pump();
}

// Each event is an arrival of its own, so that a Failure in one does not keep the next from coming.
void SimFetch::Pump() {
  if (pumping_ || queue_.empty() || !reading_) return;
  pumping_ = true;
  loop_.Arrive(source_, loop_.Time(), [weak = weak_from_this()] {
    if (const std::shared_ptr<SimFetch> self = weak.lock()) self->Deliver();
  });
}

void SimFetch::Deliver() {
  pumping_ = false;
  if (!events_ || !reading_ || queue_.empty()) return;
  Event event = std::move(queue_.front());
  queue_.pop_front();
  Pump();
  if (event.answer) return events_->Answered(*event.answer);
  if (event.block) return events_->DataArrived(std::move(event.block));
  std::exchange(events_, nullptr)->Ended(event.end, event.reason);
}

SimFetcher::SimFetcher(SimLoop& loop, SimNetwork& network, const SimDisk& disk)
    : loop_(loop), network_(network), disk_(disk), pool_(std::make_shared<SimFetchPool>(loop)) {}

SimFetcher::~SimFetcher() { Drop(); }

std::unique_ptr<Fetch> SimFetcher::Begin(FetchRequest request, FetchEvents& events) {
  SimFetchLog& log = log_.emplace_back();
  log.request = request;
  log.beganAt = loop_.Time() / SimLoop::kMillisecond;
  loop_.Trace().Note(loop_.Time(), "fetch", log_.size(), static_cast<std::uint64_t>(request.from), request.url);
  const auto fetch = std::make_shared<SimFetch>(*this, std::move(request), events, log);
  std::erase_if(running_, [](const std::weak_ptr<SimFetch>& running) { return running.expired(); });
  running_.push_back(fetch);
  fetch->Begin();
  return std::make_unique<FetchHandle>(fetch);
}

void SimFetcher::SetAddresses(const std::string& host, std::vector<std::string> addresses) {
  rotations_[host] = {std::move(addresses), 0};
}

void SimFetcher::SetBlocks(std::size_t size, std::size_t count) {
  pool_->blockSize = size;
  pool_->free = count;
}

std::size_t SimFetcher::FreeBlocks() const { return pool_->free; }

std::size_t SimFetcher::Running() const {
  return static_cast<std::size_t>(std::count_if(running_.begin(), running_.end(), [](const auto& weak) {
    const std::shared_ptr<SimFetch> fetch = weak.lock();
    return fetch && fetch->IsRunning();
  }));
}

void SimFetcher::CloseKept() { kept_.clear(); }

void SimFetcher::Drop() {
  for (const std::weak_ptr<SimFetch>& weak : running_) {
    if (const std::shared_ptr<SimFetch> fetch = weak.lock()) fetch->Cancel();
  }
  running_.clear();
  kept_.clear();
  pool_->Drop();
}

std::string SimFetcher::OwnAddress(const std::string& host) {
  if (IsNumeric(host)) return host;
  const auto own = ownAddresses_.find(host);
  if (own != ownAddresses_.end()) return own->second;
  const std::size_t number = ownAddresses_.size() + 1;
  return ownAddresses_[host] = "10.77." + std::to_string(number / 250) + "." + std::to_string(number % 250 + 1);
}

// Where the connection goes; nullopt if the name is unknown.
std::optional<SimFetcher::Address> SimFetcher::LookUp(const std::string& host, const std::string& demanded) {
  if (!demanded.empty()) {
    for (const auto& [name, address] : ownAddresses_) {
      if (address == demanded) return Address{name, demanded};
    }
    return Address{demanded, demanded};
  }
  if (!network_.HasConnection() && !IsNumeric(host)) return std::nullopt;
  const auto rotation = rotations_.find(host);
  if (rotation != rotations_.end() && !rotation->second.addresses.empty()) {
    Rotation& several = rotation->second;
    const std::string& next = several.addresses[several.next++ % several.addresses.size()];
    return Address{next, next};
  }
  if (!IsNumeric(host) && !network_.HasHost(host)) return std::nullopt;
  return Address{host, OwnAddress(host)};
}

std::unique_ptr<SimFetchLink> SimFetcher::TakeKept(const std::string& key, const std::string& address) {
  const auto found = std::find_if(kept_.rbegin(), kept_.rend(), [&](const auto& link) {
    return link->key == key && (address.empty() || link->peerAddress == address);
  });
  if (found == kept_.rend()) return nullptr;
  std::unique_ptr<SimFetchLink> link = std::move(*found);
  kept_.erase(std::next(found).base());
  return link;
}

void SimFetcher::Keep(std::unique_ptr<SimFetchLink> link) {
  if (mostKept_ == 0) return;
  link->connection->SetReading(true);
  if (kept_.size() >= mostKept_) kept_.erase(kept_.begin());
  kept_.push_back(std::move(link));
}

void SimFetcher::Forget(const SimFetchLink& link) {
  std::erase_if(kept_, [&](const auto& kept) { return kept.get() == &link; });
}

}  // namespace pellora
