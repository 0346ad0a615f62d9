// The floor: the least that the plan of a segmented download costs.
//
//   floor SEGMENTS HOST PORT PATH OUTPUT
//
// Probes with a whole GET whose reply is dropped after the first block, splits the file as Pellora does, starts the
// connections 0.2 s apart, receives on one thread by epoll into one reused buffer of 256 KiB, writes by position into
// one part file for each segment, joins them in pieces of 1 MiB and deletes them. It has no list, no windows, no resume
// and no error handling: any failure ends it.
#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr std::size_t kReceiveBuffer = 256 * 1024;
constexpr std::size_t kJoinBuffer = 1024 * 1024;
constexpr std::chrono::milliseconds kSpacing{200};

[[noreturn]] void Die(std::string_view what) {
  std::cerr << "floor: " << what << "\n";
  std::exit(1);
}

std::int64_t Number(std::string_view text) {
  std::int64_t value = 0;
  std::from_chars(text.data(), text.data() + text.size(), value);
  return value;
}

struct Target {
  std::string host;
  std::uint16_t port;
  std::string path;
};

int ConnectTo(const Target& target) {
  const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(target.port);
  if (fd < 0 || inet_pton(AF_INET, target.host.c_str(), &address.sin_addr) != 1) Die("bad address");
  if (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) Die("connect");
  return fd;
}

void Send(int fd, std::string_view text) {
  while (!text.empty()) {
    const ssize_t sent = send(fd, text.data(), text.size(), MSG_NOSIGNAL);
    if (sent <= 0) Die("send");
    text.remove_prefix(static_cast<std::size_t>(sent));
  }
}

void WriteAt(int fd, const char* data, std::size_t size, std::int64_t position) {
  while (size > 0) {
    const ssize_t written = pwrite(fd, data, size, position);
    if (written <= 0) Die("write");
    data += written;
    position += written;
    size -= static_cast<std::size_t>(written);
  }
}

std::int64_t ProbeSize(const Target& target, std::vector<char>& buffer) {
  const int fd = ConnectTo(target);
  Send(fd, "GET " + target.path + " HTTP/1.1\r\nAccept: *.*, */*\r\nConnection: Keep-Alive\r\nHost: " + target.host +
               "\r\n\r\n\r\n");
  const ssize_t got = recv(fd, buffer.data(), buffer.size(), 0);
  close(fd);
  if (got <= 0) Die("no reply to the probe");
  const std::string_view reply(buffer.data(), static_cast<std::size_t>(got));
  constexpr std::string_view kKey = "Content-Length: ";
  const std::size_t at = reply.find(kKey);
  if (at == std::string_view::npos) Die("no length");
  return Number(reply.substr(at + kKey.size()));
}

struct Segment {
  std::int64_t start = 0;
  std::int64_t size = 0;
  std::int64_t received = 0;
  std::string part;
  int socket = -1;
  int file = -1;
  bool headers = true;
};

std::vector<Segment> Plan(std::int64_t size, int most, const std::string& output) {
  const int count = std::min(size < 10000 ? 1 : size < 100000 ? 2 : 8, most);
  const std::int64_t each = size / count;
  std::vector<Segment> plan(static_cast<std::size_t>(count));
  std::int64_t start = 0;
  for (std::size_t i = 0; i < plan.size(); ++i) {
    plan[i].start = start;
    plan[i].size = i == 0 ? size - (count - 1) * each : each;
    plan[i].part = output + ".part" + std::to_string(i + 1);
    start += plan[i].size;
  }
  return plan;
}

class Fetch {
 public:
  Fetch(const Target& target, std::vector<Segment>& plan, std::vector<char>& buffer)
      : target_(target), plan_(plan), buffer_(buffer), poll_(epoll_create1(EPOLL_CLOEXEC)) {}

  void Run() {
    const auto began = std::chrono::steady_clock::now();
    std::size_t started = 0;
    while (done_ < plan_.size()) {
      int wait = -1;
      if (started < plan_.size()) {
        const auto due = began + kSpacing * static_cast<int>(started);
        const auto now = std::chrono::steady_clock::now();
        if (now >= due) {
          Start(started++);
          continue;
        }
        wait = static_cast<int>(std::chrono::ceil<std::chrono::milliseconds>(due - now).count());
      }
      epoll_event events[16];
      const int ready = epoll_wait(poll_, events, 16, wait);
      if (ready < 0 && errno != EINTR) Die("epoll_wait");
      for (int i = 0; i < ready; ++i) Receive(plan_[events[i].data.u32]);
    }
    close(poll_);
  }

 private:
  void Start(std::size_t i) {
    Segment& segment = plan_[i];
    segment.file = open(segment.part.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    if (segment.file < 0) Die("part file");
    segment.socket = ConnectTo(target_);
    Send(segment.socket, "GET " + target_.path +
                             " HTTP/1.1\r\nAccept: *.*, */*\r\nReferer: \r\nConnection: Keep-Alive\r\nHost: " +
                             target_.host + "\r\nRange: bytes=" + std::to_string(segment.start) + "-" +
                             std::to_string(segment.start + segment.size - 1) + "\r\n\r\n");
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.u32 = static_cast<std::uint32_t>(i);
    epoll_ctl(poll_, EPOLL_CTL_ADD, segment.socket, &event);
  }

  void Receive(Segment& segment) {
    const ssize_t got = recv(segment.socket, buffer_.data(), buffer_.size(), 0);
    if (got <= 0) Die("a connection ended early");
    const char* data = buffer_.data();
    auto size = static_cast<std::size_t>(got);
    if (segment.headers) {
      const std::string_view block(data, size);
      const std::size_t end = block.find("\r\n\r\n");
      if (!block.starts_with("HTTP/1.1 206") || end == std::string_view::npos) Die("not the requested range");
      data += end + 4;
      size -= end + 4;
      segment.headers = false;
    }
    WriteAt(segment.file, data, size, segment.received);
    segment.received += static_cast<std::int64_t>(size);
    if (segment.received >= segment.size) {
      close(segment.socket);
      close(segment.file);
      ++done_;
    }
  }

  const Target& target_;
  std::vector<Segment>& plan_;
  std::vector<char>& buffer_;
  int poll_;
  std::size_t done_ = 0;
};

void Join(const std::vector<Segment>& plan, const std::string& output) {
  std::vector<char> buffer(kJoinBuffer);
  const int out = open(output.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
  if (out < 0) Die("output file");
  std::int64_t position = 0;
  for (const Segment& segment : plan) {
    const int in = open(segment.part.c_str(), O_RDONLY | O_CLOEXEC);
    for (std::int64_t left = segment.size; left > 0;) {
      const ssize_t got = read(in, buffer.data(), std::min(buffer.size(), static_cast<std::size_t>(left)));
      if (got <= 0) Die("a part file is short");
      WriteAt(out, buffer.data(), static_cast<std::size_t>(got), position);
      position += got;
      left -= got;
    }
    close(in);
  }
  close(out);
  for (const Segment& segment : plan) unlink(segment.part.c_str());
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 6) Die("usage: floor SEGMENTS HOST PORT PATH OUTPUT");
  const Target target{argv[2], static_cast<std::uint16_t>(Number(argv[3])), argv[4]};
  const std::string output = argv[5];
  std::vector<char> buffer(kReceiveBuffer);
  std::vector<Segment> plan = Plan(ProbeSize(target, buffer), static_cast<int>(Number(argv[1])), output);
  Fetch(target, plan, buffer).Run();
  Join(plan, output);
}
