// Runs the built ordolo program the way a user or a script would.
#include <gtest/gtest.h>

#include <QRegularExpression>
#include <QTemporaryDir>

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include "app/RunOrdolo.h"
#include "support/TestEnv.h"

namespace {

using Result = ordolo::test::CliResult;

class Cli : public ::testing::Test {
 protected:
  QTemporaryDir home;

  Result ordolo(const QStringList& args, const QString& lang = "C.UTF-8") {
    return ordolo::test::RunOrdolo(home.path(), args, lang);
  }
};

TEST_F(Cli, LanguageTableFromEmptyHomeThroughAllThreeFiles) {
  EXPECT_EQ(ordolo({"lang", "get", "S60"}).out, "Nichts markiert");
  ASSERT_EQ(ordolo({"lang", "load", "english"}).code, 0);
  EXPECT_EQ(ordolo({"lang", "get", "S60"}).out, "Nothing selected");
  EXPECT_EQ(ordolo({"lang", "get", "S86"}).out, "Filtrer..");
  ASSERT_EQ(ordolo({"lang", "load", "francais"}).code, 0);
  EXPECT_EQ(ordolo({"lang", "get", "S60"}).out, QString::fromUtf8("Aucune sélection"));
  EXPECT_EQ(ordolo({"lang", "get", "S86"}).out, "Filter..");
  ASSERT_EQ(ordolo({"lang", "load", "Deutsch"}).code, 0);
  EXPECT_EQ(ordolo({"lang", "get", "text19"}).out, "Telefonanruf");
  const QStringList list = ordolo({"lang", "list"}).out.split('\n');
  ASSERT_EQ(list.size(), 99);
  EXPECT_EQ(list[0], "S22\tWindow\tLanguage\tSprache");
}

TEST_F(Cli, BadInputGivesClearErrorsAndExitCodes) {
  const Result key = ordolo({"lang", "get", "S52"});
  EXPECT_EQ(key.code, 1);
  EXPECT_EQ(key.err, "ordolo: Kein solcher Schlüssel in der Sprachtabelle: S52");
  EXPECT_EQ(ordolo({"lang", "load", "klingon"}).code, 2);
  EXPECT_EQ(ordolo({"print"}).code, 2);
  EXPECT_EQ(ordolo({"lang", "get"}).code, 2);
  EXPECT_EQ(ordolo({"lang", "set", "S86", "x"}).code, 1);  // never stored: refused
  EXPECT_TRUE(ordolo({"--help"}).out.contains("Befehle:"));
  const Result option = ordolo({"--colour"});
  EXPECT_EQ(option.code, 2);
  EXPECT_TRUE(option.err.contains("colour"));
}

TEST_F(Cli, DebugFlagAppendsOneStartLinePerStart) {
  ordolo({"--debug", "lang", "get", "S1"}, "de_DE.UTF-8");
  ordolo({"--debug", "--version"}, "de_DE.UTF-8");
  const QString log = QString::fromUtf8(ordolo::test::readFile(home.filePath("data/debug.log")));
  // "Gestartet: " and the date and time in the German general date form, CR LF.
  const QString line = "Gestartet: \\d\\d\\.\\d\\d\\.\\d{4} \\d\\d:\\d\\d:\\d\\d\\r\\n";
  EXPECT_TRUE(QRegularExpression("^" + line + line + "$").match(log).hasMatch()) << log.toStdString();
}

}  // namespace

TEST_F(Cli, ListShowsTheMarchOccurrencesOfTheSampleCalendar) {
  const QString store = QStringLiteral(ORDOLO_SOURCE_DIR "/examples/store");
  const Result r = ordolo({"list", "--store", store, "--folder", "Calendar", "--from", "2026-03-01", "--to",
                           "2026-03-31"});
  ASSERT_EQ(r.code, 0) << r.err.toStdString();
  QStringList team;
  for (const QString& line : r.out.split('\n')) {
    const QStringList f = line.split('\t');
    ASSERT_EQ(f.size(), 4) << line.toStdString();
    EXPECT_EQ(f[1], "26");
    EXPECT_TRUE(f[3].startsWith("2026-03") || f[3] < "2026-03") << line.toStdString();
    if (f[2].startsWith("Team meeting")) team << f[2] + " " + f[3];
  }
  // Weekly on Mondays: the 16th is cancelled, the 23rd moved to the 24th, the
  // 30th after the change to summer time keeps its local time.
  EXPECT_EQ(team, QStringList({"Team meeting 2026-03-02 09:30", "Team meeting 2026-03-09 09:30",
                               "Team meeting (moved) 2026-03-24 14:00", "Team meeting 2026-03-30 09:30"}));
  // One day of the daily stand-up series, as its own row.
  EXPECT_EQ(r.out.count("Stand-up Project Falcon"), 10);
}

