// The calendar grid of "Calendar" Word templates: month pages built from a
// real template (tests/data/word/grid.docx: a week of two rows, the day
// numbers with the week number above the entries), and the shipped
// ACalendar.dotx through LibreOffice to PDF.
#include <gtest/gtest.h>

#include <QRegularExpression>
#include <QTemporaryDir>

#include "lang/LanguageTable.h"
#include "office/convert/Converter.h"
#include "office/word/Document.h"
#include "layouts/Calendar.h"
#include "renderers/Dispatch.h"
#include "support/FakeItem.h"
#include "support/TestEnv.h"
#include "util/VbFormat.h"

using namespace ordolo;
using namespace ordolo::test;
namespace word = ordolo::office::word;

namespace {

QDateTime At(int y, int mo, int d, int h = 0, int mi = 0) { return {QDate(y, mo, d), QTime(h, mi)}; }

model::ItemPtr Appointment(const QString& subject, const QDateTime& start, const QDateTime& end, bool allDay = false) {
  auto a = FakeItem::make(model::olAppointment);
  a->set("Subject", subject).set("Start", start).set("End", end).set("AllDayEvent", allDay);
  return a;
}

model::ItemPtr AllDay(const QString& subject, const QDate& first, const QDate& last) {
  return Appointment(subject, QDateTime(first, QTime(0, 0)), QDateTime(last.addDays(1), QTime(0, 0)), true);
}

class Grid : public ::testing::Test {
 protected:
  void SetUp() override {
    lang::table().LoadLanguageTable(QStringLiteral(ORDOLO_SOURCE_SHARE "/language/English.txt"));
    util::setUserLocale(QLocale(QLocale::English, QLocale::UnitedStates));  // weeks start on Sunday
  }
  void TearDown() override { util::setUserLocale(util::localeFromEnvironment()); }

  // Fills `templ` with the items; the month range from the run header when
  // first and last are given.
  void build(const std::vector<model::ItemPtr>& items, QDate first = {}, QDate last = {},
             const QString& templ = QStringLiteral(ORDOLO_TEST_DATA "/word/grid.docx")) {
    office::Error error;
    doc = word::Document::create(templ, &error);
    ASSERT_TRUE(doc) << error.debugText().toStdString();
    header = tpl::RunHeader{};
    header.User = "Test User";
    header.Folder = "Calendar";
    header.First = first;
    header.Last = last;
    layouts::CalendarGrid grid;
    for (const auto& item : items) grid.add(*item);
    tpl::WordTarget target(*doc);
    written = grid.write(target, header);
  }

  QString cell(int table, int row, int column) const {
    auto r = doc->cellRange(table, row, column);
    return r ? doc->text(*r).remove(QChar(7)) : QStringLiteral("<none>");
  }
  // grid.docx: a heading row, then per week a row of day numbers (column 1
  // the week number) and a row of entries.
  int weeks(int page) const { return (doc->rowCount(page) - 1) / 2; }
  QStringList dayNumbers(int page, int week) const {
    QStringList out;
    for (int c = 2; c <= 8; ++c) out << cell(page, 2 + 2 * week, c);
    return out;
  }
  // The entry lines of a day of the month on the page.
  QStringList entries(int page, int day) const {
    for (int w = 0; w < weeks(page); ++w) {
      const int column = dayNumbers(page, w).indexOf(QString::number(day));
      if (column >= 0) {
        const QString text = cell(page, 3 + 2 * w, column + 2);
        return text.isEmpty() ? QStringList() : text.split(QLatin1Char('\r'));
      }
    }
    return {QStringLiteral("<no day %1>").arg(day)};
  }
  // The paragraphs outside the tables: each page's title, subtitle and last
  // line; a page break is '\f'.
  QStringList lines() const {
    QString text = doc->contentText();
    for (int t = doc->tableCount(); t >= 1; --t) {
      const auto first = doc->rowRange(t, 1), last = doc->rowRange(t, doc->rowCount(t));
      text.remove(first->start, last->end - first->start);
    }
    return text.split(QLatin1Char('\r'), Qt::SkipEmptyParts);
  }

