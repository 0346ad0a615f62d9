#include "desktop/Resolver.h"

#include <netdb.h>
#include <netinet/in.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

namespace pellora {

namespace {

struct Lookup {
  std::string host;
  std::vector<Address> addresses;
  std::string error;
};

Lookup LookUp(const std::string& host) {
  Lookup result;
  result.host = host;
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  const int code = getaddrinfo(host.c_str(), nullptr, &hints, &found);
  if (code != 0) {
    result.error = host + ": " + (code == EAI_SYSTEM ? std::strerror(errno) : gai_strerror(code));
    return result;
  }
  for (const addrinfo* at = found; at != nullptr; at = at->ai_next) {
    if (at->ai_family != AF_INET && at->ai_family != AF_INET6) continue;
    Address address;
    std::memcpy(&address.storage, at->ai_addr, at->ai_addrlen);
    address.length = at->ai_addrlen;
    result.addresses.push_back(address);
  }
  freeaddrinfo(found);
  if (result.addresses.empty()) result.error = host + ": no address";
  return result;
}

}  // namespace

// Shared by the Resolver and its threads, which may outlive it.
struct Resolver::Mailbox {
  Mailbox() : wake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}
  ~Mailbox() { close(wake); }
  Mailbox(const Mailbox&) = delete;
  Mailbox& operator=(const Mailbox&) = delete;

  void Put(Lookup lookup) {
    {
      const std::lock_guard lock(mutex);
      answers.push_back(std::move(lookup));
    }
    eventfd_write(wake, 1);
  }
  std::vector<Lookup> TakeAll() {
    eventfd_t count = 0;
    eventfd_read(wake, &count);
    const std::lock_guard lock(mutex);
    return std::exchange(answers, {});
  }

  const int wake;
  std::mutex mutex;
  std::vector<Lookup> answers;
};

Resolver::Resolver() : mailbox_(std::make_shared<Mailbox>()) {
  notifier_ = std::make_unique<QSocketNotifier>(mailbox_->wake, QSocketNotifier::Read);
  QObject::connect(notifier_.get(), &QSocketNotifier::activated, notifier_.get(), [this] { TakeAnswers(); });
}

Resolver::~Resolver() = default;

void Resolver::Resolve(const std::string& host, Answer answer) {
  std::vector<Answer>& answers = pending_[host];
  answers.push_back(std::move(answer));
  if (answers.size() > 1) return;
  waiting_.push_back(host);
  StartNext();
}

void Resolver::StartNext() {
  while (running_ < kMaxThreads && !waiting_.empty()) {
    const std::string host = std::move(waiting_.front());
    waiting_.pop_front();
    ++running_;
    try {
      std::thread([mailbox = mailbox_, host] { mailbox->Put(LookUp(host)); }).detach();
    } catch (const std::system_error& error) {
      mailbox_->Put({host, {}, host + ": " + error.what()});
    }
  }
}

void Resolver::TakeAnswers() {
  for (const Lookup& lookup : mailbox_->TakeAll()) {
    --running_;
    const auto pending = pending_.find(lookup.host);
    if (pending == pending_.end()) continue;
    // An answer may look up the same name again.
    const std::vector<Answer> answers = std::move(pending->second);
    pending_.erase(pending);
    for (const Answer& answer : answers) answer(lookup.addresses, lookup.error);
  }
  StartNext();
}

}  // namespace pellora
