// The desktop windows driven as a user drives them, drawn offscreen: the
// store browser's print button, Form1's list, templates and print run
// (real LibreOffice, real PDFs), stopping a run with EXIT, an opened mail
// file, the language tab; and moving the template folder.
#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QDate>
#include <QDir>
#include <QFile>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QMessageBox>

#include <sys/stat.h>
#include <QDropEvent>
#include <QUrl>
#include <QMimeData>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QTabWidget>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QTreeWidget>

#include <cstdlib>
#include <ctime>

#include "addin/Connect.h"
#include "gui/BrowserWindow.h"
#include "gui/Form1Window.h"
#include "gui/Form4.h"
#include "gui/QtPort.h"
#include "lang/LanguageTable.h"
#include "lang/Messages.h"
#include "session/Templates.h"
#include "support/MailPrograms.h"
#include "support/TestEnv.h"
#include "util/Folders.h"
#include "util/VbFormat.h"

using namespace ordolo;
using ordolo::test::ScopedEnv;
namespace programs = ordolo::test::programs;

namespace {

const QString kStore = QStringLiteral(ORDOLO_SOURCE_DIR "/examples/store");

template <typename T>
T* child(QWidget* w, const char* name) {
  T* found = w->findChild<T*>(QString::fromLatin1(name));
  EXPECT_TRUE(found) << name;
  return found;
}

// Answers the next message box (once it is up) with `button`.
void AnswerNextMessage(QMessageBox::StandardButton button) {
  QTimer::singleShot(0, [button] {
    if (auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget())) box->button(button)->click();
  });
}

// Answers the next message box with `button` whenever it comes up, and
// keeps its text.
void AnswerWhenShown(QMessageBox::StandardButton button, QString* text) {
  auto* timer = new QTimer;
  QObject::connect(timer, &QTimer::timeout, [timer, button, text] {
    auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
    if (!box) return;
    *text = box->text();
    timer->stop();
    timer->deleteLater();
    box->button(button)->click();
  });
  timer->start(20);
}

QStringList Pdfs(const QString& folder) { return QDir(folder).entryList({QStringLiteral("*.pdf")}, QDir::Files); }

bool WholePdf(const QString& path) {
  QFile f(path);
  if (!f.open(QIODevice::ReadOnly)) return false;
  const QByteArray bytes = f.readAll();
  return bytes.startsWith("%PDF-") && bytes.right(32).contains("%%EOF");
}

class Gui : public ::testing::Test {
 protected:
  void SetUp() override {
    lang::table().LangDef(0, util::LanguageFolder(), util::MainConfigFile());
    browser = std::make_unique<gui::BrowserWindow>(port);
    browser->show();
    ASSERT_TRUE(browser->openStore(kStore));
    ASSERT_TRUE(browser->chooseFolder(QStringLiteral("Calendar")));
  }
  void TearDown() override {
    if (browser->form1()) browser->form1()->close();
    browser->close();
  }

  // Selects the first n rows of the browser's table (all when n < 0) and
  // presses the print button.
  gui::Form1Window* printRows(int n) {
    QTableWidget* table = browser->itemTable();
    table->clearSelection();
    const int rows = n < 0 ? table->rowCount() : std::min(n, table->rowCount());
    for (int r = 0; r < rows; ++r)
      table->selectionModel()->select(table->model()->index(r, 0),
                                      QItemSelectionModel::Select | QItemSelectionModel::Rows);
    browser->printAction()->trigger();
    return browser->form1();
  }

  // Chooses a template by name and PDFs into `folder` as the output.
  void chooseTemplateAndPdf(gui::Form1Window* form, const QString& name, const QString& folder) {
    auto* list2 = child<QListWidget>(form, "List2");
    const QList<QListWidgetItem*> found = list2->findItems(name, Qt::MatchExactly);
    ASSERT_EQ(found.size(), 1) << name.toStdString();
    list2->setCurrentItem(found.front());
    child<QComboBox>(form, "printTo")->setCurrentIndex(1);
    child<QLineEdit>(form, "pdfFolder")->setText(folder);
  }

  gui::QtPort port;
  std::unique_ptr<gui::BrowserWindow> browser;
  QTemporaryDir out;
};

