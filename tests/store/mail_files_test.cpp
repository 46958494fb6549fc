// Mails as the store reads them from Maildir files a test writes: headers
// that mail programs write in odd but common ways, and a body the MIME
// parser gives up on.
#include "StoreFixture.h"

#include "lang/LanguageTable.h"
#include "lang/Messages.h"
#include "session/Start.h"
#include "support/ScriptedPort.h"
#include "util/DebugLog.h"

using namespace ordolo;
using namespace ordolo::test;

namespace {

class MailFiles : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(dir.isValid());
    for (const char* sub : {"cur", "new", "tmp"}) QDir().mkpath(dir.filePath(QStringLiteral("Inbox/") + sub));
  }
  // Writes one mail into Inbox/cur and returns the inbox's items (a fresh store each time).
  QString addMail(const QString& name, const QByteArray& bytes) {
    return writeFile(dir.filePath(QStringLiteral("Inbox/cur/") + name), bytes);
  }
  model::ItemsPtr inbox() {
    QString why;
    store = store::FileStore::open(dir.path(), &why);
    EXPECT_TRUE(store) << why.toStdString();
    auto folder = store ? store->folderByPath(QStringLiteral("Inbox")) : nullptr;
    EXPECT_TRUE(folder);
    return folder ? folder->GetItems() : std::make_shared<model::Items>();
  }
  QTemporaryDir dir;
  std::shared_ptr<store::FileStore> store;
};

TEST_F(MailFiles, AnAddressInSingleQuotesAsItsOwnNameIsOneRecipient) {
  // Unquoted 'x@y' names, one glued to its address, one folded onto the next
  // line; an apostrophe inside a quoted name and in a bare name.
  addMail(QStringLiteral("1773000001.M1P1.test:2,S"),
          "From: Jonas Keller <jonas.keller@example.com>\r\n"
          "To: 'anna@example.org' <anna@example.org>, Bob Miller <bob@example.org>\r\n"
          "Cc: \"O'Brien, Pat\" <pat@example.org>, 'carl@example.org'\r\n"
          " <c.x@example.org>, O'Neil <oneil@example.org>\r\n"
          "Bcc: 'dora@example.org'<dora@example.org>\r\n"
          "Subject: Quoted names\r\n"
          "Date: Tue, 10 Mar 2026 12:00:00 +0100\r\n"
          "\r\n"
          "Body\r\n");
  const auto items = inbox();
  ASSERT_EQ(items->Count(), 1);
  const auto mail = items->Item(1);
  const auto r = mail->Recipients();
  const std::tuple<const char*, const char*, int> expected[] = {
      {"'anna@example.org'", "anna@example.org", model::olTo},
      {"Bob Miller", "bob@example.org", model::olTo},
      {"O'Brien, Pat", "pat@example.org", model::olCC},
      {"'carl@example.org'", "c.x@example.org", model::olCC},
      {"O'Neil", "oneil@example.org", model::olCC},
      {"'dora@example.org'", "dora@example.org", model::olBCC},
  };
  ASSERT_EQ(r.size(), std::size(expected));
  for (size_t i = 0; i < r.size(); ++i) {
    EXPECT_EQ(r[i].Name, std::get<0>(expected[i])) << i;
    EXPECT_EQ(r[i].Address, std::get<1>(expected[i])) << i;
    EXPECT_EQ(r[i].Type, std::get<2>(expected[i])) << i;
  }
  EXPECT_EQ(mail->text("To"), "'anna@example.org'; Bob Miller");
  EXPECT_EQ(mail->text("BCC"), "'dora@example.org'");
  // Only what is parsed changes: the raw headers stay as written.
  EXPECT_TRUE(mail->text("TransportMessageHeaders").contains("\r\nTo: 'anna@example.org' <anna@example.org>, Bob"));
}

// A plain (non-MIME) body with a yEnc part declaring 2^31 - 1 bytes: the
// MIME parser sizes a buffer for it, which no QByteArray can be, and throws
// std::bad_alloc (whatever memory the machine has).
TEST_F(MailFiles, AMailTheParserGivesUpOnIsLeftOutAndNamedNotTheFolder) {
  lang::table().load(util::IniDocument::fromText("[Lang]\nS26=Edit\nS22=Language\n"));
  addMail(QStringLiteral("1773000001.M1P1.test:2,S"),
          "From: Anna <anna@example.org>\nTo: Bob <bob@example.org>\nSubject: Fine\n"
          "Date: Tue, 10 Mar 2026 12:00:00 +0100\n\nAll well\n");
  const QString broken = addMail(QStringLiteral("1773000002.M2P1.test:2,S"),
                                 "From: Anna <anna@example.org>\nTo: Bob <bob@example.org>\nSubject: Broken\n"
                                 "Date: Tue, 10 Mar 2026 12:05:00 +0100\n\n"
                                 "=ybegin line=128 size=2147483647 name=big.bin\nabc\n=yend size=3\n");
  const QString log = dir.filePath("debug.log");
  ASSERT_TRUE(util::DebugLog::open(log));
  // Listing reads header blocks only: both are there.
  const auto items = inbox();
  ASSERT_EQ(items->Count(), 2);
  const auto fine = items->Item(1), bad = items->Item(2);
  ASSERT_EQ(bad->text("Subject"), "Broken");
  EXPECT_TRUE(fine->Readable());
  EXPECT_FALSE(bad->Readable());
  // Whatever reads the body gets nothing instead of an exception.
  EXPECT_EQ(bad->text("Body"), "");
  EXPECT_TRUE(bad->Attachments().empty());

  // A print run over the folder lists the other mail only.
  test::ScriptedPort port;
  session::Start start(port);
  ASSERT_TRUE(start.StartPrint(model::Selection(items->all()), store->folderByPath("Inbox"), "Test User"));
  ASSERT_EQ(start.items().size(), 1u);
  EXPECT_EQ(start.items()[0]->text("Subject"), "Fine");
  EXPECT_TRUE(port.messages.isEmpty());
  util::DebugLog::close();

  // Told once, naming the file, in the table's language.
  const QString written = QString::fromUtf8(readFile(log));
  const QString told =
      lang::text(lang::Msg::ErrItemUnreadable).arg(broken, QStringLiteral("the MIME parser gave up: std::bad_alloc"));
  EXPECT_EQ(written.count(told), 1) << written.toStdString();
}

}  // namespace
