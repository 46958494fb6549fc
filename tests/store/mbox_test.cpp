// mbox files: where messages begin and end, what is left for the next
// read, and that entry ids outlive the file's growth and compaction.
#include "StoreFixture.h"
#include "support/MailPrograms.h"

#include "store/Mbox.h"

#include <QCoreApplication>
#include <QElapsedTimer>

#include <sys/time.h>

using namespace ordolo;
using namespace ordolo::test;
using programs::mbox;
using programs::message;

namespace {

QByteArray msg(int n) {
  return message(QStringLiteral("Message %1").arg(n), QStringLiteral("a@example.org"),
                 QStringLiteral("Mon, 02 Mar 2026 08:00:00 +0100"), "Body " + QByteArray::number(n) + "\n");
}

void append(const QString& path, const QByteArray& bytes) {
  QFile f(path);
  ASSERT_TRUE(f.open(QIODevice::Append));
  f.write(bytes);
}

// Sets the file's time a minute back: a file nobody writes to any more.
void settle(const QString& path) {
  const qint64 past = QDateTime::currentSecsSinceEpoch() - 60;
  const struct timeval times[2] = {{past, 0}, {past, 0}};
  ASSERT_EQ(::utimes(QFile::encodeName(path).constData(), times), 0);
}

QStringList subjectsOf(const store::MboxIndex& index) {
  QStringList out;
  for (const auto& m : index.messages()) {
    const int at = m.head.indexOf("Subject: ");
    out << QString::fromUtf8(m.head.mid(at + 9, m.head.indexOf('\n', at) - at - 9));
  }
  return out;
}

class MboxTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(dir.isValid()); }
  QString path(const QString& name = QStringLiteral("box")) const { return dir.filePath(name); }
  QByteArray read(const store::MboxMessage& m) const {
    QString why;
    const QByteArray bytes = store::ReadMboxMessage(path(), m.start, m.length, m.head, &why);
    EXPECT_TRUE(why.isEmpty()) << why.toStdString();
    return bytes;
  }
  QTemporaryDir dir;
  ScopedEnv ordoloHome{"ORDOLO_HOME", (dir.path() + "/ordolo").toUtf8()};
};

}  // namespace

TEST_F(MboxTest, MessagesAreSplitAndUnquotedWhateverTheLineEnds) {
  for (const QByteArray& eol : {QByteArray("\n"), QByteArray("\r\n")}) {
    const QByteArray body = "From the start.\n>From quoted once.\nFrom x Mon Mar  2 10:00:00 2026 in a body\n";
    programs::write(path(), mbox({message("One", "a@example.org", "Mon, 02 Mar 2026 08:00:00 +0100", body), msg(2)}, eol));
    settle(path());
    store::MboxIndex index;
    QString why;
    ASSERT_TRUE(index.update(path(), &why)) << why.toStdString();
    ASSERT_EQ(index.messages().size(), 2u);
    QByteArray first = read(index.messages()[0]);
    first.replace("\r\n", "\n");
    EXPECT_TRUE(first.endsWith("\n\n" + body)) << first.constData();
    // The blank line that ends a message in the file is not the message's.
    QByteArray second = read(index.messages()[1]);
    second.replace("\r\n", "\n");
    EXPECT_TRUE(second.endsWith("\nBody 2\n")) << second.constData();
    EXPECT_EQ(index.messages()[1].delivered, QDateTime(QDate(2026, 3, 2), QTime(8, 1)));
  }
  // A dated "From " line counts even without the blank line before it
  // (some writers leave it out); a body line without a date does not.
  programs::write(path(), "From - Mon Mar  2 08:00:00 2026\nSubject: A\n\nno blank line after\n"
                          "From - Mon Mar  2 09:00:00 2026\nSubject: B\n\nFrom me, unquoted\n\n");
  settle(path());
  store::MboxIndex index;
  ASSERT_TRUE(index.update(path(), nullptr));
  EXPECT_EQ(subjectsOf(index), QStringList({"A", "B"}));
  EXPECT_TRUE(read(index.messages()[1]).endsWith("\n\nFrom me, unquoted\n"));
  // Not an mbox at all.
  programs::write(path(), "Subject: plain message\n\nbody\n");
  QString why;
  EXPECT_FALSE(store::MboxIndex().update(path(), &why));
  EXPECT_TRUE(why.contains("not an mbox")) << why.toStdString();
}

