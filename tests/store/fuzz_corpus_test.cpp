// The fuzzing corpus (tests/data/fuzz), replayed through the three parsers
// and everything the store reads from them, exactly as the fuzz targets do
// (tests/fuzz/FuzzTouches.h). Inputs that once crashed stay in the corpus,
// so a crash here is a regression. Named seeds also pin the outcome:
// good-* files must parse into items, bad-* files must be refused with a reason.
#include "fuzz/FuzzMailPrograms.h"
#include "fuzz/FuzzTexts.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>

#include <functional>

using namespace ordolo;

namespace {

using Touch = std::function<fuzz::Outcome(fuzz::ScratchStore&, const QByteArray&)>;

struct Tally {
  int files = 0, good = 0, bad = 0;
};

Tally replay(const char* kind, const Touch& touch) {
  qputenv("TZ", "Europe/Berlin");
  // The libraries warn about every odd file; the corpus is nothing but.
  const QtMessageHandler previous = qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
  Tally tally;
  fuzz::ScratchStore scratch;
  const QDir dir(QStringLiteral(ORDOLO_FUZZ_DATA "/") + QLatin1String(kind));
  for (const QFileInfo& info : dir.entryInfoList(QDir::Files, QDir::Name)) {
    SCOPED_TRACE(info.fileName().toStdString());
    QFile f(info.filePath());
    EXPECT_TRUE(f.open(QIODevice::ReadOnly));
    const fuzz::Outcome outcome = touch(scratch, f.readAll());
    ++tally.files;
    if (!outcome.ok) {
      EXPECT_FALSE(outcome.error.isEmpty()) << "a refused file must say why";
    }
    if (info.fileName().startsWith(QLatin1String("good-"))) {
      ++tally.good;
      EXPECT_TRUE(outcome.ok) << outcome.error.toStdString();
      EXPECT_GT(outcome.items, 0);
    } else if (info.fileName().startsWith(QLatin1String("bad-"))) {
      ++tally.bad;
      EXPECT_FALSE(outcome.ok);
      EXPECT_EQ(outcome.items, 0);
    }
  }
  qInstallMessageHandler(previous);
  return tally;
}

// Each corpus keeps both kinds of seed; an empty folder would pass silently.
void expectSeeds(const Tally& t) {
  EXPECT_GT(t.good, 0);
  EXPECT_GT(t.bad, 0);
  EXPECT_GE(t.files, t.good + t.bad);
}
// Readers that take any input (an INI text, a file name) have good seeds only.
void expectGoodSeeds(const Tally& t) {
  EXPECT_GT(t.good, 0);
  EXPECT_EQ(t.bad, 0);
}

}  // namespace

TEST(FuzzCorpus, CalendarsNeverCrashAndSeedsKeepTheirOutcome) { expectSeeds(replay("calendar", fuzz::touchCalendar)); }

TEST(FuzzCorpus, VCardsNeverCrashAndSeedsKeepTheirOutcome) { expectSeeds(replay("vcard", fuzz::touchCards)); }

TEST(FuzzCorpus, MessagesNeverCrashAndSeedsKeepTheirOutcome) { expectSeeds(replay("mail", fuzz::touchMessage)); }

TEST(FuzzCorpus, WordTemplatesNeverCrashAndSeedsKeepTheirOutcome) { expectSeeds(replay("docx", fuzz::touchDocument)); }

TEST(FuzzCorpus, ExcelTemplatesNeverCrashAndSeedsKeepTheirOutcome) { expectSeeds(replay("xlsx", fuzz::touchWorkbook)); }

TEST(FuzzCorpus, PackagesNeverCrashAndSeedsKeepTheirOutcome) { expectSeeds(replay("package", fuzz::touchPackage)); }

TEST(FuzzCorpus, MboxFilesNeverCrashAndReadTheSameGrownOrWhole) { expectSeeds(replay("mbox", fuzz::touchMbox)); }

TEST(FuzzCorpus, MailProgramsSettingsAndDatabaseValuesNeverCrashOrBreakTheirText) {
  // The finder looks at HOME and the XDG folders: the test's own come back after.
  const QByteArray home = qgetenv("HOME"), ordoloHome = qgetenv("ORDOLO_HOME");
  expectGoodSeeds(replay("profiles", fuzz::touchProfiles));
  expectGoodSeeds(replay("databases", fuzz::touchDatabases));
  qputenv("HOME", home);
  if (ordoloHome.isEmpty()) qunsetenv("ORDOLO_HOME");
  else qputenv("ORDOLO_HOME", ordoloHome);
}

TEST(FuzzCorpus, MaildirNamesNeverCrashAndLeadBackToTheirMail) {
  expectGoodSeeds(replay("maildir_name", fuzz::touchMaildirName));
}

TEST(FuzzCorpus, IniAndLanguageFilesNeverCrashAndSaveStably) {
  expectGoodSeeds(replay("ini", fuzz::touchIni));
  expectGoodSeeds(replay("language", fuzz::touchLanguage));
}

TEST(FuzzCorpus, FiltersAndFindPatternsNeverCrashAndSeedsKeepTheirOutcome) {
  expectSeeds(replay("filter", fuzz::touchFilter));
  expectSeeds(replay("pattern", fuzz::touchPattern));
}

TEST(FuzzCorpus, HtmlBodiesLeaveNothingThatReachesOut) {
  expectGoodSeeds(replay("html", fuzz::touchHtml));
  // The fuzzer's check sees what the sanitizer has to remove.
  QFile hostile(QStringLiteral(ORDOLO_FUZZ_DATA "/html/good-hostile.html"));
  ASSERT_TRUE(hostile.open(QIODevice::ReadOnly));
  const QString raw = QString::fromUtf8(hostile.readAll());
  EXPECT_TRUE(fuzz::htmlReachesOut(raw, {}));
  for (const QString& line : raw.split(QLatin1Char('\n'), Qt::SkipEmptyParts))
    EXPECT_TRUE(fuzz::htmlReachesOut(line, {})) << line.toStdString();
}
