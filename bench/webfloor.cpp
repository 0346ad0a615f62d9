// The floor of the web engine: the least that a segmented download by libcurl costs.
//
//   webfloor CONNECTIONS URL OUTPUT [TRUSTED]
//
// Asks for the size, keeps that connection, starts all ranges at once on one thread and writes what arrives by position
// into the file itself. It has no list, no windows, no journal, no resume and no error handling: any failure ends it.
// TRUSTED is a file with certificates.
#include <curl/curl.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr long kReceiveBuffer = 512 * 1024;  // the most that libcurl takes
constexpr int kWait = 1000;                  // milliseconds; a connection that becomes readable ends it

[[noreturn]] void Die(std::string_view what) {
  std::cerr << "webfloor: " << what << "\n";
  std::exit(1);
}

struct Lane {
  int file = -1;
  std::int64_t position = 0;
  std::int64_t end = 0;
};

std::size_t Write(char* data, std::size_t, std::size_t size, void* user) {
  Lane& lane = *static_cast<Lane*>(user);
  for (std::size_t done = 0; done < size;) {
    const ssize_t written = pwrite(lane.file, data + done, size - done, lane.position);
    if (written <= 0) Die("write");
    done += static_cast<std::size_t>(written);
    lane.position += written;
  }
  return size;
}

CURL* NewRequest(const std::string& url, const char* trusted) {
  CURL* const request = curl_easy_init();
  if (request == nullptr) Die("no memory");
  curl_easy_setopt(request, CURLOPT_URL, url.c_str());
  curl_easy_setopt(request, CURLOPT_FAILONERROR, 1L);
  curl_easy_setopt(request, CURLOPT_HTTP_VERSION, CURL_HTTP_VERSION_1_1);
  curl_easy_setopt(request, CURLOPT_BUFFERSIZE, kReceiveBuffer);
  if (trusted != nullptr) curl_easy_setopt(request, CURLOPT_CAINFO, trusted);
  return request;
}

void RunAll(CURLM* multi, std::size_t requests) {
  for (std::size_t done = 0; done < requests;) {
    int running = 0;
    if (curl_multi_perform(multi, &running) != CURLM_OK) Die("libcurl");
    int left = 0;
    while (const CURLMsg* const message = curl_multi_info_read(multi, &left)) {
      if (message->data.result != CURLE_OK) Die(curl_easy_strerror(message->data.result));
      curl_multi_remove_handle(multi, message->easy_handle);
      ++done;
    }
    if (running > 0) curl_multi_poll(multi, nullptr, 0, kWait, nullptr);
  }
}

std::int64_t SizeOf(CURLM* multi, const std::string& url, const char* trusted) {
  CURL* const request = NewRequest(url, trusted);
  curl_easy_setopt(request, CURLOPT_NOBODY, 1L);
  curl_multi_add_handle(multi, request);
  RunAll(multi, 1);
  curl_off_t size = -1;
  curl_easy_getinfo(request, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &size);
  curl_easy_cleanup(request);
  if (size <= 0) Die("no length");
  return size;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4 && argc != 5) Die("usage: webfloor CONNECTIONS URL OUTPUT [TRUSTED]");
  const std::string url = argv[2];
  const char* const trusted = argc == 5 ? argv[4] : nullptr;
  curl_global_init(CURL_GLOBAL_DEFAULT);
  CURLM* const multi = curl_multi_init();
  const std::int64_t size = SizeOf(multi, url, trusted);
  std::vector<Lane> lanes(static_cast<std::size_t>(std::max(std::atoi(argv[1]), 1)));
  const int file = open(argv[3], O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
  if (file < 0) Die("output file");
  const auto count = static_cast<std::int64_t>(lanes.size());
  for (std::int64_t i = 0; i < count; ++i) {
    Lane& lane = lanes[static_cast<std::size_t>(i)];
    lane = {file, size * i / count, size * (i + 1) / count};
    CURL* const request = NewRequest(url, trusted);
    curl_easy_setopt(request, CURLOPT_RANGE,
                     (std::to_string(lane.position) + "-" + std::to_string(lane.end - 1)).c_str());
    curl_easy_setopt(request, CURLOPT_WRITEFUNCTION, Write);
    curl_easy_setopt(request, CURLOPT_WRITEDATA, &lane);
    curl_multi_add_handle(multi, request);
  }
  RunAll(multi, lanes.size());
  if (!std::all_of(lanes.begin(), lanes.end(), [](const Lane& lane) { return lane.position == lane.end; }))
    Die("short");
  close(file);
}
