// SimFetchRecorder: a plain user of the fetcher's port, for tests. It records each event, and can act inside of one.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "SimPlatform.h"

namespace pellora {

class SimFetchRecorder final : public FetchEvents {
 public:
  SimFetchRecorder(SimPlatform& sim, FetchRequest request) : sim_(sim) {
    fetch = sim.fetcher().Begin(std::move(request), *this);
  }
  // A range of a URL; `to` -1: to the end.
  SimFetchRecorder(SimPlatform& sim, const std::string& url, std::int64_t from, std::int64_t to = -1)
      : SimFetchRecorder(sim, Ranged(url, from, to)) {}
  static FetchRequest Plain(const std::string& url) {
    FetchRequest request;
    request.url = url;
    return request;
  }
  static FetchRequest Ranged(const std::string& url, std::int64_t from, std::int64_t to = -1) {
    FetchRequest request = Plain(url);
    request.ranged = true;
    request.from = from;
    request.to = to;
    return request;
  }

  std::unique_ptr<Fetch> fetch;
  std::string events;  // one letter for each: A answered, D data, E ended
  FetchAnswer answer;
  std::string data;
  std::optional<FetchEnd> end;
  std::string reason;
  std::vector<double> times;                        // ms of each event
  bool keepsBlocks = false;                         // instead of freeing them at once
  std::vector<std::unique_ptr<FetchBlock>> blocks;  // those kept
  std::function<void(char event)> onEvent;

  std::string Header(const std::string& name) const {
    for (const FetchHeader& header : answer.headers) {
      if (header.name == name) return header.value;
    }
    return "";
  }

 private:
  void Note(char event) {
    events += event;
    times.push_back(sim_.Elapsed());
    if (onEvent) onEvent(event);
  }
  void Answered(const FetchAnswer& given) override {
    answer = given;
    Note('A');
  }
  void DataArrived(std::unique_ptr<FetchBlock> block) override {
    data += block->Bytes();
    if (keepsBlocks) blocks.push_back(std::move(block));
    Note('D');
  }
  void Ended(FetchEnd how, const std::string& why) override {
    end = how;
    reason = why;
    Note('E');
  }

  SimPlatform& sim_;
};

}  // namespace pellora
