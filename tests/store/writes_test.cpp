// What the store writes: drafts, deleted items, and the item-added event.
#include "StoreFixture.h"

#include "util/DebugLog.h"

#include <QCoreApplication>
#include <QElapsedTimer>

using namespace ordolo;
using namespace ordolo::test;

namespace {

class StoreCopy : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(dir.isValid());
    copyTree(fixtureStorePath(), dir.path());
    QString why;
    store = store::FileStore::open(dir.path(), &why);
    ASSERT_TRUE(store) << why.toStdString();
  }
  model::ItemPtr find(const QString& folder, const QString& subject) {
    const auto list = store->folderByPath(folder)->GetItems();
    for (const auto& item : *list)
      if (item->text("Subject") == subject || item->text("FullName") == subject) return item;
    return nullptr;
  }
  QTemporaryDir dir;
  std::shared_ptr<store::FileStore> store;
};

QCoreApplication& app() {
  static int argc = 1;
  static char name[] = "store_tests";
  static char* argv[] = {name, nullptr};
  static QCoreApplication instance(argc, argv);
  return instance;
}

// Runs the event loop until done() or the time is up.
bool waitFor(const std::function<bool()>& done, int ms = 5000) {
  app();
  QElapsedTimer t;
  t.start();
  while (!done() && t.elapsed() < ms) QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
  return done();
}

const QByteArray kMessage =
    "From: Someone <someone@example.com>\r\nTo: Test User <test.user@example.org>\r\n"
    "Subject: Imported\r\nDate: Tue, 10 Mar 2026 12:00:00 +0100\r\n\r\nBody text\r\n";

}  // namespace

TEST_F(StoreCopy, ImportedMessageBecomesAnUnsubmittedDraft) {
  auto drafts = store->GetDefaultFolder(model::olFolderDrafts);
  const QString eml = writeFile(dir.filePath("in.eml"), kMessage);
  auto draft = drafts->GetItems()->Add();
  ASSERT_TRUE(draft);
  EXPECT_FALSE(draft->Saved());
  QString why;
  ASSERT_TRUE(draft->Import(eml, 1024, &why)) << why.toStdString();
  ASSERT_TRUE(draft->Save(&why)) << why.toStdString();
  EXPECT_TRUE(draft->Saved());

  auto listed = drafts->GetItems();
  ASSERT_EQ(listed->Count(), 1);
  EXPECT_EQ(listed->Item(1)->text("Subject"), "Imported");
  EXPECT_FALSE(listed->Item(1)->flag("Submitted"));
  EXPECT_FALSE(listed->Item(1)->get("ReceivedTime").isValid());  // never received
  EXPECT_EQ(store->GetItemFromID(draft->EntryID())->text("Subject"), "Imported");
  EXPECT_EQ(readFile(QDir(dir.filePath("Drafts/cur")).entryInfoList(QDir::Files)[0].filePath()), kMessage);

  // Not a message, and not a mail folder: refused with a reason, nothing written.
  auto other = drafts->GetItems()->Add();
  EXPECT_FALSE(other->Import(writeFile(dir.filePath("x.eml"), QByteArray("\x00\x01garbage", 9)), 1024, &why));
  EXPECT_TRUE(why.contains("x.eml"));
  EXPECT_FALSE(store->GetDefaultFolder(model::olFolderCalendar)->GetItems()->Add(&why));
  EXPECT_FALSE(why.isEmpty());
}

TEST_F(StoreCopy, DeleteMovesFilesAndCutsSharedFilesExactly) {
  QString why;
  // A mail: the file moves into Deleted Items' cur/.
  auto mail = find("Inbox", "Recipients");
  ASSERT_TRUE(mail);
  ASSERT_TRUE(mail->Delete(&why)) << why.toStdString();
  EXPECT_EQ(store->folderByPath("Inbox")->GetItems()->Count(), 3);

  // An appointment file of its own moves as it is.
  auto holiday = find("Calendar", "Company holiday");
  ASSERT_TRUE(holiday);
  const QByteArray original = readFile(dir.filePath("Calendar/allday-1day.ics"));
  ASSERT_TRUE(holiday->Delete(&why)) << why.toStdString();
  EXPECT_FALSE(QFile::exists(dir.filePath("Calendar/allday-1day.ics")));
  EXPECT_EQ(readFile(dir.filePath("Deleted Items/allday-1day.ics")), original);

  // One task of a shared file: the rest of the file keeps every byte.
  const QByteArray tasksBefore = readFile(dir.filePath("Tasks/tasks.ics"));
  auto task = find("Tasks", "Starts at midnight");
  ASSERT_TRUE(task);
  ASSERT_TRUE(task->Delete(&why)) << why.toStdString();
  const QByteArray tasksAfter = readFile(dir.filePath("Tasks/tasks.ics"));
  EXPECT_LT(tasksAfter.size(), tasksBefore.size());
  EXPECT_FALSE(tasksAfter.contains("Starts at midnight"));
  EXPECT_TRUE(tasksAfter.contains("SUMMARY:Due only"));
  QStringList left;
  const auto remaining = store->folderByPath("Tasks")->GetItems();
  for (const auto& t : *remaining) left << t->text("Subject");
  EXPECT_EQ(left, QStringList({"Due only", "Weekly report"}));

  auto trash = store->GetDefaultFolder(model::olFolderDeletedItems)->GetItems();
  // The task moved with its time zone: still midnight in Berlin.
  for (const auto& t : *trash)
    if (t->text("Subject") == "Starts at midnight") {
      EXPECT_EQ(t->date("StartDate"), at(2026, 3, 16));
    }
  QStringList trashed;
  for (const auto& t : *trash) trashed << t->text("Subject");
  trashed.sort();
  EXPECT_EQ(trashed, QStringList({"Company holiday", "Recipients", "Starts at midnight"}));

  // An occurrence cannot go on its own; the series stays.
  auto cal = store->folderByPath("Calendar")->GetItems();
  cal->IncludeRecurrences = true;
  auto occurrences = cal->Restrict("[Start]<='2026-03-03 23:59' and [End]>'2026-03-03 00:00'");
  ASSERT_TRUE(occurrences && occurrences->Count() >= 1);
  for (const auto& o : *occurrences)
    if (o->series()) {
      EXPECT_FALSE(o->Delete(&why));
    }
}