// Files a folder cannot read are named in the status bar, each with why.
TEST_F(Gui, TheStatusBarNamesTheFilesAFolderCouldNotRead) {
  auto* skipped = child<QLabel>(browser.get(), "skipped");
  EXPECT_TRUE(skipped->text().isEmpty());  // the sample calendar reads whole
  ASSERT_TRUE(browser->openStore(QStringLiteral(ORDOLO_SOURCE_DIR "/tests/data/store")));
  ASSERT_TRUE(browser->chooseFolder(QStringLiteral("Calendar")));
  EXPECT_EQ(skipped->text(), "2 file(s) of this folder cannot be read; point here to see which.");
  EXPECT_TRUE(skipped->toolTip().contains("broken.ics: it cannot be read (") &&
              skipped->toolTip().contains("empty.ics: it cannot be read ("))
      << skipped->toolTip().toStdString();
  ASSERT_TRUE(browser->chooseFolder(QStringLiteral("Tasks")));
  EXPECT_TRUE(skipped->text().isEmpty());
}

// The Store menu lists the mail programs' stores of this machine; one
// chosen opens with its folders, and is remembered.
TEST_F(Gui, TheStoreMenuOpensAThunderbirdProfile) {
  QTemporaryDir home;
  const ScopedEnv homeVar("HOME", home.path().toUtf8());
  const ScopedEnv dataVar("XDG_DATA_HOME", std::nullopt);
  const ScopedEnv configVar("XDG_CONFIG_HOME", std::nullopt);
  emit browser->storeMenu()->aboutToShow();
  QStringList entries;
  for (QAction* a : browser->storeMenu()->actions()) entries << a->text();
  EXPECT_EQ(entries, QStringList({"(no mail programs found)", "", "Other &folder..."}));

  const auto tb = programs::thunderbird(home.path());
  emit browser->storeMenu()->aboutToShow();
  QAction* thunderbird = browser->storeMenu()->actions().value(0);
  ASSERT_TRUE(thunderbird);
  EXPECT_EQ(thunderbird->text(), "Thunderbird: default-release");
  EXPECT_EQ(thunderbird->toolTip(), tb.profile);
  EXPECT_FALSE(thunderbird->isChecked());
  thunderbird->trigger();
  EXPECT_EQ(browser->windowTitle(), "thunderbird:default-release - Ordolo");
  ASSERT_TRUE(browser->chooseFolder(QStringLiteral("test.user@example.org/Inbox")));
  EXPECT_EQ(browser->itemTable()->rowCount(), 2);
  emit browser->storeMenu()->aboutToShow();
  EXPECT_TRUE(browser->storeMenu()->actions().value(0)->isChecked());
  EXPECT_EQ(ui::Browser::lastStore(), "thunderbird:default-release");
}

TEST_F(Gui, ThePrintButtonListsTheSelectedAppointmentsWithTheirColumns) {
  // Nothing selected: a notice and no dialog.
  gui::Form1Window* none = printRows(0);
  EXPECT_TRUE(!none || !none->isVisible());
  auto* notice = QApplication::topLevelWidgets().isEmpty() ? nullptr : browser->findChild<QWidget*>("notice");
  ASSERT_TRUE(notice);
  EXPECT_EQ(child<QLabel>(notice, "noticeText")->text(), "Nothing selected");

  gui::Form1Window* form = printRows(10);
  ASSERT_TRUE(form && form->isVisible());
  auto* list1 = child<QTreeWidget>(form, "List1");
  ASSERT_EQ(list1->topLevelItemCount(), 10);
  QStringList headers;
  for (int i = 0; i < list1->columnCount(); ++i) headers << list1->headerItem()->text(i);
  EXPECT_EQ(headers, (QStringList{"No.", "Start", "Duration", "Subject", "Location", "Categories"}))
      << headers.join(", ").toStdString();
  for (int i = 0; i < 10; ++i) EXPECT_TRUE(list1->topLevelItem(i)->isSelected());
  EXPECT_EQ(child<QLabel>(form, "KALNAME")->text(), "Calendar (Anna Berger)");
  // The browser's first rows are the folder's first items, in its order.
  EXPECT_EQ(list1->topLevelItem(0)->text(3), browser->itemTable()->item(0, 0)->text());

  // A click on a header sorts the list, and sorting again turns it round.
  list1->header()->sectionClicked(3);
  const QString first = list1->topLevelItem(0)->text(3);
  list1->header()->sectionClicked(3);
  EXPECT_EQ(list1->topLevelItem(9)->text(3), first);
}

