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
    const QByteArray bytes = store::ReadMboxMessage(path(), m.start, m.length, &why);
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
  store::MboxIndex index;
  ASSERT_TRUE(index.update(path(), nullptr));
  ASSERT_EQ(index.messages().size(), 20u);
  const auto offsets = std::vector<qint64>{index.messages()[0].offset, index.messages()[1].offset};
  append(path(), mbox({msg(21)}));
  ASSERT_TRUE(index.update(path(), nullptr));
  ASSERT_EQ(index.messages().size(), 21u);
  EXPECT_EQ(subjectsOf(index).last(), "Message 21");
  EXPECT_EQ(index.messages()[0].offset, offsets[0]);
  EXPECT_EQ(index.messages()[1].offset, offsets[1]);
  // Read again: the last message seen before and the new one, not the file.
  EXPECT_LT(index.lastRead(), QFileInfo(path()).size() / 5);

  // A message being appended (no empty line at its end yet, the file just
  // written) waits for the next read; once the file is left alone it counts.
  append(path(), "From - Mon Mar  2 10:00:00 2026\nSubject: Message 5\n\nhalf of it");
  ASSERT_TRUE(index.update(path(), nullptr));
  EXPECT_EQ(index.messages().size(), 21u);
  settle(path());
  ASSERT_TRUE(index.update(path(), nullptr));
  ASSERT_EQ(index.messages().size(), 22u);
  EXPECT_TRUE(read(index.messages()[21]).endsWith("\n\nhalf of it"));

  // Rewritten in place (the mail program compacted it): read anew.
  programs::write(path(), mbox({msg(2), msg(3)}));
  ASSERT_TRUE(index.update(path(), nullptr));
  EXPECT_EQ(subjectsOf(index), QStringList({"Message 2", "Message 3"}));
}

TEST_F(MboxTest, LinesLongerThanTheReadBlockKeepTheirMessage) {
  const QByteArray huge(3 * 1024 * 1024, 'x');
  programs::write(path(), mbox({message("Long", "a@example.org", "Mon, 02 Mar 2026 08:00:00 +0100", huge + "\n"),
                                msg(2)}));
  store::MboxIndex index;
  ASSERT_TRUE(index.update(path(), nullptr));
  EXPECT_EQ(subjectsOf(index), QStringList({"Long", "Message 2"}));
  EXPECT_TRUE(read(index.messages()[0]).endsWith(huge + "\n"));
}

TEST_F(MboxTest, EntryIdsSurviveGrowthAndCompaction) {
  programs::write(path("Inbox"), mbox({msg(1), msg(2), msg(3)}));
  settle(path("Inbox"));
  QString why;
  auto s = store::FileStore::open(dir.path(), &why);
  ASSERT_TRUE(s) << why.toStdString();
  auto inbox = s->folderByPath("Inbox");
  ASSERT_TRUE(inbox);
  ASSERT_EQ(inbox->GetItems()->Count(), 3);
  const QString second = inbox->GetItems()->all()[1]->EntryID();
  const auto firstItem = inbox->GetItems()->all()[0];

  append(path("Inbox"), mbox({msg(4)}));
  settle(path("Inbox"));
  ASSERT_EQ(inbox->GetItems()->Count(), 4);
  // Unchanged messages are the same objects: nothing parsed twice.
  EXPECT_EQ(inbox->GetItems()->all()[0], firstItem);
  ASSERT_TRUE(s->GetItemFromID(second));
  EXPECT_EQ(s->GetItemFromID(second)->text("Subject"), "Message 2");

  programs::write(path("Inbox"), mbox({msg(2), msg(3), msg(4)}));
  settle(path("Inbox"));
  auto found = s->GetItemFromID(second);
  ASSERT_TRUE(found);
  EXPECT_EQ(found->text("Subject"), "Message 2");
  EXPECT_EQ(found->text("Body").trimmed(), "Body 2");

  // Deleting leaves the mbox as it was and hides the message.
  const QByteArray bytes = [&] {
    QFile f(path("Inbox"));
    f.open(QIODevice::ReadOnly);
    return f.readAll();
  }();
  programs::write(path("Deleted Items/cur/.keep"), "");
  QDir().mkpath(path("Deleted Items/new"));
  ASSERT_TRUE(found->Delete(&why)) << why.toStdString();
  QFile f(path("Inbox"));
  ASSERT_TRUE(f.open(QIODevice::ReadOnly));
  EXPECT_EQ(f.readAll(), bytes);
  EXPECT_EQ(inbox->GetItems()->Count(), 2);
  EXPECT_TRUE(found->DeletedTo().startsWith(path("Deleted Items/cur/"))) << found->DeletedTo().toStdString();
}

TEST_F(MboxTest, AppendedMessagesAreReportedOnceWhenComplete) {
  static int argc = 1;
  static char name[] = "store_tests";
  static char* argv[] = {name, nullptr};
  if (!QCoreApplication::instance()) new QCoreApplication(argc, argv);
  programs::write(path("Inbox"), mbox({msg(1)}));
  QString why;
  auto s = store::FileStore::open(dir.path(), &why);
  ASSERT_TRUE(s);
  QStringList reported;
  auto watch = s->folderByPath("Inbox")->watch([&](const model::ItemPtr& item) { reported << item->text("Subject"); });
  auto run = [](int ms) {
    QElapsedTimer t;
    t.start();
    while (t.elapsed() < ms) QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
  };
  append(path("Inbox"), mbox({msg(2), msg(3)}));
  QElapsedTimer t;
  t.start();
  while (reported.size() < 2 && t.elapsed() < 10000) run(100);
  run(500);
  EXPECT_EQ(reported, QStringList({"Message 2", "Message 3"}));
}
