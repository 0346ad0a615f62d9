// TrustedAuthorities: where libcurl finds the certificates of the authorities that servers may have theirs from.
//
// A system has them in one file, of which OpenSSL parses all in 20 ms and 1.5 MB, and often also in a folder of single
// ones, of which it reads only those that a server's certificate names as its issuers.
#pragma once

#include <memory>
#include <string>
#include <utility>

#include "desktop/Descriptor.h"
#include "desktop/PosixFile.h"

namespace pellora {

// Absolute paths, of which both count; empty: none.
struct AuthorityPaths {
  std::string file;    // in PEM
  std::string folder;  // of files under the hashes of their names, as X509_LOOKUP_hash_dir(3) has it
  std::shared_ptr<const Descriptor> opened = {};  // the file, if it has no other name: to be kept while it may be read
  friend bool operator==(const AuthorityPaths&, const AuthorityPaths&) = default;
};

// Of no file, if there is none.
FileState StateOfPath(const std::string& path);

class TrustedAuthorities {
 public:
  static AuthorityPaths OfLibcurl();

  // Of the system: either file or folder may have all.
  explicit TrustedAuthorities(AuthorityPaths system) : system_(std::move(system)) {}

  // The system's authorities and those of the file `extra`, if it is not empty. Beside a folder the file is short where
  // the system has a file too, since libcurl then parses it for each connection, and else once. If `extra` cannot be
  // read, or is no file, there are none: the connection fails and says so.
  AuthorityPaths With(const std::string& extra);

 private:
  struct Source {
    std::string path;
    FileState state;
    friend bool operator==(const Source&, const Source&) = default;
  };

  struct Sources {
    Source file, folder, extra;
    bool folderHasAll = false;
    friend bool operator==(const Sources&, const Sources&) = default;
  };

  static Source SourceAt(const std::string& path);
  bool FolderHasAll();
  AuthorityPaths Make(const std::string& extra, bool folderHasAll) const;

  const AuthorityPaths system_;
  std::pair<Source, Source> lookedAt_;  // file and folder
  bool folderHasAll_ = false;           // then
  Sources madeOf_;
  AuthorityPaths made_;
};

}  // namespace pellora
