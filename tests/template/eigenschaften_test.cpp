// The placeholders every item shares, filled into real documents made by
// LibreOffice (tests/data/word/common.docx, tests/data/excel/list.xltx).
#include "lang/LanguageTable.h"
#include "office/word/Document.h"
#include "support/FakeItem.h"
#include "support/TestEnv.h"
#include "template/Eigenschaften.h"
#include "template/ExcelOutput.h"
#include "template/WordTarget.h"
#include "util/VbFormat.h"

#include <gtest/gtest.h>

using namespace ordolo;
using namespace ordolo::tpl;
using ordolo::test::FakeItem;

namespace {

// The shipped language files, as a user who picked the language has them.
void Use(const char* languageFile, const QLocale& locale) {
  lang::table().LoadLanguageTable(QStringLiteral(ORDOLO_SOURCE_SHARE "/language/") + QString::fromUtf8(languageFile));
  util::setUserLocale(locale);
}

QDateTime At(int y, int mo, int d, int h = 0, int mi = 0, int s = 0) { return {QDate(y, mo, d), QTime(h, mi, s)}; }
QString Day(const QDateTime& t) { return util::Format(t, QStringLiteral("Short Date")); }
QString DayTime(const QDateTime& t) { return Day(t) + ' ' + util::Format(t, QStringLiteral("Short Time")); }

class CommonFill : public ::testing::Test {
 protected:
  void SetUp() override { Use("English.txt", QLocale(QLocale::English, QLocale::UnitedStates)); }
  void TearDown() override { util::setUserLocale(util::localeFromEnvironment()); }

  void open() {
    office::Error error;
    doc = office::word::Document::create(QStringLiteral(ORDOLO_TEST_DATA "/word/common.docx"), &error);
    ASSERT_TRUE(doc) << error.debugText().toStdString();
    st = std::make_unique<WordTarget>(*doc);
  }
  // Asserts that the main text holds `part`.
  void has(const QString& part) { EXPECT_TRUE(doc->contentText().contains(part)) << doc->contentText().toStdString(); }

  std::unique_ptr<office::word::Document> doc;
  std::unique_ptr<WordTarget> st;  // the document as the target
};

}  // namespace

TEST_F(CommonFill, PropertyLoopFormatsDatesTextsAndSkipsWhatItMust) {
  open();
  auto item = FakeItem::make();
  item->set("Subject", "Budget review")
      .set("CreationTime", At(2024, 3, 12, 9, 5), model::olDateTime)
      .set("LastModificationTime", At(2024, 3, 13, 17, 30), model::olDateTime)
      .set("ReplyTime", model::NoDate(), model::olDateTime)
      .set("DueDate", At(2024, 3, 15), model::olDateTime)
      .set("ReminderTime", At(2024, 3, 15, 0, 0, 1), model::olDateTime)
      .set("AllDayEvent", true, model::olYesNo)
      .set("Notes", "Agenda\r\nBudget ^p 5^2\nQuestions")
      .set("Location", QVariant())  // cannot be read
      .set("Body", "brought in by the body placeholders")
      .set("Organizer", "Anna Berger");
  FillCommonPlaceholders(*st, *item);

  has("Subject: Budget review\rCreated " + DayTime(At(2024, 3, 12, 9, 5)) + ", changed " +
      DayTime(At(2024, 3, 13, 17, 30)) + "\r");
  // 4501 is no date; midnight is a day; one second past midnight has a time.
  has("Reply [] due [" + Day(At(2024, 3, 15)) + "] remind [" + DayTime(At(2024, 3, 15, 0, 0, 1)) + "]\r");
  has("All day [Yes] recurring [#IsRecurring]\r");
  // Line breaks inside the one paragraph; the item's carets are not codes.
  has("Notes [Agenda\vBudget ^p 5^2\vQuestions]\r");
  has("location [#Location]\rBody [#Body]\r");
  EXPECT_EQ(doc->storyText(doc->story(office::word::StoryType::PrimaryHeader)), "Head #User for Anna Berger\r");
}

TEST_F(CommonFill, GermanRun) {
  Use("Deutsch.txt", QLocale(QLocale::German, QLocale::Germany));
  open();
  auto item = FakeItem::make();
  item->set("AllDayEvent", true, model::olYesNo).set("IsRecurring", false, model::olYesNo);
  item->set("DueDate", At(2024, 3, 15), model::olDateTime).set("Sensitivity", 1, model::olNumber);
  // Renderers fill their own placeholders first; the loop would put the bare number into "#Sensitivity".
  FillSensitivity(*st, *item, QString());
  FillCommonPlaceholders(*st, *item);
  has("All day [Ja] recurring [Nein]\r");
  has("due [15.03.2024]");
  has(QStringLiteral("sensitivity [Persönlich]\r"));
  EXPECT_EQ(DurationText(90), "1,5 Stunden");
  EXPECT_EQ(DurationText(720), "0,5 Tage");
  EXPECT_EQ(DurationText(1), "1 Minute");
}

