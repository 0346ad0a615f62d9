#include <algorithm>
#include <string>

#include "Oracle.h"
#include "Targets.h"

namespace pellora {

namespace {

std::string Base64Of(const std::string& hex) {
  constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  unsigned bits = 0;
  unsigned count = 0;
  for (const char digit : hex) {
    bits = bits << 4U | static_cast<unsigned>(kDigits.find(digit));
    for (count += 4; count >= 6; count -= 6) text += kAlphabet[bits >> (count - 6) & 63U];
  }
  if (count > 0) text += kAlphabet[bits << (6 - count) & 63U];
  while (text.size() % 4 != 0) text += '=';
  return text;
}

std::string_view AlgorithmOf(ChecksumKind kind) {
  constexpr std::string_view kNames[] = {"md5", "sha", "sha-256", "sha-512"};
  return kNames[static_cast<std::size_t>(kind)];
}

void DemandChecksums(const std::vector<Checksum>& checksums) {
  for (const Checksum& checksum : checksums) {
    Demand(ParseChecksum(ChecksumText(checksum)) == checksum, "a checksum has its kind's length");
  }
}

}  // namespace

void FuzzDigests(std::string_view bytes, const DigestReaders& readers) {
  const std::string text(bytes);
  const std::vector<Checksum> repr = readers.repr(text);
  const std::vector<Checksum> old = readers.digest(text);
  DemandChecksums(repr);
  DemandChecksums(old);
  std::string reprText;
  std::string oldText;
  for (const Checksum& checksum : repr) {
    reprText +=
        (reprText.empty() ? "" : ", ") + std::string(AlgorithmOf(checksum.kind)) + "=:" + Base64Of(checksum.hex) + ":";
  }
  for (const Checksum& checksum : old) {
    oldText += (oldText.empty() ? "" : ",") + std::string(AlgorithmOf(checksum.kind)) + "=" + Base64Of(checksum.hex);
  }
  Demand(readers.repr(reprText) == repr, "members of a dictionary are read as they were");
  Demand(readers.digest(oldText) == old, "members of a list are read as they were");

  FetchAnswer answer;
  answer.status = 206;
  answer.headers = {{"Repr-Digest", text}, {"Digest", text}};
  const std::optional<Checksum> found = ChecksumIn(answer);
  std::vector<Checksum> all = repr;
  all.insert(all.end(), old.begin(), old.end());
  if (found) {
    Demand(std::find(all.begin(), all.end(), *found) != all.end(), "what is found was said");
    for (const Checksum& checksum : all) {
      Demand(checksum.kind <= found->kind, "the strongest counts");
      Demand(checksum.kind < found->kind || checksum == *found, "what contradicts itself does not count");
    }
  }
}

}  // namespace pellora
