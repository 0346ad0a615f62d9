// Every target on its stored inputs and seeded changes, as ordinary tests. The number of changes is chosen so that all
// together take some seconds.
#include <gtest/gtest.h>

#include <functional>
#include <ostream>
#include <string>
#include <string_view>

#include "Corpus.h"
#include "Targets.h"

namespace pellora {
namespace {

struct Target {
  const char* name;
  std::function<void(std::string_view)> run;
  int changes;
};
void PrintTo(const Target& target, std::ostream* out) { *out << target.name; }

const Target kTargets[] = {
    {"url", [](std::string_view bytes) { FuzzUrl(bytes); }, 4000},
    {"headers", [](std::string_view bytes) { FuzzHeaders(bytes); }, 8000},
    {"segments", [](std::string_view bytes) { FuzzSegments(bytes); }, 300},
    {"ftp", [](std::string_view bytes) { FuzzFtp(bytes); }, 300},
    {"list", [](std::string_view bytes) { FuzzList(bytes); }, 800},
    {"zip", [](std::string_view bytes) { FuzzZip(bytes); }, 2000},
    {"language", [](std::string_view bytes) { FuzzLanguage(bytes); }, 1000},
    {"settings", [](std::string_view bytes) { FuzzSettings(bytes); }, 1500},
    {"version", [](std::string_view bytes) { FuzzVersion(bytes); }, 8000},
    {"numbers", [](std::string_view bytes) { FuzzNumbers(bytes); }, 4000},
    {"webaddress", [](std::string_view bytes) { FuzzWebAddress(bytes); }, 4000},
    {"reply", [](std::string_view bytes) { FuzzReply(bytes); }, 6000},
    {"journal", [](std::string_view bytes) { FuzzJournal(bytes); }, 2000},
    {"selection", [](std::string_view bytes) { FuzzSelection(bytes); }, 4000},
    {"metalink", [](std::string_view bytes) { FuzzMetalink(bytes); }, 3000},
    {"link", [](std::string_view bytes) { FuzzLink(bytes); }, 4000},
    {"netrc", [](std::string_view bytes) { FuzzNetrc(bytes); }, 6000},
    {"noproxy", [](std::string_view bytes) { FuzzNoProxy(bytes); }, 4000},
    {"digests", [](std::string_view bytes) { FuzzDigests(bytes); }, 6000},
    {"sums", [](std::string_view bytes) { FuzzSums(bytes); }, 4000},
    {"urls", [](std::string_view bytes) { FuzzUrls(bytes); }, 6000},
    {"cookies", [](std::string_view bytes) { FuzzCookies(bytes); }, 6000},
    {"archive", [](std::string_view bytes) { FuzzArchive(bytes); }, 4000},
    {"preview", [](std::string_view bytes) { FuzzPreview(bytes); }, 10000},
};

class FuzzTargets : public testing::TestWithParam<Target> {};

TEST_P(FuzzTargets, PassOnCorpusAndMutations) {
  const Target& target = GetParam();
  const std::vector<Input> inputs = KeptInputs(target.name);
  ASSERT_GE(inputs.size(), 5U);
  const auto feed = [&](const Input& input) {
    try {
      target.run(input.bytes);
    } catch (const std::exception& broken) {
      ADD_FAILURE() << broken.what() << "\nfor " << input.name << ": " << testing::PrintToString(input.bytes);
    }
  };
  for (const Input& input : inputs) feed(input);
  Changes changes(inputs, Words(target.name), 1);
  for (int i = 0; i < target.changes && !HasFailure(); ++i) feed(changes.Next());
}

INSTANTIATE_TEST_SUITE_P(Target, FuzzTargets, testing::ValuesIn(kTargets),
                         [](const auto& chosen) { return std::string(chosen.param.name); });

}  // namespace
}  // namespace pellora