  std::unique_ptr<word::Document> doc;
  tpl::RunHeader header;
  bool written = false;
};

const QRegularExpression kLeftover("#[A-Z]");

}  // namespace

TEST(CalendarGridDispatch, WordCalendarTemplatesTakeEveryKind) {
  for (int cls : {model::olAppointment, model::olTask, model::olMail, model::olContact})
    EXPECT_EQ(renderers::RendererFor(cls, true), renderers::Renderer::CalendarGrid) << cls;
  EXPECT_EQ(renderers::RendererFor(model::olAppointment, false), renderers::Renderer::Appointment);
}

// March 2026 begins on a Sunday: the first column with a Sunday start,
// the last one (and a sixth week) with a Monday start.
TEST_F(Grid, MonthStartsInTheColumnOfItsWeekday) {
  build({}, QDate(2026, 3, 1), QDate(2026, 3, 31));
  ASSERT_TRUE(written);
  ASSERT_EQ(doc->tableCount(), 1);
  ASSERT_EQ(weeks(1), 5);
  EXPECT_EQ(dayNumbers(1, 0), QStringList({"1", "2", "3", "4", "5", "6", "7"}));
  EXPECT_EQ(dayNumbers(1, 4), QStringList({"29", "30", "31", "", "", "", ""}));
  EXPECT_EQ(cell(1, 1, 2), "Sunday");
  EXPECT_EQ(cell(1, 1, 8), "Saturday");
  // ISO week numbers of Sunday-first rows: the row's Thursday decides.
  EXPECT_EQ(cell(1, 2, 1), "10");
  EXPECT_EQ(cell(1, 10, 1), "14");

  util::setUserLocale(QLocale(QLocale::German, QLocale::Germany));
  build({}, QDate(2026, 3, 1), QDate(2026, 3, 31));
  ASSERT_EQ(weeks(1), 6);
  EXPECT_EQ(dayNumbers(1, 0), QStringList({"", "", "", "", "", "", "1"}));
  EXPECT_EQ(dayNumbers(1, 1), QStringList({"2", "3", "4", "5", "6", "7", "8"}));
  EXPECT_EQ(dayNumbers(1, 5), QStringList({"30", "31", "", "", "", "", ""}));
  EXPECT_EQ(cell(1, 1, 2), "Monday");  // the names come from the language table
  EXPECT_EQ(cell(1, 1, 8), "Sunday");
  EXPECT_EQ(cell(1, 2, 1), "9");
  EXPECT_EQ(cell(1, 12, 1), "14");
  EXPECT_EQ(lines(), QStringList({"March 2026", "Calendar for Test User", "End 3"}));
  EXPECT_FALSE(doc->searchedText().contains(kLeftover)) << doc->searchedText().toStdString();
}

TEST_F(Grid, FebruaryTakesFourToFiveWeeks) {
  util::setUserLocale(QLocale(QLocale::German, QLocale::Germany));
  // 2028 is a leap year; 1 February is a Tuesday.
  build({AllDay("Leap day", QDate(2028, 2, 29), QDate(2028, 2, 29))}, QDate(2028, 2, 1), QDate(2028, 2, 29));
  ASSERT_EQ(weeks(1), 5);
  EXPECT_EQ(dayNumbers(1, 0), QStringList({"", "1", "2", "3", "4", "5", "6"}));
  EXPECT_EQ(dayNumbers(1, 4), QStringList({"28", "29", "", "", "", "", ""}));
  EXPECT_EQ(entries(1, 29), QStringList{"Leap day"});
  EXPECT_EQ(entries(1, 28), QStringList());

  // February 2027 starts on a Monday and fills exactly four weeks.
  build({}, QDate(2027, 2, 1), QDate(2027, 2, 28));
  ASSERT_EQ(weeks(1), 4);
  EXPECT_EQ(dayNumbers(1, 0).first(), "1");
  EXPECT_EQ(dayNumbers(1, 3).last(), "28");
}