TEST_F(StoreCopy, ItemAddedFiresOnceWhenTheFileIsComplete) {
  app();
  auto inbox = store->GetDefaultFolder(model::olFolderInbox)->GetItems();
  QStringList added;
  inbox->setItemAddHandler([&added](const model::ItemPtr& item) { added << item->text("Subject"); });

  // Written in two steps: nothing may fire for the half-written file.
  const QString path = dir.filePath("Inbox/new/1773000000.M9P9.test");
  QFile f(path);
  ASSERT_TRUE(f.open(QIODevice::WriteOnly));
  f.write(kMessage.left(40));
  f.flush();
  waitFor([] { return false; }, 100);
  f.write(kMessage.mid(40));
  f.close();
  ASSERT_TRUE(waitFor([&] { return !added.isEmpty(); }));
  waitFor([] { return false; }, 600);
  EXPECT_EQ(added, QStringList({"Imported"}));

  // Moving it to cur/ (read) is not a new item.
  ASSERT_TRUE(QFile::rename(path, dir.filePath("Inbox/cur/1773000000.M9P9.test:2,S")));
  waitFor([] { return false; }, 800);
  EXPECT_EQ(added.size(), 1);

  // A calendar folder reports a new .ics file, and a shared file its new component.
  auto tasks = store->GetDefaultFolder(model::olFolderTasks)->GetItems();
  QStringList newTasks;
  tasks->setItemAddHandler([&newTasks](const model::ItemPtr& item) { newTasks << item->text("Subject"); });
  QByteArray ics = readFile(dir.filePath("Tasks/tasks.ics"));
  ics.replace("END:VCALENDAR",
              "BEGIN:VTODO\r\nUID:new-task@example.org\r\nDTSTAMP:20260301T000000Z\r\n"
              "SUMMARY:Fresh task\r\nEND:VTODO\r\nEND:VCALENDAR");
  writeFile(dir.filePath("Tasks/tasks.ics"), ics);
  ASSERT_TRUE(waitFor([&] { return !newTasks.isEmpty(); }));
  EXPECT_EQ(newTasks, QStringList({"Fresh task"}));

  // No more events once the collection is gone.
  inbox.reset();
  writeFile(dir.filePath("Inbox/new/1773000001.M9P9.test"), kMessage);
  waitFor([] { return false; }, 800);
  EXPECT_EQ(added.size(), 1);
}

TEST_F(StoreCopy, LoopsAndDeadLinksAreSkippedAndLogged) {
  // A link back to the root, a link cycle between two files, a dead link.
  ASSERT_TRUE(QFile::link(dir.path(), dir.filePath("Calendar/loop")));
  ASSERT_TRUE(QFile::link(dir.filePath("Calendar/b.ics"), dir.filePath("Calendar/a.ics")));
  ASSERT_TRUE(QFile::link(dir.filePath("Calendar/a.ics"), dir.filePath("Calendar/b.ics")));
  ASSERT_TRUE(QFile::link(dir.filePath("nowhere"), dir.filePath("Contacts/dead.vcf")));
  const QString log = dir.filePath("debug.log");
  ASSERT_TRUE(util::DebugLog::open(log));
  auto calendar = store->folderByPath("Calendar");
  EXPECT_TRUE(calendar->Folders().empty());
  EXPECT_EQ(calendar->GetItems()->Count(), 7);
  EXPECT_EQ(store->folderByPath("Contacts")->GetItems()->Count(), 5);
  EXPECT_EQ(store->GetDefaultFolder(model::olFolderTasks)->Name(), "Tasks");
  util::DebugLog::close();
  const QString written = QString::fromUtf8(readFile(log));
  EXPECT_TRUE(written.contains("broken.ics")) << written.toStdString();
  EXPECT_TRUE(written.contains("empty.ics"));
}
