// The calendar list, task, note and journal renderers on a real Word
// document (tests/data/word/calendar.docx), and the recurrence wording in
// the three shipped languages.
#include <gtest/gtest.h>

#include "lang/LanguageTable.h"
#include "office/word/Document.h"
#include "renderers/Appointment.h"
#include "renderers/Dispatch.h"
#include "renderers/Journal.h"
#include "renderers/Tasks.h"
#include "store/FileStore.h"
#include "store/StoreFixture.h"
#include "support/FakeItem.h"
#include "template/Eigenschaften.h"
#include "template/WordTarget.h"
#include "util/VbFormat.h"

using namespace ordolo;
using namespace ordolo::test;
namespace word = ordolo::office::word;
using renderers::Renderer;

namespace {

void Language(const char* file) {
  lang::table().LoadLanguageTable(QStringLiteral(ORDOLO_SOURCE_SHARE "/language/") + QString::fromUtf8(file));
}

class CalendarFill : public StoreTest {
 protected:
  void SetUp() override {
    StoreTest::SetUp();
    Language("English.txt");
    util::setUserLocale(QLocale(QLocale::English, QLocale::UnitedStates));
    st.LastStartDate = at(3000, 1, 1);
    st.GroupKey = st.PrevGroupKey = QStringLiteral("z#@");
    st.ItemCounter = 1;
  }
  void TearDown() override { util::setUserLocale(util::localeFromEnvironment()); }

  // Each item fills a fresh copy of the document; the run state goes on.
  void render(const model::ItemPtr& item, Renderer renderer = Renderer::Appointment) {
    office::Error error;
    doc = word::Document::create(QStringLiteral(ORDOLO_TEST_DATA "/word/calendar.docx"), &error);
    ASSERT_TRUE(doc) << error.debugText().toStdString();
    target = std::make_unique<tpl::WordTarget>(*doc);
    ++st.ItemCounter;
    renderers::RenderContext ctx{st, *target, item, report, store.get()};
    renderers::Render(renderer, ctx);
  }
  // The text of the paragraph that starts with `start`.
  QString line(const QString& start) const {
    for (const QString& p : doc->contentText().split(QLatin1Char('\r')))
      if (p.startsWith(start)) return p;
    return QStringLiteral("<none>");
  }

  std::unique_ptr<word::Document> doc;
  std::unique_ptr<tpl::WordTarget> target;
  tpl::RunState st;
  renderers::StateReporter report{st};
};

std::shared_ptr<FakeItem> Appointment(const QDateTime& start, const QDateTime& end, bool allDay = false) {
  auto a = FakeItem::make(model::olAppointment);
  a->set("Subject", "Meeting")
      .set("Start", start, model::olDateTime)
      .set("End", end, model::olDateTime)
      .set("Duration", start.secsTo(end) / 60, model::olNumber)
      .set("AllDayEvent", allDay, model::olYesNo)
      .set("BusyStatus", 2, model::olNumber)
      .set("ResponseRequested", true, model::olYesNo);
  return a;
}

// An item with a recurrence pattern.
class Recurring : public FakeItem {
 public:
  explicit Recurring(model::RecurrencePattern p, int cls = model::olAppointment)
      : FakeItem(cls), pattern(std::move(p)) {}
  std::optional<model::RecurrencePattern> GetRecurrencePattern() const override { return pattern; }
  model::RecurrencePattern pattern;
};

model::RecurrencePattern Pattern(int type, int interval = 1) {
  model::RecurrencePattern p;
  p.RecurrenceType = type;
  p.Interval = interval;
  p.NoEndDate = true;
  p.PatternEndDate = model::NoDate();
  return p;
}

}  // namespace

