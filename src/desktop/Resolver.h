// Resolver: looks up host names without blocking the event loop.
//
// Each lookup runs in a separate thread that touches nothing but a shared mailbox; the answer is delivered on the
// loop's thread. Simultaneous lookups of one name share a thread. At most kMaxThreads run; further names wait. Threads
// still busy at the end of the program are abandoned.
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
  std::map<std::string, std::vector<Answer>> pending_;
  std::deque<std::string> waiting_;
  int running_ = 0;
};

}  // namespace pellora