// The Falcon meetings of March with their hours; what is wrong with a
// request is said.
TEST_F(Cli, FindListsTheFalconOccurrencesOfMarchWithTheirHours) {
  const QString store = QStringLiteral(ORDOLO_SOURCE_DIR "/examples/store");
  ordolo({"lang", "load", "english"});
  const QStringList march{"--store", store, "--folder", "Calendar", "--from", "2026-03-01", "--to", "2026-03-31"};
  Result r = ordolo(QStringList{"find"} + march + QStringList{"--field", "subject", "--contains", "falcon"});
  ASSERT_EQ(r.code, 0) << r.err.toStdString();
  const QStringList parts = r.out.split("\n\n");
  ASSERT_EQ(parts.size(), 2) << r.out.toStdString();
  const QStringList rows = parts[0].split('\n');
  EXPECT_EQ(rows.size(), 14);
  for (const QString& row : rows) EXPECT_TRUE(row.section('\t', 2, 2).contains("Falcon")) << row.toStdString();
  EXPECT_EQ(parts[1].trimmed(), QString("Sum Hours\n without allday => 7:30\n0 allday *8:00 => 0:00\nTOTAL => 7:30"));
  // list takes the same condition, without the hours.
  r = ordolo(QStringList{"list"} + march + QStringList{"--field", "Subject", "--starts", "stand-up"});
  EXPECT_EQ(r.out.trimmed().split('\n').size(), 10) << r.out.toStdString();

  r = ordolo({"find", "--store", store, "--folder", "Calendar", "--from", "2026-03-31", "--to", "2026-03-01"});
  EXPECT_EQ(r.code, 2);
  EXPECT_TRUE(r.err.contains("The end 2026-03-01 is before the start 2026-03-31")) << r.err.toStdString();
  r = ordolo(QStringList{"find"} + march + QStringList{"--field", "Colour", "--contains", "red"});
  EXPECT_EQ(r.code, 2);
  EXPECT_TRUE(r.err.contains("No field Colour in Calendar; there are: ")) << r.err.toStdString();
  r = ordolo({"find", "--store", store, "--folder", "Calendar"});
  EXPECT_EQ(r.code, 2);
}

// The tools as scripts use them: .eml files into Drafts, the attachment
// options, and the template folder moved.
TEST_F(Cli, ImportOptionsAndTheTemplateFolderFromTheCommandLine) {
  ordolo({"lang", "load", "english"});
  QTemporaryDir root, drop, templates;
  QDir().mkpath(root.filePath("Inbox/cur"));
  const QString mail = QDir(ORDOLO_SOURCE_DIR "/examples/store/Inbox/cur").entryInfoList(QDir::Files)[0].filePath();
  QFile::copy(mail, drop.filePath("x.EML"));
  QFile::copy(mail, drop.filePath("x.eml"));
  QFile::copy(mail, drop.filePath("y.txt"));
  Result r = ordolo({"import-eml", "--store", root.path(), drop.filePath("x.EML"), drop.filePath("x.eml"),
                     drop.filePath("y.txt")});
  ASSERT_EQ(r.code, 0) << r.err.toStdString();
  EXPECT_TRUE(r.out.trimmed().endsWith("\n2 messages imported => see Folder Drafts (German \"Entwürfe\")!"))
      << r.out.toStdString();
  r = ordolo({"list", "--store", root.path(), "--folder", "Drafts"});
  EXPECT_EQ(r.out.trimmed().split('\n').size(), 2) << r.out.toStdString();

  EXPECT_EQ(ordolo({"options", "set", "attachments.wait", "7"}).code, 0);
  EXPECT_EQ(ordolo({"options", "set", "Attachments.First", "yes"}).code, 0);
  EXPECT_EQ(ordolo({"options", "get", "Attachments.Wait"}).out.trimmed(), "7");
  EXPECT_EQ(ordolo({"options", "get", "Attachments.First"}).out.trimmed(), "1");
  EXPECT_EQ(ordolo({"options", "set", "Attachments.Wait", "soon"}).code, 2);
  EXPECT_EQ(ordolo({"options", "set", "convert.processes", "3"}).code, 0);
  EXPECT_TRUE(ordolo({"options", "list"}).out.contains("Attachments.Wait=7\nAttachments.First=1\nConvert.Processes=3"));

  // The shipped templates move along; the folder's ini stays behind.
  const QString before = ordolo({"templates"}).out;
  r = ordolo({"templates", "--move-to", templates.path()});
  ASSERT_EQ(r.code, 0) << r.err.toStdString();
  EXPECT_EQ(ordolo({"templates"}).out, before);
  EXPECT_TRUE(QFileInfo::exists(templates.filePath("MMemo.dotx")));
  EXPECT_EQ(ordolo({"templates", "--move-to", home.filePath("nowhere")}).code, 1);
}