TEST_F(Gui, OkPrintsEachSelectedItemToAPdfWhileTheProgressBarMoves) {
  gui::Form1Window* form = printRows(10);
  ASSERT_TRUE(form);
  chooseTemplateAndPdf(form, "AMemo.dotx", out.path());
  // Deselect one row: it is not printed.
  child<QTreeWidget>(form, "List1")->topLevelItem(9)->setSelected(false);
  QList<int> seen;
  auto* bar = child<QProgressBar>(form, "ProgressBar1");
  QObject::connect(bar, &QProgressBar::valueChanged, [&](int v) { seen << v; });
  QTest::mouseClick(child<QPushButton>(form, "Ok"), Qt::LeftButton);

  EXPECT_EQ(Pdfs(out.path()).size(), 9) << Pdfs(out.path()).join(", ").toStdString();
  for (const QString& pdf : Pdfs(out.path())) EXPECT_TRUE(WholePdf(out.filePath(pdf))) << pdf.toStdString();
  EXPECT_EQ(bar->maximum(), 9);
  EXPECT_EQ(seen.value(seen.size() - 1), 9);
  EXPECT_GE(seen.size(), 9);
  EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end()));
  EXPECT_EQ(child<QLabel>(form, "Zaehler")->text(), "9 of 9 items");
  EXPECT_TRUE(form->lastStatus().contains("Items: 9, documents: 9")) << form->lastStatus().toStdString();
  EXPECT_TRUE(child<QPushButton>(form, "Ok")->isEnabled());
  // The choice is remembered for the kind.
  EXPECT_EQ(session::StoredTemplate("A"), "AMemo.dotx");
}

TEST_F(Gui, ExitDuringARunStopsItAfterTheCurrentDocument) {
  // A calendar of a hundred appointments.
  QTemporaryDir store;
  QDir().mkpath(store.filePath("Calendar"));
  for (int i = 0; i < 100; ++i) {
    QFile f(store.filePath(QStringLiteral("Calendar/%1.ics").arg(i, 3, 10, QLatin1Char('0'))));
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    const QString day = QDate(2026, 3, 1).addDays(i / 4).toString("yyyyMMdd");
    f.write(QStringLiteral("BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//test//EN\r\nBEGIN:VEVENT\r\n"
                           "UID:event-%1@test\r\nDTSTAMP:20260101T000000Z\r\nDTSTART:%2T%3\r\n"
                           "DURATION:PT30M\r\nSUMMARY:Meeting %1\r\nEND:VEVENT\r\nEND:VCALENDAR\r\n")
                .arg(i)
                .arg(day)
                .arg(QStringLiteral("%1%2").arg(8 + i % 4, 2, 10, QLatin1Char('0')).arg("0000"))
                .toUtf8());
  }
  ASSERT_TRUE(browser->openStore(store.path()));
  ASSERT_TRUE(browser->chooseFolder("Calendar"));
  gui::Form1Window* form = printRows(-1);
  ASSERT_TRUE(form);
  const int total = child<QTreeWidget>(form, "List1")->topLevelItemCount();
  ASSERT_EQ(total, 100);
  chooseTemplateAndPdf(form, "AMemo.dotx", out.path());
  auto* exit = child<QPushButton>(form, "EXIT");
  auto* ok = child<QPushButton>(form, "Ok");
  auto* show = child<QPushButton>(form, "ZEIGE");
  QStringList during;
  bool closedDuringRun = true;
  // Once the run has begun: EXIT, then an attempt to close the window.
  QTimer::singleShot(0, [&] {
    QTest::mouseClick(exit, Qt::LeftButton);
    during << exit->text() << ok->text() << show->text();
    closedDuringRun = form->close();
  });
  QTest::mouseClick(ok, Qt::LeftButton);

  EXPECT_EQ(during, (QStringList{"Stopping...", "Stopping...", "Stopping..."}));
  EXPECT_FALSE(closedDuringRun);
  EXPECT_TRUE(form->isVisible());
  const QStringList pdfs = Pdfs(out.path());
  EXPECT_GE(pdfs.size(), 1);
  EXPECT_LT(pdfs.size(), total);
  for (const QString& pdf : pdfs) EXPECT_TRUE(WholePdf(out.filePath(pdf))) << pdf.toStdString();
  EXPECT_EQ(QDir(out.path()).entryList(QDir::Files | QDir::Hidden).size(), pdfs.size());
  EXPECT_TRUE(form->lastStatus().contains(QStringLiteral("Stopped after %1 of %2 items").arg(pdfs.size()).arg(total)))
      << form->lastStatus().toStdString();
  EXPECT_EQ(exit->text(), "Close");
  EXPECT_EQ(ok->text(), "Print");
  // Once the run has ended, the window closes.
  EXPECT_TRUE(form->close());
}

