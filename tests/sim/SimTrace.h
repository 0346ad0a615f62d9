// SimTrace: the events of a simulated run, in order. Two runs are equal if their hashes are. The first entries are kept
// (for reading and comparing), and so are the last ones (for the message of a run that is given up); those in between
// only enter the hash.
#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

namespace pellora {

class SimTrace {
 public:
  // `micros` is the virtual time; `kind` must be a literal.
  void Note(std::int64_t micros, const char* kind, std::uint64_t a = 0, std::uint64_t b = 0,
            std::string_view text = {});

  // From here on only the hash is updated, for runs whose entries are not read.
  void KeepNoEntries() { keeps_ = false; }

  std::uint64_t Hash() const { return hash_; }
  std::uint64_t Count() const { return count_; }
  // The first entries (at most 100,000), one line each.
  std::vector<std::string> Lines() const;
  // The last entries, one line each, for messages.
  std::string Tail() const;

 private:
  struct Entry {
    std::int64_t micros;
    const char* kind;
    std::uint64_t a;
    std::uint64_t b;
    std::string text;
  };
  static std::string Line(const Entry& entry);
  void Mix(std::uint64_t value);

  static constexpr std::size_t kFirst = 100000;
  static constexpr std::size_t kLast = 40;
  std::vector<Entry> first_;
  std::deque<Entry> last_;
  std::uint64_t hash_ = 0xCBF29CE484222325ULL;
  std::uint64_t count_ = 0;
  bool keeps_ = true;
};

}  // namespace pellora
