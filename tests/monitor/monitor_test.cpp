// The folder monitor on a real store folder: files dropped in while it runs
// on its event loop (the file watch, or the timer), what it prints, what it
// records, and what a failed print leaves for the next check.
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QTemporaryDir>
#include <QThread>
#include <QTimer>

#include <functional>

#include "lang/LanguageTable.h"
#include "monitor/Monitor.h"
#include "monitor/clsDeleted.h"
#include "store/FileStore.h"
#include "support/ScriptedPort.h"
#include "support/TestEnv.h"
#include "util/Ini.h"
#include "util/Folders.h"

using namespace ordolo;
using monitor::Monitor;

namespace {

const QString kInbox = QStringLiteral(ORDOLO_SOURCE_DIR "/examples/store/Inbox/cur");

// Sets a file's modification time (the file must be open for that).
void Touch(const QString& path, const QDateTime& when) {
  QFile f(path);
  ASSERT_TRUE(f.open(QIODevice::ReadOnly)) << path.toStdString();
  ASSERT_TRUE(f.setFileTime(when, QFileDevice::FileModificationTime)) << path.toStdString();
}

// Runs the event loop until `done` holds or `ms` have passed.
bool WaitFor(const std::function<bool()>& done, int ms = 8000) {
  QEventLoop loop;
  QTimer poll, limit;
  QObject::connect(&poll, &QTimer::timeout, [&] {
    if (done()) loop.quit();
  });
  QObject::connect(&limit, &QTimer::timeout, &loop, &QEventLoop::quit);
  poll.start(20);
  limit.start(ms);
  if (!done()) loop.exec();
  return done();
}

class Monitoring : public ::testing::Test {
 protected:
  void SetUp() override {
    lang::table().LoadLanguageTable(QStringLiteral(ORDOLO_SOURCE_SHARE "/language/English.txt"));
    for (const char* sub : {"Inbox/cur", "Inbox/new", "Inbox/tmp", "Calendar"}) QDir().mkpath(root.filePath(sub));
    const QStringList mails = QDir(kInbox).entryList(QDir::Files, QDir::Name);
    ASSERT_GE(mails.size(), 6);
    for (int i = 0; i < 3; ++i) QFile::copy(kInbox + "/" + mails[i], root.filePath("Inbox/cur/" + mails[i]));
    spare = mails.mid(3);
    store = store::FileStore::open(root.path());
    ASSERT_TRUE(store);
  }

  std::unique_ptr<Monitor> monitorOf(const QString& path) {
    auto m = std::make_unique<Monitor>(port, store->folderByPath(path), root.filePath(path));
    m->print = [this](const std::vector<model::ItemPtr>& items) {
      QStringList subjects;
      for (const auto& item : items) subjects << item->text("Subject");
      printed << subjects;
      return printWorks ? int(items.size()) : 0;
    };
    return m;
  }

  // A mail delivered as a mail program does: written in tmp/, moved to new/.
  void deliver(const QString& name) {
    const QString tmp = root.filePath("Inbox/tmp/" + name);
    ASSERT_TRUE(QFile::copy(kInbox + "/" + name, tmp));
    Touch(tmp, QDateTime::currentDateTime());
    ASSERT_TRUE(QFile::rename(tmp, root.filePath("Inbox/new/" + name)));
  }