TEST_F(Gui, AnOpenedMailFileIsListedAlone) {
  QTemporaryDir files;
  const QString mail = files.filePath("minutes.eml");
  ASSERT_TRUE(QFile::copy(kStore + "/Inbox/cur/" + QDir(kStore + "/Inbox/cur").entryList(QDir::Files).first(), mail));
  const QString other = files.filePath("notes.txt");
  QFile(other).open(QIODevice::WriteOnly);
  // A file of another type is named in a message; the mail is listed.
  AnswerNextMessage(QMessageBox::Ok);
  browser->takeFiles({mail, other});
  gui::Form1Window* form = browser->form1();
  ASSERT_TRUE(form && form->isVisible());
  auto* list1 = child<QTreeWidget>(form, "List1");
  ASSERT_EQ(list1->topLevelItemCount(), 1);
  bool found = false;
  for (int i = 0; i < list1->columnCount(); ++i)
    found = found || list1->topLevelItem(0)->text(i) == "Protokoll Abstimmung Project Falcon";
  EXPECT_TRUE(found);
}

TEST_F(Gui, TheLanguageTabSwitchesLanguagesAndAnEditSurvivesARestart) {
  gui::Form1Window* form = printRows(2);
  ASSERT_TRUE(form);
  auto* tabs = child<QTabWidget>(form, "SSTab1");
  const struct {
    const char* button;
    const char* tab;
    const char* print;
  } languages[] = {
      {"LangDef1", "Sprache", "Drucken"}, {"LangDef2", "Langue", "Imprimer"}, {"LangDef0", "Language", "Print"}};
  for (const auto& l : languages) {
    AnswerNextMessage(QMessageBox::Yes);
    QTest::mouseClick(child<QPushButton>(form, l.button), Qt::LeftButton);
    EXPECT_EQ(tabs->tabText(2), l.tab);
    EXPECT_EQ(child<QPushButton>(form, "Ok")->text(), l.print);
  }
  // "No" to "Are you sure?" leaves the table as it is.
  AnswerNextMessage(QMessageBox::No);
  QTest::mouseClick(child<QPushButton>(form, "LangDef1"), Qt::LeftButton);
  EXPECT_EQ(tabs->tabText(2), "Language");

  // Form4 on the row of S21: the edit shows in the list, Save writes it.
  auto* list3 = child<QTreeWidget>(form, "List3");
  const QList<QTreeWidgetItem*> rows = list3->findItems("S21", Qt::MatchExactly);
  ASSERT_EQ(rows.size(), 1);
  list3->setCurrentItem(rows.front());
  auto* save = child<QPushButton>(form, "SAVE");
  EXPECT_FALSE(save->isEnabled());
  QTimer::singleShot(0, [] {
    auto* editor = qobject_cast<gui::Form4*>(QApplication::activeModalWidget());
    if (!editor) return;
    editor->findChild<QPlainTextEdit*>("text")->setPlainText("Print it");
    editor->findChild<QPushButton*>("save")->click();
  });
  QTest::mouseClick(child<QPushButton>(form, "LangEdit"), Qt::LeftButton);
  EXPECT_EQ(rows.front()->text(3), "Print it");
  ASSERT_TRUE(save->isEnabled());
  QTest::mouseClick(save, Qt::LeftButton);
  EXPECT_FALSE(save->isEnabled());
  EXPECT_EQ(child<QPushButton>(form, "Ok")->text(), "Print it");
  // A new start reads the file.
  lang::LanguageTable fresh;
  fresh.LoadLanguageTable(util::MainConfigFile());
  EXPECT_EQ(fresh.GetLangText("S21"), "Print it");
}

