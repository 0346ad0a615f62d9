// CurlThread: one transfer of ftp, ftps, sftp or HTTP/2 in a thread, which shares nothing with others.
//
// libcurl waits for such servers inside its calls: a minute for the last reply of ftp, a second for the end of a dead
// sftp session. By HTTP/2 it reads for as long as a server sends frames that belong to no body, be it for ever. By sftp
// too it reads for as long as replies come that belong to no request, and keeps them all. A transfer that is dropped,
// or has received far more than the file's bytes, has its sockets shut down, which ends any of these.
#pragma once

#include <curl/curl.h>

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>

#include "desktop/curl/CurlTransfer.h"
#include "desktop/curl/SocketList.h"

namespace pellora {

// How many threads have not ended.
class ThreadCount {
 public:
  void Begin();
  void End();
  // False if some are still there after this time.
  bool WaitForNone(int milliseconds);

 private:
  std::mutex mutex_;
  std::condition_variable ended_;
  int count_ = 0;
};

class CurlThread final : public FetchDriver {
 public:
  CurlThread(CurlRequest request, std::shared_ptr<FetchChannel> channel, std::shared_ptr<FetchPool> pool,
             std::shared_ptr<FetchDesk> desk)
      : request_(std::move(request)), channel_(std::move(channel)), pool_(std::move(pool)), desk_(std::move(desk)) {}

  static void Start(const std::shared_ptr<CurlThread>& self, const std::shared_ptr<ThreadCount>& count);
  void Look(FetchChannel& channel) override;
  // To be called at intervals, on the loop's thread: ends an sftp transfer that receives what it has not asked for.
  void EndFlood();

 private:
  void Run();
  void Carry(CurlTransfer& transfer);

  CurlRequest request_;
  const std::shared_ptr<FetchChannel> channel_;
  const std::shared_ptr<FetchPool> pool_;
  const std::shared_ptr<FetchDesk> desk_;
  SocketList sockets_;
  std::atomic<bool> changed_ = false;  // the channel, since the thread looked at it
  std::mutex mutex_;
  CURLM* multi_ = nullptr;  // while the thread runs
};

}  // namespace pellora
