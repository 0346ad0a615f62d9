#include "Corpus.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "Oracle.h"

namespace pellora {

namespace {

namespace fs = std::filesystem;

std::string Content(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// "\x41", "\\" and "\"" as in the dictionaries.
std::string Unescaped(const std::string& text) {
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool escape = text[i] == '\\' && i + 1 < text.size();
    if (escape) ++i;
    if (escape && text[i] == 'x' && i + 2 < text.size()) {
      int byte = 0;
      std::from_chars(text.data() + i + 1, text.data() + i + 3, byte, 16);
      plain += static_cast<char>(byte);
      i += 2;
    } else {
      plain += text[i];
    }
  }
  return plain;
}

}  // namespace

std::vector<std::string> KeptInputs(const std::string& target) {
  std::vector<fs::path> paths;
  for (const char* const kind : {"corpus", "found"}) {
    const fs::path folder = fs::path(PELLORA_FUZZ_FOLDER) / kind / target;
    if (!fs::exists(folder)) continue;
    for (const auto& entry : fs::directory_iterator(folder)) paths.push_back(entry.path());
  }
  std::sort(paths.begin(), paths.end());
  std::vector<std::string> inputs;
  inputs.reserve(paths.size());
  for (const fs::path& path : paths) inputs.push_back(Content(path));
  return inputs;
}

std::set<std::string> Catch(const std::string& target, const std::function<void(std::string_view)>& run) {
  std::set<std::string> claims;
  for (const std::string& bytes : KeptInputs(target)) {
    try {
      run(bytes);
    } catch (const OracleBroken& broken) {
      claims.insert(broken.what());
    }
  }
  return claims;
}

std::vector<std::string> Words(const std::string& target) {
  std::vector<std::string> words;
  std::ifstream file(fs::path(PELLORA_FUZZ_FOLDER) / "dict" / (target + ".dict"));
  for (std::string line; std::getline(file, line);) {
    if (line.size() > 2 && line.front() == '"') words.push_back(Unescaped(line.substr(1, line.size() - 2)));
  }
  return words;
}

Changes::Changes(std::vector<std::string> inputs, std::vector<std::string> words, unsigned seed)
    : inputs_(std::move(inputs)), words_(std::move(words)), random_(seed) {}

std::string Changes::Next() {
  std::string text = inputs_[Below(inputs_.size())];
  for (std::size_t i = Below(4) + 1; i > 0; --i) Change(text);
  return text;
}

void Changes::Change(std::string& text) {
  const std::size_t at = Below(text.size() + 1);
  const std::size_t length = Below(std::min<std::size_t>(text.size() - at, 32) + 1);
  switch (Below(7)) {
    case 0:
      if (at < text.size()) text[at] = static_cast<char>(random_());
      break;
    case 1:
      if (at < text.size()) text[at] = static_cast<char>(text[at] ^ (1 << Below(8)));
      break;
    case 2:
      text.insert(at, text.substr(at, length));
      break;
    case 3:
      text.erase(at, length);
      break;
    case 4:
      text.resize(at);
      break;
    case 5: {
      const std::string& other = inputs_[Below(inputs_.size())];
      text.resize(at);
      text += other.substr(Below(other.size() + 1));
      break;
    }
    default:
      if (!words_.empty()) text.insert(at, words_[Below(words_.size())]);
  }
}

}  // namespace pellora
