// Selection intake: which items a selection lists, as what, and the columns
// their rows carry.
#include <gtest/gtest.h>

#include "lang/LanguageTable.h"
#include "session/Start.h"
#include "session/Templates.h"
#include "store/StoreFixture.h"
#include "support/FakeItem.h"
#include "support/ScriptedPort.h"
#include "util/VbFormat.h"

using namespace ordolo;
using namespace ordolo::test;

namespace {

class Intake : public StoreTest {
 protected:
  void SetUp() override {
    StoreTest::SetUp();
    lang::table().LoadLanguageTable(QStringLiteral(ORDOLO_SOURCE_SHARE "/language/English.txt"));
    util::setUserLocale(QLocale(QLocale::English, QLocale::UnitedStates));
  }
  bool take(std::vector<model::ItemPtr> chosen, const QString& folder) {
    return start.StartPrint(model::Selection(std::move(chosen)), store->folderByPath(folder),
                            QStringLiteral("Test User"));
  }
  ScriptedPort port;
  session::Start start{port};
};

TEST_F(Intake, TheFirstItemDecidesTheKind) {
  const auto mail = bySubject("Inbox", "Recipients");
  const auto report = bySubject("Inbox", "Undelivered Mail Returned to Sender");
  const auto meeting = bySubject("Calendar", "Project review");
  const auto fair = bySubject("Calendar", "Trade fair");
  const auto contact = bySubject("Contacts", "Jonas Keller", "FullName");

  // A mail first: everything is listed, as mail.
  ASSERT_TRUE(take({mail, meeting, report, contact}, "Inbox"));
  EXPECT_EQ(start.kind(), model::olMail);
  ASSERT_EQ(start.rows().size(), 4u);
  EXPECT_EQ(start.rows()[1].key, "2M");
  EXPECT_EQ(start.rows()[1].subItems[6], "Project review");
  EXPECT_TRUE(start.rows()[3].selected);
  // A delivery report shows "-" where a mail shows whom it went to.
  EXPECT_EQ(start.rows()[2].subItems[3], "-");

  // An appointment first: only appointments.
  ASSERT_TRUE(take({meeting, contact, fair}, "Calendar"));
  EXPECT_EQ(start.kind(), model::olAppointment);
  ASSERT_EQ(start.items().size(), 2u);
  EXPECT_EQ(start.rows()[1].key, "2A");
  EXPECT_EQ(start.rows()[1].subItems[4], "Trade fair");
  EXPECT_EQ(start.caption(), "Calendar (Test User)");
  EXPECT_TRUE(start.canPrint());

  // A delivery report first, or an item of a class without a list of its
  // own (45, a post): a mail run, everything listed as mail.
  ASSERT_TRUE(take({report, meeting, mail}, "Inbox"));
  EXPECT_EQ(start.kind(), model::olMail);
  ASSERT_EQ(start.rows().size(), 3u);
  EXPECT_EQ(start.rows()[0].subItems[3], "-");
  EXPECT_EQ(start.rows()[1].key, "2M");
  auto post = FakeItem::make(45);
  post->set("Subject", "Posted note");
  ASSERT_TRUE(take({post, contact}, "Inbox"));
  EXPECT_EQ(start.kind(), model::olMail);
  ASSERT_EQ(start.rows().size(), 2u);
  EXPECT_EQ(start.rows()[0].subItems[6], "Posted note");
  EXPECT_EQ(start.rows()[1].key, "2M");
}

TEST_F(Intake, NothingChosenIsToldAndListsNothing) {
  EXPECT_FALSE(take({}, "Inbox"));
  EXPECT_EQ(port.notices, QStringList{"Nothing selected"});
  EXPECT_EQ(port.beeps, 1);
  EXPECT_TRUE(start.items().empty());
}

TEST_F(Intake, AnUnsavedItemIsListedAfterANotice) {
  auto draft = FakeItem::make(model::olMail);
  draft->set("Subject", "Not yet saved").set("Submitted", false, model::olYesNo);
  draft->saved = false;
  ASSERT_TRUE(take({draft}, "Drafts"));
  EXPECT_EQ(port.notices, QStringList{"Item not saved!"});
  ASSERT_EQ(start.rows().size(), 1u);
  // An unsent mail is marked "?" whatever its importance.
  EXPECT_EQ(start.rows()[0].subItems[0], "?");
}

TEST_F(Intake, SentMailIsListedBySendTimeOtherMailByArrival) {
  auto mail = FakeItem::make(model::olMail);
  mail->set("SentOn", QDateTime(QDate(2026, 3, 4), QTime(10, 15)), model::olDateTime)
      .set("ReceivedTime", QDateTime(QDate(2026, 3, 4), QTime(10, 20)), model::olDateTime)
      .set("CreationTime", QDateTime(QDate(2026, 3, 1), QTime(8, 0)), model::olDateTime)
      .set("Importance", 2, model::olNumber);
  ASSERT_TRUE(take({mail}, "Sent Items"));
  EXPECT_EQ(start.rows()[0].subItems[5], "20260304101500");
  EXPECT_EQ(start.rows()[0].subItems[0], "!");
  ASSERT_TRUE(take({mail}, "Inbox"));
  EXPECT_EQ(start.rows()[0].subItems[5], "20260304102000");
  // No arrival time: when it was made.
  mail->set("ReceivedTime", QVariant());
  ASSERT_TRUE(take({mail}, "Inbox"));
  EXPECT_EQ(start.rows()[0].subItems[5], "20260301080000");
}

TEST_F(Intake, RowsCarryTheKindsColumnsAndSortByTheirKeys) {
  ASSERT_TRUE(take(items("Calendar")->all(), "Calendar"));
  const auto columns = session::Columns(model::olAppointment);
  ASSERT_EQ(columns.size(), start.rows()[0].subItems.size() + 1);
  for (const auto& c : columns) EXPECT_FALSE(c.header.isEmpty());
  // All-day events show the weekday instead of a time.
  QString fair;
  for (const auto& row : start.rows()) {
    if (row.subItems[4] == "Trade fair") fair = row.subItems[0];
  }
  EXPECT_EQ(fair, "3/2/2026    (Mon)");
  // Sorting by the duration column uses its numeric key: 60 before 90 before 1440.
  start.sortBy(3);
  QStringList durations;
  for (const auto& row : start.rows()) durations << row.subItems[2];
  EXPECT_LT(durations.indexOf("1 hour"), durations.indexOf("1.5 hours"));
  EXPECT_LT(durations.indexOf("1.5 hours"), durations.indexOf("1 day"));
  // Items follow their rows.
  for (size_t i = 0; i < start.rows().size(); ++i)
    EXPECT_EQ(start.items()[i]->text("Subject"), start.rows()[i].subItems[4]);

  ASSERT_TRUE(take(items("Contacts")->all(), "Contacts"));
  EXPECT_EQ(start.kind(), model::olContact);
  for (const auto& row : start.rows()) EXPECT_TRUE(row.key.endsWith('C'));
}

TEST(TemplateList, KindLetterAndExtensionDecideWhatIsListed) {
  QTemporaryDir dir;
  for (const char* name :
       {"Aplan.xlsx", "Aplan.docx", "AMemo.dotx", "Aold.dot", "aLower.xltx", "MMemo.dotx", "Anotes.txt"})
    writeFile(dir.filePath(name), "x");
  EXPECT_EQ(session::ListTemplates("A", dir.path()),
            (QStringList{"aLower.xltx", "AMemo.dotx", "Aold.dot", "Aplan.xlsx"}));
  EXPECT_TRUE(session::IsExcelTemplate("Letter.xlt"));
  EXPECT_FALSE(session::IsExcelTemplate("Letter.dot"));
  EXPECT_FALSE(session::IsExcelTemplate("My.xls.dot"));
  EXPECT_EQ(session::KindLetter(model::olDistributionList), "D");
  EXPECT_EQ(session::RowLetter(model::olDistributionList), "L");
}

}  // namespace
