#include "fetch/Challenge.h"

#include <algorithm>
#include <array>
#include <utility>

#include "core/Ascii.h"

namespace pellora {

namespace {

constexpr std::string_view kBlanks = " \t";
constexpr std::size_t kLongestRealm = 256;

struct Offer {
  std::string scheme;
  std::string realm;
  std::string algorithm;  // of Digest
};

class OfferReader {
 public:
  explicit OfferReader(std::string_view text) : rest_(text) {}

  // A word after a comma, or at the start, is a scheme unless "=" follows: then it is a parameter of the last one.
  void ReadInto(std::vector<Offer>& offers) {
    bool begins = true;
    while (Skip(kBlanks), !rest_.empty()) {
      if (Takes(',')) {
        begins = true;
        continue;
      }
      const std::string word = Word();
      if (word.empty()) {
        rest_.remove_prefix(1);  // no part of the grammar
        continue;
      }
      Skip(kBlanks);
      if (Takes('=')) {
        Skip(kBlanks);
        TakeParameter(word, Value(), offers);
      } else if (std::exchange(begins, false)) {
        offers.push_back({ToLower(word), {}, {}});
      }
    }
  }

 private:
  void Skip(std::string_view characters) {
    rest_.remove_prefix(std::min(rest_.size(), rest_.find_first_not_of(characters)));
  }
  bool Takes(char c) {
    if (!rest_.starts_with(c)) return false;
    rest_.remove_prefix(1);
    return true;
  }
  std::string Word() {
    const std::string_view word = rest_.substr(0, rest_.find_first_of(" \t,=\""));
    rest_.remove_prefix(word.size());
    return std::string(word);
  }
  std::string Value() {
    if (!Takes('"')) return Word();
    std::string value;
    while (!rest_.empty() && !Takes('"')) {
      if (rest_.front() == '\\' && rest_.size() > 1) rest_.remove_prefix(1);
      value += rest_.front();
      rest_.remove_prefix(1);
    }
    return value;
  }
  static void TakeParameter(const std::string& name, std::string value, std::vector<Offer>& offers) {
    if (offers.empty()) return;
    if (EqualsNoCase(name, "realm")) offers.back().realm = std::move(value);
    if (EqualsNoCase(name, "algorithm")) offers.back().algorithm = ToLower(value);
  }

  std::string_view rest_;
};

bool IsKnown(const Offer& offer) {
  constexpr std::array<std::string_view, 5> kAlgorithms{"", "md5", "md5-sess", "sha-256", "sha-256-sess"};
  return offer.scheme != "digest" ||
         std::find(kAlgorithms.begin(), kAlgorithms.end(), offer.algorithm) != kAlgorithms.end();
}

struct Scheme {
  std::string_view name;
  FetchAuth auth;
};

constexpr std::array kPreferred = {Scheme{"digest", FetchAuth::Digest}, Scheme{"ntlm", FetchAuth::Ntlm},
                                   Scheme{"basic", FetchAuth::Basic}, Scheme{"negotiate", FetchAuth::Negotiate}};

}  // namespace

std::optional<Challenge> ReadChallenge(const std::vector<std::string_view>& values) {
  std::vector<Offer> offers;
  for (const std::string_view value : values) OfferReader(value).ReadInto(offers);
  for (const Scheme& scheme : kPreferred) {
    for (const Offer& offer : offers) {
      if (offer.scheme != scheme.name || !IsKnown(offer)) continue;
      const bool usable = offer.realm.size() <= kLongestRealm && !HasControls(offer.realm);
      return Challenge{scheme.auth, usable ? offer.realm : std::string()};
    }
  }
  return std::nullopt;
}

}  // namespace pellora
