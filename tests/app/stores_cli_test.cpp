// The mail programs' stores through the command line, as a user on a
// machine with Thunderbird, Evolution, KMail and khal/khard would use them.
#include <gtest/gtest.h>

#include <QDir>
#include <QTemporaryDir>

#include "app/RunOrdolo.h"
#include "support/MailPrograms.h"
#include "support/TestEnv.h"

namespace {

using Result = ordolo::test::CliResult;
namespace programs = ordolo::test::programs;

class StoresCli : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(ordolo({"lang", "load", "english"}).code, 0); }
  Result ordolo(const QStringList& args) {
    const QString h = home.path();
    return ordolo::test::RunOrdolo(h + "/ordolo", args, "en_US.UTF-8",
                                   {{"HOME", h},
                                    {"XDG_DATA_HOME", h + "/.local/share"},
                                    {"XDG_CONFIG_HOME", h + "/.config"},
                                    {"VDIRSYNCER_CONFIG", ""},
                                    {"KHARD_CONFIG", ""},
                                    {"ORDOLO_STORE", ""}});
  }
  QTemporaryDir home, out;
};

TEST_F(StoresCli, EveryProgramsStoreIsListedAndItsFoldersRead) {
  Result none = ordolo({"stores"});
  EXPECT_EQ(none.code, 0);
  EXPECT_TRUE(none.out.isEmpty());
  EXPECT_TRUE(none.err.contains("No stores of Thunderbird, Evolution, KMail")) << none.err.toStdString();

  const auto tb = programs::thunderbird(home.path());
  programs::evolution(home.path());
  programs::kmail(home.path());
  programs::vdirs(home.path());
  const Result r = ordolo({"stores"});
  ASSERT_EQ(r.code, 0) << r.err.toStdString();
  const QStringList lines = r.out.split('\n');
  ASSERT_EQ(lines.size(), 6) << r.out.toStdString();
  EXPECT_EQ(lines[0], "thunderbird\tdefault-release\t" + tb.profile);
  EXPECT_EQ(lines[1], "evolution\tdefault\t" + home.path() + "/.local/share/evolution");
  EXPECT_EQ(lines[2], "kmail\tdefault\t" + home.path() + "/.local/share/local-mail");
  EXPECT_TRUE(lines[3].startsWith("vdir\tcalendars_local\t"));
  // What is named but missing is told, with the file that names it.
  EXPECT_TRUE(r.err.contains(tb.root + "/profiles.ini names the folder " + tb.root + "/gone.old"))
      << r.err.toStdString();

  const QByteArray profile = tb.profile.toUtf8();
  const struct {
    const char* store;
    const char* folder;
    const char* expected;
  } cases[] = {{"thunderbird", "Inbox/Projects", "Project plan"},
               {"thunderbird", "Personal Address Book", "Carl Diehl"},
               {"thunderbird", "Home", "Company holiday"},
               {"evolution", "Memos", "Evolution memo"},
               {"evolution:default", "Contacts", "Dora Evans"},
               {"kmail", "Inbox", "KMail inbox mail"},
               {"vdir:khard", "family", "Frida Family"},
               {profile.constData(), "Tasks", "Write report"}};
  for (const auto& c : cases) {
    const Result listed = ordolo({"list", "--store", c.store, "--folder", c.folder});
    EXPECT_EQ(listed.code, 0) << c.store << " " << listed.err.toStdString();
    EXPECT_TRUE(listed.out.contains(c.expected)) << c.store << " " << c.folder << ": " << listed.out.toStdString();
  }
  // No store named: the first one found, and said so.
  const Result first = ordolo({"list", "--folder", "Inbox/Projects"});
  EXPECT_EQ(first.code, 0) << first.err.toStdString();
  EXPECT_TRUE(first.out.contains("Project plan")) << first.out.toStdString();
  EXPECT_TRUE(first.err.contains("Store: thunderbird:default-release (" + tb.profile + "), found by itself"))
      << first.err.toStdString();
  const Result unknown = ordolo({"list", "--store", "mutt", "--folder", "Inbox"});
  EXPECT_EQ(unknown.code, 1);
  EXPECT_TRUE(unknown.err.contains("No store mutt")) << unknown.err.toStdString();
}

TEST_F(StoresCli, ThunderbirdsInboxPrintsToPdfAndTheProfileStaysAsItWas) {
  const auto tb = programs::thunderbird(home.path());
  const QByteArray before = ordolo::test::readFile(tb.profile + "/Mail/pop.example.org/Inbox");
  const Result r = ordolo({"print", "--store", "thunderbird", "--folder", "Inbox", "--template", "MMemo.dotx",
                           "--pdf", out.path()});
  ASSERT_EQ(r.code, 0) << r.err.toStdString();
  const QStringList pdfs = QDir(out.path()).entryList({"*.pdf"}, QDir::Files, QDir::Name);
  ASSERT_EQ(pdfs.size(), 2) << r.out.toStdString();
  const QString first = ordolo::test::pdfText(out.filePath(pdfs[0]));
  EXPECT_TRUE(first.contains("Quarterly figures")) << first.toStdString();
  EXPECT_TRUE(first.contains("Carl Diehl")) << first.toStdString();
  EXPECT_TRUE(first.contains("From now on monthly.")) << first.toStdString();
  EXPECT_TRUE(ordolo::test::pdfText(out.filePath(pdfs[1])).contains("Minutes"));
  EXPECT_EQ(ordolo::test::readFile(tb.profile + "/Mail/pop.example.org/Inbox"), before);
}

}  // namespace
