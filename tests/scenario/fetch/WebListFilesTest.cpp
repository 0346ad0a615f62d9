// Local files of addresses where nobody can choose among them: all are added.
#include <gtest/gtest.h>

#include <string>

#include "WebApp.h"
#include "mainwin/ScriptedAdd.h"

namespace pellora {
namespace {

constexpr const char* kList = "/home/u/list.txt";
constexpr const char* kChecksum = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";

class WebListFiles : public WebApp, public testing::Test {
 protected:
  // Without windows.
  void StartHeadless() {
    app.SetHeadless();
    Start();
  }
  AddAnswer Give(const ScriptedAdd& wanted) {
    AddAnswer given;
    sim.Do([&] {
      app.Add(wanted, [&](const AddAnswer& answer) {
        given = answer;
        ++answers;
      });
    });
    sim.RunFor(2000);
    return given;
  }
  static ScriptedAdd FromList() { return {.url = kList, .later = true, .opensFile = true}; }
  void Write(int addresses) {
    std::string text;
    for (int i = 0; i < addresses; ++i) text += "https://o.example/" + std::to_string(i) + ".bin\n";
    sim.disk().Put(kList, text);
  }

  int answers = 0;
};

TEST_F(WebListFiles, AreAddedWholeWithAnIdForEach) {
  StartHeadless();
  Write(30);
  const AddAnswer answer = Give(FromList());
  EXPECT_EQ(answer.reason, "");
  ASSERT_EQ(answer.ids.size(), 30U);
  EXPECT_EQ(answer.id, answer.ids.front());
  EXPECT_EQ(app.List().size(), 30U);
  EXPECT_EQ(Record(30).URL, "https://o.example/29.bin");
}

TEST_F(WebListFiles, NameWhatIsRefusedAndAddTheRest) {
  StartHeadless();
  sim.disk().Put(kList, "https://o.example/a\nfile:/home/u/list.txt\nhttps://o.example/b\n");
  const AddAnswer answer = Give(FromList());
  EXPECT_TRUE(answer.reason.starts_with("file:/home/u/list.txt: It is no address")) << answer.reason;
  EXPECT_EQ(answer.ids.size(), 2U);
}

TEST_F(WebListFiles, AreRefusedWithWhatIsForOneFile) {
  StartHeadless();
  Write(2);
  ScriptedAdd named = FromList();
  named.name = "x";
  EXPECT_EQ(Give(named).reason, "The name is for one file, and the list has several.");
  ScriptedAdd checked = FromList();
  checked.checksum = kChecksum;
  EXPECT_EQ(Give(checked).reason, "The checksum is for one file, and the list has several.");
  EXPECT_TRUE(app.List().empty());
  Write(1);
  EXPECT_EQ(Give(named).reason, "");
  EXPECT_EQ(app.List().size(), 1U);
}

TEST_F(WebListFiles, AreAnsweredAlsoWhereTheyCannotBeRead) {
  StartHeadless();
  EXPECT_NE(Give(FromList()).reason.find(kList), std::string::npos);
  Write(0);
  EXPECT_EQ(Give(FromList()).reason, "The file has no addresses.");
  EXPECT_EQ(answers, 2);
}

TEST_F(WebListFiles, AreNoAddressesWhereTheyCouldBeChosenFrom) {
  Start();
  Write(2);
  EXPECT_NE(Give(FromList()).reason, "");
  EXPECT_TRUE(app.List().empty());
}

TEST_F(WebListFiles, AddNothingAfterTheEndOfTheProgram) {
  StartHeadless();
  Write(1000);
  sim.Do([&] { app.Add(FromList(), [](const AddAnswer&) {}); });
  ASSERT_TRUE(sim.RunUntil([&] { return !app.List().empty(); }));
  const std::size_t before = app.List().size();
  sim.Do([&] { app.SaveAndQuit(); });
  sim.RunFor(2000);
  EXPECT_LT(before, 1000U);
  EXPECT_EQ(app.List().size(), before);
}

}  // namespace
}  // namespace pellora