TEST_F(CalendarFill, DayHeadingOncePerDayAndGroup) {
  render(Appointment(at(2026, 3, 2, 9, 30), at(2026, 3, 2, 10, 30)));
  EXPECT_EQ(line("Day"), "Day [][][Monday, 2. March 2026][Mon 3/2/2026][][] for #User");

  // Same day, unsorted list: no heading and no break.
  render(Appointment(at(2026, 3, 2, 14, 0), at(2026, 3, 2, 15, 0)));
  EXPECT_EQ(line("Day"), "Day [][][][][][] for #User");

  // Same day in a list sorted by a column whose key changes: a new group
  // with its heading and breaks.
  st.Grouped = true;
  st.PrevGroupKey = "Room A";
  st.GroupKey = "Room B";
  render(Appointment(at(2026, 3, 2, 16, 0), at(2026, 3, 2, 17, 0)));
  EXPECT_TRUE(doc->contentText().startsWith("Day [][][Monday, 2. March 2026][Mon 3/2/2026][\r][\r\f]"))
      << doc->contentText().toStdString();

  // A new day inside the same group: a page, but no paragraph.
  st.PrevGroupKey = st.GroupKey;
  render(Appointment(at(2026, 3, 3, 9, 0), at(2026, 3, 3, 10, 0)));
  EXPECT_TRUE(doc->contentText().startsWith("Day [][][Tuesday, 3. March 2026][Tue 3/3/2026][][\r\f]"))
      << doc->contentText().toStdString();
}

TEST_F(CalendarFill, WeekSeparatorsBeforeSundayAndAfterIt) {
  render(Appointment(at(2026, 3, 7, 9, 0), at(2026, 3, 7, 10, 0)));  // Saturday
  EXPECT_TRUE(line("Day").startsWith("Day [][][Saturday"));
  render(Appointment(at(2026, 3, 8, 9, 0), at(2026, 3, 8, 10, 0)));  // Sunday
  EXPECT_TRUE(doc->contentText().startsWith("Day [\r][][Sunday")) << doc->contentText().toStdString();
  render(Appointment(at(2026, 3, 9, 9, 0), at(2026, 3, 9, 10, 0)));  // Monday
  EXPECT_TRUE(doc->contentText().startsWith("Day [][\r][Monday")) << doc->contentText().toStdString();
}

TEST_F(CalendarFill, TimesOfTimedAndAllDayAppointments) {
  render(Appointment(at(2026, 3, 2, 9, 30), at(2026, 3, 2, 11, 0)));
  EXPECT_EQ(line("Time"), "Time [09:30][11:00][Monday, 2. March 2026  09:30][Monday, 2. March 2026  11:00][1.5 hours]");

  // Ending on the next day: the end time carries its date.
  render(Appointment(at(2026, 3, 8, 22, 0), at(2026, 3, 9, 1, 30)));
  EXPECT_EQ(
      line("Time"),
      "Time [22:00][Monday, 9. March 2026  01:30][Sunday, 8. March 2026  22:00][Monday, 9. March 2026  01:30][3.5 hours]");

  // All day, one day: the last day is the end minus one day, so no end time.
  render(Appointment(at(2026, 3, 2), at(2026, 3, 3), true));
  EXPECT_EQ(line("Time"), "Time [][][Monday, 2. March 2026][Monday, 2. March 2026][1 day]");

  // All day from Monday to Wednesday.
  render(Appointment(at(2026, 3, 2), at(2026, 3, 5), true));
  EXPECT_EQ(line("Time"), "Time [][Wednesday, 4. March 2026][Monday, 2. March 2026][Wednesday, 4. March 2026][3 days]");
}

TEST_F(CalendarFill, StatusAttendeesAndColourLabel) {
  auto a = Appointment(at(2026, 3, 2, 9, 30), at(2026, 3, 2, 10, 30));
  a->set("MeetingStatus", 1, model::olNumber)
      .set("Organizer", "Anna Berger")
      .set("RequiredAttendees", "Ben Roth; Carla Diaz")
      .set("OptionalAttendees", "")
      .set("Resources", "");
  a->recipients = {{"Anna Berger", "anna@example.org", 0, 1},
                   {"Ben Roth", "ben@example.org", 1, 3},
                   {"Room 2", "room2@example.org", 3, 0}};
  render(a);
  EXPECT_EQ(line("Status"), "Status [Busy][Meeting (Anna Berger)][Yes][][]");
  EXPECT_EQ(doc->contentText().section("Attendees [", 1).section("]", 0, 0), "Anna Berger; Ben Roth; Carla Diaz");
  EXPECT_TRUE(doc->contentText()
                  .contains("[Anna Berger <anna@example.org> Organized\rBen Roth <ben@example.org> Accepted]"))
      << doc->contentText().toStdString();

  // Not asked to respond: the regenerate text and "None" (the flag is read,
  // not the response). A busy state the text does not know is left to the
  // property placeholders (its number); a meeting state it does not know
  // gives nothing.
  a->set("ResponseRequested", false, model::olYesNo)
      .set("BusyStatus", 7, model::olNumber)
      .set("MeetingStatus", 0, model::olNumber)
      .set("Organizer", "")
      .set("Resources", "Room 2");
  render(a);
  EXPECT_EQ(line("Status"), "Status [7][][(regenerate after completion)][None][]");
  EXPECT_EQ(doc->contentText().section("Attendees [", 1).section("]", 0, 0), "Ben Roth; Carla Diaz; Room 2");

  // The store keeps the colour label; 2 is "Business".
  render(bySubject("Calendar", "Project review"));
  EXPECT_TRUE(line("Status").endsWith("[Business]")) << line("Status").toStdString();
}

