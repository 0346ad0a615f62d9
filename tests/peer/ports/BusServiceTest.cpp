#include <QDBusConnectionInterface>
#include <QDBusPendingCall>
#include <QDBusPendingReply>
#include <QDateTime>
#include <chrono>
#include <future>

#include "BusFixture.h"

namespace pellora {
namespace {

class BusServiceTest : public BusFixture {};

TEST_F(BusServiceTest, RefusesARequestWithoutAUrlOrWithAnUnknownOption) {
  StartService();
  const QDBusConnection bus = Bus();
  const auto reason = [&](const QVariantMap& request) {
    QDBusMessage call = QDBusMessage::createMethodCall(kBusName, kBusPath, kDownloadsInterface, "Add");
    call << request;
    QDBusPendingCall pending = bus.asyncCall(call);
    EXPECT_TRUE(RunUntil([&] { return pending.isFinished(); }));
    return QDBusPendingReply<QVariantMap>(pending).value().value(kReasonKey).toString();
  };
  EXPECT_EQ(reason({}), "The request names no address.");
  EXPECT_EQ(reason({{kUrlKey, 7}}), "The request names no address.");
  EXPECT_EQ(reason({{kUrlKey, "http://a/1"}, {"speed", 1}}), "Pellora does not know the option \"speed\".");
  EXPECT_EQ(reason({{kUrlKey, "http://a/1"}, {kLaterKey, "yes"}}), "The option \"later\" has a value of another type.");
  EXPECT_EQ(reason({{kUrlKey, "http://a/1"}, {kLimitKey, "1"}}), "The option \"limit\" has a value of another type.");
  EXPECT_TRUE(calls.empty());
}

TEST_F(BusServiceTest, RefusesARequestAboutAnArchiveWithAKeyThatIsNotItsOwn) {
  StartService();
  const QDBusConnection bus = Bus();
  const auto reason = [&](const char* method, const QVariantMap& request) {
    QDBusMessage call = QDBusMessage::createMethodCall(kBusName, kBusPath, kDownloadsInterface, method);
    call << request;
    QDBusPendingCall pending = bus.asyncCall(call);
    EXPECT_TRUE(RunUntil([&] { return pending.isFinished(); }));
    return QDBusPendingReply<QVariantMap>(pending).value().value(kReasonKey).toString();
  };
  const QString url = "http://a/1.zip";
  EXPECT_EQ(reason("ListArchive", {}), "The request names no address.");
  EXPECT_EQ(reason("ListArchive", {{kUrlKey, url}, {kFolderKey, "/d"}}),
            "Pellora does not know the option \"folder\".");
  EXPECT_EQ(reason("GetFromArchive", {{kPatternsKey, QStringList{"a"}}}), "The request names no address.");
  EXPECT_EQ(reason("GetFromArchive", {{kUrlKey, url}, {kPatternsKey, "a"}}),
            "The option \"patterns\" has a value of another type.");
  EXPECT_EQ(reason("GetFromArchive", {{kUrlKey, url}, {kLimitKey, 1}}), "Pellora does not know the option \"limit\".");
  EXPECT_TRUE(calls.empty());
}

TEST_F(BusServiceTest, AnswersATakeOverOnceItIsDecided) {
  StartService();
  const QDBusConnection bus = Bus();
  const QVariantMap begun{{kUrlKey, "https://a/1"}, {kReferrerKey, "https://p/"}, {kCookiesKey, "k=v"},
                          {kUserAgentKey, "B/1"},   {kSizeKey, 5'000'000'000LL},  {kTypeKey, "a/b"}};
  const auto ask = [&](const QVariantMap& request) {
    QDBusMessage call = QDBusMessage::createMethodCall(kBusName, kBusPath, kDownloadsInterface, "TakeOver");
    call << request;
    return bus.asyncCall(call);
  };
  const auto answer = [&](const QDBusPendingCall& call) {
    EXPECT_TRUE(RunUntil([&] { return call.isFinished(); }));
    return QDBusPendingReply<QVariantMap>(call).value();
  };
  const QDBusPendingCall pending = ask(begun);
  ASSERT_TRUE(RunUntil([&] { return requests.size() == 1; }));
  const ScriptedAdd& wanted = requests.front();
  EXPECT_EQ(wanted.url + " " + wanted.referrer + " " + wanted.cookies + " " + wanted.userAgent,
            "https://a/1 https://p/ k=v B/1");
  EXPECT_EQ(wanted.expected, (ExpectedAnswer{5'000'000'000, "a/b"}));
  EXPECT_FALSE(pending.isFinished());
  taken({"4-7-x"}, "");
  EXPECT_EQ(answer(pending), (QVariantMap{{kIdKey, "4-7-x"}}));

  const QDBusPendingCall refused = ask(begun);
  ASSERT_TRUE(RunUntil([&] { return requests.size() == 2; }));
  taken({}, "No.");
  EXPECT_EQ(answer(refused), (QVariantMap{{kReasonKey, "No."}}));

  QVariantMap vague = begun;
  vague.remove(kSizeKey);
  EXPECT_EQ(answer(ask(vague)).value(kReasonKey), "The request does not say what the browser got.");
  QVariantMap wrong = begun;
  wrong[kSizeKey] = 7;
  EXPECT_EQ(answer(ask(wrong)).value(kReasonKey), "The option \"size\" has a value of another type.");
  wrong = begun;
  wrong[kFolderKey] = "/etc";
  EXPECT_EQ(answer(ask(wrong)).value(kReasonKey), "Pellora does not know the option \"folder\".");
  EXPECT_EQ(requests.size(), 2U);
}

TEST_F(BusServiceTest, ListsTheEntriesOfAnArchiveInFull) {
  StartService();
  archive.entries = {{"d/", 0, 0, 0, ""}, {"d/\xC3\xBC", 5'000'000'000, 4'000'000'000, 44'197.5, "encrypted"}};
  const QDBusConnection bus = Bus();
  QDBusMessage call = QDBusMessage::createMethodCall(kBusName, kBusPath, kDownloadsInterface, "ListArchive");
  call << QVariantMap{{kUrlKey, "http://a/1.zip"}, {kUserKey, "joe"}, {kPasswordKey, "pass"}};
  QDBusPendingCall pending = bus.asyncCall(call);
  ASSERT_TRUE(RunUntil([&] { return pending.isFinished(); }));
  const QVariant entries = QDBusPendingReply<QVariantMap>(pending).value().value(kEntriesKey);
  EXPECT_EQ(entries.value<QDBusArgument>().currentSignature(), "a(sxxss)");
  const auto listed = qdbus_cast<QList<ArchiveRow>>(entries);
  ASSERT_EQ(listed.size(), 2);
  EXPECT_EQ(listed[0].name + listed[0].time + listed[0].remark, "d/");
  EXPECT_EQ(listed[1].name, QString::fromUtf8("d/\xC3\xBC"));
  EXPECT_EQ(listed[1].size, 5'000'000'000);
  EXPECT_EQ(listed[1].packed, 4'000'000'000);
  EXPECT_EQ(listed[1].time, "2021-01-01 12:00:00");
  EXPECT_EQ(listed[1].remark, "encrypted");
  ASSERT_EQ(orders.size(), 1U);
  EXPECT_EQ(orders[0].url + " " + orders[0].user + " " + orders[0].password, "http://a/1.zip joe pass");
}

TEST_F(BusServiceTest, ListsTheTimeOfTheZoneWhereItIsKnown) {
  StartService();
  archive.entries = {{"a", 1, 1, 44'197.5, "", 1'700'000'000}};
  QDBusMessage call = QDBusMessage::createMethodCall(kBusName, kBusPath, kDownloadsInterface, "ListArchive");
  call << QVariantMap{{kUrlKey, "http://a/1.zip"}};
  const QDBusPendingCall pending = Bus().asyncCall(call);
  ASSERT_TRUE(RunUntil([&] { return pending.isFinished(); }));
  const QVariant entries = QDBusPendingReply<QVariantMap>(pending).value().value(kEntriesKey);
  const auto listed = qdbus_cast<QList<ArchiveRow>>(entries);
  ASSERT_EQ(listed.size(), 1);
  EXPECT_EQ(listed[0].time, QDateTime::fromSecsSinceEpoch(1'700'000'000).toString("yyyy-MM-dd HH:mm:ss"));
}

void AskForArchive(QDBusConnection& bus) {
  QDBusMessage call = QDBusMessage::createMethodCall(kBusName, kBusPath, kDownloadsInterface, "ListArchive");
  call << QVariantMap{{kUrlKey, "http://a/1.zip"}};
  bus.asyncCall(call);
}

TEST_F(BusServiceTest, SaysThatTheCallerOfAListHasGone) {
  StartService();
  std::string caller;
  {
    QDBusConnection own = QDBusConnection::connectToBus(address, "gone");
    caller = own.baseService().toStdString();
    AskForArchive(own);
    ASSERT_TRUE(RunUntil([&] { return orders.size() == 1; }));
    EXPECT_EQ(orders[0].caller, caller);
  }
  QDBusConnection::disconnectFromBus("gone");
  EXPECT_TRUE(RunUntil([&] { return calls.back() == "gone " + caller; }));
}

TEST_F(BusServiceTest, SaysThatTheCallerOfAListHadGoneBeforeItsCallArrived) {
  StartService();
  std::string caller;
  {
    QDBusConnection own = QDBusConnection::connectToBus(address, "gone");
    caller = own.baseService().toStdString();
    AskForArchive(own);
    EXPECT_TRUE(own.interface()->isServiceRegistered(kBusName).value());  // so the bus has the call as well
  }
  QDBusConnection::disconnectFromBus("gone");
  EXPECT_TRUE(RunUntil([&] { return !calls.empty() && calls.back() == "gone " + caller; }));
}

TEST_F(BusServiceTest, KnowsThatTheRunningCopyHasNoWindows) {
  headless = true;
  StartService();
  const QDBusConnection bus = Bus();
  std::future<bool> found = std::async(std::launch::async, [&] { return RunningCopyIsHeadless(bus); });
  ASSERT_TRUE(RunUntil([&] { return found.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }));
  EXPECT_TRUE(found.get());
}

TEST_F(BusServiceTest, AnswersWithTheSignaturesThatScriptsCountOn) {
  StartService();
  rows = {Row(1, "a.zip", "active", 420)};
  const QDBusConnection bus = Bus();
  for (const auto& [method, signature] :
       {std::pair{"List", "a(isssiids)"}, std::pair{"Details", "a(sisssxxdsa{sv})"}}) {
    QDBusPendingCall pending =
        bus.asyncCall(QDBusMessage::createMethodCall(kBusName, kBusPath, kDownloadsInterface, method));
    ASSERT_TRUE(RunUntil([&] { return pending.isFinished(); }));
    EXPECT_EQ(pending.reply().signature(), signature);
  }
}

TEST_F(BusServiceTest, RepliesBeforeTheProgramActs) {
  StartService();
  service->MenuURL("http://a/1", "ref", "cookie");
  service->LeechURL("http://a/2", "ref");
  EXPECT_TRUE(calls.empty());
  ASSERT_TRUE(RunUntil([&] { return calls.size() == 2; }));
  EXPECT_EQ(calls, (std::vector<std::string>{"menu http://a/1 ref cookie", "leech http://a/2 ref"}));
}

TEST_F(BusServiceTest, FirstInstanceKeepsTheBusName) {
  StartService();
  BusService second(events, {});
  EXPECT_FALSE(second.Register(Bus()));
}

TEST_F(BusServiceTest, SecondInstanceFindsTheFirstAndShowsIt) {
  EXPECT_FALSE(RunningCopyFound(Bus()));
  StartService();
  EXPECT_TRUE(RunningCopyFound(Bus()));
  // In a separate thread, since the call blocks until the service here replies.
  const QDBusConnection bus = Bus();
  std::future<bool> raised = std::async(std::launch::async, [&] { return RaiseRunningCopy(bus); });
  ASSERT_TRUE(RunUntil([&] { return raised.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }));
  EXPECT_TRUE(raised.get());
  ASSERT_TRUE(RunUntil([&] { return calls.size() == 1; }));
  EXPECT_EQ(calls, (std::vector<std::string>{"show"}));
}

TEST_F(BusServiceTest, SecondInstanceHandsItsArgumentsToTheFirst) {
  StartService();
  const QDBusConnection bus = Bus();
  std::future<bool> handed = std::async(std::launch::async, [&] {
    return OpenInRunningCopy(bus, {"http://h/a", "/home/u/b.meta4"}) && AddUrlInRunningCopy(bus);
  });
  ASSERT_TRUE(RunUntil([&] { return handed.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }));
  EXPECT_TRUE(handed.get());
  ASSERT_TRUE(RunUntil([&] { return calls.size() == 3; }));
  EXPECT_EQ(calls, (std::vector<std::string>{"open http://h/a", "open /home/u/b.meta4", "add-url"}));
}

TEST_F(BusServiceTest, TakesATokenOfADesktopButNoLongText) {
  StartService();
  const QDBusConnection bus = Bus();
  const auto tokenAfter = [&](const QVariant& token) {
    QDBusMessage call = QDBusMessage::createMethodCall(kBusName, kBusPath, kApplicationInterface, "Activate");
    call << QVariantMap{{kTokenKey, token}};
    QDBusPendingCall pending = bus.asyncCall(call);
    EXPECT_TRUE(RunUntil([&] { return pending.isFinished(); }));
    return qgetenv("XDG_ACTIVATION_TOKEN");
  };
  EXPECT_EQ(tokenAfter("abc_TIME7"), "abc_TIME7");
  EXPECT_EQ(tokenAfter(QString(200'000, 'x')), "abc_TIME7");
  EXPECT_EQ(tokenAfter(QVariantList{1}), "abc_TIME7");
  qunsetenv("XDG_ACTIVATION_TOKEN");
}

TEST_F(BusServiceTest, DoesNotRunWithoutABus) {
  BusService lonely(events, {});
  EXPECT_FALSE(lonely.Register(QDBusConnection("pellora-test-none")));
  EXPECT_FALSE(RunningCopyFound(QDBusConnection("pellora-test-none")));
  EXPECT_FALSE(RaiseRunningCopy(QDBusConnection("pellora-test-none")));
}

// Writing thousands of rows takes longer than the windows may wait.
TEST_F(BusServiceTest, MakesTheRowsOfTheListInAnotherThread) {
  StartService();
  rows = {Row(1, "a.zip", "active", 1)};
  const QDBusConnection bus = Bus();
  for (const char* const method : {"List", "Details"}) {
    rowsMadeBy = std::thread::id();
    const QDBusPendingCall pending =
        bus.asyncCall(QDBusMessage::createMethodCall(kBusName, kBusPath, kDownloadsInterface, method));
    EXPECT_TRUE(RunUntil([&] { return pending.isFinished(); })) << method;
    EXPECT_NE(rowsMadeBy.load(), std::thread::id()) << method;
    EXPECT_NE(rowsMadeBy.load(), std::this_thread::get_id()) << method;
  }
}

TEST_F(BusServiceTest, HoldsTheFirstListsFiguresAtTheirLargestValueAndGivesTheOtherMore) {
  StartService();
  rows = {Row(1, "a.zip", "active", 5'000'000'000)};
  rows[0].bytesPerSecond = 1e9;
  rows[0].reason = "Waiting.";
  const QDBusConnection bus = Bus();
  const auto call = [&](const char* method) {
    QDBusPendingCall pending =
        bus.asyncCall(QDBusMessage::createMethodCall(kBusName, kBusPath, kDownloadsInterface, method));
    EXPECT_TRUE(RunUntil([&] { return pending.isFinished(); }));
    return pending;
  };
  const QList<DownloadRow> list = QDBusPendingReply<QList<DownloadRow>>(call("List")).value();
  ASSERT_EQ(list.size(), 1);
  EXPECT_EQ(list[0].received, 2147483647);
  const QList<DetailRow> details = QDBusPendingReply<QList<DetailRow>>(call("Details")).value();
  ASSERT_EQ(details.size(), 1);
  EXPECT_EQ(details[0].row.received, 5'000'000'000);
  EXPECT_EQ(details[0].row.bytesPerSecond, 1e9);
  EXPECT_EQ(details[0].row.reason, "Waiting.");
}

}  // namespace
}  // namespace pellora
