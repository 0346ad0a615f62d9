// A long line with losses between two networks, for machines whose kernel cannot delay or lose packets.
//
//   longline DELAY RATE LOSS READY
//
// As root: makes the interface "near" in the network it is started in and "far" in a new network, writes a line
// to the descriptor READY once both exist, and carries packets between them until it is ended: each direction DELAY
// milliseconds late, with RATE bytes a second, and of LOSS packets it loses one at random. What would wait longer than
// 50 ms for its turn is lost.
#include <fcntl.h>
#include <linux/if.h>
#include <linux/if_tun.h>
#include <poll.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <iostream>
#include <random>
#include <string>
#include <string_view>

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kLongestQueue{50};
constexpr std::size_t kLargestPacket = 65536;

[[noreturn]] void Die(std::string_view what) {
  std::cerr << "longline: " << what << "\n";
  std::exit(1);
}

int NewInterface(std::string_view name) {
  const int fd = open("/dev/net/tun", O_RDWR | O_CLOEXEC | O_NONBLOCK);
  ifreq request{};
  request.ifr_flags = IFF_TUN | IFF_NO_PI;
  name.copy(request.ifr_name, IFNAMSIZ - 1);
  if (fd < 0 || ioctl(fd, TUNSETIFF, &request) != 0) Die("no interface");
  return fd;
}

struct Shape {
  Clock::duration delay;
  double rate;
  std::minstd_rand dice;
  std::bernoulli_distribution lost;
};

class Direction {
 public:
  Direction(int from, int to, Shape& shape) : from_(from), to_(to), shape_(shape) {}

  void Take() {
    std::array<char, kLargestPacket> packet;
    for (;;) {
      const ssize_t size = read(from_, packet.data(), packet.size());
      if (size <= 0) return;
      const Clock::time_point now = Clock::now();
      const Clock::time_point begins = std::max(free_, now);
      if (begins - now > kLongestQueue || shape_.lost(shape_.dice)) continue;
      free_ = begins + std::chrono::duration_cast<Clock::duration>(
                           std::chrono::duration<double>(static_cast<double>(size) / shape_.rate));
      underway_.push_back({free_ + shape_.delay, std::string(packet.data(), static_cast<std::size_t>(size))});
    }
  }

  // Returns when the next packet is due.
  Clock::time_point Deliver() {
    for (; !underway_.empty(); underway_.pop_front()) {
      const Packet& packet = underway_.front();
      if (packet.due > Clock::now()) return packet.due;
      if (write(to_, packet.bytes.data(), packet.bytes.size()) < 0) std::cerr << "longline: a packet was refused\n";
    }
    return Clock::time_point::max();
  }

 private:
  struct Packet {
    Clock::time_point due;
    std::string bytes;
  };

  int from_;
  int to_;
  Shape& shape_;
  Clock::time_point free_;
  std::deque<Packet> underway_;
};

timespec Until(Clock::time_point due) {
  const auto left = std::max(due - Clock::now(), Clock::duration::zero());
  const auto seconds = std::chrono::floor<std::chrono::seconds>(left);
  return {seconds.count(), std::chrono::nanoseconds(left - seconds).count()};
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5) Die("usage: longline DELAY RATE LOSS READY");
  Shape shape{std::chrono::milliseconds(std::atoi(argv[1])), std::atof(argv[2]), std::minstd_rand(18),
              std::bernoulli_distribution(1 / std::max(std::atof(argv[3]), 1.0))};
  const int near = NewInterface("near");
  if (unshare(CLONE_NEWNET) != 0) Die("no new network");
  const int far = NewInterface("far");
  Direction there(near, far, shape);
  Direction back(far, near, shape);
  const int ready = std::atoi(argv[4]);
  if (write(ready, "ready\n", 6) != 6) Die("nobody waits");
  close(ready);
  for (;;) {
    const Clock::time_point due = std::min(there.Deliver(), back.Deliver());
    std::array<pollfd, 2> both{{{near, POLLIN, 0}, {far, POLLIN, 0}}};
    const timespec wait = Until(due);
    if (ppoll(both.data(), both.size(), due == Clock::time_point::max() ? nullptr : &wait, nullptr) < 0) Die("poll");
    there.Take();
    back.Take();
  }
}
