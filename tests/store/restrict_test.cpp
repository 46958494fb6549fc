// The restriction language, sorting and recurrence expansion.
#include "StoreFixture.h"

#include "lang/LanguageTable.h"
#include "model/Filter.h"
#include "util/VbFormat.h"

using namespace ordolo;
using namespace ordolo::test;

namespace {

QStringList subjectsAndStarts(const model::Items& items) {
  QStringList out;
  for (const auto& item : items) out << item->text("Subject") + " " + item->date("Start").toString("dd HH:mm");
  return out;
}

}  // namespace

TEST_F(StoreTest, MarchWithRecurrencesGivesOccurrencesAndExceptions) {
  auto all = items("Calendar");
  all->IncludeRecurrences = true;
  QString why;
  auto march = all->Restrict("[Start]<='2026-03-31 23:59' and [End]>'2026-03-01 00:00'", &why);
  ASSERT_TRUE(march) << why.toStdString();
  march->Sort("[Start]");
  EXPECT_EQ(subjectsAndStarts(*march),
            QStringList({"Trade fair 02 00:00", "Weekly sync 03 10:00", "Company holiday 05 00:00",
                         "Weekly sync 10 10:00", "Call with New York 10 14:00", "Project review 12 10:00",
                         QString::fromUtf8("Besprechung mit Herrn Müller 19 09:00"), "Weekly sync (moved) 25 14:00",
                         "Release window 30 14:00", "Weekly sync 31 10:00"}));
  for (const auto& item : *march) {
    if (!item->text("Subject").startsWith("Weekly sync")) continue;
    // Occurrences point at their series; the moved one is an exception.
    ASSERT_TRUE(item->series());
    EXPECT_EQ(item->series()->text("Subject"), "Weekly sync");
    EXPECT_EQ(item->number("RecurrenceState"),
              item->text("Subject").contains("moved") ? model::olApptException : model::olApptOccurrence);
    EXPECT_EQ(item->folder()->Name(), "Calendar");
    EXPECT_EQ(store->GetItemFromID(item->EntryID())->date("Start"), item->date("Start"));
  }
  // Without IncludeRecurrences the series is one item, tested by its own start.
  auto plain = items("Calendar")->Restrict("[Start]<='2026-03-31 23:59' and [End]>'2026-03-01 00:00'");
  ASSERT_TRUE(plain);
  EXPECT_EQ(plain->Count(), 7);
}

TEST_F(StoreTest, WindowEdgesAndOccurrencesOutsideTheRange) {
  auto all = items("Calendar");
  all->IncludeRecurrences = true;
  // An event that ends exactly at the window's start is not in it; one that
  // started before and ends inside is.
  auto r = all->Restrict("[Start]<='2026-03-10 23:59' and [End]>'2026-03-06 00:00'");
  ASSERT_TRUE(r);
  QStringList s = subjectsAndStarts(*r);
  EXPECT_FALSE(s.contains("Company holiday 05 00:00"));
  EXPECT_TRUE(s.contains("Weekly sync 10 10:00"));
  EXPECT_FALSE(s.contains("Weekly sync 03 10:00"));
  auto r2 = all->Restrict("[Start]<='2026-03-03 12:00' and [End]>'2026-03-03 10:30'");
  ASSERT_TRUE(r2);
  EXPECT_TRUE(subjectsAndStarts(*r2).contains("Weekly sync 03 10:00"));
  EXPECT_TRUE(subjectsAndStarts(*r2).contains("Trade fair 02 00:00"));
}

