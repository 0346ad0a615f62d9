// The options' page of the web engine.
#include <string>
#include <vector>

#include "OptionsFixture.h"
#include "SimSchemes.h"
#include "core/WebTexts.h"
#include "lang/Language.h"

namespace pellora {
namespace {

class WebOptions : public OptionsFixture {
 protected:
  WebOptions() {
    sim.platform().fetcher = &fetcher;
    sim.disk().Put("/c/ca.pem", SimContent(std::string("# mine\n-----BEGIN CERTIFICATE-----\n")));
    sim.disk().Put("/c/ca.der", SimContent(std::string("\x30\x82")));
  }
  ~WebOptions() override { sim.platform().fetcher = nullptr; }

  void Press(OptionButton& button) {
    Do([&] { button.SetByUser(true); });
  }
  std::string Pressed() {
    std::string pressed;
    for (const OptionButton* button : {&Dialog().Option3, &Dialog().Option4, &Dialog().Option5}) {
      pressed += button->Value() ? '1' : '0';
    }
    return pressed;
  }
  std::string BadCertificates() { return TextOf(program(), WebText::BadCertificates); }

  SimSchemes fetcher;
};

TEST_F(WebOptions, AreTheFifthPage) {
  Open();
  ASSERT_EQ(Dialog().TabStrip1.Tabs().size(), 5U);
  EXPECT_EQ(Dialog().TabStrip1.Tabs()[4].caption, "Transfers");
  Do([&] { Dialog().TabStrip1.SelectByUser(4); });
  EXPECT_TRUE(Dialog().Frame6.Visible());
  EXPECT_FALSE(Dialog().Frame5.Visible());
  Do([&] { Dialog().TabStrip1.SelectByUser(0); });
  EXPECT_FALSE(Dialog().Frame6.Visible());
}

TEST_F(WebOptions, ShowTheStoredChoice) {
  for (const auto& [stored, pressed] : {std::pair("0", "001"), std::pair("1", "100"), std::pair("2", "010")}) {
    Set().WebEngine = std::stoi(stored);
    Show();
    EXPECT_EQ(Pressed(), pressed) << stored;
  }
}

TEST_F(WebOptions, HaveOneChoiceAtATime) {
  Open();
  EXPECT_EQ(Pressed(), "100");
  Press(Dialog().Option5);
  EXPECT_EQ(Pressed(), "001");
  Press(Dialog().Option4);
  EXPECT_EQ(Pressed(), "010");
}

TEST_F(WebOptions, StoreOnlyWhatWasChanged) {
  Open();
  Accepts();
  EXPECT_EQ(Stored("WebEngine"), std::nullopt);
  EXPECT_EQ(Stored("ExtraCertificates"), std::nullopt);
  Show();
  Press(Dialog().Option4);
  Accepts();
  EXPECT_EQ(Set().WebEngine, kWebEngineAll);
  EXPECT_EQ(Stored("WebEngine"), "2");
  EXPECT_EQ(Stored("ExtraCertificates"), std::nullopt);
  Show();
  Press(Dialog().Option3);
  Type(Dialog().Text11, "/c/ca.pem");
  Accepts();
  EXPECT_EQ(Stored("WebEngine"), "1");
  EXPECT_EQ(Stored("ExtraCertificates"), "/c/ca.pem");
}

TEST_F(WebOptions, ChangeNothingAtCancel) {
  Open();
  Press(Dialog().Option5);
  Type(Dialog().Text11, "/c/ca.pem");
  Do([&] { Dialog().Command1.Click(); });
  EXPECT_EQ(Set().WebEngine, kWebEngineNewSchemes);
  EXPECT_EQ(Set().ExtraCertificates, "");
}

TEST_F(WebOptions, LookForChecksumsOnlyIfChosen) {
  Open();
  EXPECT_FALSE(Dialog().Check12.Value());
  Accepts();
  EXPECT_EQ(Stored("SeekChecksums"), std::nullopt);
  Show();
  Tick(Dialog().Check12, true);
  Accepts();
  EXPECT_TRUE(Set().SeekChecksums);
  EXPECT_EQ(Stored("SeekChecksums"), "True");
  Show();
  EXPECT_TRUE(Dialog().Check12.Value());
}

TEST_F(WebOptions, RefuseCertificatesThatCannotBeReadOrAreNone) {
  Open();
  for (const char* path : {"/c/missing.pem", "ca.pem", "/c/ca.der", "/c"}) {
    Type(Dialog().Text11, path);
    Refuses(BadCertificates(), kInformation);
  }
}

TEST_F(WebOptions, CheckCertificatesLast) {
  Open();
  Type(Dialog().Text11, "/c/missing.pem");
  Type(Dialog().Text4, "100");
  Refuses(Text(799), kWarning);
  Type(Dialog().Text4, "3");
  Refuses(BadCertificates(), kInformation);
}

TEST_F(WebOptions, AcceptUnchangedCertificatesThatAreGone) {
  sim.settings().values[{"Pellora", "ExtraCertificates"}] = "/c/gone.pem";
  Open();
  EXPECT_EQ(Dialog().Text11.Text(), "/c/gone.pem");
  Accepts();
  EXPECT_EQ(Stored("ExtraCertificates"), "/c/gone.pem");
  Show();
  Type(Dialog().Text11, "");
  Accepts();
  EXPECT_EQ(Stored("ExtraCertificates"), "");
}

TEST_F(WebOptions, AreInTheChosenLanguageAndInEnglishWhereItsFileLacksThem) {
  std::string old = LanguageFile("german.txt");
  for (std::size_t at = old.find("\n8"); at != std::string::npos; at = old.find("\n8")) {
    old.erase(at + 1, old.find('\n', at + 1) - at);
  }
  sim.disk().Put("/prog/older.txt", SimContent(old));
  sim.settings().values[{"Pellora", "Language"}] = "german";
  Open();
  EXPECT_EQ(Dialog().Option4.Caption(), "Alle Downloads");
  EXPECT_EQ(Dialog().TabStrip1.Tabs()[4].caption, "Übertragungen");
  Do([&] { LoadLanguage(program(), "older"); });
  EXPECT_EQ(Dialog().OK.Caption(), "OK");
  EXPECT_EQ(Dialog().Label1.Caption(), Text(609));
  EXPECT_EQ(Dialog().Option4.Caption(), "All downloads");
  EXPECT_EQ(Dialog().TabStrip1.Tabs()[4].caption, "Transfers");
}

TEST_F(WebOptions, KeepTheTextsOfTheLastLanguageIfAFileCannotBeRead) {
  sim.settings().values[{"Pellora", "Language"}] = "german";
  Open();
  Do([&] { LoadLanguage(program(), "missing"); });
  EXPECT_EQ(Text(803), "Alle Downloads");
}

}  // namespace
}  // namespace pellora
