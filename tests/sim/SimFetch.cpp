#include "SimFetch.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "SimFaults.h"
#include "SimHttpText.h"

namespace pellora {

namespace {

constexpr SimLoop::Micros kGather = 100 * SimLoop::kMillisecond;
constexpr SimLoop::Micros kRetry = 20 * SimLoop::kMillisecond;
constexpr SimLoop::Micros kLookUp = 20 * SimLoop::kMillisecond;
constexpr int kProxyLogin = 407;
constexpr SimLoop::Micros kFinalReply = 60 * SimLoop::kSecond;

const char* WhatIsWrong(SimTls tls) {
  switch (tls) {
    case SimTls::Expired:
      return "has expired";
    case SimTls::WrongHost:
      return "is for another host";
    default:
      return "is of an unknown authority";
  }
}

}  // namespace

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
  const std::optional<FetchUrl> url = SplitFetchUrl(request_.url);
  if (!url || !fetcher_.Supports(url->scheme)) {
    return End(FetchEnd::Unsupported, "an address of this kind cannot be fetched: " + request_.url);
  }
  url_ = *url;
  if (!request_.proxy.empty()) {
    proxy_ = SplitFetchUrl(request_.proxy);
    if (!proxy_ || proxy_->scheme != "http") {
      return End(FetchEnd::Proxy, "a proxy of this kind cannot be used");
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
  if (link_ && link_->connection && !starved_ && !throttled_) link_->connection->SetReading(reading);
  if (!reading) return;
  Pump();
  Later(0, &SimFetch::Read);
}

void SimFetch::Resume() {
  if (!starved_) return;
  starved_ = false;
  ReadOn();
}

void SimFetch::Retry() {
  throttled_ = false;
  ReadOn();
}

void SimFetch::ReadOn() {
  if (!reading_ || !link_) return;
  Read();
  if (link_ && !starved_ && !throttled_) link_->connection->SetReading(true);
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
    End(FetchEnd::OtherHttp, "the server does not speak this version of HTTP");
    return false;
  }
  if (host.tls == SimTls::Good) return true;
  if (host.tls == SimTls::None) {
    End(FetchEnd::NotTrusted, "the server does not speak TLS");
    return false;
  }
  if (host.tls == SimTls::OldVersion) {
    End(FetchEnd::NotTrusted, "the server offers TLS below version 1.2 only");
    return false;
  }
  if (host.tls == SimTls::UnknownAuthority && !host.authority.empty() && fetcher_.disk_.Has(request_.certificates) &&
      fetcher_.disk_.Get(request_.certificates).find(host.authority) != std::string::npos) {
    return true;
  }
  End(FetchEnd::NotTrusted, std::string("the certificate ") + WhatIsWrong(host.tls));
  return false;
}

bool SimFetch::TrustsKey() {
  const std::string& key = Host().key;
  std::string known;
  for (const std::string& path : request_.knownHosts) {
    if (fetcher_.disk_.Has(path)) known += "\n" + fetcher_.disk_.Get(path);
  }
  const std::string name = url_.port == 22 ? url_.host : "[" + url_.host + "]:" + std::to_string(url_.port);
  const std::size_t line = known.find("\n" + name + " ");
  if (line != std::string::npos) {
    if (known.substr(line, known.find('\n', line + 1) - line).find(key) != std::string::npos) return true;
    End(FetchEnd::NotTrusted, "the host key is not the one in known_hosts");
    return false;
  }
  if (request_.acceptedKey == key) return true;
  End(FetchEnd::UnknownKey, key + " ssh-ed25519 " + key);
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
    text += "Authorization: " + SimAuthName(request_.auth) + " " + SimBase64(request_.user + ":" + request_.password) +
            "\r\n";
  }
  if (request_.ranged) {
    const std::int64_t to = request_.last > 0 ? request_.last : request_.to;
    text += "Range: bytes=" + (request_.last > 0 ? "" : std::to_string(request_.from)) + "-" +
            (to < 0 ? "" : std::to_string(to)) + "\r\n";
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
  if (proxy_) return End(FetchEnd::Proxy, "no connection to the proxy");
  if (part_ != Part::Connecting && !IsNumericHost(host)) return End(FetchEnd::NoHost, "the name has no address");
  End(FetchEnd::NoConnect, "the connection is refused, or the server cannot be reached");
}

void SimFetch::DataArrived(std::string_view block) {
  pending_ += block;
  Read();
}

void SimFetch::PeerClosed() {
  if (part_ == Part::Proxy) return End(FetchEnd::Proxy, "the proxy ended the connection");
  const bool nothing = part_ == Part::Reply && !reader_.HasHead() && pending_.empty();
  if (link_->used && nothing) return ConnectAnew();
  const bool whole =
      url_.IsHttp() ? reader_.EndsWithConnection() : fileLeft_ == 0 || (log_.answeredAt >= 0 && fileLeft_ < 0);
  if (part_ == Part::Reply && whole) return End(FetchEnd::Whole);
  End(FetchEnd::Lost, "the connection was lost");
}

void SimFetch::Read() {
  std::string_view input = pending_;
  bool more = true;
  while (more && reading_ && !starved_ && !throttled_ && link_) {
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
  if (reader_.Status() == kProxyLogin) {
    EndForProxyLogin();
    return false;
  }
  if (step == SimHttpReader::Step::Broken || reader_.Status() >= 300) {
    End(FetchEnd::Proxy, "the proxy refuses (" + std::to_string(reader_.Status()) + ")");
    return false;
  }
  part_ = Part::Handshake;
  Later(SimLoop::Micros{Host().handshake} * SimLoop::kMillisecond, &SimFetch::FinishHandshake);
  return false;
}

bool SimFetch::ReadHttp(std::string_view& input) {
  std::string_view body;
  switch (reader_.Next(input, std::min(Room(), Allowed()), body)) {
    case SimHttpReader::Step::More:
      return false;
    case SimHttpReader::Step::Head:
      return AnswerHttp();
    case SimHttpReader::Step::Body:
      return Gather(body);
    case SimHttpReader::Step::Room:
      return Room() == 0 ? TakeBlock() : AskThrottle(input.size());
    case SimHttpReader::Step::End:
      End(FetchEnd::Whole);
      return false;
    case SimHttpReader::Step::Broken:
      End(FetchEnd::Other, "the reply is no HTTP");
      return false;
  }
  return false;
}

void SimFetch::EndForProxyLogin() { End(FetchEnd::ProxyLogin, "the proxy refuses the login"); }

bool SimFetch::AnswerHttp() {
  if (proxy_ && reader_.Status() == kProxyLogin) {
    EndForProxyLogin();
    return false;
  }
  FetchAnswer answer;
  answer.status = reader_.Status();
  answer.headers = reader_.Headers();
  answer.peerAddress = link_->peerAddress;
  Answer(std::move(answer));
  for (const FetchHeader& header : reader_.Headers()) {
    if (!SameWithoutCase(header.name, "Transfer-Encoding") || SameWithoutCase(header.value, "chunked")) continue;
    End(FetchEnd::Unsupported, "the server encodes the transfer (" + header.value + ")");
    return false;
  }
  return true;
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
  if (Allowed() == 0 && !AskThrottle(input.size())) return false;
  std::size_t size = std::min({input.size(), Room(), Allowed()});
  if (fileLeft_ >= 0) size = std::min(size, static_cast<std::size_t>(fileLeft_));
  const std::string_view bytes = input.substr(0, size);
  input.remove_prefix(size == 0 ? input.size() : size);
  if (fileLeft_ >= 0) fileLeft_ -= static_cast<std::int64_t>(size);
  return size > 0 && Gather(bytes);
}

bool SimFetch::AnswerFile(const std::string& line) {
  if (line == "login") {
    End(FetchEnd::NoLogin, "the login is refused");
    return false;
  }
  if (line == "full") {
    End(FetchEnd::NoConnect, "the server refuses more connections");
    return false;
  }
  constexpr std::string_view kFound = "bytes ";
  if (!line.starts_with(kFound)) {
    End(FetchEnd::NotFound, "there is no such file");
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
  const std::size_t capacity = std::min(nextCapacity_, fetcher_.pool_->longest);
  block_ = fetcher_.pool_->Take(capacity, shared_from_this(), blockBytes_);
  blockCapacity_ = capacity;
  if (!block_) {
    starved_ = true;
    link_->connection->SetReading(false);
    return false;
  }
  return true;
}

bool SimFetch::AskThrottle(std::size_t bytes) {
  constexpr std::size_t kMostAtOnce = std::size_t{16} << 10;
  const std::size_t portion = std::min({bytes, kMostAtOnce, request_.throttle->Portion()});
  if (request_.throttle->Take(portion)) {
    allowed_ += portion;
    return true;
  }
  throttled_ = true;
  link_->connection->SetReading(false);
  Later(kRetry, &SimFetch::Retry);
  return false;
}

bool SimFetch::Gather(std::string_view bytes) {
  allowed_ -= std::min(allowed_, bytes.size());
  if (blockBytes_->empty()) HandOnLater();
  *blockBytes_ += bytes;
  if (Room() == 0) HandOn();
  if (!url_.IsHttp() && fileLeft_ == 0) Later(kFinalReply, &SimFetch::MissFinalReply);
  return true;
}

void SimFetch::HandOnLater() {
  loop_.Arrive(source_, loop_.Time() + kGather, [weak = weak_from_this(), number = ++blockNumber_] {
    const std::shared_ptr<SimFetch> self = weak.lock();
    if (self && self->block_ && self->blockNumber_ == number) self->HandOn();
  });
}

void SimFetch::MissFinalReply() { End(FetchEnd::Other, "the end is not confirmed"); }

void SimFetch::HandOn() {
  if (blockBytes_->empty()) return;
  constexpr std::size_t kSmallest = std::size_t{16} << 10;
  nextCapacity_ = Room() == 0 ? std::min(blockCapacity_ * 2, fetcher_.pool_->longest) : blockCapacity_ / 2;
  nextCapacity_ = std::max(nextCapacity_, kSmallest);
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
  Queue({.end = end, .reason = log_.reason});
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

}  // namespace pellora