TEST_F(MboxTest, GrowingFileIsReadOnlyFromItsLastMessageOn) {
  QList<QByteArray> twenty;
  for (int n = 1; n <= 20; ++n) twenty << msg(n);
  programs::write(path(), mbox(twenty));
  settle(path());
  store::MboxIndex index;
  ASSERT_TRUE(index.update(path(), nullptr));
  ASSERT_EQ(index.messages().size(), 20u);
  const auto offsets = std::vector<qint64>{index.messages()[0].offset, index.messages()[1].offset};
  // Just written, the new message may still be in the making (mail
  // programs write in pieces, empty lines included): it waits until the
  // file has been left alone.
  append(path(), mbox({msg(21)}));
  ASSERT_TRUE(index.update(path(), nullptr));
  EXPECT_EQ(index.messages().size(), 20u);
  EXPECT_TRUE(index.pending());
  settle(path());
  ASSERT_TRUE(index.update(path(), nullptr));
  ASSERT_EQ(index.messages().size(), 21u);
  EXPECT_FALSE(index.pending());
  EXPECT_EQ(subjectsOf(index).last(), "Message 21");
  EXPECT_EQ(index.messages()[0].offset, offsets[0]);
  EXPECT_EQ(index.messages()[1].offset, offsets[1]);
  // Read again: the last message seen before and the new one, not the file.
  EXPECT_LT(index.lastRead(), QFileInfo(path()).size() / 5);

  // A last message without its empty line counts as it stands once the file is quiet.
  append(path(), "From - Mon Mar  2 10:00:00 2026\nSubject: Message 22\n\nhalf of it");
  settle(path());
  ASSERT_TRUE(index.update(path(), nullptr));
  ASSERT_EQ(index.messages().size(), 22u);
  EXPECT_TRUE(read(index.messages()[21]).endsWith("\n\nhalf of it"));

  // Thunderbird deletes by setting a flag in place: the file does not grow,
  // the message goes all the same.
  programs::write(path(), mbox({message("Kept", "a@example.org", "Mon, 02 Mar 2026 08:00:00 +0100", "x\n",
                                        "X-Mozilla-Status: 0001\n"),
                                message("Deleted later", "a@example.org", "Mon, 02 Mar 2026 08:00:00 +0100", "y\n",
                                        "X-Mozilla-Status: 0001\n"),
                                msg(3)}));
  settle(path());
  ASSERT_TRUE(index.update(path(), nullptr));
  ASSERT_EQ(subjectsOf(index), QStringList({"Kept", "Deleted later", "Message 3"}));
  QFile f(path());
  ASSERT_TRUE(f.open(QIODevice::ReadWrite));
  ASSERT_TRUE(f.seek(index.messages()[1].statusAt));
  f.write("0009");
  f.close();
  settle(path());
  ASSERT_TRUE(index.update(path(), nullptr));
  EXPECT_EQ(subjectsOf(index), QStringList({"Kept", "Message 3"}));

  // Rewritten in place (the mail program compacted it): read anew.
  programs::write(path(), mbox({msg(2), msg(3)}));
  settle(path());
  ASSERT_TRUE(index.update(path(), nullptr));
  EXPECT_EQ(subjectsOf(index), QStringList({"Message 2", "Message 3"}));
}

TEST_F(MboxTest, LinesLongerThanTheReadBlockKeepTheirMessage) {
  const QByteArray huge(3 * 1024 * 1024, 'x');
  programs::write(path(), mbox({message("Long", "a@example.org", "Mon, 02 Mar 2026 08:00:00 +0100", huge + "\n"),
                                msg(2)}));
  settle(path());
  store::MboxIndex index;
  ASSERT_TRUE(index.update(path(), nullptr));
  EXPECT_EQ(subjectsOf(index), QStringList({"Long", "Message 2"}));
  EXPECT_TRUE(read(index.messages()[0]).endsWith(huge + "\n"));
}