// Series every hour, quarter of an hour, minute and second: counted from
// their own start (the calendar library began them at midnight), on past
// the 10,000 occurrences the library stops at, up to the most a list holds,
// which the list then tells.
TEST(SubDailySeries, CountFromTheirStartPastTenThousandAndTellWhereTheyAreCut) {
  util::setUserLocale(QLocale(QStringLiteral("en_US")));
  lang::table().LoadLanguageTable(QStringLiteral(ORDOLO_SOURCE_SHARE "/language/English.txt"));
  QTemporaryDir dir;
  writeFile(dir.path() + "/store.ini", "[Store]\nUser=Test\n");
  auto event = [](const char* uid, const char* subject, const char* start, const char* rule, const char* extra = "") {
    return QByteArray("BEGIN:VEVENT\r\nUID:") + uid + "\r\nDTSTAMP:20260101T000000Z\r\nDTSTART:" + start +
           "\r\nDURATION:PT1S\r\nRRULE:" + rule + "\r\n" + extra + "SUMMARY:" + subject + "\r\nEND:VEVENT\r\n";
  };
  writeFile(dir.path() + "/Calendar/series.ics",
            "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Ordolo//Test//EN\r\n" +
                event("h", "Hourly", "20260301T093000Z", "FREQ=HOURLY") +
                event("q", "Quarterly", "20260301T093000Z", "FREQ=MINUTELY;INTERVAL=15;UNTIL=20260302T000000Z",
                      "EXDATE:20260301T100000Z\r\n") +
                event("m", "Minutely", "20260301T000000Z", "FREQ=MINUTELY") +
                event("s", "Secondly", "20260301T120000Z", "FREQ=SECONDLY") + "END:VCALENDAR\r\n");
  QString why;
  auto store = store::FileStore::open(dir.path(), &why);
  ASSERT_TRUE(store) << why.toStdString();
  auto all = store->folderByPath("Calendar")->GetItems();
  all->IncludeRecurrences = true;
  auto march = all->Restrict("[Start]<='2026-03-31 23:59' and [End]>'2026-03-01 00:00'", &why);
  ASSERT_TRUE(march) << why.toStdString();
  std::map<QString, std::vector<QDateTime>> starts;
  for (const auto& item : *march) starts[item->text("Subject")].push_back(item->date("Start").toUTC());
  for (auto& [subject, times] : starts) std::sort(times.begin(), times.end());

  const QDateTime nineThirty(QDate(2026, 3, 1), QTime(9, 30), Qt::UTC);
  ASSERT_FALSE(starts["Hourly"].empty());
  EXPECT_EQ(starts["Hourly"].front(), nineThirty);
  EXPECT_EQ(starts["Quarterly"].front(), nineThirty);
  // 09:30 to 00:00 the next day is 59 quarters; the one at 10:00 is excluded.
  EXPECT_EQ(starts["Quarterly"].size(), 58u);
  EXPECT_EQ(std::count(starts["Quarterly"].begin(), starts["Quarterly"].end(), nineThirty.addSecs(1800)), 0);
  EXPECT_EQ(starts["Quarterly"].back(), QDateTime(QDate(2026, 3, 2), QTime(0, 0), Qt::UTC));
  // A month of minutes, one apart.
  const auto& minutes = starts["Minutely"];
  EXPECT_GT(minutes.size(), 44000u);
  EXPECT_TRUE(std::adjacent_find(minutes.begin(), minutes.end(), [](const QDateTime& a, const QDateTime& b) {
                return a.secsTo(b) != 60;
              }) == minutes.end());
  // The seconds stop at the bound, from their start on, and the list says so.
  ASSERT_EQ(starts["Secondly"].size(), size_t(model::kMaxOccurrences));
  EXPECT_EQ(starts["Secondly"].front(), QDateTime(QDate(2026, 3, 1), QTime(12, 0), Qt::UTC));
  ASSERT_EQ(march->notices().size(), 1);
  EXPECT_TRUE(march->notices()[0].startsWith("Secondly: more than 100000 occurrences of the series from 3/1/2026"))
      << march->notices()[0].toStdString();
}

TEST(FilterLanguage, ReadsTheDateFormsItIsGiven) {
  util::setUserLocale(QLocale(QStringLiteral("en_US")));
  EXPECT_EQ(model::ParseFilterDate("3/1/2026 9:30AM"), at(2026, 3, 1, 9, 30));
  EXPECT_EQ(model::ParseFilterDate("3/1/2026 12:00 AM"), at(2026, 3, 1, 0, 0));
  EXPECT_EQ(model::ParseFilterDate("3/1/2026 12:15PM"), at(2026, 3, 1, 12, 15));
  EXPECT_EQ(model::ParseFilterDate("3/1/26"), at(2026, 3, 1));
  EXPECT_EQ(model::ParseFilterDate("2026-03-01 17:05"), at(2026, 3, 1, 17, 5));
  util::setUserLocale(QLocale(QStringLiteral("de_DE")));
  EXPECT_EQ(model::ParseFilterDate("01.03.2026 9:30"), at(2026, 3, 1, 9, 30));
  EXPECT_EQ(model::ParseFilterDate("31.12.2026"), at(2026, 12, 31));
  EXPECT_FALSE(model::ParseFilterDate("31.02.2026").isValid());
  EXPECT_FALSE(model::ParseFilterDate("13:00").isValid());
  EXPECT_FALSE(model::ParseFilterDate("1.3.2026 13:00PM").isValid());
  util::setUserLocale(QLocale(QStringLiteral("en_US")));
}

