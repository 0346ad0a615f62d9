#include "fetch/Sources.h"

#include <algorithm>
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
