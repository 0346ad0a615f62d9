#include <gtest/gtest.h>

#include <QByteArray>
#include <QCryptographicHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QString>

#include "Support.h"
#include "core/Version.h"
#include "desktop/BrowserManifests.h"
#include "ports/Failure.h"

namespace pellora {
namespace {

class BrowserManifestsTest : public ::testing::Test {
 protected:
  void CreateFolder(const std::string& folder) { std::filesystem::create_directories(root.Path(folder)); }
  void Set(bool present, const std::string& program = "/opt/My \"Programs\"") {
    BrowserManifests(program, root.Path("home"), root.Path("config")).SetEntry(present);
  }
  QJsonObject Manifest(const std::string& path) {
    return QJsonDocument::fromJson(QByteArray::fromStdString(Content(root.Path(path)))).object();
  }
  bool Exists(const std::string& path) { return std::filesystem::exists(root.Path(path)); }

  const Folder root;
  const std::string firefox = "home/.mozilla/native-messaging-hosts/pelloraproject.pellora.json";
  const std::string chromium = "config/chromium/NativeMessagingHosts/pelloraproject.pellora.json";
};

TEST_F(BrowserManifestsTest, NeverCreateTheBrowsersOwnFolder) {
  CreateFolder("home");
  CreateFolder("config");
  Set(true);
  Set(false);
  EXPECT_TRUE(std::filesystem::is_empty(root.Path("home")));
  EXPECT_TRUE(std::filesystem::is_empty(root.Path("config")));
}

TEST_F(BrowserManifestsTest, NameTheHostForEachInstalledBrowser) {
  CreateFolder("home/.mozilla");
  CreateFolder("config/chromium");
  CreateFolder("config/BraveSoftware/Brave-Browser");
  Set(true);
  for (const std::string& path :
       {firefox, chromium,
        std::string("config/BraveSoftware/Brave-Browser/NativeMessagingHosts/pelloraproject.pellora.json")}) {
    const QJsonObject manifest = Manifest(path);
    EXPECT_EQ(manifest["name"].toString(), "pelloraproject.pellora") << path;
    EXPECT_EQ(manifest["path"].toString(), "/opt/My \"Programs\"/pellora-browser-host") << path;
    EXPECT_EQ(manifest["type"].toString(), "stdio") << path;
  }
  EXPECT_EQ(Manifest(firefox)["allowed_extensions"].toArray(), QJsonArray{QString(kGeckoId)});
  EXPECT_EQ(Manifest(chromium)["allowed_origins"].toArray(),
            QJsonArray{QStringLiteral("chrome-extension://%1/").arg(kChromiumId)});
  EXPECT_FALSE(Exists("config/google-chrome"));
}

TEST_F(BrowserManifestsTest, CreateTheHostFolderOfAFirefoxWithItsProfilesElsewhere) {
  CreateFolder("home");
  CreateFolder("config/mozilla/firefox");
  Set(true);
  EXPECT_EQ(Manifest(firefox)["allowed_extensions"].toArray(), QJsonArray{QString(kGeckoId)});
  std::filesystem::remove_all(root.Path("home/.mozilla"));
  Set(false);
  EXPECT_TRUE(std::filesystem::is_empty(root.Path("home")));
}

TEST_F(BrowserManifestsTest, FollowAMovedProgram) {
  CreateFolder("config/chromium");
  Set(true, "/one");
  Set(true, "/two");
  EXPECT_EQ(Manifest(chromium)["path"].toString(), "/two/pellora-browser-host");
}

TEST_F(BrowserManifestsTest, AreRemovedWithoutTouchingOthers) {
  CreateFolder("home/.mozilla");
  CreateFolder("config/chromium");
  Set(true);
  Put(root.Path("config/chromium/NativeMessagingHosts/other.json"), "{}");
  Set(false);
  EXPECT_FALSE(Exists(firefox));
  EXPECT_FALSE(Exists(chromium));
  EXPECT_TRUE(Exists("config/chromium/NativeMessagingHosts/other.json"));
  EXPECT_NO_THROW(Set(false));
}

TEST_F(BrowserManifestsTest, AreWrittenForOtherBrowsersIfOneFails) {
  CreateFolder("home/.mozilla");
  CreateFolder("config/chromium");
  Put(root.Path("home/.mozilla/native-messaging-hosts"), "a file where a folder should be");
  EXPECT_THROW(Set(true), Failure);
  EXPECT_TRUE(Exists(chromium));
}

QJsonObject ManifestOfTheExtension() {
  return QJsonDocument::fromJson(QByteArray::fromStdString(Content(PELLORA_EXTENSION "/manifest.json"))).object();
}

TEST(Extension, HasTheVersionOfTheProgram) { EXPECT_EQ(ManifestOfTheExtension()["version"].toString(), kVersionText); }

TEST_F(BrowserManifestsTest, NameTheExtensionByTheIdOfItsKey) {
  const QJsonObject manifest = ManifestOfTheExtension();
  ASSERT_FALSE(manifest.isEmpty());
  const QByteArray key = QByteArray::fromBase64(manifest["key"].toString().toLatin1());
  QByteArray id = QCryptographicHash::hash(key, QCryptographicHash::Sha256).toHex().left(32);
  for (char& c : id) c = static_cast<char>(c <= '9' ? 'a' + (c - '0') : 'k' + (c - 'a'));
  EXPECT_EQ(id, kChromiumId);
  EXPECT_EQ(manifest["browser_specific_settings"].toObject()["gecko"].toObject()["id"].toString(), kGeckoId);
  EXPECT_NE(Content(PELLORA_EXTENSION "/host.js").find(std::string("\"") + kHostName + "\""), std::string::npos);
}

class InstalledManifests : public BrowserManifestsTest {
 protected:
  void SetInstalled(bool present) {
    BrowserManifests("/usr/lib/pellora", root.Path("home"), root.Path("config"), false).SetEntry(present);
  }
};

TEST_F(InstalledManifests, AreNotWrittenAndThoseOfOtherCopiesAreRemoved) {
  CreateFolder("home/.mozilla");
  CreateFolder("config/chromium");
  CreateFolder("config/mozilla");
  for (const bool present : {true, false}) {
    Set(true);
    EXPECT_TRUE(Exists(firefox));
    SetInstalled(present);
    EXPECT_FALSE(Exists(firefox));
    EXPECT_FALSE(Exists(chromium));
  }
}

TEST_F(InstalledManifests, LeaveAUsersOwnEntryAlone) {
  CreateFolder("config/chromium/NativeMessagingHosts");
  const std::string own = R"({"name": "pelloraproject.pellora", "path": "/home/u/wrapper"})";
  Put(root.Path(chromium), own);
  SetInstalled(true);
  EXPECT_EQ(Content(root.Path(chromium)), own);
}

}  // namespace
}  // namespace pellora