TEST_F(CalendarFill, BirthdaysOfTheDayFromTheContacts) {
  render(Appointment(at(2026, 3, 12, 9, 0), at(2026, 3, 12, 10, 0)));
  EXPECT_EQ(line("Birthdays"), "Birthdays [Jonas Keller]");
  // The second appointment of the day leaves the heading's birthdays empty.
  render(Appointment(at(2026, 3, 12, 11, 0), at(2026, 3, 12, 12, 0)));
  EXPECT_EQ(line("Birthdays"), "Birthdays []");
}

TEST_F(CalendarFill, TasksNotesAndJournalEntries) {
  auto task = FakeItem::make(model::olTask);
  task->set("StartDate", model::NoDate(), model::olDateTime)
      .set("ReminderSet", true, model::olYesNo)
      .set("ReminderTime", at(2026, 3, 2), model::olDateTime)
      .set("TotalWork", 239, model::olNumber)
      .set("ActualWork", 240, model::olNumber)
      .set("Status", 1, model::olNumber)
      .set("PercentComplete", 50, model::olNumber);
  render(task, Renderer::Task);
  EXPECT_EQ(line("Task"), "Task [][][Mon 3/2/2026][" + tpl::DurationText(239) + "][" + tpl::DurationText(720) +
                              "][In Progress][50%]");

  task->set("StartDate", at(2026, 3, 3), model::olDateTime)
      .set("ReminderTime", at(2026, 3, 2, 8, 15), model::olDateTime);
  render(task, Renderer::Task);
  EXPECT_TRUE(line("Task").startsWith("Task [3/3/2026][][3/2/2026 8:15 AM]")) << line("Task").toStdString();
  task->set("StartDate", at(2026, 3, 4, 14, 0), model::olDateTime);
  render(task, Renderer::Task);
  EXPECT_TRUE(line("Task").startsWith("Task [3/4/2026][2:00 PM]")) << line("Task").toStdString();

  // Note colours: yellow is 3, white 4; one the text does not know is left
  // to the property placeholders.
  auto note = FakeItem::make(model::olNote);
  for (const auto& [color, text] :
       std::vector<std::pair<int, QString>>{{3, "Yellow"}, {4, "White"}, {0, "Blue"}, {7, "7"}}) {
    note->set("Color", color, model::olNumber);
    render(note, Renderer::Note);
    EXPECT_TRUE(line("Other").startsWith("Other [" + text + "]")) << color;
  }

  auto entry = FakeItem::make(model::olJournal);
  entry->set("Type", "Phone Call");
  render(entry, Renderer::Journal);
  EXPECT_EQ(line("Other"), "Other [#Color][" + lang::GetLangText("Text19") + "][Phone Call]");
  entry->set("Type", "Carrier pigeon");
  EXPECT_EQ(renderers::JournalTypeText(*entry), "Carrier pigeon");
}

