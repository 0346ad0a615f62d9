// The contract of the port OutputFolders, for any implementation: the stage has a folder in which all is done.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "ports/Failure.h"
#include "ports/OutputFolders.h"
#include "ports/RefusedName.h"

namespace pellora {

class OutputStage {
 public:
  virtual ~OutputStage() = default;
  virtual OutputFolders& Folders() = 0;
  virtual std::string Root() = 0;  // an existing folder
  // Paths are below Root().
  virtual void Put(const std::string& path, const std::string& content) = 0;
  virtual void PutLink(const std::string& path, const std::string& target) = 0;  // `target` as well
  virtual void MakeFolder(const std::string& path) = 0;
  virtual std::string Get(const std::string& path) = 0;  // of a file that is there
  virtual std::vector<std::string> Files() = 0;          // paths of all files, sorted
  virtual OutputTraits TraitsOf(const std::string& path) = 0;
};

struct OutputStageMaker {
  const char* name;
  std::function<std::unique_ptr<OutputStage>()> make;
};
inline void PrintTo(const OutputStageMaker& maker, std::ostream* out) { *out << maker.name; }

class OutputFoldersContract : public testing::TestWithParam<OutputStageMaker> {
 protected:
  using Files = std::vector<std::string>;

  bool Write(const OutputPath& path, const std::string& content,
             const std::optional<FileIdentity>& replaced = std::nullopt) {
    const std::unique_ptr<OutputFile> file = folder->Create(path);
    file->Write(content);
    return file->Publish(path.back(), {0644, 1'600'000'000, 0}, replaced);
  }
  template <class Operation>
  static bool Fails(Operation&& operation) {
    try {
      operation();
    } catch (const Failure& failure) {
      EXPECT_EQ(failure.Number(), FailureNumber::File);
      EXPECT_NE(std::string(failure.what()), "");
      return true;
    }
    return false;
  }

  const std::unique_ptr<OutputStage> stage = GetParam().make();
  const std::shared_ptr<OutputFolder> folder = stage->Folders().Open(stage->Root() + "/out");
};

TEST_P(OutputFoldersContract, FileHasNoNameBeforeItIsPublished) {
  const std::unique_ptr<OutputFile> file = folder->Create({"a", "b", "c.txt"});
  file->Write("one ");
  file->Write("");
  file->Write("two");
  EXPECT_EQ(folder->LookAt({"a", "b", "c.txt"}).what, OutputName::Free);
  ASSERT_TRUE(file->Publish("c.txt", {0644, 1'600'000'000, 0}, std::nullopt));
  EXPECT_EQ(stage->Get("out/a/b/c.txt"), "one two");
  const OutputFound found = folder->LookAt({"a", "b", "c.txt"});
  EXPECT_EQ(found.what, OutputName::File);
  EXPECT_EQ(found.length, 7U);
  EXPECT_EQ(stage->TraitsOf("out/a/b/c.txt").modified, 1'600'000'000);
}

TEST_P(OutputFoldersContract, FileThatIsNotPublishedIsDeleted) {
  {
    const std::unique_ptr<OutputFile> file = folder->Create({"c.txt"});
    file->Write("content");
  }
  EXPECT_EQ(stage->Files(), Files());
}

TEST_P(OutputFoldersContract, FilesThatWereFlushedTogetherGetTheirNamesAndTraits) {
  std::vector<std::unique_ptr<OutputFile>> files;
  std::vector<CompleteFile> complete;
  Files names;
  for (int i = 100; i < 140; ++i) {
    names.push_back("out/" + std::to_string(i % 3) + "/" + std::to_string(i));
    files.push_back(folder->Create({std::to_string(i % 3), std::to_string(i)}));
    files.back()->Write(names.back());
    complete.push_back({files.back().get(), {0640, 1'600'000'000, 0}});
  }
  folder->FlushTogether(complete);
  for (int i = 100; i < 140; ++i) {
    EXPECT_EQ(folder->LookAt({std::to_string(i % 3), std::to_string(i)}).what, OutputName::Free);
    ASSERT_TRUE(files[static_cast<std::size_t>(i - 100)]->Publish(std::to_string(i), complete.front().traits, {}));
  }
  folder->FlushNames();
  folder->FlushNames();
  for (const std::string& name : names) {
    EXPECT_EQ(stage->Get(name), name);
    EXPECT_EQ(stage->TraitsOf(name).modified, 1'600'000'000);
  }
  std::sort(names.begin(), names.end());
  EXPECT_EQ(stage->Files(), names);
  folder->FlushTogether({});
}

TEST_P(OutputFoldersContract, NamesOfAFormerRunAreFlushedInTheirFoldersOnly) {
  stage->MakeFolder("out/a/b");
  stage->Put("out/a/b/c.txt", "from before");
  stage->MakeFolder("elsewhere");
  stage->PutLink("out/link", "elsewhere");
  folder->AddName({"a", "b", "c.txt"});
  folder->AddName({"a", "b", "none.txt"});  // its folder is there
  folder->FlushNames();
  folder->FlushNames();
  EXPECT_TRUE(Fails([&] { folder->AddName({"link", "c.txt"}); }));
  EXPECT_TRUE(Fails([&] { folder->AddName({"none", "c.txt"}); }));
  EXPECT_EQ(stage->Get("out/a/b/c.txt"), "from before");
}

TEST_P(OutputFoldersContract, FileStaysAfterItsObjectIsGone) {
  EXPECT_TRUE(Write({"a"}, "1"));
  EXPECT_EQ(stage->Files(), Files{"out/a"});
}

TEST_P(OutputFoldersContract, NothingIsReplacedUnlessItIsNamed) {
  ASSERT_TRUE(Write({"a"}, "1"));
  const OutputFound first = folder->LookAt({"a"});
  EXPECT_FALSE(Write({"a"}, "2"));
  EXPECT_FALSE(Write({"a"}, "2", FileIdentity{first.identity.device, first.identity.inode + 1}));
  EXPECT_EQ(stage->Get("out/a"), "1");
  EXPECT_TRUE(Write({"a"}, "2", first.identity));
  EXPECT_EQ(stage->Get("out/a"), "2");
  EXPECT_FALSE(Write({"free"}, "3", first.identity));
  EXPECT_EQ(stage->Files(), Files{"out/a"});
}

TEST_P(OutputFoldersContract, AnotherNameCanBeTriedAfterOneThatWasTaken) {
  ASSERT_TRUE(Write({"a"}, "1"));
  const std::unique_ptr<OutputFile> file = folder->Create({"a"});
  file->Write("2");
  EXPECT_FALSE(file->Publish("a", {}, std::nullopt));
  EXPECT_FALSE(file->Publish("a", {}, FileIdentity{1, 1'000'000}));
  file->Write("3");
  EXPECT_TRUE(file->Publish("b", {}, std::nullopt));
  EXPECT_EQ(stage->Get("out/a"), "1");
  EXPECT_EQ(stage->Get("out/b"), "23");
  EXPECT_EQ(stage->Files(), (Files{"out/a", "out/b"}));
}

TEST_P(OutputFoldersContract, FoldersAndLinksAreNeverReplaced) {
  stage->MakeFolder("out/folder");
  stage->Put("other", "kept");
  stage->PutLink("out/link", "other");
  stage->PutLink("out/dangling", "nothing");
  for (const char* const name : {"folder", "link", "dangling"}) {
    EXPECT_EQ(folder->LookAt({name}).what, name == std::string("folder") ? OutputName::Folder : OutputName::Other);
    EXPECT_FALSE(Write({name}, "1")) << name;
    EXPECT_FALSE(Write({name}, "1", folder->LookAt({name}).identity)) << name;
  }
  EXPECT_EQ(stage->Files(), Files{"other"});
  EXPECT_EQ(stage->Get("other"), "kept");
}

TEST_P(OutputFoldersContract, NamesThatCannotBeAreToldFromOtherFailures) {
  stage->Put("out/file", "kept");
  stage->Put("elsewhere/file", "kept");
  stage->PutLink("out/link", "elsewhere");
  const std::string longName(300, 'x');
  for (const OutputPath& path : {OutputPath{"file", "a"}, OutputPath{"link", "a"}, OutputPath{longName, "a"}}) {
    EXPECT_THROW(folder->Create(path), RefusedName) << path.front();
    EXPECT_THROW(folder->MakeFolder(path), RefusedName) << path.front();
    EXPECT_THROW(folder->LookAt(path), RefusedName) << path.front();
    EXPECT_THROW(folder->OpenFile(path), RefusedName) << path.front();
  }
  const std::unique_ptr<OutputFile> file = folder->Create({longName});
  EXPECT_THROW(file->Publish(longName, {}, std::nullopt), RefusedName);
  EXPECT_THROW(folder->LookAt({longName}), RefusedName);
}

TEST_P(OutputFoldersContract, FilesAreReadAndHaveTheirTimes) {
  const OutputTraits traits{0644, 1'600'000'000, 0};
  const OutputTraits local{0644, std::nullopt, 0x5A8C6000};
  for (const OutputTraits& each : {traits, local}) {
    const std::string name = each.modified ? "utc" : "local";
    const std::unique_ptr<OutputFile> file = folder->Create({"a", name});
    file->Write("content");
    ASSERT_TRUE(file->Publish(name, each, std::nullopt));
    EXPECT_TRUE(folder->HasTime({"a", name}, each)) << name;
    EXPECT_FALSE(folder->HasTime({"a", name}, {0644, 1'600'000'005, 0})) << name;
    EXPECT_FALSE(folder->HasTime({"a", name}, {})) << name;
    std::string bytes(10, '\0');
    bytes.resize(folder->OpenFile({"a", name})->ReadAt(0, bytes));
    EXPECT_EQ(bytes, "content");
  }
  stage->PutLink("out/a/link", "out/a/utc");
  for (const OutputPath& path : {OutputPath{"a"}, OutputPath{"a", "link"}, OutputPath{"b"}, OutputPath{"b", "c"}}) {
    EXPECT_EQ(folder->OpenFile(path), nullptr) << path.back();
    EXPECT_FALSE(folder->HasTime(path, traits)) << path.back();
  }
}

TEST_P(OutputFoldersContract, LinksBelowTheFolderAreNotFollowed) {
  stage->MakeFolder("elsewhere/deep");
  stage->Put("elsewhere/file", "kept");
  stage->PutLink("out/link", "elsewhere");
  EXPECT_TRUE(Fails([&] { folder->Create({"link", "a"}); }));
  EXPECT_TRUE(Fails([&] { folder->Create({"link", "deep", "a"}); }));
  EXPECT_TRUE(Fails([&] { folder->MakeFolder({"link"}); }));
  EXPECT_TRUE(Fails([&] { folder->MakeFolder({"link", "made"}); }));
  EXPECT_TRUE(Fails([&] { folder->LookAt({"link", "file"}); }));
  EXPECT_TRUE(Fails([&] { folder->SetTraits({"link"}, {0777, 1}); }));
  EXPECT_TRUE(Fails([&] { folder->SetTraits({"link", "deep"}, {0777, 1}); }));
  EXPECT_EQ(stage->Files(), Files{"elsewhere/file"});
}

TEST_P(OutputFoldersContract, FilesAreNoFolders) {
  stage->Put("out/a", "1");
  EXPECT_TRUE(Fails([&] { folder->Create({"a", "b"}); }));
  EXPECT_TRUE(Fails([&] { folder->MakeFolder({"a"}); }));
  EXPECT_TRUE(Fails([&] { folder->LookAt({"a", "b"}); }));
  EXPECT_TRUE(Fails([&] { folder->SetTraits({"a"}, {0700, 1}); }));
  EXPECT_EQ(stage->Get("out/a"), "1");
}

TEST_P(OutputFoldersContract, ChosenFolderMayBeALink) {
  stage->MakeFolder("real");
  stage->PutLink("chosen", "real");
  const std::shared_ptr<OutputFolder> chosen = stage->Folders().Open(stage->Root() + "/chosen");
  const std::unique_ptr<OutputFile> file = chosen->Create({"a"});
  ASSERT_TRUE(file->Publish("a", {}, std::nullopt));
  EXPECT_EQ(stage->Files(), Files{"real/a"});
}

TEST_P(OutputFoldersContract, AFileCannotBeOpenedAsAFolder) {
  stage->Put("file", "1");
  EXPECT_TRUE(Fails([&] { stage->Folders().Open(stage->Root() + "/file"); }));
}

TEST_P(OutputFoldersContract, MissingFoldersAreFreeUntilTheyAreMade) {
  EXPECT_EQ(folder->LookAt({"a", "b", "c"}).what, OutputName::Free);
  EXPECT_TRUE(Fails([&] { folder->SetTraits({"a"}, {0700, 1}); }));
  folder->MakeFolder({"a", "b"});
  folder->MakeFolder({"a", "b"});
  EXPECT_EQ(folder->LookAt({"a", "b"}).what, OutputName::Folder);
  EXPECT_EQ(folder->LookAt({"a", "b", "c"}).what, OutputName::Free);
  folder->SetTraits({"a", "b"}, {0755, 1'500'000'000});
  EXPECT_EQ(stage->TraitsOf("out/a/b").modified, 1'500'000'000);
}

}  // namespace pellora
