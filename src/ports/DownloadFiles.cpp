#include "ports/DownloadFiles.h"

#include "ports/Failure.h"

namespace pellora {

namespace {

template <class Call>
std::exception_ptr FailureOf(const Call& call) {
  try {
    call();
  } catch (const Failure&) {
    return std::current_exception();
  }
  return nullptr;
}

}  // namespace

std::vector<std::exception_ptr> DownloadFiles::FlushTogether(const std::vector<DownloadFile*>& files,
                                                             const std::vector<std::string>& folders) {
  std::vector<std::exception_ptr> failures;
  for (DownloadFile* const file : files) failures.push_back(FailureOf([&] { file->Flush(); }));
  for (const std::string& folder : folders) failures.push_back(FailureOf([&] { FlushFolder(folder); }));
  return failures;
}

}  // namespace pellora
