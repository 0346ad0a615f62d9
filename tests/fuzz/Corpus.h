// The inputs of the targets in the ordinary tests: the stored inputs and seeded changes of them.
#pragma once

#include <functional>
#include <random>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace pellora {

struct Input {
  std::string name;  // "corpus/url/no-path", for failure messages
  std::string bytes;
};

// The files of a ustar archive in order. Throws if it is damaged. archive.py writes only regular files.
std::vector<Input> ReadArchive(std::string_view archive);
// The inputs of corpus/TARGET.tar, then those of the folder found/TARGET, each sorted by name.
std::vector<Input> KeptInputs(const std::string& target);
// The claims that `run`'s oracle reports as violated for some of them.
std::set<std::string> Catch(const std::string& target, const std::function<void(std::string_view)>& run);
// The words of dict/TARGET.dict.
std::vector<std::string> Words(const std::string& target);

// Generates inputs that differ from stored ones in a few places. Equal seeds give equal inputs.
class Changes {
 public:
  Changes(std::vector<Input> inputs, std::vector<std::string> words, unsigned seed);
  Input Next();

 private:
  std::size_t Below(std::size_t n) { return random_() % n; }
  void Change(std::string& text);

  std::vector<Input> inputs_;
  std::vector<std::string> words_;
  std::mt19937 random_;
};

}  // namespace pellora
