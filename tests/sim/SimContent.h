// SimContent: the bytes of a file, given or computed from their offset, so that large files cost nothing.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace pellora {

class SimContent {
 public:
  SimContent() = default;
  SimContent(std::string bytes)  // NOLINT(google-explicit-constructor): a string is a content
      : length_(bytes.size()), bytes_(std::make_shared<const std::string>(std::move(bytes))) {}
  SimContent(const char* text) : SimContent(std::string(text)) {}  // NOLINT(google-explicit-constructor)
  // `length` bytes, each a function of its offset and of `salt`.
  static SimContent Generated(std::uint64_t length, std::uint64_t salt = 1);
  // The same, but zeros except in the first 4 KiB of each 16 MiB, so that the simulated disk holds gigabytes of it.
  static SimContent Sparse(std::uint64_t length, std::uint64_t salt = 1);

  std::uint64_t Length() const { return length_; }
  // Fills `to` with the bytes at `offset`; all of them must be inside.
  void Read(std::uint64_t offset, std::span<char> to) const;
  std::string Bytes(std::uint64_t offset, std::uint64_t length) const;
  std::string All() const { return Bytes(0, length_); }

 private:
  void Generate(std::uint64_t offset, std::span<char> to) const;

  std::uint64_t length_ = 0;
  std::uint64_t salt_ = 0;
  bool sparse_ = false;
  std::shared_ptr<const std::string> bytes_;  // null: generated
};

}  // namespace pellora