TEST_F(Gui, TheMonitorPrintsAMailThatLandsInTheWatchedInboxAndStopsCleanly) {
  // A copy of the sample inbox to drop mails into.
  QTemporaryDir store;
  for (const char* sub : {"Inbox/cur", "Inbox/new", "Inbox/tmp"}) QDir().mkpath(store.filePath(sub));
  const QString cur = kStore + "/Inbox/cur/";
  const QStringList mails = QDir(cur).entryList(QDir::Files, QDir::Name);
  for (int i = 1; i < mails.size(); ++i) QFile::copy(cur + mails[i], store.filePath("Inbox/cur/" + mails[i]));
  ASSERT_TRUE(browser->openStore(store.path()));
  ASSERT_TRUE(browser->chooseFolder("Inbox"));
  gui::Form1Window* form = printRows(1);
  ASSERT_TRUE(form);
  chooseTemplateAndPdf(form, "MMemo.dotx", out.path());
  auto* monitor = child<QPushButton>(form, "Monitor");
  auto* ok = child<QPushButton>(form, "Ok");
  ASSERT_TRUE(monitor->isEnabled());
  EXPECT_EQ(monitor->text(), "Monitor");

  // The dialog with its texts, then OK.
  QString label;
  QTimer::singleShot(0, [&] {
    auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
    if (!dialog || dialog->objectName() != "Dialog") return;
    label = dialog->findChild<QLabel*>("Label1")->text();
    dialog->findChild<QPushButton*>("OKButton")->click();
  });
  QTest::mouseClick(monitor, Qt::LeftButton);
  EXPECT_TRUE(label.startsWith("Beta! BETTER use the STANDALONE for this!!")) << label.toStdString();
  EXPECT_EQ(monitor->text(), "Stop");
  EXPECT_EQ(child<QLabel>(form, "ZAE")->text(), QString::number(mails.size() - 1));
  EXPECT_FALSE(ok->isEnabled());
  EXPECT_EQ(Pdfs(out.path()).size(), 0);

  // A mail delivered into new/ is printed, and listed.
  const QString tmp = store.filePath("Inbox/tmp/" + mails[0]);
  ASSERT_TRUE(QFile::copy(cur + mails[0], tmp));
  ASSERT_TRUE(QFile::rename(tmp, store.filePath("Inbox/new/" + mails[0])));
  EXPECT_TRUE(QTest::qWaitFor([&] { return Pdfs(out.path()).size() == 1; }, 30000));
  EXPECT_TRUE(QTest::qWaitFor([&] { return monitor->text() == "Stop"; }, 5000));
  EXPECT_EQ(child<QTreeWidget>(form, "List1")->topLevelItemCount(), 1);
  EXPECT_EQ(child<QLabel>(form, "ZAE")->text(), QString::number(mails.size()));

  // Stopping gives the buttons back.
  QTest::mouseClick(monitor, Qt::LeftButton);
  EXPECT_EQ(monitor->text(), "Monitor");
  EXPECT_TRUE(ok->isEnabled());
}

// Find: a range dragged on the month calendar, a condition in Form3; the
// list holds the occurrences found and the counter their hours.
TEST_F(Gui, FindListsTheFalconMeetingsOfMarchWithTheirHours) {
  gui::Form1Window* form = printRows(1);
  ASSERT_TRUE(form);
  form->setFindRange(QDate(2026, 3, 1), QDate(2026, 3, 31));
  QStringList fields;
  QTimer::singleShot(0, [&] {
    auto* form3 = qobject_cast<QDialog*>(QApplication::activeModalWidget());
    if (!form3 || form3->objectName() != "Form3") return;
    auto* combo = form3->findChild<QComboBox*>("Combo1");
    for (int i = 0; i < combo->count(); ++i) fields << combo->itemText(i);
    combo->setCurrentIndex(combo->findText("Subject"));
    QTest::keyClicks(form3->findChild<QLineEdit*>("Text2"), "FALCON");
    form3->findChild<QPushButton*>("Find")->click();
  });
  QTest::mouseClick(child<QPushButton>(form, "DFIND"), Qt::LeftButton);
  EXPECT_TRUE(fields.contains("Body") && fields.contains("Location")) << fields.join(", ").toStdString();
  auto* list1 = child<QTreeWidget>(form, "List1");
  ASSERT_EQ(list1->topLevelItemCount(), 14);
  for (int i = 0; i < 14; ++i) EXPECT_TRUE(list1->topLevelItem(i)->text(3).contains("Falcon"));
  EXPECT_EQ(child<QLabel>(form, "Zaehler")->text(),
            "Sum Hours\n without allday => 7:30\n0 allday *8:00 => 0:00\nTOTAL => 7:30");
  // The values are kept for the kind; Cancel changes nothing.
  EXPECT_EQ(util::ReadIni("Find", "AContain", "", util::UserConfigFile()), "FALCON");
  QTimer::singleShot(0, [] {
    if (auto* form3 = qobject_cast<QDialog*>(QApplication::activeModalWidget()))
      form3->findChild<QPushButton*>("Cancel")->click();
  });
  QTest::mouseClick(child<QPushButton>(form, "DFIND"), Qt::LeftButton);
  EXPECT_EQ(list1->topLevelItemCount(), 14);
}

