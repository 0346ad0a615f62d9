// The window in which a login is given, in the whole program.
#include "SimExamine.h"
#include "WebApp.h"
#include "core/WebTexts.h"
#include "fetch/Logins.h"
#include "lang/Language.h"
#include "transferwin/AskLogin.h"

namespace pellora {
namespace {

class WebAskLogin : public testing::Test, public WebApp {
 protected:
  WebAskLogin() : origin(sim.network(), "o.example", 443) {
    for (const char* const path : {"/a.bin", "/b.bin"}) {
      origin.File(path, content);
      origin.Traits(path).login = "joe:s3cret";
    }
    sim.disk().Put("/prog/english.txt", "877=Log In...\n0=bytes\n");
  }
  void Begin(const std::string& url, int index = 1) {
    Add(url);
    ASSERT_TRUE(sim.RunUntil([&] { return WindowOf(index) && WindowOf(index)->Asks(); }));
  }
  // A click on the button in the download's window.
  void Open(int index = 1) {
    ASSERT_NE(WindowOf(index), nullptr);
    Decide(true, index);
    ASSERT_NE(Window(), nullptr);
  }
  AskLogin* Window() { return sim.windows().Only<AskLogin>(); }
  void Click(CommandButton& button) {
    sim.Do([&] { button.Click(); });
    sim.RunFor(100);
  }
  void Give(const std::string& user, const std::string& password, bool remember = false) {
    ASSERT_NE(Window(), nullptr);
    sim.Do([&] {
      Window()->Text1.SetByUser(user);
      Window()->Text2.SetByUser(password);
      Window()->Check1.SetByUser(remember);
    });
    Click(Window()->Command1);
  }

  const SimContent content = SimContent::Generated(3'000'000, 7);
  SimHttpServer origin;
};

TEST_F(WebAskLogin, IsOpenedByTheButtonAndGoneWithTheAnswer) {
  Start();
  Begin("https://o.example/a.bin");
  EXPECT_EQ(Window(), nullptr);
  Open();
  ASSERT_NE(Window(), nullptr);
  EXPECT_EQ(Window()->Label1.Caption(), "The server requires a user name and a password.");
  EXPECT_EQ(Window()->Label2.Caption(), "https://o.example");
  EXPECT_EQ(Window()->Label3.Caption(), "Area: origin");
  EXPECT_FALSE(Window()->Label6.Visible());
  EXPECT_TRUE(Window()->Check1.Enabled());
  Give("joe", "s3cret", true);
  EXPECT_EQ(Window(), nullptr);
  ASSERT_TRUE(RunUntilFinished()) << sim.Replay();
  const SecretPlace place{"https", "o.example", 443, "origin"};
  EXPECT_EQ(sim.secrets().stored[place], (std::vector<Login>{{"joe", "s3cret"}}));
}

TEST_F(WebAskLogin, TwoDownloadsOfOnePlaceShareOne) {
  Start();
  Begin("https://o.example/a.bin");
  Begin("https://o.example/b.bin", 2);
  Open(1);
  Open(2);
  Give("joe", "s3cret");
  ASSERT_TRUE(program().DownloadCount == 2 && RunUntilFinished(1) && RunUntilFinished(2)) << sim.Replay();
}

TEST_F(WebAskLogin, CancelStopsThoseThatHaveOpenedIt) {
  Start();
  Begin("https://o.example/a.bin");
  Begin("https://o.example/b.bin", 2);
  Open(1);
  Open(2);
  ASSERT_NE(Window(), nullptr);
  Click(Window()->Command2);
  EXPECT_EQ(Window(), nullptr);
  for (const int index : {1, 2}) {
    ASSERT_NE(WindowOf(index), nullptr);
    EXPECT_FALSE(WindowOf(index)->Asks());
    EXPECT_EQ(StateWord(index), "failed");
    EXPECT_EQ(Web(index).reason, "The server requires a user name and a password.");
  }
}

TEST_F(WebAskLogin, ClosingItIsACancel) {
  Start();
  Begin("https://o.example/a.bin");
  Open();
  ASSERT_NE(Window(), nullptr);
  sim.Do([&] { Window()->ViewClosed(); });
  sim.RunFor(100);
  EXPECT_EQ(Window(), nullptr);
  ASSERT_NE(WindowOf(), nullptr);
  EXPECT_FALSE(WindowOf()->Asks());
}

TEST_F(WebAskLogin, TakesAnotherLanguageWhileItIsOpen) {
  sim.disk().Put("/prog/german.txt", "879=Anmelden\n880=Benutzername:\n0=Bytes\n");
  Start();
  Begin("https://o.example/a.bin");
  Open();
  EXPECT_EQ(Window()->Label4.Caption(), "User name :");
  sim.Do([&] { LoadLanguage(program(), "german"); });
  EXPECT_EQ(Window()->Caption(), "Anmelden");
  EXPECT_EQ(Window()->Label4.Caption(), "Benutzername:");
  EXPECT_EQ(Window()->Label2.Caption(), "https://o.example");
}

TEST_F(WebAskLogin, UsersOfOnePlaceAreAskedInTheirOwnWindows) {
  origin.Traits("/b.bin").login = "ann:pw";
  Start();
  Begin("https://joe@o.example/a.bin");
  Begin("https://ann@o.example/b.bin", 2);
  Open(1);
  EXPECT_EQ(Window()->Text1.Text(), "joe");
  Decide(true, 2);
  EXPECT_EQ(sim.windows().Count("AskLogin"), 2U);
}

TEST_F(WebAskLogin, QuitClosesIt) {
  Start();
  Begin("https://o.example/a.bin");
  Open();
  sim.Do([&] { app.SaveAndQuit(); });
  EXPECT_TRUE(sim.RunUntil([&] { return sim.Ended(); }, 10'000));
}

TEST_F(WebAskLogin, StoreThatTakesNothingIsSaidOnce) {
  sim.secrets().absent = true;
  Start();
  Begin("https://o.example/a.bin");
  Open();
  Give("joe", "s3cret", true);
  ASSERT_TRUE(RunUntilFinished());
  sim.RunFor(1000);
  ASSERT_EQ(sim.dialogs().Boxes().size(), 1U);
  EXPECT_EQ(sim.dialogs().Boxes().front().text, TextOf(program(), WebText::NotRemembered));
}

}  // namespace
}  // namespace pellora
