#include <gtest/gtest.h>

#include "SimPlatform.h"
#include "core/Dates.h"
#include "core/Settings.h"

namespace pellora {
namespace {

class SettingsTest : public testing::Test {
 protected:
  void Store(const std::string& key, const std::string& value) { store.values[{"Pellora", key}] = value; }
  void Load() {
    settings = {};
    LoadSettings(settings, store, sim.machine(), sim.loop());
  }
  // Loads like the start sequence; False if it failed.
  bool LoadSkippingFailure() {
    settings = {};
    return Skip([&] { LoadSettings(settings, store, sim.machine(), sim.loop()); });
  }

  SimPlatform sim;
  SimSettings& store = sim.settings();
  Settings settings;
};

TEST_F(SettingsTest, LoadsDefaultsFromAnEmptyStore) {
  const double now = SerialOf({2026, 11, 21, 9, 30, 15});
  sim.SetWallClock(now);
  Load();
  EXPECT_TRUE(settings.BrowserIngeration);
  EXPECT_TRUE(settings.CheckClipboard);
  EXPECT_FALSE(settings.SaveAs);
  EXPECT_TRUE(settings.SafeDisk);
  EXPECT_EQ(settings.DownloadFolder, "/home/u/Documents/Pellora/downloads/");
  EXPECT_EQ(settings.TempFolder, "/home/u/Documents/Pellora/temp/");
  EXPECT_EQ(settings.MaxSegments, 4);
  EXPECT_EQ(settings.MaxSimulDownlads, 3);
  EXPECT_FALSE(settings.AutoPreviewZIP);
  EXPECT_EQ(settings.ScheduleDate, now);
  EXPECT_FALSE(settings.AutoCloseInternet);
  EXPECT_FALSE(settings.Schedule);
  EXPECT_EQ(settings.ProxyServer, "");
  EXPECT_EQ(settings.ProxyPort, 80);
  EXPECT_FALSE(settings.ProxyFTP);
  EXPECT_FALSE(settings.ProxyHTTP);
  EXPECT_FALSE(settings.AutoStart);
  EXPECT_EQ(settings.Language, "english");
  EXPECT_EQ(settings.IgnoreString, "HTM,HTML,ASP,PHP,CGI");
  EXPECT_EQ(settings.ScheduleOption, 0);
}

TEST_F(SettingsTest, DefaultHourIsTheNextNoon) {
  sim.SetWallClock(46000.4);
  Load();
  EXPECT_EQ(settings.ScheduleHour, 46000.5);
  sim.SetWallClock(46000.5);
  Load();
  EXPECT_EQ(settings.ScheduleHour, 46000.5);
  sim.SetWallClock(46000.6);
  Load();
  EXPECT_EQ(settings.ScheduleHour, 46001.5);
}

TEST_F(SettingsTest, AdvancesAStoredHourToItsNextOccurrence) {
  sim.SetWallClock(46000.5);
  Store("ScheduleHour", StoredDateTime(45000.25));
  Load();
  EXPECT_EQ(settings.ScheduleHour, 46001.25);
  Store("ScheduleHour", StoredDateTime(46100.25));
  Load();
  EXPECT_EQ(settings.ScheduleHour, 46100.25);
}

TEST_F(SettingsTest, ResetsChosenFoldersToTheDefaultsAtARestart) {
  Load();
  settings.DownloadFolder = "/chosen/";
  settings.TempFolder = "/parts/";
  SaveSettings(settings, store);
  Load();
  EXPECT_EQ(settings.DownloadFolder, "/home/u/Documents/Pellora/downloads/");
  EXPECT_EQ(settings.TempFolder, "/home/u/Documents/Pellora/temp/");
  EXPECT_EQ(store.Get("Pellora", "DownloadFolder"), "/chosen/");
  EXPECT_EQ(store.Get("Pellora", "TempFolder"), "/parts/");
}

TEST_F(SettingsTest, ReadsFoldersUnderTheOlderNameAndNeverOverwritesThem) {
  store.values[{"Brenmoor", "DownloadFolder"}] = "/old/d/";
  store.values[{"Brenmoor", "TempFolder"}] = "/old/t/";
  Load();
  EXPECT_EQ(settings.DownloadFolder, "/old/d/");
  EXPECT_EQ(settings.TempFolder, "/old/t/");
  settings.DownloadFolder = "/new/";
  SaveSettings(settings, store);
  EXPECT_EQ(store.Get("Brenmoor", "DownloadFolder"), "/old/d/");
  EXPECT_EQ(store.Get("Brenmoor", "TempFolder"), "/old/t/");
  for (const auto& [application, values] : store.writes) EXPECT_EQ(application, "Pellora");
}

TEST_F(SettingsTest, DefaultsStartAtTheRootWithoutADocumentsFolder) {
  sim.machine().documentsFolder.clear();
  Load();
  EXPECT_EQ(settings.DownloadFolder, "/Pellora/downloads/");
  EXPECT_EQ(settings.TempFolder, "/Pellora/temp/");
}

TEST_F(SettingsTest, ReadsLimitsByPrefixRoundedAndUnclamped) {
  const struct {
    const char* text;
    std::int32_t value;
  } kCases[] = {{"abc", 0}, {"2.5", 2}, {"3.5", 4}, {"0", 0}, {"500", 500}, {"-5", -5}, {"8x", 8}, {"", 0}};
  for (const auto& c : kCases) {
    Store("MaxSegments", c.text);
    Store("MaxSimulDownlads", c.text);
    Load();
    EXPECT_EQ(settings.MaxSegments, c.value) << c.text;
    EXPECT_EQ(settings.MaxSimulDownlads, c.value) << c.text;
  }
}

TEST_F(SettingsTest, BadProxyPortEndsTheLoadAtThatKey) {
  for (const char* port : {"abc", "40000", "-32769", ""}) {
    Store("ProxyServer", "proxy");
    Store("ProxyPort", port);
    Store("ProxyFTP", "True");
    Store("ProxyHTTP", "True");
    Store("AutoStart", "True");
    Store("ScheduleOption", "1");
    EXPECT_FALSE(LoadSkippingFailure()) << port;
    EXPECT_EQ(settings.ProxyServer, "proxy");
    EXPECT_EQ(settings.ProxyPort, 0);
    EXPECT_FALSE(settings.ProxyFTP);
    EXPECT_FALSE(settings.ProxyHTTP);
    EXPECT_FALSE(settings.AutoStart);
    EXPECT_EQ(settings.Language, "");
    EXPECT_EQ(settings.IgnoreString, "");
    EXPECT_EQ(settings.ScheduleHour, 0);
    EXPECT_EQ(settings.ScheduleOption, 0);
  }
}

TEST_F(SettingsTest, BadBooleanLeavesAllLaterKeysAtZero) {
  Store("CheckClipboard", "maybe");
  Store("SaveAs", "True");
  EXPECT_FALSE(LoadSkippingFailure());
  EXPECT_TRUE(settings.BrowserIngeration);
  EXPECT_FALSE(settings.CheckClipboard);
  EXPECT_FALSE(settings.SaveAs);
  EXPECT_FALSE(settings.SafeDisk);
  EXPECT_EQ(settings.DownloadFolder, "");
  EXPECT_EQ(settings.TempFolder, "");
  EXPECT_EQ(settings.MaxSegments, 0);
  EXPECT_EQ(settings.Language, "");
  EXPECT_EQ(settings.ScheduleHour, 0);
}

TEST_F(SettingsTest, BadOptionLeavesTheHourUnadvanced) {
  Store("ScheduleOption", "daily");
  EXPECT_FALSE(LoadSkippingFailure());
  EXPECT_EQ(settings.ScheduleHour, 0.5);
}

TEST_F(SettingsTest, GarbledHourEndsTheLoadInsteadOfLoopingForever) {
  for (const char* text : {"1e300", "-1e20", "nan", "99999-01-01 12:00:00", "0001-01-01 12:00:00"}) {
    Store("ScheduleHour", text);
    EXPECT_FALSE(LoadSkippingFailure()) << text;
    EXPECT_EQ(settings.ScheduleHour, 0);
    EXPECT_EQ(settings.Language, "english");
  }
}

TEST_F(SettingsTest, AcceptsNumbersAsBooleans) {
  Store("CheckClipboard", "0");
  Store("SaveAs", "-1");
  Load();
  EXPECT_FALSE(settings.CheckClipboard);
  EXPECT_TRUE(settings.SaveAs);
}

TEST_F(SettingsTest, SaveWritesEveryKeyInOrderUnderTheCurrentName) {
  settings.BrowserIngeration = true;
  settings.DownloadFolder = "/d/";
  settings.TempFolder = "/t/";
  settings.MaxSegments = 8;
  settings.MaxSimulDownlads = 99;
  settings.Schedule = true;
  settings.ScheduleDate = SerialOf({2026, 11, 21, 9, 30, 15});
  settings.ProxyServer = "proxy";
  settings.ProxyPort = 8080;
  settings.Language = "deutsch";
  settings.IgnoreString = "A,B";
  settings.ScheduleHour = SerialOf({2026, 11, 22, 3, 0, 0});
  settings.ScheduleOption = 1;
  SaveSettings(settings, store);
  const SettingsStore::Values wanted = {
      {"BrowserIngeration", "True"},
      {"CheckClipboard", "False"},
      {"SaveAs", "False"},
      {"SafeDisk", "False"},
      {"DownloadFolder", "/d/"},
      {"TempFolder", "/t/"},
      {"MaxSegments", "8"},
      {"MaxSimulDownlads", "99"},
      {"AutoPreviewZIP", "False"},
      {"Schedule", "True"},
      {"ScheduleDate", "2026-11-21 09:30:15"},
      {"AutoCloseInternet", "False"},
      {"ProxyServer", "proxy"},
      {"ProxyPort", "8080"},
      {"ProxyFTP", "False"},
      {"ProxyHTTP", "False"},
      {"AutoStart", "False"},
      {"Language", "deutsch"},
      {"IgnoreString", "A,B"},
      {"ScheduleHour", "2026-11-22 03:00:00"},
      {"ScheduleOption", "1"},
  };
  ASSERT_EQ(store.writes.size(), 1U);
  EXPECT_EQ(store.writes[0].first, "Pellora");
  EXPECT_EQ(store.writes[0].second, wanted);
}

// All or nothing: the keys before the failing one are not written either.
TEST_F(SettingsTest, FailedSaveWritesNothing) {
  settings.ScheduleHour = 1e300;  // the last key but one has no stored form
  EXPECT_THROW(SaveSettings(settings, store), Failure);
  EXPECT_TRUE(store.writes.empty());
  EXPECT_TRUE(store.values.empty());
}

TEST_F(SettingsTest, EveryFlagHasItsOwnKey) {
  const std::vector<std::pair<std::string, bool Settings::*>> flags = {
      {"BrowserIngeration", &Settings::BrowserIngeration},
      {"CheckClipboard", &Settings::CheckClipboard},
      {"SaveAs", &Settings::SaveAs},
      {"SafeDisk", &Settings::SafeDisk},
      {"AutoPreviewZIP", &Settings::AutoPreviewZIP},
      {"AutoCloseInternet", &Settings::AutoCloseInternet},
      {"Schedule", &Settings::Schedule},
      {"ProxyFTP", &Settings::ProxyFTP},
      {"ProxyHTTP", &Settings::ProxyHTTP},
      {"AutoStart", &Settings::AutoStart},
  };
  for (const auto& [only, unused] : flags) {
    for (const auto& [key, flag] : flags) Store(key, key == only ? "True" : "False");
    Load();
    for (const auto& [key, flag] : flags) EXPECT_EQ(settings.*flag, key == only) << key << ", set: " << only;
    store.values.clear();
    SaveSettings(settings, store);
    for (const auto& [key, flag] : flags) EXPECT_EQ(store.Get("Pellora", key), key == only ? "True" : "False") << key;
  }
}

TEST_F(SettingsTest, LoadsWhatWasSaved) {
  sim.SetWallClock(SerialOf({2026, 11, 21, 9, 30, 15}));
  Load();
  settings.CheckClipboard = false;
  settings.SaveAs = true;
  settings.MaxSegments = 7;
  settings.ScheduleDate = SerialOf({2027, 1, 2, 3, 4, 5});
  settings.ScheduleHour = SerialOf({2026, 11, 22, 23, 59, 58});
  settings.ProxyServer = " a,b = \"c\" \xFF";
  settings.ProxyPort = 32767;
  settings.Language = "";
  settings.ScheduleOption = -1;
  SaveSettings(settings, store);
  const Settings saved = settings;
  Load();
  EXPECT_EQ(settings.CheckClipboard, saved.CheckClipboard);
  EXPECT_EQ(settings.SaveAs, saved.SaveAs);
  EXPECT_EQ(settings.MaxSegments, saved.MaxSegments);
  EXPECT_EQ(settings.ScheduleDate, saved.ScheduleDate);
  EXPECT_EQ(settings.ScheduleHour, saved.ScheduleHour);
  EXPECT_EQ(settings.ProxyServer, saved.ProxyServer);
  EXPECT_EQ(settings.ProxyPort, saved.ProxyPort);
  EXPECT_EQ(settings.Language, saved.Language);
  EXPECT_EQ(settings.ScheduleOption, saved.ScheduleOption);
}

TEST_F(SettingsTest, WebKeysHaveTheirOwnDefaultsWhereAbsentOrBad) {
  const auto load = [&] {
    settings.WebEngine = 7;
    settings.ExtraCertificates = "left";
    LoadWebSettings(settings, store);
  };
  load();
  EXPECT_EQ(settings.WebEngine, 1);
  EXPECT_EQ(settings.ExtraCertificates, "");
  for (const std::int32_t value : {0, 1, 2}) {
    Store("WebEngine", std::to_string(value));
    load();
    EXPECT_EQ(settings.WebEngine, value);
  }
  for (const char* bad : {"", "3", "-1", "02", "2x", "True"}) {
    Store("WebEngine", bad);
    load();
    EXPECT_EQ(settings.WebEngine, 1) << bad;
  }
  Store("WebEngine", "2");
  Store("ExtraCertificates", "ca.pem");
  load();
  EXPECT_EQ(settings.WebEngine, 2);
  EXPECT_EQ(settings.ExtraCertificates, "");
  Store("ExtraCertificates", "/home/u/ca.pem");
  load();
  EXPECT_EQ(settings.ExtraCertificates, "/home/u/ca.pem");
}

TEST_F(SettingsTest, NumbersAndSwitchesOfTheWebEngineAreReadOnlyAsTheyAreWritten) {
  const auto load = [&] {
    settings.SpeedLimit = 7;
    settings.SpeedLimitFrom = 7;
    settings.StayAwake = false;
    LoadWebSettings(settings, store);
  };
  load();
  EXPECT_EQ(settings.SpeedLimit, 0);
  EXPECT_EQ(settings.SpeedLimitFrom, 8);
  EXPECT_EQ(settings.SpeedLimitTo, 18);
  EXPECT_TRUE(settings.StayAwake);
  EXPECT_FALSE(settings.SpeedLimitTimed);
  EXPECT_FALSE(settings.SeekChecksums);
  Store("SpeedLimit", "10000000");
  Store("SpeedLimitFrom", "23");
  Store("StayAwake", "False");
  Store("SeekChecksums", "True");
  load();
  EXPECT_EQ(settings.SpeedLimit, 10'000'000);
  EXPECT_EQ(settings.SpeedLimitFrom, 23);
  EXPECT_FALSE(settings.StayAwake);
  EXPECT_TRUE(settings.SeekChecksums);
  for (const char* bad : {"", "-1", "10000001", "99999999999", "1x", " 1"}) {
    Store("SpeedLimit", bad);
    Store("SpeedLimitFrom", bad);
    Store("StayAwake", bad);
    load();
    EXPECT_EQ(settings.SpeedLimit, 0) << bad;
    EXPECT_EQ(settings.SpeedLimitFrom, 8) << bad;
    EXPECT_TRUE(settings.StayAwake) << bad;
  }
}

TEST_F(SettingsTest, WebKeysAreReadAfterAKeyThatEndsTheLoad) {
  Store("ProxyPort", "abc");
  Store("WebEngine", "2");
  EXPECT_FALSE(LoadSkippingFailure());
  LoadWebSettings(settings, store);
  EXPECT_EQ(settings.WebEngine, 2);
}

TEST_F(SettingsTest, SavesWebKeysOnlyIfTheyAreStoredOrChanged) {
  Load();
  LoadWebSettings(settings, store);
  SaveSettings(settings, store);
  EXPECT_EQ(store.Get("Pellora", "WebEngine"), std::nullopt);
  EXPECT_EQ(store.Get("Pellora", "ExtraCertificates"), std::nullopt);
  settings.WebEngine = 2;
  SaveSettings(settings, store);
  EXPECT_EQ(store.Get("Pellora", "WebEngine"), "2");
  EXPECT_EQ(store.Get("Pellora", "ExtraCertificates"), std::nullopt);
  settings.WebEngine = 1;
  settings.ExtraCertificates = "/home/u/ca.pem";
  SaveSettings(settings, store);
  EXPECT_EQ(store.Get("Pellora", "WebEngine"), "1");
  EXPECT_EQ(store.Get("Pellora", "ExtraCertificates"), "/home/u/ca.pem");
  settings.ExtraCertificates = "";
  SaveSettings(settings, store);
  EXPECT_EQ(store.Get("Pellora", "ExtraCertificates"), "");
}

}  // namespace
}  // namespace pellora
