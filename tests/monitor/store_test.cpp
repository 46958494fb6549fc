// The printed-item store on a real SQLite file: what it keeps across
// instances, what a check's transaction does, and what it says about a file
// that is not a database.
#include <gtest/gtest.h>

#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QThread>

#include "lang/LanguageTable.h"
#include "lang/Messages.h"
#include "monitor/clsDeleted.h"
#include "support/ScriptedPort.h"
#include "support/TestEnv.h"
#include "util/Folders.h"

using namespace ordolo;
using monitor::clsDeleted;

namespace {

class PrintedItems : public ::testing::Test {
 protected:
  void SetUp() override {
    lang::table().LoadLanguageTable(QStringLiteral(ORDOLO_SOURCE_SHARE "/language/English.txt"));
  }
  // The UIDs a later instance's walk finds, deleting those named.
  QStringList walk(const QString& name, const QStringList& drop = {}) {
    clsDeleted later(&port);
    EXPECT_TRUE(later.Init(name));
    later.setTimeStamp(QStringLiteral("29991231235959"));
    QStringList seen;
    for (later.GetFirst(); !later.Eof(); later.MoveNext()) {
      seen << later.getUID();
      if (drop.contains(later.getUID())) later.DelUID();
    }
    later.CloseIt();
    return seen;
  }

  QTemporaryDir home;
  test::ScopedEnv env{"ORDOLO_HOME", home.path().toUtf8()};
  test::ScriptedPort port;
};

TEST_F(PrintedItems, KeepsEachUidOnceAcrossInstancesWhateverItHolds) {
  const QString odd = QStringLiteral("it's \"quoted\"; DROP TABLE Store; --");
  {
    clsDeleted store(&port);
    ASSERT_TRUE(store.Init("Inbox"));
    EXPECT_EQ(store.getTimeStamp().size(), 14);
    EXPECT_TRUE(store.Add("A1"));
    EXPECT_TRUE(store.Add("A1"));
    EXPECT_TRUE(store.Add(odd));
    EXPECT_TRUE(store.Add(""));  // nothing to add
    EXPECT_TRUE(store.Find(odd));
    EXPECT_TRUE(store.Add("B2"));
    EXPECT_TRUE(store.Del("B2"));
    EXPECT_FALSE(store.Find("B2"));
    // This instance's own records are not in its walk.
    store.GetFirst();
    EXPECT_TRUE(store.Eof());
  }
  // A second start on the same file keeps what the first recorded.
  EXPECT_EQ(walk("Inbox", {"A1"}), (QStringList{"A1", odd}));
  EXPECT_EQ(walk("Inbox"), QStringList{odd});
  // Another folder has a file of its own.
  EXPECT_TRUE(walk("Calendar").isEmpty());
  EXPECT_TRUE(QFileInfo::exists(clsDeleted::FileFor("Inbox")));
}

TEST_F(PrintedItems, ACheckLandsWholeOrNotAtAll) {
  clsDeleted store(&port);
  ASSERT_TRUE(store.Init("Orders"));
  ASSERT_TRUE(store.begin());
  store.Add("kept");
  ASSERT_TRUE(store.commit());
  ASSERT_TRUE(store.begin());
  store.Add("dropped");
  EXPECT_TRUE(store.Find("dropped"));
  store.rollback();
  EXPECT_FALSE(store.Find("dropped"));
  EXPECT_EQ(walk("Orders"), QStringList{"kept"});

  // A second writer waits for the first one's check instead of failing.
  clsDeleted other(&port);
  ASSERT_TRUE(other.Init("Orders"));
  ASSERT_TRUE(store.begin());
  store.Add("first");
  QThread* finisher = QThread::create([&] {
    QThread::msleep(200);
    store.commit();
  });
  finisher->start();
  EXPECT_TRUE(other.begin());
  EXPECT_TRUE(other.Find("first"));
  other.commit();
  finisher->wait();
  delete finisher;
}

TEST_F(PrintedItems, LongNamesAreHashedAndABrokenFileIsNamedWithItsReason) {
  const QString longName = QString(300, QLatin1Char('7'));
  const QString file = clsDeleted::FileFor(longName);
  EXPECT_LT(QFileInfo(file).fileName().size(), 100);
  EXPECT_NE(clsDeleted::FileFor(longName + "8"), file);
  clsDeleted store(&port);
  ASSERT_TRUE(store.Init(longName));
  EXPECT_TRUE(store.Add("x"));

  // Something else lies where the store should be.
  const QString broken = clsDeleted::FileFor("Broken");
  {
    QFile f(broken);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write(QByteArray(4096, 'x'));
  }
  clsDeleted bad(&port);
  EXPECT_FALSE(bad.Init("Broken"));
  EXPECT_FALSE(bad.isOpen());
  EXPECT_FALSE(bad.Add("y"));
  EXPECT_FALSE(bad.Find("y"));
  ASSERT_EQ(port.messages.size(), 1);
  EXPECT_TRUE(port.messages[0].startsWith("SQLite cannot open " + broken + ": file is not a database"))
      << port.messages[0].toStdString();
  EXPECT_TRUE(port.messages[0].endsWith("\r\nMonitor can not run - ask for support..."));
}

}  // namespace
