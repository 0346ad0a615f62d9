#include "desktop/curl/CurlFetcher.h"

#include <curl/curl.h>
#include <malloc.h>

#include <algorithm>
#include <mutex>
#include <string_view>
#include <utility>
#include <vector>

#include "desktop/NewFetcher.h"
#include "desktop/PosixFile.h"
#include "desktop/curl/CurlLoop.h"
#include "desktop/curl/CurlThread.h"

namespace pellora {

namespace {

constexpr int kLongestEndMilliseconds = 1000;
constexpr std::uint32_t kIdleMilliseconds = 15000;
constexpr std::uint32_t kWatchMilliseconds = 250;

// Before the first request, since it would lengthen every start of the program. Never undone: threads of abandoned
// lookups may still run when the program ends.
void InitializeOnce() {
  static std::once_flag once;
  std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

bool StartsWith(std::string_view text, std::string_view start) {
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
  return text.size() >= start.size() &&
         std::equal(start.begin(), start.end(), text.begin(), [&](char s, char t) { return s == lower(t); });
}

bool RunsInThread(const FetchRequest& request) {
  const std::string_view url = request.url;
  return request.http2 || StartsWith(url, "ftp:") || StartsWith(url, "ftps:") || StartsWith(url, "sftp:");
}

std::vector<std::string_view> SupportedSchemes() {
  std::vector<std::string_view> supported;
  const curl_version_info_data* const version = curl_version_info(CURLVERSION_NOW);
  for (const char* const* known = version->protocols; *known != nullptr; ++known) {
    for (const std::string_view wanted : {"http", "https", "ftp", "ftps", "sftp"}) {
      if (wanted == *known) supported.push_back(wanted);
    }
  }
  return supported;
}

// Holds its driver, and the driver the transfer.
class CurlFetch final : public Fetch {
 public:
  // `watch` may be null. It works for the driver.
  CurlFetch(std::shared_ptr<FetchChannel> channel, std::shared_ptr<FetchDriver> driver, std::shared_ptr<void> inUse,
            std::unique_ptr<Alarm> watch)
      : channel_(std::move(channel)), driver_(std::move(driver)), inUse_(std::move(inUse)), watch_(std::move(watch)) {}
  ~CurlFetch() override {
    channel_->Drop();
    driver_->Look(*channel_);
  }
  CurlFetch(const CurlFetch&) = delete;
  CurlFetch& operator=(const CurlFetch&) = delete;
  void SetReading(bool reading) override {
    if (reading == channel_->Reading()) return;
    channel_->SetReading(reading);
    driver_->Look(*channel_);
  }

 private:
  std::shared_ptr<FetchChannel> channel_;
  std::shared_ptr<FetchDriver> driver_;
  std::shared_ptr<void> inUse_;
  std::unique_ptr<Alarm> watch_;  // last: it goes before what it works for
};

}  // namespace

CurlFetcher::CurlFetcher(EventGate& gate, EventLoop& events, AuthorityPaths system)
    : authorities_(std::move(system)),
      gate_(gate),
      events_(events),
      pool_(std::make_shared<FetchPool>()),
      desk_(std::make_shared<FetchDesk>(gate)),
      threads_(std::make_shared<ThreadCount>()),
      idle_(events.NewAlarm([this] { FreeMemoryIfIdle(); })) {}

CurlFetcher::~CurlFetcher() {
  desk_->Close();
  threads_->WaitForNone(kLongestEndMilliseconds);
}

std::unique_ptr<Fetch> CurlFetcher::Begin(FetchRequest wanted, FetchEvents& events) {
  InitializeOnce();
  if (inUse_.use_count() == 1) idle_->Start(kIdleMilliseconds, true);
  AuthorityPaths authorities = authorities_.With(wanted.certificates);
  CurlRequest request{std::move(wanted), std::move(authorities)};
  auto channel = std::make_shared<FetchChannel>(events, desk_);
  if (RunsInThread(request)) {
    const bool bySftp = StartsWith(request.url, "sftp:");
    auto thread = std::make_shared<CurlThread>(std::move(request), channel, pool_, desk_);
    channel->SetDriver(thread);
    CurlThread::Start(thread, threads_);
    std::unique_ptr<Alarm> watch = bySftp ? WatchOver(*thread) : nullptr;
    return std::make_unique<CurlFetch>(std::move(channel), std::move(thread), inUse_, std::move(watch));
  }
  std::shared_ptr<CurlLoop> loop = LoopFor(request);
  channel->SetDriver(loop);
  loop->Begin(std::move(request), channel);
  return std::make_unique<CurlFetch>(std::move(channel), std::move(loop), inUse_, nullptr);
}

std::unique_ptr<Alarm> CurlFetcher::WatchOver(CurlThread& thread) {
  std::unique_ptr<Alarm> watch = events_.NewAlarm([&thread] { thread.EndFlood(); });
  watch->Start(kWatchMilliseconds, true);
  return watch;
}

std::shared_ptr<CurlLoop> CurlFetcher::LoopFor(const CurlRequest& request) {
  const bool needsNone = StartsWith(request.url, "http:") && request.proxy.empty();
  if (shared_.loop && needsNone) return shared_.loop;
  const AuthorityPaths& paths = request.authorities;
  Authorities authorities{paths, StateOfPath(paths.file), StateOfPath(paths.folder)};
  if (!shared_.loop || shared_.authorities != authorities) {
    shared_ = {std::make_shared<CurlLoop>(gate_, events_, pool_, desk_), std::move(authorities)};
  }
  return shared_.loop;
}

// Kept connections and the certificates that were read take some 3 MB, and the C library keeps what was freed between
// pieces that are in use: some 8 MB after a few transfers.
void CurlFetcher::FreeMemoryIfIdle() {
  if (inUse_.use_count() > 1) return;
  idle_->Stop();
  shared_ = {};
  pool_->FreeSpare();
  malloc_trim(0);
}

bool CurlFetcher::Starved() const { return pool_->HasWaiters(); }

// The lists ask this of each of their rows.
bool CurlFetcher::Supports(std::string_view scheme) const {
  static const std::vector<std::string_view> supported = SupportedSchemes();
  return std::find(supported.begin(), supported.end(), scheme) != supported.end();
}

std::unique_ptr<Fetcher> NewFetcher(EventGate& gate, EventLoop& events) {
  return std::make_unique<CurlFetcher>(gate, events);
}

}  // namespace pellora