// Every mail twice: a dry run moves nothing, the physical run moves each
// duplicate to Deleted Items and says where.
TEST_F(Cli, DedupMovesEachDuplicateAndSaysWhere) {
  ordolo({"lang", "load", "english"});
  QTemporaryDir root;
  for (const char* sub :
       {"Inbox/cur", "Inbox/new", "Inbox/tmp", "Deleted Items/cur", "Deleted Items/new", "Deleted Items/tmp"})
    QDir().mkpath(root.filePath(sub));
  const QFileInfoList mails =
      QDir(ORDOLO_SOURCE_DIR "/examples/store/Inbox/cur").entryInfoList(QDir::Files, QDir::Name).mid(0, 3);
  for (const QFileInfo& m : mails) {
    QFile::copy(m.filePath(), root.filePath("Inbox/cur/" + m.fileName()));
    QFile::copy(m.filePath(), root.filePath("Inbox/cur/" + m.fileName().section(':', 0, 0) + "twin:2,S"));
  }
  const QStringList inbox{"--store", root.path(), "--folder", "Inbox"};
  Result r = ordolo(QStringList{"dedup"} + inbox + QStringList{"--physical", "--dry-run"});
  ASSERT_EQ(r.code, 0) << r.err.toStdString();
  EXPECT_TRUE(r.out.trimmed().endsWith("3 duplicates removed (of 6 rows)")) << r.out.toStdString();
  EXPECT_EQ(QDir(root.filePath("Inbox/cur")).entryList(QDir::Files).size(), 6);
  r = ordolo(QStringList{"dedup"} + inbox + QStringList{"--physical"});
  ASSERT_EQ(r.code, 0) << r.err.toStdString();
  EXPECT_EQ(r.out.count("\t-> " + root.filePath("Deleted Items/cur/")), 3) << r.out.toStdString();
  EXPECT_EQ(QDir(root.filePath("Inbox/cur")).entryList(QDir::Files).size(), 3);
  EXPECT_EQ(QDir(root.filePath("Deleted Items/cur")).entryList(QDir::Files).size(), 3);
  r = ordolo(QStringList{"dedup"} + inbox);
  EXPECT_TRUE(r.out.trimmed().endsWith("0 duplicates removed (of 3 rows)")) << r.out.toStdString();
}

TEST_F(Cli, ListExplainsWhatIsWrong) {
  const QString store = QStringLiteral(ORDOLO_SOURCE_DIR "/examples/store");
  Result r = ordolo({"list", "--store", store, "--folder", "Nowhere"}, "en_US.UTF-8");
  EXPECT_EQ(r.code, 1);
  EXPECT_TRUE(r.err.contains("Nowhere")) << r.err.toStdString();
  r = ordolo({"list", "--store", store, "--folder", "Calendar", "--from", "yesterday"}, "en_US.UTF-8");
  EXPECT_EQ(r.code, 2);
  EXPECT_TRUE(r.err.contains("yesterday"));
  r = ordolo({"list", "--store", home.filePath("missing"), "--folder", "Calendar"}, "en_US.UTF-8");
  EXPECT_EQ(r.code, 1);
  EXPECT_TRUE(r.err.contains("missing"));
  r = ordolo({"folders", "--store", store});
  EXPECT_EQ(r.code, 0);
  EXPECT_TRUE(r.out.contains("Calendar\t26\t42"));
  EXPECT_TRUE(r.out.contains("Notes\t44\t5"));
}
