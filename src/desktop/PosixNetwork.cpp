#include "desktop/PosixNetwork.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>

#include "async/EventGate.h"
#include "desktop/SocketBudget.h"
#include "desktop/SocketNotifier.h"
#include "ports/EventLoop.h"

namespace pellora {

namespace {

void SetPort(Address& address, std::int32_t port) {
  const in_port_t wire = htons(static_cast<std::uint16_t>(port));
  if (address.storage.ss_family == AF_INET6) {
    reinterpret_cast<sockaddr_in6*>(&address.storage)->sin6_port = wire;
  } else {
    reinterpret_cast<sockaddr_in*>(&address.storage)->sin_port = wire;
  }
}

// The address if `host` is a literal one.
std::optional<Address> LiteralAddress(const std::string& host) {
  Address address;
  auto& four = reinterpret_cast<sockaddr_in&>(address.storage);
  auto& six = reinterpret_cast<sockaddr_in6&>(address.storage);
  if (inet_pton(AF_INET, host.c_str(), &four.sin_addr) == 1) {
    four.sin_family = AF_INET;
    address.length = sizeof four;
  } else if (inet_pton(AF_INET6, host.c_str(), &six.sin6_addr) == 1) {
    six.sin6_family = AF_INET6;
    address.length = sizeof six;
  } else {
    return std::nullopt;
  }
  return address;
}

}  // namespace

// The socket behind a Handle. Every callback holds a reference while it runs, because the Handle may be destroyed in
// its own event.
class PosixNetwork::Link : public std::enable_shared_from_this<Link> {
 public:
  Link(PosixNetwork& network, ConnectionEvents& events) : network_(network), events_(&events) {}
  ~Link() { Close(); }
  Link(const Link&) = delete;
  Link& operator=(const Link&) = delete;

  void Start(const std::string& host, std::int32_t port) {
    if (host.empty() || host.find('\0') != std::string::npos) return FailLater("no such host: \"" + host + "\"");
    if (port < 1 || port > 65535) return FailLater("no such port: " + std::to_string(port));
    if (std::optional<Address> literal = LiteralAddress(host)) {
      SetPort(*literal, port);
      return Dial(*literal);
    }
    network_.resolver_.Resolve(host, [weak = weak_from_this(), port](const auto& addresses, const auto& error) {
      const auto self = weak.lock();
      if (!self || self->events_ == nullptr) return;
      self->reason_ = error;
      self->addresses_ = addresses;
      for (Address& address : self->addresses_) SetPort(address, port);
      self->TryNext();
    });
  }

  void Send(std::string_view bytes) {
    if (gone_ || events_ == nullptr) return;
    if (connected_ && outgoing_.empty()) bytes.remove_prefix(SendNow(bytes));
    if (bytes.empty() || gone_) return;
    outgoing_.append(bytes);
    if (connected_) WatchWrites();
  }

  void Close() {
    events_ = nullptr;
    CloseSocket();
    outgoing_.clear();
  }

  void SetReading(bool reading) {
    reading_ = reading;
    if (readable_) readable_->setEnabled(reading);
  }

  void ReadAtMost(std::size_t bytes) { most_ = bytes; }

 private:
  SocketNotifier Watch(QSocketNotifier::Type type, void (Link::*handler)()) {
    SocketNotifier notifier(new QSocketNotifier(fd_, type));
    QObject::connect(notifier.get(), &QSocketNotifier::activated, notifier.get(), [weak = weak_from_this(), handler] {
      if (const auto self = weak.lock()) (self.get()->*handler)();
    });
    return notifier;
  }

  void CloseSocket() {
    readable_.reset();  // leaves the poll set before the descriptor's number can be reused
    writable_.reset();
    connectTimer_.reset();
    if (fd_ >= 0) CloseCounted(fd_);
    fd_ = -1;
  }

  void FailLater(const std::string& reason) {
    network_.events_.Post([weak = weak_from_this(), reason] {
      const auto self = weak.lock();
      if (self && self->events_ != nullptr) self->events_->ConnectionFailed(reason);
    });
  }

  // Connects inside the call, so that this precedes what the caller sends next on another connection.
  void Dial(const Address& address) {
    addresses_ = {address};
    next_ = 1;
    if (Begin(address)) return;
    CloseSocket();
    gone_ = true;
    FailLater(reason_);
  }

  void Fail() {
    CloseSocket();
    gone_ = true;
    ConnectionEvents* const events = events_;
    network_.gate_.Deliver([&] { events->ConnectionFailed(reason_); });
  }

  void TryNext() {
    const auto hold = shared_from_this();
    while (next_ < addresses_.size()) {
      CloseSocket();
      if (Begin(addresses_[next_++])) return;
    }
    Fail();
  }

