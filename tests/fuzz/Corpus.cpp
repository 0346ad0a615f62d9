#include "Corpus.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "Oracle.h"

namespace pellora {

namespace {

namespace fs = std::filesystem;

std::string Content(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

constexpr std::size_t kBlock = 512;  // of a ustar archive: each header is one block, and the end is two zero blocks

// Removes the first `length` bytes from the archive and returns them.
std::string_view Taken(std::string_view& archive, std::size_t length) {
  if (archive.size() < length) throw std::runtime_error("an archive is cut short");
  const std::string_view taken = archive.substr(0, length);
  archive.remove_prefix(length);
  return taken;
}

// Resolves "\x41", "\\" and "\"" as in the dictionaries.
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

std::vector<Input> ReadArchive(std::string_view archive) {
  std::vector<Input> files;
  while (!archive.empty() && archive.front() != '\0') {
    const std::string_view header = Taken(archive, kBlock);
    const std::string_view name = header.substr(0, 100);
    const std::string_view size = header.substr(124, 11);
    std::size_t length = 0;
    const auto read = std::from_chars(size.data(), size.data() + size.size(), length, 8);
    if (read.ptr != size.data() + size.size() || header.substr(257, 5) != "ustar" || header[156] != '0')
      throw std::runtime_error("no header of a regular file in the archive");
    files.push_back({std::string(name.substr(0, name.find('\0'))), std::string(Taken(archive, length))});
    Taken(archive, (kBlock - length % kBlock) % kBlock);
  }
  Taken(archive, 2 * kBlock);
  return files;
}

std::vector<Input> KeptInputs(const std::string& target) {
  const fs::path folder(PELLORA_FUZZ_FOLDER);
  std::vector<Input> inputs = ReadArchive(Content(folder / "corpus" / (target + ".tar")));
  for (Input& input : inputs) input.name.insert(0, "corpus/" + target + '/');
  std::vector<fs::path> found;
  if (fs::exists(folder / "found" / target)) {
    for (const auto& entry : fs::directory_iterator(folder / "found" / target)) found.push_back(entry.path());
  }
  std::sort(found.begin(), found.end());
  for (const fs::path& path : found) inputs.push_back({path.lexically_relative(folder).string(), Content(path)});
  return inputs;
}

std::set<std::string> Catch(const std::string& target, const std::function<void(std::string_view)>& run) {
  std::set<std::string> claims;
  for (const Input& input : KeptInputs(target)) {
    try {
      run(input.bytes);
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

Changes::Changes(std::vector<Input> inputs, std::vector<std::string> words, unsigned seed)
    : inputs_(std::move(inputs)), words_(std::move(words)), random_(seed) {}

Input Changes::Next() {
  const Input& kept = inputs_[Below(inputs_.size())];
  Input changed{"a change of " + kept.name, kept.bytes};
  for (std::size_t i = Below(4) + 1; i > 0; --i) Change(changed.bytes);
  return changed;
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
      const std::string& other = inputs_[Below(inputs_.size())].bytes;
      text.resize(at);
      text += other.substr(Below(other.size() + 1));
      break;
    }
    default:
      if (!words_.empty()) text.insert(at, words_[Below(words_.size())]);
  }
}

}  // namespace pellora