TEST_F(CommonFill, DurationTextInEnglish) {
  const std::pair<int, const char*> cases[] = {
      {0, "0 hours"},    {1, "1 minute"},      {30, "30 minutes"}, {60, "1 hour"},     {61, "61 minutes"},
      {90, "1.5 hours"}, {100, "100 minutes"}, {120, "2 hours"},   {150, "2.5 hours"}, {720, "0.5 days"},
      {1440, "1 day"},   {1500, "25 hours"},   {2160, "1.5 days"}, {2880, "2 days"}};
  for (const auto& [minutes, text] : cases) EXPECT_EQ(DurationText(minutes), QString::fromLatin1(text)) << minutes;
}

TEST_F(CommonFill, OccurrenceTakesFieldsKeptOnlyOnItsSeries) {
  auto series = FakeItem::make();
  series->set("SeriesNote", "Bring the slides").set("Location", "Main hall");
  auto occurrence = FakeItem::make();
  occurrence->set("Location", "Room 4").parent = series;
  open();
  FillCommonPlaceholders(*st, *occurrence);
  has("Series [Bring the slides] location [Room 4]\r");
}

TEST_F(CommonFill, SensitivityInTheLanguageTextsOrderAndImportanceMarks) {
  const std::pair<int, const char*> sensitivity[] = {
      {0, "Public"}, {1, "Personal"}, {2, "Private"}, {3, "Confidential"}, {7, "#Sensitivity"}};
  for (const auto& [value, word] : sensitivity) {
    open();
    auto item = FakeItem::make(model::olMail);
    FillSensitivity(*st, item->set("Sensitivity", value, model::olNumber), QString());
    has(QStringLiteral("sensitivity [%1]\r").arg(QLatin1String(word)));
  }
  auto high = FakeItem::make(model::olMail);
  EXPECT_EQ(FillImportance(*st, high->set("Importance", 2, model::olNumber), QString()), "!");
  has("Importance [!] sensitivity [#Sensitivity]");  // the last document: sensitivity 7 is no value
}

TEST_F(CommonFill, RecipientLists) {
  open();
  auto mail = FakeItem::make(model::olMail);
  mail->recipients = {{"'anna@example.org'", "anna@example.org", model::olTo},
                      {"Bob Miller", "bob@example.org", model::olCC},
                      {"'carl@example.org'", "c.x@example.org", model::olTo},  // quoted, another address
                      {"Dora", "dora@example.org", model::olBCC},
                      {"Organizer", "org@example.org", model::olOrganizer}};  // in no list
  FillRecipients(*st, *mail);
  has("To [anna@example.org; carl@example.org] CC [Bob Miller] BCC [Dora] "
      "all [anna@example.org; Bob Miller; carl@example.org; Dora]\r");
  has("HTo [anna@example.org; carl@example.org <c.x@example.org>] HCC [Bob Miller <bob@example.org>] "
      "HBCC [Dora <dora@example.org>] Hall [anna@example.org; Bob Miller <bob@example.org>; "
      "carl@example.org <c.x@example.org>; Dora <dora@example.org>]\r");

  open();  // only a blind copy, one entry
  mail->recipients = {{"Dora", "dora@example.org", model::olBCC}};
  FillRecipients(*st, *mail);
  has("To [] CC [] BCC [Dora] all [Dora]\rHTo [] HCC [] HBCC [Dora <dora@example.org>] Hall [Dora <dora@example.org>]\r");
}

TEST_F(CommonFill, ExcelPropertiesAreFoundInEachItemsBlockCopy) {
  ExcelOutput output;
  QString error;
  ASSERT_TRUE(output.Open(QStringLiteral(ORDOLO_TEST_DATA "/excel/list.xltx"), &error)) << error.toStdString();
  for (int n = 1; n <= 2; ++n) {
    output.BeginItem();
    auto item = FakeItem::make();
    item->set("Subject", QStringLiteral("Item %1").arg(n)).set("Location", QStringLiteral("Room %1\nback").arg(n));
    item->set("StartDate", At(2024, 3, 10 + n), model::olDateTime).set("DurationMin", 30 * n, model::olNumber);
    FillCommonPlaceholders(output, *item);
  }
  office::excel::Worksheet* sheet = output.workbook()->ActiveSheet();
  for (int n = 1, row = 3; n <= 2; ++n, row += 2) {
    EXPECT_EQ(sheet->Text(row, 1), QStringLiteral("Item %1").arg(n));
    EXPECT_EQ(sheet->Text(row, 2), Day(At(2024, 3, 10 + n)));
    EXPECT_EQ(sheet->Text(row + 1, 1), QStringLiteral("Room %1\nback").arg(n));
    EXPECT_EQ(sheet->Value(row + 1, 3).number, 30 * n);
  }
}