  // Starts the attempt at one address; False if it failed at once.
  bool Begin(const Address& address) {
    fd_ = OpenCounted(address.storage.ss_family, SOCK_STREAM | SOCK_NONBLOCK, 0);
    if (fd_ < 0) return Note(errno);
    const int on = 1;
    setsockopt(fd_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    int result = 0;
    do {
      result = connect(fd_, reinterpret_cast<const sockaddr*>(&address.storage), address.length);
    } while (result != 0 && errno == EINTR);
    if (result != 0 && errno != EINPROGRESS && errno != EALREADY) return Note(errno);
    writable_ = Watch(QSocketNotifier::Write, &Link::ConnectEnded);
    if (next_ < addresses_.size()) {
      connectTimer_ = network_.events_.NewAlarm([weak = weak_from_this()] {
        const auto self = weak.lock();
        if (!self || self->events_ == nullptr || self->connected_) return;
        self->reason_ = "the address does not answer";
        self->TryNext();
      });
      connectTimer_->Start(kConnectTimeoutMilliseconds, false);
    }
    return true;
  }

  bool Note(int error) {
    reason_ = std::strerror(error);
    return false;
  }

  void ConnectEnded() {
    const auto hold = shared_from_this();
    int error = 0;
    socklen_t size = sizeof error;
    if (getsockopt(fd_, SOL_SOCKET, SO_ERROR, &error, &size) != 0) error = errno;
    if (error != 0) {
      Note(error);
      return TryNext();
    }
    writable_.reset();
    connectTimer_.reset();
    connected_ = true;
    ConnectionEvents* const events = events_;
    network_.gate_.Deliver([&] { events->Connected(); });
    if (events_ == nullptr) return;  // closed in its own event
    if (!outgoing_.empty() && !gone_) WatchWrites();
    readable_ = Watch(QSocketNotifier::Read, &Link::Readable);
    readable_->setEnabled(reading_);
  }

  void Readable() {
    const auto hold = shared_from_this();
    std::vector<char>& buffer = network_.buffer_;
    const std::size_t most = most_ == 0 ? buffer.size() : std::min(most_, buffer.size());
    ssize_t count = 0;
    do {
      count = recv(fd_, buffer.data(), most, 0);
    } while (count < 0 && errno == EINTR);
    if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) return;
    ConnectionEvents* const events = events_;
    if (count > 0) {
      const std::string_view block(buffer.data(), static_cast<std::size_t>(count));
      network_.gate_.Deliver([&] { events->DataArrived(block); });
      return;
    }
    // The end of the stream, or an error: either would be readable forever.
    readable_.reset();
    if (count < 0) DropOutgoing();
    network_.gate_.Deliver([&] { events->PeerClosed(); });
  }

  void Writable() {
    const std::size_t sent = SendNow(outgoing_);
    outgoing_.erase(0, sent);
    if (outgoing_.empty()) writable_.reset();
  }

  void WatchWrites() {
    if (!writable_) writable_ = Watch(QSocketNotifier::Write, &Link::Writable);
  }

  // How many bytes the kernel accepted: none, now and later, if the peer is gone.
  std::size_t SendNow(std::string_view bytes) {
    std::size_t sent = 0;
    while (sent < bytes.size()) {
      const ssize_t count = send(fd_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
      if (count >= 0) {
        sent += static_cast<std::size_t>(count);
      } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
        break;
      } else if (errno != EINTR) {
        DropOutgoing();
        return 0;
      }
    }
    return sent;
  }

  void DropOutgoing() {
    gone_ = true;
    outgoing_.clear();
    writable_.reset();
  }

  PosixNetwork& network_;
  ConnectionEvents* events_;  // null once closed
  std::vector<Address> addresses_;
  std::size_t next_ = 0;
  std::string reason_;
  int fd_ = -1;
  SocketNotifier readable_;
  SocketNotifier writable_;
  std::unique_ptr<Alarm> connectTimer_;
  std::string outgoing_;
  bool reading_ = true;
  std::size_t most_ = 0;  // bytes of a block; 0: as many as there is memory for
  bool connected_ = false;
  bool gone_ = false;  // nothing more can be sent
};

class PosixNetwork::Handle final : public Connection {
 public:
  explicit Handle(std::shared_ptr<Link> link) : link_(std::move(link)) {}
  ~Handle() override { link_->Close(); }
  void Send(std::string_view bytes) override { link_->Send(bytes); }
  void Close() override { link_->Close(); }
  void SetReading(bool reading) override { link_->SetReading(reading); }
  void ReadAtMost(std::size_t bytes) override { link_->ReadAtMost(bytes); }

 private:
  std::shared_ptr<Link> link_;
};

PosixNetwork::PosixNetwork(EventGate& gate, EventLoop& events) : gate_(gate), events_(events), buffer_(kReceiveBytes) {}

PosixNetwork::~PosixNetwork() = default;

std::unique_ptr<Connection> PosixNetwork::Connect(const std::string& host, std::int32_t port,
                                                  ConnectionEvents& events) {
  auto link = std::make_shared<Link>(*this, events);
  link->Start(host, port);
  return std::make_unique<Handle>(std::move(link));
}

bool PosixNetwork::HasConnection() const {
  ifaddrs* first = nullptr;
  if (getifaddrs(&first) != 0) return false;
  bool found = false;
  for (const ifaddrs* at = first; at != nullptr && !found; at = at->ifa_next) {
    // An interface without a carrier (a cable that is out, a bridge of no machine) is up, but does not run.
    constexpr unsigned kUsable = IFF_UP | IFF_RUNNING;
    const bool up = (at->ifa_flags & kUsable) == kUsable && (at->ifa_flags & IFF_LOOPBACK) == 0;
    const int family = at->ifa_addr != nullptr ? at->ifa_addr->sa_family : AF_UNSPEC;
    found = up && (family == AF_INET || family == AF_INET6);
  }
  freeifaddrs(first);
  return found;
}

}  // namespace pellora