TEST_F(Grid, ItemsAppearOnEveryDayTheyCover) {
  build({Appointment("Trip", At(2026, 2, 27, 9), At(2026, 3, 2, 10)),
         Appointment("Late show", At(2026, 3, 10, 22), At(2026, 3, 11, 0)),
         AllDay("Fair", QDate(2026, 3, 30), QDate(2026, 3, 31))},
        QDate(2026, 2, 1), QDate(2026, 3, 31));
  ASSERT_TRUE(written);
  ASSERT_EQ(doc->tableCount(), 2);
  EXPECT_EQ(lines(), QStringList({"February 2026", "Calendar for Test User", "End 2", "\fMarch 2026",
                                  "Calendar for Test User", "End 3"}));
  const QString nine = util::Format(At(2026, 2, 27, 9), "Short Time");
  // On its first day with its time, on the days after without one.
  EXPECT_EQ(entries(1, 27), QStringList{nine + " Trip"});
  EXPECT_EQ(entries(1, 28), QStringList{"Trip"});
  EXPECT_EQ(entries(2, 1), QStringList{"Trip"});
  EXPECT_EQ(entries(2, 2), QStringList{"Trip"});
  EXPECT_EQ(entries(2, 3), QStringList());
  // Ending at midnight leaves the next day free; so does an all-day end.
  EXPECT_EQ(entries(2, 10).size(), 1);
  EXPECT_EQ(entries(2, 11), QStringList());
  EXPECT_EQ(entries(2, 30), QStringList{"Fair"});
  EXPECT_EQ(entries(2, 31), QStringList{"Fair"});
  EXPECT_FALSE(doc->searchedText().contains(kLeftover)) << doc->searchedText().toStdString();
}

TEST_F(Grid, AllDayItemsComeFirstThenTimedOnesByStart) {
  const QDate day(2026, 3, 12);
  build({Appointment("Review", QDateTime(day, QTime(14, 0)), QDateTime(day, QTime(15, 0))),
         Appointment("Stand-up", QDateTime(day, QTime(8, 30)), QDateTime(day, QTime(8, 45))),
         AllDay("Holiday", day, day),
         Appointment("Night shift", QDateTime(day.addDays(-1), QTime(22, 0)), QDateTime(day, QTime(6, 0))),
         AllDay("Fair", day.addDays(-2), day.addDays(1)),
         Appointment("Call ^1 \\ C:\\x", QDateTime(day, QTime(8, 30)), QDateTime(day, QTime(9, 0)))},
        QDate(2026, 3, 1), QDate(2026, 3, 31));
  // The untimed ones by start: a night shift from the evening before
  // comes before the day's own all-day item.
  auto time = [&](int h, int m) { return util::Format(QDateTime(day, QTime(h, m)), "Short Time"); };
  EXPECT_EQ(entries(1, 12), QStringList({"Fair", "Night shift", "Holiday", time(8, 30) + " Stand-up",
                                         time(8, 30) + " Call ^1 \\ C:\\x", time(14, 0) + " Review"}));
}

