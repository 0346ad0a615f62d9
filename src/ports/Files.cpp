#include "ports/Files.h"

#include "ports/Failure.h"

namespace pellora {

std::size_t File::CopyFrom(File&, std::uint64_t, std::uint64_t, std::size_t) { return 0; }

bool File::IsPrivate() { return false; }

std::string ReadWholeFile(Files& files, const std::string& path, std::uint64_t limit) {
  const std::unique_ptr<File> file = files.OpenForReading(path);
  const std::uint64_t length = file->Length();
  if (length > limit) throw Failure(FailureNumber::File, path + ": the file is too large");
  std::string content(static_cast<std::size_t>(length), '\0');
  content.resize(file->ReadAt(0, content));
  return content;
}

}  // namespace pellora