  QTemporaryDir home, root;
  test::ScopedEnv env{"ORDOLO_HOME", home.path().toUtf8()};
  test::ScriptedPort port;
  std::shared_ptr<store::FileStore> store;
  QStringList spare;  // sample mails not in the folder yet
  QList<QStringList> printed;
  bool printWorks = true;
};

TEST_F(Monitoring, ANewMailIsPrintedOnceWhenItLandsAndAFailedPrintIsTriedAgain) {
  auto monitor = monitorOf("Inbox");
  QList<Monitor::State> states;
  monitor->stateChanged = [&](Monitor::State s) { states << s; };
  ASSERT_TRUE(monitor->start({}));
  EXPECT_EQ(monitor->handled(), 3);  // the mails already there, recorded
  EXPECT_EQ(states, (QList<Monitor::State>{Monitor::State::Building, Monitor::State::Idle}));
  EXPECT_TRUE(printed.isEmpty());
  EXPECT_EQ(util::ReadIni("Monitor", "PrintMin", "", util::UserConfigFile()), "0");

  deliver(spare[0]);
  ASSERT_TRUE(WaitFor([&] { return printed.size() == 1; })) << printed.size();
  EXPECT_EQ(printed[0].size(), 1);
  EXPECT_EQ(monitor->handled(), 4);
  EXPECT_TRUE(states.contains(Monitor::State::Busy));
  EXPECT_EQ(monitor->state(), Monitor::State::Idle);

  // The printer refuses: nothing is recorded, and the next change tries again.
  printWorks = false;
  deliver(spare[1]);
  ASSERT_TRUE(WaitFor([&] { return printed.size() == 2; }));
  EXPECT_EQ(monitor->handled(), 4);
  printWorks = true;
  deliver(spare[2]);
  ASSERT_TRUE(WaitFor([&] { return printed.size() == 3; }));
  EXPECT_EQ(printed[2].size(), 2);  // the refused one again, and the new one
  EXPECT_EQ(monitor->handled(), 6);

  // Nothing new: a check prints nothing.
  monitor->check();
  EXPECT_EQ(printed.size(), 3);
  monitor->stop();
  EXPECT_EQ(monitor->state(), Monitor::State::Stopped);
}

TEST_F(Monitoring, OnTheTimerEveryFifthTickChecksAndPrintAllComparesEveryItem) {
  auto monitor = monitorOf("Inbox");
  monitor::MonitorOptions options;
  options.printMin = true;
  options.printAll = true;
  options.tickMs = 1000000;  // the test ticks by hand
  ASSERT_TRUE(monitor->start(options));
  EXPECT_EQ(monitor->handled(), 3);
  // An old mail (far outside the last day), copied in with its old time.
  const QString old = root.filePath("Inbox/cur/" + spare[0]);
  ASSERT_TRUE(QFile::copy(kInbox + "/" + spare[0], old));
  Touch(old, QDateTime::currentDateTime().addDays(-30));
  for (int tick = 1; tick <= 4; ++tick) {
    monitor->check(true);
    EXPECT_TRUE(printed.isEmpty()) << tick;
  }
  monitor->check(true);
  ASSERT_EQ(printed.size(), 1);
  EXPECT_EQ(printed[0].size(), 1);
}

TEST_F(Monitoring, WithoutPrintAllOnlyItemsChangedSinceTheLastCheckAreLookedAt) {
  // A mail from long ago is not recorded at start...
  const QString name = spare[0];
  const QString path = root.filePath("Inbox/cur/" + name);
  ASSERT_TRUE(QFile::copy(kInbox + "/" + name, path));
  Touch(path, QDateTime::currentDateTime().addDays(-30));
  for (const QString& f : QDir(root.filePath("Inbox/cur")).entryList(QDir::Files))
    if (f != name) Touch(root.filePath("Inbox/cur/" + f), QDateTime::currentDateTime().addDays(-30));
  auto monitor = monitorOf("Inbox");
  ASSERT_TRUE(monitor->start({}));
  // (the sample mails were received long ago too: none is recorded)
  EXPECT_EQ(monitor->handled(), 0);
  monitor->check();
  EXPECT_TRUE(printed.isEmpty());
  // ...and printed once it changes.
  Touch(path, QDateTime::currentDateTime());
  monitor->check();
  ASSERT_EQ(printed.size(), 1);
  EXPECT_EQ(printed[0].size(), 1);
}

TEST_F(Monitoring, AWatchedFolderThatGoesAwayIsNamedAndTheMonitorStops) {
  auto monitor = monitorOf("Inbox");
  ASSERT_TRUE(monitor->start({}));
  ASSERT_TRUE(QDir(root.filePath("Inbox")).removeRecursively());
  ASSERT_TRUE(WaitFor([&] { return monitor->state() == Monitor::State::Stopped; }));
  EXPECT_EQ(port.messages,
            QStringList{"The watched folder " + root.filePath("Inbox") + " is gone; the monitor stops."});
  EXPECT_TRUE(printed.isEmpty());
  // Stopped, it can be started again once the folder is back.
  QDir().mkpath(root.filePath("Inbox/cur"));
  EXPECT_TRUE(monitor->start({}));
}

TEST_F(Monitoring, AStoreThatCannotBeOpenedStopsTheStartWithAMessage) {
  auto monitor = monitorOf("Inbox");
  const QString file = monitor::clsDeleted::FileFor(store->folderByPath("Inbox")->EntryID());
  // A folder where the file should be: not even SQLite can open that.
  QDir().mkpath(file);
  EXPECT_FALSE(monitor->start({}));
  EXPECT_EQ(monitor->state(), Monitor::State::Stopped);
  ASSERT_EQ(port.messages.size(), 1);
  EXPECT_TRUE(port.messages[0].startsWith("SQLite cannot open")) << port.messages[0].toStdString();
}

// A calendar folder: an event file that arrives is printed once it is
// whole (one written in two goes is read again, not skipped); one whose
// LAST-MODIFIED is older than the last check is left to PrintAll.
TEST_F(Monitoring, ACalendarFileIsPrintedWhenWholeAndOldChangeTimesWaitForPrintAll) {
  auto event = [](const QString& uid, const QString& summary, const QDateTime& modified) {
    const QString stamp = modified.toUTC().toString("yyyyMMddTHHmmssZ");
    return QStringLiteral("BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//test//EN\r\nBEGIN:VEVENT\r\nUID:%1\r\n"
                          "DTSTAMP:%3\r\nLAST-MODIFIED:%3\r\nDTSTART:20261201T090000Z\r\n"
                          "DTEND:20261201T100000Z\r\nSUMMARY:%2\r\nEND:VEVENT\r\nEND:VCALENDAR\r\n")
        .arg(uid, summary, stamp)
        .toUtf8();
  };
  auto monitor = monitorOf("Calendar");
  ASSERT_TRUE(monitor->start({}));
  const QByteArray whole = event("fresh@test", "Fresh review", QDateTime::currentDateTime());
  const int cut = whole.indexOf("SUMMARY");
  QFile half(root.filePath("Calendar/fresh.ics"));
  ASSERT_TRUE(half.open(QIODevice::WriteOnly));
  half.write(whole.left(cut));
  half.flush();
  QThread::msleep(1200);  // the watch has seen the half file by now
  half.write(whole.mid(cut));
  half.close();
  ASSERT_TRUE(WaitFor([&] { return !printed.isEmpty(); }));
  QThread::msleep(800);
  EXPECT_EQ(printed, QList<QStringList>{{"Fresh review"}});

  const QDateTime longAgo = QDateTime::currentDateTime().addDays(-20);
  QFile old(root.filePath("Calendar/old.ics"));
  ASSERT_TRUE(old.open(QIODevice::WriteOnly));
  old.write(event("old@test", "Synced late", longAgo));
  old.close();
  monitor->check();
  EXPECT_EQ(printed.size(), 1);
  monitor->stop();
  monitor::MonitorOptions all;
  all.printAll = true;
  all.printMin = true;
  all.tickMs = 1000000;
  ASSERT_TRUE(monitor->start(all));
  EXPECT_EQ(printed.size(), 1);  // at start, everything there is taken as seen
  QFile late(root.filePath("Calendar/late.ics"));
  ASSERT_TRUE(late.open(QIODevice::WriteOnly));
  late.write(event("late@test", "Synced later", longAgo));
  late.close();
  monitor->check();
  ASSERT_EQ(printed.size(), 2);
  EXPECT_EQ(printed[1], QStringList{"Synced later"});
}

// The record of printed items breaks while watching (here: its files
// overwritten, the shared index too, so that SQLite reads them again): the monitor says so and stops, and prints
// nothing that it could not record.
TEST_F(Monitoring, ARecordThatBreaksWhileWatchingStopsTheMonitorBeforeItPrints) {
  auto monitor = monitorOf("Inbox");
  ASSERT_TRUE(monitor->start({}));
  const QString file = monitor::clsDeleted::FileFor(store->folderByPath("Inbox")->EntryID());
  for (const QString& part : {file, file + "-wal", file + "-shm"}) {
    QFile f(part);
    ASSERT_TRUE(f.open(QIODevice::ReadWrite)) << part.toStdString();
    const qint64 size = f.size();
    f.write(QByteArray(int(std::max<qint64>(size, 4096)), '\x5a'));
  }
  deliver(spare[0]);
  ASSERT_TRUE(WaitFor([&] { return monitor->state() == Monitor::State::Stopped; }));
  EXPECT_TRUE(printed.isEmpty());
  ASSERT_EQ(port.messages.size(), 1);
  EXPECT_TRUE(port.messages[0].startsWith("SQLite cannot write " + file + ": ")) << port.messages[0].toStdString();
  EXPECT_TRUE(port.messages[0].endsWith("Monitor can not run - ask for support...")) << port.messages[0].toStdString();
}

}  // namespace

int main(int argc, char** argv) {
  QCoreApplication app(argc, argv);
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
