// Resolver: host names to addresses without holding up the event loop.
//
// Each lookup runs in a thread of its own that touches nothing but a mailbox it shares; the answer is
// taken out on the loop's thread. Lookups of one name that run at the same time share one thread. At most
// kMaxThreads run; further names wait their turn. Threads still busy when the program ends are left behind.
#pragma once

#include <sys/socket.h>

#include <QSocketNotifier>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace pellora {

struct Address {
  sockaddr_storage storage{};
  socklen_t length = 0;
};

class Resolver {
 public:
  static constexpr int kMaxThreads = 16;
  // `error` is empty if there is at least one address. The ports of the addresses are 0.
  using Answer = std::function<void(const std::vector<Address>& addresses, const std::string& error)>;

  Resolver();
  ~Resolver();
  Resolver(const Resolver&) = delete;
  Resolver& operator=(const Resolver&) = delete;

  // `answer` is called later from the event loop, outside of the EventGate.
  void Resolve(const std::string& host, Answer answer);

 private:
  struct Mailbox;

  void StartNext();
  void TakeAnswers();

  std::shared_ptr<Mailbox> mailbox_;
  std::unique_ptr<QSocketNotifier> notifier_;
  std::map<std::string, std::vector<Answer>> asked_;
  std::deque<std::string> waiting_;
  int running_ = 0;
};

}  // namespace pellora
