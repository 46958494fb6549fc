// The windows' logic without widgets: the store browser and Form1, with a
// scripted user. What goes wrong outside is said in a message naming it,
// and nothing is lost.
#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include "addin/Connect.h"
#include "lang/LanguageTable.h"
#include "lang/Messages.h"
#include "session/Templates.h"
#include "support/ScriptedPort.h"
#include "support/TempCleanup.h"
#include "support/TestEnv.h"
#include "ui/Browser.h"
#include "ui/Form1.h"
#include "util/Folders.h"
#include "util/Ini.h"

using namespace ordolo;
using ordolo::lang::Msg;

namespace {

const QString kStore = QStringLiteral(ORDOLO_SOURCE_DIR "/examples/store");

class Presenters : public ::testing::Test {
 protected:
  void SetUp() override {
    connect.OnConnection({});
    lang::table().LoadLanguageTable(QStringLiteral(ORDOLO_SOURCE_SHARE "/language/English.txt"));
  }
  void TearDown() override { connect.OnDisconnection(); }

  QTemporaryDir home;
  test::ScopedEnv homeEnv{"ORDOLO_HOME", home.path().toUtf8()};
  test::ScopedEnv tz{"TZ", "Europe/Berlin"};
  addin::Connect connect;
  test::ScriptedPort port;
};

TEST_F(Presenters, TheBrowserListsFoldersAndItemsAndNamesWhatIsGone) {
  ui::Browser browser(port);
  EXPECT_FALSE(browser.open(home.filePath("no-store")));
  EXPECT_EQ(port.messages.value(0), lang::text(Msg::ErrStore).arg(home.filePath("no-store")));

  // A store of our own, with a subfolder, that we can take away.
  QTemporaryDir store;
  ASSERT_TRUE(QDir().mkpath(store.filePath("Calendar/Projects")));
  QFile::copy(kStore + "/Calendar/2026-03-02-kick-off.ics", store.filePath("Calendar/kick-off.ics"));
  QFile::copy(kStore + "/Calendar/2026-03-09-trade-fair.ics", store.filePath("Calendar/Projects/fair.ics"));
  ASSERT_TRUE(browser.open(store.path()));
  EXPECT_EQ(ui::Browser::lastStore(), QDir(store.path()).absolutePath());
  const auto folders = browser.folders();
  ASSERT_EQ(folders.size(), 2u);
  EXPECT_EQ(folders[0].name, "Calendar");
  EXPECT_EQ(folders[0].count, 1);
  EXPECT_EQ(folders[1].path, "Calendar/Projects");
  EXPECT_EQ(folders[1].depth, 1);

  ASSERT_TRUE(browser.choose("Calendar"));
  ASSERT_EQ(browser.rows().size(), 1u);
  EXPECT_EQ(browser.rows()[0].title, "Quarterly kick-off");
  EXPECT_EQ(browser.rows()[0].whenKey, "20260302130000");
  const ui::Browser::Chosen chosen = browser.choice({0, 5});
  EXPECT_EQ(chosen.selection.Count(), 1);
  EXPECT_EQ(chosen.folder->Name(), "Calendar");

  // The subfolder goes while it is listed: choosing it says so and the
  // items shown before stay.
  ASSERT_TRUE(QDir(store.filePath("Calendar/Projects")).removeRecursively());
  port.messages.clear();
  EXPECT_FALSE(browser.choose("Calendar/Projects"));
  EXPECT_EQ(port.messages, QStringList{lang::text(Msg::GuiFolderGone).arg("Calendar/Projects")});
  EXPECT_EQ(browser.folder()->Name(), "Calendar");
}

TEST_F(Presenters, FilesHandedOverAreTakenByKindAndTheOthersNamed) {
  ui::Browser browser(port);
  QTemporaryDir files;
  const QString contact = files.filePath("jonas.vcf"), broken = files.filePath("broken.vcf"),
                text = files.filePath("notes.txt"), event = files.filePath("fair.ics");
  QFile::copy(kStore + "/Calendar/2026-03-09-trade-fair.ics", event);
  QFile::copy(kStore + "/Contacts/" + QDir(kStore + "/Contacts").entryList({"*keller*.vcf"}).value(0), contact);
  for (const QString& f : {broken, text}) {
    QFile out(f);
    ASSERT_TRUE(out.open(QIODevice::WriteOnly));
    out.write("not what it says");
  }
  // The first file decides the kind: the appointment; the contact is left
  // out as a mixed selection leaves it; the text file is named.
  const auto taken = browser.takeFiles({event, contact, text});
  ASSERT_TRUE(taken);
  ASSERT_EQ(taken->selection.Count(), 1);
  EXPECT_EQ(taken->selection.Item(1)->text("Subject"), "Trade fair Hannover");
  EXPECT_EQ(port.messages, QStringList{lang::text(Msg::GuiFileKind).arg(text)});

  // A card that cannot be read is named too; with nothing left, nothing is taken.
  port.messages.clear();
  EXPECT_FALSE(browser.takeFiles({broken}));
  EXPECT_EQ(port.messages, QStringList{lang::text(Msg::ErrConvertNoFile).arg(broken)});
}

TEST_F(Presenters, Form1RefusesToPrintWhatIsGoneAndTellsWhy) {
  ui::Browser browser(port);
  ASSERT_TRUE(browser.open(kStore));
  ASSERT_TRUE(browser.choose("Contacts"));
  ui::Form1 form(port);
  ASSERT_TRUE(form.take(browser.choice({0, 1}).selection, browser.folder(), browser.choice({}).session));
  EXPECT_EQ(form.kindLetter(), "C");
  ASSERT_GT(form.templates().size(), 2);
  EXPECT_TRUE(form.canPrint());

  // The template goes between listing and printing.
  const QString name = form.templates()[form.currentTemplate()];
  ASSERT_TRUE(QFile::remove(session::TemplateFolder() + name));
  port.messages.clear();
  const session::RunResult gone = form.print(session::RunMode::Print);
  EXPECT_EQ(gone.items, 0);
  EXPECT_EQ(port.messages, QStringList{lang::text(Msg::ErrTemplateMissing).arg(session::TemplateFolder() + name)});
  EXPECT_FALSE(form.templates().contains(name));

  // PDFs without LibreOffice: said before anything is filled.
  test::ScopedEnv noOffice("ORDOLO_SOFFICE", std::nullopt);
  test::ScopedEnv noPath("PATH", QByteArray("/nonexistent"));
  QTemporaryDir out;
  form.output.kind = ui::OutputChoice::Kind::PdfFolder;
  form.output.folder = out.path();
  port.messages.clear();
  EXPECT_EQ(form.print(session::RunMode::Print).items, 0);
  ASSERT_EQ(port.messages.size(), 1);
  EXPECT_TRUE(port.messages[0].contains(lang::text(Msg::ErrOfficeMissing).left(20))) << port.messages[0].toStdString();
  EXPECT_TRUE(QDir(out.path()).isEmpty());

  // Closing keeps the options.
  form.setSuppress("logo.png");
  form.setAttachmentsFirst(true);
  EXPECT_TRUE(form.close());
  EXPECT_EQ(util::ReadIni("Attachments", "First", "", util::UserConfigFile()), "1");
  EXPECT_EQ(util::ReadIni("Attachments", "Suppress", "", util::UserConfigFile()), "logo.png");
  // The converter count is read back as set; nothing below 0.
  form.setConvertProcesses(3);
  EXPECT_EQ(ui::Form1(port).convertProcesses(), 3);
  form.setConvertProcesses(-2);
  EXPECT_EQ(util::ReadIni("Convert", "Processes", "", util::UserConfigFile()), "0");
}

TEST_F(Presenters, ChangingTheTemplateFolderThroughForm1AsksAndReloads) {
  ui::Form1 form(port);
  form.take(model::Selection(), nullptr, nullptr);  // nothing chosen: the mail templates are listed
  QTemporaryDir target;
  // Cancelled: nothing written.
  port.folderAnswer.clear();
  form.changeTemplateFolder();
  EXPECT_FALSE(QFile::exists(util::TemplatePathFile()));
  // Chosen: the templates move and the list is read from there.
  port.folderAnswer = target.path();
  form.changeTemplateFolder();
  EXPECT_EQ(session::TemplateFolder(), util::WithSlash(target.path()));
  EXPECT_TRUE(QFile::exists(target.filePath("MMemo.dotx")));
  EXPECT_TRUE(form.templates().contains("MMemo.dotx"));
}

}  // namespace
