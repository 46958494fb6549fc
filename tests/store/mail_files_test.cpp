// Mails as the store reads them from Maildir files a test writes: headers
// that mail programs write in odd but common ways.
#include "StoreFixture.h"

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

}  // namespace
