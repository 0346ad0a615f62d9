// What the targets are fed in the ordinary tests: the files kept of each target, and seeded changes of them.
#pragma once

#include <functional>
#include <random>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace pellora {

// The files of corpus/TARGET and found/TARGET, by name.
std::vector<std::string> KeptInputs(const std::string& target);
// The claims of `run`'s oracle that do not hold for some of them.
std::set<std::string> Catch(const std::string& target, const std::function<void(std::string_view)>& run);
// The words of dict/TARGET.dict.
std::vector<std::string> Words(const std::string& target);

// Inputs that differ from kept ones in a few places. Equal seeds give equal inputs.
class Changes {
 public:
  Changes(std::vector<std::string> inputs, std::vector<std::string> words, unsigned seed);
  std::string Next();

 private:
  std::size_t Below(std::size_t n) { return random_() % n; }
  void Change(std::string& text);

  std::vector<std::string> inputs_;
  std::vector<std::string> words_;
  std::mt19937 random_;
};

}  // namespace pellora