TEST(FilterLanguage, RejectsWhatItDoesNotUnderstandWithAReason) {
  const char* bad[] = {"",
                       "[Start]",
                       "[Start] ~ '1'",
                       "Start <= '1'",
                       "[Start]<='1' and",
                       "([Start]<='1'",
                       "[Start]<='1' xor [End]>'2'",
                       "[]='x'",
                       "[Subject]='open"};
  for (const char* text : bad) {
    QString why;
    EXPECT_FALSE(model::Filter::parse(QString::fromUtf8(text), &why)) << text;
    EXPECT_FALSE(why.isEmpty()) << text;
  }
  EXPECT_TRUE(model::Filter::parse("[LastModificationTime]>='2026-03-01 00:00' or [ReceivedTime]>='2026-03-01 00:00'"));
  EXPECT_TRUE(model::Filter::parse("not ([Subject] = \"x\") AND ([Importance] <> 2 OR [UnRead] = true)"));

  // Nesting and length are bounded (a fuzzer's 3,800 "(" overflowed the stack).
  QString why;
  const QString deep = QString(100, '(') + "[Subject]='x'" + QString(100, ')');
  EXPECT_FALSE(model::Filter::parse(QString(3800, '('), &why));
  EXPECT_TRUE(why.startsWith("more than 100 levels")) << why.toStdString();
  EXPECT_TRUE(model::Filter::parse(deep.mid(1, deep.size() - 2), &why)) << why.toStdString();
  EXPECT_FALSE(model::Filter::parse(deep, &why));
  EXPECT_FALSE(model::Filter::parse(QString(40, ' ') + QString("[Subject]='x' or ").repeated(1000) + "[Subject]='x'",
                                    &why));
  EXPECT_TRUE(why.startsWith("the filter is longer than 10000 characters")) << why.toStdString();
}

TEST_F(StoreTest, RestrictComparesByTypeAndRefusesNonDates) {
  QString why;
  EXPECT_FALSE(items("Calendar")->Restrict("[Start]<='next week'", &why));
  EXPECT_TRUE(why.contains("next week"));

  auto high = items("Tasks")->Restrict("[Importance] = 2 or [Subject] = 'WEEKLY REPORT'");
  ASSERT_TRUE(high);
  QStringList subjects;
  for (const auto& t : *high) subjects << t->text("Subject");
  EXPECT_EQ(subjects, QStringList({"Due only", "Weekly report"}));  // text compares ignore case

  // Date-only bounds include the whole last day when the filter says so.
  auto due = items("Tasks")->Restrict("[DueDate]<='2026-03-18 23:59' and [DueDate]>='2026-03-10 00:00'");
  ASSERT_TRUE(due);
  EXPECT_EQ(due->Count(), 2);

  auto mail = items("Inbox")->Restrict("[ReceivedTime]>='2026-03-04 00:00' and [ReceivedTime]<='2026-03-05 23:59'");
  ASSERT_TRUE(mail);
  mail->Sort("[ReceivedTime]", true);
  ASSERT_EQ(mail->Count(), 2);
  EXPECT_EQ(mail->Item(1)->text("Subject"), "Undelivered Mail Returned to Sender");
  EXPECT_EQ(mail->Item(2)->text("Subject"), "Recipients");
}

TEST_F(StoreTest, SortPutsItemsWithoutTheValueFirstAndKeepsTies) {
  auto tasks = items("Tasks");
  tasks->Sort("StartDate");
  QStringList order;
  for (const auto& t : *tasks) order << t->text("Subject");
  // No start date reads as 4501, the latest of all.
  EXPECT_EQ(order, QStringList({"Weekly report", "Starts at midnight", "Due only"}));
  auto contacts = items("Contacts");
  contacts->Sort("[FullName]");
  EXPECT_EQ(contacts->Item(1)->Class(), model::olDistributionList);  // lists have no FullName
}
