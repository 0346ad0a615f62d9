#include "fetch/Sources.h"

#include <algorithm>
#include <limits>
#include <set>
#include <utility>

namespace pellora {

void Sources::Begin(const WebAddress& given, const std::vector<Mirror>& mirrors) {
  sources_.assign(1, {});
  main_ = 0;
  sources_.front().given = sources_.front().current = given;
  for (const Mirror& mirror : mirrors) Add(mirror);
}

void Sources::Add(const Mirror& mirror) {
  Source& source = sources_.emplace_back();
  const std::optional<WebAddress> address = ParseWebAddress(mirror.url);
  source.fault = mirror.fault;
  if (!mirror.fault.empty() || !address) source.state = SourceState::LeftOut;
  if (address) source.given = source.current = *address;
}

void Sources::ForgetFile() {
  for (Source& source : sources_) {
    source.facts.reset();
    source.twins.clear();
    source.proven = false;
    source.delivered = {};
  }
}

bool Sources::HasOthers(int number) const {
  for (int other = 0; other < Count(); ++other) {
    if (other != number && At(other).state != SourceState::LeftOut) return true;
  }
  return false;
}

int Sources::InUse() const {
  return static_cast<int>(std::count_if(sources_.begin(), sources_.end(),
                                        [](const Source& source) { return source.state == SourceState::InUse; }));
}

bool Sources::AllAreHttp() const {
  return std::all_of(sources_.begin(), sources_.end(), [](const Source& source) {
    return source.state == SourceState::LeftOut || IsHttp(source.given.scheme);
  });
}

void Sources::TakeFirstAsMain() {
  const auto first = std::find_if(sources_.begin(), sources_.end(),
                                  [](const Source& source) { return source.state == SourceState::InUse; });
  if (first != sources_.end()) main_ = static_cast<int>(first - sources_.begin());
}

void Sources::LeaveOut(int number, std::string fault) {
  At(number).state = SourceState::LeftOut;
  At(number).fault = std::move(fault);
  if (number == main_) (void)MoveOn(At(number).fault);
}

void Sources::Rest(int number, std::string fault) {
  At(number).state = SourceState::Resting;
  At(number).fault = std::move(fault);
}

bool Sources::MoveOn(const std::string& fault) {
  if (Main().state == SourceState::InUse) Rest(main_, fault);
  const bool others = std::any_of(sources_.begin(), sources_.end(),
                                  [](const Source& source) { return source.state == SourceState::InUse; });
  for (Source& source : sources_) {
    if (others || source.state != SourceState::Resting) continue;
    source.state = SourceState::InUse;
    source.fault.clear();
    source.failures = 0;
  }
  TakeFirstAsMain();
  return others;
}

std::vector<int> Sources::WhoDelivered(Range range) const {
  std::vector<int> numbers;
  for (int number = 0; number < Count(); ++number) {
    const std::vector<Range>& delivered = At(number).delivered.Ranges();
    const bool any = std::any_of(delivered.begin(), delivered.end(),
                                 [&](const Range& one) { return one.begin < range.end && range.begin < one.end; });
    if (any) numbers.push_back(number);
  }
  return numbers;
}

std::vector<int> Sources::Suspects(const std::vector<Range>& wrong) const {
  constexpr Range kAll{0, std::numeric_limits<std::int64_t>::max()};
  std::set<int> alone;
  std::set<int> together;
  for (const Range& range : wrong.empty() ? std::vector<Range>{kAll} : wrong) {
    const std::vector<int> numbers = WhoDelivered(range);
    if (numbers.size() == 1 && !wrong.empty()) alone.insert(numbers.front());
    if (numbers.size() > 1) together.insert(numbers.begin() + 1, numbers.end());
  }
  const std::set<int>& suspects = alone.empty() ? together : alone;
  const bool othersAreLeft = [&] {
    for (int number = 0; number < Count(); ++number) {
      if (At(number).state != SourceState::LeftOut && !suspects.contains(number)) return true;
    }
    return false;
  }();
  return othersAreLeft ? std::vector<int>(suspects.begin(), suspects.end()) : std::vector<int>();
}

std::vector<Range> Sources::DeliveredBy(const std::vector<int>& numbers) const {
  std::vector<Range> ranges;
  for (const int number : numbers) {
    const std::vector<Range>& delivered = At(number).delivered.Ranges();
    ranges.insert(ranges.end(), delivered.begin(), delivered.end());
  }
  return ranges;
}

void Sources::ForgetDelivered(const std::vector<Range>& ranges) {
  for (Source& source : sources_) {
    for (const Range& range : ranges) source.delivered.Remove(range);
  }
}

std::optional<int> Sources::ForLane(const std::vector<int>& open, const std::vector<int>& room, bool spread) const {
  std::optional<int> best;
  for (int number = 0; number < Count(); ++number) {
    const auto at = static_cast<std::size_t>(number);
    const bool asked = spread ? At(number).state == SourceState::InUse : number == main_;
    if (!asked || room[at] <= 0 || (At(number).single && open[at] > 0)) continue;
    if (!best || open[at] < open[static_cast<std::size_t>(*best)]) best = number;
  }
  return best;
}

}  // namespace pellora