TEST(RecurrenceWording, ReadsAsASentenceInEachLanguage) {
  auto weekly = Pattern(model::olRecursWeekly, 2);
  weekly.DayOfWeekMask = 2 | 8;  // Monday, Wednesday
  weekly.NoEndDate = false;
  weekly.PatternEndDate = at(2026, 12, 31);
  auto sundayMonday = Pattern(model::olRecursWeekly);
  sundayMonday.DayOfWeekMask = 1 | 2;
  auto lastFriday = Pattern(model::olRecursMonthNth);
  lastFriday.Instance = 5;
  lastFriday.DayOfWeekMask = 32;
  auto quarterly = Pattern(model::olRecursMonthly, 3);
  quarterly.DayOfMonth = 1;
  auto yearly = Pattern(model::olRecursYearly);
  yearly.DayOfMonth = 14;
  yearly.MonthOfYear = 3;
  auto lastSundayOfMarch = Pattern(model::olRecursYearNth);
  lastSundayOfMarch.Instance = 5;
  lastSundayOfMarch.DayOfWeekMask = 1;
  lastSundayOfMarch.MonthOfYear = 3;

  struct Case {
    const char* file;
    QLocale locale;
    QStringList texts;
  };
  const std::vector<Case> cases = {
      {"English.txt",
       QLocale(QLocale::English, QLocale::UnitedStates),
       {"Weekly|every 2. week on Monday, Wednesday until 12/31/2026", "Weekly|every week on Sunday, Monday",
        "Daily|every day", "Monthly|every month on last Friday", "Monthly|every 3. month on 1.",
        "Yearly|every year on 14. March", "Yearly|every year on last Sunday in March"}},
      {"Deutsch.txt",
       QLocale(QLocale::German, QLocale::Germany),
       {"Wöchentlich|jede 2. Woche am Montag, Mittwoch bis 31.12.2026", "Wöchentlich|jede Woche am Montag, Sonntag",
        "Täglich|jeden Tag", "Monatlich|jeden Monat am letztem Freitag", "Monatlich|jeden 3. Monat am 1.",
        "Jährlich|jedes Jahr am 14. März", "Jährlich|jedes Jahr am letztem Sonntag im März"}},
      {"Français.txt",
       QLocale(QLocale::French, QLocale::France),
       {"Hebdomadaire|chaque 2. semaine le lundi, mercredi jusqu'au 31/12/2026",
        "Hebdomadaire|chaque semaine le lundi, dimanche", "Quotidien|chaque jour",
        "Mensuel|chaque mois le dernier vendredi", "Mensuel|chaque 3. mois le 1.", "Annuel|chaque année le 14. mars",
        "Annuel|chaque année le dernier dimanche en mars"}},
  };
  for (const Case& c : cases) {
    Language(c.file);
    util::setUserLocale(c.locale);
    QStringList texts;
    for (const auto& p :
         {weekly, sundayMonday, Pattern(model::olRecursDaily), lastFriday, quarterly, yearly, lastSundayOfMarch}) {
      const auto d = renderers::DescribeRecurrence(Recurring(p), false);
      texts << d.type + "|" + d.pattern;
    }
    EXPECT_EQ(texts, c.texts) << c.file;
  }
  util::setUserLocale(util::localeFromEnvironment());
  Language("English.txt");

  // A single appointment has no wording; a regenerating daily task asks the
  // store for its kind, and without an answer no kind is known.
  EXPECT_EQ(renderers::DescribeRecurrence(*FakeItem::make(), false).pattern, "");
  auto regenerate = Pattern(model::olRecursDaily);
  regenerate.Regenerate = true;
  EXPECT_EQ(renderers::DescribeRecurrence(Recurring(regenerate, model::olTask), true).pattern, "");
  EXPECT_EQ(renderers::DescribeRecurrence(Recurring(regenerate, model::olTask), false).pattern, "every day");
}

TEST(RecurrenceWording, SeriesAsTheSampleStoreKeepsThem) {
  Language("English.txt");
  util::setUserLocale(QLocale(QLocale::English, QLocale::UnitedStates));
  QString why;
  auto store = store::FileStore::open(QStringLiteral(ORDOLO_SOURCE_DIR "/examples/store"), &why);
  ASSERT_TRUE(store) << why.toStdString();
  QStringList texts;
  const model::ItemsPtr items = store->folderByPath("Calendar")->GetItems();
  for (const auto& item : *items) {
    const QString subject = item->text("Subject");
    if (subject == "Stand-up Project Falcon" || subject == "Project Falcon sync")
      texts << subject + ": " + renderers::DescribeRecurrence(*item, false).pattern;
  }
  texts.sort();
  // Every working day is a weekly series; a counted series ends on its last date.
  EXPECT_EQ(
      texts,
      (QStringList{
          "Project Falcon sync: every 2. week on Wednesday until 4/29/2026",
          "Stand-up Project Falcon: every week on Monday, Tuesday, Wednesday, Thursday, Friday until 3/20/2026"}));
  util::setUserLocale(util::localeFromEnvironment());
}
