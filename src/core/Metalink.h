// ReadMetalink: the files of a Metalink document, with their checksums and mirrors (RFC 5854).
//
// The document is of unknown origin: its size, depth, texts and lists are limited, a document type (and so entities) is
// refused, file names are made harmless, and only addresses that the web engine takes are mirrors. What the RFC lets a
// reader ignore is ignored: unknown elements, hashes of unknown kinds, addresses of other schemes. A file none of whose
// addresses is left is dropped.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/Checksum.h"
#include "core/Mirror.h"
#include "core/Pieces.h"
#include "core/WebAdd.h"

namespace pellora {

inline constexpr std::size_t kLongestMetalink = std::size_t{10} << 20;  // bytes
inline constexpr std::size_t kMostMetalinkFiles = 10'000;               // the first ones are kept
inline constexpr std::string_view kMetalinkType = "application/metalink4+xml";

struct MetalinkFile {
  std::string name;                   // harmless, without folders, never empty
  std::int64_t size = -1;             // bytes; -1: not said
  std::vector<Checksum> checksums;    // of the whole file, the strongest first, one of each kind
  std::optional<PieceHashes> pieces;  // of the strongest kind; only if they cover `size` exactly
  std::vector<Mirror> mirrors;        // by priority, no address twice; one at least, kMostMirrors at most
};

// Nothing for what is no whole, well-formed Metalink document. None of its files may be left.
std::optional<std::vector<MetalinkFile>> ReadMetalink(std::string_view bytes);

// True for what begins like a Metalink: the beginning of an XML document, and its root's name soon.
bool LooksLikeMetalink(std::string_view bytes);

// True for an address whose path ends in ".meta4", in any case.
bool NamesMetalink(std::string_view url);

// What is to be added in the place of a Metalink.
struct MetalinkFiles {
  std::vector<MetalinkFile> files;
  bool safe = true;  // as AddOf has it
  // What the Metalink itself was added with: folder, limit, page, login and cookies. The last two are for its own
  // address; that is empty for a local file, whose user names them for the files.
  std::string url{};
  WebAdd add{};
};

// A file as it is added.
struct MetalinkAdd {
  std::string url;   // its first mirror
  std::string name;  // to be saved as
  WebAdd add;        // the other mirrors, checksum, pieces, size
};
// `safe`: the document is the user's own file, or came by an encrypted connection. Else an unencrypted mirror of an
// encrypted address stays unused.
MetalinkAdd AddOf(const MetalinkFile& file, bool safe);

}  // namespace pellora