// DELDUP on an inbox where every mail is there twice, and .eml files
// dropped on the import label.
TEST_F(Gui, DuplicatesLeaveTheListAndDroppedEmlFilesBecomeDrafts) {
  QTemporaryDir store;
  for (const char* sub :
       {"Inbox/cur", "Inbox/new", "Inbox/tmp", "Deleted Items/cur", "Deleted Items/new", "Deleted Items/tmp"})
    QDir().mkpath(store.filePath(sub));
  const QString cur = kStore + "/Inbox/cur/";
  const QStringList mails = QDir(cur).entryList(QDir::Files, QDir::Name).mid(0, 4);
  for (const QString& m : mails) {
    QFile::copy(cur + m, store.filePath("Inbox/cur/" + m));
    QFile::copy(cur + m, store.filePath("Inbox/cur/" + m.section(':', 0, 0) + "again:2,S"));
  }
  ASSERT_TRUE(browser->openStore(store.path()));
  ASSERT_TRUE(browser->chooseFolder("Inbox"));
  gui::Form1Window* form = printRows(-1);
  ASSERT_TRUE(form);
  auto* list1 = child<QTreeWidget>(form, "List1");
  ASSERT_EQ(list1->topLevelItemCount(), 8);
  QString question;
  QTimer::singleShot(0, [&] {
    auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
    if (!box) return;
    question = box->text();
    box->button(QMessageBox::Cancel)->click();
  });
  QTest::mouseClick(child<QPushButton>(form, "DELDUP"), Qt::LeftButton);
  EXPECT_TRUE(question.startsWith("Delete Duplicates also physical (put in trash folder)?\r\n\r\n"))
      << question.toStdString();
  EXPECT_EQ(list1->topLevelItemCount(), 8);
  AnswerNextMessage(QMessageBox::No);  // from the list only
  QTest::mouseClick(child<QPushButton>(form, "DELDUP"), Qt::LeftButton);
  EXPECT_EQ(list1->topLevelItemCount(), 4);
  EXPECT_EQ(QDir(store.filePath("Inbox/cur")).entryList(QDir::Files).size(), 8);

  // Three files dropped: two of them messages by their name.
  QTemporaryDir drop;
  QFile::copy(cur + mails[0], drop.filePath("x.EML"));
  QFile::copy(cur + mails[1], drop.filePath("x.eml"));
  QFile::copy(cur + mails[2], drop.filePath("y.txt"));
  auto* label = child<QLabel>(form, "EMLImport");
  EXPECT_TRUE(label->text().startsWith("Drop *.eml files from Outlook Express here\nto save them into the DRAFTS"));
  QMimeData data;
  data.setUrls({QUrl::fromLocalFile(drop.filePath("x.EML")), QUrl::fromLocalFile(drop.filePath("x.eml")),
                QUrl::fromLocalFile(drop.filePath("y.txt"))});
  QString said;
  AnswerWhenShown(QMessageBox::Ok, &said);
  // The drag comes in, then drops; the count comes once the drop is over.
  QDragEnterEvent enter(QPoint(5, 5), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
  QApplication::sendEvent(label, &enter);
  EXPECT_TRUE(enter.isAccepted());
  QDropEvent event(QPointF(5, 5), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
  QApplication::sendEvent(label, &event);
  EXPECT_TRUE(QTest::qWaitFor([&] { return !said.isEmpty(); }, 5000));
  EXPECT_EQ(said, "2 messages imported => see Folder Drafts (German \"Entwürfe\")!");
  EXPECT_EQ(QDir(store.filePath("Drafts/cur")).entryList(QDir::Files).size(), 2);
}

// Moving the template folder: what moves, what stays, what is written.
TEST(ChangeTemplateFolder, MovesTemplatesUnlessTheNewFolderHasSomeAndNeverSettingsFiles) {
  QTemporaryDir from, to, full;
  const QString pathIni = util::TemplatePathFile();
  ASSERT_FALSE(QFile::exists(pathIni));
  auto touch = [](const QString& path) { QFile(path).open(QIODevice::WriteOnly); };

  // The current folder again: nothing is written.
  EXPECT_FALSE(session::ChangeTemplateFolder(session::TemplateFolder()).changed);
  EXPECT_FALSE(QFile::exists(pathIni));

  // Away from the data folder: its templates move, its language file stays.
  ASSERT_TRUE(lang::table().SaveLanguageTable(util::MainConfigFile()));
  const QStringList seeded = QDir(util::DataFolder()).entryList({"*.dotx", "*.xltx"}, QDir::Files);
  ASSERT_GT(seeded.size(), 10);
  const session::FolderChange first = session::ChangeTemplateFolder(from.path());
  ASSERT_TRUE(first.changed);
  EXPECT_EQ(first.moved, seeded.size());
  EXPECT_TRUE(QFile::exists(util::MainConfigFile()));
  EXPECT_TRUE(QDir(util::DataFolder()).entryList({"*.dotx", "*.xltx"}, QDir::Files).isEmpty());

  // Every file moves on, but settings files in any case of their suffix.
  for (const char* name : {"guide.pdf", "Ordolo.INI", "licence.Key", "spell.all"}) touch(from.filePath(name));
  const session::FolderChange moved = session::ChangeTemplateFolder(to.path());
  EXPECT_TRUE(moved.changed);
  EXPECT_EQ(moved.moved, seeded.size() + 1);
  EXPECT_TRUE(QFile::exists(to.filePath("guide.pdf")));
  EXPECT_TRUE(QFile::exists(to.filePath("AMemo.dotx")));
  QStringList stayed = QDir(from.path()).entryList(QDir::Files);
  stayed.sort(Qt::CaseInsensitive);
  EXPECT_EQ(stayed, (QStringList{"licence.Key", "Ordolo.INI", "spell.all"}));
  EXPECT_EQ(session::TemplateFolder(), util::WithSlash(to.path()));

  // A folder that holds templates already takes nothing.
  touch(full.filePath("Aold.dot"));
  const session::FolderChange kept = session::ChangeTemplateFolder(full.path());
  EXPECT_TRUE(kept.changed);
  EXPECT_EQ(kept.moved, 0);
  EXPECT_EQ(QDir(to.path()).entryList(QDir::Files).size(), seeded.size() + 1);
  EXPECT_EQ(session::TemplateFolder(), util::WithSlash(full.path()));

  // Onto another file system (the RAM disk, where there is one): a copy,
  // read back and compared, then the original goes.
  QTemporaryDir ram(QStringLiteral("/dev/shm/ordolo-test-XXXXXX"));
  struct stat here = {}, there = {};
  if (ram.isValid() && ::stat(QFile::encodeName(full.path()), &here) == 0 &&
      ::stat(QFile::encodeName(ram.path()), &there) == 0 && here.st_dev != there.st_dev) {
    QFile old(full.filePath("Aold.dot"));
    ASSERT_TRUE(old.open(QIODevice::WriteOnly));
    old.write(QByteArray(300000, 'x'));
    old.close();
    const session::FolderChange across = session::ChangeTemplateFolder(ram.path());
    EXPECT_EQ(across.moved, 1);
    EXPECT_TRUE(across.failed.isEmpty());
    EXPECT_EQ(QFileInfo(ram.filePath("Aold.dot")).size(), 300000);
    EXPECT_FALSE(QFile::exists(full.filePath("Aold.dot")));
  }
  QFile::remove(pathIni);
}

}  // namespace

// The offscreen platform plugin of Qt 5 never frees its screen; the
// sanitizer build is told so here, where every run of this binary sees it
// (test discovery at build time included).
extern "C" const char* __lsan_default_suppressions() { return "leak:libqoffscreen.so\n"; }

int main(int argc, char** argv) {
  // A home of its own, Berlin time, offscreen windows.
  QTemporaryDir home;
  qputenv("ORDOLO_HOME", home.path().toLocal8Bit());
  qputenv("TZ", "Europe/Berlin");
  tzset();
  if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  util::PinLocalTimeZone();
  QApplication app(argc, argv);
  addin::Connect connect;
  connect.OnConnection({});
  util::setUserLocale(QLocale(QLocale::English, QLocale::UnitedStates));
  ::testing::InitGoogleTest(&argc, argv);
  const int result = RUN_ALL_TESTS();
  connect.OnDisconnection();
  return result;
}
