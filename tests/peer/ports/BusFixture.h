// BusFixture: a session bus of the test's own, the program's service on it, and pelloractl run on it.
#pragma once

#include <gtest/gtest.h>

#include <QDBusConnection>
#include <QProcess>
#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "Support.h"
#include "async/EventGate.h"
#include "desktop/BusService.h"
#include "desktop/QtEventLoop.h"

namespace pellora {

// A separate session bus, and the service on it with a list that the test sets.
class BusFixture : public testing::Test {
 protected:
  void SetUp() override {
    // The bus knows no services to start, whatever is registered on this machine.
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const char* const name : {"XDG_DATA_HOME", "XDG_DATA_DIRS", "XDG_RUNTIME_DIR"}) {
      environment.insert(name, QString::fromStdString(data.Path()));
    }
    daemon.setProcessEnvironment(environment);
    daemon.start("dbus-daemon", {"--session", "--nofork", "--print-address"});
    ASSERT_TRUE(daemon.waitForStarted());
    ASSERT_TRUE(daemon.waitForReadyRead());
    address = QString::fromLatin1(daemon.readLine()).trimmed();
  }
  void TearDown() override {
    for (const QString& name : names) QDBusConnection::disconnectFromBus(name);
    daemon.terminate();
    daemon.waitForFinished();
  }

  QDBusConnection Bus() {
    names << "pellora-test-" + QString::number(++made);
    return QDBusConnection::connectToBus(address, names.last());
  }

  void StartService() {
    BusActions door;
    door.menuUrl = [this](const std::string& url, const std::string& ref, const std::string& cookie) {
      calls.push_back("menu " + url + " " + ref + " " + cookie);
    };
    door.leechUrl = [this](const std::string& url, const std::string& ref) {
      calls.push_back("leech " + url + " " + ref);
    };
    door.show = [this] { calls.push_back("show"); };
    door.resumeAll = [this] { calls.push_back("resume"); };
    door.addUrl = [this] { calls.push_back("add-url"); };
    door.open = [this](const std::vector<std::string>& addresses) {
      for (const std::string& each : addresses) calls.push_back("open " + each);
    };
    door.list = [this] {
      return [this, listed = rows] {
        rowsMadeBy = std::this_thread::get_id();
        return listed;
      };
    };
    door.add = [this](const ScriptedAdd& wanted, const BusActions::Added& added) {
      calls.push_back("add " + wanted.url);
      requests.push_back(wanted);
      if (!ids.empty()) {
        added(ids, "");
      } else if (wanted.url.starts_with("https")) {
        added({}, "Not this one.");
      } else {
        added({std::to_string(calls.size()) + "-7-x"}, "");
      }
    };
    door.takeOver = [this](const ScriptedAdd& wanted, const BusActions::Added& added) {
      calls.push_back("take over " + wanted.url);
      requests.push_back(wanted);
      taken = added;
    };
    door.listArchive = [this](const ArchiveOrder& order, const BusActions::Listed& listed) {
      calls.push_back("list archive " + order.url);
      orders.push_back(order);
      listed(archive);
    };
    door.callerGone = [this](const std::string& caller) { calls.push_back("gone " + caller); };
    door.getFromArchive = [this](const ArchiveOrder& order, const BusActions::Added& added) {
      calls.push_back("get " + order.url);
      orders.push_back(order);
      if (archive.reason.empty()) return added({"5-7-x"}, "");
      added({}, archive.reason);
    };
    door.pause = [this](const std::string& id) { return Change("pause", id); };
    door.pauseAll = [this] { return Change("pause", "all"); };
    door.resume = [this](const std::string& id) { return Change("resume", id); };
    door.release = [this](const std::string& id) { return Change("release", id); };
    door.remove = [this](const std::string& id) { return Change("remove", id); };
    door.showWindow = [this](const std::string& id) { return Change("show", id); };
    door.setLimit = [this](const std::string& id, std::int32_t limit) {
      if (id.empty()) total = limit;
      return Change("limit " + std::to_string(limit), id);
    };
    door.limit = [this] { return total; };
    door.headless = [this] { return headless; };
    door.quit = [this] {
      calls.push_back("quit");
      QDBusConnection(names.first()).unregisterService(kBusName);
    };
    service = std::make_unique<BusService>(events, door);
    ASSERT_TRUE(service->Register(Bus()));
  }
  std::string Change(const std::string& what, const std::string& id) {
    calls.push_back(what + " " + id);
    return id.starts_with("2-") ? "It is not running." : "";
  }

  struct Result {
    int code = -1;
    QString out;
    QString err;
  };
  // Runs pelloractl on the test's bus; `meanwhile` runs once it is up.
  Result Control(const QStringList& arguments, const std::function<void()>& meanwhile = {},
                 const QByteArray& input = {}) {
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("DBUS_SESSION_BUS_ADDRESS", address);
    process.setProcessEnvironment(environment);
    process.setWorkingDirectory(QString::fromStdString(data.Path()));
    process.start(PELLORACTL, arguments);
    process.write(input);
    process.closeWriteChannel();
    if (meanwhile) {
      RunFor(700);
      meanwhile();
    }
    EXPECT_TRUE(RunUntil([&] { return process.state() == QProcess::NotRunning; }, 8000));
    process.kill();
    process.waitForFinished();
    return {process.exitCode(), QString::fromUtf8(process.readAllStandardOutput()),
            QString::fromUtf8(process.readAllStandardError())};
  }

  static DownloadRow Row(int index, const QString& name, const QString& state, qint64 received) {
    return {index,
            name,
            "http://host/" + name,
            state,
            received,
            1000,
            static_cast<double>(received) / 10.0,
            state == "finished" ? "/d/" + name : "",
            QString::number(index) + "-7-x",
            {}};
  }

  EventGate gate;
  QtEventLoop events{gate};
  const Folder data;
  QProcess daemon;
  QString address;
  QStringList names;
  int made = 0;
  std::unique_ptr<BusService> service;
  QList<DownloadRow> rows;
  std::atomic<std::thread::id> rowsMadeBy;
  std::vector<std::string> calls;
  std::vector<ScriptedAdd> requests;
  BusActions::Added taken;  // answers the last take-over
  std::vector<ArchiveOrder> orders;
  ListedArchive archive;         // of every address
  std::vector<std::string> ids;  // of each add; empty: one that follows from the calls
  std::int32_t total = 0;        // limit
  bool headless = false;
};

}  // namespace pellora