TEST_F(Grid, MonthsComeFromTheRunHeaderElseFromTheItems) {
  auto task = FakeItem::make(model::olTask), undated = FakeItem::make(model::olTask);
  task->set("Subject", "Report due").set("StartDate", At(2026, 1, 5)).set("DueDate", At(2026, 3, 20));
  undated->set("Subject", "Someday").set("DueDate", model::NoDate());
  auto contact = FakeItem::make(model::olContact), mail = FakeItem::make(model::olMail);
  contact->set("Subject", "Anna").set("CreationTime", At(2025, 6, 1));
  mail->set("Subject", "Hello").set("ReceivedTime", At(2026, 1, 15, 7, 5));
  const std::vector<model::ItemPtr> items{task, undated, contact, mail};

  // Without a range, the months that hold items: a task stands on its due
  // day, a mail at its time; undated items and contacts are left out, and
  // February, which holds nothing, is not printed.
  build(items);
  ASSERT_TRUE(written);
  ASSERT_EQ(doc->tableCount(), 2);
  EXPECT_EQ(lines().filter("2026"), QStringList({"January 2026", "\fMarch 2026"}));
  EXPECT_EQ(entries(1, 15), QStringList{util::Format(At(2026, 1, 15, 7, 5), "Short Time") + " Hello"});
  EXPECT_EQ(entries(2, 20), QStringList{"Report due"});
  EXPECT_EQ(entries(1, 5), QStringList());
  EXPECT_FALSE(doc->contentText().contains(QRegularExpression("Someday|Anna")));

  // The range decides, also where it shows none of the items.
  build(items, QDate(2026, 2, 10), QDate(2026, 2, 20));
  ASSERT_EQ(doc->tableCount(), 1);
  EXPECT_EQ(lines().first(), "February 2026");

  // Nothing dated and no range: nothing to write, the template is left.
  build({undated, contact});
  EXPECT_FALSE(written);
  EXPECT_TRUE(doc->contentText().contains("#MonthName"));
}

// The shipped template through LibreOffice: one landscape page per month,
// every value in it, nothing of the template's vocabulary left.
TEST_F(Grid, ShippedTemplatePrintsAPagePerMonth) {
  if (office::convert::Converter::findProgram().isEmpty()) GTEST_SKIP() << "LibreOffice is not installed";
  util::setUserLocale(QLocale(QLocale::German, QLocale::Germany));
  lang::table().LoadLanguageTable(QStringLiteral(ORDOLO_SOURCE_SHARE "/language/Deutsch.txt"));
  std::vector<model::ItemPtr> items;
  for (int d = 1; d <= 28; d += 3)
    items.push_back(Appointment(QStringLiteral("Termin %1").arg(d), At(2026, 2, d, 9), At(2026, 2, d, 10)));
  items.push_back(Appointment("Reise", At(2026, 2, 27, 18), At(2026, 3, 2, 12)));
  build(items, QDate(2026, 1, 1), QDate(2026, 3, 31),
        QStringLiteral(ORDOLO_SOURCE_DIR "/examples/templates/ACalendar.dotx"));
  ASSERT_TRUE(written);
  QTemporaryDir dir;
  office::Error error;
  ASSERT_TRUE(doc->saveAs(dir.filePath("ACalendar.docx"), &error)) << error.debugText().toStdString();
  const auto pdf = office::convert::Converter().toPdf({dir.filePath("ACalendar.docx")}, dir.path());
  ASSERT_TRUE(pdf.size() == 1 && pdf[0].ok());
  const QStringList pages = pdfText(pdf[0].output, true).split(QChar(12), Qt::SkipEmptyParts);
  ASSERT_EQ(pages.size(), 3) << pages.join("\n----\n").toStdString();
  for (const char* title : {"Januar 2026", "Februar 2026", "März 2026"})
    EXPECT_EQ(pages.filter(QString::fromUtf8(title)).size(), 1) << title;
  EXPECT_TRUE(pages[0]
                  .contains(QRegularExpression("Montag +Dienstag +Mittwoch +Donnerstag +Freitag +Samstag +Sonntag")))
      << pages[0].toStdString();
  for (int d = 1; d <= 28; d += 3) EXPECT_TRUE(pages[1].contains(QStringLiteral("Termin %1").arg(d))) << d;
  EXPECT_EQ(pages[1].count("Reise"), 2);
  EXPECT_EQ(pages[2].count("Reise"), 2);
  for (const QString& page : pages) EXPECT_FALSE(page.contains(kLeftover)) << page.toStdString();
}
