// Find over a real store folder: the range edges per kind, occurrences of a
// series judged by the series, the hour totals in the three languages, and
// the stop request.
#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include "lang/LanguageTable.h"
#include "store/FileStore.h"
#include "support/TestEnv.h"
#include "tools/Find.h"

using namespace ordolo;

namespace {

const bool kBerlin = [] {
  qputenv("TZ", "Europe/Berlin");
  tzset();
  return true;
}();

QByteArray Calendar(const QByteArray& components) {
  return "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//test//EN\r\n" + components + "END:VCALENDAR\r\n";
}

QByteArray Event(const QByteArray& uid, const QByteArray& summary, const QByteArray& start, const QByteArray& end,
                 const QByteArray& extra = {}) {
  return "BEGIN:VEVENT\r\nUID:" + uid + "\r\nDTSTAMP:20260101T000000Z\r\nSUMMARY:" + summary + "\r\nDTSTART" + start +
         "\r\nDTEND" + end + "\r\n" + extra + "END:VEVENT\r\n";
}

class FindTest : public ::testing::Test {
 protected:
  void SetUp() override {
    lang::table().LoadLanguageTable(QStringLiteral(ORDOLO_SOURCE_SHARE "/language/English.txt"));
    write("Calendar/days.ics", Calendar(Event("a", "Holiday A", ";VALUE=DATE:20260406", ";VALUE=DATE:20260407") +
                                        Event("b", "Holiday B", ";VALUE=DATE:20260407", ";VALUE=DATE:20260408") +
                                        Event("c", "Review", ":20260406T100000", ":20260406T110000") +
                                        // starts in the last half minute of the range
                                        Event("d", "Late call", ":20260407T235930", ":20260408T002930") +
                                        // ends exactly where the range begins
                                        Event("e", "Night before", ":20260405T220000", ":20260406T000000")));
    write("Calendar/series.ics", Calendar(Event("s", "Project Falcon stand-up", ":20260413T090000", ":20260413T091500",
                                                "RRULE:FREQ=DAILY;COUNT=5\r\n") +
                                          Event("s", "Moved stand-up", ":20260414T100000", ":20260414T101500",
                                                "RECURRENCE-ID:20260414T090000\r\n")));
    write("Tasks/tasks.ics",
          Calendar("BEGIN:VTODO\r\nUID:t1\r\nDTSTAMP:20260101T000000Z\r\nSUMMARY:Due late on the last day\r\n"
                   "DUE:20260407T170000\r\nEND:VTODO\r\n"
                   "BEGIN:VTODO\r\nUID:t2\r\nDTSTAMP:20260101T000000Z\r\nSUMMARY:Due the day after\r\n"
                   "DUE:20260408T080000\r\nEND:VTODO\r\n"));
    store = store::FileStore::open(root.path());
    ASSERT_TRUE(store);
  }
  void write(const QString& name, const QByteArray& text) {
    QDir().mkpath(QFileInfo(root.filePath(name)).path());
    QFile f(root.filePath(name));
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write(text);
  }
  static QStringList subjects(const tools::FindResult& r) {
    QStringList s;
    for (const auto& item : r.items) s << item->text("Subject");
    return s;
  }
  tools::FindResult find(const QString& folder, QDate from, QDate to, tools::FieldCondition condition = {}) {
    tools::FindRequest request;
    request.from = from;
    request.to = to;
    request.condition = condition;
    return tools::Find(store->folderByPath(folder), request);
  }

  QTemporaryDir home, root;
  test::ScopedEnv env{"ORDOLO_HOME", home.path().toUtf8()};
  std::shared_ptr<store::FileStore> store;
};

TEST_F(FindTest, RangeEdgesAndHourTotalsInEveryLanguage) {
  const tools::FindResult r = find("Calendar", QDate(2026, 4, 6), QDate(2026, 4, 7));
  EXPECT_EQ(subjects(r), (QStringList{"Holiday A", "Review", "Holiday B", "Late call"}));
  EXPECT_EQ(r.totals.minutes, 90);
  EXPECT_EQ(r.totals.allDay, 2);
  EXPECT_EQ(r.totals.text(), "Sum Hours\r\n without allday => 1:30\r\n2 allday *8:00 => 16:00\r\nTOTAL => 17:30");
  lang::table().LoadLanguageTable(QStringLiteral(ORDOLO_SOURCE_SHARE "/language/Deutsch.txt"));
  EXPECT_EQ(r.totals.text(), "Summe Stunden\r\n ohne Ganztage  => 1:30\r\n2 Ganztage *8:00 => 16:00\r\nTOTAL => 17:30");
  lang::table().LoadLanguageTable(QString::fromUtf8(ORDOLO_SOURCE_SHARE "/language/Français.txt"));
  EXPECT_EQ(r.totals.text(),
            "Total heures\r\n sans toute l'jours => 1:30\r\n2 toute l'jours *8:00 => 16:00\r\nTOTAL => 17:30");

  // Tasks by their due day, both ends included, whatever the hour.
  EXPECT_EQ(subjects(find("Tasks", QDate(2026, 4, 6), QDate(2026, 4, 7))), QStringList{"Due late on the last day"});
  EXPECT_EQ(find("Tasks", QDate(2026, 4, 6), QDate(2026, 4, 7)).totals.minutes, 0);  // hours are for appointments
}

TEST_F(FindTest, OccurrencesAreJudgedByTheirSeriesAndAMissingFieldFails) {
  // The moved occurrence has a subject of its own; the series' one counts.
  tools::FieldCondition falcon{"Subject", "", "FALCON"};
  tools::FindResult r = find("Calendar", QDate(2026, 4, 13), QDate(2026, 4, 15), falcon);
  EXPECT_EQ(subjects(r), (QStringList{"Project Falcon stand-up", "Moved stand-up", "Project Falcon stand-up"}));
  EXPECT_EQ(r.totals.minutes, 45);
  falcon.starts = "project";
  EXPECT_EQ(find("Calendar", QDate(2026, 4, 13), QDate(2026, 4, 15), falcon).items.size(), 3u);
  falcon.starts = "falcon";  // contained, but not at the beginning
  EXPECT_TRUE(find("Calendar", QDate(2026, 4, 13), QDate(2026, 4, 15), falcon).items.empty());
  EXPECT_TRUE(find("Calendar", QDate(2026, 4, 6), QDate(2026, 4, 7), {"NoSuchField", "", "x"}).items.empty());
  // No texts: no condition.
  EXPECT_EQ(find("Calendar", QDate(2026, 4, 6), QDate(2026, 4, 7), {"NoSuchField", "", ""}).items.size(), 4u);

  const QStringList fields = tools::FieldList(store->folderByPath("Calendar"));
  EXPECT_EQ(fields.count("Body"), 1);
  EXPECT_EQ(tools::FieldNamed(fields, "subject"), "Subject");
}

TEST_F(FindTest, AStopRequestKeepsWhatWasFound) {
  tools::FindRequest request;
  request.from = QDate(2026, 4, 6);
  request.to = QDate(2026, 4, 7);
  int seen = 0, total = 0;
  request.progress = [&](int done, int all) {
    seen = done;
    total = all;
  };
  request.stopRequested = [&] { return seen >= 2; };
  const tools::FindResult r = tools::Find(store->folderByPath("Calendar"), request);
  EXPECT_TRUE(r.stopped);
  EXPECT_EQ(subjects(r), (QStringList{"Holiday A", "Review"}));
  EXPECT_EQ(total, 4);
}

}  // namespace
