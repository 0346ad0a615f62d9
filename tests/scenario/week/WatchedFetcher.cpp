#include "WatchedFetcher.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace pellora {

namespace {

FetchHeader* Find(FetchAnswer& answer, std::string_view name) {
  const auto at = std::find_if(answer.headers.begin(), answer.headers.end(),
                               [&](const FetchHeader& header) { return header.name == name; });
  return at == answer.headers.end() ? nullptr : &*at;
}

}  // namespace

class WatchedFetch final : public Fetch, private FetchEvents {
 public:
  WatchedFetch(WatchedFetcher& fetcher, FetchRequest request, FetchEvents& events)
      : fetcher_(fetcher), events_(events), from_(request.from), ranged_(request.ranged) {
    // The server is asked for another one.
    const bool shifts = fetcher_.planted_ == Planted::UncheckedRange && ranged_ && from_ > 0;
    if (shifts && request.to != from_ && fetcher_.random_.Below(8) == 0) ++request.from;
    at_ = fetcher_.open_.insert(fetcher_.open_.end(), {request.url});
    FetchEvents& own = *this;
    fetch_ = fetcher_.sim_.fetcher().Begin(std::move(request), own);
  }
  ~WatchedFetch() override {
    if (fetcher_.planted_ == Planted::FetchLeftOpen && fetcher_.random_.Below(10) == 0) {
      FetchRequest again;
      again.url = at_->url;
      fetcher_.left_.push_back(fetcher_.sim_.fetcher().Begin(std::move(again), Silent()));
      return;
    }
    fetcher_.open_.erase(at_);
  }
  WatchedFetch(const WatchedFetch&) = delete;
  WatchedFetch& operator=(const WatchedFetch&) = delete;
  void SetReading(bool reading) override { fetch_->SetReading(reading); }

 private:
  class NoEvents final : public FetchEvents {
   public:
    void Answered(const FetchAnswer&) override {}
    void DataArrived(std::unique_ptr<FetchBlock>) override {}
    void Ended(FetchEnd, const std::string&) override {}
  };
  static FetchEvents& Silent() {
    static NoEvents events;
    return events;
  }

  void Answered(const FetchAnswer& answer) override {
    if (fetcher_.planted_ != Planted::UncheckedRange || !ranged_ || from_ == 0 || answer.status / 100 != 2) {
      return events_.Answered(answer);
    }
    events_.Answered(AsAsked(answer));
  }
  // As if the server had sent the range that was asked for.
  FetchAnswer AsAsked(FetchAnswer answer) const {
    const bool whole = answer.status == 200;
    FetchHeader* const range = Find(answer, "Content-Range");
    FetchHeader* const length = Find(answer, "Content-Length");
    if (length == nullptr || (!whole && range == nullptr)) return answer;
    std::int64_t bytes = std::atoll(length->value.c_str());
    std::string total = std::to_string(bytes);
    if (whole) bytes -= from_;
    length->value = std::to_string(bytes);
    if (!whole) total = range->value.substr(range->value.find('/') + 1);
    const std::string value = "bytes " + std::to_string(from_) + "-" + std::to_string(from_ + bytes - 1) + "/" + total;
    if (!whole) {
      range->value = value;
      return answer;
    }
    answer.status = 206;
    answer.headers.push_back({"Content-Range", value});
    return answer;
  }
  void DataArrived(std::unique_ptr<FetchBlock> block) override { events_.DataArrived(std::move(block)); }
  void Ended(FetchEnd end, const std::string& reason) override { events_.Ended(end, reason); }

  WatchedFetcher& fetcher_;
  FetchEvents& events_;
  const std::int64_t from_;
  const bool ranged_;
  std::list<WatchedFetcher::OpenFetch>::iterator at_;
  std::unique_ptr<Fetch> fetch_;
};

std::unique_ptr<Fetch> WatchedFetcher::Begin(FetchRequest request, FetchEvents& events) {
  return std::make_unique<WatchedFetch>(*this, std::move(request), events);
}

}  // namespace pellora