// What the program keeps of a message (the printed record of the monitor,
// the hidden list, a selection) holds whatever the mail program does to the
// file: growth, read marks, compaction.
TEST_F(MboxTest, MessagesKeepTheirIdsThroughGrowthReadMarksAndCompaction) {
  const QByteArray noId = "From: b@example.org\nSubject: No id\nDate: Tue, 03 Mar 2026 08:00:00 +0100\n"
                          "X-Mozilla-Status: 0000\n\nno message id\n";
  programs::write(path("Inbox"), mbox({msg(1), msg(2), noId, msg(3)}));
  settle(path("Inbox"));
  QString why;
  auto s = store::FileStore::open(dir.path(), &why);
  ASSERT_TRUE(s) << why.toStdString();
  auto inbox = s->folderByPath("Inbox");
  ASSERT_TRUE(inbox);
  auto ids = [&] {
    QStringList out;
    const auto items = inbox->GetItems();
    for (const auto& item : items->all()) out << item->EntryID();
    return out;
  };
  const QStringList before = ids();
  ASSERT_EQ(before.size(), 4);
  const auto firstItem = inbox->GetItems()->all()[0];

  append(path("Inbox"), mbox({msg(4)}));
  settle(path("Inbox"));
  ASSERT_EQ(ids().mid(0, 4), before);
  EXPECT_EQ(inbox->GetItems()->all()[0], firstItem);  // nothing parsed twice

  // Marked read in place, then compacted with message 1 gone: every other
  // message keeps its id, the one without a Message-ID included.
  QByteArray read = noId;
  read.replace("X-Mozilla-Status: 0000", "X-Mozilla-Status: 0001");
  programs::write(path("Inbox"), mbox({msg(2), read, msg(3), msg(4)}));
  settle(path("Inbox"));
  const QStringList after = ids();
  ASSERT_EQ(after.size(), 4);
  EXPECT_EQ(after.mid(0, 3), before.mid(1, 3));
  auto second = s->GetItemFromID(before[1]);
  ASSERT_TRUE(second);
  EXPECT_EQ(second->text("Body").trimmed(), "Body 2");

  // An item listed before the file changed does not read another message.
  auto stale = [&] {
    const auto items = inbox->GetItems();
    return items->all()[1];
  }();
  programs::write(path("Inbox"), mbox({msg(5), msg(6), msg(7), msg(8)}));
  settle(path("Inbox"));
  EXPECT_FALSE(stale->Readable());
  EXPECT_FALSE(stale->text("Body").contains("Body 6"));
}

TEST_F(MboxTest, DeletingLeavesTheFileAsItWasAndHidesTheMessageForGood) {
  programs::write(path("Inbox"), mbox({msg(1), msg(2), msg(3)}));
  settle(path("Inbox"));
  for (const char* sub : {"Deleted Items/cur", "Deleted Items/new"}) QDir().mkpath(path(sub));
  QString why;
  auto s = store::FileStore::open(dir.path(), &why);
  ASSERT_TRUE(s);
  auto inbox = s->folderByPath("Inbox");
  const auto second = inbox->GetItems()->all()[1];
  const QByteArray bytes = programs::readAll(path("Inbox"));
  ASSERT_TRUE(second->Delete(&why)) << why.toStdString();
  EXPECT_EQ(programs::readAll(path("Inbox")), bytes);
  EXPECT_EQ(inbox->GetItems()->Count(), 2);
  EXPECT_TRUE(second->DeletedTo().startsWith(path("Deleted Items/cur/"))) << second->DeletedTo().toStdString();
  // Still hidden after the file was compacted by its program, and for a
  // new start of the program.
  programs::write(path("Inbox"), mbox({msg(2), msg(3)}));
  settle(path("Inbox"));
  EXPECT_EQ(inbox->GetItems()->Count(), 1);
  auto again = store::FileStore::open(dir.path(), &why);
  EXPECT_EQ(again->folderByPath("Inbox")->GetItems()->Count(), 1);
}

// The folder as a program sees it, for one being written to: a message
// still in the making is not there, and comes once the file is quiet
// (without another change to the file); the watch reports each one once.
TEST_F(MboxTest, AppendedMessagesAreReportedOnceWhenComplete) {
  static int argc = 1;
  static char name[] = "store_tests";
  static char* argv[] = {name, nullptr};
  if (!QCoreApplication::instance()) new QCoreApplication(argc, argv);
  programs::write(path("Inbox"), mbox({msg(1)}));
  settle(path("Inbox"));
  QString why;
  auto s = store::FileStore::open(dir.path(), &why);
  ASSERT_TRUE(s);
  auto inbox = s->folderByPath("Inbox");
  QStringList reported;
  auto watch = inbox->watch([&](const model::ItemPtr& item) { reported << item->text("Subject"); });
  auto run = [](int ms) {
    QElapsedTimer t;
    t.start();
    while (t.elapsed() < ms) QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
  };
  // Written in two pieces with a pause, an empty line at the end of the first.
  append(path("Inbox"), "From - Mon Mar  2 10:00:00 2026\nSubject: Message 2\nContent-Type: multipart/mixed; "
                        "boundary=\"b\"\n\n--b\nContent-Type: text/plain\n\nfirst part\n\n");
  EXPECT_EQ(inbox->GetItems()->Count(), 1);
  run(600);
  append(path("Inbox"), "--b\nContent-Type: text/plain\n\nsecond part\n--b--\n\n");
  QElapsedTimer t;
  t.start();
  while (reported.isEmpty() && t.elapsed() < 10000) run(100);
  run(500);
  EXPECT_EQ(reported, QStringList({"Message 2"}));
  ASSERT_EQ(inbox->GetItems()->Count(), 2);
  EXPECT_TRUE(inbox->GetItems()->all()[1]->text("Body").contains("first part"));
}
